// Group compositing: children into a pooled group line, then the group line back as
// one element. Pixel loops here form the element's operands; the compositing itself
// runs in the kernels.

#include "composite/group_filler.h"

#include <algorithm>

#include "composite/element_compositor.h"
#include "composite/soft_mask_state.h"
#include "frame/line_renderer.h"
#include "raster/clip.h"

namespace QorSc {
namespace {

float Clamp01(float v) {
  if (!(v >= 0.0f)) return 0.0f;
  return v > 1.0f ? 1.0f : v;
}

// Plane p of the group line over a piece starting at s inside the group interval
// that starts at `start` (where its Constant values are stored).
Operand GroupOperand(const LineBuffer& group, std::size_t p, std::uint8_t state, long long s,
                     long long start, float& uniform) {
  return MakeOperand(state, group.Plane(p), s, start, uniform);
}

// The group's unpremultiplied ink per plane over one piece of the enclosing line.
class GroupColours final : public ElementColours {
 public:
  GroupColours(const LineBuffer& group, std::size_t interval, bool isolated,
               const LineBuffer* backdrop, ConversionPools& pools, long long s, long long e)
      : group_(group),
        row_(group.Row(interval)),
        start_(group.Start(interval)),
        isolated_(isolated),
        backdrop_(backdrop),
        out_(pools),
        a0_(pools),
        c0_(pools) {
    if (!isolated_) backdrop_->ResolveInto(backdrop_->AlphaPlane(), s, e, a0_.Data());
  }

  Operand Colour(std::size_t c, long long s, std::ptrdiff_t n) override {
    if (row_[c] == kStateAbsent) return {nullptr, 0};
    float own_uniform, colour_uniform;
    const Operand ag = GroupOperand(group_, group_.OwnAlphaPlane(), row_[group_.OwnAlphaPlane()], s,
                                    start_, own_uniform);
    const Operand cg = GroupOperand(group_, c, row_[c], s, start_, colour_uniform);
    float* out = out_.Data();
    if (isolated_) {
      for (std::ptrdiff_t k = 0; k < n; ++k) {
        const float a = ag[k];
        out[k] = a >= 0.00001f ? Clamp01(cg[k] / a) : 0.0f;
      }
      return {out, 1};
    }
    float alpha_uniform;
    const Operand an = GroupOperand(group_, group_.AlphaPlane(), row_[group_.AlphaPlane()], s,
                                    start_, alpha_uniform);
    backdrop_->ResolveInto(c, s, s + n, c0_.Data());
    const float* a0 = a0_.Data();
    const float* c0 = c0_.Data();
    for (std::ptrdiff_t k = 0; k < n; ++k) {
      const float alpha_n = an[k];
      const float alpha_0 = a0[k];
      const float alpha_g = ag[k];
      const float cn = alpha_n >= 0.00001f ? cg[k] / alpha_n : 0.0f;
      const float b = alpha_0 >= 0.00001f ? c0[k] / alpha_0 : 0.0f;
      const float r = alpha_g >= 0.00001f ? alpha_0 / alpha_g - alpha_0 : 0.0f;
      out[k] = Clamp01(cn + (cn - b) * r);
    }
    return {out, 1};
  }

 private:
  const LineBuffer& group_;
  const std::uint8_t* row_;
  long long start_;
  bool isolated_;
  const LineBuffer* backdrop_;
  ScratchLine out_;
  ScratchLine a0_;
  ScratchLine c0_;
};

bool AnyAbsent(const std::uint8_t* row, std::size_t colourPlanes) {
  return std::find(row, row + colourPlanes, kStateAbsent) != row + colourPlanes;
}

}  // namespace

GroupIntervalsFiller::GroupIntervalsFiller(
    bool isolated, bool knockout, const QorMath::Rectangle<long long>& box,
    std::unique_ptr<LineRenderer> children, std::shared_ptr<Clip> clip, std::uint32_t index,
    std::unique_ptr<RunLengthGenerator> generator, std::unique_ptr<SoftMaskState> softMask,
    std::shared_ptr<const QorBlend::Transparency> transparency)
    : IntervalsFiller(std::move(clip), index, std::move(generator), std::move(softMask),
                      std::move(transparency), false),
      isolated_(isolated),
      knockout_(knockout),
      box_(box),
      children_(std::move(children)) {}

GroupIntervalsFiller::~GroupIntervalsFiller() = default;

bool GroupIntervalsFiller::DrawsThrough(const LineBuffer& line) const {
  const QorBlend::Transparency& t = Transparency();
  const Clip* clip = GetClip().get();
  return !isolated_ && !knockout_ && !line.IsKnockout() && t.GetBlendMode() == QorBlend::kNormal &&
         t.GetNonSeparableMode() == QorBlend::kSeparable && t.GetFillAlpha() > 0.99999f &&
         SoftMask() == nullptr && t.GetAlphaIsShape() == 0 &&
         (clip == nullptr || !clip->HasElements());
}

void GroupIntervalsFiller::Fill(LineRenderer& renderer, LineBuffer& line,
                                std::vector<std::size_t>* hits, const RunList& runs) {
  if (box_.left >= box_.right || box_.top >= box_.bottom) return;
  const long long y = renderer.GetCurrentLine();
  if (DrawsThrough(line)) {
    children_->RenderLine(y, line, hits);
    return;
  }
  ConversionPools& pools = renderer.Pools();
  // The backdrop a non-isolated group starts from; none means an empty one, which
  // is an isolated group's start as well.
  const LineBuffer* backdrop = nullptr;
  if (!isolated_) backdrop = line.IsKnockout() ? line.InitialBackdrop() : &line;
  const bool fresh = backdrop == nullptr;

  PooledLine group(pools, line.Planes());
  if (fresh) {
    group->MarkColoursAbsent();
  } else {
    // The backdrop's colour and alpha, but nothing of it is the group's own yet.
    group->CopyFrom(*backdrop, box_.left, box_.right);
    for (std::size_t i = group->Find(std::max(box_.left, group->Left()));
         i < group->IntervalCount() && group->Start(i) < box_.right; ++i) {
      group->Row(i)[group->OwnAlphaPlane()] = kStateZero;
      group->Row(i)[group->ShapePlane()] = kStateZero;
    }
  }
  group->SetKnockout(knockout_, knockout_ ? backdrop : nullptr);

  std::vector<std::size_t> child_hits;
  if (hits != nullptr) child_hits = pools.AcquireIdentifiers();
  children_->RenderLine(y, *group, hits != nullptr ? &child_hits : nullptr);
  const float* mask = SoftMask() != nullptr ? SoftMask()->Values(y) : nullptr;
  group->Coalesce();
  const bool painted = CompositeBack(renderer, line, *group, backdrop, runs, mask);
  if (hits != nullptr) {
    if (painted) hits->insert(hits->end(), child_hits.begin(), child_hits.end());
    pools.ReleaseIdentifiers(std::move(child_hits));
  }
}

bool GroupIntervalsFiller::CompositeBack(LineRenderer& renderer, LineBuffer& line,
                                         const LineBuffer& group, const LineBuffer* backdrop,
                                         const RunList& runs, const float* mask) {
  const QorBlend::Transparency& t = Transparency();
  const float q = t.GetFillAlpha();
  const std::uint32_t mode = t.GetBlendMode();
  const bool alpha_is_shape = t.GetAlphaIsShape() != 0;
  const std::uint8_t non_separable = t.GetNonSeparableMode();
  const bool copyable =
      mode == QorBlend::kNormal && non_separable == 0 && mask == nullptr && q > 0.99999f;
  const std::size_t colours = line.ColourPlanes();
  ConversionPools& pools = renderer.Pools();
  bool painted = false;
  for (const Run& run : runs) {
    const long long rs = std::max(run.start, box_.left);
    const long long re = std::min(run.End(), box_.right);
    for (std::size_t gi = rs < re ? group.Find(rs) : group.IntervalCount();
         gi < group.IntervalCount() && group.Start(gi) < re; ++gi) {
      const std::uint8_t* grow = group.Row(gi);
      if (grow[group.ShapePlane()] == kStateZero) continue;
      painted = true;
      const long long ps = std::max(group.Start(gi), rs);
      const long long pe = std::min(group.End(gi), re);
      if (copyable && grow[group.OwnAlphaPlane()] == kStateFull &&
          grow[group.ShapePlane()] == kStateFull && !AnyAbsent(grow, colours)) {
        std::uint8_t* row = line.Row(line.Cover(ps, pe));
        for (std::size_t c = 0; c < colours; ++c) {
          row[c] = grow[c];
          if (grow[c] == kStatePerPixel) {
            std::copy(group.Plane(c).At(ps), group.Plane(c).At(pe), line.Plane(c).At(ps));
          } else if (grow[c] == kStateConstant) {
            line.Plane(c)[ps] = group.Plane(c)[group.Start(gi)];
          }
        }
        row[line.OwnAlphaPlane()] = kStateFull;
        row[line.AlphaPlane()] = kStateFull;
        row[line.ShapePlane()] = kStateFull;
        continue;
      }
      line.Split(ps);
      line.Split(pe);
      for (std::size_t i = line.Find(ps); i < line.IntervalCount() && line.Start(i) < pe; ++i) {
        const long long s = line.Start(i);
        const long long e = line.End(i);
        const std::ptrdiff_t n = e - s;
        ScratchLine shape(pools), opacity(pools), alpha(pools);
        float own_uniform, shape_uniform;
        const long long start = group.Start(gi);
        const Operand ag = GroupOperand(group, group.OwnAlphaPlane(), grow[group.OwnAlphaPlane()],
                                        s, start, own_uniform);
        const Operand fg = GroupOperand(group, group.ShapePlane(), grow[group.ShapePlane()], s,
                                        start, shape_uniform);
        const float one = 1.0f;
        const Operand m = mask != nullptr ? Operand{mask + (s - box_.left), 1} : Operand{&one, 0};
        float* fs = shape.Data();
        float* qs = opacity.Data();
        float* as = alpha.Data();
        for (std::ptrdiff_t k = 0; k < n; ++k)
          as[k] = (ag[k] * q) * m[k];
        if (alpha_is_shape) {
          for (std::ptrdiff_t k = 0; k < n; ++k)
            fs[k] = (fg[k] * q) * m[k];
        } else {
          for (std::ptrdiff_t k = 0; k < n; ++k)
            fs[k] = fg[k];
        }
        if (line.IsKnockout()) {
          for (std::ptrdiff_t k = 0; k < n; ++k)
            qs[k] = fs[k] >= 0.00001f ? as[k] / fs[k] : 0.0f;
        }
        GroupColours colours_of(group, gi, backdrop == nullptr, backdrop, pools, s, e);
        CompositeElement(line, i, ElementPiece{fs, qs, as}, colours_of, mode, pools, non_separable,
                         &renderer.GetCmykIndexes());
      }
    }
  }
  line.Coalesce();
  return painted;
}

}  // namespace QorSc
