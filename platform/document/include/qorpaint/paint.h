// Paints: what fills or strokes an object: flat colours, pictures, shadings and
// tiled cells of content. Immutable, shared by std::shared_ptr<const>.
#pragma once

#include <memory>
#include <span>
#include <utility>

#include <boost/container/small_vector.hpp>

#include "qorcolor/color_list.h"
#include "qorpaint/colorant_list.h"

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
// colour list. The colorant names live in a shared ColorantList (interned by the
// importer, so the many paints of one colour space point at one list); the paint
// keeps the tints, inline for up to four colorants.
class FlatPaint final : public Paint {
 public:
  using Tints = boost::container::small_vector<QorColor::Component, 4>;

  // A colour with a colorant list of its own.
  explicit FlatPaint(const QorColor::Color& color);
  // A colour whose colorant names are `colorants`, which must name the colour's
  // colorants in its order (as ColorantLists::Intern gives); a list of another
  // length is std::invalid_argument.
  FlatPaint(std::shared_ptr<const ColorantList> colorants, const QorColor::Color& color);

  int GetType() const override { return kFlatPaint; }

  const ColorantList& GetColorants() const { return *colorants_; }
  const std::shared_ptr<const ColorantList>& GetSharedColorants() const { return colorants_; }
  // One tint per colorant, in the list's order.
  std::span<const QorColor::Component> GetTints() const { return {tints_.data(), tints_.size()}; }
  bool PaintsNamedColorantsOnly() const { return named_only_; }
  bool PaintsAllColorants() const { return all_; }

  // The colour as a list of names and tints, made on each call.
  QorColor::Color GetColor() const;

 private:
  std::shared_ptr<const ColorantList> colorants_;
  Tints tints_;
  bool named_only_ = false;
  bool all_ = false;
};

}  // namespace QorPaint
