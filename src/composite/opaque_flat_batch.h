// OpaqueFlatBatch: consecutive opaque flat copies of one line, resolved together.
//
// Each object of the batch replaces every plane over its runs with its own row of
// states and Constant values, so over the batch only the last object covering a
// pixel matters. The batch walks the objects from the last backwards, keeping the
// union of what later objects own as sorted disjoint spans: the parts of a run
// outside that union are the run's visible pieces, and the run then joins the
// union. Sorted by position, the pieces cover the line's map in one pass. The map
// ends up with the same intervals, rows and values as covering it object by
// object, without moving the map once per run, and the cost follows the number of
// runs, not the width of the line. Nothing here allocates once its scratch vectors
// have grown to the line's busiest batch.
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
  struct Span {
    long long start;
    long long end;
  };
  struct Piece {
    long long start;
    long long end;
    const OpaqueFlatCopy* copy;
  };
  // Gives the parts of [start, end) not yet owned to `copy`, then owns all of it.
  void Claim(long long start, long long end, const OpaqueFlatCopy* copy);

  std::vector<Member> members_;
  std::vector<Span> owned_;     // sorted, disjoint, not touching
  std::vector<Piece> visible_;  // in the order found, then by position
  std::vector<LineBuffer::CoverPiece> pieces_;
};

}  // namespace QorSc
