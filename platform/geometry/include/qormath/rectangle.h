// QorMath::Rectangle: an axis-aligned box given by its four edges.
//
// Right and bottom are exclusive: the box (l, t, r, b) of integers holds the pixels
// with l <= x < r and t <= y < b. The y axis grows downward (target and internal
// space), so top <= bottom for a non-empty box. Nothing is normalised: a box whose
// right is not greater than its left is empty, and stays as given.
#pragma once

#include <algorithm>

namespace QorMath {

template <class T>
struct Rectangle {
  T left{};
  T top{};
  T right{};
  T bottom{};

  constexpr T Width() const { return right - left; }
  constexpr T Height() const { return bottom - top; }
  constexpr bool IsEmpty() const { return !(left < right) || !(top < bottom); }

  friend constexpr bool operator==(const Rectangle&, const Rectangle&) = default;
};

// The common part of two boxes; empty boxes stay empty (possibly inverted).
template <class T>
constexpr Rectangle<T> Intersect(const Rectangle<T>& a, const Rectangle<T>& b) {
  return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
          std::min(a.bottom, b.bottom)};
}

}  // namespace QorMath
