// PicturePaintGetter: the colour of a sampled picture placed on the page.
//
// Every pixel whose centre lies in the picture's parallelogram takes the sample
// under that centre (nearest sample, no interpolation), decodes its byte through the
// channel's decode pair and writes it to the output component the channel names. A
// soft mask of the picture (mask kind 1) is sampled the same way into the mask line,
// which the compositor applies as the picture's opacity; the colour values stay
// unmultiplied, or the mask would count twice.
//
// Placement: the picture's unit square has row 0 at its top. O is the image of the
// top-left corner, u runs along a row over the full width, v down a column over the
// full height, all in internal coordinates. The orientation case is 0 when
// |u.y| < 0.5 (only the column changes along a line), 1 when additionally
// |v.y| < 0.5 fails for u but holds for v (only the row changes), 2 otherwise. Per
// line a stepper walks the changing index: index = floor((x + 0.5 − origin) × step)
// at a run's first pixel, then whole and fractional steps per pixel; an index that
// does not change along the line is taken at the line range's first pixel.
//
// The line range is exactly the path generator's run of the unit square's outline
// on that line: the same corners, the same crossing arithmetic, the same rounding.
//
// Converted pictures (colorimetric samples) are asked to convert only the samples the
// target's pixels fall on; a run outside widens that window first.
//
// Hot loop: no allocation (the scratch line and the span list are sized on the first line),
// no virtual call, and the decode rule, sample depth and case are template parameters.
// Where the row steps along a line, the samples are stepped once per run into spans of
// pixels on one sample, shared by the channels: the same indices the per-channel walk
// takes, and one decode per span.
#pragma once

#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "morv/transformation.h"
#include "paint/paint_getter.h"
#include "qorimg/painted_picture.h"
#include "scan/environment.h"
#include "scan/options.h"

namespace QorSc {

// Walks one picture index along a line.
struct PictureStepper {
  double origin = 0.0;
  double step = 0.0;
  long long count = 0;
  long long whole = 0;
  double fractional = 0.0;
  long long index = 0;
  double fraction = 0.0;

  void SetStep(double origin, double step);
  // index and fraction at the centre of pixel x.
  void Place(long long x);
  void Advance() {
    fraction += fractional;
    index += whole;
    if (fraction >= 1.0) {
      fraction -= 1.0;
      ++index;
    }
  }
  long long Clamped() const { return index < 0 ? 0 : (index >= count ? count - 1 : index); }
};

// Where a picture of `columns` × `rows` samples lies in internal space.
struct PicturePlacement {
  Point<double> corners[4];  // images of (0,0), (1,0), (1,1), (0,1) of the unit square
  Point<double> origin;      // top-left corner (0,1)
  Point<double> u;           // along a row, full width
  Point<double> v;           // down a column, full height
  double det = 0.0;
  int orientation = 0;
  long long columns = 0;
  long long rows = 0;

  PicturePlacement() = default;
  PicturePlacement(const Environment& env, const Morv::MilliPointTransformation& t,
                   long long columns, long long rows);

  bool Singular() const;
  // The pixels of `line` whose centres the unit square's outline encloses, as the
  // path generator finds them: [first, end), empty when first >= end.
  void LineRange(long long line, long long& first, long long& end) const;
  // Column and row (unclamped, floored) under the centre of pixel (x, line), by the
  // inverse placement; and the stepper of each along the line.
  long long ColumnAt(long long x, long long line) const;
  long long RowAt(long long x, long long line) const;
  void ColumnStep(long long line, double& origin, double& step) const;
  void RowStep(long long line, double& origin, double& step) const;
};

class PicturePaintGetter final : public PaintGetter {
 public:
  // Throws std::invalid_argument for a picture without samples of the mapped
  // channels.
  PicturePaintGetter(std::shared_ptr<const QorImg::PaintedPicture> picture, const Environment& env,
                     const Options& options, const Morv::MilliPointTransformation& transformation);

  void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override;
  int GetPaintKind() const override { return masked_ ? 2 : 1; }

  int GetOrientationCase() const { return placement_.orientation; }
  const PicturePlacement& GetPlacement() const { return placement_; }
  // The line range of `line` (sets the line up).
  Run LineRangeOf(long long line);

  // A sample source: 8-bit interleaved channels or packed single bits.
  struct Samples {
    std::shared_ptr<const QorImg::PictureBuffer> buffer;
    const std::uint8_t* base = nullptr;
    std::size_t stride = 0;
    std::size_t channels = 1;
    bool bits = false;
  };
  // Pixels in a row on one sample: its byte offset (channel 0) and their number.
  struct SampleSpan {
    std::size_t offset = 0;
    long long length = 0;
  };
  enum DecodeRule : int { kDecodeDirect = 0, kDecodeInverted = 1, kDecodeOther = 2 };
  struct Channel {
    std::size_t offset = 0;
    QorImg::DecodePair decode;
    DecodeRule rule = kDecodeDirect;
    std::size_t component = 0;  // direct channels: the one component written
    // weighted channels: (component, weight) for every component it reaches
    std::vector<std::pair<std::size_t, float>> weights;
    // Layering it onto its empty plate would give its tints unchanged: copied instead.
    bool copied = false;
  };

 private:
  struct Plan {
    ComponentKinds kinds;
    bool absent = false;
    std::vector<Channel> channels;
    bool weighted = false;
    std::vector<std::size_t> layered;  // components some channel layers onto
  };
  static Plan MakePlan(const QorImg::PaintedPicture& picture, const Options& options, bool bits);
  PicturePaintGetter(std::shared_ptr<const QorImg::PaintedPicture> picture, const Environment& env,
                     const Morv::MilliPointTransformation& transformation, Plan plan);

  void SetUpLine(long long line);
  void Sample(const Samples& source, const PictureStepper& columns, const PictureStepper& rows,
              const Channel& channel, long long x, long long n, float* out) const;
  // Walks that step the row (cases 1 and 2) over 8-bit samples step once per run
  // into spans_, which every channel then fills from.
  bool SharedWalk() const;
  // Converted samples: makes sure the samples of pixels [x, x + n) of `line` are.
  void Cover(long long x, long long n, long long line);
  void SampleChannel(const Channel& channel, long long x, long long n, float* out);
  // Walks that step only the column through the general loop (not 1-bit samples, not
  // the direct decode's fast steps) read the run's column byte offsets from a table,
  // made once per run and kept while the run and the column stepper stay the same: an
  // upright picture steps the same columns on every line, only the held row changes.
  bool ColumnOffsetWalk(const Channel& channel) const;
  const std::size_t* ColumnOffsetsOf(long long x, long long n);
  // The spans of a walk that steps only the row (into spans_, returning their count).
  // A picture whose rows do not turn with the lines (an exact quarter turn) steps the
  // same rows over the same pixels on every line, only the held column changes: the
  // last walk is kept and reused when the run and the row stepper are the same.
  std::size_t RowSpansOf(long long x, long long n);
  // The shared walk's spans into every channel's plate at once (fused_offsets_ set).
  void FillFused(SourcePaintBuffers& buffers, long long x, long long n) const;

  std::shared_ptr<const QorImg::PaintedPicture> picture_;
  Samples samples_;
  Samples mask_samples_;
  Channel mask_channel_;
  std::vector<Channel> channels_;
  bool weighted_ = false;
  std::vector<std::size_t> layered_;
  // Channels filled together from the shared walk: their byte offsets and plates.
  static constexpr std::size_t kMaxFused = 4;
  std::vector<std::size_t> fused_offsets_;
  std::vector<std::size_t> fused_components_;
  bool masked_ = false;
  bool lazy_ = false;            // the picture's samples are converted as asked for
  QorImg::SampleWindow window_;  // the samples asked for so far
  PicturePlacement placement_;
  PicturePlacement mask_placement_;
  PictureStepper columns_;
  PictureStepper rows_;
  PictureStepper mask_columns_;
  PictureStepper mask_rows_;
  long long last_line_ = LLONG_MIN;
  long long range_first_ = 0;
  long long range_end_ = 0;
  std::vector<float> scratch_;
  std::vector<SampleSpan> spans_;  // the current run's pixels by sample, in order
  std::size_t span_count_ = 0;
  // What the row walk in spans_ was made from (n < 0: nothing yet), and its column.
  struct RowSpanKey {
    long long x = 0;
    long long n = -1;
    double origin = 0.0;
    double step = 0.0;
    friend bool operator==(const RowSpanKey&, const RowSpanKey&) = default;
  };
  RowSpanKey row_span_key_;
  std::size_t row_span_column_ = 0;
  // The column offsets of ColumnOffsetsOf and what they were made from.
  using ColumnKey = RowSpanKey;
  std::vector<std::size_t> column_offsets_;
  ColumnKey column_key_;
};

}  // namespace QorSc
