// Operand: one input of a pixel loop over a piece of a line, either one value for
// the whole piece (step 0) or one value per pixel (step 1), so loops read every
// operand the same way and carry no branch on storage states or kinds.
#pragma once

#include <cstddef>
#include <cstdint>

#include "composite/line_buffer.h"
#include "paint/paint_getter.h"
#include "paint/pixel_plane.h"

namespace QorSc {

// Value i of the piece is base[i * step].
struct Operand {
  const float* base;
  std::ptrdiff_t step;

  float operator[](std::ptrdiff_t i) const { return base[i * step]; }
  // The operand over the same values from pixel `offset` of the piece on.
  Operand From(std::ptrdiff_t offset) const { return {base + offset * step, step}; }
};

static_assert(+kKindZero == +kStateZero && +kKindFull == +kStateFull &&
              +kKindPerPixel == +kStatePerPixel && +kKindConstant == +kStateConstant);

// An operand over the piece starting at s, from values stored under a kind or state
// (the numbers are shared): per pixel, or one value — 0, 1, or the constant stored at
// `constantAt` — parked in `uniform`, which must outlive the operand.
inline Operand MakeOperand(std::uint8_t kind, PixelPlane<const float> values, long long s,
                           long long constantAt, float& uniform) {
  switch (kind) {
    case kStatePerPixel:
      return {values.At(s), 1};
    case kStateConstant:
      uniform = values[constantAt];
      break;
    case kStateFull:
      uniform = 1.0f;
      break;
    default:
      uniform = 0.0f;
      break;
  }
  return {&uniform, 0};
}

// The line's plane p over the piece starting at s, in state `state`.
inline Operand LineOperand(const LineBuffer& line, std::size_t p, std::uint8_t state, long long s,
                           float& uniform) {
  return MakeOperand(state, line.Plane(p), s, s, uniform);
}

// The three auxiliary planes of one interval starting at s: what they hold, read as
// operands, and where their new values go (the same pixels).
class AuxiliaryPlanes {
 public:
  AuxiliaryPlanes(LineBuffer& line, const std::uint8_t* row, long long s)
      : own(LineOperand(line, line.OwnAlphaPlane(), row[line.OwnAlphaPlane()], s, uniform_[0])),
        alpha(LineOperand(line, line.AlphaPlane(), row[line.AlphaPlane()], s, uniform_[1])),
        shape(LineOperand(line, line.ShapePlane(), row[line.ShapePlane()], s, uniform_[2])),
        ownOut(line.Plane(line.OwnAlphaPlane()).At(s)),
        alphaOut(line.Plane(line.AlphaPlane()).At(s)),
        shapeOut(line.Plane(line.ShapePlane()).At(s)) {}
  AuxiliaryPlanes(const AuxiliaryPlanes&) = delete;
  AuxiliaryPlanes& operator=(const AuxiliaryPlanes&) = delete;

  // Pixel k of the piece under a source of alpha as and shape fs: the union rule
  // x + s − x·s for the own alpha, the accumulated alpha and the shape.
  void Over(std::ptrdiff_t k, float as, float fs) const {
    const float o = own[k];
    const float a = alpha[k];
    const float f = shape[k];
    ownOut[k] = o + as - o * as;
    alphaOut[k] = a + as - a * as;
    shapeOut[k] = f + fs - f * fs;
  }

 private:
  float uniform_[3] = {0.0f, 0.0f, 0.0f};

 public:
  const Operand own;
  const Operand alpha;
  const Operand shape;
  float* const ownOut;
  float* const alphaOut;
  float* const shapeOut;
};

}  // namespace QorSc
