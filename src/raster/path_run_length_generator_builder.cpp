// Edge building for path generators. Runs once per object per conversion; the
// scratch chains and stores are borrowed, so only the finished edges are allocated.

#include "raster/path_run_length_generator_builder.h"

#include <algorithm>

namespace QorSc {

PathRunLengthGeneratorBuilder::PathRunLengthGeneratorBuilder(
    std::uint32_t windingRule, const QorMath::Rectangle<long long>& box, ScratchChains& chains)
    : box_(box),
      sample_x0_(static_cast<double>(box.left) + 0.5),
      sample_y0_(static_cast<double>(box.top) + 0.5),
      sample_x1_(static_cast<double>(box.right) - 0.5),
      sample_y1_(static_cast<double>(box.bottom) - 0.5),
      chains_(chains),
      generator_(std::make_unique<PathRunLengthGenerator>(windingRule, box)) {
  edges_.swap(chains.edges);
  segments_.swap(chains.segments);
  edges_.clear();
  segments_.clear();
}

PathRunLengthGeneratorBuilder::~PathRunLengthGeneratorBuilder() {
  ReturnStores();
}

std::unique_ptr<PathRunLengthGenerator> PathRunLengthGeneratorBuilder::Release() {
  if (generator_) {
    generator_->SetEdges(edges_, segments_);
    generator_->FitLinesToEdges();
  }
  ReturnStores();
  return std::move(generator_);
}

void PathRunLengthGeneratorBuilder::ReturnStores() {
  // Of two builders alive at once only one holds the stores: keep the larger.
  edges_.clear();
  segments_.clear();
  if (edges_.capacity() > chains_.edges.capacity()) chains_.edges.swap(edges_);
  if (segments_.capacity() > chains_.segments.capacity()) chains_.segments.swap(segments_);
}

void PathRunLengthGeneratorBuilder::AddCompound(const Morv::Compound& compound,
                                                const Environment& env,
                                                const Morv::MilliPointTransformation& t) {
  if (BoxIsEmpty()) return;
  for (auto it = compound.Begin(); it != compound.End(); ++it) {
    const Morv::Subpath& subpath = *it;
    if (const auto* points = subpath.VectorPoints()) {
      AddPolygon(*points, subpath.GetBoundingBox(), env, t);
    } else if (!RoundedTargetBox(env, subpath.GetBoundingBox(), t, box_).IsEmpty()) {
      SubpathPointEnumerator enumerator(subpath, t, env);
      AddPoints(enumerator);
    }
  }
}

void PathRunLengthGeneratorBuilder::AddOutline(const Morv::StrokeOutline& outline,
                                               const Environment& env,
                                               const Morv::MilliPointTransformation& t) {
  if (BoxIsEmpty()) return;
  class Adder final : public Morv::OutlineSink {
   public:
    Adder(PathRunLengthGeneratorBuilder& builder, const Environment& env,
          const Morv::MilliPointTransformation& t)
        : builder_(builder), env_(env), t_(t) {}
    void Piece(const std::vector<Morv::MilliPointPoint>& points) override {
      builder_.AddPiece(points, env_, t_);
    }

   private:
    PathRunLengthGeneratorBuilder& builder_;
    const Environment& env_;
    const Morv::MilliPointTransformation& t_;
  } adder(*this, env, t);
  outline.Walk(adder);
}

void PathRunLengthGeneratorBuilder::AddPolygon(const std::vector<Morv::MilliPointPoint>& points,
                                               const Morv::MilliPointRectangle& bounds,
                                               const Environment& env,
                                               const Morv::MilliPointTransformation& t) {
  if (RoundedTargetBox(env, bounds, t, box_).IsEmpty()) return;
  VectorPointEnumerator enumerator(points, t, env);
  AddPoints(enumerator);
}

// Culling on the mapped corners rather than on the mapped box of the piece: a
// polygon whose corners all lie on the far side of one side of the box would be
// filtered to nothing (its segments all dropped, or all merged into one that is never
// committed), so either way it adds no edge; this way it costs four mappings instead
// of eight.
void PathRunLengthGeneratorBuilder::AddPiece(const std::vector<Morv::MilliPointPoint>& points,
                                             const Environment& env,
                                             const Morv::MilliPointTransformation& t) {
  if (points.empty()) return;
  std::vector<Point<double>>& corners = chains_.piece;
  corners.resize(points.size());
  for (std::size_t i = 0; i < points.size(); ++i)
    corners[i] = env.WorldToInternal(t.Apply(points[i]));
  AddCorners(corners.data(), corners.size());
}

// A flattened polygon is culled on its corners for the same reason as a stroke piece:
// one that AddCompound would cull on its subpath's box adds no edge either way.
void PathRunLengthGeneratorBuilder::AddFlatOutline(const FlatOutline& outline) {
  if (BoxIsEmpty()) return;
  std::size_t begin = 0;
  for (const std::size_t end : outline.ends) {
    AddCorners(outline.points.data() + begin, end - begin);
    begin = end;
  }
}

void PathRunLengthGeneratorBuilder::AddCorners(const Point<double>* corners, std::size_t count) {
  if (count == 0) return;
  double x0 = corners[0].x, x1 = x0, y0 = corners[0].y, y1 = y0;
  for (std::size_t i = 1; i < count; ++i) {
    x0 = std::min(x0, corners[i].x);
    x1 = std::max(x1, corners[i].x);
    y0 = std::min(y0, corners[i].y);
    y1 = std::max(y1, corners[i].y);
  }
  if (std::max(box_.left, RoundToPixel(x0)) >= std::min(RoundToPixel(x1), box_.right) ||
      std::max(box_.top, RoundToPixel(y0)) >= std::min(RoundToPixel(y1), box_.bottom)) {
    return;
  }
  std::size_t i = 0;
  AddClosedPolygon([corners, count, &i](Point<double>& out) {
    if (i == count) return false;
    out = corners[i++];
    return true;
  });
}

std::uint32_t PathRunLengthGeneratorBuilder::OutcodeOf(double x, double y) const {
  std::uint32_t code = 0;
  if (x < sample_x0_) code |= kLeftOfSamples;
  if (x >= sample_x1_) code |= kRightOfSamples;
  if (y < sample_y0_) code |= kAboveSamples;
  if (y >= sample_y1_) code |= kBelowSamples;
  return code;
}

PathRunLengthGeneratorBuilder::Corner PathRunLengthGeneratorBuilder::CornerOf(
    const Point<double>& p) const {
  return {p.x, p.y, OutcodeOf(p.x, p.y), RoundToPixel(p.y)};
}

PathSegment PathRunLengthGeneratorBuilder::SideOf(const Corner& from, const Corner& to) {
  return {from.x, from.y, to.x, to.y, from.outcode & to.outcode, from.line, to.line};
}

void PathRunLengthGeneratorBuilder::AddPoints(PointEnumerator& points) {
  if (BoxIsEmpty()) return;
  AddClosedPolygon([&points](Point<double>& out) { return points.Next(out); });
}

template <class Next>
void PathRunLengthGeneratorBuilder::AddClosedPolygon(Next next) {
  chains_.first.Clear();
  chains_.current.Clear();
  filter_ = kEmpty;

  Point<double> p;
  if (!next(p)) return;
  const Corner first = CornerOf(p);
  Corner previous = first;
  while (next(p)) {
    const Corner corner = CornerOf(p);
    PathSegment s = SideOf(previous, corner);
    Feed(s);
    previous = corner;
  }
  if (previous.x != first.x || previous.y != first.y) {
    PathSegment s = SideOf(previous, first);
    Feed(s);
  }
  Flush();
  chains_.first.Clear();
  chains_.current.Clear();
  filter_ = kEmpty;
}

void PathRunLengthGeneratorBuilder::Feed(PathSegment& s) {
  if (s.outcode & (kAboveSamples | kBelowSamples)) return;
  if (s.outcode == 0 && !s.Crosses()) return;
  switch (filter_) {
    case kEmpty:
      first_pending_ = s;
      filter_ = kFirst;
      break;
    case kFirst:
      switch (MergeInto(first_pending_, s)) {
        case Merge::kMerged:
          break;
        case Merge::kAnnihilated:
          filter_ = kEmpty;
          break;
        case Merge::kApart:
          last_pending_ = s;
          filter_ = kFirstAndLast;
          break;
      }
      break;
    case kFirstHeld:
      last_pending_ = s;
      filter_ = kFirstAndLast;
      break;
    case kFirstAndLast:
      switch (MergeInto(last_pending_, s)) {
        case Merge::kMerged:
          break;
        case Merge::kApart:
          Commit(last_pending_);
          last_pending_ = s;
          break;
        case Merge::kAnnihilated:
          filter_ = chains_.first.Empty() ? kFirst : kFirstHeld;
          break;
      }
      break;
  }
}

PathRunLengthGeneratorBuilder::Merge PathRunLengthGeneratorBuilder::MergeInto(
    PathSegment& a, PathSegment& b) const {
  if (a.outcode & b.outcode) {
    a.TakeEnd(b);
    a.outcode = OutcodeOf(a.x0, a.y0) & OutcodeOf(a.x1, a.y1);
    if (a.outcode & (kAboveSamples | kBelowSamples)) return Merge::kAnnihilated;
    if (a.outcode != 0) return Merge::kMerged;
    return a.Crosses() ? Merge::kMerged : Merge::kAnnihilated;
  }
  if (a.outcode != 0 || b.outcode != 0) return Merge::kApart;

  // A spike: one row down and straight back at the same rounded x.
  const long long rows_a = a.line1 - a.line0;
  const long long rows_b = b.line1 - b.line0;
  if ((rows_a == 1 || rows_a == -1) && rows_a * rows_b == -1) {
    const double ys = static_cast<double>(std::min(a.line0, a.line1)) + 0.5;
    const double xa = a.x0 + (ys - a.y0) * (a.x1 - a.x0) / (a.y1 - a.y0);
    const double xb = b.x0 + (ys - b.y0) * (b.x1 - b.x0) / (b.y1 - b.y0);
    if (RoundToPixel(xa) == RoundToPixel(xb)) return Merge::kAnnihilated;
  }
  return Merge::kApart;
}

void PathRunLengthGeneratorBuilder::Flush() {
  switch (filter_) {
    case kEmpty:
    case kFirst:
      return;
    case kFirstHeld:
      Commit(first_pending_);
      break;
    case kFirstAndLast:
      switch (MergeInto(last_pending_, first_pending_)) {
        case Merge::kMerged:
          Commit(last_pending_);
          break;
        case Merge::kApart:
          Commit(last_pending_);
          Commit(first_pending_);
          break;
        case Merge::kAnnihilated:
          break;
      }
      break;
  }
  MonotoneChain& first = chains_.first;
  MonotoneChain& current = chains_.current;
  if (!first.Empty() && first.Increasing() == current.Increasing()) {
    current.Append(first);
    BuildEdge(current);
  } else {
    BuildEdge(current);
    BuildEdge(first);
  }
}

void PathRunLengthGeneratorBuilder::Commit(PathSegment& s) {
  if (s.outcode != 0 && !s.Crosses()) return;
  MonotoneChain& current = chains_.current;
  if (!current.Empty()) {
    if (!current.Accept(s)) {
      BuildEdge(current);
      current.Clear();
      current.Accept(s);
    }
  } else if (!chains_.first.Accept(s)) {
    current.Accept(s);
  }
}

void PathRunLengthGeneratorBuilder::BuildEdge(const MonotoneChain& chain) {
  if (chain.Empty()) return;
  const auto& segments = chain.Segments();
  const bool increasing = chain.Increasing();
  Edge edge;
  edge.firstLine = increasing ? segments.front().line0 : segments.back().line1;
  edge.endLine = increasing ? segments.back().line1 : segments.front().line0;
  // An edge that crosses no row of pixel centres never changes a run.
  if (edge.endLine <= edge.firstLine) return;
  std::vector<Edge::Segment>& store = segments_;
  const std::size_t first = store.size();
  auto add = [&store](double xs, double ys, double xe, double ye) {
    const double dxdy = ye != ys ? (xe - xs) / (ye - ys) : 0.0;
    store.push_back({xs, ys, ye, dxdy});
  };
  if (increasing) {
    for (const PathSegment& s : segments)
      add(s.x0, s.y0, s.x1, s.y1);
  } else {
    for (auto it = segments.rbegin(); it != segments.rend(); ++it)
      add(it->x1, it->y1, it->x0, it->y0);
  }
  edge.firstSegment = static_cast<std::uint32_t>(first);
  edge.segmentCount = static_cast<std::uint32_t>(store.size() - first);
  edge.winding = increasing ? -1 : 1;
  edges_.push_back(edge);
}

}  // namespace QorSc
