// QorSc::ResampleEnvironment: the relation between a final pixel grid and an
// initial grid one to four times finer, on which anti-aliased output is converted
// before a Resampler reduces it.
//
// A mode gives a factor f (initial pixels per final pixel along each axis) and a
// shift flag. Without shift the final pixel x covers the initial pixels x·f to
// x·f + f − 1 (box filter). With shift the initial grid is offset by half an initial
// pixel and has one extra pixel along each axis, so that the f + 1 samples x·f to
// x·f + f of a final pixel share their edge samples with its neighbours (tent
// filter).
//
// All mappings compute in unsigned 64-bit arithmetic with truncating division, as
// pixel boxes of the initial grid are laid out by it; mode 0 alone means "no
// resampling" and returns its arguments unchanged.
#pragma once

#include <cstdint>

#include "qormath/point.h"
#include "qormath/rectangle.h"
#include "scan/environment.h"
#include "scan/export.h"

namespace QorSc {

enum ResampleMode : std::int32_t {
  kResampleNone = 0,         // factor 1, no resampling at all
  kResampleTent2Compat = 1,  // the same as kResampleTent2
  kResampleTent1 = 2,        // factor 1, shifted: a 2 × 2 tent
  kResampleTent2 = 3,
  kResampleTent3 = 4,
  kResampleTent4 = 5,
  kResampleBox1 = 6,  // factor 1 mapped arithmetically; equal results to kResampleNone
  kResampleBox2 = 7,
  kResampleBox3 = 8,
  kResampleBox4 = 9,
};

class QORSC_API ResampleEnvironment {
 public:
  // A mode above 9 gives factor 0 and no shift; a Resampler refuses it.
  explicit ResampleEnvironment(ResampleMode mode);

  ResampleMode Mode() const { return mode_; }
  std::uint64_t Factor() const { return factor_; }
  bool NeedsShift() const { return shift_; }
  // Distance between the pick points of neighbouring final pixels on the initial grid.
  std::uint64_t GetInitialPickDelta() const { return factor_; }

  std::uint64_t GetInitialFromFinalWidth(std::uint64_t width) const;
  std::uint64_t GetInitialFromFinalHeight(std::uint64_t height) const;
  QorMath::Rectangle<long long> GetInitialFromFinalPixelBox(
      const QorMath::Rectangle<long long>& box) const;
  // With shift the result reaches one final pixel further on each side: an initial
  // pixel on a final pixel's edge belongs to both neighbours. The left and top of
  // `box` must then be at least 1.
  QorMath::Rectangle<long long> GetFinalFromInitialPixelBox(
      const QorMath::Rectangle<long long>& box) const;
  // The initial sample nearest the centre of a final pixel (also for mode 0).
  QorMath::Point<long long> GetInitialPickPointFromFinalPixelPoint(
      const QorMath::Point<long long>& point) const;
  // The environment to convert on the initial grid.
  Environment GetInitialEnvironment(const Environment& environment) const;

 private:
  ResampleMode mode_;
  std::uint64_t factor_;
  bool shift_;
};

}  // namespace QorSc
