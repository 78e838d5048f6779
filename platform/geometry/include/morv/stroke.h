// Stroking: the outline of a stroked path as a compound to fill.
//
// Stroke(compound, width, cap, join, miterLimit[, dash]) returns the area a PDF
// stroke of that style paints, as a compound filled with the non-zero rule (the
// pieces may overlap; non-zero unites them). Coordinates and width are in the
// compound's own units. Caps and joins follow PDF's numbering. Curves are flattened
// first, at `tolerance` (0: derived from the width).
#pragma once

#include <vector>

#include "morv/compound.h"

namespace Morv {

enum class LineCap : int { kButt = 0, kRound = 1, kSquare = 2 };
enum class LineJoin : int { kMiter = 0, kRound = 1, kBevel = 2 };

struct DashPattern {
  // Alternating on and off lengths; empty means a solid line.
  std::vector<double> array;
  double phase = 0.0;
};

Compound Stroke(const Compound& compound, double width, LineCap cap, LineJoin join,
                double miterLimit, const DashPattern* dash = nullptr, double tolerance = 0.0);

}  // namespace Morv
