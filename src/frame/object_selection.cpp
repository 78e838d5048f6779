// The selection that takes everything.
//
// Its filters are std::function objects, so it cannot be a compile-time constant.
// Built at the earliest priority a program may use: within one linked image it exists
// before every ordinary static initialiser (the static library of the tests), and a
// shared library's initialisers all run before those of the images that load it.

#include "scan/object_selection.h"

namespace QorSc {

__attribute__((init_priority(101))) const ObjectSelection kAllSelection{
    [](const std::shared_ptr<QorDoc::LayerProperties>&) { return true; }, true,
    [](const QorDoc::ContentObject&) { return true; }};

}  // namespace QorSc
