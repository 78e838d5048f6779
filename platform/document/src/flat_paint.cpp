// Flat paints: tints over a shared colorant list.

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
    throw std::invalid_argument("flat paint: the colorant list does not name the colour's colorants");
  }
  tints_.reserve(color.Size());
  for (const auto& entry : color)
    tints_.push_back(entry.tint);
}

QorColor::Color FlatPaint::GetColor() const {
  QorColor::Color color;
  for (std::size_t i = 0; i < tints_.size(); ++i)
    color.Add(colorants_->GetName(i), tints_[i]);
  color.SetPaintsNamedColorantsOnly(named_only_);
  color.SetPaintsAllColorants(all_);
  return color;
}

}  // namespace QorPaint
