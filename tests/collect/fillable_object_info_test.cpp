// FillableObjectInfo keeps only what activation reads: the round trip of each kind
// of geometry source, the paint placement and soft mask of the records that need
// them, the document object's content object and transparency unless given others,
// shape transformations shared between records, and which records activate as flat
// boxes without a filler.
#include "collect/fillable_object_info.h"

#include <gtest/gtest.h>

#include "collect/group_object_info.h"
#include "frame/flat_shape.h"
#include "frame/line_renderer.h"
#include "paint/flat_paint_getter.h"
#include "qordoc/document.h"
#include "qorpaint/shading_paint.h"
#include "raster/clip.h"
#include "test_ramp.h"
#include "test_scene.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using T = Morv::MilliPointTransformation;

std::shared_ptr<const QorPaint::Paint> Flat() {
  return std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Cyan", 0.5f}});
}

std::shared_ptr<const QorPaint::Paint> Ramp() {
  return QorScTest::AxialRamp({QorPaint::SeparationMapping({{"Cyan", 0}}, false),
                               {Morv::MilliPointPoint(10, 0), Morv::MilliPointPoint(30, 0)}});
}

std::unique_ptr<QorSc::FillableObjectInfo> Record(const QorSc::GeometrySource& geometry,
                                                  std::shared_ptr<const QorPaint::Paint> paint,
                                                  const T& placement = T::Translation(7.0, 3.0)) {
  return QorSc::FillableObjectInfo::Make(nullptr, nullptr, nullptr, geometry, std::move(paint),
                                         placement, nullptr, false);
}

// A box's coverage is the box itself: no shape, no transformation kept. A compound,
// an outline or a mask (a mask reduced to a tiny box too: its generator covers the
// box) or a flattened compound is kept with its placement.
TEST(FillableObjectInfo, KeepsTheShapeItsGeneratorReadsAndNothingElse) {
  const Box box{2, 3, 40, 50};
  const T placed = T::Translation(11.0, -4.0);
  const auto compound = Morv::PathBuilder().Rectangle(0, 0, 5, 5).BuildShared();
  QorSc::GeometrySource flattened{box, nullptr, nullptr, placed};
  flattened.flatCompound = std::make_shared<QorSc::FlatOutline>();
  QorSc::GeometrySource stroked{box, nullptr, nullptr, placed};
  stroked.outline = std::make_shared<const Morv::StrokeOutline>(
      compound, 1.0, Morv::LineCap::kButt, Morv::LineJoin::kMiter, 10.0, nullptr, 0.1);
  const QorSc::GeometrySource masked{
      box, nullptr, std::make_shared<const QorImg::PictureBuffer>(4, 4, 1), placed};
  const struct {
    const char* what;
    QorSc::GeometrySource given;
    T kept;
  } cases[] = {{"box", {box, nullptr, nullptr, placed}, T{}},
               {"compound", {box, compound, nullptr, placed}, placed},
               {"flattened", flattened, placed},
               {"outline", stroked, placed},
               {"mask", masked, placed}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const QorSc::GeometrySource kept = Record(c.given, Flat())->GetGeometry();
    EXPECT_EQ(kept.pixelBox, box);
    EXPECT_EQ(kept.compound, c.given.compound);
    EXPECT_EQ(kept.mask, c.given.mask);
    EXPECT_EQ(kept.outline, c.given.outline);
    EXPECT_EQ(kept.flatCompound, c.given.flatCompound);
    EXPECT_EQ(kept.transformation, c.kept);
  }
}

// Soft masks are set by collection (its tests check them); a paint is required.
TEST(FillableObjectInfo, KeepsAPlacementForPaintsThatVary) {
  const Box box{0, 0, 10, 10};
  const T placement = T::Translation(7.0, 3.0);
  // A flat paint is the same wherever it is placed.
  const auto flat = Record({box, nullptr, nullptr, {}}, Flat(), placement);
  EXPECT_EQ(flat->GetPaintPlacement(), T{});
  EXPECT_EQ(flat->GetSoftMask(), nullptr);
  const auto shaded = Record({box, nullptr, nullptr, {}}, Ramp(), placement);
  EXPECT_EQ(shaded->GetPaintPlacement(), placement);
  EXPECT_EQ(shaded->GetGeometry().pixelBox, box);
  EXPECT_THROW(Record({box, nullptr, nullptr, {}}, nullptr), std::invalid_argument);
}

TEST(FillableObjectInfo, TakesContentObjectAndTransparencyFromTheDocumentObjectUnlessGivenOthers) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  const auto square = Morv::PathBuilder().Rectangle(0, 0, 10, 10).BuildShared();
  QorDoc::Fillable::Painting painting;
  painting.fill = Flat();
  painting.transparency =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 1.0f, 0);
  const auto path = builder.AddPath(page, square, std::move(painting));
  const auto other = builder.AddPath(page, square, {});
  const QorSc::GeometrySource geometry{Box{0, 0, 10, 10}, nullptr, nullptr, {}};
  auto make = [&](const QorDoc::ContentObject* content,
                  std::shared_ptr<const QorBlend::Transparency> t) {
    return QorSc::FillableObjectInfo::Make(path.get(), content, nullptr, geometry, Flat(), {},
                                           std::move(t), false);
  };

  const auto own = make(path.get(), path->GetTransparency());
  EXPECT_EQ(own->GetContentObject(), path.get());
  EXPECT_EQ(own->GetTransparency(), path->GetTransparency());
  // A shading's opaque unit: the object's transparency goes to the group instead.
  const auto opaque = make(path.get(), nullptr);
  EXPECT_EQ(opaque->GetTransparency(), QorBlend::Transparency::Opaque());
  // Fill components name another object for selection.
  const auto selected = make(other.get(), path->GetTransparency());
  EXPECT_EQ(selected->GetContentObject(), other.get());
  EXPECT_EQ(selected->GetTransparency(), path->GetTransparency());
  const auto none = make(nullptr, path->GetTransparency());
  EXPECT_EQ(none->GetContentObject(), nullptr);
  // Without a document object everything given is kept.
  const auto bare = QorSc::FillableObjectInfo::Make(nullptr, other.get(), nullptr, geometry, Flat(),
                                                    {}, path->GetTransparency(), true);
  EXPECT_EQ(bare->GetContentObject(), other.get());
  EXPECT_EQ(bare->GetTransparency(), path->GetTransparency());
  EXPECT_TRUE(bare->IsStroke());
}

TEST(FillableObjectInfo, RecordsPlacedAlikeShareTheirShapeTransformation) {
  const Box box{0, 0, 10, 10};
  const auto compound = Morv::PathBuilder().Rectangle(0, 0, 5, 5).BuildShared();
  const T placed{3.0, 0.0, 0.0, -3.0, 0.5, 30.0};
  std::shared_ptr<const QorSc::FillableObjectInfo::ShapePlacement> last;
  auto make = [&](const T& t) {
    return QorSc::FillableObjectInfo::Make(nullptr, nullptr, nullptr, {box, compound, nullptr, t},
                                           Flat(), {}, nullptr, false, &last);
  };
  const auto first = make(placed);
  ASSERT_NE(last, nullptr);
  const auto* kept = last.get();
  const auto second = make(placed);
  EXPECT_EQ(last.get(), kept);
  EXPECT_EQ(last.use_count(), 3) << "both records and the collector's last";
  T negative_zero = placed;
  negative_zero.b = -0.0;
  const auto third = make(negative_zero);
  EXPECT_NE(last.get(), kept);
  EXPECT_TRUE(Morv::IdenticalBits(third->GetGeometry().transformation, negative_zero));
  EXPECT_TRUE(Morv::IdenticalBits(second->GetGeometry().transformation, placed));
  // A box keeps no shape and leaves the last transformation alone.
  const auto* before = last.get();
  const auto boxed =
      QorSc::FillableObjectInfo::Make(nullptr, nullptr, nullptr, {box, nullptr, nullptr, placed},
                                      Flat(), {}, nullptr, false, &last);
  EXPECT_EQ(last.get(), before);
  EXPECT_EQ(boxed->GetGeometry().transformation, T{});
}

// Line renderers of a 64-pixel page of two plates, plain and with halftone labels.
struct Page {
  static QorSc::Options Labelled(QorSc::Options options) {
    options.SetHalftoneMode(QorSc::kHalftoneLabels);
    return options;
  }
  const Box box{0, 0, 64, 64};
  const QorSc::Environment env = QorScTest::PixelEnvironment();
  const QorSc::Options options{QorColor::Color{{"Cyan", 0.0f}, {"Magenta", 0.0f}}, {}};
  QorSc::ConversionPools pools{box.left, box.right};
  QorSc::LineRenderer renderer{env, box, options, nullptr, pools};
  QorSc::LineRenderer labels{env, box, Labelled(options), nullptr, pools};
};

// Only a box in an opaque, Normal, flat colour with nothing else to draw is one:
// the renderer then copies the paint's row over the box without a filler.
TEST(FillableObjectInfo, FlatBoxesAreOpaqueFlatBoxesWithNothingElseToDraw) {
  const Box box{2, 3, 40, 50};
  Page page;
  QorSc::LineRenderer& renderer = page.renderer;
  auto with = [&](std::shared_ptr<QorSc::Clip> clip,
                  std::shared_ptr<const QorBlend::Transparency> t, bool stroke,
                  std::shared_ptr<const QorPaint::Paint> paint = Flat()) {
    return QorSc::FillableObjectInfo::Make(nullptr, nullptr, std::move(clip),
                                           {box, nullptr, nullptr, {}}, std::move(paint), {},
                                           std::move(t), stroke);
  };

  QorSc::OpaqueFlatCopy copy;
  ASSERT_TRUE(with(nullptr, nullptr, false)->FlatBoxCopy(renderer, copy));
  const QorSc::ComponentKinds row{QorSc::kKindConstant, QorSc::kKindZero, QorSc::kKindFull,
                                  QorSc::kKindFull, QorSc::kKindFull};
  EXPECT_EQ(copy.row, row) << "the paint's kinds, then the auxiliary planes full";
  ASSERT_EQ(copy.constants.size(), 1u);
  EXPECT_EQ(copy.constants[0].first, 0u);
  EXPECT_EQ(copy.constants[0].second, 0.5f);
  // A paint shared by several objects copies what its kept getter copies.
  const auto shared = Flat();
  const auto first = with(nullptr, nullptr, false, shared);
  const auto second = with(nullptr, nullptr, false, shared);
  QorSc::OpaqueFlatCopy again;
  ASSERT_TRUE(first->FlatBoxCopy(renderer, again));
  ASSERT_TRUE(second->FlatBoxCopy(renderer, again));
  EXPECT_EQ(again.row, row);
  ASSERT_EQ(again.constants.size(), 1u);
  EXPECT_EQ(again.constants[0].second, 0.5f);

  // A scope without elements clips nothing; one with an element does.
  const auto open = std::make_shared<QorSc::Clip>(nullptr);
  EXPECT_TRUE(with(open, nullptr, false)->FlatBoxCopy(renderer, copy));
  const auto clipped = std::make_shared<QorSc::Clip>(open);
  clipped->AddElement(std::make_unique<QorSc::ClipGroup>());
  EXPECT_FALSE(with(clipped, nullptr, false)->FlatBoxCopy(renderer, copy));

  // Blending, and the opacity of the side that paints it.
  const auto half_fill =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, 0.5f, 1.0f, 0);
  EXPECT_FALSE(with(nullptr, half_fill, false)->FlatBoxCopy(renderer, copy));
  EXPECT_TRUE(with(nullptr, half_fill, true)->FlatBoxCopy(renderer, copy));
  const auto multiply =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 1.0f, 1.0f, 0);
  EXPECT_FALSE(with(nullptr, multiply, false)->FlatBoxCopy(renderer, copy));

  // A soft mask, a shape, a paint that varies.
  const auto masked = QorSc::FillableObjectInfo::Make(
      nullptr, nullptr, nullptr, {box, nullptr, nullptr, {}}, Flat(), {}, nullptr, false, nullptr,
      nullptr, std::make_unique<QorSc::SoftMaskRecord>());
  EXPECT_FALSE(masked->FlatBoxCopy(renderer, copy));
  const auto compound = Morv::PathBuilder().Rectangle(0, 0, 5, 5).BuildShared();
  EXPECT_FALSE(Record({box, compound, nullptr, {}}, Flat())->FlatBoxCopy(renderer, copy));
  EXPECT_FALSE(Record({box, nullptr, nullptr, {}}, Ramp())->FlatBoxCopy(renderer, copy));
  EXPECT_FALSE(Record({Box{5, 3, 5, 9}, nullptr, nullptr, {}}, Flat())->FlatBoxCopy(renderer, copy))
      << "no columns";

  // Halftone labels wrap the paint.
  EXPECT_FALSE(with(nullptr, nullptr, false)->FlatBoxCopy(page.labels, copy));
}

// Any shape in an opaque flat colour, clipped or not, is drawn without a filler: the
// record writes the copy, builds its generator into the renderer's shape (reusing
// the path generator there) and names its clip; anything that blends, masks or
// labels is not.
TEST(FillableObjectInfo, FlatShapesAreOpaqueFlatObjectsOfAnyShape) {
  const Box box{2, 3, 40, 50};
  Page page;
  QorSc::LineRenderer& renderer = page.renderer;
  const auto compound = Morv::PathBuilder().Rectangle(5, 20, 30, 40).BuildShared();
  const auto clipped = std::make_shared<QorSc::Clip>(nullptr);
  clipped->AddElement(std::make_unique<QorSc::ClipGroup>());
  auto with = [&](std::shared_ptr<QorSc::Clip> clip, std::shared_ptr<const QorPaint::Paint> paint,
                  std::shared_ptr<const QorBlend::Transparency> t) {
    return QorSc::FillableObjectInfo::Make(nullptr, nullptr, std::move(clip),
                                           {box, compound, nullptr, {}}, std::move(paint), {},
                                           std::move(t), false);
  };

  QorSc::FlatShape shape;
  ASSERT_TRUE(with(nullptr, Flat(), nullptr)->FlatShapeCopy(renderer, shape));
  const QorSc::ComponentKinds row{QorSc::kKindConstant, QorSc::kKindZero, QorSc::kKindFull,
                                  QorSc::kKindFull, QorSc::kKindFull};
  EXPECT_EQ(shape.row, row);
  ASSERT_NE(shape.path, nullptr);
  EXPECT_EQ(shape.generator, shape.path.get()) << "a compound builds a path generator";
  EXPECT_EQ(shape.clip, nullptr);
  const QorSc::PathRunLengthGenerator* first = shape.path.get();
  shape.Finish();
  ASSERT_TRUE(with(clipped, Flat(), nullptr)->FlatShapeCopy(renderer, shape));
  EXPECT_EQ(shape.path.get(), first) << "the kept path generator is built again";
  EXPECT_EQ(shape.clip, clipped.get());
  shape.Finish();

  // A box with a clip has a box generator, freed when its object finishes.
  ASSERT_TRUE(QorSc::FillableObjectInfo::Make(nullptr, nullptr, clipped,
                                              {box, nullptr, nullptr, {}}, Flat(), {}, nullptr,
                                              false)
                  ->FlatShapeCopy(renderer, shape));
  ASSERT_NE(shape.other, nullptr);
  EXPECT_EQ(shape.generator, shape.other.get());
  shape.Finish();
  EXPECT_EQ(shape.other, nullptr);
  EXPECT_EQ(shape.path.get(), first);

  EXPECT_FALSE(with(nullptr, Ramp(), nullptr)->FlatShapeCopy(renderer, shape));
  EXPECT_FALSE(
      with(nullptr, Flat(),
           std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, 0.5f, 0.5f, 0))
          ->FlatShapeCopy(renderer, shape));
  const auto masked = QorSc::FillableObjectInfo::Make(
      nullptr, nullptr, nullptr, {box, compound, nullptr, {}}, Flat(), {}, nullptr, false, nullptr,
      nullptr, std::make_unique<QorSc::SoftMaskRecord>());
  EXPECT_FALSE(masked->FlatShapeCopy(renderer, shape));
  EXPECT_FALSE(with(nullptr, Flat(), nullptr)->FlatShapeCopy(page.labels, shape));
  EXPECT_EQ(shape.generator, nullptr) << "nothing built for an object that is not one";
}

}  // namespace
