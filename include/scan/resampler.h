// QorSc::Resampler: reduces 8-bit lines converted on an initial grid to the final
// grid of a ResampleEnvironment, writing each final line into the caller's buffer as
// soon as the initial lines it needs have arrived.
//
// Lines come in from the top of the initial box of the final box, one AddLine call
// each, components interleaved, width × factor (+1 with shift) pixels wide. Without
// shift each final pixel is the rounded mean of its f × f initial pixels; with shift
// a tent filter weighs the f + 1 samples per axis 1, 2, …, 2, 1, and the edge line of
// a band also starts the next band. Bands are aligned to multiples of the factor in
// absolute initial y, also for negative lines.
#pragma once

#include <cstddef>
#include <memory>

#include "qormath/rectangle.h"
#include "scan/export.h"
#include "scan/resample_environment.h"

namespace QorSc {

class QORSC_API Resampler {
 public:
  // `environment` must outlive the resampler. `output` receives the first final line;
  // each line written advances it by `stride` bytes. Throws std::invalid_argument for
  // a final box of negative width or an environment without a factor.
  Resampler(const ResampleEnvironment& environment, const QorMath::Rectangle<long long>& finalBox,
            std::size_t components, unsigned char* output, std::size_t stride);
  Resampler(Resampler&&) noexcept;
  Resampler& operator=(Resampler&&) noexcept;
  ~Resampler();

  // Takes the next initial line; writes a final line when a band is complete.
  void AddLine(const unsigned char* line);

  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace QorSc
