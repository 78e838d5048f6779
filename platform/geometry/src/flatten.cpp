// Flattening: walks a subpath as the corner points of a polygon, curves replaced by
// uniform line pieces.
//
// Invariants: a curve of n pieces is evaluated at t = i/n for 0 < i < n and its last
// piece ends on the segment's stored end point, so consecutive segments meet bit for
// bit; n comes from CurvePieceCount alone, so any two walks of the same subpath at the
// same flatness produce the same points. The end position is (segment count, 0).
//
// Hot loop (operator++): it must not allocate and must not compute a curve's piece
// count more than once per segment.
#include "morv/flatten.h"

#include <algorithm>
#include <cmath>

namespace Morv {
namespace {

using Point = MilliPointPoint;

double SecondDifferenceLength(const Point& p0, const Point& p1, const Point& p2) {
  const double x = p0.x.Value() - 2.0 * p1.x.Value() + p2.x.Value();
  const double y = p0.y.Value() - 2.0 * p1.y.Value() + p2.y.Value();
  return std::hypot(x, y);
}

double SquaredSecondDifference(const Point& p0, const Point& p1, const Point& p2) {
  const double x = p0.x.Value() - 2.0 * p1.x.Value() + p2.x.Value();
  const double y = p0.y.Value() - 2.0 * p1.y.Value() + p2.y.Value();
  return x * x + y * y;
}

// The count without hypot, or 0 where that cannot be trusted to give hypot's count.
// sqrt(x² + y²) lies within a few units in the last place of hypot(x, y) while the
// squares neither overflow nor lose the sum to underflow; a root that is not within a
// relative 1e-9 of a whole number then ceils to the same count either way. hypot was
// a third of flattening a glyph outline.
//
// Both ends of the interval lie in [0, kMaxCurvePieces), where ceil is the truncation
// plus one for a fraction (no library call), and the upper end ceils to the lower
// end's count exactly when it does not exceed it (it is at least the lower end, so
// above the count less one).
std::uint32_t QuickPieceCount(double squared, double scale, double flatness) {
  if (!(squared > 1e-280 && squared < 1e280 && flatness > 0.0)) return 0;
  const double estimate = std::sqrt(scale * std::sqrt(squared) / (8.0 * flatness));
  if (!(estimate < static_cast<double>(kMaxCurvePieces) - 1.0)) return 0;
  const double lower = estimate * (1.0 - 1e-9);
  const auto whole = static_cast<std::uint32_t>(lower);
  const std::uint32_t count = whole + (static_cast<double>(whole) < lower ? 1 : 0);
  if (!(estimate * (1.0 + 1e-9) <= static_cast<double>(count))) return 0;
  return std::max<std::uint32_t>(1, count);
}

}  // namespace

// Bernstein form with both weights derived from i and n directly: t and 1 - t are then
// each correctly rounded, and a curve walked backwards yields the same points.
MilliPointPoint CurvePoint(const MilliPointPoint& from, const Subpath::Segment& s, std::uint32_t i,
                           std::uint32_t n) {
  const double t = static_cast<double>(i) / static_cast<double>(n);
  const double mt = static_cast<double>(n - i) / static_cast<double>(n);
  if (s.kind == Subpath::SegmentKind::kQuadratic) {
    const double w0 = mt * mt;
    const double w1 = 2.0 * mt * t;
    const double w2 = t * t;
    return {w0 * from.x.Value() + w1 * s.control1.x.Value() + w2 * s.end.x.Value(),
            w0 * from.y.Value() + w1 * s.control1.y.Value() + w2 * s.end.y.Value()};
  }
  const double w0 = mt * mt * mt;
  const double w1 = 3.0 * mt * mt * t;
  const double w2 = 3.0 * mt * t * t;
  const double w3 = t * t * t;
  return {w0 * from.x.Value() + w1 * s.control1.x.Value() + w2 * s.control2.x.Value() +
              w3 * s.end.x.Value(),
          w0 * from.y.Value() + w1 * s.control1.y.Value() + w2 * s.control2.y.Value() +
              w3 * s.end.y.Value()};
}

// Bound on the distance between a curve B on [0, 1] and its uniform n-piece polyline.
// On one piece of parameter length h = 1/n let e = B - L, L the chord through the
// piece's end points. e vanishes at both ends and e'' = B'', so with the interval's
// Green's function G (non-negative, integrating to (t - t0)(t1 - t)/2 <= h²/8)
// |e(t)| <= M·h²/8 where M = max |B''|. This holds for the vector, not just per
// coordinate, and bounds the distance both ways (curve point to chord point at the same
// parameter). For a quadratic B'' = 2(p0 - 2p1 + p2); for a cubic
// B''(t) = 6((1 - t)·D0 + t·D1) with D0 = p0 - 2p1 + p2, D1 = p1 - 2p2 + p3, a convex
// combination, so M <= 6·max(|D0|, |D1|). Hence n = ceil(sqrt(M / (8·flatness))).
std::uint32_t CurvePieceCount(const MilliPointPoint& from, const Subpath::Segment& segment,
                              double flatness) {
  double m = 0.0;
  switch (segment.kind) {
    case Subpath::SegmentKind::kLine:
      return 1;
    case Subpath::SegmentKind::kQuadratic:
      if (const std::uint32_t n = QuickPieceCount(
              SquaredSecondDifference(from, segment.control1, segment.end), 2.0, flatness)) {
        return n;
      }
      m = 2.0 * SecondDifferenceLength(from, segment.control1, segment.end);
      break;
    case Subpath::SegmentKind::kCubic:
      if (const std::uint32_t n = QuickPieceCount(
              std::max(SquaredSecondDifference(from, segment.control1, segment.control2),
                       SquaredSecondDifference(segment.control1, segment.control2, segment.end)),
              6.0, flatness)) {
        return n;
      }
      m = 6.0 * std::max(SecondDifferenceLength(from, segment.control1, segment.control2),
                         SecondDifferenceLength(segment.control1, segment.control2, segment.end));
      break;
  }
  // A straight, evenly parametrised curve is its chord at any flatness; NaN coordinates
  // have no shape worth subdividing either.
  if (!(m > 0.0)) return 1;
  if (!(flatness > 0.0)) return kMaxCurvePieces;
  const double n = std::ceil(std::sqrt(m / (8.0 * flatness)));
  // Written so that an infinite quotient also lands on the maximum.
  if (!(n < static_cast<double>(kMaxCurvePieces))) return kMaxCurvePieces;
  return std::max<std::uint32_t>(1, static_cast<std::uint32_t>(n));
}

// The largest singular value of [[a, c], [b, d]] is |s| + |r| where the matrix splits
// into a rotation-scale part (s) and a reflection-scale part (r); computed with hypot it
// neither overflows nor loses the small entries, unlike the eigenvalues of MᵀM.
double CurveErrorForTransformation(double error, const MilliPointTransformation& t) {
  const double similarity = std::hypot(t.a + t.d, t.b - t.c);
  const double reflection = std::hypot(t.a - t.d, t.b + t.c);
  const double largest = 0.5 * (similarity + reflection);
  const double det = t.Determinant();
  if (det == 0.0 || !std::isfinite(det)) return error;
  if (!(largest > 0.0) || !std::isfinite(largest)) return error;
  return error / largest;
}

std::pair<ConstPointIterator, ConstPointIterator> MakeVectorPointRange(const Subpath& subpath,
                                                                       double flatness) {
  ConstPointIterator begin;
  begin.subpath_ = &subpath;
  begin.flatness_ = flatness;
  begin.segment_ = -1;
  begin.piece_ = 0;
  begin.pieces_ = 0;
  begin.current_ = subpath.Start();
  begin.at_ = subpath.Segments().begin();
  begin.from_ = subpath.Start();

  ConstPointIterator end = begin;
  end.segment_ = static_cast<std::int64_t>(subpath.Segments().size());
  end.current_ = Point();
  return {begin, end};
}

ConstPointIterator& ConstPointIterator::operator++() {
  if (subpath_ == nullptr) return *this;
  const auto count = static_cast<std::int64_t>(subpath_->Segments().size());
  if (segment_ >= count) return *this;  // already at the end: stay there
  if (segment_ >= 0 && piece_ < pieces_) {
    ++piece_;
  } else {
    if (segment_ >= 0) {
      from_ = (*at_).end;
      ++at_;
    }
    ++segment_;
    piece_ = segment_ < count ? 1 : 0;
    pieces_ = 0;
  }
  Load();
  return *this;
}

void ConstPointIterator::Load() {
  if (segment_ < 0) {
    current_ = subpath_->Start();
    return;
  }
  if (segment_ >= static_cast<std::int64_t>(subpath_->Segments().size())) {
    pieces_ = 0;
    current_ = Point();
    return;
  }
  const Subpath::Segment s = *at_;
  if (pieces_ == 0) pieces_ = CurvePieceCount(from_, s, flatness_);
  current_ = piece_ >= pieces_ ? s.end : CurvePoint(from_, s, piece_, pieces_);
}

}  // namespace Morv
