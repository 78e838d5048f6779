// Record pixel boxes are kept in 32 bits: exactly within that range, an empty box
// far out as the empty box, a box that is not empty far out refused. A record whose
// shape is its path's own compound reads it from the path instead of holding it, and
// a record holds its paint, clip and rarer parts only when the object needs them.
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <stdexcept>

#include "collect/fillable_object_info.h"
#include "collect/group_object_info.h"
#include "qordoc/document.h"
#include "raster/clip.h"
#include "test_ramp.h"

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

TEST(RecordFields, PaintsClipsAndRarePartsAreHeldOnlyWhenNeeded) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  QorDoc::Fillable::Painting painting;
  painting.fill = Flat(0.5f);
  painting.stroke = Flat(0.25f);
  const auto rectangle = Morv::PathBuilder().Rectangle(0, 0, 3000, 2000).BuildShared();
  const auto path = builder.AddPath(page, rectangle, painting);
  const Box box{1, 2, 30, 20};
  const QorSc::GeometrySource source{box, nullptr, nullptr, {}};
  const auto open = std::make_shared<QorSc::Clip>(nullptr);
  const auto nested = std::make_shared<QorSc::Clip>(open);
  auto clipped = std::make_shared<QorSc::Clip>(nullptr);
  clipped->AddElement(std::make_unique<QorSc::ClipGroup>());
  const auto inside = std::make_shared<QorSc::Clip>(clipped);

  // The object's own fill is read through the object: the record adds no reference.
  const long fill_uses = painting.fill.use_count();
  const auto fill = QorSc::FillableObjectInfo::Make(path.get(), path.get(), nested, source,
                                                    path->GetFillPaint(), {}, nullptr, false);
  EXPECT_EQ(painting.fill.use_count(), fill_uses);
  EXPECT_EQ(fill->GetPaint(), painting.fill);
  EXPECT_EQ(fill->GetClip(), nullptr) << "scopes without an element here or above clip nothing";
  EXPECT_EQ(fill->GetContentObject(), path.get());
  EXPECT_EQ(fill->GetTransparency(), path->GetTransparency());
  EXPECT_EQ(fill->GetSoftMask(), nullptr);
  EXPECT_EQ(fill->GetPixelBox(), box);

  // A stroke's paint is held (objects share stroke paints through one block), and so
  // is a paint that is not the object's own, and a clip with an element above it.
  const long stroke_uses = painting.stroke.use_count();
  const auto stroke = QorSc::FillableObjectInfo::Make(path.get(), path.get(), inside, source,
                                                      painting.stroke, {}, nullptr, true);
  EXPECT_EQ(painting.stroke.use_count(), stroke_uses + 1);
  EXPECT_EQ(stroke->GetPaint(), painting.stroke);
  EXPECT_EQ(stroke->GetClip(), inside);
  const auto other = Flat(0.75f);
  const auto background = QorSc::FillableObjectInfo::Make(path.get(), path.get(), clipped, source,
                                                          other, {}, nullptr, false);
  EXPECT_EQ(background->GetPaint(), other);
  EXPECT_EQ(background->GetClip(), clipped);

  // Every part at once, with a shape: each comes back as given, and all are released
  // with the record.
  auto soft = std::make_unique<QorSc::SoftMaskRecord>();
  const QorSc::SoftMaskRecord* soft_address = soft.get();
  const auto half = std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, 0.5f, 0.5f);
  const auto placement = Morv::MilliPointTransformation::Translation(7.0, 3.0);
  const std::shared_ptr<const QorPaint::Paint> ramp =
      QorScTest::AxialRamp({QorPaint::SeparationMapping({{"Cyan", 0}}, false),
                            {Morv::MilliPointPoint(10, 0), Morv::MilliPointPoint(30, 0)}});
  const auto copy = std::make_shared<const Morv::Compound>(*rectangle);
  {
    const auto all = QorSc::FillableObjectInfo::Make(
        path.get(), nullptr, clipped, {box, copy, nullptr, placement}, ramp, placement, half, false,
        nullptr, path.get(), std::move(soft));
    EXPECT_EQ(all->GetPaint(), ramp);
    EXPECT_EQ(all->GetClip(), clipped);
    EXPECT_EQ(all->GetContentObject(), nullptr);
    EXPECT_EQ(all->GetTransparency(), half);
    EXPECT_EQ(all->GetSoftMask(), soft_address);
    EXPECT_EQ(all->GetPaintPlacement().e, 7.0);
    EXPECT_EQ(all->GetGeometry().compound, copy);
    EXPECT_EQ(all->GetGeometry().transformation.f, 3.0);
    EXPECT_EQ(ramp.use_count(), 2);
    EXPECT_EQ(copy.use_count(), 2);
  }
  EXPECT_EQ(ramp.use_count(), 1);
  EXPECT_EQ(copy.use_count(), 1);
}
}  // namespace
