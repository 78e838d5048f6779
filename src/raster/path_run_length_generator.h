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
// a line where many edges cross falls back to a full sort); a few new edges are
// written straight into place, many are sorted among themselves and merged in; one
// walk with a running winding sum emits the runs, shortened for the two crossings of
// most lines of a thin shape. The order among entries of equal x never matters: runs
// depend only on the winding sums between distinct rounded x. The edges are sorted by
// first line once, when the builder hands them over; the active array is sized then
// for a typical line and grows only to its high-water mark, so a line allocates
// nothing in the steady state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "raster/path_edges.h"
#include "raster/run_length_generator.h"

namespace QorSc {

class PathRunLengthGenerator final : public RunLengthGenerator {
 public:
  PathRunLengthGenerator(std::uint32_t windingRule, const QorMath::Rectangle<long long>& box);

  void GenerateRuns(long long line) override;

  // Makes this a new generator over `box` without edges, as constructed, keeping its
  // storage for the next edges (a renderer hands the generator of a finished object
  // to the next one): the edge store and the active entries are reused while they
  // fit and are not far larger than needed.
  void Reset(std::uint32_t windingRule, const QorMath::Rectangle<long long>& box);

  std::size_t EdgeCount() const { return edge_count_; }
  // The storage of edges and active entries it holds, in bytes: what keeping it
  // for a later Reset keeps.
  std::size_t StorageBytes() const {
    return store_capacity_ + (active_capacity_ + scratch_capacity_) * sizeof(ActiveEdge);
  }

  // Narrows the lines of the box to those the edges cross: no other line can hold a
  // run, so the generator starts at its first crossed line and finishes after its
  // last (at once without edges), and a caller stops asking for it there. A box
  // larger than the shape, such as a stroke's box bounded by its reach, then costs
  // nothing on the lines it adds. Follows SetEdges, which notes the edges' lines.
  void FitLinesToEdges();

  // Takes a copy of finished edges and their segments in one exactly sized block,
  // the edges sorted by first line (then in the order built), as the lines need
  // them.
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
  // Storage kept across Reset up to this much beyond what the next shape needs.
  static constexpr std::size_t kKeptStoreSlack = 4096;
  static constexpr std::size_t kKeptActiveEntries = 1024;
  static constexpr std::size_t kCountingSortMinimum = 16;

  void Activate();
  // Room for `count` active entries, keeping those there are.
  void Reserve(std::size_t count) {
    if (count > active_capacity_) Grow(count);
  }
  void Grow(std::size_t count);
  void UpdateActiveEdges(long long line, double ys);
  void TakeNewEdges(long long line, double ys);
  // The walk with the winding rule fixed, so the loop does not branch on it.
  template <bool kNonZeroRule>
  void EmitRuns();
  template <bool kNonZeroRule>
  void EmitTwo();

  // The edges, by first line, then the segments of every edge (each edge's
  // contiguous): one allocation per generator, freed with it or reused by Reset.
  std::unique_ptr<std::byte[]> store_;
  std::size_t store_capacity_ = 0;  // bytes
  Edge* edges_ = nullptr;
  std::size_t edge_count_ = 0;
  const Edge::Segment* segments_ = nullptr;
  std::size_t next_ = 0;         // the first edge not yet taken
  long long last_end_line_ = 0;  // the largest end line of the edges
  // The active entries, [0, active_count_) sorted by x, in a plain array: the line
  // loops index it without a vector's checks, and entries are written straight into
  // place without first being value-initialised.
  std::unique_ptr<ActiveEdge[]> active_;
  std::size_t active_count_ = 0;
  std::size_t active_capacity_ = 0;
  std::unique_ptr<ActiveEdge[]> scratch_;  // merge space for many edges starting at once
  std::size_t scratch_capacity_ = 0;
  std::uint32_t winding_rule_;
};

}  // namespace QorSc
