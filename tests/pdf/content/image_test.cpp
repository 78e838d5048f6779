// Sampled images through the importer and the renderer: bit depths, /Decode,
// Indexed, Separation and RGB spaces, JPEGs (with Adobe's inverted CMYK), JPEG
// 2000 with its own alpha, inline images, image masks, and damaged data (short streams keep their
// decoded rows, impossible sizes are refused without allocating them). The page is
// tests/pdf/make_test_pdfs.py's images(): 20 × 20 point squares along the top, one image each.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "image/picture_builder.h"
#include "qordoc/document.h"
#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

std::filesystem::path Data(const std::string& name) {
  return std::filesystem::path(__FILE__).parent_path().parent_path() / "data" / name;
}

struct Plates {
  std::vector<std::vector<unsigned char>> lines;  // C, M, Y, K planes per line
  int At(int plate, int x, int y) const { return lines[y][plate * 200 + x]; }
};

TEST(PdfImages, SamplesOfEveryDepthAndSpaceReachTheirPlates) {
  QorPdf::Document pdf = QorPdf::Document::OpenFile(Data("images.pdf"));
  const QorPdf::Import import = pdf.ImportPages({});
  ASSERT_EQ(import.pages.size(), 1u);
  std::string warnings;
  bool short_reported = false, huge_reported = false;
  for (const auto& w : pdf.Warnings()) {
    warnings += w.subject + ": " + w.reason + "\n";
    if (w.subject == "Do /SH" && w.reason.find("short") != std::string::npos) short_reported = true;
    if (w.subject == "Do /HU" && w.reason.find("too large") != std::string::npos) {
      huge_reported = true;
    }
  }
  EXPECT_TRUE(short_reported) << warnings;
  EXPECT_TRUE(huge_reported) << warnings;
  EXPECT_EQ(warnings.find("not supported"), std::string::npos) << warnings;
  // The grey image placed twice is decoded once.
  std::vector<const QorImg::PaintedPicture*> pictures;
  for (const auto& object : import.pages.front().content->GetMembers()) {
    if (const auto* image = dynamic_cast<const QorDoc::Image*>(object.get())) {
      pictures.push_back(image->GetPaintedPicture().get());
    }
  }
  ASSERT_EQ(pictures.size(), 20u);
  EXPECT_EQ(pictures.front(), pictures[14]);

  // One pixel per point.
  const auto& page = import.pages.front();
  const QorSc::Environment env(page.world_box, 200, 200);
  const QorSc::Options cmyk(true, import.document->GetSeparationInfo());
  QorSc::ScanConverter converter(
      QorSc::CollectObjects(env, cmyk, {0, 0, 200, 200}, *page.content, {}, QorSc::kAllSelection));
  Plates p;
  std::vector<unsigned char> line(4 * 200);
  while (converter.GetLine255PlaneInterleaved(line.data()))
    p.lines.push_back(line);
  ASSERT_EQ(p.lines.size(), 200u);
  enum { C, M, Y, K };
  // Quadrants of a 2 × 2 image in square i of the top row.
  auto top_left = [&](int plate, int i) { return p.At(plate, 20 * i + 5, 5); };
  auto top_right = [&](int plate, int i) { return p.At(plate, 20 * i + 15, 5); };
  auto bottom_left = [&](int plate, int i) { return p.At(plate, 20 * i + 5, 15); };
  auto bottom_right = [&](int plate, int i) { return p.At(plate, 20 * i + 15, 15); };

  // Grey 0, 255 / 128, 64 is black ink 1 − g.
  EXPECT_EQ(top_left(K, 0), 255);
  EXPECT_EQ(top_right(K, 0), 0);
  EXPECT_EQ(bottom_left(K, 0), 127);
  EXPECT_EQ(bottom_right(K, 0), 191);
  EXPECT_EQ(top_left(C, 0), 0);
  // 1 bit 10 / 01 and 4 bits 0, 15 / 5, 10.
  EXPECT_EQ(top_left(K, 1), 0);
  EXPECT_EQ(top_right(K, 1), 255);
  EXPECT_EQ(bottom_left(K, 1), 255);
  EXPECT_EQ(bottom_right(K, 1), 0);
  EXPECT_EQ(top_left(K, 2), 255);
  EXPECT_EQ(top_right(K, 2), 0);
  EXPECT_EQ(bottom_left(K, 2), 170);
  EXPECT_EQ(bottom_right(K, 2), 85);
  // 16-bit CMYK 0, 65535, 32768, 0 with cyan decoded [1 0].
  EXPECT_EQ(top_left(C, 3), 255);
  EXPECT_EQ(top_left(M, 3), 255);
  EXPECT_EQ(top_left(Y, 3), 128);
  EXPECT_EQ(top_left(K, 3), 0);
  // Indexed RGB red | white, through the page's RGB separation.
  EXPECT_EQ(top_left(M, 4), 255);
  EXPECT_EQ(top_left(Y, 4), 255);
  EXPECT_EQ(top_left(C, 4), 0);
  EXPECT_EQ(top_right(M, 4), 0);
  // The Gold separation at full tint, simulated by its representation.
  EXPECT_EQ(top_left(M, 5), 64);
  EXPECT_EQ(top_left(Y, 5), 255);
  // RGB black is black ink only.
  EXPECT_EQ(top_left(K, 6), 255);
  EXPECT_EQ(top_left(C, 6), 0);
  // Short data: the decoded top row paints, the missing one does not.
  EXPECT_EQ(top_left(K, 7), 255);
  EXPECT_EQ(bottom_left(K, 7), 0);
  // The refused huge image paints nothing.
  EXPECT_EQ(top_left(K, 8), 0);

  // Second row: the CMYK JPEG (200, 50, 0, 100 stored inverted under Adobe's
  // marker), the grey JPEG (64) behind ASCIIHex, and an inline image 0 | 255.
  auto near = [](int value, int expected) { return std::abs(value - expected) <= 2; };
  EXPECT_TRUE(near(p.At(C, 10, 30), 200)) << p.At(C, 10, 30);
  EXPECT_TRUE(near(p.At(M, 10, 30), 50)) << p.At(M, 10, 30);
  EXPECT_TRUE(near(p.At(Y, 10, 30), 0)) << p.At(Y, 10, 30);
  EXPECT_TRUE(near(p.At(K, 10, 30), 100)) << p.At(K, 10, 30);
  EXPECT_TRUE(near(p.At(K, 30, 30), 191)) << p.At(K, 30, 30);
  EXPECT_EQ(p.At(K, 45, 30), 255);
  EXPECT_EQ(p.At(K, 55, 30), 0);

  // Black masked on the right by a soft mask and by a stencil; grey 10 | 200 with
  // 0..20 keyed out.
  EXPECT_EQ(p.At(K, 65, 30), 255);
  EXPECT_EQ(p.At(K, 75, 30), 0);
  EXPECT_EQ(p.At(K, 85, 30), 255);
  EXPECT_EQ(p.At(K, 95, 30), 0);
  EXPECT_EQ(p.At(K, 105, 30), 0);
  EXPECT_EQ(p.At(K, 115, 30), 55);
  EXPECT_EQ(p.At(K, 125, 25), 255);
  // JPEG 2000: red, black / transparent (the black below shows), and grey 0 | 255.
  EXPECT_EQ(p.At(M, 145, 25), 255);
  EXPECT_EQ(p.At(Y, 145, 25), 255);
  EXPECT_EQ(p.At(K, 145, 25), 0);
  EXPECT_EQ(p.At(K, 155, 25), 255);
  EXPECT_EQ(p.At(K, 145, 35), 255);
  EXPECT_EQ(p.At(K, 165, 30), 255);
  EXPECT_EQ(p.At(K, 175, 30), 0);
  // Fax data: Group 4 with /BlackIs1 keeps the bits (0 black), Group 3 without it
  // inverts them, and the inline fax mask paints where its samples are 0.
  EXPECT_EQ(p.At(K, 5, 45), 255);
  EXPECT_EQ(p.At(K, 15, 45), 0);
  EXPECT_EQ(p.At(K, 5, 55), 0);
  EXPECT_EQ(p.At(K, 15, 55), 255);
  EXPECT_EQ(p.At(K, 25, 45), 0);
  EXPECT_EQ(p.At(K, 35, 45), 255);
  EXPECT_EQ(p.At(K, 45, 45), 255);
  EXPECT_EQ(p.At(K, 55, 45), 0);
  EXPECT_EQ(p.At(K, 45, 55), 0);
  // JBIG2, set bits black: the image shows them, the mask paints them.
  EXPECT_EQ(p.At(K, 65, 45), 0);
  EXPECT_EQ(p.At(K, 75, 45), 255);
  EXPECT_EQ(p.At(K, 65, 55), 255);
  EXPECT_EQ(p.At(K, 75, 55), 0);
  EXPECT_EQ(p.At(K, 85, 45), 0);
  EXPECT_EQ(p.At(K, 95, 45), 255);
}

// A soft mask's /Matte is undone before the samples are used.
TEST(PdfImages, MatteIsUndoneAgainstTheSoftMask) {
  QorPdf::internal::ImageSamples samples;
  samples.width = 2;
  samples.height = 1;
  samples.components = 1;
  samples.bits = 8;
  samples.row_bytes = 2;
  samples.data = {191, 191};
  auto alpha = std::make_shared<QorImg::PictureBuffer>(2, 1, 8);
  alpha->GetRowPtr(0)[0] = 128;
  alpha->GetRowPtr(0)[1] = 0;
  const QorImg::PictureData mask(alpha, 1);
  QorPdf::internal::UndoMatte(samples, mask, QPDFObjectHandle::parse("[1]"));
  // 255 + (191 − 255) / (128 / 255), and a fully transparent sample left alone.
  EXPECT_EQ(samples.data[0], 128);
  EXPECT_EQ(samples.data[1], 191);
}

}  // namespace
