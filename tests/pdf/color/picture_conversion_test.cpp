// Colorimetric image samples into inks: the picture's converter converts many samples
// per colour-management call and each repeated sample once, and must give every
// sample exactly the bytes its colour gets from the space one at a time.
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

  // The bytes each sample's colour gets from the space on its own.
  static std::vector<std::uint8_t> OneByOne(const ImageSamples& samples, const ColorSpace& space) {
    const std::size_t n = samples.components;
    const QorColor::Color probe = space.ToInk(space.InitialColor());
    std::vector<std::uint8_t> bytes;
    for (std::size_t s = 0; s < samples.width * samples.height; ++s) {
      std::vector<double> components(n);
      for (std::size_t i = 0; i < n; ++i) {
        // An 8-bit sample spans the space's range; an Indexed one is the index itself.
        const auto [low, high] = space.Family() == ColorSpaceFamily::kIndexed
                                     ? std::pair<double, double>{0.0, 255.0}
                                     : space.ComponentRange(i);
        components[i] = low + samples.data[s * n + i] * (high - low) / 255.0;
      }
      const QorColor::Color color = space.ToInk(components);
      for (std::size_t j = 0; j < probe.Size(); ++j) {
        const auto found = color.Find(probe.GetName(j));
        const double tint = found ? color[*found].tint : 0.0;
        bytes.push_back(static_cast<std::uint8_t>(std::lround(std::clamp(tint, 0.0, 1.0) * 255.0)));
      }
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

  std::shared_ptr<const ColorSpace> Resolve(ColorContext& context, const std::string& text) {
    return context.Resolve(Parse(text), QPDFObjectHandle::newNull(), 0);
  }

  WarningList warnings;
};

TEST_F(PictureConversionTest, ManySamplesAtOnceEqualOneByOne) {
  // A gamma 2.2 RGB profile with wide primaries: curves and a matrix, unlike sRGB's.
  cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.2);
  cmsToneCurve* curves[3] = {gamma, gamma, gamma};
  const cmsCIExyY white{0.3127, 0.3290, 1.0};
  const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.21, 0.71, 1.0}, {0.15, 0.06, 1.0}};
  const std::vector<unsigned char> wide =
      test::SaveProfile(cmsCreateRGBProfile(&white, &primaries, curves));
  cmsFreeToneCurve(gamma);
  const std::string icc = "[/ICCBased " + Ref(Stream("<< /N 3 >>", wide)) + "]";
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
    if (intent) {
      pdf.getRoot().replaceKey(
          "/OutputIntents",
          Parse("[<< /Type /OutputIntent /S /GTS_PDFX /DestOutputProfile " +
                Ref(Stream("<< /N 4 >>", test::BlackOnlyPressProfile())) + " >>]"));
    }
    ColorContext context(pdf, warnings);
    for (const std::string& text : spaces) {
      const auto space = Resolve(context, text);
      const ImageSamples samples = Samples(space->ComponentCount(), 61, 97);
      EXPECT_EQ(Converted(samples, space), OneByOne(samples, *space))
          << text << (intent ? " into the output intent" : "");
    }
  }
  for (const auto& w : warnings.All()) ADD_FAILURE() << w.subject << ": " << w.reason;
}


}  // namespace
}  // namespace QorPdf::internal
