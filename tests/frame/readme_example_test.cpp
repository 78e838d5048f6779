// The README's example, through the shared library's exported interface only.
#include <gtest/gtest.h>

#include "qordoc/document.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

TEST(ReadmeExample, RendersACyanRectangleOnCmykPlates) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  QorDoc::Fillable::Painting paint;
  paint.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Cyan", 0.6f}});
  builder.AddPath(page, Morv::PathBuilder().Rectangle(72000, 72000, 144000, 72000).BuildShared(),
                  paint);
  const auto document = builder.Build();

  const QorSc::Environment env(Morv::MilliPointRectangle(0, 0, 595276, 841890), 2480, 3508);
  const QorSc::Options cmyk(true, document->GetSeparationInfo());
  QorSc::ScanConverter converter(
      QorSc::CollectObjects(env, cmyk, {0, 0, 2480, 3508}, page, {}, QorSc::kAllSelection));
  std::vector<unsigned char> plates(4 * 2480);
  long long lines = 0;
  long long painted = 0;
  while (converter.GetLine255PlaneInterleaved(plates.data())) {
    ++lines;
    if (plates[700] == 153) ++painted;  // 0.6 cyan, column 700 lies inside
    EXPECT_EQ(plates[2480 + 700], 0) << "no magenta";
  }
  EXPECT_EQ(lines, 3508);
  // 72 000 millipoints (1 inch) tall at 300 dpi.
  EXPECT_EQ(painted, 300);
}

}  // namespace
