// Stroke outlines walked once, as activation walks them: a round dot (the mark of a
// scatter plot), a short round-capped rule, and a curve with round joins at a device
// tolerance. Counter: outlines/s and pieces per outline. The dot and the rule must not
// pay a sine and cosine per corner or an allocation per piece; the curve's joins of
// less than one arc step must not pay an angle.
//   build/release/bench/stroke_bench
#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "morv/stroke.h"

namespace {

using Morv::LineCap;
using Morv::LineJoin;

class CountingSink final : public Morv::OutlineSink {
 public:
  void Piece(std::span<const Morv::MilliPointPoint> points) override {
    corners += points.size();
    ++pieces;
  }
  std::size_t pieces = 0;
  std::size_t corners = 0;
};

// Units of the plot page: a width of 12.5 under a 0.1 scale, 0.72 units of curve error
// (0.3 pixel at 300 dpi).
constexpr double kWidth = 12.5;
constexpr double kTolerance = 0.72;

void Walk(benchmark::State& state, const Morv::Compound& path, LineCap cap, LineJoin join) {
  CountingSink sink;
  for (auto _ : state) {
    Morv::StrokePieces(path, kWidth, cap, join, 10.0, nullptr, kTolerance, sink);
  }
  benchmark::DoNotOptimize(sink.corners);
  state.counters["outlines/s"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  state.counters["pieces"] =
      static_cast<double>(sink.pieces) / static_cast<double>(state.iterations());
}

void BM_RoundDot(benchmark::State& state) {
  const Morv::Compound dot = Morv::PathBuilder().MoveTo(585, 1579.5).LineTo(585, 1579.5).Build();
  Walk(state, dot, LineCap::kRound, LineJoin::kMiter);
}

void BM_RoundCappedRule(benchmark::State& state) {
  const Morv::Compound rule = Morv::PathBuilder().MoveTo(100, 200).LineTo(160, 230).Build();
  Walk(state, rule, LineCap::kRound, LineJoin::kRound);
}

void BM_CurveWithRoundJoins(benchmark::State& state) {
  const Morv::Compound curve =
      Morv::PathBuilder().MoveTo(0, 0).CurveTo(3000, 4000, 6000, -4000, 9000, 0).Build();
  Walk(state, curve, LineCap::kButt, LineJoin::kRound);
}

BENCHMARK(BM_RoundDot);
BENCHMARK(BM_RoundCappedRule);
BENCHMARK(BM_CurveWithRoundJoins);

}  // namespace
