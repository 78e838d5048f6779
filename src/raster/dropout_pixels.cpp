#include "raster/dropout_pixels.h"

#include <algorithm>
#include <cmath>

#include "morv/flatten.h"
#include "raster/pixel_rounding.h"

namespace QorSc {
namespace {

// A crossing's line is the bucket that holds it.
using Crossing = DropoutCrossing;

// The crossings of the centre lines of one axis (rows, or columns through the
// caller swapping the axes), kept in one array grouped by line: the edges are first
// counted per line (a difference array over the lines the outline spans), then each
// crossing is written straight into its line's part. A line's crossings then come
// in the order of the outline, which a row through a line of text meets glyph by
// glyph from left to right: nearly sorted, so insertion costs their few inversions.
// Sorting one list of all crossings was most of the cost of a text page's collection.
// A range of pixel lines, first to last inclusive.
struct PixelLines {
  long long first;
  long long last;
};

// Tells whether two positions of one line round to the same pixel, by stamping each
// pixel with the line being looked at: a pass over the line's crossings, without
// sorting them. Positions outside the range count as its end pixels, which can only
// report a shared pixel where there is none, never miss one.
class SharedCells {
 public:
  // `stamps` is storage lent for the search.
  SharedCells(PixelLines cells, std::vector<std::uint32_t>& stamps)
      : first_(cells.first), last_at_(static_cast<double>(cells.last)), stamps_(stamps) {
    stamps_.assign(static_cast<std::size_t>(cells.last - cells.first) + 1, 0);
  }

  bool Any(const Crossing* begin, const Crossing* end) {
    if (end - begin < 2) return false;
    // A new line: earlier stamps no longer count. Only lines of two crossings or more
    // take a stamp, and there are fewer of those than crossings, so it never wraps.
    ++stamp_;
    for (const Crossing* c = begin; c != end; ++c) {
      std::uint32_t& stamp = stamps_[Index(c->at)];
      if (stamp == stamp_) return true;
      stamp = stamp_;
    }
    return false;
  }

 private:
  // RoundToPixel(at) clamped to the range: clamping the position first (NaN to the
  // first pixel, as RoundToPixel takes it to the lowest) gives the same pixel, the
  // ends being whole, and leaves a value that RoundToPixel's rule rounds without its
  // guards against huge values. This runs once per crossing.
  std::size_t Index(double at) const {
    const double v = at > first_at_ ? (at < last_at_ ? at : last_at_) : first_at_;
    const auto i = static_cast<long long>(v);
    const double fraction = v - static_cast<double>(i);
    const long long cell = i + (fraction >= 0.5 ? 1 : 0) - (fraction <= -0.5 ? 1 : 0);
    return static_cast<std::size_t>(cell - first_);
  }

  long long first_;
  double first_at_ = static_cast<double>(first_);
  double last_at_;
  std::vector<std::uint32_t>& stamps_;
  std::uint32_t stamp_ = 0;
};

class AxisCrossings {
 public:
  // Lines `lowest` to `highest` − 1 may be crossed; edges' ends are given as pixel
  // lines clamped to [lowest, highest].
  // The per-line counts and the crossings live in storage lent for the search.
  AxisCrossings(long long lowest, long long highest, DropoutScratch& scratch)
      : lowest_(lowest), ends_(scratch.lineEnds), crossings_(scratch.crossings) {
    ends_.assign(static_cast<std::size_t>(highest - lowest) + 1, 0);
  }

  // An edge between pixel lines a and b (its ends rounded) crosses the centre lines
  // min(a, b) to max(a, b) − 1, as in the path generator.
  void Count(long long a, long long b) {
    if (a == b) return;
    ++ends_[Index(std::min(a, b))];
    --ends_[Index(std::max(a, b))];
  }

  // After every edge was counted: the part of each line in one array.
  void Place() {
    std::ptrdiff_t running = 0, total = 0;
    for (std::ptrdiff_t& e : ends_) {
      running += e;
      e = total;  // the line's first slot, advanced to its end as crossings are added
      total += running;
    }
    // Every slot is written before it is read: the store only grows (a text's
    // crossings run to megabytes at high resolutions), and is cleared only where it
    // grows.
    if (crossings_.size() < static_cast<std::size_t>(total))
      crossings_.resize(static_cast<std::size_t>(total));
  }

  void Add(double p_across, double p_along, long long p_line, double q_across, double q_along,
           long long q_line) {
    if (p_line == q_line) return;
    const bool down = q_line > p_line;
    const long long first = down ? p_line : q_line;
    const long long end = down ? q_line : p_line;
    const double slope = (q_across - p_across) / (q_along - p_along);
    const int winding = down ? 1 : -1;
    std::ptrdiff_t* slot = ends_.data() + Index(first);
    Crossing* crossings = crossings_.data();
    for (long long j = first; j < end; ++j, ++slot) {
      const double centre = static_cast<double>(j) + 0.5;
      crossings[(*slot)++] = {p_across + (centre - p_along) * slope, winding};
    }
  }

  // Appends the dropout pixel of every inside span without a pixel centre; `rows`
  // says whether lines are rows (pixel (middle, line)) or columns (pixel (line,
  // middle)). The winding rule is a template argument, not a branch per crossing.
  // `cells` holds the pixel lines the crossings' positions round to (those outside
  // are taken as its ends).
  template <bool kNonZero>
  void Spans(bool rows, PixelLines cells, std::vector<std::uint32_t>& stamps,
             std::vector<DropoutPixel>& out) {
    auto is_inside = [](int sum) { return kNonZero ? sum != 0 : (sum & 1) != 0; };
    SharedCells shared(cells, stamps);
    std::size_t begin = 0;
    for (std::size_t l = 0; l + 1 < ends_.size(); ++l) {
      const auto end = static_cast<std::size_t>(ends_[l]);
      // A span without a centre has both ends in one pixel: a line whose crossings
      // all round to different pixels has none, and is neither sorted nor walked.
      // On text above the smallest sizes that is nearly every line.
      if (!shared.Any(crossings_.data() + begin, crossings_.data() + end)) {
        begin = end;
        continue;
      }
      SortLine(begin, end);
      const long long line = lowest_ + static_cast<long long>(l);
      int sum = 0;
      double start = 0.0;
      for (std::size_t i = begin; i < end; ++i) {
        const Crossing& c = crossings_[i];
        const bool was_inside = is_inside(sum);
        sum += c.winding;
        const bool inside = is_inside(sum);
        if (!was_inside && inside) start = c.at;
        // A span of 1.5 or more holds a centre, whatever the rounding of its
        // difference: the pixel lines of its ends are only compared for the rest.
        if (was_inside && !inside && c.at - start < 1.5 &&
            RoundToPixel(start) == RoundToPixel(c.at)) {
          const auto middle = static_cast<long long>(std::floor(0.5 * (start + c.at)));
          out.push_back(rows ? DropoutPixel{middle, line} : DropoutPixel{line, middle});
        }
      }
      begin = end;
    }
  }

 private:
  std::size_t Index(long long line) const { return static_cast<std::size_t>(line - lowest_); }

  // Stable: crossings at the same position keep the outline's order. A line that
  // needs many more moves than it has crossings (a string turned upside down) is
  // finished by a merge sort.
  void SortLine(std::size_t begin, std::size_t end) {
    std::size_t budget = kMovesPerCrossing * (end - begin);
    for (std::size_t k = begin + 1; k < end; ++k) {
      const Crossing c = crossings_[k];
      std::size_t m = k;
      for (; m > begin && c.at < crossings_[m - 1].at && budget > 0; --m, --budget)
        crossings_[m] = crossings_[m - 1];
      crossings_[m] = c;
      if (budget == 0) {
        std::stable_sort(crossings_.data() + begin, crossings_.data() + end,
                         [](const Crossing& a, const Crossing& b) { return a.at < b.at; });
        return;
      }
    }
  }

  static constexpr std::size_t kMovesPerCrossing = 8;

  long long lowest_;
  std::vector<std::ptrdiff_t>& ends_;
  std::vector<Crossing>& crossings_;
};

std::size_t LinesCrossed(long long a, long long b) {
  return static_cast<std::size_t>(a < b ? b - a : a - b);
}

// The search over the subpaths `for_each_subpath(visit)` hands to `visit` in order,
// as one compound under `windingRule`; `visit` returns false to stop the walk.
template <class ForEachSubpath>
std::vector<DropoutPixel> Search(const Environment& env, ForEachSubpath for_each_subpath,
                                 std::uint32_t windingRule, const Morv::MilliPointTransformation& t,
                                 const QorMath::Rectangle<long long>& box, FlatOutline* flattened,
                                 DropoutScratch& scratch) {
  // Only lines inside the box can give a pixel that is kept (a row's pixels lie on
  // it, a column's in it), and a span is found from its own line's crossings alone:
  // the lines are limited to the box, so subpaths far apart or far outside cost no
  // counter for every line between. Clamping an edge's ends to the box's lines keeps
  // its crossings of the lines inside.
  if (box.left >= box.right || box.top >= box.bottom) return {};
  auto row_of = [&](long long row) { return std::clamp(row, box.top, box.bottom); };
  auto column_of = [&](long long column) { return std::clamp(column, box.left, box.right); };
  // The flattened polygons first, so that the crossings are counted (and bounded, by
  // the whole outline's) before any is stored: the points of each, one after another,
  // and beside them their pixel lines clamped to the box's lines (each point ends two
  // edges, read along both axes).
  std::vector<Morv::MilliPointPoint>& world = scratch.world;
  std::vector<Point<double>>& points = scratch.points;
  std::vector<long long>& rows = scratch.rows;
  std::vector<long long>& columns = scratch.columns;
  std::vector<std::size_t>& polygon_ends = scratch.polygonEnds;
  points.clear();
  polygon_ends.clear();
  std::size_t row_count = 0, column_count = 0;
  long long top = box.bottom, bottom = box.top, left = box.right, right = box.left;
  const double flatness = Morv::CurveErrorForTransformation(env.GetCurveError(), t);
  auto walk = [&](const Morv::Subpath& subpath) {
    world.clear();
    Morv::ForEachFlatPoint(subpath, flatness, [&world](const Morv::MilliPointPoint& p) {
      world.push_back(p);
      return true;
    });
    if (world.empty()) return true;
    const std::size_t first = points.size();
    const std::size_t end = first + world.size();
    points.resize(end);
    // Only grown: every line below `end` is written before it is read.
    if (rows.size() < end) {
      rows.resize(end);
      columns.resize(end);
    }
    // Each point placed as a point enumerator places it (the same two maps, bit for
    // bit), a subpath at a time.
    env.TransformToInternal(t, world.data(), world.size(), points.data() + first);
    const long long first_row = RoundToPixel(points[first].y);
    const long long first_column = RoundToPixel(points[first].x);
    long long previous_row = first_row, previous_column = first_column;
    for (std::size_t i = first; i < end; ++i) {
      const long long row = RoundToPixel(points[i].y), column = RoundToPixel(points[i].x);
      row_count += LinesCrossed(previous_row, row);
      column_count += LinesCrossed(previous_column, column);
      // Checked at every point, so that the sums cannot wrap.
      if (row_count > kMaxDropoutCrossings || column_count > kMaxDropoutCrossings) return false;
      previous_row = row;
      previous_column = column;
      rows[i] = row_of(row);
      columns[i] = column_of(column);
      top = std::min(top, rows[i]);
      bottom = std::max(bottom, rows[i]);
      left = std::min(left, columns[i]);
      right = std::max(right, columns[i]);
    }
    // Each polygon is closed back to its first point, as the generator closes it.
    row_count += LinesCrossed(previous_row, first_row);
    column_count += LinesCrossed(previous_column, first_column);
    polygon_ends.push_back(end);
    return row_count <= kMaxDropoutCrossings && column_count <= kMaxDropoutCrossings;
  };
  if (!for_each_subpath(walk) || points.empty()) return {};
  const bool non_zero = windingRule == Morv::kNonZero;
  std::vector<DropoutPixel> pixels;
  // Rows (lines are y, positions x) and then columns, through the same steps.
  auto axis = [&](bool along_rows, long long lowest, long long highest, PixelLines cells) {
    if (lowest >= highest) return;
    AxisCrossings crossings(lowest, highest, scratch);
    // Every edge in the outline's order, each polygon closed by its last one.
    auto for_each_edge = [&](auto&& edge) {
      std::size_t begin = 0;
      for (const std::size_t end : polygon_ends) {
        for (std::size_t i = begin; i + 1 < end; ++i)
          edge(i, i + 1);
        edge(end - 1, begin);
        begin = end;
      }
    };
    const std::vector<long long>& lines = along_rows ? rows : columns;
    for_each_edge([&](std::size_t p, std::size_t q) { crossings.Count(lines[p], lines[q]); });
    crossings.Place();
    if (along_rows) {
      for_each_edge([&](std::size_t p, std::size_t q) {
        crossings.Add(points[p].x, points[p].y, rows[p], points[q].x, points[q].y, rows[q]);
      });
    } else {
      for_each_edge([&](std::size_t p, std::size_t q) {
        crossings.Add(points[p].y, points[p].x, columns[p], points[q].y, points[q].x, columns[q]);
      });
    }
    if (non_zero) {
      crossings.Spans<true>(along_rows, cells, scratch.stamps, pixels);
    } else {
      crossings.Spans<false>(along_rows, cells, scratch.stamps, pixels);
    }
  };
  // A crossing lies between its edge's corners, whose pixels (clamped to the box's
  // lines) are within these: one more on each side for the crossings' own rounding.
  axis(true, top, bottom, {left - 1, right + 1});
  axis(false, left, right, {top - 1, bottom + 1});
  if (flattened != nullptr) {
    // Exactly sized copies, for the record that keeps them.
    flattened->points = points;
    flattened->ends = polygon_ends;
  }
  std::erase_if(pixels, [&](const DropoutPixel& d) {
    return d.x < box.left || d.x >= box.right || d.y < box.top || d.y >= box.bottom;
  });
  std::sort(pixels.begin(), pixels.end(), [](const DropoutPixel& a, const DropoutPixel& b) {
    return a.y != b.y ? a.y < b.y : a.x < b.x;
  });
  pixels.erase(std::unique(pixels.begin(), pixels.end()), pixels.end());
  return pixels;
}

}  // namespace

std::vector<DropoutPixel> FindDropoutPixels(const Environment& env, const Morv::Compound& compound,
                                            const Morv::MilliPointTransformation& t,
                                            const QorMath::Rectangle<long long>& box,
                                            FlatOutline* flattened, DropoutScratch* scratch) {
  auto for_each_subpath = [&compound](auto&& visit) {
    for (const Morv::Subpath& subpath : compound.GetSubpaths()) {
      if (!visit(subpath)) return false;
    }
    return true;
  };
  DropoutScratch own;
  return Search(env, for_each_subpath, compound.GetWindingRule(), t, box, flattened,
                scratch != nullptr ? *scratch : own);
}

std::vector<DropoutPixel> FindDropoutPixels(
    const Environment& env, const std::vector<std::shared_ptr<const Morv::Compound>>& compounds,
    std::uint32_t windingRule, const Morv::MilliPointTransformation& t,
    const QorMath::Rectangle<long long>& box, FlatOutline* flattened, DropoutScratch* scratch) {
  auto for_each_subpath = [&compounds](auto&& visit) {
    for (const auto& compound : compounds) {
      for (const Morv::Subpath& subpath : compound->GetSubpaths()) {
        if (!visit(subpath)) return false;
      }
    }
    return true;
  };
  DropoutScratch own;
  return Search(env, for_each_subpath, windingRule, t, box, flattened,
                scratch != nullptr ? *scratch : own);
}

}  // namespace QorSc
