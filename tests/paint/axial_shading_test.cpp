// Axial shadings: the table size rule, the per-line segments and stepper against a
// per-pixel reference of the same arithmetic, horizontal isolines as Constant,
// extends, the bounding box, and the seeded noise drawn pixel by pixel.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "four_component_paths.h"
#include "paint/axial_shading_paint_getter.h"
#include "pixel_space.h"

namespace {

using QorPaint::AxialShadingPaint;
using QorPaint::ExponentialFunction;
using QorPaint::SeparationMapping;
using QorSc::AxialShadingPaintGetter;
using QorSc::Options;
using QorSc::RunList;
using QorSc::SourcePaintBuffers;

constexpr float kMarker = -7.0f;

Options Plates(std::initializer_list<const char*> names) {
  Options::SeparationList plates;
  for (const char* name : names)
    plates.Add(name, 0.0f);
  return Options(plates, {});
}

// Spot from 0 to 1 linearly (exponent 1) unless told otherwise.
std::shared_ptr<const QorPaint::Function> Ramp(double c0 = 0.0, double c1 = 1.0, double n = 1.0) {
  return std::make_shared<ExponentialFunction>(QorPaint::Interval{0.0, 1.0},
                                               std::vector<QorPaint::Interval>{},
                                               std::vector<double>{c0}, std::vector<double>{c1}, n);
}

std::shared_ptr<const AxialShadingPaint> Axial(
    Morv::MilliPointPoint s, Morv::MilliPointPoint e, std::array<bool, 2> extends,
    std::shared_ptr<const QorPaint::Function> f = Ramp(),
    Morv::MilliPointTransformation t = Morv::MilliPointTransformation::Identity(),
    std::optional<Morv::MilliPointRectangle> box = std::nullopt, bool namedOnly = false) {
  QorPaint::ShadingPaint::Common common;
  common.mapping = SeparationMapping({{"Spot", 0}}, namedOnly);
  common.transformation = t;
  common.boundingBox = box;
  return std::make_shared<AxialShadingPaint>(common, std::array{s, e}, std::move(f),
                                             QorPaint::Interval{}, extends);
}

struct Rig {
  QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  QorMath::Rectangle<long long> box{0, 0, 100, 100};

  std::unique_ptr<AxialShadingPaintGetter> Make(std::shared_ptr<const AxialShadingPaint> paint,
                                                const Options& options) {
    return std::make_unique<AxialShadingPaintGetter>(
        std::move(paint), env, options, Morv::MilliPointTransformation::Identity(), box, chains);
  }
};

void Mark(SourcePaintBuffers& buffers) {
  for (std::size_t i = 0; i <= buffers.ComponentCount(); ++i) {
    for (long long x = buffers.Left(); x < buffers.Right(); ++x)
      buffers.Component(i)[x] = kMarker;
  }
}

// The reference: where the isolines through start and end cross the line centre,
// and the table row of every pixel between them, stepped as the getter documents
// (row and fraction from the first pixel of the piece, whole and fractional step).
struct ReferenceLine {
  std::vector<int> row;  // −1 unpainted, −2 start colour, −3 end colour
};

ReferenceLine Reference(double sx, double sy, double ex, double ey, bool extStart, bool extEnd,
                        std::size_t entries, long long y, long long runStart, long long runEnd) {
  // Internal coordinates of UnitEnvironment: y flipped.
  const double s_x = sx, s_y = 100.0 - sy, e_x = ex, e_y = 100.0 - ey;
  const double q_x = sx - (ey - sy), q_y = 100.0 - (sy + (ex - sx));
  const double dx = q_x - s_x, dy = q_y - s_y;
  const double yc = static_cast<double>(y) + 0.5;
  const double k = dx / dy;
  const double xa = (yc - s_y) * k + s_x;
  const double xb = (yc - e_y) * k + e_x;
  const double step = static_cast<double>(entries) / (xb - xa);
  auto clampx = [](long long v) { return std::min<long long>(std::max<long long>(v, 0), 100); };
  const long long ia = clampx(std::llround(xa));
  const long long ib = clampx(std::llround(xb));
  ReferenceLine line;
  line.row.assign(100, -1);
  const long long lo = std::min(ia, ib), hi = std::max(ia, ib);
  const bool forward = xa < xb;
  for (long long x = runStart; x < runEnd; ++x) {
    if (x < lo) line.row[x] = forward ? (extStart ? -2 : -1) : (extEnd ? -3 : -1);
    if (x >= hi) line.row[x] = forward ? (extEnd ? -3 : -1) : (extStart ? -2 : -1);
  }
  const long long first = std::max(lo, runStart), last = std::min(hi, runEnd);
  if (first < last) {
    double f = (static_cast<double>(first) + 0.5 - xa) * step;
    auto r = static_cast<long long>(std::floor(f));
    double frac = f - std::floor(f);
    const double whole = std::floor(step);
    for (long long x = first; x < last; ++x) {
      line.row[x] = static_cast<int>(
          std::min<long long>(std::max<long long>(r, 0), static_cast<long long>(entries) - 1));
      frac += step - whole;
      r += static_cast<long long>(whole);
      if (frac >= 1.0) {
        frac -= 1.0;
        ++r;
      }
    }
  }
  return line;
}

TEST(AxialShading, TableSizeFollowsTheAxisLengthAndLeafCount) {
  Rig rig;
  const Options options = Plates({"Spot"});
  EXPECT_EQ(rig.Make(Axial({10, 50}, {20, 50}, {false, false}), options)->Entries(), 32u);
  EXPECT_EQ(rig.Make(Axial({10, 50}, {50, 50}, {false, false}), options)->Entries(), 40u);
  // 1000 pixels along the axis: a world ten times finer than the target.
  QorSc::Environment fine(Morv::MilliPointRectangle(0.0, 0.0, 10.0, 10.0), 1000, 1000);
  QorSc::ScratchChains chains;
  AxialShadingPaintGetter long_axis(Axial({0, 5}, {10, 5}, {false, false}), fine, options,
                                    Morv::MilliPointTransformation::Identity(), {0, 0, 1000, 1000},
                                    chains);
  EXPECT_EQ(long_axis.Entries(), 256u);

  // Three exponential sub-functions over 100 pixels: 100 rows each.
  std::vector<std::shared_ptr<const QorPaint::Function>> parts{Ramp(), Ramp(1, 0), Ramp(0, 1, 2)};
  auto stitched = std::make_shared<QorPaint::StitchingFunction>(
      QorPaint::Interval{0, 1}, std::vector<QorPaint::Interval>{}, parts,
      std::vector<double>{0.3, 0.6}, std::vector<QorPaint::Interval>{{0, 1}, {0, 1}, {0, 1}});
  EXPECT_EQ(rig.Make(Axial({0, 50}, {100, 50}, {false, false}, stitched), options)->Entries(),
            300u);
  Options noisy = options;
  noisy.SetNoiseForShadings(20);
  auto dithered = rig.Make(Axial({0, 50}, {100, 50}, {false, false}, stitched), noisy);
  EXPECT_EQ(dithered->Entries(), 4800u);
  ASSERT_TRUE(dithered->Noise());
  EXPECT_EQ(dithered->Noise()->Amplitude(), 480);
}

TEST(AxialShading, SlopedAxisMatchesTheReferencePixelForPixel) {
  Rig rig;
  const Options options = Plates({"Cyan", "Spot"});
  for (const std::array<bool, 2> extends :
       {std::array{false, false}, std::array{true, false}, std::array{true, true}}) {
    // An axis rising to the right (page y up): isolines sloped on the target.
    const double sx = 20, sy = 30, ex = 70, ey = 55;
    auto getter = rig.Make(Axial({sx, sy}, {ex, ey}, extends), options);
    EXPECT_EQ(getter->Kinds()[0], QorSc::kKindZero);
    EXPECT_EQ(getter->Kinds()[1], QorSc::kKindPerPixel);
    SourcePaintBuffers buffers(2, 0, 100);
    for (long long y = 0; y < 100; y += 3) {
      Mark(buffers);
      RunList runs{{5, 40}, {50, 45}};
      RunList painted;
      getter->Compute({y}, runs, buffers, painted);
      const std::size_t entries = getter->Entries();
      std::vector<int> expected(100, -1);
      for (const auto& run : runs) {
        const ReferenceLine ref =
            Reference(sx, sy, ex, ey, extends[0], extends[1], entries, y, run.start, run.End());
        for (long long x = run.start; x < run.End(); ++x)
          expected[x] = ref.row[x];
      }
      std::vector<bool> in_painted(100, false);
      for (const auto& run : painted) {
        for (long long x = run.start; x < run.End(); ++x)
          in_painted[x] = true;
      }
      for (long long x = 0; x < 100; ++x) {
        const int r = expected[x];
        ASSERT_EQ(in_painted[x], r != -1) << "x " << x << " y " << y;
        if (r == -1) continue;
        const float want = r == -2   ? 0.0f
                           : r == -3 ? 1.0f
                                     : getter->Table().Row(static_cast<std::size_t>(r))[1];
        ASSERT_EQ(buffers.Component(1)[x], want) << "x " << x << " y " << y;
        ASSERT_EQ(buffers.Component(0)[x], kMarker) << "a Zero component is never written";
      }
    }
  }
}

TEST(AxialShading, TableRowsAgreeWithTheFunctionWithinOneRow) {
  Rig rig;
  const Options options = Plates({"Spot"});
  auto f = Ramp(0.1, 0.9, 2.0);
  auto getter = rig.Make(Axial({10, 10}, {90, 80}, {false, false}, f), options);
  const auto& table = getter->Table();
  const std::size_t n = table.Entries();
  EXPECT_EQ(table.Row(0)[0], 0.1f);
  EXPECT_FLOAT_EQ(table.Row(n - 1)[0], 0.9f);
  // Per pixel: the function at the pixel centre's projection on the axis.
  SourcePaintBuffers buffers(1, 0, 100);
  const double ax = 80, ay = -70;  // axis in internal coordinates
  for (long long y = 0; y < 100; y += 7) {
    RunList runs{{0, 100}}, painted;
    getter->Compute({y}, runs, buffers, painted);
    for (const auto& run : painted) {
      for (long long x = run.start; x < run.End(); ++x) {
        const double t = ((x + 0.5 - 10) * ax + (y + 0.5 - 90) * ay) / (ax * ax + ay * ay);
        const double lo = std::max(0.0, t - 1.0 / static_cast<double>(n));
        const double hi = std::min(1.0, t + 1.0 / static_cast<double>(n));
        const double v = buffers.Component(0)[x];
        EXPECT_GE(v, 0.1 + 0.8 * lo * lo - 1e-6) << x << "," << y;
        EXPECT_LE(v, 0.1 + 0.8 * hi * hi + 1e-6) << x << "," << y;
      }
    }
  }
}

TEST(AxialShading, HorizontalIsolinesWriteOneConstantPerRun) {
  Rig rig;
  // A vertical axis on the page: the colour is constant along each scan line.
  auto getter = rig.Make(Axial({50, 90}, {50, 10}, {true, true}), Plates({"Cyan", "Spot"}));
  EXPECT_TRUE(getter->HorizontalIsolines());
  EXPECT_EQ(getter->Kinds()[1], QorSc::kKindConstant);
  SourcePaintBuffers buffers(2, 0, 100);
  const std::size_t n = getter->Entries();
  for (long long y : {0LL, 5LL, 10LL, 45LL, 89LL, 95LL}) {
    Mark(buffers);
    RunList runs{{3, 10}, {40, 20}}, painted;
    getter->Compute({y}, runs, buffers, painted);
    EXPECT_EQ(painted, runs);
    const double t = (y + 0.5 - 10.0) / 80.0 * static_cast<double>(n);
    const float want = t < 0 ? 0.0f
                       : t >= static_cast<double>(n)
                           ? 1.0f
                           : getter->Table().Row(static_cast<std::size_t>(t))[1];
    for (const auto& run : runs) {
      EXPECT_EQ(buffers.Component(1)[run.start], want) << y;
      EXPECT_EQ(buffers.Component(1)[run.start + 1], kMarker) << "one value per run";
    }
  }
}

TEST(AxialShading, CoincidentIsolinesSplitTheLineBetweenTheExtends) {
  Rig rig;
  // (x, y) -> (x + y, x + y) collapses the plane: start and end lie on one isoline.
  const Morv::MilliPointTransformation collapse{1, 1, 1, 1, 0, 0};
  AxialShadingPaintGetter getter(Axial({0, 0}, {10, 0}, {true, true}), rig.env, Plates({"Spot"}),
                                 collapse, rig.box, rig.chains);
  SourcePaintBuffers buffers(1, 0, 100);
  RunList runs{{0, 100}}, painted;
  getter.Compute({20}, runs, buffers, painted);
  // Both isolines cross line 20 at x = 79.5, rounded to 80: the end colour lies
  // to its left, the start colour to its right.
  ASSERT_EQ(painted.size(), 2u);
  EXPECT_EQ(painted[0], (QorSc::Run{0, 80}));
  EXPECT_EQ(painted[1], (QorSc::Run{80, 20}));
  EXPECT_EQ(buffers.Component(0)[0], 1.0f);
  EXPECT_EQ(buffers.Component(0)[99], 0.0f);
}

TEST(AxialShading, NoiseDrawsOneSeededNumberPerPixelAcrossLines) {
  Rig rig;
  Options options = Plates({"Spot"});
  options.SetNoiseForShadings(10);
  const double sx = 10, sy = 50, ex = 90, ey = 60;
  auto getter = rig.Make(Axial({sx, sy}, {ex, ey}, {false, false}), options);
  const std::size_t n = getter->Entries();
  // Steep isolines: 650 pixels between them down a column, so 256 rows, × 16.
  ASSERT_EQ(n, 256u * 16u);
  const auto m = static_cast<std::int32_t>(n);
  const std::int32_t amplitude = ((m * 10 + 50) / 100 + 1) / 2;
  std::mt19937 generator(0);
  std::uniform_int_distribution<std::int32_t> draw(-m, m);
  SourcePaintBuffers buffers(1, 0, 100);
  for (long long y = 10; y < 14; ++y) {
    RunList runs{{0, 100}}, painted;
    getter->Compute({y}, runs, buffers, painted);
    const ReferenceLine ref = Reference(sx, sy, ex, ey, false, false, n, y, 0, 100);
    for (long long x = 0; x < 100; ++x) {
      if (ref.row[x] < 0) continue;
      const std::int32_t r = ref.row[x];
      const std::int32_t a = r < amplitude ? r : std::min(m - r, amplitude);
      std::int32_t moved = r + (draw(generator) * a) / m;
      moved = std::clamp(moved, 0, m - 1);
      ASSERT_EQ(buffers.Component(0)[x], getter->Table().Row(moved)[0]) << x << "," << y;
    }
  }
}

TEST(AxialShading, KindsFollowTheMappingAndTheOutput) {
  Rig rig;
  auto named_only = Axial({0, 50}, {100, 50}, {true, true}, Ramp(),
                          Morv::MilliPointTransformation::Identity(), std::nullopt, true);
  auto separations = rig.Make(named_only, Plates({"Cyan", "Spot"}));
  EXPECT_EQ(separations->Kinds()[0], QorSc::kKindAbsent);
  EXPECT_TRUE(separations->HasAbsentComponents());
  // Process output: the spot through its representation, four components.
  const Options process(true, {QorDoc::Separation::Entry(
                                  "Spot", QorDoc::Separation::Representation({0, 1, 0.5f, 0}))});
  auto cmyk = rig.Make(named_only, process);
  ASSERT_EQ(cmyk->Kinds().size(), 4u);
  const float* last = cmyk->Table().Row(cmyk->Entries() - 1);
  EXPECT_EQ(last[0], 0.0f);
  EXPECT_EQ(last[1], 1.0f);
  EXPECT_EQ(last[2], 0.5f);
}

TEST(AxialShading, BoundingBoxRestrictsEveryLine) {
  Rig rig;
  auto paint =
      Axial({0, 50}, {100, 50}, {true, true}, Ramp(), Morv::MilliPointTransformation::Identity(),
            Morv::MilliPointRectangle(20, 30, 40, 20));
  auto getter = rig.Make(paint, Plates({"Spot"}));
  SourcePaintBuffers buffers(1, 0, 100);
  RunList runs{{0, 100}}, painted;
  getter->Compute({10}, runs, buffers, painted);
  EXPECT_TRUE(painted.empty()) << "above the box";
  getter->Compute({60}, runs, buffers, painted);
  ASSERT_EQ(painted.size(), 1u);
  EXPECT_EQ(painted[0], (QorSc::Run{20, 40}));
  getter->Compute({75}, runs, buffers, painted);
  EXPECT_TRUE(painted.empty()) << "below the box";
}

// Four components on the unrolled path against three on the general one, over a
// sloped axis.
TEST(AxialShading, FourComponentsWriteWhatTheGeneralPathWrites) {
  Rig rig;
  auto ramp4 = std::make_shared<ExponentialFunction>(
      QorPaint::Interval{0.0, 1.0}, std::vector<QorPaint::Interval>{},
      std::vector<double>{0.0, 1.0, 0.2, 0.9}, std::vector<double>{1.0, 0.0, 0.7, 0.1}, 1.7);
  QorPaint::ShadingPaint::Common common;
  common.mapping = SeparationMapping({{"A", 0}, {"B", 1}, {"C", 2}, {"D", 3}}, false);
  auto paint = std::make_shared<AxialShadingPaint>(
      common, std::array{Morv::MilliPointPoint(10, 20), Morv::MilliPointPoint(85, 70)}, ramp4,
      QorPaint::Interval{}, std::array{true, false});
  auto four = rig.Make(paint, Plates({"A", "B", "C", "D"}));
  auto three = rig.Make(paint, Plates({"A", "B", "D"}));
  QorScTest::ExpectFourComponentsMatchTheGeneralPath(*four, *three);
}

}  // namespace
