// Decoding stream data with a ceiling on the decoded size.
//
// A few kilobytes of Flate data can inflate to gigabytes, so no stream is decoded
// without a limit: the consumer says how many bytes it can use (an image exactly its
// rows, a content stream or a resource a fixed ceiling) and decoding stops as soon
// as the limit is passed, without inflating the rest. Every stream the importer
// reads goes through DecodeStream.
//
// Decoding also stops past kMaxExpansion times the stream's stored length (at least
// kMinExpansionLimit): no single filter expands that much (Flate at most 1032-fold,
// LZW about 2730-fold), so only filter chains built to inflate pass it, and a bomb of
// a few kilobytes costs milliseconds instead of a gigabyte of decoding.
//
// Invariants: the result never holds more than `limit` bytes; `truncated` is set
// exactly when the stream had more (or passed the expansion limit); a stream whose filters qpdf
// cannot apply at the requested level throws, as qpdf's getStreamData does, so callers can report
// the filter as not supported.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qpdf_headers.h"

namespace QorPdf::internal {

// Ceilings for consumers whose need is not known from the stream's dictionary.
// Content streams (page, form, Type3 glyph, soft mask): the largest real pages
// (maps, CAD drawings) hold well under 100 MB of content.
inline constexpr std::size_t kMaxContentBytes = std::size_t{256} << 20;
// Fonts, CMaps, ICC profiles, functions and lookup tables: the largest CJK fonts are
// a few tens of megabytes.
inline constexpr std::size_t kMaxResourceBytes = std::size_t{64} << 20;

inline constexpr std::size_t kMaxExpansion = 4096;
inline constexpr std::size_t kMinExpansionLimit = std::size_t{1} << 20;

struct DecodedStream {
  std::string data;
  bool truncated = false;       // the stream decodes to more than the limit; the rest is unread
  bool damaged = false;         // decoding failed part-way; data holds what came out before
  bool over_expansion = false;  // truncated by the expansion limit, not the caller's

  // Why the data was truncated, for messages: "decodes to more than 256 MiB" or
  // "inflates more than 4096-fold".
  std::string Excess(std::size_t limit) const;
};

// The stream's data decoded at `level`, at most `limit` bytes of it. Throws
// std::runtime_error when the filters cannot be applied at that level.
DecodedStream DecodeStream(QPDFObjectHandle stream, std::size_t limit,
                           qpdf_stream_decode_level_e level);
// The same into `bytes` (which starts empty; the result's `data` stays so), for image samples
// that a picture adopts as they are.
DecodedStream DecodeStream(QPDFObjectHandle stream, std::size_t limit,
                           qpdf_stream_decode_level_e level, std::vector<std::uint8_t>& bytes);

// A resource stream (font program, CMap, ICC profile, function, lookup table)
// decoded with every filter qpdf has, at most kMaxResourceBytes; throws
// std::runtime_error when it cannot be decoded or is larger.
std::string DecodeResource(QPDFObjectHandle stream);

// The decoded size of an image's samples: `height` rows of width × components ×
// bits_per_component bits, each row padded to a whole byte; empty when a factor is
// zero or the size would pass `ceiling`. This is the limit to decode an image with.
std::optional<std::size_t> ImageBytes(std::size_t width, std::size_t height, std::size_t components,
                                      std::size_t bits_per_component, std::size_t ceiling);

// "256 MiB" and the like, for messages about limits.
std::string ByteSize(std::size_t bytes);

}  // namespace QorPdf::internal
