// Pictures end to end: corpus pages dominated by sampled images, imported (JPEG
// decoding, samples adopted by their pictures) and rendered into CMYK bytes one line
// at a time, one thread, as `qorsc render -f pam --threads 1` does without the file.
// Each run imports afresh, so the colorimetric conversion (made once per picture and
// intent, at the first line that needs it) is inside the time. Peak resident memory
// of the process is reported as a counter: it must stay near the decoded images plus
// line buffers.
//   build/release/bench/picture_bench [--benchmark_filter=cmyk]
// The corpus directory is QORSC_CORPUS, or ../shared/corpus beside the repository.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

std::filesystem::path CorpusDirectory() {
  if (const char* dir = std::getenv("QORSC_CORPUS")) return dir;
  return std::filesystem::path(QORSC_SOURCE_DIR).parent_path() / "shared" / "corpus";
}

double PeakResidentMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

void RenderPage(benchmark::State& state, const std::string& name, double dpi) {
  const std::filesystem::path file = CorpusDirectory() / name;
  if (!std::filesystem::exists(file)) {
    state.SkipWithError(("corpus file missing: " + file.string()).c_str());
    return;
  }
  long long height = 0;
  for (auto _ : state) {
    QorPdf::Document pdf = QorPdf::Document::OpenFile(file);
    const QorPdf::Import import = pdf.ImportPages(std::vector<std::size_t>{0});
    const QorPdf::ImportedPage& page = import.pages.front();
    const auto w = static_cast<long long>(page.world_box.Width() / 72000.0 * dpi + 0.5);
    height = static_cast<long long>(page.world_box.Height() / 72000.0 * dpi + 0.5);
    const QorSc::Environment env(page.world_box, w, height);
    const QorSc::Options options(true, import.document->GetSeparationInfo());
    std::vector<unsigned char> line(4 * static_cast<std::size_t>(w));
    QorSc::ScanConverter converter(QorSc::CollectObjects(
        env, options, {0, 0, w, height}, *page.content, {}, QorSc::kAllSelection));
    while (converter.GetLine255PlaneInterleaved(line.data()))
      benchmark::ClobberMemory();
  }
  state.counters["lines"] = static_cast<double>(height);
  state.counters["peak MB"] = PeakResidentMegabytes();
}

void RegisterAll() {
  struct Case {
    const char* file;
    double dpi;
  };
  for (const Case c : {Case{"image_large_cmyk_jpeg.pdf", 300.0},
                       Case{"rw_tile_graphic_flowers.pdf", 100.0}}) {
    const std::string name =
        std::string("RenderPage/") + c.file + "/" + std::to_string(static_cast<int>(c.dpi)) + "dpi";
    benchmark::RegisterBenchmark(name.c_str(),
                                 [c](benchmark::State& s) { RenderPage(s, c.file, c.dpi); })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
