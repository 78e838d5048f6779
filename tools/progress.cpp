// Drawing the progress bar: one line, rewritten in place with a carriage return and
// cleared with spaces when the page is done.
#include "progress.h"

#include <unistd.h>

#include <algorithm>

namespace QorScTool {

namespace {

constexpr auto kDelay = std::chrono::milliseconds(1000);
constexpr auto kRedraw = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;
constexpr int kLineWidth = 79;

std::string Duration(double seconds) {
  const long long s = static_cast<long long>(seconds + 0.5);
  char text[32];
  if (s >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", s / 60, s % 60);
  }
  return text;
}

}  // namespace

Progress::Progress(bool enabled, std::FILE* stream) : enabled_(enabled), stream_(stream) {}

Progress::~Progress() {
  Clear();
}

bool Progress::StderrIsTerminal() {
  return isatty(STDERR_FILENO) != 0;
}

void Progress::StartPage(std::string label, long long total) {
  Clear();
  label_ = std::move(label);
  total_ = total;
  start_ = Clock::now();
  last_draw_ = start_;
}

void Progress::Update(long long lines_done) {
  if (!enabled_) return;
  const Clock::time_point now = Clock::now();
  if (now - start_ < kDelay || (drawn_ && now - last_draw_ < kRedraw)) return;
  last_draw_ = now;
  Draw(lines_done);
}

void Progress::FinishPage() {
  Clear();
}

void Progress::Draw(long long lines_done) {
  const double fraction =
      total_ > 0 ? std::clamp(static_cast<double>(lines_done) / total_, 0.0, 1.0) : 1.0;
  const int filled = static_cast<int>(fraction * kBarWidth);
  std::string bar(static_cast<std::size_t>(filled), '#');
  bar.resize(kBarWidth, '.');
  const double elapsed = std::chrono::duration<double>(Clock::now() - start_).count();
  std::string eta = "--:--";
  if (fraction > 0.0) eta = Duration(elapsed * (1.0 - fraction) / fraction);
  std::fprintf(stream_, "\r%s [%s] %lld/%lld lines, ETA %s ", label_.c_str(), bar.c_str(),
               lines_done, total_, eta.c_str());
  std::fflush(stream_);
  drawn_ = true;
}

void Progress::Clear() {
  if (!drawn_) return;
  std::fprintf(stream_, "\r%*s\r", kLineWidth, "");
  std::fflush(stream_);
  drawn_ = false;
}

}  // namespace QorScTool
