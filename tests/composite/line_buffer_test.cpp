#include "composite/line_buffer.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "composite/opaque_flat_batch.h"

namespace {

using QorSc::LineBuffer;

// The value plane p shows at x, from its interval's state.
float Read(const LineBuffer& line, std::size_t p, long long x) {
  const std::size_t i = line.Find(x);
  switch (line.Row(i)[p]) {
    case QorSc::kStateFull:
      return 1.0f;
    case QorSc::kStateConstant:
      return line.Plane(p)[line.Start(i)];
    case QorSc::kStatePerPixel:
      return line.Plane(p)[x];
    default:
      return 0.0f;
  }
}

TEST(LineBuffer, SplittingCarriesConstantsBeforeAnythingIsWritten) {
  LineBuffer line(4, 0, 100);  // one colour plane and the three auxiliary ones
  EXPECT_EQ(line.IntervalCount(), 1u);
  line.Row(0)[0] = QorSc::kStateConstant;
  line.Plane(0)[0] = 0.3f;

  // An opaque per-pixel run over [40, 60): split both ends first, then write.
  line.Split(40);
  line.Split(60);
  ASSERT_EQ(line.IntervalCount(), 3u);
  const std::size_t run = line.Find(40);
  line.Row(run)[0] = QorSc::kStatePerPixel;
  for (long long x = 40; x < 60; ++x)
    line.Plane(0)[x] = 0.9f;
  EXPECT_EQ(Read(line, 0, 39), 0.3f);
  EXPECT_EQ(Read(line, 0, 50), 0.9f);
  EXPECT_EQ(Read(line, 0, 60), 0.3f) << "the value at 60 was copied before the run was written";
  EXPECT_EQ(Read(line, 0, 99), 0.3f);

  // Splitting at an existing key or the right edge changes nothing.
  EXPECT_EQ(line.Split(40), run);
  EXPECT_EQ(line.Split(100), line.IntervalCount());
  EXPECT_EQ(line.IntervalCount(), 3u);
}

TEST(LineBuffer, CoalesceJoinsOnlyWhatReadsTheSame) {
  LineBuffer line(4, -10, 10);
  line.Split(-5);
  line.Split(0);
  line.Split(5);
  // [-10, -5) and [-5, 0) Constant 0.5; [0, 5) Constant 0.25; [5, 10) Zero.
  for (long long key : {-10LL, -5LL, 0LL}) {
    line.Row(line.Find(key))[1] = QorSc::kStateConstant;
    line.Plane(1)[key] = key == 0 ? 0.25f : 0.5f;
  }
  line.Coalesce();
  ASSERT_EQ(line.IntervalCount(), 3u);
  EXPECT_EQ(line.Start(1), 0);
  for (long long x = -10; x < 10; ++x) {
    EXPECT_EQ(Read(line, 1, x), x < 0 ? 0.5f : x < 5 ? 0.25f : 0.0f) << x;
  }
  // Covering a range leaves one interval over it, and the rest as it was.
  EXPECT_EQ(line.Cover(-7, 5), 1u);
  EXPECT_EQ(line.IntervalCount(), 3u);
  EXPECT_EQ(line.Start(1), -7);
  EXPECT_EQ(line.End(1), 5);
  EXPECT_EQ(Read(line, 1, -8), 0.5f);
  EXPECT_EQ(Read(line, 1, 7), 0.0f);
  line.Reset();
  EXPECT_EQ(line.IntervalCount(), 1u);
  EXPECT_EQ(line.Row(0)[3], QorSc::kStateZero);
}

// Covering against a per-pixel model of the line: outside [from, to) every plane
// reads as before (Constant values carried to new keys), and [from, to) is one
// interval whatever it held.
TEST(LineBuffer, CoverKeepsEverythingOutsideTheRange) {
  std::mt19937 random(3);
  std::uniform_int_distribution<long long> column(-20, 59);
  std::uniform_int_distribution<int> state(0, 3);
  std::uniform_real_distribution<float> value(0.0f, 1.0f);
  LineBuffer line(5, -20, 60);
  for (int round = 0; round < 400; ++round) {
    if (round % 25 == 0) line.Reset();
    std::vector<std::vector<float>> before(line.Planes());
    for (std::size_t p = 0; p < line.Planes(); ++p) {
      for (long long x = -20; x < 60; ++x)
        before[p].push_back(Read(line, p, x));
    }
    long long from = column(random);
    long long to = column(random);
    if (from > to) std::swap(from, to);
    ++to;  // [from, to) holds at least one pixel and ends at most at the right edge
    const std::size_t covered = line.Cover(from, to);
    ASSERT_EQ(line.Start(covered), from);
    ASSERT_EQ(line.End(covered), to);
    for (std::size_t p = 0; p < line.Planes(); ++p) {
      for (long long x = -20; x < 60; ++x) {
        if (x < from || x >= to) {
          ASSERT_EQ(Read(line, p, x), before[p][x + 20]) << round << " " << x;
        }
      }
    }
    // Write the covered interval as a filler would: a state and value per plane.
    std::uint8_t* row = line.Row(covered);
    for (std::size_t p = 0; p < line.Planes(); ++p) {
      row[p] = static_cast<std::uint8_t>(state(random));
      if (row[p] == QorSc::kStateConstant) line.Plane(p)[from] = value(random);
      if (row[p] == QorSc::kStatePerPixel) {
        for (long long x = from; x < to; ++x)
          line.Plane(p)[x] = value(random);
      }
    }
    for (std::size_t i = 0; i + 1 < line.IntervalCount(); ++i)
      ASSERT_LT(line.Start(i), line.Start(i + 1));
    ASSERT_EQ(line.End(line.IntervalCount() - 1), 60);
  }
}

// Copying opaque flat objects through their visible pieces leaves the map exactly as
// copying them one by one: the same intervals, rows and values, over any prior line,
// and the union tells which run lists lie wholly under them.
TEST(LineBuffer, OpaqueFlatBatchEqualsCopiesInOrder) {
  std::mt19937 random(11);
  std::uniform_int_distribution<long long> column(-20, 59);
  std::uniform_int_distribution<int> state(0, 4);
  std::uniform_int_distribution<int> count(1, 12);
  std::uniform_real_distribution<float> value(0.0f, 1.0f);
  LineBuffer batched(5, -20, 60);
  LineBuffer single(5, -20, 60);
  QorSc::OpaqueFlatBatch batch;
  for (int round = 0; round < 300; ++round) {
    if (round % 20 == 0) {
      batched.Reset();
      single.Reset();
    }
    // Some prior content, written the same way into both lines.
    for (int k = 0; k < 3; ++k) {
      long long from = column(random);
      long long to = column(random);
      if (from > to) std::swap(from, to);
      ++to;
      for (LineBuffer* line : {&batched, &single}) {
        std::uint8_t* row = line->Row(line->Cover(from, to));
        for (std::size_t p = 0; p < 5; ++p) {
          row[p] = static_cast<std::uint8_t>(p % 4);
          line->Plane(p)[from] = 0.25f * static_cast<float>(k + 1);
          if (row[p] == QorSc::kStatePerPixel) {
            for (long long x = from; x < to; ++x)
              line->Plane(p)[x] = static_cast<float>(x) / 64.0f;
          }
        }
      }
    }
    const int objects = count(random);
    std::vector<QorSc::OpaqueFlatCopy> copies(static_cast<std::size_t>(objects));
    std::vector<QorSc::RunList> runs(copies.size());
    for (std::size_t m = 0; m < copies.size(); ++m) {
      for (std::size_t p = 0; p < 5; ++p) {
        int s = state(random);
        if (s == QorSc::kStatePerPixel) s = QorSc::kStateFull;
        copies[m].row.push_back(static_cast<std::uint8_t>(s));
        if (s == QorSc::kStateConstant) copies[m].constants.emplace_back(p, value(random));
      }
      // Sorted, disjoint, non-touching runs.
      long long x = column(random);
      while (x < 59 && runs[m].size() < 3) {
        const long long end = std::min<long long>(60, x + 1 + column(random) % 7 + 7);
        runs[m].push_back({x, end - x});
        x = end + 1 + (column(random) + 20) % 9;
      }
      if (runs[m].empty()) runs[m].push_back({59, 1});
      copies[m].CopyInto(single, runs[m]);
    }
    // The last painted first, as the line driver walks them; a copy in the middle
    // only joins the union and is copied by itself between its two groups.
    batch.Clear();
    const std::size_t alone = static_cast<std::size_t>(round) % copies.size();
    std::uint32_t others = 0;
    for (std::size_t m = copies.size(); m-- > 0;) {
      if (m == alone && round % 3 == 0) {
        batch.Own(runs[m]);
        ++others;
      } else {
        batch.Claim(runs[m], copies[m], others);
      }
    }
    batch.Finish();
    for (std::size_t m = 0; m < copies.size(); ++m) {
      if (m == alone && round % 3 == 0) {
        batch.Apply(batched, 1);
        copies[m].CopyInto(batched, runs[m]);
      }
    }
    batch.Apply(batched, 0);
    for (const QorSc::RunList& r : runs)
      ASSERT_TRUE(batch.Covers(r)) << round;
    for (long long x = -20; x < 60; ++x) {
      bool inside = false;
      for (const QorSc::RunList& r : runs) {
        for (const QorSc::Run& run : r)
          inside = inside || (run.start <= x && x < run.End());
      }
      ASSERT_EQ(batch.Covers({{x, 1}}), inside) << round << " " << x;
    }
    ASSERT_EQ(batched.IntervalCount(), single.IntervalCount()) << round;
    for (std::size_t i = 0; i < single.IntervalCount(); ++i) {
      ASSERT_EQ(batched.Start(i), single.Start(i)) << round;
      for (std::size_t p = 0; p < 5; ++p)
        ASSERT_EQ(batched.Row(i)[p], single.Row(i)[p]) << round << " " << i;
    }
    for (std::size_t p = 0; p < 5; ++p) {
      for (long long x = -20; x < 60; ++x)
        ASSERT_EQ(Read(batched, p, x), Read(single, p, x)) << round << " " << x;
    }
  }
}

}  // namespace
