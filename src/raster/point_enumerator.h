// Point enumerators: the corners of one polygon, one at a time, in internal space.
//
// Every point is transformed by the world transformation (a·x + c·y + e,
// b·x + d·y + f) and then mapped by Environment::WorldToInternal, in that order;
// nothing is rounded here. No enumerator closes its polygon: the consumer does.
// Enumerators live on the consumer's stack and are drained once; what they walk
// (subpath, point vector, environment) must outlive them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "morv/flatten.h"
#include "morv/subpath.h"
#include "morv/transformation.h"
#include "scan/environment.h"

namespace QorSc {

class PointEnumerator {
 public:
  virtual ~PointEnumerator() = default;
  // Writes the next point and returns true, or returns false (for good) at the end.
  virtual bool Next(Point<double>& out) = 0;
};

// A subpath with curves, flattened on the fly to the environment's curve error.
class SubpathPointEnumerator final : public PointEnumerator {
 public:
  SubpathPointEnumerator(const Morv::Subpath& subpath, const Morv::MilliPointTransformation& t,
                         const Environment& env);
  bool Next(Point<double>& out) override;

 private:
  Morv::ConstPointIterator current_;
  Morv::ConstPointIterator end_;
  Morv::MilliPointTransformation transformation_;
  const Environment& environment_;
};

// A subpath's own corner points, taken as the polygon.
class VectorPointEnumerator final : public PointEnumerator {
 public:
  VectorPointEnumerator(std::span<const Morv::MilliPointPoint> points,
                        const Morv::MilliPointTransformation& t, const Environment& env);
  bool Next(Point<double>& out) override;

 private:
  const Morv::MilliPointPoint* current_;
  const Morv::MilliPointPoint* end_;
  Morv::MilliPointTransformation transformation_;
  const Environment& environment_;
};

// The four corners of a box given in points, under a transformation acting on
// points, handed out explicitly closed: corners 1, 2, 3, 4 and 1 again.
class BoundingBoxEnumerator final : public PointEnumerator {
 public:
  BoundingBoxEnumerator(const Environment& env,
                        const Morv::RectangleBase<Morv::PdfCoordinateSystem>& box,
                        const Morv::TransformationBase<Morv::PdfCoordinateSystem>& t);
  // The same for a box in millipoints under a transformation acting on millipoints.
  BoundingBoxEnumerator(const Environment& env, const Morv::MilliPointRectangle& box,
                        const Morv::MilliPointTransformation& t);
  bool Next(Point<double>& out) override;

 private:
  Point<double> corners_[4];
  std::uint32_t handed_out_ = 0;
};

}  // namespace QorSc
