// BoxRunLengthGenerator: covers its whole pixel box, one run per line.
//
// Used for shapes whose coverage is exactly their box (the one- and two-pixel
// shapes MakeGeometrySource reduces, sources with neither compound nor mask). The
// run is made once, when the first line of the box is reached, and kept until the
// bottom. A box with no width covers nothing.
#pragma once

#include "raster/run_length_generator.h"

namespace QorSc {

class BoxRunLengthGenerator final : public RunLengthGenerator {
 public:
  explicit BoxRunLengthGenerator(const QorMath::Rectangle<long long>& box)
      : RunLengthGenerator(box) {
    steady_ = true;
  }

  void GenerateRuns(long long line) override {
    if (line >= y1_) {
      state_ = kFinished;
      runs_.clear();
      return;
    }
    if (line >= y0_ && state_ != kActive) {
      runs_.clear();
      if (x0_ < x1_) runs_.push_back({x0_, x1_ - x0_});
      state_ = kActive;
    }
    if (state_ == kActive && line > last_line_) last_line_ = line;
  }
};

}  // namespace QorSc
