// Per-line scan of a path generator's edges. The hot loop of every filled shape:
// no allocation, no virtual call, work linear in the active edges plus the
// re-ordering that the line's crossings force, all on one contiguous array.

#include "raster/path_run_length_generator.h"

#include <algorithm>

namespace QorSc {
namespace {

template <class T>
bool ByX(const T& a, const T& b) {
  return a.x < b.x;
}

}  // namespace

void PathRunLengthGenerator::ActiveEdge::MoveTo(double ys) {
  if (ys > y1) {
    while (segment < lastSegment && ys > segments[segment].y1)
      ++segment;
    const Edge::Segment& s = segments[segment];
    x0 = s.x0;
    y0 = s.y0;
    y1 = s.y1;
    dxdy = s.dxdy;
  }
  x = x0 + (ys - y0) * dxdy;
}

PathRunLengthGenerator::PathRunLengthGenerator(std::uint32_t windingRule,
                                               const QorMath::Rectangle<long long>& box)
    : RunLengthGenerator(box), winding_rule_(windingRule) {}

void PathRunLengthGenerator::FitLinesToEdges() {
  long long first = y1_;
  long long end = y0_;
  for (const Edge& edge : edges_) {
    first = std::min(first, edge.firstLine);
    end = std::max(end, edge.endLine);
  }
  const long long top = std::max(y0_, first);
  const long long bottom = std::min(y1_, end);
  if (bottom <= top) {
    y1_ = y0_;
  } else {
    y0_ = top;
    y1_ = bottom;
  }
}

void PathRunLengthGenerator::GenerateRuns(long long line) {
  if (line >= y1_) {
    state_ = kFinished;
    runs_.clear();
    last_line_ = std::max(last_line_, line);
    return;
  }
  // An earlier line changes nothing, also after finishing: the box may end before
  // the caller's last line (FitLinesToEdges).
  if (state_ != kNotStarted && line <= last_line_) return;
  const double ys = static_cast<double>(line) + 0.5;
  if (state_ != kActive) {
    if (line < y0_) return;
    Activate();
  } else {
    UpdateActiveEdges(line, ys);
  }
  last_line_ = line;
  if (next_ < to_come_.size() && to_come_[next_]->firstLine <= line) TakeNewEdges(line, ys);
  if (winding_rule_ == 1) {
    EmitRuns<true>();
  } else {
    EmitRuns<false>();
  }
}

void PathRunLengthGenerator::Activate() {
  to_come_.clear();
  to_come_.reserve(edges_.size());
  for (const Edge& edge : edges_)
    to_come_.push_back(&edge);
  // By first line, then in the order built (the pointers ascend with it).
  std::sort(to_come_.begin(), to_come_.end(), [](const Edge* a, const Edge* b) {
    return a->firstLine != b->firstLine ? a->firstLine < b->firstLine : a < b;
  });
  next_ = 0;
  active_.clear();
  active_.reserve(edges_.size());
  scratch_.reserve(edges_.size());
  state_ = kActive;
}

void PathRunLengthGenerator::UpdateActiveEdges(long long line, double ys) {
  std::size_t live = 0;
  for (std::size_t i = 0; i < active_.size(); ++i) {
    ActiveEdge& a = active_[i];
    if (a.endLine <= line) continue;
    a.MoveTo(ys);
    // Most lines retire no edge: copy only once the live entries have moved up.
    if (live != i) active_[live] = a;
    ++live;
  }
  active_.resize(live);
  if (live > 1) SortActiveByX();
}

// Insertion sort, linear when few edges crossed since the last line; when the
// crossings pile up (long edges in random order) a full sort is cheaper.
void PathRunLengthGenerator::SortActiveByX() {
  ActiveEdge* first = active_.data();
  ActiveEdge* last = first + active_.size();
  const std::size_t budget = 8 * active_.size() + 64;
  std::size_t moves = 0;
  for (ActiveEdge* i = first + 1; i < last; ++i) {
    if (!(i->x < (i - 1)->x)) continue;
    const ActiveEdge entry = *i;
    ActiveEdge* j = i;
    do {
      *j = *(j - 1);
      --j;
      ++moves;
    } while (j > first && entry.x < (j - 1)->x);
    *j = entry;
    if (moves > budget) {
      std::sort(first, last, ByX<ActiveEdge>);
      return;
    }
  }
}

void PathRunLengthGenerator::TakeNewEdges(long long line, double ys) {
  const std::size_t old_count = active_.size();
  for (; next_ < to_come_.size() && to_come_[next_]->firstLine <= line; ++next_) {
    const Edge& edge = *to_come_[next_];
    // An edge that ended above this line (lines were skipped) never becomes active.
    if (edge.endLine <= line) continue;
    const Edge::Segment* segments = segments_.data() + edge.firstSegment;
    const Edge::Segment& s = segments[0];
    ActiveEdge a{.x = 0.0,
                 .x0 = s.x0,
                 .y0 = s.y0,
                 .y1 = s.y1,
                 .dxdy = s.dxdy,
                 .endLine = edge.endLine,
                 .segments = segments,
                 .segment = 0,
                 .lastSegment = edge.segmentCount - 1,
                 .winding = edge.winding};
    a.MoveTo(ys);
    active_.push_back(a);
  }
  if (active_.size() == old_count) return;
  // Sort the new entries by x and merge them in; on equal x the old ones come first.
  const auto fresh = active_.begin() + static_cast<std::ptrdiff_t>(old_count);
  std::sort(fresh, active_.end(), ByX<ActiveEdge>);
  if (old_count != 0 && fresh->x < (fresh - 1)->x) {
    scratch_.resize(active_.size());
    std::merge(active_.begin(), fresh, fresh, active_.end(), scratch_.begin(), ByX<ActiveEdge>);
    active_.swap(scratch_);
  }
}

template <bool kNonZeroRule>
void PathRunLengthGenerator::EmitRuns() {
  runs_.clear();
  long long start = x0_;
  long long end = x0_;
  std::int32_t sum = 0;
  bool inside = false;
  for (const ActiveEdge& a : active_) {
    sum += a.winding;
    const bool now = kNonZeroRule ? sum != 0 : (sum & 1) != 0;
    if (now == inside) continue;
    inside = now;
    const long long xc = std::clamp(RoundToPixel(a.x), x0_, x1_);
    if (now) {
      if (end < xc) {
        if (start < end) runs_.push_back({start, end - start});
        start = xc;
      }
    } else if (start < xc) {
      end = xc;
    }
  }
  if (start < end) runs_.push_back({start, end - start});
}

}  // namespace QorSc
