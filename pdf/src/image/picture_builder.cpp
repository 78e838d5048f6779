// Pictures from samples: channel layout, decode pairs and the colour converter.

#include "image/picture_builder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <map>
#include <mutex>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

#include "qorcolor/cmyk.h"

namespace QorPdf::internal {
namespace {

// Sample `index` (component-wise) of a packed row.
unsigned RawSample(const std::uint8_t* row, std::size_t index, std::size_t bits) {
  switch (bits) {
    case 8:
      return row[index];
    case 16:
      return (static_cast<unsigned>(row[2 * index]) << 8) | row[2 * index + 1];
    default: {
      const std::size_t bit = index * bits;
      const unsigned byte = row[bit / 8];
      return (byte >> (8 - bits - bit % 8)) & ((1u << bits) - 1u);
    }
  }
}

struct Range {
  double low;
  double high;
};

std::vector<Range> DecodeRanges(QPDFObjectHandle decode, const ColorSpace& space,
                                std::size_t components, unsigned max) {
  std::vector<Range> ranges;
  const bool given =
      decode.isArray() && decode.getArrayNItems() >= static_cast<int>(2 * components);
  for (std::size_t i = 0; i < components; ++i) {
    if (given && decode.getArrayItem(static_cast<int>(2 * i)).isNumber() &&
        decode.getArrayItem(static_cast<int>(2 * i + 1)).isNumber()) {
      ranges.push_back({decode.getArrayItem(static_cast<int>(2 * i)).getNumericValue(),
                        decode.getArrayItem(static_cast<int>(2 * i + 1)).getNumericValue()});
    } else if (space.Family() == ColorSpaceFamily::kIndexed) {
      ranges.push_back({0.0, static_cast<double>(max)});
    } else {
      const auto [low, high] = space.ComponentRange(i);
      ranges.push_back({low, high});
    }
  }
  return ranges;
}

// Raw samples (up to 8 bits; 16-bit ones by their high byte) into the space's inks.
// RGB bytes that span [0, 1] take the space's transform optimised for 8-bit input,
// all of them in one call. Otherwise colorimetric spaces convert many samples per
// colour-management call on the exact pipeline; repeated samples are converted once
// (one-channel samples through a table of all 256, others through a small
// direct-mapped cache), which changes no result.
class SpaceConverter final : public QorImg::PictureConverter {
 public:
  SpaceConverter(std::shared_ptr<const ColorSpace> space, std::vector<Range> ranges, double max,
                 QorColor::Color probe)
      : space_(std::move(space)), ranges_(std::move(ranges)), max_(max), probe_(std::move(probe)) {
    process_ = probe_.Size() == 4;
    for (std::size_t i = 0; i < 4 && process_; ++i)
      process_ = probe_.GetName(i) == QorColor::kCmykNames[i];
    unit_bytes_ = process_ && ranges_.size() == 3 && max_ == 255.0;
    for (const Range& range : ranges_)
      unit_bytes_ = unit_bytes_ && range.low == 0.0 && range.high == 1.0;
  }

  std::size_t InputChannels() const override { return ranges_.size(); }
  std::size_t OutputChannels() const override { return probe_.Size(); }

  void Convert(const std::uint8_t* in, std::uint8_t* out, std::size_t samples,
               int intent) const override {
    if (unit_bytes_ && space_->ToProcessBytes(in, samples, intent, out)) return;
    const std::size_t n = ranges_.size();
    const std::size_t m = probe_.Size();
    if (n == 1) {
      const std::vector<std::uint8_t>& table = TableOfAll(intent);
      for (std::size_t s = 0; s < samples; ++s)
        std::copy_n(table.data() + in[s] * m, m, out + s * m);
      return;
    }
    constexpr std::size_t kSlots = 1024;
    constexpr std::size_t kChunk = 4096;
    constexpr std::int32_t kEmpty = -2;
    constexpr std::int32_t kKept = -1;  // the slot's values are converted
    constexpr std::size_t kNoSlot = kSlots;
    const bool cacheable = n <= 4;
    std::vector<std::uint32_t> keys(kSlots);
    std::vector<std::int32_t> state(kSlots, kEmpty);  // or the batch entry converting it
    std::vector<std::uint8_t> values(kSlots * m);
    std::vector<std::uint8_t> batch;
    batch.reserve(kChunk * n);
    std::vector<std::size_t> batch_slots;
    std::vector<std::int32_t> source(kChunk);  // per sample: its batch entry, or kKept
    std::vector<std::uint8_t> converted(kChunk * m);
    for (std::size_t first = 0; first < samples; first += kChunk) {
      const std::size_t count = std::min(kChunk, samples - first);
      batch.clear();
      batch_slots.clear();
      for (std::size_t s = 0; s < count; ++s) {
        const std::uint8_t* sample = in + (first + s) * n;
        std::size_t slot = kNoSlot;
        if (cacheable) {
          std::uint32_t key = 0;
          for (std::size_t i = 0; i < n; ++i)
            key = (key << 8) | sample[i];
          slot = (key * 2654435761u) >> 22;
          if (state[slot] != kEmpty && keys[slot] == key) {
            source[s] = state[slot];
            if (state[slot] == kKept) std::copy_n(values.data() + slot * m, m, out + (first + s) * m);
            continue;
          }
          keys[slot] = key;
          state[slot] = static_cast<std::int32_t>(batch_slots.size());
        }
        source[s] = static_cast<std::int32_t>(batch_slots.size());
        batch_slots.push_back(slot);
        batch.insert(batch.end(), sample, sample + n);
      }
      ConvertEach(batch.data(), batch_slots.size(), converted.data(), intent);
      for (std::size_t s = 0; s < count; ++s) {
        if (source[s] != kKept) {
          std::copy_n(converted.data() + static_cast<std::size_t>(source[s]) * m, m,
                      out + (first + s) * m);
        }
      }
      for (std::size_t j = 0; j < batch_slots.size(); ++j) {
        const std::size_t slot = batch_slots[j];
        if (slot == kNoSlot || state[slot] != static_cast<std::int32_t>(j)) continue;
        std::copy_n(converted.data() + j * m, m, values.data() + slot * m);
        state[slot] = kKept;
      }
    }
  }

 private:
  // One-channel samples: the inks of all 256 values, made once per intent (a picture
  // converted a window at a time asks many times).
  const std::vector<std::uint8_t>& TableOfAll(int intent) const {
    std::lock_guard<std::mutex> lock(tables_mutex_);
    std::vector<std::uint8_t>& table = tables_[intent];
    if (table.empty()) {
      std::array<std::uint8_t, 256> every{};
      std::iota(every.begin(), every.end(), std::uint8_t{0});
      table.resize(every.size() * probe_.Size());
      ConvertEach(every.data(), every.size(), table.data(), intent);
    }
    return table;
  }

  // Converts every one of `count` samples: together where the space converts many
  // colours at once, otherwise one by one through the space's colour.
  void ConvertEach(const std::uint8_t* in, std::size_t count, std::uint8_t* out,
                   int intent) const {
    const std::size_t n = ranges_.size();
    const std::size_t m = probe_.Size();
    std::vector<double> components(count * n);
    for (std::size_t s = 0; s < count; ++s) {
      for (std::size_t i = 0; i < n; ++i) {
        components[s * n + i] =
            ranges_[i].low + in[s * n + i] * (ranges_[i].high - ranges_[i].low) / max_;
      }
    }
    const auto byte = [](double tint) {
      return static_cast<std::uint8_t>(std::lround(std::clamp(tint, 0.0, 1.0) * 255.0));
    };
    if (process_) {
      std::vector<float> cmyk(4 * count);
      if (space_->ToProcessInks(components.data(), count, intent, cmyk.data())) {
        for (std::size_t i = 0; i < cmyk.size(); ++i)
          out[i] = byte(cmyk[i]);
        return;
      }
    }
    for (std::size_t s = 0; s < count; ++s) {
      const QorColor::Color color =
          space_->ToInk(std::span<const double>(components.data() + s * n, n));
      for (std::size_t j = 0; j < m; ++j) {
        const auto found = color.Find(probe_.GetName(j));
        out[s * m + j] = byte(found ? color[*found].tint : 0.0);
      }
    }
  }

  std::shared_ptr<const ColorSpace> space_;
  std::vector<Range> ranges_;
  double max_;
  QorColor::Color probe_;
  bool process_ = false;  // the probe is Cyan, Magenta, Yellow, Black in that order
  bool unit_bytes_ = false;  // process inks from three bytes spanning [0, 1] each
  mutable std::mutex tables_mutex_;
  mutable std::map<int, std::vector<std::uint8_t>> tables_;  // by intent; never erased
};

}  // namespace

std::shared_ptr<const QorImg::PaintedPicture> BuildPicture(ImageSamples& samples,
                                                           std::shared_ptr<const ColorSpace> space,
                                                           QPDFObjectHandle decode, bool overprint,
                                                           int intent, const PictureMask& mask,
                                                           std::string& problem) {
  const std::size_t n = samples.components;
  const std::size_t w = samples.width;
  const std::size_t h = samples.height;
  if (n != space->ComponentCount()) {
    problem = "image samples do not match the colour space's components";
    return nullptr;
  }
  if (space->PaintsNothing()) return nullptr;
  const unsigned max = samples.bits == 16 ? 65535u : (1u << samples.bits) - 1u;
  const std::vector<Range> ranges = DecodeRanges(decode, *space, n, max);
  const QorColor::Color probe = space->ToInk(space->InitialColor());
  if (probe.Size() == 0 || probe.PaintsAllColorants()) {
    problem = "image in a colour space that paints all or no colorants";
    return nullptr;
  }
  const ColorSpaceFamily family = space->Family();
  const bool gray = family == ColorSpaceFamily::kDeviceGray;
  const bool inks =
      gray || family == ColorSpaceFamily::kDeviceCMYK ||
      ((family == ColorSpaceFamily::kSeparation || family == ColorSpaceFamily::kDeviceN) &&
       probe.Size() == n);

  QorImg::ChannelMapping mapping;
  mapping.paintsNamedColorantsOnly = overprint && (family == ColorSpaceFamily::kSeparation ||
                                                   family == ColorSpaceFamily::kDeviceN);
  std::shared_ptr<const QorImg::PictureData> data;
  if (inks) {
    const auto channel_name = [&](std::size_t i) -> std::string {
      if (gray) return "Black";
      if (family == ColorSpaceFamily::kDeviceCMYK) {
        static const char* const kProcess[] = {"Cyan", "Magenta", "Yellow", "Black"};
        return kProcess[i];
      }
      return probe.GetName(i);
    };
    for (std::size_t i = 0; i < n; ++i) {
      // Grey is an amount of white: its ink runs the other way.
      const QorImg::DecodePair pair =
          gray ? QorImg::DecodePair{static_cast<float>(1.0 - ranges[i].low),
                                    static_cast<float>(1.0 - ranges[i].high)}
               : QorImg::DecodePair{static_cast<float>(ranges[i].low),
                                    static_cast<float>(ranges[i].high)};
      mapping.entries.push_back({channel_name(i), i, pair});
    }
    if (n == 1 && samples.bits == 1) {
      auto bits = std::make_shared<QorImg::PictureBuffer>(w, h, 1, samples.row_bytes);
      std::copy(samples.data.begin(), samples.data.end(), bits->GetBuffer());
      data = std::make_shared<QorImg::PictureData>(std::move(bits), 1);
    } else if (samples.bits == 8) {
      // 8-bit ink samples are the picture's bytes as they stand: adopted, not copied.
      samples.data.resize(w * n * h);
      data = std::make_shared<QorImg::PictureData>(
          std::make_shared<QorImg::PictureBuffer>(w, h, static_cast<std::uint32_t>(8 * n),
                                                  std::move(samples.data)),
          n);
    } else {
      auto bytes = std::make_shared<QorImg::PictureBuffer>(w, h, static_cast<std::uint32_t>(8 * n));
      for (std::size_t r = 0; r < h; ++r) {
        const std::uint8_t* in = samples.data.data() + r * samples.row_bytes;
        std::uint8_t* out = bytes->GetRowPtr(r);
        for (std::size_t i = 0; i < w * n; ++i) {
          const unsigned raw = RawSample(in, i, samples.bits);
          out[i] = static_cast<std::uint8_t>(samples.bits == 16 ? (raw * 255u + 32767u) / 65535u
                                                                : raw * 255u / max);
        }
      }
      data = std::make_shared<QorImg::PictureData>(std::move(bytes), n);
    }
  } else {
    // Raw values for the converter; 16-bit samples keep their high byte. 8-bit samples
    // are adopted as decoded, like ink samples.
    std::shared_ptr<QorImg::PictureBuffer> raw;
    if (samples.bits == 8) {
      samples.data.resize(w * n * h);
      raw = std::make_shared<QorImg::PictureBuffer>(w, h, static_cast<std::uint32_t>(8 * n),
                                                    std::move(samples.data));
    } else {
      raw = std::make_shared<QorImg::PictureBuffer>(w, h, static_cast<std::uint32_t>(8 * n));
      for (std::size_t r = 0; r < h; ++r) {
        const std::uint8_t* in = samples.data.data() + r * samples.row_bytes;
        std::uint8_t* out = raw->GetRowPtr(r);
        for (std::size_t i = 0; i < w * n; ++i) {
          const unsigned v = RawSample(in, i, samples.bits);
          out[i] = static_cast<std::uint8_t>(samples.bits == 16 ? v >> 8 : v);
        }
      }
    }
    const double scale = samples.bits == 16 ? 255.0 : static_cast<double>(max);
    std::vector<Range> converter_ranges = ranges;
    auto converter =
        std::make_shared<SpaceConverter>(space, std::move(converter_ranges), scale, probe);
    for (std::size_t j = 0; j < probe.Size(); ++j)
      mapping.entries.push_back({probe.GetName(j), j, {}});
    data = std::make_shared<QorImg::PictureData>(std::move(raw), n, std::move(converter));
  }
  return std::make_shared<const QorImg::PaintedPicture>(
      std::move(data), std::move(mapping), intent,
      mask.data ? QorImg::kSoftMask : QorImg::kNoMask, mask.data, mask.decode);
}

std::shared_ptr<const QorImg::PictureData> MaskData(const ImageSamples& samples) {
  const std::size_t w = samples.width;
  const std::size_t h = samples.height;
  if (samples.bits == 1) {
    auto bits = std::make_shared<QorImg::PictureBuffer>(w, h, 1, samples.row_bytes);
    std::copy(samples.data.begin(), samples.data.end(), bits->GetBuffer());
    return std::make_shared<QorImg::PictureData>(std::move(bits), 1);
  }
  const unsigned max = samples.bits == 16 ? 65535u : (1u << samples.bits) - 1u;
  auto bytes = std::make_shared<QorImg::PictureBuffer>(w, h, 8);
  for (std::size_t r = 0; r < h; ++r) {
    const std::uint8_t* in = samples.data.data() + r * samples.row_bytes;
    std::uint8_t* out = bytes->GetRowPtr(r);
    for (std::size_t i = 0; i < w; ++i) {
      const unsigned raw = RawSample(in, i * samples.components, samples.bits);
      out[i] = static_cast<std::uint8_t>(samples.bits == 16 ? (raw * 255u + 32767u) / 65535u
                                                            : raw * 255u / max);
    }
  }
  return std::make_shared<QorImg::PictureData>(std::move(bytes), 1);
}

std::shared_ptr<const QorImg::PictureData> ColorKeyMask(const ImageSamples& samples,
                                                        QPDFObjectHandle ranges) {
  const std::size_t n = samples.components;
  if (!ranges.isArray() || ranges.getArrayNItems() < static_cast<int>(2 * n)) return nullptr;
  std::vector<std::pair<long long, long long>> keys;
  for (std::size_t i = 0; i < n; ++i) {
    QPDFObjectHandle low = ranges.getArrayItem(static_cast<int>(2 * i));
    QPDFObjectHandle high = ranges.getArrayItem(static_cast<int>(2 * i + 1));
    if (!low.isNumber() || !high.isNumber()) return nullptr;
    keys.emplace_back(std::llround(low.getNumericValue()), std::llround(high.getNumericValue()));
  }
  auto bits = std::make_shared<QorImg::PictureBuffer>(samples.width, samples.height, 1);
  for (std::size_t r = 0; r < samples.height; ++r) {
    const std::uint8_t* in = samples.data.data() + r * samples.row_bytes;
    for (std::size_t x = 0; x < samples.width; ++x) {
      bool keyed = true;
      for (std::size_t i = 0; i < n && keyed; ++i) {
        const long long v = RawSample(in, x * n + i, samples.bits);
        keyed = v >= keys[i].first && v <= keys[i].second;
      }
      bits->SetBit(x, r, !keyed);
    }
  }
  return std::make_shared<QorImg::PictureData>(std::move(bits), 1);
}

void UndoMatte(ImageSamples& samples, const QorImg::PictureData& mask, QPDFObjectHandle matte) {
  const std::size_t n = samples.components;
  if (samples.bits != 8 || !matte.isArray() || matte.getArrayNItems() < static_cast<int>(n) ||
      mask.GetWidth() != samples.width || mask.GetHeight() != samples.height) {
    return;
  }
  std::vector<double> m(n);
  for (std::size_t i = 0; i < n; ++i) {
    QPDFObjectHandle v = matte.getArrayItem(static_cast<int>(i));
    if (!v.isNumber()) return;
    m[i] = v.getNumericValue() * 255.0;
  }
  const auto alphas = mask.Get8BitPictureBuffer(QorImg::kRelativeColorimetric);
  for (std::size_t r = 0; r < samples.height; ++r) {
    std::uint8_t* row = samples.data.data() + r * samples.row_bytes;
    const std::uint8_t* a = alphas->GetRowPtr(r);
    for (std::size_t x = 0; x < samples.width; ++x) {
      if (a[x] == 0) continue;
      const double alpha = a[x] / 255.0;
      for (std::size_t i = 0; i < n; ++i) {
        const double c = m[i] + (row[x * n + i] - m[i]) / alpha;
        row[x * n + i] = static_cast<std::uint8_t>(std::lround(std::clamp(c, 0.0, 255.0)));
      }
    }
  }
}

}  // namespace QorPdf::internal
