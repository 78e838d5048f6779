// TilingPaintGetter: a cell rendered once, repeated over the plane.
//
// A tiling paint's cell is rendered once into a CellRaster: `columns` × `rows`
// samples spanning one period of the lattice (pattern space [x0, x0 + |XStep|) ×
// [y0, y0 + |YStep|), (x0, y0) the cell box's corner), each with one unmultiplied
// value per output component and an opacity. CellLattice is the affine map from
// internal (device) coordinates to raster coordinates: column s along pattern x,
// row t from the raster's top (pattern y decreasing). Every pixel takes the sample
// under its centre after wrapping s into [0, columns) and t into [0, rows): nearest
// sample, no interpolation, so a raster whose samples coincide with device pixels
// reproduces the cell's own pixel decisions. Where the cell box is smaller than a
// step the raster is transparent (opacity 0), which the compositor applies like a
// picture's soft mask.
//
// Sizing: a period lying on whole device pixels (axis-parallel, whole lengths,
// its corner on a pixel corner) gets one sample per pixel, whose centres are the
// pixel centres: the result is then exactly the cells drawn one by one. Any other
// period gets kCellOversampling samples per pixel along each lattice axis (rounded
// up), so a pixel takes the cell's value at a point within an eighth of a pixel of
// its centre; past kMaxCellSamples the raster is coarsened evenly on both axes.
//
// Hot loop: no allocation (the index scratch is sized on the first line to the
// buffers' width), no virtual call; per pixel two floors and two wraps, then one
// gather per component.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "morv/transformation.h"
#include "paint/paint_getter.h"
#include "qorpaint/tiling_paint.h"
#include "scan/environment.h"

namespace QorSc {

// The largest raster of one cell, in samples (each costs a float per component and
// one for opacity).
inline constexpr long long kMaxCellSamples = 1LL << 20;
// Samples per device pixel along each axis of a period not aligned with the pixels.
inline constexpr long long kCellOversampling = 4;

struct CellRaster {
  long long columns = 0;
  long long rows = 0;
  std::size_t components = 0;
  // Component c of sample (column, row) at values[c · columns · rows + row · columns
  // + column]; opacity[row · columns + column].
  std::vector<float> values;
  std::vector<float> opacity;
};

struct CellLattice {
  // s = sx·x + sy·y + s0 and t = tx·x + ty·y + t0 for an internal point (x, y).
  double sx = 0.0, sy = 0.0, s0 = 0.0;
  double tx = 0.0, ty = 0.0, t0 = 0.0;
  long long columns = 1;
  long long rows = 1;
  // Pattern space to the raster's own world (one unit per sample, y up): what the
  // cell's content is rendered through, before the cell's own matrix is undone.
  double x_scale = 1.0, y_scale = 1.0;  // samples per pattern unit
  double x0 = 0.0, y0 = 0.0;            // the period's corner in pattern space

  // The index of v wrapped into [0, n).
  static long long Wrap(double v, long long n);
};

// The lattice of `paint` as the environment sees it, with `placement` mapping the
// painted object's content coordinates to world space. `maxSamples` bounds
// columns × rows. Throws std::invalid_argument when the lattice is singular on the
// device.
CellLattice MakeCellLattice(const Environment& env, const Morv::MilliPointTransformation& placement,
                            const QorPaint::TilingPaint& paint,
                            long long maxSamples = kMaxCellSamples);

// The placement of the cell copy at lattice offset (i, j) in the raster's world:
// content coordinates to raster world.
Morv::MilliPointTransformation CellCopyTransformation(const CellLattice& lattice,
                                                      const QorPaint::TilingPaint& paint, double i,
                                                      double j);

class TilingPaintGetter final : public PaintGetter {
 public:
  // Throws std::invalid_argument when the raster's sizes disagree with the lattice.
  TilingPaintGetter(std::shared_ptr<const CellRaster> raster, const CellLattice& lattice);

  void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override;
  int GetPaintKind() const override { return 2; }

  // The sample index (row · columns + column) under the centre of pixel (x, y).
  std::size_t SampleAt(long long x, long long y) const;

 private:
  std::shared_ptr<const CellRaster> raster_;
  CellLattice lattice_;
  std::vector<std::uint32_t> indexes_;
};

}  // namespace QorSc
