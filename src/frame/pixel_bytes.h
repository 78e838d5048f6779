// PixelBytes: a line's colour planes as bytes, pixel after pixel (the S bytes of a
// pixel together), straight from the interval map.
//
// The bytes are those of the plane-by-plane output interleaved: each plane's byte
// per pixel is ComponentByte of its value, Zero 0, Full 255, and an Absent interval
// keeps what the caller's buffer held there. Where no plane of an interval varies
// per pixel, the interval is one tuple of S bytes, and neighbours printing the same
// tuple are filled together: a blank stretch is one memset of the interleaved row,
// a stretch of one flat colour a repeated tuple, with no per-plane pass. Intervals
// with per-pixel planes (or Absent ones), with the narrow intervals beside them, are
// converted plane by plane into scratch planes of their own width and interleaved
// from there.
//
// Hot loop: one pass over the intervals; nothing allocates (the scratch planes are
// sized for the whole line when the writer is made) and nothing branches per pixel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "composite/line_buffer.h"
#include "frame/component_byte.h"

namespace QorSc {

class PixelBytes {
 public:
  // For lines of `planes` colour planes over `width` pixels.
  PixelBytes(std::size_t planes, std::size_t width, ComponentBytesFunction componentBytes);

  // Writes colour planes 0 .. planes − 1 of `line`, pixel x's samples at
  // pixels + (x − left) · planes.
  void Write(const LineBuffer& line, unsigned char* pixels);

 private:
  // The interval walk, with tuples of a fixed or any number of planes.
  template <class Tuples>
  void WriteWith(Tuples& tuples, const LineBuffer& line, unsigned char* pixels);
  // Intervals [first, last) of `line`, the first with a per-pixel or Absent plane,
  // at `out`: plane by plane into the scratch planes, then interleaved.
  void WriteMixed(const LineBuffer& line, std::size_t first, std::size_t last, unsigned char* out);

  std::size_t planes_;
  ComponentBytesFunction component_bytes_;
  // With more than 8 planes, the pending tuple's bytes and the next interval's.
  std::vector<unsigned char> tuple_;
  std::vector<unsigned char> next_;
  std::vector<unsigned char> scratch_;  // planes × width bytes
};

}  // namespace QorSc
