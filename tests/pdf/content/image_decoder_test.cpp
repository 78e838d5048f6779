// Image decoders on small fixtures made here with the codecs' own encoders: JPEG 2000
// with subsampled components (brought to the full grid) and JPEG image masks.
#include <gtest/gtest.h>

// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on
#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "image/image_samples.h"
#include "page_run.h"

namespace QorPdf::internal {
namespace {

// A lossless J2K codestream of `width` × `height` with one full component and two
// at half resolution both ways, as 4:2:0 chroma is stored.
std::vector<std::uint8_t> SubsampledJ2k(std::size_t width, std::size_t height,
                                        const std::vector<int>& full,
                                        const std::vector<int>& half1,
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
  jpeg_compress_struct info;
  jpeg_error_mgr error;
  info.err = jpeg_std_error(&error);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = static_cast<JDIMENSION>(width);
  info.image_height = static_cast<JDIMENSION>(height);
  info.input_components = 1;
  info.in_color_space = JCS_GRAYSCALE;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, 100, TRUE);
  jpeg_start_compress(&info, TRUE);
  for (std::size_t row = 0; row < height; ++row) {
    JSAMPROW line = const_cast<JSAMPROW>(grey.data() + row * width);
    jpeg_write_scanlines(&info, &line, 1);
  }
  jpeg_finish_compress(&info);
  std::string jpeg(reinterpret_cast<char*>(buffer), size);
  jpeg_destroy_compress(&info);
  std::free(buffer);
  return jpeg;
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
  const QPDFObjectHandle stream =
      Stream(pdf, "<< /Width 5 /Height 3 /Filter /JPXDecode >>",
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
  const QPDFObjectHandle mask = Stream(
      pdf, "<< /Type /XObject /Subtype /Image /Width 16 /Height 8 /ImageMask true "
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

}  // namespace
}  // namespace QorPdf::internal
