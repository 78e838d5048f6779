#include "morv/compound.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Morv::Subpath;
using Point = Subpath::Point;
using Segment = Subpath::Segment;

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
  ASSERT_NE(straight.VectorPoints(), nullptr);
  EXPECT_FALSE(straight.HasCurves());
  EXPECT_EQ(*straight.VectorPoints(), (std::vector<Point>{{10, 20}, {30, 20}, {30, -40}}));
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
  EXPECT_EQ(curve.VectorPoints(), nullptr);
  EXPECT_EQ(curve.Start(), Point(0, 0));
  EXPECT_EQ(Collect(curve), curved);
  EXPECT_TRUE(curve.Segments() == Subpath({0, 0}, curved, true).Segments());
  EXPECT_FALSE(curve.Segments() == Subpath::Polygon({{0, 0}, {5, 0}, {0, 0}}, false).Segments());
  EXPECT_EQ(curve.GetBoundingBox(), Morv::MilliPointRectangle(-9, 0, 14, 50));

  const Subpath empty = Subpath::Polygon({}, false);
  EXPECT_EQ(empty.Start(), Point(0, 0));
  EXPECT_TRUE(empty.Segments().empty());
  ASSERT_NE(empty.VectorPoints(), nullptr);
  EXPECT_EQ(empty.VectorPoints()->size(), 1u);
}

// The builder stores a path without curves as points, with no spare room, and a
// transformed compound keeps each subpath's form.
TEST(Compound, BuilderAndTransformKeepEachSubpathsForm) {
  Morv::PathBuilder builder;
  builder.Rectangle(0, 0, 10, 20).MoveTo(0, 0).LineTo(5, 5).CurveTo(1, 2, 3, 4, 6, 6);
  const Morv::Compound c = builder.Build(Morv::kEvenOdd);
  ASSERT_EQ(c.GetSubpaths().size(), 2u);
  const std::vector<Point>* rect = c.GetSubpaths()[0].VectorPoints();
  ASSERT_NE(rect, nullptr);
  EXPECT_EQ(*rect, (std::vector<Point>{{0, 0}, {10, 0}, {10, 20}, {0, 20}}));
  EXPECT_EQ(rect->capacity(), rect->size());
  EXPECT_TRUE(c.GetSubpaths()[0].IsClosed());
  EXPECT_TRUE(c.GetSubpaths()[1].HasCurves());
  EXPECT_FALSE(c.GetSubpaths()[1].IsClosed());

  // After a curved subpath the builder starts straight ones as points again.
  const Morv::Compound next = builder.MoveTo(1, 1).LineTo(2, 2).Build();
  ASSERT_EQ(next.GetSubpaths().size(), 1u);
  EXPECT_NE(next.GetSubpaths()[0].VectorPoints(), nullptr);

  const auto t = Morv::MilliPointTransformation::Translation(100, 0);
  const Morv::Compound moved = c.Transformed(t);
  EXPECT_EQ(moved.GetWindingRule(), Morv::kEvenOdd);
  ASSERT_NE(moved.GetSubpaths()[0].VectorPoints(), nullptr);
  EXPECT_EQ(moved.GetSubpaths()[0].VectorPoints()->at(1), Point(110, 0));
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
  EXPECT_EQ(*copy.GetSubpaths()[0].VectorPoints(), *next.GetSubpaths()[0].VectorPoints());
  EXPECT_EQ(copy.GetBoundingBox(), next.GetBoundingBox());
  const Morv::Compound taken = std::move(copy);
  EXPECT_EQ(std::distance(taken.Begin(), taken.End()), 1);
  EXPECT_EQ(taken.GetSubpaths()[0].VectorPoints()->back(), Point(2, 2));
  EXPECT_TRUE(Morv::Compound().GetSubpaths().empty());
  EXPECT_TRUE(builder.Build().GetSubpaths().empty());
}

}  // namespace
