// Grouping content tokens into operators: numbers and operator words are read
// directly, everything else by qpdf's tokenizer; both must agree on every value and
// on where one token ends and the next begins.
#include "content/content_reader.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <random>
#include <string>
#include <string_view>
#include <vector>

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
  std::string_view op;
  while (reader.Next(op, r.operands)) {
    r.op = op;
    out.push_back(r);
  }
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

// Scans stop at the data's end without a byte after the last token, and a NUL
// inside the data is white space like any other; array operands copy deeply.
TEST(ContentReader, TokensAtTheEndOfTheDataAndCopiedArrays) {
  const std::string with_nul(
      "1\0"
      "2.5 m",
      7);
  for (const std::string& data : {std::string("1 2.5 m"), std::string("1 2.5 m 3"), with_nul}) {
    const std::vector<Read> read = ReadAll(data);
    ASSERT_EQ(read.size(), 1u) << data;
    EXPECT_EQ(read[0].op, "m");
    ASSERT_EQ(read[0].operands.size(), 2u);
    EXPECT_EQ(read[0].operands[0].number, 1.0);
    EXPECT_EQ(read[0].operands[1].number, 2.5);
  }
  EXPECT_EQ(ReadAll("[1 [2 3] /A] 0 d").at(0).operands.at(0).elements.size(), 3u);

  Operand array = ReadAll("[1 [2 3]] 0 d").at(0).operands.at(0);
  Operand copy = array;
  copy.elements[1].elements.push_back(Operand{});
  EXPECT_EQ(array.elements[1].elements.size(), 2u) << "the copy holds elements of its own";
  EXPECT_EQ(copy.elements[1].elements.size(), 3u);
  EXPECT_TRUE(Operand{}.elements.empty());
  EXPECT_EQ(Operand{}.elements.begin(), Operand{}.elements.end());
}

// Short decimals are gathered as integers and divided by a power of ten; every
// number, short or not, must be the double a correctly rounding parser gives.
TEST(ContentReader, NumbersAreTheCorrectlyRoundedDoubles) {
  std::vector<std::string> texts = {"0",
                                    "-0",
                                    "+0.0",
                                    "9007199254740991",
                                    "9007199254740992",
                                    "9007199254740993",
                                    "123456789012345678901234567890",
                                    "0.1",
                                    "-0.3",
                                    "3.14159265358979323846",
                                    "1.0000000000000000000001",
                                    "0.0000000000000000000001",
                                    "0.00000000000000000000001",
                                    "900719925474099.1",
                                    "90071992547409.91",
                                    "00000000000000000000000000000000012.5",
                                    "595.27559",
                                    "-.000001",
                                    "4."};
  std::mt19937_64 random(16);
  for (int i = 0; i < 8000; ++i) {  // under the operand limit of one operator
    std::string text = random() % 3 == 0 ? "-" : "";
    const int whole = static_cast<int>(random() % 12);
    const int fraction = static_cast<int>(random() % 26);
    for (int d = 0; d < whole; ++d)
      text += static_cast<char>('0' + random() % 10);
    if (fraction > 0 || whole == 0) text += '.';
    for (int d = 0; d < fraction || (whole == 0 && d == 0); ++d)
      text += static_cast<char>('0' + random() % 10);
    texts.push_back(text);
  }
  std::string data;
  for (const std::string& text : texts)
    data += text + " ";
  data += "n";
  const std::vector<Read> read = ReadAll(data);
  ASSERT_EQ(read.size(), 1u);
  ASSERT_EQ(read[0].operands.size(), texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const char* first = texts[i].data();
    if (*first == '+') ++first;
    double expected = 0.0;
    std::from_chars(first, texts[i].data() + texts[i].size(), expected);
    const double got = read[0].operands[i].number;
    EXPECT_EQ(got, expected) << texts[i];
    EXPECT_EQ(std::signbit(got), std::signbit(expected)) << texts[i];
  }
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
