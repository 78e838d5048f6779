// Band rendering: known pixel values, plate choices, and byte identity across
// thread counts, band heights and anti-aliasing filters.
#include "render_job.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "plate_selection.h"
#include "scan/halftone.h"
#include "scan/scan_converter.h"
#include "synthetic_page.h"

namespace {

using QorScTool::ColorantChoice;
using QorScTool::PlateSet;
using QorScTool::RenderSettings;

class MemorySink : public QorScTool::LineSink {
 public:
  explicit MemorySink(std::size_t line_bytes, bool pixels = false)
      : line_bytes_(line_bytes), pixels_(pixels) {}
  void WriteLine(const unsigned char* planes) override {
    bytes.insert(bytes.end(), planes, planes + line_bytes_);
    ++lines;
  }
  bool TakesPixels() const override { return pixels_; }
  std::vector<unsigned char> bytes;
  long long lines = 0;

 private:
  std::size_t line_bytes_;
  bool pixels_;
};

struct Rendered {
  QorScTool::PixelSize size;
  std::size_t planes = 0;
  std::vector<unsigned char> bytes;

  unsigned char At(std::size_t plane, long long x, long long y) const {
    const auto w = static_cast<std::size_t>(size.width);
    return bytes[static_cast<std::size_t>(y) * planes * w + plane * w +
                 static_cast<std::size_t>(x)];
  }
};

// With `pixels`, the sink takes its lines pixel after pixel.
Rendered Render(const QorScTool::PageInput& page, const PlateSet& plates,
                const RenderSettings& settings, bool pixels = false) {
  Rendered r;
  r.size = QorScTool::PagePixelSize(page.world_box, settings.resolution);
  r.planes = plates.names.size() + (settings.halftone_labels ? 1 : 0);
  MemorySink sink(r.planes * static_cast<std::size_t>(r.size.width), pixels);
  long long last_progress = 0;
  QorScTool::RenderPage(page, plates, settings, sink, [&](long long lines) {
    EXPECT_EQ(lines, last_progress + 1);
    last_progress = lines;
  });
  EXPECT_EQ(sink.lines, r.size.height);
  EXPECT_EQ(last_progress, r.size.height);
  r.bytes = std::move(sink.bytes);
  return r;
}

// The lines of `r` pixel after pixel.
std::vector<unsigned char> PixelLines(const Rendered& r) {
  std::vector<unsigned char> pixels;
  pixels.reserve(r.bytes.size());
  for (long long y = 0; y < r.size.height; ++y) {
    for (long long x = 0; x < r.size.width; ++x) {
      for (std::size_t p = 0; p < r.planes; ++p)
        pixels.push_back(r.At(p, x, y));
    }
  }
  return pixels;
}

PlateSet Plates(const QorScTool::PageInput& page, ColorantChoice choice = {}) {
  return QorScTool::ChoosePlates(choice, page.colorants, page.document->GetSeparationInfo());
}

TEST(RenderJob, PixelSizeRoundsMillipointsAtTheResolution) {
  EXPECT_EQ(QorScTool::PagePixelSize(QorScToolTest::PageBox(595.276, 841.89), 300).width, 2480);
  EXPECT_EQ(QorScTool::PagePixelSize(QorScToolTest::PageBox(595.276, 841.89), 300).height, 3508);
  EXPECT_EQ(QorScTool::PagePixelSize(QorScToolTest::PageBox(0.001, 72), 72).width, 1);
  EXPECT_THROW(QorScTool::PagePixelSize(QorScToolTest::PageBox(1e12, 72), 72000),
               std::invalid_argument);
}

TEST(RenderJob, PageSizeIsBoundedBySideAndLineBuffers) {
  QorScTool::RenderSettings settings;
  settings.resolution = 2400;
  settings.anti_alias = 4;
  // A4 at 2400 dpi, anti-aliased, four plates: a working line of 2.2 MB.
  EXPECT_NO_THROW(QorScTool::CheckPageSize({19843, 28063}, 4, settings));
  EXPECT_NO_THROW(QorScTool::CheckPageSize({1, QorScTool::kMaxPageSide}, 4, settings));
  EXPECT_THROW(QorScTool::CheckPageSize({1, QorScTool::kMaxPageSide + 1}, 4, settings),
               std::invalid_argument);
  // 600 000 pixels wide: fine for one plate on the final grid, too wide for twenty
  // plates four times finer (600 000 × 4 × 23 planes × 4 bytes = 210 MiB).
  settings.anti_alias = 1;
  EXPECT_NO_THROW(QorScTool::CheckPageSize({600000, 10}, 1, settings));
  settings.anti_alias = 4;
  try {
    QorScTool::CheckPageSize({600000, 10}, 20, settings);
    ADD_FAILURE() << "no refusal";
  } catch (const std::invalid_argument& e) {
    EXPECT_EQ(std::string(e.what()),
              "the page is too large to render: 600000 x 10 pixels at 2400 dpi (a line of 20 "
              "plates would need 210 MiB, at most 64 MiB)");
  }
}

TEST(RenderJob, AutoPlatesAreProcessThenSpotsInOrderOfUse) {
  const auto page = QorScToolTest::SimplePage();
  const PlateSet plates = Plates(page);
  EXPECT_EQ(plates.names, (std::vector<std::string>{"Cyan", "Magenta", "Yellow", "Black", "Gold"}));
  EXPECT_FALSE(plates.IsCmyk());
  EXPECT_EQ(plates.options.GetOutputMode(), QorSc::Options::kSeparations);
  EXPECT_TRUE(Plates(page, {ColorantChoice::kCmyk, {}}).IsCmyk());
  EXPECT_EQ(Plates(page, {ColorantChoice::kCmyk, {}}).options.GetOutputMode(),
            QorSc::Options::kProcess);
  const PlateSet gray = Plates(page, {ColorantChoice::kGray, {}});
  EXPECT_EQ(gray.names, std::vector<std::string>{"Black"});
  EXPECT_EQ(gray.options.GetOutputMode(), QorSc::Options::kGray);
  const PlateSet list = Plates(page, {ColorantChoice::kList, {"Gold", "Black"}});
  EXPECT_EQ(list.names, (std::vector<std::string>{"Gold", "Black"}));
  // Registration is never a plate of its own.
  QorColor::Color used{{"All", 0.0f}, {"Orange", 0.0f}, {"Cyan", 0.0f}, {"Orange", 0.0f}};
  EXPECT_EQ(QorScTool::ChoosePlates({}, used, {}).names,
            (std::vector<std::string>{"Cyan", "Magenta", "Yellow", "Black", "Orange"}));
}

TEST(RenderJob, RendersKnownValuesOnEveryPlate) {
  const auto page = QorScToolTest::SimplePage();
  RenderSettings settings;
  settings.resolution = 72;
  const Rendered r = Render(page, Plates(page), settings);
  ASSERT_EQ(r.size.width, 72);
  ASSERT_EQ(r.size.height, 72);
  EXPECT_EQ(r.At(0, 15, 15), 153);  // cyan 0.6
  EXPECT_EQ(r.At(4, 15, 15), 0);
  EXPECT_EQ(r.At(0, 25, 25), 153);  // gold overprints: cyan stays
  EXPECT_EQ(r.At(4, 25, 25), 255);
  EXPECT_EQ(r.At(0, 35, 35), 0);
  EXPECT_EQ(r.At(4, 35, 35), 255);
  EXPECT_EQ(r.At(3, 5, 50), 255);  // the black bar
  EXPECT_EQ(r.At(3, 5, 52), 0);
  EXPECT_EQ(r.At(0, 5, 5), 0);

  // cmyk is process output: the spot goes to process through its representation and
  // overprint is ignored, so gold knocks the cyan out.
  const Rendered cmyk = Render(page, Plates(page, {ColorantChoice::kCmyk, {}}), settings);
  EXPECT_EQ(cmyk.planes, 4u);
  EXPECT_EQ(cmyk.At(1, 35, 35), 51);   // 0.2 magenta
  EXPECT_EQ(cmyk.At(2, 35, 35), 255);  // full yellow
  EXPECT_EQ(cmyk.At(0, 25, 25), 0);
  EXPECT_EQ(cmyk.At(0, 15, 15), 153);
  // An explicit list without Gold: the overprinting spot has no plate of its own to
  // paint and leaves every foreign plate alone.
  const Rendered list =
      Render(page, Plates(page, {ColorantChoice::kList, {"Cyan", "Magenta", "Yellow"}}), settings);
  EXPECT_EQ(list.At(0, 25, 25), 153);
  EXPECT_EQ(list.At(2, 35, 35), 0);
  // Grey: 0.3 · 0.6 cyan.
  const Rendered gray = Render(page, Plates(page, {ColorantChoice::kGray, {}}), settings);
  EXPECT_EQ(gray.planes, 1u);
  EXPECT_EQ(gray.At(0, 15, 15), QorSc::ComponentToByte(0.3f * 0.6f));
}

// Lines taken pixel after pixel are the same bytes interleaved, whichever way they
// were made (straight from the converter without labels and anti-aliasing, else
// interleaved from the planes).
TEST(RenderJob, ThreadsAndBandsGiveByteIdenticalOutput) {
  const auto page = QorScToolTest::BusyPage();
  const PlateSet plates = Plates(page);
  ASSERT_EQ(plates.names.size(), 6u);
  for (const int aa : {1, 2, 3}) {
    for (const auto filter :
         {QorScTool::AntiAliasFilter::kTent, QorScTool::AntiAliasFilter::kBox}) {
      for (const bool labels : {true, false}) {
        if (aa == 1 && filter == QorScTool::AntiAliasFilter::kBox) continue;
        SCOPED_TRACE("aa " + std::to_string(aa) +
                     (filter == QorScTool::AntiAliasFilter::kBox ? " box" : " tent") +
                     (labels ? " labels" : ""));
        RenderSettings settings;
        settings.resolution = 50;
        settings.anti_alias = aa;
        settings.filter = filter;
        settings.halftone_labels = labels;
        settings.threads = 1;
        const Rendered reference = Render(page, plates, settings);
        ASSERT_EQ(reference.size.height, 208);
        // Something was painted on every plate and the label plane.
        for (std::size_t p = 0; p < reference.planes; ++p) {
          bool painted = false;
          for (long long y = 0; y < reference.size.height && !painted; ++y) {
            for (long long x = 0; x < reference.size.width && !painted; ++x) {
              painted = reference.At(p, x, y) != 0;
            }
          }
          EXPECT_TRUE(painted) << "plane " << p;
        }
        const std::vector<unsigned char> pixels = PixelLines(reference);
        EXPECT_TRUE(Render(page, plates, settings, true).bytes == pixels) << "pixels, 1 thread";
        for (const unsigned threads : {2u, 3u, 5u}) {
          for (const long long band_lines : {0LL, 16LL, 37LL}) {
            settings.threads = threads;
            settings.band_lines = band_lines;
            const Rendered banded = Render(page, plates, settings);
            EXPECT_TRUE(banded.bytes == reference.bytes)
                << threads << " threads, " << band_lines << " lines per band";
            EXPECT_TRUE(Render(page, plates, settings, true).bytes == pixels)
                << "pixels, " << threads << " threads, " << band_lines << " lines per band";
          }
        }
      }
    }
  }
}

TEST(RenderJob, AntiAliasingAveragesEdges) {
  // A cyan square whose left edge lies half way through pixel 10 at 72 dpi.
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& content = builder.AddPage();
  builder.AddPath(content, Morv::PathBuilder().Rectangle(10500, 20000, 20000, 20000).BuildShared(),
                  QorScToolTest::Fill(QorColor::Color{{"Cyan", 1.0f}}));
  auto document = builder.Build();
  const QorScTool::PageInput page{
      document, document->GetPages().front(), QorScToolTest::PageBox(72, 72), {}};
  RenderSettings settings;
  settings.resolution = 72;
  settings.anti_alias = 2;
  settings.filter = QorScTool::AntiAliasFilter::kBox;
  const Rendered box = Render(page, Plates(page, {ColorantChoice::kCmyk, {}}), settings);
  EXPECT_EQ(box.At(0, 10, 40), 128);  // half the 2 × 2 samples: (510 + 1) / 4 rounded
  EXPECT_EQ(box.At(0, 15, 40), 255);
  EXPECT_EQ(box.At(0, 9, 40), 0);
  settings.filter = QorScTool::AntiAliasFilter::kTent;
  const Rendered tent = Render(page, Plates(page, {ColorantChoice::kCmyk, {}}), settings);
  EXPECT_GT(tent.At(0, 10, 40), 0);
  EXPECT_LT(tent.At(0, 10, 40), 255);
  EXPECT_EQ(tent.At(0, 15, 40), 255);
}

TEST(RenderJob, LabelPlaneNamesTheTopmostObjectsHalftoneSet) {
  QorDoc::DocumentBuilder builder;
  auto coarse = builder.AddHalftoneSet("coarse");
  auto fine = builder.AddHalftoneSet("fine");
  QorDoc::Content& content = builder.AddPage();
  builder.AddPath(content, Morv::PathBuilder().Rectangle(0, 0, 36000, 72000).BuildShared(),
                  QorScToolTest::Fill(QorColor::Color{{"Cyan", 0.5f}}, coarse));
  builder.AddPath(content, Morv::PathBuilder().Rectangle(18000, 0, 36000, 36000).BuildShared(),
                  QorScToolTest::Fill(QorColor::Color{{"Magenta", 0.5f}}, fine));
  auto document = builder.Build();
  const QorScTool::PageInput page{
      document, document->GetPages().front(), QorScToolTest::PageBox(72, 72), {}};
  RenderSettings settings;
  settings.resolution = 72;
  settings.halftone_labels = true;
  settings.anti_alias = 3;  // labels stay on the final grid, unfiltered
  const Rendered r = Render(page, Plates(page, {ColorantChoice::kCmyk, {}}), settings);
  ASSERT_EQ(r.planes, 5u);
  auto set_at = [&](long long x, long long y) {
    return QorSc::ToHalftoneSet(static_cast<float>(r.At(4, x, y)) / 255.0f, *document);
  };
  ASSERT_TRUE(set_at(5, 10));
  EXPECT_EQ(set_at(5, 10)->get(), coarse.get());
  ASSERT_TRUE(set_at(30, 60));
  EXPECT_EQ(set_at(30, 60)->get(), fine.get());
  EXPECT_FALSE(set_at(60, 10));  // nothing painted
}

TEST(RenderJob, InterruptStopsEveryThread) {
  const auto page = QorScToolTest::BusyPage();
  std::atomic<bool> interrupt{true};
  RenderSettings settings;
  settings.resolution = 50;
  settings.interrupt = &interrupt;
  for (const unsigned threads : {1u, 3u}) {
    settings.threads = threads;
    MemorySink sink(1);
    EXPECT_THROW(QorScTool::RenderPage(page, Plates(page), settings, sink), QorScTool::Interrupted);
    EXPECT_EQ(sink.lines, 0);
  }
}

TEST(RenderJob, SinkFailureStopsTheWorkersAndPropagates) {
  class FailingSink : public QorScTool::LineSink {
   public:
    void WriteLine(const unsigned char*) override {
      if (++lines == 40) throw std::runtime_error("disk full");
    }
    int lines = 0;
  };
  const auto page = QorScToolTest::BusyPage();
  RenderSettings settings;
  settings.resolution = 50;
  settings.threads = 3;
  settings.band_lines = 16;
  FailingSink sink;
  EXPECT_THROW(QorScTool::RenderPage(page, Plates(page), settings, sink), std::runtime_error);
  EXPECT_EQ(sink.lines, 40);
}

}  // namespace
