// The document model: colour conversion into separations, process and grey, the
// document builder's identifiers, back links and halftone list, and layer expressions.
//
// Expected values are computed in the test with the same float operations in the
// same order as the conversion's documented rule, so the checks are bit-exact.

#include "qordoc/document.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "morv/compound.h"
#include "qorblend/transparency.h"
#include "qordoc/color_conversion.h"
#include "qordoc/layer.h"
#include "qorimg/painted_picture.h"
#include "qorpaint/colorant_list.h"
#include "qorpaint/paint.h"

namespace {

using QorColor::Color;
using QorDoc::ConvertToGray;
using QorDoc::ConvertToProcess;
using QorDoc::ConvertToSeparations;
using Entry = QorDoc::Separation::Entry;
using Rep = QorDoc::Separation::Representation;

// The layering rule as documented: p = w·s; o = (o + p) − o·p.
float Layer(float o, float w, float s) {
  const float p = w * s;
  return (o + p) - o * p;
}

const std::vector<Entry>& Table() {
  static const std::vector<Entry> table{Entry("Gold", Rep({0.1f, 0.3f, 0.9f, 0.2f})),
                                        Entry("Teal", Rep({0.8f, 0.0f, 0.35f, 0.05f}))};
  return table;
}

Color Plates(std::initializer_list<const char*> names) {
  Color plates;
  for (const char* name : names)
    plates.Add(name, 0.0f);
  return plates;
}

std::shared_ptr<const Morv::Compound> Shape(double x, double y, double width, double height) {
  return Morv::PathBuilder().Rectangle(x, y, width, height).BuildShared();
}

// A spot on its own plate is taken directly and not also simulated; one without a
// plate is simulated into the process plates present; a process ink without a plate,
// a spot missing from the table and a name of another case contribute nothing.
TEST(ColorConversion, SeparationsTakeDirectInksAndSimulateSpotsWithoutPlates) {
  const struct {
    const char* what;
    Color color;
    Color plates;
    std::vector<float> expected;
  } cases[] = {
      {"own plate",
       Color{{"Gold", 0.45f}, {"Magenta", 0.7f}},
       Plates({"Magenta", "Gold", "Cyan"}),
       {0.7f, 0.45f, 0.0f}},
      {"simulated",
       Color{{"Gold", 0.5f}},
       Plates({"Yellow", "Spot", "Cyan"}),
       {Layer(0.0f, 0.9f, 0.5f), 0.0f, 0.05f}},
      {"no plate", Color{{"Cyan", 0.6f}}, Plates({"Magenta", "Black", "Gold"}), {0.0f, 0.0f, 0.0f}},
      {"unknown",
       Color{{"Unknown", 1.0f}, {"Yellow", 0.3f}},
       Plates({"Cyan", "Yellow"}),
       {0.0f, 0.3f}},
      {"case", Color{{"gold", 1.0f}}, Plates({"Gold", "Cyan"}), {0.0f, 0.0f}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ConvertToSeparations(c.color, c.plates, Table()), c.expected) << c.what;
  }
}

TEST(ColorConversion, ContributionsToOnePlateLayer) {
  // Cyan directly, then Gold's and Teal's cyan through their representations.
  const Color color{{"Cyan", 0.4f}, {"Gold", 0.5f}, {"Teal", 0.25f}};
  const auto out = ConvertToSeparations(color, Plates({"Cyan"}), Table());
  float expected = Layer(0.0f, 1.0f, 0.4f);
  expected = Layer(expected, 0.1f, 0.5f);
  expected = Layer(expected, 0.8f, 0.25f);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0], expected);
  EXPECT_LT(out[0], 0.4f + 0.05f + 0.2f) << "inks layer, they do not add";

  // Values where the other natural orders of the rule round differently.
  const std::vector<Entry> pine{Entry("Pine", Rep({0.2f, 0.0f, 0.0f, 0.0f}))};
  const auto ordered =
      ConvertToSeparations(Color{{"Cyan", 0.02f}, {"Pine", 0.55f}}, Plates({"Cyan"}), pine);
  EXPECT_EQ(ordered[0], 0.127800018f);
  EXPECT_NE(ordered[0], 0.02f + (0.2f * 0.55f - 0.02f * (0.2f * 0.55f)));
  EXPECT_NE(ordered[0], 0.02f + 0.2f * 0.55f * (1.0f - 0.02f));

  // Two full inks on one plate stay at full ink.
  const auto full = ConvertToSeparations(Color{{"Black", 1.0f}, {"Gold", 1.0f}}, Plates({"Black"}),
                                         {Entry("Gold", Rep({0.0f, 0.0f, 0.0f, 1.0f}))});
  EXPECT_EQ(full[0], 1.0f);
}

TEST(ColorConversion, IntoABufferStartsFromNoInkAndMatchesTheReturnedValues) {
  const Color color{{"Gold", 0.45f}, {"Teal", 0.6f}, {"Cyan", 0.3f}};
  const Color plates = Plates({"Magenta", "Cyan", "Yellow", "Gold"});
  std::array<float, 5> buffer{9.0f, 9.0f, 9.0f, 9.0f, 9.0f};
  QorDoc::ConvertToSeparations(color, plates, Table(), buffer.data());
  const auto out = ConvertToSeparations(color, plates, Table());
  ASSERT_EQ(out.size(), 4u);
  for (std::size_t i = 0; i < out.size(); ++i)
    EXPECT_EQ(buffer[i], out[i]) << "a leftover value would be layered over: " << i;
  EXPECT_EQ(buffer[4], 9.0f) << "only one value per separation is written";
  EXPECT_EQ(buffer[0], Layer(0.0f, 0.0f, 0.6f));
  EXPECT_EQ(buffer[1], Layer(Layer(0.0f, 0.8f, 0.6f), 1.0f, 0.3f));
}

// The planned conversion gives the very bits of the conversion by names, whatever the
// mix of direct, simulated, unknown, repeated and out-of-range colorants.
TEST(ColorConversion, PlannedSeparationsMatchConversionByNames) {
  const std::vector<std::string> names{"Gold", "Teal", "Cyan", "Violet", "Gold", "Black"};
  const std::vector<Color> plateLists{Plates({"Magenta", "Cyan", "Yellow", "Gold"}),
                                      Plates({"Black", "Teal"}), Plates({}),
                                      Plates({"Cyan", "Magenta", "Yellow", "Black"})};
  const std::vector<std::array<float, 6>> tintSets{
      {0.45f, 0.6f, 0.3f, 1.0f, 0.2f, 0.7f},
      {1.5f, -0.25f, std::numeric_limits<float>::quiet_NaN(), 0.0f, 1.0f, 0.99999f},
      {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f}};
  for (const Color& plates : plateLists) {
    const QorDoc::SeparationConverter converter(names, plates, Table());
    for (const auto& tints : tintSets) {
      Color color;
      for (std::size_t i = 0; i < names.size(); ++i)
        color.Add(names[i], tints[i]);
      const auto expected = ConvertToSeparations(color, plates, Table());
      std::vector<float> out(plates.Size() + 1, 9.0f);
      converter.ToSeparations(tints.data(), out.data());
      for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(std::bit_cast<std::uint32_t>(out[i]), std::bit_cast<std::uint32_t>(expected[i]))
            << plates.Size() << " plates, plate " << i;
      EXPECT_EQ(out.back(), 9.0f);
    }
  }
}

// Equal names in equal order make one shared list; a flat paint keeps its tints and
// flags over it and gives its colour back.
TEST(ColorantLists, InternSharesEqualListsAndPaintsKeepTheirColour) {
  QorPaint::ColorantLists lists;
  Color cmyk{{"Cyan", 0.1f}, {"Magenta", 0.2f}, {"Yellow", 0.0f}, {"Black", 1.0f}};
  const auto a = lists.Intern(cmyk);
  const auto b =
      lists.Intern(Color{{"Cyan", 0.5f}, {"Magenta", 0.0f}, {"Yellow", 0.0f}, {"Black", 0.0f}});
  EXPECT_EQ(a, b);
  const auto gold = lists.Intern(Color{{"Gold", 1.0f}});
  const auto reordered = lists.Intern(Color{{"Magenta", 0.2f}, {"Cyan", 0.1f}});
  const auto split = lists.Intern(Color{{"Gol", 1.0f}, {"d", 1.0f}});
  EXPECT_NE(gold, reordered);
  EXPECT_NE(gold, split);
  EXPECT_EQ(lists.Intern(Color{{"Gold", 0.3f}}), gold) << "found again after others";
  EXPECT_EQ(lists.Intern(cmyk), a);
  EXPECT_EQ(lists.Size(), 4u);
  EXPECT_EQ(a->Find("Yellow"), 2u);
  EXPECT_FALSE(a->Find("yellow"));

  cmyk.SetPaintsNamedColorantsOnly(true);
  const QorPaint::FlatPaint paint(a, cmyk);
  EXPECT_EQ(&paint.GetColorants(), a.get());
  EXPECT_EQ(std::vector<float>(paint.GetTints().begin(), paint.GetTints().end()),
            (std::vector<float>{0.1f, 0.2f, 0.0f, 1.0f}));
  EXPECT_TRUE(paint.PaintsNamedColorantsOnly());
  EXPECT_FALSE(paint.PaintsAllColorants());
  EXPECT_EQ(paint.GetColor(), cmyk);

  Color all{{"All", 1.0f}};
  all.SetPaintsAllColorants(true);
  EXPECT_EQ(QorPaint::FlatPaint(all).GetColor(), all) << "a list of its own";
  EXPECT_THROW(QorPaint::FlatPaint(a, Color{{"Gold", 0.3f}}), std::invalid_argument);
  EXPECT_THROW(QorPaint::FlatPaint(nullptr, cmyk), std::invalid_argument);
}

// Process output layers every ink into CMYK (a zero weight leaves a plate unchanged);
// unknown spots and names of another case add nothing, the table cannot redefine a
// process colorant, and inks and representations outside [0, 1] are clamped.
TEST(ColorConversion, ProcessTakesEverythingIntoCmyk) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    const char* what;
    Color color;
    std::vector<Entry> table;
    std::array<float, 4> expected;
  } cases[] = {
      {"spots",
       Color{{"Magenta", 0.2f}, {"Teal", 0.5f}, {"Black", 0.1f}},
       Table(),
       {Layer(0.0f, 0.8f, 0.5f), 0.2f, Layer(0.0f, 0.35f, 0.5f),
        Layer(Layer(0.0f, 1.0f, 0.1f), 0.05f, 0.5f)}},
      {"unknown", Color{{"Unknown", 1.0f}, {"Yellow", 0.3f}}, Table(), {0.0f, 0.0f, 0.3f, 0.0f}},
      {"case", Color{{"cyan", 1.0f}}, Table(), {0.0f, 0.0f, 0.0f, 0.0f}},
      {"process",
       Color{{"Cyan", 0.5f}},
       {Entry("Cyan", Rep({0.0f, 1.0f, 0.0f, 0.0f}))},
       {0.5f, 0.0f, 0.0f, 0.0f}},
      {"inks",
       Color{{"Cyan", 1.5f}, {"Magenta", -0.5f}, {"Yellow", nan}},
       Table(),
       {1.0f, 0.0f, 0.0f, 0.0f}},
      {"table",
       Color{{"Hot", 1.0f}},
       {Entry("Hot", Rep({2.0f, -1.0f, 0.5f, 0.0f}))},
       {1.0f, 0.0f, 0.5f, 0.0f}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ConvertToProcess(c.color, c.table), c.expected) << c.what;
  }
}

TEST(ColorConversion, GrayWeighsProcessInksAndClampsAtFullInk) {
  EXPECT_EQ(ConvertToGray(Color{{"Cyan", 0.5f}, {"Magenta", 0.25f}, {"Yellow", 1.0f}}, Table()),
            0.3f * 0.5f + 0.59f * 0.25f + 0.11f * 1.0f + 0.0f);
  EXPECT_EQ(ConvertToGray(Color{{"Cyan", 1.0f}, {"Magenta", 1.0f}, {"Black", 0.5f}}, Table()),
            1.0f);
  const float gold = 0.3f * Layer(0.0f, 0.1f, 0.5f) + 0.59f * Layer(0.0f, 0.3f, 0.5f) +
                     0.11f * Layer(0.0f, 0.9f, 0.5f) + Layer(0.0f, 0.2f, 0.5f);
  EXPECT_EQ(ConvertToGray(Color{{"Gold", 0.5f}}, Table()), gold);
  EXPECT_EQ(ConvertToGray(Color{{"Unknown", 1.0f}}, Table()), 0.0f);
  // Pure black stays bit-exact.
  for (float tint : {0.0f, 1e-7f, 0.1f, 0.3f, 0.123456789f, 0.7f, 0.99999994f, 1.0f}) {
    EXPECT_EQ(ConvertToGray(Color{{"Black", tint}}, Table()), tint) << tint;
  }
}

TEST(DocumentBuilder, IdentifiersFollowCreationOrderAndLinksPointBack) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& first = builder.AddPage();
  QorDoc::Content& second = builder.AddPage();
  const auto square = Shape(0, 0, 10, 10);
  const auto a = builder.AddPath(first, square, {});
  const auto b = builder.AddPath(second, square, {});
  const auto c = builder.AddPath(first, square, {});
  const auto document = builder.Build();

  EXPECT_EQ(a->GetID(), 1u);
  EXPECT_EQ(b->GetID(), 2u);
  EXPECT_EQ(c->GetID(), 3u);
  EXPECT_EQ(a->GetContent(), &first);
  EXPECT_EQ(b->GetContent(), &second);
  EXPECT_EQ(first.GetDocument(), document.get());
  EXPECT_EQ(second.GetDocument(), document.get());
  ASSERT_EQ(document->GetPages().size(), 2u);
  EXPECT_EQ(document->GetPages()[0], &first);
  ASSERT_EQ(first.GetMembers().size(), 2u);
  EXPECT_EQ(first.GetMembers()[0], a);
  EXPECT_EQ(first.GetMembers()[1], c);
  EXPECT_EQ(a->DefiningCompound(), square);
  EXPECT_NE(a->GetTransparency(), nullptr) << "no transparency means opaque";

  // A new document counts from 1 again.
  QorDoc::Content& page = builder.AddPage();
  EXPECT_EQ(builder.AddPath(page, square, {})->GetID(), 1u);
}

TEST(DocumentBuilder, RefusesContentOfAnotherDocument) {
  QorDoc::DocumentBuilder one;
  QorDoc::DocumentBuilder other;
  QorDoc::Content& foreign = other.AddPage();
  EXPECT_THROW(one.AddPath(foreign, Shape(0, 0, 1, 1), {}), std::invalid_argument);
}

TEST(DocumentBuilder, ObjectsPaintedAlikeShareTheirAttributes) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  const auto square = Shape(0, 0, 10, 10);
  const auto ink = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  const auto screen = builder.AddHalftoneSet("screen");
  const auto faded =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 0.25f);
  QorDoc::Fillable::Painting stroked;
  stroked.stroke = ink;
  stroked.strokeStyle.width = 2000.0;
  stroked.strokeStyle.dash.array = {3000.0, 1000.0};
  QorDoc::Fillable::Painting negative_zero = stroked;
  negative_zero.strokeStyle.width = -0.0;
  QorDoc::Fillable::Painting zero = stroked;
  zero.strokeStyle.width = 0.0;
  QorDoc::Fillable::Painting filled;
  filled.fill = ink;
  QorDoc::Fillable::Painting screened;
  screened.fill = ink;
  screened.halftone = screen;
  screened.transparency = faded;

  const auto a = builder.AddPath(page, square, stroked);
  const auto b = builder.AddPath(page, square, stroked);
  const auto fill = builder.AddPath(page, square, filled);
  const auto c = builder.AddPath(page, square, stroked);
  const auto d = builder.AddPath(page, square, negative_zero);
  const auto e = builder.AddPath(page, square, zero);
  const auto f = builder.AddPath(page, square, screened);
  const auto g = builder.AddText(page, {square}, screened);
  builder.Build();

  // What each object reports is what it was given.
  for (const auto& path : {a, b, c}) {
    EXPECT_EQ(path->GetStrokePaint(), ink);
    EXPECT_EQ(path->GetStrokeStyle().width, 2000.0);
    EXPECT_EQ(path->GetStrokeStyle().dash.array, (std::vector<double>{3000.0, 1000.0}));
    EXPECT_EQ(path->GetHalftoneSet(), nullptr);
    EXPECT_EQ(path->GetTransparency(), QorBlend::Transparency::Opaque());
  }
  EXPECT_EQ(fill->GetStrokePaint(), nullptr);
  EXPECT_EQ(fill->GetStrokeStyle().width, QorDoc::StrokeStyle().width);
  EXPECT_EQ(fill->GetTransparency(), QorBlend::Transparency::Opaque());
  EXPECT_TRUE(std::signbit(d->GetStrokeStyle().width)) << "shared only when equal to the bit";
  EXPECT_FALSE(std::signbit(e->GetStrokeStyle().width));
  for (const QorDoc::Fillable* screened_object : {static_cast<const QorDoc::Fillable*>(f.get()),
                                                  static_cast<const QorDoc::Fillable*>(g.get())}) {
    EXPECT_EQ(screened_object->GetStrokePaint(), nullptr);
    EXPECT_EQ(screened_object->GetHalftoneSet(), screen);
    EXPECT_EQ(screened_object->GetTransparency(), faded);
  }
  // Shared: the same style object, also across a fill-only object between them.
  EXPECT_EQ(&a->GetStrokeStyle(), &b->GetStrokeStyle());
  EXPECT_EQ(&a->GetStrokeStyle(), &c->GetStrokeStyle());
  EXPECT_NE(&c->GetStrokeStyle(), &d->GetStrokeStyle());
  EXPECT_NE(&d->GetStrokeStyle(), &e->GetStrokeStyle());
  EXPECT_EQ(&f->GetHalftoneSet(), &g->GetHalftoneSet());
}

TEST(DocumentBuilder, HalftonesKeepCreationOrderAndFindByAddress) {
  QorDoc::DocumentBuilder builder;
  const auto coarse = builder.AddHalftoneSet("coarse");
  const auto fine = builder.AddHalftoneSet("fine");
  const auto same = builder.AddHalftoneSet("coarse");
  builder.AddSeparation(Entry("Gold", Rep({0.1f, 0.3f, 0.9f, 0.2f})));
  const auto document = builder.Build();

  const QorDoc::Halftones& halftones = document->GetHalftones();
  ASSERT_EQ(halftones.Size(), 3u);
  EXPECT_EQ(*halftones.GetBegin(), coarse);
  EXPECT_EQ(*(halftones.GetBegin() + 1), fine);
  EXPECT_EQ(*(halftones.GetBegin() + 2), same);
  EXPECT_EQ(halftones.Find(fine.get()) - halftones.GetBegin(), 1);
  EXPECT_EQ(halftones.Find(same.get()) - halftones.GetBegin(), 2) << "sets compare by address";
  const QorDoc::HalftoneSet stranger("fine");
  EXPECT_EQ(halftones.Find(&stranger), halftones.GetEnd());
  EXPECT_EQ(halftones.Find(nullptr), halftones.GetEnd());
  ASSERT_EQ(document->GetSeparationInfo().size(), 1u);
  EXPECT_EQ(document->GetSeparationInfo()[0].GetName(), "Gold");

  EXPECT_EQ(builder.Build()->GetHalftones().Size(), 0u) << "the builder starts afresh";
}

}  // namespace

namespace {

TEST(ContentTree, BoxesParentsAndColorants) {
  QorDoc::DocumentBuilder builder;
  auto& page = builder.AddPage();
  auto& members = builder.AddContent();
  QorDoc::Fillable::Painting stroked;
  stroked.stroke = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  stroked.strokeStyle.width = 2.0;
  stroked.strokeStyle.join = Morv::LineJoin::kBevel;
  auto path = builder.AddPath(members, Shape(0.0, 0.0, 10.0, 10.0), stroked,
                              Morv::MilliPointTransformation::Translation(5.0, 0.0));
  auto group = builder.AddGroup(page, members, Morv::MilliPointTransformation::Scale(2.0, 2.0));
  auto doc = builder.Build();
  // The geometry box, and the visual box grown by half the stroke width.
  EXPECT_EQ(path->GetBoundingBox(QorDoc::kGeometryBox),
            Morv::MilliPointRectangle(5.0, 0.0, 10.0, 10.0));
  EXPECT_EQ(path->GetBoundingBox(QorDoc::kVisualBox),
            Morv::MilliPointRectangle(4.0, -1.0, 12.0, 12.0));
  EXPECT_EQ(group->GetBoundingBox(QorDoc::kVisualBox),
            Morv::MilliPointRectangle(8.0, -2.0, 24.0, 24.0));
  EXPECT_EQ(path->GetParent(), group.get());
  EXPECT_EQ(group->GetParent(), nullptr);
  EXPECT_EQ(path->GetStrokeStyle().join, Morv::LineJoin::kBevel);
  // A style without a stroke paint is not kept: the default is reported and the
  // visual box is the geometry's.
  QorDoc::Fillable::Painting filled = stroked;
  filled.fill = filled.stroke;
  filled.stroke = nullptr;
  QorDoc::DocumentBuilder fills;
  auto fill_only = fills.AddPath(fills.AddPage(), Shape(0.0, 0.0, 10.0, 10.0), filled);
  EXPECT_EQ(fill_only->GetStrokeStyle().width, QorDoc::StrokeStyle().width);
  EXPECT_EQ(fill_only->GetBoundingBox(QorDoc::kVisualBox),
            Morv::MilliPointRectangle(0.0, 0.0, 10.0, 10.0));
  // A clipping member paints nothing and bounds the rest; with nothing left to
  // paint the box is all zero.
  QorDoc::DocumentBuilder clipped;
  auto& clip_page = clipped.AddPage();
  clipped.AddPath(clip_page, Shape(0.0, 0.0, 100.0, 100.0), {}, {}, true);
  clipped.AddPath(clip_page, Shape(90.0, 20.0, 30.0, 10.0), stroked);
  EXPECT_EQ(clip_page.GetBoundingBox(QorDoc::kGeometryBox),
            Morv::MilliPointRectangle(90.0, 20.0, 10.0, 10.0));
  auto& only_clip = clipped.AddContent();
  clipped.AddPath(only_clip, Shape(0.0, 0.0, 100.0, 100.0), {}, {}, true);
  EXPECT_EQ(only_clip.GetBoundingBox(QorDoc::kGeometryBox), Morv::MilliPointRectangle());
  // The colorants in order of first use, nested contents included.
  QorDoc::DocumentBuilder more;
  auto& sheet = more.AddPage();
  auto& inner = more.AddContent();
  QorDoc::Fillable::Painting spot;
  spot.fill =
      std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Gold", 1.0f}, {"Cyan", 0.2f}});
  spot.stroke = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  more.AddPath(sheet, Shape(0.0, 0.0, 1.0, 1.0), spot);
  QorDoc::Fillable::Painting varnish;
  varnish.fill =
      std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Varnish", 1.0f}, {"Gold", 0.5f}});
  more.AddPath(inner, Shape(0.0, 0.0, 1.0, 1.0), varnish);
  more.AddGroup(sheet, inner);
  auto sheet_doc = more.Build();
  const QorColor::Color used = sheet.GetSeparations();
  ASSERT_EQ(used.Size(), 4u);
  EXPECT_EQ(used.GetName(0), "Gold");
  EXPECT_EQ(used.GetName(1), "Cyan");
  EXPECT_EQ(used.GetName(2), "Black");
  EXPECT_EQ(used.GetName(3), "Varnish");

  const auto absolute = QorDoc::GetAbsoluteTransformation(*path);
  EXPECT_EQ(absolute.Apply({1.0, 1.0}), Morv::MilliPointPoint(12.0, 2.0))
      << "group scale after own shift";
}

// Group boxes are kept when the document is built: the same boxes as computed while
// building, whichever order the nested contents were made in, clips included.
TEST(ContentTree, GroupBoxesKeptAtBuildMatchTheComputedOnes) {
  QorDoc::Fillable::Painting stroked;
  stroked.stroke = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  stroked.strokeStyle.width = 3.0;
  for (const bool inner_first : {false, true}) {
    QorDoc::DocumentBuilder builder;
    QorDoc::Content* inner = inner_first ? &builder.AddContent() : nullptr;
    auto& page = builder.AddPage();
    auto& outer = builder.AddContent();
    if (!inner_first) inner = &builder.AddContent();
    builder.AddPath(*inner, Shape(0.0, 0.0, 10.0, 10.0), stroked,
                    Morv::MilliPointTransformation::Translation(1.0, 2.0));
    builder.AddPath(*inner, Shape(2.0, 2.0, 4.0, 4.0), {}, {}, true);
    builder.AddPath(outer, Shape(50.0, 50.0, 5.0, 5.0), stroked);
    auto inner_group =
        builder.AddGroup(outer, *inner, Morv::MilliPointTransformation::Scale(3.0, 2.0));
    auto outer_group =
        builder.AddGroup(page, outer, Morv::MilliPointTransformation::Translation(-7.0, 0.5));
    const auto inner_box = inner_group->GetBoundingBox(QorDoc::kVisualBox);
    const auto outer_box = outer_group->GetBoundingBox(QorDoc::kVisualBox);
    const auto outer_geometry = outer_group->GetBoundingBox(QorDoc::kGeometryBox);
    EXPECT_EQ(inner_box, Morv::MilliPointRectangle(6.0, 4.0, 12.0, 8.0)) << inner_first;
    auto doc = builder.Build();
    EXPECT_EQ(inner_group->GetBoundingBox(QorDoc::kVisualBox), inner_box) << inner_first;
    EXPECT_EQ(outer_group->GetBoundingBox(QorDoc::kVisualBox), outer_box) << inner_first;
    EXPECT_EQ(outer_group->GetBoundingBox(QorDoc::kGeometryBox), outer_geometry) << inner_first;
    EXPECT_EQ(page.GetBoundingBox(QorDoc::kVisualBox), outer_box) << inner_first;
  }
}

}  // namespace

TEST(LayerExpression, EvaluatesAndSharesSubExpressions) {
  auto shown = std::make_shared<QorDoc::LayerProperties>("Shown", true);
  auto hidden = std::make_shared<QorDoc::LayerProperties>("Hidden", false);
  const QorDoc::LayerFilter by_default = [](const std::shared_ptr<QorDoc::LayerProperties>& p) {
    return p->IsVisibleByDefault();
  };
  using E = QorDoc::LayerExpression;
  EXPECT_TRUE(QorDoc::Evaluate(E::Of(shown), by_default));
  EXPECT_FALSE(QorDoc::Evaluate(E::Of(hidden), by_default));
  EXPECT_FALSE(QorDoc::Evaluate(E::Not(E::Of(shown)), by_default));
  EXPECT_TRUE(QorDoc::Evaluate(E::And({}), by_default));
  EXPECT_FALSE(QorDoc::Evaluate(E::Or({}), by_default));
  EXPECT_FALSE(QorDoc::Evaluate(E::And({E::Of(shown), E::Of(hidden)}), by_default));
  EXPECT_TRUE(QorDoc::Evaluate(E::Or({E::Of(hidden), E::Not(E::Of(hidden))}), by_default));

  // 60 levels of "and" over the level below, twice: 2^60 paths to the leaf, which
  // is asked once; copies share their operands instead of copying the tree.
  int asked = 0;
  const QorDoc::LayerFilter counting = [&](const std::shared_ptr<QorDoc::LayerProperties>& p) {
    ++asked;
    return p->IsVisibleByDefault();
  };
  E level = E::Not(E::Of(hidden));
  for (int i = 0; i < 60; ++i)
    level = E::And({level, level});
  EXPECT_TRUE(QorDoc::Evaluate(level, counting));
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(level.GetOperands()[0].Identity(), level.GetOperands()[1].Identity());
}

// Two channels out of one: b + 1 and 255 − b, counting every sample converted.
class TwoInkConverter final : public QorImg::PictureConverter {
 public:
  std::size_t InputChannels() const override { return 1; }
  std::size_t OutputChannels() const override { return 2; }
  void Convert(const std::uint8_t* in, std::uint8_t* out, std::size_t samples,
               int /*intent*/) const override {
    for (std::size_t s = 0; s < samples; ++s) {
      out[2 * s] = static_cast<std::uint8_t>(in[s] + 1);
      out[2 * s + 1] = static_cast<std::uint8_t>(255 - in[s]);
    }
    converted += samples;
  }
  mutable std::size_t converted = 0;
};

TEST(PictureData, WindowsConvertTheirSamplesOnceAndAddUpToTheWhole) {
  constexpr std::size_t kWidth = 9;
  constexpr std::size_t kHeight = 7;
  std::vector<std::uint8_t> samples(kWidth * kHeight);
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<std::uint8_t>(i * 37 + 5);
  const auto buffer = std::make_shared<QorImg::PictureBuffer>(kWidth, kHeight, 8, samples);
  const auto whole_converter = std::make_shared<TwoInkConverter>();
  const QorImg::PictureData whole(buffer, 1, whole_converter);
  const auto expected = whole.Get8BitPictureBuffer(QorImg::kPerceptual);
  EXPECT_EQ(whole_converter->converted, samples.size());

  const auto converter = std::make_shared<TwoInkConverter>();
  const QorImg::PictureData data(buffer, 1, converter);
  EXPECT_TRUE(data.IsConverted());
  // Overlapping windows, one left of another in the same rows (the gap between is
  // converted with it), one past the picture's edges, then the rest.
  const QorImg::SampleWindow windows[] = {{2, 5, 1, 3}, {0, 3, 2, 4}, {7, 8, 2, 3}, {6, 20, 5, 30}};
  std::size_t previous = 0;
  for (const QorImg::SampleWindow& w : windows) {
    const auto got = data.Get8BitPictureBuffer(QorImg::kPerceptual, w);
    EXPECT_GT(converter->converted, previous);
    previous = converter->converted;
    for (std::size_t row = w.row0; row < std::min(w.row1, kHeight); ++row) {
      for (std::size_t b = 2 * w.column0; b < 2 * std::min(w.column1, kWidth); ++b)
        EXPECT_EQ(got->GetRowPtr(row)[b], expected->GetRowPtr(row)[b]) << row << " " << b;
    }
  }
  EXPECT_LT(converter->converted, samples.size());
  const auto all = data.Get8BitPictureBuffer(QorImg::kPerceptual);
  EXPECT_EQ(converter->converted, samples.size());
  for (std::size_t row = 0; row < kHeight; ++row) {
    EXPECT_TRUE(
        std::equal(all->GetRowPtr(row), all->GetRowPtr(row) + 2 * kWidth, expected->GetRowPtr(row)))
        << row;
  }
  // Another intent converts on its own; the same one again converts nothing.
  data.Get8BitPictureBuffer(QorImg::kPerceptual);
  EXPECT_EQ(converter->converted, samples.size());
  data.Get8BitPictureBuffer(QorImg::kSaturation, {0, 1, 0, 1});
  EXPECT_EQ(converter->converted, samples.size() + 1);
}
