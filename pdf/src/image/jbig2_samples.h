// JBIG2 image samples through jbig2dec.
//
// The stream is an embedded JBIG2 stream (no file header), optionally preceded by
// the segments of its /JBIG2Globals stream; jbig2dec decodes the first page, whose
// set bits are black. Everything jbig2dec allocates goes through an allocator that
// refuses more than the samples' limit plus 64 MiB for its own work.
#pragma once

#include <cstdint>
#include <vector>

#include "image/image_samples.h"

namespace QorPdf::internal {

// Fills `samples` (1 bit, one component, PDF polarity: 0 is black) from the page
// of `data`; `globals` may be empty.
void DecodeJbig2(const std::vector<std::uint8_t>& data, const std::vector<std::uint8_t>& globals,
                 ImageSamples& samples);

}  // namespace QorPdf::internal
