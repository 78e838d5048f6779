// Point enumerators. The per-point work is one affine map and one environment map;
// no allocation, no rounding.

#include "raster/point_enumerator.h"

namespace QorSc {
namespace {

Point<double> ToInternal(const Environment& env, const Morv::MilliPointTransformation& t,
                         const Morv::MilliPointPoint& p) {
  return env.WorldToInternal(t.Apply(p));
}

}  // namespace

SubpathPointEnumerator::SubpathPointEnumerator(const Morv::Subpath& subpath,
                                               const Morv::MilliPointTransformation& t,
                                               const Environment& env)
    : transformation_(t), environment_(env) {
  const double flatness = Morv::CurveErrorForTransformation(env.GetCurveError(), t);
  const auto range = Morv::MakeVectorPointRange(subpath, flatness);
  current_ = range.first;
  end_ = range.second;
}

bool SubpathPointEnumerator::Next(Point<double>& out) {
  if (current_.equal(end_)) return false;
  out = ToInternal(environment_, transformation_, *current_);
  ++current_;
  return true;
}

VectorPointEnumerator::VectorPointEnumerator(std::span<const Morv::MilliPointPoint> points,
                                             const Morv::MilliPointTransformation& t,
                                             const Environment& env)
    : current_(points.data()),
      end_(points.data() + points.size()),
      transformation_(t),
      environment_(env) {}

bool VectorPointEnumerator::Next(Point<double>& out) {
  if (current_ == end_) return false;
  out = ToInternal(environment_, transformation_, *current_);
  ++current_;
  return true;
}

namespace {

// The corners of `box` (top-left, top-right, bottom-right, bottom-left on the page)
// mapped to world millipoints by `to_world`, then to internal coordinates.
template <class Box, class ToWorld>
void BoxCorners(const Environment& env, const Box& box, ToWorld to_world,
                Point<double> (&corners)[4]) {
  const double x = box.X();
  const double y = box.Y();
  const double w = box.Width();
  const double h = box.Height();
  const double xs[4] = {x, x + w, x + w, x};
  const double ys[4] = {y + h, y + h, y, y};
  for (int i = 0; i < 4; ++i)
    corners[i] = env.WorldToInternal(to_world(xs[i], ys[i]));
}

}  // namespace

BoundingBoxEnumerator::BoundingBoxEnumerator(
    const Environment& env, const Morv::RectangleBase<Morv::PdfCoordinateSystem>& box,
    const Morv::TransformationBase<Morv::PdfCoordinateSystem>& t) {
  BoxCorners(
      env, box,
      [&](double x, double y) {
        return Morv::MilliPointPoint(t.ApplyX(x, y) * 1000.0, t.ApplyY(x, y) * 1000.0);
      },
      corners_);
}

BoundingBoxEnumerator::BoundingBoxEnumerator(const Environment& env,
                                             const Morv::MilliPointRectangle& box,
                                             const Morv::MilliPointTransformation& t) {
  BoxCorners(
      env, box,
      [&](double x, double y) { return Morv::MilliPointPoint(t.ApplyX(x, y), t.ApplyY(x, y)); },
      corners_);
}

bool BoundingBoxEnumerator::Next(Point<double>& out) {
  if (handed_out_ >= 5) return false;
  out = corners_[handed_out_ % 4];
  ++handed_out_;
  return true;
}

}  // namespace QorSc
