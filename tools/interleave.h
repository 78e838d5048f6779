// Planes to pixels: the writers' one reshaping of a line.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace QorScTool {

// `count` planes of `width` bytes, one after the other, into `width` pixels of
// `count` samples each.
inline void InterleavePlanes(const unsigned char* planes, std::size_t width, std::size_t count,
                             unsigned char* pixels) {
  if (count == 1) {
    std::copy(planes, planes + width, pixels);
    return;
  }
  std::size_t x = 0;
  if constexpr (std::endian::native == std::endian::little) {
    if (count == 4) {
      // CMYK: whole pixels built as 32-bit words in blocks of fixed length, which
      // the compiler vectorises; the strided loop below costs several times more.
      constexpr std::size_t kBlock = 16;
      const unsigned char* c = planes;
      const unsigned char* m = planes + width;
      const unsigned char* y = planes + 2 * width;
      const unsigned char* k = planes + 3 * width;
      for (; x + kBlock <= width; x += kBlock) {
        std::uint32_t words[kBlock];
        for (std::size_t i = 0; i < kBlock; ++i) {
          words[i] = static_cast<std::uint32_t>(c[x + i]) |
                     static_cast<std::uint32_t>(m[x + i]) << 8 |
                     static_cast<std::uint32_t>(y[x + i]) << 16 |
                     static_cast<std::uint32_t>(k[x + i]) << 24;
        }
        std::memcpy(pixels + 4 * x, words, sizeof words);
      }
    }
  }
  // The rest (all of it unless four plates), plane by plane.
  for (std::size_t p = 0; p < count; ++p) {
    const unsigned char* plane = planes + p * width;
    unsigned char* out = pixels + p;
    for (std::size_t i = x; i < width; ++i)
      out[i * count] = plane[i];
  }
}

}  // namespace QorScTool
