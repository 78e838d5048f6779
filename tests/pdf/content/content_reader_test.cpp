// Grouping content tokens into operators: numbers and operator words are read
// directly, everything else by qpdf's tokenizer; both must agree on every value and
// on where one token ends and the next begins.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "content/content_reader.h"

namespace QorPdf::internal {
namespace {

struct Read {
  std::string op;
  std::vector<Operand> operands;
};

std::vector<Read> ReadAll(const std::string& data) {
  ContentReader reader(data, "test");
  std::vector<Read> out;
  Read r;
  while (reader.Next(r.op, r.operands))
    out.push_back(r);
  return out;
}

TEST(ContentReader, NumbersAndWordsAreReadAsQpdfReadsThem) {
  const std::vector<Read> read = ReadAll(
      "1 -2.5 +3 .5 -.25 5. 0.000001 007 re\n"
      "1.2.3 -- + . 4 m\r"
      "true false null 1 TL"
      "/Name(str)2 Tf[1 2]TJ 3%comment\n4 d0 q Q\f\t' \" 9 T*");
  ASSERT_EQ(read.size(), 15u);

  EXPECT_EQ(read[0].op, "re");
  const double numbers[] = {1.0, -2.5, 3.0, 0.5, -0.25, 5.0, 0.000001, 7.0};
  ASSERT_EQ(read[0].operands.size(), std::size(numbers));
  for (std::size_t i = 0; i < std::size(numbers); ++i) {
    EXPECT_TRUE(read[0].operands[i].IsNumber()) << i;
    EXPECT_EQ(read[0].operands[i].number, numbers[i]) << i;
  }

  // Not plain numbers: qpdf's words, which the operator grouping skips as operators
  // without operands, then the 4 before m.
  EXPECT_EQ(read[1].op, "1.2.3");
  EXPECT_EQ(read[2].op, "--");
  EXPECT_EQ(read[3].op, "+");
  EXPECT_EQ(read[4].op, ".");
  EXPECT_EQ(read[5].op, "m");
  ASSERT_EQ(read[5].operands.size(), 1u);
  EXPECT_EQ(read[5].operands[0].number, 4.0);

  // Keywords are operands, not operators.
  EXPECT_EQ(read[6].op, "TL");
  ASSERT_EQ(read[6].operands.size(), 4u);
  EXPECT_EQ(read[6].operands[0].kind, Operand::Kind::kBool);
  EXPECT_TRUE(read[6].operands[0].boolean);
  EXPECT_FALSE(read[6].operands[1].boolean);
  EXPECT_EQ(read[6].operands[2].kind, Operand::Kind::kNull);
  EXPECT_EQ(read[6].operands[3].number, 1.0);

  // Delimiters end numbers and words (the slash ends TL, the bracket Tf).
  EXPECT_EQ(read[7].op, "Tf");
  ASSERT_EQ(read[7].operands.size(), 3u);
  EXPECT_EQ(read[7].operands[0].text, "Name");
  EXPECT_EQ(read[7].operands[1].text, "str");
  EXPECT_EQ(read[7].operands[2].number, 2.0);
  EXPECT_EQ(read[8].op, "TJ");
  ASSERT_EQ(read[8].operands.size(), 1u);
  EXPECT_EQ(read[8].operands[0].elements.size(), 2u);

  // A comment ends the 3 and is skipped; the quote and star operators are words.
  EXPECT_EQ(read[9].op, "d0");
  ASSERT_EQ(read[9].operands.size(), 2u);
  EXPECT_EQ(read[9].operands[1].number, 4.0);
  EXPECT_EQ(read[12].op, "'");
  EXPECT_EQ(read[13].op, "\"");
  EXPECT_EQ(read[14].op, "T*");
  ASSERT_EQ(read[14].operands.size(), 1u);
}

TEST(ContentReader, InlineImagesFollowDirectlyReadOperators) {
  const std::vector<Read> read = ReadAll("q 1 0 0 1 0 0 cm BI /W 2 /H 1 /BPC 8 ID \x01\x02 EI Q");
  ASSERT_EQ(read.size(), 4u);
  EXPECT_EQ(read[1].op, "cm");
  EXPECT_EQ(read[2].op, "BI");
  ASSERT_EQ(read[2].operands.size(), 7u);
  // The data as qpdf cuts it (up to the white space before EI).
  EXPECT_EQ(read[2].operands.back().text.substr(0, 2), "\x01\x02");
  EXPECT_EQ(read[3].op, "Q");
}

}  // namespace
}  // namespace QorPdf::internal
