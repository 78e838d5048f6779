// Morv::Subpath: one connected piece of a path, in world coordinates (millipoints).
//
// A start point followed by segments (lines, quadratic and cubic Béziers), each
// ending where the next begins; open or closed. A closed subpath's closing line from
// the last end point back to the start is implied, not stored. Immutable once built;
// paths share subpaths freely.
//
// A subpath without curves also keeps its corner points as one contiguous vector
// (start, then every segment's end), so that consumers can walk the polygon without
// flattening: VectorPoints() returns it, and null for a subpath with curves.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "morv/coordinates.h"

namespace Morv {

class Subpath {
 public:
  using Point = MilliPointPoint;

  enum class SegmentKind : std::uint8_t { kLine, kQuadratic, kCubic };

  // A segment from the previous end point to `end`. Quadratic segments use
  // `control1`; cubic ones both controls; lines neither.
  struct Segment {
    SegmentKind kind = SegmentKind::kLine;
    Point control1;
    Point control2;
    Point end;

    static Segment Line(Point end) { return {SegmentKind::kLine, {}, {}, end}; }
    static Segment Quadratic(Point c, Point end) { return {SegmentKind::kQuadratic, c, {}, end}; }
    static Segment Cubic(Point c1, Point c2, Point end) {
      return {SegmentKind::kCubic, c1, c2, end};
    }

    friend bool operator==(const Segment&, const Segment&) = default;
  };

  Subpath(Point start, std::vector<Segment> segments, bool closed);
  // A polygon through `points` (the first is the start); empty points give an empty
  // subpath at the origin.
  static Subpath Polygon(const std::vector<Point>& points, bool closed);

  const Point& Start() const { return start_; }
  const std::vector<Segment>& Segments() const { return segments_; }
  bool IsClosed() const { return closed_; }
  bool HasCurves() const { return !points_.has_value(); }

  // The corner points (start, then each segment's end) when the subpath has no
  // curves; null otherwise.
  const std::vector<Point>* VectorPoints() const { return points_ ? &*points_ : nullptr; }

  // The box of the start, every end and every control point: it holds the curve
  // (a Bézier stays in the hull of its control points), tight for polygons.
  const MilliPointRectangle& GetBoundingBox() const { return bounding_box_; }

 private:
  Point start_;
  std::vector<Segment> segments_;
  bool closed_;
  std::optional<std::vector<Point>> points_;
  MilliPointRectangle bounding_box_;
};

// The box of `count` points as a subpath made of them reports it: the rectangle
// whose corner is the smallest coordinates and whose size is largest minus smallest.
MilliPointRectangle PointsBoundingBox(const MilliPointPoint* points, std::size_t count);

// The union of rectangles the way a compound unites its subpaths' boxes (each box's
// far side taken as corner plus size), so that a consumer walking pieces one at a
// time gets the very bits a compound of them would report.
class BoxUnion {
 public:
  void Add(const MilliPointRectangle& box);
  bool Empty() const { return empty_; }
  // All zero while nothing was added.
  MilliPointRectangle Rectangle() const;

 private:
  bool empty_ = true;
  double x0_ = 0.0, y0_ = 0.0, x1_ = 0.0, y1_ = 0.0;
};

}  // namespace Morv
