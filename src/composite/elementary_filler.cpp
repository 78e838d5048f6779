// Compositing of elementary objects. The pixel loops read every operand through a
// base pointer and a step (0 for a value uniform over the piece, 1 per pixel), so
// they carry no branch on storage states or kinds; the blend term is chosen once
// per run. Nothing here allocates.

#include "composite/elementary_filler.h"

#include <algorithm>
#include <cstring>

#include "composite/blend_kernels.h"
#include "composite/element_compositor.h"
#include "composite/line_buffer.h"
#include "composite/operand.h"
#include "composite/soft_mask_state.h"
#include "frame/line_renderer.h"

namespace QorSc {
namespace {

// The paint's component c over the piece starting at s of the painted run `run`: a
// Constant is written at the run's first pixel.
Operand PaintOperand(const SourcePaintBuffers& source, std::size_t c, std::uint8_t kind,
                     const Run& run, long long s, float& uniform) {
  return MakeOperand(kind, source.Component(c), s, run.start, uniform);
}

// The paint's unpremultiplied ink per plane; Absent components stay Absent.
class PaintColours final : public ElementColours {
 public:
  PaintColours(const SourcePaintBuffers& source, const ComponentKinds& kinds, const Run& run)
      : source_(source), kinds_(kinds), run_(run) {}

  Operand Colour(std::size_t c, long long s, std::ptrdiff_t) override {
    if (kinds_[c] == kKindAbsent) return {nullptr, 0};
    return PaintOperand(source_, c, kinds_[c], run_, s, uniform_);
  }

 private:
  const SourcePaintBuffers& source_;
  const ComponentKinds& kinds_;
  const Run& run_;
  float uniform_ = 0.0f;
};

}  // namespace

bool CopiesOpaque(const QorBlend::Transparency& t, bool stroke, int paintKind, bool absent) {
  const float alpha = stroke ? t.GetStrokeAlpha() : t.GetFillAlpha();
  const std::uint32_t mode = t.GetBlendMode();
  return mode == QorBlend::kNormal && t.GetNonSeparableMode() == 0 && paintKind == 1 &&
         alpha > 0.99999f &&
         static_cast<std::uint8_t>(absent) == static_cast<std::uint8_t>(mode & 0xFFu);
}

ElementaryObjectIntervalsFiller::ElementaryObjectIntervalsFiller(
    std::shared_ptr<PaintGetter> paint, const QorDoc::ContentObject* contentObject,
    std::shared_ptr<Clip> clip, std::uint32_t index, std::unique_ptr<RunLengthGenerator> generator,
    std::unique_ptr<SoftMaskState> softMask,
    std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke)
    : IntervalsFiller(std::move(clip), index, std::move(generator), std::move(softMask),
                      std::move(transparency), stroke),
      content_object_(contentObject),
      paint_(std::move(paint)) {
  copies_ =
      SoftMask() == nullptr && CopiesOpaque(Transparency(), IsStroke(), paint_->GetPaintKind(),
                                            paint_->HasAbsentComponents());
  const auto* flat = dynamic_cast<const FlatPaintGetter*>(paint_.get());
  if (copies_ && flat != nullptr) {
    flat_ = &flat->Copy();
    SetFlatCopy(flat_);
  }
  // A copied flat paint paints exactly its runs; without a soft mask, skipping the
  // object on a line leaves nothing behind (paint getters only cache by line).
  SetOcclusion(copies_ && flat != nullptr, SoftMask() == nullptr);
}

void ElementaryObjectIntervalsFiller::Fill(LineRenderer& renderer, LineBuffer& line,
                                           std::vector<std::size_t>* hits, const RunList& runs) {
  if (flat_ != nullptr && flat_->row.size() == line.Planes()) {
    flat_->CopyInto(line, runs);
    if (hits != nullptr && content_object_ != nullptr) hits->push_back(content_object_->GetID());
    return;
  }
  // The mask renders first: its content shares the pooled source buffers.
  SoftMaskState* mask_state = SoftMask();
  const float* mask =
      mask_state != nullptr ? mask_state->Values(renderer.GetCurrentLine()) : nullptr;
  SourcePaintBuffers& source = renderer.Pools().SourceBuffers(line.ColourPlanes());
  paint_->Compute(PaintLine{renderer.GetCurrentLine()}, runs, source, painted_);
  if (painted_.empty()) return;

  const QorBlend::Transparency& t = Transparency();
  const float alpha = IsStroke() ? t.GetStrokeAlpha() : t.GetFillAlpha();
  const std::uint8_t non_separable = t.GetNonSeparableMode();
  // A lone run may take the paint's planes instead of copying them: the paint's other
  // runs would otherwise read from planes already given to the line.
  const bool may_trade = painted_.size() == 1;
  for (const Run& run : painted_) {
    if (copies_) {
      CopyOpaque(line, source, run, may_trade);
    } else if (mask != nullptr || line.IsKnockout() || non_separable != 0) {
      CompositeElementRun(renderer, line, source, run, alpha, mask,
                          mask_state != nullptr ? mask_state->Left() : 0);
    } else {
      CompositeBlended(line, source, run, alpha);
    }
  }
  if (hits != nullptr && content_object_ != nullptr) hits->push_back(content_object_->GetID());
}

void ElementaryObjectIntervalsFiller::CopyOpaque(LineBuffer& line, SourcePaintBuffers& source,
                                                 const Run& run, bool mayTrade) const {
  const long long x0 = run.start;
  const long long x1 = run.End();
  const std::size_t covered = line.Cover(x0, x1);
  std::uint8_t* row = line.Row(covered);
  const ComponentKinds& kinds = paint_->Kinds();
  // Trading storages costs a check of the map's states; below this width copying is
  // as cheap. Either way the plane reads the paint's values over the run.
  constexpr long long kTradeWidth = 64;
  const bool trade = mayTrade && x1 - x0 >= kTradeWidth && source.Left() == line.Left() &&
                     source.Right() == line.Right();
  for (std::size_t c = 0; c < line.ColourPlanes(); ++c) {
    row[c] = kinds[c];
    if (kinds[c] == kKindPerPixel) {
      if (trade && line.OnlyIntervalWithValues(c, covered)) {
        // Nothing else of the plane is read: the paint's whole line becomes it.
        line.TradePlane(c, source.ComponentStorage(c));
      } else {
        std::copy(source.Component(c).At(x0), source.Component(c).At(x1), line.Plane(c).At(x0));
      }
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
    const AuxiliaryPlanes aux(line, row, s);
    for (std::ptrdiff_t k = 0; k < n; ++k)
      aux.Over(k, fs * (q_scale * pm[k]), fs);
    row[line.OwnAlphaPlane()] = kStatePerPixel;
    row[line.AlphaPlane()] = kStatePerPixel;
    row[line.ShapePlane()] = kStatePerPixel;
  }
  line.Coalesce();
}

// The general path, for masked objects, objects of knockout groups and non-separable
// modes: per piece the
// object's shape, opacity and alpha as lines, with the mask value m:
//   alpha-is-shape clear: fs = 1, qs = (q·pm)·m;  set: fs = q·m, qs = pm;  as = fs·qs.
void ElementaryObjectIntervalsFiller::CompositeElementRun(
    const LineRenderer& renderer, LineBuffer& line, const SourcePaintBuffers& source,
    const Run& run, float alpha, const float* mask, long long maskLeft) const {
  ConversionPools& pools = renderer.Pools();
  const bool alpha_is_shape = Transparency().GetAlphaIsShape() != 0;
  const bool masked = paint_->GetPaintKind() == 2;
  const float one = 1.0f;
  const long long x1 = run.End();
  line.Split(run.start);
  line.Split(x1);
  PaintColours colours(source, paint_->Kinds(), run);
  for (std::size_t i = line.Find(run.start); line.Start(i) < x1; ++i) {
    const long long s = line.Start(i);
    const std::ptrdiff_t n = line.End(i) - s;
    const Operand pm = masked ? Operand{source.Mask().At(s), 1} : Operand{&one, 0};
    const Operand m = mask != nullptr ? Operand{mask + (s - maskLeft), 1} : Operand{&one, 0};
    ScratchLine shape(pools), opacity(pools), alphas(pools);
    float* fs = shape.Data();
    float* qs = opacity.Data();
    float* as = alphas.Data();
    if (alpha_is_shape) {
      for (std::ptrdiff_t k = 0; k < n; ++k) {
        fs[k] = alpha * m[k];
        qs[k] = pm[k];
      }
    } else {
      for (std::ptrdiff_t k = 0; k < n; ++k) {
        fs[k] = 1.0f;
        qs[k] = (alpha * pm[k]) * m[k];
      }
    }
    for (std::ptrdiff_t k = 0; k < n; ++k)
      as[k] = fs[k] * qs[k];
    CompositeElement(line, i, ElementPiece{fs, qs, as}, colours, Transparency().GetBlendMode(),
                     pools, Transparency().GetNonSeparableMode(), &renderer.GetCmykIndexes());
  }
  line.Coalesce();
}

}  // namespace QorSc
