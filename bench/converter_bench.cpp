// Whole lines through the ScanConverter: collections of flat-filled rectangles in
// CMYK, byte output. Counters: lines/s and Mpx/s (output pixels per second). Also
// one line's walk of the opaque flat batch alone (objects/s).
//   build/release/bench/converter_bench
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>

#include "collect/fillable_object_info.h"
#include "composite/opaque_flat_batch.h"
#include "qordoc/document.h"
#include "scan/scan_converter.h"

namespace {

using Box = QorMath::Rectangle<long long>;

// An A4 page at 600 dpi: 4961 × 7016 pixels, one millipoint = 600/72000 pixel.
constexpr long long kPageWidth = 4961;
constexpr long long kPageHeight = 7016;
const Morv::MilliPointRectangle kA4(0.0, 0.0, 595276.0, 841890.0);

struct Page {
  std::shared_ptr<const QorDoc::Document> document;
  std::vector<std::shared_ptr<const QorDoc::Path>> paths;
};

Page RandomRectangles(int count, double min_size, double max_size, QorBlend::BlendMode mode,
                      float alpha) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> x(0.0, 595276.0 - max_size);
  std::uniform_real_distribution<double> y(0.0, 841890.0 - max_size);
  std::uniform_real_distribution<double> size(min_size, max_size);
  std::uniform_real_distribution<float> tint(0.0f, 1.0f);
  const char* inks[] = {"Cyan", "Magenta", "Yellow", "Black"};
  auto transparency = std::make_shared<const QorBlend::Transparency>(mode, alpha, alpha);
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& content = builder.AddPage();
  Page page;
  for (int i = 0; i < count; ++i) {
    QorColor::Color color;
    for (const char* ink : inks)
      color.Add(ink, tint(random));
    QorDoc::Fillable::Painting painting;
    painting.fill = std::make_shared<QorPaint::FlatPaint>(color);
    painting.transparency = transparency;
    page.paths.push_back(
        builder.AddPath(content,
                        Morv::PathBuilder()
                            .Rectangle(x(random), y(random), size(random), size(random))
                            .BuildShared(),
                        std::move(painting)));
  }
  page.document = builder.Build();
  return page;
}

QorSc::ObjectCollection Collect(const Page& page) {
  const QorSc::Environment env(kA4, kPageWidth, kPageHeight);
  const Box box{0, 0, kPageWidth, kPageHeight};
  auto container = std::make_unique<QorSc::ObjectInfoContainer>();
  for (const auto& path : page.paths) {
    container->Append(QorSc::FillableObjectInfo::Make(
        path.get(), path.get(), nullptr,
        QorSc::MakeGeometrySource(env, box, path->DefiningCompound(), {}), path->GetFillPaint(),
        Morv::MilliPointTransformation{}, path->GetTransparency(), false));
  }
  return QorSc::ObjectCollection(env, QorSc::Options(true, {}), box, std::move(container));
}

// With `pixels`, the bytes pixel after pixel (as PAM and TIFF store them), else
// plane after plane.
void Render(benchmark::State& state, const Page& page, bool pixels = false) {
  std::vector<unsigned char> bytes(4 * kPageWidth);
  for (auto _ : state) {
    QorSc::ScanConverter converter(Collect(page));
    while (pixels ? converter.GetLine255PixelInterleaved(bytes.data())
                  : converter.GetLine255PlaneInterleaved(bytes.data()))
      benchmark::ClobberMemory();
  }
  const double lines = static_cast<double>(state.iterations()) * kPageHeight;
  state.counters["lines/s"] = benchmark::Counter(lines, benchmark::Counter::kIsRate);
  state.counters["Mpx/s"] =
      benchmark::Counter(lines * kPageWidth / 1e6, benchmark::Counter::kIsRate);
}

void BM_Opaque100kRectangles(benchmark::State& state) {
  static const Page page = RandomRectangles(100000, 500.0, 20000.0, QorBlend::kNormal, 1.0f);
  Render(state, page);
}

void BM_LargeOpaqueRectangles(benchmark::State& state) {
  static const Page page = RandomRectangles(20, 200000.0, 500000.0, QorBlend::kNormal, 1.0f);
  Render(state, page);
}

void BM_LargeOpaqueRectanglesPixels(benchmark::State& state) {
  static const Page page = RandomRectangles(20, 200000.0, 500000.0, QorBlend::kNormal, 1.0f);
  Render(state, page, true);
}

// The same number of output bytes written by memset: the floor the converter is
// measured against.
void BM_MemsetSameBytes(benchmark::State& state) {
  std::vector<unsigned char> bytes(4 * kPageWidth);
  for (auto _ : state) {
    for (long long y = 0; y < kPageHeight; ++y) {
      std::memset(bytes.data(), static_cast<int>(y & 0xFF), bytes.size());
      benchmark::ClobberMemory();
    }
  }
  state.counters["lines/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kPageHeight, benchmark::Counter::kIsRate);
}

void BM_Multiply1000Rectangles(benchmark::State& state) {
  static const Page page = RandomRectangles(1000, 50000.0, 200000.0, QorBlend::kMultiply, 0.6f);
  Render(state, page);
}

// One line's backward walk over 2 000 opaque flat copies of one run each, then their
// visible pieces copied into the line: runs of 1 to 3 pixels (hairlines) or of
// state.range(0) pixels at most, across the page's width; with state.range(1) the
// runs are claimed as settled runs, as the line driver claims rectangles after
// their first line.
void BM_OpaqueFlatBatchWalk(benchmark::State& state) {
  constexpr int kCopies = 2000;
  std::mt19937 random(5);
  const long long longest = state.range(0);
  std::uniform_int_distribution<long long> length(longest <= 3 ? 1 : longest / 3, longest);
  std::uniform_int_distribution<long long> start(0, kPageWidth - longest);
  std::vector<QorSc::OpaqueFlatCopy> copies(kCopies);
  std::vector<QorSc::RunList> runs(kCopies);
  std::vector<QorSc::OpaqueFlatBatch::SettledRun> settled(kCopies);
  for (int k = 0; k < kCopies; ++k) {
    copies[k].row.assign(7, QorSc::kStateFull);
    copies[k].row[k % 4] = QorSc::kStateConstant;
    copies[k].constants.emplace_back(k % 4, 0.5f);
    runs[k].push_back({start(random), length(random)});
    settled[k] =
        QorSc::OpaqueFlatBatch::Settle(runs[k].front().start, runs[k].front().End(), 0, kPageWidth);
  }
  const bool claim_settled = state.range(1) != 0;
  QorSc::OpaqueFlatBatch batch;
  QorSc::LineBuffer line(7, 0, kPageWidth);
  for (auto _ : state) {
    line.Reset();
    batch.Clear(0, kPageWidth);
    for (int k = kCopies; k-- > 0;) {
      if (claim_settled) {
        batch.ClaimSettled(settled[k], &copies[k], 0);
      } else {
        batch.Claim(runs[k], copies[k], 0);
      }
    }
    batch.Finish();
    batch.Apply(line, 0);
    benchmark::DoNotOptimize(line.IntervalCount());
  }
  state.counters["objects/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * kCopies, benchmark::Counter::kIsRate);
}

BENCHMARK(BM_Opaque100kRectangles)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_LargeOpaqueRectangles)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LargeOpaqueRectanglesPixels)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MemsetSameBytes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Multiply1000Rectangles)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_OpaqueFlatBatchWalk)
    ->ArgsProduct({{3, 60, 600}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
