// Per-line scan of a path generator's edges. The hot loop of every filled shape:
// no allocation, no virtual call, work linear in the active edges plus the
// re-ordering that the line's crossings force, all on one contiguous array.

#include "raster/path_run_length_generator.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

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

}  // namespace

// The slope is worked out here rather than stored: a corner is half a stored segment,
// and an edge of a long outline is read once, one segment after another.
void PathRunLengthGenerator::ActiveEdge::NextSegment(double ys) {
  while (remaining != 0 && ys > corner[1].y) {
    ++corner;
    --remaining;
  }
  Load();
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
  // The first block stays for the next edges (SetEdges decides whether they fit).
  FreeBlocksFrom(1);
  block_count_ = 0;
  released_ = 0;
  edge_count_ = 0;
  first_line_ = 0;
  last_end_line_ = 0;
  take_ = nullptr;
  take_block_ = 0;
  take_line_ = kNoLine;
  release_line_ = kNoLine;
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
    first = std::min(first, first_line_);
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
  if (take_line_ <= line) TakeNewEdges(line, ys);
  if (release_line_ <= line) ReleasePassedBlocks(line);
  if (winding_rule_ == 1) {
    EmitRuns<true>();
  } else {
    EmitRuns<false>();
  }
}

void PathRunLengthGenerator::Activate() {
  active_count_ = 0;
  // Few edges of a long outline cross one line: room for a few, not for every edge
  // (that was most of a page of long strokes' memory, and 64 entries each still a
  // tenth of it); a line that needs more grows the array to its high-water mark.
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

// A long outline needs many entries only on the few lines where it runs level; held to
// the end, those high-water arrays of every outline active together were a tenth of a
// page of long strokes' memory. Halving once a quarter is used leaves room to grow
// back twofold before the next allocation, so a line count that swings does not
// allocate on every line.
void PathRunLengthGenerator::Shrink() {
  const std::size_t capacity = std::max(kActiveReserve, active_capacity_ / 2);
  auto shrunk = std::make_unique_for_overwrite<ActiveEdge[]>(capacity);
  std::copy(active_.get(), active_.get() + active_count_, shrunk.get());
  active_ = std::move(shrunk);
  active_capacity_ = capacity;
  scratch_.reset();
  scratch_capacity_ = 0;
}

std::size_t PathRunLengthGenerator::StorageBytes() const {
  return block_bytes_ + (active_capacity_ + scratch_capacity_) * sizeof(ActiveEdge);
}

std::size_t PathRunLengthGenerator::HeldBlocks() const {
  return static_cast<std::size_t>(std::count_if(blocks_.begin(), blocks_.end(),
                                                [](const Block& b) { return b.bytes != nullptr; }));
}

// Only the first block_count_ blocks (and the first) ever hold storage.
void PathRunLengthGenerator::FreeBlocksFrom(std::size_t first) {
  for (std::size_t b = first; b < block_count_; ++b) {
    block_bytes_ -= blocks_[b].capacity;
    blocks_[b].bytes.reset();
    blocks_[b].capacity = 0;
  }
}

PathRunLengthGenerator::LineRange PathRunLengthGenerator::LinesOf(const std::vector<Edge>& edges) {
  LineRange lines{edges[0].firstLine, edges[0].firstLine, edges[0].endLine};
  for (const Edge& edge : edges) {
    lines.low = std::min(lines.low, edge.firstLine);
    lines.high = std::max(lines.high, edge.firstLine);
    lines.end = std::max(lines.end, edge.endLine);
  }
  return lines;
}

// The edges of an outline are many and their first lines few (a long stroke's
// pieces start on every line it crosses), so a counting sort by line, which keeps
// the order built among equals, does in three passes what a comparison sort needs
// log n for. It counts bytes rather than edges: each line's edges then have their
// place in a block, and each edge is written there once with its corners. Blocks
// close at the end of a line once they hold an eighth of the whole (at least
// kMinBlockBytes), so there are at most kMaxBlocks + 1 and a small shape has one,
// reused from a reset generator when it fits.
void PathRunLengthGenerator::SetEdges(const std::vector<Edge>& edges,
                                      const std::vector<Point<double>>& corners,
                                      std::vector<std::uint32_t>& order) {
  const std::size_t count = edges.size();
  FreeBlocksFrom(1);
  block_count_ = 0;
  released_ = 0;
  edge_count_ = count;
  take_ = nullptr;
  take_block_ = 0;
  take_line_ = kNoLine;
  release_line_ = kNoLine;
  if (count == 0) {
    first_line_ = 0;
    last_end_line_ = 0;
    return;
  }
  const LineRange lines = LinesOf(edges);
  // First lines are stored in 32 bits, from the least. Edges starting farther
  // (coordinates far beyond the box) start at the box's lines instead: the lines asked
  // for lie in the box, and for those the clamped lines compare as the lines do.
  constexpr auto kMaxSpan =
      static_cast<unsigned long long>(std::numeric_limits<std::int32_t>::max());
  if (static_cast<unsigned long long>(lines.high) - static_cast<unsigned long long>(lines.low) >
      kMaxSpan) {
    const long long height = std::max(0LL, y1_ - y0_);
    if (static_cast<unsigned long long>(height) > kMaxSpan)
      throw std::length_error("a path generator's box of more than 2^31 lines");
    std::vector<Edge> clamped(edges);
    for (Edge& edge : clamped)
      edge.firstLine = std::clamp(edge.firstLine, y0_, y0_ + height);
    StoreEdges(clamped, corners, order, LinesOf(clamped));
    return;
  }
  StoreEdges(edges, corners, order, lines);
}

void PathRunLengthGenerator::StoreEdges(const std::vector<Edge>& edges,
                                        const std::vector<Point<double>>& corners,
                                        std::vector<std::uint32_t>& order, const LineRange& span) {
  const std::size_t count = edges.size();
  const long long low = span.low;
  const long long high = span.high;
  first_line_ = low;
  last_end_line_ = span.end;
  base_line_ = low;
  auto bytes_of = [](const Edge& edge) {
    return sizeof(StoredEdge) + edge.cornerCount * sizeof(Point<double>);
  };
  const std::size_t total = count * sizeof(StoredEdge) + corners.size() * sizeof(Point<double>);
  const std::size_t target = std::max(kMinBlockBytes, total / kMaxBlocks);
  auto write = [&corners, &bytes_of, low](const Edge& edge, std::byte* out) {
    auto* stored = ::new (out)
        StoredEdge{static_cast<std::int32_t>(edge.firstLine - low),
                   2 * edge.cornerCount + (edge.winding < 0 ? 1u : 0u)};
    std::memcpy(static_cast<void*>(stored + 1), corners.data() + edge.firstCorner,
                edge.cornerCount * sizeof(Point<double>));
    return out + bytes_of(edge);
  };
  // The lines come from rounded coordinates, so their range may be anything (and
  // only its unsigned form cannot overflow).
  const unsigned long long range =
      static_cast<unsigned long long>(high) - static_cast<unsigned long long>(low);
  if (count < kCountingSortMinimum || range >= 4 * count) {
    // Built order is ascending index order: equal lines keep it.
    if (order.size() < count) order.resize(count);
    for (std::size_t i = 0; i < count; ++i)
      order[i] = static_cast<std::uint32_t>(i);
    std::sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(count),
              [&edges](std::uint32_t a, std::uint32_t b) {
                return edges[a].firstLine != edges[b].firstLine
                           ? edges[a].firstLine < edges[b].firstLine
                           : a < b;
              });
    std::size_t filled = 0;
    for (std::size_t k = 0; k < count; ++k) {
      filled += bytes_of(edges[order[k]]);
      if (filled >= target || k + 1 == count) {
        blocks_[block_count_++].size = filled;
        filled = 0;
      }
    }
    AllocateBlocks();
    std::size_t b = 0;
    std::byte* out = blocks_[0].bytes.get();
    for (std::size_t k = 0; k < count; ++k) {
      if (out == blocks_[b].bytes.get() + blocks_[b].size) out = blocks_[++b].bytes.get();
      out = write(edges[order[k]], out);
    }
    FinishBlocks();
    return;
  }
  // Small shapes (dots, glyphs, short strokes) count on the stack. A line's slot holds
  // the bytes of its edges, then where they start in their block, then the address
  // the next of them goes to.
  constexpr std::size_t kInlineLines = 256;
  std::array<std::uintptr_t, kInlineLines> inline_slots;
  std::vector<std::uintptr_t> heap_slots;
  const std::size_t lines = static_cast<std::size_t>(range) + 1;
  std::uintptr_t* at = inline_slots.data();
  if (lines > kInlineLines) {
    heap_slots.resize(lines);  // zeroed
    at = heap_slots.data();
  } else {
    std::fill(at, at + lines, std::uintptr_t{0});
  }
  for (const Edge& edge : edges)
    at[static_cast<std::size_t>(edge.firstLine - low)] += bytes_of(edge);
  std::array<std::size_t, kMaxBlocks + 2> first_line_of{};  // of each block, as a slot
  std::size_t filled = 0;
  for (std::size_t line = 0; line < lines; ++line) {
    const std::uintptr_t bytes = at[line];
    at[line] = filled;
    filled += bytes;
    if (filled >= target || line + 1 == lines) {
      blocks_[block_count_].size = filled;
      first_line_of[++block_count_] = line + 1;
      filled = 0;
    }
  }
  AllocateBlocks();
  for (std::size_t b = 0; b < block_count_; ++b) {
    const auto base = reinterpret_cast<std::uintptr_t>(blocks_[b].bytes.get());
    for (std::size_t line = first_line_of[b]; line < first_line_of[b + 1]; ++line)
      at[line] += base;
  }
  for (const Edge& edge : edges) {
    std::uintptr_t& next = at[static_cast<std::size_t>(edge.firstLine - low)];
    next = reinterpret_cast<std::uintptr_t>(write(edge, reinterpret_cast<std::byte*>(next)));
  }
  FinishBlocks();
}

void PathRunLengthGenerator::AllocateBlocks() {
  for (std::size_t b = 0; b < block_count_; ++b) {
    Block& block = blocks_[b];
    // A reset generator keeps its first block while it fits and wastes little.
    if (block.size > block.capacity || block.capacity > 4 * block.size + kKeptStoreSlack) {
      block.bytes = std::make_unique_for_overwrite<std::byte[]>(block.size);
      block_bytes_ += block.size - block.capacity;
      block.capacity = block.size;
    }
  }
}

// Each block's reach (the largest end line of its edges and of those before), and the
// first edge to take. The last block is never freed by the lines, so its reach is not
// needed.
void PathRunLengthGenerator::FinishBlocks() {
  // Rounding is monotonic, so the greatest end line is the greatest last y's, rounded
  // once. A y that is not a number never compares greater; it rounds to the least
  // line, as the greatest of none does.
  double reach = -std::numeric_limits<double>::infinity();
  for (std::size_t b = 0; b + 1 < block_count_; ++b) {
    Block& block = blocks_[b];
    const auto* edge = reinterpret_cast<const StoredEdge*>(block.bytes.get());
    const auto* last = reinterpret_cast<const StoredEdge*>(block.bytes.get() + block.size);
    for (; edge != last; edge = edge->Next()) {
      const double y = edge->LastCorner().y;
      reach = y > reach ? y : reach;
    }
    block.endLine = RoundToPixel(reach);
  }
  take_ = reinterpret_cast<const StoredEdge*>(blocks_[0].bytes.get());
  take_line_ = base_line_ + take_->firstLine;
  release_line_ = block_count_ > 1 ? blocks_[0].endLine : kNoLine;
}

inline void PathRunLengthGenerator::AdvanceTake(const StoredEdge* edge) {
  const StoredEdge* next = edge->Next();
  const Block& block = blocks_[take_block_];
  if (reinterpret_cast<const std::byte*>(next) == block.bytes.get() + block.size) {
    if (++take_block_ == block_count_) {
      take_ = nullptr;
      take_line_ = kNoLine;
      return;
    }
    next = reinterpret_cast<const StoredEdge*>(blocks_[take_block_].bytes.get());
  }
  take_ = next;
  take_line_ = base_line_ + next->firstLine;
}

// Runs after the line took its new edges: a block whose edges all ended by this line
// has had them all taken (each starts above its end), and the active entries of those
// edges are gone.
void PathRunLengthGenerator::ReleasePassedBlocks(long long line) {
  while (released_ + 1 < block_count_ && blocks_[released_].endLine <= line) {
    Block& block = blocks_[released_];
    block.bytes.reset();
    block_bytes_ -= block.capacity;
    block.capacity = 0;
    ++released_;
  }
  release_line_ = released_ + 1 < block_count_ ? blocks_[released_].endLine : kNoLine;
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
  if (live < active_capacity_ / 4 && active_capacity_ > kActiveReserve) Shrink();
}

void PathRunLengthGenerator::TakeNewEdges(long long line, double ys) {
  // The first few new edges are moved into place one by one, each written once where
  // it belongs (behind every entry of smaller or equal x, as insertion would put it):
  // cheaper than sorting and merging while they and the entries they pass are few.
  // The rest of a larger batch are sorted among themselves and merged in. The edges
  // are read once, in order, without counting the batch first. An edge that ended
  // above this line (lines were skipped) never becomes active.
  const std::size_t one_by_one = active_count_ <= 16 ? 16 : 4;
  std::size_t placed = 0;
  do {
    const StoredEdge& edge = *take_;
    AdvanceTake(take_);
    const long long end_line = RoundToPixel(edge.LastCorner().y);
    if (end_line <= line) continue;
    ActiveEdge a;
    a.endLine = end_line;
    a.corner = edge.Corners();
    a.remaining = edge.CornerCount() - 2;
    a.winding = edge.Winding();
    a.Load();
    a.MoveTo(ys);
    Reserve(active_count_ + 1);
    ActiveEdge* const first = active_.get();
    ActiveEdge* j = first + active_count_++;
    if (placed++ < one_by_one) {
      while (j > first && a.x < (j - 1)->x) {
        *j = *(j - 1);
        --j;
      }
    }
    *j = a;
  } while (take_line_ <= line);
  if (placed <= one_by_one) return;
  // The entries placed so far are in order; on equal x they come first.
  ActiveEdge* const first = active_.get();
  ActiveEdge* const last = first + active_count_;
  ActiveEdge* const fresh_first = last - (placed - one_by_one);
  std::sort(fresh_first, last, ByX<ActiveEdge>);
  if (fresh_first != first && fresh_first->x < (fresh_first - 1)->x) {
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
