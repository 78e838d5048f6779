// Morv::Subpath: one connected piece of a path, in world coordinates (millipoints).
//
// A start point followed by segments (lines, quadratic and cubic Béziers), each
// ending where the next begins; open or closed. A closed subpath's closing line from
// the last end point back to the start is implied, not stored. Immutable once built;
// paths share subpaths freely.
//
// One representation per subpath: a subpath without curves (every rectangle and
// polygon, most of a page's paths) is stored as its corner points only (start, then
// every segment's end), so that consumers walk the polygon without flattening;
// VectorPoints() returns them, and null for a subpath with curves, which keeps its
// start and segments. Segments() is a view that reads either form as segments, each
// by value: a polygon's segments are made from its points as they are read.
#pragma once

#include <cstddef>
#include <cstdint>
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

  // The segments of either form, read by position; cheap to copy, valid while the
  // subpath lives.
  class SegmentView {
   public:
    class Iterator {
     public:
      using value_type = Segment;
      using difference_type = std::ptrdiff_t;
      Iterator() = default;
      Iterator(const Subpath* subpath, std::size_t i) : subpath_(subpath), i_(i) {}
      Segment operator*() const { return subpath_->SegmentAt(i_); }
      Iterator& operator++() {
        ++i_;
        return *this;
      }
      Iterator operator++(int) {
        Iterator old = *this;
        ++i_;
        return old;
      }
      friend bool operator==(const Iterator& a, const Iterator& b) { return a.i_ == b.i_; }

     private:
      const Subpath* subpath_ = nullptr;
      std::size_t i_ = 0;
    };

    explicit SegmentView(const Subpath& subpath) : subpath_(&subpath) {}
    std::size_t size() const { return subpath_->SegmentCount(); }
    bool empty() const { return size() == 0; }
    Segment operator[](std::size_t i) const { return subpath_->SegmentAt(i); }
    Iterator begin() const { return {subpath_, 0}; }
    Iterator end() const { return {subpath_, size()}; }
    // The same segments in the same order, whichever form each subpath is in.
    friend bool operator==(const SegmentView& a, const SegmentView& b) {
      if (a.size() != b.size()) return false;
      for (std::size_t i = 0; i < a.size(); ++i) {
        if (!(a[i] == b[i])) return false;
      }
      return true;
    }

   private:
    const Subpath* subpath_;
  };

  // Stored as corner points when no segment is a curve.
  Subpath(Point start, std::vector<Segment> segments, bool closed);
  // A polygon through `points` (the first is the start), kept as given; empty points
  // give an empty subpath at the origin.
  static Subpath Polygon(std::vector<Point> points, bool closed);

  const Point& Start() const { return points_.empty() ? start_ : points_.front(); }
  SegmentView Segments() const { return SegmentView(*this); }
  bool IsClosed() const { return closed_; }
  bool HasCurves() const { return points_.empty(); }

  // The corner points (start, then each segment's end) when the subpath has no
  // curves; null otherwise.
  const std::vector<Point>* VectorPoints() const { return points_.empty() ? nullptr : &points_; }

  // The box of the start, every end and every control point: it holds the curve
  // (a Bézier stays in the hull of its control points), tight for polygons.
  const MilliPointRectangle& GetBoundingBox() const { return bounding_box_; }

 private:
  Subpath(std::vector<Point> points, bool closed);
  std::size_t SegmentCount() const {
    return points_.empty() ? segments_.size() : points_.size() - 1;
  }
  Segment SegmentAt(std::size_t i) const {
    return points_.empty() ? segments_[i] : Segment::Line(points_[i + 1]);
  }

  // Either the points of a polygon (never empty) or the start and segments of a
  // subpath with curves (points empty).
  std::vector<Point> points_;
  std::vector<Segment> segments_;
  Point start_;
  bool closed_;
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
