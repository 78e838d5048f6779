// QorPaint::ColorantList: the ordered colorant names of flat colours, shared.
//
// A page of many flat colours names few distinct colorant lists (Cyan, Magenta,
// Yellow, Black again and again), so each list is made once per document and every
// flat paint points at it: a paint holds its tints and a pointer, not a string per
// colorant, and a renderer can plan the conversion of a list once and find the plan
// again by the list's identity. Lists are immutable and shared by ColorantListPtr,
// one word per paint. ColorantLists interns them: equal names in equal order
// give the same list. Not thread-safe; one per document being built.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qorcolor/color_list.h"
#include "qorsys/counted_ptr.h"

namespace QorPaint {

class ColorantList {
 public:
  explicit ColorantList(std::vector<std::string> names) : names_(std::move(names)) {}
  // The names of `color`'s entries, in its order.
  static ColorantList Of(const QorColor::Color& color);

  std::size_t Size() const { return names_.size(); }
  const std::string& GetName(std::size_t i) const { return names_[i]; }
  const std::vector<std::string>& GetNames() const { return names_; }
  // The position of the colorant called exactly `name`, if the list has it.
  std::optional<std::size_t> Find(std::string_view name) const;
  // Whether the list names `color`'s colorants, in its order.
  bool Names(const QorColor::Color& color) const;

 private:
  std::vector<std::string> names_;
};

using ColorantListPtr = QorSys::CountedPtr<const ColorantList>;

class ColorantLists {
 public:
  // The shared list of `color`'s colorant names.
  ColorantListPtr Intern(const QorColor::Color& color);
  // Distinct lists made so far.
  std::size_t Size() const { return lists_.size(); }

 private:
  // Consecutive colours mostly name the same colorants: checked before hashing.
  ColorantListPtr last_;
  std::unordered_multimap<std::uint64_t, ColorantListPtr> lists_;
};

}  // namespace QorPaint
