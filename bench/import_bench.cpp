// PDF import, and import plus collection, of the corpus pages that stress them most:
// 100 000 rectangles, 20 000 stroked curves, dense text and nested clips. Import
// alone must stay well under a second for the 100 000-rectangle page.
//   build/release/bench/import_bench [--benchmark_filter=rects]
// The corpus directory is QORSC_CORPUS, or ../shared/corpus beside the repository;
// missing files are skipped with a message.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "qorpdf/importer.h"
#include "scan/collect_objects.h"

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

void RegisterAll() {
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
