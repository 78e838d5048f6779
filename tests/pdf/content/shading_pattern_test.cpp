// A shading pattern's own graphics state (/ExtGState): its opacity, blend mode, soft
// mask and overprint hold while it paints, and nothing of it outlives the object.
// The page is shading_pattern_state() of tests/pdf/make_test_pdfs.py.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "imported_page.h"
#include "qorblend/transparency.h"
#include "qordoc/content.h"
#include "qorpaint/shading_paint.h"

namespace {

using namespace QorPdfTest;

TEST(ShadingPatternState, HoldsWhileThePatternPaintsAndOnlyThen) {
  const Imported imported = Import("shading_pattern_state.pdf");
  EXPECT_TRUE(imported.pdf.Warnings().empty()) << imported.AllWarnings();
  const auto& members = imported.Page().GetMembers();
  std::vector<const QorDoc::Path*> paths;
  for (const auto& member : members) {
    const auto* path = As<QorDoc::Path>(member);
    ASSERT_NE(path, nullptr);
    paths.push_back(path);
  }
  // The backdrop, four patterns, the fill and the stroke of one path apart, a flat
  // fill and the pattern without a state.
  ASSERT_EQ(paths.size(), 9u);

  const auto& half = *paths[1]->GetTransparency();
  EXPECT_EQ(half.GetFillAlpha(), 0.5f);
  EXPECT_EQ(half.GetBlendMode(), QorBlend::kNormal);

  const auto& stroke = *paths[2]->GetTransparency();
  EXPECT_EQ(stroke.GetStrokeAlpha(), 0.25f);
  EXPECT_EQ(stroke.GetBlendMode(), QorBlend::kMultiply);
  EXPECT_EQ(paths[2]->GetStrokeStyle().width, 2.0) << "the pattern's /LW is not the outline's";

  const auto overprint =
      std::dynamic_pointer_cast<const QorPaint::ShadingPaint>(paths[3]->GetFillPaint());
  ASSERT_NE(overprint, nullptr);
  EXPECT_TRUE(overprint->GetSeparationMapping().PaintsNamedColorantsOnly());
  EXPECT_EQ(paths[3]->GetTransparency(), QorBlend::Transparency::Opaque());

  EXPECT_NE(paths[4]->GetTransparency()->GetSoftMask(), nullptr);

  // Filled and stroked at once: the pattern's fill at half, the black stroke opaque.
  ASSERT_NE(paths[5]->GetFillPaint(), nullptr);
  EXPECT_EQ(paths[5]->GetStrokePaint(), nullptr);
  EXPECT_EQ(paths[5]->GetTransparency()->GetFillAlpha(), 0.5f);
  EXPECT_EQ(paths[6]->GetFillPaint(), nullptr);
  EXPECT_EQ(InkOf(paths[6]->GetStrokePaint()), Cmyk(0, 0, 0, 1));
  EXPECT_EQ(paths[6]->GetTransparency(), QorBlend::Transparency::Opaque());

  // Afterwards the stream's own state again.
  EXPECT_EQ(paths[7]->GetTransparency(), QorBlend::Transparency::Opaque());
  EXPECT_EQ(paths[8]->GetTransparency(), QorBlend::Transparency::Opaque());
  const auto plain =
      std::dynamic_pointer_cast<const QorPaint::ShadingPaint>(paths[8]->GetFillPaint());
  ASSERT_NE(plain, nullptr);
  EXPECT_FALSE(plain->GetSeparationMapping().PaintsNamedColorantsOnly());

  const Raster raster = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  auto near = [](int value, int want) { return value >= want - 1 && value <= want + 1; };
  // Half cyan over the magenta backdrop.
  EXPECT_TRUE(near(raster.At(0, 25, 25), 128)) << raster.At(0, 25, 25);
  EXPECT_TRUE(near(raster.At(1, 25, 25), 128)) << raster.At(1, 25, 25);
  // The stroke: light and two points wide, the inside untouched.
  EXPECT_GT(raster.At(0, 60, 25), 0);
  EXPECT_LT(raster.At(0, 60, 25), 128);
  EXPECT_EQ(raster.At(0, 75, 25), 0);
  EXPECT_EQ(raster.At(1, 75, 25), 255);
  // Overprint: the Separation Cyan leaves the magenta under it.
  EXPECT_EQ(raster.At(0, 125, 25), 255);
  EXPECT_EQ(raster.At(1, 125, 25), 255);
  // The luminosity mask of 0.5.
  EXPECT_TRUE(near(raster.At(0, 175, 25), 128)) << raster.At(0, 175, 25);
  // Fill at half, stroke in full black.
  EXPECT_TRUE(near(raster.At(0, 25, 75), 128)) << raster.At(0, 25, 75);
  EXPECT_EQ(raster.At(3, 10, 75), 255);
  // The flat yellow and the plain pattern, opaque.
  EXPECT_EQ(raster.At(2, 75, 75), 255);
  EXPECT_EQ(raster.At(1, 75, 75), 0);
  EXPECT_EQ(raster.At(0, 125, 75), 255);
  EXPECT_EQ(raster.At(1, 125, 75), 0);
}

}  // namespace
