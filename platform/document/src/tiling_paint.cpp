// Validation of tiling paints: everything a renderer divides by is checked here once.

#include "qorpaint/tiling_paint.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace QorPaint {

TilingPaint::TilingPaint(const QorDoc::Content* cell, const Morv::MilliPointTransformation& matrix,
                         double xStep, double yStep, const Morv::MilliPointRectangle& box,
                         std::optional<QorColor::Color> colour)
    : cell_(cell),
      matrix_(matrix),
      x_step_(xStep),
      y_step_(yStep),
      box_(box),
      colour_(std::move(colour)) {
  if (cell_ == nullptr) throw std::invalid_argument("TilingPaint: the cell has no content");
  if (!std::isfinite(xStep) || !std::isfinite(yStep) || xStep == 0.0 || yStep == 0.0) {
    throw std::invalid_argument("TilingPaint: the steps must be finite and not 0");
  }
  const double w = box.Width(), h = box.Height();
  if (!std::isfinite(box.X()) || !std::isfinite(box.Y()) || !std::isfinite(w) ||
      !std::isfinite(h) || !(w > 0.0) || !(h > 0.0)) {
    throw std::invalid_argument("TilingPaint: the cell box must be finite and not empty");
  }
  const double det = matrix.Determinant();
  if (!std::isfinite(det) || det == 0.0 || !std::isfinite(matrix.e) || !std::isfinite(matrix.f)) {
    throw std::invalid_argument("TilingPaint: the matrix must be invertible");
  }
}

}  // namespace QorPaint
