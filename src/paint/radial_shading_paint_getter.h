// RadialShadingPaintGetter: colours of a family of circles interpolated between two
// circles, the later circle painting over the earlier (PDF radial shadings).
//
// Per pixel the parameter s is the largest root, with a radius r(s) >= 0, of
// |p − c(s)| = r(s), where c(s) and r(s) run linearly from the start circle (s = 0)
// to the end circle (s = 1); roots beyond an end count only where that end is
// extended, and a pixel with no usable root is not painted. The equation is solved
// in shading space, so any affine placement (ellipses on the page) is exact. The
// colour comes from the same kind of table as an axial shading (same kinds, size
// rule, extends, bounding box and noise).
//
// Invariants: lines come top to bottom; Compute allocates nothing and evaluates no
// function; the pixel loop branches only on the data (which root applies).
#pragma once

#include <cmath>
#include <memory>
#include <optional>

#include "paint/shading_paint_getter.h"
#include "paint/shading_table.h"
#include "qorpaint/shading_paint.h"
#include "raster/path_edges.h"
#include "raster/run_length_generator.h"
#include "scan/environment.h"
#include "scan/options.h"

namespace QorSc {

class RadialShadingPaintGetter final : public ShadingPaintGetter {
 public:
  RadialShadingPaintGetter(std::shared_ptr<const QorPaint::RadialShadingPaint> paint,
                           const Environment& env, const Options& options,
                           const Morv::MilliPointTransformation& transformation,
                           const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains);
  ~RadialShadingPaintGetter() override;

  void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override;

  std::size_t Entries() const { return table_.Entries(); }
  const ShadingTable& Table() const { return table_; }

  // The parameter s at the shading-space point (x, y): true and s when a circle
  // of the shading passes through it under the extend rules.
  bool ParameterAt(double x, double y, double& s) const;

 private:
  // kFour: exactly four PerPixel components (process output), written unrolled.
  template <bool kNoise, bool kFour>
  void FillRun(const Run& run, double yc, SourcePaintBuffers& buffers, RunList& painted);

  std::shared_ptr<const QorPaint::RadialShadingPaint> paint_;
  ShadingTable table_;
  // Internal pixel space to shading space: s = inverse · (p − origin).
  bool invertible_ = false;
  double origin_x_ = 0.0, origin_y_ = 0.0;
  double ia_ = 0.0, ib_ = 0.0, ic_ = 0.0, id_ = 0.0;
  // The circle equation's constant parts.
  double c0x_ = 0.0, c0y_ = 0.0, r0_ = 0.0;
  double cdx_ = 0.0, cdy_ = 0.0, dr_ = 0.0;
  // The parameter from the circle equation's b and c: the larger root first, then
  // the smaller, each taken when its radius is not negative and it lies where the
  // shading is defined or extended. One square root and no division per pixel.
  struct Roots {
    double a = 0.0;
    double inverse_a = 0.0;
    double larger_sign = 1.0;  // with a > 0, (b + root) / a is the larger root
    double r0 = 0.0, dr = 0.0;
    // Where a root counts: [0, 1], opened to infinity on an extended side.
    double lowest = 0.0, highest = 1.0;

    void SetExtends(bool start, bool end) {
      lowest = start ? -HUGE_VAL : 0.0;
      highest = end ? HUGE_VAL : 1.0;
    }
    // Written so that a NaN is refused.
    bool Accepts(double r) const { return r0 + r * dr >= 0.0 && r >= lowest && r <= highest; }

    bool Root(double b, double c, double& s) const {
      if (a == 0.0) {
        if (b == 0.0) return false;
        const double only = c / (2.0 * b);
        if (!Accepts(only)) return false;
        s = only;
        return true;
      }
      const double disc = b * b - a * c;
      if (!(disc >= 0.0)) return false;
      const double root = std::sqrt(disc);
      const double larger = (b + larger_sign * root) * inverse_a;
      if (Accepts(larger)) {
        s = larger;
        return true;
      }
      const double smaller = (b - larger_sign * root) * inverse_a;
      if (!Accepts(smaller)) return false;
      s = smaller;
      return true;
    }
  };
  Roots roots_;
  std::optional<ShadingNoise> noise_;
  std::vector<std::size_t> per_pixel_;
  std::vector<float*> planes_;  // scratch of FillRun, one per PerPixel component
};

}  // namespace QorSc
