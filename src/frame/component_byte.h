// The byte a component value prints as, inline for the output's per-pixel loops
// (the exported ComponentToByte is this function behind a library call), and the
// conversion of a stretch of values, portable or with AVX2 where the processor has it.
//
// (int)(v·255 + 0.5) in single precision with the low byte kept; outside int's range
// (or NaN) the value is clamped before the cast, which would otherwise be undefined;
// a trace of ink (v ≥ 1e-6, compared in double) never becomes 0.
#pragma once

#include <climits>
#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QorSc {

inline unsigned char ComponentByte(float v) {
  const float scaled = v * 255.0f + 0.5f;
  int b = 0;
  if (scaled >= 2147483648.0f) {
    b = INT_MAX;
  } else if (scaled > -2147483648.0f) {
    b = static_cast<int>(scaled);
  } else if (scaled == scaled) {
    b = INT_MIN;
  }
  auto byte = static_cast<unsigned char>(b & 0xFF);
  if (byte == 0 && static_cast<double>(v) >= 1e-6) byte = 1;
  return byte;
}

// A stretch of per-pixel values as bytes, each ComponentByte of its value. Blocks of
// inks (nearly always every value) take a branch-free path: in [0, 1], (int) of a
// value in [0.5, 255.5] needs no clamping and its low byte is the value itself.
// Other blocks go value by value. With SSE2 the block is written with intrinsics and
// takes the fast path whenever every (int) is within [0, 255]: the compiler's own
// vectorisation of the portable loop kept the byte truncation as a chain of word
// shuffles (about 10 instructions per value against 4 here).
namespace component_byte_detail {

// The least float that is at least 1e-6 as a double (the nearest lies below).
constexpr float kTrace = 0x1.0c6f7cp-20f;
constexpr std::size_t kBlock = 16;

// Writes the block's bytes and returns true when all its values are inks; otherwise
// writes nothing and returns false.
inline bool InkBlockBytes(const float* v, unsigned char* out) {
#if defined(__SSE2__)
  // Written out for the four vectors: as loops over small arrays, the compiler
  // kept them on the stack.
  const auto byte = [](const float* at) {
    const __m128 x = _mm_loadu_ps(at);
    // Multiply, then add: two roundings, as the value-by-value conversion. Out of
    // int's range and NaN truncate to INT_MIN, which fails the test below.
    const __m128i b =
        _mm_cvttps_epi32(_mm_add_ps(_mm_mul_ps(x, _mm_set1_ps(255.0f)), _mm_set1_ps(0.5f)));
    // A trace of ink that rounds to 0 becomes 1: subtracting the all-ones mask adds 1.
    const __m128i lost = _mm_and_si128(_mm_cmpeq_epi32(b, _mm_setzero_si128()),
                                       _mm_castps_si128(_mm_cmpge_ps(x, _mm_set1_ps(kTrace))));
    return _mm_sub_epi32(b, lost);
  };
  const __m128i b0 = byte(v), b1 = byte(v + 4), b2 = byte(v + 8), b3 = byte(v + 12);
  // Where every (int) is within [0, 255] it is its own low byte, and the saturating
  // packs keep it; any other block goes value by value.
  const __m128i all = _mm_or_si128(_mm_or_si128(b0, b1), _mm_or_si128(b2, b3));
  const __m128i high = _mm_andnot_si128(_mm_set1_epi32(0xFF), all);
  if (_mm_movemask_epi8(_mm_cmpeq_epi32(high, _mm_setzero_si128())) != 0xFFFF) return false;
  const __m128i packed = _mm_packus_epi16(_mm_packs_epi32(b0, b1), _mm_packs_epi32(b2, b3));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), packed);
  return true;
#else
  int inks = 1;
  for (std::size_t i = 0; i < kBlock; ++i)
    inks &= static_cast<int>(v[i] >= 0.0f) & static_cast<int>(v[i] <= 1.0f);
  if (!inks) return false;
  // Bytes may alias anything: built locally, the loop needs no overlap check.
  unsigned char bytes[kBlock];
  for (std::size_t i = 0; i < kBlock; ++i) {
    const int b = static_cast<int>(v[i] * 255.0f + 0.5f);
    const int lost = static_cast<int>(b == 0) & static_cast<int>(v[i] >= kTrace);
    bytes[i] = static_cast<unsigned char>(b | lost);
  }
  std::memcpy(out, bytes, kBlock);
  return true;
#endif
}

}  // namespace component_byte_detail

// The baseline conversion of a stretch: SSE2 blocks (any x86-64), else portable blocks.
inline void ComponentBytes(const float* values, std::size_t n, unsigned char* out) {
  using component_byte_detail::kBlock;
  std::size_t k = 0;
  for (; k + kBlock <= n; k += kBlock) {
    if (component_byte_detail::InkBlockBytes(values + k, out + k)) continue;
    for (std::size_t i = k; i < k + kBlock; ++i)
      out[i] = ComponentByte(values[i]);
  }
  for (; k < n; ++k)
    out[k] = ComponentByte(values[k]);
}

using ComponentBytesFunction = void (*)(const float* values, std::size_t n, unsigned char* out);

// The fastest stretch conversion this processor runs, chosen when called (the build
// targets baseline x86-64, so wider instructions are taken only after asking the
// processor). Every choice writes ComponentByte of every value.
ComponentBytesFunction SelectComponentBytes();

}  // namespace QorSc
