// The painted samples of a 1-bit image mask as a path: what a Type3 glyph made of an
// image mask clips by, since the model's clips are outlines.
//
// Invariants: the path lies in the mask's unit square (image space: row 0 at the
// top, y = 1), made of axis-aligned rectangles of one orientation, so the non-zero
// rule unites them; runs repeated on consecutive rows share one rectangle.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "morv/compound.h"
#include "qorimg/picture_buffer.h"

namespace QorPdf::internal {

// Nothing when the mask needs more than `max_rectangles` rectangles (the caller
// decides what stands in for it).
std::optional<std::shared_ptr<const Morv::Compound>> MaskOutline(const QorImg::PictureBuffer& mask,
                                                                 std::size_t max_rectangles);

}  // namespace QorPdf::internal
