#include <gtest/gtest.h>

#include "qorcolor/cmyk.h"
#include "qorcolor/interleave.h"
#include "qordoc/separation.h"

namespace {

using QorColor::CmykIndex;
using QorColor::Color;

// Every plate count takes its own path (copy, fixed-count blocks, CMYK words, the
// strided rest): each must put sample p of pixel x at x·count + p, also in the pixels
// past the last whole block.
TEST(InterleavePlanes, EveryCountAndWidth) {
  for (std::size_t count = 1; count <= 10; ++count) {
    for (std::size_t width : {0u, 1u, 15u, 16u, 17u, 33u, 100u}) {
      std::vector<unsigned char> planes(count * width);
      for (std::size_t i = 0; i < planes.size(); ++i)
        planes[i] = static_cast<unsigned char>(i * 7 + 3);
      std::vector<unsigned char> pixels(count * width + 1, 0xEE);
      QorColor::InterleavePlanes(planes.data(), width, count, pixels.data());
      for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t p = 0; p < count; ++p) {
          ASSERT_EQ(pixels[x * count + p], planes[p * width + x])
              << count << " plates, width " << width << ", pixel " << x;
        }
      }
      EXPECT_EQ(pixels.back(), 0xEE) << "wrote past the line";
    }
  }
}

TEST(ColorList, ProcessColourSpaceIsCmykInOrder) {
  const Color& cmyk = QorColor::GetCMYKColorSpace();
  ASSERT_EQ(cmyk.Size(), 4u);
  EXPECT_EQ(cmyk.GetName(0), "Cyan");
  EXPECT_EQ(cmyk.GetName(1), "Magenta");
  EXPECT_EQ(cmyk.GetName(2), "Yellow");
  EXPECT_EQ(cmyk.GetName(3), "Black");
  EXPECT_FALSE(cmyk.PaintsNamedColorantsOnly());
  EXPECT_FALSE(cmyk.PaintsAllColorants());
}

TEST(ColorList, EqualityComparesNamesTintsAndFlags) {
  const Color a{{"Cyan", 0.5f}, {"PANTONE 286 C", 1.0f}};
  Color b = a;
  EXPECT_EQ(a, b);

  b = Color{{"Cyan", 0.5f}, {"PANTONE 286 c", 1.0f}};
  EXPECT_NE(a, b) << "names compare case-sensitively";
  b = Color{{"Cyan", 0.5f}, {"PANTONE 286 C", 0.99f}};
  EXPECT_NE(a, b);
  b = Color{{"PANTONE 286 C", 1.0f}, {"Cyan", 0.5f}};
  EXPECT_NE(a, b) << "order matters";

  b = a;
  b.SetPaintsNamedColorantsOnly(true);
  EXPECT_NE(a, b);
  b = a;
  b.SetPaintsAllColorants(true);
  EXPECT_NE(a, b);

  EXPECT_EQ(a.Find("PANTONE 286 C"), 1u);
  EXPECT_FALSE(a.Find("PANTONE").has_value());
}

TEST(Separation, CmykIndexAndLookup) {
  EXPECT_EQ(QorDoc::GetCmykIndex("Cyan"), CmykIndex::Cyan);
  EXPECT_EQ(QorDoc::GetCmykIndex("Magenta"), CmykIndex::Magenta);
  EXPECT_EQ(QorDoc::GetCmykIndex("Yellow"), CmykIndex::Yellow);
  EXPECT_EQ(QorDoc::GetCmykIndex("Black"), CmykIndex::Black);
  EXPECT_EQ(QorDoc::GetCmykIndex("black"), CmykIndex::None);
  EXPECT_EQ(QorDoc::GetCmykIndex("Varnish"), CmykIndex::None);

  using Entry = QorDoc::Separation::Entry;
  using Rep = QorDoc::Separation::Representation;
  const std::vector<Entry> table{Entry("Gold", Rep({0.0f, 0.2f, 0.8f, 0.1f})),
                                 Entry("Varnish", Rep({0.0f, 0.0f, 0.0f, 0.0f}))};
  const Entry* gold = QorDoc::Separation::Find(table, "Gold");
  ASSERT_NE(gold, nullptr);
  EXPECT_EQ(gold->GetRepresentation().GetCmyk()[2], 0.8f);
  EXPECT_EQ(QorDoc::Separation::Find(table, "gold"), nullptr);
  EXPECT_NE(table[0], table[1]);
  EXPECT_EQ(table[0], Entry("Gold", Rep({0.0f, 0.2f, 0.8f, 0.1f})));
}

}  // namespace
