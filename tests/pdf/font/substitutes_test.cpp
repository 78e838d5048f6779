// Choosing URW and CJK substitutes by name and by descriptor flags.
#include "font/substitutes.h"

#include <gtest/gtest.h>

#include "font/cjk_substitutes.h"

namespace QorPdf::internal {
namespace {

TEST(SubstitutesTest, NamesAndFlags) {
  const SubstituteHints none;
  // The standard 14.
  EXPECT_EQ(SubstituteName("Helvetica", none), "NimbusSans-Regular");
  EXPECT_EQ(SubstituteName("Helvetica-BoldOblique", none), "NimbusSans-BoldItalic");
  EXPECT_EQ(SubstituteName("Times-Roman", none), "NimbusRoman-Regular");
  EXPECT_EQ(SubstituteName("Times-BoldItalic", none), "NimbusRoman-BoldItalic");
  EXPECT_EQ(SubstituteName("Courier-Oblique", none), "NimbusMonoPS-Italic");
  EXPECT_EQ(SubstituteName("Symbol", none), "StandardSymbolsPS");
  EXPECT_EQ(SubstituteName("ZapfDingbats", none), "D050000L");
  // Aliases in their usual spellings, subset prefixes included.
  EXPECT_EQ(SubstituteName("Arial,BoldItalic", none), "NimbusSans-BoldItalic");
  EXPECT_EQ(SubstituteName("ABCDEF+Arial-BoldMT", none), "NimbusSans-Bold");
  EXPECT_EQ(SubstituteName("ArialMT", none), "NimbusSans-Regular");
  EXPECT_EQ(SubstituteName("ArialNarrow-Bold", none), "NimbusSansNarrow-Bold");
  EXPECT_EQ(SubstituteName("TimesNewRomanPS-ItalicMT", none), "NimbusRoman-Italic");
  EXPECT_EQ(SubstituteName("Times New Roman,Bold", none), "NimbusRoman-Bold");
  EXPECT_EQ(SubstituteName("CourierNewPSMT", none), "NimbusMonoPS-Regular");
  EXPECT_EQ(SubstituteName("SymbolMT", none), "StandardSymbolsPS");
  EXPECT_EQ(SubstituteName("Palatino-Bold", none), "P052-Bold");
  EXPECT_EQ(SubstituteName("Bookman-DemiItalic", none), "URWBookman-DemiItalic");
  EXPECT_EQ(SubstituteName("AvantGarde-Book", none), "URWGothic-Book");
  EXPECT_EQ(SubstituteName("NewCenturySchlbk-Italic", none), "C059-Italic");
  EXPECT_EQ(SubstituteName("ZapfChancery-MediumItalic", none), "Z003-MediumItalic");
  // A known family takes its style from the name only.
  SubstituteHints bold_italic;
  bold_italic.bold = bold_italic.italic = true;
  EXPECT_EQ(SubstituteName("Helvetica", bold_italic), "NimbusSans-Regular");

  // Unknown names: family by the flags, style by the name or the flags.
  EXPECT_EQ(SubstituteName("Frutiger", none), "NimbusSans-Regular");
  EXPECT_EQ(SubstituteName("Frutiger-Bold", none), "NimbusSans-Bold");
  EXPECT_EQ(SubstituteName("FrutigerCondensed", none), "NimbusSansNarrow-Regular");
  SubstituteHints serif;
  serif.serif = true;
  EXPECT_EQ(SubstituteName("Garamond-Italic", serif), "NimbusRoman-Italic");
  SubstituteHints mono;
  mono.fixed_pitch = mono.serif = true;
  EXPECT_EQ(SubstituteName("Consolas", mono), "NimbusMonoPS-Regular");
  EXPECT_EQ(SubstituteName("Minion", bold_italic), "NimbusSans-BoldItalic");

  ASSERT_TRUE(SubstituteFile("NimbusSans-Regular").has_value());
  EXPECT_EQ(*SubstituteFile("NimbusSans-Regular"),
            "/usr/share/fonts/type1/urw-base35/NimbusSans-Regular.t1");
  EXPECT_FALSE(SubstituteFile("NoSuchFont").has_value());
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
