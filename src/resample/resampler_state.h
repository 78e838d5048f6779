// The state of a Resampler and the signature of its line reductions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "scan/resampler.h"

namespace QorSc {

struct Resampler::State {
  using AddLineFunction = void (*)(State&, const unsigned char*);

  const ResampleEnvironment* environment;
  std::size_t components;
  std::size_t width;                // final pixels
  std::size_t stride;               // bytes from one output line to the next
  unsigned char* output;            // the next output line
  std::vector<std::uint32_t> sums;  // width × components accumulators
  long long line;                   // absolute y of the next initial line
  bool primed = false;              // tent filter: the first edge line has been seen
  AddLineFunction add_line;         // the reduction for this factor, shift and count
};

// The reduction for the environment's factor and shift and the component count:
// specialised for 1 and 3 components, generic otherwise.
Resampler::State::AddLineFunction SelectReduction(std::uint64_t factor, bool shift,
                                                  std::size_t components);

}  // namespace QorSc
