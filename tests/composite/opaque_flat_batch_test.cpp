// Opaque flat copies resolved together against copying them one by one, on lines
// narrower and wider than a word of the union's bits, with objects drawn by
// themselves between groups of copies.
#include "composite/opaque_flat_batch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "composite/line_buffer.h"

namespace {

using QorSc::LineBuffer;
using QorSc::OpaqueFlatBatch;
using QorSc::OpaqueFlatCopy;
using QorSc::RunList;

constexpr std::size_t kPlanes = 5;

struct LineShape {
  long long left;
  long long right;
  int max_objects;
  long long max_run;
};

// Some prior content, written the same way into every line given.
void Scribble(std::mt19937& random, const LineShape& shape, std::vector<LineBuffer*> lines) {
  std::uniform_int_distribution<long long> column(shape.left, shape.right - 1);
  for (int k = 0; k < 3; ++k) {
    long long from = column(random);
    long long to = column(random);
    if (from > to) std::swap(from, to);
    ++to;
    for (LineBuffer* line : lines) {
      std::uint8_t* row = line->Row(line->Cover(from, to));
      for (std::size_t p = 0; p < kPlanes; ++p) {
        row[p] = static_cast<std::uint8_t>(p % 4);
        line->Plane(p)[from] = 0.25f * static_cast<float>(k + 1);
        if (row[p] == QorSc::kStatePerPixel) {
          for (long long x = from; x < to; ++x)
            line->Plane(p)[x] = static_cast<float>(x) / 64.0f;
        }
      }
    }
  }
}

// Sorted, disjoint, non-touching runs inside the line.
RunList RandomRuns(std::mt19937& random, const LineShape& shape) {
  std::uniform_int_distribution<long long> column(shape.left, shape.right - 1);
  std::uniform_int_distribution<long long> length(1, shape.max_run);
  std::uniform_int_distribution<long long> gap(1, 9);
  RunList runs;
  long long x = column(random);
  while (x < shape.right && runs.size() < 3) {
    const long long end = std::min(shape.right, x + length(random));
    runs.push_back({x, end - x});
    x = end + gap(random);
  }
  return runs;
}

// 1 − v over `runs` on every plane, per pixel: what it leaves depends on what lay there.
void Complement(LineBuffer& line, const RunList& runs) {
  for (const QorSc::Run& run : runs) {
    std::vector<float> below(kPlanes * static_cast<std::size_t>(run.length));
    for (std::size_t p = 0; p < kPlanes; ++p)
      line.ResolveInto(p, run.start, run.End(),
                       below.data() + p * static_cast<std::size_t>(run.length));
    std::uint8_t* row = line.Row(line.Cover(run.start, run.End()));
    for (std::size_t p = 0; p < kPlanes; ++p) {
      row[p] = QorSc::kStatePerPixel;
      for (long long x = run.start; x < run.End(); ++x)
        line.Plane(p)[x] = 1.0f - below[p * static_cast<std::size_t>(run.length) +
                                        static_cast<std::size_t>(x - run.start)];
    }
  }
}

void ExpectSameLine(const LineBuffer& batched, const LineBuffer& single, int round) {
  ASSERT_EQ(batched.IntervalCount(), single.IntervalCount()) << round;
  for (std::size_t i = 0; i < single.IntervalCount(); ++i) {
    ASSERT_EQ(batched.Start(i), single.Start(i)) << round;
    for (std::size_t p = 0; p < kPlanes; ++p)
      ASSERT_EQ(batched.Row(i)[p], single.Row(i)[p]) << round << " " << i;
  }
  const auto width = static_cast<std::size_t>(single.Right() - single.Left());
  std::vector<float> a(width), b(width);
  for (std::size_t p = 0; p < kPlanes; ++p) {
    batched.ResolveInto(p, batched.Left(), batched.Right(), a.data());
    single.ResolveInto(p, single.Left(), single.Right(), b.data());
    ASSERT_EQ(a, b) << round << " plane " << p;
  }
}

// Copying opaque flat objects through their visible pieces leaves the map exactly as
// copying them one by one: the same intervals, rows and values, over any prior line,
// whether the pieces are few (ordered by comparison) or many (ordered by their start
// bits), claimed as runs or as settled runs, in one group or in many, each group in place before the object drawn
// after it; and the union tells which pixels lie under the copies and the opaque
// objects.
TEST(OpaqueFlatBatch, EqualsCopiesInOrder) {
  const LineShape shapes[] = {{-20, 60, 12, 14}, {-70, 333, 90, 150}, {5, 69, 40, 3}};
  std::mt19937 random(11);
  std::uniform_int_distribution<int> state(0, 4);
  std::uniform_real_distribution<float> value(0.0f, 1.0f);
  OpaqueFlatBatch batch;
  for (const LineShape& shape : shapes) {
    SCOPED_TRACE(shape.right);
    LineBuffer batched(kPlanes, shape.left, shape.right);
    LineBuffer single(kPlanes, shape.left, shape.right);
    std::uniform_int_distribution<int> count(1, shape.max_objects);
    for (int round = 0; round < 300; ++round) {
      if (round % 20 == 0) {
        batched.Reset();
        single.Reset();
      }
      Scribble(random, shape, {&batched, &single});
      const auto objects = static_cast<std::size_t>(count(random));
      std::vector<OpaqueFlatCopy> copies(objects);
      std::vector<RunList> runs(objects);
      // Every third round some objects are drawn by themselves between groups of
      // copies: an opaque one joins the union; a see-through one turns what lies
      // below it into its complement, so every earlier copy must be in place first.
      enum Kind { kCopy, kOpaque, kSeeThrough };
      std::vector<Kind> kinds(objects, kCopy);
      for (std::size_t m = 0; m < objects; ++m) {
        if (round % 3 == 0 && value(random) < 0.25f)
          kinds[m] = value(random) < 0.5f ? kOpaque : kSeeThrough;
        for (std::size_t p = 0; p < kPlanes; ++p) {
          int s = state(random);
          if (s == QorSc::kStatePerPixel) s = QorSc::kStateFull;
          copies[m].row.push_back(static_cast<std::uint8_t>(s));
          if (s == QorSc::kStateConstant) copies[m].constants.emplace_back(p, value(random));
        }
        runs[m] = RandomRuns(random, shape);
        if (kinds[m] == kSeeThrough) {
          Complement(single, runs[m]);
        } else {
          copies[m].CopyInto(single, runs[m]);
        }
      }
      // The last painted first, as the line driver walks them.
      batch.Clear(shape.left, shape.right);
      EXPECT_TRUE(batch.Empty());
      std::uint32_t others = 0;
      for (std::size_t m = objects; m-- > 0;) {
        if (kinds[m] == kCopy) {
          // A one-run copy settled for the line claims the same pieces.
          if (runs[m].size() == 1 && round % 2 == 1) {
            batch.ClaimSettled(OpaqueFlatBatch::Settle(runs[m].front().start,
                                                       runs[m].front().End(), shape.left,
                                                       shape.right),
                               &copies[m], others);
          } else {
            batch.Claim(runs[m], copies[m], others);
          }
          continue;
        }
        if (kinds[m] == kOpaque) batch.Own(runs[m]);
        ++others;
      }
      batch.Finish();
      std::uint32_t remaining = others;
      for (std::size_t m = 0; m < objects; ++m) {
        if (kinds[m] == kCopy) continue;
        batch.Apply(batched, remaining--);
        if (kinds[m] == kSeeThrough) {
          Complement(batched, runs[m]);
        } else {
          copies[m].CopyInto(batched, runs[m]);
        }
      }
      batch.Apply(batched, 0);
      for (std::size_t m = 0; m < objects; ++m) {
        if (kinds[m] == kSeeThrough) continue;
        ASSERT_TRUE(batch.Covers(runs[m])) << round;
      }
      for (long long x = shape.left; x < shape.right; ++x) {
        bool inside = false;
        for (std::size_t m = 0; m < objects; ++m) {
          if (kinds[m] == kSeeThrough) continue;
          const RunList& r = runs[m];
          for (const QorSc::Run& run : r)
            inside = inside || (run.start <= x && x < run.End());
        }
        ASSERT_EQ(batch.Covers({{x, 1}}), inside) << round << " " << x;
      }
      ExpectSameLine(batched, single, round);
    }
  }
}

// Runs reaching past the line's ends count only inside it.
TEST(OpaqueFlatBatch, IgnoresWhatLiesOutsideTheLine) {
  OpaqueFlatBatch batch;
  batch.Clear(0, 100);
  EXPECT_TRUE(batch.Empty());
  EXPECT_TRUE(batch.Covers({})) << "nothing to cover";
  batch.Own({{-50, 60}});
  EXPECT_FALSE(batch.Empty());
  EXPECT_TRUE(batch.Covers({{0, 10}}));
  EXPECT_TRUE(batch.Covers({{-30, 20}})) << "only [0, 10) is on the line";
  EXPECT_FALSE(batch.Covers({{5, 10}}));
  EXPECT_TRUE(batch.Covers({{200, 5}})) << "wholly outside: nothing to draw";
  OpaqueFlatCopy copy;
  copy.row.assign(kPlanes, QorSc::kStateFull);
  batch.Claim({{90, 40}}, copy, 0);
  EXPECT_TRUE(batch.HasPieces());
  batch.Finish();
  LineBuffer line(kPlanes, 0, 100);
  line.Reset();
  batch.Apply(line, 0);
  ASSERT_EQ(line.IntervalCount(), 2u);
  EXPECT_EQ(line.Start(1), 90);
  EXPECT_EQ(line.Row(1)[0], QorSc::kStateFull);

  // Settled runs are clamped to the line alike.
  batch.Clear(0, 100);
  batch.ClaimSettled(OpaqueFlatBatch::Settle(200, 205, 0, 100), &copy, 0);
  EXPECT_TRUE(batch.Empty()) << "wholly outside";
  batch.ClaimSettled(OpaqueFlatBatch::Settle(-50, 10, 0, 100), &copy, 0);
  batch.ClaimSettled(OpaqueFlatBatch::Settle(-20, 5, 0, 100), &copy, 0);
  batch.ClaimSettled(OpaqueFlatBatch::Settle(90, 130, 0, 100), &copy, 0);
  EXPECT_TRUE(batch.Covers({{-50, 60}}));
  EXPECT_TRUE(batch.Covers({{95, 50}}));
  EXPECT_FALSE(batch.Covers({{10, 1}}));
  batch.Finish();
  line.Reset();
  batch.Apply(line, 0);
  ASSERT_EQ(line.IntervalCount(), 3u);
  EXPECT_EQ(line.Start(1), 10);
  EXPECT_EQ(line.Start(2), 90);
}

}  // namespace
