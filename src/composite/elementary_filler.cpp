// Compositing of elementary objects. The pixel loops read every operand through a
// base pointer and a step (0 for a value uniform over the piece, 1 per pixel), so
// they carry no branch on storage states or kinds; the blend term is chosen once
// per run. Nothing here allocates.

#include "composite/elementary_filler.h"

#include <algorithm>

#include "composite/blend_kernels.h"
#include "composite/line_buffer.h"
#include "composite/soft_mask_state.h"
#include "frame/line_renderer.h"

namespace QorSc {
namespace {

// One operand over a piece [s, e): value i of the piece is base[i * step].
struct Operand {
  const float* base;
  std::ptrdiff_t step;

  float operator[](std::ptrdiff_t i) const { return base[i * step]; }
};

// An operand over the piece starting at s, from values stored under a kind or state
// (the numbers are shared): per pixel, or one value — 0, 1, or the constant stored at
// `constantAt` — parked in `uniform`, which must outlive the operand.
static_assert(+kKindZero == +kStateZero && +kKindFull == +kStateFull &&
              +kKindPerPixel == +kStatePerPixel && +kKindConstant == +kStateConstant);

Operand MakeOperand(std::uint8_t kind, PixelPlane<const float> values, long long s,
                    long long constantAt, float& uniform) {
  switch (kind) {
    case kStatePerPixel:
      return {values.At(s), 1};
    case kStateConstant:
      uniform = values[constantAt];
      break;
    case kStateFull:
      uniform = 1.0f;
      break;
    default:
      uniform = 0.0f;
      break;
  }
  return {&uniform, 0};
}

// The line's plane p over the piece starting at s, in state `state`.
Operand LineOperand(const LineBuffer& line, std::size_t p, std::uint8_t state, long long s,
                    float& uniform) {
  return MakeOperand(state, line.Plane(p), s, s, uniform);
}

// The paint's component c over the piece starting at s of the painted run `run`: a
// Constant is written at the run's first pixel.
Operand PaintOperand(const SourcePaintBuffers& source, std::size_t c, std::uint8_t kind,
                     const Run& run, long long s, float& uniform) {
  return MakeOperand(kind, source.Component(c), s, run.start, uniform);
}

}  // namespace

ElementaryObjectIntervalsFiller::ElementaryObjectIntervalsFiller(
    std::shared_ptr<PaintGetter> paint, const QorDoc::ContentObject* contentObject,
    std::shared_ptr<Clip> clip, std::uint32_t index, std::unique_ptr<RunLengthGenerator> generator,
    std::unique_ptr<SoftMaskState> softMask,
    std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke)
    : IntervalsFiller(std::move(clip), index, std::move(generator), std::move(softMask),
                      std::move(transparency), stroke),
      content_object_(contentObject),
      paint_(std::move(paint)) {}

void ElementaryObjectIntervalsFiller::Fill(LineRenderer& renderer, LineBuffer& line,
                                           std::vector<std::size_t>* hits, const RunList& runs) {
  SourcePaintBuffers& source = renderer.Pools().SourceBuffers(line.ColourPlanes());
  paint_->Compute(PaintLine{renderer.GetCurrentLine()}, runs, source, painted_);
  if (painted_.empty()) return;

  const QorBlend::Transparency& t = Transparency();
  const float alpha = IsStroke() ? t.GetStrokeAlpha() : t.GetFillAlpha();
  const std::uint32_t mode = t.GetBlendMode();
  for (const Run& run : painted_) {
    const bool copy = mode == QorBlend::kNormal && paint_->GetPaintKind() == 1 &&
                      SoftMask() == nullptr && alpha > 0.99999f &&
                      static_cast<std::uint8_t>(paint_->HasAbsentComponents()) ==
                          static_cast<std::uint8_t>(mode & 0xFFu);
    if (copy) {
      CopyOpaque(line, source, run);
    } else {
      CompositeBlended(line, source, run, alpha);
    }
  }
  if (hits != nullptr && content_object_ != nullptr) hits->push_back(content_object_->GetID());
}

void ElementaryObjectIntervalsFiller::CopyOpaque(LineBuffer& line, const SourcePaintBuffers& source,
                                                 const Run& run) const {
  const long long x0 = run.start;
  const long long x1 = run.End();
  std::uint8_t* row = line.Row(line.Cover(x0, x1));
  const ComponentKinds& kinds = paint_->Kinds();
  for (std::size_t c = 0; c < line.ColourPlanes(); ++c) {
    row[c] = kinds[c];
    if (kinds[c] == kKindPerPixel) {
      std::copy(source.Component(c).At(x0), source.Component(c).At(x1), line.Plane(c).At(x0));
    } else if (kinds[c] == kKindConstant) {
      line.Plane(c)[x0] = source.Component(c)[x0];
    }
  }
  row[line.OwnAlphaPlane()] = kStateFull;
  row[line.AlphaPlane()] = kStateFull;
  row[line.ShapePlane()] = kStateFull;
}

void ElementaryObjectIntervalsFiller::CompositeBlended(LineBuffer& line,
                                                       const SourcePaintBuffers& source,
                                                       const Run& run, float alpha) const {
  const QorBlend::Transparency& t = Transparency();
  const bool alpha_is_shape = t.GetAlphaIsShape() != 0;
  const ComponentKinds& kinds = paint_->Kinds();
  // The paint's own opacity, where it has one.
  const float one = 1.0f;
  const bool masked = paint_->GetPaintKind() == 2;

  const long long x1 = run.End();
  line.Split(run.start);
  line.Split(x1);
  for (std::size_t i = line.Find(run.start); line.Start(i) < x1; ++i) {
    const long long s = line.Start(i);
    const std::ptrdiff_t n = line.End(i) - s;
    std::uint8_t* row = line.Row(i);
    const Operand pm = masked ? Operand{source.Mask().At(s), 1} : Operand{&one, 0};
    // fs is uniform over the run: 1, or the opacity when it acts as shape; qs is
    // the paint's mask times the opacity when that acts as opacity.
    const float fs = alpha_is_shape ? alpha : 1.0f;
    const float q_scale = alpha_is_shape ? 1.0f : alpha;

    float alpha_uniform;
    const Operand ab =
        LineOperand(line, line.AlphaPlane(), row[line.AlphaPlane()], s, alpha_uniform);
    for (std::size_t c = 0; c < line.ColourPlanes(); ++c) {
      if (kinds[c] == kKindAbsent) continue;
      float backdrop_uniform;
      float paint_uniform;
      const Operand cb = LineOperand(line, c, row[c], s, backdrop_uniform);
      const Operand cs = PaintOperand(source, c, kinds[c], run, s, paint_uniform);
      const BlendKernel kernel = SelectBlendKernel(t.GetBlendMode(), ab.step != 0, cb.step != 0,
                                                   cs.step != 0, pm.step != 0);
      kernel(
          BlendKernelArgs{line.Plane(c).At(s), ab.base, cb.base, cs.base, pm.base, q_scale, fs, n});
      row[c] = kStatePerPixel;
    }

    // The auxiliary planes, after every colour plane has read the old alpha.
    float own_uniform, shape_uniform;
    const Operand own =
        LineOperand(line, line.OwnAlphaPlane(), row[line.OwnAlphaPlane()], s, own_uniform);
    const Operand fb =
        LineOperand(line, line.ShapePlane(), row[line.ShapePlane()], s, shape_uniform);
    // Source alpha and shape of the piece, staged where their planes are written.
    float* own_out = line.Plane(line.OwnAlphaPlane()).At(s);
    float* alpha_out = line.Plane(line.AlphaPlane()).At(s);
    float* shape_out = line.Plane(line.ShapePlane()).At(s);
    for (std::ptrdiff_t k = 0; k < n; ++k) {
      const float qs = q_scale * pm[k];
      const float as = fs * qs;
      const float o = own[k];
      const float a = ab[k];
      const float f = fb[k];
      own_out[k] = o + as - o * as;
      alpha_out[k] = a + as - a * as;
      shape_out[k] = f + fs - f * fs;
    }
    row[line.OwnAlphaPlane()] = kStatePerPixel;
    row[line.AlphaPlane()] = kStatePerPixel;
    row[line.ShapePlane()] = kStatePerPixel;
  }
  line.Coalesce();
}

}  // namespace QorSc
