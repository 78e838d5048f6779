// FillableObjectInfo: the record of one filled or stroked object (a path, a text
// outline, an image mask) between collection and rasterisation.
//
// It keeps the object's geometry source (pixel box, compound or mask,
// transformation), its paint and the paint's placement, its transparency, whether it
// is a stroke, its clip scope and the document object it came from. Activation
// turns it into an ElementaryObjectIntervalsFiller: paint getter (with the halftone
// label when labels are asked for), run-length generator, filler.
#pragma once

#include <cstdint>
#include <memory>

#include "qorblend/transparency.h"
#include "qordoc/content.h"
#include "qorpaint/paint.h"
#include "raster/geometry_source.h"
#include "scan/object_collection.h"

namespace QorSc {

class Clip;
class PaintGetter;
struct SoftMaskRecord;

// The filler of one painted object, shared by fillable and image records: the paint
// (labelled with `labelled`'s halftone set when labels are asked for), the object's
// runs, its soft-mask state and its transparency.
struct ElementaryFillerParts {
  const QorDoc::ContentObject* labelled;
  const QorDoc::HalftoneSet* halftoneSet;
  const QorDoc::ContentObject* contentObject;
  std::shared_ptr<Clip> clip;
  std::uint32_t index;
  const GeometrySource& geometry;
  std::shared_ptr<const QorBlend::Transparency> transparency;
  bool stroke;
};
std::unique_ptr<IntervalsFiller> CreateElementaryFiller(LineRenderer& renderer,
                                                        std::shared_ptr<PaintGetter> paint,
                                                        const ElementaryFillerParts& parts,
                                                        std::unique_ptr<SoftMaskRecord> softMask);

class FillableObjectInfo final : public ObjectInfo {
 public:
  FillableObjectInfo(const QorDoc::Fillable* documentObject,
                     const QorDoc::ContentObject* contentObject, std::shared_ptr<Clip> clip,
                     const GeometrySource& geometry, std::shared_ptr<const QorPaint::Paint> paint,
                     const Morv::MilliPointTransformation& paintPlacement,
                     std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke);

  ~FillableObjectInfo() override;

  std::unique_ptr<IntervalsFiller> CreateFiller(LineRenderer& renderer) override;
  void Prefetch() const override;

  const GeometrySource& GetGeometry() const { return geometry_; }
  bool IsStroke() const { return stroke_; }
  const std::shared_ptr<const QorPaint::Paint>& GetPaint() const { return paint_; }
  const Morv::MilliPointTransformation& GetPaintPlacement() const { return paint_placement_; }
  const std::shared_ptr<Clip>& GetClip() const { return clip_; }
  const QorDoc::ContentObject* GetContentObject() const { return content_object_; }

  // The collected content of the object's soft mask, if it has one.
  void SetSoftMask(std::unique_ptr<SoftMaskRecord> softMask);
  const SoftMaskRecord* GetSoftMask() const { return soft_mask_.get(); }

 private:
  GeometrySource geometry_;
  std::shared_ptr<const QorBlend::Transparency> transparency_;
  bool stroke_;
  std::shared_ptr<Clip> clip_;
  const QorDoc::Fillable* document_object_;
  const QorDoc::ContentObject* content_object_;
  std::shared_ptr<const QorPaint::Paint> paint_;
  Morv::MilliPointTransformation paint_placement_;
  std::unique_ptr<SoftMaskRecord> soft_mask_;
};

}  // namespace QorSc
