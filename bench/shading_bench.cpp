// Shadings at press resolution: the test page of every mesh type
// (tests/pdf/data/mesh_types.pdf), the page of every shading type with its
// 144-patch grid (shading_types.pdf) and the corpus page of axial and radial
// shadings (shadings_axial_radial.pdf, found in $QORSC_CORPUS, default
// ../shared/corpus beside the source tree), each imported once and rendered into
// CMYK bytes on one thread at 300 and 1200 dpi, one line at a time, as
// `mutool draw -A 0 -c cmyk -r DPI` renders them. Reports CPU time per render
// and the process's peak resident memory so far (run one benchmark per process,
// --benchmark_filter, for a peak of that page alone):
//   build/release/bench/shading_bench --benchmark_filter=Axial/1200
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "page_render.h"

namespace {

double PeakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

void RenderPage(benchmark::State& state, const std::string& file) {
  if (!std::filesystem::exists(file)) {
    state.SkipWithError(("no such page: " + file).c_str());
    return;
  }
  const auto [w, h] =
      QorScBench::RenderPageEachIteration(state, file, static_cast<double>(state.range(0)));
  state.counters["Mpx/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * static_cast<double>(w * h) / 1e6,
      benchmark::Counter::kIsRate);
  state.counters["peak_MB"] = PeakMegabytes();
}

std::string Corpus() {
  const char* dir = std::getenv("QORSC_CORPUS");
  return dir != nullptr ? std::string(dir) : std::string(QORSC_SOURCE_DIR "/../shared/corpus");
}

void BM_Meshes(benchmark::State& state) {
  RenderPage(state, QORSC_SOURCE_DIR "/tests/pdf/data/mesh_types.pdf");
}

void BM_EveryType(benchmark::State& state) {
  RenderPage(state, QORSC_SOURCE_DIR "/tests/pdf/data/shading_types.pdf");
}

void BM_AxialRadial(benchmark::State& state) {
  RenderPage(state, Corpus() + "/shadings_axial_radial.pdf");
}

BENCHMARK(BM_Meshes)->Arg(300)->Arg(1200)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_EveryType)->Arg(300)->Arg(1200)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_AxialRadial)
    ->Arg(300)
    ->Arg(1200)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

}  // namespace

BENCHMARK_MAIN();
