// DefaultGray, DefaultRGB and DefaultCMYK: device colours of a page or form drawn in
// the space its resources (or those of the streams around it) name instead.
// The PDF is default_spaces() of tests/pdf/make_test_pdfs.py.
#include <gtest/gtest.h>

#include <string>

#include "imported_page.h"

namespace {

using namespace QorPdfTest;

// The tint of `name` in a flat paint, -1 when the colour does not name it.
float Tint(const std::shared_ptr<const QorPaint::Paint>& paint, const std::string& name) {
  for (const auto& entry : InkOf(paint).entries) {
    if (entry.first == name) return entry.second;
  }
  return -1.0f;
}

// The fill paints of every path in painting order, groups entered.
void Fills(const QorDoc::Content& content,
           std::vector<std::shared_ptr<const QorPaint::Paint>>& out) {
  for (const auto& member : content.GetMembers()) {
    if (const auto* group = As<QorDoc::Group>(member)) Fills(group->GetMembers(), out);
    if (const auto* path = As<QorDoc::Path>(member)) {
      if (!path->IsClippingObject()) out.push_back(path->GetFillPaint());
    }
  }
}

TEST(DefaultSpaces, DeviceColoursAndImagesUseTheDefaultOfTheirResources) {
  const Imported imported = Import("default_spaces.pdf");
  std::vector<std::shared_ptr<const QorPaint::Paint>> fills;
  Fills(imported.Page(), fills);
  ASSERT_EQ(fills.size(), 9u) << imported.AllWarnings();

  // rg through DefaultRGB = DeviceN Cyan Magenta Yellow: the values are the tints.
  EXPECT_FLOAT_EQ(Tint(fills[0], "Cyan"), 0.2f);
  EXPECT_FLOAT_EQ(Tint(fills[0], "Magenta"), 0.4f);
  EXPECT_FLOAT_EQ(Tint(fills[0], "Yellow"), 0.6f);
  EXPECT_EQ(Tint(fills[0], "Black"), -1.0f) << "no grey-component replacement";
  // g through DefaultGray = the Gold separation.
  EXPECT_EQ(InkOf(fills[1]).entries, (std::vector<std::pair<std::string, float>>{{"Gold", 0.25f}}));
  // cs /DeviceRGB, and a resource that is DeviceRGB, are DeviceRGB too.
  EXPECT_FLOAT_EQ(Tint(fills[2], "Yellow"), 0.3f);
  EXPECT_FLOAT_EQ(Tint(fills[3], "Cyan"), 0.3f);
  // DeviceCMYK has no default here.
  EXPECT_EQ(InkOf(fills[4]), Cmyk(0, 0, 1, 0));
  // The form's own DefaultRGB (Magenta Cyan Yellow) wins over the page's ...
  EXPECT_FLOAT_EQ(Tint(fills[5], "Magenta"), 0.2f);
  EXPECT_FLOAT_EQ(Tint(fills[5], "Cyan"), 0.4f);
  // ... its two-component DefaultCMYK is reported and DeviceCMYK used ...
  EXPECT_EQ(InkOf(fills[6]), Cmyk(0, 0, 0, 1));
  EXPECT_TRUE(imported.Warned("DefaultCMYK")) << imported.AllWarnings();
  // ... and a form without one inherits the page's.
  EXPECT_FLOAT_EQ(Tint(fills[7], "Cyan"), 0.2f);
  EXPECT_FLOAT_EQ(Tint(fills[7], "Yellow"), 0.6f);

  // The DeviceGray image prints on the Gold plate: sample 0x40 is 1/4 grey.
  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black", "Gold"});
  EXPECT_EQ(r.At(4, 30, 130), 64);
  EXPECT_EQ(r.At(3, 30, 130), 0);
  EXPECT_EQ(r.At(4, 80, 30), 64) << "g 0.25 as Gold";
  // The DeviceRGB shading's red (1 0 0) is full cyan through DefaultRGB.
  EXPECT_EQ(r.At(0, 170, 130), 255);
  EXPECT_EQ(r.At(1, 170, 130), 0);
}

}  // namespace
