// Morv::TransformationBase: an affine map of one coordinate system onto itself.
//
// Six numbers a, b, c, d, e, f; a point (x, y) maps to (a·x + c·y + e, b·x + d·y + f),
// evaluated in exactly that order (products first, left to right, then the
// translation), because results feed pixel decisions and must not differ in the last
// bit between callers. Compose(outer, inner) is the one way to chain two maps
// anywhere in the project: it yields the map p -> outer(inner(p)).
#pragma once

#include <algorithm>
#include <cstring>

#include "morv/coordinates.h"
#include "morv/singular_transformation.h"

namespace Morv {

template <class CS>
struct TransformationBase {
  double a = 1.0;
  double b = 0.0;
  double c = 0.0;
  double d = 1.0;
  double e = 0.0;  // translation x, in the units of CS
  double f = 0.0;  // translation y, in the units of CS

  static constexpr TransformationBase Identity() { return {}; }
  static constexpr TransformationBase Translation(double tx, double ty) {
    return {1.0, 0.0, 0.0, 1.0, tx, ty};
  }
  static constexpr TransformationBase Scale(double sx, double sy) {
    return {sx, 0.0, 0.0, sy, 0.0, 0.0};
  }

  constexpr double ApplyX(double x, double y) const { return a * x + c * y + e; }
  constexpr double ApplyY(double x, double y) const { return b * x + d * y + f; }
  constexpr PointBase<CS> Apply(const PointBase<CS>& p) const {
    return {ApplyX(p.x.Value(), p.y.Value()), ApplyY(p.x.Value(), p.y.Value())};
  }

  constexpr double Determinant() const { return a * d - b * c; }

  // The inverse map; throws SingularTransformationError when the determinant is 0.
  TransformationBase Inverse() const {
    const double det = Determinant();
    if (det == 0.0) throw SingularTransformationError();
    TransformationBase r{d / det, -b / det, -c / det, a / det, 0.0, 0.0};
    r.e = -(r.a * e + r.c * f);
    r.f = -(r.b * e + r.d * f);
    return r;
  }

  friend constexpr bool operator==(const TransformationBase&, const TransformationBase&) = default;
};

// p -> outer(inner(p)).
template <class CS>
constexpr TransformationBase<CS> Compose(const TransformationBase<CS>& outer,
                                         const TransformationBase<CS>& inner) {
  return {outer.a * inner.a + outer.c * inner.b,
          outer.b * inner.a + outer.d * inner.b,
          outer.a * inner.c + outer.c * inner.d,
          outer.b * inner.c + outer.d * inner.d,
          outer.a * inner.e + outer.c * inner.f + outer.e,
          outer.b * inner.e + outer.d * inner.f + outer.f};
}

// The smallest upright rectangle holding the four transformed corners of `r`. The
// result's flag byte is clear.
template <class CS>
constexpr RectangleBase<CS> TransformedBoundingBox(const TransformationBase<CS>& t,
                                                   const RectangleBase<CS>& r) {
  const double xs[2] = {r.X(), r.X() + r.Width()};
  const double ys[2] = {r.Y(), r.Y() + r.Height()};
  double x0 = t.ApplyX(xs[0], ys[0]);
  double y0 = t.ApplyY(xs[0], ys[0]);
  double x1 = x0;
  double y1 = y0;
  for (double x : xs) {
    for (double y : ys) {
      const double tx = t.ApplyX(x, y);
      const double ty = t.ApplyY(x, y);
      x0 = std::min(x0, tx);
      x1 = std::max(x1, tx);
      y0 = std::min(y0, ty);
      y1 = std::max(y1, ty);
    }
  }
  return RectangleBase<CS>(x0, y0, x1 - x0, y1 - y0);
}

// Equal to the bit (unlike ==, 0 and -0 differ and a NaN equals itself): the test
// for holders of equal transformations to keep one shared copy without changing a
// single result.
template <class CS>
bool IdenticalBits(const TransformationBase<CS>& x, const TransformationBase<CS>& y) {
  static_assert(sizeof(TransformationBase<CS>) == 6 * sizeof(double));
  return std::memcmp(&x, &y, sizeof x) == 0;
}

using MilliPointTransformation = TransformationBase<MilliPointCoordinateSystem>;

}  // namespace Morv
