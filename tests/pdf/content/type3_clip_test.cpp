// Clipping with Type3 text (render modes 4-7): the shapes a glyph procedure paints
// make the clip. The PDF is type3_clip() of tests/pdf/make_test_pdfs.py.
#include <gtest/gtest.h>

#include "image/mask_outline.h"
#include "imported_page.h"

namespace {

using namespace QorPdfTest;

TEST(Type3Clip, GlyphShapesClipWhatFollowsTheText) {
  const Imported imported = Import("type3_clip.pdf");
  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  // 7 Tr: the box glyph (the left half of its 40-pt em at 10, 10) clips magenta and
  // is not painted itself.
  EXPECT_EQ(r.At(1, 11, 11), 255);
  EXPECT_EQ(r.At(1, 29, 49), 255);
  EXPECT_EQ(r.At(1, 31, 30), 0) << "right of the glyph";
  EXPECT_EQ(r.At(1, 20, 51), 0) << "above the glyph";
  EXPECT_EQ(r.At(1, 100, 100), 0);
  EXPECT_EQ(r.At(3, 20, 30), 0) << "mode 7 paints nothing";
  // 4 Tr: the checker mask glyph at 100, 10 clips cyan to its two set samples.
  EXPECT_EQ(r.At(0, 110, 40), 255) << "top-left sample";
  EXPECT_EQ(r.At(0, 130, 20), 255) << "bottom-right sample";
  EXPECT_EQ(r.At(0, 130, 40), 0) << "top-right sample is clear";
  EXPECT_EQ(r.At(0, 110, 20), 0) << "bottom-left sample is clear";
  // The glyph that shows itself ends after one level: its 4-pt square clips yellow.
  EXPECT_EQ(r.At(2, 12, 102), 255);
  EXPECT_EQ(r.At(2, 20, 110), 0);
  EXPECT_TRUE(imported.Warned("Type3 glyph")) << imported.AllWarnings();
  // A stroked glyph clips by its stroke: the square's left side at x = 154, 2 pt wide.
  EXPECT_EQ(r.At(3, 153, 120), 255);
  EXPECT_EQ(r.At(3, 154, 120), 255);
  EXPECT_EQ(r.At(3, 152, 120), 0);
  EXPECT_EQ(r.At(3, 170, 120), 0) << "inside the square";
  EXPECT_FALSE(imported.Warned("clipping with Type3 text")) << imported.AllWarnings();
}

TEST(Type3Clip, MaskOutlinesUniteRowRunsIntoRectangles) {
  // An L of five samples in a 3 x 3 mask: column 0 on every row, then row 2 whole.
  QorImg::PictureBuffer mask(3, 3, 1);
  mask.GetRowPtr(0)[0] = 0x80;
  mask.GetRowPtr(1)[0] = 0x80;
  mask.GetRowPtr(2)[0] = 0xE0;
  const auto outline = QorPdf::internal::MaskOutline(mask, 10);
  ASSERT_TRUE(outline.has_value());
  // Rows 0 and 1 share one rectangle; row 2's wider run is a second.
  ASSERT_EQ((*outline)->GetSubpaths().size(), 2u);
  const auto box = (*outline)->GetBoundingBox();
  EXPECT_DOUBLE_EQ(box.X(), 0.0);
  EXPECT_DOUBLE_EQ(box.Width(), 1.0);
  EXPECT_DOUBLE_EQ(box.Height(), 1.0);
  EXPECT_FALSE(QorPdf::internal::MaskOutline(mask, 1).has_value()) << "over the limit";

  const QorImg::PictureBuffer empty(4, 4, 1);
  EXPECT_TRUE(QorPdf::internal::MaskOutline(empty, 10).value()->GetSubpaths().empty());
}

}  // namespace
