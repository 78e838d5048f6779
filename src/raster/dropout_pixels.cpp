#include "raster/dropout_pixels.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "raster/pixel_rounding.h"
#include "raster/point_enumerator.h"

namespace QorSc {
namespace {

// Where an edge crosses the centre line of one row (or column): the position along
// it and the edge's direction.
struct Crossing {
  double at;
  long long line;
  int winding;
};

class CrossingCollector {
 public:
  // How many centre lines the edge from p to q crosses along one axis: line j when
  // round(min) <= j < round(max), as in the path generator.
  static std::size_t Count(double p_along, double q_along) {
    const long long a = RoundToPixel(p_along), b = RoundToPixel(q_along);
    return static_cast<std::size_t>(a < b ? b - a : a - b);
  }

  void Reserve(std::size_t count) { crossings_.reserve(count); }

  // Adds the crossings of the edge from p to q with the rows' centre lines (and,
  // through the caller swapping the axes, with the columns').
  void Add(double p_across, double p_along, double q_across, double q_along) {
    if (p_along == q_along) return;
    const bool down = q_along > p_along;
    const long long first = RoundToPixel(down ? p_along : q_along);
    const long long end = RoundToPixel(down ? q_along : p_along);
    if (first >= end) return;
    const double slope = (q_across - p_across) / (q_along - p_along);
    const int winding = down ? 1 : -1;
    for (long long j = first; j < end; ++j) {
      const double centre = static_cast<double>(j) + 0.5;
      crossings_.push_back({p_across + (centre - p_along) * slope, j, winding});
    }
    lowest_ = std::min(lowest_, first);
    highest_ = std::max(highest_, end - 1);
  }

  // Appends the dropout pixel of every inside span without a pixel centre; `rows`
  // says whether lines are rows (pixel (middle, line)) or columns (pixel (line,
  // middle)).
  void Spans(bool nonZero, bool rows, std::vector<DropoutPixel>& out) {
    const std::vector<Crossing>& sorted = SortedByLineThenPosition();
    std::size_t i = 0;
    while (i < sorted.size()) {
      const long long line = sorted[i].line;
      int sum = 0;
      double start = 0.0;
      for (; i < sorted.size() && sorted[i].line == line; ++i) {
        const bool was_inside = nonZero ? sum != 0 : (sum & 1) != 0;
        sum += sorted[i].winding;
        const bool inside = nonZero ? sum != 0 : (sum & 1) != 0;
        if (!was_inside && inside) start = sorted[i].at;
        if (was_inside && !inside && RoundToPixel(start) == RoundToPixel(sorted[i].at)) {
          const auto middle = static_cast<long long>(std::floor(0.5 * (start + sorted[i].at)));
          out.push_back(rows ? DropoutPixel{middle, line} : DropoutPixel{line, middle});
        }
      }
    }
  }

 private:
  // The crossings grouped by line (a counting sort: a closed outline crosses every
  // line between its lowest and highest, so the lines are about as many as the
  // crossings), then each line's few crossings by position. Both steps are stable, so
  // crossings at the same position keep the order of the outline. Sorting the whole
  // list at once was most of the cost of a text page's collection.
  const std::vector<Crossing>& SortedByLineThenPosition() {
    auto by_position = [](const Crossing& a, const Crossing& b) { return a.at < b.at; };
    if (crossings_.empty()) return crossings_;
    const auto span = static_cast<unsigned long long>(highest_ - lowest_);
    if (span > 2 * crossings_.size() + 1024) {
      // Subpaths far apart: as many counters as lines would waste memory.
      std::stable_sort(crossings_.begin(), crossings_.end(),
                       [](const Crossing& a, const Crossing& b) {
                         return a.line != b.line ? a.line < b.line : a.at < b.at;
                       });
      return crossings_;
    }
    const auto lines = static_cast<std::size_t>(span) + 1;
    starts_.assign(lines + 1, 0);
    for (const Crossing& c : crossings_)
      ++starts_[static_cast<std::size_t>(c.line - lowest_) + 1];
    for (std::size_t l = 0; l < lines; ++l)
      starts_[l + 1] += starts_[l];
    sorted_.resize(crossings_.size());
    for (const Crossing& c : crossings_)
      sorted_[starts_[static_cast<std::size_t>(c.line - lowest_)]++] = c;
    // starts_[l] is now the end of line l. A row through a line of text meets its
    // glyphs from left to right, so its crossings come nearly sorted: insertion costs
    // their few inversions, and a line that needs many more moves than it has
    // crossings is finished by a merge sort, which keeps the order of equal ones.
    std::size_t begin = 0;
    for (std::size_t l = 0; l < lines; ++l) {
      const std::size_t end = starts_[l];
      std::size_t budget = kMovesPerCrossing * (end - begin);
      for (std::size_t k = begin + 1; k < end; ++k) {
        const Crossing c = sorted_[k];
        std::size_t m = k;
        for (; m > begin && c.at < sorted_[m - 1].at && budget > 0; --m, --budget)
          sorted_[m] = sorted_[m - 1];
        sorted_[m] = c;
        if (budget == 0) {
          std::stable_sort(sorted_.begin() + static_cast<std::ptrdiff_t>(begin),
                           sorted_.begin() + static_cast<std::ptrdiff_t>(end), by_position);
          break;
        }
      }
      begin = end;
    }
    return sorted_;
  }

  static constexpr std::size_t kMovesPerCrossing = 8;

  std::vector<Crossing> crossings_;
  std::vector<Crossing> sorted_;
  std::vector<std::size_t> starts_;
  long long lowest_ = std::numeric_limits<long long>::max();
  long long highest_ = std::numeric_limits<long long>::min();
};

}  // namespace

std::vector<DropoutPixel> FindDropoutPixels(const Environment& env, const Morv::Compound& compound,
                                            const Morv::MilliPointTransformation& t,
                                            const QorMath::Rectangle<long long>& box) {
  // The flattened polygons first, so that the crossings are counted (and bounded)
  // before any is stored, and their lists are allocated once.
  std::vector<Point<double>> points;
  std::vector<std::size_t> polygon_ends;
  std::size_t row_count = 0, column_count = 0;
  auto walk = [&](PointEnumerator& enumerator) {
    Point<double> p;
    const std::size_t first = points.size();
    while (enumerator.Next(p)) {
      if (points.size() > first) {
        const Point<double>& previous = points.back();
        row_count += CrossingCollector::Count(previous.y, p.y);
        column_count += CrossingCollector::Count(previous.x, p.x);
        if (row_count > kMaxDropoutCrossings || column_count > kMaxDropoutCrossings) return false;
      }
      points.push_back(p);
    }
    if (points.size() > first) {
      // Each polygon is closed back to its first point, as the generator closes it.
      row_count += CrossingCollector::Count(points.back().y, points[first].y);
      column_count += CrossingCollector::Count(points.back().x, points[first].x);
      polygon_ends.push_back(points.size());
    }
    return row_count <= kMaxDropoutCrossings && column_count <= kMaxDropoutCrossings;
  };
  for (const Morv::Subpath& subpath : compound.GetSubpaths()) {
    bool bounded;
    if (const std::vector<Morv::MilliPointPoint>* corners = subpath.VectorPoints()) {
      VectorPointEnumerator enumerator(*corners, t, env);
      bounded = walk(enumerator);
    } else {
      SubpathPointEnumerator enumerator(subpath, t, env);
      bounded = walk(enumerator);
    }
    if (!bounded) return {};
  }
  CrossingCollector rows, columns;
  rows.Reserve(row_count);
  columns.Reserve(column_count);
  std::size_t begin = 0;
  for (const std::size_t end : polygon_ends) {
    for (std::size_t i = begin; i < end; ++i) {
      const Point<double>& p = points[i];
      const Point<double>& q = points[i + 1 < end ? i + 1 : begin];
      rows.Add(p.x, p.y, q.x, q.y);
      columns.Add(p.y, p.x, q.y, q.x);
    }
    begin = end;
  }
  const bool non_zero = compound.GetWindingRule() == Morv::kNonZero;
  std::vector<DropoutPixel> pixels;
  rows.Spans(non_zero, true, pixels);
  columns.Spans(non_zero, false, pixels);
  std::erase_if(pixels, [&](const DropoutPixel& d) {
    return d.x < box.left || d.x >= box.right || d.y < box.top || d.y >= box.bottom;
  });
  std::sort(pixels.begin(), pixels.end(), [](const DropoutPixel& a, const DropoutPixel& b) {
    return a.y != b.y ? a.y < b.y : a.x < b.x;
  });
  pixels.erase(std::unique(pixels.begin(), pixels.end()), pixels.end());
  return pixels;
}

}  // namespace QorSc
