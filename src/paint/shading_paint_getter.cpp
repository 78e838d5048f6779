// The shared part of shading getters: kinds, placement, bounding box.

#include "paint/shading_paint_getter.h"

#include "raster/path_run_length_generator_builder.h"
#include "raster/point_enumerator.h"

namespace QorSc {

ShadingBoxRuns::ShadingBoxRuns(const QorPaint::ShadingPaint& paint, const Environment& env,
                               const Morv::MilliPointTransformation& t,
                               const QorMath::Rectangle<long long>& pixelBox,
                               ScratchChains& chains) {
  if (!paint.GetBoundingBox()) return;
  PathRunLengthGeneratorBuilder builder(1, pixelBox, chains);
  BoundingBoxEnumerator corners(env, *paint.GetBoundingBox(), t);
  builder.AddPoints(corners);
  generator_ = builder.Release();
}

ShadingBoxRuns::~ShadingBoxRuns() = default;

void ShadingBoxRuns::Advance(long long line) {
  if (generator_) generator_->GenerateRuns(line);
}

const RunList* ShadingBoxRuns::Restrict(const RunList& runs) {
  if (!generator_) return &runs;
  if (generator_->GetState() != RunLengthGenerator::kActive) return nullptr;
  IntersectRuns(runs, generator_->Runs(), clipped_);
  return &clipped_;
}

ShadingPaintGetter::ShadingPaintGetter(const QorPaint::ShadingPaint& paint, const Environment& env,
                                       const Options& options,
                                       const Morv::MilliPointTransformation& transformation,
                                       const QorMath::Rectangle<long long>& pixelBox,
                                       ScratchChains& chains)
    : ShadingPaintGetter(DescribeShadingComponents(options, paint.GetSeparationMapping()), paint,
                         env, transformation, pixelBox, chains) {}

ShadingPaintGetter::ShadingPaintGetter(ShadingComponents components,
                                       const QorPaint::ShadingPaint& paint, const Environment& env,
                                       const Morv::MilliPointTransformation& transformation,
                                       const QorMath::Rectangle<long long>& pixelBox,
                                       ScratchChains& chains)
    : PaintGetter(std::move(components.kinds), components.absent),
      placement_(Morv::Compose(transformation, paint.GetTransformation())),
      box_runs_(paint, env, placement_, pixelBox, chains) {}

ShadingPaintGetter::~ShadingPaintGetter() = default;

bool ShadingPaintGetter::BeginsLine(long long y) {
  if (started_ && y <= last_line_) return false;
  started_ = true;
  last_line_ = y;
  box_runs_.Advance(y);
  return true;
}

}  // namespace QorSc
