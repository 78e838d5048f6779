// Annotations drawn as printed: appearance streams placed into their /Rect, the /AS
// state, the hidden and print flags, and bad annotations reported. The PDF is
// annotations() of tests/pdf/make_test_pdfs.py.
#include <gtest/gtest.h>

#include "imported_page.h"

namespace {

using namespace QorPdfTest;

TEST(Annotations, PrintableAppearancesDrawOverThePageWhenAskedFor) {
  const std::vector<std::string> cmyk = {"Cyan", "Magenta", "Yellow", "Black"};
  const Imported plain = Import("annotations.pdf");
  EXPECT_EQ(plain.Page().GetMembers().size(), 1u) << "the page content alone by default";
  EXPECT_TRUE(plain.import.pages.front().not_rendered.empty());
  EXPECT_EQ(Render(plain, cmyk).At(3, 30, 20), 0);

  QorPdf::ImportOptions options;
  options.draw_annotations = true;
  const Imported imported = Import("annotations.pdf", options);
  const Raster r = Render(imported, cmyk);
  // The 10 x 20 appearance turned a quarter by its /Matrix fills the 40 x 20 /Rect.
  EXPECT_EQ(r.At(3, 10, 10), 255);
  EXPECT_EQ(r.At(3, 49, 29), 255);
  EXPECT_EQ(r.At(3, 50, 20), 0);
  EXPECT_EQ(r.At(3, 30, 30), 0);
  // The check box shows its /AS state On (cyan), not Off (magenta).
  EXPECT_EQ(r.At(0, 70, 20), 255);
  EXPECT_EQ(r.At(1, 70, 20), 0);
  // Hidden (F 6) and not printed (F 0): nothing.
  EXPECT_EQ(r.At(2, 110, 20), 0);
  EXPECT_EQ(r.At(2, 140, 20), 0);
  // The page content stays under the annotations.
  EXPECT_EQ(r.At(3, 2, 2), 51);

  // No appearance and a /Rect that is no rectangle are reported; a link is not.
  EXPECT_TRUE(imported.Warned("annotation 5 (Stamp)")) << imported.AllWarnings();
  EXPECT_TRUE(imported.Warned("annotation 6 (Square)")) << imported.AllWarnings();
  EXPECT_FALSE(imported.Warned("Link")) << imported.AllWarnings();
  const auto& missing = imported.import.pages.front().not_rendered;
  ASSERT_EQ(missing.size(), 1u);
  EXPECT_EQ(missing[0].feature, "annotation without a usable appearance");
  EXPECT_EQ(missing[0].count, 2u);
}

}  // namespace
