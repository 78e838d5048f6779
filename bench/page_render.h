// Renders page 1 of a PDF, imported once, into interleaved CMYK bytes one line at a
// time for every benchmark iteration, as the benchmarks of whole pages need it.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace QorScBench {

struct PageSize {
  long long width;
  long long height;
};

inline PageSize RenderPageEachIteration(benchmark::State& state, const std::string& file,
                                        double dpi) {
  QorPdf::Document pdf = QorPdf::Document::OpenFile(file);
  const QorPdf::Import import = pdf.ImportPages(std::vector<std::size_t>{0});
  const QorPdf::ImportedPage& page = import.pages.front();
  const long long w = static_cast<long long>(page.world_box.Width() / 72000.0 * dpi);
  const long long h = static_cast<long long>(page.world_box.Height() / 72000.0 * dpi);
  const QorSc::Environment env(page.world_box, w, h);
  const QorSc::Options options(true, import.document->GetSeparationInfo());
  std::vector<unsigned char> line(4 * static_cast<std::size_t>(w));
  for (auto _ : state) {
    QorSc::ScanConverter converter(QorSc::CollectObjects(env, options, {0, 0, w, h}, *page.content,
                                                         {}, QorSc::kAllSelection));
    while (converter.GetLine255PlaneInterleaved(line.data()))
      benchmark::ClobberMemory();
  }
  return {w, h};
}

}  // namespace QorScBench
