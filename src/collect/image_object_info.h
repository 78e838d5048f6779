// ImageObjectInfo: the record of one sampled picture between collection and
// rasterisation.
//
// It keeps the picture, the transformation that places the picture's unit square on
// the page, the object's transparency, clip scope and pixel box, and the document
// image it came from (for the halftone set; null for fill components, whose
// content object is the image when there is one). Activation builds the picture
// paint getter (wrapped in the halftone label when labels are asked for), the
// geometry's run-length generator and an ElementaryObjectIntervalsFiller.
#pragma once

#include <memory>

#include "qorblend/transparency.h"
#include "qordoc/content.h"
#include "qorimg/painted_picture.h"
#include "raster/geometry_source.h"
#include "scan/object_collection.h"

namespace QorSc {

class Clip;
struct SoftMaskRecord;

class ImageObjectInfo final : public ObjectInfo {
 public:
  // Throws std::invalid_argument without a picture.
  ImageObjectInfo(const QorDoc::Image* image, const QorDoc::ContentObject* contentObject,
                  std::shared_ptr<Clip> clip, const GeometrySource& geometry,
                  std::shared_ptr<const QorImg::PaintedPicture> picture,
                  const Morv::MilliPointTransformation& transformation,
                  std::shared_ptr<const QorBlend::Transparency> transparency,
                  std::unique_ptr<SoftMaskRecord> softMask);
  ~ImageObjectInfo() override;

  std::unique_ptr<IntervalsFiller> CreateFiller(LineRenderer& renderer) override;

  const QorDoc::Image* GetImage() const { return image_; }
  const std::shared_ptr<const QorImg::PaintedPicture>& GetPicture() const { return picture_; }
  const Morv::MilliPointTransformation& GetTransformation() const { return transformation_; }
  const SoftMaskRecord* GetSoftMask() const { return soft_mask_.get(); }

 private:
  const QorDoc::Image* image_;
  const QorDoc::ContentObject* content_object_;
  std::shared_ptr<Clip> clip_;
  GeometrySource geometry_;
  std::shared_ptr<const QorImg::PaintedPicture> picture_;
  Morv::MilliPointTransformation transformation_;
  std::shared_ptr<const QorBlend::Transparency> transparency_;
  std::unique_ptr<SoftMaskRecord> soft_mask_;
};

}  // namespace QorSc
