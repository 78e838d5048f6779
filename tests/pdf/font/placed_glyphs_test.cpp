#include "font/placed_glyphs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "morv/transformation.h"

namespace {

using QorPdf::internal::PlacedGlyphs;

std::shared_ptr<const Morv::Compound> Glyph(double width) {
  Morv::PathBuilder builder;
  builder.MoveTo(10.0, 0.0)
      .LineTo(width, 0.0)
      .CurveTo(width + 40.0, 300.0, 60.0, 700.0, 10.0, 700.0);
  builder.Close();
  return builder.BuildShared(Morv::kNonZero);
}

TEST(PlacedGlyphs, SharesAGlyphAtAnOffsetWithTheBitsOfACopy) {
  PlacedGlyphs placed;
  const auto a = Glyph(500.0);
  const auto b = Glyph(600.0);
  EXPECT_EQ(placed.Get(a, 0.0), a);  // at the origin the outline itself
  EXPECT_EQ(placed.Get(a, -0.0), a);

  const double offset = 1234.56789;
  const auto first = placed.Get(a, offset);
  ASSERT_NE(first, a);
  EXPECT_EQ(placed.Get(a, offset), first);                       // shared, not copied again
  EXPECT_NE(placed.Get(b, offset), first);                       // another glyph
  EXPECT_NE(placed.Get(a, std::nextafter(offset, 0.0)), first);  // another offset, to the bit

  // What the text operators made before: a copy moved by a translation.
  const Morv::Compound copy =
      a->Transformed(Morv::MilliPointTransformation::Translation(offset, 0.0));
  ASSERT_EQ(first->GetSubpaths().size(), copy.GetSubpaths().size());
  for (std::size_t i = 0; i < copy.GetSubpaths().size(); ++i) {
    const Morv::Subpath& s = first->GetSubpaths()[i];
    const Morv::Subpath& c = copy.GetSubpaths()[i];
    EXPECT_EQ(s.Start(), c.Start());
    EXPECT_TRUE(s.Segments() == c.Segments());
  }
  EXPECT_EQ(first->GetBoundingBox(), copy.GetBoundingBox());
  EXPECT_EQ(first->GetWindingRule(), copy.GetWindingRule());
}

TEST(PlacedGlyphs, ForgetsOutlinesNoTextHoldsAndStaysSmall) {
  PlacedGlyphs placed;
  const auto glyph = Glyph(500.0);
  std::weak_ptr<const Morv::Compound> gone;
  {
    const auto held = placed.Get(glyph, 10.0);
    gone = held;
  }
  EXPECT_TRUE(gone.expired());  // the table does not keep it alive
  const auto again = placed.Get(glyph, 10.0);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->GetSubpaths().size(), glyph->GetSubpaths().size());

  // Many pages' worth of offsets whose texts are gone: swept as the table grows.
  std::vector<std::shared_ptr<const Morv::Compound>> live;
  for (int i = 1; i <= 100000; ++i) {
    auto outline = placed.Get(glyph, 0.5 * i);
    if (i % 1000 == 0) live.push_back(std::move(outline));
  }
  EXPECT_LT(placed.EntryCount(), 10000u);
  for (std::size_t k = 0; k < live.size(); ++k)
    EXPECT_EQ(placed.Get(glyph, 0.5 * 1000.0 * static_cast<double>(k + 1)), live[k]);
}

}  // namespace
