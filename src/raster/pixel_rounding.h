// Rounding of internal coordinates to pixel lines and columns.
//
// Round means halves away from zero (std::llround), never floor(v + 0.5): the two
// differ for negative coordinates, and every generator must agree with the others
// and with MakeGeometrySource. Values beyond ±2^62 (and NaN, taken as the negative
// bound) are clamped first, so that shapes far outside any pixel box stay defined.
#pragma once

#include <cmath>

namespace QorSc {

inline long long RoundToPixel(double v) {
  constexpr double kLimit = 4611686018427387904.0;  // 2^62
  if (!(v > -kLimit)) return -static_cast<long long>(kLimit);
  if (!(v < kLimit)) return static_cast<long long>(kLimit);
  return std::llround(v);
}

}  // namespace QorSc
