// Halftone labels: encoding and single-precision decoding, the label pass's
// transparency, and the label getter's kinds and writes over masked and unmasked
// inner getters.

#include "scan/halftone.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "paint/flat_paint_getter.h"
#include "paint/halftone_label.h"
#include "paint/halftone_paint_getter.h"

namespace {

using QorSc::ComponentKinds;
using QorSc::HalftonePaintGetter;
using QorSc::RunList;
using QorSc::SourcePaintBuffers;

struct ThreeSets {
  ThreeSets() {
    QorDoc::DocumentBuilder builder;
    first = builder.AddHalftoneSet("coarse");
    second = builder.AddHalftoneSet("medium");
    third = builder.AddHalftoneSet("fine");
    document = builder.Build();
  }
  std::shared_ptr<QorDoc::HalftoneSet> first, second, third;
  std::shared_ptr<const QorDoc::Document> document;
};

ComponentKinds Kinds(std::initializer_list<std::uint8_t> kinds) {
  return ComponentKinds(kinds);
}

// Decodes `component` against `sets`: -1 for empty, 0 for a present null set, else
// the set's position plus one.
int Decode(const ThreeSets& sets, float component) {
  const auto set = QorSc::ToHalftoneSet(component, *sets.document);
  if (!set) return -1;
  if (*set == nullptr) return 0;
  if (*set == sets.first) return 1;
  if (*set == sets.second) return 2;
  if (*set == sets.third) return 3;
  return 99;
}

TEST(HalftoneLabel, EncodesIndexOverCountPlusTwo) {
  const ThreeSets sets;
  const QorDoc::Document& document = *sets.document;
  EXPECT_EQ(QorSc::EncodeHalftoneLabel(document, nullptr), static_cast<float>(1.0 / 5.0));
  EXPECT_EQ(QorSc::EncodeHalftoneLabel(document, sets.first.get()), 0.4f);
  EXPECT_EQ(QorSc::EncodeHalftoneLabel(document, sets.second.get()), 0.6f);
  EXPECT_EQ(QorSc::EncodeHalftoneLabel(document, sets.third.get()), 0.8f);
  const QorDoc::HalftoneSet stranger("coarse");
  EXPECT_EQ(QorSc::EncodeHalftoneLabel(document, &stranger), 1.0f);

  QorDoc::DocumentBuilder empty;
  EXPECT_EQ(QorSc::EncodeHalftoneLabel(*empty.Build(), nullptr), 0.5f);
}

// 0.7f·5 rounds to 3.5f in float, where double would give 2; components outside
// the labels' range decode empty.
TEST(HalftoneLabel, DecodesInSinglePrecision) {
  const ThreeSets sets;
  const float inf = std::numeric_limits<float>::infinity();
  const float max = std::numeric_limits<float>::max();
  const float nan = std::numeric_limits<float>::quiet_NaN();
  // clang-format off
  const std::pair<float, int> cases[] = {
      {0.7f, 3}, {0.69f, 2}, {0.2f, 0}, {0.4f, 1}, {0.6f, 2}, {0.8f, 3}, {0.0f, -1}, {0.09f, -1},
      {0.1f, 0}, {0.89f, 3}, {0.9f, -1}, {1.0f, -1}, {-0.0f, -1}, {-0.05f, -1}, {-0.2f, -1},
      {-1.0f, -1}, {-1e30f, -1}, {-inf, -1}, {1.5f, -1}, {1e19f, -1}, {1e30f, -1}, {max, -1},
      {inf, -1}, {nan, -1}};
  // clang-format on
  for (const auto& [component, expected] : cases)
    EXPECT_EQ(Decode(sets, component), expected) << component;
}

TEST(HalftoneLabel, RoundTripsEverySetOfALongList) {
  QorDoc::DocumentBuilder builder;
  std::vector<std::shared_ptr<QorDoc::HalftoneSet>> made;
  for (int i = 0; i < 300; ++i)
    made.push_back(builder.AddHalftoneSet("set"));
  const auto document = builder.Build();
  for (const auto& set : made) {
    const auto back =
        QorSc::ToHalftoneSet(QorSc::EncodeHalftoneLabel(*document, set.get()), *document);
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ(*back, set);
  }
  const auto null = QorSc::ToHalftoneSet(QorSc::EncodeHalftoneLabel(*document, nullptr), *document);
  ASSERT_TRUE(null.has_value());
  EXPECT_EQ(*null, nullptr);
}

TEST(HalftoneLabel, PreparedTransparencyIsNormalAndAllOrNothing) {
  const auto original =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 0.000001f, 1);
  EXPECT_EQ(QorSc::PrepareHalftoneTransparency(original, QorSc::kHalftoneNone), original);

  for (QorSc::HalftoneMode mode : {QorSc::kHalftoneLabels, QorSc::kHalftoneLabelsFullInk}) {
    const auto prepared = QorSc::PrepareHalftoneTransparency(original, mode);
    ASSERT_NE(prepared, nullptr);
    EXPECT_NE(prepared, original);
    EXPECT_EQ(prepared->GetBlendMode(), QorBlend::kNormal);
    EXPECT_EQ(prepared->GetFillAlpha(), 1.0f);
    EXPECT_EQ(prepared->GetStrokeAlpha(), 0.0f);
    EXPECT_EQ(prepared->GetAlphaIsShape(), 0);
  }
  EXPECT_EQ(original->GetFillAlpha(), 0.5f) << "the original is left alone";

  const auto threshold =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kScreen, 0.00001f, 0.0f);
  const auto prepared = QorSc::PrepareHalftoneTransparency(threshold, QorSc::kHalftoneLabels);
  EXPECT_EQ(prepared->GetFillAlpha(), 1.0f);
  EXPECT_EQ(prepared->GetStrokeAlpha(), 0.0f);

  EXPECT_EQ(QorSc::PrepareHalftoneTransparency(nullptr, QorSc::kHalftoneNone), nullptr);
  const auto opaque = QorSc::PrepareHalftoneTransparency(nullptr, QorSc::kHalftoneLabels);
  ASSERT_NE(opaque, nullptr);
  EXPECT_EQ(opaque->GetFillAlpha(), 1.0f);
  EXPECT_EQ(opaque->GetStrokeAlpha(), 1.0f);
}

// A getter of paint kind 2: writes `mask` over the part of each run it paints
// (`painted` when given, else every run) and `value` into its PerPixel components.
class MaskGetter final : public QorSc::PaintGetter {
 public:
  MaskGetter(ComponentKinds kinds, std::vector<float> mask, bool absent = false)
      : PaintGetter(std::move(kinds), absent), mask_(std::move(mask)) {}

  void Compute(const QorSc::PaintLine&, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override {
    ++calls;
    painted = only_.empty() ? runs : only_;
    for (const QorSc::Run& run : painted) {
      for (long long x = run.start; x < run.End(); ++x) {
        buffers.Mask()[x] = mask_[static_cast<std::size_t>(x - buffers.Left())];
        for (std::size_t i = 0; i < Kinds().size(); ++i) {
          if (Kinds()[i] == QorSc::kKindPerPixel) buffers.Component(i)[x] = 0.125f;
        }
      }
    }
  }
  int GetPaintKind() const override { return kind; }

  int kind = 2;
  int calls = 0;
  RunList only_;

 private:
  std::vector<float> mask_;
};

constexpr float kMarker = -7.0f;
void Mark(SourcePaintBuffers& buffers) {
  for (std::size_t i = 0; i <= buffers.ComponentCount(); ++i) {
    for (long long x = buffers.Left(); x < buffers.Right(); ++x)
      buffers.Component(i)[x] = kMarker;
  }
}

// Over a flat getter (Zero, Constant, PerPixel, Absent) and over a masked one.
TEST(HalftonePaintGetter, KindsUnderLabelsAndFullInk) {
  for (const bool absent : {true, false}) {
    const auto inner =
        QorSc::MakeFlatPaintGetter({0.0f, 1.0f, 0.5f, 0.0f}, Kinds({0, 1, 3, 4}), absent);
    const HalftonePaintGetter labels(0.4f, inner, QorSc::kHalftoneLabels);
    EXPECT_EQ(labels.Kinds(), Kinds({3, 3, 3, 4}));
    const HalftonePaintGetter full_ink(0.4f, inner, QorSc::kHalftoneLabelsFullInk);
    EXPECT_EQ(full_ink.Kinds(), Kinds({4, 3, 3, 4})) << "no ink, no label";
    for (const HalftonePaintGetter* getter : {&labels, &full_ink}) {
      EXPECT_EQ(getter->GetPaintKind(), 1) << "not masked";
      EXPECT_EQ(getter->HasAbsentComponents(), absent || getter == &full_ink);
    }
  }
  const auto present = QorSc::MakeFlatPaintGetter({0.0f, 0.5f}, Kinds({0, 3}), false);
  EXPECT_FALSE(HalftonePaintGetter(0.4f, present, QorSc::kHalftoneLabels).HasAbsentComponents())
      << "the absent flag is the inner getter's";

  const auto masked = std::make_shared<MaskGetter>(Kinds({0, 1, 2, 3, 4}), std::vector<float>{});
  const HalftonePaintGetter labels(0.4f, masked, QorSc::kHalftoneLabels);
  EXPECT_EQ(labels.Kinds(), Kinds({2, 2, 2, 2, 4}));
  EXPECT_EQ(labels.GetPaintKind(), 2) << "masked";
  EXPECT_FALSE(labels.HasAbsentComponents());
  const auto masked3 = std::make_shared<MaskGetter>(Kinds({0, 2, 3}), std::vector<float>{});
  const HalftonePaintGetter full_ink(0.4f, masked3, QorSc::kHalftoneLabelsFullInk);
  EXPECT_EQ(full_ink.Kinds(), Kinds({4, 3, 3})) << "only the label mode masks";
  EXPECT_EQ(full_ink.GetPaintKind(), 1) << "only the label mode masks";
}

TEST(HalftonePaintGetter, UnmaskedWritesTheLabelAtRunStartsOnly) {
  const auto inner =
      QorSc::MakeFlatPaintGetter({0.0f, 1.0f, 0.5f, 0.0f}, Kinds({0, 1, 3, 4}), true);
  HalftonePaintGetter getter(0.6f, inner, QorSc::kHalftoneLabels);
  SourcePaintBuffers buffers(4, 0, 10);
  Mark(buffers);
  const RunList runs{{1, 3}, {6, 2}};
  RunList painted;
  getter.Compute({0}, runs, buffers, painted);
  EXPECT_EQ(painted, runs);
  for (long long x = 0; x < 10; ++x) {
    const bool start = x == 1 || x == 6;
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(buffers.Component(i)[x], start ? 0.6f : kMarker) << i << ' ' << x;
    }
    EXPECT_EQ(buffers.Component(3)[x], kMarker) << "absent stays untouched, x " << x;
    EXPECT_EQ(buffers.Mask()[x], kMarker) << x;
  }
}

TEST(HalftonePaintGetter, MaskedWritesLabelTimesBinarisedMask) {
  //                            x: 0     1          2     3         4     5     6      7
  const std::vector<float> mask{0.9f, 0.000001f, 0.3f, 0.00001f, 1.0f, 0.0f, 0.75f, 0.5f};
  auto inner = std::make_shared<MaskGetter>(Kinds({3, 0, 4, 2}), mask);
  inner->only_ = RunList{{1, 4}, {6, 1}};
  HalftonePaintGetter getter(0.8f, inner, QorSc::kHalftoneLabels);
  ASSERT_EQ(getter.Kinds(), Kinds({2, 2, 4, 2}));
  SourcePaintBuffers buffers(4, 0, 8);
  Mark(buffers);
  RunList painted;
  getter.Compute({3}, RunList{{0, 8}}, buffers, painted);
  EXPECT_EQ(inner->calls, 1);
  EXPECT_EQ(painted, inner->only_) << "the inner getter's painted runs are the label's";

  const std::vector<float> binary{kMarker, 0.0f, 1.0f, 1.0f, 1.0f, kMarker, 1.0f, kMarker};
  for (long long x = 0; x < 8; ++x) {
    const auto i = static_cast<std::size_t>(x);
    EXPECT_EQ(buffers.Mask()[x], binary[i]) << x;
    const float expected = binary[i] == kMarker ? kMarker : 0.8f * binary[i];
    EXPECT_EQ(buffers.Component(0)[x], expected) << x;
    EXPECT_EQ(buffers.Component(1)[x], expected) << x;
    EXPECT_EQ(buffers.Component(3)[x], expected) << x;
    EXPECT_EQ(buffers.Component(2)[x], kMarker) << x;
  }
  EXPECT_EQ(buffers.Component(0)[1], 0.0f) << "a mask of 0.000001 is no coverage";
  EXPECT_EQ(buffers.Component(0)[2], 0.8f) << "a mask of 0.3 is full coverage";
}

}  // namespace
