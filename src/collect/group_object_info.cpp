#include "collect/group_object_info.h"

#include <stdexcept>

#include "composite/intervals_filler.h"

namespace QorSc {

std::unique_ptr<IntervalsFiller> GroupObjectInfo::CreateFiller(LineRenderer&) {
  throw std::logic_error("qorsc: transparency groups cannot be rendered yet");
}

std::unique_ptr<IntervalsFiller> ImageObjectInfo::CreateFiller(LineRenderer&) {
  throw std::logic_error("qorsc: images cannot be rendered yet");
}

}  // namespace QorSc
