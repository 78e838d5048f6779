// PathRunLengthGeneratorBuilder: turns polygons into the edges of a path generator.
//
// Each polygon is closed (a closing side is added when its last point differs from
// its first), cut into segments, passed through a segment filter and gathered into
// y-monotone chains, each of which becomes one edge.
//
// The segment filter drops and merges segments that cannot change any pixel
// centre's crossing count, and never changes the output:
// - a segment wholly above the first row of pixel centres or at or below the last
//   is dropped; so is one inside the box's column band that crosses no row;
// - consecutive segments wholly left of the first column of centres (or wholly at
//   or right of the last) merge into one;
// - a spike, one row down and straight back up at the same rounded x, vanishes;
// - the polygon's first segment is held back to the end, so that it can still merge
//   with the closing segment, and the last chain joins the first across the start.
//
// A polygon given as corners (stroke pieces, glyph contours) takes a shorter road with
// the same result: its sides go through the filter by index, merged in place, and are
// copied only into the edges; when its corners lie wholly inside the sample box no
// side can lie beyond it, so the filter only drops those that cross no row and cancels
// spikes. Edges are built in stores lent by the scratch chains and handed to the
// generator exactly sized.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "morv/compound.h"
#include "morv/stroke.h"
#include "morv/transformation.h"
#include "raster/path_edges.h"
#include "raster/path_run_length_generator.h"
#include "raster/point_enumerator.h"
#include "scan/environment.h"

namespace QorSc {

// A compound already placed and flattened to internal space, as a point enumerator
// gives it: the polygons' points one after another, `ends` one past each polygon's
// last point. Kept by a record whose outline was flattened at collection in place of
// the outline, so that the generator is built from these points instead of
// flattening the outline again.
struct FlatOutline {
  std::vector<Point<double>> points;
  std::vector<std::size_t> ends;
  std::uint32_t windingRule = Morv::kNonZero;
};

class PathRunLengthGeneratorBuilder {
 public:
  PathRunLengthGeneratorBuilder(std::uint32_t windingRule, const QorMath::Rectangle<long long>& box,
                                ScratchChains& chains);
  // Builds into `generator` (reset, keeping its storage) instead of a new one.
  PathRunLengthGeneratorBuilder(std::uint32_t windingRule, const QorMath::Rectangle<long long>& box,
                                ScratchChains& chains,
                                std::unique_ptr<PathRunLengthGenerator> generator);

  // Adds every subpath whose transformed bounding box meets the pixel box.
  void AddCompound(const Morv::Compound& compound, const Environment& env,
                   const Morv::MilliPointTransformation& t);
  // Adds every piece of a stroke outline whose transformed box meets the pixel box,
  // exactly as AddCompound adds the compound Morv::Stroke would make of them.
  void AddOutline(const Morv::StrokeOutline& outline, const Environment& env,
                  const Morv::MilliPointTransformation& t);
  // Adds every polygon of a flattened outline: the same edges as AddCompound adds for
  // the compound it was flattened from under the same environment and transformation.
  void AddFlatOutline(const FlatOutline& outline);
  // Adds one polygon, closed.
  void AddPoints(PointEnumerator& points);

  ~PathRunLengthGeneratorBuilder();
  PathRunLengthGeneratorBuilder(const PathRunLengthGeneratorBuilder&) = delete;
  PathRunLengthGeneratorBuilder& operator=(const PathRunLengthGeneratorBuilder&) = delete;

  // Hands the generator over with its edges, its lines narrowed to those its edges
  // cross.
  std::unique_ptr<PathRunLengthGenerator> Release();

 private:
  enum class Merge { kAnnihilated = 0, kMerged = 1, kApart = 2 };

  // A polygon corner with what both sides meeting there need: its outcode and line.
  struct Corner {
    double x, y;
    std::uint32_t outcode;
    long long line;  // round(y)
  };

  std::uint32_t OutcodeOf(double x, double y) const;
  Corner CornerOf(const Point<double>& p) const;
  bool BoxIsEmpty() const { return box_.right <= box_.left || box_.bottom <= box_.top; }

  // A corner-point polygon with its box (in the points' own space), culled on it.
  void AddPolygon(std::span<const Morv::MilliPointPoint> points,
                  const Morv::MilliPointRectangle& bounds, const Environment& env,
                  const Morv::MilliPointTransformation& t);
  // A stroke piece: its corners are mapped to internal space once, and the piece is
  // culled on their box.
  void AddPiece(std::span<const Morv::MilliPointPoint> points, const Environment& env,
                const Morv::MilliPointTransformation& t);
  // Adds one polygon of internal-space corners, closed, unless its corners' box
  // misses the pixel box.
  void AddCorners(const Point<double>* corners, std::size_t count);
  Merge MergeInto(PathSegment& a, PathSegment& b) const;
  template <class Side>
  void StoreEdge(std::size_t count, bool increasing, Side side);
  static bool IsSpike(const PathSegment& a, const PathSegment& b);
  template <class MergeSides, class Commit, class NothingCommitted>
  static bool FilterSides(std::size_t count, MergeSides merge, Commit commit,
                          NothingCommitted nothing_committed);
  // The filter and chains over a polygon of corners by side index; kInside when every
  // corner lies inside the sample box.
  template <bool kInside>
  void AddIndexedPolygon(const Point<double>* corners, std::size_t count);
  // A polygon of at most kMaxSmallCorners corners, all inside the sample box (most
  // stroke pieces, small glyph contours): the filter's edges built from its crossing
  // sides by index, without the side store and chains. `lines` holds each corner's
  // rounded y, none of them from a y that is not a number.
  static constexpr std::size_t kMaxSmallCorners = 64;
  void AddSmallInsidePolygon(const Point<double>* corners, std::size_t count,
                             const long long* lines);
  void ReturnStores();

  QorMath::Rectangle<long long> box_;
  double sample_x0_, sample_y0_, sample_x1_, sample_y1_;
  ScratchChains& chains_;
  std::unique_ptr<PathRunLengthGenerator> generator_;
  // Borrowed from the scratch chains (empty when another builder holds them) and
  // given back with their capacity on Release or when the builder dies.
  std::vector<Edge> edges_;
  std::vector<Point<double>> corners_;

  // States of the segment filter of a polygon.
  // kFirst: only the first segment is pending and the next one may merge into it;
  // kFirstHeld: the first is held back but segments were committed since.
  enum FilterState { kEmpty = 0, kFirst = 1, kFirstHeld = 2, kFirstAndLast = 3 };
};

}  // namespace QorSc
