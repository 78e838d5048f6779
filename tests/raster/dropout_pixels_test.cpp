// Dropout pixels of thin shapes: found along rows and columns of pixel centres,
// never where the pixel-centre rule already covers a centre.
#include "raster/dropout_pixels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "raster/path_run_length_generator_builder.h"
#include "test_scene.h"

namespace {

using QorSc::DropoutPixel;
using QorScTest::Rect;

std::vector<DropoutPixel> Dropouts(const QorScTest::Polygon& internal,
                                   std::uint32_t rule = Morv::kNonZero) {
  const auto compound = Morv::PathBuilder().Polygon(QorScTest::ToWorld(internal)).Build(rule);
  return QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), compound, {},
                                  {0, 0, QorScTest::kWidth, QorScTest::kHeight});
}

TEST(DropoutPixels, ThinStemsAndBarsGetThePixelOfTheirMiddle) {
  // A vertical stem 0.3 pixel wide between the centres of columns 5 and 6, rows 2
  // to 9 (it crosses the centre lines of rows 2 to 8): one pixel per row, column 5.
  std::vector<DropoutPixel> expected;
  for (long long y = 2; y < 9; ++y)
    expected.push_back({5, y});
  EXPECT_EQ(Dropouts(Rect(5.6, 2.2, 5.9, 8.8)), expected);
  // Its middle past a pixel edge: column 6.
  expected.clear();
  for (long long y = 2; y < 9; ++y)
    expected.push_back({6, y});
  EXPECT_EQ(Dropouts(Rect(5.9, 2.2, 6.2, 8.8)), expected);
  // A horizontal bar between the centres of rows 3 and 4: one pixel per column.
  expected.clear();
  for (long long x = 10; x < 20; ++x)
    expected.push_back({x, 4});
  EXPECT_EQ(Dropouts(Rect(10.1, 4.05, 19.9, 4.4)), expected);
  // Both rules: an even-odd rectangle is the same shape.
  EXPECT_EQ(Dropouts(Rect(10.1, 4.05, 19.9, 4.4), Morv::kEvenOdd), expected);
}

TEST(DropoutPixels, ShapesThatCoverCentresHaveNone) {
  // Wide enough in both directions: every row and column span holds a centre.
  EXPECT_TRUE(Dropouts(Rect(2.3, 2.3, 9.7, 9.7)).empty());
  // A stem exactly one pixel wide always holds a centre.
  EXPECT_TRUE(Dropouts(Rect(5.2, 2.0, 6.2, 12.0)).empty());
  // Outside the box: nothing.
  EXPECT_TRUE(Dropouts(Rect(-5.6, 2.2, -5.3, 8.8)).empty());
}

// An outline that would cross more pixel lines than the search takes on (counted over
// the whole outline, also where it leaves the box) gives no pixel and no polygons, even
// where its part inside the box holds a thin stem; one just below the bound is searched.
TEST(DropoutPixels, OutlinesBeyondTheCrossingBoundAreNotSearched) {
  const auto search = [](double height, QorSc::FlatOutline& flat) {
    const QorScTest::Polygon stem{{5.6, 2.2}, {5.9, 2.2}, {5.9, 2.2 + height}, {5.6, 2.2 + height}};
    const auto compound =
        Morv::PathBuilder().Polygon(QorScTest::ToWorld(stem)).Build(Morv::kNonZero);
    return QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), compound, {},
                                    {0, 0, QorScTest::kWidth, QorScTest::kHeight}, &flat);
  };
  // Down and back up: twice the height in row crossings.
  const double bound = static_cast<double>(QorSc::kMaxDropoutCrossings);
  QorSc::FlatOutline below, beyond;
  EXPECT_FALSE(search(bound / 2 - 4, below).empty());
  EXPECT_EQ(below.points.size(), 4u);
  EXPECT_TRUE(search(bound / 2 + 4, beyond).empty());
  EXPECT_TRUE(beyond.points.empty());
  EXPECT_TRUE(beyond.ends.empty());
}

TEST(DropoutPixels, DiagonalHairlinesConnect) {
  // A sliver along the diagonal, 0.1 pixel thick: every row and every column gets a
  // pixel, so the line has no gap of a whole pixel.
  const std::vector<DropoutPixel> d =
      Dropouts({{2.0, 2.05}, {20.0, 20.05}, {20.0, 20.15}, {2.0, 2.15}});
  for (long long y = 3; y < 19; ++y) {
    const bool row =
        std::any_of(d.begin(), d.end(), [&](const DropoutPixel& p) { return p.y == y; });
    EXPECT_TRUE(row) << "row " << y;
  }
  for (long long x = 3; x < 19; ++x) {
    const bool column =
        std::any_of(d.begin(), d.end(), [&](const DropoutPixel& p) { return p.x == x; });
    EXPECT_TRUE(column) << "column " << x;
  }
}

// Crossings are grouped per line whatever order the outline gives them: stems added
// right to left and of both orientations, more of them on one row than a glyph has
// (the long-line sort), and a shape far below the box (the lines between are not
// counted one by one) all give the same pixels as each stem alone.
TEST(DropoutPixels, ManyShapesInAnyOrderAndFarApart) {
  Morv::PathBuilder near, far;
  std::vector<DropoutPixel> expected;
  for (int s = 19; s >= 0; --s) {
    const double x = 2.1 + 2.0 * s;
    QorScTest::Polygon stem = Rect(x, 2.2, x + 0.3, 8.8);
    if (s % 2 != 0) std::reverse(stem.begin(), stem.end());
    near.Polygon(QorScTest::ToWorld(stem));
    far.Polygon(QorScTest::ToWorld(stem));
    for (long long y = 2; y < 9; ++y)
      expected.push_back({static_cast<long long>(x), y});
  }
  std::sort(expected.begin(), expected.end(), [](const DropoutPixel& a, const DropoutPixel& b) {
    return a.y != b.y ? a.y < b.y : a.x < b.x;
  });
  far.Polygon(QorScTest::ToWorld(Rect(3.6, 1.0e7, 3.9, 1.0e7 + 5.0)));
  const QorMath::Rectangle<long long> box{0, 0, QorScTest::kWidth, QorScTest::kHeight};
  EXPECT_EQ(
      QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), near.Build(Morv::kNonZero), {}, box),
      expected);
  EXPECT_EQ(
      QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), far.Build(Morv::kNonZero), {}, box),
      expected);
}

// The polygons the search flattens build exactly the edges the generator builds from
// the compound itself: curves, a glyph cut by the box, one far outside it, under a
// turned and stretched placement, with either winding rule. An outline too long to
// search leaves them empty.
TEST(DropoutPixels, FlattenedOutlineBuildsTheCompoundsEdges) {
  const Morv::MilliPointTransformation t{1.3, 0.4, -0.35, 1.1, 3.7, -2.2};
  const QorMath::Rectangle<long long> box{2, 1, QorScTest::kWidth - 3, QorScTest::kHeight - 2};
  for (const std::uint32_t rule : {Morv::kNonZero, Morv::kEvenOdd}) {
    Morv::PathBuilder b;
    b.MoveTo(6.0, 6.0).CurveTo(6.0, 20.0, 22.0, 24.0, 30.0, 8.0).QuadTo(18.0, 13.0, 6.0, 6.0);
    b.Close();
    b.MoveTo(10.0, 4.0).CurveTo(30.0, 30.0, -4.0, 30.0, 16.0, 4.0).Close();
    b.Rectangle(-6.0, 2.0, 10.1, 0.3);
    b.Rectangle(900.0, 900.0, 5.0, 5.0);
    b.MoveTo(12.0, 12.0).LineTo(12.0, 12.0).Close();
    const Morv::Compound compound = b.Build(rule);
    QorSc::FlatOutline flat;
    QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), compound, t, box, &flat);
    ASSERT_FALSE(flat.points.empty());
    flat.windingRule = rule;

    QorSc::ScratchChains chains;
    QorSc::PathRunLengthGeneratorBuilder from_compound(rule, box, chains);
    from_compound.AddCompound(compound, QorScTest::PixelEnvironment(), t);
    auto expected = from_compound.Release();
    QorSc::PathRunLengthGeneratorBuilder from_flat(flat.windingRule, box, chains);
    from_flat.AddFlatOutline(flat);
    auto actual = from_flat.Release();
    std::size_t runs = 0;
    for (long long y = box.top; y < box.bottom; ++y) {
      expected->GenerateRuns(y);
      actual->GenerateRuns(y);
      EXPECT_EQ(actual->Runs(), expected->Runs()) << "rule " << rule << " line " << y;
      runs += expected->Runs().size();
    }
    EXPECT_GT(runs, 20u);
  }

  QorSc::FlatOutline flat;
  const auto tall = Morv::PathBuilder().Rectangle(1.0, 0.0, 1.0, 5.0e6).Build(Morv::kNonZero);
  EXPECT_TRUE(QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), tall, {},
                                       {0, 0, QorScTest::kWidth, QorScTest::kHeight}, &flat)
                  .empty());
  EXPECT_TRUE(flat.points.empty());
  EXPECT_TRUE(flat.ends.empty());
}

// The definition, line by line: every crossing of the line, sorted by position
// (stable), walked with the winding count; an inside span whose ends round to the
// same pixel gives the pixel of its middle.
std::vector<DropoutPixel> ReferenceDropouts(const std::vector<QorScTest::Polygon>& polygons,
                                            std::uint32_t rule, long long width, long long height) {
  std::vector<DropoutPixel> out;
  for (const bool rows : {true, false}) {
    const long long lines = rows ? height : width;
    for (long long line = 0; line < lines; ++line) {
      const double centre = static_cast<double>(line) + 0.5;
      std::vector<std::pair<double, int>> crossings;
      for (const QorScTest::Polygon& polygon : polygons) {
        for (std::size_t i = 0; i < polygon.size(); ++i) {
          const auto& p = polygon[i];
          const auto& q = polygon[(i + 1) % polygon.size()];
          const double pa = rows ? p.y : p.x, qa = rows ? q.y : q.x;
          const double pc = rows ? p.x : p.y, qc = rows ? q.x : q.y;
          const long long a = QorSc::RoundToPixel(pa), b = QorSc::RoundToPixel(qa);
          if (std::min(a, b) > line || line >= std::max(a, b)) continue;
          crossings.emplace_back(pc + (centre - pa) * ((qc - pc) / (qa - pa)), b > a ? 1 : -1);
        }
      }
      std::stable_sort(crossings.begin(), crossings.end(),
                       [](const auto& x, const auto& y) { return x.first < y.first; });
      auto inside = [rule](int sum) { return rule == Morv::kNonZero ? sum != 0 : (sum & 1) != 0; };
      int sum = 0;
      double start = 0.0;
      for (const auto& [at, winding] : crossings) {
        const bool was = inside(sum);
        sum += winding;
        if (!was && inside(sum)) start = at;
        if (was && !inside(sum) && QorSc::RoundToPixel(start) == QorSc::RoundToPixel(at)) {
          const auto middle = static_cast<long long>(std::floor(0.5 * (start + at)));
          if (middle >= 0 && middle < (rows ? width : height)) {
            out.push_back(rows ? DropoutPixel{middle, line} : DropoutPixel{line, middle});
          }
        }
      }
    }
  }
  std::sort(out.begin(), out.end(), [](const DropoutPixel& a, const DropoutPixel& b) {
    return a.y != b.y ? a.y < b.y : a.x < b.x;
  });
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return out;
}

// Lines are sorted and walked only where two crossings round to one pixel; random
// heaps of thin and thick, overlapping and crossing polygons, some reaching past the
// box, some with corners on pixel edges, find what the definition finds. The glyph
// list form finds, and flattens, what the compound of all its subpaths does.
TEST(DropoutPixels, RandomShapesFindWhatTheDefinitionFinds) {
  std::mt19937 random(16);
  std::uniform_real_distribution<double> x_at(-4.0, QorScTest::kWidth + 4.0);
  std::uniform_real_distribution<double> y_at(-4.0, QorScTest::kHeight + 4.0);
  std::uniform_real_distribution<double> size(0.05, 6.0);
  std::uniform_int_distribution<int> corners(3, 6);
  std::size_t found = 0;
  for (int round = 0; round < 200; ++round) {
    std::vector<QorScTest::Polygon> polygons(1 + round % 7);
    std::vector<std::shared_ptr<const Morv::Compound>> glyphs;
    for (QorScTest::Polygon& polygon : polygons) {
      const double cx = x_at(random), cy = y_at(random), w = size(random), h = size(random);
      for (int k = corners(random); k > 0; --k) {
        double x = cx + w * std::uniform_real_distribution<double>(-1.0, 1.0)(random);
        double y = cy + h * std::uniform_real_distribution<double>(-1.0, 1.0)(random);
        if (round % 5 == 0) x = std::round(2.0 * x) / 2.0;  // on pixel edges and centres
        polygon.push_back({x, y});
      }
      glyphs.push_back(Morv::PathBuilder().Polygon(QorScTest::ToWorld(polygon)).BuildShared());
    }
    for (const std::uint32_t rule : {Morv::kNonZero, Morv::kEvenOdd}) {
      const QorMath::Rectangle<long long> box{0, 0, QorScTest::kWidth, QorScTest::kHeight};
      Morv::PathBuilder all;
      for (const QorScTest::Polygon& polygon : polygons)
        all.Polygon(QorScTest::ToWorld(polygon));
      QorSc::FlatOutline flat, flat_of_glyphs;
      const std::vector<DropoutPixel> d =
          QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), all.Build(rule), {}, box, &flat);
      EXPECT_EQ(d, ReferenceDropouts(polygons, rule, QorScTest::kWidth, QorScTest::kHeight))
          << "round " << round << " rule " << rule;
      EXPECT_EQ(QorSc::FindDropoutPixels(QorScTest::PixelEnvironment(), glyphs, rule, {}, box,
                                         &flat_of_glyphs),
                d);
      EXPECT_EQ(flat_of_glyphs.points, flat.points);
      EXPECT_EQ(flat_of_glyphs.ends, flat.ends);
      found += d.size();
    }
  }
  EXPECT_GT(found, 200u);
}

}  // namespace
