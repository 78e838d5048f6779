// CollectObjects over documents built with the builder: records, order, boxes,
// nesting, clip scopes, and the rendered result against the reference compositor.
#include "scan/collect_objects.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "collect/fillable_object_info.h"
#include "collect/group_object_info.h"
#include "collect/image_object_info.h"
#include "composite/intervals_filler.h"
#include "qorpaint/shading_paint.h"
#include "raster/clip.h"
#include "reference_compositor.h"
#include "reference_rasterizer.h"
#include "scan/scan_converter.h"
#include "test_picture.h"
#include "test_ramp.h"
#include "test_scene.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorScTest::kHeight;
using QorScTest::kWidth;
using QorScTest::PixelEnvironment;
using QorScTest::Polygon;
using QorScTest::Rect;
using T = Morv::MilliPointTransformation;

const Box kPage{0, 0, kWidth, kHeight};

std::shared_ptr<const Morv::Compound> Shape(const Polygon& internal) {
  return Morv::PathBuilder().Polygon(QorScTest::ToWorld(internal)).BuildShared();
}

QorDoc::Fillable::Painting Fill(const char* ink, float tint) {
  QorDoc::Fillable::Painting p;
  p.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{ink, tint}});
  return p;
}

const QorSc::Options kCmyk(true, {});

QorSc::ObjectCollection Collect(const QorDoc::Content& content,
                                const QorSc::ObjectSelection& selection = QorSc::kAllSelection,
                                const QorSc::Options& options = kCmyk, const Box& box = kPage) {
  return QorSc::CollectObjects(PixelEnvironment(), options, box, content, T{}, selection);
}

// Selects the objects `wanted` accepts, on every layer.
QorSc::ObjectSelection Only(std::function<bool(const QorDoc::ContentObject&)> wanted) {
  return {[](const std::shared_ptr<QorDoc::LayerProperties>&) { return true; }, false,
          std::move(wanted)};
}

QorSc::ObjectSelection OnlyId(std::size_t id) {
  return Only([id](const QorDoc::ContentObject& o) { return o.GetID() == id; });
}

const QorSc::FillableObjectInfo* Fillable(const QorSc::ObjectCollection& c, std::size_t i) {
  return dynamic_cast<const QorSc::FillableObjectInfo*>(c.objects->records.at(i).get());
}

std::vector<std::size_t> Ids(const QorSc::ObjectInfoContainer& container) {
  std::vector<std::size_t> ids;
  for (const auto& record : container.records) {
    if (auto* f = dynamic_cast<const QorSc::FillableObjectInfo*>(record.get())) {
      ids.push_back(f->GetContentObject()->GetID());
    } else {
      ids.push_back(0);  // a group or image record
    }
  }
  return ids;
}

TEST(CollectObjects, CullsOnRoundedBoxes) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  b.AddPath(page, Shape(Rect(9.6, 2.2, 9.9, 8.3)), Fill("Cyan", 1.0f));
  auto hit = b.AddPath(page, Shape(Rect(9.4, 2.2, 9.6, 8.3)), Fill("Cyan", 1.0f));
  b.AddPath(page, Shape(Rect(30.2, 2.2, 40.3, 8.3)), Fill("Cyan", 1.0f));
  auto doc = b.Build();
  const auto c = Collect(page, QorSc::kAllSelection, kCmyk, Box{0, 0, 20, 20});
  EXPECT_EQ(Ids(*c.objects), (std::vector<std::size_t>{hit->GetID()}));
  // An empty content gives an empty container.
  QorDoc::DocumentBuilder e;
  auto& empty = e.AddPage();
  EXPECT_TRUE(Collect(empty).objects->records.empty());
}

TEST(CollectObjects, LayersAndSelection) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  auto hidden = std::make_shared<QorDoc::LayerProperties>("Hidden", false);
  auto shown = std::make_shared<QorDoc::LayerProperties>("Shown", true);
  auto& in_hidden = b.AddContent();
  b.AddPath(in_hidden, Shape(Rect(1.2, 1.2, 5.3, 5.3)), Fill("Cyan", 1.0f));
  b.AddLayer(page, in_hidden, QorDoc::LayerExpression::Of(hidden));
  auto& in_shown = b.AddContent();
  auto c = b.AddPath(in_shown, Shape(Rect(1.2, 1.2, 5.3, 5.3)), Fill("Cyan", 1.0f));
  b.AddLayer(page, in_shown, QorDoc::LayerExpression::Not(QorDoc::LayerExpression::Of(hidden)));
  auto& members = b.AddContent();
  auto d = b.AddPath(members, Shape(Rect(6.2, 1.2, 9.3, 5.3)), Fill("Cyan", 1.0f));
  auto e = b.AddPath(members, Shape(Rect(10.2, 1.2, 14.3, 5.3)), Fill("Cyan", 1.0f));
  auto group = b.AddGroup(page, members);
  auto f = b.AddPath(page, Shape(Rect(20.2, 1.2, 24.3, 5.3)), Fill("Cyan", 1.0f));
  auto doc = b.Build();

  QorSc::ObjectSelection visible_layers{
      [](const std::shared_ptr<QorDoc::LayerProperties>& l) { return l->IsVisibleByDefault(); },
      true, nullptr};
  EXPECT_EQ(Ids(*Collect(page, visible_layers).objects),
            (std::vector<std::size_t>{c->GetID(), d->GetID(), e->GetID(), f->GetID()}))
      << "the hidden layer hides its member even though everything is selected";

  // Per-object filtering: the group is selected, so its members are too.
  EXPECT_EQ(Ids(*Collect(page, OnlyId(group->GetID())).objects),
            (std::vector<std::size_t>{d->GetID(), e->GetID()}));

  // An empty object filter fails only when it is asked.
  QorSc::ObjectSelection no_filter = Only(nullptr);
  EXPECT_THROW(Collect(page, no_filter), std::bad_function_call);
  no_filter.flag = true;
  EXPECT_NO_THROW(Collect(page, no_filter));
}

TEST(CollectObjects, GroupsFlattenOnlyWhenPlain) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  auto backdrop = b.AddPath(page, Shape(Rect(0.2, 0.2, 30.3, 10.3)), Fill("Cyan", 1.0f));
  auto& plain_members = b.AddContent();
  auto p1 = b.AddPath(plain_members, Shape(Rect(1.2, 1.2, 5.3, 5.3)), Fill("Magenta", 1.0f));
  auto p2 = b.AddPath(plain_members, Shape(Rect(2.2, 2.2, 6.3, 6.3)), Fill("Yellow", 1.0f));
  b.AddGroup(page, plain_members);
  auto after = b.AddPath(page, Shape(Rect(3.2, 3.2, 7.3, 7.3)), Fill("Black", 1.0f));
  // Normal and opaque, but isolated, holding a Multiply child: not flattened.
  auto& isolated_members = b.AddContent();
  QorDoc::Fillable::Painting multiply = Fill("Magenta", 0.5f);
  multiply.transparency =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 1.0f, 1.0f);
  b.AddPath(isolated_members, Shape(Rect(8.2, 1.2, 12.3, 5.3)), multiply);
  auto isolated = std::make_shared<QorBlend::Transparency>();
  isolated->SetGroupFlags(1, 0);
  b.AddGroup(page, isolated_members, T{}, isolated);
  auto doc = b.Build();

  const auto c = Collect(page);
  ASSERT_EQ(c.objects->records.size(), 5u);
  EXPECT_EQ(Ids(*c.objects), (std::vector<std::size_t>{backdrop->GetID(), p1->GetID(), p2->GetID(),
                                                       after->GetID(), 0}));
  auto* group = dynamic_cast<const QorSc::GroupObjectInfo*>(c.objects->records.back().get());
  ASSERT_NE(group, nullptr);
  EXPECT_EQ(group->GetMembers().records.size(), 1u);
  EXPECT_EQ(group->GetMembers().isolated, 1);
  EXPECT_EQ(group->GetMembers().knockout, 0);
  // Isolated, the Multiply child meets no cyan: its plain magenta replaces the cyan.
  QorSc::ScanConverter converter(Collect(page));
  const QorColor::Component* line = nullptr;
  for (int y = 0; y <= 3; ++y)
    line = converter.GetLine();
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(line[10 * 4 + 0], 0.0f);
  EXPECT_EQ(line[10 * 4 + 1], 0.5f);
}

TEST(CollectObjects, TransformationsComposeOutsideIn) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  auto& outer = b.AddContent();
  auto& inner = b.AddContent();
  // A 2 × 2 square at the origin, under scale 2, under translation by 10 pixels.
  b.AddPath(inner, Morv::PathBuilder().Rectangle(0.0, 0.0, 2.0, 2.0).BuildShared(),
            Fill("Cyan", 1.0f));
  b.AddGroup(outer, inner, T::Scale(2.0, 2.0));
  b.AddGroup(page, outer, T::Translation(10.0, 0.0));
  auto doc = b.Build();
  const auto c = Collect(page);
  ASSERT_EQ(c.objects->records.size(), 1u);
  // World x 10..14, y 0..4: internal rows 28..32; the object moves by the outer
  // translation, not twice it.
  EXPECT_EQ(c.objects->records[0]->GetPixelBox(), (Box{10, 28, 14, 32}));
}

TEST(CollectObjects, SoftMaskContentIsCollectedWhateverTheSelection) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  auto& mask_content = b.AddContent();
  b.AddPath(mask_content, Morv::PathBuilder().Rectangle(0.0, 0.0, 4.0, 4.0).BuildShared(),
            Fill("Black", 1.0f));
  auto mask =
      std::make_shared<const QorBlend::SoftMask>(&mask_content, T::Translation(5.0, 0.0), false);
  QorDoc::Fillable::Painting masked = Fill("Cyan", 1.0f);
  auto transparency = std::make_shared<QorBlend::Transparency>();
  transparency->SetSoftMask(mask);
  masked.transparency = transparency;
  auto object =
      b.AddPath(page, Shape(Rect(1.2, 20.2, 30.3, 31.3)), masked, T::Translation(0.0, 0.0));
  auto doc = b.Build();

  QorSc::Options labels = kCmyk;
  labels.SetHalftoneMode(QorSc::kHalftoneLabels);
  const auto c = Collect(page, OnlyId(object->GetID()), labels);
  ASSERT_EQ(c.objects->records.size(), 1u);
  auto* record = Fillable(c, 0);
  ASSERT_NE(record, nullptr);
  ASSERT_NE(record->GetSoftMask(), nullptr);
  EXPECT_EQ(record->GetSoftMask()->mask, mask);
  const auto& content = *record->GetSoftMask()->content;
  ASSERT_EQ(content.records.size(), 1u) << "collected although the selection rejects it";
  // The mask's own translation, composed with the current placement.
  EXPECT_EQ(content.records[0]->GetPixelBox(), (Box{5, 28, 9, 32}));
}

TEST(CollectObjects, MinimalStrokeWidthScalesThinStrokes) {
  // 1000 pixels over 72 000 millipoints: a 36 millipoint line is half a pixel. The
  // line runs along the centres of pixel row 500.
  const QorSc::Environment env(Morv::MilliPointRectangle(0.0, 0.0, 72000.0, 72000.0), 1000, 1000);
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  QorDoc::Fillable::Painting stroke;
  stroke.stroke = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  stroke.strokeStyle.width = 36.0;
  // Round caps keep the outline a compound (a butt-capped line is a rectangle, which
  // collection turns into a box).
  stroke.strokeStyle.cap = Morv::LineCap::kRound;
  // Round joins: the reach that bounds the outline is then half the width.
  stroke.strokeStyle.join = Morv::LineJoin::kRound;
  b.AddPath(page,
            Morv::PathBuilder().MoveTo(7200.0, 35964.0).LineTo(64800.0, 35964.0).BuildShared(),
            stroke);
  auto doc = b.Build();
  QorSc::Options options = kCmyk;
  options.SetMinimalStrokeWidth(1);
  const auto c =
      QorSc::CollectObjects(env, options, Box{0, 0, 1000, 1000}, page, T{}, QorSc::kAllSelection);
  ASSERT_EQ(c.objects->records.size(), 1u);
  auto* record = Fillable(c, 0);
  ASSERT_NE(record, nullptr);
  EXPECT_TRUE(record->IsStroke());
  // The outline is 1/s = 72/√2 = 50.91169 millipoints wide. Its three pieces (the
  // line and two caps) are kept as the path and style, not as a compound, and being
  // round-capped it is boxed by its reach (plus a margin far below a pixel), not walked.
  const QorSc::GeometrySource geometry = record->GetGeometry();
  EXPECT_EQ(geometry.compound, nullptr);
  ASSERT_NE(geometry.outline, nullptr);
  EXPECT_FALSE(geometry.outline->Measured());
  const auto& box = geometry.outline->GetBoundingBox();
  EXPECT_GE(box.Height(), 50.91169);
  EXPECT_NEAR(box.Height(), 50.91169, 1e-3);
}

TEST(CollectObjects, TextsImagesAndSingleObjects) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  // A text is one record whose compound holds every glyph.
  auto text = b.AddText(page, {Shape(Rect(1.2, 1.2, 3.3, 5.3)), Shape(Rect(4.2, 1.2, 6.3, 5.3))},
                        Fill("Black", 1.0f));
  // A text group is collected as one object only when every text is selected.
  auto t1 = b.MakeText({Shape(Rect(10.2, 1.2, 12.3, 5.3))}, Fill("Black", 1.0f));
  auto t2 = b.MakeText({Shape(Rect(13.2, 1.2, 15.3, 5.3))}, Fill("Black", 1.0f));
  b.AddTextGroup(page, {t1, t2});
  auto mask = std::make_shared<QorImg::PictureBuffer>(2, 2, 1);
  mask->SetBit(1, 0, true);
  auto image_mask =
      b.AddImageMask(page, mask, Fill("Magenta", 1.0f), T{8.0, 0.0, 0.0, 8.0, 20.0, 20.0});
  b.AddImage(page, QorTest::MakeBitPicture(mask, "Black"), T{8.0, 0.0, 0.0, 8.0, 30.0, 20.0});
  auto& members = b.AddContent();
  auto nested = b.AddPath(members, Morv::PathBuilder().Rectangle(0.0, 0.0, 2.0, 2.0).BuildShared(),
                          Fill("Cyan", 1.0f));
  b.AddGroup(page, members, T::Translation(40.0, 0.0));
  auto doc = b.Build();

  const auto all = Collect(page);
  ASSERT_EQ(all.objects->records.size(), 5u);
  EXPECT_EQ(Ids(*all.objects), (std::vector<std::size_t>{text->GetID(), t1->GetID(),
                                                         image_mask->GetID(), 0, nested->GetID()}));
  auto* glyphs = Fillable(all, 0);
  ASSERT_NE(glyphs->GetGeometry().compound, nullptr);
  EXPECT_EQ(glyphs->GetGeometry().compound->GetSubpaths().size(), 2u);
  auto* masked = Fillable(all, 2);
  EXPECT_NE(masked->GetGeometry().mask, nullptr);
  EXPECT_NE(dynamic_cast<const QorSc::ImageObjectInfo*>(all.objects->records[3].get()), nullptr);

  EXPECT_TRUE(Collect(page, OnlyId(t1->GetID())).objects->records.empty())
      << "a text group whose second text is not selected is skipped";

  // One object, placed by its parent group: the group's translation applies.
  const auto single =
      QorSc::CollectObjects(PixelEnvironment(), kCmyk, kPage, *nested, QorSc::kAllSelection);
  ASSERT_EQ(single.objects->records.size(), 1u);
  EXPECT_EQ(single.objects->records[0]->GetPixelBox(), (Box{40, 30, 42, 32}));
}

// Blended content from a document, end to end: random stacks with blend modes and
// opacities inside plain groups, collected and rendered, against the reference.
TEST(CollectObjects, BlendedContentRendersLikeTheReference) {
  std::mt19937 random(77);
  std::uniform_real_distribution<double> coord(-3.0, kWidth + 3.0);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  for (int round = 0; round < 10; ++round) {
    QorDoc::DocumentBuilder b;
    auto& page = b.AddPage();
    auto& group = b.AddContent();
    std::vector<Polygon> shapes;
    std::vector<QorScTest::ReferencePaint> paints;
    for (int k = 0; k < 8; ++k) {
      const Polygon shape = {{coord(random), coord(random) * kHeight / kWidth},
                             {coord(random), coord(random) * kHeight / kWidth},
                             {coord(random), coord(random) * kHeight / kWidth}};
      QorScTest::ReferencePaint paint;
      const float cyan = unit(random), black = unit(random);
      paint.values = {cyan, 0.0f, 0.0f, black};
      paint.alpha = unit(random) < 0.3f ? 1.0f : unit(random);
      paint.mode = static_cast<std::uint32_t>(unit(random) * 12);
      QorDoc::Fillable::Painting painting;
      painting.fill =
          std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Cyan", cyan}, {"Black", black}});
      painting.transparency = std::make_shared<const QorBlend::Transparency>(
          static_cast<QorBlend::BlendMode>(paint.mode), paint.alpha, paint.alpha);
      // Half of the objects sit in a plain group, which is flattened.
      b.AddPath(k % 2 ? group : page, Shape(shape), painting);
      shapes.push_back(shape);
      paints.push_back(paint);
    }
    b.AddGroup(page, group);
    auto doc = b.Build();

    // Painting order: the page's own objects first, then the group's members.
    std::vector<std::size_t> order;
    for (std::size_t k = 0; k < shapes.size(); k += 2)
      order.push_back(k);
    for (std::size_t k = 1; k < shapes.size(); k += 2)
      order.push_back(k);
    QorSc::ScanConverter converter(Collect(page));
    for (long long y = 0; y < kHeight; ++y) {
      const QorColor::Component* line = converter.GetLine();
      ASSERT_NE(line, nullptr);
      for (long long x = 0; x < kWidth; ++x) {
        QorScTest::ReferencePixel expected(4);
        for (std::size_t k : order) {
          if (QorScTest::ReferenceInside({shapes[k]}, 1, x, y)) expected.Paint(paints[k]);
        }
        for (int s = 0; s < 4; ++s) {
          ASSERT_EQ(line[x * 4 + s], expected.colour[s]) << round << ": " << x << "," << y;
        }
      }
    }
  }
}

// Clip scopes, rendered: every object admits only what its scope's clipping objects
// cover, compared pixel by pixel with the reference.
TEST(CollectObjects, ClipsRestrictRenderedObjects) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  // A painted object before the clip: the clip applies to it as well.
  b.AddPath(page, Shape(Rect(0.2, 0.2, 47.7, 31.6)), Fill("Cyan", 0.5f));
  QorDoc::Fillable::Painting clip;
  b.AddPath(page, Shape(Rect(5.2, 4.3, 30.4, 20.6)), clip, T{}, true);
  b.AddPath(page, Shape(Rect(10.3, 8.2, 40.6, 28.7)), clip, T{}, true);
  // A nested scope: a clipping text of two glyphs whose runs touch.
  auto& nested = b.AddContent();
  b.AddText(nested, {Shape(Rect(12.2, 9.2, 16.4, 18.3)), Shape(Rect(16.4, 9.2, 19.3, 18.3))}, clip,
            T{}, true);
  b.AddPath(nested, Shape({{0.3, 0.4}, {47.2, 2.1}, {30.4, 31.2}}), Fill("Magenta", 1.0f));
  b.AddGroup(page, nested);
  auto doc = b.Build();

  QorSc::ScanConverter converter(Collect(page));
  const Polygon cyan_clip1 = Rect(5.2, 4.3, 30.4, 20.6);
  const Polygon cyan_clip2 = Rect(10.3, 8.2, 40.6, 28.7);
  const Polygon cyan = Rect(0.2, 0.2, 47.7, 31.6);
  const Polygon glyphs = Rect(12.2, 9.2, 19.3, 18.3);
  const Polygon magenta = {{0.3, 0.4}, {47.2, 2.1}, {30.4, 31.2}};
  auto in = [](const Polygon& p, long long x, long long y) {
    return QorScTest::ReferenceInside({p}, 1, x, y);
  };
  for (long long y = 0; y < kHeight; ++y) {
    const QorColor::Component* line = converter.GetLine();
    ASSERT_NE(line, nullptr);
    for (long long x = 0; x < kWidth; ++x) {
      const bool scope = in(cyan_clip1, x, y) && in(cyan_clip2, x, y);
      const float c = scope && in(cyan, x, y) ? 0.5f : 0.0f;
      const bool m = scope && in(glyphs, x, y) && in(magenta, x, y);
      EXPECT_EQ(line[x * 4 + 0], m ? 0.0f : c) << x << "," << y;
      EXPECT_EQ(line[x * 4 + 1], m ? 1.0f : 0.0f) << x << "," << y;
    }
  }
}

TEST(CollectObjects, ClipsOutsideTheBoxEmptyTheScope) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  QorDoc::Fillable::Painting clip;
  b.AddPath(page, Shape(Rect(100.2, 4.3, 130.4, 20.6)), clip, T{}, true);
  b.AddPath(page, Shape(Rect(5.2, 4.3, 30.4, 20.6)), Fill("Cyan", 1.0f));
  auto doc = b.Build();
  EXPECT_TRUE(Collect(page).objects->records.empty());

  // A clipping text with no outline changes nothing.
  QorDoc::DocumentBuilder t;
  auto& page2 = t.AddPage();
  t.AddText(page2, {std::make_shared<const Morv::Compound>()}, clip, T{}, true);
  t.AddPath(page2, Shape(Rect(5.2, 4.3, 30.4, 20.6)), Fill("Cyan", 1.0f));
  auto doc2 = t.Build();
  const auto c = Collect(page2);
  ASSERT_EQ(c.objects->records.size(), 1u);
  ASSERT_NE(Fillable(c, 0), nullptr);
  EXPECT_EQ(Fillable(c, 0)->GetClip(), nullptr) << "a scope that clips nothing is not kept";
}

TEST(CollectObjects, AShadingsBackgroundIsAFlatRecordJustBeforeIt) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  // A ramp of Cyan from x = 10 to x = 30 (world = internal x), not extended.
  QorDoc::Fillable::Painting painting;
  painting.fill =
      QorScTest::AxialRamp({.mapping = QorPaint::SeparationMapping({{"Cyan", 0}}, false),
                            .axis = {Morv::MilliPointPoint(10, 0), Morv::MilliPointPoint(30, 0)},
                            .background = QorColor::Color{{"Magenta", 0.5f}}});
  builder.AddPath(page, Shape(Rect(0, 0, 40, 10)), painting);
  QorDoc::Fillable::Painting faded = painting;
  faded.transparency =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, 0.5f, 1.0f);
  builder.AddPath(page, Shape(Rect(0, 20, 40, 30)), faded);
  const auto document = builder.Build();

  QorSc::ObjectCollection collection = Collect(page);
  // The opaque object has its background record first; the translucent one is one
  // group of its background and shading, painted at half opacity as a unit.
  ASSERT_EQ(collection.objects->records.size(), 3u);
  const auto* unit =
      dynamic_cast<const QorSc::GroupObjectInfo*>(collection.objects->records[2].get());
  ASSERT_NE(unit, nullptr);
  EXPECT_EQ(unit->GetMembers().records.size(), 2u);
  QorSc::ScanConverter converter(std::move(collection));
  std::vector<float> line;
  for (int y = 0; y <= 5; ++y) {
    const float* values = converter.GetLine();
    ASSERT_NE(values, nullptr);
    line.assign(values, values + 4 * kWidth);
  }
  // Process components, pixel-interleaved: C M Y K per pixel.
  EXPECT_EQ(line[4 * 5], 0.0f) << "no shading before the axis start";
  EXPECT_EQ(line[4 * 5 + 1], 0.5f) << "the background there";
  EXPECT_GT(line[4 * 25], 0.4f) << "the shading along the axis";
  EXPECT_EQ(line[4 * 25 + 1], 0.0f) << "which knocks out the background";
  const std::vector<float> opaque = line;
  for (int y = 6; y <= 25; ++y) {
    const float* values = converter.GetLine();
    ASSERT_NE(values, nullptr);
    line.assign(values, values + 4 * kWidth);
  }
  // Half of the opaque unit everywhere: the background does not darken the shading.
  for (long long x = 0; x < 40; ++x) {
    for (int c = 0; c < 4; ++c) {
      EXPECT_NEAR(line[4 * x + c], 0.5f * opaque[4 * x + c], 1e-6f) << x << "," << c;
    }
  }
}

}  // namespace
