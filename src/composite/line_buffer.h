// LineBuffer: the compositing state of one line.
//
// P float planes over the pixel span [left, right): the S = P − 3 colour planes
// (premultiplied ink, in blending-separation order), then three auxiliary planes:
// the level's own alpha, the accumulated alpha and the accumulated shape. Beside the
// planes, an ordered map of intervals: every interval [key, next key) carries one
// storage state per plane:
//
//   Zero (0)      every pixel is 0
//   Full (1)      every pixel is 1
//   PerPixel (2)  the plane's array holds one value per pixel of the interval
//   Constant (3)  one value for the interval, stored at the interval's first x
//   Absent (4)    a colour plane no object of this level has painted yet: it reads
//                 as 0 ink, and a group leaves the enclosing plane as it is there
//
// (the numbers are the paint getters' component kinds, so a kind is stored as is).
// A group's line also knows whether its level is a knockout level and, for one, the
// line holding the level's initial backdrop (none: the backdrop is empty).
// A sentinel key at `right` closes the last interval. Keys, rows and planes are
// vectors reused from line to line: splitting and covering move keys and rows in
// place, nothing allocates once the vectors have grown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "paint/pixel_plane.h"

namespace QorSc {

enum PlaneState : std::uint8_t {
  kStateZero = 0,
  kStateFull = 1,
  kStatePerPixel = 2,
  kStateConstant = 3,
  kStateAbsent = 4,
};

class LineBuffer {
 public:
  LineBuffer(std::size_t planes, long long left, long long right);

  std::size_t Planes() const { return planes_; }
  std::size_t ColourPlanes() const { return planes_ - 3; }
  std::size_t OwnAlphaPlane() const { return planes_ - 3; }
  std::size_t AlphaPlane() const { return planes_ - 2; }
  std::size_t ShapePlane() const { return planes_ - 1; }
  long long Left() const { return left_; }
  long long Right() const { return right_; }

  // Values of plane p, indexed by absolute x.
  PixelPlane<float> Plane(std::size_t p) { return {values_[p].data(), left_}; }
  PixelPlane<const float> Plane(std::size_t p) const { return {values_[p].data(), left_}; }
  // Whether interval i is the only one whose state keeps values of plane p (PerPixel
  // or Constant): then plane p's values outside interval i are never read.
  bool OnlyIntervalWithValues(std::size_t p, std::size_t i) const;
  // Trades plane p's storage with `storage` (as many values as the line is wide): the
  // plane then reads what `storage` held, everywhere. A caller takes a plane whose
  // values are read only where `storage` holds what the plane should read.
  void TradePlane(std::size_t p, std::vector<float>& storage);

  // One interval over the whole span, every plane Zero; not a knockout level.
  void Reset();
  // Every colour plane Absent over the whole span (a fresh line of an isolated group).
  void MarkColoursAbsent();
  // Takes the intervals, states and values of `source` over [from, to) (the same
  // span and plane count); the rest of this line is left as it is.
  void CopyFrom(const LineBuffer& source, long long from, long long to);
  // Plane p over [from, to) as one value per pixel into out[0 .. to − from), whatever
  // the states; Absent reads as 0.
  void ResolveInto(std::size_t p, long long from, long long to, float* out) const;

  // Knockout levels: each object composites against `initialBackdrop` (null: an
  // empty backdrop) and replaces what the level painted before it, by its shape.
  void SetKnockout(bool knockout, const LineBuffer* initialBackdrop) {
    knockout_ = knockout;
    initial_backdrop_ = initialBackdrop;
  }
  bool IsKnockout() const { return knockout_; }
  const LineBuffer* InitialBackdrop() const { return initial_backdrop_; }

  std::size_t IntervalCount() const { return key_count_ - 1; }
  long long Start(std::size_t i) const { return keys_[i]; }
  long long End(std::size_t i) const { return keys_[i + 1]; }
  std::uint8_t* Row(std::size_t i) { return rows_.data() + i * planes_; }
  const std::uint8_t* Row(std::size_t i) const { return rows_.data() + i * planes_; }

  // The interval holding x (left <= x < right).
  std::size_t Find(long long x) const;
  // Makes x a key (left <= x <= right) and returns its interval. A new interval
  // takes the row of the one it was cut from, and for every Constant plane its
  // value, copied to the new key before anything is written there.
  std::size_t Split(long long x);
  // Makes [from, to) one interval (left <= from < to <= right) and returns it: `to`
  // is split as by Split, and the keys inside go. The interval's row and values are
  // left undefined: the caller writes every plane's state (and value) over it.
  std::size_t Cover(long long from, long long to);
  // One piece of CoverPieces: [start, end) takes `row` (one state per plane).
  struct CoverPiece {
    long long start;
    long long end;
    const std::uint8_t* row;
  };
  // Covers each piece (sorted, disjoint, left <= start < end <= right) as Cover and
  // a copy of its row would, one piece after the other, but moves the map once. The
  // pieces' Constant values are left to the caller, as with Cover.
  void CoverPieces(const std::vector<CoverPiece>& pieces);
  // Merges neighbours whose rows are equal and whose Constant values are equal: the
  // line reads the same, with fewer intervals.
  void Coalesce();

  // Every plane in per-pixel form over the whole span (states are left as they are).
  void Resolve(std::size_t firstPlane, std::size_t planeCount);

 private:
  std::size_t planes_;
  long long left_;
  long long right_;
  // Copies the Constant values of interval i to x (a key about to start at x).
  void CarryConstants(std::size_t i, long long x);
  // Turns the oldCount intervals from index `at` into newCount (uninitialised) ones.
  void Resize(std::size_t at, std::size_t oldCount, std::size_t newCount);
  // Room for `count` keys and their rows.
  void Reserve(std::size_t count);

  std::size_t width_;
  // One storage per plane, so that a plane can be traded whole (TradePlane).
  std::vector<std::vector<float>> values_;
  // keys_ and rows_ are storage, grown and never shrunk; the first key_count_ keys
  // (and rows) are the map, so splitting and covering only move bytes.
  std::vector<long long> keys_;
  std::vector<std::uint8_t> rows_;
  std::size_t key_count_ = 0;
  // CoverPieces builds the keys and rows of the region it rewrites here.
  std::vector<long long> scratch_keys_;
  std::vector<std::uint8_t> scratch_rows_;
  bool knockout_ = false;
  const LineBuffer* initial_backdrop_ = nullptr;
};

}  // namespace QorSc
