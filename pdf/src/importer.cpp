// Opening a PDF with qpdf and reading every page's attributes up front.
//
// Invariants: Impl::bytes outlives Impl::qpdf (members are destroyed in reverse
// order), because a document opened from memory reads from those bytes for its whole
// life. pages, page_objects and operator_counts have one entry per page. qpdf's own
// warnings are moved to the warning list after every step, so each one lands with the
// page that was being read.
#include "qorpdf/importer.h"

#include <exception>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "operator_counter.h"
#include "page_attributes.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorPdf {

namespace {

// qpdf's reason without the file name, which ImportError adds itself, followed by
// the first warnings qpdf gave before failing: for a file that is not a PDF at all
// the final error is about the trailer, and only the warnings say why.
std::string ReasonOf(const std::exception& e, QPDF& qpdf) {
  std::string reason = e.what();
  if (const auto* qpdf_error = dynamic_cast<const QPDFExc*>(&e)) {
    reason = qpdf_error->getMessageDetail();
    std::string where = qpdf_error->getObject();
    if (qpdf_error->getFilePosition() > 0) {
      if (!where.empty()) where += ", ";
      where += "offset " + std::to_string(qpdf_error->getFilePosition());
    }
    if (!where.empty()) reason += " (" + where + ")";
  }
  constexpr std::size_t kEarlierWarnings = 3;
  const std::vector<QPDFExc> earlier = qpdf.getWarnings();
  if (earlier.empty()) return reason;
  reason += " (after: ";
  for (std::size_t i = 0; i < earlier.size() && i < kEarlierWarnings; ++i) {
    if (i > 0) reason += "; ";
    reason += earlier[i].getMessageDetail();
  }
  reason += earlier.size() > kEarlierWarnings ? "; ...)" : ")";
  return reason;
}

}  // namespace

ImportError::ImportError(std::string file_name, std::string reason)
    : std::runtime_error(file_name + ": cannot open PDF: " + reason),
      file_name_(std::move(file_name)),
      reason_(std::move(reason)) {}

struct Document::Impl {
  explicit Impl(std::string file_name) : name(std::move(file_name)) {}

  std::string name;
  std::string bytes;  // the file itself when opened from memory; see the invariants
  QPDF qpdf;
  bool encrypted = false;
  std::vector<QPDFObjectHandle> page_objects;
  std::vector<Page> pages;
  std::vector<std::optional<OperatorCountMap>> operator_counts;
  internal::WarningList warnings;

  // Runs `process` (qpdf's processFile or processMemoryFile) and reads the page
  // tree. Everything that needs the file to be readable as a whole happens here, and
  // its failure is the ImportError.
  template <class Process>
  void Open(Process process) {
    qpdf.setSuppressWarnings(true);  // collected from qpdf, never printed
    qpdf.setAttemptRecovery(true);
    try {
      process();
      encrypted = qpdf.isEncrypted();
      page_objects = qpdf.getAllPages();
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& e) {
      throw ImportError(name, ReasonOf(e, qpdf));
    }
    ReadPages();
  }

  // Per-page reading cannot fail the document: a page qpdf cannot read gets the
  // defaults.
  void ReadPages() {
    warnings.TakeFrom(qpdf, std::nullopt);
    pages.reserve(page_objects.size());
    for (std::size_t i = 0; i < page_objects.size(); ++i) {
      try {
        pages.push_back(internal::ReadPageAttributes(page_objects[i], i, warnings));
      } catch (const std::bad_alloc&) {
        throw;
      } catch (const std::exception& e) {
        warnings.Add(i, "page", std::string("attributes not readable, defaults used: ") + e.what());
        pages.push_back(internal::DefaultPage());
      }
      warnings.TakeFrom(qpdf, i);
    }
    operator_counts.resize(pages.size());
  }

  void CheckIndex(std::size_t index) const {
    if (index >= pages.size()) {
      throw std::out_of_range("page index " + std::to_string(index) + " out of range: " + name +
                              " has " + std::to_string(pages.size()) + " page(s)");
    }
  }
};

Document::Document(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Document::Document(Document&&) noexcept = default;
Document& Document::operator=(Document&&) noexcept = default;
Document::~Document() = default;

Document Document::OpenFile(const std::filesystem::path& path) {
  auto impl = std::make_unique<Impl>(path.string());
  // qpdf reads a directory as an empty file and reports a short read; say it plainly.
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    throw ImportError(impl->name, "is a directory, not a file");
  }
  impl->Open([&] { impl->qpdf.processFile(impl->name.c_str(), ""); });
  return Document(std::move(impl));
}

Document Document::OpenBuffer(std::span<const std::byte> bytes, std::string name) {
  auto impl = std::make_unique<Impl>(std::move(name));
  impl->bytes.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  impl->Open([&] {
    impl->qpdf.processMemoryFile(impl->name.c_str(), impl->bytes.data(), impl->bytes.size(), "");
  });
  return Document(std::move(impl));
}

const std::string& Document::Name() const {
  return impl_->name;
}

bool Document::IsEncrypted() const {
  return impl_->encrypted;
}

std::size_t Document::PageCount() const {
  return impl_->pages.size();
}

const Page& Document::GetPage(std::size_t index) const {
  impl_->CheckIndex(index);
  return impl_->pages[index];
}

const OperatorCountMap& Document::OperatorCounts(std::size_t page_index) {
  impl_->CheckIndex(page_index);
  std::optional<OperatorCountMap>& cached = impl_->operator_counts[page_index];
  if (!cached) {
    cached = internal::CountOperators(impl_->page_objects[page_index], page_index, impl_->warnings);
    impl_->warnings.TakeFrom(impl_->qpdf, page_index);
  }
  return *cached;
}

const std::vector<Warning>& Document::Warnings() const {
  return impl_->warnings.All();
}

std::size_t Document::DroppedWarningCount() const {
  return impl_->warnings.Dropped();
}

}  // namespace QorPdf
