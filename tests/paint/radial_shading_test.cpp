// Radial shadings against a brute-force oracle: for every pixel centre the largest
// parameter whose circle passes through it, found by scanning the parameter and
// bisecting, for nested and non-nested circles, zero radii, every extend and a
// non-uniform placement (ellipses on the page).

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "four_component_paths.h"
#include "paint/radial_shading_paint_getter.h"
#include "pixel_space.h"

namespace {

using QorPaint::RadialShadingPaint;
using QorSc::RadialShadingPaintGetter;
using QorSc::RunList;
using QorSc::SourcePaintBuffers;

struct Circles {
  double x0, y0, r0, x1, y1, r1;
};

std::shared_ptr<const RadialShadingPaint> Radial(const Circles& c, std::array<bool, 2> extends,
                                                 const Morv::MilliPointTransformation& t) {
  QorPaint::ShadingPaint::Common common;
  common.mapping = QorPaint::SeparationMapping({{"Spot", 0}}, false);
  common.transformation = t;
  auto ramp = std::make_shared<QorPaint::ExponentialFunction>(
      QorPaint::Interval{0.0, 1.0}, std::vector<QorPaint::Interval>{}, std::vector<double>{0.0},
      std::vector<double>{1.0}, 1.0);
  return std::make_shared<RadialShadingPaint>(
      common,
      std::array{RadialShadingPaint::Circle{{c.x0, c.y0}, c.r0},
                 RadialShadingPaint::Circle{{c.x1, c.y1}, c.r1}},
      ramp, QorPaint::Interval{}, extends);
}

// The largest s in the allowed range with |p − c(s)| = r(s) and r(s) >= 0.
std::optional<double> Oracle(const Circles& c, bool e0, bool e1, double px, double py) {
  const double lo = e0 ? -50.0 : 0.0;
  const double hi = e1 ? 50.0 : 1.0;
  auto g = [&](double s) {
    const double cx = c.x0 + s * (c.x1 - c.x0), cy = c.y0 + s * (c.y1 - c.y0);
    return std::hypot(px - cx, py - cy) - (c.r0 + s * (c.r1 - c.r0));
  };
  auto radius_ok = [&](double s) { return c.r0 + s * (c.r1 - c.r0) >= 0.0; };
  const int steps = 4000;
  double prev_s = hi, prev_g = g(hi);
  if (prev_g == 0.0 && radius_ok(hi)) return hi;
  for (int i = 1; i <= steps; ++i) {
    const double s = hi - (hi - lo) * i / steps;
    const double v = g(s);
    if ((v <= 0.0) != (prev_g <= 0.0) && radius_ok(s) && radius_ok(prev_s)) {
      double a = s, b = prev_s;  // g(a), g(b) of opposite signs
      for (int k = 0; k < 80; ++k) {
        const double m = 0.5 * (a + b);
        if ((g(m) <= 0.0) == (v <= 0.0)) a = m; else b = m;
      }
      return 0.5 * (a + b);
    }
    prev_s = s;
    prev_g = v;
  }
  return std::nullopt;
}

void Check(const Circles& c, std::array<bool, 2> extends, const Morv::MilliPointTransformation& t) {
  const QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  QorSc::Options::SeparationList plates;
  plates.Add("Spot", 0.0f);
  const QorSc::Options options(plates, {});
  RadialShadingPaintGetter getter(Radial(c, extends, Morv::MilliPointTransformation::Identity()),
                                  env, options, t, {0, 0, 100, 100}, chains);
  const Morv::MilliPointTransformation inverse = t.Inverse();
  const double n = static_cast<double>(getter.Entries());
  SourcePaintBuffers buffers(1, 0, 100);
  int status_mismatches = 0, pixels = 0;
  for (long long y = 0; y < 100; y += 4) {
    RunList runs{{0, 100}}, painted;
    getter.Compute({y}, runs, buffers, painted);
    std::vector<bool> in(100, false);
    for (const auto& run : painted) {
      for (long long x = run.start; x < run.End(); ++x)
        in[x] = true;
    }
    for (long long x = 0; x < 100; ++x) {
      ++pixels;
      const double wx = x + 0.5, wy = 100.0 - (y + 0.5);
      const auto s = Oracle(c, extends[0], extends[1], inverse.ApplyX(wx, wy),
                            inverse.ApplyY(wx, wy));
      if (s.has_value() != in[x]) {
        ++status_mismatches;
        continue;
      }
      if (!s) continue;
      const double want = std::clamp(*s, 0.0, 1.0);
      // Within one table row of the oracle's parameter.
      EXPECT_NEAR(buffers.Component(0)[x], want, 1.0 / n + 1e-5) << x << "," << y;
    }
  }
  // Only pixels whose centre grazes a circle's tangent may disagree.
  EXPECT_LE(status_mismatches, pixels / 200) << "painted/unpainted disagreements";
}

TEST(RadialShading, NestedCirclesPaintTheRingBetweenThem) {
  Check({50, 50, 10, 50, 50, 40}, {false, false}, {});
  Check({50, 50, 10, 50, 50, 40}, {true, true}, {});
  Check({40, 50, 0, 55, 45, 45}, {false, true}, {});
}

TEST(RadialShading, CirclesThatAreNotNestedFormACone) {
  Check({25, 50, 10, 75, 50, 20}, {false, false}, {});
  Check({25, 50, 10, 75, 50, 20}, {true, true}, {});
  Check({25, 50, 20, 75, 50, 5}, {true, false}, {});
  // Equal radii: a band (the quadratic's leading term vanishes along the axis).
  Check({30, 40, 10, 70, 60, 10}, {true, true}, {});
}

TEST(RadialShading, ZeroRadiiAndPlacementsThatMakeEllipses) {
  Check({30, 50, 0, 70, 50, 0}, {false, false}, {});
  const Morv::MilliPointTransformation squash{0.5, 0.1, -0.2, 1.5, 30, -20};
  Check({50, 50, 5, 60, 50, 30}, {true, true}, squash);
}

TEST(RadialShading, PixelsWithoutACircleAreNotPainted) {
  const QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  QorSc::Options::SeparationList plates;
  plates.Add("Spot", 0.0f);
  RadialShadingPaintGetter getter(Radial({50, 50, 0, 50, 50, 10}, {false, false}, {}), env,
                                  QorSc::Options(plates, {}), {}, {0, 0, 100, 100}, chains);
  SourcePaintBuffers buffers(1, 0, 100);
  RunList runs{{0, 100}}, painted;
  getter.Compute({10}, runs, buffers, painted);
  EXPECT_TRUE(painted.empty());
  getter.Compute({49}, runs, buffers, painted);
  ASSERT_EQ(painted.size(), 1u);
  EXPECT_EQ(painted[0], (QorSc::Run{40, 20}));
}

// Four components on the unrolled path against three on the general one.
TEST(RadialShading, FourComponentsWriteWhatTheGeneralPathWrites) {
  const QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  QorPaint::ShadingPaint::Common common;
  common.mapping = QorPaint::SeparationMapping({{"A", 0}, {"B", 1}, {"C", 2}, {"D", 3}}, false);
  auto ramp4 = std::make_shared<QorPaint::ExponentialFunction>(
      QorPaint::Interval{0.0, 1.0}, std::vector<QorPaint::Interval>{},
      std::vector<double>{0.0, 1.0, 0.2, 0.9}, std::vector<double>{1.0, 0.0, 0.7, 0.1}, 1.7);
  auto paint = std::make_shared<RadialShadingPaint>(
      common,
      std::array{RadialShadingPaint::Circle{{40, 45}, 5}, RadialShadingPaint::Circle{{55, 50}, 35}},
      ramp4, QorPaint::Interval{}, std::array{false, true});
  auto make = [&](std::initializer_list<const char*> names) {
    QorSc::Options::SeparationList plates;
    for (const char* name : names)
      plates.Add(name, 0.0f);
    return std::make_unique<RadialShadingPaintGetter>(
        paint, env, QorSc::Options(plates, {}), Morv::MilliPointTransformation{},
        QorMath::Rectangle<long long>{0, 0, 100, 100}, chains);
  };
  auto four = make({"A", "B", "C", "D"});
  auto three = make({"A", "B", "D"});
  QorScTest::ExpectFourComponentsMatchTheGeneralPath(*four, *three);
}

}  // namespace
