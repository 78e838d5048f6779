// Collecting an Ovrel fill into an ObjectCollection.
//
// CollectOvrelFillComponents turns the graphics components of a fill into records,
// one per element in painting order, at page level (isolated, not knockout). Groups
// that change nothing about how their members composite are flattened into the level
// around them; the others become one group record over a container of their own with
// their isolated and knockout flags. The first mask component of a component becomes
// that record's soft mask, its content collected by the same rules. Every record
// covers the whole pixel box: a fill's extent is the box it is collected for.
//
// A null fill, or a fill without components, gives an empty container. A component
// that makes no sense (an unknown kind, an element without its element attribute or
// with neither picture nor paint, an element with members, a group carrying an
// element attribute, a mask component without its soft mask) throws
// std::invalid_argument. The document objects the fill's attributes name must outlive
// the collection.
#pragma once

#include "qormath/rectangle.h"
#include "scan/environment.h"
#include "scan/export.h"
#include "scan/object_collection.h"
#include "scan/options.h"

namespace Ovrel {
class TFill;
}

namespace QorSc {

QORSC_API ObjectCollection CollectOvrelFillComponents(const Environment& environment,
                                                      const Options& options,
                                                      const QorMath::Rectangle<long long>& pixelBox,
                                                      const Ovrel::TFill* fill);

}  // namespace QorSc
