#include "raster/covered_runs.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

using QorSc::CoveredRuns;
using QorSc::RunList;

TEST(CoveredRuns, JoinsTouchingRunsAndCoversOnlyWhatWasAdded) {
  CoveredRuns covered;
  EXPECT_TRUE(covered.Empty());
  covered.Add(RunList{{10, 5}, {30, 10}});
  covered.Add(QorSc::Run{15, 5});  // touches [10, 15): one run [10, 20)
  EXPECT_TRUE(covered.Covers(RunList{{10, 10}}));
  EXPECT_TRUE(covered.Covers(RunList{{12, 3}, {30, 10}}));
  EXPECT_FALSE(covered.Covers(RunList{{19, 2}})) << "pixel 20 was never covered";
  EXPECT_FALSE(covered.Covers(RunList{{18, 14}})) << "spans the gap [20, 30)";
  EXPECT_TRUE(covered.Covers(RunList{})) << "nothing to hide";
  covered.Clear();
  EXPECT_FALSE(covered.Covers(RunList{{12, 1}}));
}

// Against a per-pixel union: never claims a pixel that no added run covered, and
// claims everything while the runs fit.
TEST(CoveredRuns, IsAlwaysPartOfTheUnion) {
  std::mt19937 random(7);
  std::uniform_int_distribution<long long> start(0, 300);
  std::uniform_int_distribution<long long> length(1, 40);
  for (int round = 0; round < 200; ++round) {
    CoveredRuns covered;
    std::vector<bool> pixels(400, false);
    const int adds = 1 + round % 20;
    for (int k = 0; k < adds; ++k) {
      const QorSc::Run run{start(random), length(random)};
      covered.Add(run);
      for (long long x = run.start; x < run.End(); ++x)
        pixels[static_cast<std::size_t>(x)] = true;
    }
    std::size_t union_runs = 0;
    for (std::size_t x = 0; x < pixels.size(); ++x)
      union_runs += pixels[x] && (x == 0 || !pixels[x - 1]);
    for (long long x = 0; x < 390; ++x) {
      for (long long n : {1LL, 3LL, 10LL}) {
        bool inside = true;
        for (long long i = x; i < x + n; ++i)
          inside = inside && pixels[static_cast<std::size_t>(i)];
        const bool claimed = covered.Covers(RunList{{x, n}});
        if (claimed) {
          ASSERT_TRUE(inside) << round << ": " << x << "+" << n;
        }
        if (union_runs <= CoveredRuns::kCapacity) {
          ASSERT_EQ(claimed, inside) << round << ": " << x;
        }
      }
    }
  }
}

}  // namespace
