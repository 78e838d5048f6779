// The part of a placed image that renders of its page can read.
//
// The renderer takes the sample under each painted pixel's centre, with two reaches
// beyond it: an index that stays fixed along a line (the row of an upright picture,
// the column of a quarter-turned one) is taken where the picture's own range on that
// line begins, which clips do not cut; and its steppers drift by at most a thousandth
// of the samples they cross. Which index stays fixed depends on the resolution: it
// does when the picture's edge rises by less than half a pixel across it. So the
// readable part follows from where the image is placed, what is visible there (the
// page box and the clips' boxes) and the coarsest pixel any render will use.
//
// Invariant: for renders with pixels no larger than that bound and within the visible
// box, every sample the renderer reads lies in ReadableArea's result widened by
// SampleRange's margins. Decoders may leave every other sample undefined.
#pragma once

#include <cstddef>
#include <optional>

#include "morv/coordinates.h"
#include "morv/transformation.h"

namespace QorPdf::internal {

// A part of an image as fractions of its width (columns, from the left) and height
// (rows, from the top). Empty when column0 > column1 or row0 > row1.
struct SampleArea {
  double column0 = 0.0;
  double column1 = 1.0;
  double row0 = 0.0;
  double row1 = 1.0;

  bool Whole() const { return column0 <= 0.0 && column1 >= 1.0 && row0 <= 0.0 && row1 >= 1.0; }
  bool Contains(const SampleArea& other) const;
};

// Samples [first, end) of `count` along one side that a fraction range [from, to]
// of it can read: the samples it touches, widened by 2 + count / 1000 each way for
// the renderer's rounding and its steppers' drift (the fast upright paths take steps
// within 0.0001 of the true one), clamped to the image.
struct SampleRange {
  std::size_t first = 0;
  std::size_t end = 0;
};
SampleRange SampleRangeOf(double from, double to, std::size_t count);

// The readable part of an image whose unit square `placement` maps to world
// millipoints (y up, row 0 at the top), when renders show only `visible` (world
// millipoints) with pixels whose sides are at most `pixel` millipoints. Nullopt when
// the whole image may be read (a singular or non-finite placement or bound).
std::optional<SampleArea> ReadableArea(const Morv::MilliPointTransformation& placement,
                                       const Morv::MilliPointRectangle& visible, double pixel);

}  // namespace QorPdf::internal
