// Knockout kernels: the pixel loop of one colour plane of an object painted in a
// knockout group, over one piece of a run.
//
// The object composites against the group's initial backdrop (a0, C0), not against
// what the group painted so far, and replaces that by its shape f:
//   Q = q·cs,  comp = CompositeInk(a0, C0, q, Q, Blend<mode>::Term(a0, C0, q, Q)),
//   out = (1 − f)·C + f·comp
// with q the object's opacity and cs its unpremultiplied ink. One instance per mode;
// the line's current value C and the source ink are uniform or per pixel through
// their steps, the other operands are per pixel.
#pragma once

#include <cstddef>
#include <cstdint>

namespace QorSc {

struct KnockoutKernelArgs {
  float* out;            // the plane at the piece's first pixel
  const float* current;  // what the group painted so far, premultiplied
  std::ptrdiff_t currentStep;
  const float* a0;  // initial backdrop alpha, per pixel
  const float* c0;  // initial backdrop ink, premultiplied, per pixel
  const float* cs;  // source ink, not premultiplied
  std::ptrdiff_t csStep;
  const float* q;    // source opacity, per pixel
  const float* f;    // source shape, per pixel
  std::ptrdiff_t n;  // pixels
};

using KnockoutKernel = void (*)(const KnockoutKernelArgs&);

// The kernel for a mode (above 11: Exclusion).
KnockoutKernel SelectKnockoutKernel(std::uint32_t mode);

}  // namespace QorSc
