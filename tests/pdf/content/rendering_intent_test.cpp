// Rendering intents of images: an image's /Intent, else ri or an ExtGState's /RI,
// picks the output profile's table its colorimetric samples convert through.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "../color/color_test_support.h"
#include "page_run.h"

namespace QorPdf::internal {
namespace {

// The black-only press profile with colorimetric and saturation tables of its own:
// its perceptual table prints lightness as black, its colorimetric one as cyan, its
// saturation one as magenta.
std::vector<unsigned char> InkPerIntentProfile() {
  const std::vector<unsigned char> black = test::BlackOnlyPressProfile();
  cmsHPROFILE profile =
      cmsOpenProfileFromMem(black.data(), static_cast<cmsUInt32Number>(black.size()));
  const std::pair<cmsTagSignature, int> tables[] = {{cmsSigBToA1Tag, 0}, {cmsSigBToA2Tag, 1}};
  for (auto [tag, ink] : tables) {
    cmsPipeline* b2a = cmsPipelineAlloc(nullptr, 3, 4);
    cmsStage* clut = cmsStageAllocCLut16bit(nullptr, 17, 3, 4, nullptr);
    cmsStageSampleCLut16bit(
        clut,
        [](const cmsUInt16Number in[], cmsUInt16Number out[], void* cargo) -> int {
          cmsCIELab lab;
          cmsLabEncoded2Float(&lab, in);
          const double v = std::clamp(1.0 - lab.L / 100.0, 0.0, 1.0);
          const int which = *static_cast<int*>(cargo);
          for (int i = 0; i < 4; ++i)
            out[i] = i == which ? static_cast<cmsUInt16Number>(v * 65535.0 + 0.5) : 0;
          return TRUE;
        },
        &ink, 0);
    cmsPipelineInsertStage(b2a, cmsAT_BEGIN, clut);
    cmsWriteTag(profile, tag, b2a);
    cmsPipelineFree(b2a);
  }
  return test::SaveProfile(profile);
}

TEST(RenderingIntents, ImagesConvertThroughTheirIntentsTable) {
  test::PdfObjects objects;
  objects.pdf.getRoot().replaceKey(
      "/OutputIntents",
      objects.Parse("[<< /Type /OutputIntent /S /GTS_PDFX /DestOutputProfile " +
                    test::PdfObjects::Ref(objects.Stream("<< /N 4 >>", InkPerIntentProfile())) +
                    " >>]"));
  // A mid grey RGB sample (L* about 54), with and without an /Intent of its own.
  const std::string image =
      "<< /Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceRGB "
      "/BitsPerComponent 8 ";
  const QPDFObjectHandle plain = objects.Stream(image + ">>", std::string(3, '\x80'));
  const QPDFObjectHandle own = objects.Stream(image + "/Intent /Perceptual >>", std::string(3, '\x80'));
  QPDFObjectHandle page = objects.Parse("<< /Type /Page /MediaBox [0 0 10 10] >>");
  page.replaceKey("/Contents",
                  objects.Stream("<< >>", "/I Do /Saturation ri /I Do /P Do /G gs /I Do "
                                          "/AbsoluteColorimetric ri /I Do /Unknown ri /I Do"));
  page.replaceKey("/Resources", objects.Parse("<< /XObject << /I " + test::PdfObjects::Ref(plain) +
                                              " /P " + test::PdfObjects::Ref(own) +
                                              " >> /ExtGState << /G << /RI /Perceptual >> >> >>"));
  WarningList warnings;
  const test::PageRun run(objects.pdf, warnings, page);
  for (const auto& w : warnings.All())
    ADD_FAILURE() << w.subject << ": " << w.reason;

  // Relative colorimetric by default: cyan; ri Saturation: magenta; the image's own
  // /Intent over the graphics state: black; /RI Perceptual: black; absolute
  // colorimetric: the colorimetric table, cyan; an unknown name: relative again.
  const int expected_intent[] = {1, 2, 0, 0, 3, 1};
  const int expected_ink[] = {0, 1, 3, 3, 0, 0};
  const auto& members = run.Content().GetMembers();
  ASSERT_EQ(members.size(), 6u);
  for (std::size_t i = 0; i < members.size(); ++i) {
    const auto* object = dynamic_cast<const QorDoc::Image*>(members[i].get());
    ASSERT_NE(object, nullptr);
    const QorImg::PaintedPicture& picture = *object->GetPaintedPicture();
    EXPECT_EQ(picture.GetRenderingIntent(), expected_intent[i]) << i;
    const std::uint8_t* inks =
        picture.GetPictureData()->Get8BitPictureBuffer(picture.GetRenderingIntent())->GetBuffer();
    for (int ink = 0; ink < 4; ++ink) {
      if (ink == expected_ink[i]) {
        EXPECT_GT(inks[ink], 90) << i;
      } else {
        EXPECT_EQ(inks[ink], 0) << i << " ink " << ink;
      }
    }
  }
}

}  // namespace
}  // namespace QorPdf::internal
