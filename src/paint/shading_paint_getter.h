// What every shading getter shares: component kinds from the separation mapping,
// the shading's placement in the world, and its bounding box as runs.
//
// Invariants: kinds are computed once from the options and the mapping; the box
// generator advances with the lines (top to bottom) and restricting runs to it
// allocates nothing once its scratch list has grown.
#pragma once

#include <memory>

#include "morv/transformation.h"
#include "paint/paint_getter.h"
#include "paint/shading_table.h"
#include "qorpaint/shading_paint.h"
#include "raster/path_edges.h"
#include "raster/run_length_generator.h"
#include "scan/environment.h"
#include "scan/options.h"

namespace QorSc {

// The bounding box of a shading, scan-converted over the pixel box, restricting the
// runs of each line; a paint without a box lets every run through.
class ShadingBoxRuns {
 public:
  ShadingBoxRuns(const QorPaint::ShadingPaint& paint, const Environment& env,
                 const Morv::MilliPointTransformation& t,
                 const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains);
  ShadingBoxRuns(ShadingBoxRuns&&) noexcept = default;
  ShadingBoxRuns& operator=(ShadingBoxRuns&&) noexcept = default;
  ~ShadingBoxRuns();

  void Advance(long long line);
  // `runs` within the box on the line last advanced to; null when the box does not
  // reach that line.
  const RunList* Restrict(const RunList& runs);

 private:
  std::unique_ptr<RunLengthGenerator> generator_;
  RunList clipped_;
};

class ShadingPaintGetter : public PaintGetter {
 public:
  int GetPaintKind() const override { return 1; }

 protected:
  // `transformation` places the object in the world; `pixelBox` is the target box.
  ShadingPaintGetter(const QorPaint::ShadingPaint& paint, const Environment& env,
                     const Options& options, const Morv::MilliPointTransformation& transformation,
                     const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains);
  ~ShadingPaintGetter() override;

  // Shading space to world.
  const Morv::MilliPointTransformation& Placement() const { return placement_; }
  // True once per line, on the first call for a line below the last one; the box
  // follows.
  bool BeginsLine(long long y);
  // `runs` within the bounding box on the current line, or null where it has none.
  const RunList* InBox(const RunList& runs) { return box_runs_.Restrict(runs); }

 private:
  ShadingPaintGetter(ShadingComponents components, const QorPaint::ShadingPaint& paint,
                     const Environment& env, const Morv::MilliPointTransformation& transformation,
                     const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains);

  Morv::MilliPointTransformation placement_;
  ShadingBoxRuns box_runs_;
  long long last_line_ = 0;
  bool started_ = false;
};

}  // namespace QorSc
