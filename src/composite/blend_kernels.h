// Blend kernels: the pixel loops of blended compositing, one colour plane over one
// piece of a run.
//
// Every operand is either one value for the whole piece or one value per pixel; a
// kernel is instantiated for each combination and each blend mode, so its loop
// holds no branch on storage states, kinds or modes and no indirect call, and the
// compiler can keep it to loads, multiplies and the blend's own arithmetic. Per
// pixel, with the paint's mask pm (1 for paints without one):
//   qs = qScale·pm, as = fs·qs, Cs = as·cs,
//   out = CompositeInk(ab, Cb, as, Cs, Blend<mode>::Term(ab, Cb, as, Cs)).
#pragma once

#include <cstddef>
#include <cstdint>

namespace QorSc {

struct BlendKernelArgs {
  float* out;        // the plane at the piece's first pixel
  const float* ab;   // backdrop alpha
  const float* cb;   // backdrop ink, premultiplied
  const float* cs;   // source ink, not premultiplied
  const float* pm;   // the paint's own mask
  float qScale;      // opacity acting as opacity (1 when it acts as shape)
  float fs;          // source shape
  std::ptrdiff_t n;  // pixels
};

using BlendKernel = void (*)(const BlendKernelArgs&);

// The kernel for a mode (above 11: Exclusion) and for which operands are per pixel.
BlendKernel SelectBlendKernel(std::uint32_t mode, bool abPerPixel, bool cbPerPixel, bool csPerPixel,
                              bool pmPerPixel);

}  // namespace QorSc
