// Activation of fillable records: once per object per conversion.

#include "collect/fillable_object_info.h"

#include <stdexcept>
#include <string>

#include "collect/group_object_info.h"
#include "collect/tiling_cell.h"
#include "composite/elementary_filler.h"
#include "composite/soft_mask_state.h"
#include "frame/line_renderer.h"
#include "paint/flat_paint_getter.h"
#include "paint/halftone_label.h"
#include "paint/halftone_paint_getter.h"
#include "paint/shading_paint_getters.h"
#include "qordoc/document.h"
#include "qorpaint/tiling_paint.h"

namespace QorSc {
namespace {

std::shared_ptr<PaintGetter> MakePaintGetter(const std::shared_ptr<const QorPaint::Paint>& shared,
                                             const Morv::MilliPointTransformation& placement,
                                             LineRenderer& renderer) {
  const QorPaint::Paint& paint = *shared;
  const Options& options = renderer.GetOptions();
  if (paint.GetType() == QorPaint::kFlatPaint) {
    return renderer.Pools().FlatPaints().Get(options, shared,
                                             options.GetHalftoneMode() == kHalftoneLabelsFullInk);
  }
  if (paint.GetType() == QorPaint::kTilingPaint) {
    // The cell is rendered once per object and conversion, at the device's density.
    const auto& tiling = static_cast<const QorPaint::TilingPaint&>(paint);
    const CellLattice lattice = MakeCellLattice(renderer.GetEnvironment(), placement, tiling);
    return std::make_shared<TilingPaintGetter>(RenderTilingCell(tiling, lattice, options), lattice);
  }
  if (auto shading = MakeShadingPaintGetter(shared, renderer.GetEnvironment(), options, placement,
                                            renderer.GetPixelBox(), renderer.GetScratchChains())) {
    return shading;
  }
  throw std::logic_error("qorsc: paints of type " + std::to_string(paint.GetType()) +
                         " cannot be rendered yet");
}

}  // namespace

FillableObjectInfo::FillableObjectInfo(const QorDoc::Fillable* documentObject,
                                       const QorDoc::ContentObject* contentObject,
                                       std::shared_ptr<Clip> clip, const GeometrySource& geometry,
                                       std::shared_ptr<const QorPaint::Paint> paint,
                                       const Morv::MilliPointTransformation& paintPlacement,
                                       std::shared_ptr<const QorBlend::Transparency> transparency,
                                       bool stroke)
    : ObjectInfo(geometry.pixelBox),
      geometry_(geometry),
      transparency_(transparency ? std::move(transparency) : QorBlend::Transparency::Opaque()),
      stroke_(stroke),
      clip_(std::move(clip)),
      document_object_(documentObject),
      content_object_(contentObject),
      paint_(std::move(paint)),
      paint_placement_(paintPlacement) {
  if (!paint_) throw std::invalid_argument("FillableObjectInfo: an object needs a paint");
}

FillableObjectInfo::~FillableObjectInfo() = default;

void FillableObjectInfo::SetSoftMask(std::unique_ptr<SoftMaskRecord> softMask) {
  soft_mask_ = std::move(softMask);
}

std::unique_ptr<IntervalsFiller> CreateElementaryFiller(LineRenderer& renderer,
                                                        std::shared_ptr<PaintGetter> paint,
                                                        const ElementaryFillerParts& parts,
                                                        std::unique_ptr<SoftMaskRecord> softMask) {
  const HalftoneMode halftones = renderer.GetOptions().GetHalftoneMode();
  std::shared_ptr<const QorBlend::Transparency> transparency =
      PrepareHalftoneTransparency(parts.transparency, halftones);
  if (halftones != kHalftoneNone) {
    paint = WithHalftoneLabel(std::move(paint), parts.labelled, parts.halftoneSet, halftones);
  }
  std::unique_ptr<SoftMaskState> mask;
  if (softMask) {
    mask = std::make_unique<SoftMaskState>(renderer, parts.geometry.pixelBox, std::move(softMask));
  }
  return std::make_unique<ElementaryObjectIntervalsFiller>(
      std::move(paint), parts.contentObject, parts.clip, parts.index,
      CreateRunLengthGenerator(parts.geometry, renderer), std::move(mask), std::move(transparency),
      parts.stroke);
}

void FillableObjectInfo::Prefetch() const {
  __builtin_prefetch(document_object_);
  __builtin_prefetch(paint_.get());
  __builtin_prefetch(geometry_.compound.get());
}

std::unique_ptr<IntervalsFiller> FillableObjectInfo::CreateFiller(LineRenderer& renderer) {
  return CreateElementaryFiller(
      renderer, MakePaintGetter(paint_, paint_placement_, renderer),
      {document_object_,
       document_object_ != nullptr ? document_object_->GetHalftoneSet().get() : nullptr,
       content_object_, clip_, GetIndex(), geometry_, transparency_, stroke_},
      std::move(soft_mask_));
}

}  // namespace QorSc
