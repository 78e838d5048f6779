// Collection of a large document: 100 000 paths in 1 000 clip scopes under 100
// layers, over the whole page and over a small pixel box. Counter: objects/s (paths
// walked per second). Culling against the small box must leave the cost of the walk
// plus what reaches the box, not the geometry of what is culled.
//   build/release/bench/collect_bench
#include <benchmark/benchmark.h>

#include <random>

#include "qordoc/document.h"
#include "scan/collect_objects.h"

namespace {

using Box = QorMath::Rectangle<long long>;

constexpr long long kPageWidth = 2480;
constexpr long long kPageHeight = 3508;
const Morv::MilliPointRectangle kA4(0.0, 0.0, 595276.0, 841890.0);

struct Document {
  std::shared_ptr<const QorDoc::Document> document;
  const QorDoc::Content* page = nullptr;
};

const Document& LargeDocument() {
  static const Document built = [] {
    std::mt19937 random(3);
    std::uniform_real_distribution<double> x(0.0, 560000.0);
    std::uniform_real_distribution<double> y(0.0, 800000.0);
    std::uniform_real_distribution<double> tint(0.0, 1.0);
    QorDoc::DocumentBuilder b;
    QorDoc::Content& page = b.AddPage();
    QorDoc::Fillable::Painting clip;
    for (int layer = 0; layer < 100; ++layer) {
      QorDoc::Content& layer_content = b.AddContent();
      for (int scope = 0; scope < 10; ++scope) {
        QorDoc::Content& group = b.AddContent();
        const double cx = x(random), cy = y(random);
        b.AddPath(group, Morv::PathBuilder().Rectangle(cx, cy, 60000.0, 60000.0).BuildShared(),
                  clip, {}, true);
        for (int k = 0; k < 100; ++k) {
          QorDoc::Fillable::Painting fill;
          fill.fill = std::make_shared<QorPaint::FlatPaint>(
              QorColor::Color{{"Cyan", static_cast<float>(tint(random))}});
          const double px = cx + tint(random) * 50000.0, py = cy + tint(random) * 50000.0;
          b.AddPath(group,
                    Morv::PathBuilder()
                        .MoveTo(px, py)
                        .LineTo(px + 9000.0, py + 1000.0)
                        .LineTo(px + 5000.0, py + 8000.0)
                        .Close()
                        .BuildShared(),
                    std::move(fill));
        }
        b.AddGroup(layer_content, group);
      }
      b.AddLayer(page, layer_content,
                 QorDoc::LayerExpression::Of(std::make_shared<QorDoc::LayerProperties>(
                     "Layer " + std::to_string(layer), true)));
    }
    Document d;
    d.page = &page;
    d.document = b.Build();
    return d;
  }();
  return built;
}

void Collect(benchmark::State& state, const Box& box) {
  const Document& doc = LargeDocument();
  const QorSc::Environment env(kA4, kPageWidth, kPageHeight);
  const QorSc::Options options(true, {});
  std::size_t records = 0;
  for (auto _ : state) {
    const QorSc::ObjectCollection c = QorSc::CollectObjects(
        env, options, box, *doc.page, Morv::MilliPointTransformation{}, QorSc::kAllSelection);
    records += c.objects->records.size();
  }
  benchmark::DoNotOptimize(records);
  state.counters["objects/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * 100000.0, benchmark::Counter::kIsRate);
  state.counters["records"] =
      static_cast<double>(records) / static_cast<double>(state.iterations());
}

void BM_CollectWholePage(benchmark::State& state) {
  Collect(state, Box{0, 0, kPageWidth, kPageHeight});
}
void BM_CollectSmallBox(benchmark::State& state) {
  Collect(state, Box{1000, 1000, 1100, 1100});
}

BENCHMARK(BM_CollectWholePage)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CollectSmallBox)->Unit(benchmark::kMillisecond);

}  // namespace
