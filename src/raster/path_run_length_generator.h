// PathRunLengthGenerator: the runs of a compound's polygons under a winding rule,
// by the pixel-centre rule.
//
// Pixel (i, j) is inside when the shape covers its centre (i + 0.5, j + 0.5): an
// edge is crossed on line j when round(ymin) <= j < round(ymax), and a crossing
// covers column i when round(x_left) <= i < round(x_right) (round: halves away
// from zero). Edges come from PathRunLengthGeneratorBuilder.
//
// Per line the active edges live in one contiguous array sorted by x, each entry
// carrying its current segment, so updating, re-sorting and walking a line touch
// nothing else: edges are read again only when an entry moves on to its next
// segment. The entries are re-sorted by insertion (they are nearly sorted already;
// a line where many edges cross falls back to a full sort), new edges are sorted
// among themselves and merged in, and one walk with a running winding sum emits the
// runs. The order among entries of equal x never matters: runs depend only on the
// winding sums between distinct rounded x. The edges are sorted by first line once,
// when the builder hands them over; the active array is sized then for a typical line and grows
// only to its high-water mark, so a line allocates nothing in the steady state.
#pragma once

#include <cstdint>
#include <vector>

#include "raster/path_edges.h"
#include "raster/run_length_generator.h"

namespace QorSc {

class PathRunLengthGenerator final : public RunLengthGenerator {
 public:
  PathRunLengthGenerator(std::uint32_t windingRule, const QorMath::Rectangle<long long>& box);

  void GenerateRuns(long long line) override;

  std::size_t EdgeCount() const { return edges_.size(); }

  // Narrows the lines of the box to those the edges cross: no other line can hold a
  // run, so the generator starts at its first crossed line and finishes after its
  // last (at once without edges), and a caller stops asking for it there. A box
  // larger than the shape, such as a stroke's box bounded by its reach, then costs
  // nothing on the lines it adds.
  void FitLinesToEdges();

  // Takes a copy of finished edges and their segments, exactly sized, the edges
  // sorted by first line (then in the order built), as the lines need them.
  void SetEdges(const std::vector<Edge>& edges, const std::vector<Edge::Segment>& segments);

 private:
  friend class PathRunLengthGeneratorBuilder;

  // An edge crossing the current line, with the segment it crosses it on: 64 bytes,
  // one cache line, so that moving entries while sorting stays cheap.
  struct ActiveEdge {
    double x;
    double x0;  // the segment's upper end
    double y0;
    double y1;  // the segment's lower y
    double dxdy;
    long long endLine;
    const Edge::Segment* segment;  // the current one, in the segment store
    std::uint32_t remaining;       // segments of the edge below the current one
    std::int32_t winding;

    // x on the row of centres ys, moving on to the segment that row crosses.
    void MoveTo(double ys) {
      if (ys > y1) NextSegment(ys);
      x = x0 + (ys - y0) * dxdy;
    }
    void NextSegment(double ys);
  };

  static constexpr std::size_t kActiveReserve = 64;
  static constexpr std::size_t kCountingSortMinimum = 16;

  void Activate();
  void UpdateActiveEdges(long long line, double ys);
  void SortActiveByX();
  void TakeNewEdges(long long line, double ys);
  // The walk with the winding rule fixed, so the loop does not branch on it.
  template <bool kNonZeroRule>
  void EmitRuns();

  std::vector<Edge> edges_;              // owned, by first line
  std::vector<Edge::Segment> segments_;  // of every edge, each edge's contiguous
  std::size_t next_ = 0;                 // the first edge not yet taken
  std::vector<ActiveEdge> active_;       // sorted by x
  std::vector<ActiveEdge> scratch_;      // merge space for many edges starting at once
  std::uint32_t winding_rule_;
};

}  // namespace QorSc
