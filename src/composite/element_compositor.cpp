// Blended compositing of an element from per-pixel operands. Per plane and piece the
// kernel is chosen once; the pixel loops live in the kernels.

#include "composite/element_compositor.h"

#include <algorithm>

#include "composite/blend_kernels.h"
#include "composite/knockout_kernels.h"
#include "composite/non_separable.h"
#include "frame/conversion_pools.h"
#include "qorblend/transparency.h"

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
  for (std::ptrdiff_t k = 0; k < n; ++k)
    aux.Over(k, piece.alpha[k], piece.shape[k]);
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

// The element's colours with the process plates left out (already composited).
class SpotColours final : public ElementColours {
 public:
  SpotColours(ElementColours& colours, const std::vector<QorColor::CmykIndex::Type>& cmyk)
      : colours_(colours), cmyk_(cmyk) {}
  Operand Colour(std::size_t c, long long s, std::ptrdiff_t n) override {
    if (cmyk_[c] != QorColor::CmykIndex::None) return {nullptr, 0};
    return colours_.Colour(c, s, n);
  }

 private:
  ElementColours& colours_;
  const std::vector<QorColor::CmykIndex::Type>& cmyk_;
};

template <std::uint8_t kMode>
void BlendProcessInks(std::ptrdiff_t n, float* const cb[4], float* const cs[4], float* const b[4]) {
  for (std::ptrdiff_t k = 0; k < n; ++k) {
    const float backdrop[4] = {cb[0][k], cb[1][k], cb[2][k], cb[3][k]};
    const float source[4] = {cs[0][k], cs[1][k], cs[2][k], cs[3][k]};
    float out[4];
    NonSeparableBlend<kMode>(backdrop, source, out);
    for (int i = 0; i < 4; ++i)
      b[i][k] = out[i];
  }
}

// The process plates of a non-separable element; the caller composites the rest.
void CompositeProcessInks(LineBuffer& line, std::size_t interval, const ElementPiece& piece,
                          ElementColours& colours, std::uint8_t nonSeparable,
                          const std::vector<QorColor::CmykIndex::Type>& cmyk,
                          ConversionPools& pools) {
  std::uint8_t* row = line.Row(interval);
  const long long s = line.Start(interval);
  const long long e = line.End(interval);
  const std::ptrdiff_t n = e - s;
  const bool knockout = line.IsKnockout();
  // The backdrop the element meets: the line, or a knockout level's initial one.
  const LineBuffer* backdrop = knockout ? line.InitialBackdrop() : &line;
  int plane[4] = {-1, -1, -1, -1};
  for (std::size_t c = 0; c < line.ColourPlanes(); ++c) {
    if (cmyk[c] != QorColor::CmykIndex::None && plane[cmyk[c]] < 0)
      plane[cmyk[c]] = static_cast<int>(c);
  }
  ScratchLine alpha(pools);
  float* ab = alpha.Data();
  if (backdrop != nullptr) {
    backdrop->ResolveInto(backdrop->AlphaPlane(), s, e, ab);
  } else {
    std::fill(ab, ab + n, 0.0f);
  }
  ScratchLine raw0(pools), raw1(pools), raw2(pools), raw3(pools);
  ScratchLine cb0(pools), cb1(pools), cb2(pools), cb3(pools);
  ScratchLine cs0(pools), cs1(pools), cs2(pools), cs3(pools);
  ScratchLine b0(pools), b1(pools), b2(pools), b3(pools);
  float* const raw[4] = {raw0.Data(), raw1.Data(), raw2.Data(), raw3.Data()};
  float* const cb[4] = {cb0.Data(), cb1.Data(), cb2.Data(), cb3.Data()};
  float* const cs[4] = {cs0.Data(), cs1.Data(), cs2.Data(), cs3.Data()};
  float* const b[4] = {b0.Data(), b1.Data(), b2.Data(), b3.Data()};
  bool absent[4] = {true, true, true, true};
  for (int i = 0; i < 4; ++i) {
    if (plane[i] >= 0 && backdrop != nullptr) {
      backdrop->ResolveInto(static_cast<std::size_t>(plane[i]), s, e, raw[i]);
    } else {
      std::fill(raw[i], raw[i] + n, 0.0f);
    }
    for (std::ptrdiff_t k = 0; k < n; ++k)
      cb[i][k] = ab[k] >= 0.00001f ? raw[i][k] / ab[k] : 0.0f;
    const Operand source = plane[i] >= 0 ? colours.Colour(static_cast<std::size_t>(plane[i]), s, n)
                                         : Operand{nullptr, 0};
    absent[i] = source.base == nullptr;
    for (std::ptrdiff_t k = 0; k < n; ++k)
      cs[i][k] = absent[i] ? cb[i][k] : source[k];
  }
  switch (nonSeparable) {
    case 1:
      BlendProcessInks<1>(n, cb, cs, b);
      break;
    case 2:
      BlendProcessInks<2>(n, cb, cs, b);
      break;
    case 3:
      BlendProcessInks<3>(n, cb, cs, b);
      break;
    default:
      BlendProcessInks<4>(n, cb, cs, b);
      break;
  }
  // Knockout levels composite against the initial backdrop with the opacity and
  // weight by the shape; ordinary ones against the line with the alpha.
  const float* as = knockout ? piece.opacity : piece.alpha;
  for (int i = 0; i < 4; ++i) {
    if (plane[i] < 0 || absent[i]) continue;
    const auto c = static_cast<std::size_t>(plane[i]);
    float current_uniform;
    const Operand current = LineOperand(line, c, row[c], s, current_uniform);
    float* out = line.Plane(c).At(s);
    for (std::ptrdiff_t k = 0; k < n; ++k) {
      const float a = ab[k];
      const float q = as[k];
      const float source = q * cs[i][k];
      const float term = a >= 0.00001f && q >= 0.00001f ? (a * q) * b[i][k] : 0.0f;
      const float composite = ((1.0f - q) * raw[i][k] + (1.0f - a) * source) + term;
      out[k] =
          knockout ? (1.0f - piece.shape[k]) * current[k] + piece.shape[k] * composite : composite;
    }
    row[c] = kStatePerPixel;
  }
}

}  // namespace

void CompositeElement(LineBuffer& line, std::size_t interval, const ElementPiece& piece,
                      ElementColours& colours, std::uint32_t mode, ConversionPools& pools,
                      std::uint8_t nonSeparable,
                      const std::vector<QorColor::CmykIndex::Type>* cmyk) {
  if (nonSeparable != 0 && cmyk != nullptr) {
    CompositeProcessInks(line, interval, piece, colours, nonSeparable, *cmyk, pools);
    SpotColours spots(colours, *cmyk);
    if (line.IsKnockout()) {
      CompositeKnockout(line, interval, piece, spots, QorBlend::kNormal, pools);
    } else {
      CompositeOrdinary(line, interval, piece, spots, QorBlend::kNormal);
    }
  } else if (line.IsKnockout()) {
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
