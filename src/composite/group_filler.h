// GroupIntervalsFiller: composites a transparency group into the line of the level
// that encloses it.
//
// Per line the group's children are composited, with their own fillers, into a
// group line over the group's box: fresh planes (colour planes Absent) for an
// isolated group, a copy of the backdrop for a non-isolated one (the enclosing line,
// or on a knockout level that level's initial backdrop), own alpha and shape Zero.
// The group line is then one element with the group's mode, opacity q and soft mask
// m, over the group's (clipped) runs:
//   as = (αg·q)·m,  fs = fg (alpha-is-shape: (fg·q)·m),  qs = as/fs (knockout levels)
//   cs = Cg/αg for an isolated group; for a non-isolated one the backdrop is taken
//   out again, cs = cn + (cn − c0)·(α0/αg − α0) on unpremultiplied values,
// with αg the group's own alpha and fg its shape, clamped to [0, 1]. Intervals the
// children left without shape are skipped; an opaque Normal group over intervals of
// full own alpha and shape is copied; colour planes still Absent leave the
// enclosing plane alone, so overprint carries through groups. A non-isolated,
// non-knockout Normal group of opacity above 0.99999, without mask or alpha-is-shape
// and unclipped draws its children straight into the enclosing line: the same
// result by definition, and no group line.
//
// Per line nothing allocates: lines, scratch lines and hit lists come from the pools.
#pragma once

#include <memory>

#include "composite/intervals_filler.h"
#include "qormath/rectangle.h"

namespace QorSc {

class GroupIntervalsFiller final : public IntervalsFiller {
 public:
  GroupIntervalsFiller(bool isolated, bool knockout, const QorMath::Rectangle<long long>& box,
                       std::unique_ptr<LineRenderer> children, std::shared_ptr<Clip> clip,
                       std::uint32_t index, std::unique_ptr<RunLengthGenerator> generator,
                       std::unique_ptr<SoftMaskState> softMask,
                       std::shared_ptr<const QorBlend::Transparency> transparency);
  ~GroupIntervalsFiller() override;

  void Fill(LineRenderer& renderer, LineBuffer& line, std::vector<std::size_t>* hits,
            const RunList& runs) override;

 private:
  bool DrawsThrough(const LineBuffer& line) const;
  // Composites the group line back; true when some interval had shape.
  bool CompositeBack(LineRenderer& renderer, LineBuffer& line, const LineBuffer& group,
                     const LineBuffer* backdrop, const RunList& runs, const float* mask);

  bool isolated_;
  bool knockout_;
  QorMath::Rectangle<long long> box_;
  std::unique_ptr<LineRenderer> children_;
};

}  // namespace QorSc
