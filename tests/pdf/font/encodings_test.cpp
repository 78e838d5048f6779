// The base encoding tables and glyph names to Unicode.
#include "font/encodings.h"

#include <gtest/gtest.h>

#include <string>

namespace QorPdf::internal {
namespace {

TEST(EncodingsTest, TablesAndNames) {
  EXPECT_STREQ(StandardEncoding()[047], "quoteright");
  EXPECT_STREQ(StandardEncoding()[0140], "quoteleft");
  EXPECT_STREQ(StandardEncoding()[0351], "Oslash");
  EXPECT_EQ(StandardEncoding()[0200], nullptr);
  EXPECT_STREQ(WinAnsiEncoding()[047], "quotesingle");
  EXPECT_STREQ(WinAnsiEncoding()[0200], "Euro");
  EXPECT_STREQ(WinAnsiEncoding()[0351], "eacute");
  EXPECT_STREQ(WinAnsiEncoding()[0240], "space");
  EXPECT_STREQ(WinAnsiEncoding()[0255], "hyphen");
  EXPECT_STREQ(WinAnsiEncoding()[0201], "bullet");
  EXPECT_STREQ(MacRomanEncoding()[0200], "Adieresis");
  EXPECT_STREQ(MacRomanEncoding()[0333], "currency");
  EXPECT_EQ(MacRomanEncoding()[0360], nullptr);
  EXPECT_EQ(EncodingByName("WinAnsiEncoding"), &WinAnsiEncoding());
  EXPECT_EQ(EncodingByName("MacExpertEncoding"), nullptr);

  // Every name of every table has its Unicode value (this also checks that the
  // name table is sorted for its binary search).
  for (const EncodingTable* table :
       {&StandardEncoding(), &WinAnsiEncoding(), &MacRomanEncoding()}) {
    for (const char* name : *table) {
      if (name == nullptr) continue;
      EXPECT_TRUE(GlyphNameToUnicode(name).has_value()) << name;
    }
  }
  EXPECT_EQ(GlyphNameToUnicode("A"), 0x41u);
  EXPECT_EQ(GlyphNameToUnicode("zero"), 0x30u);
  EXPECT_EQ(GlyphNameToUnicode("Euro"), 0x20ACu);
  EXPECT_EQ(GlyphNameToUnicode("quoteright"), 0x2019u);
  EXPECT_EQ(GlyphNameToUnicode("fi"), 0xFB01u);
  EXPECT_EQ(GlyphNameToUnicode("minus"), 0x2212u);
  EXPECT_EQ(GlyphNameToUnicode("a.sc"), 0x61u);
  EXPECT_EQ(GlyphNameToUnicode("uni20AC"), 0x20ACu);
  EXPECT_EQ(GlyphNameToUnicode("u1F600"), 0x1F600u);
  EXPECT_FALSE(GlyphNameToUnicode("uni20ac").has_value());  // lower case is no hex here
  EXPECT_FALSE(GlyphNameToUnicode("uni20A").has_value());
  EXPECT_FALSE(GlyphNameToUnicode("g123").has_value());
  EXPECT_FALSE(GlyphNameToUnicode("").has_value());

  EXPECT_EQ(MacRomanCode("Adieresis"), 0200);
  EXPECT_EQ(MacRomanCode("A"), 'A');
  EXPECT_FALSE(MacRomanCode("Euro").has_value());
}

}  // namespace
}  // namespace QorPdf::internal
