// TilingPaint: a cell of document content repeated over the plane.
//
// The cell is a content of the document (typically made by an importer from a
// pattern's content stream) whose objects are already placed where the cell at
// lattice offset (0, 0) lies, in the coordinates of the painted object's content,
// and already clipped to the cell box. Pattern space maps to those coordinates by
// the matrix; in pattern space the cell box is `box` and copies of the cell sit at
// (i·xStep, j·yStep) for all integers i, j. Steps may be negative or non-integer;
// the lattice is the same as with their absolute values. Cells may overlap (a box
// larger than a step), later offsets (j, then i, ascending) painting over earlier.
//
// Invariants: the steps are finite and non-zero, the box is finite and not empty,
// the matrix is invertible (checked on construction). An uncoloured pattern's
// colour is already in the cell's objects; it is kept here for reports only.
#pragma once

#include <optional>

#include "morv/coordinates.h"
#include "morv/transformation.h"
#include "qorcolor/color_list.h"
#include "qordoc/fwd.h"
#include "qorpaint/paint.h"

namespace QorPaint {

class TilingPaint final : public Paint {
 public:
  // Throws std::invalid_argument for a null content, zero or non-finite steps, an
  // empty or non-finite box or a singular matrix.
  TilingPaint(const QorDoc::Content* cell, const Morv::MilliPointTransformation& matrix,
              double xStep, double yStep, const Morv::MilliPointRectangle& box,
              std::optional<QorColor::Color> colour = std::nullopt);

  int GetType() const override { return kTilingPaint; }

  // The cell's content, owned by the document.
  const QorDoc::Content* GetCell() const { return cell_; }
  // Pattern space to the painted object's content coordinates.
  const Morv::MilliPointTransformation& GetMatrix() const { return matrix_; }
  double GetXStep() const { return x_step_; }
  double GetYStep() const { return y_step_; }
  // The cell box in pattern space.
  const Morv::MilliPointRectangle& GetBox() const { return box_; }
  // An uncoloured pattern's colour, as applied to the cell's objects.
  const std::optional<QorColor::Color>& GetColour() const { return colour_; }

 private:
  const QorDoc::Content* cell_;
  Morv::MilliPointTransformation matrix_;
  double x_step_;
  double y_step_;
  Morv::MilliPointRectangle box_;
  std::optional<QorColor::Color> colour_;
};

}  // namespace QorPaint
