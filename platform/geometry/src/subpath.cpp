#include "morv/subpath.h"

#include <algorithm>

namespace Morv {
namespace {

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

}  // namespace

Subpath::Subpath(Point start, std::vector<Segment> segments, bool closed) : closed_(closed) {
  BoxAccumulator box(start);
  bool curves = false;
  for (const Segment& s : segments) {
    box.Add(s.end);
    if (s.kind != SegmentKind::kLine) {
      curves = true;
      box.Add(s.control1);
      if (s.kind == SegmentKind::kCubic) box.Add(s.control2);
    }
  }
  bounding_box_ = box.Rectangle();
  if (curves) {
    start_ = start;
    segments_ = std::move(segments);
    return;
  }
  points_.reserve(segments.size() + 1);
  points_.push_back(start);
  for (const Segment& s : segments)
    points_.push_back(s.end);
}

Subpath::Subpath(std::vector<Point> points, bool closed)
    : points_(std::move(points)), closed_(closed) {
  bounding_box_ = PointsBoundingBox(points_.data(), points_.size());
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

Subpath Subpath::Polygon(std::vector<Point> points, bool closed) {
  if (points.empty()) points.emplace_back();
  return Subpath(std::move(points), closed);
}

}  // namespace Morv
