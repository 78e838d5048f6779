// Flat paints: kinds from the single-precision thresholds, overprint absence,
// process and registration output, sharing of equal descriptions, and Compute
// writing Constant components at run starts only.

#include "paint/flat_paint_getter.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

namespace {

using QorColor::Color;
using QorSc::ComponentKinds;
using QorSc::FlatPaintGetterCache;
using QorSc::FlatValues;
using QorSc::Options;
using QorSc::RunList;
using QorSc::SourcePaintBuffers;
using Entry = QorDoc::Separation::Entry;
using Rep = QorDoc::Separation::Representation;

const Options::SeparationInfo kTable{Entry("Gold", Rep({0.0f, 0.25f, 1.0f, 0.0f}))};

Options SeparationOptions(std::initializer_list<const char*> names) {
  Options::SeparationList plates;
  for (const char* name : names)
    plates.Add(name, 0.0f);
  return Options(plates, kTable);
}

ComponentKinds Kinds(std::initializer_list<std::uint8_t> kinds) {
  return ComponentKinds(kinds);
}

// Fills every component and the mask with a marker, so untouched pixels show.
constexpr float kMarker = -7.0f;
void Mark(SourcePaintBuffers& buffers) {
  for (std::size_t i = 0; i <= buffers.ComponentCount(); ++i) {
    const QorSc::PixelPlane<float> values = buffers.Component(i);
    for (long long x = buffers.Left(); x < buffers.Right(); ++x)
      values[x] = kMarker;
  }
}

Color NamedOnly(Color color) {
  color.SetPaintsNamedColorantsOnly(true);
  return color;
}

Color Registration(float tint, bool named_only = false) {
  Color all{{"All", tint}};
  all.SetPaintsAllColorants(true);
  all.SetPaintsNamedColorantsOnly(named_only);
  return all;
}

TEST(FlatPaint, KindThresholdsAreSinglePrecisionConstants) {
  const struct {
    float tint;
    std::uint8_t kind;
  } cases[] = {{0.0f, QorSc::kKindZero},
               {0.000009f, QorSc::kKindZero},
               {0.00001f, QorSc::kKindConstant},  // not below the threshold
               {0.5f, QorSc::kKindConstant},
               {0.99999f, QorSc::kKindConstant},  // not above the threshold
               {std::nextafter(0.99999f, 1.0f), QorSc::kKindFull},
               {static_cast<float>(0.999995), QorSc::kKindFull},
               {1.0f, QorSc::kKindFull}};
  for (const auto& c : cases) {
    const auto d = QorSc::DescribeFlatPaint(SeparationOptions({"Cyan"}), Color{{"Cyan", c.tint}});
    EXPECT_EQ(d.values[0], c.tint);
    EXPECT_EQ(d.kinds[0], c.kind) << c.tint;
  }
}

// Separations convert and knock out by default; a colour that paints its named
// colorants only leaves the other separations Absent (a simulated spot does not
// reach plates the colour does not name, names compare exactly), but not in process
// or grey output; process output never uses Full; registration paints every plate
// and is never Absent.
TEST(FlatPaint, DescriptionsFollowTheOutputAndTheColoursFlags) {
  const struct {
    const char* what;
    Options options;
    Color colour;
    std::optional<FlatValues> values;
    ComponentKinds kinds;
    std::optional<bool> absent;
  } cases[] = {
      {"knockout", SeparationOptions({"Magenta", "Gold", "Yellow", "Spot"}),
       Color{{"Gold", 0.4f}, {"Yellow", 0.5f}}, FlatValues{0.0f, 0.4f, 0.5f, 0.0f},
       Kinds({0, 3, 3, 0}), false},
      // Gold has no cyan: layering weight 0 keeps 0.5 exactly.
      {"named only", SeparationOptions({"Cyan", "Magenta", "Yellow", "Black"}),
       NamedOnly(Color{{"Cyan", 0.5f}, {"Gold", 1.0f}}), FlatValues{0.5f, 0.25f, 1.0f, 0.0f},
       Kinds({3, 4, 4, 4}), true},
      {"named spot", SeparationOptions({"Gold", "Cyan"}), NamedOnly(Color{{"Gold", 0.7f}}),
       std::nullopt, Kinds({3, 4}), true},
      {"named nothing", SeparationOptions({"Gold", "Cyan"}), NamedOnly(Color{}), std::nullopt,
       Kinds({4, 4}), true},
      {"names exactly", SeparationOptions({"Gold"}), NamedOnly(Color{{"gold", 0.7f}}), std::nullopt,
       Kinds({4}), std::nullopt},
      {"named in process", Options(true, kTable), NamedOnly(Color{{"Gold", 1.0f}}), std::nullopt,
       Kinds({0, 3, 3, 0}), false},
      {"named in grey", Options(false, kTable), NamedOnly(Color{{"Gold", 1.0f}}), std::nullopt,
       Kinds({3}), false},
      {"process", Options(true, kTable), Color{{"Cyan", 1.0f}, {"Black", 0.000001f}},
       FlatValues{1.0f, 0.0f, 0.0f, 0.000001f}, Kinds({3, 0, 0, 0}), std::nullopt},
      {"grey", Options(false, kTable), Color{{"Black", 0.3f}}, FlatValues{0.3f}, Kinds({3}),
       std::nullopt},
      {"registration", SeparationOptions({"Gold", "Cyan", "Spot"}), Registration(0.6f, true),
       FlatValues{0.6f, 0.6f, 0.6f}, Kinds({3, 3, 3}), false},
      {"full registration", SeparationOptions({"Gold", "Cyan"}), Registration(1.0f), std::nullopt,
       Kinds({1, 1}), std::nullopt},
      {"process registration", Options(true, kTable), Registration(1.0f), std::nullopt,
       Kinds({3, 3, 3, 3}), std::nullopt},
      {"grey registration", Options(false, kTable), Registration(1.0f), FlatValues{1.0f},
       Kinds({1}), std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto d = QorSc::DescribeFlatPaint(c.options, c.colour);
    if (c.values) {
      EXPECT_EQ(d.values, *c.values);
    }
    EXPECT_EQ(d.kinds, c.kinds);
    if (c.absent) {
      EXPECT_EQ(d.absent, *c.absent);
    }
  }
}

TEST(FlatPaint, ComputeWritesConstantsAtRunStartsOnly) {
  QorSc::FlatPaintGetter getter(QorSc::DescribeFlatPaint(
      SeparationOptions({"Cyan", "Magenta", "Yellow"}), Color{{"Cyan", 0.25f}, {"Magenta", 1.0f}}));
  ASSERT_EQ(getter.Kinds(), Kinds({3, 1, 0}));
  EXPECT_EQ(getter.GetPaintKind(), 1);
  SourcePaintBuffers buffers(3, -4, 10);
  Mark(buffers);
  const RunList runs{{-3, 2}, {2, 4}, {9, 1}};
  RunList painted{{100, 1}};
  getter.Compute({5}, runs, buffers, painted);
  EXPECT_EQ(painted, runs);
  for (long long x = -4; x < 10; ++x) {
    const bool start = x == -3 || x == 2 || x == 9;
    EXPECT_EQ(buffers.Component(0)[x], start ? 0.25f : kMarker) << x;
    EXPECT_EQ(buffers.Component(1)[x], kMarker) << "Full is not written, x " << x;
    EXPECT_EQ(buffers.Component(2)[x], kMarker) << x;
    EXPECT_EQ(buffers.Mask()[x], kMarker) << x;
  }
  // No runs: nothing painted, nothing written.
  Mark(buffers);
  getter.Compute({6}, RunList{}, buffers, painted);
  EXPECT_TRUE(painted.empty());
  for (long long x = -4; x < 10; ++x)
    EXPECT_EQ(buffers.Component(0)[x], kMarker) << x;
}

TEST(FlatPaint, FullInkShowsOneInTheColourOwnPlates) {
  const Options options = SeparationOptions({"Cyan", "Gold", "Yellow"});
  FlatPaintGetterCache cache;
  const auto getter = cache.GetFullInk(options, NamedOnly(Color{{"Gold", 0.2f}, {"Cyan", 0.3f}}));
  EXPECT_EQ(getter->Values(), (FlatValues{1.0f, 1.0f, 0.0f}));
  EXPECT_EQ(getter->Kinds(), Kinds({1, 1, 4}));
  EXPECT_TRUE(getter->HasAbsentComponents());

  const auto process = cache.GetFullInk(Options(true, kTable), Color{{"Gold", 0.2f}});
  EXPECT_EQ(process->Values(), (FlatValues{0.0f, 0.25f, 1.0f, 0.0f}));
}

TEST(FlatPaintGetterCache, EqualColoursShareOneGetter) {
  const Options options = SeparationOptions({"Cyan", "Magenta"});
  FlatPaintGetterCache cache;
  const auto a = cache.Get(options, Color{{"Cyan", 0.5f}});
  const auto b = cache.Get(options, Color{{"Cyan", 0.5f}});
  const auto c = cache.Get(options, Color{{"Cyan", 0.5f}, {"Magenta", 0.0f}});
  EXPECT_EQ(a, b);
  EXPECT_EQ(a, c) << "different colours of equal output share too";
  EXPECT_EQ(cache.Size(), 1u);

  const auto d = cache.Get(options, Color{{"Cyan", 0.25f}});
  EXPECT_NE(a, d);
  const auto e = cache.Get(options, NamedOnly(Color{{"Cyan", 0.5f}}));
  EXPECT_NE(a, e) << "same values, different kinds and flag";
  EXPECT_EQ(cache.Size(), 3u);
  EXPECT_EQ(cache.GetFullInk(options, Color{{"Cyan", 0.1f}}),
            cache.Get(options, Color{{"Cyan", 1.0f}}));
}

// A flat paint's getter through its list's plan describes exactly what its colour
// describes by names, for every output, flag and full ink; paints of one list share
// the plan, and equal descriptions one getter.
TEST(FlatPaintGetterCache, PlannedPaintsDescribeTheirColourExactly) {
  const std::vector<Options> outputs{SeparationOptions({"Cyan", "Gold", "Yellow"}),
                                     SeparationOptions({"Magenta", "Black"}), Options(true, kTable),
                                     Options(false, kTable)};
  std::vector<Color> colours{
      Color{{"Gold", 0.45f}, {"Cyan", 0.3f}}, Color{{"Gold", 1.25f}, {"Cyan", -0.5f}},
      Color{{"Cyan", 0.2f}, {"Magenta", 0.0f}, {"Yellow", 0.6f}, {"Black", 0.99999f}},
      Color{{"Violet", 0.5f}, {"Yellow", 1.0f}}};
  for (std::size_t i = 0, n = colours.size(); i < n; ++i)
    colours.push_back(NamedOnly(colours[i]));
  colours.push_back(Registration(0.7f));

  QorPaint::ColorantLists lists;
  for (const Options& options : outputs) {
    FlatPaintGetterCache cache;
    for (const Color& colour : colours) {
      const QorPaint::FlatPaint paint(lists.Intern(colour), colour);
      const auto expected = QorSc::DescribeFlatPaint(options, colour);
      const auto getter = cache.Get(options, paint);
      ASSERT_EQ(getter->Values().size(), expected.values.size());
      for (std::size_t k = 0; k < expected.values.size(); ++k)
        EXPECT_EQ(std::bit_cast<std::uint32_t>(getter->Values()[k]),
                  std::bit_cast<std::uint32_t>(expected.values[k]));
      EXPECT_EQ(getter->Kinds(), expected.kinds);
      EXPECT_EQ(getter->HasAbsentComponents(), expected.absent);
      EXPECT_EQ(cache.Get(options, paint), getter);

      const auto full = cache.Get(options, paint, true);
      const auto fullExpected = QorSc::DescribeFlatPaint(options, QorSc::FullInkColor(colour));
      EXPECT_EQ(full->Values(), fullExpected.values);
      EXPECT_EQ(full->Kinds(), fullExpected.kinds);
    }
  }
}

// A paint held by objects is found again by its identity, for its options and ink;
// its getter is the one its colour describes. Plans and paints are found by the
// options' address: options made where forgotten ones were get their own.
TEST(FlatPaintGetterCache, SharedPaintsAreFoundAgainUntilTheirOptionsAreForgotten) {
  QorPaint::ColorantLists lists;
  const Color colour{{"Cyan", 0.25f}, {"Black", 0.5f}};
  const QorPaint::FlatPaint flat(lists.Intern(colour), colour);
  const std::shared_ptr<const QorPaint::Paint> paint =
      std::make_shared<const QorPaint::FlatPaint>(flat);
  // Held by several objects and their records, as a paint worth keeping is.
  const std::vector<std::shared_ptr<const QorPaint::Paint>> objects(4, paint);
  const Options black = SeparationOptions({"Black"});
  std::optional<Options> cmyk;
  cmyk.emplace(SeparationOptions({"Cyan", "Magenta", "Yellow", "Black"}));
  FlatPaintGetterCache cache;
  const auto getter = cache.Get(*cmyk, paint, false);
  EXPECT_EQ(getter->Values(), (FlatValues{0.25f, 0.0f, 0.0f, 0.5f}));
  EXPECT_EQ(cache.Get(*cmyk, paint, false), getter);
  EXPECT_EQ(cache.Get(*cmyk, flat)->Values(), getter->Values());
  EXPECT_EQ(cache.Get(black, paint, false)->Values(), (FlatValues{0.5f}));
  EXPECT_EQ(cache.Get(*cmyk, paint, true)->Values(), (FlatValues{1.0f, 0.0f, 0.0f, 1.0f}));
  EXPECT_EQ(cache.Get(*cmyk, paint, false)->Values(), getter->Values());
  cache.Forget(black);
  EXPECT_EQ(cache.Get(*cmyk, paint, false)->Values(), getter->Values());
  // A paint of one object is described, not kept.
  const std::shared_ptr<const QorPaint::Paint> own =
      std::make_shared<const QorPaint::FlatPaint>(lists.Intern(colour), colour);
  EXPECT_EQ(cache.Get(*cmyk, own, false)->Values(), getter->Values());
  EXPECT_EQ(own.use_count(), 1);
  cache.Forget(*cmyk);
  cmyk.emplace(SeparationOptions({"Black"}));  // the same address
  EXPECT_EQ(cache.Get(*cmyk, flat)->Values(), (FlatValues{0.5f}));
  EXPECT_EQ(cache.Get(*cmyk, paint, false)->Values(), (FlatValues{0.5f}));
}

TEST(FlatPaintGetterCache, ManyColoursStayBoundedAndPaintTheirOwnValues) {
  const Options options = SeparationOptions({"Cyan", "Magenta"});
  FlatPaintGetterCache cache;
  std::vector<std::shared_ptr<QorSc::FlatPaintGetter>> held;
  for (int i = 1; i <= 4000; ++i) {
    const float tint = static_cast<float>(i) / 4001.0f;
    held.push_back(cache.Get(options, Color{{"Cyan", tint}, {"Magenta", 1.0f - tint}}));
    ASSERT_EQ(held.back()->Values(), (FlatValues{tint, 1.0f - tint})) << i;
  }
  EXPECT_LE(cache.Size(), FlatPaintGetterCache::kSlots);
  // A colour seen long ago (its slot since reused or not) still gets its own values.
  const float first = 1.0f / 4001.0f;
  const auto again = cache.Get(options, Color{{"Cyan", first}, {"Magenta", 1.0f - first}});
  EXPECT_EQ(again->Values(), held.front()->Values());
  EXPECT_EQ(again->Kinds(), held.front()->Kinds());
  // Zero and negative zero describe the same paint.
  const auto zero = cache.Get(QorSc::FlatPaintDescription{{0.0f, 0.5f}, false, Kinds({0, 3})});
  EXPECT_EQ(zero, cache.Get(QorSc::FlatPaintDescription{{-0.0f, 0.5f}, false, Kinds({0, 3})}));
}

}  // namespace
