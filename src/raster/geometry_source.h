// GeometrySource: how an object's coverage is generated, and the factory that
// turns it into a run-length generator.
//
// A source holds the object's pixel box (already culled against the caller's
// limit), an optional compound or stroke outline, an optional 1-bit image mask and
// the object's transformation. The factory makes a path generator when there is a
// compound or an outline, an image-mask generator when there is a mask, and a box
// generator otherwise. An outline's pieces are made while the generator is built and
// not kept, so a page of long thin strokes holds only the edges of active objects.
//
// MakeGeometrySource reduces axis-aligned rectangles and shapes that reach one or
// two pixels to exact boxes without a compound: the box generator then covers them
// exactly, and the per-line cost of a path disappears. A rectangle's box comes from
// its corners through the maps a point enumerator applies; which pixels a tiny shape
// covers is decided by the path generator itself over the tiny box; so neither
// reduction ever changes the output.
#pragma once

#include <memory>

#include "morv/compound.h"
#include "morv/stroke.h"
#include "morv/transformation.h"
#include "qorimg/picture_buffer.h"
#include "qormath/rectangle.h"
#include "raster/line_context.h"
#include "raster/path_run_length_generator_builder.h"
#include "raster/run_length_generator.h"
#include "scan/environment.h"

namespace QorSc {

struct GeometrySource {
  QorMath::Rectangle<long long> pixelBox;
  std::shared_ptr<const Morv::Compound> compound;
  std::shared_ptr<const QorImg::PictureBuffer> mask;
  Morv::MilliPointTransformation transformation;
  // A stroke outline walked when the generator is made, in place of a compound.
  std::shared_ptr<const Morv::StrokeOutline> outline{};
  // In place of a compound, the compound already flattened under `transformation` and
  // the collection's environment, when collection had to flatten it anyway: the
  // generator is built from its points without flattening the compound again.
  std::shared_ptr<const FlatOutline> flatCompound{};
};

GeometrySource MakeGeometrySource(const Environment& env,
                                  const QorMath::Rectangle<long long>& limit,
                                  const std::shared_ptr<const Morv::Compound>& compound,
                                  const Morv::MilliPointTransformation& t);

// The same for a stroke outline; the source keeps the outline in place of a compound.
GeometrySource MakeGeometrySource(const Environment& env,
                                  const QorMath::Rectangle<long long>& limit,
                                  const std::shared_ptr<const Morv::StrokeOutline>& outline,
                                  const Morv::MilliPointTransformation& t);

// The same for a 1-bit mask placed on the unit square by `t`; the source keeps the
// mask in place of a compound.
GeometrySource MakeImageMaskGeometrySource(const Environment& env,
                                           const QorMath::Rectangle<long long>& limit,
                                           const std::shared_ptr<const QorImg::PictureBuffer>& mask,
                                           const Morv::MilliPointTransformation& t);

std::unique_ptr<RunLengthGenerator> CreateRunLengthGenerator(const GeometrySource& source,
                                                             const LineContext& context);

// What a generator reads of a geometry source, by reference: a record hands its
// shape over this way without taking its shared references, whose counts lie on
// cache lines of their own, far from anything else activation reads.
struct GeometryRef {
  QorMath::Rectangle<long long> pixelBox;
  const Morv::Compound* compound = nullptr;
  const FlatOutline* flatCompound = nullptr;
  const Morv::StrokeOutline* outline = nullptr;
  std::shared_ptr<const QorImg::PictureBuffer> mask{};             // kept by its generator
  const Morv::MilliPointTransformation* transformation = nullptr;  // never null
};
GeometryRef RefOf(const GeometrySource& source);

std::unique_ptr<RunLengthGenerator> CreateRunLengthGenerator(const GeometryRef& source,
                                                             const LineContext& context);

// The same for a caller that keeps generators from object to object: a path
// generator is built in `path`, reusing the storage of the one already there (made
// when null), any other in `other`. Returns the generator built.
RunLengthGenerator& CreateRunLengthGenerator(const GeometryRef& source, const LineContext& context,
                                             std::unique_ptr<PathRunLengthGenerator>& path,
                                             std::unique_ptr<RunLengthGenerator>& other);

}  // namespace QorSc
