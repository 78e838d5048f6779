// The output intent: colorimetric colours convert into its CMYK profile; an
// unusable intent is reported and the built-in separation stays.
//
// The press profile used here prints with black ink only (see
// BlackOnlyPressProfile), so the output-intent path is told apart from the built-in
// separation by its missing chromatic inks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "color/color_space.h"
#include "color_test_support.h"

namespace QorPdf::internal {
namespace {

using QorColor::Color;
using test::Process;
using test::ProcessNear;

class OutputIntentTest : public ::testing::Test, public test::PdfObjects {
 protected:
  void SetIntents(const std::string& intents) {
    pdf.getRoot().replaceKey("/OutputIntents", Parse(intents));
  }
  std::string Intent(const std::vector<unsigned char>& profile, const std::string& id) {
    return "<< /Type /OutputIntent /S /GTS_PDFX /OutputConditionIdentifier (" + id +
           ") /DestOutputProfile " + Ref(Stream("<< /N 4 >>", profile)) + " >>";
  }
  static Color Ink(const ColorSpace& space, std::vector<double> components) {
    return space.ToInk(components);
  }

  WarningList warnings;
};

TEST_F(OutputIntentTest, ColorimetricColoursGoThroughTheIntentsProfile) {
  const std::vector<unsigned char> press = test::BlackOnlyPressProfile();
  SetIntents("[" + Intent(press, "Black press") + "]");
  ColorContext context(pdf, warnings);
  EXPECT_TRUE(warnings.All().empty());
  EXPECT_EQ(context.OutputIntentProfile(), press);
  EXPECT_EQ(context.OutputIntentName(), "Black press");

  // Red has L* 53 or so: about 47 % black, and no chromatic ink at all.
  const QPDFObjectHandle none = QPDFObjectHandle::newNull();
  auto rgb = context.Resolve(Parse("/DeviceRGB"), none, 0);
  const Color red = Ink(*rgb, {1, 0, 0});
  EXPECT_TRUE(ProcessNear(red, {0, 0, 0, 0.47}, 0.05));
  EXPECT_TRUE(ProcessNear(Ink(*rgb, {1, 1, 1}), {0, 0, 0, 0}, 0.01));
  EXPECT_TRUE(ProcessNear(Ink(*rgb, {0, 0, 0}), {0, 0, 0, 1}, 0.01));

  auto lab = context.Resolve(Parse("[/Lab << /WhitePoint [0.9642 1 0.8249] >>]"), none, 0);
  EXPECT_TRUE(ProcessNear(Ink(*lab, {25, 60, -40}), {0, 0, 0, 0.75}, 0.05));

  // A spot's representation goes the same way.
  auto spot = context.Resolve(
      Parse("[/Separation /Spot /DeviceRGB << /FunctionType 2 /Domain [0 1] /C0 [1 1 1] "
            "/C1 [1 0 0] /N 1 >>]"),
      none, 0);
  EXPECT_EQ(Ink(*spot, {1}), (Color{{"Spot", 1.0f}}));
  ASSERT_EQ(context.Separations().size(), 1u);
  const auto& representation = context.Separations()[0].GetRepresentation().GetCmyk();
  for (std::size_t i = 0; i < 4; ++i)
    EXPECT_NEAR(representation[i], red.GetTint(i), 1e-6);

  // Device CMYK and grey are the press's inks already: untouched.
  EXPECT_EQ(Ink(*context.DeviceCMYK(), {0.1, 0.2, 0.3, 0.4}), Process(0.1f, 0.2f, 0.3f, 0.4f));
  EXPECT_EQ(Ink(*context.DeviceGray(), {0.25}), Process(0, 0, 0, 0.75f));
  EXPECT_TRUE(warnings.All().empty());
}

TEST_F(OutputIntentTest, UnusableIntentsAreReportedAndSkipped) {
  const std::vector<unsigned char> srgb = test::SaveProfile(cmsCreate_sRGBProfile());
  const std::vector<unsigned char> press = test::BlackOnlyPressProfile();
  // An RGB profile, no profile at all, a broken one, then a usable one: the first
  // usable intent wins.
  SetIntents("[" + Intent(srgb, "Screen") + " << /S /GTS_PDFX /OutputConditionIdentifier " +
             "(FOGRA39) >> " + Intent({'j', 'u', 'n', 'k'}, "Broken") + " 42 " +
             Intent(press, "Black press") + " " + Intent(srgb, "Later") + "]");
  ColorContext context(pdf, warnings);
  EXPECT_EQ(context.OutputIntentName(), "Black press");
  ASSERT_EQ(warnings.All().size(), 3u);
  EXPECT_EQ(warnings.All()[0].subject, "output intent Screen");
  EXPECT_EQ(warnings.All()[0].reason, "the profile is not a CMYK profile; ignored");
  EXPECT_EQ(warnings.All()[1].subject, "output intent FOGRA39");
  EXPECT_EQ(warnings.All()[2].subject, "output intent Broken");
  EXPECT_FALSE(warnings.All()[0].page.has_value());

  // With only unusable intents, the built-in separation.
  PdfObjects other;
  other.pdf.getRoot().replaceKey(
      "/OutputIntents", other.Parse("[<< /OutputConditionIdentifier (Screen) /DestOutputProfile " +
                                    other.Ref(other.Stream("<< /N 3 >>", srgb)) + " >>]"));
  WarningList other_warnings;
  ColorContext fallback(other.pdf, other_warnings);
  EXPECT_TRUE(fallback.OutputIntentProfile().empty());
  EXPECT_TRUE(fallback.OutputIntentName().empty());
  EXPECT_EQ(other_warnings.All().size(), 1u);
  EXPECT_EQ(Ink(*fallback.DeviceRGB(), {1, 0, 0}), Process(0, 1, 1, 0));
}

}  // namespace
}  // namespace QorPdf::internal
