// SoftMaskState: the mask values of one masked object or group, line by line.
//
// It renders the mask's collected content with a line renderer of its own, on its
// own options (one plate "Black" when the content and the backdrop colour use only
// black, else the four process inks), and turns the rendered line into one value per
// pixel of the masked object's box:
//   alpha mask:       m = the content's accumulated alpha
//   luminosity mask:  m = 1 − min(1, grey(C + (1 − α)·BC)), per plate C premultiplied,
//                     BC the backdrop colour in the mask's plates (default full
//                     black), grey = ((0.3·C + 0.59·M) + 0.11·Y) + K, or K alone
// then through the transfer function (a table of 1025 samples, linearly
// interpolated, clamped to [0, 1]). With halftone labels the values are all or
// nothing: mode 2 takes the content's coverage (alpha ≥ 0.00001) instead of either
// step, mode 1 thresholds the result at 0.00001.
//
// Invariants: a line position is rendered at most once; memory is the box width plus
// pooled lines, never a page-sized buffer. Per line nothing allocates.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qormath/rectangle.h"
#include "scan/options.h"

namespace QorSc {

class LineBuffer;
class LineRenderer;
class ConversionPools;
struct SoftMaskRecord;

class SoftMaskState {
 public:
  // `box` is the masked object's pixel box; the record's content moves in.
  SoftMaskState(const LineRenderer& renderer, const QorMath::Rectangle<long long>& box,
                std::unique_ptr<SoftMaskRecord> record);
  ~SoftMaskState();
  SoftMaskState(const SoftMaskState&) = delete;
  SoftMaskState& operator=(const SoftMaskState&) = delete;

  // The mask values of line y, one per x of [Left(), Right()), indexed from Left().
  const float* Values(long long y);
  long long Left() const { return x0_; }
  long long Right() const { return x1_; }
  const Options& GetOptions() const { return options_; }

 private:
  void Luminosity(LineBuffer& line, float* alpha);
  void Transfer();

  long long x0_;
  long long x1_;
  Options options_;
  std::vector<float> transfer_;  // empty: the identity
  bool alpha_;
  HalftoneMode halftones_;
  std::vector<float> backdrop_;  // per plate of the mask's options
  std::unique_ptr<LineRenderer> content_;
  ConversionPools* pools_;
  long long last_line_;
  std::vector<float> values_;
};

}  // namespace QorSc
