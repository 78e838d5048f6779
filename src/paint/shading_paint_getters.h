// The paint getters of shaded paints (axial, radial, general), chosen by paint type.
#pragma once

#include <memory>

#include "paint/paint_getter.h"
#include "morv/transformation.h"
#include "qorpaint/paint.h"
#include "raster/path_edges.h"
#include "scan/environment.h"
#include "scan/options.h"

namespace QorSc {

// The getter of a paint of type 3 (axial), 4 (radial) or 5 (general), or null for
// other paints.
// `transformation` places the object in the world; `pixelBox` is the target box.
std::shared_ptr<PaintGetter> MakeShadingPaintGetter(
    const std::shared_ptr<const QorPaint::Paint>& paint, const Environment& env,
    const Options& options, const Morv::MilliPointTransformation& transformation,
    const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains);

}  // namespace QorSc
