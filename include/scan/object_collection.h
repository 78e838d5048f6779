// The hand-over between collection and rasterisation.
//
// Collection walks document content and appends one ObjectInfo record per drawable
// object to an ObjectInfoContainer, in painting order (first painted first). An
// ObjectCollection bundles that container with the environment, options and pixel
// box it was collected for; a ScanConverter consumes it. The same container type
// holds the members of a transparency group, with that group's two flags.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "qormath/rectangle.h"
#include "scan/environment.h"
#include "scan/export.h"
#include "scan/options.h"

namespace QorSc {

class IntervalsFiller;
class LineRenderer;
struct OpaqueFlatCopy;
struct FlatShape;

// One collected object: where it lies in target pixels and how it becomes its
// filler when the scan line reaches the top of its pixel box. The converter numbers
// the records of a container in painting order when it takes them; that index
// orders the active objects of a line.
class QORSC_API ObjectInfo {
 public:
  virtual ~ObjectInfo();
  ObjectInfo(const ObjectInfo&) = delete;
  ObjectInfo& operator=(const ObjectInfo&) = delete;

  // Builds the object's filler (with its generator, paint and transparency) for
  // the renderer of its level.
  virtual std::unique_ptr<IntervalsFiller> CreateFiller(LineRenderer& renderer) = 0;
  // For an object that is its whole pixel box in one opaque flat colour and nothing
  // else (no shape, clip, soft mask, halftone label or blending): writes what its
  // paint copies into `copy`, which the renderer lays over the box line by line
  // without a filler, and returns true. False for every other object (the
  // default), which CreateFiller then activates.
  virtual bool FlatBoxCopy(LineRenderer& renderer, OpaqueFlatCopy& copy);
  // For an object of any shape, clipped or not, in one opaque flat colour with
  // nothing else to draw (no soft mask, halftone label or blending): writes what its
  // paint copies into `shape`, builds its run-length generator there (reusing the
  // path generator the shape keeps) and names its clip, and returns true; the
  // renderer then draws the copy over the generator's runs without a filler. False
  // for every other object (the default); the shape's copy may have been written.
  virtual bool FlatShapeCopy(LineRenderer& renderer, FlatShape& shape);
  // Asks the memory system for what CreateFiller will read first, a few records
  // ahead of activation: records are activated by first line, far from the order
  // in which they and their document objects were made.
  virtual void Prefetch() const {}

  // Right and bottom exclusive.
  QorMath::Rectangle<long long> GetPixelBox() const { return {left_, top_, right_, bottom_}; }
  std::uint32_t GetIndex() const { return index_; }
  void SetIndex(std::uint32_t index) { index_ = index; }

 protected:
  // Throws std::out_of_range for a box that is not empty and reaches beyond 32-bit
  // coordinates; an empty one is kept as the empty box at the origin.
  explicit ObjectInfo(const QorMath::Rectangle<long long>& pixelBox) {
    if (Fits(pixelBox.left) && Fits(pixelBox.top) && Fits(pixelBox.right) &&
        Fits(pixelBox.bottom)) {
      left_ = static_cast<std::int32_t>(pixelBox.left);
      top_ = static_cast<std::int32_t>(pixelBox.top);
      right_ = static_cast<std::int32_t>(pixelBox.right);
      bottom_ = static_cast<std::int32_t>(pixelBox.bottom);
    } else {
      FarBox(pixelBox);
    }
  }

 private:
  static bool Fits(long long v) { return v >= INT32_MIN && v <= INT32_MAX; }
  // Keeps an empty box beyond the 32-bit range as the empty box; throws for any other.
  static void FarBox(const QorMath::Rectangle<long long>& pixelBox);

  // 32-bit sides: a page holds one record per object until its first line, and no
  // line of a real page is two billion pixels long or that far down.
  std::int32_t left_ = 0;
  std::int32_t top_ = 0;
  std::int32_t right_ = 0;
  std::int32_t bottom_ = 0;
  std::uint32_t index_ = 0;
};

struct QORSC_API ObjectInfoContainer {
  // The page level: isolated, not knockout.
  ObjectInfoContainer() = default;
  ObjectInfoContainer(std::uint8_t isolatedFlag, std::uint8_t knockoutFlag)
      : isolated(isolatedFlag), knockout(knockoutFlag) {}

  void Append(std::unique_ptr<ObjectInfo> record) { records.push_back(std::move(record)); }

  std::vector<std::unique_ptr<ObjectInfo>> records;
  // Transparency-group attributes of the level the container represents.
  std::uint8_t isolated = 1;
  std::uint8_t knockout = 0;
};

struct QORSC_API ObjectCollection {
  ObjectCollection(const Environment& env, const Options& opts,
                   const QorMath::Rectangle<long long>& box,
                   std::unique_ptr<ObjectInfoContainer> container);
  // Takes the container and leaves `other` without one; the options are copied.
  ObjectCollection(ObjectCollection&& other);
  ObjectCollection& operator=(ObjectCollection&& other);
  ObjectCollection(const ObjectCollection&) = delete;
  ObjectCollection& operator=(const ObjectCollection&) = delete;
  // Destroys the container with all its records first.
  ~ObjectCollection();

  Environment environment;
  Options options;
  QorMath::Rectangle<long long> pixelBox;
  std::unique_ptr<ObjectInfoContainer> objects;
};

}  // namespace QorSc
