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
// Edge: a finished chain stored from smaller to larger y as its corners, each segment
// running from one corner to the next, with the lines it crosses ([firstLine,
// endLine), the rounded y of its first and last corners) and its winding: −1 where y
// increases along the path, +1 otherwise; its corners live in the generator's corner
// store. A side the filter dropped between two of the chain's sides leaves a gap,
// stored as one more segment when no row of pixel centres can fall on it, else by
// ending the edge there and starting another. Its x on the current line is kept by the
// generator's active entry.
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
  // The edge's corners, top to bottom, are [firstCorner, firstCorner + cornerCount)
  // of the generator's one corner store (at least two): edges and corners are then
  // plain values, moved by copying their bytes when the stores grow.
  std::uint32_t firstCorner = 0;
  std::uint32_t cornerCount = 0;
  long long firstLine = 0;
  long long endLine = 0;  // exclusive
  std::int32_t winding = 0;
};

// Writes a chain's sides, handed top to bottom, into an edge store and a corner store
// as edges: each side's lower corner, behind its upper one where that is not the
// previous side's lower corner. An edge that crosses no row is not kept.
class EdgeWriter {
 public:
  EdgeWriter(std::vector<Edge>& edges, std::vector<Point<double>>& corners, std::int32_t winding)
      : edges_(edges), corners_(corners), winding_(winding) {}
  ~EdgeWriter() { Close(); }
  EdgeWriter(const EdgeWriter&) = delete;
  EdgeWriter& operator=(const EdgeWriter&) = delete;

  // Inlined by force: it is a handful of instructions per side of every stroke piece.
  [[gnu::always_inline]] void Side(const Point<double>& upper, long long upperLine,
                                   const Point<double>& lower, long long lowerLine) {
    if (corners_.size() == start_) {
      Open(upper, upperLine);
    } else if (upper.x != last_.x || upper.y != last_.y) {
      // A gap. A line reads a segment when its row of centres lies below the
      // segment's upper end and at or above its lower end: a gap going up, or one
      // within one line that starts at a y of at least −0.5, holds no such row (rounding
      // halves away from zero), so the lines read the segment after it where they
      // would have without the gap. Any other gap (left of the origin, beyond the
      // box's lines, or with coordinates that are not numbers) ends the edge.
      if (upper.y <= last_.y || (upperLine == last_line_ && last_.y >= -0.5)) {
        corners_.push_back(upper);
      } else {
        Close();
        Open(upper, upperLine);
      }
    }
    corners_.push_back(lower);
    last_ = lower;
    last_line_ = lowerLine;
  }

 private:
  [[gnu::always_inline]] void Open(const Point<double>& upper, long long upperLine) {
    start_ = corners_.size();
    first_line_ = upperLine;
    corners_.push_back(upper);
  }
  [[gnu::always_inline]] void Close() {
    if (corners_.size() == start_) return;
    if (last_line_ > first_line_) {
      edges_.push_back({static_cast<std::uint32_t>(start_),
                        static_cast<std::uint32_t>(corners_.size() - start_), first_line_,
                        last_line_, winding_});
    } else {
      corners_.resize(start_);
    }
    start_ = corners_.size();
  }

  std::vector<Edge>& edges_;
  std::vector<Point<double>>& corners_;
  std::size_t start_ = corners_.size();
  long long first_line_ = 0;
  Point<double> last_{};
  long long last_line_ = 0;
  std::int32_t winding_;
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
  // The edges and corners of the generator being built, lent to its builder and
  // given back with their capacity, so that building a generator allocates only its
  // blocks of edges once it is finished.
  std::vector<Edge> edges;
  std::vector<Point<double>> corners;
  // The order the generator copies the edges in.
  std::vector<std::uint32_t> order;
};

}  // namespace QorSc
