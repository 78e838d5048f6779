#include "raster/geometry_source.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>
#include <vector>

#include "morv/flatten.h"
#include "pixel_space.h"
#include "raster/box_run_length_generator.h"
#include "raster/image_mask_run_length_generator.h"
#include "raster/path_run_length_generator.h"
#include "raster/path_run_length_generator_builder.h"
#include "raster/pixel_rounding.h"
#include "raster/point_enumerator.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorSc::Environment;
using QorSc::RunList;
using T = Morv::MilliPointTransformation;

using QorScTest::InternalRect;
using QorScTest::UnitEnvironment;

TEST(BoxRunLengthGenerator, CoversItsBoxFromTopToBottom) {
  QorSc::BoxRunLengthGenerator box(Box{2, 3, 7, 5});
  box.GenerateRuns(2);
  EXPECT_TRUE(box.Runs().empty());
  for (long long y : {3, 4}) {
    box.GenerateRuns(y);
    EXPECT_EQ(box.Runs(), (RunList{{2, 5}}));
  }
  box.GenerateRuns(5);
  EXPECT_TRUE(box.Runs().empty());
  EXPECT_EQ(box.GetState(), QorSc::RunLengthGenerator::kFinished);

  QorSc::BoxRunLengthGenerator empty(Box{4, 0, 4, 10});
  empty.GenerateRuns(3);
  EXPECT_TRUE(empty.Runs().empty()) << "no run of length 0";
}

// Corners in order, top-left, top-right, bottom-right, bottom-left (y up in points),
// then the first again; a zero-size box too. 1 pt = 1000 px here.
TEST(PointEnumerators, BoxEnumeratorClosesExplicitly) {
  using PdfBox = Morv::RectangleBase<Morv::PdfCoordinateSystem>;
  const struct {
    PdfBox box;
    std::vector<QorSc::Point<double>> corners;
  } cases[] = {
      {PdfBox(0.01, 0.02, 0.0, 0.0), {{10, 80}, {10, 80}, {10, 80}, {10, 80}, {10, 80}}},
      {PdfBox(0.01, 0.01, 0.02, 0.03), {{10, 60}, {30, 60}, {30, 90}, {10, 90}, {10, 60}}}};
  for (const auto& c : cases) {
    QorSc::BoundingBoxEnumerator e(UnitEnvironment(), c.box,
                                   Morv::TransformationBase<Morv::PdfCoordinateSystem>{});
    QorSc::Point<double> p;
    for (const auto& q : c.corners) {
      ASSERT_TRUE(e.Next(p));
      EXPECT_NEAR(p.x, q.x, 1e-9);
      EXPECT_NEAR(p.y, q.y, 1e-9);
    }
    EXPECT_FALSE(e.Next(p));
  }
}

TEST(PointEnumerators, VectorAndSubpathEnumeratorsTransformThenMap) {
  const Environment env = UnitEnvironment();
  const T shift = T::Translation(5.0, -5.0);
  const Morv::Subpath polygon = Morv::Subpath::Polygon({{10, 20}, {30, 20}, {30, 40}}, true);
  ASSERT_FALSE(polygon.VectorPoints().empty());
  QorSc::VectorPointEnumerator v(polygon.VectorPoints(), shift, env);
  QorSc::SubpathPointEnumerator s(polygon, shift, env);
  const QorSc::Point<double> expected[] = {{15, 85}, {35, 85}, {35, 65}};
  QorSc::Point<double> a, b;
  for (const auto& q : expected) {
    ASSERT_TRUE(v.Next(a));
    ASSERT_TRUE(s.Next(b));
    EXPECT_EQ(a, q);
    EXPECT_EQ(b, q);
  }
  EXPECT_FALSE(v.Next(a)) << "no enumerator closes its polygon";
  EXPECT_FALSE(s.Next(b));
}

// Shapes are culled on their rounded boxes (9.6-9.9 rounds to 10-10: nothing; 9.4-9.6
// to 9-10: one pixel). Up to two pixels whose centres the shape covers become a box
// without compound; a larger shape keeps its compound and the rounded box clipped to
// the limit, unless it is an axis-aligned rectangle, whose box is its coverage. The
// transformation applies before culling.
TEST(MakeGeometrySource, CullsByRoundedBoxesAndReducesTinyShapes) {
  auto polygon = [](std::vector<Morv::MilliPointPoint> corners) {
    return Morv::PathBuilder().Polygon(corners).BuildShared();
  };
  const struct {
    const char* what;
    std::shared_ptr<const Morv::Compound> shape;
    T placement;
    Box box;
    std::optional<bool> keeps_compound;
  } cases[] = {
      {"empty", InternalRect(9.6, 5, 9.9, 8), T{}, Box{}, true},
      {"one pixel", InternalRect(9.4, 5.2, 9.6, 5.7), T{}, Box{9, 5, 10, 6}, false},
      {"centre missed", polygon({{9.3, 94.7}, {9.65, 94.7}, {9.3, 94.35}}), T{}, Box{}, false},
      {"right centre", polygon({{9.3, 94.4}, {11.4, 94.4}, {11.4, 95.4}}), T{}, Box{10, 5, 11, 6},
       std::nullopt},
      {"two across", InternalRect(9.4, 5.2, 11.4, 5.7), T{}, Box{9, 5, 11, 6}, false},
      {"two down", InternalRect(3.2, 4.4, 3.7, 6.4), T{}, Box{3, 4, 4, 6}, std::nullopt},
      {"triangle", polygon({{-3.3, 97.4}, {7.4, 97.4}, {2.0, 70.0}}), T{}, Box{0, 3, 7, 20}, true},
      {"rectangle", InternalRect(-3.3, 2.6, 7.4, 30.0), T{}, Box{0, 3, 7, 20}, false},
      {"moved", InternalRect(50, 50, 60, 60), T::Translation(-45.0, 45.0), Box{5, 5, 15, 15},
       std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto source =
        QorSc::MakeGeometrySource(UnitEnvironment(), Box{0, 0, 20, 20}, c.shape, c.placement);
    EXPECT_EQ(source.pixelBox, c.box);
    if (c.keeps_compound) {
      EXPECT_EQ(source.compound != nullptr, *c.keeps_compound);
    }
  }
}

TEST(CreateRunLengthGenerator, PicksTheGeneratorForTheSource) {
  const Environment env = UnitEnvironment();
  QorSc::ScratchChains chains;
  const QorSc::LineContext context(env, chains);
  const Box limit{0, 0, 20, 20};

  const auto quad = Morv::PathBuilder()
                        .Polygon({{2.2, 97.8}, {8.7, 97.8}, {8.7, 93.7}, {2.2, 93.6}})
                        .BuildShared();
  auto path =
      QorSc::CreateRunLengthGenerator(QorSc::MakeGeometrySource(env, limit, quad, T{}), context);
  EXPECT_NE(dynamic_cast<QorSc::PathRunLengthGenerator*>(path.get()), nullptr);
  path->GenerateRuns(4);
  EXPECT_EQ(path->Runs(), (RunList{{2, 7}}));

  auto box = QorSc::CreateRunLengthGenerator(
      QorSc::MakeGeometrySource(env, limit, InternalRect(9.4, 5.2, 9.6, 5.7), T{}), context);
  EXPECT_NE(dynamic_cast<QorSc::BoxRunLengthGenerator*>(box.get()), nullptr);
  box->GenerateRuns(5);
  EXPECT_EQ(box->Runs(), (RunList{{9, 1}}));

  auto mask = std::make_shared<QorImg::PictureBuffer>(2, 2, 1);
  mask->SetBit(0, 0, true);
  // The unit square scaled to 10 × 10 pixels at (2, 2)-(12, 12) internal.
  const T place{10.0, 0.0, 0.0, 10.0, 2.0, 88.0};
  auto image = QorSc::CreateRunLengthGenerator(
      QorSc::MakeImageMaskGeometrySource(env, limit, mask, place), context);
  EXPECT_NE(dynamic_cast<QorSc::ImageMaskRunLengthGenerator*>(image.get()), nullptr);
  image->GenerateRuns(3);
  EXPECT_EQ(image->Runs(), (RunList{{2, 5}})) << "row 0 is the top of the image";
  image->GenerateRuns(8);
  EXPECT_TRUE(image->Runs().empty());
}

// Every line of the limit has the same runs from both generators; one of an empty
// source is taken to have none.
void ExpectSameRuns(QorSc::RunLengthGenerator& a, bool a_empty, QorSc::RunLengthGenerator& b,
                    bool b_empty, const Box& limit) {
  const QorSc::RunList none;
  for (long long line = limit.top; line < limit.bottom; ++line) {
    a.GenerateRuns(line);
    b.GenerateRuns(line);
    ASSERT_EQ(a_empty ? none : a.Runs(), b_empty ? none : b.Runs()) << "line " << line;
  }
}

// Axis-aligned rectangles become boxes; they must cover exactly what the path
// generator covers, under placements that keep them axis-aligned.
TEST(MakeGeometrySource, RectanglesBecomeExactBoxes) {
  const Environment env(Morv::MilliPointRectangle(0.0, 0.0, 72000.0, 72000.0), 1000, 1000);
  const Box limit{3, 5, 61, 47};
  std::mt19937 random(5);
  std::uniform_real_distribution<double> coordinate(-400.0, 5000.0);
  const T placements[] = {T{}, T{-1.0, 0.0, 0.0, 1.0, 4000.0, 0.0},
                          T{0.0, 1.0, -1.0, 0.0, 4500.0, 0.0}, T{1.5, 0.0, 0.0, -0.5, 0.0, 2500.0}};
  QorSc::ScratchChains chains;
  const QorSc::LineContext context(env, chains);
  int reduced = 0;
  for (int round = 0; round < 300; ++round) {
    // Near the top of the page, where the limit is (world y grows upward).
    const double x = coordinate(random), y = 67000.0 + coordinate(random);
    const auto rect = Morv::PathBuilder()
                          .Rectangle(x, y, coordinate(random) / 4, coordinate(random) / 4)
                          .BuildShared();
    for (const T& t : placements) {
      const auto source = QorSc::MakeGeometrySource(env, limit, rect, t);
      reduced += source.compound == nullptr;
      QorSc::PathRunLengthGeneratorBuilder builder(rect->GetWindingRule(), limit, chains);
      builder.AddCompound(*rect, env, t);
      const auto path = builder.Release();
      SCOPED_TRACE(round);
      ExpectSameRuns(*QorSc::CreateRunLengthGenerator(source, context), false, *path, false, limit);
    }
  }
  EXPECT_GT(reduced, 200) << "rectangles that reach the limit take the box path";
}

// A stroke outline walked at activation must give the runs of the compound
// Morv::Stroke makes of the same stroke, and when measured its box and tiny
// reductions too.
TEST(MakeGeometrySource, StrokeOutlinesGiveTheRunsOfTheirCompounds) {
  const Environment env(Morv::MilliPointRectangle(0.0, 0.0, 72000.0, 72000.0), 1000, 1000);
  const Box limit{3, 5, 61, 47};
  std::mt19937 random(11);
  std::uniform_real_distribution<double> coordinate(0.0, 4500.0);
  std::uniform_real_distribution<double> width(1.0, 300.0);
  const T placements[] = {T{}, T{0.8, 0.3, -0.2, 1.1, 300.0, 200.0}};
  const Morv::DashPattern dash{{150.0, 90.0, 10.0, 60.0}, 35.0};
  QorSc::ScratchChains chains;
  const QorSc::LineContext context(env, chains);
  int tiny = 0;
  for (int round = 0; round < 200; ++round) {
    const double x = coordinate(random), y = 67000.0 + coordinate(random);
    Morv::PathBuilder path;
    // Every fourth stroke is a short thin one (a pixel is 72 units), so the tiny
    // reduction is met too.
    if (round % 4 == 0) {
      path.MoveTo(x, y).LineTo(x + 30.0, y - 10.0).LineTo(x + 40.0, y + 5.0);
    } else {
      path.MoveTo(x, y).CurveTo(x + coordinate(random), y - coordinate(random), x - 400.0,
                                y - coordinate(random), x + coordinate(random) / 2, y - 800.0);
      if (round % 3 == 0) path.LineTo(x + 50.0, y - 30.0).Close();
    }
    const auto compound = path.BuildShared();
    const double w = round % 4 == 0 ? 20.0 : width(random);
    const auto cap = static_cast<Morv::LineCap>(round % 3);
    const auto join = static_cast<Morv::LineJoin>((round / 3) % 3);
    const Morv::DashPattern* dashes = round % 5 == 0 ? &dash : nullptr;
    for (const T& t : placements) {
      const double tolerance = Morv::CurveErrorForTransformation(env.GetCurveError(), t);
      const auto outline = std::make_shared<const Morv::StrokeOutline>(compound, w, cap, join, 4.0,
                                                                       dashes, tolerance);
      const auto pieces = std::make_shared<const Morv::Compound>(
          Morv::Stroke(*compound, w, cap, join, 4.0, dashes, tolerance));
      const auto lazy = QorSc::MakeGeometrySource(env, limit, outline, t);
      const auto kept = QorSc::MakeGeometrySource(env, limit, pieces, t);
      if (outline->Measured()) {
        // Measured outlines reduce exactly as their compounds do.
        ASSERT_EQ(outline->PieceCount(), pieces->GetSubpaths().size());
        ASSERT_EQ(outline->GetBoundingBox(), pieces->GetBoundingBox());
        ASSERT_EQ(lazy.pixelBox, kept.pixelBox) << "round " << round;
        ASSERT_EQ(lazy.outline == nullptr, kept.compound == nullptr) << "round " << round;
      } else {
        // A bounded outline's box may be larger, never smaller.
        ASSERT_TRUE(kept.pixelBox.IsEmpty() ||
                    QorMath::Intersect(lazy.pixelBox, kept.pixelBox) == kept.pixelBox)
            << "round " << round;
      }
      tiny += lazy.outline == nullptr && !lazy.pixelBox.IsEmpty();
      SCOPED_TRACE(round);
      ExpectSameRuns(*QorSc::CreateRunLengthGenerator(lazy, context), lazy.pixelBox.IsEmpty(),
                     *QorSc::CreateRunLengthGenerator(kept, context), kept.pixelBox.IsEmpty(),
                     limit);
    }
  }
  EXPECT_GT(tiny, 0) << "some strokes reduce to boxes";
}

// Every generator rounds through RoundToPixel; it must be std::llround inside its
// clamp, halves and their neighbours included.
TEST(RoundToPixel, IsLlroundWithinTheClamp) {
  // Halves and their neighbours come from the loop; the clamp's edges have a test of
  // their own.
  std::vector<double> values = {-0.0, 9007199254740993.0, 4611686018427387904.0 / 2.0, -1e18};
  for (double k = -40.0; k <= 40.0; k += 1.0) {
    for (double base : {k + 0.5, k, k * 1024.0 + 0.5}) {
      values.push_back(base);
      values.push_back(std::nextafter(base, -1e300));
      values.push_back(std::nextafter(base, 1e300));
    }
  }
  std::mt19937_64 random(17);
  std::uniform_real_distribution<double> exponent(-8.0, 61.0);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (int i = 0; i < 100000; ++i)
    values.push_back(unit(random) * std::pow(2.0, exponent(random)));
  for (double v : values)
    ASSERT_EQ(QorSc::RoundToPixel(v), std::llround(v)) << std::hexfloat << v;
}

}  // namespace
