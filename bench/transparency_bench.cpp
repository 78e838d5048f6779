// Transparency at scale: the page of bench/make_group_page.py (1 000 overlapping
// isolated groups, each under its own luminosity soft mask, Multiply at 70 %)
// imported and rendered at 600 dpi into CMYK bytes, one line at a time. The same
// PDF can be given to a peer renderer; docs/performance.md keeps both times.
//   build/release/bench/transparency_bench
#include <benchmark/benchmark.h>

#include "page_render.h"

namespace {

void BM_MaskedGroups600Dpi(benchmark::State& state) {
  const auto [w, h] = QorScBench::RenderPageEachIteration(state, QORSC_GROUP_PAGE, 600.0);
  const double lines = static_cast<double>(state.iterations()) * static_cast<double>(h);
  state.counters["lines/s"] = benchmark::Counter(lines, benchmark::Counter::kIsRate);
  state.counters["Mpx/s"] =
      benchmark::Counter(lines * static_cast<double>(w) / 1e6, benchmark::Counter::kIsRate);
}

BENCHMARK(BM_MaskedGroups600Dpi)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
