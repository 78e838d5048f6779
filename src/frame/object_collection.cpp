#include "scan/object_collection.h"

#include <stdexcept>
#include <utility>

namespace QorSc {

void ObjectInfo::FarBox(const QorMath::Rectangle<long long>& pixelBox) {
  // Only a caller's own pixel box can be that far out: collection culls against it.
  if (!pixelBox.IsEmpty()) {
    throw std::out_of_range("qorsc: pixel boxes are limited to 32-bit coordinates");
  }
}

ObjectInfo::~ObjectInfo() = default;

bool ObjectInfo::FlatBoxCopy(LineRenderer& /*renderer*/, OpaqueFlatCopy& /*copy*/) {
  return false;
}

bool ObjectInfo::FlatShapeCopy(LineRenderer& /*renderer*/, FlatShape& /*shape*/) {
  return false;
}

ObjectCollection::ObjectCollection(const Environment& env, const Options& opts,
                                   const QorMath::Rectangle<long long>& box,
                                   std::unique_ptr<ObjectInfoContainer> container)
    : environment(env), options(opts), pixelBox(box), objects(std::move(container)) {}

ObjectCollection::ObjectCollection(ObjectCollection&& other)
    : environment(other.environment),
      options(other.options),
      pixelBox(other.pixelBox),
      objects(std::move(other.objects)) {}

ObjectCollection& ObjectCollection::operator=(ObjectCollection&& other) {
  if (this != &other) {
    objects.reset();
    environment = other.environment;
    options = other.options;
    pixelBox = other.pixelBox;
    objects = std::move(other.objects);
  }
  return *this;
}

ObjectCollection::~ObjectCollection() {
  objects.reset();
}

}  // namespace QorSc
