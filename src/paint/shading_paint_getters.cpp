// Choosing the getter of a shaded paint.

#include "paint/shading_paint_getters.h"

#include "paint/axial_shading_paint_getter.h"
#include "paint/default_shading_paint_getter.h"
#include "paint/radial_shading_paint_getter.h"

namespace QorSc {

std::shared_ptr<PaintGetter> MakeShadingPaintGetter(
    const std::shared_ptr<const QorPaint::Paint>& paint, const Environment& env,
    const Options& options, const Morv::MilliPointTransformation& transformation,
    const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains) {
  switch (paint->GetType()) {
    case QorPaint::kAxialShadingPaint:
      return std::make_shared<AxialShadingPaintGetter>(
          std::static_pointer_cast<const QorPaint::AxialShadingPaint>(paint), env, options,
          transformation, pixelBox, chains);
    case QorPaint::kRadialShadingPaint:
      return std::make_shared<RadialShadingPaintGetter>(
          std::static_pointer_cast<const QorPaint::RadialShadingPaint>(paint), env, options,
          transformation, pixelBox, chains);
    case QorPaint::kDefaultShadingPaint:
      return std::make_shared<DefaultShadingPaintGetter>(
          std::static_pointer_cast<const QorPaint::DefaultShadingPaint>(paint), env, options,
          transformation, pixelBox, chains);
    default:
      return nullptr;
  }
}

}  // namespace QorSc
