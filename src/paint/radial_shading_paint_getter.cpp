// Radial shadings: the circle equation solved per pixel in shading space.
//
// With d = c1 − c0, dr = r1 − r0 and q = p − c0, |q − s·d| = r0 + s·dr becomes
// a·s² − 2·b·s + c = 0 with a = d·d − dr², b = q·d + r0·dr, c = q·q − r0². The
// larger root is tried first (later circles paint over earlier ones).

#include "paint/radial_shading_paint_getter.h"

#include <algorithm>
#include <cmath>

namespace QorSc {

RadialShadingPaintGetter::RadialShadingPaintGetter(
    std::shared_ptr<const QorPaint::RadialShadingPaint> paint, const Environment& env,
    const Options& options, const Morv::MilliPointTransformation& transformation,
    const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains)
    : ShadingPaintGetter(*paint, env, options, transformation, pixelBox, chains),
      paint_(std::move(paint)) {
  const Morv::MilliPointTransformation m = ShadingPlacementInPixels(env, Placement());
  const double a = m.a, b = m.b, c = m.c, d = m.d;
  const double det = a * d - b * c;
  invertible_ = det != 0.0 && std::isfinite(det);
  if (invertible_) {
    origin_x_ = m.e;
    origin_y_ = m.f;
    ia_ = d / det;
    ib_ = -b / det;
    ic_ = -c / det;
    id_ = a / det;
  }

  const auto& circles = paint_->GetCircles();
  c0x_ = circles[0].centre.x.Value();
  c0y_ = circles[0].centre.y.Value();
  r0_ = circles[0].radius;
  cdx_ = circles[1].centre.x.Value() - c0x_;
  cdy_ = circles[1].centre.y.Value() - c0y_;
  dr_ = circles[1].radius - r0_;
  roots_.a = cdx_ * cdx_ + cdy_ * cdy_ - dr_ * dr_;
  if (roots_.a != 0.0) {
    roots_.inverse_a = 1.0 / roots_.a;
    roots_.larger_sign = roots_.a > 0.0 ? 1.0 : -1.0;
  }
  roots_.r0 = r0_;
  roots_.dr = dr_;
  roots_.SetExtends(paint_->GetExtends()[0], paint_->GetExtends()[1]);

  // Table size: how far the parameter travels on the page, at most the distance of
  // the centres plus the change of radius, both in pixels.
  const double scale = std::max(std::hypot(a, b), std::hypot(c, d));
  const double length = std::hypot(a * cdx_ + c * cdy_, b * cdx_ + d * cdy_) + std::fabs(dr_) * scale;
  table_ = MakeShadingTable(options, paint_->GetSeparationMapping(), *paint_->GetFunction(),
                            paint_->GetDomain(), length, noise_);
  for (std::size_t i = 0; i < Kinds().size(); ++i) {
    if (Kinds()[i] == kKindPerPixel) per_pixel_.push_back(i);
  }
  planes_.resize(per_pixel_.size());
}

RadialShadingPaintGetter::~RadialShadingPaintGetter() = default;

bool RadialShadingPaintGetter::ParameterAt(double x, double y, double& s) const {
  const double qx = x - c0x_;
  const double qy = y - c0y_;
  return roots_.Root(qx * cdx_ + qy * cdy_ + r0_ * dr_, qx * qx + qy * qy - r0_ * r0_, s);
}

template <bool kNoise, bool kFour>
void RadialShadingPaintGetter::FillRun(const Run& run, double yc, SourcePaintBuffers& buffers,
                                       RunList& painted) {
  const double entries = static_cast<double>(table_.Entries());
  const auto last = static_cast<std::int64_t>(table_.Entries()) - 1;
  const double dy = yc - origin_y_;
  // The pixel centre in shading space relative to the start circle's centre is
  // affine in x: q = q0 + dx · (ia, ib).
  const double qx0 = ic_ * dy - c0x_;
  const double qy0 = id_ * dy - c0y_;
  const double r0dr = r0_ * dr_;
  const double r0r0 = r0_ * r0_;
  // Locals, so that the loop keeps them in registers across its stores.
  const Roots roots = roots_;
  const double ia = ia_, ib = ib_, cdx = cdx_, cdy = cdy_, origin_x = origin_x_;
  const std::size_t components = per_pixel_.size();
  const std::size_t* per_pixel = per_pixel_.data();
  float** planes = planes_.data();  // each component's plane from the run's start
  for (std::size_t i = 0; i < components; ++i)
    planes[i] = buffers.Component(per_pixel[i]).At(run.start);
  // Four components (process output): their planes and columns in registers.
  float* p[4] = {};
  std::size_t column[4] = {};
  if constexpr (kFour) {
    for (int i = 0; i < 4; ++i) {
      p[i] = planes[i];
      column[i] = per_pixel[i];
    }
  }
  long long open = -1;  // start of the painted stretch being built, or −1
  const long long end = run.End();
  for (long long x = run.start; x < end; ++x) {
    const double dx = static_cast<double>(x) + 0.5 - origin_x;
    const double qx = qx0 + ia * dx;
    const double qy = qy0 + ib * dx;
    double s;
    if (!roots.Root(qx * cdx + qy * cdy + r0dr, qx * qx + qy * qy - r0r0, s)) {
      if (open >= 0) painted.push_back({open, x - open});
      open = -1;
      continue;
    }
    if (open < 0) open = x;
    const double clamped = s < 0.0 ? 0.0 : (s > 1.0 ? 1.0 : s);
    // Not negative: the cast is the floor.
    auto row = static_cast<std::int64_t>(clamped * entries);
    if (row > last) row = last;
    if constexpr (kNoise) row = noise_->Perturb(row);
    const float* values = table_.Row(static_cast<std::size_t>(row));
    const auto offset = static_cast<std::size_t>(x - run.start);
    if constexpr (kFour) {
      p[0][offset] = values[column[0]];
      p[1][offset] = values[column[1]];
      p[2][offset] = values[column[2]];
      p[3][offset] = values[column[3]];
    } else {
      for (std::size_t i = 0; i < components; ++i)
        planes[i][offset] = values[per_pixel[i]];
    }
  }
  if (open >= 0) painted.push_back({open, end - open});
}

void RadialShadingPaintGetter::Compute(const PaintLine& line, const RunList& runs,
                                       SourcePaintBuffers& buffers, RunList& painted) {
  painted.clear();
  if (!invertible_ || table_.Entries() == 0) return;
  BeginsLine(line.y);
  const RunList* input = InBox(runs);
  if (input == nullptr) return;
  const double yc = static_cast<double>(line.y) + 0.5;
  const bool four = per_pixel_.size() == 4;
  for (const Run& run : *input) {
    if (noise_) {
      FillRun<true, false>(run, yc, buffers, painted);
    } else if (four) {
      FillRun<false, true>(run, yc, buffers, painted);
    } else {
      FillRun<false, false>(run, yc, buffers, painted);
    }
  }
}

}  // namespace QorSc
