// QorColor::ColorList: an ordered list of (colorant name, tint) entries.
//
// Colours in the document model are ink amounts, not light: each entry names a
// colorant (a process ink such as "Cyan" or a spot ink such as "PANTONE 286 C") and
// its tint, 0 for no ink and 1 for full ink. The same type serves two purposes: the
// colour of a paint, and the list of separations an output renders (where the tints
// are not used).
//
// Two flags qualify a paint colour:
// - "paints named colorants only": the colour marks its own colorants and leaves
//   every other separation untouched (overprint);
// - "paints all colorants": the colour marks every separation (registration colour),
//   which overrides the first flag.
//
// Equality compares names, tints and flags; names compare exactly (case-sensitive).
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QorColor {

// One ink amount, 0 = no ink, 1 = full ink.
using Component = float;

// What a colour list is made of: colorants named by strings, tints as components.
struct ColorSpacePolicy {
  using Name = std::string;
  using Tint = Component;
};

template <class Policy>
class ColorList {
 public:
  using Name = typename Policy::Name;
  using Tint = typename Policy::Tint;

  struct Entry {
    Name name;
    Tint tint{};

    friend bool operator==(const Entry&, const Entry&) = default;
  };

  ColorList() = default;
  ColorList(std::initializer_list<Entry> entries) : entries_(entries) {}

  void Add(Name name, Tint tint) { entries_.push_back({std::move(name), tint}); }

  std::size_t Size() const { return entries_.size(); }
  bool Empty() const { return entries_.empty(); }
  const Entry& operator[](std::size_t i) const { return entries_[i]; }
  const Name& GetName(std::size_t i) const { return entries_[i].name; }
  Tint GetTint(std::size_t i) const { return entries_[i].tint; }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

  // The position of the colorant called exactly `name`, if the list has it.
  std::optional<std::size_t> Find(std::string_view name) const {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i].name == name) return i;
    }
    return std::nullopt;
  }

  bool PaintsNamedColorantsOnly() const { return named_only_; }
  bool PaintsAllColorants() const { return all_; }
  void SetPaintsNamedColorantsOnly(bool value) { named_only_ = value; }
  void SetPaintsAllColorants(bool value) { all_ = value; }

  friend bool operator==(const ColorList&, const ColorList&) = default;

 private:
  std::vector<Entry> entries_;
  bool named_only_ = false;
  bool all_ = false;
};

using Color = ColorList<ColorSpacePolicy>;

}  // namespace QorColor
