// Colour spaces into ink: device spaces, the built-in separation of RGB and the
// colorimetric families, special spaces and the separation table, and bad input.
#include "color/color_space.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "color_test_support.h"

namespace QorPdf::internal {
namespace {

using QorColor::Color;
using QorDoc::Separation;
using test::HasWarningContaining;
using test::Process;
using test::ProcessNear;

class ColorSpaceTest : public ::testing::Test, public test::PdfObjects {
 protected:
  ColorContext& Context() {
    if (!context_) context_ = std::make_unique<ColorContext>(pdf, warnings);
    return *context_;
  }
  std::shared_ptr<const ColorSpace> Resolve(
      const std::string& text, QPDFObjectHandle resources = QPDFObjectHandle::newNull()) {
    return Context().Resolve(Parse(text), resources, 0);
  }
  std::shared_ptr<const ColorSpace> Resolve(QPDFObjectHandle space) {
    return Context().Resolve(space, QPDFObjectHandle::newNull(), 0);
  }
  static Color Ink(const ColorSpace& space, std::vector<double> components) {
    return space.ToInk(components);
  }
  static Separation::Entry Entry(const std::string& name, float c, float m, float y, float k) {
    return Separation::Entry(name, Separation::Representation({c, m, y, k}));
  }

  WarningList warnings;

 private:
  std::unique_ptr<ColorContext> context_;
};

TEST_F(ColorSpaceTest, DeviceSpacesExactly) {
  auto gray = Resolve("/DeviceGray");
  EXPECT_EQ(gray, Context().DeviceGray());
  EXPECT_EQ(gray->Family(), ColorSpaceFamily::kDeviceGray);
  EXPECT_EQ(gray->ComponentCount(), 1u);
  EXPECT_EQ(gray->InitialColor(), std::vector<double>{0.0});
  EXPECT_EQ(Ink(*gray, {0.25}), Process(0, 0, 0, 0.75f));
  EXPECT_EQ(Ink(*gray, {1.0}), Process(0, 0, 0, 0));
  EXPECT_EQ(Ink(*gray, {}), Process(0, 0, 0, 1)) << "missing components are 0";
  EXPECT_EQ(Ink(*gray, {-2.0}), Process(0, 0, 0, 1)) << "clipped";
  EXPECT_EQ(Resolve("/G"), gray);
  EXPECT_EQ(Resolve("[/DeviceGray]"), gray);

  auto cmyk = Resolve("/DeviceCMYK");
  EXPECT_EQ(cmyk->Family(), ColorSpaceFamily::kDeviceCMYK);
  EXPECT_EQ(cmyk->InitialColor(), (std::vector<double>{0, 0, 0, 1}));
  EXPECT_EQ(Ink(*cmyk, {0.1, 0.2, 0.3, 0.4}), Process(0.1f, 0.2f, 0.3f, 0.4f));
  EXPECT_EQ(Ink(*cmyk, {1.5, -1, std::nan(""), 0.5, 9}), Process(1, 0, 0, 0.5f));
  const Color ink = Ink(*cmyk, {0, 0, 0, 0});
  EXPECT_FALSE(ink.PaintsNamedColorantsOnly());
  EXPECT_FALSE(ink.PaintsAllColorants());

  // DeviceRGB without an output intent: full grey component replacement, exact.
  auto rgb = Resolve("/DeviceRGB");
  EXPECT_EQ(rgb->Family(), ColorSpaceFamily::kDeviceRGB);
  EXPECT_EQ(rgb->ComponentCount(), 3u);
  EXPECT_EQ(Ink(*rgb, {1, 0.5, 0}), Process(0, 0.5f, 1, 0));
  EXPECT_EQ(Ink(*rgb, {0.2, 0.4, 0.6}),
            Process(static_cast<float>(0.4 / 0.6), static_cast<float>(0.2 / 0.6), 0,
                    static_cast<float>(1 - 0.6)));
  EXPECT_EQ(Ink(*rgb, {1, 1, 1}), Process(0, 0, 0, 0));
  EXPECT_EQ(Ink(*rgb, {0, 0, 0}), Process(0, 0, 0, 1));
  EXPECT_EQ(Ink(*rgb, {0.5, 0.5, 0.5}), Process(0, 0, 0, 0.5f)) << "neutrals are black only";
  EXPECT_EQ(Resolve("/RGB"), rgb);

  // Names through the resources, and the same space object resolved once.
  QPDFObjectHandle resources =
      Parse("<< /ColorSpace << /CS0 /DeviceCMYK /CS1 [/DeviceRGB] /CS2 [/ICCBased " +
            Ref(Stream("<< /N 4 >>", "not read")) + "] >> >>");
  EXPECT_EQ(Resolve("/CS0", resources), cmyk);
  EXPECT_EQ(Resolve("/CS1", resources), rgb);
  EXPECT_EQ(Resolve("/CS2", resources), cmyk) << "ICCBased with four components is DeviceCMYK";
  EXPECT_TRUE(warnings.All().empty());
  EXPECT_TRUE(Context().OutputIntentProfile().empty());
  EXPECT_TRUE(Context().OutputIntentName().empty());

  EXPECT_EQ(Resolve("/CS9", resources), gray);
  EXPECT_EQ(warnings.All().size(), 1u);
  EXPECT_EQ(warnings.All()[0].subject, "colour space /CS9");
  EXPECT_EQ(warnings.All()[0].page, 0u);
}

TEST_F(ColorSpaceTest, SeparationRecordsItsRepresentation) {
  auto spot = Resolve(
      "[/Separation /PANTONE#20286#20C /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
      "/C0 [0 0 0 0] /C1 [1 0.5 0 0.25] /N 1 >>]");
  EXPECT_EQ(spot->Family(), ColorSpaceFamily::kSeparation);
  EXPECT_EQ(spot->ComponentCount(), 1u);
  EXPECT_EQ(spot->InitialColor(), std::vector<double>{1.0});
  EXPECT_EQ(Ink(*spot, {0.5}), (Color{{"PANTONE 286 C", 0.5f}}));
  EXPECT_EQ(Ink(*spot, {3}), (Color{{"PANTONE 286 C", 1.0f}}));
  EXPECT_FALSE(spot->PaintsNothing());
  EXPECT_EQ(Context().Separations(),
            (std::vector<Separation::Entry>{Entry("PANTONE 286 C", 1, 0.5f, 0, 0.25f)}));

  // A calculator tint transform into DeviceRGB: t gives (1, 1 − t/2, 1 − t), so
  // 100 % is RGB (1, 0.5, 0), separated into CMYK.
  const QPDFObjectHandle gold = Stream("<< /FunctionType 4 /Domain [0 1] /Range [0 1 0 1 0 1] >>",
                                       "{ dup 0.5 mul 1 exch sub exch 1 exch sub 1 3 1 roll }");
  auto gold_space = Resolve("[/Separation /Gold /DeviceRGB " + Ref(gold) + "]");
  EXPECT_EQ(Ink(*gold_space, {0.25}), (Color{{"Gold", 0.25f}}));

  // The first resolution of a name wins.
  Resolve("[/Separation /Gold /DeviceCMYK << /FunctionType 2 /Domain [0 1] /C1 [0 0 0 1] /N 1 >>]");
  EXPECT_EQ(Context().Separations(),
            (std::vector<Separation::Entry>{Entry("PANTONE 286 C", 1, 0.5f, 0, 0.25f),
                                            Entry("Gold", 0, 0.5f, 1, 0)}));

  // Process colorants, All and None make no entries.
  const std::string tint = "<< /FunctionType 2 /Domain [0 1] /C1 [0 0 0 1] /N 1 >>";
  auto cyan = Resolve("[/Separation /Cyan /DeviceCMYK " + tint + "]");
  EXPECT_EQ(Ink(*cyan, {0.3}), (Color{{"Cyan", 0.3f}}));
  auto all = Resolve("[/Separation /All /DeviceCMYK " + tint + "]");
  Color registration{{"All", 1.0f}};
  registration.SetPaintsAllColorants(true);
  EXPECT_EQ(Ink(*all, {1}), registration);
  auto none = Resolve("[/Separation /None /DeviceCMYK " + tint + "]");
  EXPECT_TRUE(none->PaintsNothing());
  EXPECT_TRUE(Ink(*none, {1}).Empty());
  EXPECT_EQ(Context().Separations().size(), 2u);
  EXPECT_TRUE(warnings.All().empty());
}

TEST_F(ColorSpaceTest, DeviceNWithNoneAndNChannelColorants) {
  // (a, b, c) gives C = a, M = c, Y = a/2, K = 0.
  const QPDFObjectHandle tint =
      Stream("<< /FunctionType 4 /Domain [0 1 0 1 0 1] /Range [0 1 0 1 0 1 0 1] >>",
             "{ exch pop 1 index 0.5 mul 0 }");
  auto space = Resolve("[/DeviceN [/Spot1 /None /Magenta] /DeviceCMYK " + Ref(tint) + "]");
  EXPECT_EQ(space->Family(), ColorSpaceFamily::kDeviceN);
  EXPECT_EQ(space->ComponentCount(), 3u);
  EXPECT_EQ(space->InitialColor(), (std::vector<double>{1, 1, 1}));
  EXPECT_EQ(Ink(*space, {0.2, 0.7, 0.4}), (Color{{"Spot1", 0.2f}, {"Magenta", 0.4f}}));
  EXPECT_FALSE(space->PaintsNothing());
  EXPECT_EQ(Context().Separations(),
            (std::vector<Separation::Entry>{Entry("Spot1", 1, 0, 0.5f, 0)}));

  auto nothing =
      Resolve("[/DeviceN [/None /None] /DeviceGray << /FunctionType 2 /Domain [0 1] /N 1 >>]");
  // (The tint transform has one input for two colorants: reported, and harmless.)
  EXPECT_TRUE(nothing->PaintsNothing());
  EXPECT_TRUE(Ink(*nothing, {1, 1}).Empty());

  // NChannel: SpotA's representation comes from its own Separation space, SpotB's
  // from the tint transform ((a, b) gives K = a, C = b).
  warnings = WarningList();
  const QPDFObjectHandle two = Stream(
      "<< /FunctionType 4 /Domain [0 1 0 1] /Range [0 1 0 1 0 1 0 1] >>", "{ 0 0 4 -1 roll }");
  auto nchannel =
      Resolve("[/DeviceN [/SpotA /SpotB] /DeviceCMYK " + Ref(two) +
              " << /Subtype /NChannel /Colorants << /SpotA [/Separation /SpotA /DeviceCMYK "
              "<< /FunctionType 2 /Domain [0 1] /C1 [0 0 0.25 0.5] /N 1 >>] >> >>]");
  EXPECT_EQ(Ink(*nchannel, {0.5, 1}), (Color{{"SpotA", 0.5f}, {"SpotB", 1.0f}}));
  EXPECT_EQ(Context().Separations(),
            (std::vector<Separation::Entry>{Entry("Spot1", 1, 0, 0.5f, 0),
                                            Entry("SpotA", 0, 0, 0.25f, 0.5f),
                                            Entry("SpotB", 1, 0, 0, 0)}));
  EXPECT_TRUE(warnings.All().empty());
}

TEST_F(ColorSpaceTest, IndexedLooksUpItsBase) {
  auto over_devicen = Resolve("[/Indexed [/DeviceN [/S1 /S2] /DeviceCMYK 42] 1 <00FF8040>]");
  // (The DeviceN's tint transform above is unusable: warned, simulated as black.)
  EXPECT_EQ(over_devicen->Family(), ColorSpaceFamily::kIndexed);
  EXPECT_EQ(over_devicen->ComponentCount(), 1u);
  EXPECT_EQ(over_devicen->InitialColor(), std::vector<double>{0.0});
  EXPECT_EQ(over_devicen->ComponentRange(0), (std::pair<double, double>{0, 1}));
  EXPECT_EQ(Ink(*over_devicen, {0}), (Color{{"S1", 0.0f}, {"S2", 1.0f}}));
  const Color second{{"S1", static_cast<float>(128.0 / 255.0)},
                     {"S2", static_cast<float>(64.0 / 255.0)}};
  EXPECT_EQ(Ink(*over_devicen, {1}), second);
  EXPECT_EQ(Ink(*over_devicen, {7}), second) << "index clipped to hival";
  EXPECT_EQ(Ink(*over_devicen, {0.6}), second) << "rounded";
  EXPECT_EQ(Ink(*over_devicen, {-3}), (Color{{"S1", 0.0f}, {"S2", 1.0f}}));
  EXPECT_EQ(Context().Separations(),
            (std::vector<Separation::Entry>{Entry("S1", 0, 0, 0, 1), Entry("S2", 0, 0, 0, 1)}));

  // A lookup stream over DeviceRGB; a short table is padded with zeros.
  warnings = WarningList();
  auto palette = Resolve("[/Indexed /DeviceRGB 2 " +
                         Ref(Stream("<< >>", std::string("\xFF\x80\x00\xFF\xFF", 5))) + "]");
  EXPECT_EQ(Ink(*palette, {0}), Process(0, static_cast<float>(1 - 128.0 / 255.0), 1, 0));
  EXPECT_EQ(Ink(*palette, {1}), Process(0, 0, 1, 0));
  EXPECT_EQ(Ink(*palette, {2}), Process(0, 0, 0, 1));
  EXPECT_TRUE(HasWarningContaining(warnings, "lookup table is short"));

  // Lab base: bytes map onto the component ranges.
  auto lab = Resolve(
      "[/Indexed [/Lab << /WhitePoint [0.9642 1 0.8249] /Range [-128 127 -128 127] "
      ">>] 0 <FF8080>]");
  EXPECT_TRUE(ProcessNear(Ink(*lab, {0}), {0, 0, 0, 0}, 0.01));
}

TEST_F(ColorSpaceTest, IccBasedSpaces) {
  auto cmyk_icc = Resolve("[/ICCBased " + Ref(Stream("<< /N 4 >>", "x")) + "]");
  EXPECT_EQ(cmyk_icc, Context().DeviceCMYK());
  auto gray_icc = Resolve("[/ICCBased " + Ref(Stream("<< /N 1 >>", "x")) + "]");
  EXPECT_EQ(gray_icc, Context().DeviceGray());

  const QPDFObjectHandle srgb = Stream("<< /N 3 >>", test::SaveProfile(cmsCreate_sRGBProfile()));
  auto rgb_icc = Resolve("[/ICCBased " + Ref(srgb) + "]");
  EXPECT_EQ(rgb_icc->Family(), ColorSpaceFamily::kICCBased);
  EXPECT_EQ(rgb_icc->ComponentCount(), 3u);
  EXPECT_EQ(rgb_icc->InitialColor(), (std::vector<double>{0, 0, 0}));
  EXPECT_TRUE(ProcessNear(Ink(*rgb_icc, {1, 0.5, 0}), {0, 0.5, 1, 0}, 2e-3));
  EXPECT_TRUE(ProcessNear(Ink(*rgb_icc, {0.5, 0.5, 0.5}), {0, 0, 0, 0.5}, 2e-3));
  // Another array naming the same profile shares its transform (and gives the same).
  auto again = Resolve("[/ICCBased " + Ref(srgb) + " ]");
  EXPECT_EQ(Ink(*again, {0.2, 0.4, 0.6}), Ink(*rgb_icc, {0.2, 0.4, 0.6}));

  const QPDFObjectHandle lab_profile =
      Stream("<< /N 3 >>", test::SaveProfile(cmsCreateLab4Profile(nullptr)));
  auto lab_icc = Resolve("[/ICCBased " + Ref(lab_profile) + "]");
  EXPECT_EQ(lab_icc->ComponentRange(0), (std::pair<double, double>{0, 100}));
  EXPECT_EQ(lab_icc->ComponentRange(1), (std::pair<double, double>{-128, 127}));
  EXPECT_TRUE(ProcessNear(Ink(*lab_icc, {100, 0, 0}), {0, 0, 0, 0}, 2e-3));
  EXPECT_TRUE(ProcessNear(Ink(*lab_icc, {0, 0, 0}), {0, 0, 0, 1}, 2e-3));
  EXPECT_TRUE(warnings.All().empty());

  // A broken profile: its alternate, or DeviceRGB, with a warning.
  auto broken = Resolve("[/ICCBased " +
                        Ref(Stream("<< /N 3 /Alternate /DeviceRGB >>", "not a profile")) + "]");
  EXPECT_EQ(broken, Context().DeviceRGB());
  EXPECT_TRUE(HasWarningContaining(warnings, "its /Alternate is used"));
  auto no_alternate = Resolve("[/ICCBased " + Ref(Stream("<< /N 3 >>", "junk")) + "]");
  EXPECT_EQ(no_alternate, Context().DeviceRGB());
  auto alternate_lab = Resolve(
      "[/ICCBased " +
      Ref(Stream("<< /N 3 /Alternate [/Lab << /WhitePoint [0.9642 1 0.8249] >>] >>", "junk")) +
      "]");
  EXPECT_EQ(alternate_lab->Family(), ColorSpaceFamily::kLab);
  // A CMYK profile declared with three components.
  const QPDFObjectHandle mismatch = Stream("<< /N 3 >>", test::BlackOnlyPressProfile());
  EXPECT_EQ(Resolve("[/ICCBased " + Ref(mismatch) + "]"), Context().DeviceRGB());
  EXPECT_TRUE(HasWarningContaining(warnings, "4 components"));
}

TEST_F(ColorSpaceTest, ColorimetricSpacesThroughTheBuiltInSeparation) {
  auto lab = Resolve("[/Lab << /WhitePoint [0.9642 1 0.8249] >>]");
  EXPECT_EQ(lab->Family(), ColorSpaceFamily::kLab);
  EXPECT_EQ(lab->ComponentRange(1), (std::pair<double, double>{-100, 100}));
  EXPECT_EQ(lab->InitialColor(), (std::vector<double>{0, 0, 0}));
  EXPECT_TRUE(ProcessNear(Ink(*lab, {100, 0, 0}), {0, 0, 0, 0}, 2e-3));
  EXPECT_TRUE(ProcessNear(Ink(*lab, {0, 0, 0}), {0, 0, 0, 1}, 2e-3));
  const Color mid = Ink(*lab, {50, 0, 0});
  EXPECT_TRUE(ProcessNear(mid, {0, 0, 0, 0.53}, 0.02));  // sRGB of L* 50 is about 0.466

  // Relative to D65: its white point is paper white all the same.
  auto lab65 = Resolve("[/Lab << /WhitePoint [0.9505 1 1.089] /Range [-50 50 -50 50] >>]");
  EXPECT_TRUE(ProcessNear(Ink(*lab65, {100, 0, 0}), {0, 0, 0, 0}, 2e-3));
  EXPECT_EQ(lab65->ComponentRange(2), (std::pair<double, double>{-50, 50}));

  auto cal_gray = Resolve("[/CalGray << /WhitePoint [0.9505 1 1.089] /Gamma 2.2 >>]");
  EXPECT_EQ(cal_gray->Family(), ColorSpaceFamily::kCalGray);
  EXPECT_TRUE(ProcessNear(Ink(*cal_gray, {1}), {0, 0, 0, 0}, 2e-3));
  EXPECT_TRUE(ProcessNear(Ink(*cal_gray, {0}), {0, 0, 0, 1}, 2e-3));

  // CalRGB with sRGB's primaries: red stays red.
  auto cal_rgb = Resolve(
      "[/CalRGB << /WhitePoint [0.9505 1 1.089] /Gamma [2.2 2.2 2.2] /Matrix [0.4124 0.2126 "
      "0.0193 0.3576 0.7152 0.1192 0.1805 0.0722 0.9505] >>]");
  EXPECT_EQ(cal_rgb->Family(), ColorSpaceFamily::kCalRGB);
  EXPECT_TRUE(ProcessNear(Ink(*cal_rgb, {1, 0, 0}), {0, 1, 1, 0}, 0.03));
  EXPECT_TRUE(ProcessNear(Ink(*cal_rgb, {1, 1, 1}), {0, 0, 0, 0}, 2e-3));
  EXPECT_TRUE(warnings.All().empty());

  // Unusable dictionaries fall back to the device space of the same size.
  EXPECT_EQ(Resolve("[/CalRGB << /Gamma [1 1 1] >>]"), Context().DeviceRGB());
  EXPECT_EQ(Resolve("[/CalGray 5]"), Context().DeviceGray());
  EXPECT_EQ(warnings.All().size(), 2u);
  auto lab_without_white = Resolve("[/Lab << >>]");
  EXPECT_EQ(lab_without_white->Family(), ColorSpaceFamily::kLab);
  EXPECT_TRUE(HasWarningContaining(warnings, "D50 assumed"));
}

TEST_F(ColorSpaceTest, PatternSpaces) {
  auto plain = Resolve("/Pattern");
  EXPECT_EQ(plain->Family(), ColorSpaceFamily::kPattern);
  EXPECT_EQ(plain->ComponentCount(), 0u);
  EXPECT_TRUE(Ink(*plain, {}).Empty());
  auto uncoloured = Resolve("[/Pattern /DeviceRGB]");
  EXPECT_EQ(uncoloured->Family(), ColorSpaceFamily::kPattern);
  EXPECT_EQ(uncoloured->ComponentCount(), 3u);
  EXPECT_TRUE(Ink(*uncoloured, {1, 0, 0}).Empty());
  EXPECT_TRUE(warnings.All().empty());
  auto nested = Resolve("[/Pattern /Pattern]");
  EXPECT_EQ(nested->ComponentCount(), 0u);
  EXPECT_FALSE(warnings.All().empty());
}

TEST_F(ColorSpaceTest, MalformedSpacesGiveWarningsAndFallbacks) {
  auto gray = Context().DeviceGray();
  const std::string cmyk_tint = "<< /FunctionType 2 /Domain [0 1] /C1 [0 0 0 1] /N 1 >>";
  const std::vector<std::string> to_gray = {
      "42",
      "[]",
      "[42]",
      "[/Frobnicate]",
      "[/Separation]",
      "[/Separation 7 /DeviceCMYK " + cmyk_tint + "]",
      "[/DeviceN [] /DeviceCMYK " + cmyk_tint + "]",
      "[/DeviceN /Spot /DeviceCMYK " + cmyk_tint + "]",
      "[/Indexed /DeviceRGB]",
      "[/Indexed [/Indexed /DeviceRGB 0 <000000>] 0 <00>]",
      "[/Indexed /Pattern 0 <00>]",
      "[/Indexed /DeviceRGB -1 <000000>]",
      "[/Indexed /DeviceRGB 0 42]",
      "[/Indexed /Frobnicate 0 <000000>]",
      "[/ICCBased 42]",
      "[/ICCBased " + Ref(Stream("<< /N 2 >>", "x")) + "]",
  };
  for (const std::string& text : to_gray) {
    const std::size_t before = warnings.All().size();
    EXPECT_EQ(Resolve(text), gray) << text;
    EXPECT_GT(warnings.All().size(), before) << text;
  }
  std::string many = "[/DeviceN [";
  for (int i = 0; i < 33; ++i)
    many += "/S" + std::to_string(i) + " ";
  EXPECT_EQ(Resolve(many + "] /DeviceCMYK " + cmyk_tint + "]"), gray);

  // Reported once: a second use of the same broken space is quiet.
  const std::size_t before = warnings.All().size();
  EXPECT_EQ(Resolve("[/Frobnicate]"), gray);
  EXPECT_EQ(warnings.All().size(), before);

  // Spaces that refer to themselves.
  QPDFObjectHandle loop = pdf.makeIndirectObject(Parse("[/Indexed null 0 <000000>]"));
  loop.setArrayItem(1, loop);
  EXPECT_EQ(Resolve(loop), gray);
  EXPECT_TRUE(HasWarningContaining(warnings, "refers to itself"));
  QPDFObjectHandle icc_loop = Stream("<< /N 3 >>", "junk");
  QPDFObjectHandle icc_space = pdf.makeIndirectObject(Parse("[/ICCBased " + Ref(icc_loop) + "]"));
  icc_loop.getDict().replaceKey("/Alternate", icc_space);
  EXPECT_EQ(Resolve(icc_space), Context().DeviceRGB());

  // A Separation keeps working with an unusable tint transform (black representation)
  // or an unusable alternate (a device space of the tint transform's output count).
  warnings = WarningList();
  auto no_tint = Resolve("[/Separation /Spot1 /DeviceCMYK 99]");
  EXPECT_EQ(Ink(*no_tint, {0.5}), (Color{{"Spot1", 0.5f}}));
  auto bad_alternate =
      Resolve("[/Separation /Spot2 [/Separation /X /DeviceCMYK " + cmyk_tint + "] " +
              "<< /FunctionType 2 /Domain [0 1] /C1 [0.5 0.5 0.5] /N 1 >>]");
  EXPECT_EQ(Ink(*bad_alternate, {1}), (Color{{"Spot2", 1.0f}}));
  auto mismatch = Resolve(
      "[/Separation /Spot3 /DeviceCMYK << /FunctionType 2 /Domain [0 1] "
      "/C1 [0.5 0.5] /N 1 >>]");
  EXPECT_EQ(Ink(*mismatch, {1}), (Color{{"Spot3", 1.0f}}));
  EXPECT_EQ(Context().Separations(),
            (std::vector<Separation::Entry>{
                Entry("Spot1", 0, 0, 0, 1),
                Entry("X", 0, 0, 0, 1),         // the misplaced alternate, resolved all the same
                Entry("Spot2", 0, 0, 0, 0.5f),  // RGB (0.5, 0.5, 0.5) as DeviceRGB
                Entry("Spot3", 0.5f, 0.5f, 0, 0)}));
  EXPECT_TRUE(HasWarningContaining(warnings, "tint transform is unusable"));
  EXPECT_TRUE(HasWarningContaining(warnings, "not a process colour space"));
  EXPECT_TRUE(HasWarningContaining(warnings, "gives 2 values"));

  // Indexed with hival above 255 uses 255.
  std::string table(256 * 3, '\x80');
  QPDFObjectHandle big = Stream("<< >>", table);
  auto clipped = Resolve("[/Indexed /DeviceRGB 300 " + Ref(big) + "]");
  EXPECT_EQ(clipped->ComponentRange(0), (std::pair<double, double>{0, 255}));
  EXPECT_TRUE(HasWarningContaining(warnings, "hival above 255"));

  // DeviceN colorants named twice or All are left out.
  auto doubled = Resolve("[/DeviceN [/A /A /All] /DeviceCMYK " +
                         Ref(Stream("<< /FunctionType 4 /Domain [0 1 0 1 0 1] "
                                    "/Range [0 1 0 1 0 1 0 1] >>",
                                    "{ pop pop 0 0 0 }")) +
                         "]");
  EXPECT_EQ(Ink(*doubled, {0.25, 0.5, 1}), (Color{{"A", 0.25f}}));
}

}  // namespace
}  // namespace QorPdf::internal
