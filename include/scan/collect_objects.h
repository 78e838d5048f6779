// Collecting document content into an ObjectCollection.
//
// CollectObjects walks a content (a page, a form, a mask) or a single content
// object and makes one record for every drawable object that the selection admits
// and that reaches the pixel box, in painting order: it decides visibility (layers,
// selection), culls against the pixel box and the clip boxes, opens clip scopes,
// composes transformations, flattens plain groups and nests transparency groups and
// soft masks. The starting transformation places the content on the page (world =
// transformation(content coordinates)).
#pragma once

#include "morv/transformation.h"
#include "qordoc/fwd.h"
#include "qormath/rectangle.h"
#include "scan/environment.h"
#include "scan/export.h"
#include "scan/object_collection.h"
#include "scan/object_selection.h"
#include "scan/options.h"

namespace QorSc {

QORSC_API ObjectCollection CollectObjects(const Environment& env, const Options& options,
                                          const QorMath::Rectangle<long long>& pixelBox,
                                          const QorDoc::Content& content,
                                          const Morv::MilliPointTransformation& transformation,
                                          const ObjectSelection& selection);

// One object, placed by the absolute transformation of its parent group (identity at
// the top of a page).
QORSC_API ObjectCollection CollectObjects(const Environment& env, const Options& options,
                                          const QorMath::Rectangle<long long>& pixelBox,
                                          const QorDoc::ContentObject& object,
                                          const ObjectSelection& selection);

}  // namespace QorSc
