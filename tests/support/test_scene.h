// Small scenes for converter tests: paths of one document page, drawn in pixels
// (one millipoint is one pixel, world y flipped), turned into the records the
// converter takes.
#pragma once

#include <memory>
#include <vector>

#include "collect/fillable_object_info.h"
#include "qordoc/document.h"
#include "reference_rasterizer.h"
#include "scan/object_collection.h"

namespace QorScTest {

using Box = QorMath::Rectangle<long long>;

constexpr long long kWidth = 48;
constexpr long long kHeight = 32;

// One millipoint is one pixel; world y is flipped against internal y.
inline QorSc::Environment PixelEnvironment() {
  return QorSc::Environment(Morv::MilliPointRectangle(0.0, 0.0, kWidth, kHeight), kWidth, kHeight);
}

inline std::vector<Morv::MilliPointPoint> ToWorld(const Polygon& internal) {
  std::vector<Morv::MilliPointPoint> world;
  for (const auto& p : internal)
    world.emplace_back(p.x, static_cast<double>(kHeight) - p.y);
  return world;
}

// A non-zero compound of an internal-space polygon, in world coordinates.
inline std::shared_ptr<const Morv::Compound> WorldShape(const Polygon& internal) {
  return Morv::PathBuilder().Polygon(ToWorld(internal)).BuildShared(Morv::kNonZero);
}

// A scene: paths of one document page, and their records in painting order.
struct Scene {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content* page = &builder.AddPage();
  std::shared_ptr<const QorDoc::Document> document;
  std::vector<std::shared_ptr<const QorDoc::Path>> paths;
  std::vector<Polygon> shapes;
  std::vector<bool> strokes;

  void Add(const Polygon& internal, QorColor::Color color,
           std::shared_ptr<const QorBlend::Transparency> t = QorBlend::Transparency::Opaque()) {
    QorDoc::Fillable::Painting painting;
    painting.fill = std::make_shared<QorPaint::FlatPaint>(std::move(color));
    painting.transparency = std::move(t);
    Add(internal, std::move(painting));
  }

  // A filled object, or with `stroke` a record of the painting's stroke paint that
  // covers `internal` (the outline is the caller's business here).
  void Add(const Polygon& internal, QorDoc::Fillable::Painting painting, bool stroke = false) {
    auto compound = Morv::PathBuilder().Polygon(ToWorld(internal)).BuildShared(Morv::kNonZero);
    paths.push_back(builder.AddPath(*page, compound, std::move(painting)));
    shapes.push_back(internal);
    strokes.push_back(stroke);
  }

  QorSc::ObjectCollection Collect(const QorSc::Options& options, const Box& box) {
    if (!document) document = builder.Build();
    const QorSc::Environment env = PixelEnvironment();
    auto container = std::make_unique<QorSc::ObjectInfoContainer>();
    for (std::size_t k = 0; k < paths.size(); ++k) {
      const QorDoc::Path& path = *paths[k];
      const QorSc::GeometrySource geometry =
          QorSc::MakeGeometrySource(env, box, path.DefiningCompound(), {});
      container->Append(QorSc::FillableObjectInfo::Make(
          &path, &path, nullptr, geometry, strokes[k] ? path.GetStrokePaint() : path.GetFillPaint(),
          Morv::MilliPointTransformation{}, path.GetTransparency(), strokes[k]));
    }
    return QorSc::ObjectCollection(env, options, box, std::move(container));
  }
};

inline Polygon Rect(double x0, double y0, double x1, double y1) {
  return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
}

}  // namespace QorScTest
