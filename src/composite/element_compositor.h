// CompositeElement: blended compositing of one element (a masked or knocked-out
// object, or a group's result) into one interval of a line, from per-pixel operands.
//
// The element arrives as three per-pixel lines over the piece — shape fs, opacity
// qs and alpha as (the caller forms as; for an object as = fs·qs) — and one colour
// operand per plane (null base: Absent, the plane is left alone). On an ordinary
// level, with αb, Cb the line's alpha and premultiplied ink:
//   Cr = CompositeInk(αb, Cb, as, as·cs, Term(αb, Cb, as, as·cs))
//   own ← own + as − own·as,  α ← αb + as − αb·as,  f ← fb + fs − fb·fs
// (the blend kernels with the paint mask standing for as, opacity and shape 1, which
// multiply exactly). On a knockout level the element composites against the level's
// initial backdrop (a0, C0) and replaces what the level holds by its shape:
//   C ← (1 − fs)·C + fs·comp (knockout kernels)
//   α ← (1 − fs)·α + fs·((a0 + qs) − a0·qs),  own ← (1 − fs)·own + fs·qs,
//   f ← fb + fs − fb·fs.
// Every plane of the interval ends PerPixel. Nothing here allocates: scratch lines
// come from the pools.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "composite/operand.h"
#include "qorcolor/cmyk.h"

namespace QorSc {

class ConversionPools;

struct ElementPiece {
  const float* shape;    // fs
  const float* opacity;  // qs (read on knockout levels only)
  const float* alpha;    // as
};

// The element's unpremultiplied ink of colour plane c over the piece [s, s + n);
// a null base leaves the plane Absent. Called once per plane and piece.
class ElementColours {
 public:
  virtual Operand Colour(std::size_t c, long long s, std::ptrdiff_t n) = 0;

 protected:
  ~ElementColours() = default;
};

// Composites the element over interval `interval` of `line` (the piece is the whole
// interval; the operand lines are indexed from its first pixel). A non-separable
// mode (QorBlend::NonSeparableMode, 0 for none) replaces `mode` on the process
// plates, which `cmyk` names per colour plane; other plates blend Normal. There
//   Term = (αb·as)·B(cb, cs) with B of all four process inks at once
// (non_separable.h), an Absent source ink taken as the backdrop's.
void CompositeElement(LineBuffer& line, std::size_t interval, const ElementPiece& piece,
                      ElementColours& colours, std::uint32_t mode, ConversionPools& pools,
                      std::uint8_t nonSeparable = 0,
                      const std::vector<QorColor::CmykIndex::Type>* cmyk = nullptr);

}  // namespace QorSc
