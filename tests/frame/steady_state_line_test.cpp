// Once warm, rendering a line allocates nothing: pooled line buffers, run lists
// and interval maps keep their storage from line to line.
#include <gtest/gtest.h>

#include "allocation_counter.h"
#include "scan/scan_converter.h"
#include "test_scene.h"

namespace {

using QorScTest::Rect;

TEST(SteadyState, ConvertingLinesAllocatesNothing) {
  QorScTest::Scene scene;
  const auto half = std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 0.5f);
  for (int k = 0; k < 8; ++k) {
    const double x = 1.3 + 5.0 * k;
    scene.Add(Rect(x, 0.2, x + 7.4, 30.6), QorColor::Color{{"Cyan", 0.1f * k}, {"Gold", 0.3f}},
              k % 2 ? half : QorBlend::Transparency::Opaque());
  }
  const QorColor::Color plates{{"Cyan", 0.0f}, {"Magenta", 0.0f}, {"Gold", 0.0f}};
  QorSc::ScanConverter converter(
      scene.Collect(QorSc::Options(plates, {}), QorScTest::Box{0, 0, QorScTest::kWidth, 30}));
  std::vector<unsigned char> bytes(3 * QorScTest::kWidth), alpha(QorScTest::kWidth);
  // Warm-up: objects activate, buffers and maps grow to their size.
  for (int y = 0; y < 3; ++y)
    converter.GetLine255PlaneInterleaved(bytes.data());
  const long before = QorScTest::AllocationCount();
  for (int y = 3; y < 20; ++y) {
    ASSERT_TRUE(converter.GetLine255PlaneInterleaved(bytes.data(), alpha.data(), nullptr,
                                                     QorScTest::kWidth));
  }
  ASSERT_NE(converter.GetLine(), nullptr);
  EXPECT_EQ(QorScTest::AllocationCount() - before, 0);
}

}  // namespace
