// Instantiations of the knockout kernels, one per mode, chosen once per plane and
// piece through a table.

#include "composite/knockout_kernels.h"

#include <array>
#include <utility>

#include "composite/blend_term.h"

namespace QorSc {
namespace {

template <std::uint32_t kMode>
void KnockoutKernelOf(const KnockoutKernelArgs& a) {
  for (std::ptrdiff_t i = 0; i < a.n; ++i) {
    const float a0 = a.a0[i];
    const float c0 = a.c0[i];
    const float q = a.q[i];
    const float source = q * a.cs[i * a.csStep];
    const float term = Blend<kMode>::Term(a0, c0, q, source);
    const float composite = CompositeInk(a0, c0, q, source, term);
    const float f = a.f[i];
    a.out[i] = (1.0f - f) * a.current[i * a.currentStep] + f * composite;
  }
}

template <std::uint32_t... kModes>
constexpr std::array<KnockoutKernel, 12> AllKernels(
    std::integer_sequence<std::uint32_t, kModes...>) {
  return {&KnockoutKernelOf<kModes>...};
}

constexpr auto kKernels = AllKernels(std::make_integer_sequence<std::uint32_t, 12>{});

}  // namespace

KnockoutKernel SelectKnockoutKernel(std::uint32_t mode) {
  return kKernels[mode < 11 ? mode : 11];
}

}  // namespace QorSc
