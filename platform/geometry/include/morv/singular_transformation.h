// The error raised when a transformation that has to be inverted is singular.
//
// It is the one failure of its own that the rendering library reports, so it lives
// here, where inversion happens, and the library re-exports it. The message is fixed
// text that callers match on.
#pragma once

#include <stdexcept>

namespace Morv {

class SingularTransformationError : public std::invalid_argument {
 public:
  static constexpr const char* kMessage =
      "Determinant of transformation matrix is zero, can not calculate inverse";

  SingularTransformationError();
  ~SingularTransformationError() override;
};

}  // namespace Morv
