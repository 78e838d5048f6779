// QorSys::fastsqrt: the single-precision square root used by the raster arithmetic.
//
// Always correctly rounded (IEEE square root of a float, never a reciprocal-root
// estimate), so every platform and build produces the same bits. Called from per-pixel
// loops: it must stay inline, allocate nothing and never widen to double.
#pragma once

#include <cmath>

namespace QorSys {

inline float fastsqrt(float value) noexcept {
  return std::sqrt(value);
}

}  // namespace QorSys
