// OpaqueFlatBatch: what opaque flat objects leave visible on one line, and their
// copies resolved together.
//
// An opaque flat object (an "opaque flat copy") replaces every plane over its runs
// with its own row of states and Constant values, whatever lay there, so a pixel
// painted by such an object shows nothing of what was painted before it. The line
// driver walks the line's objects from the last painted backwards and keeps here
// the union of what the copies walked so far cover, as sorted disjoint spans:
// - an object whose runs lie wholly inside the union need not be drawn (Covers);
// - a copy's runs outside the union are its visible pieces (Claim), and its runs
//   then join the union; a copy that is drawn by itself only joins it (Own).
// The visible pieces of different copies never overlap, so every group of copies
// painted between two other objects covers the line's map once, its pieces sorted
// by position (Apply), instead of one cover, a move of the rest of the map, per
// run. The line reads the same as painting every object in order. The cost
// follows the number of runs, not the width of the line, and nothing here
// allocates once the scratch vectors have grown to the line's busiest state.
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
  // Forgets the union and every piece: the start of a line's backward walk.
  void Clear();
  bool Empty() const { return owned_.empty(); }

  // Whether every run of `runs` lies inside the union.
  bool Covers(const RunList& runs) const;
  // Adds `runs` to the union.
  void Own(const RunList& runs);
  // Keeps the parts of `runs` outside the union as `copy`'s visible pieces, in
  // group `group`, then adds `runs` to the union. Groups are painted in descending
  // order: a copy's group is the number of other objects drawn after it.
  void Claim(const RunList& runs, const OpaqueFlatCopy& copy, std::uint32_t group);
  // Whether a copy claimed so far has a visible piece.
  bool HasPieces() const { return !visible_.empty(); }

  // Ends the walk: orders the pieces for Apply.
  void Finish();
  // Copies the pieces of every group at or above `group` not yet copied into `line`.
  void Apply(LineBuffer& line, std::uint32_t group);

 private:
  struct Span {
    long long start;
    long long end;
  };
  struct Piece {
    long long start;
    long long end;
    const OpaqueFlatCopy* copy;
    std::uint32_t group;
  };
  // Adds [start, end) to the union; visible parts go to `copy` when it is given.
  void Join(long long start, long long end, const OpaqueFlatCopy* copy, std::uint32_t group);

  std::vector<Span> owned_;     // sorted, disjoint, not touching
  std::vector<Piece> visible_;  // in the order found, then by group and position
  std::size_t applied_ = 0;     // pieces of visible_ already copied
  std::vector<LineBuffer::CoverPiece> pieces_;
  std::vector<const OpaqueFlatCopy*> piece_copies_;  // the copy of each piece
};

}  // namespace QorSc
