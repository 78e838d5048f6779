#include "scan/resample_environment.h"

#include <gtest/gtest.h>

namespace {

using QorSc::ResampleEnvironment;
using QorSc::ResampleMode;
using Box = QorMath::Rectangle<long long>;
using Pt = QorMath::Point<long long>;

ResampleEnvironment Env(int mode) {
  return ResampleEnvironment(static_cast<ResampleMode>(mode));
}

TEST(ResampleEnvironment, ModesGiveFactorAndShift) {
  const struct {
    int mode;
    std::uint64_t factor;
    bool shift;
  } table[] = {{0, 1, false}, {1, 2, true},  {2, 1, true},  {3, 2, true},  {4, 3, true},
               {5, 4, true},  {6, 1, false}, {7, 2, false}, {8, 3, false}, {9, 4, false}};
  for (const auto& row : table) {
    const ResampleEnvironment env = Env(row.mode);
    EXPECT_EQ(env.Mode(), row.mode);
    EXPECT_EQ(env.Factor(), row.factor) << "mode " << row.mode;
    EXPECT_EQ(env.GetInitialPickDelta(), row.factor);
    EXPECT_EQ(env.NeedsShift(), row.shift) << "mode " << row.mode;
  }
  // Outside the table: defined, and useless.
  EXPECT_EQ(Env(10).Factor(), 0u);
  EXPECT_FALSE(Env(10).NeedsShift());
  EXPECT_EQ(Env(-1).Factor(), 0u);
}

TEST(ResampleEnvironment, BoxesBetweenGrids) {
  EXPECT_EQ(Env(7).GetInitialFromFinalPixelBox({0, 0, 10, 5}), (Box{0, 0, 20, 10}));
  EXPECT_EQ(Env(7).GetFinalFromInitialPixelBox({0, 0, 20, 10}), (Box{0, 0, 10, 5}));
  EXPECT_EQ(Env(3).GetInitialFromFinalPixelBox({2, 3, 4, 5}), (Box{4, 6, 9, 11}));
  EXPECT_EQ(Env(3).GetFinalFromInitialPixelBox({4, 6, 9, 11}), (Box{1, 2, 5, 6}));
  // Mode 2 has factor 1 and still grows the initial box by one pixel.
  EXPECT_EQ(Env(2).GetInitialFromFinalPixelBox({0, 0, 10, 5}), (Box{0, 0, 11, 6}));
  EXPECT_EQ(Env(2).GetInitialFromFinalWidth(10), 11u);
  EXPECT_EQ(Env(5).GetInitialFromFinalHeight(10), 41u);
  EXPECT_EQ(Env(9).GetInitialFromFinalWidth(10), 40u);
  // Mode 0 returns its arguments; mode 6 computes the same.
  const Box odd{-3, -7, 11, 13};
  EXPECT_EQ(Env(0).GetInitialFromFinalPixelBox(odd), odd);
  EXPECT_EQ(Env(0).GetFinalFromInitialPixelBox(odd), odd);
  EXPECT_EQ(Env(6).GetInitialFromFinalPixelBox(odd), odd);
  EXPECT_EQ(Env(0).GetInitialFromFinalWidth(17), 17u);
  // Negative coordinates wrap through unsigned arithmetic and come back.
  EXPECT_EQ(Env(8).GetInitialFromFinalPixelBox({-2, -1, 0, 1}), (Box{-6, -3, 0, 3}));
  // Box filter with a right edge inside a final pixel still reaches that pixel.
  EXPECT_EQ(Env(8).GetFinalFromInitialPixelBox({3, 3, 7, 7}), (Box{1, 1, 3, 3}));
}

TEST(ResampleEnvironment, PickPointIsTheSampleNearestTheCentre) {
  EXPECT_EQ(Env(4).GetInitialPickPointFromFinalPixelPoint({1, 1}), (Pt{4, 4}));
  EXPECT_EQ(Env(8).GetInitialPickPointFromFinalPixelPoint({1, 1}), (Pt{4, 4}));
  EXPECT_EQ(Env(9).GetInitialPickPointFromFinalPixelPoint({1, 1}), (Pt{5, 5}));
  EXPECT_EQ(Env(5).GetInitialPickPointFromFinalPixelPoint({1, 1}), (Pt{6, 6}));
  EXPECT_EQ(Env(7).GetInitialPickPointFromFinalPixelPoint({3, 2}), (Pt{6, 4}));
  // No special case for mode 0: factor 1, offset 0.
  EXPECT_EQ(Env(0).GetInitialPickPointFromFinalPixelPoint({3, 2}), (Pt{3, 2}));
  // Mode 2: factor 1 with shift, offset 1 / 2 = 0.
  EXPECT_EQ(Env(2).GetInitialPickPointFromFinalPixelPoint({3, 2}), (Pt{3, 2}));
}

TEST(ResampleEnvironment, InitialEnvironment) {
  using Rect = QorSc::Environment::WorldRectangle;
  const QorSc::Environment final_env(Rect(1000.0, 2000.0, 72000.0, 36000.0, 3), 100, 50);

  const QorSc::Environment same = Env(0).GetInitialEnvironment(final_env);
  EXPECT_EQ(same.GetWorldView(), final_env.GetWorldView());
  EXPECT_EQ(same.GetTargetWidth(), 100);

  const QorSc::Environment box = Env(8).GetInitialEnvironment(final_env);
  EXPECT_EQ(box.GetWorldView(), final_env.GetWorldView());
  EXPECT_EQ(box.GetTargetWidth(), 300);
  EXPECT_EQ(box.GetTargetHeight(), 150);

  const QorSc::Environment tent = Env(3).GetInitialEnvironment(final_env);
  const double dx = 72000.0 / 400.0;  // half an initial pixel: 90 millipoints
  const double dy = 36000.0 / 200.0;
  const Rect& view = tent.GetWorldView();
  EXPECT_EQ(view.X(), 1000.0 - dx);
  EXPECT_EQ(view.Y(), 2000.0 - dy);
  EXPECT_EQ(view.Width(), (1000.0 + 72000.0 + dx) - (1000.0 - dx));
  EXPECT_EQ(view.Height(), (2000.0 + 36000.0 + dy) - (2000.0 - dy));
  EXPECT_EQ(tent.GetTargetWidth(), 201);
  EXPECT_EQ(tent.GetTargetHeight(), 101);
  // The widened grid keeps the pixel size of the unshifted one.
  EXPECT_DOUBLE_EQ(tent.WorldToInternalXFactor(), 200.0 / 72000.0);
  // Initial pixel 0's centre lies on the final view's left edge.
  EXPECT_DOUBLE_EQ(tent.WorldToInternalX(QorSc::Environment::WorldCoordinate(1000.0)), 0.5);
}

}  // namespace
