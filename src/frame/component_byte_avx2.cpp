// The stretch conversion of component values to bytes with AVX2, for processors that
// have it; the build's baseline stays x86-64 (SSE2), so this code runs only after a
// run-time check (SelectComponentBytes).
//
// Invariant: the same bytes as ComponentByte for every value, NaN included. A block of
// 32 values takes the vector path only when every truncated value lies in [0, 255],
// where the value is its own low byte; any other block goes value by value. The
// vector path keeps the two roundings of the scalar rule (multiply, then add, in
// single precision; contraction is off for the whole build) and the same truncation.
// Hot loop: no allocation, no branch per value.

#include "frame/component_byte.h"

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#define QORSC_COMPONENT_BYTES_AVX2 1
#include <immintrin.h>
#endif

namespace QorSc {

#if defined(QORSC_COMPONENT_BYTES_AVX2)
namespace {

constexpr std::size_t kWideBlock = 32;

// Eight truncated values, a trace of ink that truncates to 0 made 1 (subtracting the
// all-ones mask adds 1). Out of int's range and NaN truncate to INT_MIN, which the
// block's range test rejects.
__attribute__((target("avx2"))) inline __m256i EightBytes(const float* at) {
  const __m256 x = _mm256_loadu_ps(at);
  const __m256i b = _mm256_cvttps_epi32(
      _mm256_add_ps(_mm256_mul_ps(x, _mm256_set1_ps(255.0f)), _mm256_set1_ps(0.5f)));
  const __m256i lost =
      _mm256_and_si256(_mm256_cmpeq_epi32(b, _mm256_setzero_si256()),
                       _mm256_castps_si256(_mm256_cmp_ps(
                           x, _mm256_set1_ps(component_byte_detail::kTrace), _CMP_GE_OQ)));
  return _mm256_sub_epi32(b, lost);
}

// Writes the block's 32 bytes and returns true when every value is its own byte;
// otherwise writes nothing and returns false.
__attribute__((target("avx2"))) inline bool WideInkBlockBytes(const float* v, unsigned char* out) {
  const __m256i b0 = EightBytes(v);
  const __m256i b1 = EightBytes(v + 8);
  const __m256i b2 = EightBytes(v + 16);
  const __m256i b3 = EightBytes(v + 24);
  const __m256i all = _mm256_or_si256(_mm256_or_si256(b0, b1), _mm256_or_si256(b2, b3));
  if (!_mm256_testz_si256(all, _mm256_set1_epi32(~0xFF))) return false;
  // The packs work within 128-bit lanes: the dwords come out as b0 b1 b2 b3 of the
  // low halves, then of the high halves, and the permutation puts them in order.
  const __m256i packed =
      _mm256_packus_epi16(_mm256_packs_epi32(b0, b1), _mm256_packs_epi32(b2, b3));
  const __m256i ordered =
      _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), ordered);
  return true;
}

__attribute__((target("avx2"))) void ComponentBytesAvx2(const float* values, std::size_t n,
                                                        unsigned char* out) {
  std::size_t k = 0;
  for (; k + kWideBlock <= n; k += kWideBlock) {
    if (WideInkBlockBytes(values + k, out + k)) continue;
    for (std::size_t i = k; i < k + kWideBlock; ++i)
      out[i] = ComponentByte(values[i]);
  }
  ComponentBytes(values + k, n - k, out + k);
}

}  // namespace

ComponentBytesFunction SelectComponentBytes() {
  return __builtin_cpu_supports("avx2") ? &ComponentBytesAvx2 : &ComponentBytes;
}
#else
ComponentBytesFunction SelectComponentBytes() {
  return &ComponentBytes;
}
#endif

}  // namespace QorSc
