// CollectOvrelFillComponents over fills assembled with the fill builder from
// documents made with the document builder: which groups are flattened, how nested
// levels and soft masks are recorded, that every record covers the pixel box, which
// components are rejected, and the rendered result of flat elements.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include "collect/fillable_object_info.h"
#include "collect/group_object_info.h"
#include "collect/image_object_info.h"
#include "composite/blend_term.h"
#include "ovrel/fill.h"
#include "ovrel/fill_builder.h"
#include "qordoc/document.h"
#include "scan/collect_fill_components.h"
#include "scan/scan_converter.h"
#include "test_picture.h"
#include "test_scene.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using Ovrel::TFillBuilder;
using QorScTest::kHeight;
using QorScTest::kWidth;
using QorScTest::PixelEnvironment;
using T = Morv::MilliPointTransformation;
using Component = std::shared_ptr<const Ovrel::TGraphicsComponent>;

const Box kPage{0, 0, kWidth, kHeight};
const QorSc::Options kCmyk(true, {});

QorColor::Color Cmyk(float c, float m, float y, float k) {
  return QorColor::Color{{"Cyan", c}, {"Magenta", m}, {"Yellow", y}, {"Black", k}};
}

std::shared_ptr<const QorBlend::Transparency> Blend(QorBlend::BlendMode mode, float alpha) {
  return std::make_shared<const QorBlend::Transparency>(mode, alpha, alpha);
}

std::shared_ptr<const QorBlend::Transparency> Flags(std::uint8_t isolated, std::uint8_t knockout) {
  auto t = std::make_shared<QorBlend::Transparency>();
  t->SetGroupFlags(isolated, knockout);
  return t;
}

Component Group(std::shared_ptr<const QorBlend::Transparency> t,
                Ovrel::TGraphicsComponentList members, Ovrel::TMaskComponentList masks = {}) {
  return TFillBuilder::Group(std::make_shared<const Ovrel::TGroupAttribute>(std::move(t)),
                             std::move(members), std::move(masks));
}

// A document page of flat rectangles; the rectangles' extents do not matter to a
// fill, whose records all cover the pixel box.
struct Page {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content* page = &builder.AddPage();
  std::shared_ptr<const QorDoc::Document> document;

  std::shared_ptr<const QorDoc::Path> Path(
      QorColor::Color color,
      std::shared_ptr<const QorBlend::Transparency> t = QorBlend::Transparency::Opaque(),
      QorDoc::Content* content = nullptr) {
    QorDoc::Fillable::Painting painting;
    painting.fill = std::make_shared<QorPaint::FlatPaint>(std::move(color));
    painting.transparency = std::move(t);
    return builder.AddPath(content != nullptr ? *content : *page,
                           Morv::PathBuilder().Rectangle(1.0, 1.0, 4.0, 4.0).BuildShared(),
                           std::move(painting));
  }

  void Build() { document = builder.Build(); }
};

QorSc::ObjectCollection Collect(const Ovrel::TFill* fill, const Box& box = kPage) {
  return QorSc::CollectOvrelFillComponents(PixelEnvironment(), kCmyk, box, fill);
}

const QorSc::FillableObjectInfo* AsFillable(const QorSc::ObjectInfo& record) {
  return dynamic_cast<const QorSc::FillableObjectInfo*>(&record);
}

const QorSc::GroupObjectInfo* AsGroup(const QorSc::ObjectInfo& record) {
  return dynamic_cast<const QorSc::GroupObjectInfo*>(&record);
}

// The document identifiers of a level's records; 0 for a group or an image record.
std::vector<std::size_t> Ids(const QorSc::ObjectInfoContainer& level) {
  std::vector<std::size_t> ids;
  for (const auto& record : level.records) {
    const QorSc::FillableObjectInfo* fillable = AsFillable(*record);
    ids.push_back(fillable != nullptr ? fillable->GetContentObject()->GetID() : 0);
  }
  return ids;
}

TEST(FillComponents, IteratorsEndWithNull) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  auto b = p.Path(Cmyk(0, 1, 0, 0));
  p.Build();
  const Component ea = TFillBuilder::Element(*a);
  const Component eb = TFillBuilder::Element(*b);
  auto mask_attribute = std::make_shared<const Ovrel::TSoftMaskAttribute>(
      std::make_shared<const QorBlend::SoftMask>(nullptr, T{}, true));
  auto mask = TFillBuilder::Mask(mask_attribute, {eb});
  const Component group = TFillBuilder::Group(nullptr, {ea, eb}, {mask});
  auto fill = TFillBuilder().Add(ea).Add(group).Build();

  Ovrel::TFill::TGraphicsComponentIterator top(*fill);
  EXPECT_EQ(top.Next(), ea.get());
  EXPECT_EQ(top.Next(), group.get());
  EXPECT_EQ(top.Next(), nullptr);
  EXPECT_EQ(top.Next(), nullptr) << "the end stays the end";

  Ovrel::TFill::TGraphicsComponentIterator members(*group);
  EXPECT_EQ(members.Next(), ea.get());
  EXPECT_EQ(members.Next(), eb.get());
  EXPECT_EQ(members.Next(), nullptr);

  Ovrel::TFill::TMaskComponentIterator masks(*group);
  const Ovrel::TFill::TSoftMask* first = masks.Next();
  ASSERT_EQ(first, mask.get());
  EXPECT_EQ(first->SoftMaskAttribute(), mask_attribute.get());
  EXPECT_EQ(masks.Next(), nullptr);
  Ovrel::TFill::TGraphicsComponentIterator content(*first);
  EXPECT_EQ(content.Next(), eb.get());
  EXPECT_EQ(content.Next(), nullptr);

  Ovrel::TFill::TMaskComponentIterator none(*ea);
  EXPECT_EQ(none.Next(), nullptr);
  EXPECT_TRUE(ea->IsElement());
  EXPECT_TRUE(group->IsGroup());
  EXPECT_EQ(group->GroupAttribute(), nullptr);
  EXPECT_EQ(group->ElementAttribute(), nullptr);
}

TEST(FillComponents, ElementAttributesFollowTheirDocumentObjects) {
  Page p;
  auto& members = p.builder.AddContent();
  QorDoc::Fillable::Painting painting;
  painting.fill = std::make_shared<QorPaint::FlatPaint>(Cmyk(1, 0, 0, 0));
  painting.stroke = std::make_shared<QorPaint::FlatPaint>(Cmyk(0, 0, 0, 1));
  painting.transparency = Blend(QorBlend::kScreen, 0.25f);
  auto path = p.builder.AddPath(members, Morv::PathBuilder().Rectangle(0, 0, 2, 2).BuildShared(),
                                painting, T::Scale(2.0, 2.0));
  p.builder.AddGroup(*p.page, members, T::Translation(5.0, 0.0));
  p.Build();

  const auto fill = DocumentGraph::MakeElementAttribute(*path);
  EXPECT_EQ(fill->Object(), path.get());
  EXPECT_EQ(fill->ObjectForSelection(), path.get());
  EXPECT_EQ(fill->Paint(), path->GetFillPaint());
  EXPECT_EQ(fill->Transparency(), path->GetTransparency());
  EXPECT_EQ(fill->PaintedPicture(), nullptr);
  EXPECT_FALSE(fill->DoSelectStroke());
  EXPECT_EQ(fill->ObjectTransformation(),
            Morv::Compose(T::Translation(5.0, 0.0), T::Scale(2.0, 2.0)));
  EXPECT_EQ(fill->ContentTransformation(), T::Translation(5.0, 0.0));

  const auto stroke = DocumentGraph::MakeElementAttribute(*path, true);
  EXPECT_EQ(stroke->Paint(), path->GetStrokePaint());
  EXPECT_TRUE(stroke->DoSelectStroke());

  // The records carry the attribute's fields as they are.
  auto collected_fill = TFillBuilder().Add(TFillBuilder::Element(fill)).Build();
  const auto c = Collect(collected_fill.get());
  ASSERT_EQ(c.objects->records.size(), 1u);
  const QorSc::FillableObjectInfo* record = AsFillable(*c.objects->records[0]);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->GetContentObject(), path.get());
  EXPECT_EQ(record->GetPaint(), path->GetFillPaint());
  // A flat paint is the same wherever it is placed: the record keeps no placement.
  EXPECT_EQ(record->GetPaintPlacement(), T::Identity());
  EXPECT_EQ(record->GetClip(), nullptr);
  EXPECT_FALSE(record->IsStroke());
  EXPECT_EQ(record->GetSoftMask(), nullptr);

  auto collected_stroke = TFillBuilder().Add(TFillBuilder::Element(stroke)).Build();
  const auto s = Collect(collected_stroke.get());
  ASSERT_EQ(s.objects->records.size(), 1u);
  ASSERT_NE(AsFillable(*s.objects->records[0]), nullptr);
  EXPECT_TRUE(AsFillable(*s.objects->records[0])->IsStroke());
  EXPECT_EQ(AsFillable(*s.objects->records[0])->GetPaint(), path->GetStrokePaint());
}

TEST(FillComponents, EmptyFillsGiveEmptyPageContainers) {
  const Box box{2, 3, 20, 9};
  for (const auto& fill : {std::shared_ptr<const Ovrel::TFill>(), TFillBuilder().Build(),
                           std::make_shared<const Ovrel::TFill>()}) {
    const auto c = Collect(fill.get(), box);
    ASSERT_NE(c.objects, nullptr);
    EXPECT_TRUE(c.objects->records.empty());
    EXPECT_EQ(c.objects->isolated, 1);
    EXPECT_EQ(c.objects->knockout, 0);
    EXPECT_EQ(c.pixelBox, box);
    EXPECT_EQ(c.options, kCmyk);
  }
}

// Normal opaque groups with both flags clear (explicitly or by default), groups
// whose attribute has no transparency and groups without an attribute are all
// flattened in order; empty ones leave nothing behind.
TEST(FillComponents, PlainGroupsAreFlattenedInOrder) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  auto b = p.Path(Cmyk(0, 1, 0, 0));
  auto c = p.Path(Cmyk(0, 0, 1, 0));
  auto d = p.Path(Cmyk(0, 0, 0, 1));
  auto e = p.Path(Cmyk(1, 1, 0, 0));
  auto f = p.Path(Cmyk(0, 1, 1, 0));
  p.Build();
  auto fill = TFillBuilder()
                  .Add(TFillBuilder::Element(*a))
                  .Add(Group(std::make_shared<const QorBlend::Transparency>(),
                             {TFillBuilder::Element(*b), TFillBuilder::Element(*c)}))
                  .Add(Group(Flags(0, 0), {TFillBuilder::Element(*d)}))
                  .Add(Group(nullptr, {TFillBuilder::Element(*e)}))
                  .Add(TFillBuilder::Group(
                      nullptr, {TFillBuilder::Group(nullptr, {TFillBuilder::Element(*f)})}))
                  .Add(Group(nullptr, {}))
                  .Add(Group(Flags(0, 0), {}))
                  .Build();
  EXPECT_EQ(Ids(*Collect(fill.get()).objects),
            (std::vector<std::size_t>{a->GetID(), b->GetID(), c->GetID(), d->GetID(), e->GetID(),
                                      f->GetID()}));
}

TEST(FillComponents, IsolatedAndKnockoutGroupsKeepTheirLevel) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  auto b = p.Path(Cmyk(0, 1, 0, 0));
  auto c = p.Path(Cmyk(0, 0, 1, 0));
  p.Build();
  const auto isolated = Flags(1, 0);
  const auto knockout = Flags(0, 1);
  auto fill = TFillBuilder()
                  .Add(Group(isolated, {TFillBuilder::Element(*a), TFillBuilder::Element(*b)}))
                  // Inside a knockout level, a plain knockout group matches it.
                  .Add(Group(knockout, {Group(Flags(0, 1), {TFillBuilder::Element(*c)})}))
                  .Build();
  const auto collected = Collect(fill.get());
  ASSERT_EQ(collected.objects->records.size(), 2u);

  const QorSc::GroupObjectInfo* first = AsGroup(*collected.objects->records[0]);
  ASSERT_NE(first, nullptr) << "normal and opaque, but isolated";
  EXPECT_EQ(first->GetGroup(), nullptr);
  EXPECT_EQ(first->GetClip(), nullptr);
  EXPECT_EQ(first->GetSoftMask(), nullptr);
  EXPECT_EQ(first->GetMembers().isolated, 1);
  EXPECT_EQ(first->GetMembers().knockout, 0);
  EXPECT_EQ(Ids(first->GetMembers()), (std::vector<std::size_t>{a->GetID(), b->GetID()}));

  const QorSc::GroupObjectInfo* second = AsGroup(*collected.objects->records[1]);
  ASSERT_NE(second, nullptr) << "knockout differs from the page's";
  EXPECT_EQ(second->GetMembers().isolated, 0);
  EXPECT_EQ(second->GetMembers().knockout, 1);
  EXPECT_EQ(Ids(second->GetMembers()), (std::vector<std::size_t>{c->GetID()}))
      << "the inner knockout group is flattened into the outer knockout level";
}

TEST(FillComponents, BlendingGroupsBecomeRecords) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  auto b = p.Path(Cmyk(0, 1, 0, 0));
  auto mask_content = &p.builder.AddContent();
  p.Path(Cmyk(0, 0, 0, 1), QorBlend::Transparency::Opaque(), mask_content);
  auto masked = std::make_shared<QorBlend::Transparency>();
  masked->SetSoftMask(std::make_shared<const QorBlend::SoftMask>(mask_content, T{}, true));
  p.Build();
  const auto multiply = Blend(QorBlend::kMultiply, 1.0f);
  const auto half = Blend(QorBlend::kNormal, 0.5f);
  auto fill = TFillBuilder()
                  .Add(Group(multiply, {TFillBuilder::Element(*a)}))
                  .Add(Group(half, {TFillBuilder::Element(*b)}))
                  .Add(Group(masked, {TFillBuilder::Element(*a)}))
                  .Build();
  const auto collected = Collect(fill.get());
  EXPECT_EQ(Ids(*collected.objects), (std::vector<std::size_t>{0, 0, 0}));
  for (std::size_t k = 0; k < 3; ++k) {
    const QorSc::GroupObjectInfo* group = AsGroup(*collected.objects->records[k]);
    ASSERT_NE(group, nullptr) << k;
    EXPECT_EQ(group->GetMembers().records.size(), 1u) << k;
    EXPECT_EQ(group->GetMembers().isolated, 0) << k;
    EXPECT_EQ(group->GetMembers().knockout, 0) << k;
  }
}

TEST(FillComponents, NestedGroupsRecurse) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  auto b = p.Path(Cmyk(0, 1, 0, 0));
  auto c = p.Path(Cmyk(0, 0, 1, 0));
  auto d = p.Path(Cmyk(0, 0, 0, 1));
  auto e = p.Path(Cmyk(1, 1, 0, 0));
  p.Build();
  auto fill = TFillBuilder()
                  .Add(Group(Blend(QorBlend::kMultiply, 1.0f),
                             {TFillBuilder::Element(*a),
                              Group(nullptr, {TFillBuilder::Element(*b),
                                              Group(Flags(1, 1), {TFillBuilder::Element(*c)})}),
                              TFillBuilder::Element(*d)}))
                  .Add(TFillBuilder::Element(*e))
                  .Build();
  const auto collected = Collect(fill.get());
  EXPECT_EQ(Ids(*collected.objects), (std::vector<std::size_t>{0, e->GetID()}));
  const QorSc::GroupObjectInfo* outer = AsGroup(*collected.objects->records[0]);
  ASSERT_NE(outer, nullptr);
  EXPECT_EQ(Ids(outer->GetMembers()),
            (std::vector<std::size_t>{a->GetID(), b->GetID(), 0, d->GetID()}));
  const QorSc::GroupObjectInfo* inner = AsGroup(*outer->GetMembers().records[2]);
  ASSERT_NE(inner, nullptr);
  EXPECT_EQ(inner->GetMembers().isolated, 1);
  EXPECT_EQ(inner->GetMembers().knockout, 1);
  EXPECT_EQ(Ids(inner->GetMembers()), (std::vector<std::size_t>{c->GetID()}));
}

TEST(FillComponents, SoftMasksAreCollectedWithTheirContent) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  auto b = p.Path(Cmyk(0, 1, 0, 0));
  auto m1 = p.Path(Cmyk(0, 0, 0, 1));
  auto m2 = p.Path(Cmyk(0, 0, 0, 0.5f));
  p.Build();
  const auto alpha_mask = std::make_shared<const QorBlend::SoftMask>(nullptr, T{}, true);
  const auto luminosity_mask = std::make_shared<const QorBlend::SoftMask>(nullptr, T{}, false);
  auto mask = TFillBuilder::Mask(
      std::make_shared<const Ovrel::TSoftMaskAttribute>(alpha_mask),
      {TFillBuilder::Element(*m1),
       Group(Blend(QorBlend::kScreen, 1.0f), {Group(nullptr, {TFillBuilder::Element(*m2)})})});
  // Only the first mask component is a record's soft mask.
  auto ignored =
      TFillBuilder::Mask(std::make_shared<const Ovrel::TSoftMaskAttribute>(luminosity_mask), {});
  auto group_mask =
      TFillBuilder::Mask(std::make_shared<const Ovrel::TSoftMaskAttribute>(luminosity_mask), {});
  Ovrel::TElementAttribute::Definition picture;
  picture.paintedPicture = QorTest::MakeInkPicture(2, 2, {"Black"}, {});
  auto fill = TFillBuilder()
                  .Add(TFillBuilder::Element(*a, false, {mask, ignored}))
                  // A mask makes even a plain group keep its level.
                  .Add(Group(nullptr, {TFillBuilder::Element(*b)}, {group_mask}))
                  .Add(TFillBuilder::Element(
                      std::make_shared<const Ovrel::TElementAttribute>(picture), {mask}))
                  .Build();
  const auto collected = Collect(fill.get());
  ASSERT_EQ(collected.objects->records.size(), 3u);

  const QorSc::FillableObjectInfo* element = AsFillable(*collected.objects->records[0]);
  ASSERT_NE(element, nullptr);
  ASSERT_NE(element->GetSoftMask(), nullptr);
  EXPECT_EQ(element->GetSoftMask()->mask, alpha_mask);
  const QorSc::ObjectInfoContainer& content = *element->GetSoftMask()->content;
  EXPECT_EQ(content.isolated, 1);
  EXPECT_EQ(content.knockout, 0);
  EXPECT_EQ(Ids(content), (std::vector<std::size_t>{m1->GetID(), 0}));
  const QorSc::GroupObjectInfo* screen = AsGroup(*content.records[1]);
  ASSERT_NE(screen, nullptr);
  EXPECT_EQ(Ids(screen->GetMembers()), (std::vector<std::size_t>{m2->GetID()}));

  const QorSc::GroupObjectInfo* group = AsGroup(*collected.objects->records[1]);
  ASSERT_NE(group, nullptr);
  EXPECT_EQ(Ids(group->GetMembers()), (std::vector<std::size_t>{b->GetID()}));
  EXPECT_EQ(group->GetMembers().isolated, 0);
  EXPECT_EQ(group->GetMembers().knockout, 0);
  ASSERT_NE(group->GetSoftMask(), nullptr);
  EXPECT_EQ(group->GetSoftMask()->mask, luminosity_mask);
  EXPECT_TRUE(group->GetSoftMask()->content->records.empty());

  const auto* image =
      dynamic_cast<const QorSc::ImageObjectInfo*>(collected.objects->records[2].get());
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->GetImage(), nullptr);
  ASSERT_NE(image->GetSoftMask(), nullptr);
  EXPECT_EQ(image->GetSoftMask()->mask, alpha_mask);
  EXPECT_EQ(image->GetSoftMask()->content->records.size(), 2u);
}

TEST(FillComponents, EveryRecordCoversThePixelBox) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  auto b = p.Path(Cmyk(0, 1, 0, 0));
  p.Build();
  auto mask =
      TFillBuilder::Mask(std::make_shared<const Ovrel::TSoftMaskAttribute>(
                             std::make_shared<const QorBlend::SoftMask>(nullptr, T{}, true)),
                         {TFillBuilder::Element(*b)});
  Ovrel::TElementAttribute::Definition picture;
  picture.paintedPicture = QorTest::MakeInkPicture(1, 1, {"Black"}, {});
  auto fill =
      TFillBuilder()
          .Add(TFillBuilder::Element(*a, false, {mask}))
          .Add(Group(Blend(QorBlend::kDarken, 0.3f),
                     {TFillBuilder::Element(*b), Group(Flags(1, 0), {TFillBuilder::Element(*a)})},
                     {mask}))
          .Add(TFillBuilder::Element(std::make_shared<const Ovrel::TElementAttribute>(picture)))
          .Build();
  const Box box{3, 5, 19, 12};
  const auto collected = Collect(fill.get(), box);

  std::size_t seen = 0;
  std::function<void(const QorSc::ObjectInfoContainer&)> check =
      [&](const QorSc::ObjectInfoContainer& level) {
        for (const auto& record : level.records) {
          ++seen;
          EXPECT_EQ(record->GetPixelBox(), box);
          const QorSc::SoftMaskRecord* soft_mask = nullptr;
          if (const QorSc::FillableObjectInfo* f = AsFillable(*record)) {
            EXPECT_EQ(f->GetGeometry().pixelBox, box);
            EXPECT_EQ(f->GetGeometry().compound, nullptr);
            EXPECT_EQ(f->GetGeometry().mask, nullptr);
            EXPECT_EQ(f->GetGeometry().transformation, T::Identity());
            soft_mask = f->GetSoftMask();
          } else if (const QorSc::GroupObjectInfo* g = AsGroup(*record)) {
            check(g->GetMembers());
            soft_mask = g->GetSoftMask();
          }
          if (soft_mask != nullptr) check(*soft_mask->content);
        }
      };
  check(*collected.objects);
  EXPECT_EQ(seen, 8u) << "a, its mask's b, the group, b, the inner group, a, the mask's b, "
                         "the picture";
}

TEST(FillComponents, MalformedComponentsAreRejected) {
  Page p;
  auto a = p.Path(Cmyk(1, 0, 0, 0));
  p.Build();
  const Component good = TFillBuilder::Element(*a);
  auto bare =
      std::make_shared<const Ovrel::TElementAttribute>(Ovrel::TElementAttribute::Definition{});
  auto expect_rejected = [](const Component& component, const char* why) {
    const Ovrel::TFill top({component});
    EXPECT_THROW(Collect(&top), std::invalid_argument) << why;
    // As deep inside a level of its own.
    const Ovrel::TFill nested({Group(Flags(1, 0), {component})});
    EXPECT_THROW(Collect(&nested), std::invalid_argument) << why << ", nested";
  };
  using Ovrel::TGraphicsComponent;
  expect_rejected(std::make_shared<const TGraphicsComponent>(
                      Ovrel::kElementComponent, nullptr, nullptr, Ovrel::TGraphicsComponentList{},
                      Ovrel::TMaskComponentList{}),
                  "an element without its attribute");
  expect_rejected(std::make_shared<const TGraphicsComponent>(
                      Ovrel::kElementComponent, bare, nullptr, Ovrel::TGraphicsComponentList{},
                      Ovrel::TMaskComponentList{}),
                  "an element with neither picture nor paint");
  expect_rejected(std::make_shared<const TGraphicsComponent>(
                      static_cast<Ovrel::TComponentKind>(7), nullptr, nullptr,
                      Ovrel::TGraphicsComponentList{good}, Ovrel::TMaskComponentList{}),
                  "an unknown kind");
  expect_rejected(std::make_shared<const TGraphicsComponent>(
                      Ovrel::kElementComponent, DocumentGraph::MakeElementAttribute(*a), nullptr,
                      Ovrel::TGraphicsComponentList{good}, Ovrel::TMaskComponentList{}),
                  "an element with members");
  expect_rejected(std::make_shared<const TGraphicsComponent>(
                      Ovrel::kGroupComponent, DocumentGraph::MakeElementAttribute(*a), nullptr,
                      Ovrel::TGraphicsComponentList{good}, Ovrel::TMaskComponentList{}),
                  "a group with an element attribute");
  auto no_attribute =
      std::make_shared<const Ovrel::TMaskComponent>(nullptr, Ovrel::TGraphicsComponentList{});
  expect_rejected(TFillBuilder::Group(nullptr, {good}, {no_attribute}), "a mask without attribute");
  auto no_mask = TFillBuilder::Mask(std::make_shared<const Ovrel::TSoftMaskAttribute>(nullptr), {});
  expect_rejected(TFillBuilder::Element(*a, false, {no_mask}), "a mask attribute without a mask");

  // The model itself refuses null entries, and the builder malformed elements.
  EXPECT_THROW(Ovrel::TFill({good, nullptr}), std::invalid_argument);
  EXPECT_THROW(TFillBuilder::Group(nullptr, {nullptr}), std::invalid_argument);
  EXPECT_THROW(TFillBuilder::Element(*a, false, {nullptr}), std::invalid_argument);
  EXPECT_THROW(TFillBuilder::Mask(nullptr, {}), std::invalid_argument);
  EXPECT_THROW(TFillBuilder::Element(bare), std::invalid_argument);
  EXPECT_THROW(TFillBuilder::Element(std::shared_ptr<const Ovrel::TElementAttribute>()),
               std::invalid_argument);
  EXPECT_THROW(TFillBuilder().Add(nullptr), std::invalid_argument);
}

// Every record covers the whole box, so each line is one colour: what the elements
// composite to, in painting order.
void ExpectConstantLines(const Ovrel::TFill& fill, const std::vector<float>& expected) {
  QorSc::ScanConverter converter(Collect(&fill));
  for (long long y = 0; y < kHeight; ++y) {
    const QorColor::Component* line = converter.GetLine();
    ASSERT_NE(line, nullptr) << y;
    for (long long x = 0; x < kWidth; ++x) {
      for (std::size_t c = 0; c < expected.size(); ++c) {
        ASSERT_EQ(line[x * 4 + c], expected[c]) << x << "," << y << " plane " << c;
      }
    }
  }
  EXPECT_EQ(converter.GetLine(), nullptr);
}

TEST(FillComponents, RenderedFlatElementsCoverTheBox) {
  Page p;
  const std::vector<float> first{0.1f, 0.7f, 0.3f, 0.2f};
  const std::vector<float> last{0.6f, 0.2f, 0.9f, 0.05f};
  const std::vector<float> over{0.5f, 0.25f, 0.0f, 0.8f};
  auto a = p.Path(Cmyk(first[0], first[1], first[2], first[3]));
  auto b = p.Path(Cmyk(last[0], last[1], last[2], last[3]));
  auto m = p.Path(Cmyk(over[0], over[1], over[2], over[3]), Blend(QorBlend::kMultiply, 0.5f));
  p.Build();

  // The last opaque element shows everywhere, through a flattened group too.
  auto opaque = TFillBuilder()
                    .Add(TFillBuilder::Element(*a))
                    .Add(Group(nullptr, {TFillBuilder::Element(*a), TFillBuilder::Element(*b)}))
                    .Build();
  ExpectConstantLines(*opaque, last);

  // Half-strength Multiply over the opaque element.
  auto blended =
      TFillBuilder()
          .Add(TFillBuilder::Element(*b))
          .Add(Group(std::make_shared<const QorBlend::Transparency>(), {TFillBuilder::Element(*m)}))
          .Build();
  const QorSc::BlendTermFunction multiply = QorSc::SelectBlendTerm(QorBlend::kMultiply);
  std::vector<float> expected;
  for (std::size_t c = 0; c < 4; ++c) {
    const float as = 0.5f;
    const float cs = as * over[c];
    expected.push_back(QorSc::CompositeInk(1.0f, last[c], as, cs, multiply(1.0f, last[c], as, cs)));
  }
  ExpectConstantLines(*blended, expected);
  EXPECT_NE(expected, last);
}

}  // namespace
