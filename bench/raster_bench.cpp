// Path generators over large pixel boxes: building edges and generating lines.
//
// Counters: lines/s (lines generated per second) and edges/s (polygon sides
// processed per second, building included); contours/s for edge building alone.
// Run in a release build:
//   build/release/bench/raster_bench
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "raster/geometry_source.h"
#include "raster/path_run_length_generator_builder.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorSc::Environment;

constexpr long long kSize = 10000;

// 1 millipoint = 1 pixel over a 10 000 × 10 000 box.
Environment BenchEnvironment() {
  return Environment(Morv::MilliPointRectangle(0.0, 0.0, kSize, kSize), kSize, kSize);
}

// A glyph-like outline: two contours of 100 cubic curves each, filling the box.
Morv::Compound Glyph() {
  Morv::PathBuilder b;
  for (double radius : {4500.0, 2500.0}) {
    const int n = 100;
    auto at = [&](double a, double r) {
      return std::pair{5000 + r * std::cos(a), 5000 + r * std::sin(a)};
    };
    auto [sx, sy] = at(0, radius);
    b.MoveTo(sx, sy);
    for (int k = 0; k < n; ++k) {
      const double a0 = 2 * M_PI * k / n;
      const double a1 = 2 * M_PI * (k + 1) / n;
      const double wobble = radius * (k % 2 ? 1.05 : 0.95);
      auto [c1x, c1y] = at(a0 + (a1 - a0) / 3, wobble);
      auto [c2x, c2y] = at(a0 + 2 * (a1 - a0) / 3, wobble);
      auto [ex, ey] = at(a1, radius);
      b.CurveTo(c1x, c1y, c2x, c2y, ex, ey);
    }
    b.Close();
  }
  return b.Build(Morv::kNonZero);
}

Morv::Compound RandomPolygon(int sides) {
  std::mt19937 random(42);
  std::uniform_real_distribution<double> coordinate(0.0, kSize);
  std::vector<Morv::MilliPointPoint> points;
  for (int i = 0; i < sides; ++i)
    points.emplace_back(coordinate(random), coordinate(random));
  return Morv::PathBuilder().Polygon(points).Build(Morv::kEvenOdd);
}

Morv::Compound ManySubpaths(int count) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> coordinate(0.0, kSize - 60.0);
  Morv::PathBuilder b;
  for (int i = 0; i < count; ++i) {
    const double x = coordinate(random);
    const double y = coordinate(random);
    b.Polygon({{x, y}, {x + 50.0, y + 10.0}, {x + 40.0, y + 55.0}, {x + 5.0, y + 45.0}});
  }
  return b.Build(Morv::kNonZero);
}

// Hairline-like strokes: each a compound of 40 thin quadrilaterals, one pixel wide,
// along a wandering path, as a stroke outline's pieces are (overlapping where they
// meet), so most lines of a stroke cross two or four edges.
std::vector<Morv::Compound> ThinStrokes(int count) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<Morv::Compound> strokes;
  for (int n = 0; n < count; ++n) {
    Morv::PathBuilder b;
    double x = 1000 + unit(random) * (kSize - 2000);
    double y = 1000 + unit(random) * (kSize - 2000);
    double angle = unit(random) * 2 * M_PI;
    for (int k = 0; k < 40; ++k) {
      angle += (unit(random) - 0.5) * 0.6;
      const double ex = x + 20 * std::cos(angle), ey = y + 20 * std::sin(angle);
      const double nx = -0.5 * std::sin(angle), ny = 0.5 * std::cos(angle);
      b.Polygon({{x + nx, y + ny}, {ex + nx, ey + ny}, {ex - nx, ey - ny}, {x - nx, y - ny}});
      x = ex;
      y = ey;
    }
    strokes.push_back(b.Build(Morv::kNonZero));
  }
  return strokes;
}

std::size_t SideCount(const Morv::Compound& compound) {
  std::size_t sides = 0;
  for (const Morv::Subpath& s : compound.GetSubpaths())
    sides += s.Segments().size() + 1;
  return sides;
}

void Scan(benchmark::State& state, const Morv::Compound& compound) {
  const Environment env = BenchEnvironment();
  QorSc::ScratchChains chains;
  const Box box{0, 0, kSize, kSize};
  std::size_t runs = 0;
  for (auto _ : state) {
    QorSc::PathRunLengthGeneratorBuilder builder(compound.GetWindingRule(), box, chains);
    builder.AddCompound(compound, env, Morv::MilliPointTransformation{});
    const auto generator = builder.Release();
    for (long long y = 0; y < kSize; ++y) {
      generator->GenerateRuns(y);
      runs += generator->Runs().size();
    }
  }
  benchmark::DoNotOptimize(runs);
  const double iterations = static_cast<double>(state.iterations());
  state.counters["lines/s"] = benchmark::Counter(iterations * kSize, benchmark::Counter::kIsRate);
  state.counters["edges/s"] = benchmark::Counter(
      iterations * static_cast<double>(SideCount(compound)), benchmark::Counter::kIsRate);
}

void BM_Glyph200Curves(benchmark::State& state) {
  Scan(state, Glyph());
}
void BM_RandomPolygon100kEdges(benchmark::State& state) {
  Scan(state, RandomPolygon(100000));
}
void BM_Compound10kSubpaths(benchmark::State& state) {
  Scan(state, ManySubpaths(10000));
}

// One generator per stroke over the whole box, asked for every line it covers: the
// per object and line cost of thin strokes ("object lines/s"), building included.
void BM_ThinStrokes(benchmark::State& state) {
  const Environment env = BenchEnvironment();
  const std::vector<Morv::Compound> strokes = ThinStrokes(500);
  QorSc::ScratchChains chains;
  const Box box{0, 0, kSize, kSize};
  std::size_t runs = 0;
  double lines = 0;
  for (auto _ : state) {
    for (const Morv::Compound& stroke : strokes) {
      QorSc::PathRunLengthGeneratorBuilder builder(stroke.GetWindingRule(), box, chains);
      builder.AddCompound(stroke, env, Morv::MilliPointTransformation{});
      const auto generator = builder.Release();
      const Box lines_box = generator->GetPixelBox();
      for (long long y = lines_box.top; y < lines_box.bottom; ++y) {
        generator->GenerateRuns(y);
        runs += generator->Runs().size();
      }
      lines += static_cast<double>(lines_box.bottom - lines_box.top);
    }
  }
  benchmark::DoNotOptimize(runs);
  state.counters["object lines/s"] = benchmark::Counter(lines, benchmark::Counter::kIsRate);
}

// Edge building alone for flattened glyphs at text size, as a text page's kept points
// come: 2 000 glyphs of two contours of 60 corners each (an em of about 30 pixels),
// every contour inside the box's pixel centres ("contours/s").
void BM_FlatGlyphContours(benchmark::State& state) {
  std::vector<QorSc::FlatOutline> glyphs;
  for (int g = 0; g < 2000; ++g) {
    QorSc::FlatOutline glyph;
    const double cx = 100.0 + (g % 40) * 230.0 + 0.37 * g;
    const double cy = 100.0 + (g / 40) * 190.0;
    for (double radius : {14.0, 8.0}) {
      for (int k = 0; k < 60; ++k) {
        const double a = 2 * M_PI * k / 60;
        const double r = radius * (k % 2 ? 1.03 : 0.97);
        glyph.points.push_back({cx + r * std::cos(a), cy + r * std::sin(a)});
      }
      glyph.ends.push_back(glyph.points.size());
    }
    glyphs.push_back(std::move(glyph));
  }
  QorSc::ScratchChains chains;
  const Box box{0, 0, kSize, kSize};
  std::size_t edges = 0;
  for (auto _ : state) {
    for (const QorSc::FlatOutline& glyph : glyphs) {
      QorSc::PathRunLengthGeneratorBuilder builder(Morv::kNonZero, box, chains);
      builder.AddFlatOutline(glyph);
      edges += builder.Release()->EdgeCount();
    }
  }
  benchmark::DoNotOptimize(edges);
  state.counters["contours/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * 2.0 * static_cast<double>(glyphs.size()),
      benchmark::Counter::kIsRate);
}

// Edge building alone for stroke outlines as activation walks them: 2 000 round dots
// of a scatter plot (eight corners each; argument 0) or 200 hairline curves 1.4 pixels
// wide at the curve error of 0.3 pixel, whose pieces are thin rectangles and one-step
// joins (argument 1) ("outlines/s").
void BM_StrokeOutlineEdges(benchmark::State& state) {
  const Environment env = BenchEnvironment();
  const bool curves = state.range(0) != 0;
  std::vector<Morv::StrokeOutline> outlines;
  for (int d = 0; d < (curves ? 0 : 2000); ++d) {
    const double x = 100.0 + (d % 50) * 190.0 + 0.31 * d, y = 100.0 + (d / 50) * 230.0;
    outlines.emplace_back(Morv::PathBuilder().MoveTo(x, y).LineTo(x, y).BuildShared(), 4.2,
                          Morv::LineCap::kRound, Morv::LineJoin::kRound, 10.0, nullptr, 0.3);
  }
  for (int c = 0; c < (curves ? 200 : 0); ++c) {
    const double x = 200.0 + c * 47.0, y = 500.0 + (c % 7) * 1100.0;
    outlines.emplace_back(Morv::PathBuilder()
                              .MoveTo(x, y)
                              .CurveTo(x + 900, y + 2500, x - 700, y + 4000, x + 300, y + 6000)
                              .BuildShared(),
                          1.4, Morv::LineCap::kButt, Morv::LineJoin::kMiter, 10.0, nullptr, 0.3);
  }
  QorSc::ScratchChains chains;
  const Box box{0, 0, kSize, kSize};
  std::size_t edges = 0;
  for (auto _ : state) {
    for (const Morv::StrokeOutline& outline : outlines) {
      QorSc::PathRunLengthGeneratorBuilder builder(Morv::kNonZero, box, chains);
      builder.AddOutline(outline, env, Morv::MilliPointTransformation{});
      edges += builder.Release()->EdgeCount();
    }
  }
  benchmark::DoNotOptimize(edges);
  state.counters["outlines/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * static_cast<double>(outlines.size()),
      benchmark::Counter::kIsRate);
}

BENCHMARK(BM_Glyph200Curves)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_StrokeOutlineEdges)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FlatGlyphContours)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ThinStrokes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RandomPolygon100kEdges)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_Compound10kSubpaths)->Unit(benchmark::kMillisecond);

}  // namespace
