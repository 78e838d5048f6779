#include "scan/options.h"

#include <utility>

#include "qorcolor/cmyk.h"

namespace QorSc {
namespace {

Options::SeparationList ProcessOrGray(bool cmyk) {
  if (cmyk) return QorColor::GetCMYKColorSpace();
  Options::SeparationList gray;
  gray.Add("Black", 0.0f);
  return gray;
}

}  // namespace

Options::Options(bool cmyk, const SeparationInfo& separations)
    : blending_separations_(ProcessOrGray(cmyk)),
      separation_info_(separations),
      output_mode_(cmyk ? kProcess : kGray) {}

Options::Options(SeparationList blendingSeparations, const SeparationInfo& separations)
    : blending_separations_(std::move(blendingSeparations)),
      separation_info_(separations),
      output_mode_(kSeparations) {}

Options::Options(const Options& other) = default;
Options::Options(Options&& other) noexcept = default;
Options::~Options() = default;

void Options::CopyScalars(const Options& other) {
  output_mode_ = other.output_mode_;
  halftone_mode_ = other.halftone_mode_;
  noise_for_shadings_ = other.noise_for_shadings_;
  minimal_stroke_width_ = other.minimal_stroke_width_;
}

Options& Options::operator=(const Options& other) {
  if (this != &other) {
    blending_separations_ = other.blending_separations_;
    separation_info_ = other.separation_info_;
  }
  CopyScalars(other);
  return *this;
}

Options& Options::operator=(Options&& other) noexcept {
  if (this != &other) {
    blending_separations_ = std::move(other.blending_separations_);
    separation_info_ = std::move(other.separation_info_);
  }
  CopyScalars(other);
  return *this;
}

bool operator==(const Options& a, const Options& b) {
  return a.blending_separations_ == b.blending_separations_ &&
         a.separation_info_ == b.separation_info_ && a.output_mode_ == b.output_mode_ &&
         a.halftone_mode_ == b.halftone_mode_ && a.noise_for_shadings_ == b.noise_for_shadings_ &&
         a.minimal_stroke_width_ == b.minimal_stroke_width_;
}

}  // namespace QorSc
