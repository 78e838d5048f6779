// Instantiations of the blend kernels: 12 modes × 16 operand shapes, chosen once per
// plane and piece through a table.

#include "composite/blend_kernels.h"

#include <array>
#include <utility>

#include "composite/blend_term.h"

namespace QorSc {
namespace {

template <std::uint32_t kMode, unsigned kShape>
void BlendKernelOf(const BlendKernelArgs& a) {
  constexpr std::ptrdiff_t kAb = (kShape & 1u) ? 1 : 0;
  constexpr std::ptrdiff_t kCb = (kShape & 2u) ? 1 : 0;
  constexpr std::ptrdiff_t kCs = (kShape & 4u) ? 1 : 0;
  constexpr std::ptrdiff_t kPm = (kShape & 8u) ? 1 : 0;
  float* const out = a.out;
  const float* const ab = a.ab;
  const float* const cb = a.cb;
  const float* const cs = a.cs;
  const float* const pm = a.pm;
  const float q_scale = a.qScale;
  const float fs = a.fs;
  for (std::ptrdiff_t i = 0; i < a.n; ++i) {
    const float backdrop_alpha = ab[i * kAb];
    const float backdrop = cb[i * kCb];
    const float qs = q_scale * pm[i * kPm];
    const float as = fs * qs;
    const float source = as * cs[i * kCs];
    const float term = Blend<kMode>::Term(backdrop_alpha, backdrop, as, source);
    out[i] = CompositeInk(backdrop_alpha, backdrop, as, source, term);
  }
}

template <std::uint32_t kMode, unsigned... kShapes>
constexpr std::array<BlendKernel, 16> KernelsOfMode(std::integer_sequence<unsigned, kShapes...>) {
  return {&BlendKernelOf<kMode, kShapes>...};
}

template <std::uint32_t... kModes>
constexpr std::array<std::array<BlendKernel, 16>, kBlendModeCount> AllKernels(
    std::integer_sequence<std::uint32_t, kModes...>) {
  return {KernelsOfMode<kModes>(std::make_integer_sequence<unsigned, 16>{})...};
}

constexpr auto kKernels = AllKernels(std::make_integer_sequence<std::uint32_t, kBlendModeCount>{});

}  // namespace

BlendKernel SelectBlendKernel(std::uint32_t mode, bool abPerPixel, bool cbPerPixel, bool csPerPixel,
                              bool pmPerPixel) {
  const unsigned shape = (abPerPixel ? 1u : 0u) | (cbPerPixel ? 2u : 0u) | (csPerPixel ? 4u : 0u) |
                         (pmPerPixel ? 8u : 0u);
  return kKernels[BlendModeIndex(mode)][shape];
}

}  // namespace QorSc
