// Record pixel boxes are kept in 32 bits: exactly within that range, an empty box
// far out as the empty box, a box that is not empty far out refused.
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "collect/fillable_object_info.h"

namespace {

using Box = QorMath::Rectangle<long long>;

std::shared_ptr<const QorPaint::Paint> Flat(float tint) {
  return std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Cyan", tint}});
}

TEST(RecordFields, PixelBoxesAreKeptExactlyWithin32Bits) {
  const auto paint = Flat(1.0f);
  auto record = [&](const Box& box) {
    return QorSc::FillableObjectInfo::Make(nullptr, nullptr, nullptr, {box, nullptr, nullptr, {}},
                                           paint, {}, nullptr, false);
  };
  using Limits = std::numeric_limits<std::int32_t>;
  const long long low = Limits::min(), high = Limits::max();
  for (const Box& box : {Box{-5, -7, 3, 9}, Box{low, low, high, high}, Box{4, 4, 4, 9}}) {
    EXPECT_EQ(record(box)->GetPixelBox(), box);
  }
  // Far-off empty boxes (an object culled by a clip box it lies far from) are empty.
  EXPECT_EQ(record(Box{1LL << 40, 3, 20, 9})->GetPixelBox(), Box{});
  EXPECT_EQ(record(Box{0, 0, 10, -(1LL << 40)})->GetPixelBox(), Box{});
  EXPECT_THROW(record(Box{0, 0, high + 1, 10}), std::out_of_range);
  EXPECT_THROW(record(Box{low - 1, 0, 10, 10}), std::out_of_range);
}

}  // namespace
