// Tiled cells: the wrap arithmetic against an oracle that goes through world and
// pattern space (rotated lattices, negative and non-integer steps, pixel centres on
// period boundaries), the gather into the source buffers and the raster's size cap.
// Whole pages through the tiled paint against the same cells drawn one by one are in
// tests/pdf/content/limits_test.cpp.

#include "paint/tiling_paint_getter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "qordoc/document.h"

namespace {

using QorSc::CellLattice;
using T = Morv::MilliPointTransformation;

constexpr long long kSize = 64;

// One point (1000 millipoints) per pixel.
QorSc::Environment Env() {
  return QorSc::Environment(Morv::MilliPointRectangle(0.0, 0.0, kSize * 1000.0, kSize * 1000.0),
                            kSize, kSize);
}

T Rotated(double degrees, double scale, double tx, double ty) {
  const double r = degrees * std::numbers::pi / 180.0;
  return {
      scale * std::cos(r), scale * std::sin(r), -scale * std::sin(r), scale * std::cos(r), tx, ty};
}

// A document content is needed for a paint; the cell's objects do not matter here.
struct Cell {
  std::shared_ptr<const QorDoc::Document> document;
  const QorDoc::Content* content = nullptr;
};
Cell EmptyCell() {
  QorDoc::DocumentBuilder builder;
  Cell cell;
  cell.content = &builder.AddContent();
  cell.document = builder.Build();
  return cell;
}

// Whether `index` is the sample under the centre of pixel (x, y), by the inverse of
// the whole placement: device → world → pattern, then the position within the
// period. Within 1e-7 of a sample edge either side is right.
bool OracleAccepts(const QorSc::Environment& env, const T& matrix,
                   const QorPaint::TilingPaint& paint, const CellLattice& lattice, long long x,
                   long long y, std::size_t index) {
  const auto world = env.InternalToWorld(
      QorSc::Point<double>{static_cast<double>(x) + 0.5, static_cast<double>(y) + 0.5});
  const auto p = matrix.Inverse().Apply(world);
  const double ax = std::fabs(paint.GetXStep()), ay = std::fabs(paint.GetYStep());
  double a = std::fmod(p.x.Value() - paint.GetBox().X(), ax) / ax;
  double b = std::fmod(p.y.Value() - paint.GetBox().Y(), ay) / ay;
  if (a < 0.0) a += 1.0;
  if (b < 0.0) b += 1.0;
  const double s = a * static_cast<double>(lattice.columns);
  const double t = (1.0 - b) * static_cast<double>(lattice.rows);
  auto wrap = [](double v, long long n) {
    const long long i = static_cast<long long>(std::floor(v)) % n;
    return i < 0 ? i + n : i;
  };
  for (double ds : {-1e-7, 1e-7}) {
    for (double dt : {-1e-7, 1e-7}) {
      const long long column = wrap(s + ds, lattice.columns);
      const long long row = wrap(t + dt, lattice.rows);
      if (index == static_cast<std::size_t>(row * lattice.columns + column)) return true;
    }
  }
  return false;
}

TEST(TilingPaintGetter, WrapsIntoThePeriod) {
  EXPECT_EQ(CellLattice::Wrap(0.0, 4), 0);
  EXPECT_EQ(CellLattice::Wrap(3.999, 4), 3);
  EXPECT_EQ(CellLattice::Wrap(4.0, 4), 0);
  EXPECT_EQ(CellLattice::Wrap(-0.5, 4), 3);
  EXPECT_EQ(CellLattice::Wrap(-4.0, 4), 0);
  EXPECT_EQ(CellLattice::Wrap(-1e-300, 4), 3);
  EXPECT_EQ(CellLattice::Wrap(-9.5, 3), 2);
  EXPECT_EQ(CellLattice::Wrap(1e20 + 0.0, 7), static_cast<long long>(std::fmod(1e20, 7.0)));
  EXPECT_EQ(CellLattice::Wrap(std::nan(""), 5), 0);
  EXPECT_EQ(CellLattice::Wrap(12.5, 1), 0);
}

TEST(TilingPaintGetter, SamplesFollowTheLatticeInEveryPlacement) {
  const Cell cell = EmptyCell();
  const QorSc::Environment env = Env();
  struct Case {
    T matrix;
    double xStep, yStep;
    Morv::MilliPointRectangle box;
    long long columns, rows;  // 0: not checked
  };
  const Case cases[] = {
      // Upright, pixel-aligned: one sample per pixel.
      {T{1000, 0, 0, 1000, 3000, 2000}, 4.0, 4.0, {0, 0, 4, 4}, 4, 4},
      // Negative steps make the same lattice.
      {T{1000, 0, 0, 1000, 3000, 2000}, -4.0, -4.0, {0, 0, 4, 4}, 4, 4},
      // Non-integer steps: four samples per pixel along each axis.
      {T{1000, 0, 0, 1000, 0, 0}, 2.5, -3.25, {0.25, 0.5, 1, 1}, 10, 13},
      // Rotated, scaled and mirrored lattices.
      {Rotated(30.0, 1000.0, 31000.0, 7000.0), 7.3, -4.6, {-1, 2, 3, 3}, 0, 0},
      {Rotated(-117.0, 830.0, 40000.0, 50000.0), -5.5, 9.1, {0, 0, 5.5, 9.1}, 0, 0},
      {T{0, 1200, 1000, 0, 5000, 1000}, 3.0, 2.0, {0, 0, 3, 2}, 0, 0},
  };
  for (const Case& c : cases) {
    const QorPaint::TilingPaint paint(cell.content, c.matrix, c.xStep, c.yStep, c.box);
    const CellLattice lattice = QorSc::MakeCellLattice(env, T{}, paint);
    if (c.columns != 0) {
      EXPECT_EQ(lattice.columns, c.columns);
      EXPECT_EQ(lattice.rows, c.rows);
    }
    auto raster = std::make_shared<QorSc::CellRaster>();
    raster->columns = lattice.columns;
    raster->rows = lattice.rows;
    raster->opacity.assign(static_cast<std::size_t>(lattice.columns * lattice.rows), 1.0f);
    const QorSc::TilingPaintGetter getter(raster, lattice);
    for (long long y = 0; y < kSize; ++y) {
      for (long long x = 0; x < kSize; ++x) {
        ASSERT_TRUE(OracleAccepts(env, c.matrix, paint, lattice, x, y, getter.SampleAt(x, y)))
            << "pixel " << x << "," << y << " step " << c.xStep << "," << c.yStep;
      }
    }
  }

  // Pixel centres exactly on period boundaries: across, a centre on the boundary
  // starts the next period's first column; down (rows run down the page), a centre
  // on the period's lower edge is the top row of the period below.
  const QorPaint::TilingPaint aligned(cell.content, T{1000, 0, 0, 1000, 0, 0}, 4.0, -4.0,
                                      {0.5, 0.5, 2, 2});
  const CellLattice lattice = QorSc::MakeCellLattice(env, T{}, aligned);
  ASSERT_EQ(lattice.columns, 16);  // the corner is on a pixel centre: oversampled
  ASSERT_EQ(lattice.rows, 16);
  auto raster = std::make_shared<QorSc::CellRaster>();
  raster->columns = raster->rows = 16;
  raster->opacity.assign(256, 1.0f);
  const QorSc::TilingPaintGetter getter(raster, lattice);
  const long long bottom = kSize - 1;         // centres at world y 0.5
  EXPECT_EQ(getter.SampleAt(0, bottom), 0u);  // x 0.5: column 0 of row 0
  EXPECT_EQ(getter.SampleAt(3, bottom), 12u);
  EXPECT_EQ(getter.SampleAt(4, bottom), 0u);                  // x 4.5: the next period
  EXPECT_EQ(getter.SampleAt(1, bottom - 1), 12u * 16u + 4u);  // y 1.5
  EXPECT_EQ(getter.SampleAt(kSize - 4, bottom - 4), 0u);
  EXPECT_EQ(getter.SampleAt(kSize - 4, bottom - 7), 4u * 16u);
}

TEST(TilingPaintGetter, GathersValuesAndOpacityAndCapsTheRaster) {
  const Cell cell = EmptyCell();
  const QorSc::Environment env = Env();
  const QorPaint::TilingPaint paint(cell.content, T{1000, 0, 0, 1000, 0, 0}, 3.0, 2.0,
                                    {0, 0, 3, 2});
  const CellLattice lattice = QorSc::MakeCellLattice(env, T{}, paint);
  auto raster = std::make_shared<QorSc::CellRaster>();
  raster->columns = 3;
  raster->rows = 2;
  raster->components = 2;
  for (int i = 0; i < 12; ++i)
    raster->values.push_back(static_cast<float>(i) / 16.0f);
  raster->opacity = {1.0f, 0.5f, 0.0f, 0.25f, 1.0f, 0.75f};
  QorSc::TilingPaintGetter getter(raster, lattice);
  EXPECT_EQ(getter.GetPaintKind(), 2);
  ASSERT_EQ(getter.Kinds().size(), 2u);
  EXPECT_EQ(getter.Kinds()[1], QorSc::kKindPerPixel);
  QorSc::SourcePaintBuffers buffers(2, 0, kSize);
  const QorSc::RunList runs = {{1, 7}, {20, 5}};
  QorSc::RunList painted;
  for (long long y : {10LL, 11LL}) {
    getter.Compute({y}, runs, buffers, painted);
    EXPECT_EQ(painted, runs);
    for (const auto& run : runs) {
      for (long long x = run.start; x < run.End(); ++x) {
        const std::size_t i = getter.SampleAt(x, y);
        EXPECT_EQ(buffers.Mask()[x], raster->opacity[i]);
        EXPECT_EQ(buffers.Component(0)[x], raster->values[i]);
        EXPECT_EQ(buffers.Component(1)[x], raster->values[6 + i]);
      }
    }
  }
  // A raster that does not fit its lattice is refused.
  auto small = std::make_shared<QorSc::CellRaster>(*raster);
  small->opacity.pop_back();
  EXPECT_THROW(QorSc::TilingPaintGetter(small, lattice), std::invalid_argument);

  // A cell spanning far more pixels than the cap is coarsened evenly.
  const QorPaint::TilingPaint big(cell.content, T{1000, 0, 0, 1000, 0, 0}, 3000.0, 1000.0,
                                  {0, 0, 3000, 1000});
  const CellLattice capped = QorSc::MakeCellLattice(env, T{}, big, 30000);
  EXPECT_LE(capped.columns * capped.rows, 30000);
  EXPECT_GE(capped.columns * capped.rows, 29000);
  EXPECT_NEAR(static_cast<double>(capped.columns) / static_cast<double>(capped.rows), 3.0, 0.05);

  // Paints refuse what a lattice cannot be made of.
  EXPECT_THROW(QorPaint::TilingPaint(cell.content, T{}, 0.0, 1.0, {0, 0, 1, 1}),
               std::invalid_argument);
  EXPECT_THROW(QorPaint::TilingPaint(cell.content, T{}, 1.0, 1.0, {0, 0, 0, 1}),
               std::invalid_argument);
  EXPECT_THROW(QorPaint::TilingPaint(cell.content, T{1, 2, 2, 4, 0, 0}, 1.0, 1.0, {0, 0, 1, 1}),
               std::invalid_argument);
  EXPECT_THROW(QorPaint::TilingPaint(nullptr, T{}, 1.0, 1.0, {0, 0, 1, 1}), std::invalid_argument);
}

}  // namespace
