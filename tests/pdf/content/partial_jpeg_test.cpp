// JPEG images decoded only where renders can read them (ImportOptions::max_pixel_size)
// render byte for byte as images decoded whole: clipped at many places, upright,
// quarter-turned, nearly upright (where the index held along a line depends on the
// resolution), turned and sheared, with JPEG soft masks, shared between placements,
// at the coarsest pixel allowed and finer ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "jpeg_encoder.h"
#include "pdf_file.h"
#include "qordoc/content.h"
#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

constexpr double kPageWidth = 173.0;  // points
constexpr double kPageHeight = 151.0;

// A PDF of `pages` content streams over the same resources. `images` are image
// XObjects' (dictionary, data) pairs, named /I0, /I1, ... in that order.
std::string Pdf(const std::vector<std::string>& pages,
                const std::vector<std::pair<std::string, std::string>>& images) {
  std::vector<std::string> objects;
  const std::size_t first_page = 3;
  const std::size_t first_content = first_page + pages.size();
  const std::size_t first_image = first_content + pages.size();
  std::string kids, xobjects;
  for (std::size_t i = 0; i < pages.size(); ++i)
    kids += std::to_string(first_page + i) + " 0 R ";
  for (std::size_t i = 0; i < images.size(); ++i)
    xobjects += "/I" + std::to_string(i) + " " + std::to_string(first_image + i) + " 0 R ";
  objects.push_back("<< /Type /Catalog /Pages 2 0 R >>");
  objects.push_back("<< /Type /Pages /Kids [" + kids + "] /Count " + std::to_string(pages.size()) +
                    " >>");
  for (std::size_t i = 0; i < pages.size(); ++i) {
    objects.push_back("<< /Type /Page /Parent 2 0 R /MediaBox [0 0 " + std::to_string(kPageWidth) +
                      " " + std::to_string(kPageHeight) + "] /Resources << /XObject << " +
                      xobjects + ">> >> /Contents " + std::to_string(first_content + i) +
                      " 0 R >>");
  }
  for (const std::string& content : pages) {
    objects.push_back("<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content +
                      "\nendstream");
  }
  for (const auto& [dictionary, data] : images) {
    objects.push_back("<< " + dictionary + " /Length " + std::to_string(data.size()) +
                      " >>\nstream\n" + data + "\nendstream");
  }
  return QorTest::PdfFile(objects);
}

// Noise around mid-grey in every channel: a decoded sample is never 0, so samples
// left undecoded show as zeros.
std::string NoiseJpeg(const QorTest::JpegLayout& layout, std::size_t width, std::size_t height,
                      std::mt19937& random) {
  std::vector<std::uint8_t> samples(width * height * static_cast<std::size_t>(layout.components));
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<std::uint8_t>(70 + (i / 7 % 50) + random() % 60);
  return QorTest::EncodeJpeg(layout, width, height, samples);
}

std::string Number(double v) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", v);
  return text;
}

// A random placement of the unit square: upright, quarter-turned, nearly upright or
// nearly quarter-turned (a rise of about half of `pixel` points) and sheared, or turned
// and sheared.
std::string Placement(std::mt19937& random, double pixel) {
  std::uniform_real_distribution<double> size(20.0, 160.0);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  const double w = size(random) * (random() % 2 ? 1.0 : -1.0);
  const double h = size(random) * (random() % 2 ? 1.0 : -1.0);
  double a = w, b = 0.0, c = 0.0, d = h;
  switch (random() % 5) {
    case 0:
      break;
    case 1:
      a = 0.0, b = w, c = -h, d = 0.0;
      break;
    case 2:
      // The held row differs most from the row under a pixel when the columns slant.
      b = pixel * (0.5 + 0.2 * unit(random));
      c = h * 6.0 * unit(random);
      break;
    case 3:
      a = w * 6.0 * unit(random), b = w, c = -h, d = pixel * (0.5 + 0.2 * unit(random));
      break;
    default: {
      const double angle = 3.14159 * unit(random);
      a = w * std::cos(angle), b = w * std::sin(angle);
      c = -h * std::sin(angle + 0.3 * unit(random)), d = h * std::cos(angle);
    }
  }
  std::uniform_real_distribution<double> where(-40.0, 200.0);
  return Number(a) + " " + Number(b) + " " + Number(c) + " " + Number(d) + " " +
         Number(where(random)) + " " + Number(where(random)) + " cm";
}

std::string Clip(std::mt19937& random) {
  std::uniform_real_distribution<double> where(-20.0, 180.0);
  std::uniform_real_distribution<double> size(0.3, 90.0);
  return Number(where(random)) + " " + Number(where(random)) + " " + Number(size(random)) + " " +
         Number(size(random)) + " re W n";
}

std::vector<unsigned char> Render(const QorPdf::Import& import, std::size_t page, long long width,
                                  long long height) {
  const QorPdf::ImportedPage& imported = import.pages.at(page);
  const QorSc::Environment env(imported.world_box, width, height);
  const QorSc::Options cmyk(true, import.document->GetSeparationInfo());
  QorSc::ScanConverter converter(QorSc::CollectObjects(
      env, cmyk, {0, 0, width, height}, *imported.content, {}, QorSc::kAllSelection));
  std::vector<unsigned char> bytes;
  std::vector<unsigned char> line(static_cast<std::size_t>(4 * width));
  while (converter.GetLine255PlaneInterleaved(line.data()))
    bytes.insert(bytes.end(), line.begin(), line.end());
  return bytes;
}

// Whether some image on the page holds samples that were not decoded (zeros).
bool HoldsUndecodedSamples(const QorDoc::Content& content) {
  for (const auto& member : content.GetMembers()) {
    if (const auto* image = dynamic_cast<const QorDoc::Image*>(member.get())) {
      const auto& data = image->GetPaintedPicture()->GetPictureData();
      if (data->IsConverted() || data->Get1BitPictureBuffer()) continue;
      const auto buffer = data->Get8BitPictureBuffer(1);
      const std::uint8_t* bytes = buffer->GetBuffer();
      const std::size_t size = buffer->GetRowStride() * data->GetHeight();
      for (std::size_t i = 0; i < size; ++i) {
        if (bytes[i] == 0) return true;
      }
    }
    if (const auto* group = dynamic_cast<const QorDoc::Group*>(member.get())) {
      if (HoldsUndecodedSamples(group->GetMembers())) return true;
    }
  }
  return false;
}

TEST(PartialJpeg, PicturesRenderAsWhenDecodedWhole) {
  std::mt19937 random(1616);
  // The coarsest pixel side allowed, in points: tens of samples each, so that reading
  // a pixel beyond the part decoded reads beyond the decoder's block margins too.
  const double pixel = 2.0;
  // /I0.. /I23: one image per page (CMYK and RGB, 4:4:4, 4:2:0 and progressive, some
  // with a JPEG soft mask of another size); /I24: one image shared by every page.
  std::vector<std::pair<std::string, std::string>> images;
  const std::size_t kPages = 24;
  std::vector<std::string> masks;
  for (std::size_t i = 0; i <= kPages; ++i) {
    QorTest::JpegLayout layout;
    layout.components = i % 2 ? 3 : 4;
    layout.h_sampling = layout.v_sampling = i % 3 == 0 ? 1 : 2;
    layout.progressive = i % 5 == 0;
    layout.quality = 90;
    const std::size_t width = 700 + 61 * (i % 7);
    const std::size_t height = 500 + 37 * (i % 5);
    std::string dictionary = "/Type /XObject /Subtype /Image /Width " + std::to_string(width) +
                             " /Height " + std::to_string(height) +
                             " /BitsPerComponent 8 /Filter /DCTDecode /ColorSpace " +
                             (layout.components == 4 ? "/DeviceCMYK" : "/DeviceRGB");
    if (i % 4 == 1) {
      dictionary +=
          " /SMask " + std::to_string(3 + 2 * kPages + kPages + 1 + masks.size()) + " 0 R";
      masks.push_back(NoiseJpeg({1}, 37, 29, random));
    }
    images.emplace_back(dictionary, NoiseJpeg(layout, width, height, random));
  }
  std::vector<std::string> pages;
  for (std::size_t i = 0; i < kPages; ++i) {
    std::string content;
    for (int placement = 0; placement < 1 + static_cast<int>(i % 3); ++placement) {
      const std::string name = placement == 2 ? "/I24" : "/I" + std::to_string(i);
      content += "q " + Clip(random) + " " + Placement(random, pixel) + " " + name + " Do Q\n";
    }
    pages.push_back(content);
  }
  std::vector<std::pair<std::string, std::string>> objects = images;
  for (const std::string& mask : masks) {
    objects.emplace_back(
        "/Type /XObject /Subtype /Image /Width 37 /Height 29 "
        "/BitsPerComponent 8 /ColorSpace /DeviceGray /Filter /DCTDecode",
        mask);
  }
  const std::string pdf = Pdf(pages, objects);
  const auto bytes = std::as_bytes(std::span(pdf.data(), pdf.size()));
  QorPdf::Document whole_document = QorPdf::Document::OpenBuffer(bytes, "whole");
  QorPdf::Document part_document = QorPdf::Document::OpenBuffer(bytes, "part");
  const QorPdf::Import whole = whole_document.ImportPages();
  QorPdf::ImportOptions options;
  options.max_pixel_size = pixel;
  const QorPdf::Import part = part_document.ImportPages({}, options);
  ASSERT_EQ(whole.pages.size(), kPages);
  ASSERT_EQ(part.pages.size(), kPages);
  for (const auto& w : whole_document.Warnings())
    ADD_FAILURE() << w.subject << ": " << w.reason;

  std::size_t partial_pages = 0;
  for (std::size_t page = 0; page < kPages; ++page) {
    if (HoldsUndecodedSamples(*part.pages[page].content)) ++partial_pages;
    EXPECT_FALSE(HoldsUndecodedSamples(*whole.pages[page].content));
    // The coarsest pixels allowed (the page's sides cut into whole pixels no larger),
    // unequal finer ones, and anti-aliasing's four times finer grid.
    const auto coarsest_width = static_cast<long long>(std::ceil(kPageWidth / pixel));
    const auto coarsest_height = static_cast<long long>(std::ceil(kPageHeight / pixel));
    const std::pair<long long, long long> grids[] = {
        {coarsest_width, coarsest_height},
        {coarsest_width * 3 / 2 + 1, coarsest_height * 7 / 5},
        {coarsest_width * 2, coarsest_height * 3},
        {coarsest_width * 4, coarsest_height * 4}};
    for (const auto& [width, height] : grids) {
      EXPECT_TRUE(Render(whole, page, width, height) == Render(part, page, width, height))
          << "page " << page + 1 << " at " << width << " x " << height << ": " << pages[page];
    }
  }
  // The comparison has teeth: most pages show only part of their own image.
  EXPECT_GE(partial_pages, kPages / 2);
}

// The images of a page, in painting order.
void CollectImages(const QorDoc::Content& content, std::vector<const QorDoc::Image*>& images) {
  for (const auto& member : content.GetMembers()) {
    if (const auto* image = dynamic_cast<const QorDoc::Image*>(member.get()))
      images.push_back(image);
    if (const auto* group = dynamic_cast<const QorDoc::Group*>(member.get()))
      CollectImages(group->GetMembers(), images);
  }
}

TEST(PartialJpeg, PlacementsShareAPictureThatHoldsWhatTheyRead) {
  std::mt19937 random(7);
  const std::string jpeg = NoiseJpeg({4}, 400, 300, random);
  const std::string image =
      "/Type /XObject /Subtype /Image /Width 400 /Height 300 /BitsPerComponent 8 "
      "/ColorSpace /DeviceCMYK /Filter /DCTDecode";
  // 1: two placements wholly on the page (their readable parts reach past the image's
  // edges by the slack): one picture, decoded whole. 2: a small clip first, then the
  // whole image: the second placement decodes it again, whole; the first keeps its own.
  const std::vector<std::string> pages = {
      "q 50 0 0 40 10 10 cm /I0 Do Q q 60 0 0 45 80 90 cm /I0 Do Q",
      "q 10 10 5 5 re W n 100 0 0 80 5 5 cm /I1 Do Q q 60 0 0 45 80 90 cm /I1 Do Q"};
  const std::string pdf = Pdf(pages, {{image, jpeg}, {image, jpeg}});
  QorPdf::Document document =
      QorPdf::Document::OpenBuffer(std::as_bytes(std::span(pdf.data(), pdf.size())), "shared");
  QorPdf::ImportOptions options;
  options.max_pixel_size = 0.5;
  const QorPdf::Import import = document.ImportPages({}, options);
  ASSERT_EQ(import.pages.size(), 2u);
  std::vector<const QorDoc::Image*> first, second;
  CollectImages(*import.pages[0].content, first);
  CollectImages(*import.pages[1].content, second);
  ASSERT_EQ(first.size(), 2u);
  ASSERT_EQ(second.size(), 2u);
  EXPECT_EQ(first[0]->GetPaintedPicture(), first[1]->GetPaintedPicture());
  EXPECT_FALSE(HoldsUndecodedSamples(*import.pages[0].content));
  EXPECT_NE(second[0]->GetPaintedPicture(), second[1]->GetPaintedPicture());
  const auto holds_zeros = [](const QorDoc::Image& image) {
    const auto buffer = image.GetPaintedPicture()->GetPictureData()->Get8BitPictureBuffer(1);
    const std::uint8_t* bytes = buffer->GetBuffer();
    return std::find(bytes, bytes + buffer->GetRowStride() * 300, 0) !=
           bytes + buffer->GetRowStride() * 300;
  };
  EXPECT_TRUE(holds_zeros(*second[0]));
  EXPECT_FALSE(holds_zeros(*second[1]));
}

}  // namespace
