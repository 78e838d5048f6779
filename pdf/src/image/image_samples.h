// Image samples out of PDF streams, within the bounds of the image's dimensions.
//
// ReadImageSamples decodes an image (or image mask) stream into packed rows of
// width × components × bits bits each, rows padded to whole bytes, as PDF lays
// them out. qpdf runs the general filters (Flate with predictors, LZW, RunLength,
// ASCIIHex, ASCII85); a final DCTDecode goes through libjpeg-turbo, which yields 8
// bits per component as stored (Adobe CMYK JPEGs, marked by their APP14 segment,
// store inverted inks: `adobe_inverted` says so, and the caller decides).
//
// Given the part of the image that rendering can read (image/sample_area.h), a JPEG
// decodes only the rows and columns of that part, through libjpeg-turbo's own
// skipping and cropping; its other samples stay 0 and `partial` says so. Any error
// on that way decodes the whole image instead, so what is decoded never depends on
// the part asked for.
//
// Invariants: no more than the rows the dimensions call for is ever held, whatever
// the stream would inflate to, and no decoder holds more samples than the caller's
// limit (the page's image budget); short data keeps the rows that decoded and says so.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "image/sample_area.h"
#include "qpdf_headers.h"

namespace QorPdf::internal {

struct ImageSamples {
  std::size_t width = 0;
  std::size_t height = 0;
  std::size_t components = 0;
  std::size_t bits = 0;  // per component
  std::size_t row_bytes = 0;
  std::vector<std::uint8_t> data;  // height × row_bytes
  std::size_t rows_decoded = 0;
  bool adobe_inverted = false;      // a four-component JPEG with Adobe's APP14 marker
  std::vector<std::uint8_t> alpha;  // a JPEG 2000 image's own opacity, width × height
  std::string problem;              // why the samples are incomplete or missing; empty when whole
  bool partial = false;             // only the samples of the area asked for were decoded
  // The most bytes of samples (alpha included) the decoders may hold: set by
  // ReadImageSamples, read by the decoders, which refuse larger images.
  std::size_t limit = 0;

  // Bytes held: the samples and the alpha.
  std::size_t Held() const { return data.size() + alpha.size(); }
};

// The stream's last filter ("/DCTDecode", ...), or empty.
std::string LastFilter(QPDFObjectHandle stream);

// `stream` is the image stream (its dictionary already expanded for inline
// images); `components` and `bits` as the dictionary and colour space say (a DCT,
// JPX or JBIG2 stream overrides them with its own). Streams are decoded through
// DecodeStream; samples (with a JPX image's alpha) never take more than `limit`
// bytes. On failure `data` is empty and `problem` says why. `area`: the part that
// rendering can read, or none for all of it.
ImageSamples ReadImageSamples(QPDFObjectHandle stream, std::size_t width, std::size_t height,
                              std::size_t components, std::size_t bits, std::size_t limit,
                              const std::optional<SampleArea>& area = std::nullopt);

}  // namespace QorPdf::internal
