// Reads a page from two scan converters of the same objects against reference
// pixels: `bytes` gives every line as plane-interleaved bytes, `mixed` alternates two
// hit lists with one byte line, so asking for a line's objects must advance the
// converter exactly as drawing it does.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "frame/component_byte.h"
#include "reference_compositor.h"
#include "scan/scan_converter.h"

namespace QorScTest {

// `expected` holds `height` lines of `width` pixels of three planes; `hits[y]` the
// identifiers of the objects on line y; `left` is the first pixel's column.
inline void ExpectBytesAndHitsMatch(QorSc::ScanConverter& bytes, QorSc::ScanConverter& mixed,
                                    const std::vector<ReferencePixel>& expected,
                                    const std::vector<std::vector<std::size_t>>& hits,
                                    long long width, long long height, long long left, int round) {
  std::vector<unsigned char> out(3 * width), mixed_out(3 * width);
  for (long long y = 0; y < height; ++y) {
    ASSERT_TRUE(bytes.GetLine255PlaneInterleaved(out.data()));
    if (y % 3 != 2) {
      ASSERT_EQ(mixed.GetObjectsOnNextLine(), hits[y]) << "round " << round << " line " << y;
    } else {
      ASSERT_TRUE(mixed.GetLine255PlaneInterleaved(mixed_out.data()));
      ASSERT_EQ(mixed_out, out) << "round " << round << " line " << y;
    }
    for (long long x = 0; x < width; ++x) {
      for (int s = 0; s < 3; ++s) {
        ASSERT_EQ(out[s * width + x], QorSc::ComponentToByte(expected[y * width + x].colour[s]))
            << "round " << round << " pixel " << x + left << "," << y << " plane " << s;
      }
    }
  }
  EXPECT_FALSE(bytes.GetLine255PlaneInterleaved(out.data()));
}

}  // namespace QorScTest
