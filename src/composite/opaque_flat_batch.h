// OpaqueFlatBatch: consecutive opaque flat copies of one line, resolved together.
//
// Each object of the batch replaces every plane over its runs with its own row of
// states and Constant values, so over the batch only the last object covering a
// pixel matters. The batch finds that owner per pixel, painting from the last
// object backwards and skipping pixels already owned (a next-unowned table with
// path halving, so each pixel is written once), then covers the line's map once
// with the owners' pieces. That costs about the batch's span in pixels, covering run
// by run about the runs times the map's intervals, which grow by up to two per run
// (each cover moves the rest of the map), so the batch takes whichever is smaller: a few large
// objects on a wide line are still covered one by one. The map ends up with the same intervals,
// rows and values as covering it object by object, without moving the map once per run. Nothing
// here allocates once its scratch vectors have grown to the line's width.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "composite/line_buffer.h"
#include "paint/paint_getter.h"
#include "raster/run.h"

namespace QorSc {

// What an opaque flat object copies over each of its runs: the row of states (the
// paint's kinds, then the auxiliary planes Full) and its Constant values by plane.
struct OpaqueFlatCopy {
  ComponentKinds row;
  boost::container::small_vector<std::pair<std::size_t, float>, 4> constants;

  // Covers every run in `line`, one after the other.
  void CopyInto(LineBuffer& line, const RunList& runs) const;
};

class OpaqueFlatBatch {
 public:
  bool Empty() const { return members_.empty(); }
  // Appends an object painted after those already held; `runs` (sorted, inside the
  // line) must stay valid until Apply.
  void Add(const OpaqueFlatCopy& copy, const RunList& runs) { members_.push_back({&copy, &runs}); }
  // Copies the held objects into `line` as painting them in order would, then empties.
  void Apply(LineBuffer& line);

 private:
  struct Member {
    const OpaqueFlatCopy* copy;
    const RunList* runs;
  };
  std::vector<Member> members_;
  std::vector<std::int32_t> owner_;  // per pixel of the batch's span: member, or −1
  std::vector<std::uint32_t> next_;  // next pixel at or after that may be unowned
  std::vector<LineBuffer::CoverPiece> pieces_;
  std::vector<std::int32_t> piece_owner_;
};

}  // namespace QorSc
