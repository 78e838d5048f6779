// Paints: what fills or strokes an object: flat colours, pictures, shadings and
// tiled cells of content. Immutable, shared by std::shared_ptr<const>.
#pragma once

#include <utility>

#include "qorcolor/color_list.h"

namespace QorPaint {

enum PaintType : int {
  kFlatPaint = 1,
  kPicturePaint = 2,
  kAxialShadingPaint = 3,
  kRadialShadingPaint = 4,
  kDefaultShadingPaint = 5,
  kTilingPaint = 6,
};

class Paint {
 public:
  virtual ~Paint() = default;
  virtual int GetType() const = 0;
};

// One colour everywhere: ink tints per colorant, with the overprint flags of the
// colour list.
class FlatPaint final : public Paint {
 public:
  explicit FlatPaint(QorColor::Color color) : color_(std::move(color)) {}
  int GetType() const override { return kFlatPaint; }
  const QorColor::Color& GetColor() const { return color_; }

 private:
  QorColor::Color color_;
};

}  // namespace QorPaint
