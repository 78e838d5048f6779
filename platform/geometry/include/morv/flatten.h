// Flattening: a subpath's curves replaced by line pieces, walked point by point.
//
// MakeVectorPointRange(subpath, flatness) returns a pair of iterators over the
// flattened polygon: the start point, then for every segment its end point, with a
// curve contributing the end points of its line pieces. Every piece lies within
// `flatness` (in the subpath's units) of the curve it replaces; the piece count of
// one curve is bounded, so a flatness of 0 (or NaN) still terminates. The closing
// line of a closed subpath is not produced: closing is the consumer's work.
//
// The iterators evaluate points on the fly and allocate nothing; the subpath must
// outlive them. ForEachFlatPoint hands the same points, bit for bit, to a callback in
// one loop, for consumers that drain a whole subpath at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

#include "morv/subpath.h"
#include "morv/transformation.h"

namespace Morv {

class ConstPointIterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = MilliPointPoint;
  using difference_type = std::ptrdiff_t;
  using pointer = const MilliPointPoint*;
  using reference = const MilliPointPoint&;

  ConstPointIterator() = default;

  const MilliPointPoint& operator*() const { return current_; }
  const MilliPointPoint* operator->() const { return &current_; }
  ConstPointIterator& operator++();
  ConstPointIterator operator++(int) {
    ConstPointIterator old = *this;
    ++*this;
    return old;
  }

  bool equal(const ConstPointIterator& other) const {
    return segment_ == other.segment_ && piece_ == other.piece_;
  }
  friend bool operator==(const ConstPointIterator& a, const ConstPointIterator& b) {
    return a.equal(b);
  }

 private:
  friend std::pair<ConstPointIterator, ConstPointIterator> MakeVectorPointRange(
      const Subpath& subpath, double flatness);

  void Load();

  const Subpath* subpath_ = nullptr;
  double flatness_ = 0.0;
  // Position: segment_ == -1 is the start point; otherwise piece_ (1-based) of the
  // segment's pieces_ pieces. The end position is (segment count, 0).
  std::int64_t segment_ = -1;
  std::uint32_t piece_ = 0;
  std::uint32_t pieces_ = 0;
  MilliPointPoint current_;
  // The segment at segment_ (when one) and the point it starts from.
  Subpath::SegmentView::Iterator at_;
  MilliPointPoint from_;
};

std::pair<ConstPointIterator, ConstPointIterator> MakeVectorPointRange(const Subpath& subpath,
                                                                       double flatness);

// The number of line pieces that keeps a curve segment (starting at `from`) within
// `flatness`; 1 for a line. Bounded by kMaxCurvePieces.
std::uint32_t CurvePieceCount(const MilliPointPoint& from, const Subpath::Segment& segment,
                              double flatness);
inline constexpr std::uint32_t kMaxCurvePieces = 1u << 14;

// The point at t = i/n of a curve segment starting at `from` (0 < i < n).
MilliPointPoint CurvePoint(const MilliPointPoint& from, const Subpath::Segment& segment,
                           std::uint32_t i, std::uint32_t n);

// Calls `visit(point)` for every point the range of MakeVectorPointRange(subpath,
// flatness) holds, in its order and with its values, without the iterator's per-point
// bookkeeping. `visit` returns false to stop; the result is false when it did.
template <class Visit>
bool ForEachFlatPoint(const Subpath& subpath, double flatness, Visit&& visit) {
  if (const std::span<const MilliPointPoint> points = subpath.VectorPoints(); !points.empty()) {
    for (const MilliPointPoint& p : points) {
      if (!visit(p)) return false;
    }
    return true;
  }
  MilliPointPoint from = subpath.Start();
  if (!visit(from)) return false;
  for (const Subpath::Segment& segment : subpath.Segments()) {
    if (segment.kind != Subpath::SegmentKind::kLine) {
      const std::uint32_t pieces = CurvePieceCount(from, segment, flatness);
      for (std::uint32_t i = 1; i < pieces; ++i) {
        if (!visit(CurvePoint(from, segment, i, pieces))) return false;
      }
    }
    if (!visit(segment.end)) return false;
    from = segment.end;
  }
  return true;
}

// A tolerance in the output space of `t` converted into the space `t` maps from:
// divided by the largest scale of t (its largest singular value). A singular or
// degenerate t returns `error` unchanged.
double CurveErrorForTransformation(double error, const MilliPointTransformation& t);

}  // namespace Morv
