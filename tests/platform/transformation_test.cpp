#include "morv/transformation.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using Morv::MilliPointPoint;
using Morv::MilliPointRectangle;
using T = Morv::MilliPointTransformation;

TEST(Transformation, MapsPointsAsAxPlusCyPlusE) {
  const T t{2.0, 3.0, 5.0, 7.0, 11.0, 13.0};
  const MilliPointPoint p = t.Apply({1.0, 10.0});
  EXPECT_EQ(p.x.Value(), 2.0 * 1.0 + 5.0 * 10.0 + 11.0);
  EXPECT_EQ(p.y.Value(), 3.0 * 1.0 + 7.0 * 10.0 + 13.0);
  EXPECT_EQ(t.Determinant(), 2.0 * 7.0 - 3.0 * 5.0);
}

TEST(Transformation, ComposeAppliesInnerFirst) {
  const T scale = T::Scale(2.0, 2.0);
  const T shift = T::Translation(1000.0, 0.0);
  // A scaled group inside a translated one moves by the outer translation only.
  const T world = Morv::Compose(shift, scale);
  const MilliPointPoint p = world.Apply({10.0, 20.0});
  EXPECT_EQ(p.x.Value(), 1020.0);
  EXPECT_EQ(p.y.Value(), 40.0);
  // The other order scales the translation too.
  EXPECT_EQ(Morv::Compose(scale, shift).Apply({10.0, 20.0}).x.Value(), 2020.0);

  const T a{0.5, 1.5, -2.0, 3.0, 7.0, -9.0};
  const T b{1.25, -0.75, 4.0, 0.5, -3.0, 2.0};
  const MilliPointPoint q{3.0, -4.0};
  const MilliPointPoint composed = Morv::Compose(a, b).Apply(q);
  const MilliPointPoint chained = a.Apply(b.Apply(q));
  EXPECT_DOUBLE_EQ(composed.x.Value(), chained.x.Value());
  EXPECT_DOUBLE_EQ(composed.y.Value(), chained.y.Value());
}

TEST(Transformation, InverseUndoesTheMap) {
  const T t{0.5, 1.5, -2.0, 3.0, 7.0, -9.0};
  const T inv = t.Inverse();
  const MilliPointPoint p = inv.Apply(t.Apply({123.0, -456.0}));
  EXPECT_NEAR(p.x.Value(), 123.0, 1e-9);
  EXPECT_NEAR(p.y.Value(), -456.0, 1e-9);
  const T identity = Morv::Compose(t, inv);
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
