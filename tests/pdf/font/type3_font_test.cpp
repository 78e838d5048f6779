// Type3 fonts: procedures by name through /Differences, widths through the
// FontMatrix, resources, and no outlines.
#include <gtest/gtest.h>

#include "font_test_support.h"

namespace QorPdf::internal {
namespace {

using Type3FontTest = FontTest;

TEST_F(Type3FontTest, ProceduresWidthsAndMatrix) {
  QPDFObjectHandle square = Stream("0 0 100 100 re f");
  QPDFObjectHandle bar = Stream("0 0 10 100 re f");
  QPDFObjectHandle procs = QPDFObjectHandle::newDictionary();
  procs.replaceKey("/square", square);
  procs.replaceKey("/bar", bar);
  QPDFObjectHandle dict = Object(
      "<< /Type /Font /Subtype /Type3 /Name /F3 /FontBBox [ 0 0 100 100 ]"
      "   /FontMatrix [ 0.01 0 0 0.02 0 0 ] /Encoding << /Differences [ 97 /square /bar"
      "   /missing ] >> /FirstChar 97 /LastChar 99 /Widths [ 50 70 30 ]"
      "   /Resources << /ProcSet [ /PDF ] >> >>");
  dict.replaceKey("/CharProcs", procs);
  auto font = Get(dict);
  ASSERT_TRUE(font);
  EXPECT_TRUE(font->IsType3());
  EXPECT_EQ(font->Description().subtype, "Type3");
  EXPECT_EQ(font->Description().name, "F3");
  const std::array<double, 6> matrix{0.01, 0, 0, 0.02, 0, 0};
  EXPECT_EQ(font->Type3Matrix(), matrix);
  ASSERT_TRUE(font->Type3Resources().isDictionary());
  EXPECT_TRUE(font->Type3Resources().getKey("/ProcSet").isArray());

  const auto g = Decode(*font, "abc d");
  ASSERT_EQ(g.size(), 5u);
  // w0 = width × a, for a font size of 1.
  EXPECT_DOUBLE_EQ(g[0].width, 0.5);
  EXPECT_DOUBLE_EQ(g[1].width, 0.7);
  EXPECT_DOUBLE_EQ(g[2].width, 0.3);
  EXPECT_DOUBLE_EQ(g[3].width, 0.0);
  EXPECT_TRUE(g[3].word_space);
  EXPECT_FALSE(g[0].word_space);
  for (const ShownGlyph& glyph : g)
    EXPECT_FALSE(glyph.outline);

  EXPECT_TRUE(font->Type3Procedure('a').isSameObjectAs(square));
  EXPECT_TRUE(font->Type3Procedure('b').isSameObjectAs(bar));
  EXPECT_FALSE(font->Type3Procedure('c').isStream());  // named, but no procedure
  EXPECT_FALSE(font->Type3Procedure('d').isStream());
  EXPECT_FALSE(font->Type3Procedure(1000).isStream());
  EXPECT_TRUE(warnings_.All().empty()) << WarningText();
}

TEST_F(Type3FontTest, BadMatrixFallsBackWithOneWarning) {
  auto font =
      Get(Object("<< /Type /Font /Subtype /Type3 /FontMatrix [ 0 0 0 0 0 0 ] /CharProcs << >>"
                 "   /Encoding << /Differences [ 65 /A ] >> /FirstChar 65 /Widths [ 500 ] >>"));
  const std::array<double, 6> matrix{0.001, 0, 0, 0.001, 0, 0};
  EXPECT_EQ(font->Type3Matrix(), matrix);
  EXPECT_DOUBLE_EQ(Decode(*font, "A")[0].width, 0.5);
  EXPECT_FALSE(font->Type3Resources().isDictionary());
  ASSERT_EQ(warnings_.All().size(), 1u) << WarningText();
  EXPECT_EQ(warnings_.All()[0].subject, "font (unnamed)");
}

}  // namespace
}  // namespace QorPdf::internal
