// Blended compositing of an element from per-pixel operands. Per plane and piece the
// kernel is chosen once; the pixel loops live in the kernels.

#include "composite/element_compositor.h"

#include <algorithm>

#include "composite/blend_kernels.h"
#include "composite/knockout_kernels.h"
#include "frame/conversion_pools.h"

namespace QorSc {
namespace {

void CompositeOrdinary(LineBuffer& line, std::size_t interval, const ElementPiece& piece,
                       ElementColours& colours, std::uint32_t mode) {
  std::uint8_t* row = line.Row(interval);
  const long long s = line.Start(interval);
  const std::ptrdiff_t n = line.End(interval) - s;
  float alpha_uniform;
  const Operand ab = LineOperand(line, line.AlphaPlane(), row[line.AlphaPlane()], s, alpha_uniform);
  for (std::size_t c = 0; c < line.ColourPlanes(); ++c) {
    const Operand cs = colours.Colour(c, s, n);
    if (cs.base == nullptr) continue;
    float backdrop_uniform;
    const Operand cb = LineOperand(line, c, row[c], s, backdrop_uniform);
    const BlendKernel kernel =
        SelectBlendKernel(mode, ab.step != 0, cb.step != 0, cs.step != 0, true);
    kernel(BlendKernelArgs{line.Plane(c).At(s), ab.base, cb.base, cs.base, piece.alpha, 1.0f, 1.0f,
                           n});
    row[c] = kStatePerPixel;
  }
  const AuxiliaryPlanes aux(line, row, s);
  for (std::ptrdiff_t k = 0; k < n; ++k) {
    const float as = piece.alpha[k];
    const float fs = piece.shape[k];
    const float o = aux.own[k];
    const float a = aux.alpha[k];
    const float f = aux.shape[k];
    aux.ownOut[k] = o + as - o * as;
    aux.alphaOut[k] = a + as - a * as;
    aux.shapeOut[k] = f + fs - f * fs;
  }
}

void CompositeKnockout(LineBuffer& line, std::size_t interval, const ElementPiece& piece,
                       ElementColours& colours, std::uint32_t mode, ConversionPools& pools) {
  std::uint8_t* row = line.Row(interval);
  const long long s = line.Start(interval);
  const long long e = line.End(interval);
  const std::ptrdiff_t n = e - s;
  const LineBuffer* initial = line.InitialBackdrop();
  ScratchLine a0(pools);
  ScratchLine c0(pools);
  if (initial != nullptr) {
    initial->ResolveInto(initial->AlphaPlane(), s, e, a0.Data());
  } else {
    std::fill(a0.Data(), a0.Data() + n, 0.0f);
    std::fill(c0.Data(), c0.Data() + n, 0.0f);
  }
  const KnockoutKernel kernel = SelectKnockoutKernel(mode);
  for (std::size_t c = 0; c < line.ColourPlanes(); ++c) {
    const Operand cs = colours.Colour(c, s, n);
    if (cs.base == nullptr) continue;
    if (initial != nullptr) initial->ResolveInto(c, s, e, c0.Data());
    float current_uniform;
    const Operand current = LineOperand(line, c, row[c], s, current_uniform);
    kernel(KnockoutKernelArgs{line.Plane(c).At(s), current.base, current.step, a0.Data(), c0.Data(),
                              cs.base, cs.step, piece.opacity, piece.shape, n});
    row[c] = kStatePerPixel;
  }
  const AuxiliaryPlanes aux(line, row, s);
  const float* backdrop_alpha = a0.Data();
  for (std::ptrdiff_t k = 0; k < n; ++k) {
    const float qs = piece.opacity[k];
    const float fs = piece.shape[k];
    const float b = backdrop_alpha[k];
    const float o = aux.own[k];
    const float a = aux.alpha[k];
    const float f = aux.shape[k];
    aux.ownOut[k] = (1.0f - fs) * o + fs * qs;
    aux.alphaOut[k] = (1.0f - fs) * a + fs * ((b + qs) - b * qs);
    aux.shapeOut[k] = f + fs - f * fs;
  }
}

}  // namespace

void CompositeElement(LineBuffer& line, std::size_t interval, const ElementPiece& piece,
                      ElementColours& colours, std::uint32_t mode, ConversionPools& pools) {
  if (line.IsKnockout()) {
    CompositeKnockout(line, interval, piece, colours, mode, pools);
  } else {
    CompositeOrdinary(line, interval, piece, colours, mode);
  }
  std::uint8_t* row = line.Row(interval);
  row[line.OwnAlphaPlane()] = kStatePerPixel;
  row[line.AlphaPlane()] = kStatePerPixel;
  row[line.ShapePlane()] = kStatePerPixel;
}

}  // namespace QorSc
