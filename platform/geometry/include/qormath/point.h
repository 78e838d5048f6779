// QorMath::Point: a plain pair of coordinates of one numeric type.
//
// Used for internal (double, target pixels) and target (long long) points. A value
// type with no invariants; comparison is exact.
#pragma once

namespace QorMath {

template <class T>
struct Point {
  T x{};
  T y{};

  friend constexpr bool operator==(const Point&, const Point&) = default;
};

}  // namespace QorMath
