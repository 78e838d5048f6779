#include "morv/transformation.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using Morv::MilliPointPoint;
using Morv::MilliPointRectangle;
using T = Morv::MilliPointTransformation;

// Points map as (a·x + c·y + e, b·x + d·y + f); a composition applies its inner map
// first, so a scaled group inside a translated one moves by the outer translation
// only; the inverse undoes the map.
TEST(Transformation, MapsComposesAndInverts) {
  const T t{2.0, 3.0, 5.0, 7.0, 11.0, 13.0};
  EXPECT_EQ(t.Apply({1.0, 10.0}),
            MilliPointPoint(2.0 * 1.0 + 5.0 * 10.0 + 11.0, 3.0 * 1.0 + 7.0 * 10.0 + 13.0));
  EXPECT_EQ(t.Determinant(), 2.0 * 7.0 - 3.0 * 5.0);

  const T scale = T::Scale(2.0, 2.0);
  const T shift = T::Translation(1000.0, 0.0);
  EXPECT_EQ(Morv::Compose(shift, scale).Apply({10.0, 20.0}), MilliPointPoint(1020.0, 40.0));
  EXPECT_EQ(Morv::Compose(scale, shift).Apply({10.0, 20.0}).x.Value(), 2020.0);
  const T a{0.5, 1.5, -2.0, 3.0, 7.0, -9.0};
  const T b{1.25, -0.75, 4.0, 0.5, -3.0, 2.0};
  const MilliPointPoint composed = Morv::Compose(a, b).Apply({3.0, -4.0});
  const MilliPointPoint chained = a.Apply(b.Apply({3.0, -4.0}));
  EXPECT_DOUBLE_EQ(composed.x.Value(), chained.x.Value());
  EXPECT_DOUBLE_EQ(composed.y.Value(), chained.y.Value());

  const MilliPointPoint back = a.Inverse().Apply(a.Apply({123.0, -456.0}));
  EXPECT_NEAR(back.x.Value(), 123.0, 1e-9);
  EXPECT_NEAR(back.y.Value(), -456.0, 1e-9);
  const T identity = Morv::Compose(a, a.Inverse());
  EXPECT_NEAR(identity.a, 1.0, 1e-12);
  EXPECT_NEAR(identity.b, 0.0, 1e-12);
  EXPECT_NEAR(identity.e, 0.0, 1e-12);
}

TEST(Transformation, SingularInverseThrowsWithFixedMessage) {
  const T singular{1.0, 2.0, 2.0, 4.0, 5.0, 6.0};
  try {
    (void)singular.Inverse();
    FAIL() << "no exception";
  } catch (const std::invalid_argument& e) {
    EXPECT_STREQ(e.what(),
                 "Determinant of transformation matrix is zero, can not calculate inverse");
  }
  EXPECT_THROW((void)T::Scale(0.0, 1.0).Inverse(), Morv::SingularTransformationError);
}

TEST(Transformation, BoundingBoxOfTransformedRectangleHoldsAllCorners) {
  // A quarter turn: (x, y) -> (-y, x).
  const T rotate{0.0, 1.0, -1.0, 0.0, 100.0, 0.0};
  const MilliPointRectangle box =
      Morv::TransformedBoundingBox(rotate, MilliPointRectangle(10.0, 20.0, 30.0, 40.0, 7));
  EXPECT_EQ(box, MilliPointRectangle(40.0, 10.0, 40.0, 30.0, 0));

  const T shear{1.0, 0.0, 0.5, 1.0, 0.0, 0.0};
  const MilliPointRectangle sheared =
      Morv::TransformedBoundingBox(shear, MilliPointRectangle(0.0, 0.0, 10.0, 10.0));
  EXPECT_EQ(sheared, MilliPointRectangle(0.0, 0.0, 15.0, 10.0));
}

}  // namespace
