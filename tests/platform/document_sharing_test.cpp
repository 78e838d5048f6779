// What objects of a document hold in common: consecutive objects placed alike share
// one transformation (equal to the bit, never merely equal), and a flat paint keeps
// its tints inline or apart without changing them.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

#include "morv/compound.h"
#include "qordoc/document.h"
#include "qorpaint/colorant_list.h"
#include "qorpaint/paint.h"

namespace {

using T = Morv::MilliPointTransformation;

bool SameBits(const T& x, const T& y) {
  return Morv::IdenticalBits(x, y);
}

TEST(DocumentSharing, ObjectsPlacedAlikeShareOneTransformationAndKeepEveryBit) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  const auto square = Morv::PathBuilder().Rectangle(0, 0, 10, 10).BuildShared();
  const T placed{2.0, 0.0, 0.0, 2.0, 100.0, -50.0};
  const auto a = builder.AddPath(page, square, {}, placed);
  const auto b = builder.AddPath(page, square, {}, placed);
  EXPECT_EQ(&a->GetTransformation(), &b->GetTransformation());

  // Equal by value but not to the bit: each keeps its own, and its sign.
  T negative_zero = placed;
  negative_zero.b = -0.0;
  const auto c = builder.AddPath(page, square, {}, negative_zero);
  EXPECT_NE(&b->GetTransformation(), &c->GetTransformation());
  EXPECT_TRUE(std::signbit(c->GetTransformation().b));
  EXPECT_TRUE(SameBits(c->GetTransformation(), negative_zero));

  // A NaN entry is kept as given (and equals itself to the bit).
  T nan = placed;
  nan.e = std::numeric_limits<double>::quiet_NaN();
  const auto d = builder.AddPath(page, square, {}, nan);
  const auto e = builder.AddPath(page, square, {}, nan);
  EXPECT_TRUE(std::isnan(d->GetTransformation().e));
  EXPECT_EQ(&d->GetTransformation(), &e->GetTransformation());

  // Only the last is remembered: going back to an earlier matrix makes a new block
  // with the same value.
  const auto f = builder.AddPath(page, square, {}, placed);
  EXPECT_TRUE(SameBits(f->GetTransformation(), placed));

  // Every kind of object shares, texts and groups included; the identity is one
  // block, in every document.
  QorDoc::Content& members = builder.AddContent();
  const auto group = builder.AddGroup(page, members, placed);
  const auto text = builder.AddText(members, {square}, {}, placed);
  EXPECT_EQ(&group->GetTransformation(), &text->GetTransformation());
  const auto plain = builder.AddPath(page, square, {});
  QorDoc::DocumentBuilder other;
  const auto elsewhere = other.AddPath(other.AddPage(), square, {});
  EXPECT_EQ(&plain->GetTransformation(), &elsewhere->GetTransformation());
  EXPECT_TRUE(SameBits(plain->GetTransformation(), T{}));

  // Built documents keep their objects' placements.
  const auto document = builder.Build();
  EXPECT_TRUE(SameBits(a->GetTransformation(), placed));
  EXPECT_EQ(document->GetPages().front()->GetMembers().size(), 8u);
}

TEST(DocumentSharing, FlatPaintTintsInlineOrApartReadBackExactly) {
  QorColor::Color four{{"Cyan", 0.1f}, {"Magenta", 0.2f}, {"Yellow", 0.3f}, {"Black", 0.4f}};
  QorColor::Color six = four;
  six.Add("Orange", 0.55f);
  six.Add("Green", 1.0f);
  six.SetPaintsNamedColorantsOnly(true);
  for (const QorColor::Color& color : {QorColor::Color{}, four, six}) {
    const QorPaint::FlatPaint paint(color);
    ASSERT_EQ(paint.GetTints().size(), color.Size());
    for (std::size_t i = 0; i < color.Size(); ++i)
      EXPECT_EQ(paint.GetTints()[i], color.GetTint(i));
    EXPECT_EQ(paint.GetColor(), color);
    // A copy holds its own tints.
    const QorPaint::FlatPaint copy(paint);
    EXPECT_EQ(copy.GetColor(), color);
    if (color.Size() > 0) {
      EXPECT_NE(copy.GetTints().data(), paint.GetTints().data());
    }
    EXPECT_EQ(&copy.GetColorants(), &paint.GetColorants());
  }
}

// The two overprint flags ride in the list reference's spare bits: every combination
// survives copies and moves with its list and tints, and the list lives exactly as
// long as a paint or a caller holds it.
TEST(DocumentSharing, FlatPaintFlagsAndListReferenceFollowEveryCopy) {
  QorPaint::ColorantLists lists;
  QorColor::Color six{{"Cyan", 0.1f},  {"Magenta", 0.2f}, {"Yellow", 0.3f},
                      {"Black", 0.4f}, {"Orange", 0.5f},  {"Green", 0.6f}};
  const QorColor::Color gold{{"Gold", 0.75f}};
  for (const QorColor::Color& base : {gold, six}) {
    const QorPaint::ColorantListPtr list = lists.Intern(base);
    const std::size_t held = list.use_count();  // the interner's and ours
    for (const int flags : {0, 1, 2, 3}) {
      QorColor::Color color = base;
      color.SetPaintsNamedColorantsOnly(flags & 1);
      color.SetPaintsAllColorants(flags & 2);
      {
        QorPaint::FlatPaint paint(list, color);
        EXPECT_EQ(list.use_count(), held + 1);
        const QorPaint::FlatPaint copy(paint);
        const QorPaint::FlatPaint moved(std::move(paint));
        EXPECT_EQ(list.use_count(), held + 2) << "the moved-from paint gave its reference away";
        EXPECT_TRUE(paint.GetTints().empty());
        for (const QorPaint::FlatPaint* p : {&copy, &moved}) {
          EXPECT_EQ(p->GetColor(), color) << flags;
          EXPECT_EQ(p->PaintsNamedColorantsOnly(), (flags & 1) != 0);
          EXPECT_EQ(p->PaintsAllColorants(), (flags & 2) != 0);
          EXPECT_EQ(&p->GetColorants(), list.get());
        }
        const QorPaint::ColorantListPtr shared = copy.GetSharedColorants();
        EXPECT_EQ(shared, list);
        EXPECT_EQ(list.use_count(), held + 3);
      }
      EXPECT_EQ(list.use_count(), held) << "every paint let go of the list";
    }
  }
  // A paint with a list of its own outlives every other holder of it.
  QorPaint::ColorantListPtr own;
  {
    const QorPaint::FlatPaint paint(six);
    own = paint.GetSharedColorants();
    EXPECT_EQ(own.use_count(), 2u);
  }
  EXPECT_EQ(own.use_count(), 1u);
  EXPECT_EQ(own->GetName(5), "Green");
}

}  // namespace
