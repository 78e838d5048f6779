// Per-line scan of a path generator's edges. The hot loop of every filled shape:
// no allocation, no virtual call, work linear in the active edges plus the
// re-ordering that the line's crossings force, all on one contiguous array.

#include "raster/path_run_length_generator.h"

#include <algorithm>
#include <array>
#include <limits>

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

void PathRunLengthGenerator::Reset(std::uint32_t windingRule,
                                   const QorMath::Rectangle<long long>& box) {
  x0_ = box.left;
  y0_ = box.top;
  x1_ = box.right;
  y1_ = box.bottom;
  runs_.clear();
  last_line_ = -1;
  state_ = kNotStarted;
  steady_ = false;
  winding_rule_ = windingRule;
  edges_ = nullptr;
  edge_count_ = 0;
  segments_ = nullptr;
  next_ = 0;
  last_end_line_ = 0;
  active_count_ = 0;
  // A line of a large shape once needed many entries; the next shape is likely small.
  if (active_capacity_ > kKeptActiveEntries) {
    active_.reset();
    active_capacity_ = 0;
  }
  if (scratch_capacity_ > kKeptActiveEntries) {
    scratch_.reset();
    scratch_capacity_ = 0;
  }
}

void PathRunLengthGenerator::FitLinesToEdges() {
  long long first = y1_;
  long long end = y0_;
  if (edge_count_ != 0) {
    first = std::min(first, edges_[0].firstLine);  // sorted by first line
    end = std::max(end, last_end_line_);
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

// The per-line steps are forced inline into GenerateRuns: a thin shape's line is a few
// dozen instructions of work, and the calls and their register saves were a tenth of it.
template <bool kNonZeroRule>
[[gnu::always_inline]] inline void PathRunLengthGenerator::EmitRuns() {
  runs_.clear();
  const std::size_t count = active_count_;
  if (count == 2) {
    EmitTwo<kNonZeroRule>();
    return;
  }
  long long start = x0_;
  long long end = x0_;
  std::int32_t sum = 0;
  bool inside = false;
  for (const ActiveEdge *a = active_.get(), *last = a + count; a != last; ++a) {
    sum += a->winding;
    const bool now = kNonZeroRule ? sum != 0 : (sum & 1) != 0;
    if (now == inside) continue;
    inside = now;
    const long long xc = std::clamp(RoundToPixel(a->x), x0_, x1_);
    if (now) {
      if (end < xc) {
        if (start < end) runs_.emplace_back(Run{start, end - start});
        start = xc;
      }
    } else if (start < xc) {
      end = xc;
    }
  }
  if (start < end) runs_.emplace_back(Run{start, end - start});
}

// The walk above for the two crossings of most lines of a thin shape: one run at
// most, from the first crossing to the second, when the first enters and the
// second leaves.
template <bool kNonZeroRule>
[[gnu::always_inline]] inline void PathRunLengthGenerator::EmitTwo() {
  const ActiveEdge& a = active_[0];
  const ActiveEdge& b = active_[1];
  const std::int32_t after_a = a.winding;
  const std::int32_t after_b = after_a + b.winding;
  const bool enters = kNonZeroRule ? after_a != 0 : (after_a & 1) != 0;
  const bool leaves = kNonZeroRule ? after_b == 0 : (after_b & 1) == 0;
  if (!enters || !leaves) return;
  const long long start = std::clamp(RoundToPixel(a.x), x0_, x1_);
  const long long end = std::clamp(RoundToPixel(b.x), x0_, x1_);
  if (start < end) runs_.emplace_back(Run{start, end - start});
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
  if (next_ < edge_count_ && edges_[next_].firstLine <= line) TakeNewEdges(line, ys);
  if (winding_rule_ == 1) {
    EmitRuns<true>();
  } else {
    EmitRuns<false>();
  }
}

void PathRunLengthGenerator::Activate() {
  next_ = 0;
  active_count_ = 0;
  // Few edges of a long outline cross one line: room for a typical line's worth, not
  // for every edge (that was most of a page of long strokes' memory); a line that
  // needs more grows the array to its high-water mark.
  Reserve(std::min<std::size_t>(edge_count_, kActiveReserve));
  state_ = kActive;
}

// Grows like a vector (at least doubling), so a conversion reaches the high-water
// mark in a few steps and then never allocates again.
void PathRunLengthGenerator::Grow(std::size_t count) {
  const std::size_t capacity = std::max(count, 2 * active_capacity_);
  auto grown = std::make_unique_for_overwrite<ActiveEdge[]>(capacity);
  std::copy(active_.get(), active_.get() + active_count_, grown.get());
  active_ = std::move(grown);
  active_capacity_ = capacity;
}

// The edges of an outline are many and their first lines few (a long stroke's
// pieces start on every line it crosses), so a counting sort by line, which keeps
// the order built among equals, does in three passes what a comparison sort needs
// log n for. Edges and segments share one block, allocated once per shape, or not
// at all when a reset generator's block holds them.
void PathRunLengthGenerator::SetEdges(const std::vector<Edge>& edges,
                                      const std::vector<Edge::Segment>& segments) {
  static_assert(alignof(Edge) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ &&
                sizeof(Edge) % alignof(Edge::Segment) == 0);
  const std::size_t count = edges.size();
  const std::size_t bytes = count * sizeof(Edge) + segments.size() * sizeof(Edge::Segment);
  // A reset generator keeps its store while it fits and wastes little.
  if (bytes > store_capacity_ || store_capacity_ > 4 * bytes + kKeptStoreSlack) {
    store_ = std::make_unique_for_overwrite<std::byte[]>(bytes);
    store_capacity_ = bytes;
  }
  edges_ = reinterpret_cast<Edge*>(store_.get());
  edge_count_ = count;
  auto* segment_store = reinterpret_cast<Edge::Segment*>(store_.get() + count * sizeof(Edge));
  std::copy(segments.begin(), segments.end(), segment_store);
  segments_ = segment_store;
  next_ = 0;
  long long low = count != 0 ? edges[0].firstLine : 0;
  long long high = low;
  long long end = count != 0 ? edges[0].endLine : 0;
  for (const Edge& edge : edges) {
    low = std::min(low, edge.firstLine);
    high = std::max(high, edge.firstLine);
    end = std::max(end, edge.endLine);
  }
  last_end_line_ = end;
  // The lines come from rounded coordinates, so their range may be anything (and
  // only its unsigned form cannot overflow).
  const unsigned long long range =
      static_cast<unsigned long long>(high) - static_cast<unsigned long long>(low);
  if (count < kCountingSortMinimum || range >= 4 * count) {
    std::copy(edges.begin(), edges.end(), edges_);
    std::sort(edges_, edges_ + count, ByFirstLine);
    return;
  }
  // Small shapes (dots, glyphs, short strokes) count on the stack.
  constexpr std::size_t kInlineLines = 256;
  std::array<std::uint32_t, kInlineLines> inline_starts;
  std::vector<std::uint32_t> heap_starts;
  const std::size_t slots = static_cast<std::size_t>(range) + 2;
  std::uint32_t* starts = inline_starts.data();
  if (slots > kInlineLines) {
    heap_starts.resize(slots);
    starts = heap_starts.data();
  }
  std::fill(starts, starts + slots, 0u);
  for (const Edge& edge : edges)
    ++starts[static_cast<std::size_t>(edge.firstLine - low) + 1];
  for (std::size_t i = 1; i < slots; ++i)
    starts[i] += starts[i - 1];
  // Built order is ascending segment order, so equal lines keep ByFirstLine's order.
  for (const Edge& edge : edges)
    edges_[starts[static_cast<std::size_t>(edge.firstLine - low)]++] = edge;
}

// Moves the live edges to the line and drops the dead ones in one pass; the order is
// checked on the way, so a line where no two edges crossed costs no sorting pass.
[[gnu::always_inline]] inline void PathRunLengthGenerator::UpdateActiveEdges(long long line,
                                                                             double ys) {
  ActiveEdge* const entries = active_.get();
  const std::size_t count = active_count_;
  // The two live edges of most lines of a thin shape, without the loops.
  if (count == 2 && entries[0].endLine > line && entries[1].endLine > line) {
    entries[0].MoveTo(ys);
    entries[1].MoveTo(ys);
    if (entries[1].x < entries[0].x) std::swap(entries[0], entries[1]);
    return;
  }
  bool sorted = true;
  // The last live x kept in a register rather than read back from the array.
  double previous = -std::numeric_limits<double>::infinity();
  // Most lines retire no edge: entries are updated in place up to the first dead one,
  // and only the live entries behind it are moved up.
  std::size_t i = 0;
  for (; i < count; ++i) {
    ActiveEdge& a = entries[i];
    if (a.endLine <= line) break;
    a.MoveTo(ys);
    if (a.x < previous) sorted = false;
    previous = a.x;
  }
  std::size_t live = i;
  for (++i; i < count; ++i) {
    ActiveEdge& a = entries[i];
    if (a.endLine <= line) continue;
    a.MoveTo(ys);
    if (a.x < previous) sorted = false;
    previous = a.x;
    entries[live++] = a;
  }
  active_count_ = live;
  if (!sorted) SortNearlySorted(entries, entries, entries + live, ByX<ActiveEdge>);
}

void PathRunLengthGenerator::TakeNewEdges(long long line, double ys) {
  const std::size_t old_count = active_count_;
  const std::size_t edge_count = edge_count_;
  std::size_t end = next_ + 1;
  while (end < edge_count && edges_[end].firstLine <= line)
    ++end;
  const std::size_t taken = end - next_;
  Reserve(old_count + taken);
  ActiveEdge* const first = active_.get();
  // A few new edges are moved into place one by one, each written once where it
  // belongs (behind every entry of smaller or equal x, as insertion would put it):
  // cheaper than sorting and merging while they and the entries they pass are few.
  // An edge that ended above this line (lines were skipped) never becomes active.
  const bool one_by_one = taken <= 4 || (taken <= 16 && old_count <= 16);
  for (; next_ < end; ++next_) {
    const Edge& edge = edges_[next_];
    if (edge.endLine <= line) continue;
    const Edge::Segment* s = segments_ + edge.firstSegment;
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
    ActiveEdge* j = first + active_count_++;
    if (one_by_one) {
      while (j > first && a.x < (j - 1)->x) {
        *j = *(j - 1);
        --j;
      }
    }
    *j = a;
  }
  if (one_by_one) return;
  // Otherwise sort the new entries by x and merge them in; on equal x the old ones
  // come first.
  ActiveEdge* const last = first + active_count_;
  ActiveEdge* const fresh_first = first + old_count;
  std::sort(fresh_first, last, ByX<ActiveEdge>);
  if (old_count != 0 && fresh_first != last && fresh_first->x < (fresh_first - 1)->x) {
    if (scratch_capacity_ < active_capacity_) {
      scratch_ = std::make_unique_for_overwrite<ActiveEdge[]>(active_capacity_);
      scratch_capacity_ = active_capacity_;
    }
    std::merge(first, fresh_first, fresh_first, last, scratch_.get(), ByX<ActiveEdge>);
    std::swap(active_, scratch_);
    std::swap(active_capacity_, scratch_capacity_);
  }
}

}  // namespace QorSc
