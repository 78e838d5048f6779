#include "morv/stroke.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <span>
#include <vector>

namespace {

using Morv::Compound;
using Morv::DashPattern;
using Morv::LineCap;
using Morv::LineJoin;
using Morv::MilliPointPoint;
using Morv::PathBuilder;
using Morv::Subpath;

constexpr double kPi = std::numbers::pi;

// Brute-force coverage of a compound under the non-zero rule: winding numbers summed
// over every subpath taken as a closed polygon (each skipped outside its box).
class Coverage {
 public:
  explicit Coverage(const Compound& c) {
    EXPECT_EQ(c.GetWindingRule(), Morv::kNonZero);
    for (const Subpath& s : c.GetSubpaths()) {
      const std::span<const MilliPointPoint> points = s.VectorPoints();
      EXPECT_FALSE(points.empty()) << "an outline has no curves";
      if (points.empty()) continue;
      Polygon polygon{{points.begin(), points.end()},
                      points[0].x.Value(),
                      points[0].y.Value(),
                      points[0].x.Value(),
                      points[0].y.Value()};
      for (const MilliPointPoint& p : points) {
        polygon.x0 = std::min(polygon.x0, p.x.Value());
        polygon.y0 = std::min(polygon.y0, p.y.Value());
        polygon.x1 = std::max(polygon.x1, p.x.Value());
        polygon.y1 = std::max(polygon.y1, p.y.Value());
      }
      polygons_.push_back(std::move(polygon));
    }
  }

  int Winding(double x, double y) const {
    int winding = 0;
    for (const Polygon& polygon : polygons_) {
      if (x < polygon.x0 || x > polygon.x1 || y < polygon.y0 || y > polygon.y1) continue;
      const std::vector<MilliPointPoint>& p = polygon.points;
      for (std::size_t i = 0; i < p.size(); ++i) {
        const double ax = p[i].x.Value(), ay = p[i].y.Value();
        const double bx = p[(i + 1) % p.size()].x.Value(), by = p[(i + 1) % p.size()].y.Value();
        const double side = (bx - ax) * (y - ay) - (x - ax) * (by - ay);
        if (ay <= y) {
          if (by > y && side > 0.0) ++winding;
        } else if (by <= y && side < 0.0) {
          --winding;
        }
      }
    }
    return winding;
  }

  bool Inside(double x, double y) const { return Winding(x, y) != 0; }

  // Area painted inside the box, sampled at the centres of square cells.
  double Area(double x0, double y0, double x1, double y1, double step) const {
    double area = 0.0;
    for (double y = y0 + step / 2; y < y1; y += step) {
      for (double x = x0 + step / 2; x < x1; x += step) {
        if (Inside(x, y)) area += step * step;
      }
    }
    return area;
  }

  bool Empty() const { return polygons_.empty(); }

 private:
  struct Polygon {
    std::vector<MilliPointPoint> points;
    double x0, y0, x1, y1;
  };
  std::vector<Polygon> polygons_;
};

Compound Line(double x0, double y0, double x1, double y1) {
  return PathBuilder().MoveTo(x0, y0).LineTo(x1, y1).Build();
}

// The open polyline through x0, y0, x1, y1, ...
Compound Polyline(const std::vector<double>& xy) {
  PathBuilder builder;
  builder.MoveTo(xy[0], xy[1]);
  for (std::size_t i = 2; i < xy.size(); i += 2)
    builder.LineTo(xy[i], xy[i + 1]);
  return builder.Build();
}

Coverage StrokeOf(const Compound& path, double width, LineCap cap, LineJoin join = LineJoin::kMiter,
                  double miterLimit = 10.0, const DashPattern* dash = nullptr,
                  double tolerance = 0.005) {
  return Coverage(Morv::Stroke(path, width, cap, join, miterLimit, dash, tolerance));
}

// Stroked with miter joins and `dash`.
Coverage Dashed(const Compound& path, double width, LineCap cap, DashPattern dash,
                double tolerance = 0.005) {
  return StrokeOf(path, width, cap, LineJoin::kMiter, 10.0, &dash, tolerance);
}

TEST(Stroke, CapsAddTheirAreaToAStraightLine) {
  const Compound line = Line(0.0, 0.0, 20.0, 0.0);
  const double w = 4.0;
  EXPECT_NEAR(StrokeOf(line, w, LineCap::kButt).Area(-3, -3, 23, 3, 0.05), 20.0 * w, 0.2);
  EXPECT_NEAR(StrokeOf(line, w, LineCap::kSquare).Area(-3, -3, 23, 3, 0.05), 20.0 * w + w * w, 0.2);
  EXPECT_NEAR(StrokeOf(line, w, LineCap::kRound).Area(-3, -3, 23, 3, 0.05),
              20.0 * w + kPi * w * w / 4.0, 0.2);

  // The same line turned (length 20 along (3, 4)): caps follow the direction.
  const Compound slanted = Line(0.0, 0.0, 12.0, 16.0);
  EXPECT_NEAR(StrokeOf(slanted, w, LineCap::kSquare).Area(-3, -3, 15, 19, 0.05), 20.0 * w + w * w,
              0.3);
  const Coverage square = StrokeOf(slanted, w, LineCap::kSquare);
  // Just inside and outside the far square cap's corner, (12, 16) + 2·(0.6, 0.8) ± 2·(0.8, -0.6).
  EXPECT_TRUE(square.Inside(12.0 + 1.2 + 1.6 - 0.1, 16.0 + 1.6 - 1.2));
  EXPECT_FALSE(square.Inside(12.0 + 1.2 + 1.6 + 0.1, 16.0 + 1.6 - 1.2 + 0.1));
}

TEST(Stroke, DefaultToleranceFollowsTheWidth) {
  // Tolerance 0: round caps stay within width/50 of the true circle.
  const double w = 1000.0;
  const Compound line = Line(0.0, 0.0, 1000.0, 0.0);
  const Coverage c = Coverage(Morv::Stroke(line, w, LineCap::kRound, LineJoin::kRound, 10.0));
  for (int i = 1; i < 36; ++i) {
    const double angle = kPi / 2 + kPi * i / 36.0;
    const double inner = w / 2 - w / 50 * 1.01;
    EXPECT_TRUE(c.Inside(inner * std::cos(angle), inner * std::sin(angle))) << i;
    const double outer = w / 2 * 1.001;
    EXPECT_FALSE(c.Inside(outer * std::cos(angle), outer * std::sin(angle))) << i;
  }
}

struct CornerCase {
  LineJoin join;
  bool near_corner;  // 0.6 out on both axes: 0.85 from the vertex, beyond the bevel
  bool at_corner;    // 0.95 out on both axes: just inside the miter's corner
  double cut;        // the area each corner lacks of the miter's
};

TEST(Stroke, ClosedSquareCornersFollowTheJoin) {
  const Compound square = PathBuilder().Rectangle(0.0, 0.0, 10.0, 10.0).Build();
  const double w = 2.0;
  for (const CornerCase& k : {CornerCase{LineJoin::kMiter, true, true, 0.0},
                              CornerCase{LineJoin::kRound, true, false, 1.0 - kPi / 4},
                              CornerCase{LineJoin::kBevel, false, false, 0.5}}) {
    const Coverage c = StrokeOf(square, w, LineCap::kButt, k.join);
    EXPECT_NEAR(c.Area(-2, -2, 12, 12, 0.05), 12.0 * 12.0 - 8.0 * 8.0 - 4 * k.cut, 0.2);
    // Every corner alike, the start corner included: closed subpaths join there.
    for (const auto& [vx, vy, sx, sy] :
         {std::array<double, 4>{0, 0, -1, -1}, std::array<double, 4>{10, 0, 1, -1},
          std::array<double, 4>{10, 10, 1, 1}, std::array<double, 4>{0, 10, -1, 1}}) {
      EXPECT_TRUE(c.Inside(vx - 0.4 * sx, vy - 0.4 * sy));  // the inner corner
      EXPECT_TRUE(c.Inside(vx + 0.4 * sx, vy + 0.4 * sy));  // inside every join
      EXPECT_EQ(c.Inside(vx + 0.6 * sx, vy + 0.6 * sy), k.near_corner);
      EXPECT_EQ(c.Inside(vx + 0.95 * sx, vy + 0.95 * sy), k.at_corner);
      EXPECT_FALSE(c.Inside(vx + 1.05 * sx, vy + 1.05 * sy));
    }
    // The hole stays open and the edges are w wide.
    EXPECT_FALSE(c.Inside(5.0, 5.0));
    EXPECT_FALSE(c.Inside(1.05, 5.0));
    EXPECT_TRUE(c.Inside(0.95, 5.0));
    EXPECT_TRUE(c.Inside(-0.95, 5.0));
    EXPECT_FALSE(c.Inside(-1.05, 5.0));
  }

  // The same four sides left open: no join at the start, butt caps end flush there.
  const Compound open =
      PathBuilder().MoveTo(0, 0).LineTo(10, 0).LineTo(10, 10).LineTo(0, 10).LineTo(0, 0).Build();
  const Coverage c = StrokeOf(open, w, LineCap::kButt, LineJoin::kMiter);
  EXPECT_FALSE(c.Inside(-0.5, -0.5));
  EXPECT_TRUE(c.Inside(0.5, -0.5));
  EXPECT_TRUE(c.Inside(-0.5, 0.5));
  EXPECT_TRUE(c.Inside(10.95, 10.95));
}

// The probe on the outer bisector halfway between the bevel's edge and the miter tip.
// `mirror` -1 turns right instead of left.
bool MiterProbeInside(double angle, double limit, double mirror = 1.0) {
  const double h = 5.0;
  // Arrive along +x at the origin, leave turning left so the pieces meet at `angle`.
  const double turn = kPi - angle;
  const Compound path = PathBuilder()
                            .MoveTo(-20.0, 0.0)
                            .LineTo(0.0, 0.0)
                            .LineTo(20.0 * std::cos(turn), mirror * 20.0 * std::sin(turn))
                            .Build();
  const Coverage c = StrokeOf(path, 2 * h, LineCap::kButt, LineJoin::kMiter, limit);
  const double s = std::sin(angle / 2);
  const double distance = h * (s + 1.0 / s) / 2.0;
  // Outer bisector: the outer normals are (0, -1) and (sin turn, -cos turn).
  const double bx = std::sin(turn);
  const double by = -1.0 - std::cos(turn);
  const double norm = std::hypot(bx, by);
  return c.Inside(distance * bx / norm, mirror * distance * by / norm);
}

TEST(Stroke, MiterLimitSwitchesToBevelAtTheMiterRatio) {
  for (double degrees : {20.0, 45.0, 60.0, 90.0, 120.0, 150.0}) {
    const double angle = degrees * kPi / 180.0;
    const double ratio = 1.0 / std::sin(angle / 2);
    for (double mirror : {1.0, -1.0}) {
      EXPECT_TRUE(MiterProbeInside(angle, ratio * (1 + 1e-9), mirror)) << degrees;
      EXPECT_FALSE(MiterProbeInside(angle, ratio * (1 - 1e-9), mirror)) << degrees;
    }
  }
  // Right angles: ratio √2.
  EXPECT_TRUE(MiterProbeInside(kPi / 2, 1.415));
  EXPECT_FALSE(MiterProbeInside(kPi / 2, 1.414));
}

TEST(Stroke, SymmetricPathGivesSymmetricStroke) {
  const Compound chevron = PathBuilder().MoveTo(-10, 0).LineTo(0, 12).LineTo(10, 0).Build();
  const Compound reversed = PathBuilder().MoveTo(10, 0).LineTo(0, 12).LineTo(-10, 0).Build();
  for (LineJoin join : {LineJoin::kMiter, LineJoin::kRound, LineJoin::kBevel}) {
    for (LineCap cap : {LineCap::kButt, LineCap::kRound, LineCap::kSquare}) {
      const Coverage c = StrokeOf(chevron, 3.0, cap, join);
      const Coverage r = StrokeOf(reversed, 3.0, cap, join);
      int mismatches = 0;
      for (double y = -4.013; y < 20; y += 0.17) {
        for (double x = 0.0071; x < 14; x += 0.17) {
          const bool inside = c.Inside(x, y);
          if (inside != c.Inside(-x, y)) ++mismatches;
          if (inside != r.Inside(x, y)) ++mismatches;
        }
      }
      EXPECT_EQ(mismatches, 0) << int(join) << " " << int(cap);
    }
  }
}

// Probes at the middle of every unit interval along y = 0 from x = -1 to 11.
std::vector<bool> ProbeAlongX(const Coverage& c) {
  std::vector<bool> covered;
  for (double x = -0.5; x < 11.0; x += 1.0)
    covered.push_back(c.Inside(x, 0.0));
  return covered;
}

std::vector<bool> Expect(const char* pattern) {
  std::vector<bool> out;
  for (const char* p = pattern; *p; ++p)
    out.push_back(*p == '#');
  return out;
}

TEST(Stroke, DashesCoverTheirIntervals) {
  const Compound line = Line(0.0, 0.0, 10.0, 0.0);
  auto dashed = [&](std::vector<double> array, double phase) {
    return ProbeAlongX(Dashed(line, 1.0, LineCap::kButt, {std::move(array), phase}));
  };
  //                          -1 0 1 2 3 4 5 6 7 8 9 10
  EXPECT_EQ(dashed({3, 1}, 0), Expect(".###.###.##."));
  EXPECT_EQ(dashed({3, 1}, 1), Expect(".##.###.###."));
  EXPECT_EQ(dashed({3, 1}, 5), Expect(".##.###.###."));     // phase modulo the period
  EXPECT_EQ(dashed({3, 1}, 3), Expect("..###.###.#."));     // starts in the gap
  EXPECT_EQ(dashed({3, 1}, -1), Expect("..###.###.#."));    // wraps forward
  EXPECT_EQ(dashed({2}, 0), Expect(".##..##..##."));        // odd: on 2, off 2
  EXPECT_EQ(dashed({2, 1, 3}, 0), Expect(".##.###..#.."));  // 2 on 1 off 3 on 2 off 1 on 3 off
  // Not a pattern: solid.
  EXPECT_EQ(dashed({}, 0), Expect(".##########."));
  EXPECT_EQ(dashed({0, 0}, 0), Expect(".##########."));
  EXPECT_EQ(dashed({3, -1}, 0), Expect(".##########."));

  const DashPattern dash{{3, 1}, 0};
  const Coverage c = Dashed(line, 1.0, LineCap::kButt, dash);
  EXPECT_NEAR(c.Area(-2, -2, 12, 2, 0.05), 8.0, 0.05);
  // Caps apply to every dash: half the width on each end of [0, 3], [4, 7], [8, 10].
  const Coverage square = Dashed(line, 0.5, LineCap::kSquare, dash);
  EXPECT_TRUE(square.Inside(-0.2, 0.0));
  EXPECT_TRUE(square.Inside(3.2, 0.0));
  EXPECT_FALSE(square.Inside(3.3, 0.0));
  EXPECT_FALSE(square.Inside(3.7, 0.0));
  EXPECT_TRUE(square.Inside(3.8, 0.0));
  EXPECT_TRUE(square.Inside(10.2, 0.0));
  EXPECT_NEAR(square.Area(-2, -2, 12, 2, 0.05), (3.5 + 3.5 + 2.5) * 0.5, 0.05);
}

TEST(Stroke, DashesRunAcrossCornersAndRestartPerSubpath) {
  // (0,0) → (2,0) → (2,10): the first dash turns the corner and ends at (2, 1).
  const Compound bent = PathBuilder()
                            .MoveTo(0, 0)
                            .LineTo(2, 0)
                            .LineTo(2, 10)
                            .MoveTo(0, 20)
                            .LineTo(2, 20)
                            .LineTo(2, 30)
                            .Build();
  const Coverage c = Dashed(bent, 1.0, LineCap::kButt, {{3, 1}, 0});
  for (double base : {0.0, 20.0}) {
    EXPECT_TRUE(c.Inside(1.0, base));
    EXPECT_TRUE(c.Inside(2.45, base - 0.45));  // the miter corner inside the dash
    EXPECT_TRUE(c.Inside(2.0, base + 0.75));
    EXPECT_FALSE(c.Inside(2.0, base + 1.5));
    EXPECT_TRUE(c.Inside(2.0, base + 2.5));
    EXPECT_TRUE(c.Inside(2.0, base + 4.5));
    EXPECT_FALSE(c.Inside(2.0, base + 5.5));
    EXPECT_TRUE(c.Inside(2.0, base + 6.5));
  }

  // A closed square of perimeter 16 with [6 2]: on 0-6, off 6-8, on 8-14, off 14-16; the
  // second dash runs onto the closing side down to (0, 2).
  const Compound closed = PathBuilder().Rectangle(0, 0, 4, 4).Build();
  const DashPattern six{{6, 2}, 0};
  const Coverage k = Dashed(closed, 0.5, LineCap::kButt, six);
  EXPECT_TRUE(k.Inside(4.0, 1.0));
  EXPECT_FALSE(k.Inside(4.0, 3.0));
  EXPECT_TRUE(k.Inside(2.0, 4.0));
  EXPECT_TRUE(k.Inside(0.0, 3.0));
  EXPECT_FALSE(k.Inside(0.0, 1.0));
  // The same sides open: no closing side to dash.
  const Compound open = PathBuilder().MoveTo(0, 0).LineTo(4, 0).LineTo(4, 4).LineTo(0, 4).Build();
  const Coverage o = Dashed(open, 0.5, LineCap::kButt, six);
  EXPECT_TRUE(o.Inside(2.0, 4.0));
  EXPECT_FALSE(o.Inside(0.0, 3.0));
}

TEST(Stroke, ZeroLengthSubpathsDrawDots) {
  const Compound dot = PathBuilder().MoveTo(5, 5).LineTo(5, 5).Build();
  const Coverage round =
      StrokeOf(dot, 2.0, LineCap::kRound, LineJoin::kMiter, 10.0, nullptr, 0.0005);
  EXPECT_NEAR(round.Area(3, 3, 7, 7, 0.02), kPi, 0.02);
  EXPECT_TRUE(round.Inside(5.0 + 0.9 * std::cos(1.0), 5.0 + 0.9 * std::sin(1.0)));
  EXPECT_FALSE(round.Inside(5.72, 5.72));

  const Coverage square = StrokeOf(dot, 2.0, LineCap::kSquare);
  EXPECT_NEAR(square.Area(3, 3, 7, 7, 0.02), 4.0, 0.02);
  EXPECT_TRUE(square.Inside(5.95, 5.95));  // axis-aligned corner
  EXPECT_TRUE(square.Inside(4.05, 4.05));
  EXPECT_FALSE(square.Inside(6.05, 5.0));

  EXPECT_TRUE(Morv::Stroke(dot, 2.0, LineCap::kButt, LineJoin::kRound, 10.0).GetSubpaths().empty());

  // A closed single point and a curve that never leaves its start are dots too; a lone
  // open start point is nothing.
  const Compound closed_point({Subpath({5.0, 5.0}, {}, true)}, Morv::kNonZero);
  EXPECT_TRUE(StrokeOf(closed_point, 2.0, LineCap::kRound).Inside(5.5, 5.5));
  const Compound curled = PathBuilder().MoveTo(5, 5).CurveTo(5, 5, 5, 5, 5, 5).Build();
  EXPECT_TRUE(StrokeOf(curled, 2.0, LineCap::kSquare).Inside(5.9, 4.1));
  const Compound lone({Subpath({5.0, 5.0}, {}, false)}, Morv::kNonZero);
  EXPECT_TRUE(StrokeOf(lone, 2.0, LineCap::kRound).Empty());
}

// Dots and caps take their steps from a table for small step counts: their corners
// must be exactly the cosines and sines of the angles i·turn/count, on both sides of
// the table's end (a page rendered before and after the table is the same to the bit).
TEST(Stroke, DotAndCapCornersAreTheTrueStepsBitForBit) {
  const Compound dot = PathBuilder().MoveTo(5, 5).LineTo(5, 5).Build();
  const Compound line = PathBuilder().MoveTo(5, 5).LineTo(15, 5).Build();
  std::size_t largest = 0;
  for (const double tolerance : {0.3, 0.05, 0.004, 1.1e-3, 2e-4, 1e-5}) {
    const Compound disc =
        Morv::Stroke(dot, 2.0, LineCap::kRound, LineJoin::kMiter, 10.0, nullptr, tolerance);
    ASSERT_EQ(disc.GetSubpaths().size(), 1u);
    const std::span<const MilliPointPoint> corners = disc.GetSubpaths()[0].VectorPoints();
    const std::size_t count = corners.size();
    largest = std::max(largest, count);
    for (std::size_t i = 0; i < count; ++i) {
      const double angle = 2.0 * kPi * static_cast<double>(i) / static_cast<double>(count);
      const double c = std::cos(angle);
      const double s = std::sin(angle);
      ASSERT_EQ(corners[i],
                MilliPointPoint(5.0 + (1.0 * c - 0.0 * s) * 1.0, 5.0 + (1.0 * s + 0.0 * c) * 1.0))
          << count << " " << i;
    }
    // The end cap turns from the right side (0, -1) through the front to the left.
    const Compound capped =
        Morv::Stroke(line, 2.0, LineCap::kRound, LineJoin::kMiter, 10.0, nullptr, tolerance);
    ASSERT_EQ(capped.GetSubpaths().size(), 3u);
    const std::span<const MilliPointPoint> cap = capped.GetSubpaths()[2].VectorPoints();
    const std::size_t steps = cap.size() - 1;
    for (std::size_t i = 1; i < steps; ++i) {
      const double angle = kPi * static_cast<double>(i) / static_cast<double>(steps);
      const double c = std::cos(angle);
      const double s = std::sin(angle);
      ASSERT_EQ(cap[i], MilliPointPoint(15.0 + (0.0 * c - -1.0 * s) * 1.0,
                                        5.0 + (0.0 * s + -1.0 * c) * 1.0))
          << steps << " " << i;
    }
  }
  EXPECT_GT(largest, 64u);  // past the table too
}

// A round join of a turn below one arc step is drawn as one chord without computing
// its angle; turns on either side of the step, within rounding of it, must still get
// the number of arc steps the angle gives.
TEST(Stroke, RoundJoinsNearOneArcStepKeepTheirStepCount) {
  const double tolerance = 0.01;  // half width 1: an arc step of 2·acos(0.99)
  const double step = 2.0 * std::acos(1.0 - tolerance);
  std::mt19937 random(11);
  std::uniform_real_distribution<double> jitter(-1.0, 1.0);
  int chords = 0;
  int arcs = 0;
  for (int i = 0; i < 400; ++i) {
    const double scale = i < 200 ? 1e-6 : 1e-12;
    const double turn = step * (1.0 + scale * jitter(random)) * (i % 2 == 0 ? 1.0 : -1.0);
    const double x = 10.0 + 10.0 * std::cos(turn);
    const double y = 10.0 * std::sin(turn);
    const Compound path = PathBuilder().MoveTo(0, 0).LineTo(10, 0).LineTo(x, y).Build();
    const Compound outline =
        Morv::Stroke(path, 2.0, LineCap::kButt, LineJoin::kRound, 10.0, nullptr, tolerance);
    ASSERT_EQ(outline.GetSubpaths().size(), 3u);
    // The direction of the second piece as the stroker computes it.
    const double length = std::hypot(x - 10.0, y);
    const double ux = (x - 10.0) / length;
    const double uy = y / length;
    const double sweep = std::atan2(1.0 * uy - 0.0 * ux, 1.0 * ux + 0.0 * uy);
    const double steps = std::max(1.0, std::ceil(std::fabs(sweep) / step));
    const std::size_t corners = outline.GetSubpaths()[2].VectorPoints().size();
    ASSERT_EQ(corners, 2 + static_cast<std::size_t>(steps)) << turn;
    (steps == 1.0 ? chords : arcs) += 1;
  }
  EXPECT_GT(chords, 50);
  EXPECT_GT(arcs, 50);
}

TEST(Stroke, ZeroLengthDashesAreDotsAlongThePath) {
  // Dots every 2 units along (0,0) → (8,6), the ends included.
  const Compound line = Line(0.0, 0.0, 8.0, 6.0);
  const DashPattern dots{{0, 2}, 0};
  const Coverage round = Dashed(line, 1.0, LineCap::kRound, dots, 0.0005);
  EXPECT_NEAR(round.Area(-1, -1, 9, 7, 0.02), 6 * kPi / 4, 0.02);
  for (int i = 0; i <= 5; ++i)
    EXPECT_TRUE(round.Inside(1.6 * i, 1.2 * i)) << i;
  EXPECT_FALSE(round.Inside(0.8, 0.6));

  const Coverage square = Dashed(line, 1.0, LineCap::kSquare, dots);
  EXPECT_NEAR(square.Area(-1, -1, 9, 7, 0.02), 6.0, 0.02);
  // The square at (1.6, 1.2) is turned with the path: its corner lies along
  // 0.5·(0.8, 0.6) + 0.5·(-0.6, 0.8), not at (±0.5, ±0.5).
  EXPECT_TRUE(square.Inside(1.6 + 0.45 * 0.2, 1.2 + 0.45 * 1.4));
  EXPECT_FALSE(square.Inside(1.6 + 0.48, 1.2 + 0.48));

  EXPECT_TRUE(Dashed(line, 1.0, LineCap::kButt, dots).Empty());
}

// Whether (x, y) lies in the rectangle swept by the piece a-b at half width h.
bool InPiece(double x, double y, double ax, double ay, double bx, double by, double h) {
  const double dx = bx - ax;
  const double dy = by - ay;
  const double length = std::hypot(dx, dy);
  const double along = ((x - ax) * dx + (y - ay) * dy) / length;
  const double across = ((x - ax) * -dy + (y - ay) * dx) / length;
  return along >= 0.0 && along <= length && std::fabs(across) <= h;
}

TEST(Stroke, OverlapsNeverOpenHoles) {
  // A sharp zigzag, a path doubling back on itself and a self-crossing star: every
  // point of every piece's rectangle must be painted, whatever the join.
  const std::vector<std::vector<double>> paths = {
      {0, 0, 2, 10, 4, 0, 6, 10, 8, 0},
      {0, 0, 10, 0, 0, 0.001, 10, 0.002},
      {0, 0, 10, 0, 0, 0},
      {0, 0, 5, 9, 10, 0, -1, 6, 11, 6, 0, 0},
  };
  const double w = 3.0;
  for (const std::vector<double>& xy : paths) {
    const Compound path = Polyline(xy);
    for (LineJoin join : {LineJoin::kMiter, LineJoin::kRound, LineJoin::kBevel}) {
      const Coverage c = StrokeOf(path, w, LineCap::kButt, join, 4.0);
      int holes = 0;
      for (double y = -3.01; y < 13; y += 0.1) {
        for (double x = -3.01; x < 13; x += 0.1) {
          bool covered = false;
          for (std::size_t i = 0; i + 3 < xy.size() && !covered; i += 2) {
            covered = InPiece(x, y, xy[i], xy[i + 1], xy[i + 2], xy[i + 3], w / 2 * 0.999);
          }
          if (covered && !c.Inside(x, y)) ++holes;
        }
      }
      // Centre-line points near every vertex (the vertices themselves may lie on the
      // outline: the ends with butt caps, a full reversal with a bevel).
      for (std::size_t i = 0; i + 3 < xy.size(); i += 2) {
        for (double t : {1e-6, 0.001, 0.01, 0.1, 0.5, 0.9, 0.99, 0.999, 1 - 1e-6}) {
          const double x = xy[i] + (xy[i + 2] - xy[i]) * t;
          const double y = xy[i + 1] + (xy[i + 3] - xy[i + 1]) * t;
          if (!c.Inside(x, y)) ++holes;
        }
      }
      EXPECT_EQ(holes, 0) << "path " << (&xy - paths.data()) << " join " << int(join);
    }
  }

  // Doubling back: the pieces coincide and must not cancel; a round join caps the turn.
  const Compound back = PathBuilder().MoveTo(0, 0).LineTo(10, 0).LineTo(0, 0).Build();
  EXPECT_NEAR(StrokeOf(back, 2.0, LineCap::kButt, LineJoin::kBevel).Area(-2, -2, 12, 2, 0.05), 20.0,
              0.1);
  EXPECT_NEAR(StrokeOf(back, 2.0, LineCap::kButt, LineJoin::kRound).Area(-2, -2, 12, 2, 0.05),
              20.0 + kPi / 2, 0.1);
}

double DistanceToPiece(double x, double y, double ax, double ay, double bx, double by) {
  const double dx = bx - ax;
  const double dy = by - ay;
  const double t = std::clamp(((x - ax) * dx + (y - ay) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
  return std::hypot(x - (ax + dx * t), y - (ay + dy * t));
}

TEST(Stroke, RoundJoinsAndCapsPaintEverythingWithinHalfTheWidth) {
  // With round joins and caps the stroke is the set of points within w/2 of the path,
  // short pieces and sharp turns included; only a band of the arc tolerance around the
  // outline is left undecided.
  std::mt19937 random(77u);
  std::uniform_real_distribution<double> coordinate(0.0, 10.0);
  const double w = 2.5;
  const double tolerance = 0.005;
  for (int round = 0; round < 4; ++round) {
    std::vector<double> xy;
    for (int i = 0; i < 7; ++i) {
      xy.push_back(coordinate(random));
      xy.push_back(coordinate(random));
    }
    const Coverage c =
        StrokeOf(Polyline(xy), w, LineCap::kRound, LineJoin::kRound, 10.0, nullptr, tolerance);
    int wrong = 0;
    for (double y = -2.003; y < 12.0; y += 0.07) {
      for (double x = -2.003; x < 12.0; x += 0.07) {
        double distance = std::numeric_limits<double>::infinity();
        for (std::size_t i = 0; i + 3 < xy.size(); i += 2) {
          distance =
              std::min(distance, DistanceToPiece(x, y, xy[i], xy[i + 1], xy[i + 2], xy[i + 3]));
        }
        if (distance < w / 2 - 1.01 * tolerance && !c.Inside(x, y)) ++wrong;
        if (distance > w / 2 && c.Inside(x, y)) ++wrong;
      }
    }
    EXPECT_EQ(wrong, 0) << "round " << round;
  }
}

TEST(Stroke, CurvesAreStrokedAlongTheirShape) {
  // A circle of radius 10 from four cubic quarters, stroked 2 wide: an annulus.
  const double r = 10.0;
  const double k = r * 4.0 / 3.0 * (std::sqrt(2.0) - 1.0);
  const Compound circle = PathBuilder()
                              .MoveTo(r, 0)
                              .CurveTo(r, k, k, r, 0, r)
                              .CurveTo(-k, r, -r, k, -r, 0)
                              .CurveTo(-r, -k, -k, -r, 0, -r)
                              .CurveTo(k, -r, r, -k, r, 0)
                              .Close()
                              .Build();
  for (LineJoin join : {LineJoin::kMiter, LineJoin::kBevel}) {
    const Coverage c = StrokeOf(circle, 2.0, LineCap::kButt, join, 10.0, nullptr, 0.01);
    EXPECT_NEAR(c.Area(-12, -12, 12, 12, 0.1), kPi * (11.0 * 11.0 - 9.0 * 9.0), 0.5);
    for (int i = 0; i < 64; ++i) {
      const double a = 2 * kPi * (i + 0.3) / 64;
      EXPECT_TRUE(c.Inside(10.9 * std::cos(a), 10.9 * std::sin(a))) << i;
      EXPECT_TRUE(c.Inside(9.1 * std::cos(a), 9.1 * std::sin(a))) << i;
      EXPECT_FALSE(c.Inside(11.1 * std::cos(a), 11.1 * std::sin(a))) << i;
      EXPECT_FALSE(c.Inside(8.9 * std::cos(a), 8.9 * std::sin(a))) << i;
    }
  }
}

// The pieces an outline hands out on one walk.
std::vector<std::vector<MilliPointPoint>> Pieces(const Morv::StrokeOutline& outline) {
  class Recorder final : public Morv::OutlineSink {
   public:
    void Piece(std::span<const MilliPointPoint> points) override {
      pieces.emplace_back(points.begin(), points.end());
    }
    std::vector<std::vector<MilliPointPoint>> pieces;
  } recorder;
  outline.Walk(recorder);
  return recorder.pieces;
}

// Whether `box` holds every corner of every piece.
::testing::AssertionResult Holds(const Morv::MilliPointRectangle& box,
                                 const std::vector<std::vector<MilliPointPoint>>& pieces) {
  for (const auto& piece : pieces) {
    for (const MilliPointPoint& p : piece) {
      if (p.x.Value() < box.X() || p.x.Value() > box.X() + box.Width() || p.y.Value() < box.Y() ||
          p.y.Value() > box.Y() + box.Height()) {
        return ::testing::AssertionFailure() << p.x.Value() << "," << p.y.Value() << " outside";
      }
    }
  }
  return ::testing::AssertionSuccess();
}

// An outline kept as its path and style hands out, on every walk, exactly the pieces
// Stroke lists (same points, same order); its box holds them all.
TEST(Stroke, OutlinesWalkTheSamePiecesAsStroke) {
  const auto path = PathBuilder()
                        .MoveTo(0, 0)
                        .CurveTo(30, 40, 60, -40, 90, 0)
                        .LineTo(90, 50)
                        .MoveTo(10, 10)
                        .Close()
                        .MoveTo(5, 60)
                        .LineTo(5.0001, 60)
                        .BuildShared();
  const DashPattern dash{{7.0, 3.0, 0.0, 3.0}, 2.0};
  for (const DashPattern* d : {static_cast<const DashPattern*>(nullptr), &dash}) {
    for (LineCap cap : {LineCap::kButt, LineCap::kRound, LineCap::kSquare}) {
      const Compound expected = Morv::Stroke(*path, 4.0, cap, LineJoin::kRound, 10.0, d, 0.05);
      const Morv::StrokeOutline outline(path, 4.0, cap, LineJoin::kRound, 10.0, d, 0.05);
      // A curve is bounded, not measured.
      EXPECT_FALSE(outline.Measured());
      std::vector<std::vector<MilliPointPoint>> corners;
      for (const Subpath& s : expected.GetSubpaths()) {
        ASSERT_FALSE(s.VectorPoints().empty());
        corners.emplace_back(s.VectorPoints().begin(), s.VectorPoints().end());
      }
      EXPECT_TRUE(Holds(outline.GetBoundingBox(), corners));
      for (int walk = 0; walk < 2; ++walk)
        EXPECT_EQ(Pieces(outline), corners);
      EXPECT_EQ(outline.ToCompound().GetSubpaths().size(), expected.GetSubpaths().size());
    }
  }
  // No width (or a negative or NaN one): no pieces and an all-zero box.
  for (double width : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_TRUE(
        Morv::Stroke(*path, width, LineCap::kRound, LineJoin::kRound, 10.0).GetSubpaths().empty())
        << width;
    const Morv::StrokeOutline none(path, width, LineCap::kRound, LineJoin::kRound, 10.0, nullptr,
                                   0.0);
    EXPECT_EQ(none.PieceCount(), 0u) << width;
    EXPECT_EQ(none.GetBoundingBox(), Morv::MilliPointRectangle()) << width;
  }
}

// Short solid polylines without round caps are measured: box and piece count are the
// compound's, bit for bit. Everything else gets a box that holds every corner of every
// piece, whatever the caps, joins, miter limit and dashes; it is the path's box grown
// by the reach.
TEST(Stroke, OutlineBoxesHoldEveryPiece) {
  const auto square = PathBuilder().MoveTo(0, 0).LineTo(40, 0).LineTo(40, 40).Close().BuildShared();
  for (LineJoin join : {LineJoin::kMiter, LineJoin::kRound, LineJoin::kBevel}) {
    const Morv::StrokeOutline outline(square, 6.0, LineCap::kSquare, join, 10.0, nullptr, 0.0);
    const Compound expected = Morv::Stroke(*square, 6.0, LineCap::kSquare, join, 10.0);
    EXPECT_TRUE(outline.Measured());
    EXPECT_EQ(outline.PieceCount(), expected.GetSubpaths().size());
    EXPECT_EQ(outline.GetBoundingBox(), expected.GetBoundingBox());
  }

  std::mt19937 random(5);
  std::uniform_real_distribution<double> coordinate(-1.0e6, 1.0e6);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const DashPattern dash{{3000.0, 1000.0, 0.0, 2000.0}, 500.0};
  for (int round = 0; round < 300; ++round) {
    PathBuilder builder;
    builder.MoveTo(coordinate(random), coordinate(random));
    const int segments = 1 + round % 12;
    for (int i = 0; i < segments; ++i) {
      if (round % 2 == 0) {
        builder.CurveTo(coordinate(random), coordinate(random), coordinate(random),
                        coordinate(random), coordinate(random), coordinate(random));
      } else {
        // Sharp turns make long miters.
        builder.LineTo(coordinate(random) * unit(random), coordinate(random));
      }
    }
    if (round % 3 == 0) builder.Close();
    const auto path = builder.BuildShared();
    const double width = 1.0 + unit(random) * 20000.0;
    const auto cap = static_cast<LineCap>(round % 3);
    const auto join = static_cast<LineJoin>((round / 3) % 3);
    const double miter = 1.0 + unit(random) * 30.0;
    const DashPattern* d = round % 5 == 0 ? &dash : nullptr;
    const Morv::StrokeOutline outline(path, width, cap, join, miter, d, 50.0);
    EXPECT_EQ(outline.Measured(),
              round % 2 == 1 && segments <= 8 && d == nullptr && cap != LineCap::kRound)
        << round;
    if (outline.Measured()) {
      // The compound's box, whose far sides are corner plus size, rounded.
      EXPECT_EQ(outline.GetBoundingBox(),
                Morv::Stroke(*path, width, cap, join, miter, d, 50.0).GetBoundingBox());
    } else {
      EXPECT_TRUE(Holds(outline.GetBoundingBox(), Pieces(outline))) << round;
    }
  }
  EXPECT_DOUBLE_EQ(Morv::StrokeReach(4.0, LineCap::kButt, LineJoin::kRound, 10.0), 2.0);
  EXPECT_DOUBLE_EQ(Morv::StrokeReach(4.0, LineCap::kButt, LineJoin::kMiter, 10.0), 20.0);
  EXPECT_DOUBLE_EQ(Morv::StrokeReach(4.0, LineCap::kSquare, LineJoin::kBevel, 10.0),
                   2.0 * std::sqrt(2.0));
}

}  // namespace
