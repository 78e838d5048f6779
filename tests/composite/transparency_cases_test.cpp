// Groups and soft masks case by case where the random scenes of
// group_compositing_test.cpp do not reach: the opaque copy's threshold, draw
// through, empty boxes, transfer functions, black-only masks, mask positions and the
// halftone label modes.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "collect/group_object_info.h"
#include "composite/soft_mask_state.h"
#include "frame/line_renderer.h"
#include "qordoc/document.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"
#include "test_scene.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorScTest::kHeight;
using QorScTest::kWidth;
using QorScTest::Polygon;
using QorScTest::Rect;
using QorScTest::WorldShape;
using T = Morv::MilliPointTransformation;

const QorColor::Color kPlates{{"Cyan", 0.0f}, {"Magenta", 0.0f}, {"Black", 0.0f}};
const Box kBox{0, 0, kWidth, kHeight};

QorDoc::Fillable::Painting Fill(const char* ink, float tint, float alpha = 1.0f) {
  QorDoc::Fillable::Painting p;
  p.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{ink, tint}});
  p.transparency = std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, alpha, alpha);
  return p;
}

std::shared_ptr<QorBlend::Transparency> GroupTransparency(std::uint8_t isolated,
                                                          std::uint8_t knockout,
                                                          float alpha = 1.0f) {
  auto t = std::make_shared<QorBlend::Transparency>(QorBlend::kNormal, alpha, alpha);
  t->SetGroupFlags(isolated, knockout);
  return t;
}

// Line y of the page as floats, three plates per pixel.
std::vector<float> RenderLine(const QorDoc::Content& page, long long y,
                              const QorSc::Options& options = QorSc::Options(kPlates, {})) {
  QorSc::ScanConverter converter(QorSc::CollectObjects(QorScTest::PixelEnvironment(), options, kBox,
                                                       page, T{}, QorSc::kAllSelection));
  const QorColor::Component* line = nullptr;
  for (long long k = 0; k <= y; ++k)
    line = converter.GetLine();
  const std::size_t planes = options.GetBlendingSeparations().Size();
  return std::vector<float>(line, line + planes * kWidth);
}

TEST(Groups, OpacityJustBelowOneNeverCopies) {
  for (float alpha : {1.0f, 0.99999f}) {
    QorDoc::DocumentBuilder b;
    auto& page = b.AddPage();
    b.AddPath(page, WorldShape(Rect(0, 0, 40, 20)), Fill("Magenta", 1.0f));
    auto& members = b.AddContent();
    b.AddPath(members, WorldShape(Rect(5, 5, 30, 15)), Fill("Cyan", 0.6f));
    b.AddGroup(page, members, T{}, GroupTransparency(1, 0, alpha));
    auto doc = b.Build();
    const std::vector<float> line = RenderLine(page, 10);
    if (alpha == 1.0f) {
      EXPECT_EQ(line[10 * 3 + 0], 0.6f);
      EXPECT_EQ(line[10 * 3 + 1], 0.0f) << "copied: the group's colour replaces";
    } else {
      EXPECT_GT(line[10 * 3 + 1], 0.0f) << "blended: a trace of the backdrop stays";
    }
  }
}

// Records built directly: a group the collector would have flattened.
TEST(Groups, DrawingThroughEqualsPaintingTheChildren) {
  QorScTest::Scene scene;
  scene.Add(Rect(0, 0, 40, 20), QorColor::Color{{"Magenta", 0.7f}});
  scene.Add(Rect(5, 5, 30, 15), QorColor::Color{{"Cyan", 0.6f}},
            std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 0.5f));
  scene.Add(Rect(8, 2, 20, 25), QorColor::Color{{"Cyan", 0.2f}});
  const QorSc::Options options(kPlates, {});
  QorSc::ObjectCollection flat = scene.Collect(options, kBox);
  QorSc::ObjectCollection nested = scene.Collect(options, kBox);
  // Everything but the backdrop goes into a non-isolated Normal opaque group.
  auto members = std::make_unique<QorSc::ObjectInfoContainer>(0, 0);
  for (std::size_t k = 1; k < nested.objects->records.size(); ++k)
    members->Append(std::move(nested.objects->records[k]));
  nested.objects->records.resize(1);
  const QorSc::GeometrySource box{{4, 1, 31, 26}, nullptr, nullptr, {}};
  nested.objects->Append(std::make_unique<QorSc::GroupObjectInfo>(
      nullptr, nullptr, box, QorBlend::Transparency::Opaque(), std::move(members), nullptr));
  // An empty box paints nothing, and names nothing.
  const QorSc::GeometrySource empty{{10, 0, 10, kHeight}, nullptr, nullptr, {}};
  auto lonely = std::make_unique<QorSc::ObjectInfoContainer>(1, 0);
  QorSc::ObjectCollection extra = scene.Collect(options, kBox);
  lonely->Append(std::move(extra.objects->records[1]));
  nested.objects->Append(std::make_unique<QorSc::GroupObjectInfo>(
      nullptr, nullptr, empty, GroupTransparency(1, 0, 0.5f), std::move(lonely), nullptr));

  QorSc::ScanConverter a(std::move(flat));
  QorSc::ScanConverter b(std::move(nested));
  for (long long y = 0; y < kHeight; ++y) {
    const QorColor::Component* la = a.GetLine();
    const QorColor::Component* lb = b.GetLine();
    for (long long i = 0; i < 3 * kWidth; ++i)
      ASSERT_EQ(la[i], lb[i]) << y << ": " << i;
  }
}

// Line 3 of a page with one cyan rectangle over the whole page, masked by the mask
// `make` returns for a content of one band (x 10 to 20) painted with `band`.
using MakeMask = std::function<std::shared_ptr<QorBlend::SoftMask>(const QorDoc::Content*)>;
std::vector<float> MaskedLine(const QorDoc::Fillable::Painting& band, const MakeMask& make,
                              QorSc::HalftoneMode halftones = QorSc::kHalftoneNone) {
  QorDoc::DocumentBuilder b;
  auto& page = b.AddPage();
  auto& content = b.AddContent();
  b.AddPath(content, WorldShape(Rect(10, 0, 20, kHeight)), band);
  QorDoc::Fillable::Painting painting = Fill("Cyan", 1.0f);
  auto t = std::make_shared<QorBlend::Transparency>();
  t->SetSoftMask(make(&content));
  painting.transparency = t;
  b.AddPath(page, WorldShape(Rect(0, 0, kWidth, kHeight)), painting);
  auto doc = b.Build();
  QorSc::Options options(kPlates, {});
  options.SetHalftoneMode(halftones);
  return RenderLine(page, 3, options);
}

TEST(SoftMasks, TransferFunctionsMapTheValues) {
  const std::function<float(float)> invert = [](float v) { return 1.0f - v; };
  const auto line = MaskedLine(Fill("Black", 1.0f, 0.4f), [&](const QorDoc::Content* content) {
    return std::make_shared<QorBlend::SoftMask>(content, T{}, true, QorColor::Color{}, invert);
  });
  EXPECT_NEAR(line[15 * 3], 0.6f, 1e-6f);
  EXPECT_EQ(line[5 * 3], 1.0f);
}

TEST(SoftMasks, HalftoneLabelModesMakeMasksAllOrNothing) {
  for (auto mode : {QorSc::kHalftoneLabels, QorSc::kHalftoneLabelsFullInk}) {
    // Full black content: luminosity 0; mode 2 skips that step and takes coverage.
    const auto line = MaskedLine(
        Fill("Black", 1.0f),
        [](const QorDoc::Content* content) {
          return std::make_shared<QorBlend::SoftMask>(content, T{}, false);
        },
        mode);
    const float expected = mode == QorSc::kHalftoneLabelsFullInk ? 1.0f : 0.0f;
    EXPECT_EQ(line[15 * 3] != 0.0f, expected != 0.0f) << "mode " << mode;
    EXPECT_EQ(line[5 * 3], 0.0f);
  }
}

TEST(SoftMasks, StateRendersOnItsOwnPlatesOncePerPosition) {
  for (bool black : {true, false}) {
    QorDoc::DocumentBuilder b;
    b.AddPage();
    auto& content = b.AddContent();
    b.AddPath(content, WorldShape(Rect(10, 0, 20, 10)), Fill(black ? "Black" : "Cyan", 1.0f, 0.5f));
    b.AddPath(content, WorldShape(Rect(10, 10, 20, 20)), Fill("Black", 1.0f, 0.25f));
    auto doc = b.Build();
    const QorSc::Options options(kPlates, {});
    const QorSc::Environment env = QorScTest::PixelEnvironment();
    QorSc::ConversionPools pools(0, kWidth);
    QorSc::LineRenderer renderer(env, kBox, options, nullptr, pools);
    auto record = std::make_unique<QorSc::SoftMaskRecord>();
    record->mask = std::make_shared<QorBlend::SoftMask>(&content, T{}, true);
    record->content = std::move(
        QorSc::CollectObjects(env, options, kBox, content, T{}, QorSc::kAllSelection).objects);
    QorSc::SoftMaskState state(renderer, Box{5, 0, 25, kHeight}, std::move(record));
    EXPECT_EQ(state.GetOptions().GetBlendingSeparations().Size(), black ? 1u : 4u);
    EXPECT_EQ(state.Values(5)[10], 0.5f) << "x 15, relative to the box";
    EXPECT_EQ(state.Values(3)[10], 0.5f) << "an earlier position keeps the line rendered";
    EXPECT_EQ(state.Values(15)[10], 0.25f);
    EXPECT_EQ(state.Values(15)[0], 0.0f);
  }
}

}  // namespace
