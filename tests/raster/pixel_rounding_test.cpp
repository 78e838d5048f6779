// Pixel rounding at the edges of its range: the clamp's bounds and what lies just
// inside and outside them, the whole-number boundary of doubles, halves, signed
// zeros, infinities and NaN of either sign.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "raster/pixel_rounding.h"

namespace {

TEST(RoundToPixel, EdgeValues) {
  const long long limit = 4611686018427387904LL;  // 2^62
  const double two52 = 4503599627370496.0;
  const double two62 = 4611686018427387904.0;
  const double inf = std::numeric_limits<double>::infinity();

  // Halves away from zero, either side of zero and of the whole-number boundary.
  EXPECT_EQ(QorSc::RoundToPixel(0.5), 1);
  EXPECT_EQ(QorSc::RoundToPixel(-0.5), -1);
  EXPECT_EQ(QorSc::RoundToPixel(2.5), 3);
  EXPECT_EQ(QorSc::RoundToPixel(-2.5), -3);
  EXPECT_EQ(QorSc::RoundToPixel(-1.4999999999999998), -1);
  EXPECT_EQ(QorSc::RoundToPixel(0.0), 0);
  EXPECT_EQ(QorSc::RoundToPixel(-0.0), 0);
  EXPECT_EQ(QorSc::RoundToPixel(two52 - 0.5), 4503599627370496LL);
  EXPECT_EQ(QorSc::RoundToPixel(-(two52 - 0.5)), -4503599627370496LL);
  EXPECT_EQ(QorSc::RoundToPixel(two52 - 1.5), 4503599627370495LL);
  for (const double v : {two52, -two52, two52 + 1.0, -(two52 + 1.0), two52 + 2.0})
    EXPECT_EQ(QorSc::RoundToPixel(v), std::llround(v)) << std::hexfloat << v;

  // The clamp: 2^62 is its own bound; the double below it is kept, beyond it clamps.
  EXPECT_EQ(QorSc::RoundToPixel(two62), limit);
  EXPECT_EQ(QorSc::RoundToPixel(-two62), -limit);
  const double below = std::nextafter(two62, 0.0);
  EXPECT_EQ(QorSc::RoundToPixel(below), std::llround(below));
  EXPECT_EQ(QorSc::RoundToPixel(-below), std::llround(-below));
  EXPECT_EQ(QorSc::RoundToPixel(std::nextafter(two62, inf)), limit);
  EXPECT_EQ(QorSc::RoundToPixel(std::nextafter(-two62, -inf)), -limit);
  EXPECT_EQ(QorSc::RoundToPixel(inf), limit);
  EXPECT_EQ(QorSc::RoundToPixel(-inf), -limit);

  // NaN of either sign takes the negative bound.
  EXPECT_EQ(QorSc::RoundToPixel(std::numeric_limits<double>::quiet_NaN()), -limit);
  EXPECT_EQ(QorSc::RoundToPixel(-std::numeric_limits<double>::quiet_NaN()), -limit);
}

}  // namespace
