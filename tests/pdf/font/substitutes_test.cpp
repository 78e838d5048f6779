// Choosing URW and CJK substitutes by name and by descriptor flags.
#include "font/substitutes.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "font/cjk_substitutes.h"
#include "font/encodings.h"
#include "font/font_program.h"

namespace QorPdf::internal {
namespace {

TEST(SubstitutesTest, NamesAndFlags) {
  const SubstituteHints none;
  // The standard 14, then aliases in their usual spellings, subset prefixes included,
  // then unknown names without flags (style by the name).
  // clang-format off
  const std::pair<const char*, const char*> names[] = {
      {"Helvetica", "NimbusSans-Regular"}, {"Helvetica-BoldOblique", "NimbusSans-BoldItalic"},
      {"Times-Roman", "NimbusRoman-Regular"}, {"Times-BoldItalic", "NimbusRoman-BoldItalic"},
      {"Courier-Oblique", "NimbusMonoPS-Italic"}, {"Symbol", "StandardSymbolsPS"},
      {"ZapfDingbats", "D050000L"}, {"Arial,BoldItalic", "NimbusSans-BoldItalic"},
      {"ABCDEF+Arial-BoldMT", "NimbusSans-Bold"}, {"ArialMT", "NimbusSans-Regular"},
      {"ArialNarrow-Bold", "NimbusSansNarrow-Bold"},
      {"TimesNewRomanPS-ItalicMT", "NimbusRoman-Italic"},
      {"Times New Roman,Bold", "NimbusRoman-Bold"}, {"CourierNewPSMT", "NimbusMonoPS-Regular"},
      {"SymbolMT", "StandardSymbolsPS"}, {"Palatino-Bold", "P052-Bold"},
      {"Bookman-DemiItalic", "URWBookman-DemiItalic"}, {"AvantGarde-Book", "URWGothic-Book"},
      {"NewCenturySchlbk-Italic", "C059-Italic"},
      {"ZapfChancery-MediumItalic", "Z003-MediumItalic"}, {"Frutiger", "NimbusSans-Regular"},
      {"Frutiger-Bold", "NimbusSans-Bold"}, {"FrutigerCondensed", "NimbusSansNarrow-Regular"},
  };
  // clang-format on
  for (const auto& [name, substitute] : names)
    EXPECT_EQ(SubstituteName(name, none), substitute) << name;
  // A known family takes its style from the name only.
  SubstituteHints bold_italic;
  bold_italic.bold = bold_italic.italic = true;
  EXPECT_EQ(SubstituteName("Helvetica", bold_italic), "NimbusSans-Regular");

  // Unknown names: family by the flags, style by the name or the flags.
  SubstituteHints serif;
  serif.serif = true;
  EXPECT_EQ(SubstituteName("Garamond-Italic", serif), "NimbusRoman-Italic");
  SubstituteHints mono;
  mono.fixed_pitch = mono.serif = true;
  EXPECT_EQ(SubstituteName("Consolas", mono), "NimbusMonoPS-Regular");
  EXPECT_EQ(SubstituteName("Minion", bold_italic), "NimbusSans-BoldItalic");

  ASSERT_TRUE(SubstituteFile("NimbusSans-Regular").has_value());
  EXPECT_EQ(*SubstituteFile("NimbusSans-Regular"),
            "/usr/share/fonts/opentype/urw-base35/NimbusSans-Regular.otf");
  EXPECT_EQ(*SubstituteFile("StandardSymbolsPS"),
            "/usr/share/fonts/type1/urw-base35/StandardSymbolsPS.t1");
  EXPECT_FALSE(SubstituteFile("NoSuchFont").has_value());
}

// Whether two outlines are the same, point for point.
bool SameOutline(const std::shared_ptr<const Morv::Compound>& a,
                 const std::shared_ptr<const Morv::Compound>& b) {
  if (!a || !b) return !a && !b;
  if (a->GetSubpaths().size() != b->GetSubpaths().size()) return false;
  for (std::size_t i = 0; i < a->GetSubpaths().size(); ++i) {
    const Morv::Subpath& s = a->GetSubpaths()[i];
    const Morv::Subpath& t = b->GetSubpaths()[i];
    if (!(s.Start() == t.Start()) || s.Segments() != t.Segments() || s.IsClosed() != t.IsClosed()) {
      return false;
    }
  }
  return true;
}

// The Latin substitutes are drawn from their OpenType files, which are faster to
// open; that changes no glyph only while they hold the Type 1 files' glyphs. Every
// family, through every way a code finds a glyph: names of the base encodings, the
// built-in encoding, the Unicode cmap; and the advances.
TEST(SubstitutesTest, OpenTypeSubstitutesDrawTheType1Glyphs) {
  const std::string families[] = {"NimbusSans",       "NimbusRoman", "NimbusMonoPS",
                                  "NimbusSansNarrow", "C059",        "P052",
                                  "URWBookman",       "URWGothic",   "Z003"};
  std::vector<const char*> names;
  for (const EncodingTable* table :
       {&StandardEncoding(), &WinAnsiEncoding(), &MacRomanEncoding()}) {
    for (const char* name : *table) {
      if (name != nullptr) names.push_back(name);
    }
  }
  const FreeTypeLibrary library = MakeFreeTypeLibrary();
  for (const std::string& family : families) {
    const std::string face = family == "Z003"                       ? "Z003-MediumItalic"
                             : family == "URWBookman"               ? "URWBookman-Light"
                             : family == "URWGothic"                ? "URWGothic-Book"
                             : family == "C059" || family == "P052" ? family + "-Roman"
                                                                    : family + "-Regular";
    const std::optional<std::string> file = SubstituteFile(face);
    ASSERT_TRUE(file.has_value()) << face;
    const std::string type1 = "/usr/share/fonts/type1/urw-base35/" + face + ".t1";
    if (!std::filesystem::exists(type1)) continue;
    EXPECT_NE(*file, type1) << face;
    std::string error;
    const auto chosen = FontProgram::OpenFile(library, *file, error);
    const auto reference = FontProgram::OpenFile(library, type1, error);
    ASSERT_TRUE(chosen && reference) << face << ": " << error;
    auto same_glyph = [&](unsigned a, unsigned b) {
      return (a == 0) == (b == 0) && SameOutline(chosen->Outline(a), reference->Outline(b)) &&
             chosen->Advance(a) == reference->Advance(b);
    };
    for (const char* name : names) {
      EXPECT_TRUE(same_glyph(chosen->GlyphByName(name), reference->GlyphByName(name)))
          << face << " " << name;
    }
    for (std::uint32_t code = 0; code < 256; ++code) {
      EXPECT_TRUE(
          same_glyph(chosen->GlyphByBuiltInEncoding(code), reference->GlyphByBuiltInEncoding(code)))
          << face << " code " << code;
    }
    for (std::uint32_t unicode = 0; unicode < 0x10000; ++unicode) {
      const unsigned a = chosen->GlyphByCmap(3, 1, unicode).value_or(0);
      const unsigned b = reference->GlyphByCmap(3, 1, unicode).value_or(0);
      if (a != 0 || b != 0) {
        EXPECT_TRUE(same_glyph(a, b)) << face << " U+" << std::hex << unicode;
      }
    }
  }
}

TEST(SubstitutesTest, CjkCollectionsAndStyles) {
  using C = CjkCollection;
  EXPECT_EQ(CollectionOfFontName("MS-Mincho"), C::kJapan1);
  EXPECT_EQ(CollectionOfFontName("ABCDEF+MS-PGothic"), C::kJapan1);
  EXPECT_EQ(CollectionOfFontName("HeiseiKakuGo-W5"), C::kJapan1);
  EXPECT_EQ(CollectionOfFontName("SimSun,Bold"), C::kGB1);
  EXPECT_EQ(CollectionOfFontName("STSong-Light"), C::kGB1);
  EXPECT_EQ(CollectionOfFontName("PMingLiU"), C::kCNS1);
  EXPECT_EQ(CollectionOfFontName("MSung-Light"), C::kCNS1);
  EXPECT_EQ(CollectionOfFontName("HYSMyeongJo-Medium"), C::kKorea1);
  EXPECT_EQ(CollectionOfFontName("Batang"), C::kKorea1);
  // Latin families with Gothic or Song-like names are no CJK fonts.
  EXPECT_EQ(CollectionOfFontName("CenturyGothic"), std::nullopt);
  EXPECT_EQ(CollectionOfFontName("URWGothic-Book"), std::nullopt);
  EXPECT_EQ(CollectionOfFontName("Helvetica"), std::nullopt);

  EXPECT_EQ(CollectionOfOrdering("Japan1"), C::kJapan1);
  EXPECT_EQ(CollectionOfOrdering("KR"), C::kKorea1);
  EXPECT_EQ(CollectionOfOrdering("Identity"), std::nullopt);
  EXPECT_STREQ(UnicodeCMapName(C::kCNS1), "Adobe-CNS1-UCS2");

  SubstituteHints serif;
  serif.serif = true;
  const SubstituteHints none;
  // The name decides; "HeiseiMin" is serif although it holds "hei".
  EXPECT_TRUE(IsSerifCjk("HeiseiMin-W3", none));
  EXPECT_FALSE(IsSerifCjk("HeiseiKakuGo-W5", serif));
  EXPECT_TRUE(IsSerifCjk("MSung-Light", none));
  EXPECT_FALSE(IsSerifCjk("SimHei", serif));
  // Otherwise the flags.
  EXPECT_TRUE(IsSerifCjk("ABCDEF+Custom", serif));
  EXPECT_FALSE(IsSerifCjk("ABCDEF+Custom", none));
}

}  // namespace
}  // namespace QorPdf::internal
