// Label painting over an inner getter's coverage.
//
// Invariant: the painted runs are exactly the inner getter's, and only components
// of the label kind are written. Compute's loops must not allocate or read the
// inner getter's values: only its coverage (runs, and the mask when masked) counts.

#include "paint/halftone_paint_getter.h"

#include <stdexcept>
#include <utility>

#include "paint/halftone_label.h"
#include "qordoc/document.h"

namespace QorSc {
namespace {

bool MasksInner(const PaintGetter& inner, HalftoneMode mode) {
  return mode == kHalftoneLabels && inner.GetPaintKind() != 1;
}

// Under kHalftoneLabels a label covers every plate the inner paint covers, even with
// no ink there; in the full-ink mode the label goes only where the object puts ink.
ComponentKinds LabelKinds(const PaintGetter& inner, HalftoneMode mode) {
  const bool labels = mode == kHalftoneLabels;
  const std::uint8_t labelKind = MasksInner(inner, mode) ? kKindPerPixel : kKindConstant;
  ComponentKinds kinds;
  kinds.reserve(inner.Kinds().size());
  for (const std::uint8_t kind : inner.Kinds()) {
    switch (kind) {
      case kKindFull:
      case kKindPerPixel:
      case kKindConstant:
        kinds.push_back(labelKind);
        break;
      case kKindZero:
        kinds.push_back(labels ? labelKind : static_cast<std::uint8_t>(kKindAbsent));
        break;
      default:
        kinds.push_back(kKindAbsent);
        break;
    }
  }
  return kinds;
}

}  // namespace

HalftonePaintGetter::HalftonePaintGetter(float label, std::shared_ptr<PaintGetter> inner,
                                         HalftoneMode halftoneMode)
    : PaintGetter(LabelKinds(*inner, halftoneMode),
                  halftoneMode == kHalftoneLabels ? inner->HasAbsentComponents() : true),
      inner_(std::move(inner)),
      masked_(MasksInner(*inner_, halftoneMode)),
      label_(label) {}

void HalftonePaintGetter::Compute(const PaintLine& line, const RunList& runs,
                                  SourcePaintBuffers& buffers, RunList& painted) {
  inner_->Compute(line, runs, buffers, painted);
  const ComponentKinds& kinds = Kinds();
  const std::size_t count = kinds.size();
  if (!masked_) {
    for (const Run& run : painted) {
      for (std::size_t i = 0; i < count; ++i) {
        if (kinds[i] == kKindConstant) buffers.Component(i)[run.start] = label_;
      }
    }
    return;
  }
  const PixelPlane<float> mask = buffers.Mask();
  for (const Run& run : painted) {
    const long long end = run.End();
    for (long long x = run.start; x < end; ++x)
      mask[x] = mask[x] < 0.00001f ? 0.0f : 1.0f;
    for (std::size_t i = 0; i < count; ++i) {
      if (kinds[i] != kKindPerPixel) continue;
      const PixelPlane<float> values = buffers.Component(i);
      for (long long x = run.start; x < end; ++x)
        values[x] = label_ * mask[x];
    }
  }
}

std::shared_ptr<PaintGetter> WithHalftoneLabel(std::shared_ptr<PaintGetter> paint,
                                               const QorDoc::ContentObject* object,
                                               const QorDoc::HalftoneSet* set, HalftoneMode mode) {
  if (mode == kHalftoneNone) return paint;
  const QorDoc::Content* content = object != nullptr ? object->GetContent() : nullptr;
  const QorDoc::Document* document = content != nullptr ? content->GetDocument() : nullptr;
  if (document == nullptr) {
    throw std::logic_error("qorsc: halftone labels need objects that belong to a document");
  }
  return std::make_shared<HalftonePaintGetter>(EncodeHalftoneLabel(*document, set),
                                               std::move(paint), mode);
}

}  // namespace QorSc
