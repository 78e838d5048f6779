// Activation of image records: once per placed picture per conversion.

#include "collect/image_object_info.h"

#include <stdexcept>

#include "collect/fillable_object_info.h"
#include "collect/group_object_info.h"
#include "frame/line_renderer.h"
#include "paint/picture_paint_getter.h"

namespace QorSc {

ImageObjectInfo::ImageObjectInfo(const QorDoc::Image* image,
                                 const QorDoc::ContentObject* contentObject,
                                 std::shared_ptr<Clip> clip, const GeometrySource& geometry,
                                 std::shared_ptr<const QorImg::PaintedPicture> picture,
                                 const Morv::MilliPointTransformation& transformation,
                                 std::shared_ptr<const QorBlend::Transparency> transparency,
                                 std::unique_ptr<SoftMaskRecord> softMask)
    : ObjectInfo(geometry.pixelBox),
      image_(image),
      content_object_(contentObject),
      clip_(std::move(clip)),
      geometry_(geometry),
      picture_(std::move(picture)),
      transformation_(transformation),
      transparency_(transparency ? std::move(transparency) : QorBlend::Transparency::Opaque()),
      soft_mask_(std::move(softMask)) {
  if (!picture_) throw std::invalid_argument("ImageObjectInfo: an image needs a picture");
}

ImageObjectInfo::~ImageObjectInfo() = default;

std::unique_ptr<IntervalsFiller> ImageObjectInfo::CreateFiller(LineRenderer& renderer) {
  return CreateElementaryFiller(
      renderer,
      std::make_shared<PicturePaintGetter>(picture_, renderer.GetEnvironment(),
                                           renderer.GetOptions(), transformation_),
      {image_, image_ != nullptr ? image_->GetHalftoneSet().get() : nullptr, content_object_, clip_,
       GetIndex(), RefOf(geometry_), transparency_, false},
      std::move(soft_mask_));
}

}  // namespace QorSc
