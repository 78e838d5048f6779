// The line driver's public face: one line per call, handed out in four shapes.
// Per line: a pooled line buffer, the renderer's objects, then the output; nothing
// allocates in the steady state except what a caller asks to be returned by value.

#include "scan/scan_converter.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "frame/line_renderer.h"

namespace QorSc {

unsigned char ComponentToByte(QorColor::Component v) {
  const float scaled = v * 255.0f + 0.5f;
  int b = 0;
  // Outside int's range (or NaN) a cast would be undefined: clamp first.
  if (scaled >= 2147483648.0f) {
    b = INT_MAX;
  } else if (scaled > -2147483648.0f) {
    b = static_cast<int>(scaled);
  } else if (scaled == scaled) {
    b = INT_MIN;
  }
  auto byte = static_cast<unsigned char>(b & 0xFF);
  if (byte == 0 && static_cast<double>(v) >= 1e-6) byte = 1;
  return byte;
}

struct ScanConverter::Impl {
  Impl(ObjectCollection&& collection)
      : pools(collection.pixelBox.left, collection.pixelBox.right),
        renderer(collection.environment, collection.pixelBox, collection.options,
                 std::move(collection.objects), pools),
        box(collection.pixelBox),
        separations(collection.options.GetBlendingSeparations().Size()),
        // Never empty, so that GetLine hands out a real pointer even for a line of no
        // components (no width, or no separations): only the end of the page is null.
        interleaved(std::max<std::size_t>(
            1, static_cast<std::size_t>(std::max(0LL, box.Width())) * separations)) {}

  // Renders the next line into a pooled buffer; null at the end of the page.
  std::unique_ptr<LineBuffer> NextLine(std::vector<std::size_t>* hits) {
    const long long y = current + 1;
    if (y >= box.bottom) return nullptr;
    current = y;
    std::unique_ptr<LineBuffer> line = pools.AcquireLine(separations + 3);
    renderer.RenderLine(y, *line, hits);
    return line;
  }

  void WritePlane(const LineBuffer& line, std::size_t p, unsigned char* out) const {
    const long long left = line.Left();
    const PixelPlane<const float> values = line.Plane(p);
    for (std::size_t i = 0; i < line.IntervalCount();) {
      const std::uint8_t state = line.Row(i)[p];
      const long long s = line.Start(i);
      std::size_t j = i + 1;
      // Neighbours of equal state are written in one go (constants only when equal).
      while (j < line.IntervalCount() && line.Row(j)[p] == state &&
             (state != kStateConstant || values[line.Start(j)] == values[s])) {
        ++j;
      }
      const long long e = line.End(j - 1);
      unsigned char* dst = out + (s - left);
      const auto n = static_cast<std::size_t>(e - s);
      switch (state) {
        case kStateZero:
          std::memset(dst, 0, n);
          break;
        case kStateFull:
          std::memset(dst, 255, n);
          break;
        case kStateConstant:
          std::memset(dst, ComponentToByte(values[s]), n);
          break;
        case kStatePerPixel:
          for (std::size_t k = 0; k < n; ++k)
            dst[k] = ComponentToByte(values[s + static_cast<long long>(k)]);
          break;
        default:  // not painted on this level: the caller's bytes stay
          break;
      }
      i = j;
    }
  }

  ConversionPools pools;
  LineRenderer renderer;
  QorMath::Rectangle<long long> box;
  std::size_t separations;
  long long current = box.top - 1;
  std::vector<QorColor::Component> interleaved;
};

ScanConverter::ScanConverter(ObjectCollection collection)
    : impl_(std::make_unique<Impl>(std::move(collection))) {}
ScanConverter::ScanConverter(ScanConverter&&) noexcept = default;
ScanConverter& ScanConverter::operator=(ScanConverter&&) noexcept = default;
ScanConverter::~ScanConverter() = default;

const QorColor::Component* ScanConverter::GetLine() {
  std::unique_ptr<LineBuffer> line = impl_->NextLine(nullptr);
  if (!line) return nullptr;
  const std::size_t s_count = impl_->separations;
  line->Resolve(0, s_count);
  const long long left = line->Left();
  const auto width = static_cast<std::size_t>(line->Right() - left);
  for (std::size_t s = 0; s < s_count; ++s) {
    const float* plane = line->Plane(s).At(left);
    for (std::size_t x = 0; x < width; ++x)
      impl_->interleaved[x * s_count + s] = plane[x];
  }
  impl_->pools.ReleaseLine(std::move(line));
  return impl_->interleaved.data();
}

std::vector<const QorColor::Component*> ScanConverter::GetLineAsPlaneInterleaved() {
  std::unique_ptr<LineBuffer> line = impl_->NextLine(nullptr);
  if (!line) return {};
  line->Resolve(0, impl_->separations);
  std::vector<const QorColor::Component*> planes;
  planes.reserve(impl_->separations);
  for (std::size_t s = 0; s < impl_->separations; ++s) {
    planes.push_back(line->Plane(s).At(line->Left()));
  }
  // The planes stay valid until the next call: the buffer goes back to the pool
  // and is reset only when the next line takes it.
  impl_->pools.ReleaseLine(std::move(line));
  return planes;
}

bool ScanConverter::GetLine255PlaneInterleaved(unsigned char* planes, unsigned char* extra1,
                                               unsigned char* extra2, std::size_t stride) {
  std::unique_ptr<LineBuffer> line = impl_->NextLine(nullptr);
  if (!line) return false;
  line->Coalesce();
  if (planes != nullptr) {
    for (std::size_t s = 0; s < impl_->separations; ++s) {
      impl_->WritePlane(*line, s, planes + s * stride);
    }
  }
  if (extra1 != nullptr) impl_->WritePlane(*line, line->AlphaPlane(), extra1);
  if (extra2 != nullptr) impl_->WritePlane(*line, line->ShapePlane(), extra2);
  impl_->pools.ReleaseLine(std::move(line));
  return true;
}

bool ScanConverter::GetLine255PlaneInterleaved(unsigned char* planes) {
  return GetLine255PlaneInterleaved(planes, nullptr, nullptr,
                                    static_cast<std::size_t>(std::max(0LL, impl_->box.Width())));
}

bool ScanConverter::GetLine255PlaneInterleaved(unsigned char* planes, std::size_t stride) {
  return GetLine255PlaneInterleaved(planes, nullptr, nullptr, stride);
}

std::vector<std::size_t> ScanConverter::GetObjectsOnNextLine() {
  std::vector<std::size_t> ids = impl_->pools.AcquireIdentifiers();
  std::unique_ptr<LineBuffer> line = impl_->NextLine(&ids);
  if (line) impl_->pools.ReleaseLine(std::move(line));
  std::vector<std::size_t> result(ids.begin(), ids.end());
  impl_->pools.ReleaseIdentifiers(std::move(ids));
  return result;
}

}  // namespace QorSc
