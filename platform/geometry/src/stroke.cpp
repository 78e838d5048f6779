// Stroking: the area a PDF stroke paints, as convex pieces that the non-zero rule unites.
//
// Each subpath is flattened, consecutive equal points are merged (a zero-length piece
// has no direction), and every remaining line piece becomes a rectangle half the width
// to either side; every corner gets its join piece on the outer side (bevel triangle,
// miter kite, round wedge) and every open end its cap. Each piece is a closed convex
// polygon emitted with positive area (counter-clockwise with y up), so the winding
// number anywhere is the count of pieces covering it: the non-zero fill is exactly the
// union, and overlaps at inner corners or crossings never cancel into holes. Pieces
// that share an edge compute its end points with the same expression, so no crack opens
// between them.
//
// Conventions beyond PDF's wording:
// - A width that is not positive and finite strokes nothing; hairlines are drawn by
//   the caller, not here.
// - A tolerance that is not positive and finite becomes width/50, raised to a
//   millionth of the path's extent: relative to the width because a stroke's own size
//   is the only scale that means something in whatever units it is called with, and
//   floored so that a needle-thin stroke of a huge path does not flatten far below
//   what its coordinates can resolve. Callers that know their device pass a device
//   tolerance. The same tolerance bounds the chord error of round caps and joins
//   (an arc step never coarser than 45° nor finer than 1/1024 of a turn).
// - Vertices inside a flattened curve always take a round join whatever the style:
//   the curve has no corner there, and a round join keeps the outline within the
//   tolerance of the curve's true stroke.
// - A subpath whose points all coincide (a closed lone point included) paints a dot for
//   round caps (a disc) and square caps (an axis-aligned square of side width); butt
//   caps paint nothing. A lone open start point without segments paints nothing.
// - Cap and join values outside PDF's range take PDF's defaults, butt and miter.
// - Dashes: an array with a negative or non-finite entry, or summing to zero, is solid.
//   An odd-length array is repeated once so on and off alternate through it. The phase
//   is taken modulo the period (negative phases wrap forward). The pattern restarts at
//   each subpath, runs on across its corners, and covers a closed subpath's closing
//   segment; every on-piece is stroked as an open path with caps. A zero-length dash is
//   a dot aligned with the path there. A subpath that would produce more than
//   kMaxDashesPerSubpath dashes is stroked solid: a pattern that fine is below any
//   device's resolution and would only exhaust memory.
//
// Hot loop (per flattened vertex): it must not allocate beyond the emitted polygons
// (point buffers are reused) and must not call trigonometric functions except to lay
// out round joins of untabled sweeps (dots and caps take their steps from a table).
#include "morv/stroke.h"

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "morv/flatten.h"
#include "turn_steps.h"

namespace Morv {
namespace {

using Point = MilliPointPoint;
using internal::StepOf;
using internal::TabledTurn;
using internal::Turn;
using internal::TurnStep;

constexpr double kMaxArcStep = std::numbers::pi / 4.0;
constexpr double kMinArcStep = 2.0 * std::numbers::pi / 1024.0;
constexpr double kMaxDashesPerSubpath = 65536.0;
constexpr std::size_t kUsualPieceCorners = 64;
// Twice a polygon's area relative to its squared extent below which rounding of the
// coordinates decides the sign: a few units in the last place.
constexpr double kSliverRatio = 64.0 * std::numeric_limits<double>::epsilon();

struct Vec {
  double x;
  double y;
};

Vec Negated(Vec v) {
  return {-v.x, -v.y};
}
Vec LeftNormal(Vec u) {
  return {-u.y, u.x};
}
double Dot(Vec a, Vec b) {
  return a.x * b.x + a.y * b.y;
}
double Cross(Vec a, Vec b) {
  return a.x * b.y - a.y * b.x;
}
Vec Rotated(Vec v, TurnStep step) {
  return {v.x * step.cosine - v.y * step.sine, v.x * step.sine + v.y * step.cosine};
}

// Every corner of every piece goes through here, so pieces meeting at a corner compute
// it from the same operands and agree to the bit.
Point Offset(const Point& p, Vec v, double s) {
  return {p.x.Value() + v.x * s, p.y.Value() + v.y * s};
}

double Distance(const Point& p, const Point& q) {
  return std::hypot(q.x.Value() - p.x.Value(), q.y.Value() - p.y.Value());
}

// p != q: distinct doubles have a non-zero difference, so the length is positive.
Vec Direction(const Point& p, const Point& q, double* length = nullptr) {
  const double dx = q.x.Value() - p.x.Value();
  const double dy = q.y.Value() - p.y.Value();
  const double norm = std::hypot(dx, dy);
  if (length != nullptr) *length = norm;
  return {dx / norm, dy / norm};
}

// At least the largest coordinate magnitude of a point: a sum, so that NaN carries
// through where std::max would drop it.
double Magnitude(const Point& p) {
  return std::fabs(p.x.Value()) + std::fabs(p.y.Value());
}

// Whether a piece built counter-clockwise whose narrowest extent is `span` keeps its
// orientation, and an area far above what Flush takes for a sliver, however its
// corners round: when its coordinates and its own size (bounded by `largest`) stay
// within 2^30 spans, each corner is off by at most about 2^-21 of the span. Flush would
// pass such a piece on as it is, so it is handed on without measuring it (most
// rectangles, one-step joins and dots). NaN and infinite values fail the comparison;
// the lower bound keeps the span far from the subnormal numbers, where products lose
// their precision.
bool IsUnmistakable(double span, double largest) {
  return span >= 0x1p-900 && largest <= span * 0x1p30;
}

struct Vertex {
  Point p;
  bool smooth;  // inside a flattened curve rather than at a segment boundary
};

// A subpath's corners: most strokes on a page of marks and rules have a few, which then
// need no allocation.
using Vertices = boost::container::small_vector<Vertex, 16>;

void AppendDistinct(Vertices& vertices, const Vertex& v) {
  if (!vertices.empty() && vertices.back().p == v.p) {
    vertices.back().smooth = vertices.back().smooth && v.smooth;
    return;
  }
  vertices.push_back(v);
}

// Position in a dash pattern: which entry, and how much of it is left.
struct DashCursor {
  const std::vector<double>* lengths = nullptr;
  std::size_t index = 0;
  double remaining = 0.0;

  bool On() const { return index % 2 == 0; }
  void Advance() {
    index = (index + 1) % lengths->size();
    remaining = (*lengths)[index];
  }
};

// Fills `lengths` (even count) and returns the period, or 0 for a solid line.
double PrepareDashes(const DashPattern* dash, std::vector<double>& lengths) {
  lengths.clear();
  if (dash == nullptr || dash->array.empty()) return 0.0;
  double period = 0.0;
  for (double v : dash->array) {
    if (!(v >= 0.0) || !std::isfinite(v)) return 0.0;
    period += v;
  }
  if (!(period > 0.0) || !std::isfinite(period)) return 0.0;
  lengths = dash->array;
  if (lengths.size() % 2 != 0) {
    lengths.insert(lengths.end(), dash->array.begin(), dash->array.end());
    period *= 2.0;
  }
  return period;
}

// The cursor at `phase` along the pattern. A phase landing exactly on a boundary starts
// the next entry, so a zero-length dash there is still drawn.
DashCursor StartDashes(const std::vector<double>& lengths, double period, double phase) {
  double p = std::isfinite(phase) ? std::fmod(phase, period) : 0.0;
  if (p < 0.0) p += period;
  if (!(p < period)) p = 0.0;
  DashCursor cursor;
  cursor.lengths = &lengths;
  // Rounding in the subtraction can leave a sliver of phase; two passes over the
  // pattern are always enough to consume it.
  for (std::size_t guard = 0; p > 0.0 && p >= lengths[cursor.index] && guard < 2 * lengths.size();
       ++guard) {
    p -= lengths[cursor.index];
    cursor.index = (cursor.index + 1) % lengths.size();
  }
  cursor.remaining = std::max(0.0, lengths[cursor.index] - std::max(0.0, p));
  return cursor;
}

double DefaultTolerance(double width, const MilliPointRectangle& box) {
  const double extent = std::max(std::fabs(box.Width()), std::fabs(box.Height()));
  const double tolerance = std::max(width / 50.0, extent * 1e-6);
  return std::isfinite(tolerance) ? tolerance : width / 50.0;
}

// The arc step whose chord stays within `tolerance` of a circle of radius `radius`:
// the sagitta r·(1 - cos(step/2)) equals the tolerance.
double ArcStep(double radius, double tolerance) {
  double step = kMaxArcStep;
  if (tolerance < radius) step = std::min(step, 2.0 * std::acos(1.0 - tolerance / radius));
  return std::max(step, kMinArcStep);
}

// The corners of the piece being written: inline up to kUsualPieceCorners (every
// rectangle, join and cap piece, and a dot's disc at press resolutions), on the heap
// past that, so that walking a short stroke allocates nothing.
class PieceCorners {
 public:
  void push_back(const Point& p) {
    if (size_ < kUsualPieceCorners) {
      inline_.points[size_++] = p;
    } else {
      Spill(p);
    }
  }
  void clear() {
    if (size_ == kSpilled) heap_.clear();
    size_ = 0;
  }
  Point* begin() { return size_ != kSpilled ? inline_.points : heap_.data(); }
  Point* end() { return begin() + size(); }
  std::size_t size() const { return size_ != kSpilled ? size_ : heap_.size(); }
  Point& operator[](std::size_t i) { return begin()[i]; }
  Point& back() { return end()[-1]; }

 private:
  static constexpr std::size_t kSpilled = std::numeric_limits<std::size_t>::max();

  [[gnu::noinline]] void Spill(const Point& p) {
    if (size_ != kSpilled) {
      heap_.assign(inline_.points, inline_.points + size_);
      size_ = kSpilled;
    }
    heap_.push_back(p);
  }

  // Left uninitialised: a walk writes a few corners, and clearing all of them would
  // cost about what the allocation it replaces did.
  union Storage {
    Storage() {}
    Point points[kUsualPieceCorners];
  } inline_;
  std::size_t size_ = 0;  // kSpilled once the corners are in heap_
  std::vector<Point> heap_;
};

class OutlineWriter {
 public:
  OutlineWriter(double width, double tolerance, LineCap cap, LineJoin join, double miterLimit,
                OutlineSink& sink)
      : half_(0.5 * width),
        arc_step_(ArcStep(0.5 * width, tolerance)),
        cap_(cap),
        join_(join),
        miter_limit_(miterLimit),
        sink_(sink) {}

  void Polyline(const Vertex* v, std::size_t n, bool closed);
  void Dashed(const Vertices& v, bool closed, DashCursor cursor);
  void DrawDot(const Point& p, Vec along);

 private:
  void Rectangle(const Point& p, const Point& q, Vec u, double length);
  void Join(const Point& v, Vec u0, Vec u1, bool smooth);
  void Cap(const Point& p, Vec u, bool start);
  void EmitDash(Vec along);
  void AppendArc(const Point& centre, Vec from, Vec to, double sweep);
  bool IsBelowOneArcStep(double cosine);
  void Disc(const Point& centre, Vec along);
  void Wedge(const Point& v, Vec a, Vec b, double cross);
  void Flush();
  void Emit();

  double half_;
  double arc_step_;
  // Cosine of a turn safely below one arc step, computed at the first round join.
  double chord_turn_cosine_ = std::numeric_limits<double>::quiet_NaN();
  LineCap cap_;
  LineJoin join_;
  double miter_limit_;
  PieceCorners scratch_;
  Vertices dash_;
  OutlineSink& sink_;
};

void OutlineWriter::Polyline(const Vertex* v, std::size_t n, bool closed) {
  const std::size_t pieces = closed ? n : n - 1;
  Vec first{1.0, 0.0};
  Vec previous{1.0, 0.0};
  for (std::size_t i = 0; i < pieces; ++i) {
    const Point& p = v[i].p;
    const Point& q = v[(i + 1) % n].p;
    double length;
    const Vec u = Direction(p, q, &length);
    Rectangle(p, q, u, length);
    if (i == 0) {
      first = u;
    } else {
      Join(p, previous, u, v[i].smooth);
    }
    previous = u;
  }
  if (closed) {
    Join(v[0].p, previous, first, v[0].smooth);
  } else {
    Cap(v[0].p, first, true);
    Cap(v[n - 1].p, previous, false);
  }
}

void OutlineWriter::Dashed(const Vertices& v, bool closed, DashCursor cursor) {
  dash_.clear();
  if (cursor.On()) dash_.push_back({v[0].p, false});
  const std::size_t n = v.size();
  const std::size_t pieces = closed ? n : n - 1;
  Vec u{1.0, 0.0};
  for (std::size_t i = 0; i < pieces; ++i) {
    const Point& a = v[i].p;
    const Vertex& b = v[(i + 1) % n];
    u = Direction(a, b.p);
    const double length = Distance(a, b.p);
    double t = 0.0;
    // `<=` ends a dash that reaches exactly the end of the piece here, so a zero-length
    // dash on a corner is drawn once, along the piece that arrives there.
    while (cursor.remaining <= length - t) {
      t += cursor.remaining;
      const Point at = t < length ? Offset(a, u, t) : b.p;
      if (cursor.On()) {
        AppendDistinct(dash_, {at, false});
        EmitDash(u);
      } else {
        dash_.clear();
        dash_.push_back({at, false});
      }
      cursor.Advance();
    }
    cursor.remaining -= length - t;
    if (cursor.On()) AppendDistinct(dash_, b);
  }
  // A dash cut to nothing by the end of the path is not a zero-length dash: no dot.
  if (cursor.On() && dash_.size() >= 2) EmitDash(u);
}

void OutlineWriter::EmitDash(Vec along) {
  if (dash_.size() == 1) {
    DrawDot(dash_[0].p, along);
  } else {
    Polyline(dash_.data(), dash_.size(), false);
  }
  dash_.clear();
}

void OutlineWriter::DrawDot(const Point& p, Vec along) {
  switch (cap_) {
    case LineCap::kRound:
      Disc(p, along);
      return;
    case LineCap::kSquare: {
      const Vec n = LeftNormal(along);
      const Point back = Offset(p, along, -half_);
      const Point front = Offset(p, along, half_);
      scratch_.push_back(Offset(back, n, -half_));
      scratch_.push_back(Offset(front, n, -half_));
      scratch_.push_back(Offset(front, n, half_));
      scratch_.push_back(Offset(back, n, half_));
      Flush();
      return;
    }
    case LineCap::kButt:
    default:
      return;
  }
}

void OutlineWriter::Rectangle(const Point& p, const Point& q, Vec u, double length) {
  const Vec left = LeftNormal(u);
  const Vec right = Negated(left);
  scratch_.push_back(Offset(p, right, half_));
  scratch_.push_back(Offset(q, right, half_));
  scratch_.push_back(Offset(q, left, half_));
  scratch_.push_back(Offset(p, left, half_));
  if (IsUnmistakable(std::min(length, half_), Magnitude(p) + Magnitude(q) + length + half_)) {
    Emit();
  } else {
    Flush();
  }
}

// The join fills the gap between the two rectangles on the outer side of the turn;
// the inner side is already covered where the rectangles overlap.
void OutlineWriter::Join(const Point& v, Vec u0, Vec u1, bool smooth) {
  const double cross = Cross(u0, u1);
  const double cosine = Dot(u0, u1);
  if (cross == 0.0 && cosine > 0.0) return;  // straight on: the rectangles abut
  // A full reversal has no outer side; taking it as a left turn puts a round join's
  // half disc ahead of the vertex, where the stroke's end is.
  const bool left_turn = cross >= 0.0;
  const Vec a = left_turn ? Negated(LeftNormal(u0)) : LeftNormal(u0);
  const Vec b = left_turn ? Negated(LeftNormal(u1)) : LeftNormal(u1);

  LineJoin style = smooth ? LineJoin::kRound : join_;
  if (style == LineJoin::kRound) {
    if (IsBelowOneArcStep(cosine)) {
      // The arc of one step, without its angle: most joins of a flattened curve.
      Wedge(v, a, b, cross);
      return;
    }
    scratch_.push_back(v);
    AppendArc(v, a, b, cross == 0.0 ? std::numbers::pi : std::atan2(cross, cosine));
    Flush();
    return;
  }
  if (style != LineJoin::kBevel) {
    // miter length / width = 1 / sin(phi/2), phi the angle between the pieces; with the
    // turning angle theta = pi - phi, sin(phi/2) = cos(theta/2) = sqrt((1 + cos theta)/2).
    // Compared as a product so a reversal (sine 0) needs no division.
    const double sine_half = std::sqrt(0.5 * (1.0 + cosine));
    if (sine_half * miter_limit_ >= 1.0) {
      // The tip lies along a + b at distance half/cos(theta/2) from v.
      const double scale = 1.0 / (1.0 + cosine);
      const Vec tip{(a.x + b.x) * scale, (a.y + b.y) * scale};
      scratch_.push_back(v);
      scratch_.push_back(Offset(v, a, half_));
      scratch_.push_back(Offset(v, tip, half_));
      scratch_.push_back(Offset(v, b, half_));
      Flush();
      return;
    }
  }
  Wedge(v, a, b, cross);
}

// The triangle of a bevel or of a one-step round join: the vertex and the ends of the
// two pieces' outer sides. Its area is half_² · |cross| / 2; it is counter-clockwise for
// a left turn and listed backwards for a right turn, as Flush would reverse it.
void OutlineWriter::Wedge(const Point& v, Vec a, Vec b, double cross) {
  if (IsUnmistakable(half_ * std::fabs(cross), Magnitude(v) + half_)) {
    if (cross > 0.0) {
      scratch_.push_back(v);
      scratch_.push_back(Offset(v, a, half_));
      scratch_.push_back(Offset(v, b, half_));
    } else {
      scratch_.push_back(Offset(v, b, half_));
      scratch_.push_back(Offset(v, a, half_));
      scratch_.push_back(v);
    }
    Emit();
    return;
  }
  scratch_.push_back(v);
  scratch_.push_back(Offset(v, a, half_));
  scratch_.push_back(Offset(v, b, half_));
  Flush();
}

void OutlineWriter::Cap(const Point& p, Vec u, bool start) {
  const Vec left = LeftNormal(u);
  const Vec right = Negated(left);
  // Outward along the path: backwards at the start, forwards at the end.
  const double out = start ? -half_ : half_;
  switch (cap_) {
    case LineCap::kSquare:
      scratch_.push_back(Offset(p, right, half_));
      scratch_.push_back(Offset(Offset(p, right, half_), u, out));
      scratch_.push_back(Offset(Offset(p, left, half_), u, out));
      scratch_.push_back(Offset(p, left, half_));
      Flush();
      return;
    case LineCap::kRound:
      // Counter-clockwise through the outward direction: left to right at the start,
      // right to left at the end.
      if (start) {
        AppendArc(p, left, right, std::numbers::pi);
      } else {
        AppendArc(p, right, left, std::numbers::pi);
      }
      Flush();
      return;
    case LineCap::kButt:
    default:
      return;
  }
}

// Whether a turn whose cosine is `cosine` is certainly smaller than one arc step, so
// that AppendArc would draw it as one chord. The margin of a millionth of the step
// dwarfs the rounding of the unit vectors' products and of atan2 (about 1e-14 of the
// smallest step), so no turn AppendArc would split passes as one chord.
bool OutlineWriter::IsBelowOneArcStep(double cosine) {
  if (std::isnan(chord_turn_cosine_)) chord_turn_cosine_ = std::cos(arc_step_ * (1.0 - 1e-6));
  return cosine > chord_turn_cosine_;
}

// Points on the circle of radius half_ from direction `from` turning by `sweep` to
// `to`; both ends are placed exactly where the neighbouring pieces put them.
void OutlineWriter::AppendArc(const Point& centre, Vec from, Vec to, double sweep) {
  double steps = std::ceil(std::fabs(sweep) / arc_step_);
  if (!(steps >= 1.0)) steps = 1.0;
  const auto count = static_cast<int>(std::min(steps, 2048.0));
  // Caps (and reversals) sweep a half turn: their steps are tabled.
  const TurnStep* tabled =
      sweep == internal::SweepOf(Turn::kHalf) ? TabledTurn(Turn::kHalf, count) : nullptr;
  scratch_.push_back(Offset(centre, from, half_));
  for (int i = 1; i < count; ++i) {
    const TurnStep step = tabled != nullptr ? tabled[i] : StepOf(sweep, i, count);
    scratch_.push_back(Offset(centre, Rotated(from, step), half_));
  }
  scratch_.push_back(Offset(centre, to, half_));
}

void OutlineWriter::Disc(const Point& centre, Vec along) {
  const double turn = internal::SweepOf(Turn::kFull);
  const auto count = static_cast<int>(std::min(std::ceil(turn / arc_step_), 2048.0));
  const TurnStep* tabled = TabledTurn(Turn::kFull, count);
  for (int i = 0; i < count; ++i) {
    const TurnStep step = tabled != nullptr ? tabled[i] : StepOf(turn, i, count);
    scratch_.push_back(Offset(centre, Rotated(along, step), half_));
  }
  // At least eight corners on the circle: the area is at least 2.8 half_².
  if (IsUnmistakable(half_, Magnitude(centre))) {
    Emit();
  } else {
    Flush();
  }
}

void OutlineWriter::Emit() {
  sink_.Piece({scratch_.begin(), scratch_.size()});
  scratch_.clear();
}

// Emits the buffered convex polygon with positive area. One whose area is lost in the
// rounding of its own coordinates (the bevel of a path that doubles back, a turn too
// small to resolve) has no orientation to trust and no interior to paint, and one with
// a non-finite area comes from non-finite input: both are dropped.
void OutlineWriter::Flush() {
  double twice_area = 0.0;
  double extent = 0.0;
  if (scratch_.size() >= 3) {
    const double x0 = scratch_[0].x.Value();
    const double y0 = scratch_[0].y.Value();
    for (std::size_t i = 1; i + 1 < scratch_.size(); ++i) {
      const Vec p{scratch_[i].x.Value() - x0, scratch_[i].y.Value() - y0};
      const Vec q{scratch_[i + 1].x.Value() - x0, scratch_[i + 1].y.Value() - y0};
      twice_area += Cross(p, q);
      extent = std::max({extent, std::fabs(p.x), std::fabs(p.y)});
    }
    const Vec last{scratch_.back().x.Value() - x0, scratch_.back().y.Value() - y0};
    extent = std::max({extent, std::fabs(last.x), std::fabs(last.y)});
  }
  const double resolvable = kSliverRatio * extent * extent;
  if (std::isfinite(twice_area) && std::fabs(twice_area) > resolvable) {
    if (twice_area < 0.0) std::reverse(scratch_.begin(), scratch_.end());
    sink_.Piece({scratch_.begin(), scratch_.size()});
  }
  scratch_.clear();
}

// The flattened corner points of `s` with equal neighbours merged; a closed subpath's
// repeated start point is dropped since the closing piece is implied.
void Flatten(const Subpath& s, double tolerance, Vertices& out) {
  out.clear();
  // A polygon's corners are its flattened points already: taken as they are, without
  // the point iterator (a dot or a rule of a plot page is two points).
  if (const std::span<const Point> points = s.VectorPoints(); !points.empty()) {
    for (const Point& p : points)
      AppendDistinct(out, {p, false});
    if (s.IsClosed() && out.size() > 1 && out.back().p == out.front().p) out.pop_back();
    return;
  }
  // The points of MakeVectorPointRange, made as ForEachFlatPoint makes them (each
  // curve's piece count found once, no iterator bookkeeping per point), with the
  // points inside a curve marked.
  Point from = s.Start();
  AppendDistinct(out, {from, false});
  for (const Subpath::Segment& segment : s.Segments()) {
    if (segment.kind != Subpath::SegmentKind::kLine) {
      const std::uint32_t pieces = CurvePieceCount(from, segment, tolerance);
      for (std::uint32_t i = 1; i < pieces; ++i) {
        AppendDistinct(out, {CurvePoint(from, segment, i, pieces), true});
      }
    }
    AppendDistinct(out, {segment.end, false});
    from = segment.end;
  }
  if (s.IsClosed() && out.size() > 1 && out.back().p == out.front().p) out.pop_back();
}

class SubpathCollector final : public OutlineSink {
 public:
  explicit SubpathCollector(std::vector<Subpath>& out) : out_(out) {}
  void Piece(std::span<const MilliPointPoint> points) override {
    out_.push_back(Subpath::Polygon(points, true));
  }

 private:
  std::vector<Subpath>& out_;
};

double PolylineLength(const Vertices& v, bool closed) {
  double length = 0.0;
  for (std::size_t i = 0; i + 1 < v.size(); ++i) {
    length += Distance(v[i].p, v[i + 1].p);
  }
  if (closed && v.size() > 1) length += Distance(v.back().p, v.front().p);
  return length;
}

}  // namespace

void StrokePieces(const Compound& compound, double width, LineCap cap, LineJoin join,
                  double miterLimit, const DashPattern* dash, double tolerance, OutlineSink& sink) {
  if (!(width > 0.0) || !std::isfinite(width)) return;
  if (!(tolerance > 0.0) || !std::isfinite(tolerance)) {
    tolerance = DefaultTolerance(width, compound.GetBoundingBox());
  }
  std::vector<double> lengths;
  const double period = PrepareDashes(dash, lengths);

  OutlineWriter writer(width, tolerance, cap, join, miterLimit, sink);
  Vertices vertices;
  for (const Subpath& s : compound.GetSubpaths()) {
    Flatten(s, tolerance, vertices);
    const bool closed = s.IsClosed();
    const bool dashed = period > 0.0;
    const DashCursor cursor = dashed ? StartDashes(lengths, period, dash->phase) : DashCursor{};

    if (vertices.size() == 1) {
      const bool marked = !s.Segments().empty() || closed;
      if (marked && (!dashed || cursor.On())) writer.DrawDot(vertices[0].p, {1.0, 0.0});
      continue;
    }
    if (dashed) {
      const double dashes =
          PolylineLength(vertices, closed) / period * static_cast<double>(lengths.size());
      if (dashes <= kMaxDashesPerSubpath) {
        writer.Dashed(vertices, closed, cursor);
        continue;
      }
    }
    writer.Polyline(vertices.data(), vertices.size(), closed);
  }
}

Compound Stroke(const Compound& compound, double width, LineCap cap, LineJoin join,
                double miterLimit, const DashPattern* dash, double tolerance) {
  std::vector<Subpath> pieces;
  SubpathCollector collector(pieces);
  StrokePieces(compound, width, cap, join, miterLimit, dash, tolerance, collector);
  // Outlines may be kept for the whole conversion: no spare capacity from growing.
  pieces.shrink_to_fit();
  return Compound(std::move(pieces), kNonZero);
}

namespace {

// Only a solid polyline of a few segments without round caps is measured: its walk
// costs a handful of pieces, and it is the outline that may be one four-cornered piece
// (a rectangle, or a square dot), which its consumer turns into a box. With round caps
// no outline is such a piece (every open end adds a half disc, a dot is a disc), so
// measuring one, the dots of a scatter plot above all, only walked it once more.
bool IsShortPolyline(const Compound& path, bool dashed, LineCap cap) {
  if (dashed || cap == LineCap::kRound) return false;
  std::size_t segments = 0;
  for (const Subpath& s : path.GetSubpaths()) {
    if (s.HasCurves()) return false;
    segments += s.Segments().size();
    if (segments > StrokeOutline::kMeasuredSegments) return false;
  }
  return true;
}

}  // namespace

double StrokeReach(double width, LineCap cap, LineJoin join, double miterLimit) {
  double reach = width / 2.0;
  // Join values outside PDF's range stroke as miters.
  if (join != LineJoin::kRound && join != LineJoin::kBevel) reach *= std::max(1.0, miterLimit);
  if (cap == LineCap::kSquare) reach = std::max(reach, width / 2.0 * std::sqrt(2.0));
  return reach;
}

StrokeOutline::StrokeOutline(std::shared_ptr<const Compound> path, double width, LineCap cap,
                             LineJoin join, double miterLimit, const DashPattern* dash,
                             double tolerance)
    : owned_path_(std::move(path)),
      path_(owned_path_.get()),
      width_(width),
      cap_(cap),
      join_(join),
      miter_limit_(miterLimit),
      owned_dash_(dash != nullptr ? std::make_unique<const DashPattern>(*dash) : nullptr),
      dash_(owned_dash_.get()),
      tolerance_(tolerance) {
  const bool strokes = width > 0.0 && std::isfinite(width);
  const double reach = StrokeReach(width, cap, join, miterLimit);
  const MilliPointRectangle& box = path_->GetBoundingBox();
  const double extent =
      std::max({std::fabs(box.X()), std::fabs(box.Y()), std::fabs(box.X() + box.Width()),
                std::fabs(box.Y() + box.Height())});
  // Every corner of a piece is a point of the flattened path (inside the hull of its
  // control points, hence inside the box) moved by at most the reach along a unit
  // vector; the margin covers the rounding of those few operations, far below any
  // pixel.
  const double grow = reach * (1.0 + 1e-6) + extent * 1e-9;
  if (!strokes || path_->GetSubpaths().empty() || !std::isfinite(grow) ||
      IsShortPolyline(*path_, dash_ != nullptr, cap_)) {
    // The box a compound of the pieces would report: each piece's box as a subpath
    // computes it, united as a compound unites them.
    class Measure final : public OutlineSink {
     public:
      void Piece(std::span<const MilliPointPoint> points) override {
        box.Add(PointsBoundingBox(points.data(), points.size()));
        ++count;
      }
      BoxUnion box;
      std::size_t count = 0;
    } measure;
    Walk(measure);
    bounding_box_ = measure.box.Rectangle();
    pieces_ = static_cast<std::uint32_t>(measure.count);
    measured_ = true;
    return;
  }
  bounding_box_ = MilliPointRectangle(box.X() - grow, box.Y() - grow, box.Width() + 2.0 * grow,
                                      box.Height() + 2.0 * grow);
}

StrokeOutline::StrokeOutline(Borrowed, const Compound& path, double width, LineCap cap,
                             LineJoin join, double miterLimit, const DashPattern* dash,
                             double tolerance)
    : path_(&path),
      width_(width),
      cap_(cap),
      join_(join),
      miter_limit_(miterLimit),
      dash_(dash),
      tolerance_(tolerance) {}

StrokeOutline StrokeOutline::Borrowing(const Compound& path, double width, LineCap cap,
                                       LineJoin join, double miterLimit, const DashPattern* dash,
                                       double tolerance) {
  return StrokeOutline(Borrowed{}, path, width, cap, join, miterLimit, dash, tolerance);
}

void StrokeOutline::Walk(OutlineSink& sink) const {
  StrokePieces(*path_, width_, cap_, join_, miter_limit_, dash_, tolerance_, sink);
}

Compound StrokeOutline::ToCompound() const {
  return Stroke(*path_, width_, cap_, join_, miter_limit_, dash_, tolerance_);
}

}  // namespace Morv
