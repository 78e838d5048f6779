// A per-pixel reference of compositing, written from the transparency formulas on
// ink values: no intervals, no kinds, no pools, no library blend functions. For each
// pixel every covering object in painting order, in the same float order as the
// library (the orders are the library's contract):
//   B(x, y) per mode on unpremultiplied ink, Term = (ab·as)·B(Cb/ab, Cs/as) when both
//   alphas are ≥ 0.00001, Cr = ((1 − as)·Cb + (1 − ab)·Cs) + Term;
//   own alpha, alpha, shape: x = x + s − x·s.
// Groups: children paint into a group pixel (fresh and Absent when isolated, else a
// copy of the backdrop without own alpha and shape); the result goes back as one
// element, with the backdrop taken out of a non-isolated group's colour. Knockout
// levels composite each element against the level's initial backdrop and weight by
// its shape. The opaque copies (objects and groups) mirror the library's rules.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

namespace QorScTest {

// B(x, y) on ink values, x the backdrop's and y the source's.
inline float ReferenceBlend(std::uint32_t mode, float x, float y) {
  switch (mode) {
    case 0:
      return y;
    case 1:
      return 1.0f - (1.0f - x) * (1.0f - y);
    case 2:
      return x * y;
    case 3:
      return x <= 0.5f ? 2.0f * x * y : 1.0f - 2.0f * (1.0f - x) * (1.0f - y);
    case 4: {
      const float u = 1.0f - x;
      if (y >= 0.5f) return 1.0f - (2.0f * (1.0f - y) * u + u * u - u * u * 2.0f * (1.0f - y));
      const float d = u > 0.25f ? std::sqrt(u) : ((16.0f * u - 12.0f) * u + 4.0f) * u;
      return 1.0f - ((1.0f - 2.0f * y) * d + 2.0f * y * u);
    }
    case 5:
      return y <= 0.5f ? 2.0f * y * x : 1.0f - 2.0f * (1.0f - y) * (1.0f - x);
    case 6: {
      const float u = 1.0f - x;
      if (u >= y) return x > 0.99999f ? 1.0f : 0.0f;
      return 1.0f - u / y;
    }
    case 7: {
      const float v = 1.0f - y;
      if (x >= v) return x >= 0.00001f ? 1.0f : 0.0f;
      return x / v;
    }
    case 8:
      return y < x ? x : y;
    case 9:
      return x >= y ? y : x;
    case 10:
      return y >= x ? 1.0f - (y - x) : 1.0f - (x - y);
    default:
      return (1.0f - y) * (1.0f - x) + y * x;
  }
}

inline float ReferenceComposite(std::uint32_t mode, float ab, float Cb, float as, float Cs) {
  float term = 0.0f;
  if (ab >= 0.00001f && as >= 0.00001f) term = (ab * as) * ReferenceBlend(mode, Cb / ab, Cs / as);
  return ((1.0f - as) * Cb + (1.0f - ab) * Cs) + term;
}

// The non-separable modes on CMYK ink (1 Hue, 2 Saturation, 3 Color, 4 Luminosity):
// C, M, Y complemented to RGB for PDF's formulas, K from the backdrop (from the
// source for Luminosity). Ties in SetSat: max is the first largest, min the first
// smallest of the others.
struct ReferenceRgb {
  float r, g, b;
};

inline float ReferenceLum(const ReferenceRgb& c) {
  return (0.3f * c.r + 0.59f * c.g) + 0.11f * c.b;
}

inline ReferenceRgb ReferenceSetLum(ReferenceRgb c, float l) {
  const float d = l - ReferenceLum(c);
  c = {c.r + d, c.g + d, c.b + d};
  const float lum = ReferenceLum(c);
  const float n = std::min(std::min(c.r, c.g), c.b);
  const float x = std::max(std::max(c.r, c.g), c.b);
  if (n < 0.0f) {
    c = {lum + ((c.r - lum) * lum) / (lum - n), lum + ((c.g - lum) * lum) / (lum - n),
         lum + ((c.b - lum) * lum) / (lum - n)};
  }
  if (x > 1.0f) {
    c = {lum + ((c.r - lum) * (1.0f - lum)) / (x - lum),
         lum + ((c.g - lum) * (1.0f - lum)) / (x - lum),
         lum + ((c.b - lum) * (1.0f - lum)) / (x - lum)};
  }
  return c;
}

inline float ReferenceSat(const ReferenceRgb& c) {
  return std::max(std::max(c.r, c.g), c.b) - std::min(std::min(c.r, c.g), c.b);
}

inline ReferenceRgb ReferenceSetSat(const ReferenceRgb& c, float s) {
  float v[3] = {c.r, c.g, c.b};
  int hi = v[1] > v[0] ? 1 : 0;
  if (v[2] > v[hi]) hi = 2;
  int lo = -1;
  for (int i = 0; i < 3; ++i) {
    if (i != hi && (lo < 0 || v[i] < v[lo])) lo = i;
  }
  const int mid = 3 - hi - lo;
  float out[3] = {0.0f, 0.0f, 0.0f};
  if (v[hi] > v[lo]) {
    out[mid] = ((v[mid] - v[lo]) * s) / (v[hi] - v[lo]);
    out[hi] = s;
  }
  return {out[0], out[1], out[2]};
}

inline void ReferenceNonSeparable(std::uint8_t mode, const float cb[4], const float cs[4],
                                  float out[4]) {
  const ReferenceRgb b{1.0f - cb[0], 1.0f - cb[1], 1.0f - cb[2]};
  const ReferenceRgb s{1.0f - cs[0], 1.0f - cs[1], 1.0f - cs[2]};
  ReferenceRgb r;
  if (mode == 1) {
    r = ReferenceSetLum(ReferenceSetSat(s, ReferenceSat(b)), ReferenceLum(b));
  } else if (mode == 2) {
    r = ReferenceSetLum(ReferenceSetSat(b, ReferenceSat(s)), ReferenceLum(b));
  } else if (mode == 3) {
    r = ReferenceSetLum(s, ReferenceLum(b));
  } else {
    r = ReferenceSetLum(b, ReferenceLum(s));
  }
  out[0] = 1.0f - r.r;
  out[1] = 1.0f - r.g;
  out[2] = 1.0f - r.b;
  out[3] = mode == 4 ? cs[3] : cb[3];
}

inline float Clamp01(float v) {
  if (!(v >= 0.0f)) return 0.0f;
  return v > 1.0f ? 1.0f : v;
}

struct ReferencePaint {
  // One value per colour plane; nullopt = Absent.
  std::vector<std::optional<float>> values;
  float alpha = 1.0f;
  std::uint32_t mode = 0;
  bool alphaIsShape = false;
  std::uint8_t nonSeparable = 0;
};

struct ReferencePixel;

// The level a pixel is painted on: knockout, and then its initial backdrop (null:
// empty); and which colour plane holds each process ink (C, M, Y, K; −1 for none).
struct ReferenceLevel {
  bool knockout = false;
  const ReferencePixel* initial = nullptr;
  const int* process = nullptr;
};

struct ReferencePixel {
  std::vector<float> colour;
  std::vector<bool> absent;
  float own = 0.0f;
  float alpha = 0.0f;
  float shape = 0.0f;
  bool full = false;     // own alpha and shape come from an opaque copy
  bool touched = false;  // something of this level painted here

  explicit ReferencePixel(std::size_t planes, bool absentPlanes = false)
      : colour(planes, 0.0f), absent(planes, absentPlanes) {}

  float Ink(std::size_t c) const { return absent[c] ? 0.0f : colour[c]; }

  // An element with shape fs, opacity qs, alpha as and unpremultiplied inks cs.
  void Element(const std::vector<std::optional<float>>& cs, float fs, float qs, float as,
               std::uint32_t mode, const ReferenceLevel& level, std::uint8_t nonSeparable = 0) {
    if (nonSeparable != 0) {
      ProcessInks(cs, fs, qs, as, nonSeparable, level);
      std::vector<std::optional<float>> spots = cs;
      for (int i = 0; i < 4; ++i) {
        if (level.process[i] >= 0) spots[level.process[i]] = std::nullopt;
      }
      return Element(spots, fs, qs, as, 0, level);
    }
    touched = true;
    full = false;
    if (!level.knockout) {
      for (std::size_t c = 0; c < colour.size(); ++c) {
        if (!cs[c]) continue;
        colour[c] = ReferenceComposite(mode, alpha, Ink(c), as, as * *cs[c]);
        absent[c] = false;
      }
      own = own + as - own * as;
      alpha = alpha + as - alpha * as;
      shape = shape + fs - shape * fs;
      return;
    }
    const float a0 = level.initial != nullptr ? level.initial->alpha : 0.0f;
    for (std::size_t c = 0; c < colour.size(); ++c) {
      if (!cs[c]) continue;
      const float c0 = level.initial != nullptr ? level.initial->Ink(c) : 0.0f;
      const float comp = ReferenceComposite(mode, a0, c0, qs, qs * *cs[c]);
      colour[c] = (1.0f - fs) * Ink(c) + fs * comp;
      absent[c] = false;
    }
    own = (1.0f - fs) * own + fs * qs;
    alpha = (1.0f - fs) * alpha + fs * ((a0 + qs) - a0 * qs);
    shape = shape + fs - shape * fs;
  }

  // The process plates of a non-separable element, before the rest.
  void ProcessInks(const std::vector<std::optional<float>>& cs, float fs, float qs, float as,
                   std::uint8_t mode, const ReferenceLevel& level) {
    const ReferencePixel* backdrop = level.knockout ? level.initial : this;
    const float a = backdrop != nullptr ? backdrop->alpha : 0.0f;
    float raw[4], cb[4], src[4], b[4];
    for (int i = 0; i < 4; ++i) {
      const int p = level.process[i];
      raw[i] = p >= 0 && backdrop != nullptr ? backdrop->Ink(p) : 0.0f;
      cb[i] = a >= 0.00001f ? raw[i] / a : 0.0f;
      src[i] = p >= 0 && cs[p] ? *cs[p] : cb[i];
    }
    ReferenceNonSeparable(mode, cb, src, b);
    const float q = level.knockout ? qs : as;
    for (int i = 0; i < 4; ++i) {
      const int p = level.process[i];
      if (p < 0 || !cs[p]) continue;
      const float source = q * src[i];
      const float term = a >= 0.00001f && q >= 0.00001f ? (a * q) * b[i] : 0.0f;
      const float composite = ((1.0f - q) * raw[i] + (1.0f - a) * source) + term;
      colour[p] = level.knockout ? (1.0f - fs) * Ink(p) + fs * composite : composite;
      absent[p] = false;
    }
  }

  // An object with a flat paint, under mask value m (nullopt: no mask).
  void Paint(const ReferencePaint& p, const ReferenceLevel& level = {},
             std::optional<float> m = std::nullopt) {
    bool any_absent = false;
    for (const auto& v : p.values)
      any_absent = any_absent || !v.has_value();
    if (p.mode == 0 && p.nonSeparable == 0 && p.alpha > 0.99999f && !any_absent && !m) {
      for (std::size_t c = 0; c < colour.size(); ++c) {
        colour[c] = *p.values[c];
        absent[c] = false;
      }
      own = alpha = shape = 1.0f;
      full = touched = true;
      return;
    }
    const float mask = m.value_or(1.0f);
    const float fs = p.alphaIsShape ? p.alpha * mask : 1.0f;
    const float qs = p.alphaIsShape ? 1.0f : (p.alpha * 1.0f) * mask;
    Element(p.values, fs, qs, fs * qs, p.mode, level, p.nonSeparable);
  }
};

struct ReferenceGroup {
  bool isolated = false;
  bool knockout = false;
  float alpha = 1.0f;
  std::uint32_t mode = 0;
  bool alphaIsShape = false;
  std::uint8_t nonSeparable = 0;
};

// The pixel a group's children start from, over `backdrop` (null: none).
inline ReferencePixel StartGroup(const ReferenceGroup& g, const ReferencePixel& enclosing,
                                 const ReferenceLevel& level, const ReferencePixel** backdrop) {
  *backdrop = nullptr;
  if (!g.isolated) *backdrop = level.knockout ? level.initial : &enclosing;
  if (*backdrop == nullptr) return ReferencePixel(enclosing.colour.size(), true);
  ReferencePixel start = **backdrop;
  start.own = start.shape = 0.0f;
  start.full = start.touched = false;
  return start;
}

// The level the group's children paint on.
inline ReferenceLevel GroupLevel(const ReferenceGroup& g, const ReferencePixel* backdrop,
                                 const int* process) {
  return {g.knockout, g.knockout ? backdrop : nullptr, process};
}

// Composites the group's result `group` (started over `backdrop`) into `pixel`.
inline void EndGroup(const ReferenceGroup& g, const ReferencePixel& group,
                     const ReferencePixel* backdrop, ReferencePixel& pixel,
                     const ReferenceLevel& level, std::optional<float> m) {
  if (!group.touched) return;
  bool any_absent = false;
  for (bool a : group.absent)
    any_absent = any_absent || a;
  if (g.mode == 0 && g.nonSeparable == 0 && !m && g.alpha > 0.99999f && group.full && !any_absent) {
    pixel.colour = group.colour;
    pixel.absent = group.absent;
    pixel.own = pixel.alpha = pixel.shape = 1.0f;
    pixel.full = pixel.touched = true;
    return;
  }
  const float mask = m.value_or(1.0f);
  const float ag = group.own;
  const float as = (ag * g.alpha) * mask;
  const float fs = g.alphaIsShape ? (group.shape * g.alpha) * mask : group.shape;
  const float qs = fs >= 0.00001f ? as / fs : 0.0f;
  std::vector<std::optional<float>> cs(group.colour.size());
  for (std::size_t c = 0; c < cs.size(); ++c) {
    if (group.absent[c]) continue;
    if (backdrop == nullptr) {
      cs[c] = ag >= 0.00001f ? Clamp01(group.colour[c] / ag) : 0.0f;
      continue;
    }
    const float an = group.alpha;
    const float a0 = backdrop->alpha;
    const float cn = an >= 0.00001f ? group.colour[c] / an : 0.0f;
    const float c0 = a0 >= 0.00001f ? backdrop->Ink(c) / a0 : 0.0f;
    const float r = ag >= 0.00001f ? a0 / ag - a0 : 0.0f;
    cs[c] = Clamp01(cn + (cn - c0) * r);
  }
  pixel.Element(cs, fs, qs, as, g.mode, level, g.nonSeparable);
}

// Mask values from a rendered mask pixel: alpha, or 1 − min(1, grey(C + (1 − α)·BC))
// with grey ((0.3·C + 0.59·M) + 0.11·Y) + K over four plates, K alone over one.
inline float ReferenceMaskValue(const ReferencePixel& mask, bool alphaMask,
                                const std::vector<float>& backdrop) {
  if (alphaMask) return mask.alpha;
  static constexpr float kWeights[4] = {0.3f, 0.59f, 0.11f, 1.0f};
  float grey = 0.0f;
  for (std::size_t p = 0; p < mask.colour.size(); ++p) {
    const float w = mask.colour.size() == 4 ? kWeights[p] : 1.0f;
    grey = grey + w * (mask.Ink(p) + (1.0f - mask.alpha) * backdrop[p]);
  }
  return 1.0f - std::min(1.0f, grey);
}

}  // namespace QorScTest
