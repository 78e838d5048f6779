// Morv::Subpath: one connected piece of a path, in world coordinates (millipoints).
//
// A start point followed by segments (lines, quadratic and cubic Béziers), each
// ending where the next begins; open or closed. A closed subpath's closing line from
// the last end point back to the start is implied, not stored. Immutable once built;
// paths share subpaths freely.
//
// Storage is one array of points: the start, then for every segment its control
// points (none, one or two) and its end. A subpath without curves (every rectangle
// and polygon, most of a page's paths) is therefore its corner points, which
// VectorPoints() hands out so that consumers walk the polygon without flattening; a
// subpath with curves adds one kind byte per segment after its points, in the same
// block. Up to four corners live inside the subpath itself (a rectangle, a stroke
// piece, a rule), so such a subpath allocates nothing and its box is taken from its
// corners when asked; a larger one keeps its box beside its block.
//
// Segments() is a view that reads the array as segments, each by value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "morv/coordinates.h"
#include "morv/transformation.h"

namespace Morv {

class PathBuilder;

class Subpath {
 public:
  using Point = MilliPointPoint;

  // The value is the number of control points the segment stores.
  enum class SegmentKind : std::uint8_t { kLine = 0, kQuadratic = 1, kCubic = 2 };

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

  // The segments in order; cheap to copy, valid while the subpath lives. Reading in
  // order is constant time per segment; operator[] walks from the start when the
  // subpath has curves (segments then differ in size).
  class SegmentView {
   public:
    class Iterator {
     public:
      using value_type = Segment;
      using difference_type = std::ptrdiff_t;
      Iterator() = default;
      Iterator(const Subpath* subpath, std::size_t segment, std::size_t point)
          : point_(subpath->Data() + point),
            kinds_(subpath->curves_ ? subpath->Kinds() : nullptr),
            segment_(segment) {}
      Segment operator*() const { return MakeSegment(Kind(), point_); }
      Iterator& operator++() {
        point_ += 1 + static_cast<std::size_t>(Kind());
        ++segment_;
        return *this;
      }
      Iterator operator++(int) {
        Iterator old = *this;
        ++*this;
        return old;
      }
      friend bool operator==(const Iterator& a, const Iterator& b) {
        return a.segment_ == b.segment_;
      }

     private:
      SegmentKind Kind() const { return kinds_ ? kinds_[segment_] : SegmentKind::kLine; }

      // The segment's first stored point (its first control, or its end).
      const Point* point_ = nullptr;
      // Null when every segment is a line.
      const SegmentKind* kinds_ = nullptr;
      std::size_t segment_ = 0;
    };

    explicit SegmentView(const Subpath& subpath) : subpath_(&subpath) {}
    std::size_t size() const { return subpath_->SegmentCount(); }
    bool empty() const { return size() == 0; }
    Segment operator[](std::size_t i) const;
    Iterator begin() const { return {subpath_, 0, 1}; }
    Iterator end() const { return {subpath_, size(), 0}; }
    // The same segments in the same order.
    friend bool operator==(const SegmentView& a, const SegmentView& b);

   private:
    const Subpath* subpath_;
  };

  // A subpath of the given segments; stored as corner points when none is a curve.
  Subpath(Point start, std::span<const Segment> segments, bool closed);
  Subpath(Point start, std::initializer_list<Segment> segments, bool closed)
      : Subpath(start, std::span<const Segment>(segments.begin(), segments.size()), closed) {}
  // A polygon through `points` (the first is the start), kept as given; empty points
  // give an empty subpath at the origin.
  static Subpath Polygon(std::span<const Point> points, bool closed);
  static Subpath Polygon(std::initializer_list<Point> points, bool closed) {
    return Polygon(std::span<const Point>(points.begin(), points.size()), closed);
  }

  Subpath(const Subpath& other);
  Subpath(Subpath&& other) noexcept;
  Subpath& operator=(const Subpath& other);
  Subpath& operator=(Subpath&& other) noexcept;
  ~Subpath() { Release(); }

  const Point& Start() const { return Data()[0]; }
  SegmentView Segments() const { return SegmentView(*this); }
  bool IsClosed() const { return closed_; }
  bool HasCurves() const { return curves_; }

  // The corner points (start, then each segment's end) when the subpath has no
  // curves; empty otherwise (a polygon always holds at least its start).
  std::span<const Point> VectorPoints() const {
    return curves_ ? std::span<const Point>() : std::span<const Point>(Data(), point_count_);
  }

  // The box of the start, every end and every control point: it holds the curve
  // (a Bézier stays in the hull of its control points), tight for polygons.
  MilliPointRectangle GetBoundingBox() const;

  // Every stored point (ends and controls) mapped through `t`; the same segments.
  Subpath Transformed(const MilliPointTransformation& t) const;

 private:
  friend class PathBuilder;

  // Up to four points are held inline, curved or not: a rectangle, a line, a lone
  // cubic (a plot's or a drawing's stroke). With a curve among them such a subpath has
  // at most two segments, whose kinds sit in the bytes beside the flags.
  static constexpr std::uint32_t kInlinePoints = 4;
  static constexpr std::size_t kInlineKinds = 2;

  // A block of its own: the points, then (with curves) one kind per segment.
  struct Block {
    Point* points;
    MilliPointRectangle box;
    std::uint32_t segments;
  };

  // `points`: the start, then each segment's controls and end; `kinds` one per
  // segment, empty when every segment is a line.
  Subpath(std::span<const Point> points, std::span<const SegmentKind> kinds, bool closed);

  bool IsInline() const { return point_count_ <= kInlinePoints; }
  const Point* Data() const { return IsInline() ? inline_ : block_.points; }
  const SegmentKind* Kinds() const {
    return IsInline() ? inline_kinds_
                      : reinterpret_cast<const SegmentKind*>(block_.points + point_count_);
  }
  std::size_t SegmentCount() const {
    if (!curves_) return point_count_ - 1;
    if (!IsInline()) return block_.segments;
    // The first segment takes its controls and its end; a second takes the rest.
    return 1 + static_cast<std::size_t>(inline_kinds_[0]) + 1 < point_count_ ? 2 : 1;
  }
  // The segment of `kind` whose stored points begin at `p`.
  static Segment MakeSegment(SegmentKind kind, const Point* p) {
    switch (kind) {
      case SegmentKind::kQuadratic:
        return Segment::Quadratic(p[0], p[1]);
      case SegmentKind::kCubic:
        return Segment::Cubic(p[0], p[1], p[2]);
      case SegmentKind::kLine:
        break;
    }
    return Segment::Line(p[0]);
  }
  static Subpath FromSegments(Point start, std::span<const Segment> segments, bool closed);
  void SetInline(const Point* points);
  bool CopyHeader(const Subpath& other);
  void CopyFrom(const Subpath& other);
  void StealFrom(Subpath& other);
  void Release();

  union {
    Point inline_[kInlinePoints];
    Block block_;
  };
  std::uint32_t point_count_ = 1;
  bool closed_ = false;
  bool curves_ = false;
  SegmentKind inline_kinds_[kInlineKinds] = {};
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
