// The parametric shading getters write four PerPixel components (process output)
// on an unrolled path: it must write what the general path writes. A getter on
// plates A, B, C, D against one on A, B, D of the same paint, whose function has
// four outputs, over lines cut into two runs.
#pragma once

#include <gtest/gtest.h>

#include "paint/paint_getter.h"

namespace QorScTest {

template <class Getter>
void ExpectFourComponentsMatchTheGeneralPath(Getter& four, Getter& three) {
  QorSc::SourcePaintBuffers four_out(4, 0, 100), three_out(3, 0, 100);
  int compared = 0;
  for (long long y = 0; y < 100; y += 3) {
    QorSc::RunList runs{{3, 40}, {50, 47}}, painted4, painted3;
    four.Compute({y}, runs, four_out, painted4);
    three.Compute({y}, runs, three_out, painted3);
    ASSERT_EQ(painted4, painted3) << y;
    for (const auto& run : painted4) {
      for (long long x = run.start; x < run.End(); ++x) {
        ASSERT_EQ(four_out.Component(0)[x], three_out.Component(0)[x]) << x << "," << y;
        ASSERT_EQ(four_out.Component(1)[x], three_out.Component(1)[x]) << x << "," << y;
        ASSERT_EQ(four_out.Component(3)[x], three_out.Component(2)[x]) << x << "," << y;
        ++compared;
      }
    }
  }
  EXPECT_GT(compared, 1000);
}

}  // namespace QorScTest
