// IntervalsFiller: composites one collected object into the line being built.
//
// One per active object, owned by the line driver's active list for as long as the
// scan line crosses the object. It owns the object's run-length generator and shares
// its clip scope (null: unclipped) and its transparency. Per line the driver
// advances the generator, intersects its runs with the clip's, and calls Fill with
// the object's runs when there are any.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qorblend/transparency.h"
#include "raster/run.h"
#include "raster/run_length_generator.h"

namespace QorSc {

class Clip;
struct OpaqueFlatCopy;
class LineBuffer;
class LineRenderer;
class SoftMaskState;

class IntervalsFiller {
 public:
  IntervalsFiller(std::shared_ptr<Clip> clip, std::uint32_t index,
                  std::unique_ptr<RunLengthGenerator> generator,
                  std::unique_ptr<SoftMaskState> softMask,
                  std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke);
  virtual ~IntervalsFiller();
  IntervalsFiller(const IntervalsFiller&) = delete;
  IntervalsFiller& operator=(const IntervalsFiller&) = delete;

  // Composites the object over `runs` (sorted, non-empty) into `line`; appends the
  // object's identifier to `hits` (when given) if it painted anything.
  virtual void Fill(LineRenderer& renderer, LineBuffer& line, std::vector<std::size_t>* hits,
                    const RunList& runs) = 0;

  // Occlusion on one line: an object that hides what it covers replaces every plane
  // over its runs whatever lay there (an opaque flat copy), so an earlier object whose
  // runs all lie under such later objects, and whose drawing changes nothing else
  // (may be hidden), need not be drawn on that line: the line reads the same.
  bool HidesWhatItCovers() const { return hides_; }
  bool MayBeHidden() const { return may_be_hidden_; }
  // For an object that hides what it covers with a flat paint, what it copies over
  // each run (the driver may copy runs of consecutive such objects together); null
  // otherwise.
  const OpaqueFlatCopy* FlatCopy() const { return flat_copy_; }
  // The object's runs after its clip, kept for the line being drawn.
  RunList& ClippedRuns() { return clipped_runs_; }

  std::uint32_t GetIndex() const { return index_; }
  RunLengthGenerator& Generator() { return *generator_; }
  const std::shared_ptr<Clip>& GetClip() const { return clip_; }

 protected:
  const QorBlend::Transparency& Transparency() const { return *transparency_; }
  bool IsStroke() const { return stroke_; }
  SoftMaskState* SoftMask() const { return soft_mask_.get(); }
  void SetOcclusion(bool hides, bool mayBeHidden) {
    hides_ = hides;
    may_be_hidden_ = mayBeHidden;
  }
  void SetFlatCopy(const OpaqueFlatCopy* copy) { flat_copy_ = copy; }

 private:
  std::shared_ptr<Clip> clip_;
  std::uint32_t index_;
  std::unique_ptr<RunLengthGenerator> generator_;
  std::unique_ptr<SoftMaskState> soft_mask_;
  std::shared_ptr<const QorBlend::Transparency> transparency_;
  bool stroke_;
  bool hides_ = false;
  bool may_be_hidden_ = false;
  const OpaqueFlatCopy* flat_copy_ = nullptr;
  RunList clipped_runs_;
};

}  // namespace QorSc
