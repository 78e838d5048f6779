// Output files: patterns, and no file left under any name unless committed.
#include "output_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "page_output.h"
#include "plate_selection.h"
#include "render_job.h"
#include "synthetic_page.h"

namespace {

namespace fs = std::filesystem;

class TempDir {
 public:
  TempDir() {
    path_ =
        fs::temp_directory_path() /
        ("qorsc_tool_test_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
         "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(path_);
    fs::create_directories(path_);
  }
  ~TempDir() { fs::remove_all(path_); }
  const fs::path& Path() const { return path_; }
  std::size_t FileCount() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(path_), {}));
  }

 private:
  fs::path path_;
};

TEST(OutputFile, Patterns) {
  using QorScTool::ExpandOutputPattern;
  EXPECT_EQ(ExpandOutputPattern("out/page-%d.tif", 3, true), "out/page-3.tif");
  EXPECT_EQ(ExpandOutputPattern("out/page.tif", 3, false), "out/page.tif");
  EXPECT_EQ(ExpandOutputPattern("out/page.tif", 3, true), "out/page-3.tif");
  EXPECT_EQ(ExpandOutputPattern("out.d/page", 12, true), "out.d/page-12");
  EXPECT_EQ(ExpandOutputPattern("p%d-%s.tif", 1, false, "PANTONE 286 C"), "p1-PANTONE_286_C.tif");
  EXPECT_EQ(ExpandOutputPattern("p%d.tif", 2, true, "Cyan"), "p2-Cyan.tif");
  EXPECT_EQ(ExpandOutputPattern("100%%-%d.pam", 1, false), "100%-1.pam");
  EXPECT_THROW(ExpandOutputPattern("p%x.tif", 1, false), std::invalid_argument);
  EXPECT_THROW(ExpandOutputPattern("p%", 1, false), std::invalid_argument);
  EXPECT_EQ(QorScTool::FileNameSafe("a/b..c"), "a_b..c");
  EXPECT_EQ(QorScTool::FileNameSafe(".."), "_..");
}

TEST(OutputFile, AppearsOnlyWhenCommitted) {
  TempDir dir;
  const fs::path final_path = dir.Path() / "page.tif";
  {
    QorScTool::OutputFile file(final_path);
    EXPECT_EQ(file.TemporaryPath().parent_path(), dir.Path());
    EXPECT_TRUE(fs::exists(file.TemporaryPath()));
    std::ofstream(file.TemporaryPath()) << "half";
    EXPECT_FALSE(fs::exists(final_path));
  }
  EXPECT_EQ(dir.FileCount(), 0u) << "an uncommitted temporary is removed";
  {
    QorScTool::OutputFile file(final_path);
    std::ofstream(file.TemporaryPath()) << "whole";
    file.Commit();
  }
  EXPECT_TRUE(fs::exists(final_path));
  EXPECT_EQ(dir.FileCount(), 1u);
  EXPECT_THROW(QorScTool::OutputFile(dir.Path() / "missing" / "x.tif"), std::runtime_error);
}

TEST(OutputFile, WritersEmptyAnOlderFile) {
  TempDir dir;
  const fs::path path = dir.Path() / "old.pam";
  std::ofstream(path) << "an older and longer file";
  {
    QorScTool::BufferedStream stream(path.string());
    std::fputs("new", stream.Get());
    EXPECT_TRUE(stream.Close());
  }
  EXPECT_EQ(fs::file_size(path), 3u);
  EXPECT_EQ(QorScTool::OpenForWriting((dir.Path() / "missing" / "x").string()), -1);
  EXPECT_THROW(QorScTool::BufferedStream((dir.Path() / "missing" / "x").string()),
               std::runtime_error);
}

TEST(OutputFile, FailedRenderLeavesNoFile) {
  TempDir dir;
  const auto page = QorScToolTest::BusyPage();
  const QorScTool::PlateSet plates =
      QorScTool::ChoosePlates({}, page.colorants, page.document->GetSeparationInfo());
  for (const auto format : {QorScTool::OutputFormat::kTiff, QorScTool::OutputFormat::kTiffSep,
                            QorScTool::OutputFormat::kPam, QorScTool::OutputFormat::kPng}) {
    QorScTool::PageOutputRequest request;
    request.format = format;
    request.pattern = (dir.Path() / "p-%d-%s.out").string();
    request.size = QorScTool::PagePixelSize(page.world_box, 40);
    request.resolution = 40;
    request.plates = plates.names;
    std::atomic<bool> interrupt{false};
    QorScTool::RenderSettings settings;
    settings.resolution = 40;
    settings.threads = 2;
    settings.interrupt = &interrupt;
    try {
      auto output = QorScTool::PageOutput::Create(request);
      EXPECT_GT(dir.FileCount(), 0u) << "temporaries exist while writing";
      QorScTool::RenderPage(page, plates, settings, *output, [&](long long lines) {
        if (lines == 30) interrupt = true;  // stop half way
      });
      ADD_FAILURE() << "the render should have been interrupted";
    } catch (const QorScTool::Interrupted&) {
    }
    EXPECT_EQ(dir.FileCount(), 0u);
  }
  // The same render to the end gives the final files only.
  QorScTool::PageOutputRequest request;
  request.format = QorScTool::OutputFormat::kTiffSep;
  request.pattern = (dir.Path() / "p-%d-%s.tif").string();
  request.size = QorScTool::PagePixelSize(page.world_box, 40);
  request.plates = plates.names;
  auto output = QorScTool::PageOutput::Create(request);
  QorScTool::RenderSettings settings;
  settings.resolution = 40;
  QorScTool::RenderPage(page, plates, settings, *output);
  output->Commit();
  EXPECT_EQ(dir.FileCount(), 6u);
  EXPECT_TRUE(fs::exists(dir.Path() / "p-1-Gold.tif"));
}

}  // namespace
