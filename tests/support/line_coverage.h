// How a rendered line covers the pixels along it: the columns (for lines closer to
// horizontal) or rows it leaves without ink, and its thickness across. Used by the
// hairline tests of the library and of the command-line tool.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace QorScTest {

struct LineCoverage {
  long long gaps = 0;      // columns (or rows) along the line without ink
  long long thickest = 0;  // the most inked pixels in one column (or row)
  long long total = 0;     // inked pixels anywhere
};

// `ink` holds `height` rows of `width` values, 0 for no ink. The segment runs from
// (x0, y0) to (x1, y1) in pixels (y down); columns or rows within a pixel of either
// end are not walked, so butt ends and their rounding do not count.
inline LineCoverage MeasureLine(const std::vector<unsigned char>& ink, long long width,
                                long long height, double x0, double y0, double x1, double y1) {
  auto at = [&](long long x, long long y) {
    return ink[static_cast<std::size_t>(y * width + x)] != 0;
  };
  const bool by_column = std::fabs(x1 - x0) >= std::fabs(y1 - y0);
  const double from = by_column ? std::min(x0, x1) : std::min(y0, y1);
  const double to = by_column ? std::max(x0, x1) : std::max(y0, y1);
  const long long across = by_column ? height : width;
  LineCoverage c;
  for (const unsigned char v : ink)
    c.total += v != 0;
  for (auto i = static_cast<long long>(std::ceil(from + 1.0));
       static_cast<double>(i) + 1.0 < to - 1.0; ++i) {
    long long inked = 0;
    for (long long j = 0; j < across; ++j)
      inked += by_column ? at(i, j) : at(j, i);
    if (inked == 0) ++c.gaps;
    c.thickest = std::max(c.thickest, inked);
  }
  return c;
}

}  // namespace QorScTest
