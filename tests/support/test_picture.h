// Pictures for tests: 8-bit ink samples with one named colorant per channel, or
// one 1-bit channel.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorimg/painted_picture.h"

namespace QorTest {

// `samples` holds width × height × colorants.size() bytes, row by row, channels
// interleaved; every channel decodes with `decode`.
inline std::shared_ptr<const QorImg::PaintedPicture> MakeInkPicture(
    std::size_t width, std::size_t height, const std::vector<std::string>& colorants,
    const std::vector<std::uint8_t>& samples, QorImg::DecodePair decode = {},
    std::shared_ptr<const QorImg::PictureData> mask = nullptr, QorImg::DecodePair maskDecode = {}) {
  const std::size_t channels = colorants.size();
  auto buffer = std::make_shared<QorImg::PictureBuffer>(width, height,
                                                        static_cast<std::uint32_t>(8 * channels));
  for (std::size_t r = 0; r < height; ++r) {
    for (std::size_t i = 0; i < width * channels; ++i) {
      const std::size_t at = r * width * channels + i;
      buffer->GetRowPtr(r)[i] = at < samples.size() ? samples[at] : 0;
    }
  }
  QorImg::ChannelMapping mapping;
  for (std::size_t c = 0; c < channels; ++c)
    mapping.entries.push_back({colorants[c], c, decode});
  const int kind = mask ? QorImg::kSoftMask : QorImg::kNoMask;
  return std::make_shared<const QorImg::PaintedPicture>(
      std::make_shared<const QorImg::PictureData>(buffer, channels), std::move(mapping),
      QorImg::kRelativeColorimetric, kind, std::move(mask), maskDecode);
}

// One channel of 1-bit samples taken from a packed buffer.
inline std::shared_ptr<const QorImg::PaintedPicture> MakeBitPicture(
    std::shared_ptr<const QorImg::PictureBuffer> bits, const std::string& colorant,
    QorImg::DecodePair decode = {}) {
  QorImg::ChannelMapping mapping;
  mapping.entries.push_back({colorant, 0, decode});
  return std::make_shared<const QorImg::PaintedPicture>(
      std::make_shared<const QorImg::PictureData>(std::move(bits), 1), std::move(mapping));
}

}  // namespace QorTest
