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
  QorColor::Component* tints = inline_tints_.data();
  if (color.Size() > kInlineTints) {
    more_tints_ = new QorColor::Component[color.Size()];
    tints = more_tints_;
  }
  count_ = static_cast<std::uint32_t>(color.Size());
  for (std::size_t i = 0; i < count_; ++i)
    tints[i] = color.GetTint(i);
}

FlatPaint::FlatPaint(const FlatPaint& other)
    : Paint(other), colorants_(other.colorants_), named_only_(other.named_only_), all_(other.all_) {
  if (other.count_ > kInlineTints) {
    more_tints_ = new QorColor::Component[other.count_];
    std::copy(other.more_tints_, other.more_tints_ + other.count_, more_tints_);
  } else {
    inline_tints_ = other.inline_tints_;
  }
  count_ = other.count_;
}

// The source is left without tints, so that it frees nothing.
FlatPaint::FlatPaint(FlatPaint&& other) noexcept
    : Paint(other),
      colorants_(std::move(other.colorants_)),
      count_(other.count_),
      named_only_(other.named_only_),
      all_(other.all_) {
  if (count_ > kInlineTints) {
    more_tints_ = other.more_tints_;
  } else {
    inline_tints_ = other.inline_tints_;
  }
  other.count_ = 0;
}

FlatPaint::~FlatPaint() {
  if (count_ > kInlineTints) delete[] more_tints_;
}

// With the shared count's 16 bytes and the allocator's 8-byte header, one 64-byte
// chunk per paint.
static_assert(sizeof(void*) != 8 || sizeof(FlatPaint) <= 48);

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
