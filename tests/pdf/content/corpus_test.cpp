// Every page of the shared corpus of real-world and prepress PDFs imports with
// boxes, rotation and unit the importer promises, paints something, and the only
// warnings are for features the importer does not support yet. Each page is then
// collected and rendered at a low resolution, soft masks and transparency groups
// included, as the command-line tool renders it.
//
// The corpus is read in place from QORSC_CORPUS, else ../shared/corpus beside the
// repository, else /work/shared/corpus; without it the test is skipped.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "qordoc/content.h"
#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

std::filesystem::path Corpus() {
  if (const char* dir = std::getenv("QORSC_CORPUS")) return dir;
  // tests/pdf/content/ -> the repository -> its parent; absolute, since a compiler
  // cache may compile by relative path, and worktrees live further down.
  std::filesystem::path repository = std::filesystem::weakly_canonical(__FILE__);
  for (int i = 0; i < 4; ++i)
    repository = repository.parent_path();
  const std::filesystem::path beside = repository.parent_path() / "shared" / "corpus";
  if (std::filesystem::is_directory(beside)) return beside;
  return "/work/shared/corpus";
}

// Whether `content` paints anything; clips alone do not.
bool Paints(const QorDoc::Content& content) {
  for (const auto& member : content.GetMembers()) {
    if (const auto* group = dynamic_cast<const QorDoc::Group*>(member.get())) {
      if (Paints(group->GetMembers())) return true;
    } else if (const auto* layer = dynamic_cast<const QorDoc::Layer*>(member.get())) {
      if (Paints(layer->GetMembers())) return true;
    } else if (!member->IsClippingObject()) {
      return true;
    }
  }
  return false;
}

std::vector<std::filesystem::path> CorpusFiles() {
  std::vector<std::filesystem::path> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(Corpus(), error)) {
    if (entry.path().extension() == ".pdf") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

TEST(Corpus, EveryPageImportsAndRendersWithOnlyNotYetSupportedWarnings) {
  const auto files = CorpusFiles();
  if (files.empty()) GTEST_SKIP() << "no corpus at " << Corpus();
  for (const auto& file : files) {
    SCOPED_TRACE(file.filename().string());
    QorPdf::Document pdf = QorPdf::Document::OpenFile(file);
    const QorPdf::Import import = pdf.ImportPages({}, QorPdf::ImportOptions());
    ASSERT_EQ(import.pages.size(), pdf.PageCount());
    for (const auto& warning : pdf.Warnings()) {
      EXPECT_NE(warning.reason.find("not supported yet"), std::string::npos)
          << "page " << (warning.page ? *warning.page + 1 : 0) << ": " << warning.subject << ": "
          << warning.reason;
    }
    for (std::size_t i = 0; i < import.pages.size(); ++i) {
      const QorPdf::ImportedPage& page = import.pages[i];
      const QorPdf::Page& attributes = pdf.GetPage(i);
      const QorPdf::Box& media = attributes.media_box;
      const QorPdf::Box& crop = attributes.crop_box;
      EXPECT_TRUE(std::isfinite(media.Width() * media.Height()) && media.Width() > 0.0 &&
                  media.Height() > 0.0 && crop.Width() > 0.0 && crop.Height() > 0.0);
      EXPECT_TRUE(crop.llx >= media.llx && crop.lly >= media.lly && crop.urx <= media.urx &&
                  crop.ury <= media.ury);
      EXPECT_TRUE(attributes.rotate >= 0 && attributes.rotate < 360 && attributes.rotate % 90 == 0);
      EXPECT_TRUE(std::isfinite(attributes.user_unit) && attributes.user_unit > 0.0);
      EXPECT_TRUE(Paints(*page.content)) << "page " << i + 1;
      // 18 dpi keeps the whole corpus quick under the sanitizers.
      const long long w = static_cast<long long>(page.world_box.Width() / 4000.0) + 1;
      const long long h = static_cast<long long>(page.world_box.Height() / 4000.0) + 1;
      const QorSc::Environment env(page.world_box, w, h);
      const QorSc::Options cmyk(true, import.document->GetSeparationInfo());
      QorSc::ScanConverter converter(
          QorSc::CollectObjects(env, cmyk, {0, 0, w, h}, *page.content, {}, QorSc::kAllSelection));
      std::vector<unsigned char> line(4 * static_cast<std::size_t>(w));
      long long lines = 0;
      while (converter.GetLine255PlaneInterleaved(line.data()))
        ++lines;
      EXPECT_EQ(lines, h);
    }
  }
}

}  // namespace
