// QorSc::Environment: the three coordinate spaces of a conversion and the maps
// between them.
//
// - World space: the page in millipoints, y upward.
// - Internal space: doubles in target pixels, origin at the top-left corner of the
//   world view, y downward.
// - Target space: whole pixels (QorMath::Rectangle<long long>, right and bottom
//   exclusive), the axes of internal space.
//
// Every conversion evaluates its formula in one fixed order of double operations;
// results feed pixel decisions, so a reordering that is algebraically equal is still
// a change. Point and single-coordinate maps into world space divide by the factor,
// rectangle maps multiply by a reciprocal computed once: the two may differ in the
// last bit, on purpose. Nothing is validated: a zero-sized world view or target gives
// infinite or zero factors.
#pragma once

#include <cstddef>

#include "morv/coordinates.h"
#include "morv/transformation.h"
#include "qormath/point.h"
#include "qormath/rectangle.h"
#include "scan/export.h"

namespace QorSc {

template <class T>
using Point = QorMath::Point<T>;

class QORSC_API Environment {
 public:
  using WorldRectangle = Morv::RectangleBase<Morv::MilliPointCoordinateSystem>;
  using WorldPoint = Morv::PointBase<Morv::MilliPointCoordinateSystem>;
  using WorldCoordinate = Morv::CoordinateBase<Morv::MilliPointCoordinateSystem>;

  Environment(const WorldRectangle& worldView, long long targetWidth, long long targetHeight);

  const WorldRectangle& GetWorldView() const { return world_view_; }
  long long GetTargetWidth() const { return target_width_; }
  long long GetTargetHeight() const { return target_height_; }
  // Target pixels per millipoint across and down.
  double WorldToInternalXFactor() const { return x_factor_; }
  double WorldToInternalYFactor() const { return y_factor_; }
  // The flattening tolerance for curves, in millipoints: 0.3 target pixel along the
  // finer axis.
  double GetCurveError() const { return curve_error_; }

  double WorldToInternalX(WorldCoordinate x) const;
  double WorldToInternalY(WorldCoordinate y) const;
  Point<double> WorldToInternal(const WorldPoint& p) const;
  QorMath::Rectangle<double> WorldToInternal(const WorldRectangle& r) const;
  // A polygon's corners placed by `t` and mapped: out[i] = WorldToInternal(t.Apply(in[i]))
  // bit for bit, for all `count` corners in one call (the corners of every stroke piece
  // pass through here).
  void TransformToInternal(const Morv::MilliPointTransformation& t, const WorldPoint* in,
                           std::size_t count, Point<double>* out) const;

  WorldCoordinate InternalToWorldX(double x) const;
  WorldCoordinate InternalToWorldY(double y) const;
  WorldPoint InternalToWorld(const Point<double>& p) const;
  WorldRectangle InternalToWorld(const QorMath::Rectangle<double>& r) const;

  // The world rectangle of a box of whole target pixels.
  WorldRectangle TargetToWorld(const QorMath::Rectangle<long long>& r) const;
  // The smallest box of whole target pixels covering a world rectangle. Each edge
  // passes through a 32-bit integer: an edge beyond the 32-bit range, or NaN, becomes
  // -2147483648.
  QorMath::Rectangle<long long> WorldToTarget(const WorldRectangle& r) const;

 private:
  // World y of the world view's upper edge.
  double Top() const { return world_view_.Y() + world_view_.Height(); }

  WorldRectangle world_view_;
  long long target_width_;
  long long target_height_;
  double x_factor_;
  double y_factor_;
  double curve_error_;
};

}  // namespace QorSc
