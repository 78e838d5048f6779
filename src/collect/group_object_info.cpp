#include "collect/group_object_info.h"

#include <stdexcept>

#include "composite/group_filler.h"
#include "composite/soft_mask_state.h"
#include "frame/line_renderer.h"
#include "paint/halftone_label.h"

namespace QorSc {

std::unique_ptr<IntervalsFiller> GroupObjectInfo::CreateFiller(LineRenderer& renderer) {
  const bool isolated = members_->isolated != 0;
  const bool knockout = members_->knockout != 0;
  auto children =
      std::make_unique<LineRenderer>(renderer.GetEnvironment(), renderer.GetPixelBox(),
                                     renderer.GetOptions(), std::move(members_), renderer.Pools());
  std::shared_ptr<const QorBlend::Transparency> transparency =
      PrepareHalftoneTransparency(transparency_, renderer.GetOptions().GetHalftoneMode());
  std::unique_ptr<SoftMaskState> mask;
  if (soft_mask_) {
    mask = std::make_unique<SoftMaskState>(renderer, geometry_.pixelBox, std::move(soft_mask_));
  }
  return std::make_unique<GroupIntervalsFiller>(
      isolated, knockout, geometry_.pixelBox, std::move(children), clip_, GetIndex(),
      CreateRunLengthGenerator(geometry_, renderer), std::move(mask), std::move(transparency));
}

}  // namespace QorSc
