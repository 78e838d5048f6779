// The stroker hands most rectangles, one-step and bevel joins and dots on without
// measuring their area; every piece it hands on must still be one the measurement keeps
// as it is: counter-clockwise, with an area the rounding of its coordinates cannot undo.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <span>

#include "morv/stroke.h"

namespace {

using Morv::LineCap;
using Morv::LineJoin;
using Morv::MilliPointPoint;

// Checks each piece as the stroker's own measurement does: twice the area from the
// first corner, against 64 ulps of the squared extent.
class OrientationCheck final : public Morv::OutlineSink {
 public:
  void Piece(std::span<const MilliPointPoint> points) override {
    ++pieces;
    const double x0 = points[0].x.Value();
    const double y0 = points[0].y.Value();
    double twice_area = 0.0;
    double extent = 0.0;
    for (std::size_t i = 1; i < points.size(); ++i) {
      const double px = points[i].x.Value() - x0;
      const double py = points[i].y.Value() - y0;
      extent = std::max({extent, std::fabs(px), std::fabs(py)});
      if (i + 1 < points.size()) {
        const double qx = points[i + 1].x.Value() - x0;
        const double qy = points[i + 1].y.Value() - y0;
        twice_area += px * qy - py * qx;
      }
    }
    const double resolvable = 64.0 * std::numeric_limits<double>::epsilon() * extent * extent;
    if (!(twice_area > resolvable)) ++wrong;
  }
  std::size_t pieces = 0;
  std::size_t wrong = 0;
};

// Dots, rules and polylines turning both ways by angles from a millionth of a turn to
// nearly a reversal, with every join and cap, a few units to 10^15 from the origin and
// from a thousandth to fifty units wide: far out and thin, the measurement decides and
// drops what it cannot orient; everywhere else the pieces handed on unmeasured must
// pass it.
TEST(StrokePieceOrientation, EveryPieceIsCounterClockwiseAtAnyScale) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::size_t pieces = 0;
  for (const double offset : {0.0, 1e3, 1e8, 1e12, 1e15}) {
    for (const double width : {1e-3, 1.0, 50.0}) {
      for (int round = 0; round < 60; ++round) {
        Morv::PathBuilder path;
        double x = offset + unit(random) * 100.0;
        double y = offset - unit(random) * 100.0;
        path.MoveTo(x, y);
        if (round % 5 == 0) {
          path.LineTo(x, y);  // a dot
        } else {
          double heading = unit(random) * 6.28;
          for (int k = 0; k < 12; ++k) {
            const double turn =
                unit(random) < 0.5 ? std::pow(10.0, -6.0 * unit(random)) : 3.1 * unit(random);
            heading += unit(random) < 0.5 ? turn : -turn;
            const double step = width * (0.01 + unit(random) * 20.0);
            x += std::cos(heading) * step;
            y += std::sin(heading) * step;
            path.LineTo(x, y);
          }
          if (round % 3 == 0) path.Close();
        }
        const auto compound = path.BuildShared();
        for (int style = 0; style < 9; ++style) {
          OrientationCheck check;
          Morv::StrokePieces(*compound, width, static_cast<LineCap>(style % 3),
                             static_cast<LineJoin>(style / 3), 10.0, nullptr, width / 100.0, check);
          EXPECT_EQ(check.wrong, 0u) << "offset " << offset << " width " << width << " round "
                                     << round << " style " << style;
          pieces += check.pieces;
        }
      }
    }
  }
  EXPECT_GT(pieces, 100000u);
}

}  // namespace
