// Tests of the separable ink blend modes and the compositing equation.
//
// Where the arithmetic is fixed the checks are bit-exact, with inputs chosen so that
// a reordered or refactored expression, or a branch taken on the other side of its
// boundary, gives different bits. The table itself is cross-checked against an
// independent double-precision version of the usual additive formulas applied to
// complemented values. The test has no loops that matter for speed.
#include "composite/blend_term.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "composite/blend_kernels.h"
#include "qorsys/fastsqrt.h"
#include "reference_compositor.h"

namespace {

using QorSc::Blend;
using QorSc::BlendFunction;
using QorSc::BlendModeIndex;
using QorSc::BlendTermFunction;
using QorSc::CompositeInk;
using QorSc::SelectBlendKernel;
using QorSc::SelectBlendTerm;

constexpr std::uint32_t kNormal = 0;
constexpr std::uint32_t kMultiply = 1;
constexpr std::uint32_t kScreen = 2;
constexpr std::uint32_t kOverlay = 3;
constexpr std::uint32_t kSoftLight = 4;
constexpr std::uint32_t kHardLight = 5;
constexpr std::uint32_t kColorDodge = 6;
constexpr std::uint32_t kColorBurn = 7;
constexpr std::uint32_t kDarken = 8;
constexpr std::uint32_t kLighten = 9;
constexpr std::uint32_t kDifference = 10;
constexpr std::uint32_t kExclusion = 11;

const float kNaN = std::numeric_limits<float>::quiet_NaN();

// Calls f(std::integral_constant<std::uint32_t, M>{}) for every mode M of the table,
// so that a check can name Blend<M> and BlendFunction<M> at compile time.
template <class F>
void ForEveryMode(F f) {
  [&]<std::uint32_t... kModes>(std::integer_sequence<std::uint32_t, kModes...>) {
    (f(std::integral_constant<std::uint32_t, kModes>{}), ...);
  }
  (std::make_integer_sequence<std::uint32_t, QorSc::kBlendModeCount>{});
}

// Compared through the bits so that a wrong sign of zero or a NaN cannot pass.
::testing::AssertionResult SameBits(float expected, float actual) {
  if (std::bit_cast<std::uint32_t>(expected) == std::bit_cast<std::uint32_t>(actual))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "expected " << std::hexfloat << expected << " but got " << actual;
}

// The blend function through the term, with opaque alphas: dividing by 1 and
// multiplying by 1 * 1 leave the bits alone, so this is B(x, y) as the compositor
// sees it.
float Opaque(std::uint32_t mode, float x, float y) {
  return SelectBlendTerm(mode)(1.0f, x, 1.0f, y);
}

// ---- Independent double-precision reference ------------------------------------
// The usual additive separable formulas B'(cb, cs) on colour values (1 = white),
// applied to complemented ink: B(x, y) = 1 - B'(1 - x, 1 - y).

double RefMultiply(double cb, double cs) {
  return cb * cs;
}
double RefScreen(double cb, double cs) {
  return cb + cs - cb * cs;
}

double RefHardLight(double cb, double cs) {
  if (cs <= 0.5) return RefMultiply(cb, 2.0 * cs);
  return RefScreen(cb, 2.0 * cs - 1.0);
}

double RefSoftLight(double cb, double cs) {
  if (cs <= 0.5) return cb - (1.0 - 2.0 * cs) * cb * (1.0 - cb);
  const double d = cb <= 0.25 ? ((16.0 * cb - 12.0) * cb + 4.0) * cb : std::sqrt(cb);
  return cb + (2.0 * cs - 1.0) * (d - cb);
}

double RefColorDodge(double cb, double cs) {
  if (cb == 0.0) return 0.0;
  if (cs >= 1.0) return 1.0;
  return std::min(1.0, cb / (1.0 - cs));
}

double RefColorBurn(double cb, double cs) {
  if (cb >= 1.0) return 1.0;
  if (cs <= 0.0) return 0.0;
  return 1.0 - std::min(1.0, (1.0 - cb) / cs);
}

double RefAdditive(std::uint32_t mode, double cb, double cs) {
  switch (mode) {
    case kNormal:
      return cs;
    case kMultiply:
      return RefMultiply(cb, cs);
    case kScreen:
      return RefScreen(cb, cs);
    case kOverlay:
      return RefHardLight(cs, cb);
    case kSoftLight:
      return RefSoftLight(cb, cs);
    case kHardLight:
      return RefHardLight(cb, cs);
    case kColorDodge:
      return RefColorDodge(cb, cs);
    case kColorBurn:
      return RefColorBurn(cb, cs);
    case kDarken:
      return std::min(cb, cs);
    case kLighten:
      return std::max(cb, cs);
    case kDifference:
      return std::abs(cb - cs);
    default:
      return cb + cs - 2.0 * cb * cs;
  }
}

double RefInk(std::uint32_t mode, float x, float y) {
  return 1.0 - RefAdditive(mode, 1.0 - static_cast<double>(x), 1.0 - static_cast<double>(y));
}

std::vector<float> InkGrid() {
  std::vector<float> grid;
  for (int i = 0; i <= 40; ++i)
    grid.push_back(static_cast<float>(i) / 40.0f);
  grid.push_back(0.33f);
  grid.push_back(0.66f);
  grid.push_back(0.999f);
  grid.push_back(0.001f);
  return grid;
}

// ---- Normal and the term's structure ---------------------------------------------

TEST(BlendTerm, NormalMultipliesTheAlphasFirst) {
  const float ab = 0.515719295f;
  const float as = 0.573618233f;
  const float Cs = 0.512824774f;
  const float term = Blend<kNormal>::Term(ab, 0.25f, as, Cs);
  EXPECT_TRUE(SameBits(0.264473647f, term));
  EXPECT_TRUE(SameBits((ab * as) * (Cs / as), term));
  // The shortcut ab * Cs is what this guards against.
  EXPECT_FALSE(SameBits(ab * Cs, term));
  EXPECT_TRUE(SameBits(0.264473617f, ab * Cs));
}

// To the bit, over alphas either side of one and premultiplied values across the
// ink grid.
TEST(BlendTerm, EveryModeIsAlphaProductTimesBlendOfUnpremultipliedValues) {
  ForEveryMode([&](auto m) {
    for (const float ab : {0.25f, 0.7f, 1.0f}) {
      for (const float as : {0.3f, 0.45f, 1.0f}) {
        for (const float x : InkGrid()) {
          const float Cb = x * ab;
          const float Cs = (1.0f - x) * as;
          const float expected = (ab * as) * BlendFunction<m>::Apply(Cb / ab, Cs / as);
          ASSERT_TRUE(SameBits(expected, SelectBlendTerm(m)(ab, Cb, as, Cs)))
              << "mode " << m << " ab " << ab << " as " << as << " x " << x;
        }
      }
    }
  });
}

// ---- Compositing equation ----------------------------------------------------------

TEST(CompositeInk, SumsTheWeightedValuesBeforeAddingTheTerm) {
  // Found by searching random premultiplied values for a case where all three
  // groupings of the sum round differently.
  const float ab = 0.657399476f;
  const float Cb = 0.243468598f;
  const float as = 0.282719731f;
  const float Cs = 0.26038304f;
  const float term = Blend<kMultiply>::Term(ab, Cb, as, Cs);
  ASSERT_TRUE(SameBits(0x1.69b494p-3f, term));

  const float result = CompositeInk(ab, Cb, as, Cs, term);
  EXPECT_TRUE(SameBits(0x1.c3070ap-2f, result));
  EXPECT_TRUE(SameBits(((1.0f - as) * Cb + (1.0f - ab) * Cs) + term, result));

  const float termWithSource = (1.0f - as) * Cb + ((1.0f - ab) * Cs + term);
  const float termWithBackdrop = ((1.0f - as) * Cb + term) + (1.0f - ab) * Cs;
  EXPECT_FALSE(SameBits(termWithSource, result));
  EXPECT_FALSE(SameBits(termWithBackdrop, result));
}

// ---- Alpha guard -------------------------------------------------------------------

// The guard accepts alphas from exactly the threshold; below it, at zero, negative or
// NaN the term is zero, and a transparent operand leaves the other one as it is.
TEST(BlendTerm, AlphaGuardAndTransparentOperands) {
  const float low = 0.00001f;
  const float below = 0.0000099f;
  for (std::uint32_t mode = 0; mode <= kExclusion; ++mode) {
    SCOPED_TRACE(testing::Message() << "mode " << mode);
    const BlendTermFunction term = SelectBlendTerm(mode);
    // Backdrop and source at full colour of their alpha: x = y = 1.
    EXPECT_TRUE(SameBits((low * 0.5f) * Opaque(mode, 1.0f, 1.0f), term(low, low, 0.5f, 0.5f)));
    EXPECT_TRUE(SameBits((0.5f * low) * Opaque(mode, 1.0f, 1.0f), term(0.5f, 0.5f, low, low)));
    EXPECT_NE(0.0f, term(low, low, low, low));
    for (const auto& [ab, Cb, as, Cs] :
         {std::array{below, below, 0.5f, 0.5f}, std::array{0.5f, 0.5f, below, below},
          std::array{0.0f, 0.0f, 0.5f, 0.5f}, std::array{-1.0f, 0.5f, 0.5f, 0.5f},
          std::array{kNaN, 0.5f, 0.5f, 0.5f}, std::array{0.5f, 0.5f, kNaN, 0.5f},
          std::array{kNaN, kNaN, kNaN, kNaN}}) {
      EXPECT_TRUE(SameBits(0.0f, term(ab, Cb, as, Cs))) << ab << " " << Cb << " " << as;
    }

    const float source_gone = term(0.8f, 0.37f, 0.0f, 0.0f);
    EXPECT_TRUE(SameBits(0.0f, source_gone));
    EXPECT_TRUE(SameBits(0.37f, CompositeInk(0.8f, 0.37f, 0.0f, 0.0f, source_gone)));
    const float backdrop_gone = term(below, 0.0f, 0.6f, 0.45f);
    EXPECT_TRUE(SameBits(0.0f, backdrop_gone));
    EXPECT_TRUE(SameBits(0.45f, CompositeInk(0.0f, 0.0f, 0.6f, 0.45f, backdrop_gone)));
  }
}

// ---- ColorDodge and ColorBurn saturation -----------------------------------------

TEST(BlendFunction, ColorDodgeAndColorBurnSaturationThresholds) {
  for (const float y : InkGrid()) {
    EXPECT_TRUE(SameBits(1.0f, BlendFunction<kColorDodge>::Apply(1.0f, y))) << y;
    EXPECT_TRUE(SameBits(1.0f, Opaque(kColorDodge, 1.0f, y))) << y;
  }
  // ColorDodge's full-ink threshold is strict: saturated (u >= y) with y = 0, and with
  // a source that still leaves u >= y, on both sides of it.
  const float at = 0.99999f;
  const float above = std::nextafter(at, 2.0f);
  const float y = (1.0f - above) * 0.5f;
  EXPECT_TRUE(SameBits(0.0f, BlendFunction<kColorDodge>::Apply(at, 0.0f)));
  EXPECT_TRUE(SameBits(1.0f, BlendFunction<kColorDodge>::Apply(above, 0.0f)));
  EXPECT_TRUE(SameBits(0.0f, BlendFunction<kColorDodge>::Apply(at, y)));
  EXPECT_TRUE(SameBits(1.0f, BlendFunction<kColorDodge>::Apply(above, y)));

  // ColorBurn over no ink: y = 1 puts v = 0, so x >= v holds and the saturated branch
  // decides.
  EXPECT_TRUE(SameBits(0.0f, BlendFunction<kColorBurn>::Apply(0.0f, 1.0f)));
  EXPECT_TRUE(SameBits(1.0f, BlendFunction<kColorBurn>::Apply(0.00001f, 1.0f)));
  EXPECT_TRUE(
      SameBits(0.0f, BlendFunction<kColorBurn>::Apply(std::nextafter(0.00001f, 0.0f), 1.0f)));
  EXPECT_TRUE(SameBits(0.0f, Opaque(kColorBurn, 0.0f, 1.0f)));
  EXPECT_TRUE(SameBits(1.0f, Opaque(kColorBurn, 0.00001f, 1.0f)));
}

// ---- SoftLight's curve -------------------------------------------------------------

float Cubic(float u) {
  return ((16.0f * u - 12.0f) * u + 4.0f) * u;
}

float SoftLightLower(float x, float y, float d) {
  const float u = 1.0f - x;
  return 1.0f - ((1.0f - 2.0f * y) * d + 2.0f * y * u);
}

TEST(BlendFunction, SoftLightCurveSwitchesToTheRootAboveAQuarter) {
  EXPECT_TRUE(SameBits(Cubic(0.25f), QorSc::SoftLightCurve(0.25f)));
  const float above = std::nextafter(0.25f, 1.0f);
  // The two curves differ in the last bit here, so the branch is visible.
  ASSERT_FALSE(SameBits(Cubic(above), QorSys::fastsqrt(above)));
  EXPECT_TRUE(SameBits(QorSys::fastsqrt(above), QorSc::SoftLightCurve(above)));
  // Away from the joint, where the curves differ clearly.
  EXPECT_TRUE(SameBits(Cubic(0.2f), QorSc::SoftLightCurve(0.2f)));
  EXPECT_TRUE(SameBits(QorSys::fastsqrt(0.3f), QorSc::SoftLightCurve(0.3f)));
  for (int i = 0; i <= 250; ++i) {
    const float u = static_cast<float>(i) / 1000.0f;
    ASSERT_TRUE(SameBits(Cubic(u), QorSc::SoftLightCurve(u))) << u;
  }
}

TEST(BlendFunction, SoftLightUsesTheCurveOnTheComplementedBackdrop) {
  const float y = 0.2f;
  // x = 0.75 gives u = 0.25 exactly.
  EXPECT_TRUE(
      SameBits(SoftLightLower(0.75f, y, Cubic(0.25f)), BlendFunction<kSoftLight>::Apply(0.75f, y)));
  // The float just below 0.75 gives u just above 0.25.
  const float x = std::nextafter(0.75f, 0.0f);
  const float u = 1.0f - x;
  ASSERT_GT(u, 0.25f);
  EXPECT_TRUE(
      SameBits(SoftLightLower(x, y, QorSys::fastsqrt(u)), BlendFunction<kSoftLight>::Apply(x, y)));
  // Clearly on each side.
  EXPECT_TRUE(SameBits(SoftLightLower(0.8f, y, Cubic(1.0f - 0.8f)),
                       BlendFunction<kSoftLight>::Apply(0.8f, y)));
  EXPECT_TRUE(SameBits(SoftLightLower(0.7f, y, QorSys::fastsqrt(1.0f - 0.7f)),
                       BlendFunction<kSoftLight>::Apply(0.7f, y)));
  EXPECT_FALSE(SameBits(SoftLightLower(0.7f, y, Cubic(1.0f - 0.7f)),
                        BlendFunction<kSoftLight>::Apply(0.7f, y)));
}

// ---- Branch boundaries -------------------------------------------------------------
// At each boundary both branches agree on paper; the inputs make them differ in the
// last bit, so the branch taken is visible.

TEST(BlendFunction, OverlayAndHardLightAtHalfInkTakeTheLowerBranch) {
  const float other = 0.1f;
  const float lower = 2.0f * 0.5f * other;
  const float upper = 1.0f - 2.0f * (1.0f - 0.5f) * (1.0f - other);
  ASSERT_FALSE(SameBits(lower, upper));
  // Overlay branches on the backdrop, HardLight on the source.
  EXPECT_TRUE(SameBits(lower, BlendFunction<kOverlay>::Apply(0.5f, other)));
  EXPECT_TRUE(SameBits(lower, Opaque(kOverlay, 0.5f, other)));
  EXPECT_TRUE(SameBits(lower, BlendFunction<kHardLight>::Apply(other, 0.5f)));
  EXPECT_TRUE(SameBits(lower, Opaque(kHardLight, other, 0.5f)));
}

TEST(BlendFunction, SoftLightHalfInkSourceTakesTheFirstFormula) {
  const float x = 0.3f;
  const float y = 0.5f;
  const float u = 1.0f - x;
  const float first = 1.0f - (2.0f * (1.0f - y) * u + u * u - u * u * 2.0f * (1.0f - y));
  const float second = SoftLightLower(x, y, QorSc::SoftLightCurve(u));
  ASSERT_FALSE(SameBits(first, second));
  EXPECT_TRUE(SameBits(first, BlendFunction<kSoftLight>::Apply(x, y)));
  EXPECT_TRUE(SameBits(first, Opaque(kSoftLight, x, y)));
}

TEST(BlendFunction, ColorDodgeAndColorBurnEqualityTakesTheSaturatedBranch) {
  // Equality below 0.00001: the saturated branch gives full ink (ColorDodge, u = y) or
  // no ink (ColorBurn, x = v), the quotient the other.
  const float tiny = 0x1p-20f;
  ASSERT_TRUE(SameBits(tiny, 1.0f - (1.0f - tiny)));
  EXPECT_TRUE(SameBits(1.0f, BlendFunction<kColorDodge>::Apply(1.0f - tiny, tiny)));
  EXPECT_TRUE(SameBits(0.0f, BlendFunction<kColorBurn>::Apply(tiny, 1.0f - tiny)));
  // Away from the extremes both branches agree.
  EXPECT_TRUE(SameBits(0.0f, BlendFunction<kColorDodge>::Apply(0.75f, 0.25f)));
  EXPECT_TRUE(SameBits(1.0f, BlendFunction<kColorBurn>::Apply(0.25f, 0.75f)));
}

// ---- Exact expressions -------------------------------------------------------------

// Each mode's float expression, operation by operation and branch by branch, is the
// one the per-pixel reference compositor writes down; instance and dispatch agree.
TEST(BlendFunction, ModesAreEvaluatedAsWritten) {
  ForEveryMode([&](auto m) {
    for (const float x : InkGrid()) {
      for (const float y : InkGrid()) {
        const float expected = QorScTest::ReferenceBlend(m, x, y);
        ASSERT_TRUE(SameBits(expected, BlendFunction<m>::Apply(x, y)))
            << m << ": " << x << " " << y;
        ASSERT_TRUE(SameBits(expected, Opaque(m, x, y))) << m << ": " << x << " " << y;
      }
    }
  });
}

// ---- Cross-check against the additive formulas -----------------------------------

TEST(BlendFunction, MatchesComplementedAdditiveFormulas) {
  for (std::uint32_t mode = 0; mode <= kExclusion; ++mode) {
    for (const float x : InkGrid()) {
      for (const float y : InkGrid()) {
        const double expected = RefInk(mode, x, y);
        EXPECT_NEAR(expected, Opaque(mode, x, y), 1e-6)
            << "mode " << mode << " x " << x << " y " << y;
      }
    }
  }
}

// ---- Dispatch ----------------------------------------------------------------------

// One mapping from mode numbers to instances serves the terms and the kernels; modes
// above the table are Exclusion.
TEST(BlendModeIndex, IsTheModeOrExclusion) {
  for (const std::uint32_t mode :
       {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 10u, 11u, 12u, 13u, 14u, 15u, 1000u, 0xffffffffu}) {
    const std::uint32_t index = BlendModeIndex(mode);
    EXPECT_EQ(mode <= kDifference ? mode : kExclusion, index);
    if (mode > kExclusion) {
      EXPECT_EQ(&Blend<kExclusion>::Term, SelectBlendTerm(mode)) << mode;
    }
    for (unsigned shape = 0; shape < 16; ++shape) {
      const bool ab = (shape & 1u) != 0, cb = (shape & 2u) != 0, cs = (shape & 4u) != 0,
                 pm = (shape & 8u) != 0;
      EXPECT_EQ(SelectBlendKernel(index, ab, cb, cs, pm), SelectBlendKernel(mode, ab, cb, cs, pm))
          << "mode " << mode << " shape " << shape;
    }
  }
}

// The very instance, so the dispatched term gives its bits for any input.
TEST(BlendModeIndex, SelectedTermIsTheModesInstance) {
  ForEveryMode([](auto m) { EXPECT_EQ(&Blend<m>::Term, SelectBlendTerm(m)) << "mode " << m; });
}

// Nothing throws.
static_assert(noexcept(BlendModeIndex(0)));
static_assert(noexcept(SelectBlendTerm(0)));
static_assert(noexcept(Blend<kSoftLight>::Term(1.0f, 0.5f, 1.0f, 0.5f)));
static_assert(noexcept(CompositeInk(1.0f, 0.5f, 1.0f, 0.5f, 0.0f)));

}  // namespace
