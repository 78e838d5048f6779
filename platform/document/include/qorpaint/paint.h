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
// object, so the paint is 48 bytes: with its shared count, one 64-byte allocator
// chunk, and less still inside a path's own block.
class FlatPaint final : public Paint {
 public:
  // A colour with a colorant list of its own.
  explicit FlatPaint(const QorColor::Color& color);
  // A colour whose colorant names are `colorants`, which must name the colour's
  // colorants in its order (as ColorantLists::Intern gives); a list of another
  // length is std::invalid_argument.
  FlatPaint(std::shared_ptr<const ColorantList> colorants, const QorColor::Color& color);
  FlatPaint(const FlatPaint& other);
  FlatPaint(FlatPaint&& other) noexcept;
  FlatPaint& operator=(const FlatPaint&) = delete;
  ~FlatPaint() override;

  int GetType() const override { return kFlatPaint; }

  const ColorantList& GetColorants() const { return *colorants_; }
  const std::shared_ptr<const ColorantList>& GetSharedColorants() const { return colorants_; }
  // One tint per colorant, in the list's order.
  std::span<const QorColor::Component> GetTints() const {
    return {count_ <= kInlineTints ? inline_tints_.data() : more_tints_, count_};
  }
  bool PaintsNamedColorantsOnly() const { return named_only_; }
  bool PaintsAllColorants() const { return all_; }

  // The colour as a list of names and tints, made on each call.
  QorColor::Color GetColor() const;

 private:
  static constexpr std::size_t kInlineTints = 4;

  std::shared_ptr<const ColorantList> colorants_;
  // Up to four tints inline, more in a block of their own (owned; count_ tells which).
  union {
    std::array<QorColor::Component, kInlineTints> inline_tints_{};
    QorColor::Component* more_tints_;
  };
  std::uint32_t count_ = 0;
  bool named_only_ = false;
  bool all_ = false;
};

}  // namespace QorPaint
