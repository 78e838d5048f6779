// CCITT fax image samples through libtiff.
//
// libtiff decodes Group 3 (1-D and 2-D) and Group 4 fax data when it comes as the
// strip of a TIFF file, so the PDF stream is wrapped into a minimal one-strip TIFF
// in memory whose tags carry the stream's /DecodeParms (/K, /Columns, /Rows,
// /EncodedByteAlign); /BlackIs1 decides the polarity of the result.
#pragma once

#include <cstdint>
#include <vector>

#include "image/image_samples.h"
#include "qpdf_headers.h"

namespace QorPdf::internal {

// Fills `samples` (1 bit per sample, one component, PDF polarity: 0 is black unless
// /BlackIs1) with the rows that decode; `parms` is the filter's /DecodeParms.
void DecodeCcitt(const std::vector<std::uint8_t>& fax, QPDFObjectHandle parms,
                 ImageSamples& samples);

}  // namespace QorPdf::internal
