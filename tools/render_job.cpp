// Band rendering and the ordered hand-over from worker threads to the writer.
//
// A band converts its final lines [top, bottom) with one ScanConverter. Without
// anti-aliasing the converter works on the final grid; with it, on the initial grid
// of the ResampleEnvironment, and one Resampler per plate (one component each, the
// plate's plane of the line buffer as output, stride 0 so every final line lands in
// the same buffer) reduces it. A final line is complete after the initial line that
// closes its f (box) or f + 1 (tent) samples: the tent's first line only primes.
//
// Threads: bands are claimed in order from a counter; band b uses slot b mod S, S =
// 2 × threads, and a worker may claim it only when band b − S has been written, so at
// most S bands are buffered. The writer (the calling thread) waits for the band it
// needs next. When the sink makes band encoders, every worker also encodes the band
// it rendered (TIFF strips compressed, PNG colours converted) and the writer only
// hands the encoded band over; bands then hold whole TIFF strips.
//
// A sink that takes pixels gets each line straight from the converter's
// pixel-interleaved bytes where nothing is added to the plates' line (no labels, no
// anti-aliasing); otherwise the planes are made as for other sinks and interleaved
// once. Per-line work allocates nothing: buffers are sized per band.
#include "render_job.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "qorcolor/interleave.h"
#include "scan/collect_objects.h"
#include "scan/resample_environment.h"
#include "scan/resampler.h"
#include "scan/scan_converter.h"

namespace QorScTool {

namespace {

using Box = QorMath::Rectangle<long long>;

QorSc::ResampleMode ModeFor(const RenderSettings& settings) {
  if (settings.anti_alias <= 1) return QorSc::kResampleNone;
  const int aa = std::min(settings.anti_alias, 4);
  if (settings.filter == AntiAliasFilter::kBox) {
    return static_cast<QorSc::ResampleMode>(QorSc::kResampleBox2 + (aa - 2));
  }
  return static_cast<QorSc::ResampleMode>(QorSc::kResampleTent2 + (aa - 2));
}

class BandRenderer {
 public:
  // With `pixels`, lines are handed out pixel after pixel.
  BandRenderer(const PageInput& page, const PlateSet& plates, const RenderSettings& settings,
               PixelSize size, bool pixels)
      : page_(page),
        settings_(settings),
        width_(size.width),
        plate_count_(plates.names.size()),
        environment_(page.world_box, size.width, size.height),
        resample_(ModeFor(settings)),
        options_(plates.options),
        label_options_(false, page.document->GetSeparationInfo()),
        pixels_(pixels),
        line_((plate_count_ + (settings.halftone_labels ? 1 : 0)) *
              static_cast<std::size_t>(size.width)),
        pixel_line_(pixels ? line_.size() : 0) {
    label_options_.SetHalftoneMode(QorSc::kHalftoneLabels);
    // One final pixel is f pixels of the initial grid the plates are converted on;
    // labels are converted on the final grid.
    options_.SetMinimalStrokeWidth(MinimalStrokeWidthFor(
        resample_.GetInitialEnvironment(environment_),
        settings.min_line_width *
            static_cast<double>(std::max<std::uint64_t>(1, resample_.Factor()))));
    label_options_.SetMinimalStrokeWidth(
        MinimalStrokeWidthFor(environment_, settings.min_line_width));
  }

  std::size_t LineBytes() const { return line_.size(); }
  // Without a band, lines go where `sink` asks for them (LineSink::NextLine).
  void SetLineTarget(LineSink* sink) { line_target_ = sink; }

  // Calls emit(const unsigned char* line) for every final line of [top, bottom).
  // With `band`, line k of the band is rendered at band + k × LineBytes() (without
  // anti-aliasing straight there: a band of lines is not copied again) and emit sees
  // it there.
  template <class Emit>
  void Render(long long top, long long bottom, unsigned char* band, Emit&& emit) {
    const Box final_box{0, top, width_, bottom};
    const auto w = static_cast<std::size_t>(width_);
    std::optional<QorSc::ScanConverter> labels;
    if (settings_.halftone_labels) {
      labels.emplace(Collect(environment_, label_options_, final_box));
    }
    const std::size_t line_bytes = LineBytes();
    // Where the final line y goes.
    auto target = [&](long long y) {
      if (band != nullptr) return band + static_cast<std::size_t>(y - top) * line_bytes;
      if (line_target_ != nullptr) {
        if (unsigned char* line = line_target_->NextLine()) return line;
      }
      return pixels_ ? pixel_line_.data() : line_.data();
    };
    // Adds the labels to the planes of final line y at `planar` and hands the line
    // out in the sink's layout.
    auto finish_line = [&](long long y, unsigned char* planar) {
      if (labels && !labels->GetLine255PlaneInterleaved(planar + plate_count_ * w, w)) {
        throw std::logic_error("the label conversion ended early");
      }
      unsigned char* line = target(y);
      if (pixels_) {
        QorColor::InterleavePlanes(planar, w, plate_count_ + (labels ? 1 : 0), line);
      } else if (line != planar) {
        std::copy(planar, planar + line_bytes, line);
      }
      emit(static_cast<const unsigned char*>(line));
    };

    if (resample_.Mode() == QorSc::kResampleNone) {
      QorSc::ScanConverter converter(Collect(environment_, options_, final_box));
      const bool direct = pixels_ && !labels;
      for (long long y = top; y < bottom; ++y) {
        CheckInterrupt();
        if (direct) {
          unsigned char* line = target(y);
          if (!converter.GetLine255PixelInterleaved(line)) {
            throw std::logic_error("the conversion ended early");
          }
          emit(static_cast<const unsigned char*>(line));
          continue;
        }
        // Planes of a pixel line are made beside it first.
        unsigned char* planar = pixels_ ? line_.data() : target(y);
        if (!converter.GetLine255PlaneInterleaved(planar, w)) {
          throw std::logic_error("the conversion ended early");
        }
        finish_line(y, planar);
      }
      return;
    }

    const QorSc::Environment initial = resample_.GetInitialEnvironment(environment_);
    const Box initial_box = resample_.GetInitialFromFinalPixelBox(final_box);
    const auto iw = static_cast<std::size_t>(initial_box.Width());
    initial_line_.resize(plate_count_ * iw);
    std::vector<QorSc::Resampler> resamplers;
    resamplers.reserve(plate_count_);
    for (std::size_t p = 0; p < plate_count_; ++p) {
      resamplers.emplace_back(resample_, final_box, 1, line_.data() + p * w, 0);
    }
    QorSc::ScanConverter converter(Collect(initial, options_, initial_box));
    const auto f = static_cast<long long>(resample_.Factor());
    const bool shift = resample_.NeedsShift();
    long long written = 0;
    for (long long i = 0; converter.GetLine255PlaneInterleaved(initial_line_.data(), iw); ++i) {
      CheckInterrupt();
      for (std::size_t p = 0; p < plate_count_; ++p) {
        resamplers[p].AddLine(initial_line_.data() + p * iw);
      }
      const bool completes = shift ? (i > 0 && i % f == 0) : ((i + 1) % f == 0);
      if (completes) {
        finish_line(top + written, line_.data());
        ++written;
      }
    }
    if (written != bottom - top) throw std::logic_error("the resampler ended early");
  }

 private:
  QorSc::ObjectCollection Collect(const QorSc::Environment& environment,
                                  const QorSc::Options& options, const Box& box) const {
    return QorSc::CollectObjects(environment, options, box, *page_.content, {},
                                 DefaultVisibility());
  }

  void CheckInterrupt() const {
    if (settings_.interrupt != nullptr && settings_.interrupt->load(std::memory_order_relaxed)) {
      throw Interrupted();
    }
  }

  const PageInput& page_;
  const RenderSettings& settings_;
  long long width_;
  std::size_t plate_count_;
  QorSc::Environment environment_;
  QorSc::ResampleEnvironment resample_;  // outlives the band's resamplers
  QorSc::Options options_;               // the plates' options with the minimal stroke width
  QorSc::Options label_options_;
  bool pixels_;
  LineSink* line_target_ = nullptr;
  std::vector<unsigned char> line_;        // a final line's planes
  std::vector<unsigned char> pixel_line_;  // a pixel line, without a band to write it to
  std::vector<unsigned char> initial_line_;
};

// The shared state of a threaded render.
class BandQueue {
 public:
  BandQueue(long long bands, std::size_t slots) : bands_(bands), slots_(slots) {}

  // The next band a worker should render, or nothing when all are claimed or the
  // render stopped. Waits while the band's slot still holds an unwritten band.
  std::optional<long long> Claim() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] {
      return stopped_ || next_claim_ >= bands_ ||
             next_claim_ < written_ + static_cast<long long>(slots_.size());
    });
    if (stopped_ || next_claim_ >= bands_) return std::nullopt;
    return next_claim_++;
  }

  // A band's rendered lines, or its encoding when the sink encodes bands.
  std::vector<unsigned char>& Buffer(long long band) { return slots_[SlotOf(band)].data; }
  EncodedBand& Encoded(long long band) { return slots_[SlotOf(band)].encoded; }

  void Publish(long long band) {
    {
      std::lock_guard lock(mutex_);
      slots_[SlotOf(band)].ready = true;
    }
    changed_.notify_all();
  }

  // Waits until `band` is ready; false when the render stopped.
  bool WaitFor(long long band) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return stopped_ || slots_[SlotOf(band)].ready; });
    return !stopped_;
  }

  void Release(long long band) {
    {
      std::lock_guard lock(mutex_);
      slots_[SlotOf(band)].ready = false;
      ++written_;
    }
    changed_.notify_all();
  }

  void Fail(std::exception_ptr error) {
    {
      std::lock_guard lock(mutex_);
      if (!error_) error_ = std::move(error);
      stopped_ = true;
    }
    changed_.notify_all();
  }

  std::exception_ptr Error() {
    std::lock_guard lock(mutex_);
    return error_;
  }

 private:
  struct Slot {
    std::vector<unsigned char> data;
    EncodedBand encoded;
    bool ready = false;
  };

  std::size_t SlotOf(long long band) const {
    return static_cast<std::size_t>(band) % slots_.size();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  long long bands_;
  long long next_claim_ = 0;
  long long written_ = 0;
  bool stopped_ = false;
  std::exception_ptr error_;
  std::vector<Slot> slots_;
};

}  // namespace

void LineSink::WriteLines(const unsigned char* lines, std::size_t line_bytes, long long count) {
  for (long long k = 0; k < count; ++k)
    WriteLine(lines + static_cast<std::size_t>(k) * line_bytes);
}

void LineSink::WriteBand(const EncodedBand&, long long) {
  throw std::logic_error("this output takes lines, not encoded bands");
}

const QorSc::ObjectSelection& DefaultVisibility() {
  static const QorSc::ObjectSelection selection{
      [](const std::shared_ptr<QorDoc::LayerProperties>& layer) {
        return layer == nullptr || layer->IsVisibleByDefault();
      },
      true,
      {}};
  return selection;
}

long long MinimalStrokeWidthFor(const QorSc::Environment& environment, double pixels) {
  if (!(pixels > 0.0)) return 0;
  const double fx = environment.WorldToInternalXFactor();
  const double fy = environment.WorldToInternalYFactor();
  const double units = std::ceil(pixels * std::sqrt(fx * fx + fy * fy) / std::min(fx, fy));
  // A degenerate page (no extent on one axis) has nothing to guarantee.
  if (!std::isfinite(units) || units <= 0.0) return 0;
  return static_cast<long long>(std::min(units, 1e15));
}

PixelSize PagePixelSize(const Morv::MilliPointRectangle& world_box, double resolution) {
  auto pixels = [&](double millipoints) {
    const double value = std::round(millipoints / 72000.0 * resolution);
    if (!(value < 2147483647.0)) throw std::invalid_argument("the page is too large to render");
    return std::max(1LL, static_cast<long long>(value));
  };
  return {pixels(world_box.Width()), pixels(world_box.Height())};
}

void CheckPageSize(PixelSize size, std::size_t plates, const RenderSettings& settings) {
  const auto refuse = [&](const std::string& why) {
    throw std::invalid_argument("the page is too large to render: " + std::to_string(size.width) +
                                " x " + std::to_string(size.height) + " pixels at " +
                                std::to_string(static_cast<long long>(settings.resolution)) +
                                " dpi (" + why + ")");
  };
  if (size.width > kMaxPageSide || size.height > kMaxPageSide) {
    refuse("at most " + std::to_string(kMaxPageSide) + " pixels a side");
  }
  constexpr std::size_t kAuxiliaryPlanes = 3;
  const auto factor = static_cast<std::size_t>(std::clamp(settings.anti_alias, 1, 4));
  const std::size_t line_bytes =
      static_cast<std::size_t>(size.width) * factor * (plates + kAuxiliaryPlanes) * sizeof(float);
  if (line_bytes > kMaxLineBytes) {
    refuse("a line of " + std::to_string(plates) + " plates would need " +
           std::to_string(line_bytes >> 20) + " MiB, at most " +
           std::to_string(kMaxLineBytes >> 20) + " MiB");
  }
}

long long ChooseBandLines(long long width, long long height, std::size_t planes,
                          const RenderSettings& settings) {
  if (settings.band_lines > 0) return settings.band_lines;
  // About 8 MB per band buffer, and at least four bands per thread so that the
  // threads stay busy on short pages; never so small that collection dominates.
  constexpr double kBandBytes = 8.0 * 1024 * 1024;
  const double line_bytes = static_cast<double>(std::max<std::size_t>(planes, 1)) *
                            static_cast<double>(std::max(width, 1LL));
  long long lines = static_cast<long long>(kBandBytes / line_bytes);
  const long long threads = std::max(1u, settings.threads);
  lines = std::min(lines, (height + 4 * threads - 1) / (4 * threads));
  return std::clamp(lines, 16LL, 1024LL);
}

void RenderPage(const PageInput& page, const PlateSet& plates, const RenderSettings& settings,
                LineSink& sink, const ProgressFunction& progress) {
  if (page.document == nullptr || page.content == nullptr) {
    throw std::invalid_argument("RenderPage: no page content");
  }
  const PixelSize size = PagePixelSize(page.world_box, settings.resolution);
  CheckPageSize(size, plates.names.size(), settings);
  const std::size_t planes = plates.names.size() + (settings.halftone_labels ? 1 : 0);
  long long band_lines = ChooseBandLines(size.width, size.height, planes, settings);
  if (settings.threads > 1) {
    // Bands the sink encodes hold whole units of its encoding (TIFF strips).
    const long long multiple = std::max(1LL, sink.BandLineMultiple());
    band_lines = (band_lines + multiple - 1) / multiple * multiple;
  }
  const long long bands = (size.height + band_lines - 1) / band_lines;
  long long lines_done = 0;
  auto report = [&] {
    if (settings.interrupt != nullptr && settings.interrupt->load(std::memory_order_relaxed)) {
      throw Interrupted();
    }
    ++lines_done;
    if (progress) progress(lines_done);
  };

  if (settings.threads <= 1 || bands <= 1) {
    BandRenderer renderer(page, plates, settings, size, sink.TakesPixels());
    renderer.SetLineTarget(&sink);
    renderer.Render(0, size.height, nullptr, [&](const unsigned char* line) {
      sink.WriteLine(line);
      report();
    });
    return;
  }

  const auto threads = static_cast<unsigned>(std::min<long long>(settings.threads, bands));
  // One encoder per worker, made here: sinks need not make them thread-safely.
  std::vector<std::unique_ptr<BandEncoder>> encoders;
  for (unsigned t = 0; t < threads; ++t) {
    encoders.push_back(sink.MakeBandEncoder());
    if (encoders.back() == nullptr) {
      encoders.clear();
      break;
    }
  }
  BandQueue queue(bands, 2 * static_cast<std::size_t>(threads));
  const bool pixels = sink.TakesPixels();
  auto work = [&](BandEncoder* encoder) {
    try {
      BandRenderer renderer(page, plates, settings, size, pixels);
      const std::size_t line_bytes = renderer.LineBytes();
      std::vector<unsigned char> lines;  // an encoded band's lines before encoding
      while (const std::optional<long long> band = queue.Claim()) {
        const long long top = *band * band_lines;
        const long long bottom = std::min(size.height, top + band_lines);
        std::vector<unsigned char>& buffer = encoder != nullptr ? lines : queue.Buffer(*band);
        buffer.resize(static_cast<std::size_t>(bottom - top) * line_bytes);
        renderer.Render(top, bottom, buffer.data(), [](const unsigned char*) {});
        if (encoder != nullptr) encoder->Encode(lines.data(), bottom - top, queue.Encoded(*band));
        queue.Publish(*band);
      }
    } catch (...) {
      queue.Fail(std::current_exception());
    }
  };
  std::vector<std::thread> workers;
  workers.reserve(threads);
  // Joins on every exit path: a thread must never outlive the queue it uses.
  struct Joiner {
    std::vector<std::thread>& threads;
    ~Joiner() {
      for (std::thread& t : threads)
        t.join();
    }
  } joiner{workers};
  for (unsigned t = 0; t < threads; ++t)
    workers.emplace_back(work, encoders.empty() ? nullptr : encoders[t].get());

  const std::size_t line_bytes = planes * static_cast<std::size_t>(size.width);
  try {
    for (long long band = 0; band < bands; ++band) {
      if (!queue.WaitFor(band)) break;
      if (!encoders.empty()) {
        const long long lines = std::min(size.height, (band + 1) * band_lines) - band * band_lines;
        sink.WriteBand(queue.Encoded(band), lines);
        for (long long k = 0; k < lines; ++k)
          report();
      } else {
        const std::vector<unsigned char>& buffer = queue.Buffer(band);
        const auto lines = static_cast<long long>(buffer.size() / line_bytes);
        sink.WriteLines(buffer.data(), line_bytes, lines);
        for (long long k = 0; k < lines; ++k)
          report();
      }
      queue.Release(band);
    }
  } catch (...) {
    queue.Fail(std::current_exception());
  }
  for (std::thread& t : workers)
    t.join();
  workers.clear();
  if (std::exception_ptr error = queue.Error()) std::rethrow_exception(error);
}

}  // namespace QorScTool
