// Generating the lines of a shape allocates nothing once its run lists have grown.
#include <gtest/gtest.h>

#include "allocation_counter.h"
#include "morv/compound.h"
#include "morv/stroke.h"
#include "raster/path_run_length_generator_builder.h"

namespace {

using Box = QorMath::Rectangle<long long>;

// A comb of teeth over a sloped spine, every line crossing many edges that start and
// end at different lines.
class CombEnumerator final : public QorSc::PointEnumerator {
 public:
  CombEnumerator() {
    points_.push_back({0.3, 0.2});
    for (int k = 0; k < 40; ++k) {
      const double x = 5.3 + 10.0 * k;
      points_.push_back({x, 180.4 - k});
      points_.push_back({x + 2.1, 3.3 + k});
      points_.push_back({x + 4.2, 180.4 - k});
    }
    points_.push_back({410.7, 199.6});
  }
  bool Next(QorSc::Point<double>& out) override {
    if (next_ == points_.size()) return false;
    out = points_[next_++];
    return true;
  }

 private:
  std::vector<QorSc::Point<double>> points_;
  std::size_t next_ = 0;
};

TEST(SteadyState, GeneratingLinesAllocatesNothing) {
  QorSc::ScratchChains chains;
  QorSc::PathRunLengthGeneratorBuilder builder(1, Box{0, 0, 420, 200}, chains);
  CombEnumerator comb;
  builder.AddPoints(comb);
  const auto generator = builder.Release();

  const long before = QorScTest::AllocationCount();
  std::size_t runs = 0;
  for (long long y = 0; y < 200; ++y) {
    generator->GenerateRuns(y);
    runs += generator->Runs().size();
  }
  const long allocations = QorScTest::AllocationCount() - before;
  EXPECT_GT(runs, 200u * 20u);
  // Activation sizes the active array for a few entries and it doubles up to the
  // high-water mark (80 edges) and is halved back as the teeth end; the run list
  // grows, geometrically, to the longest line: a handful of allocations for 200 lines
  // of up to 40 runs each. Blocks of edges the lines have passed are freed, never
  // allocated.
  EXPECT_LE(allocations, 16) << allocations;

  // Building a second generator reuses the chains and the stores edges are built
  // in: only the generator and its blocks of edges are allocated (and the counts of
  // the sort by first line).
  QorSc::PathRunLengthGeneratorBuilder again(1, Box{0, 0, 420, 200}, chains);
  CombEnumerator comb2;
  const long build_before = QorScTest::AllocationCount();
  again.AddPoints(comb2);
  const auto second = again.Release();
  EXPECT_GT(second->EdgeCount(), 80u);
  EXPECT_LE(QorScTest::AllocationCount() - build_before, 2 + second->HeldBlocks());

  // The same comb as corners wholly inside the box's pixel centres, as a glyph
  // contour comes: once the scratch stores have grown to it, again only the
  // generator and its blocks.
  QorSc::FlatOutline flat;
  CombEnumerator comb3;
  for (QorSc::Point<double> p; comb3.Next(p);)
    flat.points.push_back(p);
  flat.ends.push_back(flat.points.size());
  for (int pass = 0; pass < 2; ++pass) {
    QorSc::PathRunLengthGeneratorBuilder corners(1, Box{-1, -1, 421, 201}, chains);
    const long corners_before = QorScTest::AllocationCount();
    corners.AddFlatOutline(flat);
    const auto third = corners.Release();
    EXPECT_GT(third->EdgeCount(), 80u);
    if (pass == 1) {
      EXPECT_LE(QorScTest::AllocationCount() - corners_before, 2 + third->HeldBlocks());
    }
  }
}

// A scatter plot's marks and short rules: walking their outlines hands every piece to
// the sink without allocating, round joins and caps included.
TEST(SteadyState, WalkingShortStrokesAllocatesNothing) {
  class CountingSink final : public Morv::OutlineSink {
   public:
    void Piece(std::span<const Morv::MilliPointPoint> points) override { corners += points.size(); }
    std::size_t corners = 0;
  } sink;
  const auto dot = Morv::PathBuilder().MoveTo(585, 1579.5).LineTo(585, 1579.5).BuildShared();
  const auto rule =
      Morv::PathBuilder().MoveTo(10, 10).LineTo(200, 40).LineTo(220, 300).BuildShared();
  const Morv::StrokeOutline disc(dot, 12.5, Morv::LineCap::kRound, Morv::LineJoin::kRound, 10.0,
                                 nullptr, 0.72);
  const Morv::StrokeOutline bent(rule, 12.5, Morv::LineCap::kRound, Morv::LineJoin::kRound, 10.0,
                                 nullptr, 0.72);
  // The first walks build the tables of turn steps, once for the process.
  disc.Walk(sink);
  bent.Walk(sink);
  long before = QorScTest::AllocationCount();
  disc.Walk(sink);
  EXPECT_EQ(QorScTest::AllocationCount() - before, 0);
  before = QorScTest::AllocationCount();
  bent.Walk(sink);
  EXPECT_EQ(QorScTest::AllocationCount() - before, 0);
  EXPECT_GT(sink.corners, 20u);
}

}  // namespace
