// A per-pixel reference of compositing: no intervals, no kinds, no pools; for each
// pixel every covering object in painting order, with the line's equations in the
// same float order as the library:
//   opaque Normal paint (alpha > 0.99999, no Absent component): C = c, own alpha,
//   alpha and shape = 1;
//   otherwise, per colour plane that the paint does not leave Absent:
//     as = fs·qs, Cs = as·cs, C = CompositeInk(ab, C, as, Cs, BlendTerm(ab, C, as, Cs))
//   then own alpha, alpha, shape: x = x + s − x·s.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "composite/blend_term.h"

namespace QorScTest {

struct ReferencePaint {
  // One value per colour plane; nullopt = Absent.
  std::vector<std::optional<float>> values;
  float alpha = 1.0f;
  std::uint32_t mode = 0;
  bool alphaIsShape = false;
};

struct ReferencePixel {
  std::vector<float> colour;
  float own = 0.0f;
  float alpha = 0.0f;
  float shape = 0.0f;

  explicit ReferencePixel(std::size_t planes) : colour(planes, 0.0f) {}

  void Paint(const ReferencePaint& p) {
    bool absent = false;
    for (const auto& v : p.values)
      absent = absent || !v.has_value();
    if (p.mode == 0 && p.alpha > 0.99999f && !absent) {
      for (std::size_t c = 0; c < colour.size(); ++c)
        colour[c] = *p.values[c];
      own = alpha = shape = 1.0f;
      return;
    }
    const float fs = p.alphaIsShape ? p.alpha : 1.0f;
    const float qs = (p.alphaIsShape ? 1.0f : p.alpha) * 1.0f;
    const float as = fs * qs;
    const QorSc::BlendTermFunction term = QorSc::SelectBlendTerm(p.mode);
    for (std::size_t c = 0; c < colour.size(); ++c) {
      if (!p.values[c]) continue;
      const float cs = as * *p.values[c];
      colour[c] = QorSc::CompositeInk(alpha, colour[c], as, cs, term(alpha, colour[c], as, cs));
    }
    own = own + as - own * as;
    alpha = alpha + as - alpha * as;
    shape = shape + fs - shape * fs;
  }
};

}  // namespace QorScTest
