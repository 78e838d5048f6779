// The byte a component value prints as, inline for the output's per-pixel loops
// (the exported ComponentToByte is this function behind a library call).
//
// (int)(v·255 + 0.5) in single precision with the low byte kept; outside int's range
// (or NaN) the value is clamped before the cast, which would otherwise be undefined;
// a trace of ink (v ≥ 1e-6, compared in double) never becomes 0.
#pragma once

#include <climits>
#include <cstddef>
#include <cstring>

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
// inks within [0, 1] (nearly always every value) take a branch-free loop of fixed
// length, which the compiler vectorises at this optimisation level; there (int) of
// a value in [0.5, 255.5] needs no clamping. Other blocks go value by value.
inline void ComponentBytes(const float* values, std::size_t n, unsigned char* out) {
  constexpr std::size_t kBlock = 16;
  // The least float that is at least 1e-6 as a double (the nearest lies below).
  constexpr float kTrace = 0x1.0c6f7cp-20f;
  std::size_t k = 0;
  for (; k + kBlock <= n; k += kBlock) {
    const float* v = values + k;
    int inks = 1;
    for (std::size_t i = 0; i < kBlock; ++i)
      inks &= static_cast<int>(v[i] >= 0.0f) & static_cast<int>(v[i] <= 1.0f);
    if (!inks) {
      for (std::size_t i = 0; i < kBlock; ++i)
        out[k + i] = ComponentByte(v[i]);
      continue;
    }
    // Bytes may alias anything: built locally, the loop needs no overlap check.
    unsigned char bytes[kBlock];
    for (std::size_t i = 0; i < kBlock; ++i) {
      const int b = static_cast<int>(v[i] * 255.0f + 0.5f);
      const int trace = static_cast<int>(b == 0) & static_cast<int>(v[i] >= kTrace);
      bytes[i] = static_cast<unsigned char>(b | trace);
    }
    std::memcpy(out + k, bytes, kBlock);
  }
  for (; k < n; ++k)
    out[k] = ComponentByte(values[k]);
}

}  // namespace QorSc
