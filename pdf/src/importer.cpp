// Opening a PDF with qpdf and reading every page's attributes up front.
//
// Invariants: Impl::bytes outlives Impl::qpdf (members are destroyed in reverse
// order), because a document opened from memory reads from those bytes for its whole
// life. pages and page_objects have one entry per page. qpdf's own
// warnings are moved to the warning list after every step, so each one lands with the
// page that was being read.
#include "qorpdf/importer.h"

#include <algorithm>
#include <exception>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "color/color_space.h"
#include "content/interpreter.h"
#include "content/optional_content.h"
#include "font/font.h"
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

// Default user space to world coordinates of the displayed page: the crop box's
// lower-left corner to the origin, turned clockwise by Rotate, in millipoints of
// UserUnit-sized units.
Morv::MilliPointTransformation DisplayMatrix(const Page& page) {
  const Box& box = page.crop_box;
  const double s = 1000.0 * page.user_unit;
  switch (page.rotate) {
    case 90:
      return {0.0, -s, s, 0.0, -s * box.lly, s * box.urx};
    case 180:
      return {-s, 0.0, 0.0, -s, s * box.urx, s * box.ury};
    case 270:
      return {0.0, s, -s, 0.0, s * box.ury, -s * box.llx};
    default:
      return {s, 0.0, 0.0, s, -s * box.llx, -s * box.lly};
  }
}

Morv::MilliPointRectangle DisplayBox(const Page& page) {
  const double s = 1000.0 * page.user_unit;
  const double w = page.crop_box.Width() * s;
  const double h = page.crop_box.Height() * s;
  return page.rotate == 90 || page.rotate == 270 ? Morv::MilliPointRectangle(0, 0, h, w)
                                                 : Morv::MilliPointRectangle(0, 0, w, h);
}

// qpdf walks the page tree recursively and overflows the stack somewhere past 20 000
// levels; real trees are a few levels deep, and even a tree that chains its pages one
// node per page stays far below this.
constexpr std::size_t kMaxPageTreeDepth = 10000;

// The depth of the page tree, walked without recursion (each node once, so loops
// end); stops counting past kMaxPageTreeDepth.
std::size_t PageTreeDepth(QPDF& qpdf) {
  std::size_t deepest = 0;
  std::set<QPDFObjGen> seen;
  std::vector<std::pair<QPDFObjectHandle, std::size_t>> pending{
      {qpdf.getRoot().getKey("/Pages"), 1}};
  while (!pending.empty() && deepest <= kMaxPageTreeDepth) {
    auto [node, depth] = pending.back();
    pending.pop_back();
    if (!node.isDictionary()) continue;
    if (node.isIndirect() && !seen.insert(node.getObjGen()).second) continue;
    deepest = std::max(deepest, depth);
    QPDFObjectHandle kids = node.getKey("/Kids");
    if (!kids.isArray()) continue;
    for (QPDFObjectHandle kid : kids.aitems())
      pending.emplace_back(kid, depth + 1);
  }
  return deepest;
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
  internal::WarningList warnings;
  // Made on first import and kept: caches of colour spaces, fonts and layers that
  // every later import of the same file reuses.
  std::unique_ptr<internal::ColorContext> colors;
  std::unique_ptr<internal::FontCache> fonts;
  std::unique_ptr<internal::OptionalContent> optional_content;

  void PrepareImport() {
    if (!colors) colors = std::make_unique<internal::ColorContext>(qpdf, warnings);
    if (!fonts) fonts = std::make_unique<internal::FontCache>(warnings);
    if (!optional_content) {
      optional_content = std::make_unique<internal::OptionalContent>(qpdf, warnings);
    }
    warnings.TakeFrom(qpdf, std::nullopt);
  }

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
      if (PageTreeDepth(qpdf) > kMaxPageTreeDepth) {
        throw ImportError(name, "the page tree is nested more than " +
                                    std::to_string(kMaxPageTreeDepth) + " levels deep");
      }
      page_objects = qpdf.getAllPages();
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const ImportError&) {
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

Import Document::ImportPages(std::span<const std::size_t> pages, const ImportOptions& options) {
  std::vector<std::size_t> indices(pages.begin(), pages.end());
  if (indices.empty()) {
    for (std::size_t i = 0; i < impl_->pages.size(); ++i)
      indices.push_back(i);
  }
  for (std::size_t index : indices)
    impl_->CheckIndex(index);
  impl_->PrepareImport();

  QorDoc::DocumentBuilder builder;
  internal::ContentOptions content_options;
  content_options.keep_soft_masks = options.keep_soft_masks;
  content_options.keep_transparency_groups = options.keep_transparency_groups;
  content_options.draw_annotations = options.draw_annotations;
  content_options.max_pixel_size =
      options.max_pixel_size > 0.0 ? options.max_pixel_size * 1000.0 : 0.0;
  internal::ImportContext context{impl_->qpdf,
                                  impl_->warnings,
                                  *impl_->colors,
                                  *impl_->fonts,
                                  *impl_->optional_content,
                                  builder,
                                  internal::ImportLimits{},
                                  content_options,
                                  {},
                                  {}};

  Import result;
  for (std::size_t index : indices) {
    const Page& page = impl_->pages[index];
    QorDoc::Content& content = builder.AddPage();
    internal::ContentInterpreter interpreter(context, index);
    interpreter.RunPage(impl_->page_objects[index], content, DisplayMatrix(page), DisplayBox(page));
    impl_->warnings.TakeFrom(impl_->qpdf, index);

    ImportedPage imported;
    imported.index = index;
    imported.content = &content;
    imported.world_box = DisplayBox(page);
    imported.incomplete = interpreter.Incomplete();
    for (const auto& [feature, count] : interpreter.NotRenderedFeatures())
      imported.not_rendered.push_back({feature, count});
    for (const auto& font : interpreter.FontsUsed()) {
      const internal::FontDescription& d = font->Description();
      imported.fonts.push_back({d.name, d.subtype, d.program, d.embedded, d.substitute});
    }
    result.pages.push_back(std::move(imported));
  }
  for (const auto& entry : impl_->colors->Separations())
    builder.AddSeparation(entry);
  result.document = builder.Build();
  // Colorants once the document is built: the walk needs the finished tree.
  for (ImportedPage& page : result.pages) {
    for (const auto& entry : page.content->GetSeparations()) {
      if (entry.name != "All") page.colorants.Add(entry.name, 0.0f);
    }
  }
  return result;
}

std::vector<LayerInfo> Document::Layers() {
  impl_->PrepareImport();
  return impl_->optional_content->Layers();
}

const std::vector<unsigned char>& Document::OutputIntentProfile() {
  impl_->PrepareImport();
  return impl_->colors->OutputIntentProfile();
}

const std::vector<Warning>& Document::Warnings() const {
  return impl_->warnings.All();
}

std::size_t Document::DroppedWarningCount() const {
  return impl_->warnings.Dropped();
}

}  // namespace QorPdf
