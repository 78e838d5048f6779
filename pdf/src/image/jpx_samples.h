// JPEG 2000 image samples through OpenJPEG.
//
// DecodeJpx turns a JPX stream (a JP2 file or a bare codestream) into 8-bit
// samples: the first `colour` components (all but a trailing alpha when there is
// one; every component when `colour` is 0) interleaved, and the alpha component,
// when asked for and present, on its own. Components of other precisions are scaled
// to 8 bits; subsampled components are brought to the full grid by repeating their
// samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/image_samples.h"

namespace QorPdf::internal {

// On failure `samples.data` stays empty and `samples.problem` says why. `alpha`,
// when not null, receives width × height opacity bytes if the stream has one more
// component than `colour` (or an alpha channel by its own definition).
void DecodeJpx(const std::vector<std::uint8_t>& jpx, std::size_t colour, ImageSamples& samples,
               std::vector<std::uint8_t>* alpha);

}  // namespace QorPdf::internal
