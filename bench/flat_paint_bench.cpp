// Activation cost of flat colours: one cache lookup per object on a page of many
// distinct process colours (the worst case: nearly every lookup makes a getter), and
// on a page that repeats a few colours. Fixed iteration counts so that callgrind's
// instruction count per iteration is comparable between builds.

#include <benchmark/benchmark.h>

#include <vector>

#include "paint/flat_paint_getter.h"
#include "qorcolor/cmyk.h"

namespace {

using QorColor::Color;
using QorSc::FlatPaintGetterCache;
using QorSc::Options;

constexpr int kObjects = 100000;

// Tints of coprime periods: all kObjects colours differ.
Color ProcessColor(int i) {
  const auto tint = [i](int period) {
    return static_cast<float>(i % period) / static_cast<float>(period - 1);
  };
  return Color{
      {"Cyan", tint(97)}, {"Magenta", tint(89)}, {"Yellow", tint(83)}, {"Black", tint(79)}};
}

// One lookup per iteration, cycling through `count` different colours.
void LookUpColours(benchmark::State& state, int count) {
  const Options options(Options::SeparationList(QorColor::GetCMYKColorSpace()), {});
  std::vector<Color> colors;
  for (int i = 0; i < count; ++i)
    colors.push_back(ProcessColor(i));
  FlatPaintGetterCache cache;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cache.Get(options, colors[i]));
    i = (i + 1) % colors.size();
  }
}

void BM_FlatDistinctColours(benchmark::State& state) {
  LookUpColours(state, kObjects);
}
BENCHMARK(BM_FlatDistinctColours)->Iterations(kObjects);

void BM_FlatRepeatedColours(benchmark::State& state) {
  LookUpColours(state, 16);
}
BENCHMARK(BM_FlatRepeatedColours)->Iterations(kObjects);

}  // namespace
