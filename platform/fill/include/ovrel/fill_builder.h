// TFillBuilder: assembles fills from attributes, bottom up, for tests and tools.
//
// Components are made by the static factories (elements, groups, mask components)
// and may be reused in several places, since they are immutable; the top-level ones
// are added in painting order and Build hands out the fill. The factories make
// well-formed components only; a malformed one, for testing a consumer, is made with
// the TGraphicsComponent constructor directly. Building is setup work, never done in
// a rendering loop.
#pragma once

#include <memory>

#include "ovrel/fill.h"

namespace Ovrel {

class TFillBuilder {
 public:
  static std::shared_ptr<const TGraphicsComponent> Element(
      std::shared_ptr<const TElementAttribute> attribute, TMaskComponentList masks = {});
  // The element of a document object's fill, or with `stroke` its stroke.
  static std::shared_ptr<const TGraphicsComponent> Element(const QorDoc::Fillable& object,
                                                           bool stroke = false,
                                                           TMaskComponentList masks = {});
  // `attribute` may be null: a group that only gathers its members.
  static std::shared_ptr<const TGraphicsComponent> Group(
      std::shared_ptr<const TGroupAttribute> attribute, TGraphicsComponentList members,
      TMaskComponentList masks = {});
  static std::shared_ptr<const TMaskComponent> Mask(
      std::shared_ptr<const TSoftMaskAttribute> attribute, TGraphicsComponentList content);

  // Appends a top-level component; throws std::invalid_argument for null.
  TFillBuilder& Add(std::shared_ptr<const TGraphicsComponent> component);
  // The fill of everything added so far; the builder is empty afterwards.
  std::shared_ptr<const TFill> Build();

 private:
  TGraphicsComponentList components_;
};

}  // namespace Ovrel
