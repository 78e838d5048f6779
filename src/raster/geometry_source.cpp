// Geometry sources and the generator factory. Runs once per object at collection
// and activation, never per line.

#include "raster/geometry_source.h"

#include <algorithm>
#include <optional>
#include <span>

#include "raster/box_run_length_generator.h"
#include "raster/image_mask_run_length_generator.h"
#include "raster/path_run_length_generator_builder.h"
#include "raster/pixel_rounding.h"

namespace QorSc {
namespace {

using Box = QorMath::Rectangle<long long>;

// Whether the compound covers the given pixels, asked of a path generator over the
// tiny box (one or two pixels): the very crossing rule every line will use.
struct TinyCoverage {
  bool first = false;
  bool last = false;
};

// `add` puts the shape into the builder it is given.
template <class AddShape>
TinyCoverage CoverageOfTinyBox(const Box& box, std::uint32_t windingRule, AddShape add) {
  ScratchChains chains;
  PathRunLengthGeneratorBuilder builder(windingRule, box, chains);
  add(builder);
  const std::unique_ptr<PathRunLengthGenerator> generator = builder.Release();
  auto covers = [&generator](long long x, long long y) {
    generator->GenerateRuns(y);
    for (const Run& r : generator->Runs()) {
      if (r.start <= x && x < r.End()) return true;
    }
    return false;
  };
  TinyCoverage coverage;
  coverage.first = covers(box.left, box.top);
  coverage.last = covers(box.right - 1, box.bottom - 1);
  return coverage;
}

// Reduces a source whose box holds one or two pixels to exact boxes; the shape `add`
// puts into a builder decides which pixels are covered. Returns false when the box
// holds more.
template <class AddShape>
bool ReduceTinySource(std::uint32_t windingRule, AddShape add, GeometrySource& source) {
  const Box box = source.pixelBox;
  const long long pixels = box.Width() * box.Height();
  if (pixels != 1 && pixels != 2) return false;
  const TinyCoverage coverage = CoverageOfTinyBox(box, windingRule, add);
  source.compound.reset();
  source.outline.reset();
  if (coverage.first && (coverage.last || pixels == 1)) {
    source.pixelBox = box;
  } else if (coverage.first) {
    source.pixelBox = {box.left, box.top, box.left + 1, box.top + 1};
  } else if (coverage.last && pixels == 2) {
    source.pixelBox = {box.right - 1, box.bottom - 1, box.right, box.bottom};
  } else {
    source.pixelBox = Box{};
  }
  return true;
}

// An axis-aligned rectangle covers exactly the box of its rounded corners: the path
// generator would give the same runs (two vertical edges at fixed x crossing the
// lines between the rounded y), so a box generator serves it without edges. The
// corners go through the very maps a point enumerator applies.
std::optional<Box> RectangleCoverage(const Environment& env, const Morv::Compound& compound,
                                     const Morv::MilliPointTransformation& t, const Box& limit) {
  if (compound.GetSubpaths().size() != 1) return std::nullopt;
  const std::span<const Morv::MilliPointPoint> points =
      compound.GetSubpaths().front().VectorPoints();
  std::size_t n = points.size();
  if (n == 5 && points[4] == points[0]) n = 4;
  if (n != 4) return std::nullopt;
  Point<double> q[4];
  for (std::size_t i = 0; i < 4; ++i)
    q[i] = env.WorldToInternal(t.Apply(points[i]));
  const bool vertical_first =
      q[0].x == q[1].x && q[1].y == q[2].y && q[2].x == q[3].x && q[3].y == q[0].y;
  const bool horizontal_first =
      q[0].y == q[1].y && q[1].x == q[2].x && q[2].y == q[3].y && q[3].x == q[0].x;
  if (!vertical_first && !horizontal_first) return std::nullopt;
  const double x0 = std::min(q[0].x, q[2].x);
  const double x1 = std::max(q[0].x, q[2].x);
  const double y0 = std::min(q[0].y, q[2].y);
  const double y1 = std::max(q[0].y, q[2].y);
  const Box covered = QorMath::Intersect(
      Box{RoundToPixel(x0), RoundToPixel(y0), RoundToPixel(x1), RoundToPixel(y1)}, limit);
  return covered.IsEmpty() ? Box{} : covered;
}

}  // namespace

GeometrySource MakeGeometrySource(const Environment& env, const Box& limit,
                                  const std::shared_ptr<const Morv::Compound>& compound,
                                  const Morv::MilliPointTransformation& t) {
  GeometrySource source{RoundedTargetBox(env, compound->GetBoundingBox(), t, limit), compound,
                        nullptr, t};
  if (source.pixelBox.Width() < 1 || source.pixelBox.Height() < 1) {
    source.pixelBox = Box{};
    return source;
  }
  if (const std::optional<Box> box = RectangleCoverage(env, *compound, t, limit)) {
    source.pixelBox = *box;
    source.compound.reset();
    return source;
  }
  ReduceTinySource(
      compound->GetWindingRule(),
      [&](PathRunLengthGeneratorBuilder& builder) { builder.AddCompound(*compound, env, t); },
      source);
  return source;
}

GeometrySource MakeGeometrySource(const Environment& env, const Box& limit,
                                  const std::shared_ptr<const Morv::StrokeOutline>& outline,
                                  const Morv::MilliPointTransformation& t) {
  GeometrySource source{RoundedTargetBox(env, outline->GetBoundingBox(), t, limit), nullptr,
                        nullptr, t, outline};
  if (source.pixelBox.Width() < 1 || source.pixelBox.Height() < 1) {
    source.pixelBox = Box{};
    return source;
  }
  ReduceTinySource(
      Morv::kNonZero,
      [&](PathRunLengthGeneratorBuilder& builder) { builder.AddOutline(*outline, env, t); },
      source);
  return source;
}

GeometrySource MakeImageMaskGeometrySource(const Environment& env, const Box& limit,
                                           const std::shared_ptr<const QorImg::PictureBuffer>& mask,
                                           const Morv::MilliPointTransformation& t) {
  const Morv::Compound& square = *Morv::GetUnityPdfRectangleCompound();
  GeometrySource source{RoundedTargetBox(env, square.GetBoundingBox(), t, limit), nullptr, mask, t};
  if (source.pixelBox.Width() < 1 || source.pixelBox.Height() < 1) {
    source.pixelBox = Box{};
    return source;
  }
  ReduceTinySource(
      square.GetWindingRule(),
      [&](PathRunLengthGeneratorBuilder& builder) { builder.AddCompound(square, env, t); }, source);
  return source;
}

namespace {

// The path generator of a source with a compound, a flattened compound or an
// outline, built into `path` (reset, or made when null); false for other sources.
bool BuildPathGenerator(const GeometryRef& source, const LineContext& context,
                        std::unique_ptr<PathRunLengthGenerator>& path) {
  if (source.compound != nullptr) {
    PathRunLengthGeneratorBuilder builder(source.compound->GetWindingRule(), source.pixelBox,
                                          context.GetScratchChains(), std::move(path));
    builder.AddCompound(*source.compound, context.GetEnvironment(), *source.transformation);
    path = builder.Release();
    return true;
  }
  if (source.flatCompound != nullptr) {
    PathRunLengthGeneratorBuilder builder(source.flatCompound->windingRule, source.pixelBox,
                                          context.GetScratchChains(), std::move(path));
    builder.AddFlatOutline(*source.flatCompound);
    path = builder.Release();
    return true;
  }
  if (source.outline != nullptr) {
    PathRunLengthGeneratorBuilder builder(Morv::kNonZero, source.pixelBox,
                                          context.GetScratchChains(), std::move(path));
    builder.AddOutline(*source.outline, context.GetEnvironment(), *source.transformation);
    path = builder.Release();
    return true;
  }
  return false;
}

std::unique_ptr<RunLengthGenerator> CreateOtherGenerator(const GeometryRef& source,
                                                         const LineContext& context) {
  if (source.mask) {
    return std::make_unique<ImageMaskRunLengthGenerator>(
        source.pixelBox, source.mask, *source.transformation, context.GetEnvironment());
  }
  return std::make_unique<BoxRunLengthGenerator>(source.pixelBox);
}

}  // namespace

GeometryRef RefOf(const GeometrySource& source) {
  return {source.pixelBox,      source.compound.get(), source.flatCompound.get(),
          source.outline.get(), source.mask,           &source.transformation};
}

std::unique_ptr<RunLengthGenerator> CreateRunLengthGenerator(const GeometrySource& source,
                                                             const LineContext& context) {
  return CreateRunLengthGenerator(RefOf(source), context);
}

std::unique_ptr<RunLengthGenerator> CreateRunLengthGenerator(const GeometryRef& source,
                                                             const LineContext& context) {
  std::unique_ptr<PathRunLengthGenerator> path;
  if (BuildPathGenerator(source, context, path)) return path;
  return CreateOtherGenerator(source, context);
}

RunLengthGenerator& CreateRunLengthGenerator(const GeometryRef& source, const LineContext& context,
                                             std::unique_ptr<PathRunLengthGenerator>& path,
                                             std::unique_ptr<RunLengthGenerator>& other) {
  if (BuildPathGenerator(source, context, path)) return *path;
  other = CreateOtherGenerator(source, context);
  return *other;
}

}  // namespace QorSc
