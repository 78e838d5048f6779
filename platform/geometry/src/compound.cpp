#include "morv/compound.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

namespace Morv {

Compound::Compound(std::vector<Subpath> subpaths, std::uint32_t windingRule)
    : winding_rule_(windingRule) {
  if (subpaths.size() == 1) {
    new (&single_) Subpath(std::move(subpaths.front()));
    single_held_ = true;
    return;
  }
  new (&several_) Several{std::move(subpaths), MilliPointRectangle()};
  if (several_.subpaths.empty()) return;
  BoxUnion box;
  for (const Subpath& s : several_.subpaths)
    box.Add(s.GetBoundingBox());
  several_.box = box.Rectangle();
}

Compound::Compound(const Subpath& subpath, std::uint32_t windingRule)
    : single_(subpath), winding_rule_(windingRule), single_held_(true) {}

Compound::Compound(Subpath&& subpath, std::uint32_t windingRule)
    : single_(std::move(subpath)), winding_rule_(windingRule), single_held_(true) {}

Compound::Compound(const Compound& other) {
  CopyFrom(other);
}

Compound::Compound(Compound&& other) noexcept {
  StealFrom(other);
}

Compound& Compound::operator=(const Compound& other) {
  if (this != &other) {
    Compound copy(other);
    Release();
    StealFrom(copy);
  }
  return *this;
}

Compound& Compound::operator=(Compound&& other) noexcept {
  if (this != &other) {
    Release();
    StealFrom(other);
  }
  return *this;
}

void Compound::Release() {
  if (single_held_) {
    single_.~Subpath();
  } else {
    several_.~Several();
  }
}

void Compound::CopyFrom(const Compound& other) {
  if (other.single_held_) {
    new (&single_) Subpath(other.single_);
  } else {
    new (&several_) Several(other.several_);
  }
  winding_rule_ = other.winding_rule_;
  single_held_ = other.single_held_;
}

// The source keeps a valid (moved-from) member of the same kind.
void Compound::StealFrom(Compound& other) {
  if (other.single_held_) {
    new (&single_) Subpath(std::move(other.single_));
  } else {
    new (&several_) Several(std::move(other.several_));
  }
  winding_rule_ = other.winding_rule_;
  single_held_ = other.single_held_;
}

std::span<const Subpath> Compound::GetSubpaths() const {
  if (single_held_) return std::span<const Subpath>(&single_, 1);
  return several_.subpaths;
}

// A single subpath's box goes through the union too: its far side is corner plus
// size, which need not give back the subpath's own size bit for bit.
MilliPointRectangle Compound::GetBoundingBox() const {
  if (single_held_) {
    BoxUnion box;
    box.Add(single_.GetBoundingBox());
    return box.Rectangle();
  }
  return several_.box;
}

Compound Compound::Transformed(const MilliPointTransformation& t) const {
  if (single_held_) return Compound(single_.Transformed(t), winding_rule_);
  std::vector<Subpath> out;
  out.reserve(several_.subpaths.size());
  for (const Subpath& s : several_.subpaths)
    out.push_back(s.Transformed(t));
  return Compound(std::move(out), winding_rule_);
}

static_assert(sizeof(void*) != 8 || sizeof(Compound) <= 80);

const std::shared_ptr<const Compound>& GetUnityPdfRectangleCompound() {
  static const std::shared_ptr<const Compound> square =
      PathBuilder().Rectangle(0.0, 0.0, 1.0, 1.0).BuildShared(kNonZero);
  return square;
}

PathBuilder& PathBuilder::MoveTo(double x, double y) {
  FinishSubpath();
  start_ = Point(x, y);
  points_.push_back(start_);
  open_ = true;
  return *this;
}

// A segment after a close (or before any move) starts a new subpath at the start.
// The first curve gives every earlier segment its kind, a line.
void PathBuilder::Append(Subpath::SegmentKind kind, std::initializer_list<Point> points) {
  if (!open_) MoveTo(start_.x.Value(), start_.y.Value());
  if (kind != Subpath::SegmentKind::kLine && !curves_) {
    kinds_.assign(points_.size() - 1, Subpath::SegmentKind::kLine);
    curves_ = true;
  }
  points_.insert(points_.end(), points);
  if (curves_) kinds_.push_back(kind);
}

PathBuilder& PathBuilder::LineTo(double x, double y) {
  Append(Subpath::SegmentKind::kLine, {Point(x, y)});
  return *this;
}

PathBuilder& PathBuilder::QuadTo(double cx, double cy, double x, double y) {
  Append(Subpath::SegmentKind::kQuadratic, {Point(cx, cy), Point(x, y)});
  return *this;
}

PathBuilder& PathBuilder::CurveTo(double c1x, double c1y, double c2x, double c2y, double x,
                                  double y) {
  Append(Subpath::SegmentKind::kCubic, {Point(c1x, c1y), Point(c2x, c2y), Point(x, y)});
  return *this;
}

// The closed subpath is held in the scratch space; a lone move is dropped. After a
// close the current point is the start again, as in PDF.
PathBuilder& PathBuilder::Close() {
  if (held_) return *this;
  if (open_ && points_.size() > 1) {
    held_ = true;
    open_ = false;
    return *this;
  }
  ClearScratch();
  return *this;
}

// The same points as a move, three lines and a close, written at once.
PathBuilder& PathBuilder::Rectangle(double x, double y, double width, double height) {
  FinishSubpath();
  start_ = Point(x, y);
  points_.push_back(start_);
  points_.push_back(Point(x + width, y));
  points_.push_back(Point(x + width, y + height));
  points_.push_back(Point(x, y + height));
  held_ = true;
  return *this;
}

PathBuilder& PathBuilder::Polygon(const std::vector<Point>& points) {
  if (points.empty()) return *this;
  MoveTo(points[0].x.Value(), points[0].y.Value());
  for (std::size_t i = 1; i < points.size(); ++i)
    LineTo(points[i].x.Value(), points[i].y.Value());
  return Close();
}

// A path of one subpath (most paths) is made straight from the scratch space; several
// get a vector of their exact number. The builder's own vectors keep their capacity
// for the next path.
Compound PathBuilder::Build(std::uint32_t windingRule) {
  start_ = Point();
  if (OnlyScratch()) {
    Compound compound(ScratchSubpath(held_), windingRule);
    ClearScratch();
    return compound;
  }
  FinishSubpath();
  if (subpaths_.size() == 1) {
    Compound compound(std::move(subpaths_.front()), windingRule);
    subpaths_.clear();
    return compound;
  }
  Compound compound(std::vector<Subpath>(std::make_move_iterator(subpaths_.begin()),
                                         std::make_move_iterator(subpaths_.end())),
                    windingRule);
  subpaths_.clear();
  return compound;
}

// The subpath goes into the shared block directly: a compound moved in would move its
// subpath once more.
std::shared_ptr<const Compound> PathBuilder::BuildShared(std::uint32_t windingRule) {
  if (!OnlyScratch()) return std::make_shared<const Compound>(Build(windingRule));
  start_ = Point();
  auto compound = std::make_shared<const Compound>(ScratchSubpath(held_), windingRule);
  ClearScratch();
  return compound;
}

bool PathBuilder::TakeIfSame(const Compound& compound, std::uint32_t windingRule) {
  if (!OnlyScratch() || compound.GetWindingRule() != windingRule) return false;
  const std::span<const Subpath> subpaths = compound.GetSubpaths();
  if (subpaths.size() != 1) return false;
  const Subpath& s = subpaths.front();
  // Bits, not values: a -0 where the other has 0 must give the other path.
  if (s.point_count_ != points_.size() || s.curves_ != curves_ || s.closed_ != held_ ||
      std::memcmp(s.Data(), points_.data(), points_.size() * sizeof(Point)) != 0 ||
      (curves_ && std::memcmp(s.Kinds(), kinds_.data(), kinds_.size()) != 0)) {
    return false;
  }
  start_ = Point();
  ClearScratch();
  return true;
}

// A polygon of up to four corners allocates nothing, a larger subpath exactly its
// points (and kinds, with curves) in one block.
Subpath PathBuilder::ScratchSubpath(bool closed) const {
  return Subpath(points_,
                 curves_ ? std::span<const Subpath::SegmentKind>(kinds_)
                         : std::span<const Subpath::SegmentKind>(),
                 closed);
}

void PathBuilder::FinishSubpath() {
  if (held_ || (open_ && points_.size() > 1)) subpaths_.push_back(ScratchSubpath(held_));
  ClearScratch();
}

void PathBuilder::ClearScratch() {
  points_.clear();
  kinds_.clear();
  curves_ = false;
  open_ = false;
  held_ = false;
}

}  // namespace Morv
