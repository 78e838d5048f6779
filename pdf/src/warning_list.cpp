// Moving qpdf's warnings into the importer's list. qpdf reports a warning as a QPDFExc
// whose object and offset fields may each be empty; the subject falls back from the
// object to the offset to the file so that it is never empty.
#include "warning_list.h"

#include <utility>

#include "qpdf_headers.h"

namespace QorPdf::internal {
namespace {

// Subjects and reasons quote the file (an unknown operator, a name); a file can make
// such a word megabytes long, and a message must stay one readable line.
constexpr std::size_t kMaxTextBytes = 200;

void Shorten(std::string& text) {
  if (text.size() <= kMaxTextBytes) return;
  text.resize(kMaxTextBytes);
  text += "...";
}

}  // namespace

void WarningList::Add(std::optional<std::size_t> page, std::string subject, std::string reason) {
  if (warnings_.size() >= Document::kMaxWarnings) {
    ++dropped_;
    return;
  }
  Shorten(subject);
  Shorten(reason);
  warnings_.push_back(Warning{page, std::move(subject), std::move(reason)});
}

void WarningList::TakeFrom(QPDF& qpdf, std::optional<std::size_t> page) {
  if (!qpdf.anyWarnings()) return;
  for (const QPDFExc& w : qpdf.getWarnings()) {
    std::string subject = w.getObject();
    std::string reason = w.getMessageDetail();
    // Some of qpdf's messages start with a space meant to follow its own prefix.
    reason.erase(0, reason.find_first_not_of(' '));
    const auto offset = w.getFilePosition();
    if (offset > 0) {
      if (subject.empty()) {
        subject = "offset " + std::to_string(offset);
      } else {
        reason += " (offset " + std::to_string(offset) + ")";
      }
    }
    if (subject.empty()) subject = "file";
    Add(page, std::move(subject), std::move(reason));
  }
}

}  // namespace QorPdf::internal
