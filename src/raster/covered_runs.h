// CoveredRuns: part of the union of some run lists, enough to tell whether another
// run list lies wholly inside it.
//
// Holds at most kCapacity disjoint, non-touching runs in ascending order. Adding
// joins a run with every held run it overlaps or touches; when a run joins none and
// the list is full, the shortest of it and the held runs is forgotten. So the held
// runs are always a subset of the true union: Covers may say no where the union
// would cover, never yes where it does not. Nothing here allocates, and every
// operation costs O(kCapacity) per run.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "raster/run.h"

namespace QorSc {

class CoveredRuns {
 public:
  static constexpr std::size_t kCapacity = 8;

  void Clear() { count_ = 0; }
  bool Empty() const { return count_ == 0; }

  void Add(const RunList& runs) {
    for (const Run& run : runs)
      Add(run);
  }

  void Add(const Run& run) {
    long long start = run.start;
    long long end = run.End();
    std::size_t first = 0;
    while (first < count_ && runs_[first].End() < start)
      ++first;
    std::size_t last = first;  // runs_[first, last) overlap or touch the new run
    while (last < count_ && runs_[last].start <= end) {
      start = std::min(start, runs_[last].start);
      end = std::max(end, runs_[last].End());
      ++last;
    }
    if (last == first) {
      if (count_ == kCapacity) {
        const auto shortest =
            std::min_element(runs_.begin(), runs_.end(),
                             [](const Run& a, const Run& b) { return a.length < b.length; });
        if (shortest->length >= end - start) return;
        const auto gone = static_cast<std::size_t>(shortest - runs_.begin());
        std::copy(runs_.begin() + gone + 1, runs_.begin() + count_, runs_.begin() + gone);
        --count_;
        if (gone < first) --first;
      }
      std::copy_backward(runs_.begin() + first, runs_.begin() + count_, runs_.begin() + count_ + 1);
      ++count_;
    } else {
      std::copy(runs_.begin() + last, runs_.begin() + count_, runs_.begin() + first + 1);
      count_ -= last - first - 1;
    }
    runs_[first] = {start, end - start};
  }

  // Whether every run of `runs` lies inside one held run.
  bool Covers(const RunList& runs) const {
    std::size_t k = 0;
    for (const Run& run : runs) {
      while (k < count_ && runs_[k].End() < run.End())
        ++k;
      if (k == count_ || runs_[k].start > run.start) return false;
    }
    return true;
  }

 private:
  std::array<Run, kCapacity> runs_{};
  std::size_t count_ = 0;
};

}  // namespace QorSc
