// Test scenes drawn directly in pixels: an environment where one millipoint is one
// target pixel (y flipped), and shapes given in internal coordinates.
#pragma once

#include <memory>

#include "morv/compound.h"
#include "scan/environment.h"

namespace QorScTest {

// World (x, y) is internal (x, 100 - y) over a 100 × 100 pixel target.
inline QorSc::Environment UnitEnvironment() {
  return QorSc::Environment(Morv::MilliPointRectangle(0.0, 0.0, 100.0, 100.0), 100, 100);
}

// A rectangle given in the internal coordinates of UnitEnvironment().
inline std::shared_ptr<const Morv::Compound> InternalRect(double x0, double y0, double x1,
                                                          double y1) {
  return Morv::PathBuilder().Rectangle(x0, 100.0 - y1, x1 - x0, y1 - y0).BuildShared();
}

}  // namespace QorScTest
