// ElementaryObjectIntervalsFiller: composites one painted object (a filled or
// stroked path, a text outline, an image mask) into the line.
//
// Per painted run it either copies the paint (opaque Normal paint: the line's
// states become the paint's kinds, the auxiliary planes Full) or composites it
// through the blend kernels. The source of an elementary object, per pixel: shape 1
// on its painted runs; q the stroke or the fill alpha; pm the paint's own mask for
// paints of kind 2, else 1; with alpha-is-shape clear fs = 1 and qs = q·pm, with it
// set fs = q and qs = pm; αs = fs·qs and Cs = αs·cs. Then, with αb from the line's
// alpha plane:
//   Cr = (1 − αs)·Cb + (1 − αb)·Cs + BlendTerm(αb, Cb, αs, Cs)
//   α  ← αb + αs − αb·αs   (own alpha likewise)   f ← fb + fs − fb·fs
// An Absent component leaves its colour plane as it is; the auxiliary planes are
// updated all the same. A soft mask's value m multiplies the opacity (qs·m) or, with
// alpha-is-shape set, the shape (fs·m); masked objects and objects on knockout levels
// go through CompositeElement with those operands as lines, as do objects with a
// non-separable mode (which never take the copy).
#pragma once

#include <memory>

#include "composite/intervals_filler.h"
#include "composite/opaque_flat_batch.h"
#include "paint/flat_paint_getter.h"
#include "paint/paint_getter.h"
#include "qordoc/content.h"

namespace QorSc {

// Whether an object without a soft mask, of transparency `t`, painted with a paint
// of kind `paintKind` that leaves components absent or not, takes the opaque copy
// on every run: what it paints replaces the line's planes.
bool CopiesOpaque(const QorBlend::Transparency& t, bool stroke, int paintKind, bool absent);

class ElementaryObjectIntervalsFiller final : public IntervalsFiller {
 public:
  ElementaryObjectIntervalsFiller(std::shared_ptr<PaintGetter> paint,
                                  const QorDoc::ContentObject* contentObject,
                                  std::shared_ptr<Clip> clip, std::uint32_t index,
                                  std::unique_ptr<RunLengthGenerator> generator,
                                  std::unique_ptr<SoftMaskState> softMask,
                                  std::shared_ptr<const QorBlend::Transparency> transparency,
                                  bool stroke);

  void Fill(LineRenderer& renderer, LineBuffer& line, std::vector<std::size_t>* hits,
            const RunList& runs) override;

 private:
  // With mayTrade, a wide run may take the paint's planes whole (the paint's storage
  // and the line's are traded) where the line reads nothing else of them.
  void CopyOpaque(LineBuffer& line, SourcePaintBuffers& source, const Run& run,
                  bool mayTrade) const;
  void CompositeBlended(LineBuffer& line, const SourcePaintBuffers& source, const Run& run,
                        float alpha) const;
  void CompositeElementRun(const LineRenderer& renderer, LineBuffer& line,
                           const SourcePaintBuffers& source, const Run& run, float alpha,
                           const float* mask, long long maskLeft) const;

  const QorDoc::ContentObject* content_object_;
  std::shared_ptr<PaintGetter> paint_;
  RunList painted_;
  // Whether every run takes the opaque copy: nothing it depends on changes while
  // the object is drawn (blend mode, opacity, soft mask, the paint's kind and
  // absent components).
  bool copies_ = false;
  // For a copied flat paint, what each run gets: the paint's own copy, prepared
  // with it; null otherwise.
  const OpaqueFlatCopy* flat_ = nullptr;
};

}  // namespace QorSc
