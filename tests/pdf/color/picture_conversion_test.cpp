// Colorimetric image samples into inks: the picture's converter converts many samples
// per colour-management call and each repeated sample once, and must give every
// sample exactly the bytes it gets converted on its own by the same transform: RGB
// bytes spanning [0, 1] through the transform optimised for 8-bit input, which stays
// within a few levels of the exact one, everything else exactly as flat colours.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "color/color_space.h"
#include "color_test_support.h"
#include "image/picture_builder.h"

namespace QorPdf::internal {
namespace {

class PictureConversionTest : public ::testing::Test, public test::PdfObjects {
 protected:
  // Samples of `components` bytes: runs of repeated samples, random ones, and pairs
  // whose cache keys collide, so every path of the converter is taken.
  static ImageSamples Samples(std::size_t components, std::size_t width, std::size_t height) {
    ImageSamples samples;
    samples.width = width;
    samples.height = height;
    samples.components = components;
    samples.bits = 8;
    samples.row_bytes = width * components;
    std::mt19937 random(7);
    std::vector<std::uint8_t> sample(components);
    for (std::size_t i = 0; i < width * height; ++i) {
      if (i % 7 != 0) {  // runs of seven
        for (auto& b : sample)
          b = static_cast<std::uint8_t>(random());
      }
      samples.data.insert(samples.data.end(), sample.begin(), sample.end());
    }
    return samples;
  }

  // The bytes each sample gets from the space on its own: RGB through the 8-bit
  // transform where the space has one, otherwise its colour as a flat colour's.
  static std::vector<std::uint8_t> OneByOne(const ImageSamples& samples, const ColorSpace& space) {
    const std::size_t n = samples.components;
    std::vector<std::uint8_t> bytes;
    for (std::size_t s = 0; s < samples.width * samples.height; ++s) {
      const std::uint8_t* sample = &samples.data[s * n];
      std::uint8_t inks[4];
      if (n == 3 && space.ToProcessBytes(sample, 1, QorImg::kRelativeColorimetric, inks)) {
        bytes.insert(bytes.end(), inks, inks + 4);
      } else {
        const std::vector<std::uint8_t> exact = Exact(sample, n, space);
        bytes.insert(bytes.end(), exact.begin(), exact.end());
      }
    }
    return bytes;
  }

  // The bytes of one sample's colour as a flat colour of the same value.
  static std::vector<std::uint8_t> Exact(const std::uint8_t* sample, std::size_t n,
                                         const ColorSpace& space) {
    std::vector<double> components(n);
    for (std::size_t i = 0; i < n; ++i) {
      // An 8-bit sample spans the space's range; an Indexed one is the index itself.
      const auto [low, high] = space.Family() == ColorSpaceFamily::kIndexed
                                   ? std::pair<double, double>{0.0, 255.0}
                                   : space.ComponentRange(i);
      components[i] = low + sample[i] * (high - low) / 255.0;
    }
    const QorColor::Color probe = space.ToInk(space.InitialColor());
    const QorColor::Color color = space.ToInk(components);
    std::vector<std::uint8_t> bytes;
    for (std::size_t j = 0; j < probe.Size(); ++j) {
      const auto found = color.Find(probe.GetName(j));
      const double tint = found ? color[*found].tint : 0.0;
      bytes.push_back(static_cast<std::uint8_t>(std::lround(std::clamp(tint, 0.0, 1.0) * 255.0)));
    }
    return bytes;
  }

  static std::vector<std::uint8_t> Converted(ImageSamples samples, std::shared_ptr<const ColorSpace> space,
                                             int intent = QorImg::kRelativeColorimetric) {
    std::string problem;
    const auto picture = BuildPicture(samples, std::move(space), QPDFObjectHandle::newNull(), false,
                                      intent, {}, problem);
    EXPECT_TRUE(picture) << problem;
    if (!picture) return {};
    const auto buffer = picture->GetPictureData()->Get8BitPictureBuffer(picture->GetRenderingIntent());
    const std::uint8_t* bytes = buffer->GetBuffer();
    return {bytes, bytes + buffer->GetRowStride() * buffer->GetHeight()};
  }

  // An ICCBased space of a gamma 2.2 RGB profile with wide primaries: curves and a
  // matrix, unlike sRGB's.
  std::string WideGammaSpace() {
    cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.2);
    cmsToneCurve* curves[3] = {gamma, gamma, gamma};
    const cmsCIExyY white{0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}};
    const std::vector<unsigned char> wide =
        test::SaveProfile(cmsCreateRGBProfile(&white, &primaries, curves));
    cmsFreeToneCurve(gamma);
    return "[/ICCBased " + Ref(Stream("<< /N 3 >>", wide)) + "]";
  }

  void UseBlackPressIntent() {
    pdf.getRoot().replaceKey(
        "/OutputIntents",
        Parse("[<< /Type /OutputIntent /S /GTS_PDFX /DestOutputProfile " +
              Ref(Stream("<< /N 4 >>", test::BlackOnlyPressProfile())) + " >>]"));
  }

  std::shared_ptr<const ColorSpace> Resolve(ColorContext& context, const std::string& text) {
    return context.Resolve(Parse(text), QPDFObjectHandle::newNull(), 0);
  }

  WarningList warnings;
};

TEST_F(PictureConversionTest, ManySamplesAtOnceEqualOneByOne) {
  const std::string icc = WideGammaSpace();
  std::string palette;
  for (int i = 0; i < 768; ++i) {
    const char* digits = "0123456789abcdef";
    palette += digits[(i * 37 / 16) % 16];
    palette += digits[(i * 37) % 16];
  }
  const std::string spaces[] = {
      "/DeviceRGB",
      icc,
      "[/CalRGB << /WhitePoint [0.9505 1 1.089] /Gamma [1.8 2.0 2.2] >>]",
      "[/Lab << /WhitePoint [0.9505 1 1.089] /Range [-128 127 -128 127] >>]",
      "[/CalGray << /WhitePoint [0.9505 1 1.089] /Gamma 1.8 >>]",
      "[/Indexed " + icc + " 255 <" + palette + ">]",
  };
  // Without an output intent (sRGB and the built-in separation) and with one.
  for (const bool intent : {false, true}) {
    if (intent) UseBlackPressIntent();
    ColorContext context(pdf, warnings);
    for (const std::string& text : spaces) {
      const auto space = Resolve(context, text);
      const ImageSamples samples = Samples(space->ComponentCount(), 61, 97);
      EXPECT_EQ(Converted(samples, space), OneByOne(samples, *space))
          << text << (intent ? " into the output intent" : "");
      // RGB ICC and CalRGB always take the 8-bit transform, DeviceRGB only into an
      // output profile (without one it separates exactly); the others never do.
      const std::uint8_t rgb[3] = {10, 200, 90};
      std::uint8_t inks[4];
      const bool optimised = text == icc || text.starts_with("[/CalRGB") ||
                             (intent && text == "/DeviceRGB");
      EXPECT_EQ(space->ComponentCount() == 3 &&
                    space->ToProcessBytes(rgb, 1, QorImg::kRelativeColorimetric, inks),
                optimised)
          << text << (intent ? " into the output intent" : "");
    }
  }
  for (const auto& w : warnings.All()) ADD_FAILURE() << w.subject << ": " << w.reason;
}

TEST_F(PictureConversionTest, OptimisedRgbStaysNearExact) {
  // Every fifth level of each component (52³ colours) through the 8-bit transform
  // against the exact conversion of the same colour, in ink levels: the black ink
  // everywhere and every ink where the exact black is at most 90 %. Under more black
  // the built-in separation's ratio (max − c) / max magnifies any difference in the
  // darkest colours (see docs/design.md for the figures over all 2²⁴ colours).
  const std::string icc = WideGammaSpace();
  const std::string cal = "[/CalRGB << /WhitePoint [0.9505 1 1.089] /Gamma [1.8 2.0 2.2] >>]";
  const auto expect_near = [](const ColorSpace& space, int bound, const std::string& what) {
    int black = 0;
    int light = 0;
    std::uint8_t rgb[3];
    std::uint8_t inks[4];
    for (int r = 0; r < 256; r += 5) {
      for (int g = 0; g < 256; g += 5) {
        for (int b = 0; b < 256; b += 5) {
          rgb[0] = static_cast<std::uint8_t>(r);
          rgb[1] = static_cast<std::uint8_t>(g);
          rgb[2] = static_cast<std::uint8_t>(b);
          ASSERT_TRUE(space.ToProcessBytes(rgb, 1, QorImg::kRelativeColorimetric, inks)) << what;
          const std::vector<std::uint8_t> exact = Exact(rgb, 3, space);
          black = std::max(black, std::abs(inks[3] - exact[3]));
          if (exact[3] > 229) continue;
          for (std::size_t i = 0; i < 4; ++i)
            light = std::max(light, std::abs(inks[i] - exact[i]));
        }
      }
    }
    EXPECT_LE(black, bound) << what;
    EXPECT_LE(light, bound) << what;
  };
  {
    ColorContext context(pdf, warnings);
    expect_near(*Resolve(context, icc), 3, "ICC into the built-in separation");
    expect_near(*Resolve(context, cal), 3, "CalRGB into the built-in separation");
  }
  UseBlackPressIntent();
  ColorContext context(pdf, warnings);
  expect_near(*Resolve(context, "/DeviceRGB"), 1, "DeviceRGB into the output intent");
  expect_near(*Resolve(context, icc), 1, "ICC into the output intent");
  for (const auto& w : warnings.All()) ADD_FAILURE() << w.subject << ": " << w.reason;
}

}  // namespace
}  // namespace QorPdf::internal
