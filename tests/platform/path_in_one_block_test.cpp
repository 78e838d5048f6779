// A path made in one block with its compound (and its flat fill paint) reads like a
// path over a shared compound and paint, and the block lives exactly as long as any
// reference to the path, its compound or its paint.

#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "morv/compound.h"
#include "qordoc/document.h"
#include "qorpaint/colorant_list.h"
#include "qorpaint/paint.h"

namespace {

using T = Morv::MilliPointTransformation;

QorColor::Color Cmyk(float c, float m, float y, float k) {
  return QorColor::Color{{"Cyan", c}, {"Magenta", m}, {"Yellow", y}, {"Black", k}};
}

std::optional<QorPaint::FlatPaint> Flat(const QorColor::Color& color) {
  return QorPaint::FlatPaint(color);
}

bool SameBox(const Morv::MilliPointRectangle& a, const Morv::MilliPointRectangle& b) {
  return a.X() == b.X() && a.Y() == b.Y() && a.Width() == b.Width() && a.Height() == b.Height();
}

TEST(PathInOneBlock, ReadsLikeAPathOverSharedParts) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  const T placed{2.0, 0.0, 0.5, 2.0, 100.0, -50.0};
  const QorColor::Color color = Cmyk(0.1f, 0.2f, 0.3f, 0.4f);
  auto stroke = std::make_shared<const QorPaint::FlatPaint>(Cmyk(0, 0, 0, 1));
  QorDoc::Fillable::Painting painting;
  painting.stroke = stroke;
  painting.strokeStyle.width = 3000.0;

  QorDoc::Fillable::Painting same = painting;
  same.fill = std::make_shared<const QorPaint::FlatPaint>(color);
  const auto shared = builder.AddPath(
      page, Morv::PathBuilder().Rectangle(1, 2, 30, 40).BuildShared(Morv::kEvenOdd), same, placed);
  // The given fill paint gives way to the path's own.
  painting.fill = std::make_shared<const QorPaint::FlatPaint>(Cmyk(1, 1, 1, 1));
  const auto own = builder.AddPathInOneBlock(
      page, Morv::PathBuilder().Rectangle(1, 2, 30, 40).Build(Morv::kEvenOdd), Flat(color),
      std::move(painting), placed);

  const auto& fill = dynamic_cast<const QorPaint::FlatPaint&>(*own->GetFillPaint());
  EXPECT_EQ(fill.GetColor(), color);
  EXPECT_EQ(own->GetStrokePaint(), stroke);
  EXPECT_EQ(own->GetStrokeStyle().width, 3000.0);
  EXPECT_EQ(&own->GetTransformation(), &shared->GetTransformation());
  EXPECT_EQ(own->DefiningCompound().get(), &own->GetCompound());
  EXPECT_EQ(own->GetCompound().GetWindingRule(), Morv::kEvenOdd);
  const auto points = own->GetCompound().GetSubpaths().front().VectorPoints();
  const auto expected = shared->GetCompound().GetSubpaths().front().VectorPoints();
  ASSERT_EQ(points.size(), 4u);
  for (std::size_t i = 0; i < points.size(); ++i)
    EXPECT_EQ(points[i], expected[i]) << i;
  for (const int kind : {QorDoc::kGeometryBox, QorDoc::kVisualBox})
    EXPECT_TRUE(SameBox(own->GetBoundingBox(kind), shared->GetBoundingBox(kind))) << kind;

  // Without a paint of its own the path keeps the one it is given; the separations
  // of a page name the colorants of both kinds of path.
  const auto spot = std::make_shared<const QorPaint::FlatPaint>(QorColor::Color{{"Gold", 0.5f}});
  QorDoc::Fillable::Painting spot_painting;
  spot_painting.fill = spot;
  const auto plain = builder.AddPathInOneBlock(
      page, Morv::PathBuilder().MoveTo(0, 0).LineTo(5, 5).Build(), std::nullopt, spot_painting);
  EXPECT_EQ(plain->GetFillPaint(), spot);
  EXPECT_EQ(plain->GetCompound().GetSubpaths().size(), 1u);
  const QorColor::Color separations = page.GetSeparations();
  EXPECT_TRUE(separations.Find("Cyan"));
  EXPECT_TRUE(separations.Find("Gold"));
}

TEST(PathInOneBlock, TheBlockLivesWhileAnyOfItsPartsIsHeld) {
  std::weak_ptr<const QorDoc::Path> watch;
  std::shared_ptr<const Morv::Compound> compound;
  std::shared_ptr<const QorPaint::Paint> paint;
  {
    QorDoc::DocumentBuilder builder;
    QorDoc::Content& page = builder.AddPage();
    const auto path = builder.AddPathInOneBlock(
        page, Morv::PathBuilder().Rectangle(0, 0, 10, 10).Build(), Flat(Cmyk(0, 0, 0, 0.5f)), {});
    watch = path;
    compound = path->DefiningCompound();
    paint = path->GetFillPaint();
    const auto document = builder.Build();
    // The content, the path and the two references: one block, one count.
    EXPECT_EQ(watch.use_count(), 4);
  }
  EXPECT_FALSE(watch.expired());
  compound.reset();
  EXPECT_FALSE(watch.expired());
  const auto& flat = static_cast<const QorPaint::FlatPaint&>(*paint);
  EXPECT_EQ(flat.GetTints()[3], 0.5f);
  paint.reset();
  EXPECT_TRUE(watch.expired());

  // A path without its own paint goes with its last reference too.
  {
    QorDoc::DocumentBuilder builder;
    watch = builder.AddPathInOneBlock(
        builder.AddPage(), Morv::PathBuilder().Rectangle(0, 0, 1, 1).Build(), std::nullopt, {});
    compound = watch.lock()->DefiningCompound();
    builder.Build();
  }
  EXPECT_FALSE(watch.expired());
  compound.reset();
  EXPECT_TRUE(watch.expired());
}

// The compound keeps one subpath or several in one slot, the flat paint its tints or
// their block: every copy, move and assignment between the kinds keeps every part.
TEST(PathInOneBlock, CompoundsAndPaintsCopyAndMoveEveryPart) {
  const Morv::Compound one = Morv::PathBuilder().Rectangle(1, 2, 3, 4).Build(Morv::kEvenOdd);
  const Morv::Compound two = Morv::PathBuilder()
                                 .Rectangle(1, 2, 3, 4)
                                 .MoveTo(9, 9)
                                 .CurveTo(10, 9, 11, 10, 12, 12)
                                 .Build(7);
  const auto same = [](const Morv::Compound& a, const Morv::Compound& b) {
    if (a.GetWindingRule() != b.GetWindingRule() ||
        a.GetSubpaths().size() != b.GetSubpaths().size() ||
        !SameBox(a.GetBoundingBox(), b.GetBoundingBox())) {
      return false;
    }
    for (std::size_t i = 0; i < a.GetSubpaths().size(); ++i) {
      const Morv::Subpath& x = a.GetSubpaths()[i];
      const Morv::Subpath& y = b.GetSubpaths()[i];
      if (!(x.Start() == y.Start()) || !(x.Segments() == y.Segments()) ||
          x.IsClosed() != y.IsClosed()) {
        return false;
      }
    }
    return true;
  };
  ASSERT_EQ(one.GetSubpaths().size(), 1u);
  ASSERT_EQ(two.GetSubpaths().size(), 2u);
  EXPECT_EQ(two.GetWindingRule(), 7u);
  for (const Morv::Compound* source : {&one, &two}) {
    Morv::Compound copy(*source);
    EXPECT_TRUE(same(copy, *source));
    Morv::Compound moved(std::move(copy));
    EXPECT_TRUE(same(moved, *source));
    for (const Morv::Compound* other : {&one, &two}) {
      Morv::Compound assigned(*other);
      assigned = *source;
      EXPECT_TRUE(same(assigned, *source));
      Morv::Compound target(*other);
      target = std::move(assigned);
      EXPECT_TRUE(same(target, *source));
    }
  }
  const Morv::Compound empty;
  EXPECT_TRUE(empty.GetSubpaths().empty());
  EXPECT_EQ(empty.GetWindingRule(), Morv::kNonZero);
  EXPECT_TRUE(same(Morv::Compound(empty), empty));

  QorColor::Color six = Cmyk(0.1f, 0.2f, 0.3f, 0.4f);
  six.Add("Orange", 0.5f);
  six.Add("Green", 0.6f);
  for (const QorColor::Color& color : {Cmyk(0.1f, 0.2f, 0.3f, 0.4f), six}) {
    QorPaint::FlatPaint paint(color);
    QorPaint::FlatPaint copy(paint);
    const QorPaint::FlatPaint moved(std::move(paint));
    EXPECT_EQ(moved.GetColor(), color);
    EXPECT_EQ(copy.GetColor(), color);
    EXPECT_TRUE(paint.GetTints().empty());
  }
}

}  // namespace
