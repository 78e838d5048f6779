// AxialShadingPaintGetter: colours along an axis, constant on every isoline (the
// lines perpendicular to the axis on the shading's own space).
//
// A table of the shading function holds `entries` rows from the start colour to the
// end colour. Once per scan line the line is split into segments: before the start
// (start colour, when extended), along the axis and beyond the end (end colour,
// when extended). Along the axis a stepper walks the table by a fixed number of
// rows per pixel; where the isolines are horizontal the whole line has one row and
// PerPixel components become Constant. An optional bounding box restricts every
// line to its runs; optional noise dithers the row of every pixel.
//
// Invariants: lines come top to bottom; a line whose centre does not lie below the
// last one set up reuses it. The pixel loops index the table only (no function
// evaluation, no branch on the shading's mode) and Compute allocates nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "paint/shading_paint_getter.h"
#include "paint/shading_table.h"
#include "qorpaint/shading_paint.h"
#include "raster/path_edges.h"
#include "raster/run_length_generator.h"
#include "scan/environment.h"
#include "scan/options.h"

namespace QorSc {

// Walks table rows at a fixed rate per pixel with an integer row and a fraction,
// so that a long line does not accumulate the error of adding the step.
struct ShadingStepper {
  double origin = 0.0;
  std::int32_t count = 0;
  double step = 0.0;
  std::int64_t wholeStep = 0;
  double fractionalStep = 0.0;
  std::int64_t row = 0;
  double fraction = 0.0;

  void Set(double originX, std::int32_t rows, double rowsPerPixel);
  // Places the stepper at pixel x (its centre).
  void Place(long long x);
  void Advance() {
    fraction += fractionalStep;
    row += wholeStep;
    if (fraction >= 1.0) {
      fraction -= 1.0;
      row += 1;
    }
  }
};

class AxialShadingPaintGetter final : public ShadingPaintGetter {
 public:
  enum SegmentKind : std::uint8_t {
    kBeforeStart = 0,
    kBeyondEnd = 1,
    kAlongAxis = 2,
    kAlongAxisOneRow = 3,
  };
  struct Segment {
    long long x;
    long long length;
    SegmentKind kind;
  };

  // `transformation` places the object (and with it the shading's space) in the
  // world; `pixelBox` is the target box the lines span.
  AxialShadingPaintGetter(std::shared_ptr<const QorPaint::AxialShadingPaint> paint,
                          const Environment& env, const Options& options,
                          const Morv::MilliPointTransformation& transformation,
                          const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains);
  ~AxialShadingPaintGetter() override;

  void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override;

  std::size_t Entries() const { return table_.Entries(); }
  const ShadingTable& Table() const { return table_; }
  const std::optional<ShadingNoise>& Noise() const { return noise_; }
  bool HorizontalIsolines() const { return horizontal_; }

 private:
  void SetUpLine(long long y);
  void FillAlongAxis(const Run& piece, SourcePaintBuffers& buffers);
  template <bool kNoise>
  void FillRows(const Run& piece, SourcePaintBuffers& buffers);
  void FillUniform(const Run& piece, const float* colour, SourcePaintBuffers& buffers) const;

  std::shared_ptr<const QorPaint::AxialShadingPaint> paint_;
  ShadingTable table_;
  Point<double> start_{};
  Point<double> end_{};
  Point<double> isoline_{};
  bool horizontal_ = false;
  long long left_;
  long long right_;
  ShadingStepper stepper_;
  std::uint64_t row_index_ = 0;
  boost::container::small_vector<Segment, 1> segments_;
  std::optional<ShadingNoise> noise_;
  bool extend_start_ = false;
  bool extend_end_ = false;
  std::vector<float> extend_start_colour_;
  std::vector<float> extend_end_colour_;
  std::vector<float> row_;
  std::vector<std::size_t> per_pixel_;
  std::vector<std::size_t> constant_;
};

}  // namespace QorSc
