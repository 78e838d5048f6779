// Colorant lists and their interning.
//
// Invariant: ColorantLists never holds two lists of equal names, so identity of
// lists from one interner is equality of names. Interning a list already seen
// allocates nothing.

#include "qorpaint/colorant_list.h"

#include <string_view>

namespace QorPaint {
namespace {

// FNV-1a over the names, each followed by a zero byte so that lists split
// differently hash differently.
std::uint64_t HashOfNames(const QorColor::Color& color) {
  constexpr std::uint64_t kPrime = 0x100000001b3ULL;
  std::uint64_t h = 0xcbf29ce484222325ULL;
  for (const auto& entry : color) {
    for (const char c : entry.name)
      h = (h ^ static_cast<unsigned char>(c)) * kPrime;
    h = h * kPrime;
  }
  return h;
}

}  // namespace

ColorantList ColorantList::Of(const QorColor::Color& color) {
  std::vector<std::string> names;
  names.reserve(color.Size());
  for (const auto& entry : color)
    names.push_back(entry.name);
  return ColorantList(std::move(names));
}

std::optional<std::size_t> ColorantList::Find(std::string_view name) const {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (names_[i] == name) return i;
  }
  return std::nullopt;
}

bool ColorantList::Names(const QorColor::Color& color) const {
  if (color.Size() != names_.size()) return false;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (color.GetName(i) != names_[i]) return false;
  }
  return true;
}

ColorantListPtr ColorantLists::Intern(const QorColor::Color& color) {
  if (last_ && last_->Names(color)) return last_;
  const std::uint64_t hash = HashOfNames(color);
  const auto [first, end] = lists_.equal_range(hash);
  for (auto it = first; it != end; ++it) {
    if (it->second->Names(color)) return last_ = it->second;
  }
  last_ = ColorantListPtr::Make(ColorantList::Of(color));
  lists_.emplace(hash, last_);
  return last_;
}

}  // namespace QorPaint
