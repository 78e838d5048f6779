#include "stream_data.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace QorPdf::internal {
namespace {

// Thrown through qpdf's decoding chain to stop it once the limit is passed; qpdf
// catches it, finishes the pipeline and reports failure, which the sink's own flag
// tells apart from real damage.
struct LimitReached {};

template <typename Bytes>
class LimitedSink final : public Pipeline {
 public:
  LimitedSink(Bytes& out, std::size_t limit)
      : Pipeline("limited sink", nullptr), out_(out), limit_(limit) {}

  void write(unsigned char const* data, size_t len) override {
    if (truncated_) throw LimitReached{};
    const std::size_t room = limit_ - out_.size();
    if (len > room) {
      Append(data, room);
      truncated_ = true;
      throw LimitReached{};
    }
    Append(data, len);
  }
  void finish() override {}

  bool Truncated() const { return truncated_; }

 private:
  // A string takes the bytes in one copy; inserting unsigned chars into it went
  // through a temporary string first.
  void Append(unsigned char const* data, std::size_t len) {
    if constexpr (std::is_same_v<Bytes, std::string>) {
      out_.append(reinterpret_cast<const char*>(data), len);
    } else {
      out_.insert(out_.end(), data, data + len);
    }
  }

  Bytes& out_;
  std::size_t limit_;
  bool truncated_ = false;
};

// Whether the stream's only filter is Flate, without parameters: the filter of
// nearly every content stream and of many images.
bool PlainFlate(QPDFObjectHandle dictionary) {
  QPDFObjectHandle filter = dictionary.getKey("/Filter");
  if (filter.isArray()) {
    if (filter.getArrayNItems() != 1) return false;
    filter = filter.getArrayItem(0);
  }
  if (!filter.isNameAndEquals("/FlateDecode")) return false;
  QPDFObjectHandle parameters = dictionary.getKey("/DecodeParms");
  if (parameters.isArray()) {
    if (parameters.getArrayNItems() > 1) return false;
    if (parameters.getArrayNItems() == 1) parameters = parameters.getArrayItem(0);
  }
  return parameters.isNull();
}

struct DecompressorDeleter {
  void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

// A stream of Flate alone inflated whole by libdeflate, about twice as fast as
// zlib's streaming inflate behind qpdf's pipeline. Only a stream that inflates
// cleanly, ends where its data ends and fits `limit` is taken; anything else (damage,
// trailing bytes, a stream past the limit) returns false and goes the way of every
// other stream, whose partial output and flags qpdf's decoding defines.
template <typename Bytes>
bool InflateWhole(QPDFObjectHandle stream, std::size_t limit, Bytes& out) {
  std::shared_ptr<Buffer> raw;
  try {
    raw = stream.getRawStreamData();
  } catch (const std::exception&) {
    return false;
  }
  const std::size_t stored = raw->getSize();
  if (stored == 0) return false;
  const std::unique_ptr<libdeflate_decompressor, DecompressorDeleter> decompressor(
      libdeflate_alloc_decompressor());
  if (!decompressor) return false;
  // Room for the usual inflation first, then four times more until the limit: a
  // buffer too small is found out early and the stream inflated again.
  constexpr std::size_t kFirstInflation = 4;
  constexpr std::size_t kLeastRoom = std::size_t{64} << 10;
  std::size_t room = std::min(
      limit,
      std::max(kLeastRoom, stored > limit / kFirstInflation ? limit : stored * kFirstInflation));
  for (;;) {
    // Not zeroed: a large block is mapped on its own and only what is written is touched.
    const std::unique_ptr<char[]> buffer(new char[room]);
    std::size_t used = 0;
    std::size_t written = 0;
    const libdeflate_result result = libdeflate_zlib_decompress_ex(
        decompressor.get(), raw->getBuffer(), stored, buffer.get(), room, &used, &written);
    if (result == LIBDEFLATE_SUCCESS) {
      if (used != stored) return false;
      out.assign(buffer.get(), buffer.get() + written);
      return true;
    }
    if (result != LIBDEFLATE_INSUFFICIENT_SPACE || room >= limit) return false;
    room = room > limit / 4 ? limit : room * 4;
  }
}

// Decodes into `out` (the caller's string or byte vector); `result` gets the flags.
template <typename Bytes>
void Decode(QPDFObjectHandle stream, std::size_t limit, qpdf_stream_decode_level_e level,
            Bytes& out, DecodedStream& result) {
  std::size_t effective = limit;
  QPDFObjectHandle length = stream.getDict().getKey("/Length");
  if (length.isInteger() && length.getIntValue() >= 0) {
    const auto stored = static_cast<std::size_t>(length.getIntValue());
    const std::size_t expansion = stored > limit / kMaxExpansion ? limit : stored * kMaxExpansion;
    effective = std::min(limit, std::max(expansion, kMinExpansionLimit));
  }
  if (level != qpdf_dl_none && PlainFlate(stream.getDict()) && InflateWhole(stream, effective, out))
    return;
  // A large stream arrives in many pieces: room for the usual inflation up front saves
  // copying (and touching afresh) the data at each doubling of the string. Only for
  // large ones, whose block is mapped on its own and costs nothing where unused.
  constexpr std::size_t kReservedFrom = std::size_t{256} << 10;
  constexpr std::size_t kUsualInflation = 4;
  if constexpr (std::is_same_v<Bytes, std::string>) {
    if (length.isInteger() && length.getIntValue() >= static_cast<long long>(kReservedFrom)) {
      const auto stored = static_cast<std::size_t>(length.getIntValue());
      out.reserve(stored > effective / kUsualInflation ? effective : stored * kUsualInflation);
    }
  }
  LimitedSink<Bytes> sink(out, effective);
  bool filtered = false;
  bool success = false;
  try {
    // Warnings suppressed: stopping at the limit is not damage, and real damage is
    // reported by the caller from `damaged`.
    success = stream.pipeStreamData(&sink, &filtered, 0, level, true, false);
  } catch (const LimitReached&) {
    // qpdf let it through (a stream provider, say): the flag says what happened.
  }
  result.truncated = sink.Truncated();
  result.over_expansion = result.truncated && effective < limit;
  if (result.truncated) return;
  if (!filtered && level != qpdf_dl_none) {
    QPDFObjectHandle filter = stream.getDict().getKey("/Filter");
    const bool has_filter = !filter.isNull() && !(filter.isArray() && filter.getArrayNItems() == 0);
    if (has_filter) {
      throw std::runtime_error("filter " + filter.unparse() + " cannot be decoded");
    }
  }
  result.damaged = !success;
}

}  // namespace

DecodedStream DecodeStream(QPDFObjectHandle stream, std::size_t limit,
                           qpdf_stream_decode_level_e level) {
  DecodedStream result;
  Decode(stream, limit, level, result.data, result);
  return result;
}

DecodedStream DecodeStream(QPDFObjectHandle stream, std::size_t limit,
                           qpdf_stream_decode_level_e level, std::vector<std::uint8_t>& bytes) {
  DecodedStream result;
  Decode(stream, limit, level, bytes, result);
  return result;
}

std::string DecodedStream::Excess(std::size_t limit) const {
  if (over_expansion) return "inflates more than " + std::to_string(kMaxExpansion) + "-fold";
  return "decodes to more than " + ByteSize(limit);
}

std::string DecodeResource(QPDFObjectHandle stream) {
  DecodedStream decoded = DecodeStream(stream, kMaxResourceBytes, qpdf_dl_all);
  if (decoded.truncated) throw std::runtime_error(decoded.Excess(kMaxResourceBytes));
  return std::move(decoded.data);
}

std::optional<std::size_t> ImageBytes(std::size_t width, std::size_t height, std::size_t components,
                                      std::size_t bits_per_component, std::size_t ceiling) {
  if (width == 0 || height == 0 || components == 0 || bits_per_component == 0) return std::nullopt;
  // Each step divides first, so nothing overflows before it is compared: a row holds at
  // most 8 × ceiling bits (less what the rounding down of ceiling / bits loses).
  const std::size_t most_samples = ceiling / bits_per_component * 8 + 7;
  if (width > most_samples / components) return std::nullopt;
  const std::size_t row = (width * components * bits_per_component + 7) / 8;
  if (row > ceiling || height > ceiling / row) return std::nullopt;
  return row * height;
}

std::string ByteSize(std::size_t bytes) {
  if (bytes % (std::size_t{1} << 30) == 0) return std::to_string(bytes >> 30) + " GiB";
  if (bytes % (std::size_t{1} << 20) == 0) return std::to_string(bytes >> 20) + " MiB";
  return std::to_string(bytes) + " bytes";
}

}  // namespace QorPdf::internal
