// Planes of byte samples to pixels: a line's colour planes, one after the other,
// reshaped so that each pixel's samples lie together (the byte output of a line
// and the writers of pixel-interleaved files).
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QorColor {

namespace interleave_detail {

// A fixed number of planes, portably: each block of pixels is gathered plane by
// plane into a small buffer written out at once.
template <std::size_t kCount>
void InterleaveFixed(const unsigned char* planes, std::size_t width, unsigned char* pixels,
                     std::size_t x = 0) {
  constexpr std::size_t kBlock = 16;
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

#if defined(__SSE2__)
// Sixteen pixels of four planes (a zero vector for a plane that is not there) as
// 32-bit words: pixels 0–3, 4–7, 8–11 and 12–15.
inline void FourPlaneWords(__m128i a, __m128i b, __m128i c, __m128i d, __m128i words[4]) {
  const __m128i ab_low = _mm_unpacklo_epi8(a, b), ab_high = _mm_unpackhi_epi8(a, b);
  const __m128i cd_low = _mm_unpacklo_epi8(c, d), cd_high = _mm_unpackhi_epi8(c, d);
  words[0] = _mm_unpacklo_epi16(ab_low, cd_low);
  words[1] = _mm_unpackhi_epi16(ab_low, cd_low);
  words[2] = _mm_unpacklo_epi16(ab_high, cd_high);
  words[3] = _mm_unpackhi_epi16(ab_high, cd_high);
}

// Two to eight planes with byte unpacking: two planes and four are whole vectors;
// three and five to eight become 64-bit words, one per pixel, written at each
// pixel's place. On five plates (which at 1200 dpi took half of a text page's
// time through a strided byte loop) a quarter of that loop's instructions; on four,
// under half of building 32-bit words in plain code.
template <std::size_t kCount>
void InterleaveSse2(const unsigned char* planes, std::size_t width, unsigned char* pixels) {
  static_assert(kCount >= 2 && kCount <= 8);
  constexpr std::size_t kBlock = 16;
  auto plane = [&](std::size_t p, std::size_t x) {
    return p < kCount ? _mm_loadu_si128(reinterpret_cast<const __m128i*>(planes + p * width + x))
                      : _mm_setzero_si128();
  };
  std::size_t x = 0;
  for (; x + kBlock <= width; x += kBlock) {
    unsigned char* out = pixels + kCount * x;
    if constexpr (kCount == 2) {
      const __m128i a = plane(0, x), b = plane(1, x);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(a, b));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), _mm_unpackhi_epi8(a, b));
      continue;
    }
    __m128i low[4];
    FourPlaneWords(plane(0, x), plane(1, x), plane(2, x), plane(3, x), low);
    if constexpr (kCount == 4) {
      for (std::size_t q = 0; q < 4; ++q)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * q), low[q]);
      continue;
    }
    // Each pixel is stored as eight bytes, the bytes past its samples zero and
    // overwritten by the next pixels: straight into the line while two more pixels
    // follow the block, else through a buffer with room for the last word.
    const bool room = x + kBlock + 2 <= width;
    unsigned char block[kBlock * kCount + 8];
    unsigned char* target = room ? out : block;
    __m128i high[4];
    FourPlaneWords(plane(4, x), plane(5, x), plane(6, x), plane(7, x), high);
    for (std::size_t q = 0; q < 4; ++q) {
      const __m128i first = _mm_unpacklo_epi32(low[q], high[q]);
      const __m128i second = _mm_unpackhi_epi32(low[q], high[q]);
      unsigned char* at = target + kCount * 4 * q;
      _mm_storel_epi64(reinterpret_cast<__m128i*>(at), first);
      _mm_storel_epi64(reinterpret_cast<__m128i*>(at + kCount), _mm_unpackhi_epi64(first, first));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(at + 2 * kCount), second);
      _mm_storel_epi64(reinterpret_cast<__m128i*>(at + 3 * kCount),
                       _mm_unpackhi_epi64(second, second));
    }
    if (!room) std::memcpy(out, block, kBlock * kCount);
  }
  InterleaveFixed<kCount>(planes, width, pixels, x);
}
#endif

template <std::size_t kCount>
void Interleave(const unsigned char* planes, std::size_t width, unsigned char* pixels) {
#if defined(__SSE2__)
  InterleaveSse2<kCount>(planes, width, pixels);
#else
  InterleaveFixed<kCount>(planes, width, pixels);
#endif
}

}  // namespace interleave_detail

// `count` planes of `width` bytes, one after the other, into `width` pixels of
// `count` samples each.
inline void InterleavePlanes(const unsigned char* planes, std::size_t width, std::size_t count,
                             unsigned char* pixels) {
  using interleave_detail::Interleave;
  switch (count) {
    case 1:
      std::copy(planes, planes + width, pixels);
      return;
    case 2:
      return Interleave<2>(planes, width, pixels);
    case 3:
      return Interleave<3>(planes, width, pixels);
    case 4:
      return Interleave<4>(planes, width, pixels);
    case 5:
      return Interleave<5>(planes, width, pixels);
    case 6:
      return Interleave<6>(planes, width, pixels);
    case 7:
      return Interleave<7>(planes, width, pixels);
    case 8:
      return Interleave<8>(planes, width, pixels);
    default:
      break;
  }
  // More than eight plates, plane by plane.
  for (std::size_t p = 0; p < count; ++p) {
    const unsigned char* plane = planes + p * width;
    unsigned char* out = pixels + p;
    for (std::size_t i = 0; i < width; ++i)
      out[i * count] = plane[i];
  }
}

}  // namespace QorColor
