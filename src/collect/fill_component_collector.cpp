// The walk of CollectOvrelFillComponents over a fill's component tree.
//
// Invariants: records are appended in visiting order, which is painting order; every
// record shares one geometry source, the pixel box with no compound, no mask and the
// identity, so each becomes a box generator; a group is flattened only when its
// members would composite exactly as they do in the level around it.
//
// The walk runs once per conversion and costs one record per element: it must not
// copy attributes, paints or transparencies (only their shared pointers), do any
// geometry work, or allocate beyond the records and containers it hands out.

#include <stdexcept>
#include <string>

#include "collect/fillable_object_info.h"
#include "collect/group_flattening.h"
#include "collect/group_object_info.h"
#include "collect/image_object_info.h"
#include "ovrel/fill.h"
#include "scan/collect_fill_components.h"

namespace QorSc {
namespace {

using Box = QorMath::Rectangle<long long>;

[[noreturn]] void Malformed(const std::string& what) {
  throw std::invalid_argument("CollectOvrelFillComponents: " + what);
}

class FillComponentCollector {
 public:
  explicit FillComponentCollector(const Box& pixelBox)
      : geometry_{pixelBox, nullptr, nullptr, Morv::MilliPointTransformation{}} {}

  void CollectAll(Ovrel::TFill::TGraphicsComponentIterator components,
                  ObjectInfoContainer& level) const {
    while (const Ovrel::TGraphicsComponent* component = components.Next()) {
      Collect(*component, level);
    }
  }

 private:
  void Collect(const Ovrel::TGraphicsComponent& component, ObjectInfoContainer& level) const {
    switch (component.Kind()) {
      case Ovrel::kElementComponent:
        CollectElement(component, level);
        return;
      case Ovrel::kGroupComponent:
        CollectGroup(component, level);
        return;
    }
    Malformed("a graphics component of unknown kind " + std::to_string(component.Kind()));
  }

  void CollectGroup(const Ovrel::TGraphicsComponent& component, ObjectInfoContainer& level) const {
    if (component.ElementAttribute() != nullptr) {
      Malformed("a group component carries an element attribute");
    }
    const Ovrel::TGroupAttribute* attribute = component.GroupAttribute();
    std::shared_ptr<const QorBlend::Transparency> transparency =
        attribute != nullptr ? attribute->Transparency() : nullptr;
    // A mask component is a soft mask the group's members cannot carry for it, so a
    // masked group keeps its level whatever its transparency says.
    const bool masked = !component.MaskComponents().empty();
    if (!masked && (!transparency || FlattensInto(*transparency, level))) {
      CollectAll(Ovrel::TFill::TGraphicsComponentIterator(component), level);
      return;
    }
    if (!transparency) transparency = QorBlend::Transparency::Opaque();
    auto members = std::make_unique<ObjectInfoContainer>(transparency->IsIsolated(),
                                                         transparency->IsKnockout());
    CollectAll(Ovrel::TFill::TGraphicsComponentIterator(component), *members);
    level.Append(std::make_unique<GroupObjectInfo>(nullptr, nullptr, geometry_,
                                                   std::move(transparency), std::move(members),
                                                   CollectSoftMask(component)));
  }

  void CollectElement(const Ovrel::TGraphicsComponent& component,
                      ObjectInfoContainer& level) const {
    const Ovrel::TElementAttribute* attribute = component.ElementAttribute();
    if (attribute == nullptr) Malformed("an element component without its element attribute");
    if (!component.GraphicsComponents().empty()) {
      Malformed("an element component with member components");
    }
    if (attribute->PaintedPicture()) {
      const QorDoc::ContentObject* selection = attribute->ObjectForSelection();
      level.Append(std::make_unique<ImageObjectInfo>(
          dynamic_cast<const QorDoc::Image*>(selection), selection, nullptr, geometry_,
          attribute->PaintedPicture(), attribute->ObjectTransformation(), attribute->Transparency(),
          CollectSoftMask(component)));
      return;
    }
    if (!attribute->Paint()) Malformed("an element component with neither picture nor paint");
    level.Append(FillableObjectInfo::Make(
        attribute->Object(), attribute->ObjectForSelection(), nullptr, geometry_,
        attribute->Paint(), attribute->ContentTransformation(), attribute->Transparency(),
        attribute->DoSelectStroke(), nullptr, nullptr, CollectSoftMask(component)));
  }

  // A record carries one soft mask: the first mask component is it.
  std::unique_ptr<SoftMaskRecord> CollectSoftMask(
      const Ovrel::TGraphicsComponent& component) const {
    Ovrel::TFill::TMaskComponentIterator masks(component);
    const Ovrel::TMaskComponent* mask = masks.Next();
    if (mask == nullptr) return nullptr;
    const Ovrel::TSoftMaskAttribute* attribute = mask->SoftMaskAttribute();
    if (attribute == nullptr || !attribute->DefiningSoftMask()) {
      Malformed("a mask component without its soft mask");
    }
    // A mask's content composites on its own, over nothing: a page-like level.
    auto content = std::make_unique<ObjectInfoContainer>(1, 0);
    CollectAll(Ovrel::TFill::TGraphicsComponentIterator(*mask), *content);
    return std::make_unique<SoftMaskRecord>(
        SoftMaskRecord{attribute->DefiningSoftMask(), std::move(content)});
  }

  GeometrySource geometry_;
};

}  // namespace

ObjectCollection CollectOvrelFillComponents(const Environment& environment, const Options& options,
                                            const QorMath::Rectangle<long long>& pixelBox,
                                            const Ovrel::TFill* fill) {
  auto page = std::make_unique<ObjectInfoContainer>(1, 0);
  if (fill != nullptr) {
    FillComponentCollector(pixelBox).CollectAll(Ovrel::TFill::TGraphicsComponentIterator(*fill),
                                                *page);
  }
  return ObjectCollection(environment, options, pixelBox, std::move(page));
}

}  // namespace QorSc
