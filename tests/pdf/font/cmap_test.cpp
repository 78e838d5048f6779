// CMaps by name from the installed resources (poppler-data), Unicode CMaps
// (bfchar/bfrange), and the bounds on bad CMaps: unknown names, usecmap loops and
// chains, ranges reaching past the last CID.
#include "font/cmap.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "font/cmap_resources.h"
#include "qpdf_headers.h"

namespace QorPdf::internal {
namespace {

using namespace std::string_literals;

// The CID of the first code of `bytes` and the bytes it took.
std::pair<std::uint32_t, int> First(const CMap& cmap, const std::string& bytes) {
  const CMap::Code code = cmap.Next(bytes);
  return {code.cid, code.length};
}

CMap Named(const std::string& name, CMapResources& resources, std::string& problem) {
  return CMap::FromEncoding(QPDFObjectHandle::newName("/" + name), resources, problem);
}

TEST(CMapTest, PredefinedCMapsOfTheFourCollections) {
  CMapResources resources;
  struct Case {
    const char* name;
    std::string bytes;
    std::uint32_t cid;
    int length;
  };
  const Case cases[] = {
      {"90ms-RKSJ-H", "A", 264, 1},                      // <20>..<7d> from 231
      {"90ms-RKSJ-H", "\x82\xa0", 843, 2},               // hiragana a
      {"90ms-RKSJ-H", "\x81\x40", 633, 2},               // ideographic space
      {"90ms-RKSJ-V", "\x81\x41", 7887, 2},              // its own vertical comma
      {"90ms-RKSJ-V", "\x82\xa0", 843, 2},               // from 90ms-RKSJ-H by usecmap
      {"UniJIS-UCS2-H", "\x30\x42", 843, 2},             //
      {"UniJIS-UTF16-H", "\x30\x42", 843, 2},            //
      {"UniJIS-UTF16-H", "\xd8\x40\xdc\x0b", 13839, 4},  // U+2000B, a surrogate pair
      {"UniGB-UCS2-H", "\x4e\x00"s, 4162, 2},            //
      {"KSCms-UHC-H", "\xb0\xa1", 1086, 2},              //
      {"ETen-B5-H", "\xa4\x40", 595, 2},                 //
      {"Identity-H", "\x12\x34", 0x1234, 2},             //
  };
  for (const Case& c : cases) {
    std::string problem;
    const CMap cmap = Named(c.name, resources, problem);
    EXPECT_EQ(First(cmap, c.bytes), std::make_pair(c.cid, c.length)) << c.name;
    EXPECT_EQ(problem, "") << c.name;
  }
}

TEST(CMapTest, UnicodeCMapsMapToTheFirstCodePoint) {
  std::string problem;
  const CMap cmap = CMap::Parse(
      "1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
      "2 beginbfchar <0001> <0041> <0002> <D840DC0B> endbfchar\n"
      "2 beginbfrange <0010> <0012> <3042> <0020> <0022> [<0061> <00660069> <0063>]\n"
      "endbfrange\n",
      problem);
  EXPECT_EQ(problem, "");
  EXPECT_EQ(cmap.Value(2, 1), 0x41u);
  EXPECT_EQ(cmap.Value(2, 2), 0x2000Bu);
  EXPECT_EQ(cmap.Value(2, 0x11), 0x3043u);
  EXPECT_EQ(cmap.Value(2, 0x21), 0x66u);  // "fi": its first code point
  EXPECT_EQ(cmap.Value(2, 0x22), 0x63u);
  EXPECT_EQ(cmap.Value(2, 0x13), 0u);

  // The installed CID-to-Unicode CMap of Adobe-Japan1.
  CMapResources resources;
  const auto japan = CMap::Predefined("Adobe-Japan1-UCS2", resources, problem);
  ASSERT_TRUE(japan.has_value());
  EXPECT_EQ(japan->Value(2, 843), 0x3042u);
  EXPECT_EQ(japan->Value(2, 34), 0x41u);
  EXPECT_FALSE(CMap::Predefined("No-Such-CMap", resources, problem).has_value());
}

TEST(CMapTest, EmbeddedStreamsThatUseEachOther) {
  QPDF pdf;
  pdf.emptyPDF();
  QPDFObjectHandle a = pdf.makeIndirectObject(QPDFObjectHandle::newStream(
      &pdf, "1 begincodespacerange <00> <FF> endcodespacerange 1 begincidchar <41> 10 endcidchar"));
  QPDFObjectHandle b = pdf.makeIndirectObject(
      QPDFObjectHandle::newStream(&pdf, "1 begincidchar <42> 20 endcidchar"));
  a.getDict().replaceKey("/UseCMap", b);
  b.getDict().replaceKey("/UseCMap", a);
  CMapResources resources;
  std::string problem;
  const CMap cmap = CMap::FromEncoding(a, resources, problem);
  EXPECT_EQ(First(cmap, "A"), std::make_pair(10u, 1));
  EXPECT_EQ(First(cmap, "B"), std::make_pair(20u, 1));
  EXPECT_NE(problem.find("uses itself"), std::string::npos) << problem;
}

class CMapFiles : public ::testing::Test {
 protected:
  CMapFiles()
      : root_(std::filesystem::temp_directory_path() /
              ("qorsc_cmaps_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
               "_" + ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
    std::filesystem::create_directories(root_ / "Adobe-Test");
  }
  ~CMapFiles() override { std::filesystem::remove_all(root_); }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(root_ / "Adobe-Test" / name) << text;
  }

  std::filesystem::path root_;
};

TEST_F(CMapFiles, UnknownNamesLoopsDeepChainsAndHugeRanges) {
  // The files exist before the first look-up: the resources index them once.
  Write("Loop-A",
        "/Loop-B usecmap\n1 begincodespacerange <00> <FF> endcodespacerange\n"
        "1 begincidchar <41> 10 endcidchar\n");
  Write("Loop-B", "/Loop-A usecmap\n1 begincidchar <42> 20 endcidchar\n");
  for (int i = 0; i < 20; ++i) {
    Write("Chain-" + std::to_string(i), "/Chain-" + std::to_string(i + 1) +
                                            " usecmap\n1 begincodespacerange <00> <FF>"
                                            " endcodespacerange\n1 begincidchar <" +
                                            (i < 10 ? "0" : "") + std::to_string(i) + "> " +
                                            std::to_string(100 + i) + " endcidchar\n");
  }
  Write("Chain-20", "");
  Write("Huge",
        "1 begincodespacerange <00000000> <FFFFFFFF> endcodespacerange\n"
        "2 begincidrange <00000000> <FFFFFFFF> 5 <00000010> <00000011> 70000 endcidrange\n");
  CMapResources resources({root_.string()});
  std::string problem;

  // An unknown name reads two-byte codes, with one problem naming it.
  const CMap unknown = Named("Nonexistent-H", resources, problem);
  EXPECT_EQ(First(unknown, "\x01\x02"), std::make_pair(0x0102u, 2));
  EXPECT_NE(problem.find("Nonexistent-H"), std::string::npos) << problem;
  // Names are looked up, never used as paths.
  problem.clear();
  Named("../Adobe-Test/Loop-A", resources, problem);
  EXPECT_NE(problem.find("not installed"), std::string::npos) << problem;

  // A uses B uses A: the loop is cut where it closes, both keep their mappings.
  problem.clear();
  const CMap loop = Named("Loop-A", resources, problem);
  EXPECT_EQ(First(loop, "A"), std::make_pair(10u, 1));
  EXPECT_EQ(First(loop, "B"), std::make_pair(20u, 1));
  EXPECT_NE(problem.find("uses itself"), std::string::npos) << problem;

  // A chain longer than the depth bound stops there.
  problem.clear();
  const CMap chain = Named("Chain-0", resources, problem);
  EXPECT_EQ(First(chain, "\x01"), std::make_pair(101u, 1));
  EXPECT_NE(problem.find("nest more than"), std::string::npos) << problem;

  // A range reaching past CID 65535 ends there; it is kept as a range, so a range
  // over every four-byte code costs nothing.
  problem.clear();
  const CMap huge = Named("Huge", resources, problem);
  EXPECT_EQ(First(huge, "\x00\x00\x00\x0A"s), std::make_pair(15u, 4));
  EXPECT_EQ(First(huge, "\x00\x00\xFF\xFA"s), std::make_pair(65535u, 4));
  EXPECT_EQ(First(huge, "\x00\x00\xFF\xFB"s), std::make_pair(0u, 4));
  EXPECT_EQ(First(huge, "\xFF\xFF\xFF\xFF"s), std::make_pair(0u, 4));
  EXPECT_EQ(problem, "CMap has 2 malformed entries");
}

}  // namespace
}  // namespace QorPdf::internal
