// Reading PDF function objects into the model's functions.
#include "color/function_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "color_test_support.h"

namespace QorPdf::internal {
namespace {

using test::PdfObjects;

class FunctionReaderTest : public ::testing::Test, public PdfObjects {
 protected:
  std::shared_ptr<const QorPaint::Function> Read(QPDFObjectHandle function) {
    return ReadFunction(function, warnings, 3);
  }
  static double Eval1(const QorPaint::Function& f, double x) {
    std::vector<double> out(f.OutputCount());
    f.Evaluate(std::vector<double>{x}, out);
    return out[0];
  }
  std::string Sampled(int bits, int size, const std::string& extra = "") {
    return "<< /FunctionType 0 /Domain [0 " + std::to_string(size - 1) + "] /Range [0 1] /Size [" +
           std::to_string(size) + "] /BitsPerSample " + std::to_string(bits) + extra + " >>";
  }

  WarningList warnings;
};

TEST_F(FunctionReaderTest, SampledAtEveryBitDepth) {
  struct Case {
    int bits, size;
    std::string data;
    std::vector<std::pair<double, double>> at;  // input, expected output
  };
  const Case cases[] = {
      // 10100101, one sample per grid point x = 0 ... 7.
      {1, 8, "\xA5", {{0, 1}, {1, 0}, {2, 1}, {3, 0}, {4, 0}, {5, 1}, {6, 0}, {7, 1}}},
      {2, 4, "\x1B", {{0, 0}, {1, 1 / 3.0}, {2, 2 / 3.0}, {3, 1}}},  // 00 01 10 11
      {4, 2, "\x0F", {{0.5, 0.5}}},
      {8, 3, std::string("\x00\x80\xFF", 3), {{1, 128.0 / 255.0}}},
      // 0xFFF and 0x800 in three bytes.
      {12, 2, std::string("\xFF\xF8\x00", 3), {{0, 1}, {1, 2048.0 / 4095.0}}},
      {16, 2, std::string("\x80\x00\xFF\xFF", 4), {{0, 32768.0 / 65535.0}}},
      {24, 2, std::string("\x00\x00\x00\xFF\xFF\xFF", 6), {{0.5, 0.5}}},
      {32, 2, std::string("\xFF\xFF\xFF\xFF\x00\x00\x00\x01", 8), {{0, 1}, {1, 1 / 4294967295.0}}},
  };
  for (const Case& c : cases) {
    const auto f = Read(Stream(Sampled(c.bits, c.size), c.data));
    ASSERT_TRUE(f) << c.bits;
    EXPECT_EQ(f->GetType(), QorPaint::Function::kSampled);
    for (const auto& [x, expected] : c.at)
      EXPECT_EQ(Eval1(*f, x), expected) << c.bits << " bits at " << x;
  }
  EXPECT_TRUE(warnings.All().empty());

  std::shared_ptr<const QorPaint::Function> f;
  // Decode and Encode reach the model.
  f = Read(Stream(Sampled(8, 2, " /Decode [1 0] /Encode [1 0]"), std::string("\x00\xFF", 2)));
  ASSERT_TRUE(f);
  EXPECT_EQ(Eval1(*f, 0), 0.0) << "encode reversed picks 0xFF, decode reversed gives 0";

  // Short data: a warning, and the missing samples are 0.
  f = Read(Stream(Sampled(8, 3), std::string("\xFF", 1)));
  ASSERT_TRUE(f);
  EXPECT_EQ(Eval1(*f, 0), 1.0);
  EXPECT_EQ(Eval1(*f, 2), 0.0);
  ASSERT_EQ(warnings.All().size(), 1u);
  EXPECT_EQ(warnings.All()[0].page, 3u);
}

TEST_F(FunctionReaderTest, ExponentialStitchingAndCalculator) {
  auto f = Read(Parse("<< /FunctionType 2 /Domain [0 1] /C0 [0 1] /C1 [1 0] /N 2 >>"));
  ASSERT_TRUE(f);
  EXPECT_EQ(f->OutputCount(), 2u);
  EXPECT_EQ(Eval1(*f, 0.5), 0.25);
  f = Read(Parse("<< /FunctionType 2 /Domain [0 1] /N 1 >>"));
  ASSERT_TRUE(f);
  EXPECT_EQ(Eval1(*f, 0.75), 0.75);

  const QPDFObjectHandle half =
      pdf.makeIndirectObject(Parse("<< /FunctionType 2 /Domain [0 1] /C0 [0] /C1 [0.5] /N 1 >>"));
  f = Read(Parse("<< /FunctionType 3 /Domain [0 1] /Functions [" + Ref(half) +
                 " << /FunctionType 2 /Domain [0 1] /N 1 >>] /Bounds [0.5] /Encode [0 1 0 1] >>"));
  ASSERT_TRUE(f);
  EXPECT_EQ(f->GetType(), 1);
  EXPECT_EQ(Eval1(*f, 0.25), 0.25);
  EXPECT_EQ(Eval1(*f, 0.75), 0.5);

  f = Read(Stream("<< /FunctionType 4 /Domain [0 1] /Range [0 1 0 1] >>", "{ dup 0.5 mul exch }"));
  ASSERT_TRUE(f);
  std::vector<double> out(2);
  f->Evaluate(std::vector<double>{0.5}, out);
  EXPECT_EQ(out, (std::vector<double>{0.25, 0.5}));
  EXPECT_TRUE(warnings.All().empty());
}

TEST_F(FunctionReaderTest, UnusableFunctionsGiveNullAndOneWarningEach) {
  const std::vector<QPDFObjectHandle> bad = {
      Parse("42"),
      Parse("<< /Domain [0 1] /N 1 >>"),
      Parse("<< /FunctionType 5 /Domain [0 1] >>"),
      Parse("<< /FunctionType 2 /Domain [0 1] >>"),
      Parse("<< /FunctionType 2 /Domain [0 1 0 1] /N 1 >>"),
      Parse("<< /FunctionType 2 /Domain [0] /N 1 >>"),
      Parse("<< /FunctionType 2 /Domain [0 1] /C0 [0 0] /C1 [1] /N 1 >>"),
      Parse("<< /FunctionType 2 /Domain [0 (a)] /N 1 >>"),
      Parse("<< /FunctionType 4 /Domain [0 1] /Range [0 1] >>"),
      Parse("<< /FunctionType 0 /Domain [0 1] /Range [0 1] /Size [2] /BitsPerSample 8 >>"),
      Stream("<< /FunctionType 4 /Domain [0 1] /Range [0 1] >>", "{ 1 add"),
      Stream("<< /FunctionType 4 /Domain [0 1] /Range [0 1] >>", "{ 1 frobnicate }"),
      Stream(Sampled(3, 2), std::string("\xFF", 1)),
      Stream(Sampled(8, 0), ""),
      Stream("<< /FunctionType 0 /Domain [0 1 0 1] /Range [0 1] /Size [2] /BitsPerSample 8 >>",
             std::string(4, '\0')),
      Stream("<< /FunctionType 0 /Domain [0 1] /Range [0 1] /Size [100000 100000] "
             "/BitsPerSample 8 >>",
             ""),
      Parse("<< /FunctionType 3 /Domain [0 1] /Functions [] /Encode [] >>"),
      Parse("<< /FunctionType 3 /Domain [0 1] /Functions [42] /Encode [0 1] >>"),
  };
  for (std::size_t i = 0; i < bad.size(); ++i) {
    const std::size_t before = warnings.All().size();
    EXPECT_FALSE(Read(bad[i])) << i;
    EXPECT_EQ(warnings.All().size(), before + 1) << i;
  }
  EXPECT_TRUE(test::HasWarningContaining(warnings, "unusable function"));
}

TEST_F(FunctionReaderTest, NestingIsLimited) {
  // A stitching function containing itself.
  QPDFObjectHandle loop = pdf.makeIndirectObject(
      Parse("<< /FunctionType 3 /Domain [0 1] /Functions [null] /Encode [0 1] >>"));
  loop.getKey("/Functions").setArrayItem(0, loop);
  EXPECT_FALSE(Read(loop));
  EXPECT_TRUE(test::HasWarningContaining(warnings, "nested too deeply"));

  // Exactly at the limit is fine, one more is not.
  auto chain = [&](int levels) {
    std::string text = "<< /FunctionType 2 /Domain [0 1] /N 1 >>";
    for (int i = 0; i < levels; ++i) {
      text = "<< /FunctionType 3 /Domain [0 1] /Functions [" + text + "] /Encode [0 1] >>";
    }
    return Parse(text);
  };
  EXPECT_TRUE(Read(chain(kMaxFunctionNesting)));
  EXPECT_FALSE(Read(chain(kMaxFunctionNesting + 1)));
}

}  // namespace
}  // namespace QorPdf::internal
