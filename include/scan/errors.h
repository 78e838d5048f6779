// The library's own failure: a transformation that has to be inverted is singular.
// Its message is "Determinant of transformation matrix is zero, can not calculate
// inverse"; it derives from std::invalid_argument. All other failures are the
// standard exceptions (allocation, container limits).
#pragma once

#include "morv/singular_transformation.h"

namespace QorSc {

using SingularTransformationError = Morv::SingularTransformationError;

}  // namespace QorSc
