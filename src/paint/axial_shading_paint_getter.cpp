// Axial shadings: table set-up, per-line segments and the pixel loops.
//
// Invariant: every float operation that decides a segment boundary or a table row
// is written in one fixed order, so the same page gives the same bits everywhere.
// The pixel loops must not allocate, evaluate functions or branch on the mode.

#include "paint/axial_shading_paint_getter.h"

#include <algorithm>
#include <cmath>

#include "raster/pixel_rounding.h"

namespace QorSc {

void ShadingStepper::Set(double originX, std::int32_t rows, double rowsPerPixel) {
  origin = originX;
  count = rows;
  step = rowsPerPixel;
  const double whole = std::floor(step);
  wholeStep = static_cast<std::int64_t>(whole);
  fractionalStep = step - whole;
}

void ShadingStepper::Place(long long x) {
  const double f = (static_cast<double>(x) + 0.5 - origin) * step;
  const double whole = std::floor(f);
  row = static_cast<std::int64_t>(whole);
  fraction = f - whole;
}

namespace {

// The row range's limit: a row index must stay in [0, entries − 1].
std::int64_t ClampRow(std::int64_t row, std::int64_t last) {
  return row < 0 ? 0 : (row > last ? last : row);
}

}  // namespace

AxialShadingPaintGetter::AxialShadingPaintGetter(
    std::shared_ptr<const QorPaint::AxialShadingPaint> paint, const Environment& env,
    const Options& options, const Morv::MilliPointTransformation& transformation,
    const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains)
    : ShadingPaintGetter(*paint, env, options, transformation, pixelBox, chains),
      paint_(std::move(paint)),
      left_(pixelBox.left),
      right_(pixelBox.right) {
  const Morv::MilliPointTransformation& t = Placement();
  const auto& points = paint_->GetPoints();
  const double x0 = points[0].x.Value();
  const double y0 = points[0].y.Value();
  const double x1 = points[1].x.Value();
  const double y1 = points[1].y.Value();
  const double qx = x0 - (y1 - y0);
  const double qy = y0 + (x1 - x0);
  auto to_internal = [&](double x, double y) {
    return env.WorldToInternal(Morv::MilliPointPoint(t.ApplyX(x, y), t.ApplyY(x, y)));
  };
  start_ = to_internal(x0, y0);
  end_ = to_internal(x1, y1);
  const Point<double> q = to_internal(qx, qy);
  isoline_ = {q.x - start_.x, q.y - start_.y};

  const double dx = isoline_.x;
  const double dy = isoline_.y;
  const double a = std::fabs(dy) > std::fabs(dx) * kIsolineTolerance
                       ? std::fabs((start_.y - end_.y) * dx / dy + end_.x - start_.x)
                       : 0.0;
  const double b = std::fabs(dx) > std::fabs(dy) * kIsolineTolerance
                       ? std::fabs((start_.x - end_.x) * dy / dx + end_.y - start_.y)
                       : 0.0;
  const double length = b > a ? b : a;
  table_ = MakeShadingTable(options, paint_->GetSeparationMapping(), *paint_->GetFunction(),
                            paint_->GetDomain(), length, noise_);

  extend_start_ = paint_->GetExtends()[0];
  extend_end_ = paint_->GetExtends()[1];
  if (extend_start_) {
    ShadingColourAt(options, paint_->GetSeparationMapping(), *paint_->GetFunction(),
                    paint_->GetDomain().min, extend_start_colour_);
  }
  if (extend_end_) {
    ShadingColourAt(options, paint_->GetSeparationMapping(), *paint_->GetFunction(),
                    paint_->GetDomain().max, extend_end_colour_);
  }

  horizontal_ = std::fabs(dy) <= std::fabs(dx) * kIsolineTolerance;
  ComponentKinds kinds = Kinds();
  if (horizontal_ && !noise_) {
    row_.assign(table_.Columns(), 0.0f);
    for (auto& kind : kinds) {
      if (kind == kKindPerPixel) kind = kKindConstant;
    }
    SetKinds(std::move(kinds));
  }
  for (std::size_t c = 0; c < Kinds().size(); ++c) {
    if (Kinds()[c] == kKindPerPixel) per_pixel_.push_back(c);
    if (Kinds()[c] == kKindConstant) constant_.push_back(c);
  }
  // A line has at most three segments: no line set-up allocates.
  segments_.reserve(3);
}

AxialShadingPaintGetter::~AxialShadingPaintGetter() = default;

void AxialShadingPaintGetter::SetUpLine(long long y) {
  const double yc = static_cast<double>(y) + 0.5;
  segments_.clear();
  const long long l0 = left_;
  const long long l1 = right_;
  const auto entries = static_cast<double>(table_.Entries());
  if (table_.Entries() == 0) return;

  if (horizontal_) {
    const double t = start_.y == end_.y ? 0.0 : (yc - start_.y) / (end_.y - start_.y) * entries;
    if (t < 0.0) {
      if (extend_start_) segments_.push_back({l0, l1 - l0, kBeforeStart});
    } else if (t >= entries) {
      if (extend_end_) segments_.push_back({l0, l1 - l0, kBeyondEnd});
    } else {
      row_index_ = static_cast<std::uint64_t>(t);
      if (noise_) {
        segments_.push_back({l0, l1 - l0, kAlongAxis});
      } else {
        const float* row = table_.Row(row_index_);
        std::copy(row, row + table_.Columns(), row_.begin());
        segments_.push_back({l0, l1 - l0, kAlongAxisOneRow});
      }
    }
    return;
  }

  const double k = isoline_.x / isoline_.y;
  const double xa = (yc - start_.y) * k + start_.x;
  const double xb = (yc - end_.y) * k + end_.x;
  if (xa == xb) {
    stepper_.Set(0.0, 0, 0.0);
  } else {
    stepper_.Set(xa, static_cast<std::int32_t>(table_.Entries()), entries / (xb - xa));
  }
  const long long ia = std::clamp(RoundToPixel(xa), l0, l1);
  const long long ib = std::clamp(RoundToPixel(xb), l0, l1);
  if (xa < xb) {
    if (extend_start_ && l0 < ia) segments_.push_back({l0, ia - l0, kBeforeStart});
    if (ia < ib) segments_.push_back({ia, ib - ia, kAlongAxis});
    if (extend_end_ && ib < l1) segments_.push_back({ib, l1 - ib, kBeyondEnd});
  } else {
    if (extend_end_ && l0 < ib) segments_.push_back({l0, ib - l0, kBeyondEnd});
    if (ib < ia) segments_.push_back({ib, ia - ib, kAlongAxis});
    if (extend_start_ && ia < l1) segments_.push_back({ia, l1 - ia, kBeforeStart});
  }
}

void AxialShadingPaintGetter::FillUniform(const Run& piece, const float* colour,
                                          SourcePaintBuffers& buffers) const {
  for (std::size_t c : per_pixel_) {
    float* out = buffers.Component(c).At(piece.start);
    std::fill(out, out + piece.length, colour[c]);
  }
  for (std::size_t c : constant_)
    buffers.Component(c)[piece.start] = colour[c];
}

template <bool kNoise>
void AxialShadingPaintGetter::FillRows(const Run& piece, SourcePaintBuffers& buffers) {
  const std::int64_t last = static_cast<std::int64_t>(table_.Entries()) - 1;
  if (horizontal_) {
    // Noise on a line of one row: every pixel dithers the same row.
    const auto base = static_cast<std::int64_t>(row_index_);
    for (long long x = piece.start; x < piece.End(); ++x) {
      std::int64_t r = base;
      if constexpr (kNoise) r = noise_->Perturb(r);
      const float* row = table_.Row(static_cast<std::size_t>(r));
      for (std::size_t c : per_pixel_)
        buffers.Component(c)[x] = row[c];
    }
    return;
  }
  stepper_.Place(piece.start);
  const float* first = nullptr;
  if (!kNoise && per_pixel_.size() == 4) {
    // Process output: the four planes in registers, and the stepper too.
    float* p[4];
    for (int i = 0; i < 4; ++i)
      p[i] = buffers.Component(per_pixel_[i]).At(piece.start);
    const std::size_t c0 = per_pixel_[0], c1 = per_pixel_[1], c2 = per_pixel_[2],
                      c3 = per_pixel_[3];
    ShadingStepper stepper = stepper_;
    first = table_.Row(static_cast<std::size_t>(ClampRow(stepper.row, last)));
    for (std::size_t o = 0; o < static_cast<std::size_t>(piece.length); ++o) {
      const float* row = table_.Row(static_cast<std::size_t>(ClampRow(stepper.row, last)));
      p[0][o] = row[c0];
      p[1][o] = row[c1];
      p[2][o] = row[c2];
      p[3][o] = row[c3];
      stepper.Advance();
    }
    stepper_ = stepper;
  } else {
    for (long long x = piece.start; x < piece.End(); ++x) {
      std::int64_t r = ClampRow(stepper_.row, last);
      if constexpr (kNoise) r = noise_->Perturb(r);
      const float* row = table_.Row(static_cast<std::size_t>(r));
      if (first == nullptr) first = row;
      for (std::size_t c : per_pixel_)
        buffers.Component(c)[x] = row[c];
      stepper_.Advance();
    }
  }
  for (std::size_t c : constant_)
    buffers.Component(c)[piece.start] = first[c];
}

void AxialShadingPaintGetter::FillAlongAxis(const Run& piece, SourcePaintBuffers& buffers) {
  if (noise_) {
    FillRows<true>(piece, buffers);
  } else {
    FillRows<false>(piece, buffers);
  }
}

void AxialShadingPaintGetter::Compute(const PaintLine& line, const RunList& runs,
                                      SourcePaintBuffers& buffers, RunList& painted) {
  painted.clear();
  if (BeginsLine(line.y)) SetUpLine(line.y);
  const RunList* input = InBox(runs);
  if (input == nullptr) return;
  for (const Run& run : *input) {
    for (const Segment& segment : segments_) {
      const long long s = std::max(run.start, segment.x);
      const long long e = std::min(run.End(), segment.x + segment.length);
      if (s >= e) continue;
      const Run piece{s, e - s};
      painted.push_back(piece);
      switch (segment.kind) {
        case kBeforeStart:
          FillUniform(piece, extend_start_colour_.data(), buffers);
          break;
        case kBeyondEnd:
          FillUniform(piece, extend_end_colour_.data(), buffers);
          break;
        case kAlongAxis:
          FillAlongAxis(piece, buffers);
          break;
        case kAlongAxisOneRow:
          for (std::size_t c : constant_)
            buffers.Component(c)[piece.start] = row_[c];
          break;
      }
    }
  }
}

}  // namespace QorSc
