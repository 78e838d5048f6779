// Transparency at scale: the page of bench/make_group_page.py (1 000 overlapping
// isolated groups, each under its own luminosity soft mask, Multiply at 70 %)
// imported and rendered at 600 dpi into CMYK bytes, one line at a time. The same
// PDF can be given to a peer renderer; docs/performance.md keeps both times.
//   build/release/bench/transparency_bench
#include <benchmark/benchmark.h>

#include <vector>

#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

void BM_MaskedGroups600Dpi(benchmark::State& state) {
  QorPdf::Document pdf = QorPdf::Document::OpenFile(QORSC_GROUP_PAGE);
  const QorPdf::Import import = pdf.ImportPages(std::vector<std::size_t>{0});
  const QorPdf::ImportedPage& page = import.pages.front();
  const long long w = static_cast<long long>(page.world_box.Width() / 72000.0 * 600.0);
  const long long h = static_cast<long long>(page.world_box.Height() / 72000.0 * 600.0);
  const QorSc::Environment env(page.world_box, w, h);
  const QorSc::Options options(true, import.document->GetSeparationInfo());
  std::vector<unsigned char> line(4 * static_cast<std::size_t>(w));
  for (auto _ : state) {
    QorSc::ScanConverter converter(QorSc::CollectObjects(env, options, {0, 0, w, h}, *page.content,
                                                         {}, QorSc::kAllSelection));
    while (converter.GetLine255PlaneInterleaved(line.data()))
      benchmark::ClobberMemory();
  }
  const double lines = static_cast<double>(state.iterations()) * static_cast<double>(h);
  state.counters["lines/s"] = benchmark::Counter(lines, benchmark::Counter::kIsRate);
  state.counters["Mpx/s"] =
      benchmark::Counter(lines * static_cast<double>(w) / 1e6, benchmark::Counter::kIsRate);
}

BENCHMARK(BM_MaskedGroups600Dpi)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
