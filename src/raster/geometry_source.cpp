// Geometry sources and the generator factory. Runs once per object at collection
// and activation, never per line.

#include "raster/geometry_source.h"

#include <algorithm>

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

TinyCoverage CoverageOfTinyBox(const Environment& env, const Box& box,
                               const Morv::Compound& compound,
                               const Morv::MilliPointTransformation& t) {
  ScratchChains chains;
  PathRunLengthGeneratorBuilder builder(compound.GetWindingRule(), box, chains);
  builder.AddCompound(compound, env, t);
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

Box CulledBox(const Environment& env, const Box& limit, const Morv::MilliPointRectangle& bounds,
              const Morv::MilliPointTransformation& t) {
  const QorMath::Rectangle<double> internal =
      env.WorldToInternal(Morv::TransformedBoundingBox(t, bounds));
  const Box rounded{RoundToPixel(internal.left), RoundToPixel(internal.top),
                    RoundToPixel(internal.right), RoundToPixel(internal.bottom)};
  return QorMath::Intersect(rounded, limit);
}

// Reduces a source whose box holds one or two pixels to exact boxes; `compound`
// decides which pixels are covered. Returns false when the box holds more.
bool ReduceTinySource(const Environment& env, const Morv::Compound& compound,
                      GeometrySource& source) {
  const Box box = source.pixelBox;
  const long long pixels = box.Width() * box.Height();
  if (pixels != 1 && pixels != 2) return false;
  const TinyCoverage coverage = CoverageOfTinyBox(env, box, compound, source.transformation);
  source.compound.reset();
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

}  // namespace

GeometrySource MakeGeometrySource(const Environment& env, const Box& limit,
                                  const std::shared_ptr<const Morv::Compound>& compound,
                                  const Morv::MilliPointTransformation& t) {
  GeometrySource source{CulledBox(env, limit, compound->GetBoundingBox(), t), compound, nullptr, t};
  if (source.pixelBox.Width() < 1 || source.pixelBox.Height() < 1) {
    source.pixelBox = Box{};
    return source;
  }
  ReduceTinySource(env, *compound, source);
  return source;
}

GeometrySource MakeImageMaskGeometrySource(const Environment& env, const Box& limit,
                                           const std::shared_ptr<const QorImg::PictureBuffer>& mask,
                                           const Morv::MilliPointTransformation& t) {
  const Morv::Compound& square = *Morv::GetUnityPdfRectangleCompound();
  GeometrySource source{CulledBox(env, limit, square.GetBoundingBox(), t), nullptr, mask, t};
  if (source.pixelBox.Width() < 1 || source.pixelBox.Height() < 1) {
    source.pixelBox = Box{};
    return source;
  }
  ReduceTinySource(env, square, source);
  return source;
}

std::unique_ptr<RunLengthGenerator> CreateRunLengthGenerator(const GeometrySource& source,
                                                             const LineContext& context) {
  if (source.compound) {
    PathRunLengthGeneratorBuilder builder(source.compound->GetWindingRule(), source.pixelBox,
                                          context.GetScratchChains());
    builder.AddCompound(*source.compound, context.GetEnvironment(), source.transformation);
    return builder.Release();
  }
  if (source.mask) {
    return std::make_unique<ImageMaskRunLengthGenerator>(
        source.pixelBox, source.mask, source.transformation, context.GetEnvironment());
  }
  return std::make_unique<BoxRunLengthGenerator>(source.pixelBox);
}

}  // namespace QorSc
