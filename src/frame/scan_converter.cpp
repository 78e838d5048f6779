// The line driver's public face: one line per call, handed out in five shapes.
// Per line: a pooled line buffer, the renderer's objects, then the output; nothing
// allocates in the steady state except what a caller asks to be returned by value.

#include "scan/scan_converter.h"

#include <algorithm>
#include <cstring>

#include "frame/component_byte.h"
#include "frame/line_renderer.h"
#include "frame/pixel_bytes.h"

namespace QorSc {

unsigned char ComponentToByte(QorColor::Component v) {
  return ComponentByte(v);
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

  // Uniform intervals become one byte each, and neighbours that print the same
  // byte are written with one fill, whatever their states.
  void WritePlane(const LineBuffer& line, std::size_t p, unsigned char* out) const {
    const long long left = line.Left();
    const PixelPlane<const float> values = line.Plane(p);
    long long fill_start = left;  // a pending fill [fill_start, fill_end) of fill_byte
    long long fill_end = left;
    unsigned char fill_byte = 0;
    const auto flush = [&] {
      if (fill_end > fill_start)
        std::memset(out + (fill_start - left), fill_byte,
                    static_cast<std::size_t>(fill_end - fill_start));
      fill_start = fill_end;
    };
    const std::size_t count = line.IntervalCount();
    for (std::size_t i = 0; i < count; ++i) {
      const long long s = line.Start(i);
      const long long e = line.End(i);
      unsigned char byte = 0;
      switch (line.Row(i)[p]) {
        case kStateZero:
          break;
        case kStateFull:
          byte = 255;
          break;
        case kStateConstant:
          byte = ComponentByte(values[s]);
          break;
        case kStatePerPixel:
          flush();
          component_bytes(values.At(s), static_cast<std::size_t>(e - s), out + (s - left));
          fill_start = fill_end = e;
          continue;
        default:  // not painted on this level: the caller's bytes stay
          flush();
          fill_start = fill_end = e;
          continue;
      }
      if (byte != fill_byte) {
        flush();
        fill_byte = byte;
      }
      fill_end = e;
    }
    flush();
  }

  // The pixel-interleaved byte output, made on its first use.
  PixelBytes& Pixels() {
    if (!pixel_bytes) {
      pixel_bytes = std::make_unique<PixelBytes>(
          separations, static_cast<std::size_t>(std::max(0LL, box.Width())), component_bytes);
    }
    return *pixel_bytes;
  }

  ConversionPools pools;
  LineRenderer renderer;
  QorMath::Rectangle<long long> box;
  std::size_t separations;
  long long current = box.top - 1;
  std::vector<QorColor::Component> interleaved;
  // Per-pixel stretches to bytes: the widest instructions this processor has.
  ComponentBytesFunction component_bytes = SelectComponentBytes();
  std::unique_ptr<PixelBytes> pixel_bytes;
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
  // WritePlane joins equal neighbours per plane, so the map needs no coalescing.
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

bool ScanConverter::GetLine255PixelInterleaved(unsigned char* pixels) {
  std::unique_ptr<LineBuffer> line = impl_->NextLine(nullptr);
  if (!line) return false;
  impl_->Pixels().Write(*line, pixels);
  impl_->pools.ReleaseLine(std::move(line));
  return true;
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
