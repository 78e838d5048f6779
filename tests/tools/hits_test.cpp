// Which objects paint a pixel, on documents built directly.
#include "hits.h"

#include <gtest/gtest.h>

#include "synthetic_page.h"

namespace {

TEST(Hits, NamesTheObjectsPaintingThePixelInPaintingOrder) {
  const auto page = QorScToolTest::SimplePage();  // ids 1 cyan, 2 gold, 3 black bar
  auto hits = QorScTool::FindHits(page, 72, 25, 25);
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0].id, 1u);
  EXPECT_EQ(hits[0].kind, "path");
  EXPECT_EQ(hits[0].description, "fill Cyan 0.6");
  EXPECT_EQ(hits[1].id, 2u);
  EXPECT_EQ(hits[1].description, "fill Gold 1 overprint");

  // Same line, only the cyan square: the gold one elsewhere on the line is not named.
  hits = QorScTool::FindHits(page, 72, 12, 25);
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].id, 1u);

  hits = QorScTool::FindHits(page, 72, 70, 51);
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].id, 3u);
  EXPECT_EQ(hits[0].description, "fill Black 1");

  EXPECT_TRUE(QorScTool::FindHits(page, 72, 5, 5).empty());
  // At 144 dpi the same spot is pixel (50, 50).
  EXPECT_EQ(QorScTool::FindHits(page, 144, 50, 50).size(), 2u);

  EXPECT_THROW(QorScTool::FindHits(page, 72, 72, 0), std::out_of_range);
  EXPECT_THROW(QorScTool::FindHits(page, 72, 0, 72), std::out_of_range);
}

TEST(Hits, DescribesStrokesTransparencyAndHalftones) {
  QorDoc::DocumentBuilder builder;
  auto coarse = builder.AddHalftoneSet("coarse");
  QorDoc::Content& content = builder.AddPage();
  QorDoc::Fillable::Painting painting;
  painting.fill =
      std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Cyan", 0.25f}, {"Gold", 0.5f}});
  painting.stroke = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  painting.strokeStyle.width = 2000;
  painting.halftone = coarse;
  painting.transparency = std::make_shared<QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 1.0f);
  const auto path = builder.AddPath(
      content, Morv::PathBuilder().Rectangle(0, 0, 10000, 10000).BuildShared(), painting);
  EXPECT_EQ(QorScTool::KindOf(*path), "path");
  EXPECT_EQ(QorScTool::DescribeObject(*path),
            "fill Cyan 0.25 Gold 0.5, stroke Black 1 width 2 pt, halftone coarse, blend Multiply, "
            "fill opacity 0.5");
}

}  // namespace
