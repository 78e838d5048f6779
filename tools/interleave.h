// Planes to pixels: the writers' one reshaping of a line.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace QorScTool {

namespace interleave_detail {

// A fixed number of planes: each block of pixels is gathered plane by plane (loads the
// compiler vectorises) into a small buffer written out at once; with the count known
// at compile time this costs about half the strided loop of the general case.
template <std::size_t kCount>
void InterleaveFixed(const unsigned char* planes, std::size_t width, unsigned char* pixels) {
  constexpr std::size_t kBlock = 16;
  std::size_t x = 0;
  for (; x + kBlock <= width; x += kBlock) {
    unsigned char block[kBlock * kCount];
    for (std::size_t p = 0; p < kCount; ++p) {
      const unsigned char* plane = planes + p * width + x;
      for (std::size_t i = 0; i < kBlock; ++i)
        block[i * kCount + p] = plane[i];
    }
    std::memcpy(pixels + kCount * x, block, sizeof block);
  }
  for (; x < width; ++x) {
    for (std::size_t p = 0; p < kCount; ++p)
      pixels[x * kCount + p] = planes[p * width + x];
  }
}

}  // namespace interleave_detail

// `count` planes of `width` bytes, one after the other, into `width` pixels of
// `count` samples each.
inline void InterleavePlanes(const unsigned char* planes, std::size_t width, std::size_t count,
                             unsigned char* pixels) {
  switch (count) {
    case 1:
      std::copy(planes, planes + width, pixels);
      return;
    case 2:
      return interleave_detail::InterleaveFixed<2>(planes, width, pixels);
    case 3:
      return interleave_detail::InterleaveFixed<3>(planes, width, pixels);
    case 5:
      return interleave_detail::InterleaveFixed<5>(planes, width, pixels);
    case 6:
      return interleave_detail::InterleaveFixed<6>(planes, width, pixels);
    case 7:
      return interleave_detail::InterleaveFixed<7>(planes, width, pixels);
    case 8:
      return interleave_detail::InterleaveFixed<8>(planes, width, pixels);
    default:
      break;
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
  // The rest (four plates past the blocks, or more than eight), plane by plane.
  for (std::size_t p = 0; p < count; ++p) {
    const unsigned char* plane = planes + p * width;
    unsigned char* out = pixels + p;
    for (std::size_t i = x; i < width; ++i)
      out[i * count] = plane[i];
  }
}

}  // namespace QorScTool
