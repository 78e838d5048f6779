// RunLengthGenerator: per-line coverage of one shape inside a fixed pixel box.
//
// GenerateRuns(line) makes the runs of `line` current; readers take them with
// Runs() until the next call. Lines are requested in ascending order and may be
// skipped; asking again for the current or an earlier line while active changes
// nothing. States: not started until a line at or below the box's top is asked
// for, active, finished (no runs) once a line at or past the bottom is asked for.
// Generating a line never allocates in the steady state: run lists keep their
// storage.
#pragma once

#include <cstdint>

#include "qormath/rectangle.h"
#include "raster/run.h"

namespace QorSc {

class RunLengthGenerator {
 public:
  enum State : std::uint32_t { kNotStarted = 0, kActive = 1, kFinished = 2 };

  explicit RunLengthGenerator(const QorMath::Rectangle<long long>& box)
      : x0_(box.left), y0_(box.top), x1_(box.right), y1_(box.bottom) {}
  virtual ~RunLengthGenerator() = default;
  RunLengthGenerator(const RunLengthGenerator&) = delete;
  RunLengthGenerator& operator=(const RunLengthGenerator&) = delete;

  virtual void GenerateRuns(long long line) = 0;

  const RunList& Runs() const { return runs_; }
  State GetState() const { return state_; }
  long long GetLastLine() const { return last_line_; }
  // Whether the runs, once active, stay the same on every line until finished: a
  // driver may then keep them instead of asking again per line.
  bool HasSteadyRuns() const { return steady_; }
  QorMath::Rectangle<long long> GetPixelBox() const { return {x0_, y0_, x1_, y1_}; }

 protected:
  long long x0_;
  long long y0_;
  long long x1_;
  long long y1_;
  RunList runs_;
  long long last_line_ = -1;
  State state_ = kNotStarted;
  bool steady_ = false;
};

}  // namespace QorSc
