// Fuzz target for the PDF importer: opens the input as a PDF from memory, reads
// every page's geometry, and translates every page into the document model.
//
// The contract under test: whatever the bytes, opening either succeeds or throws
// QorPdf::ImportError, and once open nothing throws and every page satisfies the
// documented invariants. Any other exception escapes and aborts, which the fuzzer and
// the replay both report as a crash.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "qorpdf/importer.h"

namespace {

bool ValidBox(const QorPdf::Box& box) {
  return std::isfinite(box.Width()) && std::isfinite(box.Height()) && box.Width() > 0.0 &&
         box.Height() > 0.0;
}

bool Inside(const QorPdf::Box& inner, const QorPdf::Box& outer) {
  return inner.llx >= outer.llx && inner.lly >= outer.lly && inner.urx <= outer.urx &&
         inner.ury <= outer.ury;
}

void CheckPage(const QorPdf::Page& page) {
  const bool valid = ValidBox(page.media_box) && ValidBox(page.crop_box) &&
                     Inside(page.crop_box, page.media_box) && page.rotate % 90 == 0 &&
                     page.rotate >= 0 && page.rotate < 360 && std::isfinite(page.user_unit) &&
                     page.user_unit > 0.0;
  if (!valid) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    auto document = QorPdf::Document::OpenBuffer(std::as_bytes(std::span(data, size)), "input");
    for (std::size_t i = 0; i < document.PageCount(); ++i) {
      CheckPage(document.GetPage(i));
    }
    // Annotations on: their appearances are content like any other.
    QorPdf::ImportOptions options;
    options.draw_annotations = true;
    const QorPdf::Import import = document.ImportPages({}, options);
    if (import.pages.size() != document.PageCount() || !import.document) std::abort();
    if (document.Warnings().size() > QorPdf::Document::kMaxWarnings) std::abort();
  } catch (const QorPdf::ImportError&) {
  }
  return 0;
}
