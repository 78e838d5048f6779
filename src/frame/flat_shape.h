// FlatShape: what the line renderer draws an opaque flat object with when it makes
// no filler for it.
//
// An object in one opaque flat colour with nothing else to draw (no soft mask,
// halftone label or blending) replaces every plane over its runs with its paint's
// copy, so the renderer needs only its runs: its run-length generator, its clip and
// the copy, kept here. The renderer owns these and hands each to the next such
// object once the last has finished (it derives from the copy so that the active
// entry's copy names it): a small path generator is reset and keeps its storage,
// so a page of many small shapes allocates nothing per object once there are as
// many as cross one line. Invariants: `generator` is null (the object's whole pixel box,
// unclipped) or one of `path` and `other`; `clip` is the record's, which outlives
// the object's activity.
#pragma once

#include <memory>

#include "paint/flat_paint_getter.h"
#include "raster/path_run_length_generator.h"
#include "raster/run.h"

namespace QorSc {

class Clip;

struct FlatShape : OpaqueFlatCopy {
  RunLengthGenerator* generator = nullptr;
  Clip* clip = nullptr;  // null when the object's scope clips nothing
  // Kept from object to object for its storage.
  std::unique_ptr<PathRunLengthGenerator> path;
  // A box or image-mask generator, freed when its object finishes.
  std::unique_ptr<RunLengthGenerator> other;
  // The runs of the line being drawn after the clip.
  RunList clipped;

  // A path generator holding more than this is freed with its object: the long
  // outlines of a page of strokes would otherwise keep their edges in idle shapes.
  static constexpr std::size_t kKeptGeneratorBytes = 2048;

  // Forgets the object, keeping the path generator's storage when it is small.
  void Finish() {
    generator = nullptr;
    clip = nullptr;
    other.reset();
    if (path != nullptr && path->StorageBytes() > kKeptGeneratorBytes) path.reset();
  }
};

}  // namespace QorSc
