// Paints: what fills or strokes an object: flat colours, pictures, shadings and
// tiled cells of content. Immutable, shared by std::shared_ptr<const>.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

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
// keeps the tints, inline for up to four colorants. A page may hold a paint per
// object, so the paint is 32 bytes: the list's reference carries the two flags in
// its low bits, and the tints' count is the list's size.
class FlatPaint final : public Paint {
 public:
  // A colour with a colorant list of its own.
  explicit FlatPaint(const QorColor::Color& color);
  // A colour whose colorant names are `colorants`, which must name the colour's
  // colorants in its order (as ColorantLists::Intern gives); a list of another
  // length is std::invalid_argument.
  FlatPaint(ColorantListPtr colorants, const QorColor::Color& color);
  FlatPaint(const FlatPaint& other);
  FlatPaint(FlatPaint&& other) noexcept;
  FlatPaint& operator=(const FlatPaint&) = delete;
  ~FlatPaint() override;

  int GetType() const override { return kFlatPaint; }

  const ColorantList& GetColorants() const { return ColorantListPtr::Peek(ListAddress()); }
  // A reference of the caller's own to the list, whose address names it.
  ColorantListPtr GetSharedColorants() const;
  // One tint per colorant, in the list's order.
  std::span<const QorColor::Component> GetTints() const {
    const std::size_t count = Count();
    return {count <= kInlineTints ? inline_tints_.data() : more_tints_, count};
  }
  bool PaintsNamedColorantsOnly() const { return colorants_ & kNamedOnlyBit; }
  bool PaintsAllColorants() const { return colorants_ & kAllBit; }

  // The colour as a list of names and tints, made on each call.
  QorColor::Color GetColor() const;

 private:
  static constexpr std::size_t kInlineTints = 4;
  static constexpr std::uintptr_t kNamedOnlyBit = 1;
  static constexpr std::uintptr_t kAllBit = 2;
  static constexpr std::uintptr_t kFlagBits = kNamedOnlyBit | kAllBit;

  const void* ListAddress() const { return reinterpret_cast<const void*>(colorants_ & ~kFlagBits); }
  // Zero once moved from: the paint then frees nothing.
  std::size_t Count() const { return colorants_ ? GetColorants().Size() : 0; }

  // The list's reference, released into its block's address, with the flags.
  std::uintptr_t colorants_ = 0;
  // Up to four tints inline, more in a block of their own (owned; the count tells
  // which).
  union {
    std::array<QorColor::Component, kInlineTints> inline_tints_{};
    QorColor::Component* more_tints_;
  };
};

}  // namespace QorPaint
