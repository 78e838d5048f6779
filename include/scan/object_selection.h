// Which layers and content objects a collection takes.
//
// The flag is where the traversal starts its "selected" state: true selects every
// object without consulting the object filter (a selected group selects all its
// members); false asks the object filter for each object. The layer filter is asked
// for every layer, whatever the flag.
#pragma once

#include <functional>
#include <memory>

#include "qordoc/fwd.h"
#include "scan/export.h"

namespace QorSc {

struct ObjectSelection {
  std::function<bool(const std::shared_ptr<QorDoc::LayerProperties>&)> layerFilter;
  bool flag = true;
  std::function<bool(const QorDoc::ContentObject&)> objectFilter;
};

// The selection that takes everything: every layer, flag true, every object. A
// constant ObjectSelection like any other (kAllSelection.flag, &kAllSelection, a
// copy), built before any static initialiser of the library's users runs, and
// destroyed after them.
QORSC_API extern const ObjectSelection kAllSelection;

}  // namespace QorSc
