// Edge building for path generators. Runs once per object per conversion; the
// scratch chains and stores are borrowed, so only the finished edges are allocated.

#include "raster/path_run_length_generator_builder.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QorSc {

// The line a y that is not a number rounds to (the lower clamp), which no corner inside
// a pixel box has.
static long long NaNLine() {
  return RoundToPixel(std::numeric_limits<double>::quiet_NaN());
}

// Without branches: a corner's side of the box is as good as random along an outline.
inline std::uint32_t PathRunLengthGeneratorBuilder::OutcodeOf(double x, double y) const {
  return (x < sample_x0_ ? kLeftOfSamples : 0u) | (x >= sample_x1_ ? kRightOfSamples : 0u) |
         (y < sample_y0_ ? kAboveSamples : 0u) | (y >= sample_y1_ ? kBelowSamples : 0u);
}

inline PathRunLengthGeneratorBuilder::Corner PathRunLengthGeneratorBuilder::CornerOf(
    const Point<double>& p) const {
  return {p.x, p.y, OutcodeOf(p.x, p.y), RoundToPixel(p.y)};
}

PathRunLengthGeneratorBuilder::PathRunLengthGeneratorBuilder(
    std::uint32_t windingRule, const QorMath::Rectangle<long long>& box, ScratchChains& chains)
    : PathRunLengthGeneratorBuilder(windingRule, box, chains, nullptr) {}

PathRunLengthGeneratorBuilder::PathRunLengthGeneratorBuilder(
    std::uint32_t windingRule, const QorMath::Rectangle<long long>& box, ScratchChains& chains,
    std::unique_ptr<PathRunLengthGenerator> generator)
    : box_(box),
      sample_x0_(static_cast<double>(box.left) + 0.5),
      sample_y0_(static_cast<double>(box.top) + 0.5),
      sample_x1_(static_cast<double>(box.right) - 0.5),
      sample_y1_(static_cast<double>(box.bottom) - 0.5),
      chains_(chains),
      generator_(std::move(generator)) {
  if (generator_) {
    generator_->Reset(windingRule, box);
  } else {
    generator_ = std::make_unique<PathRunLengthGenerator>(windingRule, box);
  }
  edges_.swap(chains.edges);
  corners_.swap(chains.corners);
  edges_.clear();
  corners_.clear();
}

PathRunLengthGeneratorBuilder::~PathRunLengthGeneratorBuilder() {
  ReturnStores();
}

std::unique_ptr<PathRunLengthGenerator> PathRunLengthGeneratorBuilder::Release() {
  if (generator_) {
    generator_->SetEdges(edges_, corners_, chains_.order);
    generator_->FitLinesToEdges();
  }
  ReturnStores();
  return std::move(generator_);
}

void PathRunLengthGeneratorBuilder::ReturnStores() {
  // Of two builders alive at once only one holds the stores: keep the larger.
  edges_.clear();
  corners_.clear();
  if (edges_.capacity() > chains_.edges.capacity()) chains_.edges.swap(edges_);
  if (corners_.capacity() > chains_.corners.capacity()) chains_.corners.swap(corners_);
}

void PathRunLengthGeneratorBuilder::AddCompound(const Morv::Compound& compound,
                                                const Environment& env,
                                                const Morv::MilliPointTransformation& t) {
  if (BoxIsEmpty()) return;
  for (auto it = compound.Begin(); it != compound.End(); ++it) {
    const Morv::Subpath& subpath = *it;
    if (const auto points = subpath.VectorPoints(); !points.empty()) {
      AddPolygon(points, subpath.GetBoundingBox(), env, t);
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
    void Piece(std::span<const Morv::MilliPointPoint> points) override {
      builder_.AddPiece(points, env_, t_);
    }

   private:
    PathRunLengthGeneratorBuilder& builder_;
    const Environment& env_;
    const Morv::MilliPointTransformation& t_;
  } adder(*this, env, t);
  outline.Walk(adder);
}

void PathRunLengthGeneratorBuilder::AddPolygon(std::span<const Morv::MilliPointPoint> points,
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
void PathRunLengthGeneratorBuilder::AddPiece(std::span<const Morv::MilliPointPoint> points,
                                             const Environment& env,
                                             const Morv::MilliPointTransformation& t) {
  const std::size_t count = points.size();
  if (count == 0) return;
  std::vector<Point<double>>& mapped = chains_.piece;
  // Only grown: resizing down and up again would fill the corners it is about to write.
  if (mapped.size() < count) mapped.resize(count);
  env.TransformToInternal(t, points.data(), count, mapped.data());
  const Point<double>* corners = mapped.data();
  if (count > kMaxSmallCorners) {
    AddCorners(corners, count);
    return;
  }
  // AddCorners' cull and placement, with each corner's line rounded once for the cull
  // and the edges: the rounding is monotonic, so the lines of the box's top and bottom
  // are the least and greatest corner lines. But a y that is not a number (from
  // coordinates that overflow) rounds to the lowest line while the box skips it: such
  // a piece, found by that line, goes to AddCorners (with any piece reaching that far
  // up). An x that is not a number meets the same box here as there.
  long long lines[kMaxSmallCorners];
  double x0 = corners[0].x, x1 = x0, y0 = corners[0].y, y1 = y0;
  long long top = RoundToPixel(y0), bottom = top;
  lines[0] = top;
  for (std::size_t i = 1; i < count; ++i) {
    const double x = corners[i].x, y = corners[i].y;
    x0 = std::min(x0, x);
    x1 = std::max(x1, x);
    y0 = std::min(y0, y);
    y1 = std::max(y1, y);
    const long long line = RoundToPixel(y);
    lines[i] = line;
    top = std::min(top, line);
    bottom = std::max(bottom, line);
  }
  if (top == NaNLine()) {
    AddCorners(corners, count);
    return;
  }
  if (std::max(box_.left, RoundToPixel(x0)) >= std::min(RoundToPixel(x1), box_.right) ||
      std::max(box_.top, top) >= std::min(bottom, box_.bottom)) {
    return;
  }
  if (x0 >= sample_x0_ && x1 < sample_x1_ && y0 >= sample_y0_ && y1 < sample_y1_) {
    AddSmallInsidePolygon(corners, count, lines);
  } else {
    AddIndexedPolygon<false>(corners, count);
  }
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
#if defined(__SSE2__)
  // x and y side by side: minpd(c, m) is c < m ? c : m per lane, std::min(m, c), so
  // the box is the scalar loop's to the bit (NaN corners included).
  static_assert(sizeof(Point<double>) == 2 * sizeof(double));
  __m128d low = _mm_loadu_pd(&corners[0].x);
  __m128d high = low;
  for (std::size_t i = 1; i < count; ++i) {
    const __m128d c = _mm_loadu_pd(&corners[i].x);
    low = _mm_min_pd(c, low);
    high = _mm_max_pd(c, high);
  }
  x0 = _mm_cvtsd_f64(low);
  y0 = _mm_cvtsd_f64(_mm_unpackhi_pd(low, low));
  x1 = _mm_cvtsd_f64(high);
  y1 = _mm_cvtsd_f64(_mm_unpackhi_pd(high, high));
#else
  for (std::size_t i = 1; i < count; ++i) {
    x0 = std::min(x0, corners[i].x);
    x1 = std::max(x1, corners[i].x);
    y0 = std::min(y0, corners[i].y);
    y1 = std::max(y1, corners[i].y);
  }
#endif
  if (std::max(box_.left, RoundToPixel(x0)) >= std::min(RoundToPixel(x1), box_.right) ||
      std::max(box_.top, RoundToPixel(y0)) >= std::min(RoundToPixel(y1), box_.bottom)) {
    return;
  }
  // Every corner inside the sample box (as its outcode tells; the comparisons are
  // those of OutcodeOf), so the filter can drop nothing for lying beyond it.
  if (x0 >= sample_x0_ && x1 < sample_x1_ && y0 >= sample_y0_ && y1 < sample_y1_) {
    // The box skips a corner that is not a number after the first; its line tells it.
    long long lines[kMaxSmallCorners];
    bool small = count <= kMaxSmallCorners;
    for (std::size_t i = 0; small && i < count; ++i) {
      lines[i] = RoundToPixel(corners[i].y);
      small = lines[i] != NaNLine();
    }
    if (small) {
      AddSmallInsidePolygon(corners, count, lines);
    } else {
      AddIndexedPolygon<true>(corners, count);
    }
  } else {
    AddIndexedPolygon<false>(corners, count);
  }
}

void PathRunLengthGeneratorBuilder::AddPoints(PointEnumerator& points) {
  if (BoxIsEmpty()) return;
  // Gathered in the stroke pieces' buffer, which only grows.
  std::vector<Point<double>>& corners = chains_.piece;
  std::size_t count = 0;
  Point<double> p;
  while (points.Next(p)) {
    if (count == corners.size()) corners.resize(std::max<std::size_t>(16, 2 * count));
    corners[count++] = p;
  }
  if (count != 0) AddIndexedPolygon<false>(corners.data(), count);
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

  return IsSpike(a, b) ? Merge::kAnnihilated : Merge::kApart;
}

// +1 or -1 for a segment that spans one row, down or up; 0 otherwise. Compared, not
// subtracted: lines of overflowing corners sit at both ends of the rounding clamp.
static int OneRowStep(const PathSegment& s) {
  if (s.line1 == s.line0 + 1) return 1;
  if (s.line0 == s.line1 + 1) return -1;
  return 0;
}

// One row down and straight back at the same rounded x.
bool PathRunLengthGeneratorBuilder::IsSpike(const PathSegment& a, const PathSegment& b) {
  const int step_a = OneRowStep(a);
  if (step_a != 0 && OneRowStep(b) == -step_a) {
    const double ys = static_cast<double>(std::min(a.line0, a.line1)) + 0.5;
    const double xa = a.x0 + (ys - a.y0) * (a.x1 - a.x0) / (a.y1 - a.y0);
    const double xb = b.x0 + (ys - b.y0) * (b.x1 - b.x0) / (b.y1 - b.y0);
    return RoundToPixel(xa) == RoundToPixel(xb);
  }
  return false;
}

// `side(i)` gives the chain's i-th segment in path order.
template <class Side>
void PathRunLengthGeneratorBuilder::StoreEdge(std::size_t count, bool increasing, Side side) {
  // An edge that crosses no row of pixel centres never changes a run.
  const long long first_line = increasing ? side(0).line0 : side(count - 1).line1;
  const long long end_line = increasing ? side(count - 1).line1 : side(0).line0;
  if (end_line <= first_line) return;
  EdgeWriter writer(edges_, corners_, increasing ? -1 : 1);
  if (increasing) {
    for (std::size_t i = 0; i < count; ++i) {
      const PathSegment& s = side(i);
      writer.Side({s.x0, s.y0}, s.line0, {s.x1, s.y1}, s.line1);
    }
  } else {
    for (std::size_t i = count; i-- > 0;) {
      const PathSegment& s = side(i);
      writer.Side({s.x1, s.y1}, s.line1, {s.x0, s.y0}, s.line0);
    }
  }
}

// The segment filter's states over a polygon's sides 0 … count − 1: `merge(a, k)` merges
// side k into pending side a (or cancels both), `commit(k)` hands a side to the chains,
// and `nothing_committed()` tells whether the chains are still empty. The first side is
// held back to the end, so that it can still merge with the closing one; a cancelled
// pair leaves the first pending again while nothing is committed yet. Returns false
// when nothing was committed.
template <class MergeSides, class Commit, class NothingCommitted>
bool PathRunLengthGeneratorBuilder::FilterSides(std::size_t count, MergeSides merge, Commit commit,
                                                NothingCommitted nothing_committed) {
  FilterState state = kFirst;
  std::size_t first_pending = 0;
  std::size_t last_pending = 0;
  for (std::size_t k = 1; k < count; ++k) {
    switch (state) {
      case kEmpty:
        first_pending = k;
        state = kFirst;
        break;
      case kFirst:
        switch (merge(first_pending, k)) {
          case Merge::kMerged:
            break;
          case Merge::kAnnihilated:
            state = kEmpty;
            break;
          case Merge::kApart:
            last_pending = k;
            state = kFirstAndLast;
            break;
        }
        break;
      case kFirstHeld:
        last_pending = k;
        state = kFirstAndLast;
        break;
      case kFirstAndLast:
        switch (merge(last_pending, k)) {
          case Merge::kMerged:
            break;
          case Merge::kApart:
            commit(last_pending);
            last_pending = k;
            break;
          case Merge::kAnnihilated:
            state = nothing_committed() ? kFirst : kFirstHeld;
            break;
        }
        break;
    }
  }
  switch (state) {
    case kEmpty:
    case kFirst:
      return false;
    case kFirstHeld:
      commit(first_pending);
      break;
    case kFirstAndLast:
      switch (merge(last_pending, first_pending)) {
        case Merge::kMerged:
          commit(last_pending);
          break;
        case Merge::kApart:
          commit(last_pending);
          commit(first_pending);
          break;
        case Merge::kAnnihilated:
          break;
      }
      break;
  }
  return true;
}

// The segment filter and the chains, over a polygon's sides by index. A side the
// filter takes in is kept in one array (the scratch chains' sides, which keep their
// capacity, so that a polygon allocates nothing once they fit) and the two chains hold
// indexes into it, so nothing is copied until the edges are stored. The first side is
// held back to the end, so that it can still merge with the closing one; a merge
// rewrites the end of the pending side in place, and the last chain joins the first
// across the start when both go the same way. When every corner lies inside the
// sample box (kInside) every side has outcode 0: none lies beyond the box and no two
// merge, so the filter only drops sides that cross no row and cancels spikes, and the
// outcodes are not computed.
template <bool kInside>
void PathRunLengthGeneratorBuilder::AddIndexedPolygon(const Point<double>* corners,
                                                      std::size_t count) {
  if (count > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("a polygon of more than 2^32 corners");
  // Grown by doubling as sides are taken in, never shrunk: the store grows only to
  // about the most sides a polygon has taken in, not to its corners.
  std::vector<PathSegment>& sides = chains_.sides;
  std::size_t side_count = 0;
  auto append = [&sides, &side_count](const PathSegment& side) {
    if (side_count == sides.size()) sides.resize(std::max<std::size_t>(16, 2 * side_count));
    sides[side_count++] = side;
  };
  if constexpr (kInside) {
    const long long first_line = RoundToPixel(corners[0].y);
    long long previous_line = first_line;
    for (std::size_t i = 1; i < count; ++i) {
      const long long line = RoundToPixel(corners[i].y);
      if (line != previous_line) {
        append({corners[i - 1].x, corners[i - 1].y, corners[i].x, corners[i].y, 0, previous_line,
                line});
      }
      previous_line = line;
    }
    // The closing side, when the data do not close the polygon.
    const Point<double>& last = corners[count - 1];
    if ((last.x != corners[0].x || last.y != corners[0].y) && previous_line != first_line)
      append({last.x, last.y, corners[0].x, corners[0].y, 0, previous_line, first_line});
  } else {
    // What the filter drops at once: a side wholly above the first row of centres or
    // at or below the last, and one in the column band that crosses no row.
    auto take = [&append](const Corner& from, const Corner& to) {
      const std::uint32_t outcode = from.outcode & to.outcode;
      if (outcode & (kAboveSamples | kBelowSamples)) return;
      if (outcode == 0 && from.line == to.line) return;
      append({from.x, from.y, to.x, to.y, outcode, from.line, to.line});
    };
    const Corner first = CornerOf(corners[0]);
    Corner previous = first;
    for (std::size_t i = 1; i < count; ++i) {
      const Corner corner = CornerOf(corners[i]);
      take(previous, corner);
      previous = corner;
    }
    if (previous.x != first.x || previous.y != first.y) take(previous, first);
  }
  if (side_count == 0) return;

  std::vector<std::uint32_t>& first_store = chains_.firstChain;
  std::vector<std::uint32_t>& current_store = chains_.currentChain;
  // Each side is committed once, so the current chain with the first appended holds
  // at most every side.
  if (first_store.size() < side_count) first_store.resize(side_count);
  if (current_store.size() < side_count) current_store.resize(side_count);
  struct IndexChain {
    std::uint32_t* sides;
    std::size_t size = 0;
    bool increasing = false;
  } first_chain{first_store.data()}, current{current_store.data()};
  auto accept = [&sides](IndexChain& chain, std::size_t k) {
    const bool increasing = sides[k].Increasing();
    if (chain.size == 0) {
      chain.increasing = increasing;
    } else if (increasing != chain.increasing) {
      return false;
    }
    chain.sides[chain.size++] = static_cast<std::uint32_t>(k);
    return true;
  };
  auto build = [&](const IndexChain& chain) {
    if (chain.size == 0) return;
    StoreEdge(chain.size, chain.increasing,
              [&](std::size_t i) -> const PathSegment& { return sides[chain.sides[i]]; });
  };
  auto commit = [&](std::size_t k) {
    if (!kInside && sides[k].outcode != 0 && !sides[k].Crosses()) return;
    if (current.size != 0) {
      if (!accept(current, k)) {
        build(current);
        current.size = 0;
        accept(current, k);
      }
    } else if (!accept(first_chain, k)) {
      accept(current, k);
    }
  };
  // Side b merged into side a, which then ends where b ends.
  auto merge = [&](std::size_t a, std::size_t b) {
    if (kInside) return IsSpike(sides[a], sides[b]) ? Merge::kAnnihilated : Merge::kApart;
    return MergeInto(sides[a], sides[b]);
  };

  if (!FilterSides(side_count, merge, commit, [&] { return first_chain.size == 0; })) return;
  if (first_chain.size != 0 && current.size != 0 && first_chain.increasing == current.increasing) {
    std::copy_n(first_chain.sides, first_chain.size, current.sides + current.size);
    current.size += first_chain.size;
    build(current);
  } else {
    build(current);
    build(first_chain);
  }
}

// What the indexed filter does with a small polygon inside the sample box, without its
// side store and chains. Inside the box no side lies beyond it and none merges with
// another, so the filter only drops the sides that cross no row and cancels spikes:
// here the crossing sides are listed by their first corner (the closing side last), the
// filter's states run over their indexes with its own spike test on the pairs it
// compares, and what it commits is split into runs of one direction in commit order.
// The first run is what the first chain holds; each later run is what the current chain
// holds until the direction turns and it is stored; the last run joins the first when
// both go the same way, else is stored before it. Each run becomes one edge, stored
// straight from the corners: the same edges, in the same order, as the filter's.
void PathRunLengthGeneratorBuilder::AddSmallInsidePolygon(const Point<double>* corners,
                                                          std::size_t count,
                                                          const long long* lines) {
  // The crossing sides with the rows they cross, signed, and their direction as a
  // chain reads it (PathSegment::Increasing). When the data close the polygon the
  // closing side joins equal corners and crosses nothing.
  std::uint8_t from[kMaxSmallCorners];
  std::uint8_t to[kMaxSmallCorners];
  long long rows[kMaxSmallCorners];
  bool up[kMaxSmallCorners];
  // The filter's spike test, asked only of sides that cross one row each, in opposite
  // directions (it answers no for any other pair).
  auto may_cancel = [](long long a, long long b) { return (a == 1 || a == -1) && b == -a; };
  // Only neighbours are compared until a pair cancels, so without a neighbouring pair
  // that may cancel the filter commits every side in order, the first last. The pairs
  // are looked at while the sides are listed, the last with the first after them.
  bool spikes = false;
  long long previous_rows = 0;  // of the last crossing side listed
  std::size_t m = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t j = i + 1 == count ? 0 : i + 1;
    const long long crossed = lines[j] - lines[i];
    from[m] = static_cast<std::uint8_t>(i);
    to[m] = static_cast<std::uint8_t>(j);
    rows[m] = crossed;
    up[m] = corners[i].y < corners[j].y;
    spikes |= may_cancel(previous_rows, crossed);
    previous_rows = crossed != 0 ? crossed : previous_rows;
    m += crossed != 0 ? 1 : 0;
  }
  // A closed polygon crosses each row it leaves again, so it has no single crossing
  // side; the filter keeps nothing of fewer than two.
  if (m < 2) return;
  spikes |= may_cancel(rows[m - 1], rows[0]);
  // Room for the first run's commits again behind the last, where a joined chain reads
  // them.
  std::uint8_t committed[2 * kMaxSmallCorners];
  std::size_t n = 0;
  if (!spikes) {
    for (std::size_t k = 1; k < m; ++k)
      committed[n++] = static_cast<std::uint8_t>(k);
    committed[n++] = 0;
  } else {
    // Inlined by force: GCC otherwise keeps a call per compared pair.
    auto merge = [&](std::size_t a, std::size_t b) __attribute__((always_inline)) {
      if (!may_cancel(rows[a], rows[b])) return Merge::kApart;
      auto side = [&](std::size_t s) -> PathSegment {
        const std::size_t p = from[s];
        const std::size_t q = to[s];
        return {corners[p].x, corners[p].y, corners[q].x, corners[q].y, 0, lines[p], lines[q]};
      };
      return IsSpike(side(a), side(b)) ? Merge::kAnnihilated : Merge::kApart;
    };
    auto commit = [&](std::size_t k) { committed[n++] = static_cast<std::uint8_t>(k); };
    if (!FilterSides(m, merge, commit, [&] { return n == 0; })) return;
  }

  // The runs of one direction in commit order, as their first position and length.
  std::uint8_t run_start[kMaxSmallCorners];
  std::uint8_t run_length[kMaxSmallCorners];
  std::size_t runs = 0;
  for (std::size_t p = 0; p < n;) {
    const bool direction = up[committed[p]];
    std::size_t q = p + 1;
    while (q < n && up[committed[q]] == direction)
      ++q;
    run_start[runs] = static_cast<std::uint8_t>(p);
    run_length[runs] = static_cast<std::uint8_t>(q - p);
    ++runs;
    p = q;
  }
  // The chains in the order they are stored; a joined chain reads the commits from
  // the last run's start on into the copy of the first run.
  std::size_t order[kMaxSmallCorners];
  std::size_t chains = 0;
  for (std::size_t r = 1; r + 1 < runs; ++r)
    order[chains++] = r;
  if (runs > 1 && up[committed[run_start[runs - 1]]] == up[committed[0]]) {
    std::copy_n(committed, run_length[0], committed + n);
    run_length[runs - 1] = static_cast<std::uint8_t>(run_length[runs - 1] + run_length[0]);
    order[chains++] = runs - 1;
  } else {
    if (runs > 1) order[chains++] = runs - 1;
    order[chains++] = 0;
  }

  for (std::size_t c = 0; c < chains; ++c) {
    const std::uint8_t* chain = committed + run_start[order[c]];
    const std::size_t length = run_length[order[c]];
    const bool increasing = up[chain[0]];
    const std::size_t head = from[chain[0]];
    const std::size_t tail = to[chain[length - 1]];
    const long long first_line = increasing ? lines[head] : lines[tail];
    const long long end_line = increasing ? lines[tail] : lines[head];
    // Contiguous sides of one direction always cross rows, but sides that a cancelled
    // spike separated need not: such a chain is no edge, as StoreEdge decides.
    if (end_line <= first_line) continue;
    // Most chains are sides joined end to end: their corners go straight in. Sides
    // that a dropped one separates take the writer, which decides on each gap.
    bool joined = true;
    for (std::size_t i = 1; i < length; ++i)
      joined &= from[chain[i]] == to[chain[i - 1]];
    if (joined) {
      edges_.push_back({static_cast<std::uint32_t>(corners_.size()),
                        static_cast<std::uint32_t>(length + 1), first_line, end_line,
                        increasing ? -1 : 1});
      if (increasing) {
        corners_.push_back(corners[head]);
        for (std::size_t i = 0; i < length; ++i)
          corners_.push_back(corners[to[chain[i]]]);
      } else {
        corners_.push_back(corners[tail]);
        for (std::size_t i = length; i-- > 0;)
          corners_.push_back(corners[from[chain[i]]]);
      }
      continue;
    }
    EdgeWriter writer(edges_, corners_, increasing ? -1 : 1);
    if (increasing) {
      for (std::size_t i = 0; i < length; ++i) {
        const std::size_t p = from[chain[i]], q = to[chain[i]];
        writer.Side(corners[p], lines[p], corners[q], lines[q]);
      }
    } else {
      for (std::size_t i = length; i-- > 0;) {
        const std::size_t p = to[chain[i]], q = from[chain[i]];
        writer.Side(corners[p], lines[p], corners[q], lines[q]);
      }
    }
  }
}

}  // namespace QorSc
