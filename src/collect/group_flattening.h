// When a group's members may join the level around it instead of becoming a group
// record: the one rule of both collection entry points.
//
// Flattening is exact only when the group composites like no group at all: Normal
// and opaque (its result simply covers the backdrop), no soft mask (the mask would
// be lost), not isolated (isolated members blend over nothing, flattened ones would
// blend with what lies under the group), and the level's own knockout behaviour.
#pragma once

#include "qorblend/transparency.h"
#include "scan/object_collection.h"

namespace QorSc {

inline bool FlattensInto(const QorBlend::Transparency& group, const ObjectInfoContainer& level) {
  return QorBlend::FillIsNormalOpaque(group) && !group.GetSoftMask() && !group.IsIsolated() &&
         group.IsKnockout() == level.knockout;
}

}  // namespace QorSc
