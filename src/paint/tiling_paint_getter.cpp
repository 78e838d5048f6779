// Tiled cells: the lattice arithmetic and the per-line gather.

#include "paint/tiling_paint_getter.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace QorSc {
namespace {

// Samples along a lattice axis spanning `length` device pixels: at least one, an
// exact whole length kept (a cell of 8 pixels stays 8, so its samples sit on the
// pixels), otherwise rounded up so that a sample is never larger than a pixel.
long long SamplesAlong(double length) {
  if (!(length > 0.0) || !std::isfinite(length)) return 1;
  const double whole = std::round(length);
  const double n =
      std::fabs(length - whole) <= 1e-6 * std::max(1.0, length) ? whole : std::ceil(length);
  return std::max(1LL, static_cast<long long>(std::min(n, 1e15)));
}

}  // namespace

long long CellLattice::Wrap(double v, long long n) {
  if (!std::isfinite(v)) return 0;
  // Far from the origin the floor would not fit a long long; the remainder keeps
  // the position within the period (exact for doubles).
  if (std::fabs(v) > 1e15) v = std::fmod(v, static_cast<double>(n));
  long long i = static_cast<long long>(std::floor(v)) % n;
  if (i < 0) i += n;
  return i;
}

CellLattice MakeCellLattice(const Environment& env, const Morv::MilliPointTransformation& placement,
                            const QorPaint::TilingPaint& paint, long long maxSamples) {
  const Morv::MilliPointTransformation to_world = Morv::Compose(placement, paint.GetMatrix());
  const Morv::MilliPointRectangle& box = paint.GetBox();
  const double ax = std::fabs(paint.GetXStep());
  const double ay = std::fabs(paint.GetYStep());
  auto device = [&](double x, double y) {
    return env.WorldToInternal(to_world.Apply(Environment::WorldPoint(x, y)));
  };
  const Point<double> o = device(box.X(), box.Y());
  const Point<double> pu = device(box.X() + ax, box.Y());
  const Point<double> pv = device(box.X(), box.Y() + ay);
  const double ux = pu.x - o.x, uy = pu.y - o.y;
  const double vx = pv.x - o.x, vy = pv.y - o.y;
  const double det = ux * vy - uy * vx;
  if (!std::isfinite(det) || det == 0.0) {
    throw std::invalid_argument("tiling paint: the cell lattice is singular on the device");
  }

  // A period lying on whole pixels (axis-parallel, whole lengths, corner on a pixel
  // corner) is sampled exactly at the pixel centres; any other is sampled
  // kCellOversampling times finer per axis, so that a sample centre is never more
  // than an eighth of a pixel from the pixel centre it stands for.
  auto whole = [](double v) { return std::fabs(v - std::round(v)) <= 1e-6; };
  const bool upright = (std::fabs(uy) <= 1e-9 && std::fabs(vx) <= 1e-9) ||
                       (std::fabs(ux) <= 1e-9 && std::fabs(vy) <= 1e-9);
  const bool aligned =
      upright && whole(ux) && whole(uy) && whole(vx) && whole(vy) && whole(o.x) && whole(o.y);
  const double density = aligned ? 1.0 : static_cast<double>(kCellOversampling);
  CellLattice lattice;
  lattice.columns = SamplesAlong(std::hypot(ux, uy) * density);
  lattice.rows = SamplesAlong(std::hypot(vx, vy) * density);
  const double total = static_cast<double>(lattice.columns) * static_cast<double>(lattice.rows);
  if (total > static_cast<double>(maxSamples)) {
    const double shrink = std::sqrt(static_cast<double>(maxSamples) / total);
    lattice.columns =
        std::max(1LL, static_cast<long long>(static_cast<double>(lattice.columns) * shrink));
    lattice.rows =
        std::max(1LL, static_cast<long long>(static_cast<double>(lattice.rows) * shrink));
  }
  const auto columns = static_cast<double>(lattice.columns);
  const auto rows = static_cast<double>(lattice.rows);
  // (q − o) = a·u + b·v; s = a·columns, t = rows − b·rows.
  lattice.sx = columns * vy / det;
  lattice.sy = -columns * vx / det;
  lattice.s0 = -(lattice.sx * o.x + lattice.sy * o.y);
  lattice.tx = rows * uy / det;
  lattice.ty = -rows * ux / det;
  lattice.t0 = rows - (lattice.tx * o.x + lattice.ty * o.y);
  for (double v : {lattice.sx, lattice.sy, lattice.s0, lattice.tx, lattice.ty, lattice.t0}) {
    if (!std::isfinite(v)) {
      throw std::invalid_argument("tiling paint: the cell lattice is singular on the device");
    }
  }
  lattice.x_scale = columns / ax;
  lattice.y_scale = rows / ay;
  lattice.x0 = box.X();
  lattice.y0 = box.Y();
  return lattice;
}

Morv::MilliPointTransformation CellCopyTransformation(const CellLattice& lattice,
                                                      const QorPaint::TilingPaint& paint, double i,
                                                      double j) {
  using T = Morv::MilliPointTransformation;
  const T to_raster = Morv::Compose(
      T::Scale(lattice.x_scale, lattice.y_scale),
      T::Translation(i * paint.GetXStep() - lattice.x0, j * paint.GetYStep() - lattice.y0));
  return Morv::Compose(to_raster, paint.GetMatrix().Inverse());
}

namespace {

ComponentKinds PerPixelKinds(const CellRaster* raster) {
  if (raster == nullptr) throw std::invalid_argument("TilingPaintGetter: no cell raster");
  return ComponentKinds(raster->components, kKindPerPixel);
}

}  // namespace

TilingPaintGetter::TilingPaintGetter(std::shared_ptr<const CellRaster> raster,
                                     const CellLattice& lattice)
    : PaintGetter(PerPixelKinds(raster.get()), false),
      raster_(std::move(raster)),
      lattice_(lattice) {
  const auto samples = static_cast<std::size_t>(raster_->columns * raster_->rows);
  if (raster_->columns != lattice_.columns || raster_->rows != lattice_.rows ||
      raster_->columns <= 0 || raster_->rows <= 0 || raster_->opacity.size() != samples ||
      raster_->values.size() != samples * raster_->components) {
    throw std::invalid_argument("TilingPaintGetter: the cell raster does not fit its lattice");
  }
}

std::size_t TilingPaintGetter::SampleAt(long long x, long long y) const {
  const double xc = static_cast<double>(x) + 0.5;
  const double yc = static_cast<double>(y) + 0.5;
  const long long column =
      CellLattice::Wrap(lattice_.sx * xc + (lattice_.sy * yc + lattice_.s0), lattice_.columns);
  const long long row =
      CellLattice::Wrap(lattice_.tx * xc + (lattice_.ty * yc + lattice_.t0), lattice_.rows);
  return static_cast<std::size_t>(row * lattice_.columns + column);
}

void TilingPaintGetter::Compute(const PaintLine& line, const RunList& runs,
                                SourcePaintBuffers& buffers, RunList& painted) {
  painted.clear();
  const auto width = static_cast<std::size_t>(buffers.Right() - buffers.Left());
  if (indexes_.size() < width) indexes_.resize(width);  // the first line only
  const double yc = static_cast<double>(line.y) + 0.5;
  const double s_line = lattice_.sy * yc + lattice_.s0;
  const double t_line = lattice_.ty * yc + lattice_.t0;
  const long long columns = lattice_.columns;
  const long long rows = lattice_.rows;
  const std::size_t samples = raster_->opacity.size();
  for (const Run& run : runs) {
    if (run.length <= 0) continue;
    const long long x = run.start;
    const long long n = run.length;
    painted.push_back(run);
    std::uint32_t* index = indexes_.data();
    for (long long k = 0; k < n; ++k) {
      const double xc = static_cast<double>(x + k) + 0.5;
      const long long column = CellLattice::Wrap(lattice_.sx * xc + s_line, columns);
      const long long row = CellLattice::Wrap(lattice_.tx * xc + t_line, rows);
      index[k] = static_cast<std::uint32_t>(row * columns + column);
    }
    float* mask = buffers.Mask().At(x);
    const float* opacity = raster_->opacity.data();
    for (long long k = 0; k < n; ++k)
      mask[k] = opacity[index[k]];
    for (std::size_t c = 0; c < raster_->components; ++c) {
      const float* values = raster_->values.data() + c * samples;
      float* out = buffers.Component(c).At(x);
      for (long long k = 0; k < n; ++k)
        out[k] = values[index[k]];
    }
  }
}

}  // namespace QorSc
