#include "morv/compound.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <span>
#include <utility>
#include <vector>

namespace {

using Morv::Subpath;
using Point = Subpath::Point;
using Segment = Subpath::Segment;

std::vector<Point> Points(std::span<const Point> points) {
  return {points.begin(), points.end()};
}

std::vector<Segment> Collect(const Subpath& s) {
  std::vector<Segment> out;
  for (const Segment& seg : s.Segments())
    out.push_back(seg);
  return out;
}

// Straight subpaths keep only their corner points, curved ones only their segments,
// and both read back the same segments, boxes and starts.
TEST(Subpath, OneFormPerSubpathReadsBackAsSegments) {
  const std::vector<Segment> lines = {Segment::Line({30, 20}), Segment::Line({30, -40})};
  const Subpath straight({10, 20}, lines, true);
  EXPECT_FALSE(straight.HasCurves());
  EXPECT_EQ(Points(straight.VectorPoints()), (std::vector<Point>{{10, 20}, {30, 20}, {30, -40}}));
  EXPECT_EQ(straight.Start(), Point(10, 20));
  EXPECT_EQ(straight.Segments().size(), 2u);
  EXPECT_EQ(Collect(straight), lines);
  EXPECT_EQ(straight.Segments()[1], lines[1]);
  EXPECT_EQ(straight.GetBoundingBox(), Morv::MilliPointRectangle(10, -40, 20, 60));
  EXPECT_EQ(Subpath::Polygon({{10, 20}, {30, 20}, {30, -40}}, true).GetBoundingBox(),
            straight.GetBoundingBox());
  EXPECT_TRUE(Subpath::Polygon({{10, 20}, {30, 20}, {30, -40}}, false).Segments() ==
              straight.Segments());
  EXPECT_FALSE(Subpath({10, 20}, {lines[0]}, true).Segments() == straight.Segments());

  const std::vector<Segment> curved = {Segment::Line({5, 0}),
                                       Segment::Cubic({5, 50}, {-9, 5}, {0, 0})};
  const Subpath curve({0, 0}, curved, false);
  EXPECT_TRUE(curve.HasCurves());
  EXPECT_TRUE(curve.VectorPoints().empty());
  EXPECT_EQ(curve.Start(), Point(0, 0));
  EXPECT_EQ(Collect(curve), curved);
  EXPECT_TRUE(curve.Segments() == Subpath({0, 0}, curved, true).Segments());
  EXPECT_FALSE(curve.Segments() == Subpath::Polygon({{0, 0}, {5, 0}, {0, 0}}, false).Segments());
  EXPECT_EQ(curve.GetBoundingBox(), Morv::MilliPointRectangle(-9, 0, 14, 50));

  const Subpath empty = Subpath::Polygon({}, false);
  EXPECT_EQ(empty.Start(), Point(0, 0));
  EXPECT_TRUE(empty.Segments().empty());
  EXPECT_EQ(Points(empty.VectorPoints()), std::vector<Point>{Point(0, 0)});
}

// A curved subpath of up to four points (a lone cubic, a quadratic and a line) is
// held without a block of its own and reads back like any other: its segments, its
// box gathered in the curves' order (an end before its controls, which decides the
// sign of a zero corner), through copies, moves and transformations.
TEST(Subpath, ShortCurvesReadBackWhereverTheyAreHeld) {
  using Kinds = std::vector<std::vector<Segment>>;
  for (const std::vector<Segment>& segments :
       Kinds{{Segment::Cubic({0.0, 1}, {9, 9}, {-0.0, 2})},
             {Segment::Quadratic({7, -3}, {2, 2}), Segment::Line({-0.0, 4})},
             {Segment::Line({8, 8}), Segment::Quadratic({-0.0, 9}, {0.0, 1})},
             {Segment::Quadratic({1, 1}, {2, 0})},
             {Segment::Cubic({1, 1}, {2, 1}, {3, 0}), Segment::Line({5, 5})}}) {
    const Subpath curve({5, 5}, segments, true);
    SCOPED_TRACE(segments.size());
    EXPECT_TRUE(curve.HasCurves());
    EXPECT_EQ(curve.Segments().size(), segments.size());
    EXPECT_EQ(Collect(curve), segments);
    EXPECT_EQ(curve.Segments()[segments.size() - 1], segments.back());
    double x0 = 5, x1 = 5, y0 = 5, y1 = 5;
    for (const Segment& seg : segments) {
      std::vector<Point> points = {seg.end};
      if (seg.kind != Subpath::SegmentKind::kLine) points.push_back(seg.control1);
      if (seg.kind == Subpath::SegmentKind::kCubic) points.push_back(seg.control2);
      for (const Point& p : points) {
        x0 = std::min(x0, p.x.Value());
        x1 = std::max(x1, p.x.Value());
        y0 = std::min(y0, p.y.Value());
        y1 = std::max(y1, p.y.Value());
      }
    }
    const Morv::MilliPointRectangle box = curve.GetBoundingBox();
    EXPECT_EQ(box, Morv::MilliPointRectangle(x0, y0, x1 - x0, y1 - y0));
    EXPECT_EQ(std::signbit(box.X()), std::signbit(x0));

    Subpath copy(curve);
    const Subpath moved(std::move(copy));
    EXPECT_EQ(Collect(moved), segments);
    const Subpath shifted = curve.Transformed(Morv::MilliPointTransformation{1, 0, 0, 1, 10, 0});
    ASSERT_EQ(shifted.Segments().size(), segments.size());
    for (std::size_t i = 0; i < segments.size(); ++i) {
      EXPECT_EQ(shifted.Segments()[i].kind, segments[i].kind);
      EXPECT_EQ(shifted.Segments()[i].end.x.Value(), segments[i].end.x.Value() + 10);
    }
    const Morv::Compound compound(std::vector<Subpath>{curve}, Morv::kNonZero);
    EXPECT_EQ(Collect(compound.GetSubpaths()[0]), segments);
    EXPECT_EQ(compound.GetBoundingBox(), box);
  }
}

// The builder stores a path without curves as points, with no spare room, and a
// transformed compound keeps each subpath's form.
TEST(Compound, BuilderAndTransformKeepEachSubpathsForm) {
  Morv::PathBuilder builder;
  builder.Rectangle(0, 0, 10, 20).MoveTo(0, 0).LineTo(5, 5).CurveTo(1, 2, 3, 4, 6, 6);
  const Morv::Compound c = builder.Build(Morv::kEvenOdd);
  ASSERT_EQ(c.GetSubpaths().size(), 2u);
  EXPECT_EQ(Points(c.GetSubpaths()[0].VectorPoints()),
            (std::vector<Point>{{0, 0}, {10, 0}, {10, 20}, {0, 20}}));
  EXPECT_TRUE(c.GetSubpaths()[0].IsClosed());
  EXPECT_TRUE(c.GetSubpaths()[1].HasCurves());
  EXPECT_FALSE(c.GetSubpaths()[1].IsClosed());

  // After a curved subpath the builder starts straight ones as points again.
  const Morv::Compound next = builder.MoveTo(1, 1).LineTo(2, 2).Build();
  ASSERT_EQ(next.GetSubpaths().size(), 1u);
  EXPECT_FALSE(next.GetSubpaths()[0].VectorPoints().empty());

  const auto t = Morv::MilliPointTransformation::Translation(100, 0);
  const Morv::Compound moved = c.Transformed(t);
  EXPECT_EQ(moved.GetWindingRule(), Morv::kEvenOdd);
  ASSERT_EQ(moved.GetSubpaths()[0].VectorPoints().size(), 4u);
  EXPECT_EQ(moved.GetSubpaths()[0].VectorPoints()[1], Point(110, 0));
  const Subpath& curve = moved.GetSubpaths()[1];
  ASSERT_TRUE(curve.HasCurves());
  EXPECT_EQ(curve.Start(), Point(100, 0));
  EXPECT_EQ(curve.Segments()[1], Segment::Cubic({101, 2}, {103, 4}, {106, 6}));
  EXPECT_EQ(moved.GetBoundingBox(), Morv::MilliPointRectangle(100, 0, 10, 20));

  // A single subpath is held inline: a copy (or a moved compound) reports its own,
  // with the same box, and the empty compound has none.
  Morv::Compound copy = next;
  ASSERT_EQ(copy.GetSubpaths().size(), 1u);
  EXPECT_NE(&copy.GetSubpaths()[0], &next.GetSubpaths()[0]);
  EXPECT_EQ(Points(copy.GetSubpaths()[0].VectorPoints()),
            Points(next.GetSubpaths()[0].VectorPoints()));
  EXPECT_EQ(copy.GetBoundingBox(), next.GetBoundingBox());
  const Morv::Compound taken = std::move(copy);
  EXPECT_EQ(std::distance(taken.Begin(), taken.End()), 1);
  EXPECT_EQ(taken.GetSubpaths()[0].VectorPoints().back(), Point(2, 2));
  EXPECT_TRUE(Morv::Compound().GetSubpaths().empty());
  EXPECT_TRUE(builder.Build().GetSubpaths().empty());
}

// Up to four corners are kept inside the subpath, more (or any curve) in a block of
// their own: copies, moves and assignments across both forms keep every point, kind
// and box, and a moved-from subpath can be assigned again.
TEST(Subpath, CopiesAndMovesAcrossBothStorageForms) {
  const std::vector<Point> five = {{0, 0}, {4, 0}, {4, 3}, {2, 5}, {0, 3}};
  const std::vector<Segment> mixed = {Segment::Quadratic({1, 9}, {2, 0}), Segment::Line({3, 0}),
                                      Segment::Cubic({4, -7}, {5, 1}, {6, 0}),
                                      Segment::Line({6, -1})};
  std::vector<Subpath> originals;
  for (std::size_t n = 1; n <= five.size(); ++n)
    originals.push_back(Subpath::Polygon(std::span<const Point>(five.data(), n), n % 2 == 0));
  originals.emplace_back(Point(0, 0), std::span<const Segment>(mixed.data(), 1), true);
  originals.emplace_back(Point(0, 0), mixed, false);

  for (const Subpath& original : originals) {
    const std::vector<Segment> segments = Collect(original);
    const Morv::MilliPointRectangle box = original.GetBoundingBox();
    auto same = [&](const Subpath& s) {
      EXPECT_EQ(s.Start(), original.Start());
      EXPECT_EQ(Collect(s), segments);
      EXPECT_EQ(Points(s.VectorPoints()), Points(original.VectorPoints()));
      EXPECT_EQ(s.HasCurves(), original.HasCurves());
      EXPECT_EQ(s.IsClosed(), original.IsClosed());
      EXPECT_EQ(s.GetBoundingBox(), box);
    };
    Subpath copy = original;
    same(copy);
    Subpath moved = std::move(copy);
    same(moved);
    copy = moved;
    same(copy);
    for (const Subpath& other : originals) {
      Subpath assigned = other;
      assigned = original;
      same(assigned);
      Subpath taken = other;
      taken = std::move(assigned);
      same(taken);
      taken = static_cast<const Subpath&>(taken);
      same(taken);
    }
  }

  // Segments of different sizes read back in order and by position, and a
  // transformed subpath keeps their kinds.
  const Subpath& curve = originals.back();
  EXPECT_EQ(Collect(curve), mixed);
  for (std::size_t i = 0; i < mixed.size(); ++i)
    EXPECT_EQ(curve.Segments()[i], mixed[i]) << i;
  EXPECT_EQ(curve.GetBoundingBox(), Morv::MilliPointRectangle(0, -7, 6, 16));
  const Subpath shifted = curve.Transformed(Morv::MilliPointTransformation::Translation(10, 1));
  EXPECT_EQ(shifted.Segments()[2], Segment::Cubic({14, -6}, {15, 2}, {16, 1}));
  EXPECT_EQ(shifted.GetBoundingBox(), Morv::MilliPointRectangle(10, -6, 6, 16));
  const Subpath pentagon =
      originals[4].Transformed(Morv::MilliPointTransformation::Translation(1, 1));
  EXPECT_EQ(pentagon.VectorPoints().back(), Point(1, 4));
  EXPECT_EQ(pentagon.GetBoundingBox(), Morv::MilliPointRectangle(1, 1, 4, 5));
}

// What a compound holds, subpath by subpath: closed flag, then its segments.
using Shape = std::vector<std::pair<bool, std::vector<Segment>>>;

Shape ShapeOf(const Morv::Compound& c) {
  Shape shape;
  for (const Subpath& s : c.GetSubpaths()) {
    std::vector<Segment> segments = {Segment::Line(s.Start())};
    for (const Segment& seg : s.Segments())
      segments.push_back(seg);
    shape.emplace_back(s.IsClosed(), std::move(segments));
  }
  return shape;
}

// A closed subpath waits in the builder until something follows it: a segment after
// a close starts a new subpath at the closed one's start, a second close or a lone
// move adds nothing, the first curve keeps the lines before it, and the shared and
// plain builds give the same subpaths, boxes and rule, leaving nothing behind.
TEST(Compound, BuilderEndsSubpathsAsPdfContentDoes) {
  using Build = std::function<void(Morv::PathBuilder&)>;
  const std::vector<std::pair<Build, Shape>> cases = {
      {[](Morv::PathBuilder& b) { b.Rectangle(1, 2, 3, 4); },
       {{true,
         {Segment::Line({1, 2}), Segment::Line({4, 2}), Segment::Line({4, 6}),
          Segment::Line({1, 6})}}}},
      {[](Morv::PathBuilder& b) { b.MoveTo(0, 0).LineTo(5, 0).Close().LineTo(0, 7); },
       {{true, {Segment::Line({0, 0}), Segment::Line({5, 0})}},
        {false, {Segment::Line({0, 0}), Segment::Line({0, 7})}}}},
      {[](Morv::PathBuilder& b) { b.MoveTo(0, 0).LineTo(5, 0).Close().Close().MoveTo(9, 9); },
       {{true, {Segment::Line({0, 0}), Segment::Line({5, 0})}}}},
      {[](Morv::PathBuilder& b) { b.MoveTo(3, 3).Close().MoveTo(4, 4); }, {}},
      {[](Morv::PathBuilder& b) { b.LineTo(2, 0); },
       {{false, {Segment::Line({0, 0}), Segment::Line({2, 0})}}}},
      {[](Morv::PathBuilder& b) {
         b.MoveTo(0, 0).LineTo(1, 0).LineTo(1, 1).QuadTo(0, 2, 0, 1).Close();
       },
       {{true,
         {Segment::Line({0, 0}), Segment::Line({1, 0}), Segment::Line({1, 1}),
          Segment::Quadratic({0, 2}, {0, 1})}}}},
      {[](Morv::PathBuilder& b) { b.Rectangle(0, 0, 1, 1).Rectangle(5, 5, -1, 2).Close(); },
       {{true,
         {Segment::Line({0, 0}), Segment::Line({1, 0}), Segment::Line({1, 1}),
          Segment::Line({0, 1})}},
        {true,
         {Segment::Line({5, 5}), Segment::Line({4, 5}), Segment::Line({4, 7}),
          Segment::Line({5, 7})}}}},
      {[](Morv::PathBuilder& b) {
         b.Polygon({{0, 0}, {2, 0}, {2, 2}, {1, 3}, {0, 2}});
       },
       {{true,
         {Segment::Line({0, 0}), Segment::Line({2, 0}), Segment::Line({2, 2}),
          Segment::Line({1, 3}), Segment::Line({0, 2})}}}},
  };
  Morv::PathBuilder builder;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const auto& [make, expected] = cases[i];
    make(builder);
    const Morv::Compound plain = builder.Build(Morv::kEvenOdd);
    EXPECT_EQ(ShapeOf(plain), expected) << i;
    EXPECT_EQ(plain.GetWindingRule(), Morv::kEvenOdd) << i;
    make(builder);
    const auto shared = builder.BuildShared(Morv::kEvenOdd);
    EXPECT_EQ(ShapeOf(*shared), expected) << i;
    EXPECT_EQ(shared->GetWindingRule(), Morv::kEvenOdd) << i;
    EXPECT_EQ(shared->GetBoundingBox(), plain.GetBoundingBox()) << i;
    EXPECT_TRUE(builder.BuildShared()->GetSubpaths().empty()) << i;
    EXPECT_TRUE(builder.Build().GetSubpaths().empty()) << i;
  }
}

// The builder gives back an earlier compound only for the very same bits.
TEST(Compound, BuilderTakesAnEarlierCompoundOnlyForTheSameBits) {
  using Build = void (*)(Morv::PathBuilder&);
  const Build cases[] = {
      [](Morv::PathBuilder& b) { b.MoveTo(1, 1).LineTo(5, 5); },
      [](Morv::PathBuilder& b) { b.MoveTo(1, 1).LineTo(5, 5).Close(); },
      [](Morv::PathBuilder& b) { b.MoveTo(-0.0, 1).LineTo(5, 5); },
      [](Morv::PathBuilder& b) { b.MoveTo(0, 1).LineTo(5, 5); },
      [](Morv::PathBuilder& b) { b.MoveTo(0, 0).QuadTo(1, 1, 2, 0).QuadTo(3, 1, 4, 0); },
      [](Morv::PathBuilder& b) { b.MoveTo(0, 0).CurveTo(1, 1, 2, 0, 3, 1).LineTo(4, 0); },
      [](Morv::PathBuilder& b) { b.Rectangle(0, 0, 2, 2).Rectangle(3, 3, 1, 1); },
      [](Morv::PathBuilder& b) { b.MoveTo(7, 7); },
  };
  Morv::PathBuilder builder;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    cases[i](builder);
    const auto built = builder.BuildShared(Morv::kNonZero);
    for (std::size_t j = 0; j < std::size(cases); ++j) {
      for (const std::uint32_t rule : {Morv::kNonZero, Morv::kEvenOdd}) {
        cases[j](builder);
        // Several subpaths, or none, are always built afresh.
        const bool same = i == j && rule == Morv::kNonZero && i < 6;
        EXPECT_EQ(builder.TakeIfSame(*built, rule), same) << i << " " << j << " " << rule;
        // Taken or not, the next path starts from an empty builder.
        if (same) {
          EXPECT_TRUE(builder.Build().GetSubpaths().empty());
        }
        builder.Build();
      }
    }
  }
}

}  // namespace
