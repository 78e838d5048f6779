#include "morv/subpath.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace Morv {
namespace {

using Point = Subpath::Point;
using SegmentKind = Subpath::SegmentKind;

struct BoxAccumulator {
  double x0, y0, x1, y1;

  explicit BoxAccumulator(const MilliPointPoint& p)
      : x0(p.x.Value()), y0(p.y.Value()), x1(p.x.Value()), y1(p.y.Value()) {}

  void Add(const MilliPointPoint& p) {
    x0 = std::min(x0, p.x.Value());
    x1 = std::max(x1, p.x.Value());
    y0 = std::min(y0, p.y.Value());
    y1 = std::max(y1, p.y.Value());
  }

  MilliPointRectangle Rectangle() const { return {x0, y0, x1 - x0, y1 - y0}; }
};

// The box of a subpath with curves, its points taken in the order the box has always
// been gathered in (start, then each segment's end before its controls): min and max
// keep the first of equal values, so the order decides the sign of a zero corner.
MilliPointRectangle CurveBox(const Point* points, const SegmentKind* kinds, std::size_t segments) {
  BoxAccumulator box(points[0]);
  std::size_t p = 1;
  for (std::size_t i = 0; i < segments; ++i) {
    const auto controls = static_cast<std::size_t>(kinds[i]);
    box.Add(points[p + controls]);
    for (std::size_t c = 0; c < controls; ++c)
      box.Add(points[p + c]);
    p += controls + 1;
  }
  return box.Rectangle();
}

}  // namespace

Subpath::Subpath(std::span<const Point> points, std::span<const SegmentKind> kinds, bool closed)
    : inline_{}, closed_(closed), curves_(!kinds.empty()) {
  point_count_ = static_cast<std::uint32_t>(points.size());
  if (IsInline()) {
    SetInline(points.data());
    std::copy(kinds.begin(), kinds.end(), inline_kinds_);
    return;
  }
  const std::size_t bytes = points.size() * sizeof(Point) + kinds.size();
  auto* stored = static_cast<Point*>(::operator new(bytes));
  std::memcpy(static_cast<void*>(stored), points.data(), points.size() * sizeof(Point));
  if (curves_) std::memcpy(static_cast<void*>(stored + points.size()), kinds.data(), kinds.size());
  std::construct_at(&block_);
  block_.points = stored;
  block_.segments = static_cast<std::uint32_t>(kinds.size());
  block_.box =
      curves_ ? CurveBox(stored, Kinds(), kinds.size()) : PointsBoundingBox(stored, points.size());
}

Subpath Subpath::FromSegments(Point start, std::span<const Segment> segments, bool closed) {
  std::vector<Point> points;
  std::vector<SegmentKind> kinds;
  points.reserve(1 + 3 * segments.size());
  points.push_back(start);
  bool curves = false;
  for (const Segment& s : segments) {
    if (s.kind != SegmentKind::kLine) {
      curves = true;
      points.push_back(s.control1);
      if (s.kind == SegmentKind::kCubic) points.push_back(s.control2);
    }
    points.push_back(s.end);
    kinds.push_back(s.kind);
  }
  if (!curves) kinds.clear();
  return Subpath(points, kinds, closed);
}

Subpath::Subpath(Point start, std::span<const Segment> segments, bool closed)
    : Subpath(FromSegments(start, segments, closed)) {}

Subpath Subpath::Polygon(std::span<const Point> points, bool closed) {
  const Point origin;
  if (points.empty()) return Subpath(std::span<const Point>(&origin, 1), {}, closed);
  return Subpath(points, {}, closed);
}

// Takes the other's counts and flags, and its corners when they are inline; false
// when the points are in a block, which is then the caller's to copy or take.
bool Subpath::CopyHeader(const Subpath& other) {
  point_count_ = other.point_count_;
  closed_ = other.closed_;
  curves_ = other.curves_;
  if (!other.IsInline()) return false;
  SetInline(other.inline_);
  std::copy(std::begin(other.inline_kinds_), std::end(other.inline_kinds_), inline_kinds_);
  return true;
}

void Subpath::CopyFrom(const Subpath& other) {
  if (CopyHeader(other)) return;
  const std::size_t bytes = point_count_ * sizeof(Point) + (curves_ ? other.block_.segments : 0);
  auto* stored = static_cast<Point*>(::operator new(bytes));
  std::memcpy(static_cast<void*>(stored), other.block_.points, bytes);
  std::construct_at(&block_, other.block_);
  block_.points = stored;
}

// The corners are plain values: copying their bytes makes them the union's members.
void Subpath::SetInline(const Point* points) {
  std::memcpy(static_cast<void*>(inline_), points, point_count_ * sizeof(Point));
}

void Subpath::Release() {
  if (!IsInline()) ::operator delete(block_.points);
}

Subpath::Subpath(const Subpath& other) {
  CopyFrom(other);
}

// A subpath whose block is taken is left an empty one at the origin; inline corners
// are copied and stay.
void Subpath::StealFrom(Subpath& other) {
  if (CopyHeader(other)) return;
  std::construct_at(&block_, other.block_);
  const Point origin;
  other.point_count_ = 1;
  other.curves_ = false;
  other.SetInline(&origin);
}

Subpath::Subpath(Subpath&& other) noexcept {
  StealFrom(other);
}

// Copied first, so that a failed allocation leaves this subpath as it was.
Subpath& Subpath::operator=(const Subpath& other) {
  if (this != &other) *this = Subpath(other);
  return *this;
}

Subpath& Subpath::operator=(Subpath&& other) noexcept {
  if (this != &other) {
    Release();
    StealFrom(other);
  }
  return *this;
}

MilliPointRectangle Subpath::GetBoundingBox() const {
  if (!IsInline()) return block_.box;
  return curves_ ? CurveBox(inline_, inline_kinds_, SegmentCount())
                 : PointsBoundingBox(inline_, point_count_);
}

Subpath::Segment Subpath::SegmentView::operator[](std::size_t i) const {
  if (!subpath_->curves_) return Segment::Line(subpath_->Data()[i + 1]);
  Iterator it = begin();
  for (std::size_t k = 0; k < i; ++k)
    ++it;
  return *it;
}

bool operator==(const Subpath::SegmentView& a, const Subpath::SegmentView& b) {
  if (a.size() != b.size()) return false;
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
    if (!(*i == *j)) return false;
  }
  return true;
}

// A copy in the same form (one block at most), its points then mapped in place.
Subpath Subpath::Transformed(const MilliPointTransformation& t) const {
  Subpath out(*this);
  Point* points = out.IsInline() ? out.inline_ : out.block_.points;
  for (std::uint32_t i = 0; i < point_count_; ++i)
    points[i] = t.Apply(points[i]);
  if (!out.IsInline()) {
    out.block_.box = curves_ ? CurveBox(points, out.Kinds(), out.block_.segments)
                             : PointsBoundingBox(points, point_count_);
  }
  return out;
}

MilliPointRectangle PointsBoundingBox(const MilliPointPoint* points, std::size_t count) {
  if (count == 0) return BoxAccumulator(MilliPointPoint()).Rectangle();
  BoxAccumulator box(points[0]);
  for (std::size_t i = 1; i < count; ++i)
    box.Add(points[i]);
  return box.Rectangle();
}

void BoxUnion::Add(const MilliPointRectangle& b) {
  if (empty_) {
    x0_ = b.X();
    y0_ = b.Y();
    x1_ = x0_ + b.Width();
    y1_ = y0_ + b.Height();
    empty_ = false;
  }
  x0_ = std::min(x0_, b.X());
  y0_ = std::min(y0_, b.Y());
  x1_ = std::max(x1_, b.X() + b.Width());
  y1_ = std::max(y1_, b.Y() + b.Height());
}

MilliPointRectangle BoxUnion::Rectangle() const {
  if (empty_) return MilliPointRectangle();
  return MilliPointRectangle(x0_, y0_, x1_ - x0_, y1_ - y0_);
}

}  // namespace Morv
