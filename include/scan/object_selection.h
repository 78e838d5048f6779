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

// The selection that takes everything: every layer, flag true, every object.
//
// kAllSelection is a constant of a tiny literal type that converts to
// `const ObjectSelection&` on use, building the selection on first use. It is
// therefore usable from any static initialiser, in any library, in any order:
//   CollectObjects(..., kAllSelection);   const ObjectSelection& s = kAllSelection;
//   kAllSelection->flag
struct QORSC_API AllSelection {
  static const ObjectSelection& Get();
  operator const ObjectSelection&() const { return Get(); }
  const ObjectSelection* operator->() const { return &Get(); }
};

inline constexpr AllSelection kAllSelection{};

}  // namespace QorSc
