#include "raster/dropout_pixels.h"

#include <algorithm>

#include "raster/pixel_rounding.h"
#include "raster/point_enumerator.h"

namespace QorSc {
namespace {

// Where an edge crosses the centre line of one row (or column): the position along
// it and the edge's direction.
struct Crossing {
  long long line;
  double at;
  int winding;

  bool operator<(const Crossing& o) const { return line != o.line ? line < o.line : at < o.at; }
};

class CrossingCollector {
 public:
  // Adds the crossings of the edge from p to q with the rows' centre lines (and,
  // through the caller swapping the axes, with the columns'). An edge crosses line j
  // when round(min) <= j < round(max), as in the path generator.
  bool Add(double p_across, double p_along, double q_across, double q_along) {
    if (p_along == q_along) return true;
    const bool down = q_along > p_along;
    const long long first = RoundToPixel(down ? p_along : q_along);
    const long long end = RoundToPixel(down ? q_along : p_along);
    if (end - first > static_cast<long long>(kMaxDropoutCrossings - crossings_.size())) {
      return false;
    }
    const double slope = (q_across - p_across) / (q_along - p_along);
    for (long long j = first; j < end; ++j) {
      const double centre = static_cast<double>(j) + 0.5;
      crossings_.push_back({j, p_across + (centre - p_along) * slope, down ? 1 : -1});
    }
    return true;
  }

  // Appends the dropout pixel of every inside span without a pixel centre; `rows`
  // says whether lines are rows (pixel (middle, line)) or columns (pixel (line,
  // middle)).
  void Spans(bool nonZero, bool rows, std::vector<DropoutPixel>& out) {
    std::sort(crossings_.begin(), crossings_.end());
    std::size_t i = 0;
    while (i < crossings_.size()) {
      const long long line = crossings_[i].line;
      int sum = 0;
      double start = 0.0;
      for (; i < crossings_.size() && crossings_[i].line == line; ++i) {
        const bool was_inside = nonZero ? sum != 0 : (sum & 1) != 0;
        sum += crossings_[i].winding;
        const bool inside = nonZero ? sum != 0 : (sum & 1) != 0;
        if (!was_inside && inside) start = crossings_[i].at;
        if (was_inside && !inside && RoundToPixel(start) == RoundToPixel(crossings_[i].at)) {
          const auto middle = static_cast<long long>(std::floor(0.5 * (start + crossings_[i].at)));
          out.push_back(rows ? DropoutPixel{middle, line} : DropoutPixel{line, middle});
        }
      }
    }
  }

 private:
  std::vector<Crossing> crossings_;
};

}  // namespace

std::vector<DropoutPixel> FindDropoutPixels(const Environment& env, const Morv::Compound& compound,
                                            const Morv::MilliPointTransformation& t,
                                            const QorMath::Rectangle<long long>& box) {
  CrossingCollector rows, columns;
  bool bounded = true;
  auto edge = [&](const Point<double>& p, const Point<double>& q) {
    bounded = bounded && rows.Add(p.x, p.y, q.x, q.y) && columns.Add(p.y, p.x, q.y, q.x);
  };
  // Each polygon closed back to its first point, as the generator closes it.
  auto walk = [&](PointEnumerator& points) {
    Point<double> first, previous, p;
    if (!points.Next(first)) return;
    previous = first;
    while (bounded && points.Next(p)) {
      edge(previous, p);
      previous = p;
    }
    edge(previous, first);
  };
  for (const Morv::Subpath& subpath : compound.GetSubpaths()) {
    if (const std::vector<Morv::MilliPointPoint>* corners = subpath.VectorPoints()) {
      VectorPointEnumerator points(*corners, t, env);
      walk(points);
    } else {
      SubpathPointEnumerator points(subpath, t, env);
      walk(points);
    }
    if (!bounded) return {};
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
