// Rounding of internal coordinates to pixel lines and columns, and the culling box
// built from it.
//
// Round means halves away from zero (std::llround's rule), never floor(v + 0.5): the two
// differ for negative coordinates, and every generator must agree with the others
// and with MakeGeometrySource. Values beyond ±2^62 (and NaN, taken as the negative
// bound) are clamped first, so that shapes far outside any pixel box stay defined.
#pragma once

#include <cmath>

#include "morv/transformation.h"
#include "qormath/rectangle.h"
#include "scan/environment.h"

namespace QorSc {

inline long long RoundToPixel(double v) {
  constexpr double kLimit = 4611686018427387904.0;  // 2^62
  // The clamp as two selects (maxsd and minsd): NaN fails the first comparison and
  // takes the negative bound.
  const double above = v > -kLimit ? v : -kLimit;
  const double c = above < kLimit ? above : kLimit;
  // std::llround's result without its library call (5 % of a page of thin strokes)
  // and without branches, which a coordinate's fraction makes unpredictable: the
  // truncation and the fraction c − i are exact within the clamp (beyond 2^52 every
  // double is whole and the fraction 0), so adding the comparisons of the fraction
  // with one half rounds halves away from zero exactly as llround does.
  const auto i = static_cast<long long>(c);
  const double fraction = c - static_cast<double>(i);
  return i + static_cast<long long>(fraction >= 0.5) - static_cast<long long>(fraction <= -0.5);
}

// The pixels that world `bounds` placed by `t` may reach: the box in internal space,
// grown by `grow` pixels on every side (for what the bounds cannot know, such as a
// stroke widened to the minimal stroke width), with each side rounded to a whole
// pixel, intersected with `limit`. Culling by it
// never drops a covered pixel, since a pixel is covered only when its centre lies
// inside the shape. Every culling step (collection, geometry sources, subpaths)
// uses this one box.
inline QorMath::Rectangle<long long> RoundedTargetBox(const Environment& env,
                                                      const Morv::MilliPointRectangle& bounds,
                                                      const Morv::MilliPointTransformation& t,
                                                      const QorMath::Rectangle<long long>& limit,
                                                      double grow = 0.0) {
  const QorMath::Rectangle<double> internal =
      env.WorldToInternal(Morv::TransformedBoundingBox(t, bounds));
  const QorMath::Rectangle<long long> rounded{
      RoundToPixel(internal.left - grow), RoundToPixel(internal.top - grow),
      RoundToPixel(internal.right + grow), RoundToPixel(internal.bottom + grow)};
  return QorMath::Intersect(rounded, limit);
}

}  // namespace QorSc
