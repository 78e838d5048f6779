#include "morv/flatten.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace {

using Morv::MilliPointPoint;
using Morv::Subpath;
using Segment = Subpath::Segment;
using T = Morv::MilliPointTransformation;

std::vector<MilliPointPoint> Walk(const Subpath& s, double flatness) {
  std::vector<MilliPointPoint> points;
  auto [it, end] = Morv::MakeVectorPointRange(s, flatness);
  for (; it != end; ++it)
    points.push_back(*it);
  return points;
}

struct P {
  double x;
  double y;
};

P Lerp(P a, P b, double t) {
  return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t};
}

P FromPoint(const MilliPointPoint& p) {
  return {p.x.Value(), p.y.Value()};
}

// De Casteljau, independent of the library's Bernstein evaluation.
P CurveAt(const std::vector<P>& control, double t) {
  P level[4];
  const std::size_t n = control.size();
  std::copy(control.begin(), control.end(), level);
  for (std::size_t size = n; size > 1; --size) {
    for (std::size_t i = 0; i + 1 < size; ++i)
      level[i] = Lerp(level[i], level[i + 1], t);
  }
  return level[0];
}

double SquaredDistance(P a, P b) {
  return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
}

double SquaredSegmentDistance(P p, P a, P b) {
  const double dx = b.x - a.x;
  const double dy = b.y - a.y;
  const double len2 = dx * dx + dy * dy;
  double t = len2 > 0.0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / len2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  return SquaredDistance(p, {a.x + dx * t, a.y + dy * t});
}

// A polygon yields exactly its corners (closing is the consumer's work: no repeated
// start point at the end); a subpath without segments yields its start only.
TEST(Flatten, PolygonYieldsExactlyItsPoints) {
  const std::vector<MilliPointPoint> corners = {{0.0, 0.0}, {10.0, 0.0}, {10.0, 5.0}, {-3.5, 7.25}};
  const std::vector<MilliPointPoint> origin = {{0.0, 0.0}};
  for (bool closed : {false, true}) {
    const Subpath s = Subpath::Polygon(corners, closed);
    EXPECT_EQ(Walk(s, 0.5), corners);
    EXPECT_EQ(Walk(s, 0.0), corners);
    EXPECT_EQ(Walk(Subpath::Polygon({}, closed), 1.0), origin);
  }
  EXPECT_EQ(Walk(Subpath({4.0, -2.0}, {}, true), 1.0), (std::vector<MilliPointPoint>{{4.0, -2.0}}));
}

TEST(Flatten, IteratorPositionsAndEnd) {
  const Subpath s(
      {0.0, 0.0},
      {Segment::Line({10.0, 0.0}), Segment::Cubic({20.0, 0.0}, {20.0, 10.0}, {10.0, 10.0}),
       Segment::Line({0.0, 10.0})},
      false);
  const double flatness = 0.05;
  const std::uint32_t pieces = Morv::CurvePieceCount({10.0, 0.0}, s.Segments()[1], flatness);
  ASSERT_GT(pieces, 1u);

  auto [begin, end] = Morv::MakeVectorPointRange(s, flatness);
  EXPECT_FALSE(begin.equal(end));
  EXPECT_TRUE(begin == begin);

  // A copy walks independently and compares equal at the same position.
  auto it = begin;
  auto old = it++;
  EXPECT_TRUE(old == begin);
  EXPECT_FALSE(it == begin);
  EXPECT_EQ(*it, (MilliPointPoint{10.0, 0.0}));

  std::size_t count = 1;
  for (it = begin; it != end; ++it)
    ++count;
  EXPECT_EQ(count - 1, 1 + 1 + pieces + 1);  // start, line, curve pieces, line

  // The curve's last piece ends on the stored end point, not on a re-evaluation.
  const std::vector<MilliPointPoint> points = Walk(s, flatness);
  ASSERT_EQ(points.size(), 3 + pieces);
  EXPECT_EQ(points[1 + pieces], (MilliPointPoint{10.0, 10.0}));
  EXPECT_EQ(points.back(), (MilliPointPoint{0.0, 10.0}));

  // Two ranges over the same subpath have equal ends; an empty subpath's begin is one
  // step from its end.
  EXPECT_TRUE(Morv::MakeVectorPointRange(s, 1.0).second == end);
  const Subpath empty = Subpath::Polygon({}, false);
  auto [e0, e1] = Morv::MakeVectorPointRange(empty, 1.0);
  EXPECT_FALSE(e0 == e1);
  ++e0;
  EXPECT_TRUE(e0 == e1);
}

TEST(Flatten, RandomCurvesStayWithinFlatness) {
  std::mt19937 random(20240611u);
  std::uniform_real_distribution<double> coordinate(-2000.0, 2000.0);
  for (int round = 0; round < 12; ++round) {
    const bool cubic = round % 2 == 0;
    std::vector<P> control(cubic ? 4 : 3);
    for (P& p : control)
      p = {coordinate(random), coordinate(random)};
    const MilliPointPoint start{control[0].x, control[0].y};
    const Segment segment =
        cubic ? Segment::Cubic({control[1].x, control[1].y}, {control[2].x, control[2].y},
                               {control[3].x, control[3].y})
              : Segment::Quadratic({control[1].x, control[1].y}, {control[2].x, control[2].y});
    const Subpath s(start, {segment}, false);
    std::vector<P> samples;
    for (int i = 0; i <= 1000; ++i)
      samples.push_back(CurveAt(control, i / 1000.0));

    for (double flatness : {1.0, 10.0, 100.0}) {
      const std::vector<MilliPointPoint> points = Walk(s, flatness);
      ASSERT_GE(points.size(), 2u);
      EXPECT_EQ(points.front(), start);
      EXPECT_EQ(points.back(), segment.end);
      EXPECT_EQ(points.size(), 1 + Morv::CurvePieceCount(start, segment, flatness));

      // The points lie on the curve at evenly spaced parameters.
      std::vector<P> polyline;
      for (const MilliPointPoint& q : points) {
        polyline.push_back(FromPoint(q));
        const P on = CurveAt(control, double(polyline.size() - 1) / double(points.size() - 1));
        EXPECT_LE(std::hypot(on.x - polyline.back().x, on.y - polyline.back().y), 1e-6)
            << "round " << round;
      }
      double worst = 0.0;
      for (const P& c : samples) {
        double nearest = std::numeric_limits<double>::infinity();
        for (std::size_t k = 0; k + 1 < polyline.size(); ++k) {
          nearest = std::min(nearest, SquaredSegmentDistance(c, polyline[k], polyline[k + 1]));
        }
        worst = std::max(worst, std::sqrt(nearest));
      }
      EXPECT_LE(worst, flatness) << "round " << round << " flatness " << flatness;
    }
  }
}

TEST(Flatten, PieceCountFollowsTheSecondDifference) {
  // A quadratic with |p0 - 2p1 + p2| = 200 bends with |B''| = 400: 400/(8·f) pieces².
  const MilliPointPoint from{0.0, 0.0};
  const Segment arch = Segment::Quadratic({100.0, 100.0}, {200.0, 0.0});
  EXPECT_EQ(Morv::CurvePieceCount(from, arch, 50.0), 1u);
  EXPECT_EQ(Morv::CurvePieceCount(from, arch, 1.0), 8u);     // sqrt(50) = 7.07
  EXPECT_EQ(Morv::CurvePieceCount(from, arch, 0.5), 10u);    // sqrt(100)
  EXPECT_EQ(Morv::CurvePieceCount(from, arch, 0.125), 20u);  // sqrt(400)

  // Quartering the flatness doubles the pieces of a cubic, up to rounding up.
  const Segment s = Segment::Cubic({0.0, 300.0}, {400.0, -300.0}, {500.0, 0.0});
  const std::uint32_t coarse = Morv::CurvePieceCount(from, s, 4.0);
  const std::uint32_t fine = Morv::CurvePieceCount(from, s, 1.0);
  EXPECT_GE(fine, 2 * coarse - 1);
  EXPECT_LE(fine, 2 * coarse);

  EXPECT_EQ(Morv::CurvePieceCount(from, Segment::Line({1e9, 1e9}), 0.0), 1u);
}

// The bound on |B''| of a curve segment, with hypot.
double Bend(const MilliPointPoint& from, const Segment& s) {
  auto length = [](const MilliPointPoint& a, const MilliPointPoint& b, const MilliPointPoint& c) {
    return std::hypot(a.x.Value() - 2.0 * b.x.Value() + c.x.Value(),
                      a.y.Value() - 2.0 * b.y.Value() + c.y.Value());
  };
  return s.kind == Subpath::SegmentKind::kQuadratic
             ? 2.0 * length(from, s.control1, s.end)
             : 6.0 * std::max(length(from, s.control1, s.control2),
                              length(s.control1, s.control2, s.end));
}

// The count as its formula states it: what every shortcut must return.
std::uint32_t ReferencePieceCount(const MilliPointPoint& from, const Segment& s, double flatness) {
  const double m = Bend(from, s);
  if (!(m > 0.0)) return 1;
  if (!(flatness > 0.0)) return Morv::kMaxCurvePieces;
  const double n = std::ceil(std::sqrt(m / (8.0 * flatness)));
  if (!(n < static_cast<double>(Morv::kMaxCurvePieces))) return Morv::kMaxCurvePieces;
  return std::max<std::uint32_t>(1, static_cast<std::uint32_t>(n));
}

TEST(Flatten, PieceCountIsTheFormulasEvenAtWholeRoots) {
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> coordinate(-5e5, 5e5);
  std::uniform_real_distribution<double> exponent(-3.0, 3.0);
  for (int round = 0; round < 20000; ++round) {
    const MilliPointPoint from{coordinate(random), coordinate(random)};
    const MilliPointPoint a{coordinate(random), coordinate(random)};
    const MilliPointPoint b{coordinate(random), coordinate(random)};
    const MilliPointPoint c{coordinate(random), coordinate(random)};
    const Segment s = round % 2 == 0 ? Segment::Cubic(a, b, c) : Segment::Quadratic(a, b);
    double flatness = std::pow(10.0, exponent(random)) * 100.0;
    ASSERT_EQ(Morv::CurvePieceCount(from, s, flatness), ReferencePieceCount(from, s, flatness))
        << "round " << round;
    // The flatness whose count is a whole root, and its neighbours: where a shortcut
    // must defer to the formula.
    const double n = ReferencePieceCount(from, s, flatness);
    flatness = Bend(from, s) / (8.0 * n * n);
    for (double f : {flatness, std::nextafter(flatness, 0.0), std::nextafter(flatness, 1e300)}) {
      ASSERT_EQ(Morv::CurvePieceCount(from, s, f), ReferencePieceCount(from, s, f))
          << "round " << round;
    }
  }
  // Tiny and huge bends, where squares would underflow or overflow.
  for (double scale : {1e-160, 1e-150, 1e150, 1e160}) {
    const Segment s = Segment::Cubic({0.0, scale}, {scale, scale}, {scale, 0.0});
    for (double flatness : {scale * 1e-3, scale, scale * 1e3}) {
      EXPECT_EQ(Morv::CurvePieceCount({0.0, 0.0}, s, flatness),
                ReferencePieceCount({0.0, 0.0}, s, flatness));
    }
  }
}

TEST(Flatten, ForEachFlatPointHandsOutTheIteratorsPoints) {
  const Subpath curves(
      {10.0, 10.0},
      {Segment::Cubic({10.0, 900.0}, {700.0, 900.0}, {800.0, 20.0}), Segment::Line({400.0, -50.0}),
       Segment::Quadratic({200.0, 300.0}, {10.0, 10.0})},
      true);
  const Subpath polygon =
      Subpath::Polygon({{0.0, 0.0}, {100.0, 0.0}, {100.0, 50.0}, {0.0, 50.0}}, true);
  const Subpath lone({5.0, 6.0}, {}, false);
  for (const Subpath* s : {&curves, &polygon, &lone}) {
    for (double flatness : {0.5, 3.0, 40.0}) {
      std::vector<MilliPointPoint> points;
      EXPECT_TRUE(Morv::ForEachFlatPoint(*s, flatness, [&](const MilliPointPoint& p) {
        points.push_back(p);
        return true;
      }));
      const std::vector<MilliPointPoint> walked = Walk(*s, flatness);
      ASSERT_EQ(points.size(), walked.size());
      for (std::size_t i = 0; i < points.size(); ++i) {
        // Bit for bit: both coordinates compared as stored.
        EXPECT_EQ(points[i].x.Value(), walked[i].x.Value());
        EXPECT_EQ(points[i].y.Value(), walked[i].y.Value());
      }
    }
  }
  // Stopping: the visitor sees exactly as many points as it accepts plus the refused one.
  std::size_t seen = 0;
  EXPECT_FALSE(
      Morv::ForEachFlatPoint(curves, 1.0, [&](const MilliPointPoint&) { return ++seen < 5; }));
  EXPECT_EQ(seen, 5u);
}

TEST(Flatten, PieceCountIsBoundedWithoutFlatness) {
  const MilliPointPoint from{0.0, 0.0};
  const Segment bend = Segment::Cubic({0.0, 1000.0}, {1000.0, 1000.0}, {1000.0, 0.0});
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (double flatness : {0.0, -1.0, nan, 1e-300}) {
    EXPECT_EQ(Morv::CurvePieceCount(from, bend, flatness), Morv::kMaxCurvePieces);
  }
  const Subpath s(from, {bend}, false);
  EXPECT_EQ(Walk(s, 0.0).size(), 1 + Morv::kMaxCurvePieces);

  // Controls evenly spaced on the chord: the curve is its chord, one piece at any
  // flatness.
  const Segment straight_cubic = Segment::Cubic({10.0, 20.0}, {20.0, 40.0}, {30.0, 60.0});
  const Segment straight_quadratic = Segment::Quadratic({15.0, 30.0}, {30.0, 60.0});
  for (double flatness : {0.0, nan, 1.0}) {
    EXPECT_EQ(Morv::CurvePieceCount(from, straight_cubic, flatness), 1u);
    EXPECT_EQ(Morv::CurvePieceCount(from, straight_quadratic, flatness), 1u);
  }
}

TEST(Flatten, CurveErrorForTransformationUsesTheLargestScale) {
  EXPECT_DOUBLE_EQ(Morv::CurveErrorForTransformation(6.0, T::Identity()), 6.0);
  EXPECT_DOUBLE_EQ(Morv::CurveErrorForTransformation(6.0, T::Scale(2.0, 3.0)), 2.0);
  EXPECT_DOUBLE_EQ(Morv::CurveErrorForTransformation(6.0, T::Scale(-4.0, 0.5)), 1.5);
  // Translation does not scale.
  EXPECT_DOUBLE_EQ(Morv::CurveErrorForTransformation(6.0, T::Translation(1e6, -1e6)), 6.0);

  // A rotation by 30° at scale 2.
  const double c = 2.0 * std::cos(std::numbers::pi / 6.0);
  const double s = 2.0 * std::sin(std::numbers::pi / 6.0);
  EXPECT_NEAR(Morv::CurveErrorForTransformation(6.0, T{c, s, -s, c, 5.0, 7.0}), 3.0, 1e-12);

  // The shear [[1, 1], [0, 1]] stretches by the golden ratio.
  const double phi = (1.0 + std::sqrt(5.0)) / 2.0;
  EXPECT_NEAR(Morv::CurveErrorForTransformation(6.0, T{1.0, 0.0, 1.0, 1.0, 0.0, 0.0}), 6.0 / phi,
              1e-12);
  // A general map: largest singular value checked against the eigenvalues of MᵀM.
  const T m{0.5, 1.5, -2.0, 3.0, 0.0, 0.0};
  const double tr = m.a * m.a + m.b * m.b + m.c * m.c + m.d * m.d;
  const double det = m.Determinant();
  const double largest = std::sqrt((tr + std::sqrt(tr * tr - 4.0 * det * det)) / 2.0);
  EXPECT_NEAR(Morv::CurveErrorForTransformation(1.0, m), 1.0 / largest, 1e-12);

  // Singular and degenerate maps leave the tolerance alone.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(Morv::CurveErrorForTransformation(6.0, T{0.0, 0.0, 0.0, 0.0, 1.0, 1.0}), 6.0);
  EXPECT_EQ(Morv::CurveErrorForTransformation(6.0, T{1.0, 2.0, 2.0, 4.0, 0.0, 0.0}), 6.0);
  EXPECT_EQ(Morv::CurveErrorForTransformation(6.0, T{nan, 0.0, 0.0, 1.0, 0.0, 0.0}), 6.0);
  EXPECT_EQ(Morv::CurveErrorForTransformation(6.0, T{inf, 0.0, 0.0, 1.0, 0.0, 0.0}), 6.0);
}

}  // namespace
