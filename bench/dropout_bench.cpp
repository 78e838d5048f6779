// Dropout pixels of a line of text: the collection cost of a glyph record with a
// minimal stroke width set. Two forms: one compound of the whole line, and the line
// as a text holds it (a compound per glyph) searched in place, its flattened polygons
// kept as collection keeps them. Both reuse the search's storage, as collection does.
//
// A line of 80 glyph-like shapes (an "o" of two curved contours and a stem 0.4 pixel
// wide beside it) at an em of 30 pixels (about 7 pt at 300 dpi) and 120 pixels (at
// 1200 dpi). Counter: glyphs/s. Run in a release build:
//   build/release/bench/dropout_bench
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <vector>

#include "raster/dropout_pixels.h"

namespace {

using Box = QorMath::Rectangle<long long>;

constexpr int kGlyphs = 80;

// 1 millipoint = 1 pixel.
QorSc::Environment BenchEnvironment(long long width, long long height) {
  return QorSc::Environment(
      Morv::MilliPointRectangle(0.0, 0.0, static_cast<double>(width), static_cast<double>(height)),
      width, height);
}

void Ring(Morv::PathBuilder& b, double cx, double cy, double radius, bool clockwise) {
  const int n = 4;
  auto at = [&](double a, double r) {
    return std::pair{cx + r * std::cos(a), cy + r * std::sin(a)};
  };
  const double k = 0.5523 * radius;  // cubic quarter circles
  auto [sx, sy] = at(0.0, radius);
  b.MoveTo(sx, sy);
  for (int q = 0; q < n; ++q) {
    const double step = (clockwise ? -1.0 : 1.0) * M_PI / 2;
    const double a0 = q * step, a1 = (q + 1) * step;
    auto [x0, y0] = at(a0, radius);
    auto [x1, y1] = at(a1, radius);
    const double t0x = -std::sin(a0), t0y = std::cos(a0);
    const double t1x = -std::sin(a1), t1y = std::cos(a1);
    const double s = clockwise ? -k : k;
    b.CurveTo(x0 + s * t0x, y0 + s * t0y, x1 - s * t1x, y1 - s * t1y, x1, y1);
  }
  b.Close();
}

void Glyph(Morv::PathBuilder& b, double em, int g) {
  const double x = 10.0 + g * 0.6 * em;
  Ring(b, x + 0.2 * em, 0.3 * em + 5.0, 0.2 * em, false);
  Ring(b, x + 0.2 * em, 0.3 * em + 5.0, 0.14 * em, true);
  b.Polygon({{x + 0.45 * em, 5.0},
             {x + 0.45 * em + 0.4, 5.0},
             {x + 0.45 * em + 0.4, 5.0 + 0.7 * em},
             {x + 0.45 * em, 5.0 + 0.7 * em}});
}

Morv::Compound TextLine(double em) {
  Morv::PathBuilder b;
  for (int g = 0; g < kGlyphs; ++g)
    Glyph(b, em, g);
  return b.Build(Morv::kNonZero);
}

// The same line as a text holds it: one compound per glyph.
std::vector<std::shared_ptr<const Morv::Compound>> TextGlyphs(double em) {
  std::vector<std::shared_ptr<const Morv::Compound>> glyphs;
  for (int g = 0; g < kGlyphs; ++g) {
    Morv::PathBuilder b;
    Glyph(b, em, g);
    glyphs.push_back(b.BuildShared(Morv::kNonZero));
  }
  return glyphs;
}

void BM_DropoutTextLine(benchmark::State& state) {
  const double em = static_cast<double>(state.range(0));
  const Morv::Compound line = TextLine(em);
  const auto width = static_cast<long long>(20.0 + kGlyphs * 0.6 * em);
  const auto height = static_cast<long long>(10.0 + em);
  const QorSc::Environment env = BenchEnvironment(width, height);
  const Box box{0, 0, width, height};
  std::size_t pixels = 0;
  QorSc::DropoutScratch scratch;
  for (auto _ : state)
    pixels += QorSc::FindDropoutPixels(env, line, {}, box, nullptr, &scratch).size();
  benchmark::DoNotOptimize(pixels);
  state.counters["glyphs/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kGlyphs,
                                                  benchmark::Counter::kIsRate);
}

BENCHMARK(BM_DropoutTextLine)->Arg(30)->Arg(120)->Unit(benchmark::kMicrosecond);

// A text's glyphs searched in place, keeping the flattened polygons, as collection
// does.
void BM_DropoutTextGlyphs(benchmark::State& state) {
  const double em = static_cast<double>(state.range(0));
  const auto glyphs = TextGlyphs(em);
  const auto width = static_cast<long long>(20.0 + kGlyphs * 0.6 * em);
  const auto height = static_cast<long long>(10.0 + em);
  const QorSc::Environment env = BenchEnvironment(width, height);
  const Box box{0, 0, width, height};
  std::size_t pixels = 0;
  QorSc::DropoutScratch scratch;  // kept from text to text, as the collector keeps it
  for (auto _ : state) {
    QorSc::FlatOutline flat;
    pixels +=
        QorSc::FindDropoutPixels(env, glyphs, Morv::kNonZero, {}, box, &flat, &scratch).size();
  }
  benchmark::DoNotOptimize(pixels);
  state.counters["glyphs/s"] = benchmark::Counter(static_cast<double>(state.iterations()) * kGlyphs,
                                                  benchmark::Counter::kIsRate);
}

BENCHMARK(BM_DropoutTextGlyphs)->Arg(30)->Arg(120)->Unit(benchmark::kMicrosecond);

}  // namespace
