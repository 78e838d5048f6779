// PDF import, and import plus collection, of the corpus pages that stress them most:
// 100 000 rectangles, 20 000 stroked curves, dense text and nested clips. Import
// alone must stay well under a second for the 100 000-rectangle page.
//
// RenderPage: pages dominated by sampled images, imported (JPEG decoding, samples
// adopted by their pictures) and rendered into CMYK bytes one line at a time, one
// thread, as `qorsc render -f pam --threads 1` does without the file; each run imports
// afresh, so the colorimetric conversion (once per picture and intent) is inside the
// time. The process's peak resident memory is a counter: it must stay near the
// decoded pictures plus line buffers.
//   build/release/bench/import_bench [--benchmark_filter=rects|RenderPage]
// The corpus directory is QORSC_CORPUS, or ../shared/corpus beside the repository;
// missing files are skipped with a message.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

std::filesystem::path CorpusDirectory() {
  if (const char* dir = std::getenv("QORSC_CORPUS")) return dir;
  return std::filesystem::path(QORSC_SOURCE_DIR).parent_path() / "shared" / "corpus";
}

void Import(benchmark::State& state, const std::string& name, bool collect) {
  const std::filesystem::path file = CorpusDirectory() / name;
  if (!std::filesystem::exists(file)) {
    state.SkipWithError(("corpus file missing: " + file.string()).c_str());
    return;
  }
  std::size_t objects = 0;
  for (auto _ : state) {
    QorPdf::Document pdf = QorPdf::Document::OpenFile(file);
    const QorPdf::Import import = pdf.ImportPages(std::vector<std::size_t>{0});
    if (collect) {
      const QorPdf::ImportedPage& page = import.pages.front();
      const long long w = static_cast<long long>(page.world_box.Width() / 1000.0 * 300.0 / 72.0);
      const long long h = static_cast<long long>(page.world_box.Height() / 1000.0 * 300.0 / 72.0);
      const QorSc::Environment env(page.world_box, w, h);
      const QorSc::Options options(true, import.document->GetSeparationInfo());
      const QorSc::ObjectCollection collection = QorSc::CollectObjects(
          env, options, {0, 0, w, h}, *page.content, {}, QorSc::kAllSelection);
      benchmark::DoNotOptimize(collection);
    }
    objects = import.pages.front().content->GetMembers().size();
  }
  state.counters["top-level objects"] = static_cast<double>(objects);
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
    // JPEGs decode what renders at this resolution can read, as the command's do.
    QorPdf::ImportOptions import_options;
    import_options.max_pixel_size = 1.5 * 72.0 / dpi;
    const QorPdf::Import import = pdf.ImportPages(std::vector<std::size_t>{0}, import_options);
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
  struct PicturePage {
    const char* file;
    double dpi;
  };
  for (const PicturePage c : {PicturePage{"image_large_cmyk_jpeg.pdf", 300.0},
                              PicturePage{"rw_tile_graphic_flowers.pdf", 100.0}}) {
    const std::string name = std::string("RenderPage/") + c.file + "/" +
                             std::to_string(static_cast<int>(c.dpi)) + "dpi";
    benchmark::RegisterBenchmark(name.c_str(),
                                 [c](benchmark::State& s) { RenderPage(s, c.file, c.dpi); })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1);
  }
  for (const char* name : {"rects_100k.pdf", "strokes_hairlines.pdf", "text_fonts.pdf",
                           "clipping_nested.pdf", "rw_pgfplots_p65.pdf"}) {
    benchmark::RegisterBenchmark((std::string("Import/") + name).c_str(), [name](
                                                                              benchmark::State& s) {
      Import(s, name, false);
    })->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark((std::string("ImportAndCollect/") + name).c_str(),
                                 [name](benchmark::State& s) { Import(s, name, true); })
        ->Unit(benchmark::kMillisecond);
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
