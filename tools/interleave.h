// Planes to pixels: the writers' one reshaping of a line.
#pragma once

#include <algorithm>
#include <cstddef>

namespace QorScTool {

// `count` planes of `width` bytes, one after the other, into `width` pixels of
// `count` samples each.
inline void InterleavePlanes(const unsigned char* planes, std::size_t width, std::size_t count,
                             unsigned char* pixels) {
  if (count == 1) {
    std::copy(planes, planes + width, pixels);
    return;
  }
  for (std::size_t p = 0; p < count; ++p) {
    const unsigned char* plane = planes + p * width;
    unsigned char* out = pixels + p;
    for (std::size_t x = 0; x < width; ++x)
      out[x * count] = plane[x];
  }
}

}  // namespace QorScTool
