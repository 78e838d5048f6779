// Halftone labels: encoding a set as a float, decoding a float back to a set, and
// the all-or-nothing transparency of a label pass.
//
// Invariant: decoding only converts a float to an integer once it is known to be in
// range, so no input reaches undefined behaviour. Nothing here runs per pixel.

#include "paint/halftone_label.h"

#include <cstddef>

#include "scan/halftone.h"

namespace QorSc {
namespace {

// Opacities of a label pass are a yes or a no: a barely visible object still owns
// its pixels' halftone.
float LabelAlpha(float alpha) {
  return alpha >= 0.00001f ? 1.0f : 0.0f;
}

}  // namespace

float EncodeHalftoneLabel(const QorDoc::Document& document, const QorDoc::HalftoneSet* set) {
  const QorDoc::Halftones& halftones = document.GetHalftones();
  const std::size_t count = static_cast<std::size_t>(halftones.GetEnd() - halftones.GetBegin());
  const std::size_t denominator = count + 2;
  std::size_t index = 1;
  if (set != nullptr) {
    const auto found = halftones.Find(set);
    index = found == halftones.GetEnd()
                ? count + 2
                : static_cast<std::size_t>(found - halftones.GetBegin()) + 2;
  }
  return static_cast<float>(static_cast<double>(index) / static_cast<double>(denominator));
}

boost::optional<std::shared_ptr<QorDoc::HalftoneSet>> ToHalftoneSet(
    const QorColor::Component& component, const QorDoc::Document& document) {
  const QorDoc::Halftones& halftones = document.GetHalftones();
  const std::size_t count = static_cast<std::size_t>(halftones.GetEnd() - halftones.GetBegin());
  const std::size_t denominator = count + 2;
  if (!(component >= 0.0f)) return boost::none;
  const float scaled = component * static_cast<float>(denominator) + 0.5f;
  // 2^64 is exact in float; anything at or above it (infinity included) is out of
  // size_t's range and certainly past the last label.
  if (!(scaled < 18446744073709551616.0f)) return boost::none;
  const std::size_t k = static_cast<std::size_t>(scaled);
  if (k == 0 || k >= denominator) return boost::none;
  if (k == 1) return std::shared_ptr<QorDoc::HalftoneSet>();
  return *(halftones.GetBegin() + static_cast<std::ptrdiff_t>(k - 2));
}

std::shared_ptr<const QorBlend::Transparency> PrepareHalftoneTransparency(
    const std::shared_ptr<const QorBlend::Transparency>& transparency, HalftoneMode mode) {
  if (mode == kHalftoneNone) return transparency;
  const float fill = transparency ? transparency->GetFillAlpha() : 1.0f;
  const float stroke = transparency ? transparency->GetStrokeAlpha() : 1.0f;
  return std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, LabelAlpha(fill),
                                                        LabelAlpha(stroke), 0);
}

}  // namespace QorSc
