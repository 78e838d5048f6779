// The built `qorsc` command end to end: help, exit statuses, and a render of a tiny
// generated PDF read back with libtiff. The render cases skip themselves while the
// importer cannot import page content yet.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tiffio.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "cli_fixture.h"
#include "line_coverage.h"
#include "pdf_file.h"

namespace {

namespace fs = std::filesystem;

using QorScToolTest::Outcome;

class Cli : public QorScToolTest::CliFixture {
 protected:
  Outcome Qorsc(const std::string& arguments) const {
    const fs::path out = dir_ / "stdout.txt", err = dir_ / "stderr.txt";
    const std::string command = "cd '" + dir_.string() + "' && '" QORSC_CLI_PATH "' " + arguments +
                                " >'" + out.string() + "' 2>'" + err.string() + "'";
    return Finished(std::system(command.c_str()), out, err);
  }

  // A one-page 72 × 36 pt PDF: a cyan 0.6 square and a square of the spot colour
  // "Gold" (drawn as 0 0.2 1 0 in process colours).
  fs::path TinyPdf() const {
    const std::string content = "0.6 0 0 0 k 10 6 20 20 re f /Gold cs 1 scn 40 6 20 20 re f\n";
    const std::vector<std::string> objects = {
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 72 36] /Contents 4 0 R "
        "/Resources << /ColorSpace << /Gold [/Separation /Gold /DeviceCMYK "
        "<< /FunctionType 2 /Domain [0 1] /C0 [0 0 0 0] /C1 [0 0.2 1 0] /N 1 >>] >> >> >>",
        "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "endstream"};
    const std::string pdf = QorTest::PdfFile(objects);
    const fs::path path = dir_ / "tiny.pdf";
    std::ofstream(path, std::ios::binary) << pdf;
    return path;
  }

  // Skips the calling test while the importer has no page import.
  static bool ImportMissing(const Outcome& run) {
    return run.err.find("not implemented") != std::string::npos;
  }
};

TEST_F(Cli, HelpVersionAndBadArguments) {
  Outcome run = Qorsc("--help");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("Usage: qorsc COMMAND"), std::string::npos);
  run = Qorsc("render --help");
  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.out.find("--colorants"), std::string::npos);
  run = Qorsc("--version");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out.rfind("qorsc ", 0), 0u);

  run = Qorsc("render --aa 9 x.pdf");
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.err.find("--aa"), std::string::npos);
  EXPECT_EQ(Qorsc("frobnicate").status, 2);
  EXPECT_EQ(Qorsc("render").status, 2);
}

TEST_F(Cli, UnreadableFilesAndPagesOutOfRange) {
  Outcome run = Qorsc("render missing.pdf");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("missing.pdf"), std::string::npos);
  std::ofstream(dir_ / "junk.pdf") << "not a pdf at all";
  EXPECT_EQ(Qorsc("info junk.pdf").status, 1);

  const fs::path pdf = TinyPdf();
  run = Qorsc("render -p 2 -q " + pdf.string());
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("page 2 does not exist"), std::string::npos) << run.err;
  EXPECT_EQ(Qorsc("hits -p 3 -x 1 -y 1 " + pdf.string()).status, 1);
  // Nothing was left behind.
  EXPECT_EQ(std::distance(fs::directory_iterator(dir_), {}), 2);  // tiny.pdf, junk.pdf
}

TEST_F(Cli, InfoShowsPagesAndBoxes) {
  const Outcome run = Qorsc("info " + TinyPdf().string());
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("Pages: 1"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("MediaBox   [0 0 72 36]"), std::string::npos) << run.out;
}

TEST_F(Cli, RendersTheTinyPdf) {
  const fs::path pdf = TinyPdf();
  Outcome run = Qorsc("render -r 72 --threads 2 -o out-%d.tif " + pdf.string());
  if (ImportMissing(run)) GTEST_SKIP() << "the importer cannot import pages yet";
  ASSERT_EQ(run.status, 0) << run.err;
  TIFFSetWarningHandler(nullptr);  // the reader warns about more than four inks
  TIFF* tiff = TIFFOpen((dir_ / "out-1.tif").c_str(), "r");
  ASSERT_NE(tiff, nullptr);
  std::uint32_t width = 0, height = 0;
  std::uint16_t samples = 0;
  char* names = nullptr;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
  TIFFGetField(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
  ASSERT_EQ(TIFFGetField(tiff, TIFFTAG_INKNAMES, &names), 1);
  EXPECT_EQ(width, 72u);
  EXPECT_EQ(height, 36u);
  EXPECT_EQ(samples, 5);
  std::string joined;
  for (int i = 0; i < 5; ++i) {
    joined += std::string(i > 0 ? "|" : "") + names;
    names += std::strlen(names) + 1;
  }
  EXPECT_EQ(joined, "Cyan|Magenta|Yellow|Black|Gold");
  std::vector<unsigned char> row(static_cast<std::size_t>(TIFFScanlineSize(tiff)));
  for (std::uint32_t y = 0; y <= 20; ++y) {  // compressed strips read in order
    ASSERT_EQ(TIFFReadScanline(tiff, row.data(), y, 0), 1);
  }
  EXPECT_EQ(row[15 * 5 + 0], 153);  // cyan 0.6
  EXPECT_EQ(row[45 * 5 + 4], 255);  // gold on its own plate
  EXPECT_EQ(row[45 * 5 + 0], 0);
  TIFFClose(tiff);

  run = Qorsc("render -r 72 -f png -q " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(fs::exists(dir_ / "tiny-1.png"));
  run = Qorsc("hits -p 1 -x 15 -y 20 -r 72 " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("fill Cyan 0.6"), std::string::npos) << run.out;
}

// `info` lists per page what will not print, with counts, so a file can be checked
// before output; `render --annotations` draws the printable annotations.
TEST_F(Cli, InfoListsWhatIsNotRenderedAndAnnotationsDrawOnRequest) {
  const fs::path pdf = fs::path(QORSC_TEST_PDF_DIR) / "annotations.pdf";
  Outcome run = Qorsc("info " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("Not rendered (nothing)"), std::string::npos) << run.out;
  run = Qorsc("info --annotations " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("Not rendered 2 x annotation without a usable appearance"),
            std::string::npos)
      << run.out;
  EXPECT_NE(run.out.find("annotation 5 (Stamp): no normal appearance"), std::string::npos)
      << run.out;
  // Counted whatever the options: a form that draws itself, skipped once.
  run = Qorsc("info " + (fs::path(QORSC_TEST_PDF_DIR) / "forms.pdf").string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("Not rendered 1 x Do /Self drawing itself"), std::string::npos)
      << run.out;

  // The square annotation's black appearance fills its /Rect (10 10 50 30) only
  // with --annotations.
  const std::string common = "render -r 72 -c Black -f pam -q ";
  run = Qorsc(common + "-o plain.pam " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  run = Qorsc(common + "--annotations -o annotated.pam " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  const std::string plain = Read(dir_ / "plain.pam");
  const std::string annotated = Read(dir_ / "annotated.pam");
  ASSERT_EQ(plain.size(), annotated.size());
  // One byte per pixel after the header; the pixel at (20, 180) from the top is in
  // the square.
  const std::size_t pixel = plain.size() - 200 * 200 + 180 * 200 + 20;
  EXPECT_EQ(static_cast<unsigned char>(plain[pixel]), 0);
  EXPECT_EQ(static_cast<unsigned char>(annotated[pixel]), 255);
}

// The generated hairline pages (tests/pdf/make_test_pdfs.py): one stroke per page,
// horizontal (pages 1-4), vertical (5-8) and diagonal (9-12), each at widths 0, 0.05,
// 0.1 and 0.25 pt, off the pixel grid of a 200 pt page at 150 dpi (417 pixels).
TEST_F(Cli, HairlinesPrintUnbroken) {
  const fs::path pdf = fs::path(QORSC_TEST_PDF_DIR) / "hairlines.pdf";
  constexpr long long kSize = 417;
  const double scale = static_cast<double>(kSize) / 200.0;  // pixels per point
  struct Segment {
    double x0, y0, x1, y1;  // points, y up
  };
  const Segment segments[3] = {
      {20.3, 100.17, 180.3, 100.17}, {100.11, 20.2, 100.11, 180.2}, {20.13, 30.29, 180.13, 170.29}};
  // The plate of page `page` of a grey render written as `prefix`-N.tif.
  auto read_plate = [&](const std::string& prefix, int page) {
    std::vector<unsigned char> ink(static_cast<std::size_t>(kSize * kSize));
    TIFF* tiff = TIFFOpen((dir_ / (prefix + "-" + std::to_string(page) + ".tif")).c_str(), "r");
    EXPECT_NE(tiff, nullptr);
    if (tiff == nullptr) return ink;
    std::uint32_t width = 0, height = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    EXPECT_EQ(width, kSize);
    EXPECT_EQ(height, kSize);
    for (std::uint32_t y = 0; y < height && y < kSize; ++y) {
      EXPECT_EQ(TIFFReadScanline(tiff, ink.data() + y * kSize, y, 0), 1);
    }
    TIFFClose(tiff);
    return ink;
  };
  auto measure = [&](const std::vector<unsigned char>& ink, int page) {
    const Segment& s = segments[(page - 1) / 4];
    return QorScTest::MeasureLine(ink, kSize, kSize, s.x0 * scale, (200.0 - s.y0) * scale,
                                  s.x1 * scale, (200.0 - s.y1) * scale);
  };

  const std::string common = "render -r 150 -c gray --compression none -q --threads 1 ";
  Outcome run = Qorsc(common + "-o d-%d.tif " + pdf.string());
  if (ImportMissing(run)) GTEST_SKIP() << "the importer cannot import pages yet";
  ASSERT_EQ(run.status, 0) << run.err;
  run = Qorsc(common + "--aa 4 -p 1-12 -o a-%d.tif " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  for (int page = 1; page <= 12; ++page) {
    SCOPED_TRACE("page " + std::to_string(page));
    const QorScTest::LineCoverage aliased = measure(read_plate("d", page), page);
    EXPECT_EQ(aliased.gaps, 0);
    EXPECT_GE(aliased.thickest, 1);
    EXPECT_LE(aliased.thickest, 3);  // about one pixel, never a heavy rule
    // Anti-aliased, one final pixel of minimum: ink in every column or row.
    EXPECT_EQ(measure(read_plate("a", page), page).gaps, 0);
  }

  // 0 keeps the raw geometry: width 0 has no area, and 0.05 pt (0.1 pixel) covers no
  // pixel centre on this line.
  run = Qorsc(common + "--min-line-width 0 -p 1,2 -o r-%d.tif " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(measure(read_plate("r", 1), 1).total, 0);
  EXPECT_EQ(measure(read_plate("r", 2), 2).total, 0);

  // Page 13: five 'l' of 3 pt Helvetica, stems about half a pixel wide, between
  // rows 204 and 207: each keeps a pixel in every row, and only with the guarantee.
  const std::vector<unsigned char> text = read_plate("d", 13);
  run = Qorsc(common + "--min-line-width 0 -p 13 -o r-%d.tif " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  const std::vector<unsigned char> raw_text = read_plate("r", 13);
  long long raw_ink = 0, ink = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    raw_ink += raw_text[i] != 0;
    ink += text[i] != 0;
  }
  EXPECT_GT(ink, raw_ink);
  for (long long y = 205; y <= 206; ++y) {
    long long inked = 0;
    for (long long x = 0; x < kSize; ++x)
      inked += text[static_cast<std::size_t>(y * kSize + x)] != 0;
    EXPECT_GE(inked, 5) << "row " << y;
  }

  // hits names the hairline where it prints (row 208 holds the line of page 1).
  run = Qorsc("hits -p 1 -x 200 -y 208 -r 150 " + pdf.string());
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("path"), std::string::npos) << run.out;
}

}  // namespace
