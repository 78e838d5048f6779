// Stroking: the outline of a stroked path as a compound to fill.
//
// Stroke(compound, width, cap, join, miterLimit[, dash]) returns the area a PDF
// stroke of that style paints, as a compound filled with the non-zero rule (the
// pieces may overlap; non-zero unites them). Coordinates and width are in the
// compound's own units. Caps and joins follow PDF's numbering. Curves are flattened
// first, at `tolerance` (0: derived from the width). StrokePieces and StrokeOutline give
// the same pieces without keeping them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "morv/compound.h"

namespace Morv {

enum class LineCap : int { kButt = 0, kRound = 1, kSquare = 2 };
enum class LineJoin : int { kMiter = 0, kRound = 1, kBevel = 2 };

struct DashPattern {
  // Alternating on and off lengths; empty means a solid line.
  std::vector<double> array;
  double phase = 0.0;
};

Compound Stroke(const Compound& compound, double width, LineCap cap, LineJoin join,
                double miterLimit, const DashPattern* dash = nullptr, double tolerance = 0.0);

// Receives an outline's convex pieces one at a time, in the order Stroke lists them
// as subpaths; each piece is closed and counter-clockwise (y up), and `points` is
// valid only during the call.
class OutlineSink {
 public:
  virtual ~OutlineSink() = default;
  virtual void Piece(std::span<const MilliPointPoint> points) = 0;
};

// The pieces of Stroke(...) handed to `sink` instead of kept: nothing is allocated
// per piece.
void StrokePieces(const Compound& compound, double width, LineCap cap, LineJoin join,
                  double miterLimit, const DashPattern* dash, double tolerance, OutlineSink& sink);

// How far a stroke's outline reaches from its path: half the width, times the miter
// limit for mitred joins, at least half the width times √2 for square caps.
double StrokeReach(double width, LineCap cap, LineJoin join, double miterLimit);

// A stroke's outline kept as what makes it (the path, shared, and the style) rather
// than as its pieces: a thin stroke of a long curve has hundreds of thousands of
// pieces, but a consumer that walks them once when it needs them holds none. Walk
// hands out the pieces Stroke would return, the same every time.
//
// The box always holds every piece. A short polyline, solid (at most
// kMeasuredSegments segments, no curves, no dashes) and not round-capped, is walked
// once to measure it: its box and piece count are then those of the compound Stroke
// returns, bit for bit, so a one-piece outline (a rectangle, a square dot) can still
// become a compound. Any other outline is bounded without a walk, by the path's box
// grown by the stroke's reach: walking a long curve only to box it costs as much as
// stroking it, and a round-capped outline is never a four-cornered piece.
class StrokeOutline {
 public:
  StrokeOutline(std::shared_ptr<const Compound> path, double width, LineCap cap, LineJoin join,
                double miterLimit, const DashPattern* dash, double tolerance);

  // An outline to walk at once, of a path and dash kept by their owner (a document
  // object, which outlives the walk): nothing is copied, measured or boxed, and the
  // box is empty. A record keeps a stroke as its path and style and makes one of
  // these only when it is activated.
  static StrokeOutline Borrowing(const Compound& path, double width, LineCap cap, LineJoin join,
                                 double miterLimit, const DashPattern* dash, double tolerance);

  void Walk(OutlineSink& sink) const;
  // The outline as Stroke returns it.
  Compound ToCompound() const;

  static constexpr std::size_t kMeasuredSegments = 8;

  const MilliPointRectangle& GetBoundingBox() const { return bounding_box_; }
  // Whether the box and piece count were measured by a walk.
  bool Measured() const { return measured_; }
  // The number of pieces when measured; 0 otherwise.
  std::size_t PieceCount() const { return pieces_; }

  // What makes the outline. The path is null for a borrowing outline.
  const std::shared_ptr<const Compound>& GetPath() const { return owned_path_; }
  double GetWidth() const { return width_; }
  LineCap GetCap() const { return cap_; }
  LineJoin GetJoin() const { return join_; }
  double GetMiterLimit() const { return miter_limit_; }
  // Null for a solid stroke.
  const DashPattern* GetDash() const { return dash_; }
  double GetTolerance() const { return tolerance_; }

 private:
  struct Borrowed {};
  StrokeOutline(Borrowed, const Compound& path, double width, LineCap cap, LineJoin join,
                double miterLimit, const DashPattern* dash, double tolerance);

  std::shared_ptr<const Compound> owned_path_;
  const Compound* path_;
  double width_;
  LineCap cap_;
  LineJoin join_;
  double miter_limit_;
  // A copy is kept only when dashed and not borrowed.
  std::unique_ptr<const DashPattern> owned_dash_;
  const DashPattern* dash_;
  double tolerance_;
  MilliPointRectangle bounding_box_;
  // Measured outlines are short polylines of a few pieces.
  std::uint32_t pieces_ = 0;
  bool measured_ = false;
};

}  // namespace Morv
