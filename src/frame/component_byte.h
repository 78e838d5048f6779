// The byte a component value prints as, inline for the output's per-pixel loops
// (the exported ComponentToByte is this function behind a library call).
//
// (int)(v·255 + 0.5) in single precision with the low byte kept; outside int's range
// (or NaN) the value is clamped before the cast, which would otherwise be undefined;
// a trace of ink (v ≥ 1e-6, compared in double) never becomes 0.
#pragma once

#include <climits>

namespace QorSc {

inline unsigned char ComponentByte(float v) {
  const float scaled = v * 255.0f + 0.5f;
  int b = 0;
  if (scaled >= 2147483648.0f) {
    b = INT_MAX;
  } else if (scaled > -2147483648.0f) {
    b = static_cast<int>(scaled);
  } else if (scaled == scaled) {
    b = INT_MIN;
  }
  auto byte = static_cast<unsigned char>(b & 0xFF);
  if (byte == 0 && static_cast<double>(v) >= 1e-6) byte = 1;
  return byte;
}

}  // namespace QorSc
