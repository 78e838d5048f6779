// Intersection and union of run lists: linear merges with two cursors.

#include <algorithm>

#include "raster/run.h"

namespace QorSc {

void IntersectRuns(const RunList& first, const RunList& second, RunList& output) {
  output.clear();
  auto a = first.begin();
  auto b = second.begin();
  while (a != first.end() && b != second.end()) {
    if (a->End() <= b->start) {
      ++a;
    } else if (b->End() <= a->start) {
      ++b;
    } else {
      const long long start = std::max(a->start, b->start);
      const long long end = std::min(a->End(), b->End());
      output.push_back({start, end - start});
      if (a->End() < b->End()) {
        ++a;
      } else {
        ++b;
      }
    }
  }
}

void UniteRuns(const RunList& first, const RunList& second, RunList& output) {
  output.clear();
  auto a = first.begin();
  auto b = second.begin();
  while (a != first.end() && b != second.end()) {
    if (a->End() < b->start) {
      output.push_back(*a++);
    } else if (b->End() < a->start) {
      output.push_back(*b++);
    } else {
      const long long start = std::min(a->start, b->start);
      long long end = std::max(a->End(), b->End());
      ++a;
      ++b;
      for (;;) {
        if (a != first.end() && a->start <= end) {
          end = std::max(end, a->End());
          ++a;
        } else if (b != second.end() && b->start <= end) {
          end = std::max(end, b->End());
          ++b;
        } else {
          break;
        }
      }
      output.push_back({start, end - start});
    }
  }
  output.insert(output.end(), a, first.end());
  output.insert(output.end(), b, second.end());
}

}  // namespace QorSc
