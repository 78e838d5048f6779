// Axial ramps for tests: an exponential function over [0, 1] along two world points,
// onto the colorants of a mapping.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "qorpaint/shading_paint.h"

namespace QorScTest {

struct Ramp {
  QorPaint::SeparationMapping mapping;
  std::array<Morv::MilliPointPoint, 2> axis;
  bool extend = false;
  std::vector<double> c0 = {0.0};
  std::vector<double> c1 = {1.0};
  double exponent = 1.0;
  std::optional<QorColor::Color> background = std::nullopt;
};

inline std::shared_ptr<const QorPaint::AxialShadingPaint> AxialRamp(Ramp ramp) {
  QorPaint::ShadingPaint::Common common;
  common.mapping = std::move(ramp.mapping);
  common.background = std::move(ramp.background);
  auto function = std::make_shared<QorPaint::ExponentialFunction>(
      QorPaint::Interval{0.0, 1.0}, std::vector<QorPaint::Interval>{}, std::move(ramp.c0),
      std::move(ramp.c1), ramp.exponent);
  return std::make_shared<QorPaint::AxialShadingPaint>(std::move(common), ramp.axis, function,
                                                       QorPaint::Interval{},
                                                       std::array{ramp.extend, ramp.extend});
}

}  // namespace QorScTest
