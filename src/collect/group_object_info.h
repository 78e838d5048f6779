// Records of transparency groups and soft masks.
//
// A group that cannot be flattened into its level becomes one GroupObjectInfo
// holding its members' records in a container of their own (with the group's
// isolated and knockout flags); a soft mask's content is collected into a
// SoftMaskRecord that travels with the masked record. A group becomes a
// GroupIntervalsFiller over a line renderer of its own members; a soft mask becomes
// the SoftMaskState of its object's filler.
#pragma once

#include <memory>

#include "qorblend/soft_mask.h"
#include "qorblend/transparency.h"
#include "qordoc/content.h"
#include "raster/geometry_source.h"
#include "scan/object_collection.h"

namespace QorSc {

class Clip;

struct SoftMaskRecord {
  std::shared_ptr<const QorBlend::SoftMask> mask;
  std::unique_ptr<ObjectInfoContainer> content;
};

class GroupObjectInfo final : public ObjectInfo {
 public:
  GroupObjectInfo(const QorDoc::Group* group, std::shared_ptr<Clip> clip,
                  const GeometrySource& geometry,
                  std::shared_ptr<const QorBlend::Transparency> transparency,
                  std::unique_ptr<ObjectInfoContainer> members,
                  std::unique_ptr<SoftMaskRecord> softMask)
      : ObjectInfo(geometry.pixelBox),
        group_(group),
        clip_(std::move(clip)),
        geometry_(geometry),
        transparency_(std::move(transparency)),
        members_(std::move(members)),
        soft_mask_(std::move(softMask)) {}

  std::unique_ptr<IntervalsFiller> CreateFiller(LineRenderer& renderer) override;

  const QorDoc::Group* GetGroup() const { return group_; }
  const ObjectInfoContainer& GetMembers() const { return *members_; }
  const SoftMaskRecord* GetSoftMask() const { return soft_mask_.get(); }
  const std::shared_ptr<Clip>& GetClip() const { return clip_; }

 private:
  const QorDoc::Group* group_;
  std::shared_ptr<Clip> clip_;
  GeometrySource geometry_;
  std::shared_ptr<const QorBlend::Transparency> transparency_;
  std::unique_ptr<ObjectInfoContainer> members_;
  std::unique_ptr<SoftMaskRecord> soft_mask_;
};

}  // namespace QorSc
