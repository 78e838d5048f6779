// A progress bar on standard error for renders that take a while.
//
// Shown only when enabled (not --quiet, and standard error is a terminal) and only
// once a page has taken more than about a second, so quick renders print nothing;
// redrawn at most ten times a second. Update is called by the thread that writes the
// output, never concurrently.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

namespace QorScTool {

class Progress {
 public:
  // `stream` is where the bar goes (stderr in the tool).
  Progress(bool enabled, std::FILE* stream);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // Starts a page: `label` names it ("page 3 (2/5)"), `total` is its line count.
  void StartPage(std::string label, long long total);
  void Update(long long lines_done);
  // Clears the bar of the finished page.
  void FinishPage();

  // Whether standard error is a terminal: the default for showing progress.
  static bool StderrIsTerminal();

 private:
  using Clock = std::chrono::steady_clock;

  void Draw(long long lines_done);
  void Clear();

  bool enabled_;
  std::FILE* stream_;
  std::string label_;
  long long total_ = 0;
  Clock::time_point start_;
  Clock::time_point last_draw_;
  bool drawn_ = false;
};

}  // namespace QorScTool
