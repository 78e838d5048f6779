// Type0 fonts through the font cache: Identity-H two-byte decoding, /W and /DW
// widths, CIDToGIDMap, embedded CMaps with one- and two-byte codes, predefined CMap
// names and word spacing.
#include <gtest/gtest.h>

#include <filesystem>

#include "font/font_program.h"
#include "font_test_support.h"

namespace QorPdf::internal {
namespace {

using CidFontTest = FontTest;

// A Type0 font over NimbusSans as a bare CFF-in-OpenType CIDFontType0 (glyph = CID).
QPDFObjectHandle MakeType0(FontTest& t, QPDFObjectHandle encoding, const std::string& w) {
  QPDFObjectHandle descendant = t.Object(
      "<< /Type /Font /Subtype /CIDFontType0 /BaseFont /Sans"
      "   /CIDSystemInfo << /Registry (Adobe) /Ordering (Identity) /Supplement 0 >>"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 4 >> " +
      w + " >>");
  descendant.getKey("/FontDescriptor")
      .replaceKey("/FontFile3", t.FileStream(std::string(kUrwOpenType) + "NimbusSans-Regular.otf",
                                             "<< /Subtype /OpenType >>"));
  QPDFObjectHandle font = t.Object("<< /Type /Font /Subtype /Type0 /BaseFont /Sans >>");
  font.replaceKey("/Encoding", encoding);
  font.replaceKey("/DescendantFonts", QPDFObjectHandle::newArray({descendant}));
  return font;
}

TEST_F(CidFontTest, IdentityHReadsTwoBytesWithWidthsFromW) {
  auto font = Get(MakeType0(*this, QPDFObjectHandle::newName("/Identity-H"),
                            "/DW 900 /W [ 34 [ 500 600 ] 100 200 700 ]"));
  ASSERT_TRUE(font);
  EXPECT_EQ(font->Description().subtype, "Type0");
  EXPECT_EQ(font->Description().program, "OpenType");
  EXPECT_TRUE(font->Description().embedded);
  using namespace std::string_literals;
  // The odd byte at the end is dropped.
  const auto g = Decode(*font, "\x00\x22\x00\x23\x00\x64\x00\xC8\x00\xC9\x00\x20\x01"s);
  ASSERT_EQ(g.size(), 6u);
  EXPECT_EQ(g[0].code, 0x22u);
  EXPECT_EQ(g[1].code, 0x23u);
  EXPECT_DOUBLE_EQ(g[0].width, 0.5);
  EXPECT_DOUBLE_EQ(g[1].width, 0.6);
  EXPECT_DOUBLE_EQ(g[2].width, 0.7);
  EXPECT_DOUBLE_EQ(g[3].width, 0.7);
  EXPECT_DOUBLE_EQ(g[4].width, 0.9);
  // Glyph 34 of NimbusSans-Regular.otf is the A.
  ASSERT_TRUE(g[0].outline);
  EXPECT_DOUBLE_EQ(g[0].outline->GetBoundingBox().X(), 17.0);
  EXPECT_DOUBLE_EQ(g[0].outline->GetBoundingBox().Height(), 729.0);
  // A two-byte 32 is no word space.
  EXPECT_EQ(g[5].code, 0x20u);
  EXPECT_FALSE(g[5].word_space);
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();

  // Without /DW the default width is 1000; Identity-V decodes the same way.
  auto vertical = Get(MakeType0(*this, QPDFObjectHandle::newName("/Identity-V"), ""));
  const auto v = Decode(*vertical, "\x00\x22"s);
  ASSERT_EQ(v.size(), 1u);
  EXPECT_DOUBLE_EQ(v[0].width, 1.0);
  ASSERT_TRUE(v[0].outline);
  EXPECT_EQ(v[0].outline->GetBoundingBox(), g[0].outline->GetBoundingBox());
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(CidFontTest, EmbeddedCMapWithOneAndTwoByteCodes) {
  const std::string cmap_text =
      "/CIDInit /ProcSet findresource begin 12 dict begin begincmap\n"
      "/CIDSystemInfo << /Registry (Adobe) /Ordering (Test) /Supplement 0 >> def\n"
      "/CMapName /Test-H def /CMapType 1 def\n"
      "2 begincodespacerange <00> <7F> <8000> <FFFF> endcodespacerange\n"
      "1 begincidrange <20> <7E> 100 endcidrange\n"
      "2 begincidrange <8140> <817F> 700 <0000> <0001> 5 endcidrange\n"
      "1 begincidchar <8140> 633 endcidchar\n"
      "endcmap CMapName currentdict /CMap defineresource pop end end\n";
  auto font = Get(MakeType0(*this, Stream(cmap_text, "<< /Type /CMap /CMapName /Test-H >>"),
                            "/W [ 100 [ 111 ] 133 [ 222 ] 633 [ 333 ] 700 710 444 ]"));
  using namespace std::string_literals;
  const auto g = Decode(*font, "\x20\x41\x81\x40\x81\x42\x90"s);
  ASSERT_EQ(g.size(), 4u);  // the lone lead byte at the end is dropped
  EXPECT_EQ(g[0].code, 0x20u);
  EXPECT_TRUE(g[0].word_space);  // a one-byte 32
  EXPECT_DOUBLE_EQ(g[0].width, 0.111);
  EXPECT_EQ(g[1].code, 0x41u);  // CID 133
  EXPECT_DOUBLE_EQ(g[1].width, 0.222);
  EXPECT_EQ(g[2].code, 0x8140u);  // cidchar inside a cidrange wins: CID 633
  EXPECT_DOUBLE_EQ(g[2].width, 0.333);
  EXPECT_FALSE(g[2].word_space);
  EXPECT_EQ(g[3].code, 0x8142u);  // CID 702
  EXPECT_DOUBLE_EQ(g[3].width, 0.444);
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();

  // A CMap that uses Identity-H and overrides one code.
  const std::string use_text = "/Identity-H usecmap\n1 begincidchar <0041> 34 endcidchar\n";
  auto over = Get(MakeType0(*this, Stream(use_text), ""));
  const auto o = Decode(*over, "\x00\x41\x00\x22"s);
  ASSERT_EQ(o.size(), 2u);
  ASSERT_TRUE(o[0].outline);
  EXPECT_EQ(o[0].outline, o[1].outline);  // both CID 34
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(CidFontTest, PredefinedCMapFallsBackToIdentityWithOneWarning) {
  auto font = Get(MakeType0(*this, QPDFObjectHandle::newName("/UniJIS-UCS2-H"), ""));
  using namespace std::string_literals;
  const auto g = Decode(*font, "\x00\x22\x30\x42"s);
  ASSERT_EQ(g.size(), 2u);
  EXPECT_TRUE(g[0].outline);
  EXPECT_EQ(g[1].code, 0x3042u);
  ASSERT_EQ(warnings_.All().size(), 1u) << WarningText();
  EXPECT_EQ(warnings_.All()[0].subject, "font Sans");
  EXPECT_EQ(warnings_.All()[0].page, std::optional<std::size_t>(0));
}

TEST_F(CidFontTest, CidToGidMapOfTrueType) {
  if (!std::filesystem::exists(kDejaVuSans)) GTEST_SKIP() << "no " << kDejaVuSans;
  // CID 1 to glyph 36 (DejaVu's A), CID 2 to glyph 0 (draws nothing).
  using namespace std::string_literals;
  QPDFObjectHandle descendant = Object(
      "<< /Type /Font /Subtype /CIDFontType2 /BaseFont /DejaVu"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 32 >> >>");
  descendant.getKey("/FontDescriptor").replaceKey("/FontFile2", FileStream(kDejaVuSans));
  descendant.replaceKey("/CIDToGIDMap", Stream("\x00\x00\x00\x24\x00\x00"s));
  QPDFObjectHandle dict =
      Object("<< /Type /Font /Subtype /Type0 /BaseFont /DejaVu /Encoding /Identity-H >>");
  dict.replaceKey("/DescendantFonts", QPDFObjectHandle::newArray({descendant}));
  auto font = Get(dict);
  EXPECT_EQ(font->Description().program, "TrueType");
  const auto g = Decode(*font, "\x00\x01\x00\x02\x00\x24"s);
  ASSERT_EQ(g.size(), 3u);
  ASSERT_TRUE(g[0].outline);
  EXPECT_DOUBLE_EQ(g[0].outline->GetBoundingBox().X(), 16 * 1000.0 / 2048);
  EXPECT_FALSE(g[1].outline);
  EXPECT_FALSE(g[2].outline);  // beyond the map
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

}  // namespace
}  // namespace QorPdf::internal
