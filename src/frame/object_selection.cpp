#include "scan/object_selection.h"

namespace QorSc {

const ObjectSelection& AllSelection::Get() {
  static const ObjectSelection selection{
      [](const std::shared_ptr<QorDoc::LayerProperties>&) { return true; }, true,
      [](const QorDoc::ContentObject&) { return true; }};
  return selection;
}

}  // namespace QorSc
