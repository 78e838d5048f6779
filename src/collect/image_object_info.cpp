// Activation of image records: once per placed picture per conversion.

#include "collect/image_object_info.h"

#include <stdexcept>

#include "collect/group_object_info.h"
#include "composite/elementary_filler.h"
#include "composite/soft_mask_state.h"
#include "frame/line_renderer.h"
#include "paint/halftone_label.h"
#include "paint/halftone_paint_getter.h"
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
  std::shared_ptr<PaintGetter> paint = std::make_shared<PicturePaintGetter>(
      picture_, renderer.GetEnvironment(), renderer.GetOptions(), transformation_);

  const HalftoneMode halftones = renderer.GetOptions().GetHalftoneMode();
  std::shared_ptr<const QorBlend::Transparency> transparency =
      PrepareHalftoneTransparency(transparency_, halftones);
  if (halftones != kHalftoneNone) {
    paint =
        WithHalftoneLabel(std::move(paint), image_,
                          image_ != nullptr ? image_->GetHalftoneSet().get() : nullptr, halftones);
  }

  std::unique_ptr<SoftMaskState> mask;
  if (soft_mask_) {
    mask = std::make_unique<SoftMaskState>(renderer, geometry_.pixelBox, std::move(soft_mask_));
  }
  return std::make_unique<ElementaryObjectIntervalsFiller>(
      std::move(paint), content_object_, clip_, GetIndex(),
      CreateRunLengthGenerator(geometry_, renderer), std::move(mask), std::move(transparency),
      false);
}

}  // namespace QorSc
