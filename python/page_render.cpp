// Whole-page and line-by-line rendering into the caller's memory.
#include "page_render.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>

#include "scan/collect_objects.h"

namespace QorScPy {

namespace {

using QorScTool::LineSink;
using QorScTool::PageInput;

// What a LineSource's band buffers may hold together.
constexpr double kLineSourceBandBytes = 32.0 * 1024 * 1024;

// Thrown by a sink after the box's last line: the rest of the page is not needed.
struct BoxComplete {};

// Thrown in a float band because another band failed; that band's error is the one
// to report.
struct StoppedByOtherBand {};

// Hands the box's part of each line of the render job to `row`, as plates × box
// width bytes; throws BoxComplete after the last one.
class CroppingSink : public LineSink {
 public:
  using RowFunction = std::function<void(const unsigned char* cropped)>;

  CroppingSink(const RenderRequest& request, long long page_width, RowFunction row)
      : box_(request.box),
        page_width_(static_cast<std::size_t>(page_width)),
        plates_(request.plates.names.size()),
        row_(std::move(row)),
        cropped_(plates_ * static_cast<std::size_t>(box_.Width())) {}

  void WriteLine(const unsigned char* planes) override {
    if (y_ >= box_.top) {
      const auto width = static_cast<std::size_t>(box_.Width());
      for (std::size_t p = 0; p < plates_; ++p) {
        std::memcpy(cropped_.data() + p * width,
                    planes + p * page_width_ + static_cast<std::size_t>(box_.left), width);
      }
      row_(cropped_.data());
    }
    if (++y_ >= box_.bottom) throw BoxComplete();
  }

 private:
  PixelBox box_;
  std::size_t page_width_;
  std::size_t plates_;
  RowFunction row_;
  std::vector<unsigned char> cropped_;
  long long y_ = 0;
};

void RenderBytes(const PageInput& page, const RenderRequest& request,
                 const CroppingSink::RowFunction& row) {
  const QorScTool::PixelSize size =
      QorScTool::PagePixelSize(page.world_box, request.settings.resolution);
  CroppingSink sink(request, size.width, row);
  QorScTool::ProgressFunction progress;
  if (request.poll) progress = [&](long long) { request.poll(); };
  try {
    QorScTool::RenderPage(page, request.plates, request.settings, sink, progress);
  } catch (const BoxComplete&) {
    return;
  }
  throw std::logic_error("the render ended before the box's last line");
}

QorSc::ScanConverter FloatConverter(const PageInput& page, const RenderRequest& request,
                                    long long top, long long bottom) {
  if (request.settings.anti_alias > 1) {
    throw std::invalid_argument("float output needs aa=1: anti-aliasing reduces bytes");
  }
  const QorScTool::PixelSize size =
      QorScTool::PagePixelSize(page.world_box, request.settings.resolution);
  const QorSc::Environment environment(page.world_box, size.width, size.height);
  // Hairlines print as wide as in the render job's bytes.
  QorSc::Options options = request.plates.options;
  options.SetMinimalStrokeWidth(
      QorScTool::MinimalStrokeWidthFor(environment, request.settings.min_line_width));
  return QorSc::ScanConverter(QorSc::CollectObjects(
      environment, options, PixelBox{request.box.left, top, request.box.right, bottom},
      *page.content, {}, QorScTool::DefaultVisibility()));
}

// Writes one float line of every plate, plate p at out + p × stride.
bool NextFloatLine(QorSc::ScanConverter& converter, std::size_t plates, std::size_t width,
                   float* out, std::size_t stride) {
  const std::vector<const QorColor::Component*> line = converter.GetLineAsPlaneInterleaved();
  if (line.empty()) return false;
  if (line.size() != plates) throw std::logic_error("the conversion has another plate count");
  for (std::size_t p = 0; p < plates; ++p) {
    std::copy(line[p], line[p] + width, out + p * stride);
  }
  return true;
}

// The calling thread converts the first band and polls; the others stop at their
// next line once any band has failed.
void RenderFloats(const PageInput& page, const RenderRequest& request, float* out) {
  const PixelBox& box = request.box;
  const auto width = static_cast<std::size_t>(box.Width());
  const std::size_t plates = request.plates.names.size();
  const std::size_t plane = width * static_cast<std::size_t>(box.Height());
  std::atomic<bool> stop{false};
  auto band = [&](long long top, long long bottom, bool calling_thread) {
    QorSc::ScanConverter converter = FloatConverter(page, request, top, bottom);
    for (long long y = top; y < bottom; ++y) {
      if (calling_thread && request.poll) request.poll();
      if (stop.load(std::memory_order_relaxed)) throw StoppedByOtherBand();
      float* row = out + static_cast<std::size_t>(y - box.top) * width;
      if (!NextFloatLine(converter, plates, width, row, plane)) {
        throw std::logic_error("the conversion ended early");
      }
    }
  };
  const long long threads =
      std::clamp<long long>(request.settings.threads, 1, std::max(1LL, box.Height() / 16));
  const long long step = (box.Height() + threads - 1) / threads;
  std::vector<std::exception_ptr> errors(static_cast<std::size_t>(threads));
  auto run = [&](long long t) {
    const long long top = box.top + t * step;
    const long long bottom = std::min(box.bottom, top + step);
    try {
      if (top < bottom) band(top, bottom, t == 0);
    } catch (const StoppedByOtherBand&) {
    } catch (...) {
      errors[static_cast<std::size_t>(t)] = std::current_exception();
      stop = true;
    }
  };
  std::vector<std::thread> workers;
  for (long long t = 1; t < threads; ++t)
    workers.emplace_back(run, t);
  run(0);
  for (std::thread& worker : workers)
    worker.join();
  for (const std::exception_ptr& error : errors) {
    if (error) std::rethrow_exception(error);
  }
}

}  // namespace

PixelBox ChooseBox(const PageInput& page, double resolution, const std::optional<PixelBox>& box) {
  const QorScTool::PixelSize size = QorScTool::PagePixelSize(page.world_box, resolution);
  const PixelBox whole{0, 0, size.width, size.height};
  if (!box) return whole;
  if (box->left < 0 || box->top < 0 || box->right > size.width || box->bottom > size.height ||
      box->left >= box->right || box->top >= box->bottom) {
    throw std::invalid_argument(
        "box (" + std::to_string(box->left) + ", " + std::to_string(box->top) + ", " +
        std::to_string(box->right) + ", " + std::to_string(box->bottom) +
        ") is not a non-empty part of the page's " + std::to_string(size.width) + " x " +
        std::to_string(size.height) + " pixels");
  }
  return *box;
}

void RenderInto(const PageInput& page, const RenderRequest& request, void* out) {
  if (request.type == SampleType::kFloat) {
    RenderFloats(page, request, static_cast<float*>(out));
    return;
  }
  const auto width = static_cast<std::size_t>(request.box.Width());
  const std::size_t plane = width * static_cast<std::size_t>(request.box.Height());
  const std::size_t plates = request.plates.names.size();
  auto* bytes = static_cast<unsigned char*>(out);
  RenderBytes(page, request, [&](const unsigned char* cropped) {
    for (std::size_t p = 0; p < plates; ++p) {
      std::memcpy(bytes + p * plane, cropped + p * width, width);
    }
    bytes += width;
  });
}

LineSource::LineSource(PageInput page, RenderRequest request)
    : page_(std::move(page)), request_(std::move(request)), next_row_(request_.box.top) {
  request_.settings.interrupt = &interrupt_;
  request_.poll = nullptr;  // the rendering thread is not the caller's
  // The render job buffers two bands per thread: sized from the budget, its memory
  // does not grow with the thread count (down to bands of 16 lines).
  if (request_.settings.threads > 1 && request_.settings.band_lines == 0) {
    const QorScTool::PixelSize size =
        QorScTool::PagePixelSize(page_.world_box, request_.settings.resolution);
    const double line_bytes =
        static_cast<double>(request_.plates.names.size()) * static_cast<double>(size.width);
    const double band_lines =
        kLineSourceBandBytes / (2.0 * request_.settings.threads * std::max(line_bytes, 1.0));
    request_.settings.band_lines = std::clamp(static_cast<long long>(band_lines), 16LL, 1024LL);
  }
  line_.resize(request_.plates.names.size() * static_cast<std::size_t>(request_.box.Width()));
}

LineSource::~LineSource() {
  {
    std::lock_guard lock(mutex_);
    stop_ = true;
  }
  interrupt_ = true;
  changed_.notify_all();
  if (producer_.joinable()) producer_.join();
}

void LineSource::Produce() {
  std::exception_ptr error;
  try {
    RenderBytes(page_, request_, [&](const unsigned char* cropped) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [&] { return stop_ || !full_; });
      if (stop_) throw QorScTool::Interrupted();
      std::memcpy(line_.data(), cropped, line_.size());
      full_ = true;
      changed_.notify_all();
    });
  } catch (...) {
    error = std::current_exception();
  }
  {
    std::lock_guard lock(mutex_);
    finished_ = true;
    if (!stop_) error_ = error;
  }
  changed_.notify_all();
}

bool LineSource::Next(void* out) {
  if (next_row_ >= request_.box.bottom) return false;
  const std::size_t plates = request_.plates.names.size();
  const auto width = static_cast<std::size_t>(request_.box.Width());
  if (request_.type == SampleType::kFloat) {
    if (!converter_) {
      converter_.emplace(FloatConverter(page_, request_, request_.box.top, request_.box.bottom));
    }
    if (!NextFloatLine(*converter_, plates, width, static_cast<float*>(out), width)) {
      throw std::logic_error("the conversion ended early");
    }
    ++next_row_;
    return true;
  }
  if (!producer_.joinable()) producer_ = std::thread([this] { Produce(); });
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return full_ || finished_; });
  if (!full_) {
    next_row_ = request_.box.bottom;
    if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
    throw std::logic_error("the render ended before the box's last line");
  }
  std::memcpy(out, line_.data(), line_.size());
  full_ = false;
  ++next_row_;
  changed_.notify_all();
  return true;
}

}  // namespace QorScPy
