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

// Insertion sort, linear when few edges crossed since the last line; when the
// crossings pile up (long edges in random order) a full sort is cheaper. The
// entries before `from` are known to be in order already.
template <class T, class Less>
void SortNearlySorted(T* first, T* from, T* last, Less less) {
  const std::size_t budget = 8 * static_cast<std::size_t>(last - first) + 64;
  std::size_t moves = 0;
  for (T* i = std::max(from, first + 1); i < last; ++i) {
    if (!less(*i, *(i - 1))) continue;
    const T entry = *i;
    T* j = i;
    do {
      *j = *(j - 1);
      --j;
      ++moves;
    } while (j > first && less(entry, *(j - 1)));
    *j = entry;
    if (moves > budget) {
      std::sort(first, last, less);
      return;
    }
  }
}

// By first line, then in the order built (the segment ranges ascend with it).
bool ByFirstLine(const Edge& a, const Edge& b) {
  return a.firstLine != b.firstLine ? a.firstLine < b.firstLine : a.firstSegment < b.firstSegment;
}

}  // namespace

void PathRunLengthGenerator::ActiveEdge::NextSegment(double ys) {
  while (remaining != 0 && ys > segment->y1) {
    ++segment;
    --remaining;
  }
  x0 = segment->x0;
  y0 = segment->y0;
  y1 = segment->y1;
  dxdy = segment->dxdy;
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
  if (next_ < edges_.size() && edges_[next_].firstLine <= line) TakeNewEdges(line, ys);
  if (winding_rule_ == 1) {
    EmitRuns<true>();
  } else {
    EmitRuns<false>();
  }
}

void PathRunLengthGenerator::Activate() {
  next_ = 0;
  active_.clear();
  // Few edges of a long outline cross one line: room for a typical line's worth, not
  // for every edge (that was most of a page of long strokes' memory); a line that
  // needs more grows the array once to its high-water mark.
  active_.reserve(std::min<std::size_t>(edges_.size(), kActiveReserve));
  state_ = kActive;
}

// The edges of an outline are many and their first lines few (a long stroke's
// pieces start on every line it crosses), so a counting sort by line, which keeps
// the order built among equals, does in three passes what a comparison sort needs
// log n for.
void PathRunLengthGenerator::SetEdges(const std::vector<Edge>& edges,
                                      const std::vector<Edge::Segment>& segments) {
  segments_.assign(segments.begin(), segments.end());
  const std::size_t count = edges.size();
  long long low = count != 0 ? edges[0].firstLine : 0;
  long long high = low;
  for (const Edge& edge : edges) {
    low = std::min(low, edge.firstLine);
    high = std::max(high, edge.firstLine);
  }
  // The lines come from rounded coordinates, so their range may be anything (and
  // only its unsigned form cannot overflow).
  const unsigned long long range =
      static_cast<unsigned long long>(high) - static_cast<unsigned long long>(low);
  if (count < kCountingSortMinimum || range >= 4 * count) {
    edges_.assign(edges.begin(), edges.end());
    std::sort(edges_.begin(), edges_.end(), ByFirstLine);
    return;
  }
  std::vector<std::uint32_t> starts(static_cast<std::size_t>(range) + 2, 0);
  for (const Edge& edge : edges)
    ++starts[static_cast<std::size_t>(edge.firstLine - low) + 1];
  for (std::size_t i = 1; i < starts.size(); ++i)
    starts[i] += starts[i - 1];
  edges_.resize(count);
  // Built order is ascending segment order, so equal lines keep ByFirstLine's order.
  for (const Edge& edge : edges)
    edges_[starts[static_cast<std::size_t>(edge.firstLine - low)]++] = edge;
}

// Moves the live edges to the line and drops the dead ones in one pass; the order is
// checked on the way, so a line where no two edges crossed costs no sorting pass.
void PathRunLengthGenerator::UpdateActiveEdges(long long line, double ys) {
  ActiveEdge* const entries = active_.data();
  const std::size_t count = active_.size();
  std::size_t live = 0;
  bool sorted = true;
  for (std::size_t i = 0; i < count; ++i) {
    ActiveEdge& a = entries[i];
    if (a.endLine <= line) continue;
    a.MoveTo(ys);
    // Most lines retire no edge: copy only once the live entries have moved up.
    if (live != i) entries[live] = a;
    if (live != 0 && entries[live].x < entries[live - 1].x) sorted = false;
    ++live;
  }
  active_.resize(live);
  if (!sorted) SortActiveByX();
}

void PathRunLengthGenerator::SortActiveByX() {
  SortNearlySorted(active_.data(), active_.data(), active_.data() + active_.size(),
                   ByX<ActiveEdge>);
}

void PathRunLengthGenerator::TakeNewEdges(long long line, double ys) {
  const std::size_t old_count = active_.size();
  const std::size_t edge_count = edges_.size();
  for (; next_ < edge_count && edges_[next_].firstLine <= line; ++next_) {
    const Edge& edge = edges_[next_];
    // An edge that ended above this line (lines were skipped) never becomes active.
    if (edge.endLine <= line) continue;
    const Edge::Segment* s = segments_.data() + edge.firstSegment;
    ActiveEdge a{.x = 0.0,
                 .x0 = s->x0,
                 .y0 = s->y0,
                 .y1 = s->y1,
                 .dxdy = s->dxdy,
                 .endLine = edge.endLine,
                 .segment = s,
                 .remaining = edge.segmentCount - 1,
                 .winding = edge.winding};
    a.MoveTo(ys);
    active_.push_back(a);
  }
  const std::size_t fresh = active_.size() - old_count;
  if (fresh == 0) return;
  ActiveEdge* const first = active_.data();
  ActiveEdge* const last = first + active_.size();
  // A few new edges are moved into place one by one: cheaper than sorting and
  // merging while they and the entries they pass are few.
  if (fresh <= 4 || (fresh <= 16 && old_count <= 16)) {
    SortNearlySorted(first, first + old_count, last, ByX<ActiveEdge>);
    return;
  }
  // Otherwise sort the new entries by x and merge them in; on equal x the old ones
  // come first.
  ActiveEdge* const fresh_first = first + old_count;
  std::sort(fresh_first, last, ByX<ActiveEdge>);
  if (old_count != 0 && fresh_first->x < (fresh_first - 1)->x) {
    scratch_.resize(active_.size());
    std::merge(first, fresh_first, fresh_first, last, scratch_.begin(), ByX<ActiveEdge>);
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
