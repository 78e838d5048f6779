// The output formats read back with their own libraries: TIFF tags and samples
// (libtiff), PAM headers and bytes, PNG pixels (libpng), and the preview's colours.
#include <gtest/gtest.h>
#include <lcms2.h>
#include <png.h>
#include <tiffio.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "page_output.h"
#include "pam_writer.h"
#include "plate_selection.h"
#include "png_writer.h"
#include "preview.h"
#include "render_job.h"
#include "synthetic_page.h"
#include "tiff_writer.h"

namespace {

namespace fs = std::filesystem;

fs::path TempPath(const std::string& name) {
  return fs::temp_directory_path() / ("qorsc_writers_" + std::to_string(getpid()) + "_" + name);
}

// A line as the writers take it, pixel after pixel: sample p of pixel x on line y
// is 10·y + 100·p + x.
std::vector<unsigned char> Line(int y, std::size_t samples, std::size_t width) {
  std::vector<unsigned char> line;
  for (std::size_t x = 0; x < width; ++x) {
    for (std::size_t p = 0; p < samples; ++p)
      line.push_back(static_cast<unsigned char>(10 * y + 100 * p + x));
  }
  return line;
}

struct TiffReadBack {
  std::uint16_t photometric = 0, samples = 0, bits = 0, inkset = 0, inks = 0, extra_count = 0;
  std::string ink_names;
  std::uint32_t width = 0, height = 0;
  std::vector<unsigned char> pixels;  // contiguous rows
};

TiffReadBack ReadTiff(const fs::path& path) {
  TiffReadBack r;
  // libtiff's reader warns about more than four separated inks; the file is right.
  TIFFSetWarningHandler(nullptr);
  TIFFSetWarningHandlerExt(nullptr);
  TIFF* tiff = TIFFOpen(path.c_str(), "r");
  EXPECT_NE(tiff, nullptr);
  if (tiff == nullptr) return r;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &r.width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &r.height);
  TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &r.photometric);
  TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &r.samples);
  TIFFGetField(tiff, TIFFTAG_BITSPERSAMPLE, &r.bits);
  TIFFGetField(tiff, TIFFTAG_INKSET, &r.inkset);
  TIFFGetField(tiff, TIFFTAG_NUMBEROFINKS, &r.inks);
  std::uint16_t* extra = nullptr;
  TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &r.extra_count, &extra);
  char* names = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_INKNAMES, &names) == 1 && names != nullptr) {
    // NUL-separated: rebuild with '|' between names.
    for (int i = 0; i < r.inks; ++i) {
      if (i > 0) r.ink_names += '|';
      r.ink_names += names;
      names += std::strlen(names) + 1;
    }
  }
  std::vector<unsigned char> row(static_cast<std::size_t>(TIFFScanlineSize(tiff)));
  for (std::uint32_t y = 0; y < r.height; ++y) {
    EXPECT_EQ(TIFFReadScanline(tiff, row.data(), y, 0), 1);
    r.pixels.insert(r.pixels.end(), row.begin(), row.end());
  }
  TIFFClose(tiff);
  return r;
}

TEST(TiffWriter, SeparatedSamplesWithInkNames) {
  const fs::path path = TempPath("spot.tif");
  for (const auto compression :
       {QorScTool::TiffCompression::kNone, QorScTool::TiffCompression::kLzw,
        QorScTool::TiffCompression::kDeflate}) {
    {
      QorScTool::TiffWriter writer(path,
                                   {4, 2, 300.0, {"Cyan", "Gold", "Black"}, true, compression});
      for (int y = 0; y < 2; ++y)
        writer.WriteLine(Line(y, 4, 4).data());
      writer.Finish();
    }
    const TiffReadBack r = ReadTiff(path);
    EXPECT_EQ(r.width, 4u);
    EXPECT_EQ(r.height, 2u);
    EXPECT_EQ(r.photometric, PHOTOMETRIC_SEPARATED);
    EXPECT_EQ(r.samples, 4);
    EXPECT_EQ(r.bits, 8);
    EXPECT_EQ(r.inkset, INKSET_MULTIINK);
    EXPECT_EQ(r.inks, 3);
    EXPECT_EQ(r.extra_count, 1);
    EXPECT_EQ(r.ink_names, "Cyan|Gold|Black");
    // Pixel-interleaved: pixel x of line y, sample p = 10·y + 100·p + x.
    ASSERT_EQ(r.pixels.size(), 32u);
    for (int y = 0; y < 2; ++y) {
      for (int x = 0; x < 4; ++x) {
        for (int p = 0; p < 4; ++p) {
          EXPECT_EQ(r.pixels[static_cast<std::size_t>((y * 4 + x) * 4 + p)],
                    static_cast<unsigned char>(10 * y + 100 * p + x));
        }
      }
    }
  }
  fs::remove(path);
}

TEST(TiffWriter, CmykInkSetGreyAndLabelOnly) {
  const fs::path path = TempPath("cmyk.tif");
  {
    QorScTool::TiffWriter writer(path, {4,
                                        1,
                                        72.0,
                                        {"Cyan", "Magenta", "Yellow", "Black"},
                                        false,
                                        QorScTool::TiffCompression::kLzw});
    writer.WriteLine(Line(0, 4, 4).data());
    writer.Finish();
  }
  TiffReadBack r = ReadTiff(path);
  EXPECT_EQ(r.inkset, INKSET_CMYK);
  EXPECT_EQ(r.samples, 4);
  EXPECT_EQ(r.extra_count, 0);
  EXPECT_EQ(r.ink_names, "Cyan|Magenta|Yellow|Black");
  {
    QorScTool::TiffWriter writer(path,
                                 {4, 1, 72.0, {"Black"}, false, QorScTool::TiffCompression::kLzw});
    writer.WriteLine(Line(0, 1, 4).data());
    writer.Finish();
  }
  r = ReadTiff(path);
  EXPECT_EQ(r.photometric, PHOTOMETRIC_MINISWHITE);
  EXPECT_EQ(r.samples, 1);
  EXPECT_EQ(r.pixels, (std::vector<unsigned char>{0, 1, 2, 3}));
  {
    QorScTool::TiffWriter writer(path, {4, 1, 72.0, {}, true, QorScTool::TiffCompression::kNone});
    writer.WriteLine(Line(0, 1, 4).data());
    writer.Finish();
  }
  r = ReadTiff(path);
  EXPECT_EQ(r.photometric, PHOTOMETRIC_MINISBLACK);
  EXPECT_EQ(r.samples, 1);
  // Too few lines is an error, not a short file.
  {
    QorScTool::TiffWriter writer(path,
                                 {4, 3, 72.0, {"Black"}, false, QorScTool::TiffCompression::kNone});
    writer.WriteLine(Line(0, 1, 4).data());
    EXPECT_THROW(writer.Finish(), std::runtime_error);
  }
  fs::remove(path);
  EXPECT_THROW(
      QorScTool::TiffWriter(TempPath("no/such/dir.tif"), {4, 1, 72.0, {"Black"}, false, {}}),
      std::runtime_error);
}

TEST(PamWriter, HeaderNamesPlatesAndChannelsInterleave) {
  EXPECT_EQ(QorScTool::PamWriter::TupleType({"Cyan", "Magenta", "Yellow", "Black"}, false), "CMYK");
  EXPECT_EQ(QorScTool::PamWriter::TupleType({"Cyan", "Magenta", "Yellow", "Black"}, true),
            "CMYK,HalftoneLabel");
  EXPECT_EQ(QorScTool::PamWriter::TupleType({"Black", "PANTONE 286 C"}, false),
            "Black,PANTONE 286 C");
  const fs::path path = TempPath("x.pam");
  {
    QorScTool::PamWriter writer(path, 4, 2, {"Cyan", "Gold"}, true);
    for (int y = 0; y < 2; ++y)
      writer.WriteLine(Line(y, 3, 4).data());
    writer.Finish();
  }
  std::ifstream in(path, std::ios::binary);
  const std::string data((std::istreambuf_iterator<char>(in)), {});
  const std::string header =
      "P7\nWIDTH 4\nHEIGHT 2\nDEPTH 3\nMAXVAL 255\nTUPLTYPE Cyan,Gold,HalftoneLabel\nENDHDR\n";
  ASSERT_EQ(data.size(), header.size() + 24);
  EXPECT_EQ(data.substr(0, header.size()), header);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 4; ++x) {
      for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(static_cast<unsigned char>(
                      data[header.size() + static_cast<std::size_t>((y * 4 + x) * 3 + p)]),
                  static_cast<unsigned char>(10 * y + 100 * p + x));
      }
    }
  }
  fs::remove(path);

  // Lines keep their order however they come: written into the slot the writer
  // hands out, from elsewhere, or as a band of several; over several of the
  // writer's blocks (a megabyte each), and short of a block at the end.
  constexpr long long kWidth = 37, kHeight = 40000;
  constexpr std::size_t kLine = 4 * kWidth;
  {
    QorScTool::PamWriter writer(path, kWidth, kHeight, {"Cyan", "Magenta", "Yellow", "Black"},
                                false);
    std::vector<unsigned char> band;
    for (long long y = 0; y < kHeight;) {
      const std::vector<unsigned char> line = Line(static_cast<int>(y % 20), 4, kWidth);
      if (y % 1000 == 7) {
        band.clear();
        for (long long k = 0; k < 5; ++k) {
          const auto more = Line(static_cast<int>((y + k) % 20), 4, kWidth);
          band.insert(band.end(), more.begin(), more.end());
        }
        writer.WriteLines(band.data(), kLine, 5);
        y += 5;
        continue;
      }
      if (y % 3 == 0) {
        writer.WriteLine(line.data());
      } else {
        unsigned char* slot = writer.NextLine();
        std::copy(line.begin(), line.end(), slot);
        writer.WriteLine(slot);
      }
      ++y;
    }
    writer.Finish();
  }
  std::ifstream cmyk(path, std::ios::binary);
  const std::string pixels((std::istreambuf_iterator<char>(cmyk)), {});
  ASSERT_GE(pixels.size(), kLine * kHeight);
  const std::size_t start = pixels.size() - kLine * kHeight;
  for (long long y = 0; y < kHeight; ++y) {
    const std::vector<unsigned char> line = Line(static_cast<int>(y % 20), 4, kWidth);
    ASSERT_EQ(0, std::memcmp(pixels.data() + start + static_cast<std::size_t>(y) * kLine,
                             line.data(), kLine))
        << "line " << y;
  }
  fs::remove(path);
}

TEST(PngWriter, RowsReadBackWithLibpng) {
  const fs::path path = TempPath("x.png");
  {
    QorScTool::PngWriter writer(path, 2, 2, 150.0);
    const unsigned char rows[2][6] = {{255, 0, 0, 0, 255, 0}, {0, 0, 255, 10, 20, 30}};
    writer.WriteRow(rows[0]);
    writer.WriteRow(rows[1]);
    writer.Finish();
  }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0);
  EXPECT_EQ(image.width, 2u);
  EXPECT_EQ(image.height, 2u);
  image.format = PNG_FORMAT_RGB;
  std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
  ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
  EXPECT_EQ(pixels, (std::vector<unsigned char>{255, 0, 0, 0, 255, 0, 0, 0, 255, 10, 20, 30}));
  {
    QorScTool::PngWriter writer(path, 2, 2, 150.0);
    EXPECT_THROW(writer.Finish(), std::runtime_error);  // rows missing
  }
  fs::remove(path);
}

TEST(Preview, FormulaAndSpotsThroughTheirRepresentation) {
  const std::vector<QorDoc::Separation::Entry> table = {
      {"Gold", QorDoc::Separation::Representation({0.0f, 0.2f, 1.0f, 0.0f})}};
  QorScTool::Preview preview({"Cyan", "Magenta", "Yellow", "Black", "Gold", "Unknown"}, table, {},
                             4);
  EXPECT_FALSE(preview.UsesProfile());
  // Pixels: paper; cyan 255; black 128 + magenta 255; gold 255 over yellow 0 and an
  // unknown spot, which shows nothing.
  const unsigned char planes[6][4] = {{0, 255, 0, 0}, {0, 0, 255, 0}, {0, 0, 0, 0},
                                      {0, 0, 128, 0}, {0, 0, 0, 255}, {0, 0, 0, 255}};
  unsigned char rgb[12];
  preview.Convert(&planes[0][0], rgb);
  const unsigned char expected[12] = {255, 255, 255,  // paper
                                      0,   255, 255,  // full cyan
                                      127, 0,   127,  // (1 − 128/255) · 255 = 127
                                      255, 204, 0};   // gold: magenta 0.2, yellow 1
  for (int i = 0; i < 12; ++i)
    EXPECT_EQ(rgb[i], expected[i]) << i;

  // Inks layer: two half tints of cyan from a process plate and a cyan-like spot make
  // 1 − 0.5 · 0.5 = 0.75 cyan.
  const std::vector<QorDoc::Separation::Entry> blue = {
      {"Blue", QorDoc::Separation::Representation({1.0f, 0.0f, 0.0f, 0.0f})}};
  QorScTool::Preview layered({"Cyan", "Blue"}, blue, {}, 1);
  const unsigned char half[2] = {128, 128};
  layered.Convert(half, rgb);
  const float c = 128.0f / 255.0f;
  const float o = (c + c) - c * c;
  EXPECT_EQ(rgb[0], static_cast<unsigned char>(std::lround((1.0f - o) * 255.0f)));
  EXPECT_EQ(rgb[1], 255);
}

TEST(Preview, ProfileThatIsNotCmykFallsBackToTheFormula) {
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(srgb, nullptr, &size);
  std::vector<unsigned char> bytes(size);
  cmsSaveProfileToMem(srgb, bytes.data(), &size);
  cmsCloseProfile(srgb);
  QorScTool::Preview preview({"Cyan"}, {}, bytes, 1);
  EXPECT_FALSE(preview.UsesProfile());
  EXPECT_NE(preview.ProfileNote().find("not a CMYK"), std::string::npos);
  const std::vector<unsigned char> garbage = {1, 2, 3};
  QorScTool::Preview unreadable({"Cyan"}, {}, garbage, 1);
  EXPECT_FALSE(unreadable.UsesProfile());
}

TEST(PageOutput, RenderedPageToEveryFormat) {
  const auto page = QorScToolTest::SimplePage();
  const QorScTool::PlateSet plates =
      QorScTool::ChoosePlates({}, page.colorants, page.document->GetSeparationInfo());
  const fs::path dir = TempPath("formats");
  fs::create_directories(dir);
  QorScTool::RenderSettings settings;
  settings.resolution = 72;
  settings.halftone_labels = true;
  auto write = [&](QorScTool::OutputFormat format, const std::string& pattern, bool labels) {
    QorScTool::PageOutputRequest request;
    request.format = format;
    request.pattern = (dir / pattern).string();
    request.page_number = 4;
    request.size = {72, 72};
    request.resolution = 72;
    request.plates = plates.names;
    request.label_plane = labels;
    request.separation_table = page.document->GetSeparationInfo();
    settings.halftone_labels = labels;
    auto output = QorScTool::PageOutput::Create(request);
    QorScTool::RenderPage(page, plates, settings, *output);
    output->Commit();
    return output->Paths();
  };
  const auto tiff = write(QorScTool::OutputFormat::kTiff, "p%d.tif", true);
  ASSERT_EQ(tiff.size(), 1u);
  EXPECT_EQ(tiff[0], dir / "p4.tif");
  const TiffReadBack r = ReadTiff(tiff[0]);
  EXPECT_EQ(r.samples, 6);
  EXPECT_EQ(r.ink_names, "Cyan|Magenta|Yellow|Black|Gold");
  EXPECT_EQ(r.pixels[(25 * 72 + 25) * 6 + 0], 153);  // cyan under overprinting gold
  EXPECT_EQ(r.pixels[(25 * 72 + 25) * 6 + 4], 255);

  const auto sep = write(QorScTool::OutputFormat::kTiffSep, "s%d-%s.tif", true);
  ASSERT_EQ(sep.size(), 6u);
  EXPECT_EQ(sep[4], dir / "s4-Gold.tif");
  EXPECT_EQ(sep[5], dir / "s4-HalftoneLabels.tif");
  const TiffReadBack gold = ReadTiff(sep[4]);
  EXPECT_EQ(gold.samples, 1);
  EXPECT_EQ(gold.pixels[25 * 72 + 25], 255);

  const auto pam = write(QorScTool::OutputFormat::kPam, "m%d.pam", false);
  std::ifstream in(pam.at(0), std::ios::binary);
  const std::string data((std::istreambuf_iterator<char>(in)), {});
  EXPECT_EQ(data.rfind("P7\nWIDTH 72\nHEIGHT 72\nDEPTH 5\nMAXVAL 255\n"
                       "TUPLTYPE Cyan,Magenta,Yellow,Black,Gold\nENDHDR\n",
                       0),
            0u);

  const auto png = write(QorScTool::OutputFormat::kPng, "v%d.png", false);
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_file(&image, png.at(0).c_str()), 0);
  image.format = PNG_FORMAT_RGB;
  std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
  ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0);
  auto px = [&](int x, int y, int c) {
    return pixels[static_cast<std::size_t>((y * 72 + x) * 3 + c)];
  };
  EXPECT_EQ(px(5, 5, 0), 255);    // paper
  EXPECT_EQ(px(15, 15, 0), 102);  // cyan 0.6: 255 · 0.4
  // Gold overprinting cyan shows both: red from cyan, green from gold's magenta,
  // blue from its yellow.
  EXPECT_EQ(px(25, 25, 0), 102);
  EXPECT_EQ(px(25, 25, 1), 204);
  EXPECT_EQ(px(25, 25, 2), 0);
  fs::remove_all(dir);
}

// With several threads TIFF strips are compressed, PAM pixels interleaved and PNG
// colours converted on the rendering threads: every file must keep the bytes that
// one thread writes line by line.
TEST(PageOutput, EveryFormatWritesTheSameBytesWithOneAndTwoThreads) {
  const auto page = QorScToolTest::BusyPage();
  const QorScTool::PlateSet plates =
      QorScTool::ChoosePlates({}, page.colorants, page.document->GetSeparationInfo());
  const fs::path dir = TempPath("threads");
  fs::create_directories(dir);
  auto read = [](const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), {});
  };
  struct Case {
    QorScTool::OutputFormat format;
    QorScTool::TiffCompression compression;
    bool labels;
    long long band_lines;
  };
  using QorScTool::OutputFormat;
  using QorScTool::TiffCompression;
  const Case cases[] = {
      {OutputFormat::kTiff, TiffCompression::kLzw, true, 0},
      {OutputFormat::kTiff, TiffCompression::kDeflate, false, 50},
      {OutputFormat::kTiff, TiffCompression::kNone, false, 16},
      {OutputFormat::kTiffSep, TiffCompression::kLzw, true, 0},
      {OutputFormat::kTiffSep, TiffCompression::kDeflate, false, 100},
      {OutputFormat::kPam, TiffCompression::kLzw, true, 0},
      {OutputFormat::kPam, TiffCompression::kLzw, false, 37},
      {OutputFormat::kPng, TiffCompression::kLzw, false, 0},
  };
  for (const Case& c : cases) {
    std::vector<std::string> files[2];
    for (const unsigned threads : {1u, 2u}) {
      QorScTool::RenderSettings settings;
      settings.resolution = 300;
      settings.threads = threads;
      settings.band_lines = c.band_lines;
      settings.halftone_labels = c.labels;
      QorScTool::PageOutputRequest request;
      request.format = c.format;
      request.pattern = (dir / ("t" + std::to_string(threads) + "-%s.out")).string();
      request.size = QorScTool::PagePixelSize(page.world_box, settings.resolution);
      request.resolution = settings.resolution;
      request.plates = plates.names;
      request.label_plane = c.labels;
      request.compression = c.compression;
      request.separation_table = page.document->GetSeparationInfo();
      auto output = QorScTool::PageOutput::Create(request);
      QorScTool::RenderPage(page, plates, settings, *output);
      output->Commit();
      for (const fs::path& path : output->Paths())
        files[threads - 1].push_back(read(path));
    }
    ASSERT_EQ(files[0].size(), files[1].size());
    for (std::size_t f = 0; f < files[0].size(); ++f) {
      EXPECT_GT(files[0][f].size(), 1000u);
      EXPECT_TRUE(files[0][f] == files[1][f])
          << "format " << static_cast<int>(c.format) << ", compression "
          << static_cast<int>(c.compression) << ", file " << f;
    }
  }
  fs::remove_all(dir);
}

}  // namespace
