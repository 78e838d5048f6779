#include "composite/intervals_filler.h"

#include "composite/soft_mask_state.h"

namespace QorSc {

IntervalsFiller::IntervalsFiller(std::shared_ptr<Clip> clip, std::uint32_t index,
                                 std::unique_ptr<RunLengthGenerator> generator,
                                 std::unique_ptr<SoftMaskState> softMask,
                                 std::shared_ptr<const QorBlend::Transparency> transparency,
                                 bool stroke)
    : clip_(std::move(clip)),
      index_(index),
      generator_(std::move(generator)),
      soft_mask_(std::move(softMask)),
      transparency_(std::move(transparency)),
      stroke_(stroke) {}

IntervalsFiller::~IntervalsFiller() = default;

}  // namespace QorSc
