#include "composite/line_buffer.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

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

}  // namespace
