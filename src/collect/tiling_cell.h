// Rendering a tiling paint's cell once, at the device's sample density.
//
// The cell's content is collected for a raster of its own (one period of the
// lattice, CellLattice's columns × rows, one world unit per sample) once for every
// lattice copy that reaches the period, in painting order (offset j, then i,
// ascending, as copies laid out by hand would paint), and rendered line by line
// with the library's own line renderer on the page's separations without halftone
// labels. The result is a CellRaster of unmultiplied values and opacity.
//
// Invariants: memory is the raster (columns × rows × (components + 1) floats, at
// most kMaxCellSamples samples) plus one line; nothing here touches the page's
// pools. Copies are bounded by kMaxCellCopies: a box hundreds of steps wide keeps
// the copies nearest the period.
#pragma once

#include <memory>

#include "paint/tiling_paint_getter.h"
#include "qorpaint/tiling_paint.h"
#include "scan/options.h"

namespace QorSc {

inline constexpr long long kMaxCellCopies = 4096;

std::shared_ptr<const CellRaster> RenderTilingCell(const QorPaint::TilingPaint& paint,
                                                   const CellLattice& lattice,
                                                   const Options& options);

}  // namespace QorSc
