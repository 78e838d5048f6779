// Record pixel boxes are kept in 32 bits: exactly within that range, an empty box
// far out as the empty box, a box that is not empty far out refused. A record whose
// shape is its path's own compound reads it from the path instead of holding it.
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <stdexcept>

#include "collect/fillable_object_info.h"
#include "qordoc/document.h"

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

TEST(RecordFields, ShapesThatArePathsOwnCompoundsAreReadFromThePath) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  const auto triangle =
      Morv::PathBuilder().MoveTo(0, 0).LineTo(3000, 500).LineTo(800, 2500).Close().BuildShared();
  QorDoc::Fillable::Painting painting;
  painting.fill = Flat(1.0f);
  const auto path = builder.AddPath(page, triangle, painting);
  const auto other = builder.AddPath(page, triangle, painting);
  const Box box{0, 0, 40, 40};
  const Morv::MilliPointTransformation placed{0.01, 0.0, 0.0, -0.01, 2.0, 35.0};
  auto make = [&](const std::shared_ptr<const Morv::Compound>& shape,
                  const QorDoc::Fillable* object, const QorDoc::Path* own) {
    return QorSc::FillableObjectInfo::Make(object, object, nullptr, {box, shape, nullptr, placed},
                                           painting.fill, {}, nullptr, false, nullptr, own);
  };
  const long uses = triangle.use_count();
  const auto read = make(triangle, path.get(), path.get());
  EXPECT_EQ(triangle.use_count(), uses) << "not held";
  EXPECT_EQ(read->GetGeometry().compound, triangle);
  std::optional<Morv::StrokeOutline> unused;
  EXPECT_EQ(read->GetGeometryRef(unused).compound, triangle.get());
  EXPECT_EQ(read->GetGeometryRef(unused).transformation->e, 2.0);
  // Another compound, or a path that is not the document object: held.
  const auto copy = std::make_shared<const Morv::Compound>(*triangle);
  const auto held = make(copy, path.get(), path.get());
  EXPECT_EQ(copy.use_count(), 2);
  EXPECT_EQ(held->GetGeometry().compound, copy);
  const auto foreign = make(triangle, other.get(), path.get());
  EXPECT_EQ(triangle.use_count(), uses + 1);
  EXPECT_EQ(foreign->GetGeometry().compound, triangle);
}

}  // namespace
