#include "scan/compound_bitmap.h"

#include <gtest/gtest.h>

#include "pixel_space.h"
#include "scan/errors.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorSc::Environment;
using T = Morv::MilliPointTransformation;

using QorScTest::InternalRect;
using QorScTest::UnitEnvironment;

TEST(CreateBitmapFromCompound, BitsAreRowMajorFromTheAreaCorner) {
  const Environment env = UnitEnvironment();
  const Box area{10, 20, 15, 24};  // 5 × 4
  const auto bits = QorSc::CreateBitmapFromCompound(InternalRect(12.2, 21.3, 20.0, 22.8), T{}, env,
                                                    area, Box{0, 0, 100, 100});
  ASSERT_EQ(bits.size(), 20u);
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 5; ++c) {
      const bool inside = (r == 1 || r == 2) && c >= 2;
      EXPECT_EQ(bits.test(r * 5 + c), inside) << "pixel " << c << ", " << r;
    }
  }
}

TEST(CreateBitmapFromCompound, RunsAreCutAtTheAreaAndTheLimit) {
  const Environment env = UnitEnvironment();
  const Box area{10, 10, 14, 13};
  // Much wider than the area: every row full, nothing wraps into the next row.
  auto bits = QorSc::CreateBitmapFromCompound(InternalRect(0.2, 11.2, 50.3, 11.8), T{}, env, area,
                                              Box{0, 0, 100, 100});
  EXPECT_EQ(bits.count(), 4u);
  for (int c = 0; c < 4; ++c)
    EXPECT_TRUE(bits.test(4 + c));

  // Nothing outside the limit is ever set.
  bits = QorSc::CreateBitmapFromCompound(InternalRect(0.2, 0.2, 50.3, 50.3), T{}, env, area,
                                         Box{12, 0, 100, 12});
  EXPECT_EQ(bits.count(), 4u);
  EXPECT_TRUE(bits.test(2) && bits.test(3) && bits.test(6) && bits.test(7));

  // No compound: exactly area ∩ limit.
  bits = QorSc::CreateBitmapFromCompound(nullptr, T{}, env, area, Box{11, 11, 13, 40});
  EXPECT_EQ(bits.count(), 4u);
  EXPECT_TRUE(bits.test(5) && bits.test(6) && bits.test(9) && bits.test(10));

  // A limit that misses the area.
  bits = QorSc::CreateBitmapFromCompound(nullptr, T{}, env, area, Box{50, 50, 60, 60});
  EXPECT_EQ(bits.size(), 12u);
  EXPECT_TRUE(bits.none());
}

TEST(CreateSmoothenedMapFromCompound, RingsFallOffAwayFromTheShape) {
  const Environment env = UnitEnvironment();
  const Box area{10, 10, 40, 40};
  const Box limit{0, 0, 100, 100};
  const auto square = InternalRect(20, 20, 30, 30);
  auto at = [&](const std::vector<double>& map, long long x, long long y) {
    return map[(y - area.top) * area.Width() + (x - area.left)];
  };

  const std::vector<double> flat =
      QorSc::CreateSmoothenedMapFromCompound(square, T{}, env, area, limit, 0);
  for (double v : flat)
    EXPECT_TRUE(v == 0.0 || v == 1.0);
  EXPECT_EQ(at(flat, 25, 25), 1.0);
  EXPECT_EQ(at(flat, 19, 25), 0.0);

  const std::vector<double> map =
      QorSc::CreateSmoothenedMapFromCompound(square, T{}, env, area, limit, 2);
  EXPECT_EQ(at(map, 25, 25), 1.0);
  EXPECT_EQ(at(map, 20, 20), 1.0);
  for (long long x : {19LL, 30LL})
    EXPECT_EQ(at(map, x, 25), 0.75) << x;
  for (long long x : {18LL, 31LL})
    EXPECT_EQ(at(map, x, 25), 0.25) << x;
  for (long long x : {17LL, 32LL})
    EXPECT_EQ(at(map, x, 25), 0.0) << x;
  EXPECT_EQ(at(map, 19, 19), 0.75) << "mitred corners";
  EXPECT_EQ(at(map, 18, 18), 0.25);

  // The ring width is in target pixels whatever the transformation.
  const std::vector<double> scaled = QorSc::CreateSmoothenedMapFromCompound(
      InternalRect(40, 40, 60, 60), T{0.5, 0.0, 0.0, 0.5, 0.0, 50.0}, env, area, limit, 2);
  EXPECT_EQ(at(scaled, 25, 25), 1.0);
  EXPECT_EQ(at(scaled, 19, 25), 0.75);
  EXPECT_EQ(at(scaled, 18, 25), 0.25);

  try {
    QorSc::CreateSmoothenedMapFromCompound(square, T::Scale(0.0, 1.0), env, area, limit, 1);
    FAIL() << "a singular transformation must throw";
  } catch (const QorSc::SingularTransformationError& e) {
    EXPECT_STREQ(e.what(),
                 "Determinant of transformation matrix is zero, can not calculate inverse");
  }
}

}  // namespace
