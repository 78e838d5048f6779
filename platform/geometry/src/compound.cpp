#include "morv/compound.h"

#include <algorithm>

namespace Morv {

Compound::Compound(std::vector<Subpath> subpaths, std::uint32_t windingRule)
    : winding_rule_(windingRule) {
  if (subpaths.size() == 1)
    subpaths_.emplace<Subpath>(std::move(subpaths.front()));
  else
    subpaths_ = std::move(subpaths);
  if (GetSubpaths().empty()) return;
  BoxUnion box;
  for (const Subpath& s : GetSubpaths())
    box.Add(s.GetBoundingBox());
  bounding_box_ = box.Rectangle();
}

std::span<const Subpath> Compound::GetSubpaths() const {
  if (const Subpath* single = std::get_if<Subpath>(&subpaths_))
    return std::span<const Subpath>(single, 1);
  return std::get<std::vector<Subpath>>(subpaths_);
}

Compound Compound::Transformed(const MilliPointTransformation& t) const {
  std::vector<Subpath> out;
  out.reserve(GetSubpaths().size());
  for (const Subpath& s : GetSubpaths()) {
    if (const std::vector<Subpath::Point>* points = s.VectorPoints()) {
      std::vector<Subpath::Point> mapped;
      mapped.reserve(points->size());
      for (const Subpath::Point& p : *points)
        mapped.push_back(t.Apply(p));
      out.push_back(Subpath::Polygon(std::move(mapped), s.IsClosed()));
      continue;
    }
    std::vector<Subpath::Segment> segments;
    segments.reserve(s.Segments().size());
    for (Subpath::Segment seg : s.Segments()) {
      seg.control1 = t.Apply(seg.control1);
      seg.control2 = t.Apply(seg.control2);
      seg.end = t.Apply(seg.end);
      segments.push_back(seg);
    }
    out.emplace_back(t.Apply(s.Start()), std::move(segments), s.IsClosed());
  }
  return Compound(std::move(out), winding_rule_);
}

const std::shared_ptr<const Compound>& GetUnityPdfRectangleCompound() {
  static const std::shared_ptr<const Compound> square =
      PathBuilder().Rectangle(0.0, 0.0, 1.0, 1.0).BuildShared(kNonZero);
  return square;
}

PathBuilder& PathBuilder::MoveTo(double x, double y) {
  FinishSubpath(false);
  start_ = Point(x, y);
  open_ = true;
  return *this;
}

PathBuilder& PathBuilder::LineTo(double x, double y) {
  if (!open_) MoveTo(start_.x.Value(), start_.y.Value());
  segments_.push_back(Subpath::Segment::Line(Point(x, y)));
  return *this;
}

PathBuilder& PathBuilder::QuadTo(double cx, double cy, double x, double y) {
  if (!open_) MoveTo(start_.x.Value(), start_.y.Value());
  curves_ = true;
  segments_.push_back(Subpath::Segment::Quadratic(Point(cx, cy), Point(x, y)));
  return *this;
}

PathBuilder& PathBuilder::CurveTo(double c1x, double c1y, double c2x, double c2y, double x,
                                  double y) {
  if (!open_) MoveTo(start_.x.Value(), start_.y.Value());
  curves_ = true;
  segments_.push_back(Subpath::Segment::Cubic(Point(c1x, c1y), Point(c2x, c2y), Point(x, y)));
  return *this;
}

PathBuilder& PathBuilder::Close() {
  FinishSubpath(true);
  return *this;
}

PathBuilder& PathBuilder::Rectangle(double x, double y, double width, double height) {
  return MoveTo(x, y)
      .LineTo(x + width, y)
      .LineTo(x + width, y + height)
      .LineTo(x, y + height)
      .Close();
}

PathBuilder& PathBuilder::Polygon(const std::vector<Point>& points) {
  if (points.empty()) return *this;
  MoveTo(points[0].x.Value(), points[0].y.Value());
  for (std::size_t i = 1; i < points.size(); ++i)
    LineTo(points[i].x.Value(), points[i].y.Value());
  return Close();
}

Compound PathBuilder::Build(std::uint32_t windingRule) {
  FinishSubpath(false);
  Compound compound(std::move(subpaths_), windingRule);
  subpaths_.clear();
  start_ = Point();
  return compound;
}

std::shared_ptr<const Compound> PathBuilder::BuildShared(std::uint32_t windingRule) {
  return std::make_shared<const Compound>(Build(windingRule));
}

// A subpath with no segment (a lone move) marks nothing and is dropped. After a
// close the current point is the start again, as in PDF. The subpath gets exactly
// the room it needs, in its one form (corner points unless it has curves), and the
// builder keeps its scratch vector: one allocation per subpath instead of the
// vector's growth steps, and no unused capacity kept for the document's lifetime.
void PathBuilder::FinishSubpath(bool closed) {
  if (open_ && !segments_.empty()) {
    if (curves_) {
      subpaths_.emplace_back(
          start_, std::vector<Subpath::Segment>(segments_.begin(), segments_.end()), closed);
    } else {
      std::vector<Point> points;
      points.reserve(segments_.size() + 1);
      points.push_back(start_);
      for (const Subpath::Segment& s : segments_)
        points.push_back(s.end);
      subpaths_.push_back(Subpath::Polygon(std::move(points), closed));
    }
  }
  segments_.clear();
  curves_ = false;
  open_ = false;
}

}  // namespace Morv
