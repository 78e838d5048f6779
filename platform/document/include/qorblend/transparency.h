// Transparency of an object: blend mode and opacities.
//
// Blend modes are numbered in the renderer's table order (not PDF's list order);
// the twelve separable modes are blend modes, the four non-separable ones a mode of
// their own. The alpha-is-shape flag says whether the
// opacity acts as shape (coverage) rather than as opacity. A transparency may carry
// a soft mask and, for groups, the two group flags: isolated and knockout.
#pragma once

#include <cstdint>
#include <memory>

#include "qorblend/soft_mask.h"

namespace QorBlend {

enum BlendMode : std::uint32_t {
  kNormal = 0,
  kMultiply = 1,
  kScreen = 2,
  kOverlay = 3,
  kSoftLight = 4,
  kHardLight = 5,
  kColorDodge = 6,
  kColorBurn = 7,
  kDarken = 8,
  kLighten = 9,
  kDifference = 10,
  kExclusion = 11,
};

// PDF's non-separable modes on a CMYK blending space. When one is set it replaces the
// blend mode, which stays Normal for spot colorants.
enum NonSeparableMode : std::uint8_t {
  kSeparable = 0,
  kHue = 1,
  kSaturation = 2,
  kColor = 3,
  kLuminosity = 4,
};

class Transparency {
 public:
  Transparency() = default;
  Transparency(BlendMode mode, float fillAlpha, float strokeAlpha, std::uint8_t alphaIsShape = 0)
      : blend_mode_(mode),
        fill_alpha_(fillAlpha),
        stroke_alpha_(strokeAlpha),
        alpha_is_shape_(alphaIsShape) {}

  BlendMode GetBlendMode() const { return blend_mode_; }
  float GetFillAlpha() const { return fill_alpha_; }
  float GetStrokeAlpha() const { return stroke_alpha_; }
  std::uint8_t GetAlphaIsShape() const { return alpha_is_shape_; }

  NonSeparableMode GetNonSeparableMode() const { return non_separable_; }
  Transparency& SetNonSeparableMode(NonSeparableMode mode) {
    non_separable_ = mode;
    return *this;
  }

  const std::shared_ptr<const SoftMask>& GetSoftMask() const { return soft_mask_; }
  Transparency& SetSoftMask(std::shared_ptr<const SoftMask> mask) {
    soft_mask_ = std::move(mask);
    return *this;
  }

  // Group flags: an isolated group composites over an empty backdrop; in a knockout
  // group each member replaces what earlier members painted.
  std::uint8_t IsIsolated() const { return isolated_; }
  std::uint8_t IsKnockout() const { return knockout_; }
  Transparency& SetGroupFlags(std::uint8_t isolated, std::uint8_t knockout) {
    isolated_ = isolated;
    knockout_ = knockout;
    return *this;
  }

  // Normal, fully opaque: shared by every object without transparency of its own.
  static const std::shared_ptr<const Transparency>& Opaque() {
    static const auto opaque = std::make_shared<const Transparency>();
    return opaque;
  }

 private:
  BlendMode blend_mode_ = kNormal;
  float fill_alpha_ = 1.0f;
  float stroke_alpha_ = 1.0f;
  std::uint8_t alpha_is_shape_ = 0;
  NonSeparableMode non_separable_ = kSeparable;
  std::shared_ptr<const SoftMask> soft_mask_;
  std::uint8_t isolated_ = 0;
  std::uint8_t knockout_ = 0;
};

// Whether a fill with this transparency simply covers what lies below it.
inline bool FillIsNormalOpaque(const Transparency& t) {
  return t.GetBlendMode() == kNormal && t.GetNonSeparableMode() == kSeparable &&
         t.GetFillAlpha() > 0.99999f;
}

}  // namespace QorBlend
