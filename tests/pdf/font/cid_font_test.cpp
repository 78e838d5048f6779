// Type0 fonts through the font cache: Identity-H two-byte decoding, /W and /DW
// widths, CIDToGIDMap, embedded CMaps with one- and two-byte codes, predefined CMap
// names, word spacing, and CJK substitutes for fonts without a program.
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

TEST_F(CidFontTest, PredefinedCMapsSplitOneAndTwoByteCodes) {
  // 90ms-RKSJ-H: A is CID 264 (one byte), hiragana a (82 A0) CID 843.
  auto font = Get(MakeType0(*this, QPDFObjectHandle::newName("/90ms-RKSJ-H"),
                            "/W [ 264 [ 500 ] 843 [ 1000 ] ] /DW 333"));
  using namespace std::string_literals;
  const auto g = Decode(*font, "A\x82\xa0 \x82"s);
  ASSERT_EQ(g.size(), 3u);  // the lone lead byte at the end is dropped
  EXPECT_EQ(g[0].code, 0x41u);
  EXPECT_DOUBLE_EQ(g[0].width, 0.5);
  EXPECT_EQ(g[1].code, 0x82A0u);
  EXPECT_DOUBLE_EQ(g[1].width, 1.0);
  EXPECT_TRUE(g[2].word_space);  // a one-byte 32
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();

  // A name that is not installed reads two-byte identity, with one warning.
  auto unknown = Get(MakeType0(*this, QPDFObjectHandle::newName("/Nonexistent-H"), ""));
  const auto u = Decode(*unknown, "\x00\x22\x30\x42"s);
  ASSERT_EQ(u.size(), 2u);
  EXPECT_TRUE(u[0].outline);
  EXPECT_EQ(u[1].code, 0x3042u);
  ASSERT_EQ(warnings_.All().size(), 1u) << WarningText();
  EXPECT_EQ(warnings_.All()[0].subject, "font Sans");
  EXPECT_NE(warnings_.All()[0].reason.find("Nonexistent-H"), std::string::npos);
}

// A Type0 font without an embedded program.
QPDFObjectHandle MakeBareType0(FontTest& t, const std::string& name, const std::string& encoding,
                               const std::string& ordering, int flags,
                               const std::string& subtype = "CIDFontType0") {
  QPDFObjectHandle descendant =
      t.Object("<< /Type /Font /Subtype /" + subtype + " /BaseFont /" + name +
               "   /CIDSystemInfo << /Registry (Adobe) /Ordering (" + ordering +
               ") /Supplement 0 >>"
               "   /FontDescriptor << /Type /FontDescriptor /FontName /" +
               name + " /Flags " + std::to_string(flags) + " >> >>");
  QPDFObjectHandle font = t.Object("<< /Type /Font /Subtype /Type0 /BaseFont /" + name +
                                   " /Encoding /" + encoding + " >>");
  font.replaceKey("/DescendantFonts", QPDFObjectHandle::newArray({descendant}));
  return font;
}

constexpr const char* kNotoSerif = "/usr/share/fonts/opentype/noto/NotoSerifCJK-Regular.ttc";
constexpr const char* kNotoSans = "/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc";

// The outline of a Unicode character in a face of a Noto CJK collection.
std::shared_ptr<const Morv::Compound> NotoGlyph(const char* path, const std::string& family,
                                                std::uint32_t unicode) {
  std::string error;
  auto program = FontProgram::OpenFileFace(MakeFreeTypeLibrary(), path, family, error);
  if (!program) return nullptr;
  return program->Outline(program->GlyphByCmap(3, 1, unicode).value_or(0));
}

void ExpectSameShape(const std::shared_ptr<const Morv::Compound>& actual,
                     const std::shared_ptr<const Morv::Compound>& expected, const char* what) {
  SCOPED_TRACE(what);
  ASSERT_TRUE(actual);
  ASSERT_TRUE(expected);
  EXPECT_EQ(actual->GetBoundingBox(), expected->GetBoundingBox());
  EXPECT_EQ(actual->GetSubpaths().size(), expected->GetSubpaths().size());
}

TEST_F(CidFontTest, FontsWithoutProgramDrawWithACjkSubstitute) {
  if (!std::filesystem::exists(kNotoSerif) || !std::filesystem::exists(kNotoSans)) {
    GTEST_SKIP() << "fonts-noto-cjk is not installed";
  }
  using namespace std::string_literals;
  // Japan1, a Mincho name: the Japanese serif face, CID 843 through Adobe-Japan1-UCS2.
  QPDFObjectHandle mincho_dict =
      MakeBareType0(*this, "KozMinPro-Regular", "UniJIS-UCS2-H", "Japan1", 4);
  auto mincho = Get(mincho_dict);
  EXPECT_EQ(mincho->Description().substitute, "NotoSerifCJK-Regular.ttc (Noto Serif CJK JP)");
  EXPECT_FALSE(mincho->Description().embedded);
  const auto m = Decode(*mincho, "\x30\x42\x4e\x00"s);
  ASSERT_EQ(m.size(), 2u);
  ExpectSameShape(m[0].outline, NotoGlyph(kNotoSerif, "Noto Serif CJK JP", 0x3042), "mincho a");
  ExpectSameShape(m[1].outline, NotoGlyph(kNotoSerif, "Noto Serif CJK JP", 0x4E00), "mincho one");
  EXPECT_DOUBLE_EQ(m[0].width, 1.0);
  // Once per font, however often it is shown.
  Decode(*Get(mincho_dict), "\x30\x42"s);
  ASSERT_EQ(warnings_.All().size(), 1u) << WarningText();
  EXPECT_NE(warnings_.All()[0].reason.find("substitute NotoSerifCJK-Regular.ttc"),
            std::string::npos);

  // GB1 with a sans name and the serif flag: the name decides.
  auto hei = Get(MakeBareType0(*this, "SimHei", "UniGB-UCS2-H", "GB1", 2));
  EXPECT_EQ(hei->Description().substitute, "NotoSansCJK-Regular.ttc (Noto Sans CJK SC)");
  ExpectSameShape(Decode(*hei, "\x4e\x00"s)[0].outline,
                  NotoGlyph(kNotoSans, "Noto Sans CJK SC", 0x4E00), "hei");
  // CNS1 without a telling name: the flags decide (serif here).
  auto ming = Get(MakeBareType0(*this, "Unnamed", "ETen-B5-H", "CNS1", 2));
  EXPECT_EQ(ming->Description().substitute, "NotoSerifCJK-Regular.ttc (Noto Serif CJK TC)");
  ExpectSameShape(Decode(*ming, "\xa4\x40"s)[0].outline,
                  NotoGlyph(kNotoSerif, "Noto Serif CJK TC", 0x4E00), "ming");

  // Identity ordering: the codes go through /ToUnicode; the name picks Korean.
  QPDFObjectHandle batang =
      MakeBareType0(*this, "Batang", "Identity-H", "Identity", 4, "CIDFontType2");
  batang.replaceKey("/ToUnicode", Stream("1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                                         "1 beginbfchar <0005> <AC00> endbfchar\n"));
  const auto b = Decode(*Get(batang), "\x00\x05\x00\x06"s);
  ASSERT_EQ(b.size(), 2u);
  ExpectSameShape(b[0].outline, NotoGlyph(kNotoSerif, "Noto Serif CJK KR", 0xAC00), "batang");
  EXPECT_FALSE(b[1].outline);  // not in /ToUnicode

  // A CMap that is not installed makes the CIDs a guess: /ToUnicode, when there is
  // one, finds the glyph instead of the collection's UCS2 CMap.
  QPDFObjectHandle guessed = MakeBareType0(*this, "KozGoPro-Medium", "No-Such-H", "Japan1", 4);
  guessed.replaceKey("/ToUnicode", Stream("1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                                          "1 beginbfchar <3042> <3042> endbfchar\n"));
  ExpectSameShape(Decode(*Get(guessed), "\x30\x42"s)[0].outline,
                  NotoGlyph(kNotoSans, "Noto Sans CJK JP", 0x3042), "guessed");

  // A Latin font exported as Type0 without a program: URW through /ToUnicode,
  // silently, as for a simple font of that name.
  QPDFObjectHandle arial =
      MakeBareType0(*this, "Arial", "Identity-H", "Identity", 32, "CIDFontType2");
  arial.replaceKey("/ToUnicode", Stream("1 begincodespacerange <0000> <FFFF> endcodespacerange\n"
                                        "1 beginbfchar <0024> <0041> endbfchar\n"));
  auto arial_font = Get(arial);
  EXPECT_EQ(arial_font->Description().substitute, "NimbusSans-Regular.otf");
  std::string error;
  auto nimbus = FontProgram::OpenFile(MakeFreeTypeLibrary(),
                                      std::string(kUrwType1) + "NimbusSans-Regular.t1", error);
  ASSERT_TRUE(nimbus) << error;
  ExpectSameShape(Decode(*arial_font, "\x00\x24"s)[0].outline,
                  nimbus->Outline(nimbus->GlyphByName("A")), "arial");
  EXPECT_EQ(WarningText().find("font Arial"), std::string::npos) << WarningText();

  // Without a collection or /ToUnicode nothing can be drawn: one warning says so.
  warnings_ = WarningList();
  const auto none =
      Decode(*Get(MakeBareType0(*this, "Custom", "Identity-H", "Identity", 4)), "\x00\x05"s);
  ASSERT_EQ(none.size(), 1u);
  EXPECT_FALSE(none[0].outline);
  ASSERT_EQ(warnings_.All().size(), 1u) << WarningText();
  EXPECT_NE(warnings_.All()[0].reason.find("drawn without glyphs"), std::string::npos);

  // A simple font with a CJK name: its Latin letters from the CJK face.
  auto gothic = Get(
      Object("<< /Type /Font /Subtype /TrueType /BaseFont /MS-Gothic /Encoding /WinAnsiEncoding"
             "   /FontDescriptor << /Type /FontDescriptor /FontName /MS-Gothic /Flags 32 >> >>"));
  EXPECT_EQ(gothic->Description().substitute, "NotoSansCJK-Regular.ttc (Noto Sans CJK JP)");
  ExpectSameShape(Decode(*gothic, "A")[0].outline, NotoGlyph(kNotoSans, "Noto Sans CJK JP", 0x41),
                  "gothic A");
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
