// Construction of fill components. Runs once per component when a fill is made; the
// null checks here are what lets every iterator treat null as the end.

#include "ovrel/fill.h"

#include <stdexcept>
#include <string>

namespace Ovrel {
namespace {

template <class List>
List Checked(List list, const char* what) {
  for (const auto& entry : list) {
    if (!entry) throw std::invalid_argument(std::string("Ovrel: a null entry among ") + what);
  }
  return list;
}

}  // namespace

TFill::TFill(TGraphicsComponentList components)
    : components_(Checked(std::move(components), "a fill's graphics components")) {}

TGraphicsComponent::TGraphicsComponent(TComponentKind kind,
                                       std::shared_ptr<const TElementAttribute> element,
                                       std::shared_ptr<const TGroupAttribute> group,
                                       TGraphicsComponentList members, TMaskComponentList masks)
    : kind_(kind),
      element_(std::move(element)),
      group_(std::move(group)),
      members_(Checked(std::move(members), "a component's members")),
      masks_(Checked(std::move(masks), "a component's mask components")) {}

TMaskComponent::TMaskComponent(std::shared_ptr<const TSoftMaskAttribute> attribute,
                               TGraphicsComponentList content)
    : attribute_(std::move(attribute)),
      content_(Checked(std::move(content), "a mask component's content")) {}

}  // namespace Ovrel
