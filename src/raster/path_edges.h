// The pieces a path generator is built from.
//
// PathSegment: one polygon side while edges are being built, in path order, with
// its outcode against the sample box (the centres of the box's outermost pixels)
// and its rounded end lines (each polygon corner is rounded once, for both sides
// that meet there).
//
// MonotoneChain: consecutive segments that all go the same way in y. Two chains
// (ScratchChains, with a buffer for a stroke piece's corners, the sides and chain
// indexes of a polygon inside the sample box, and the stores that edges are built
// in) are scratch storage shared by every generator a conversion builds; they keep
// their capacity, so building allocates only the finished edges.
//
// Edge: a finished chain stored from smaller to larger y, with the lines it crosses
// ([firstLine, endLine)) and its winding: −1 where y increases along the path, +1
// otherwise; its segments live in the generator's segment store. Its x on the current
// line is kept by the generator's active entry.
#pragma once

#include <cstdint>
#include <vector>

#include "qormath/point.h"
#include "raster/pixel_rounding.h"

namespace QorSc {

enum Outcode : std::uint32_t {
  kLeftOfSamples = 1,   // x < x0 + 0.5
  kAboveSamples = 2,    // y < y0 + 0.5
  kRightOfSamples = 4,  // x >= x1 - 0.5
  kBelowSamples = 8,    // y >= y1 - 0.5
};

struct PathSegment {
  double x0, y0, x1, y1;
  std::uint32_t outcode;
  long long line0;  // round(y0)
  long long line1;  // round(y1)

  // Whether some row of pixel centres lies between the two ends.
  bool Crosses() const { return line0 != line1; }
  bool Increasing() const { return y0 < y1; }

  // The segment now ends where `other` ends.
  void TakeEnd(const PathSegment& other) {
    x1 = other.x1;
    y1 = other.y1;
    line1 = other.line1;
  }
};

class MonotoneChain {
 public:
  // Takes the segment when empty (adopting its direction) or when it goes the same
  // way; refuses otherwise.
  bool Accept(const PathSegment& s) {
    if (segments_.empty()) {
      increasing_ = s.Increasing();
    } else if (s.Increasing() != increasing_) {
      return false;
    }
    segments_.push_back(s);
    return true;
  }
  void Append(const MonotoneChain& other) {
    segments_.insert(segments_.end(), other.segments_.begin(), other.segments_.end());
  }
  void Clear() { segments_.clear(); }
  bool Empty() const { return segments_.empty(); }
  bool Increasing() const { return increasing_; }
  const std::vector<PathSegment>& Segments() const { return segments_; }

 private:
  std::vector<PathSegment> segments_;
  bool increasing_ = false;
};

struct Edge {
  struct Segment {
    double x0;    // x at the upper end
    double y0;    // upper y
    double y1;    // lower y, at least y0
    double dxdy;  // x change per unit of y; 0 for a level segment
  };

  // The edge's segments, top to bottom, are [firstSegment, firstSegment + segmentCount)
  // of the generator's one segment store: edges and segments are then plain values,
  // moved by copying their bytes when the stores grow.
  std::uint32_t firstSegment = 0;
  std::uint32_t segmentCount = 0;
  long long firstLine = 0;
  long long endLine = 0;  // exclusive
  std::int32_t winding = 0;
};

struct ScratchChains {
  MonotoneChain first;
  MonotoneChain current;
  // A stroke piece's corners in internal space, mapped once for culling and edges.
  std::vector<Point<double>> piece;
  // A polygon wholly inside the sample box: its sides that cross a row, and its two
  // chains as indexes into them. They keep their capacity, so that a polygon
  // allocates nothing once they fit.
  std::vector<PathSegment> sides;
  std::vector<std::uint32_t> firstChain;
  std::vector<std::uint32_t> currentChain;
  // The edges and segments of the generator being built, lent to its builder and
  // given back with their capacity, so that building a generator allocates only its
  // exactly sized arrays once it is finished.
  std::vector<Edge> edges;
  std::vector<Edge::Segment> segments;
};

}  // namespace QorSc
