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

std::uint8_t KindOfCyanTint(float tint) {
  const auto d = QorSc::DescribeFlatPaint(SeparationOptions({"Cyan"}), Color{{"Cyan", tint}});
  EXPECT_EQ(d.values[0], tint);
  return d.kinds[0];
}

TEST(FlatPaint, KindThresholdsAreSinglePrecisionConstants) {
  EXPECT_EQ(KindOfCyanTint(0.0f), QorSc::kKindZero);
  EXPECT_EQ(KindOfCyanTint(0.000009f), QorSc::kKindZero);
  EXPECT_EQ(KindOfCyanTint(0.00001f), QorSc::kKindConstant) << "not below the threshold";
  EXPECT_EQ(KindOfCyanTint(0.5f), QorSc::kKindConstant);
  EXPECT_EQ(KindOfCyanTint(0.99999f), QorSc::kKindConstant) << "not above the threshold";
  EXPECT_EQ(KindOfCyanTint(std::nextafter(0.99999f, 1.0f)), QorSc::kKindFull);
  EXPECT_EQ(KindOfCyanTint(static_cast<float>(0.999995)), QorSc::kKindFull);
  EXPECT_EQ(KindOfCyanTint(1.0f), QorSc::kKindFull);
}

TEST(FlatPaint, SeparationsConvertAndKnockOutByDefault) {
  const auto d = QorSc::DescribeFlatPaint(SeparationOptions({"Magenta", "Gold", "Yellow", "Spot"}),
                                          Color{{"Gold", 0.4f}, {"Yellow", 0.5f}});
  EXPECT_EQ(d.values, (FlatValues{0.0f, 0.4f, 0.5f, 0.0f}));
  EXPECT_EQ(d.kinds, Kinds({0, 3, 3, 0}));
  EXPECT_FALSE(d.absent);
}

TEST(FlatPaint, NamedColorantsOnlyLeavesForeignSeparationsAbsent) {
  Color color{{"Cyan", 0.5f}, {"Gold", 1.0f}};
  color.SetPaintsNamedColorantsOnly(true);
  const auto d =
      QorSc::DescribeFlatPaint(SeparationOptions({"Cyan", "Magenta", "Yellow", "Black"}), color);
  const float cyan = 0.5f;  // Gold has no cyan: layering weight 0 keeps 0.5 exactly
  EXPECT_EQ(d.values, (FlatValues{cyan, 0.25f, 1.0f, 0.0f}));
  EXPECT_EQ(d.kinds, Kinds({3, 4, 4, 4}))
      << "a simulated spot does not reach plates the colour does not name";
  EXPECT_TRUE(d.absent);

  Color spot{{"Gold", 0.7f}};
  spot.SetPaintsNamedColorantsOnly(true);
  const auto s = QorSc::DescribeFlatPaint(SeparationOptions({"Gold", "Cyan"}), spot);
  EXPECT_EQ(s.kinds, Kinds({3, 4}));
  EXPECT_TRUE(s.absent);

  Color none;
  none.SetPaintsNamedColorantsOnly(true);
  const auto n = QorSc::DescribeFlatPaint(SeparationOptions({"Gold", "Cyan"}), none);
  EXPECT_EQ(n.kinds, Kinds({4, 4}));
  EXPECT_TRUE(n.absent);

  // Names compare exactly.
  Color lower{{"gold", 0.7f}};
  lower.SetPaintsNamedColorantsOnly(true);
  EXPECT_EQ(QorSc::DescribeFlatPaint(SeparationOptions({"Gold"}), lower).kinds, Kinds({4}));
}

TEST(FlatPaint, NamedColorantsOnlyDoesNotApplyToProcessOrGray) {
  Color color{{"Gold", 1.0f}};
  color.SetPaintsNamedColorantsOnly(true);
  const auto process = QorSc::DescribeFlatPaint(Options(true, kTable), color);
  EXPECT_EQ(process.kinds, Kinds({0, 3, 3, 0}));
  EXPECT_FALSE(process.absent);
  const auto gray = QorSc::DescribeFlatPaint(Options(false, kTable), color);
  EXPECT_EQ(gray.kinds, Kinds({3}));
  EXPECT_FALSE(gray.absent);
}

TEST(FlatPaint, ProcessNeverUsesFull) {
  const auto d =
      QorSc::DescribeFlatPaint(Options(true, kTable), Color{{"Cyan", 1.0f}, {"Black", 0.000001f}});
  EXPECT_EQ(d.values, (FlatValues{1.0f, 0.0f, 0.0f, 0.000001f}));
  EXPECT_EQ(d.kinds, Kinds({3, 0, 0, 0}));

  QorSc::FlatPaintGetter getter(d);
  SourcePaintBuffers buffers(4, 0, 12);
  Mark(buffers);
  RunList painted;
  getter.Compute({0}, RunList{{1, 3}, {7, 2}}, buffers, painted);
  EXPECT_EQ(buffers.Component(0)[1], 1.0f);
  EXPECT_EQ(buffers.Component(0)[7], 1.0f);
  EXPECT_EQ(buffers.Component(0)[2], kMarker);
  EXPECT_EQ(buffers.Component(3)[1], kMarker) << "Zero components are not written";
}

TEST(FlatPaint, GrayWritesOneBlackPlate) {
  const auto d = QorSc::DescribeFlatPaint(Options(false, kTable), Color{{"Black", 0.3f}});
  EXPECT_EQ(d.values, FlatValues{0.3f});
  EXPECT_EQ(d.kinds, Kinds({3}));
}

TEST(FlatPaint, RegistrationPaintsEveryPlateAndIsNeverAbsent) {
  Color all{{"All", 0.6f}};
  all.SetPaintsAllColorants(true);
  all.SetPaintsNamedColorantsOnly(true);
  const auto s = QorSc::DescribeFlatPaint(SeparationOptions({"Gold", "Cyan", "Spot"}), all);
  EXPECT_EQ(s.values, (FlatValues{0.6f, 0.6f, 0.6f}));
  EXPECT_EQ(s.kinds, Kinds({3, 3, 3}));
  EXPECT_FALSE(s.absent);

  Color full{{"All", 1.0f}};
  full.SetPaintsAllColorants(true);
  EXPECT_EQ(QorSc::DescribeFlatPaint(SeparationOptions({"Gold", "Cyan"}), full).kinds,
            Kinds({1, 1}));
  EXPECT_EQ(QorSc::DescribeFlatPaint(Options(true, kTable), full).kinds, Kinds({3, 3, 3, 3}));
  EXPECT_EQ(QorSc::DescribeFlatPaint(Options(false, kTable), full).values, FlatValues{1.0f});
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
}

TEST(FlatPaint, EmptyRunListWritesNothing) {
  QorSc::FlatPaintGetter getter(
      QorSc::DescribeFlatPaint(SeparationOptions({"Cyan"}), Color{{"Cyan", 0.5f}}));
  SourcePaintBuffers buffers(1, 0, 4);
  Mark(buffers);
  RunList painted{{0, 2}};
  getter.Compute({0}, RunList{}, buffers, painted);
  EXPECT_TRUE(painted.empty());
  for (long long x = 0; x < 4; ++x)
    EXPECT_EQ(buffers.Component(0)[x], kMarker);
}

TEST(FlatPaint, ExplicitGetterKeepsWhatItIsGiven) {
  const auto getter = QorSc::MakeFlatPaintGetter({0.5f, 0.0f}, Kinds({3, 4}), true);
  EXPECT_EQ(getter->Values(), (FlatValues{0.5f, 0.0f}));
  EXPECT_EQ(getter->Kinds(), Kinds({3, 4}));
  EXPECT_TRUE(getter->HasAbsentComponents());
}

TEST(FlatPaint, FullInkShowsOneInTheColourOwnPlates) {
  const Options options = SeparationOptions({"Cyan", "Gold", "Yellow"});
  Color color{{"Gold", 0.2f}, {"Cyan", 0.3f}};
  color.SetPaintsNamedColorantsOnly(true);
  FlatPaintGetterCache cache;
  const auto getter = cache.GetFullInk(options, color);
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
  Color overprint{{"Cyan", 0.5f}};
  overprint.SetPaintsNamedColorantsOnly(true);
  const auto e = cache.Get(options, overprint);
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
  std::vector<Color> colours{Color{{"Gold", 0.45f}, {"Cyan", 0.3f}},
                             Color{{"Gold", 1.25f}, {"Cyan", -0.5f}},
                             Color{{"Cyan", 0.2f}, {"Magenta", 0.0f}, {"Yellow", 0.6f},
                                   {"Black", 0.99999f}},
                             Color{{"Violet", 0.5f}, {"Yellow", 1.0f}}};
  for (std::size_t i = 0, n = colours.size(); i < n; ++i) {
    Color overprint = colours[i];
    overprint.SetPaintsNamedColorantsOnly(true);
    colours.push_back(overprint);
  }
  Color registration{{"All", 0.7f}};
  registration.SetPaintsAllColorants(true);
  colours.push_back(registration);

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

// Plans and paints are found by the options' address: options made where
// forgotten ones were get plans and getters of their own.
TEST(FlatPaintGetterCache, ForgottenOptionsLeaveNoPlanBehind) {
  QorPaint::ColorantLists lists;
  const Color colour{{"Cyan", 0.25f}, {"Black", 0.5f}};
  const QorPaint::FlatPaint paint(lists.Intern(colour), colour);
  FlatPaintGetterCache cache;
  std::optional<Options> options;
  options.emplace(SeparationOptions({"Cyan", "Magenta", "Yellow", "Black"}));
  const std::shared_ptr<const QorPaint::Paint> shared =
      std::make_shared<const QorPaint::FlatPaint>(paint);
  const std::vector<std::shared_ptr<const QorPaint::Paint>> objects(4, shared);
  EXPECT_EQ(cache.Get(*options, paint)->Values(), (FlatValues{0.25f, 0.0f, 0.0f, 0.5f}));
  EXPECT_EQ(cache.Get(*options, shared, false)->Values(), (FlatValues{0.25f, 0.0f, 0.0f, 0.5f}));
  cache.Forget(*options);
  options.emplace(SeparationOptions({"Black"}));  // the same address
  EXPECT_EQ(cache.Get(*options, paint)->Values(), (FlatValues{0.5f}));
  EXPECT_EQ(cache.Get(*options, shared, false)->Values(), (FlatValues{0.5f}));
}

// A paint held by objects is found again by its identity, for its options and
// ink; its getter is the one its colour describes.
TEST(FlatPaintGetterCache, SharedPaintsAreFoundAgain) {
  QorPaint::ColorantLists lists;
  const Color colour{{"Cyan", 0.25f}, {"Black", 0.5f}};
  const std::shared_ptr<const QorPaint::Paint> paint =
      std::make_shared<const QorPaint::FlatPaint>(lists.Intern(colour), colour);
  // Held by several objects and their records, as a paint worth keeping is.
  const std::vector<std::shared_ptr<const QorPaint::Paint>> objects(4, paint);
  const Options cmyk = SeparationOptions({"Cyan", "Magenta", "Yellow", "Black"});
  const Options black = SeparationOptions({"Black"});
  FlatPaintGetterCache cache;
  const auto getter = cache.Get(cmyk, paint, false);
  EXPECT_EQ(getter->Values(), (FlatValues{0.25f, 0.0f, 0.0f, 0.5f}));
  EXPECT_EQ(cache.Get(cmyk, paint, false), getter);
  EXPECT_EQ(cache.Get(black, paint, false)->Values(), (FlatValues{0.5f}));
  EXPECT_EQ(cache.Get(cmyk, paint, true)->Values(), (FlatValues{1.0f, 0.0f, 0.0f, 1.0f}));
  EXPECT_EQ(cache.Get(cmyk, paint, false)->Values(), getter->Values());
  cache.Forget(black);
  EXPECT_EQ(cache.Get(cmyk, paint, false)->Values(), getter->Values());
  // A paint of one object is described, not kept.
  const std::shared_ptr<const QorPaint::Paint> own =
      std::make_shared<const QorPaint::FlatPaint>(lists.Intern(colour), colour);
  EXPECT_EQ(cache.Get(cmyk, own, false)->Values(), getter->Values());
  EXPECT_EQ(own.use_count(), 1);
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
