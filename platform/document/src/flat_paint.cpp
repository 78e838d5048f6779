// Flat paints: tints over a shared colorant list.

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "qorpaint/paint.h"

namespace QorPaint {

FlatPaint::FlatPaint(const QorColor::Color& color)
    : FlatPaint(ColorantListPtr::Make(ColorantList::Of(color)), color) {}

FlatPaint::FlatPaint(ColorantListPtr colorants, const QorColor::Color& color) {
  // Counted, not compared name by name: the interner hands out lists made from the
  // very names, and a page makes a paint per object.
  if (!colorants || colorants->Size() != color.Size()) {
    throw std::invalid_argument(
        "flat paint: the colorant list does not name the colour's colorants");
  }
  QorColor::Component* tints = inline_tints_.data();
  if (color.Size() > kInlineTints) {
    more_tints_ = new QorColor::Component[color.Size()];
    tints = more_tints_;
  }
  for (std::size_t i = 0; i < color.Size(); ++i)
    tints[i] = color.GetTint(i);
  colorants_ = reinterpret_cast<std::uintptr_t>(colorants.Release()) |
               (color.PaintsNamedColorantsOnly() ? kNamedOnlyBit : 0) |
               (color.PaintsAllColorants() ? kAllBit : 0);
}

FlatPaint::FlatPaint(const FlatPaint& other) : Paint(other) {
  const std::span<const QorColor::Component> tints = other.GetTints();
  if (tints.size() > kInlineTints) {
    more_tints_ = new QorColor::Component[tints.size()];
    std::copy(tints.begin(), tints.end(), more_tints_);
  } else {
    inline_tints_ = other.inline_tints_;
  }
  colorants_ = reinterpret_cast<std::uintptr_t>(other.GetSharedColorants().Release()) |
               (other.colorants_ & kFlagBits);
}

// The source is left without its list, and so without tints: it frees nothing.
FlatPaint::FlatPaint(FlatPaint&& other) noexcept
    : Paint(other), colorants_(std::exchange(other.colorants_, 0)) {
  if (Count() > kInlineTints) {
    more_tints_ = other.more_tints_;
  } else {
    inline_tints_ = other.inline_tints_;
  }
}

FlatPaint::~FlatPaint() {
  if (Count() > kInlineTints) delete[] more_tints_;
  // The reference taken back, and so dropped.
  if (colorants_) ColorantListPtr::Adopt(ListAddress()).reset();
}

ColorantListPtr FlatPaint::GetSharedColorants() const {
  return colorants_ ? ColorantListPtr::Share(ListAddress()) : nullptr;
}

// With the shared count's 16 bytes and the allocator's 8-byte header, one 64-byte
// chunk per paint; inside a rectangle's own block, 32 bytes.
static_assert(sizeof(void*) != 8 || sizeof(FlatPaint) <= 32);

QorColor::Color FlatPaint::GetColor() const {
  QorColor::Color color;
  const std::span<const QorColor::Component> tints = GetTints();
  for (std::size_t i = 0; i < tints.size(); ++i)
    color.Add(GetColorants().GetName(i), tints[i]);
  color.SetPaintsNamedColorantsOnly(PaintsNamedColorantsOnly());
  color.SetPaintsAllColorants(PaintsAllColorants());
  return color;
}

}  // namespace QorPaint
