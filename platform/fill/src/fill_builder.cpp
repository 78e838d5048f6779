// The fill builder's factories. Setup work only; every check here is one that a
// consumer would otherwise have to make on a fill built for a test.

#include "ovrel/fill_builder.h"

#include <stdexcept>

namespace Ovrel {

std::shared_ptr<const TGraphicsComponent> TFillBuilder::Element(
    std::shared_ptr<const TElementAttribute> attribute, TMaskComponentList masks) {
  if (!attribute) throw std::invalid_argument("TFillBuilder: an element needs its attribute");
  if (!attribute->PaintedPicture() && !attribute->Paint()) {
    throw std::invalid_argument("TFillBuilder: an element needs a painted picture or a paint");
  }
  return std::make_shared<const TGraphicsComponent>(
      kElementComponent, std::move(attribute), nullptr, TGraphicsComponentList{}, std::move(masks));
}

std::shared_ptr<const TGraphicsComponent> TFillBuilder::Element(const QorDoc::Fillable& object,
                                                                bool stroke,
                                                                TMaskComponentList masks) {
  return Element(DocumentGraph::MakeElementAttribute(object, stroke), std::move(masks));
}

std::shared_ptr<const TGraphicsComponent> TFillBuilder::Group(
    std::shared_ptr<const TGroupAttribute> attribute, TGraphicsComponentList members,
    TMaskComponentList masks) {
  return std::make_shared<const TGraphicsComponent>(kGroupComponent, nullptr, std::move(attribute),
                                                    std::move(members), std::move(masks));
}

std::shared_ptr<const TMaskComponent> TFillBuilder::Mask(
    std::shared_ptr<const TSoftMaskAttribute> attribute, TGraphicsComponentList content) {
  if (!attribute) throw std::invalid_argument("TFillBuilder: a mask component needs its attribute");
  return std::make_shared<const TMaskComponent>(std::move(attribute), std::move(content));
}

TFillBuilder& TFillBuilder::Add(std::shared_ptr<const TGraphicsComponent> component) {
  if (!component) throw std::invalid_argument("TFillBuilder: a null component");
  components_.push_back(std::move(component));
  return *this;
}

std::shared_ptr<const TFill> TFillBuilder::Build() {
  TGraphicsComponentList components;
  components.swap(components_);
  return std::make_shared<const TFill>(std::move(components));
}

}  // namespace Ovrel
