// Non-separable blend functions (Hue, Saturation, Color, Luminosity) on CMYK ink.
//
// Cyan, magenta and yellow are complemented to red, green and blue, blended by the
// additive formulas, and complemented back; black comes from the backdrop for Hue,
// Saturation and Color and from the source for Luminosity. All in float, in the
// formulas' order:
//   Lum(C) = (0.3·r + 0.59·g) + 0.11·b
//   ClipColor: with l = Lum, n = min, x = max: n < 0 → l + ((C − l)·l)/(l − n);
//              then x > 1 → l + ((C − l)·(1 − l))/(x − l)
//   SetLum(C, l) = ClipColor(C + (l − Lum(C)))
//   SetSat(C, s): max > min → mid = ((mid − min)·s)/(max − min), max = s; else 0;
//                 min = 0. Ties: max is the first largest, min the first smallest
//                 of the rest, mid the remaining one.
// Nothing here allocates, throws or branches on the mode in a caller's loop: the
// mode is a template argument.
#pragma once

#include <algorithm>
#include <cstdint>

namespace QorSc {

struct Rgb {
  float v[3];
};

inline float Lum(const Rgb& c) {
  return (0.3f * c.v[0] + 0.59f * c.v[1]) + 0.11f * c.v[2];
}

inline Rgb ClipColor(Rgb c) {
  const float l = Lum(c);
  const float n = std::min(std::min(c.v[0], c.v[1]), c.v[2]);
  const float x = std::max(std::max(c.v[0], c.v[1]), c.v[2]);
  if (n < 0.0f) {
    for (float& v : c.v)
      v = l + ((v - l) * l) / (l - n);
  }
  if (x > 1.0f) {
    for (float& v : c.v)
      v = l + ((v - l) * (1.0f - l)) / (x - l);
  }
  return c;
}

inline Rgb SetLum(Rgb c, float l) {
  const float d = l - Lum(c);
  for (float& v : c.v)
    v = v + d;
  return ClipColor(c);
}

inline float Sat(const Rgb& c) {
  return std::max(std::max(c.v[0], c.v[1]), c.v[2]) - std::min(std::min(c.v[0], c.v[1]), c.v[2]);
}

inline Rgb SetSat(const Rgb& c, float s) {
  int hi = 0;
  for (int i = 1; i < 3; ++i) {
    if (c.v[i] > c.v[hi]) hi = i;
  }
  int lo = hi == 0 ? 1 : 0;
  for (int i = 0; i < 3; ++i) {
    if (i != hi && c.v[i] < c.v[lo]) lo = i;
  }
  const int mid = 3 - hi - lo;
  Rgb out{{0.0f, 0.0f, 0.0f}};
  if (c.v[hi] > c.v[lo]) {
    out.v[mid] = ((c.v[mid] - c.v[lo]) * s) / (c.v[hi] - c.v[lo]);
    out.v[hi] = s;
  }
  return out;
}

// B for the four process inks: backdrop cb and source cs unpremultiplied, C M Y K.
template <std::uint8_t kMode>
inline void NonSeparableBlend(const float cb[4], const float cs[4], float out[4]) {
  const Rgb b{{1.0f - cb[0], 1.0f - cb[1], 1.0f - cb[2]}};
  const Rgb s{{1.0f - cs[0], 1.0f - cs[1], 1.0f - cs[2]}};
  Rgb r;
  if constexpr (kMode == 1) {
    r = SetLum(SetSat(s, Sat(b)), Lum(b));
  } else if constexpr (kMode == 2) {
    r = SetLum(SetSat(b, Sat(s)), Lum(b));
  } else if constexpr (kMode == 3) {
    r = SetLum(s, Lum(b));
  } else {
    r = SetLum(b, Lum(s));
  }
  for (int i = 0; i < 3; ++i)
    out[i] = 1.0f - r.v[i];
  out[3] = kMode == 4 ? cs[3] : cb[3];
}

}  // namespace QorSc
