#include "scan/resampler.h"

#include <stdexcept>
#include <string>

#include "resampler_state.h"

namespace QorSc {

Resampler::Resampler(const ResampleEnvironment& environment,
                     const QorMath::Rectangle<long long>& finalBox, std::size_t components,
                     unsigned char* output, std::size_t stride) {
  if (finalBox.right < finalBox.left) {
    throw std::invalid_argument("Resampler: the final box has a negative width (" +
                                std::to_string(finalBox.left) + " to " +
                                std::to_string(finalBox.right) + ")");
  }
  const State::AddLineFunction add_line =
      SelectReduction(environment.Factor(), environment.NeedsShift(), components);
  if (add_line == nullptr) {
    throw std::invalid_argument("Resampler: resample mode " + std::to_string(environment.Mode()) +
                                " has no factor");
  }
  const auto width = static_cast<std::size_t>(finalBox.right - finalBox.left);
  state_ = std::make_unique<State>(State{
      .environment = &environment,
      .components = components,
      .width = width,
      .stride = stride,
      .output = output,
      .sums = std::vector<std::uint32_t>(width * components, 0),
      .line = environment.GetInitialFromFinalPixelBox(finalBox).top,
      .primed = false,
      .add_line = add_line,
  });
}

Resampler::Resampler(Resampler&&) noexcept = default;
Resampler& Resampler::operator=(Resampler&&) noexcept = default;
Resampler::~Resampler() = default;

void Resampler::AddLine(const unsigned char* line) {
  state_->add_line(*state_, line);
}

}  // namespace QorSc
