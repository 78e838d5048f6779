// Simple fonts through the font cache: standard 14 substitutes and their widths,
// base encodings and /Differences, /Widths with MissingWidth, embedded Type1,
// OpenType and TrueType programs, and glyph units.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "font/encodings.h"
#include "font/font_program.h"
#include "font_test_support.h"

namespace QorPdf::internal {
namespace {

using SimpleFontTest = FontTest;

TEST_F(SimpleFontTest, StandardFontWithoutWidthsUsesTheSubstitute) {
  auto font = Get(Object("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"));
  ASSERT_TRUE(font);
  EXPECT_FALSE(font->IsType3());
  EXPECT_EQ(font->Description().name, "Helvetica");
  EXPECT_EQ(font->Description().subtype, "Type1");
  EXPECT_EQ(font->Description().program, "none");
  EXPECT_FALSE(font->Description().embedded);
  EXPECT_EQ(font->Description().substitute, "NimbusSans-Regular.otf");

  const auto glyphs = Decode(*font, "A A");
  ASSERT_EQ(glyphs.size(), 3u);
  EXPECT_EQ(glyphs[0].code, 65u);
  ASSERT_TRUE(glyphs[0].outline);
  EXPECT_DOUBLE_EQ(glyphs[0].width, 0.667);
  EXPECT_FALSE(glyphs[0].word_space);
  // A space draws nothing, advances by its width and takes word spacing.
  EXPECT_FALSE(glyphs[1].outline);
  EXPECT_DOUBLE_EQ(glyphs[1].width, 0.278);
  EXPECT_TRUE(glyphs[1].word_space);
  // Outlines are made once per glyph and shared.
  EXPECT_EQ(glyphs[2].outline, glyphs[0].outline);

  // Glyph units: the A of NimbusSans spans (17, 0)-(653, 729) per 1000 em, all lines.
  const auto& box = glyphs[0].outline->GetBoundingBox();
  EXPECT_DOUBLE_EQ(box.X(), 17.0);
  EXPECT_DOUBLE_EQ(box.Y(), 0.0);
  EXPECT_DOUBLE_EQ(box.Width(), 636.0);
  EXPECT_DOUBLE_EQ(box.Height(), 729.0);
  EXPECT_EQ(glyphs[0].outline->GetWindingRule(), Morv::kNonZero);

  // The same dictionary gives the same font; a standard font is no problem.
  QPDFObjectHandle times = Object("<< /Type /Font /Subtype /Type1 /BaseFont /Times-Bold >>");
  EXPECT_EQ(Get(times), Get(times));
  EXPECT_EQ(Get(times)->Description().substitute, "NimbusRoman-Bold.otf");
  EXPECT_DOUBLE_EQ(Decode(*Get(times), "A")[0].width, 0.722);
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(SimpleFontTest, SymbolUsesItsBuiltInEncoding) {
  auto symbol = Get(Object("<< /Type /Font /Subtype /Type1 /BaseFont /Symbol >>"));
  EXPECT_EQ(symbol->Description().substitute, "StandardSymbolsPS.t1");
  const auto glyphs = Decode(*symbol, "a");  // alpha
  ASSERT_TRUE(glyphs[0].outline);
  EXPECT_DOUBLE_EQ(glyphs[0].width, 0.631);
  auto dingbats = Get(Object("<< /Type /Font /Subtype /Type1 /BaseFont /ZapfDingbats >>"));
  EXPECT_EQ(dingbats->Description().substitute, "D050000L.t1");
  EXPECT_TRUE(Decode(*dingbats, "4")[0].outline);
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(SimpleFontTest, EncodingsDifferencesAndWidths) {
  // WinAnsi 351 octal is eacute where StandardEncoding has Oslash; 200 octal is the
  // Euro, which StandardEncoding lacks.
  auto win = Get(
      Object("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /Encoding /WinAnsiEncoding >>"));
  auto standard =
      Get(Object("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica"
                 "   /Encoding << /Differences [ 66 /A 233 /eacute /Euro ] >> >>"));
  const auto w = Decode(*win,
                        "\xE9\x80"
                        "AB");
  const auto s = Decode(*standard,
                        "\xE9\xEA"
                        "AB");
  ASSERT_TRUE(w[0].outline);
  ASSERT_TRUE(w[1].outline);
  EXPECT_EQ(s[0].outline, w[0].outline);  // eacute
  EXPECT_EQ(s[1].outline, w[1].outline);  // Euro, the code after 233
  EXPECT_DOUBLE_EQ(w[1].width, 0.556);
  EXPECT_EQ(s[2].outline, w[2].outline);  // A
  EXPECT_EQ(s[3].outline, w[2].outline);  // B renamed to A
  EXPECT_NE(w[3].outline, w[2].outline);
  auto plain = Get(Object("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>"));
  EXPECT_NE(Decode(*plain, "\xE9")[0].outline, w[0].outline);  // Oslash

  // /Widths from FirstChar; other codes take the descriptor's MissingWidth, or 0.
  auto widths =
      Get(Object("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /FirstChar 65 /LastChar 66"
                 "   /Widths [ 500 612.5 ] /FontDescriptor << /Type /FontDescriptor /FontName "
                 "   /Helvetica /Flags 32 /MissingWidth 250 >> >>"));
  const auto g = Decode(*widths, "ABC@");
  EXPECT_DOUBLE_EQ(g[0].width, 0.5);
  EXPECT_DOUBLE_EQ(g[1].width, 0.6125);
  EXPECT_DOUBLE_EQ(g[2].width, 0.25);
  EXPECT_DOUBLE_EQ(g[3].width, 0.25);
  auto no_missing = Get(Object(
      "<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica /FirstChar 65 /Widths [ 500 ] >>"));
  EXPECT_DOUBLE_EQ(Decode(*no_missing, "B")[0].width, 0.0);
  EXPECT_TRUE(Decode(*no_missing, "B")[0].outline);
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(SimpleFontTest, EmbeddedType1AndOpenTypePrograms) {
  QPDFObjectHandle type1 = Object(
      "<< /Type /Font /Subtype /Type1 /BaseFont /ABCDEF+Sans /FirstChar 65 /Widths [ 667 ]"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 32 >> >>");
  type1.getKey("/FontDescriptor")
      .replaceKey("/FontFile", FileStream(std::string(kUrwType1) + "NimbusSans-Regular.t1",
                                          "<< /Length1 0 /Length2 0 /Length3 0 >>"));
  auto t1 = Get(type1);
  EXPECT_EQ(t1->Description().name, "ABCDEF+Sans");
  EXPECT_EQ(t1->Description().program, "Type1");
  EXPECT_TRUE(t1->Description().embedded);
  EXPECT_EQ(t1->Description().substitute, "");
  const auto a = Decode(*t1, "A");  // through the program's built-in encoding
  ASSERT_TRUE(a[0].outline);
  EXPECT_DOUBLE_EQ(a[0].outline->GetBoundingBox().X(), 17.0);
  EXPECT_DOUBLE_EQ(a[0].outline->GetBoundingBox().Height(), 729.0);

  QPDFObjectHandle otf = Object(
      "<< /Type /Font /Subtype /Type1 /BaseFont /Sans /Encoding /WinAnsiEncoding"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 32 >> >>");
  otf.getKey("/FontDescriptor")
      .replaceKey("/FontFile3", FileStream(std::string(kUrwOpenType) + "NimbusSans-Regular.otf",
                                           "<< /Subtype /OpenType >>"));
  auto o = Get(otf);
  EXPECT_EQ(o->Description().program, "OpenType");
  const auto glyphs = Decode(*o, "A\xE9");
  ASSERT_TRUE(glyphs[0].outline);
  ASSERT_TRUE(glyphs[1].outline);
  EXPECT_DOUBLE_EQ(glyphs[0].outline->GetBoundingBox().X(), 17.0);
  EXPECT_DOUBLE_EQ(glyphs[0].outline->GetBoundingBox().Width(), 636.0);
  // No /Widths: the embedded program's advances.
  EXPECT_DOUBLE_EQ(glyphs[0].width, 0.667);
  EXPECT_DOUBLE_EQ(glyphs[1].width, 0.556);
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(SimpleFontTest, Type1FontMatrixScalesGlyphUnits) {
  // The same program with a FontMatrix of 0.0005: glyphs of half the size, as glyph
  // units stay 1000 per text-space unit.
  auto program = ReadFile(std::string(kUrwType1) + "NimbusSans-Regular.t1");
  ASSERT_TRUE(program);
  const std::string standard = "/FontMatrix [0.001 0.0 0.0 0.001 0.0 0.0]";
  const auto at = program->find(standard);
  ASSERT_NE(at, std::string::npos);
  std::string half = "/FontMatrix [0.0005 0 0 0.0005 0 0]";
  half.resize(standard.size(), ' ');
  program->replace(at, standard.size(), half);
  QPDFObjectHandle dict = Object(
      "<< /Type /Font /Subtype /Type1 /BaseFont /Half"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 32 >> >>");
  dict.getKey("/FontDescriptor").replaceKey("/FontFile", Stream(*program));
  const auto a = Decode(*Get(dict), "A");
  ASSERT_TRUE(a[0].outline);
  const auto& box = a[0].outline->GetBoundingBox();
  EXPECT_DOUBLE_EQ(box.X(), 8.5);
  EXPECT_DOUBLE_EQ(box.Width(), 318.0);
  EXPECT_DOUBLE_EQ(box.Height(), 364.5);
  EXPECT_DOUBLE_EQ(a[0].width, 0.3335);
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(SimpleFontTest, EmbeddedTrueType) {
  if (!std::filesystem::exists(kDejaVuSans)) GTEST_SKIP() << "no " << kDejaVuSans;
  // Non-symbolic: names through Unicode to the (3,1) cmap. DejaVu Sans has 2048 units
  // per em; its A spans (16, 0)-(1384, 1493) and advances 1401 units.
  QPDFObjectHandle dict = Object(
      "<< /Type /Font /Subtype /TrueType /BaseFont /DejaVuSans /Encoding /WinAnsiEncoding"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 32 >> >>");
  dict.getKey("/FontDescriptor").replaceKey("/FontFile2", FileStream(kDejaVuSans));
  auto font = Get(dict);
  EXPECT_EQ(font->Description().program, "TrueType");
  const auto glyphs = Decode(*font, "A\x80 ");
  ASSERT_TRUE(glyphs[0].outline);
  const auto& box = glyphs[0].outline->GetBoundingBox();
  EXPECT_DOUBLE_EQ(box.X(), 16 * 1000.0 / 2048);
  EXPECT_DOUBLE_EQ(box.Y(), 0.0);
  EXPECT_DOUBLE_EQ(box.Width(), (1384 - 16) * 1000.0 / 2048);
  EXPECT_DOUBLE_EQ(box.Height(), 1493 * 1000.0 / 2048);
  EXPECT_DOUBLE_EQ(glyphs[0].width, 1401 / 2048.0);
  EXPECT_TRUE(glyphs[1].outline);  // Euro
  EXPECT_FALSE(glyphs[2].outline);
  EXPECT_TRUE(glyphs[2].word_space);

  // Symbolic without a (3,0) cmap: the code goes to the (1,0) cmap, then (3,1).
  QPDFObjectHandle symbolic = Object(
      "<< /Type /Font /Subtype /TrueType /BaseFont /DejaVuSymbolic"
      "   /FontDescriptor << /Type /FontDescriptor /Flags 4 >> >>");
  symbolic.getKey("/FontDescriptor").replaceKey("/FontFile2", FileStream(kDejaVuSans));
  auto sym = Get(symbolic);
  EXPECT_DOUBLE_EQ(Decode(*sym, "A")[0].outline->GetBoundingBox().X(), box.X());

  // The cmap lookups of the program itself.
  std::string error;
  auto program = FontProgram::OpenFile(MakeFreeTypeLibrary(), kDejaVuSans, error);
  ASSERT_TRUE(program) << error;
  EXPECT_EQ(program->GlyphByCmap(3, 1, 'A'), 36u);
  EXPECT_FALSE(program->GlyphByCmap(3, 0, 'A').has_value());
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

// After a few lookups names are looked up in a table of the program's names instead
// of by FreeType: both give the same glyph for every name of the base encodings, for
// names a program lacks and for .notdef, in Type1, OpenType (CFF) and TrueType
// programs.
TEST_F(SimpleFontTest, NameTableFindsWhatFreeTypeFinds) {
  std::vector<std::string> names = {".notdef", "nosuchglyph", "uni0041", "Euro", "fi", "ff"};
  for (const EncodingTable* table :
       {&StandardEncoding(), &WinAnsiEncoding(), &MacRomanEncoding()}) {
    for (const char* name : *table) {
      if (name != nullptr) names.emplace_back(name);
    }
  }
  std::vector<std::string> files = {std::string(kUrwType1) + "NimbusSans-Regular.t1",
                                    std::string(kUrwOpenType) + "NimbusSans-Regular.otf"};
  if (std::filesystem::exists(kDejaVuSans)) files.emplace_back(kDejaVuSans);
  const FreeTypeLibrary library = MakeFreeTypeLibrary();
  for (const std::string& file : files) {
    std::string error;
    const auto table = FontProgram::OpenFile(library, file, error);
    ASSERT_TRUE(table) << file << ": " << error;
    ASSERT_TRUE(table->HasGlyphNames()) << file;
    std::size_t found = 0;
    for (std::size_t first = 0; first < names.size(); first += 8) {
      // A fresh program answers its first lookups through FreeType.
      const auto fresh = FontProgram::OpenFile(library, file, error);
      for (std::size_t i = first; i < std::min(first + 8, names.size()); ++i) {
        const unsigned glyph = fresh->GlyphByName(names[i].c_str());
        EXPECT_EQ(table->GlyphByName(names[i].c_str()), glyph) << file << " " << names[i];
        found += glyph != 0;
      }
    }
    EXPECT_GT(found, 150u) << file;
  }
}

}  // namespace
}  // namespace QorPdf::internal
