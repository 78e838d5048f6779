// Pictures: sampled images as the document keeps them and as renderers read them.
//
// PictureData holds a picture's decoded samples once, however many times the
// picture is placed: either one channel of 1 bit (kept packed, most significant bit
// first) or any number of channels of 8 bits, interleaved per sample. Samples whose
// colour is colorimetric (RGB, Lab, ICC) carry a PictureConverter that turns a row
// of them into the working space's inks; the 8-bit ink buffer is then made on first
// request, once per rendering intent, and kept. A request may name the window of
// samples it will read: only those are converted then, the rest when asked for (a
// page often shows a small part of a large photograph). Samples that are inks
// already are their own 8-bit buffer.
//
// PaintedPicture is a placement-independent painted picture: its data, the channel
// mapping that names the colorant of every 8-bit channel with its decode pair, the
// rendering intent and an optional soft mask (mask kind 1: a second PictureData of
// one channel, 1 or 8 bits, whose decoded value is the picture's opacity).
//
// Invariants: everything is immutable once built except PictureData's conversion
// cache, which a mutex guards, so a picture may be rendered by several conversions
// at once: a converted sample is written once, before the request that asked for it
// returns, and later requests write only samples no earlier request asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qorimg/picture_buffer.h"

namespace QorImg {

// Rendering intents as PDF numbers them.
enum RenderingIntent : int {
  kPerceptual = 0,
  kRelativeColorimetric = 1,
  kSaturation = 2,
  kAbsoluteColorimetric = 3,
};

// Turns rows of source samples (8 bits per channel, InputChannels() per sample)
// into the working space's inks (8 bits per ink, OutputChannels() per sample, 0 no
// ink and 255 full ink). Must be usable from several threads at once.
class PictureConverter {
 public:
  virtual ~PictureConverter() = default;
  virtual std::size_t InputChannels() const = 0;
  virtual std::size_t OutputChannels() const = 0;
  virtual void Convert(const std::uint8_t* in, std::uint8_t* out, std::size_t samples,
                       int intent) const = 0;
};

// Samples of columns [column0, column1) in rows [row0, row1).
struct SampleWindow {
  std::size_t column0 = 0;
  std::size_t column1 = 0;
  std::size_t row0 = 0;
  std::size_t row1 = 0;
};

class PictureData {
 public:
  // `samples` holds `channels` channels per sample: 1 bit per sample with one
  // channel, or 8 bits per channel (bits per sample = 8 × channels). A converter,
  // when given, takes exactly those channels. Throws std::invalid_argument otherwise.
  PictureData(std::shared_ptr<const PictureBuffer> samples, std::size_t channels,
              std::shared_ptr<const PictureConverter> converter = nullptr);

  std::size_t GetWidth() const { return samples_->GetWidth(); }
  std::size_t GetHeight() const { return samples_->GetHeight(); }
  // Channels of the 8-bit buffer (the converter's output channels when converted).
  std::size_t Get8BitChannelCount() const;

  // The 1-bit samples, or null when the picture is not one channel of 1 bit.
  std::shared_ptr<const PictureBuffer> Get1BitPictureBuffer() const;
  // 8 bits per channel in the working space, converted under `intent` on the first
  // call and kept; a 1-bit picture reads 0 as 0 and 1 as 255.
  std::shared_ptr<const PictureBuffer> Get8BitPictureBuffer(int intent) const;
  // The same buffer, but of converted samples only those in `window` (clipped to the
  // picture) are sure to be converted: the caller reads no others. Converting one
  // window after another gives the bytes of converting the whole at once.
  std::shared_ptr<const PictureBuffer> Get8BitPictureBuffer(int intent,
                                                            const SampleWindow& window) const;
  // True when the 8-bit buffer is converted from the samples (and may be partly so).
  bool IsConverted() const { return converter_ != nullptr; }
  // The samples as decoded, before any conversion.
  const std::shared_ptr<const PictureBuffer>& GetSourceBuffer() const { return samples_; }
  // Bytes of each 8-bit buffer made from the samples (converted or widened from 1 bit),
  // 0 when the samples are their own 8-bit buffer: what each intent's buffer adds.
  std::size_t Get8BitBufferBytes() const;

 private:
  std::shared_ptr<const PictureBuffer> samples_;
  std::size_t channels_;
  std::shared_ptr<const PictureConverter> converter_;
  // One intent's converted buffer: per row, the converted columns [first, end).
  struct Converted {
    std::shared_ptr<PictureBuffer> buffer;
    std::vector<std::size_t> first;
    std::vector<std::size_t> end;
  };
  void Convert(Converted& converted, const SampleWindow& window, int intent) const;

  mutable std::mutex mutex_;
  mutable std::shared_ptr<const PictureBuffer> widened_;  // a 1-bit picture's bytes
  mutable std::map<int, Converted> converted_;
};

// A component value from a sample byte: b / 255 as a float.
inline float IntToComponent(std::uint8_t b) {
  return static_cast<float>(b) * 0.003921569f;
}

// How a channel's byte becomes an ink tint: Dmin for 0, Dmax for 255, linear between.
struct DecodePair {
  float dmin = 0.0f;
  float dmax = 1.0f;
  friend bool operator==(const DecodePair&, const DecodePair&) = default;
};

struct ChannelMappingEntry {
  std::string colorant;     // the ink this channel paints
  std::size_t channel = 0;  // its byte offset within an 8-bit sample
  DecodePair decode;
};

struct ChannelMapping {
  std::vector<ChannelMappingEntry> entries;
  // Overprint: plates of other colorants are left alone in separation output.
  bool paintsNamedColorantsOnly = false;
};

enum MaskKind : int { kNoMask = 0, kSoftMask = 1 };

class PaintedPicture {
 public:
  // Throws std::invalid_argument when the data is missing, a channel lies outside
  // the data's 8-bit channels, or the mask kind and mask data disagree.
  PaintedPicture(std::shared_ptr<const PictureData> data, ChannelMapping mapping,
                 int renderingIntent = kRelativeColorimetric, int maskKind = kNoMask,
                 std::shared_ptr<const PictureData> maskData = nullptr,
                 DecodePair softMaskMapping = {});

  const std::shared_ptr<const PictureData>& GetPictureData() const { return data_; }
  const ChannelMapping& GetChannelMapping() const { return mapping_; }
  int GetRenderingIntent() const { return intent_; }
  int GetMaskKind() const { return mask_kind_; }
  const std::shared_ptr<const PictureData>& GetMaskData() const { return mask_data_; }
  // The decode pair of the mask's one channel: its byte to the picture's opacity.
  const DecodePair& GetSoftMaskMapping() const { return soft_mask_mapping_; }

 private:
  std::shared_ptr<const PictureData> data_;
  ChannelMapping mapping_;
  int intent_;
  int mask_kind_;
  std::shared_ptr<const PictureData> mask_data_;
  DecodePair soft_mask_mapping_;
};

}  // namespace QorImg
