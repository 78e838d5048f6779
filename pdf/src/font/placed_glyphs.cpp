// Placed glyph outlines. One hash lookup per glyph shown; a copy only for a glyph and
// offset not placed before (or whose placed outline died with its texts).
#include "font/placed_glyphs.h"

#include <algorithm>
#include <bit>
#include <functional>

#include "morv/transformation.h"

namespace QorPdf::internal {

std::size_t PlacedGlyphs::KeyHash::operator()(const Key& key) const {
  const std::size_t a = std::hash<const void*>{}(key.outline);
  const std::size_t b = std::hash<std::uint64_t>{}(key.offset);
  return a ^ (b + 0x9e3779b97f4a7c15ull + (a << 6) + (a >> 2));
}

std::shared_ptr<const Morv::Compound> PlacedGlyphs::Get(
    const std::shared_ptr<const Morv::Compound>& outline, double offset) {
  if (offset == 0.0 || !outline) return outline;
  Entry& entry = entries_[{outline.get(), std::bit_cast<std::uint64_t>(offset)}];
  if (std::shared_ptr<const Morv::Compound> placed = entry.placed.lock()) return placed;
  auto placed = std::make_shared<const Morv::Compound>(
      outline->Transformed(Morv::MilliPointTransformation::Translation(offset, 0.0)));
  entry.source = outline;
  entry.placed = placed;
  if (entries_.size() >= sweep_at_) Sweep();
  return placed;
}

void PlacedGlyphs::Sweep() {
  std::erase_if(entries_, [](const auto& item) { return item.second.placed.expired(); });
  sweep_at_ = std::max(kFirstSweep, 2 * entries_.size());
}

}  // namespace QorPdf::internal
