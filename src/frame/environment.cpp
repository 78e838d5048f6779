// Coordinate maps of a conversion. The formulas are evaluated exactly as written,
// operation by operation (the build forbids contraction into fused multiply-adds).

#include "scan/environment.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace QorSc {
namespace {

// Largest magnitude that a 64-bit truncation accepts; beyond it a double is integral
// anyway, and the value goes on unchanged.
constexpr double kTruncationLimit = 9223372036854775807.0;

double FloorEdge(double v) {
  if (!(std::fabs(v) < kTruncationLimit)) return v;
  const double t = static_cast<double>(static_cast<long long>(v));
  return (t != v && v < 0.0) ? t - 1.0 : t;
}

double CeilEdge(double v) {
  if (!(std::fabs(v) < kTruncationLimit)) return v;
  const double t = static_cast<double>(static_cast<long long>(v));
  return (t != v && v > 0.0) ? t + 1.0 : t;
}

// The deliberate 32-bit step of pixel edges. What a 32-bit conversion cannot hold
// (including NaN) becomes the smallest 32-bit integer, explicitly rather than by a
// cast whose result would be undefined.
long long ToPixelEdge(double v) {
  constexpr double kMin = std::numeric_limits<std::int32_t>::min();
  constexpr double kMax = std::numeric_limits<std::int32_t>::max();
  if (!(v >= kMin && v <= kMax)) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(v);
}

}  // namespace

Environment::Environment(const WorldRectangle& worldView, long long targetWidth,
                         long long targetHeight)
    : world_view_(worldView),
      target_width_(targetWidth),
      target_height_(targetHeight),
      x_factor_(static_cast<double>(targetWidth) / worldView.Width()),
      y_factor_(static_cast<double>(targetHeight) / worldView.Height()) {
  const double along_x = 0.3 / x_factor_;
  const double along_y = 0.3 / y_factor_;
  curve_error_ = along_y < along_x ? along_y : along_x;
}

double Environment::WorldToInternalX(WorldCoordinate x) const {
  return (x.Value() - world_view_.X()) * x_factor_;
}

double Environment::WorldToInternalY(WorldCoordinate y) const {
  return (Top() - y.Value()) * y_factor_;
}

Point<double> Environment::WorldToInternal(const WorldPoint& p) const {
  return {WorldToInternalX(p.x), WorldToInternalY(p.y)};
}

// The operations of t.Apply and WorldToInternal in their order; only the loop
// invariants (the six coefficients, the view's corner and the factors) are read once.
void Environment::TransformToInternal(const Morv::MilliPointTransformation& t, const WorldPoint* in,
                                      std::size_t count, Point<double>* out) const {
  const double a = t.a, b = t.b, c = t.c, d = t.d, e = t.e, f = t.f;
  const double wx0 = world_view_.X();
  const double top = Top();
  const double xf = x_factor_;
  const double yf = y_factor_;
  for (std::size_t i = 0; i < count; ++i) {
    const double x = in[i].x.Value();
    const double y = in[i].y.Value();
    const double wx = a * x + c * y + e;
    const double wy = b * x + d * y + f;
    out[i] = {(wx - wx0) * xf, (top - wy) * yf};
  }
}

QorMath::Rectangle<double> Environment::WorldToInternal(const WorldRectangle& r) const {
  const double wx0 = world_view_.X();
  const double top = Top();
  return {(r.X() - wx0) * x_factor_, (top - (r.Y() + r.Height())) * y_factor_,
          (r.X() + r.Width() - wx0) * x_factor_, (top - r.Y()) * y_factor_};
}

Environment::WorldCoordinate Environment::InternalToWorldX(double x) const {
  return WorldCoordinate(x / x_factor_ + world_view_.X());
}

Environment::WorldCoordinate Environment::InternalToWorldY(double y) const {
  return WorldCoordinate(Top() - y / y_factor_);
}

Environment::WorldPoint Environment::InternalToWorld(const Point<double>& p) const {
  return {InternalToWorldX(p.x), InternalToWorldY(p.y)};
}

Environment::WorldRectangle Environment::InternalToWorld(
    const QorMath::Rectangle<double>& r) const {
  const double rx = 1.0 / x_factor_;
  const double ry = 1.0 / y_factor_;
  const double wx0 = world_view_.X();
  const double top = Top();
  const double x = rx * r.left + wx0;
  const double y = top - ry * r.bottom;
  return {x, y, (rx * r.right + wx0) - x, (top - ry * r.top) - y};
}

Environment::WorldRectangle Environment::TargetToWorld(
    const QorMath::Rectangle<long long>& r) const {
  const double rtw = 1.0 / static_cast<double>(target_width_);
  const double rth = 1.0 / static_cast<double>(target_height_);
  const double ww = world_view_.Width();
  const double wh = world_view_.Height();
  const double wx0 = world_view_.X();
  const double top = Top();
  const double x = static_cast<double>(r.left) * ww * rtw + wx0;
  const double y = top - static_cast<double>(r.bottom) * wh * rth;
  return {x, y, (static_cast<double>(r.right) * ww * rtw + wx0) - x,
          (top - static_cast<double>(r.top) * wh * rth) - y};
}

QorMath::Rectangle<long long> Environment::WorldToTarget(const WorldRectangle& r) const {
  const QorMath::Rectangle<double> internal = WorldToInternal(r);
  return {ToPixelEdge(FloorEdge(internal.left)), ToPixelEdge(FloorEdge(internal.top)),
          ToPixelEdge(CeilEdge(internal.right)), ToPixelEdge(CeilEdge(internal.bottom))};
}

}  // namespace QorSc
