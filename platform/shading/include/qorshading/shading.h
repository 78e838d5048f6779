// General shadings resolved along scan lines.
//
// A Shading is built by ShadingFactory from a QorPaint::ShadingMesh and the map of
// shading space into target pixels. It turns the mesh into triangles in pixel space
// (a function-based shading's domain is two triangles carrying the domain
// coordinates, a patch is subdivided into triangles to a tolerance in pixels), each
// with values that vary linearly over it. Per scan line it yields the sorted spans
// that the triangles cover by the pixel-centre rule (pixel i of line j is covered
// when (i + 0.5, j + 0.5) lies inside: edges crossed where ymin < j + 0.5 <= ymax,
// columns round(x_left) <= i < round(x_right)) and the resolved colour of every
// covered pixel, later triangles painted over earlier ones. A function's values are
// within 1e-4 of the function at the pixel centre: exact at checked pixels, the
// chord between them where it is checked to be straight.
//
// Invariants: lines are asked for in ascending order; the line's colours live in one
// row of the pixel box's width (memory O(mesh + width)); resolving a line allocates
// nothing once the active list and spans have grown to their size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "morv/transformation.h"
#include "qormath/rectangle.h"
#include "qorpaint/shading_paint.h"

namespace QorShading {

// Shading space to target pixels (x right, y down), as six numbers.
using PixelPlacement = Morv::MilliPointTransformation;

struct Span {
  std::int64_t first;
  std::int64_t end;  // exclusive
};

class Shading {
 public:
  struct Triangle {
    double x[3];
    double y[3];
    std::size_t values;  // offset of its vertex values: three times `inputs`
    std::int64_t firstLine;
    std::int64_t endLine;
  };

  Shading(std::shared_ptr<const QorPaint::ShadingMesh> mesh, std::vector<Triangle> triangles,
          std::vector<double> values, std::size_t inputs,
          const QorMath::Rectangle<long long>& box);
  ~Shading();
  Shading(const Shading&) = delete;
  Shading& operator=(const Shading&) = delete;

  // The spans of line y, sorted and disjoint, and the line's colours.
  void CrossSection(long long y, std::vector<Span>& spans);
  // The resolved values at x (OutputCount() floats) of the last line, for x inside
  // one of its spans.
  const float* ValuesAt(long long x) const {
    return row_.data() + static_cast<std::size_t>(x - box_.left) * outputs_;
  }
  std::size_t OutputCount() const { return outputs_; }
  std::size_t TriangleCount() const { return triangles_.size(); }

 private:
  void Paint(const Triangle& t, long long y, std::vector<Span>& spans);
  // The function's values on pixels first to end − 1 of the current line, exact at
  // checked pixels and interpolated where the function is straight enough.
  void PaintFunction(long long first, long long end, double x0, const double* g, float* out);
  void EvaluateAt(long long x, double x0, const double* g, double* values);

  std::shared_ptr<const QorPaint::ShadingMesh> mesh_;
  std::vector<Triangle> triangles_;
  std::vector<double> values_;
  std::vector<double> gradients_;  // per triangle and value: d/dx, d/dy
  std::size_t inputs_;
  std::size_t outputs_;
  QorMath::Rectangle<long long> box_;
  std::vector<std::uint32_t> by_first_line_;
  std::size_t next_ = 0;
  std::vector<std::uint32_t> active_;
  std::vector<float> row_;
  std::vector<double> scratch_in_;
  std::vector<double> line_base_;
  std::vector<double> scratch_out_;
  std::vector<double> knot_a_;
  std::vector<double> knot_b_;
};

class ShadingFactory {
 public:
  // Patches are cut into pieces whose straight edges stay within `tolerance`
  // pixels of the surface and whose colours stay within about a level of the
  // bilinear ones (at most 64 pieces per side).
  static std::unique_ptr<Shading> MakeShading(std::shared_ptr<const QorPaint::ShadingMesh> mesh,
                                              const PixelPlacement& placement,
                                              const QorMath::Rectangle<long long>& box,
                                              double tolerance = 0.25);
};

}  // namespace QorShading
