// SoftMaskState: the per-object state of a soft mask while its object is active.
// Objects without a soft mask carry none; masks themselves are rendered by the
// soft-mask filler that derives from this.
#pragma once

namespace QorSc {

class SoftMaskState {
 public:
  virtual ~SoftMaskState() = default;
};

}  // namespace QorSc
