// Ovrel fills: the tree of graphics components that a fill-mapping step computes.
//
// A fill holds its top-level graphics components in painting order (first painted
// first). A graphics component is an element, referring to an element attribute, or
// a group, referring to a group attribute or to none, with member components of its
// own. Either kind may carry mask components; each mask component refers to a
// soft-mask attribute and holds the graphics components of the mask's content.
//
// Invariants: everything is immutable once constructed and shared by
// std::shared_ptr<const>, so subtrees may be shared between fills; component lists
// never hold null entries (constructors reject them), so a null from Next() always
// means the end. The model records what the mapping produced without judging it:
// consumers reject components that make no sense (an element without its attribute).
// Iterating must never allocate: an iterator is a list pointer and an index.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "documentgraph/attributes.h"

namespace Ovrel {

using TGroupAttribute = DocumentGraph::GroupAttribute;
using TElementAttribute = DocumentGraph::ElementAttribute;
using TSoftMaskAttribute = DocumentGraph::SoftMaskAttribute;

// Numbered as the mapping step numbers them; other values may reach a consumer from a
// faulty mapping and are to be rejected there.
enum TComponentKind : int {
  kElementComponent = 1,
  kGroupComponent = 2,
};

class TGraphicsComponent;
class TMaskComponent;

using TGraphicsComponentList = std::vector<std::shared_ptr<const TGraphicsComponent>>;
using TMaskComponentList = std::vector<std::shared_ptr<const TMaskComponent>>;

class TFill {
 public:
  class TGraphicsComponentIterator;
  class TMaskComponentIterator;
  // A mask component is the fill's soft mask: TFill::TSoftMask::SoftMaskAttribute().
  using TSoftMask = TMaskComponent;

  TFill() = default;
  explicit TFill(TGraphicsComponentList components);

  const TGraphicsComponentList& GraphicsComponents() const { return components_; }
  bool IsEmpty() const { return components_.empty(); }

 private:
  TGraphicsComponentList components_;
};

class TGraphicsComponent {
 public:
  // Members and mask components in painting order.
  TGraphicsComponent(TComponentKind kind, std::shared_ptr<const TElementAttribute> element,
                     std::shared_ptr<const TGroupAttribute> group, TGraphicsComponentList members,
                     TMaskComponentList masks);

  TComponentKind Kind() const { return kind_; }
  bool IsElement() const { return kind_ == kElementComponent; }
  bool IsGroup() const { return kind_ == kGroupComponent; }
  // Null when the component has none of that kind.
  const TElementAttribute* ElementAttribute() const { return element_.get(); }
  const TGroupAttribute* GroupAttribute() const { return group_.get(); }
  const TGraphicsComponentList& GraphicsComponents() const { return members_; }
  const TMaskComponentList& MaskComponents() const { return masks_; }

 private:
  TComponentKind kind_;
  std::shared_ptr<const TElementAttribute> element_;
  std::shared_ptr<const TGroupAttribute> group_;
  TGraphicsComponentList members_;
  TMaskComponentList masks_;
};

class TMaskComponent {
 public:
  TMaskComponent(std::shared_ptr<const TSoftMaskAttribute> attribute,
                 TGraphicsComponentList content);

  // Null when the mapping gave the mask no attribute.
  const TSoftMaskAttribute* SoftMaskAttribute() const { return attribute_.get(); }
  // The mask's content in painting order.
  const TGraphicsComponentList& GraphicsComponents() const { return content_; }

 private:
  std::shared_ptr<const TSoftMaskAttribute> attribute_;
  TGraphicsComponentList content_;
};

// Over the top-level components of a fill, the members of a component, or the
// content of a mask component; the iterated object must outlive the iterator.
class TFill::TGraphicsComponentIterator {
 public:
  explicit TGraphicsComponentIterator(const TFill& fill) : list_(&fill.GraphicsComponents()) {}
  explicit TGraphicsComponentIterator(const TGraphicsComponent& component)
      : list_(&component.GraphicsComponents()) {}
  explicit TGraphicsComponentIterator(const TMaskComponent& mask)
      : list_(&mask.GraphicsComponents()) {}

  // The next component, null after the last.
  const TGraphicsComponent* Next() {
    return next_ < list_->size() ? (*list_)[next_++].get() : nullptr;
  }

 private:
  const TGraphicsComponentList* list_;
  std::size_t next_ = 0;
};

// Over the mask components of a component.
class TFill::TMaskComponentIterator {
 public:
  explicit TMaskComponentIterator(const TGraphicsComponent& component)
      : list_(&component.MaskComponents()) {}

  // The next mask component, null after the last.
  const TMaskComponent* Next() { return next_ < list_->size() ? (*list_)[next_++].get() : nullptr; }

 private:
  const TMaskComponentList* list_;
  std::size_t next_ = 0;
};

}  // namespace Ovrel
