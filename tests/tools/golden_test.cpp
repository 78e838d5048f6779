// Golden images: the bundled press sheet and the tiling-pattern and CJK test pages
// rendered at 50 dpi, every plate compared with its stored reference in
// tests/golden/NAME/.
//
// References are grey PNGs, one per plate, drawn like film: 0 (black) is full ink,
// 255 (white) none. Tolerance: a pixel differs when its value is more than 2 away
// from the reference (colour conversion may move in the last bits between
// LittleCMS versions); at most 0.5 % of a plate's pixels may differ (glyph outlines
// may change slightly between FreeType and font versions). Failures write the
// rendered plate and a difference image to tests/golden/diffs/ for review.
//
// Regenerate after an intended change, then review the images before committing:
//   scripts/update-goldens
#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands.h"
#include "plate_selection.h"
#include "render_job.h"

namespace {

namespace fs = std::filesystem;

constexpr double kResolution = 50.0;
constexpr int kValueTolerance = 2;
constexpr double kPixelShareTolerance = 0.005;

const fs::path kSource = fs::path(__FILE__).parent_path().parent_path().parent_path();

struct Plate {
  long long width = 0;
  long long height = 0;
  std::vector<unsigned char> film;  // 255 − ink, row by row
};

class Collect final : public QorScTool::LineSink {
 public:
  Collect(std::size_t plates, long long width) : plates_(plates), width_(width) {}
  void WriteLine(const unsigned char* planes) override {
    for (std::size_t p = 0; p < plates_.size(); ++p) {
      for (long long x = 0; x < width_; ++x)
        plates_[p].push_back(static_cast<unsigned char>(255 - planes[p * width_ + x]));
    }
  }
  std::vector<std::vector<unsigned char>> plates_;

 private:
  long long width_;
};

bool WritePng(const fs::path& path, const Plate& plate) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = static_cast<png_uint_32>(plate.width);
  image.height = static_cast<png_uint_32>(plate.height);
  image.format = PNG_FORMAT_GRAY;
  return png_image_write_to_file(&image, path.c_str(), 0, plate.film.data(), 0, nullptr) != 0;
}

std::optional<Plate> ReadPng(const fs::path& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) return std::nullopt;
  image.format = PNG_FORMAT_GRAY;
  Plate plate;
  plate.width = image.width;
  plate.height = image.height;
  plate.film.resize(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, plate.film.data(), 0, nullptr)) return std::nullopt;
  return plate;
}

std::string FileName(std::size_t index, const std::string& plate) {
  std::string name = std::to_string(index + 1) + "-";
  for (char c : plate)
    name += (std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
  return name + ".png";
}

// Renders page `page_index` of `file` and compares its plates with the references
// in tests/golden/`name`/ (or rewrites them under QORSC_UPDATE_GOLDENS).
void CheckPlates(const fs::path& file, std::size_t page_index, const std::string& name) {
  QorPdf::Document pdf = QorPdf::Document::OpenFile(file);
  const QorPdf::Import import =
      pdf.ImportPages(std::vector<std::size_t>{page_index}, QorScTool::RenderableImportOptions());
  const QorPdf::ImportedPage& page = import.pages.front();
  const QorScTool::PlateSet plates =
      QorScTool::ChoosePlates({}, page.colorants, import.document->GetSeparationInfo());
  QorScTool::RenderSettings settings;
  settings.resolution = kResolution;
  const QorScTool::PixelSize size = QorScTool::PagePixelSize(page.world_box, kResolution);
  Collect sink(plates.names.size(), size.width);
  QorScTool::RenderPage({import.document, page.content, page.world_box, page.colorants}, plates,
                        settings, sink);

  const fs::path references = kSource / "tests" / "golden" / name;
  const bool update = std::getenv("QORSC_UPDATE_GOLDENS") != nullptr;
  if (update) fs::create_directories(references);
  const fs::path diffs = kSource / "tests" / "golden" / "diffs";
  for (std::size_t p = 0; p < plates.names.size(); ++p) {
    SCOPED_TRACE(plates.names[p]);
    const Plate actual{size.width, size.height, sink.plates_[p]};
    const fs::path reference_path = references / FileName(p, plates.names[p]);
    if (update) {
      ASSERT_TRUE(WritePng(reference_path, actual));
      continue;
    }
    const std::optional<Plate> reference = ReadPng(reference_path);
    ASSERT_TRUE(reference) << "missing reference " << reference_path
                           << " (scripts/update-goldens writes it)";
    ASSERT_EQ(reference->width, actual.width);
    ASSERT_EQ(reference->height, actual.height);
    Plate difference = actual;
    std::size_t differing = 0;
    for (std::size_t i = 0; i < actual.film.size(); ++i) {
      const int d = std::abs(int{actual.film[i]} - int{reference->film[i]});
      difference.film[i] = static_cast<unsigned char>(d > kValueTolerance ? 0 : 255);
      if (d > kValueTolerance) ++differing;
    }
    const double share = static_cast<double>(differing) / static_cast<double>(actual.film.size());
    EXPECT_LE(share, kPixelShareTolerance) << differing << " pixels differ";
    if (share > kPixelShareTolerance) {
      fs::create_directories(diffs);
      WritePng(diffs / ("actual-" + name + "-" + FileName(p, plates.names[p])), actual);
      WritePng(diffs / ("diff-" + name + "-" + FileName(p, plates.names[p])), difference);
    }
  }
}

TEST(Golden, PressSheetPlatesMatchTheirReferences) {
  CheckPlates(kSource / "samples" / "press_sheet.pdf", 0, "press_sheet");
}

// Tiling patterns on fills and text (page 1) and on strokes and in a form (page 3).
TEST(Golden, TilingPatternPlatesMatchTheirReferences) {
  const fs::path file = kSource / "tests" / "pdf" / "data" / "tiling.pdf";
  CheckPlates(file, 0, "tiling_p1");
  CheckPlates(file, 2, "tiling_p3");
}

// Predefined CMaps and CJK substitutes (tests/pdf/make_test_pdfs.py, cjk_fonts).
TEST(Golden, CjkFontPlatesMatchTheirReferences) {
  CheckPlates(kSource / "tests" / "pdf" / "data" / "cjk_fonts.pdf", 0, "cjk_fonts");
}

}  // namespace
