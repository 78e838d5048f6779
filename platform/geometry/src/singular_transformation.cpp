#include "morv/singular_transformation.h"

namespace Morv {

SingularTransformationError::SingularTransformationError() : std::invalid_argument(kMessage) {}

// Out of line so that the class has one home for its type information.
SingularTransformationError::~SingularTransformationError() = default;

}  // namespace Morv
