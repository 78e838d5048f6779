// A slow, obviously correct rasteriser to check the run-length generators against.
//
// Per pixel centre: sum the windings of the polygon sides crossed on that line left
// of (or at) the pixel, with the crossing rules of the library (a side is crossed
// on line j when round(ymin) <= j < round(ymax); its crossing covers column i when
// round(x at j + 0.5) <= i), then apply the winding rule. Polygons are in internal
// coordinates and are closed implicitly.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "qormath/point.h"
#include "qormath/rectangle.h"
#include "raster/run.h"

namespace QorScTest {

using Polygon = std::vector<QorMath::Point<double>>;

inline long long Round(double v) {
  return std::llround(v);
}

inline bool ReferenceInside(const std::vector<Polygon>& polygons, std::uint32_t rule, long long i,
                            long long j) {
  const double ys = static_cast<double>(j) + 0.5;
  int sum = 0;
  for (const Polygon& poly : polygons) {
    for (std::size_t k = 0; k < poly.size(); ++k) {
      const auto& a = poly[k];
      const auto& b = poly[(k + 1) % poly.size()];
      const bool down = a.y < b.y;  // y grows downward: an increasing side
      const auto& upper = down ? a : b;
      const auto& lower = down ? b : a;
      if (!(Round(upper.y) <= j && j < Round(lower.y))) continue;
      const double x = upper.x + (ys - upper.y) * ((lower.x - upper.x) / (lower.y - upper.y));
      if (Round(x) <= i) sum += down ? -1 : 1;
    }
  }
  return rule == 1 ? sum != 0 : (sum & 1) != 0;
}

// The runs of every line of `box`, from the per-pixel answers.
inline std::vector<QorSc::RunList> ReferenceRuns(const std::vector<Polygon>& polygons,
                                                 std::uint32_t rule,
                                                 const QorMath::Rectangle<long long>& box) {
  std::vector<QorSc::RunList> lines;
  for (long long j = box.top; j < box.bottom; ++j) {
    QorSc::RunList runs;
    for (long long i = box.left; i < box.right; ++i) {
      if (!ReferenceInside(polygons, rule, i, j)) continue;
      if (!runs.empty() && runs.back().End() == i) {
        ++runs.back().length;
      } else {
        runs.push_back({i, 1});
      }
    }
    lines.push_back(runs);
  }
  return lines;
}

}  // namespace QorScTest
