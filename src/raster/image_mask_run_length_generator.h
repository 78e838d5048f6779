// ImageMaskRunLengthGenerator: the pixels whose centres fall on set samples of a
// 1-bit image mask placed on the page by an affine map.
//
// The mask fills the unit square of its own space with row 0 at the top. A pixel
// (x, line) is covered when it lies in the pixel box, its centre p solves
// p - O = s·u + t·v with 0 <= s <= 1, row floor(t·H) lies in [0, H), and the sample at
// column min(floor(s·W), W - 1) of that row is set. (s, t) of every pixel the
// generator decides comes from the one expression in Placement::At, so the runs are
// bit for bit those of the per-pixel rule. A singular placement or an empty mask
// covers nothing.
//
// Hot loop: never allocates (runs_ keeps its storage) and never steps s or t from
// one pixel to the next; each pixel's coordinates are computed afresh from its centre.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "morv/transformation.h"
#include "qorimg/picture_buffer.h"
#include "qormath/rectangle.h"
#include "raster/run_length_generator.h"
#include "scan/environment.h"

namespace QorSc {

class ImageMaskRunLengthGenerator final : public RunLengthGenerator {
 public:
  // How the image axes lie against output lines. Along a line, mode 0 keeps the
  // image row when u.y is 0 and mode 1 keeps the column when v.y is 0; otherwise both
  // change and the walk evaluates both.
  enum Mode : std::uint32_t {
    kColumnsAlongLines = 0,  // |u.y| < 0.5: upright, mirrored, sheared along x
    kRowsAlongLines = 1,     // |u.y| >= 0.5, |v.y| < 0.5: quarter turns
    kGeneral = 2,            // any other rotation or shear
  };

  // Throws std::invalid_argument when the mask is null or not 1 bit per sample.
  ImageMaskRunLengthGenerator(const QorMath::Rectangle<long long>& pixelBox,
                              std::shared_ptr<const QorImg::PictureBuffer> mask,
                              const Morv::MilliPointTransformation& transformation,
                              const Environment& env);

  void GenerateRuns(long long line) override;

  Mode GetMode() const { return mode_; }

 private:
  struct ImagePoint {
    double s;
    double t;
  };

  // The inverse of [u v] applied to a pixel centre relative to O. The expression is
  // the definition of coverage: s = ss·dx + st·dy, t = ts·dx + tt·dy with
  // dx = (x + 0.5) - O.x, dy = (line + 0.5) - O.y, and ss = v.y/det, st = -v.x/det,
  // ts = -u.y/det, tt = u.x/det for det = u.x·v.y - v.x·u.y.
  struct Placement {
    double origin_x = 0.0;
    double origin_y = 0.0;
    double ss = 0.0;
    double st = 0.0;
    double ts = 0.0;
    double tt = 0.0;

    ImagePoint At(long long x, long long line) const {
      const double dx = (static_cast<double>(x) + 0.5) - origin_x;
      const double dy = (static_cast<double>(line) + 0.5) - origin_y;
      return {ss * dx + st * dy, ts * dx + tt * dy};
    }
  };

  void BuildLine(long long line);
  void BuildLineEveryPixel(long long line);
  bool CoveredAt(long long x, long long line) const;

  // Only for points already known to be inside the image (0 <= s <= 1, 0 <= t·H < H).
  std::size_t ColumnOf(double s) const;
  std::size_t RowOf(double t) const;
  bool SampleSet(const std::uint8_t* row, std::size_t column) const {
    return ((row[column >> 3] >> (7 - (column & 7))) & 1u) != 0;
  }

  std::shared_ptr<const QorImg::PictureBuffer> mask_;
  const std::uint8_t* samples_ = nullptr;
  std::size_t row_stride_ = 0;
  std::size_t last_column_ = 0;
  double width_ = 0.0;
  double height_ = 0.0;
  Placement placement_;
  Mode mode_ = kGeneral;
  bool covers_nothing_ = false;
  // s and t stay finite over the whole box, so they are monotone in x along a line
  // and spans can be found by search instead of pixel by pixel.
  bool monotone_ = false;
};

}  // namespace QorSc
