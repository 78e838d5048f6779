// The readable part of a placed image: the unit square cut by half-planes in its
// own coordinates, once for the visible box and once for the lines it spans.

#include "image/sample_area.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace QorPdf::internal {
namespace {

struct UnitPoint {
  double x;
  double y;
};

// The points of `polygon` (convex) where k.x·x + k.y·y + k0 >= 0, by cutting each edge.
std::vector<UnitPoint> Cut(const std::vector<UnitPoint>& polygon, double kx, double ky, double k0) {
  std::vector<UnitPoint> kept;
  const std::size_t n = polygon.size();
  for (std::size_t i = 0; i < n; ++i) {
    const UnitPoint& a = polygon[i];
    const UnitPoint& b = polygon[(i + 1) % n];
    const double da = kx * a.x + ky * a.y + k0;
    const double db = kx * b.x + ky * b.y + k0;
    if (da >= 0.0) kept.push_back(a);
    if ((da >= 0.0) != (db >= 0.0)) {
      const double t = da / (da - db);
      kept.push_back({a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t});
    }
  }
  return kept;
}

// Column and row fractions spanned by the unit square, grown by `gx` and `gy`, where
// world y lies in [y0, y1] and, when `x_too`, world x in [x0, x1]; empty when none.
SampleArea Spanned(const Morv::MilliPointTransformation& m, double gx, double gy, double x0,
                   double x1, double y0, double y1, bool x_too) {
  std::vector<UnitPoint> polygon{
      {-gx, -gy}, {1.0 + gx, -gy}, {1.0 + gx, 1.0 + gy}, {-gx, 1.0 + gy}};
  // World x = a·x + c·y + e, world y = b·x + d·y + f.
  polygon = Cut(polygon, m.b, m.d, m.f - y0);
  polygon = Cut(polygon, -m.b, -m.d, y1 - m.f);
  if (x_too) {
    polygon = Cut(polygon, m.a, m.c, m.e - x0);
    polygon = Cut(polygon, -m.a, -m.c, x1 - m.e);
  }
  SampleArea area{1.0, 0.0, 1.0, 0.0};
  for (const UnitPoint& p : polygon) {
    area.column0 = std::min(area.column0, p.x);
    area.column1 = std::max(area.column1, p.x);
    area.row0 = std::min(area.row0, 1.0 - p.y);
    area.row1 = std::max(area.row1, 1.0 - p.y);
  }
  return area;
}

void Join(double& from, double& to, double other_from, double other_to) {
  if (other_from > other_to) return;
  if (from > to) {
    from = other_from;
    to = other_to;
    return;
  }
  from = std::min(from, other_from);
  to = std::max(to, other_to);
}

}  // namespace

bool SampleArea::Contains(const SampleArea& other) const {
  if (other.column0 > other.column1 || other.row0 > other.row1) return true;
  return column0 <= other.column0 && other.column1 <= column1 && row0 <= other.row0 &&
         other.row1 <= row1;
}

SampleRange SampleRangeOf(double from, double to, std::size_t count) {
  if (!(from <= to)) return {};
  const double n = static_cast<double>(count);
  const double margin = 2.0 + std::floor(n / 1000.0);
  const double first = std::floor(std::clamp(from, 0.0, 1.0) * n) - margin;
  const double end = std::floor(std::clamp(to, 0.0, 1.0) * n) + 1.0 + margin;
  return {static_cast<std::size_t>(std::clamp(first, 0.0, n)),
          static_cast<std::size_t>(std::clamp(end, 0.0, n))};
}

std::optional<SampleArea> ReadableArea(const Morv::MilliPointTransformation& m,
                                       const Morv::MilliPointRectangle& visible, double pixel) {
  const double values[] = {
      m.a,  m.b, m.c, m.d, m.e, m.f, visible.X(), visible.Y(), visible.Width(), visible.Height(),
      pixel};
  if (!std::all_of(std::begin(values), std::end(values), [](double v) { return std::isfinite(v); }))
    return std::nullopt;
  const double det = m.a * m.d - m.b * m.c;
  if (!(det != 0.0) || !(pixel > 0.0)) return std::nullopt;
  // Pixels whose centres a clip or the page box holds lie within it, give or take the
  // flattening of curved clips and the widening of thin glyph stems: two pixels cover
  // both, and a pixel count rounded at the page's edge.
  const double slack = 2.0 * pixel;
  const double x0 = visible.X() - slack;
  const double x1 = visible.X() + std::max(visible.Width(), 0.0) + slack;
  const double y0 = visible.Y() - slack;
  const double y1 = visible.Y() + std::max(visible.Height(), 0.0) + slack;
  // A line's range of the picture begins and ends at the pixels whose centres are
  // nearest its edges, up to a pixel outside: the unit square grows by the slack along
  // world x, in its own coordinates.
  const double gx = std::fabs(m.d) * slack / std::fabs(det);
  const double gy = std::fabs(m.b) * slack / std::fabs(det);
  SampleArea area = Spanned(m, gx, gy, x0, x1, y0, y1, true);
  // Device lines are world lines of constant y. An index is held along a line when
  // the picture rises by less than half a pixel along that index's edge: the row when
  // its top edge (world (a, b)) does, the column when its left edge ((c, d)) does; a
  // render with finer pixels never holds more. The held index is the one where the
  // picture's range on the line begins: anywhere on a visible line.
  const bool row_held = std::fabs(m.b) < 0.5005 * pixel;
  const bool column_held = std::fabs(m.d) < 0.5005 * pixel;
  if (row_held || column_held) {
    const SampleArea lines = Spanned(m, gx, gy, x0, x1, y0, y1, false);
    if (column_held) Join(area.column0, area.column1, lines.column0, lines.column1);
    if (row_held) Join(area.row0, area.row1, lines.row0, lines.row1);
  }
  // Within the image, so that an area reaching past its edges is contained in the whole.
  for (double* v : {&area.column0, &area.column1, &area.row0, &area.row1})
    *v = std::clamp(*v, 0.0, 1.0);
  return area;
}

}  // namespace QorPdf::internal
