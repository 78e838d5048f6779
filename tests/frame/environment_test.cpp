#include "scan/environment.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "scan/errors.h"

namespace {

using QorSc::Environment;
using Rect = Environment::WorldRectangle;
using Box = QorMath::Rectangle<long long>;

constexpr long long kInt32Min = std::numeric_limits<std::int32_t>::min();

// US letter, 850 × 1100 pixels.
Environment Letter() {
  return Environment(Rect(0.0, 0.0, 612000.0, 792000.0), 850, 1100);
}
// A4 at 300 dpi across.
Environment A4() {
  return Environment(Rect(0.0, 0.0, 595276.0, 841890.0), 2480, 3508);
}

TEST(Environment, FactorsAndCurveError) {
  const Environment env(Rect(1000.0, 2000.0, 72000.0, 36000.0, 5), 1000, 1000);
  EXPECT_EQ(env.WorldToInternalXFactor(), 1000.0 / 72000.0);
  EXPECT_EQ(env.WorldToInternalYFactor(), 1000.0 / 36000.0);
  // Three tenths of a pixel along the finer axis (here y).
  EXPECT_EQ(env.GetCurveError(), 0.3 / (1000.0 / 36000.0));
  EXPECT_EQ(env.GetWorldView().Flags(), 5) << "the world view is copied whole";

  const Environment square(Rect(0.0, 0.0, 72000.0, 72000.0), 1000, 1000);
  EXPECT_EQ(square.GetCurveError(), 0.3 / (1000.0 / 72000.0));

  // A zero-sized world view is not guarded against: infinite factor, no tolerance.
  const Environment flat(Rect(0.0, 0.0, 0.0, 1000.0), 100, 100);
  EXPECT_TRUE(std::isinf(flat.WorldToInternalXFactor()));
  EXPECT_EQ(flat.GetCurveError(), 0.0);
}

TEST(Environment, WorldToInternalUsesTheStatedOperationOrder) {
  const Environment env = Letter();
  const QorMath::Rectangle<double> r = env.WorldToInternal(Rect(0.0, 68700.801, 1.0, 332142.791));
  // (top - (y0 + h)) * yf, not ((top - y0) - h) * yf = 543.27278888888895.
  EXPECT_EQ(r.top, 543.27278888888884);
  EXPECT_EQ(r.bottom, (792000.0 - 68700.801) * (1100.0 / 792000.0));

  // The world view's upper edge is internal y 0, its lower edge the target height.
  const Environment shifted(Rect(-5000.0, 10000.0, 612000.0, 792000.0), 850, 1100);
  EXPECT_EQ(shifted.WorldToInternalY(Environment::WorldCoordinate(802000.0)), 0.0);
  EXPECT_EQ(shifted.WorldToInternalY(Environment::WorldCoordinate(10000.0)), 1100.0);
  EXPECT_EQ(shifted.WorldToInternalX(Environment::WorldCoordinate(-5000.0)), 0.0);
  const QorSc::Point<double> p =
      shifted.WorldToInternal(Environment::WorldPoint(607000.0, 10000.0));
  EXPECT_EQ(p.x, 850.0);
  EXPECT_EQ(p.y, 1100.0);
}

// A whole polygon mapped in one call gives, bit for bit, what placing and mapping each
// corner alone gives: under rotations, shears, mirrors and odd views.
TEST(Environment, PolygonsMapAsTheirCornersDo) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  const Environment views[] = {Letter(), A4(),
                               Environment(Rect(-5000.3, 10000.7, 612000.1, 792000.9), 3401, 977)};
  for (const Environment& env : views) {
    for (int round = 0; round < 50; ++round) {
      const Morv::MilliPointTransformation t{unit(random) * 3,      unit(random) * 3,
                                             unit(random) * 3,      unit(random) * 3,
                                             unit(random) * 600000, unit(random) * 800000};
      std::vector<Environment::WorldPoint> corners;
      for (int k = 0; k < 1 + round % 9; ++k)
        corners.emplace_back(unit(random) * 700000, unit(random) * 900000);
      std::vector<QorSc::Point<double>> mapped(corners.size());
      env.TransformToInternal(t, corners.data(), corners.size(), mapped.data());
      for (std::size_t k = 0; k < corners.size(); ++k) {
        const QorSc::Point<double> alone = env.WorldToInternal(t.Apply(corners[k]));
        ASSERT_EQ(std::bit_cast<std::uint64_t>(mapped[k].x), std::bit_cast<std::uint64_t>(alone.x));
        ASSERT_EQ(std::bit_cast<std::uint64_t>(mapped[k].y), std::bit_cast<std::uint64_t>(alone.y));
      }
    }
  }
}

TEST(Environment, PointsDivideRectanglesMultiplyByReciprocal) {
  const Environment env = A4();
  EXPECT_EQ(env.InternalToWorldX(13.0).Value(), 3120.3983870967745);
  const Rect r = env.InternalToWorld(QorMath::Rectangle<double>{13.0, 0.0, 14.0, 1.0});
  EXPECT_EQ(r.X(), 3120.3983870967741);
  EXPECT_EQ(r.Flags(), 0);

  const Environment::WorldPoint p = env.InternalToWorld(QorSc::Point<double>{13.0, 2.0});
  EXPECT_EQ(p.x.Value(), 3120.3983870967745);
  EXPECT_EQ(p.y.Value(), 841890.0 - 2.0 / (3508.0 / 841890.0));
  EXPECT_EQ(env.InternalToWorldY(2.0).Value(), p.y.Value());

  // Height and width of a converted rectangle are differences of converted edges.
  const double rx = 1.0 / env.WorldToInternalXFactor();
  const double ry = 1.0 / env.WorldToInternalYFactor();
  EXPECT_EQ(r.Width(), (rx * 14.0 + 0.0) - r.X());
  EXPECT_EQ(r.Y(), 841890.0 - ry * 1.0);
  EXPECT_EQ(r.Height(), (841890.0 - ry * 0.0) - r.Y());
}

TEST(Environment, TargetToWorldUsesTheIntegerTargetSize) {
  const Environment env = Letter();
  const Rect r = env.TargetToWorld(Box{1, 0, 2, 1});
  EXPECT_EQ(r.X(), 719.99999999999989);
  EXPECT_EQ(env.InternalToWorldX(1.0).Value(), 720.0);
  EXPECT_EQ(r.Y(), 792000.0 - 1.0 * 792000.0 * (1.0 / 1100.0));
  EXPECT_EQ(r.Flags(), 0);

  const Rect whole = env.TargetToWorld(Box{0, 0, 850, 1100});
  EXPECT_EQ(whole.X(), 0.0);
  EXPECT_EQ(whole.Y(), 792000.0 - 1100.0 * 792000.0 * (1.0 / 1100.0));
}

TEST(Environment, WorldToTargetCoversWithFloorAndCeiling) {
  // One pixel is 72 millipoints.
  const Environment env(Rect(0.0, 0.0, 72000.0, 72000.0), 1000, 1000);
  const double px = 72.0;
  // Edges on pixel boundaries do not grow.
  EXPECT_EQ(env.WorldToTarget(Rect(10 * px, 72000.0 - 20 * px, 5 * px, 10 * px)),
            (Box{10, 10, 15, 20}));
  // An edge 0.001 pixel inside a boundary grows to that boundary.
  const double in = 0.001 * px;
  EXPECT_EQ(env.WorldToTarget(
                Rect(10 * px + in, 72000.0 - 20 * px + in, 5 * px - 2 * in, 10 * px - 2 * in)),
            (Box{10, 10, 15, 20}));
  // Left of the world view: floor, not truncation.
  EXPECT_EQ(env.WorldToTarget(Rect(-0.5 * px, 72000.0 - 1 * px, 1 * px, 1 * px)).left, -1);
  // Beyond the 32-bit range.
  const Box far = env.WorldToTarget(Rect(0.0, 0.0, 3e9 * px, 72000.0));
  EXPECT_EQ(far.right, kInt32Min);
  EXPECT_EQ(far.left, 0);
  const Box huge = env.WorldToTarget(Rect(0.0, 0.0, 1e300, 72000.0));
  EXPECT_EQ(huge.right, kInt32Min);
  // A zero-width world view: NaN edges.
  const Environment flat(Rect(0.0, 0.0, 0.0, 72000.0), 1000, 1000);
  const Box nan_box = flat.WorldToTarget(Rect(0.0, 0.0, 0.0, 72.0));
  EXPECT_EQ(nan_box.left, kInt32Min);
  EXPECT_EQ(nan_box.right, kInt32Min);
  EXPECT_EQ(nan_box.bottom, 1000);
}

TEST(Environment, LibraryErrorIsTheSingularTransformationError) {
  try {
    throw QorSc::SingularTransformationError();
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(),
                 "Determinant of transformation matrix is zero, can not calculate inverse");
  }
}

}  // namespace
