// Pictures: validation, the 1-bit to 8-bit widening and the once-per-intent
// conversion into the working space.

#include "qorimg/painted_picture.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace QorImg {
namespace {

std::shared_ptr<const PictureBuffer> WidenBits(const PictureBuffer& bits) {
  auto bytes = std::make_shared<PictureBuffer>(bits.GetWidth(), bits.GetHeight(), 8);
  for (std::size_t row = 0; row < bits.GetHeight(); ++row) {
    const std::uint8_t* in = bits.GetRowPtr(row);
    std::uint8_t* out = bytes->GetRowPtr(row);
    for (std::size_t column = 0; column < bits.GetWidth(); ++column)
      out[column] = ((in[column / 8] >> (7 - column % 8)) & 1u) != 0 ? 255 : 0;
  }
  return bytes;
}

}  // namespace

PictureData::PictureData(std::shared_ptr<const PictureBuffer> samples, std::size_t channels,
                         std::shared_ptr<const PictureConverter> converter)
    : samples_(std::move(samples)), channels_(channels), converter_(std::move(converter)) {
  if (!samples_) throw std::invalid_argument("PictureData: no samples");
  const std::uint32_t bits = samples_->GetBitsPerSample();
  const bool one_bit = channels_ == 1 && bits == 1;
  if (channels_ == 0 || (!one_bit && bits != 8 * channels_)) {
    throw std::invalid_argument(
        "PictureData: samples must be 1 bit of one channel or 8 bits per channel");
  }
  if (converter_ &&
      (one_bit || converter_->InputChannels() != channels_ || converter_->OutputChannels() == 0)) {
    throw std::invalid_argument("PictureData: the converter does not fit the samples");
  }
}

std::size_t PictureData::Get8BitChannelCount() const {
  return converter_ ? converter_->OutputChannels() : channels_;
}

std::size_t PictureData::Get8BitBufferBytes() const {
  if (!converter_ && samples_->GetBitsPerSample() != 1) return 0;
  return GetWidth() * GetHeight() * Get8BitChannelCount();
}

std::shared_ptr<const PictureBuffer> PictureData::Get1BitPictureBuffer() const {
  return samples_->GetBitsPerSample() == 1 ? samples_ : nullptr;
}

std::shared_ptr<const PictureBuffer> PictureData::Get8BitPictureBuffer(int intent) const {
  return Get8BitPictureBuffer(intent, {0, GetWidth(), 0, GetHeight()});
}

std::shared_ptr<const PictureBuffer> PictureData::Get8BitPictureBuffer(
    int intent, const SampleWindow& window) const {
  const bool one_bit = samples_->GetBitsPerSample() == 1;
  if (!converter_ && !one_bit) return samples_;
  std::lock_guard<std::mutex> lock(mutex_);
  if (one_bit) {
    // A 1-bit picture widens the same under every intent, all at once.
    if (!widened_) widened_ = WidenBits(*samples_);
    return widened_;
  }
  Converted& converted = converted_[intent];
  if (!converted.buffer) {
    converted.buffer = std::make_shared<PictureBuffer>(
        GetWidth(), GetHeight(), static_cast<std::uint32_t>(8 * converter_->OutputChannels()));
    converted.first.assign(GetHeight(), 0);
    converted.end.assign(GetHeight(), 0);
  }
  Convert(converted, window, intent);
  return converted.buffer;
}

void PictureData::Convert(Converted& converted, const SampleWindow& window, int intent) const {
  const std::size_t width = GetWidth();
  const std::size_t c0 = std::min(window.column0, width);
  const std::size_t c1 = std::min(window.column1, width);
  const std::size_t r1 = std::min(window.row1, GetHeight());
  if (c0 >= c1) return;
  const std::size_t outputs = converter_->OutputChannels();
  PictureBuffer& out = *converted.buffer;
  const auto convert = [&](std::size_t row, std::size_t from, std::size_t to) {
    converter_->Convert(samples_->GetRowPtr(row) + from * channels_,
                        out.GetRowPtr(row) + from * outputs, to - from, intent);
  };
  // Untouched rows wanted whole are converted in one call where rows are unpadded, so
  // that the converter sees them together (it converts repeated samples once).
  const bool packed = samples_->GetRowStride() == width * channels_ &&
                      out.GetRowStride() == width * outputs;
  std::vector<std::size_t>& first = converted.first;
  std::vector<std::size_t>& end = converted.end;
  for (std::size_t row = window.row0; row < r1;) {
    if (first[row] == end[row] && packed && c0 == 0 && c1 == width) {
      std::size_t stop = row;
      while (stop < r1 && first[stop] == end[stop]) {
        first[stop] = 0;
        end[stop] = width;
        ++stop;
      }
      converter_->Convert(samples_->GetRowPtr(row), out.GetRowPtr(row), width * (stop - row),
                          intent);
      row = stop;
      continue;
    }
    // A row's converted columns stay one interval: what lies between is converted too.
    if (first[row] == end[row]) {
      convert(row, c0, c1);
      first[row] = c0;
      end[row] = c1;
    } else {
      if (c0 < first[row]) convert(row, c0, first[row]);
      if (c1 > end[row]) convert(row, end[row], c1);
      first[row] = std::min(first[row], c0);
      end[row] = std::max(end[row], c1);
    }
    ++row;
  }
}

PaintedPicture::PaintedPicture(std::shared_ptr<const PictureData> data, ChannelMapping mapping,
                               int renderingIntent, int maskKind,
                               std::shared_ptr<const PictureData> maskData,
                               DecodePair softMaskMapping)
    : data_(std::move(data)),
      mapping_(std::move(mapping)),
      intent_(renderingIntent),
      mask_kind_(maskKind),
      mask_data_(std::move(maskData)),
      soft_mask_mapping_(softMaskMapping) {
  if (!data_) throw std::invalid_argument("PaintedPicture: no picture data");
  for (const ChannelMappingEntry& entry : mapping_.entries) {
    if (entry.channel >= data_->Get8BitChannelCount()) {
      throw std::invalid_argument("PaintedPicture: a channel outside the picture's samples");
    }
  }
  if (mask_kind_ != kNoMask && mask_kind_ != kSoftMask) {
    throw std::invalid_argument("PaintedPicture: unknown mask kind");
  }
  if ((mask_kind_ == kSoftMask) != (mask_data_ != nullptr) ||
      (mask_data_ && mask_data_->Get8BitChannelCount() != 1)) {
    throw std::invalid_argument("PaintedPicture: a soft mask needs one channel of mask data");
  }
}

}  // namespace QorImg
