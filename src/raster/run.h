// Runs: the covered pixels of one line as half-open column intervals.
//
// A run list of one line is strictly ascending, its runs never overlap and never
// touch (touching runs are one run), and every length is at least 1. The two list
// operations keep that invariant and work on lists only, never on pixels.
#pragma once

#include <boost/container/small_vector.hpp>

namespace QorSc {

struct Run {
  long long start;
  long long length;

  long long End() const { return start + length; }
  friend bool operator==(const Run&, const Run&) = default;
};

// Most lines of most objects have a handful of runs: four fit without allocating.
using RunList = boost::container::small_vector<Run, 4>;

// output = first ∩ second. `output` must be neither input.
void IntersectRuns(const RunList& first, const RunList& second, RunList& output);

// output = first ∪ second, with touching runs joined. `output` must be neither input.
void UniteRuns(const RunList& first, const RunList& second, RunList& output);

}  // namespace QorSc
