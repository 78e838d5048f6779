// HalftonePaintGetter: paints an object's halftone label where its inner getter
// paints.
//
// The inner getter computes first and decides coverage; this getter then replaces
// the components it paints with the label. Masked (inner paint kind 2 under
// kHalftoneLabels): the inner opacity is reduced to 0 or 1 and the label is written
// per pixel as label × opacity; unmasked: once per run at its first pixel.
// Invariants: the kinds hold no Zero or Full (only the label kind or Absent); the
// hot loop writes only painted pixels of label-kind components and never allocates.
#pragma once

#include <memory>

#include "paint/paint_getter.h"
#include "qordoc/content.h"
#include "scan/options.h"

namespace QorSc {

class HalftonePaintGetter final : public PaintGetter {
 public:
  // `inner` must not be null; its buffers are this getter's (same component count).
  HalftonePaintGetter(float label, std::shared_ptr<PaintGetter> inner, HalftoneMode halftoneMode);

  void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override;
  int GetPaintKind() const override { return masked_ ? 2 : 1; }

 private:
  std::shared_ptr<PaintGetter> inner_;
  bool masked_;
  float label_;
};

// `paint` wrapped in the label of `set` for halftone modes other than none, else
// `paint` itself. The document comes from `object`'s content; an object outside a
// document cannot be labelled (std::logic_error).
std::shared_ptr<PaintGetter> WithHalftoneLabel(std::shared_ptr<PaintGetter> paint,
                                               const QorDoc::ContentObject* object,
                                               const QorDoc::HalftoneSet* set, HalftoneMode mode);

}  // namespace QorSc
