// Image mask coverage, line by line.
//
// Along one line dy is fixed, so s and t are chains of correctly rounded operations
// with a single varying operand: (x + 0.5) - O.x, then a product and a sum with
// constants. Rounding is monotone, so while nothing overflows, s and t as computed
// (not only in exact arithmetic) are monotone in x. Two things follow. The pixels
// of a line inside the image form one interval, which a search from an estimate
// finds exactly, with no need for a safety margin. Inside that interval every pixel
// passes the range tests, and only the sample lookup is left per pixel.
//
// The per-pixel loops must not allocate beyond runs_ growing, and must not derive
// one pixel's coordinates from another's: that would drift from the rule.

#include "raster/image_mask_run_length_generator.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <utility>

namespace QorSc {
namespace {

// Bound on |s| and |t| over the box for the monotone walk: far from overflow, so
// the sum of two products can never become inf - inf.
constexpr double kFiniteReach = 1e300;

// A guess only steers the search; anything outside the range (or NaN) is clamped
// before the conversion, which would be undefined for it.
long long GuessToPixel(double guess, long long lo, long long last) {
  if (!(guess > static_cast<double>(lo))) return lo;
  if (!(guess < static_cast<double>(last))) return last;
  return static_cast<long long>(guess);
}

// Estimated pixel where a value ≈ base + slope·x reaches `bound`.
double Crossing(double bound, double base, double slope) {
  return slope != 0.0 ? (bound - base) / slope : 0.0;
}

// The smallest x in [lo, hi) with pred(x), or hi when there is none; pred must be
// false and then true over [lo, hi). Gallops away from the guess to bracket the
// answer, then bisects, so a good guess costs two evaluations and a bad one only a
// logarithm of the distance.
template <class Predicate>
long long FirstTrue(long long lo, long long hi, double guess, Predicate pred) {
  if (lo >= hi) return hi;
  const long long start = GuessToPixel(guess, lo, hi - 1);
  long long step = 1;
  if (pred(start)) {
    hi = start;
    while (lo < hi) {
      const long long probe = hi - lo > step ? hi - step : lo;
      if (!pred(probe)) {
        lo = probe + 1;
        break;
      }
      hi = probe;
      step *= 2;
    }
  } else {
    lo = start + 1;
    while (lo < hi) {
      const long long probe = hi - lo > step ? lo + step - 1 : hi - 1;
      if (pred(probe)) {
        hi = probe;
        break;
      }
      lo = probe + 1;
      step *= 2;
    }
  }
  while (lo < hi) {
    const long long mid = lo + (hi - lo) / 2;
    if (pred(mid)) {
      hi = mid;
    } else {
      lo = mid + 1;
    }
  }
  return lo;
}

// Narrows [first, end) to the pixels whose value is neither below nor above its
// bounds, for a value monotone in x. The guesses are where the value is expected to
// cross its lower and its upper bound.
template <class Below, class Above>
void Narrow(long long& first, long long& end, bool decreasing, double lowCrossing,
            double highCrossing, Below below, Above above) {
  if (!decreasing) {
    first = FirstTrue(first, end, lowCrossing, [&](long long x) { return !below(x); });
    end = FirstTrue(first, end, highCrossing, above);
  } else {
    first = FirstTrue(first, end, highCrossing, [&](long long x) { return !above(x); });
    end = FirstTrue(first, end, lowCrossing, below);
  }
}

template <class Covered>
void AppendRuns(long long first, long long end, RunList& runs, Covered covered) {
  long long x = first;
  while (x < end) {
    while (x < end && !covered(x))
      ++x;
    if (x == end) return;
    const long long start = x;
    while (x < end && covered(x))
      ++x;
    runs.push_back({start, x - start});
  }
}

}  // namespace

ImageMaskRunLengthGenerator::ImageMaskRunLengthGenerator(
    const QorMath::Rectangle<long long>& pixelBox,
    std::shared_ptr<const QorImg::PictureBuffer> mask,
    const Morv::MilliPointTransformation& transformation, const Environment& env)
    : RunLengthGenerator(pixelBox), mask_(std::move(mask)) {
  if (mask_ == nullptr) {
    throw std::invalid_argument("ImageMaskRunLengthGenerator: the mask is null");
  }
  if (mask_->GetBitsPerSample() != 1) {
    throw std::invalid_argument("ImageMaskRunLengthGenerator: a mask has 1 bit per sample, not " +
                                std::to_string(mask_->GetBitsPerSample()));
  }
  samples_ = mask_->GetBuffer();
  row_stride_ = mask_->GetRowStride();
  width_ = static_cast<double>(mask_->GetWidth());
  height_ = static_cast<double>(mask_->GetHeight());
  last_column_ = mask_->GetWidth() == 0 ? 0 : mask_->GetWidth() - 1;

  const Point<double> origin =
      env.WorldToInternal(transformation.Apply(Morv::MilliPointPoint(0.0, 1.0)));
  const Point<double> column_end =
      env.WorldToInternal(transformation.Apply(Morv::MilliPointPoint(1.0, 1.0)));
  const Point<double> row_end =
      env.WorldToInternal(transformation.Apply(Morv::MilliPointPoint(0.0, 0.0)));
  const double ux = column_end.x - origin.x;
  const double uy = column_end.y - origin.y;
  const double vx = row_end.x - origin.x;
  const double vy = row_end.y - origin.y;

  if (std::fabs(uy) < 0.5) {
    mode_ = kColumnsAlongLines;
  } else if (std::fabs(vy) < 0.5) {
    mode_ = kRowsAlongLines;
  } else {
    mode_ = kGeneral;
  }

  const double det = ux * vy - vx * uy;
  covers_nothing_ = det == 0.0 || mask_->GetWidth() == 0 || mask_->GetHeight() == 0;
  if (covers_nothing_) return;
  placement_ = {origin.x, origin.y, vy / det, -vx / det, -uy / det, ux / det};

  // NaN anywhere makes a reach NaN and the comparisons false, which is what we want:
  // such placements go through the per-pixel rule, whose range tests reject NaN.
  const auto reach = [](long long a, long long b, double o) {
    return std::max(std::fabs(static_cast<double>(a)), std::fabs(static_cast<double>(b))) + 1.0 +
           std::fabs(o);
  };
  const double reach_x = reach(x0_, x1_, origin.x);
  const double reach_y = reach(y0_, y1_, origin.y);
  const Placement& p = placement_;
  const double s_reach = std::fabs(p.ss) * reach_x + std::fabs(p.st) * reach_y;
  const double t_reach = std::fabs(p.ts) * reach_x + std::fabs(p.tt) * reach_y;
  monotone_ = s_reach < kFiniteReach && t_reach < kFiniteReach;
}

void ImageMaskRunLengthGenerator::GenerateRuns(long long line) {
  if (line >= y1_) {
    runs_.clear();
    state_ = kFinished;
    return;
  }
  if (state_ != kActive && line < y0_) return;
  if (state_ == kActive && line <= last_line_) return;
  state_ = kActive;
  last_line_ = line;
  runs_.clear();
  BuildLine(line);
}

// Both go through a signed conversion: the operands are known non-negative and no
// larger than the mask, and the signed form is a single instruction where the
// unsigned one branches. Truncation is the floor for them.
std::size_t ImageMaskRunLengthGenerator::ColumnOf(double s) const {
  // s·W reaches W at the right border (s == 1), which belongs to the last column.
  return std::min(static_cast<std::size_t>(static_cast<long long>(s * width_)), last_column_);
}

std::size_t ImageMaskRunLengthGenerator::RowOf(double t) const {
  return static_cast<std::size_t>(static_cast<long long>(t * height_));
}

bool ImageMaskRunLengthGenerator::CoveredAt(long long x, long long line) const {
  const ImagePoint q = placement_.At(x, line);
  if (!(q.s >= 0.0 && q.s <= 1.0)) return false;
  const double row = q.t * height_;
  if (!(row >= 0.0 && row < height_)) return false;
  return SampleSet(samples_ + RowOf(q.t) * row_stride_, ColumnOf(q.s));
}

void ImageMaskRunLengthGenerator::BuildLine(long long line) {
  if (covers_nothing_ || x0_ >= x1_) return;
  if (!monotone_) {
    BuildLineEveryPixel(line);
    return;
  }
  const Placement& p = placement_;

  // The estimates use the same terms reordered; they only steer the searches, whose
  // answers are decided by Placement::At alone.
  const double dy = (static_cast<double>(line) + 0.5) - p.origin_y;
  const double s_base = p.ss * (0.5 - p.origin_x) + p.st * dy;
  const double t_base = (p.ts * (0.5 - p.origin_x) + p.tt * dy) * height_;
  const double t_slope = p.ts * height_;

  long long first = x0_;
  long long end = x1_;
  Narrow(
      first, end, p.ss < 0.0, Crossing(0.0, s_base, p.ss), Crossing(1.0, s_base, p.ss),
      [&](long long x) { return p.At(x, line).s < 0.0; },
      [&](long long x) { return p.At(x, line).s > 1.0; });
  Narrow(
      first, end, p.ts < 0.0, Crossing(0.0, t_base, t_slope), Crossing(height_, t_base, t_slope),
      [&](long long x) { return p.At(x, line).t * height_ < 0.0; },
      [&](long long x) { return p.At(x, line).t * height_ >= height_; });
  if (first >= end) return;

  // A zero coefficient turns its product into a signed zero for every finite dx, so
  // the coordinate it scales is the same number (up to the sign of a zero, which
  // floors alike) at every pixel of the line: evaluating it once is exact.
  if (p.ts == 0.0) {
    const std::uint8_t* row = samples_ + RowOf(p.At(first, line).t) * row_stride_;
    AppendRuns(first, end, runs_,
               [&](long long x) { return SampleSet(row, ColumnOf(p.At(x, line).s)); });
  } else if (p.ss == 0.0) {
    const std::size_t column = ColumnOf(p.At(first, line).s);
    AppendRuns(first, end, runs_, [&](long long x) {
      return SampleSet(samples_ + RowOf(p.At(x, line).t) * row_stride_, column);
    });
  } else {
    AppendRuns(first, end, runs_, [&](long long x) {
      const ImagePoint q = p.At(x, line);
      return SampleSet(samples_ + RowOf(q.t) * row_stride_, ColumnOf(q.s));
    });
  }
}

void ImageMaskRunLengthGenerator::BuildLineEveryPixel(long long line) {
  AppendRuns(x0_, x1_, runs_, [&](long long x) { return CoveredAt(x, line); });
}

}  // namespace QorSc
