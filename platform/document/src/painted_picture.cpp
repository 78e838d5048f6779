// Pictures: validation, the 1-bit to 8-bit widening and the once-per-intent
// conversion into the working space.

#include "qorimg/painted_picture.h"

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
  const bool one_bit = samples_->GetBitsPerSample() == 1;
  if (!converter_ && !one_bit) return samples_;
  // A 1-bit picture widens the same under every intent.
  const int key = converter_ ? intent : 0;
  std::lock_guard<std::mutex> lock(mutex_);
  auto& slot = converted_[key];
  if (slot) return slot;
  if (one_bit) {
    slot = WidenBits(*samples_);
    return slot;
  }
  const std::size_t outputs = converter_->OutputChannels();
  auto out = std::make_shared<PictureBuffer>(GetWidth(), GetHeight(),
                                             static_cast<std::uint32_t>(8 * outputs));
  // Unpadded rows are converted in one call, so that the converter sees the whole
  // picture (it converts repeated samples once).
  if (samples_->GetRowStride() == GetWidth() * channels_ &&
      out->GetRowStride() == GetWidth() * outputs) {
    converter_->Convert(samples_->GetBuffer(), out->GetBuffer(), GetWidth() * GetHeight(),
                        intent);
  } else {
    for (std::size_t row = 0; row < GetHeight(); ++row)
      converter_->Convert(samples_->GetRowPtr(row), out->GetRowPtr(row), GetWidth(), intent);
  }
  slot = std::move(out);
  return slot;
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
