// Once warm, rendering a line allocates nothing: pooled line buffers, run lists
// and interval maps keep their storage from line to line.
#include <gtest/gtest.h>

#include "allocation_counter.h"
#include "qordoc/document.h"
#include "qorpaint/shading_paint.h"
#include "scan/collect_objects.h"
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
  // Warm-up: objects activate, buffers and maps grow to their size (the pixel
  // shape's writer is made on its first line).
  for (int y = 0; y < 3; ++y)
    converter.GetLine255PlaneInterleaved(bytes.data());
  converter.GetLine255PixelInterleaved(bytes.data());
  const long before = QorScTest::AllocationCount();
  for (int y = 4; y < 20; ++y) {
    ASSERT_TRUE(y % 2 ? converter.GetLine255PixelInterleaved(bytes.data())
                      : converter.GetLine255PlaneInterleaved(bytes.data(), alpha.data(), nullptr,
                                                             QorScTest::kWidth));
  }
  ASSERT_NE(converter.GetLine(), nullptr);
  EXPECT_EQ(QorScTest::AllocationCount() - before, 0);
}

// Groups (isolated, non-isolated, knockout, nested) and soft masks take their group
// lines, scratch lines and mask lines from the pools as well.
TEST(SteadyState, GroupsAndSoftMasksAllocateNothingPerLine) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  auto shape = [](double x0, double y0, double x1, double y1) {
    return Morv::PathBuilder().Polygon(QorScTest::ToWorld(Rect(x0, y0, x1, y1))).BuildShared();
  };
  auto fill = [](const char* ink, float tint, float alpha) {
    QorDoc::Fillable::Painting p;
    p.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{ink, tint}});
    p.transparency =
        std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, alpha, alpha);
    return p;
  };
  b.AddPath(page, shape(0.5, 0.5, 40.5, 30.5), fill("Gold", 0.4f, 1.0f));
  auto& mask_content = b.AddContent();
  b.AddPath(mask_content, shape(3.5, 0.5, 30.5, 30.5), fill("Cyan", 0.5f, 0.7f));
  auto& inner = b.AddContent();
  b.AddPath(inner, shape(6.5, 2.5, 20.5, 28.5), fill("Cyan", 0.6f, 0.5f));
  b.AddPath(inner, shape(12.5, 2.5, 28.5, 28.5), fill("Magenta", 0.6f, 0.5f));
  auto& outer = b.AddContent();
  auto knockout = std::make_shared<QorBlend::Transparency>(QorBlend::kScreen, 0.8f, 0.8f);
  knockout->SetGroupFlags(0, 1);
  b.AddGroup(outer, inner, {}, knockout);
  QorDoc::Fillable::Painting masked = fill("Magenta", 0.9f, 0.6f);
  auto masked_t = std::make_shared<QorBlend::Transparency>(QorBlend::kNormal, 0.6f, 0.6f);
  masked_t->SetSoftMask(
      std::make_shared<QorBlend::SoftMask>(&mask_content, Morv::MilliPointTransformation{}, true));
  masked.transparency = masked_t;
  b.AddPath(outer, shape(2.5, 1.5, 35.5, 25.5), masked);
  auto isolated = std::make_shared<QorBlend::Transparency>(QorBlend::kMultiply, 0.7f, 0.7f);
  isolated->SetGroupFlags(1, 0);
  isolated->SetSoftMask(
      std::make_shared<QorBlend::SoftMask>(&mask_content, Morv::MilliPointTransformation{}, false));
  b.AddGroup(page, outer, {}, isolated);
  auto doc = b.Build();

  const QorColor::Color plates{{"Cyan", 0.0f}, {"Magenta", 0.0f}, {"Gold", 0.0f}};
  const QorScTest::Box box{0, 0, QorScTest::kWidth, 30};
  QorSc::ScanConverter converter(QorSc::CollectObjects(QorScTest::PixelEnvironment(),
                                                       QorSc::Options(plates, {}), box, page, {},
                                                       QorSc::kAllSelection));
  std::vector<unsigned char> bytes(3 * QorScTest::kWidth);
  for (int y = 0; y < 4; ++y)
    converter.GetLine255PlaneInterleaved(bytes.data());
  const long before = QorScTest::AllocationCount();
  for (int y = 4; y < 24; ++y)
    ASSERT_TRUE(converter.GetLine255PlaneInterleaved(bytes.data()));
  EXPECT_EQ(QorScTest::AllocationCount() - before, 0);
}

TEST(SteadyState, ShadedLinesAllocateNothing) {
  QorScTest::Scene scene;
  QorPaint::ShadingPaint::Common common;
  common.mapping = QorPaint::SeparationMapping({{"Gold", 0}, {"Cyan", 1}}, false);
  common.boundingBox = Morv::MilliPointRectangle(2, 2, 40, 28);
  auto f = std::make_shared<QorPaint::ExponentialFunction>(
      QorPaint::Interval{0, 1}, std::vector<QorPaint::Interval>{}, std::vector<double>{0, 1},
      std::vector<double>{1, 0}, 1.5);
  QorDoc::Fillable::Painting axial;
  axial.fill = std::make_shared<QorPaint::AxialShadingPaint>(
      common, std::array{Morv::MilliPointPoint(5, 5), Morv::MilliPointPoint(40, 25)}, f,
      QorPaint::Interval{}, std::array{true, false});
  scene.Add(Rect(1.3, 0.2, 30.4, 30.6), axial);
  QorDoc::Fillable::Painting radial;
  radial.fill = std::make_shared<QorPaint::RadialShadingPaint>(
      common,
      std::array{QorPaint::RadialShadingPaint::Circle{{20, 15}, 2},
                 QorPaint::RadialShadingPaint::Circle{{25, 15}, 14}},
      f, QorPaint::Interval{}, std::array{false, true});
  radial.transparency =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 0.5f);
  scene.Add(Rect(10.5, 3.2, 45.4, 28.6), radial);
  auto mesh = std::make_shared<QorPaint::ShadingMesh>();
  mesh->kind = QorPaint::ShadingMesh::kTriangles;
  mesh->components = 2;
  mesh->vertices = {2, 2, 0, 1, 40, 5, 1, 0, 20, 28, 0.5, 0.5, 46, 30, 1, 1};
  mesh->triangles = {0, 1, 2, 1, 3, 2};
  QorDoc::Fillable::Painting gouraud;
  gouraud.fill = std::make_shared<QorPaint::DefaultShadingPaint>(common, mesh);
  scene.Add(Rect(0.5, 0.5, 47.5, 31.5), gouraud);

  const QorColor::Color plates{{"Cyan", 0.0f}, {"Magenta", 0.0f}, {"Gold", 0.0f}};
  QorSc::Options options(plates, {});
  options.SetNoiseForShadings(5);
  QorSc::ScanConverter converter(
      scene.Collect(options, QorScTest::Box{0, 0, QorScTest::kWidth, 30}));
  std::vector<unsigned char> bytes(3 * QorScTest::kWidth);
  for (int y = 0; y < 4; ++y)
    converter.GetLine255PlaneInterleaved(bytes.data());
  converter.GetLine255PixelInterleaved(bytes.data());
  const long before = QorScTest::AllocationCount();
  for (int y = 5; y < 28; ++y) {
    ASSERT_TRUE(y % 2 ? converter.GetLine255PixelInterleaved(bytes.data())
                      : converter.GetLine255PlaneInterleaved(bytes.data()));
  }
  EXPECT_EQ(QorScTest::AllocationCount() - before, 0);
}

}  // namespace
