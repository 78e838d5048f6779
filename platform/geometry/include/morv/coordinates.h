// Morv coordinate value types: a coordinate, a point and a rectangle tagged with the
// coordinate system they are measured in.
//
// A coordinate system tag says what one unit is. World coordinates of the document
// are millipoints (1/1000 of a PDF point) with y growing upward; PDF user space is
// points. The tag keeps values of different systems from being mixed by accident;
// arithmetic on the raw doubles goes through Value().
//
// RectangleBase is origin (its lower-left corner: x, and y at the bottom edge since y
// grows upward) plus width and height, and carries one flag byte that conversions
// into this system clear. Width and height are not normalised.
#pragma once

#include <cstdint>

namespace Morv {

struct MilliPointCoordinateSystem {
  static constexpr double kUnitsPerPoint = 1000.0;
};

struct PdfCoordinateSystem {
  static constexpr double kUnitsPerPoint = 1.0;
};

template <class CS>
class CoordinateBase {
 public:
  constexpr CoordinateBase() = default;
  constexpr explicit CoordinateBase(double value) : value_(value) {}

  constexpr double Value() const { return value_; }

  constexpr CoordinateBase operator+(CoordinateBase o) const {
    return CoordinateBase(value_ + o.value_);
  }
  constexpr CoordinateBase operator-(CoordinateBase o) const {
    return CoordinateBase(value_ - o.value_);
  }
  constexpr CoordinateBase operator-() const { return CoordinateBase(-value_); }

  friend constexpr auto operator<=>(CoordinateBase, CoordinateBase) = default;

 private:
  double value_ = 0.0;
};

template <class CS>
struct PointBase {
  CoordinateBase<CS> x;
  CoordinateBase<CS> y;

  constexpr PointBase() = default;
  constexpr PointBase(CoordinateBase<CS> px, CoordinateBase<CS> py) : x(px), y(py) {}
  constexpr PointBase(double px, double py) : x(px), y(py) {}

  friend constexpr bool operator==(const PointBase&, const PointBase&) = default;
};

template <class CS>
class RectangleBase {
 public:
  constexpr RectangleBase() = default;
  constexpr RectangleBase(double x, double y, double width, double height, std::uint8_t flags = 0)
      : x_(x), y_(y), width_(width), height_(height), flags_(flags) {}

  // Origin x: the left edge.
  constexpr double X() const { return x_; }
  // Origin y: the bottom edge (y grows upward).
  constexpr double Y() const { return y_; }
  constexpr double Width() const { return width_; }
  constexpr double Height() const { return height_; }
  constexpr std::uint8_t Flags() const { return flags_; }

  constexpr void SetFlags(std::uint8_t flags) { flags_ = flags; }

  friend constexpr bool operator==(const RectangleBase&, const RectangleBase&) = default;

 private:
  double x_ = 0.0;
  double y_ = 0.0;
  double width_ = 0.0;
  double height_ = 0.0;
  std::uint8_t flags_ = 0;
};

using MilliPoint = CoordinateBase<MilliPointCoordinateSystem>;
using MilliPointPoint = PointBase<MilliPointCoordinateSystem>;
using MilliPointRectangle = RectangleBase<MilliPointCoordinateSystem>;

}  // namespace Morv
