// Rendering one page into the caller's memory, whole or one line at a time, for the
// Python module. It knows nothing of Python: the module holds the interpreter lock
// only around the calls that touch Python objects and releases it around these.
//
// Byte output goes through the command's render job (RenderPage), so plates,
// anti-aliasing, bands and threads behave exactly as `qorsc render`; a pixel box is
// cut out of its lines and the render stops after the box's last line. Float output
// is the converter's own ink values and exists only without anti-aliasing (the
// resampler reduces bytes); it converts the box directly, in one band per thread.
// Invariants: output is plate after plate (plates × height × width, or plates ×
// width for one line); memory beyond the output is the render job's (proportional
// to the page width).
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "plate_selection.h"
#include "qormath/rectangle.h"
#include "render_job.h"
#include "scan/scan_converter.h"

namespace QorScPy {

using PixelBox = QorMath::Rectangle<long long>;

enum class SampleType { kByte, kFloat };

struct RenderRequest {
  QorScTool::PlateSet plates;
  QorScTool::RenderSettings settings;
  PixelBox box;  // within the page's pixels, not empty
  SampleType type = SampleType::kByte;
  // Called from the calling thread between lines while RenderInto runs (and by the
  // caller's own loops): the module checks for Ctrl-C there. Throwing stops the
  // render, its threads included, and passes through.
  std::function<void()> poll;

  std::size_t SampleSize() const { return type == SampleType::kByte ? 1 : sizeof(float); }
};

// The box to render: the whole page when `box` is empty, otherwise `box` (left, top,
// right, bottom) after checking that it is a non-empty part of the page. Throws
// std::invalid_argument naming the page's size otherwise.
PixelBox ChooseBox(const QorScTool::PageInput& page, double resolution,
                   const std::optional<PixelBox>& box);

// Renders the request's box into `out`: plates × height × width samples.
void RenderInto(const QorScTool::PageInput& page, const RenderRequest& request, void* out);

// The box's lines one at a time, top to bottom. Byte lines are rendered on a thread
// of their own, at most one line ahead of the reader; with several threads, bands
// are sized so that all band buffers together stay near 32 MB. Destroying the source
// stops and joins it. Not for use from two threads at once.
class LineSource {
 public:
  LineSource(QorScTool::PageInput page, RenderRequest request);
  ~LineSource();
  LineSource(const LineSource&) = delete;
  LineSource& operator=(const LineSource&) = delete;

  // Writes the next line (plates × width samples) to `out`; false after the last.
  // Rethrows what stopped the render.
  bool Next(void* out);

 private:
  void Produce();

  QorScTool::PageInput page_;
  RenderRequest request_;
  long long next_row_;
  // Floats: the converter, created on the first line.
  std::optional<QorSc::ScanConverter> converter_;
  // Bytes: the hand-over from the rendering thread.
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<unsigned char> line_;
  bool full_ = false;
  bool finished_ = false;
  bool stop_ = false;
  std::atomic<bool> interrupt_{false};
  std::exception_ptr error_;
  std::thread producer_;
};

}  // namespace QorScPy
