// Flat paints: tints over a shared colorant list.

#include <algorithm>
#include <limits>
#include <stdexcept>

#include "qorpaint/paint.h"

namespace QorPaint {

FlatPaint::FlatPaint(const QorColor::Color& color)
    : FlatPaint(std::make_shared<const ColorantList>(ColorantList::Of(color)), color) {}

FlatPaint::FlatPaint(std::shared_ptr<const ColorantList> colorants, const QorColor::Color& color)
    : colorants_(std::move(colorants)),
      named_only_(color.PaintsNamedColorantsOnly()),
      all_(color.PaintsAllColorants()) {
  // Counted, not compared name by name: the interner hands out lists made from the
  // very names, and a page makes a paint per object.
  if (!colorants_ || colorants_->Size() != color.Size()) {
    throw std::invalid_argument(
        "flat paint: the colorant list does not name the colour's colorants");
  }
  if (color.Size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("flat paint: too many colorants");
  }
  count_ = static_cast<std::uint32_t>(color.Size());
  QorColor::Component* tints = inline_tints_.data();
  if (count_ > kInlineTints) {
    more_tints_ = std::make_unique<QorColor::Component[]>(count_);
    tints = more_tints_.get();
  }
  for (std::size_t i = 0; i < count_; ++i)
    tints[i] = color.GetTint(i);
}

FlatPaint::FlatPaint(const FlatPaint& other)
    : Paint(other),
      colorants_(other.colorants_),
      inline_tints_(other.inline_tints_),
      count_(other.count_),
      named_only_(other.named_only_),
      all_(other.all_) {
  if (other.more_tints_) {
    more_tints_ = std::make_unique<QorColor::Component[]>(count_);
    std::copy(other.more_tints_.get(), other.more_tints_.get() + count_, more_tints_.get());
  }
}

// With the shared count's 16 bytes and the allocator's 8-byte header, one 80-byte
// chunk per paint.
static_assert(sizeof(void*) != 8 || sizeof(FlatPaint) <= 56);

QorColor::Color FlatPaint::GetColor() const {
  QorColor::Color color;
  const std::span<const QorColor::Component> tints = GetTints();
  for (std::size_t i = 0; i < tints.size(); ++i)
    color.Add(colorants_->GetName(i), tints[i]);
  color.SetPaintsNamedColorantsOnly(named_only_);
  color.SetPaintsAllColorants(all_);
  return color;
}

}  // namespace QorPaint
