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
// for a few entries and grows only to its high-water mark, so a line allocates
// nothing in the steady state; once a line uses a quarter of it, it is halved.
//
// Edges are stored as their corners, in the order they are taken, in a few blocks
// (at most kMaxBlocks + 1, each at least kMinBlockBytes but the last): a block is freed
// once the lines have passed the end of every edge in it and in the blocks before, so
// a long outline holds only the edges of the lines still to come. A page of long
// strokes active together (thousands of outlines on the same lines) peaks at about
// half of what holding every edge to the end would. Besides the active array growing
// to its high-water mark and halving after it, freeing a block is the only allocator
// call a line makes, once per block.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
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
  std::size_t StorageBytes() const;
  // The blocks of edges it still holds: fewer once lines have passed the edges of a
  // long shape.
  std::size_t HeldBlocks() const;

  // Narrows the lines of the box to those the edges cross: no other line can hold a
  // run, so the generator starts at its first crossed line and finishes after its
  // last (at once without edges), and a caller stops asking for it there. A box
  // larger than the shape, such as a stroke's box bounded by its reach, then costs
  // nothing on the lines it adds. Follows SetEdges, which notes the edges' lines.
  void FitLinesToEdges();

  // Takes a copy of finished edges and their corners, the edges sorted by first
  // line (then in the order built), as the lines need them. `order` is scratch for
  // the sort.
  void SetEdges(const std::vector<Edge>& edges, const std::vector<Point<double>>& corners,
                std::vector<std::uint32_t>& order);

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
    const Point<double>* corner;  // the segment's upper corner, in a block
    std::uint32_t remaining;      // segments of the edge below the current one
    std::int32_t winding;

    // x on the row of centres ys, moving on to the segment that row crosses.
    void MoveTo(double ys) {
      if (ys > y1) NextSegment(ys);
      x = x0 + (ys - y0) * dxdy;
    }
    void NextSegment(double ys);
    // The segment from `corner` to the next corner.
    void Load() {
      x0 = corner[0].x;
      y0 = corner[0].y;
      y1 = corner[1].y;
      dxdy = y1 != y0 ? (corner[1].x - x0) / (y1 - y0) : 0.0;
    }
  };

  // An edge as stored in a block, its corners, top to bottom, right behind it. Its
  // first line counts from base_line_; its end line is the one its last corner rounds
  // to, as the builder rounded it.
  struct StoredEdge {
    std::int32_t firstLine;
    std::uint32_t countAndWinding;  // corners times two, plus one for winding −1

    std::uint32_t CornerCount() const { return countAndWinding >> 1; }
    std::int32_t Winding() const { return (countAndWinding & 1) != 0 ? -1 : 1; }
    const Point<double>* Corners() const {
      return reinterpret_cast<const Point<double>*>(this + 1);
    }
    const Point<double>& LastCorner() const { return Corners()[CornerCount() - 1]; }
    const StoredEdge* Next() const {
      return reinterpret_cast<const StoredEdge*>(Corners() + CornerCount());
    }
  };
  static_assert(sizeof(StoredEdge) == 8 && sizeof(StoredEdge) % alignof(Point<double>) == 0 &&
                alignof(StoredEdge) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);

  // Edges in the order taken. `endLine` is the largest end line of its edges and of
  // every block's before it, so blocks are freed from the front (not set for the last
  // block, which stays with the generator).
  struct Block {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t capacity = 0;  // bytes allocated
    std::size_t size = 0;      // bytes used
    long long endLine = 0;
  };

  static constexpr long long kNoLine = std::numeric_limits<long long>::max();
  static constexpr std::size_t kActiveReserve = 4;
  static constexpr std::size_t kMaxBlocks = 8;
  static constexpr std::size_t kMinBlockBytes = 1024;
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
  // Halves the active array (at least kActiveReserve entries) and drops the merge
  // space, once the lines use a quarter of it.
  void Shrink();
  void UpdateActiveEdges(long long line, double ys);
  void TakeNewEdges(long long line, double ys);
  // Moves the cursor of edges to take past `edge`, into the next block at its end.
  void AdvanceTake(const StoredEdge* edge);
  // Frees the blocks whose edges all ended by `line` (and were all taken), but the
  // last.
  void ReleasePassedBlocks(long long line);
  void FreeBlocksFrom(std::size_t first);
  // The least and greatest first line and the greatest end line of edges.
  struct LineRange {
    long long low, high, end;
  };
  static LineRange LinesOf(const std::vector<Edge>& edges);
  // SetEdges' work once the edges' first lines span at most 2^31 − 1.
  void StoreEdges(const std::vector<Edge>& edges, const std::vector<Point<double>>& corners,
                  std::vector<std::uint32_t>& order, const LineRange& span);
  // Storage for the blocks' sizes (the first block's kept when it fits), and then
  // their reach and the first edge to take, once the edges are written.
  void AllocateBlocks();
  void FinishBlocks();
  // The walk with the winding rule fixed, so the loop does not branch on it.
  template <bool kNonZeroRule>
  void EmitRuns();
  template <bool kNonZeroRule>
  void EmitTwo();

  // The edges by first line, in [released_, block_count_) of the blocks; the first
  // block's storage is kept by Reset while it fits the next shape.
  std::array<Block, kMaxBlocks + 1> blocks_;
  std::size_t block_count_ = 0;
  std::size_t block_bytes_ = 0;  // allocated, over all blocks
  std::size_t released_ = 0;     // blocks freed as the lines passed them
  std::size_t edge_count_ = 0;
  long long base_line_ = 0;      // the line stored edges count from
  long long first_line_ = 0;     // the smallest first line of the edges
  long long last_end_line_ = 0;  // the largest end line of the edges
  // The next edge to take, in block take_block_ (null when all are taken), and the
  // first line of that edge (the largest line when there is none).
  const StoredEdge* take_ = nullptr;
  std::size_t take_block_ = 0;
  long long take_line_ = kNoLine;
  // The line from which ReleasePassedBlocks frees a block (the largest line when
  // none is left to free).
  long long release_line_ = kNoLine;
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
