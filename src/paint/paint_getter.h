// PaintGetter: the colour of one object over the runs it covers on a line.
//
// Every drawable object carries one. Per line the compositor hands it the object's
// runs; the getter writes the component values (ink tints in [0, 1], not
// premultiplied) into the source paint buffers and reports the runs it painted.
// What it writes is described once, at construction, by one kind per component:
//
//   Zero (0)      the value is 0 everywhere; nothing is written
//   Full (1)      the value is 1 everywhere; nothing is written
//   PerPixel (2)  one value per pixel of every painted run
//   Constant (3)  one value per painted run, at the run's first pixel
//   Absent (4)    the paint does not paint this component; the line keeps it
//
// The numbers are shared with the line's storage states, so a kind can be stored
// into a line unchanged. GetPaintKind() is 1 for paints that are opaque wherever
// they paint and 2 for paints that also write a per-pixel opacity into the mask
// line. Getters are immutable after construction (apart from caches of derived
// getters) and shared by std::shared_ptr; Compute never allocates.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "paint/pixel_plane.h"
#include "raster/run.h"

namespace QorSc {

enum ComponentKind : std::uint8_t {
  kKindZero = 0,
  kKindFull = 1,
  kKindPerPixel = 2,
  kKindConstant = 3,
  kKindAbsent = 4,
};

using ComponentKinds = boost::container::small_vector<std::uint8_t, 8>;

// One float line per component and a mask line, each spanning the pixel box and
// addressed by absolute x. Owned by the compositor, lent to the getters. Each line is
// a storage of its own, so that the opaque copy can trade a component's storage with
// a line plane's instead of copying it (getters write before they read).
class SourcePaintBuffers {
 public:
  SourcePaintBuffers(std::size_t components, long long left, long long right)
      : components_(components),
        left_(left),
        width_(static_cast<std::size_t>(right > left ? right - left : 0)),
        storage_(components + 1, std::vector<float>(width_, 0.0f)) {}

  std::size_t ComponentCount() const { return components_; }
  long long Left() const { return left_; }
  long long Right() const { return left_ + static_cast<long long>(width_); }

  // Values of component i, indexed by absolute x in [Left(), Right()).
  PixelPlane<float> Component(std::size_t i) { return {storage_[i].data(), left_}; }
  PixelPlane<const float> Component(std::size_t i) const { return {storage_[i].data(), left_}; }
  // The paint's own per-pixel opacity, for getters of paint kind 2.
  PixelPlane<float> Mask() { return Component(components_); }
  PixelPlane<const float> Mask() const { return Component(components_); }
  // Component i's storage (Right() − Left() values), for trading with a line plane.
  std::vector<float>& ComponentStorage(std::size_t i) { return storage_[i]; }

 private:
  std::size_t components_;
  long long left_;
  std::size_t width_;
  std::vector<std::vector<float>> storage_;
};

// What a getter may read of the line being built.
struct PaintLine {
  long long y;
};

class PaintGetter {
 public:
  PaintGetter(ComponentKinds kinds, bool absentComponents)
      : kinds_(std::move(kinds)), absent_components_(absentComponents) {}
  virtual ~PaintGetter() = default;
  PaintGetter(const PaintGetter&) = delete;
  PaintGetter& operator=(const PaintGetter&) = delete;

  // Writes the values of `runs` into `buffers` and sets `painted` to the runs it
  // wrote (a getter whose paint covers everything copies `runs`).
  virtual void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
                       RunList& painted) = 0;
  // 1: opaque wherever it paints; 2: also writes a per-pixel opacity into the mask.
  virtual int GetPaintKind() const = 0;

  const ComponentKinds& Kinds() const { return kinds_; }
  bool HasAbsentComponents() const { return absent_components_; }

 protected:
  // For getters that learn while being built that a kind can be cheaper (PerPixel
  // becoming Constant); never called once the getter is in use.
  void SetKinds(ComponentKinds kinds) { kinds_ = std::move(kinds); }

 private:
  ComponentKinds kinds_;
  bool absent_components_;
};

}  // namespace QorSc
