// The cell render: collection per lattice copy, one line renderer over the raster.

#include "collect/tiling_cell.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "collect/object_collector.h"
#include "frame/conversion_pools.h"
#include "frame/line_renderer.h"
#include "qordoc/content.h"

namespace QorSc {
namespace {

// The offsets k whose copy of [lo, hi] (shifted by k·step) meets [from, to],
// touching included, ascending; at most `limit` nearest to 0.
std::pair<long long, long long> CopyRange(double lo, double hi, double step, double from, double to,
                                          long long limit) {
  const double a = (from - hi) / step;
  const double b = (to - lo) / step;
  long long first = static_cast<long long>(std::floor(std::max(std::min(a, b), -1e9)));
  long long last = static_cast<long long>(std::ceil(std::min(std::max(a, b), 1e9)));
  const long long half = limit / 2;
  first = std::max(first, -half);
  last = std::min(last, first + limit - 1);
  return {first, last};
}

}  // namespace

std::shared_ptr<const CellRaster> RenderTilingCell(const QorPaint::TilingPaint& paint,
                                                   const CellLattice& lattice,
                                                   const Options& options) {
  const long long columns = lattice.columns;
  const long long rows = lattice.rows;
  const Environment env(Environment::WorldRectangle(0.0, 0.0, static_cast<double>(columns),
                                                    static_cast<double>(rows)),
                        columns, rows);
  const QorMath::Rectangle<long long> box{0, 0, columns, rows};
  Options cell_options = options;
  cell_options.SetHalftoneMode(kHalftoneNone);

  // The period in pattern space is [x0, x0 + |XStep|) × [y0, y0 + |YStep|).
  const Morv::MilliPointRectangle& cell = paint.GetBox();
  const double ax = std::fabs(paint.GetXStep());
  const double ay = std::fabs(paint.GetYStep());
  const long long per_axis = static_cast<long long>(std::sqrt(double(kMaxCellCopies)));
  const auto [i0, i1] = CopyRange(cell.X(), cell.X() + cell.Width(), paint.GetXStep(), cell.X(),
                                  cell.X() + ax, per_axis);
  const auto [j0, j1] = CopyRange(cell.Y(), cell.Y() + cell.Height(), paint.GetYStep(), cell.Y(),
                                  cell.Y() + ay, per_axis);
  auto objects = std::make_unique<ObjectInfoContainer>(1, 0);
  for (long long j = j0; j <= j1; ++j) {
    for (long long i = i0; i <= i1; ++i) {
      ObjectCollector collector(
          env, cell_options, box,
          CellCopyTransformation(lattice, paint, static_cast<double>(i), static_cast<double>(j)),
          kAllSelection, kAllSelection.flag, 1, 0);
      paint.GetCell()->Accept(collector);
      auto copy = collector.TakeContainer();
      for (auto& record : copy->records)
        objects->Append(std::move(record));
    }
  }

  auto raster = std::make_shared<CellRaster>();
  raster->columns = columns;
  raster->rows = rows;
  raster->components = cell_options.GetBlendingSeparations().Size();
  const auto samples = static_cast<std::size_t>(columns * rows);
  raster->values.assign(samples * raster->components, 0.0f);
  raster->opacity.assign(samples, 0.0f);
  if (objects->records.empty()) return raster;

  ConversionPools pools(0, columns);
  LineRenderer renderer(env, box, cell_options, std::move(objects), pools);
  PooledLine line(pools, raster->components + 3);
  const auto width = static_cast<std::size_t>(columns);
  for (long long y = 0; y < rows; ++y) {
    line->Reset();
    renderer.RenderLine(y, *line, nullptr);
    float* alpha = raster->opacity.data() + static_cast<std::size_t>(y) * width;
    line->ResolveInto(line->AlphaPlane(), 0, columns, alpha);
    for (std::size_t c = 0; c < raster->components; ++c) {
      float* out = raster->values.data() + c * samples + static_cast<std::size_t>(y) * width;
      line->ResolveInto(c, 0, columns, out);
      // Premultiplied ink to the getter's unmultiplied values; the opacity carries
      // the coverage.
      for (std::size_t k = 0; k < width; ++k)
        out[k] = alpha[k] > 0.0f ? std::min(1.0f, out[k] / alpha[k]) : 0.0f;
    }
  }
  return raster;
}

}  // namespace QorSc
