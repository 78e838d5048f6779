// Dropout pixels: where the pixel-centre rule loses thin parts of a shape.
//
// Along every row of pixel centres (y = j + 0.5) and every column (x = i + 0.5) the
// shape's polygons are cut into inside spans, with the same crossing and rounding
// rules as the path generator. A span that covers no pixel centre (its ends round
// to the same pixel line) is a part thinner than a pixel that the generator drops;
// the pixel holding the span's middle is its dropout pixel. Adding those pixels is
// the classic dropout control of font rasterisers: stems and hairline serifs thinner
// than a pixel stay connected, while everything the generator covers is unchanged.
//
// Runs once per glyph record at collection; the work is proportional to the
// outline's length in pixels, never to its area.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "morv/compound.h"
#include "morv/transformation.h"
#include "raster/path_run_length_generator_builder.h"
#include "scan/environment.h"

namespace QorSc {

struct DropoutPixel {
  long long x;
  long long y;
  friend auto operator<=>(const DropoutPixel&, const DropoutPixel&) = default;
};

// Where an edge crosses a centre line: the position along the line and the edge's
// direction.
struct DropoutCrossing {
  double at;
  int winding;
};

// The storage a search works in: the flattened points with their pixel lines, the
// crossings grouped by line and the shared-pixel stamps. A caller that searches many
// outlines (the collector, one per text) keeps one, so that a search allocates only
// its result once the stores fit, and large temporaries are not freed and taken back
// from the system on every search. The stores keep the capacity of the largest outline
// searched; nothing in them outlives a search.
struct DropoutScratch {
  std::vector<Morv::MilliPointPoint> world;
  std::vector<Point<double>> points;
  std::vector<long long> rows;
  std::vector<long long> columns;
  std::vector<std::size_t> polygonEnds;
  std::vector<std::ptrdiff_t> lineEnds;
  std::vector<DropoutCrossing> crossings;
  std::vector<std::uint32_t> stamps;
};

// The dropout pixels of `compound` placed by `t` (flattened to the environment's
// curve error) that lie within `box`, sorted by row then column, each once. Empty
// when the outline would cross more than kMaxDropoutCrossings pixel lines: such an
// outline is far above the size where stems vanish. When `flattened` is given it
// receives the polygons the search flattened, for the generator to reuse; it is left
// empty when the search stops before it has flattened the whole outline. Without
// `scratch` the search works in storage of its own.
std::vector<DropoutPixel> FindDropoutPixels(const Environment& env, const Morv::Compound& compound,
                                            const Morv::MilliPointTransformation& t,
                                            const QorMath::Rectangle<long long>& box,
                                            FlatOutline* flattened = nullptr,
                                            DropoutScratch* scratch = nullptr);

// The same for the compound of every subpath of `compounds`, in order, under
// `windingRule`, without making that compound: a text's glyphs.
std::vector<DropoutPixel> FindDropoutPixels(
    const Environment& env, const std::vector<std::shared_ptr<const Morv::Compound>>& compounds,
    std::uint32_t windingRule, const Morv::MilliPointTransformation& t,
    const QorMath::Rectangle<long long>& box, FlatOutline* flattened = nullptr,
    DropoutScratch* scratch = nullptr);

inline constexpr std::size_t kMaxDropoutCrossings = std::size_t{1} << 22;

}  // namespace QorSc
