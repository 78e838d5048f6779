// Opaque flat objects of any shape, clipped or not, drawn without fillers: random
// polygons among see-through ones, some inside a clip, against the per-pixel
// reference; with hit lists on two of every three lines of another converter (which
// then gives such objects their fillers partway down) and byte lines in between.
#include "frame/flat_shape.h"

#include <gtest/gtest.h>

#include <random>

#include "collect/fillable_object_info.h"
#include "converter_lines.h"
#include "raster/clip.h"
#include "raster/path_run_length_generator_builder.h"
#include "reference_compositor.h"
#include "reference_rasterizer.h"
#include "scan/scan_converter.h"
#include "test_scene.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorScTest::kHeight;
using QorScTest::kWidth;
using QorScTest::Polygon;
using QorScTest::ReferencePaint;
using QorScTest::ReferencePixel;

const QorColor::Color kPlates{{"Cyan", 0.0f}, {"Magenta", 0.0f}, {"Gold", 0.0f}};

// The scene's records, each object clipped by the polygon given for it (if any).
QorSc::ObjectCollection CollectClipped(QorScTest::Scene& scene,
                                       const std::vector<std::optional<Polygon>>& clips,
                                       const QorSc::Options& options, const Box& box) {
  if (!scene.document) scene.document = scene.builder.Build();
  const QorSc::Environment env = QorScTest::PixelEnvironment();
  auto container = std::make_unique<QorSc::ObjectInfoContainer>();
  for (std::size_t k = 0; k < scene.paths.size(); ++k) {
    const QorDoc::Path& path = *scene.paths[k];
    std::shared_ptr<QorSc::Clip> clip;
    if (clips[k]) {
      clip = std::make_shared<QorSc::Clip>(nullptr);
      clip->AddElement(std::make_unique<QorSc::ClipObject>(
          QorSc::MakeGeometrySource(env, box, QorScTest::WorldShape(*clips[k]), {})));
    }
    container->Append(QorSc::FillableObjectInfo::Make(
        &path, &path, std::move(clip),
        QorSc::MakeGeometrySource(env, box, path.DefiningCompound(), {}), path.GetFillPaint(),
        Morv::MilliPointTransformation{}, path.GetTransparency(), false));
  }
  return QorSc::ObjectCollection(env, options, box, std::move(container));
}

TEST(FlatShapes, ClippedAndUnclippedShapesMatchTheReferenceWithHitListsBetween) {
  std::mt19937 random(20261124);
  std::uniform_real_distribution<double> coord(-6.0, kWidth + 6.0);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  const Box box{3, 0, kWidth, kHeight};
  const long long width = box.right - box.left;
  for (int round = 0; round < 12; ++round) {
    QorScTest::Scene scene;
    std::vector<std::optional<Polygon>> clips;
    std::vector<ReferencePaint> paints;
    for (int k = 0; k < 40; ++k) {
      Polygon shape;
      const int corners = 3 + static_cast<int>(unit(random) * 6);
      const double cx = coord(random), cy = coord(random) * kHeight / kWidth;
      const double reach = unit(random) < 0.7f ? 4.0 : 30.0;  // mostly small shapes
      for (int p = 0; p < corners; ++p)
        shape.push_back({cx + (unit(random) - 0.5) * reach, cy + (unit(random) - 0.5) * reach});
      if (unit(random) < 0.4f) {
        const double x0 = coord(random), y0 = coord(random) * kHeight / kWidth;
        clips.push_back(
            QorScTest::Rect(x0, y0, x0 + 5 + unit(random) * 25, y0 + 3 + unit(random) * 15));
      } else {
        clips.emplace_back();
      }
      QorColor::Color color{{"Cyan", unit(random) < 0.2f ? 1.0f : unit(random)},
                            {"Magenta", 0.0f},
                            {"Gold", unit(random) < 0.5f ? 0.0f : unit(random)}};
      ReferencePaint paint;
      paint.values = {color.GetTint(0), 0.0f, color.GetTint(2)};
      paint.alpha = unit(random) < 0.75f ? 1.0f : 0.5f;
      paints.push_back(paint);
      scene.Add(shape, color,
                std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, paint.alpha,
                                                               paint.alpha, 0));
    }

    std::vector<ReferencePixel> expected(width * kHeight, ReferencePixel(3));
    std::vector<std::vector<std::size_t>> hits(kHeight);
    for (std::size_t k = 0; k < paints.size(); ++k) {
      const auto runs = QorScTest::ReferenceRuns({scene.shapes[k]}, 1, box);
      for (long long y = 0; y < kHeight; ++y) {
        bool painted = false;
        for (const QorSc::Run& r : runs[y]) {
          for (long long x = r.start; x < r.End(); ++x) {
            if (clips[k] && !QorScTest::ReferenceInside({*clips[k]}, 1, x, y)) continue;
            expected[y * width + (x - box.left)].Paint(paints[k]);
            painted = true;
          }
        }
        if (painted) hits[y].push_back(scene.paths[k]->GetID());
      }
    }

    const QorSc::Options options(kPlates, {});
    QorSc::ScanConverter bytes(CollectClipped(scene, clips, options, box));
    QorSc::ScanConverter mixed(CollectClipped(scene, clips, options, box));
    QorScTest::ExpectBytesAndHitsMatch(bytes, mixed, expected, hits, width, kHeight, box.left,
                                       round);
  }
}

// A finished shape keeps a small path generator for the next (its storage reused)
// and frees a large one, so that idle shapes hold no long outline's edges.
TEST(FlatShapes, FinishingKeepsOnlySmallPathGenerators) {
  QorSc::ScratchChains chains;
  const Box box{0, 0, 4000, 4000};
  auto build = [&](std::size_t corners) {
    QorSc::PathRunLengthGeneratorBuilder builder(1, box, chains);
    std::vector<QorSc::Point<double>> points;
    for (std::size_t k = 0; k < corners; ++k)  // a zigzag: one edge per corner
      points.push_back({static_cast<double>(k % 2) * 7.0 + 1.0, static_cast<double>(k) * 3.0});
    struct List final : QorSc::PointEnumerator {
      const std::vector<QorSc::Point<double>>* points;
      std::size_t next = 0;
      bool Next(QorSc::Point<double>& out) override {
        if (next == points->size()) return false;
        out = (*points)[next++];
        return true;
      }
    } list;
    list.points = &points;
    builder.AddPoints(list);
    return builder.Release();
  };
  QorSc::FlatShape shape;
  shape.path = build(8);
  shape.generator = shape.path.get();
  const QorSc::PathRunLengthGenerator* small = shape.path.get();
  shape.Finish();
  EXPECT_EQ(shape.path.get(), small);
  EXPECT_EQ(shape.generator, nullptr);
  shape.path = build(1000);
  ASSERT_GT(shape.path->StorageBytes(), QorSc::FlatShape::kKeptGeneratorBytes);
  shape.generator = shape.path.get();
  shape.Finish();
  EXPECT_EQ(shape.path, nullptr);
}

}  // namespace
