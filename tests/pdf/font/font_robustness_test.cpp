// Damaged fonts: broken or truncated programs, missing pieces and garbage CMaps give
// glyphs without outlines that still advance, one warning per font, and no crash.
#include <gtest/gtest.h>

#include <random>

#include "font/cmap.h"
#include "font_test_support.h"

namespace QorPdf::internal {
namespace {

using FontRobustnessTest = FontTest;

std::string AllCodes() {
  std::string bytes;
  for (int c = 0; c < 256; ++c)
    bytes += static_cast<char>(c);
  return bytes;
}

TEST_F(FontRobustnessTest, BrokenProgramGivesGlyphsWithoutOutlinesAndOneWarning) {
  QPDFObjectHandle dict = Object(
      "<< /Type /Font /Subtype /TrueType /BaseFont /Broken /FirstChar 65 /Widths [ 600 700 ]"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 32 >> >>");
  dict.getKey("/FontDescriptor").replaceKey("/FontFile2", Stream("not a font at all"));
  auto font = Get(dict);
  ASSERT_TRUE(font);
  EXPECT_TRUE(font->Description().embedded);
  const auto g = Decode(*font, "AB");
  ASSERT_EQ(g.size(), 2u);
  EXPECT_FALSE(g[0].outline);
  EXPECT_FALSE(g[1].outline);
  EXPECT_DOUBLE_EQ(g[0].width, 0.6);
  EXPECT_DOUBLE_EQ(g[1].width, 0.7);
  // Reading the font again (another Tf) adds nothing.
  Get(dict);
  Decode(*Get(dict), "AB");
  ASSERT_EQ(warnings_.All().size(), 1u) << WarningText();
  EXPECT_EQ(warnings_.All()[0].subject, "font Broken");
  EXPECT_EQ(warnings_.All()[0].page, std::optional<std::size_t>(0));

  // Not a dictionary: no font at all.
  EXPECT_FALSE(cache_.Get(QPDFObjectHandle::newInteger(3), 0));
}

TEST_F(FontRobustnessTest, TruncatedAndScrambledProgramsAreSafe) {
  std::vector<std::string> programs;
  for (const std::string& path :
       {std::string(kUrwType1) + "NimbusSans-Regular.t1",
        std::string(kUrwOpenType) + "NimbusSans-Regular.otf", std::string(kDejaVuSans)}) {
    const auto bytes = ReadFile(path);
    if (!bytes) continue;
    for (const std::size_t length : {std::size_t{4}, std::size_t{700}, bytes->size() / 2}) {
      programs.push_back(bytes->substr(0, length));
    }
    // Flipped bytes all through the program, from a fixed seed.
    std::mt19937 random(7);
    std::string scrambled = *bytes;
    for (int i = 0; i < 200; ++i) {
      scrambled[random() % scrambled.size()] = static_cast<char>(random());
    }
    programs.push_back(scrambled);
  }
  const char* slots[] = {"/FontFile", "/FontFile2", "/FontFile3"};
  std::size_t fonts = 0;
  for (const std::string& program : programs) {
    for (const char* slot : slots) {
      for (const char* subtype : {"/Type1", "/Type0"}) {
        QPDFObjectHandle descriptor =
            QPDFObjectHandle::parse("<< /Type /FontDescriptor /Flags 4 >>");
        descriptor.replaceKey(slot, Stream(program, "<< /Subtype /OpenType >>"));
        QPDFObjectHandle dict;
        if (std::string(subtype) == "/Type1") {
          dict = Object("<< /Type /Font /Subtype /Type1 /BaseFont /F >>");
          dict.replaceKey("/FontDescriptor", descriptor);
        } else {
          dict = Object("<< /Type /Font /Subtype /Type0 /BaseFont /F /Encoding /Identity-H >>");
          QPDFObjectHandle cid = QPDFObjectHandle::parse("<< /Subtype /CIDFontType2 >>");
          cid.replaceKey("/FontDescriptor", descriptor);
          dict.replaceKey("/DescendantFonts", QPDFObjectHandle::newArray({cid}));
        }
        const std::size_t before = warnings_.All().size();
        auto font = Get(dict);
        ASSERT_TRUE(font);
        const std::string codes = AllCodes();
        EXPECT_EQ(Decode(*font, codes).size(), std::string(subtype) == "/Type1" ? 256u : 128u);
        Decode(*font, codes);
        EXPECT_LE(warnings_.All().size(), before + 1) << WarningText();
        ++fonts;
      }
    }
  }
  EXPECT_GE(fonts, 48u);
}

TEST_F(FontRobustnessTest, DamagedDictionariesAndCMaps) {
  // Missing descendant, non-number widths, a Differences array of junk.
  auto no_descendant = Get(Object("<< /Type /Font /Subtype /Type0 /BaseFont /X >>"));
  EXPECT_EQ(Decode(*no_descendant, "abcd").size(), 2u);
  auto junk = Get(Object(
      "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /FirstChar -5 /Widths [ /a (b) 3 ]"
      "   /Encoding << /Differences [ /x 300 /y (z) -1 /A 65 [ ] /B ] >> >>"));
  const auto j = Decode(*junk, "AB");
  EXPECT_DOUBLE_EQ(j[0].width, 0.0);
  EXPECT_TRUE(j[1].outline);
  auto unknown = Get(Object("<< /Type /Font /Subtype /Foo /BaseFont /Courier >>"));
  EXPECT_TRUE(Decode(*unknown, "A")[0].outline);
  auto bad_w = Get(Object(
      "<< /Type /Font /Subtype /Type0 /Encoding /Identity-H /DescendantFonts [ << /Subtype"
      "   /CIDFontType0 /W [ 1 [ /x 2 ] 5 4 300 -3 8 4294967295 [ 1 2 ] 7 ] /DW /z >> ] >>"));
  using namespace std::string_literals;
  const auto w = Decode(*bad_w, "\x00\x01\x00\x02\x00\x05"s);
  ASSERT_EQ(w.size(), 3u);
  EXPECT_DOUBLE_EQ(w[0].width, 1.0);  // /x is no width: the default
  EXPECT_DOUBLE_EQ(w[1].width, 0.002);
  EXPECT_DOUBLE_EQ(w[2].width, 1.0);  // the range 5 4 runs backwards

  // Garbage CMap text never breaks decoding.
  std::mt19937 random(11);
  for (int round = 0; round < 50; ++round) {
    std::string text = "begincodespacerange <00> <FF> <";
    for (int i = 0; i < 300; ++i) {
      const char pieces[] = "<>[]()/% 0123456789ABCDEFbegincidrange endcidchar usecmap";
      text += pieces[random() % (sizeof(pieces) - 1)];
    }
    std::string problem;
    const CMap cmap = CMap::Parse(text, problem);
    std::string bytes = AllCodes();
    for (std::size_t pos = 0; pos < bytes.size();) {
      const auto code = cmap.Next(std::string_view(bytes).substr(pos));
      if (code.length == 0) break;
      pos += code.length;
    }
  }
}

}  // namespace
}  // namespace QorPdf::internal
