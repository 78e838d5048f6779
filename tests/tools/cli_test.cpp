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
    std::vector<std::string> objects = {
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 72 36] /Contents 4 0 R "
        "/Resources << /ColorSpace << /Gold [/Separation /Gold /DeviceCMYK "
        "<< /FunctionType 2 /Domain [0 1] /C0 [0 0 0 0] /C1 [0 0.2 1 0] /N 1 >>] >> >> >>",
        "<< /Length " + std::to_string(content.size()) + " >>\nstream\n" + content + "endstream"};
    std::string pdf = "%PDF-1.7\n";
    std::vector<std::size_t> offsets;
    for (std::size_t i = 0; i < objects.size(); ++i) {
      offsets.push_back(pdf.size());
      pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const std::size_t xref = pdf.size();
    pdf += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
    for (const std::size_t offset : offsets) {
      char line[32];
      std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
      pdf += line;
    }
    pdf += "trailer\n<< /Size " + std::to_string(objects.size() + 1) +
           " /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
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

}  // namespace
