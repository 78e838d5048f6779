#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "raster/run.h"

namespace {

using QorSc::Run;
using QorSc::RunList;

// Pixel sets on a small line, for checking list operations against set algebra.
std::vector<bool> Pixels(const RunList& runs, int width) {
  std::vector<bool> px(width, false);
  for (const Run& r : runs) {
    for (long long x = r.start; x < r.End(); ++x)
      px[x] = true;
  }
  return px;
}

RunList FromPixels(const std::vector<bool>& px) {
  RunList runs;
  for (int x = 0; x < static_cast<int>(px.size());) {
    if (!px[x]) {
      ++x;
      continue;
    }
    const int start = x;
    while (x < static_cast<int>(px.size()) && px[x])
      ++x;
    runs.push_back({start, x - start});
  }
  return runs;
}

TEST(RunOperations, WorkedCases) {
  RunList out;
  QorSc::IntersectRuns({{0, 10}, {20, 5}}, {{5, 17}}, out);
  EXPECT_EQ(out, (RunList{{5, 5}, {20, 2}}));
  QorSc::IntersectRuns({{0, 10}}, {{10, 5}}, out);
  EXPECT_TRUE(out.empty()) << "touching runs share no pixel";
  QorSc::IntersectRuns({}, {{0, 5}}, out);
  EXPECT_TRUE(out.empty());

  QorSc::UniteRuns({{0, 10}}, {{10, 5}}, out);
  EXPECT_EQ(out, (RunList{{0, 15}})) << "touching runs become one";
  QorSc::UniteRuns({{0, 2}, {4, 2}, {8, 2}}, {{1, 8}}, out);
  EXPECT_EQ(out, (RunList{{0, 10}}));
  QorSc::UniteRuns({{0, 2}, {30, 2}}, {{5, 2}}, out);
  EXPECT_EQ(out, (RunList{{0, 2}, {5, 2}, {30, 2}}));
  QorSc::UniteRuns({}, {{5, 2}, {9, 1}}, out);
  EXPECT_EQ(out, (RunList{{5, 2}, {9, 1}}));
}

TEST(RunOperations, AgreeWithSetAlgebraOnRandomLists) {
  std::mt19937 random(7);
  std::bernoulli_distribution coin(0.4);
  constexpr int kWidth = 64;
  for (int round = 0; round < 500; ++round) {
    std::vector<bool> a(kWidth), b(kWidth);
    for (int x = 0; x < kWidth; ++x) {
      a[x] = coin(random);
      b[x] = coin(random);
    }
    const RunList ra = FromPixels(a);
    const RunList rb = FromPixels(b);
    std::vector<bool> both(kWidth), either(kWidth);
    for (int x = 0; x < kWidth; ++x) {
      both[x] = a[x] && b[x];
      either[x] = a[x] || b[x];
    }
    RunList out;
    QorSc::IntersectRuns(ra, rb, out);
    EXPECT_EQ(out, FromPixels(both));
    QorSc::UniteRuns(ra, rb, out);
    EXPECT_EQ(out, FromPixels(either)) << "union is ascending, disjoint and never touching";
    EXPECT_EQ(Pixels(out, kWidth), either);
  }
}

}  // namespace
