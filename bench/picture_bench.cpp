// Picture lines: a quarter-turned CMYK picture drawn 4, 8 and 16 pixels per sample
// across (the spans of the row walk), stepping its rows backward (row 0 on the right,
// as scanned photographs placed upright on a landscape page have it) and forward.
// One iteration is one line of the whole picture into four plates; fixed iteration
// counts so that callgrind's instruction count per iteration is comparable between
// builds. An exact quarter turn steps the same rows on every line, and the getter
// reuses the walk of the line before; the "Walked" cases start every other line one
// pixel later, so that each line walks its rows.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "paint/picture_paint_getter.h"
#include "test_picture.h"

namespace {

using QorSc::Options;

constexpr long long kRows = 400;
constexpr long long kColumns = 300;  // one per line
constexpr int kLines = 3000;

// `pixels` pixels per sample along a line; forward: row 0 on the left.
void PictureLines(benchmark::State& state, long long pixels, bool forward, bool walked = false) {
  const long long width = kRows * pixels;
  const long long height = kColumns;
  std::vector<std::uint8_t> samples(kRows * kColumns * 4);
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<std::uint8_t>(i * 2654435761u >> 24);
  const auto picture =
      QorTest::MakeInkPicture(kColumns, kRows, {"Cyan", "Magenta", "Yellow", "Black"}, samples);
  // One millipoint is one pixel. The unit square's x runs up the page, its y across.
  const QorSc::Environment env(Morv::MilliPointRectangle(0.0, 0.0, width, height), width, height);
  const auto w = static_cast<double>(width);
  const auto h = static_cast<double>(height);
  const Morv::MilliPointTransformation t =
      forward ? Morv::MilliPointTransformation{0.0, h, -w, 0.0, w, 0.0}
              : Morv::MilliPointTransformation{0.0, h, w, 0.0, 0.0, 0.0};
  Options::SeparationList plates;
  for (const char* name : {"Cyan", "Magenta", "Yellow", "Black"})
    plates.Add(name, 0.0f);
  const Options options(plates, {});
  auto getter = std::make_unique<QorSc::PicturePaintGetter>(picture, env, options, t);
  QorSc::SourcePaintBuffers buffers(4, 0, width);
  QorSc::RunList runs;
  runs.push_back({0, width});
  QorSc::RunList painted;
  long long line = 0;
  for (auto _ : state) {
    if (walked) runs.front() = QorSc::Run{line % 2, width - line % 2};
    getter->Compute({line}, runs, buffers, painted);
    benchmark::DoNotOptimize(buffers.Component(0).At(0));
    line = line + 1 < height ? line + 1 : 0;
    // Lines are asked for in order: a new pass over the page needs a new getter.
    if (line == 0) getter = std::make_unique<QorSc::PicturePaintGetter>(picture, env, options, t);
  }
  state.SetItemsProcessed(state.iterations() * width);
}

void BM_PictureBackward4(benchmark::State& state) {
  PictureLines(state, 4, false);
}
void BM_PictureBackward8(benchmark::State& state) {
  PictureLines(state, 8, false);
}
void BM_PictureBackward16(benchmark::State& state) {
  PictureLines(state, 16, false);
}
void BM_PictureForward8(benchmark::State& state) {
  PictureLines(state, 8, true);
}
void BM_PictureBackward8Walked(benchmark::State& state) {
  PictureLines(state, 8, false, true);
}
void BM_PictureForward8Walked(benchmark::State& state) {
  PictureLines(state, 8, true, true);
}
BENCHMARK(BM_PictureBackward4)->Iterations(kLines);
BENCHMARK(BM_PictureBackward8)->Iterations(kLines);
BENCHMARK(BM_PictureBackward16)->Iterations(kLines);
BENCHMARK(BM_PictureForward8)->Iterations(kLines);
BENCHMARK(BM_PictureBackward8Walked)->Iterations(kLines);
BENCHMARK(BM_PictureForward8Walked)->Iterations(kLines);

}  // namespace
