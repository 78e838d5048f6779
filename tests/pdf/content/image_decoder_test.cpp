// Image decoders on small fixtures made here with the codecs' own encoders: JPEG 2000
// with subsampled components (brought to the full grid), JPEG image masks, and JPEGs
// decoded only where rendering can read them.
#include <gtest/gtest.h>
#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "image/image_samples.h"
#include "jpeg_encoder.h"
#include "page_run.h"

namespace QorPdf::internal {
namespace {

// A lossless J2K codestream of `width` × `height` with one full component and two
// at half resolution both ways, as 4:2:0 chroma is stored.
std::vector<std::uint8_t> SubsampledJ2k(std::size_t width, std::size_t height,
                                        const std::vector<int>& full, const std::vector<int>& half1,
                                        const std::vector<int>& half2) {
  opj_image_cmptparm_t parms[3];
  std::memset(parms, 0, sizeof parms);
  for (int i = 0; i < 3; ++i) {
    const unsigned step = i == 0 ? 1 : 2;
    parms[i].dx = step;
    parms[i].dy = step;
    parms[i].w = static_cast<OPJ_UINT32>((width + step - 1) / step);
    parms[i].h = static_cast<OPJ_UINT32>((height + step - 1) / step);
    parms[i].prec = 8;
    parms[i].sgnd = 0;
  }
  opj_image_t* image = opj_image_create(3, parms, OPJ_CLRSPC_SRGB);
  image->x1 = static_cast<OPJ_UINT32>(width);
  image->y1 = static_cast<OPJ_UINT32>(height);
  const std::vector<int>* values[3] = {&full, &half1, &half2};
  for (int i = 0; i < 3; ++i)
    std::copy(values[i]->begin(), values[i]->end(), image->comps[i].data);

  opj_cparameters_t settings;
  opj_set_default_encoder_parameters(&settings);
  settings.numresolution = 1;
  settings.tcp_mct = 0;
  opj_codec_t* codec = opj_create_compress(OPJ_CODEC_J2K);
  EXPECT_TRUE(opj_setup_encoder(codec, &settings, image));
  std::vector<std::uint8_t> out;
  opj_stream_t* stream = opj_stream_create(1 << 16, OPJ_FALSE);
  opj_stream_set_user_data(stream, &out, nullptr);
  opj_stream_set_write_function(stream, [](void* buffer, OPJ_SIZE_T bytes, void* user) {
    auto* v = static_cast<std::vector<std::uint8_t>*>(user);
    v->insert(v->end(), static_cast<std::uint8_t*>(buffer),
              static_cast<std::uint8_t*>(buffer) + bytes);
    return bytes;
  });
  EXPECT_TRUE(opj_start_compress(codec, image, stream) && opj_encode(codec, stream) &&
              opj_end_compress(codec, stream));
  opj_stream_destroy(stream);
  opj_destroy_codec(codec);
  opj_image_destroy(image);
  return out;
}

// A baseline grey JPEG at full quality.
std::string GreyJpeg(std::size_t width, std::size_t height, const std::vector<std::uint8_t>& grey) {
  return QorTest::EncodeJpeg({}, width, height, grey);
}

QPDFObjectHandle Stream(QPDF& pdf, const std::string& dict, const std::string& data) {
  QPDFObjectHandle stream = QPDFObjectHandle::newStream(&pdf, data);
  QPDFObjectHandle entries = QPDFObjectHandle::parse(&pdf, dict);
  for (const std::string& key : entries.getKeys())
    stream.getDict().replaceKey(key, entries.getKey(key));
  return pdf.makeIndirectObject(stream);
}

TEST(ImageDecoders, SubsampledJpeg2000ComponentsRepeatOverThePixelsTheyCover) {
  // 5 × 3: odd sizes, so the last half-resolution sample covers one column and row.
  const std::vector<int> full = {0, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140};
  const std::vector<int> half1 = {1, 2, 3, 4, 5, 6};  // 3 × 2
  const std::vector<int> half2 = {200, 210, 220, 230, 240, 250};
  const std::vector<std::uint8_t> j2k = SubsampledJ2k(5, 3, full, half1, half2);
  ASSERT_FALSE(j2k.empty());
  QPDF pdf;
  pdf.emptyPDF();
  const QPDFObjectHandle stream = Stream(pdf, "<< /Width 5 /Height 3 /Filter /JPXDecode >>",
                                         std::string(j2k.begin(), j2k.end()));
  const ImageSamples samples = ReadImageSamples(stream, 5, 3, 3, 8, 1 << 20);
  ASSERT_EQ(samples.problem, "");
  ASSERT_EQ(samples.components, 3u);
  ASSERT_EQ(samples.data.size(), 45u);
  for (std::size_t y = 0; y < 3; ++y) {
    for (std::size_t x = 0; x < 5; ++x) {
      const std::size_t p = (y * 5 + x) * 3;
      const std::size_t half = (y / 2) * 3 + x / 2;
      EXPECT_EQ(samples.data[p], full[y * 5 + x]) << x << "," << y;
      EXPECT_EQ(samples.data[p + 1], half1[half]) << x << "," << y;
      EXPECT_EQ(samples.data[p + 2], half2[half]) << x << "," << y;
    }
  }
}

TEST(ImageDecoders, JpegImageMasksPaintWhereTheirSamplesAreDark) {
  // 16 × 8: black on the left half, white on the right; under the default /Decode a
  // sample of 0 paints.
  std::vector<std::uint8_t> grey(16 * 8);
  for (std::size_t i = 0; i < grey.size(); ++i)
    grey[i] = i % 16 < 8 ? 0 : 255;
  QPDF pdf;
  pdf.emptyPDF();
  const QPDFObjectHandle mask =
      Stream(pdf,
             "<< /Type /XObject /Subtype /Image /Width 16 /Height 8 /ImageMask true "
             "/Filter /DCTDecode >>",
             GreyJpeg(16, 8, grey));
  QPDFObjectHandle page =
      QPDFObjectHandle::parse(&pdf, "<< /Type /Page /MediaBox [0 0 100 100] >>");
  page.replaceKey("/Contents", Stream(pdf, "<< >>", "0 g /M Do"));
  QPDFObjectHandle resources = QPDFObjectHandle::parse(&pdf, "<< /XObject << >> >>");
  resources.getKey("/XObject").replaceKey("/M", mask);
  page.replaceKey("/Resources", resources);

  WarningList warnings;
  const test::PageRun run(pdf, warnings, page);
  const QorDoc::Content& target = run.Content();
  for (const auto& w : warnings.All())
    ADD_FAILURE() << w.subject << ": " << w.reason;
  ASSERT_EQ(target.GetMembers().size(), 1u);
  const auto* image = dynamic_cast<const QorDoc::ImageMask*>(target.GetMembers()[0].get());
  ASSERT_NE(image, nullptr);
  const QorImg::PictureBuffer& bits = *image->GetMask();
  for (std::size_t y = 0; y < 8; ++y) {
    for (std::size_t x = 0; x < 16; ++x)
      EXPECT_EQ(bits.GetBit(x, y), x < 8) << x << "," << y;
  }
}

TEST(ImageDecoders, JpegsDecodedInPartHoldTheWholeDecodesSamplesThere) {
  // Every layout libjpeg-turbo treats differently when it skips rows and crops
  // columns: chroma subsampled across, down and both ways (smoothed from neighbouring
  // samples), progressive scans, restart markers, YCCK, and data cut short.
  struct Case {
    QorTest::JpegLayout layout;
    bool truncated = false;
  };
  const Case cases[] = {
      {{1}},
      {{3, false, 1, 1}},
      {{3, false, 2, 1}},
      {{3, false, 2, 2}},
      {{3, false, 1, 2}},
      {{3, false, 2, 2, true}},
      {{3, false, 2, 2, false, 1, 90}},
      {{4}},
      {{4, true, 2, 2}},
      {{3, false, 2, 2}, true},
      {{3, false, 2, 2, true}, true},
  };
  std::mt19937 random(16);
  const std::size_t width = 203;
  const std::size_t height = 157;
  for (const Case& c : cases) {
    const auto channels = static_cast<std::size_t>(c.layout.components);
    std::vector<std::uint8_t> pixels(width * height * channels);
    // Smooth gradients with noise: subsampled chroma differs from sample to sample.
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      const std::size_t x = i / channels % width;
      const std::size_t y = i / channels / width;
      pixels[i] = static_cast<std::uint8_t>((x * (3 + i % channels) + y * 2 + random() % 24) & 255);
    }
    std::string jpeg = QorTest::EncodeJpeg(c.layout, width, height, pixels);
    if (c.truncated) jpeg.resize(jpeg.size() * 2 / 3);
    QPDF pdf;
    pdf.emptyPDF();
    const QPDFObjectHandle stream =
        Stream(pdf, "<< /Width 203 /Height 157 /Filter /DCTDecode >>", jpeg);
    const ImageSamples whole = ReadImageSamples(stream, width, height, channels, 8, 1 << 24);
    ASSERT_EQ(whole.problem, "");
    ASSERT_FALSE(whole.partial);
    const std::string name =
        std::to_string(c.layout.components) + " components, sampling " +
        std::to_string(c.layout.h_sampling) + "x" + std::to_string(c.layout.v_sampling) +
        (c.layout.progressive ? ", progressive" : "") + (c.truncated ? ", truncated" : "");
    for (int trial = 0; trial < 60; ++trial) {
      std::uniform_real_distribution<double> fraction(-0.1, 1.1);
      double c0 = fraction(random), c1 = fraction(random), r0 = fraction(random),
             r1 = fraction(random);
      if (c0 > c1) std::swap(c0, c1);
      if (r0 > r1) std::swap(r0, r1);
      if (trial % 7 == 0) c1 = c0;  // a single column
      const SampleArea area{c0, c1, r0, r1};
      const ImageSamples part = ReadImageSamples(stream, width, height, channels, 8, 1 << 24, area);
      ASSERT_EQ(part.problem, "") << name;
      ASSERT_EQ(part.partial, !area.Whole()) << name;
      ASSERT_EQ(part.rows_decoded, whole.rows_decoded) << name;
      ASSERT_EQ(part.data.size(), whole.data.size()) << name;
      ASSERT_EQ(part.adobe_inverted, whole.adobe_inverted) << name;
      const SampleRange columns = SampleRangeOf(c0, c1, width);
      const SampleRange rows = SampleRangeOf(r0, r1, height);
      for (std::size_t y = rows.first; y < rows.end; ++y) {
        const std::size_t from = y * whole.row_bytes + columns.first * channels;
        const std::size_t to = y * whole.row_bytes + columns.end * channels;
        ASSERT_TRUE(std::equal(whole.data.begin() + from, whole.data.begin() + to,
                               part.data.begin() + from))
            << name << ": row " << y << " of columns [" << columns.first << ", " << columns.end
            << ")";
      }
    }
  }
}

TEST(ImageDecoders, SampleRangesWidenByTheSteppersDrift) {
  // Two samples each way, and one more per thousand.
  EXPECT_EQ(SampleRangeOf(0.5, 0.5, 100).first, 48u);
  EXPECT_EQ(SampleRangeOf(0.5, 0.5, 100).end, 53u);
  EXPECT_EQ(SampleRangeOf(0.25, 0.5, 4000).first, 994u);
  EXPECT_EQ(SampleRangeOf(0.25, 0.5, 4000).end, 2007u);
  // Clamped to the image; empty ranges stay empty.
  EXPECT_EQ(SampleRangeOf(-3.0, 0.0, 100).first, 0u);
  EXPECT_EQ(SampleRangeOf(-3.0, 0.0, 100).end, 3u);
  EXPECT_EQ(SampleRangeOf(1.0, 7.0, 100).end, 100u);
  EXPECT_EQ(SampleRangeOf(0.6, 0.4, 100).end, 0u);
}

}  // namespace
}  // namespace QorPdf::internal
