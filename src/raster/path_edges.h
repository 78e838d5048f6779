// The pieces a path generator is built from.
//
// PathSegment: one polygon side while edges are being built, in path order, with
// its outcode against the sample box (the centres of the box's outermost pixels)
// and its rounded end lines (each polygon corner is rounded once, for both sides
// that meet there).
//
// A chain: consecutive segments that all go the same way in y. ScratchChains (a
// buffer for a polygon's corners, the sides of the polygon being filtered with its
// two chains as indexes into them, and the stores that edges are built in) is scratch
// storage shared by every generator a conversion builds; it keeps its capacity, so
// building allocates only the finished edges.
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
  // A stroke piece's corners in internal space, mapped once for culling and edges, or
  // a point enumerator's polygon, gathered.
  std::vector<Point<double>> piece;
  // The sides the filter takes in of the polygon being added, and its two chains as
  // indexes into them.
  std::vector<PathSegment> sides;
  std::vector<std::uint32_t> firstChain;
  std::vector<std::uint32_t> currentChain;
  // The edges and segments of the generator being built, lent to its builder and
  // given back with their capacity, so that building a generator allocates only its
  // exactly sized arrays once it is finished.
  std::vector<Edge> edges;
  std::vector<Edge::Segment> segments;
  // The order the generator copies the edges in.
  std::vector<std::uint32_t> order;
};

}  // namespace QorSc
