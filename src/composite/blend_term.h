// Separable blend modes on ink values, and the compositing equation that uses them.
//
// Values are ink amounts: 0 is no ink, 1 is full ink. While compositing they are
// premultiplied: a value V with alpha a stands for the colour V / a. The blend
// functions B(x, y) take the backdrop's unpremultiplied ink x and the source's y;
// each equals 1 - B'(1 - x, 1 - y) of the usual additive formula B' on colours, so
// the names keep their visual meaning when the values count ink.
//
// Invariants: every result is a fixed sequence of single-precision operations, and
// results are reproduced bit for bit (the build forbids contraction into fused
// multiply-adds and fast-math). A BlendTerm is 0 whenever either alpha is below
// 0.00001 or is NaN, and then divides by nothing.
//
// Modes are numbered 0 Normal, 1 Multiply, 2 Screen, 3 Overlay, 4 SoftLight,
// 5 HardLight, 6 ColorDodge, 7 ColorBurn, 8 Darken, 9 Lighten, 10 Difference,
// 11 Exclusion; every number above 11 is Exclusion as well.
//
// Hot loop: a compositor resolves the mode once per span, through the kernel table of
// blend_kernels.h, whose loops are instantiated on Blend<kMode>::Term. Nothing here
// may branch on the mode at run time, call through a pointer, allocate, throw or use
// double.
#pragma once

#include <array>
#include <cstdint>
#include <utility>

#include "qorsys/fastsqrt.h"

namespace QorSc {

// BlendFunction<kMode>::Apply(x, y) is B(x, y) of one mode. Every expression is
// written, and must stay written, in the order it is evaluated: products and sums
// associate left to right (2.0f * x * y is (2 * x) * y) and the operands are not
// reordered or factored. Algebraically equal rewrites round differently in the last
// bit, and the results are compared bit for bit.
//
// The primary template is Exclusion, so that every mode number above 11 means
// Exclusion here too.
template <std::uint32_t kMode>
struct BlendFunction {
  static float Apply(float x, float y) noexcept { return (1.0f - y) * (1.0f - x) + y * x; }
};

// Normal.
template <>
struct BlendFunction<0> {
  static float Apply(float, float y) noexcept { return y; }
};

// Multiply: the colours multiply, so the inks accumulate.
template <>
struct BlendFunction<1> {
  static float Apply(float x, float y) noexcept { return 1.0f - (1.0f - x) * (1.0f - y); }
};

// Screen: the colours screen each other, so the inks thin each other out.
template <>
struct BlendFunction<2> {
  static float Apply(float x, float y) noexcept { return x * y; }
};

// Overlay: the backdrop's ink chooses the half, and 0.5 belongs to the lower one.
template <>
struct BlendFunction<3> {
  static float Apply(float x, float y) noexcept {
    if (x <= 0.5f) return 2.0f * x * y;
    return 1.0f - 2.0f * (1.0f - x) * (1.0f - y);
  }
};

// The darkening curve of SoftLight, on u = 1 - x: the cubic keeps its low end smooth,
// and it meets the square root at u = 0.25 with the same value and slope.
inline float SoftLightCurve(float u) noexcept {
  if (u > 0.25f) return QorSys::fastsqrt(u);
  return ((16.0f * u - 12.0f) * u + 4.0f) * u;
}

// SoftLight. The first formula stays expanded, not factored, because factoring
// rounds differently; y = 0.5 takes it.
template <>
struct BlendFunction<4> {
  static float Apply(float x, float y) noexcept {
    const float u = 1.0f - x;
    if (y >= 0.5f) return 1.0f - (2.0f * (1.0f - y) * u + u * u - u * u * 2.0f * (1.0f - y));
    return 1.0f - ((1.0f - 2.0f * y) * SoftLightCurve(u) + 2.0f * y * u);
  }
};

// HardLight: Overlay with the roles swapped, the source's ink choosing the half.
template <>
struct BlendFunction<5> {
  static float Apply(float x, float y) noexcept {
    if (y <= 0.5f) return 2.0f * y * x;
    return 1.0f - 2.0f * (1.0f - y) * (1.0f - x);
  }
};

// ColorDodge. Once the quotient saturates the result is no ink, except over a
// backdrop that is full ink to within 0.00001, which dodging cannot lighten.
template <>
struct BlendFunction<6> {
  static float Apply(float x, float y) noexcept {
    const float u = 1.0f - x;
    if (u >= y) return x > 0.99999f ? 1.0f : 0.0f;
    return 1.0f - u / y;
  }
};

// ColorBurn. Once the quotient saturates the result is full ink, except over a
// backdrop without ink (below 0.00001), which burning cannot darken.
template <>
struct BlendFunction<7> {
  static float Apply(float x, float y) noexcept {
    const float v = 1.0f - y;
    if (x >= v) return x >= 0.00001f ? 1.0f : 0.0f;
    return x / v;
  }
};

// Darken: the larger amount of ink; ties give the source.
template <>
struct BlendFunction<8> {
  static float Apply(float x, float y) noexcept { return y < x ? x : y; }
};

// Lighten: the smaller amount of ink; ties give the source.
template <>
struct BlendFunction<9> {
  static float Apply(float x, float y) noexcept { return x >= y ? y : x; }
};

// Difference: subtracting the smaller from the larger keeps the difference exact
// before it is complemented.
template <>
struct BlendFunction<10> {
  static float Apply(float x, float y) noexcept {
    if (y >= x) return 1.0f - (y - x);
    return 1.0f - (x - y);
  }
};

// Blend<kMode>::Term(ab, Cb, as, Cs) is the blend's contribution to the composite,
// ab * as * B(Cb / ab, Cs / as), from premultiplied backdrop (ab, Cb) and source
// (as, Cs). The alphas are multiplied first and Normal goes the same way: ab * Cs is
// equal on paper but not in the last bit. The guard is written negated so that a NaN
// alpha fails it.
template <std::uint32_t kMode>
struct Blend {
  static float Term(const float& ab, const float& Cb, const float& as, const float& Cs) noexcept {
    if (!(ab >= 0.00001f) || !(as >= 0.00001f)) return 0.0f;
    return (ab * as) * BlendFunction<kMode>::Apply(Cb / ab, Cs / as);
  }
};

// The mode whose formulas a mode number selects: the number itself for 0..10, and
// 11 (Exclusion) for anything above. Every table of per-mode instances is indexed
// through this one mapping.
inline constexpr std::uint32_t kBlendModeCount = 12;

constexpr std::uint32_t BlendModeIndex(std::uint32_t mode) noexcept {
  return mode < kBlendModeCount - 1 ? mode : kBlendModeCount - 1;
}

// The term of a mode as a function pointer, for code that is not a pixel loop
// (setup, reference computations); pixel loops take a kernel (blend_kernels.h).
using BlendTermFunction = float (*)(const float&, const float&, const float&, const float&);

namespace blend_detail {
template <std::uint32_t... kModes>
constexpr std::array<BlendTermFunction, kBlendModeCount> TermTable(
    std::integer_sequence<std::uint32_t, kModes...>) noexcept {
  return {&Blend<kModes>::Term...};
}
}  // namespace blend_detail

inline BlendTermFunction SelectBlendTerm(std::uint32_t mode) noexcept {
  static constexpr std::array<BlendTermFunction, kBlendModeCount> kTerms =
      blend_detail::TermTable(std::make_integer_sequence<std::uint32_t, kBlendModeCount>{});
  return kTerms[BlendModeIndex(mode)];
}

// The compositing equation, Cr = (1 - as) * Cb + (1 - ab) * Cs + Term, on premultiplied
// values with Term from Blend<kMode>::Term. The two weighted values are summed first
// and the term added last; another order rounds differently.
inline float CompositeInk(float ab, float Cb, float as, float Cs, float term) noexcept {
  return ((1.0f - as) * Cb + (1.0f - ab) * Cs) + term;
}

}  // namespace QorSc
