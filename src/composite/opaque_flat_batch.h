// OpaqueFlatBatch: what opaque flat objects leave visible on one line, and their
// copies resolved together.
//
// An opaque flat object (an "opaque flat copy") replaces every plane over its runs
// with its own row of states and Constant values, whatever lay there, so a pixel
// painted by such an object shows nothing of what was painted before it. The line
// driver walks the line's objects from the last painted backwards and keeps here
// the union of what the copies walked so far cover, one bit per pixel of the line:
// - an object whose runs lie wholly inside the union need not be drawn (Covers);
// - a copy's runs outside the union are its visible pieces (Claim), and its runs
//   then join the union; a copy that is drawn by itself only joins it (Own).
// The visible pieces of different copies never overlap, so every group of copies
// painted between two other objects covers the line's map once, its pieces sorted
// by position (Apply), instead of one cover, a move of the rest of the map, per
// run. The line reads the same as painting every object in order.
// A run costs one word operation per 64 pixels it spans plus one per visible piece;
// the pieces are put in order by a scan of their start bits when there are many of
// them, so no step depends on how many spans the union has. Memory is a few bits and
// one index per pixel of the line; nothing here allocates once the vectors have
// grown to the line's width and busiest state.
#pragma once

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "composite/line_buffer.h"
#include "paint/flat_paint_getter.h"
#include "paint/paint_getter.h"
#include "raster/run.h"

namespace QorSc {

class OpaqueFlatBatch {
 public:
  // Forgets the union and every piece: the start of a line's backward walk over the
  // pixels [left, right). Runs are expected inside them; what lies outside is ignored.
  void Clear(long long left, long long right);
  bool Empty() const { return empty_; }

  // Whether every run of `runs` lies inside the union.
  bool Covers(const RunList& runs) const;
  // Adds `runs` to the union.
  void Own(const RunList& runs) {
    for (const Run& run : runs)
      Join(run.start, run.End(), nullptr, 0);
  }
  // Keeps the parts of `runs` outside the union as `copy`'s visible pieces, in
  // group `group`, then adds `runs` to the union. Groups are painted in descending
  // order: a copy's group is the number of other objects drawn after it.
  void Claim(const RunList& runs, const OpaqueFlatCopy& copy, std::uint32_t group) {
    for (const Run& run : runs)
      Join(run.start, run.End(), &copy, group);
  }
  // One run [start, end) of a copy whose runs stay the same from line to line, as
  // bits of a union over the pixels [left, right), prepared once: its hidden test
  // is then two word operations.
  // 24 bytes: the line driver keeps one in every active entry.
  struct SettledRun {
    std::uint32_t from;  // bits [from, to); from == to: nothing inside
    std::uint32_t to;
    std::uint64_t head;  // the run's bits in its first word; 0: it reaches past two words
    std::uint64_t tail;  // in the second word; 0: it stays within one
  };
  static SettledRun Settle(long long start, long long end, long long left, long long right);
  // Claim for a settled run; the union spans the pixels it was settled for.
  void ClaimSettled(const SettledRun& run, const OpaqueFlatCopy* copy, std::uint32_t group) {
    if (run.from == run.to) return;
    const std::size_t word = run.from / kWordBits;
    if (run.head != 0 && (covered_[word] & run.head) == run.head &&
        (run.tail == 0 || (covered_[word + 1] & run.tail) == run.tail))
      return;
    JoinBits(run.from, run.to, copy, group);
  }
  // Whether a copy claimed so far has a visible piece.
  bool HasPieces() const { return !visible_.empty(); }

  // Ends the walk: orders the pieces for Apply.
  void Finish();
  // Copies the pieces of every group at or above `group` not yet copied into `line`.
  void Apply(LineBuffer& line, std::uint32_t group);

 private:
  struct Piece {
    long long start;
    long long end;
    const OpaqueFlatCopy* copy;
    std::uint32_t group;
  };
  static constexpr std::size_t kWordBits = 64;

  // Pixels [start, end) as bits [from, to) of the line; false when none is inside.
  bool Inside(long long start, long long end, std::size_t& from, std::size_t& to) const {
    const auto width = static_cast<long long>(width_);
    from = static_cast<std::size_t>(std::clamp(start - left_, 0LL, width));
    to = static_cast<std::size_t>(std::clamp(end - left_, 0LL, width));
    return from < to;
  }
  // Bits [from, to) of a word, 0 <= from < to <= kWordBits.
  static std::uint64_t Bits(std::size_t from, std::size_t to) {
    return (~std::uint64_t{0} << from) & (~std::uint64_t{0} >> (kWordBits - to));
  }
  // Adds [start, end) to the union; its visible parts go to `copy` when it is given.
  // A run hidden within one or two words, the common case under many objects,
  // and one wholly visible within a word return here.
  void Join(long long start, long long end, const OpaqueFlatCopy* copy, std::uint32_t group) {
    std::size_t from = 0, to = 0;
    if (Inside(start, end, from, to)) JoinBits(from, to, copy, group);
  }
  void JoinBits(std::size_t from, std::size_t to, const OpaqueFlatCopy* copy, std::uint32_t group) {
    const std::size_t word = from / kWordBits;
    const std::size_t last = (to - 1) / kWordBits;
    if (last == word) {
      const std::uint64_t mask = Bits(from % kWordBits, to - word * kWordBits);
      const std::uint64_t seen = covered_[word] & mask;
      if (seen == mask) return;
      // Wholly visible within one word, the common case of small objects side by
      // side: the whole run is one piece, as JoinWords would find it.
      if (seen == 0) {
        empty_ = false;
        covered_[word] |= mask;
        if (copy != nullptr) AddPiece(from, to, copy, group);
        return;
      }
    } else if (last == word + 1) {
      const std::uint64_t head = Bits(from % kWordBits, kWordBits);
      const std::uint64_t tail = Bits(0, to - last * kWordBits);
      if ((covered_[word] & head) == head && (covered_[last] & tail) == tail) return;
    }
    JoinWords(from, to, copy, group);
  }
  void JoinWords(std::size_t from, std::size_t to, const OpaqueFlatCopy* copy, std::uint32_t group);
  void AddPiece(std::size_t from, std::size_t to, const OpaqueFlatCopy* copy, std::uint32_t group);
  // Finish's orders: pieces sorted by comparison, or by a scan of their start bits
  // followed by a stable pass by group.
  void SortPieces();
  void ScanPieces();

  long long left_ = 0;
  std::size_t width_ = 0;
  bool empty_ = true;
  std::vector<std::uint64_t> covered_;   // bit x − left_: x is in the union
  std::vector<std::uint64_t> starts_;    // bit x − left_: a piece starts at x
  std::vector<std::uint32_t> piece_at_;  // by x − left_: the piece starting at x
  std::size_t first_start_ = 0;          // the range of piece starts, from left_
  std::size_t last_start_ = 0;
  std::uint32_t low_group_ = 0;  // the range of the pieces' groups
  std::uint32_t high_group_ = 0;
  std::vector<Piece> visible_;           // in the order found, then by group and position
  std::vector<Piece> ordered_;           // scratch for ScanPieces
  std::vector<std::size_t> group_next_;  // scratch for ScanPieces
  std::size_t applied_ = 0;              // pieces of visible_ already copied
  std::vector<LineBuffer::CoverPiece> pieces_;
  std::vector<const OpaqueFlatCopy*> piece_copies_;  // the copy of each piece
};

}  // namespace QorSc
