// libtiff behind TiffWriter and TiffStripEncoder. Errors are collected through a
// per-handle error handler (TIFFFdOpenExt, TIFFClientOpenExt) rather than libtiff's
// process-wide one, so several files written at once keep their messages apart and
// nothing is printed behind the tool's back.
#include "tiff_writer.h"

#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "output_file.h"

namespace QorScTool {

struct TiffWriter::Handle {
  TIFF* tiff = nullptr;
  std::string path;
  std::string error;
  std::size_t width = 0;
  std::size_t samples = 0;
  std::uint32_t row = 0;
  std::uint32_t height = 0;
  // The row handed to libtiff, which may rework its buffer while encoding.
  std::vector<unsigned char> row_bytes;

  [[noreturn]] void Fail(const std::string& what) const {
    throw std::runtime_error("cannot write '" + path + "': " + what +
                             (error.empty() ? "" : " (" + error + ")"));
  }
};

namespace {

int CollectError(TIFF*, void* user_data, const char* module, const char* format, va_list args) {
  auto* handle = static_cast<TiffWriter::Handle*>(user_data);
  char message[512];
  std::vsnprintf(message, sizeof message, format, args);
  if (handle->error.empty()) {
    handle->error = module != nullptr ? std::string(module) + ": " + message : message;
  }
  return 1;
}

int IgnoreWarning(TIFF*, void*, const char*, const char*, va_list) {
  return 1;
}

template <class... Values>
void Set(TiffWriter::Handle& handle, ttag_t tag, Values... values) {
  if (TIFFSetField(handle.tiff, tag, values...) != 1) {
    handle.Fail("cannot set TIFF tag " + std::to_string(tag));
  }
}

// Every tag of `layout`, for an image of `height` rows: the file and the in-memory
// strips of an encoder must be set up alike for their strips to be the same bytes.
void ApplyLayout(TiffWriter::Handle& h, const TiffLayout& layout, long long height) {
  const std::size_t inks = layout.inks.size();
  Set(h, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(layout.width));
  Set(h, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(height));
  Set(h, TIFFTAG_BITSPERSAMPLE, 8);
  Set(h, TIFFTAG_SAMPLESPERPIXEL, static_cast<int>(h.samples));
  Set(h, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  Set(h, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  Set(h, TIFFTAG_XRESOLUTION, layout.resolution);
  Set(h, TIFFTAG_YRESOLUTION, layout.resolution);
  Set(h, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  Set(h, TIFFTAG_SOFTWARE, "qorsc");
  if (inks > 1) {
    Set(h, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_SEPARATED);
    const bool cmyk = inks == 4 && layout.inks[0] == "Cyan" && layout.inks[1] == "Magenta" &&
                      layout.inks[2] == "Yellow" && layout.inks[3] == "Black";
    Set(h, TIFFTAG_INKSET, cmyk ? INKSET_CMYK : INKSET_MULTIINK);
    Set(h, TIFFTAG_NUMBEROFINKS, static_cast<int>(inks));
    std::string names;
    for (const std::string& ink : layout.inks)
      names += ink + '\0';
    Set(h, TIFFTAG_INKNAMES, static_cast<int>(names.size()), names.c_str());
  } else if (inks == 1) {
    Set(h, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    Set(h, TIFFTAG_PAGENAME, layout.inks[0].c_str());
  } else {
    Set(h, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    Set(h, TIFFTAG_PAGENAME, "halftone labels");
  }
  if (layout.label_sample && inks > 0) {
    const std::uint16_t extra[1] = {EXTRASAMPLE_UNSPECIFIED};
    Set(h, TIFFTAG_EXTRASAMPLES, 1, extra);
  }
  switch (layout.compression) {
    case TiffCompression::kNone:
      Set(h, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
      break;
    case TiffCompression::kLzw:
      Set(h, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
      Set(h, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
      break;
    case TiffCompression::kDeflate:
      Set(h, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
      Set(h, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
      break;
  }
  Set(h, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(TiffRowsPerStrip(layout)));
}

std::size_t SamplesOf(const TiffLayout& layout) {
  return layout.inks.size() + (layout.label_sample ? 1 : 0);
}

}  // namespace

long long TiffRowsPerStrip(const TiffLayout& layout) {
  const auto row_bytes = static_cast<std::size_t>(std::max(1LL, layout.width)) *
                         std::max<std::size_t>(1, SamplesOf(layout));
  return static_cast<long long>(std::max<std::size_t>(1, (256 * 1024) / row_bytes));
}

TiffWriter::TiffWriter(const std::filesystem::path& path, const TiffLayout& layout)
    : layout_(layout), handle_(std::make_unique<Handle>()) {
  Handle& h = *handle_;
  h.path = path.string();
  h.width = static_cast<std::size_t>(layout.width);
  h.height = static_cast<std::uint32_t>(layout.height);
  h.samples = SamplesOf(layout);
  if (h.samples == 0 || layout.width <= 0 || layout.height <= 0) h.Fail("nothing to write");
  h.row_bytes.resize(h.width * h.samples);

  const double raw = static_cast<double>(layout.width) * static_cast<double>(layout.height) *
                     static_cast<double>(h.samples);
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options, CollectError, &h);
  TIFFOpenOptionsSetWarningHandlerExtR(options, IgnoreWarning, nullptr);
  // libtiff closes the descriptor with the handle; it is ours only when the open fails.
  const int fd = OpenForWriting(h.path);
  if (fd >= 0) h.tiff = TIFFFdOpenExt(fd, h.path.c_str(), raw > 3.5e9 ? "w8" : "w", options);
  TIFFOpenOptionsFree(options);
  if (h.tiff == nullptr) {
    if (fd >= 0) close(fd);
    h.Fail(fd >= 0 ? "cannot create the file" : std::strerror(errno));
  }

  ApplyLayout(h, layout, layout.height);
  // libtiff complains about NumberOfInks below SamplesPerPixel although an extra
  // sample makes exactly that correct; only messages of later failures matter.
  h.error.clear();
}

TiffWriter::~TiffWriter() {
  if (handle_->tiff != nullptr) TIFFClose(handle_->tiff);
}

void TiffWriter::WriteLine(const unsigned char* pixels) {
  Handle& h = *handle_;
  if (h.tiff == nullptr) h.Fail("the file is already closed");
  std::copy(pixels, pixels + h.row_bytes.size(), h.row_bytes.begin());
  if (TIFFWriteScanline(h.tiff, h.row_bytes.data(), h.row, 0) != 1) h.Fail("write failed");
  ++h.row;
}

std::unique_ptr<BandEncoder> TiffWriter::MakeBandEncoder() const {
  class Encoder final : public BandEncoder {
   public:
    Encoder(const TiffLayout& layout) : strips_(layout) {
      row_bytes_ = static_cast<std::size_t>(layout.width) * SamplesOf(layout);
    }
    void Encode(const unsigned char* lines, long long count, EncodedBand& out) override {
      out.Clear();
      strips_.Encode(lines, row_bytes_, count, out);
    }

   private:
    TiffStripEncoder strips_;
    std::size_t row_bytes_;
  };
  return std::make_unique<Encoder>(layout_);
}

long long TiffWriter::BandLineMultiple() const {
  return TiffRowsPerStrip(layout_);
}

void TiffWriter::WriteBand(const EncodedBand& band, long long lines) {
  std::size_t chunk = 0;
  WriteStrips(band, chunk, lines);
}

void TiffWriter::WriteStrips(const EncodedBand& band, std::size_t& chunk, long long lines) {
  Handle& h = *handle_;
  if (h.tiff == nullptr) h.Fail("the file is already closed");
  const long long rows = TiffRowsPerStrip(layout_);
  std::size_t offset = 0;
  for (std::size_t c = 0; c < chunk; ++c)
    offset += band.chunks[c];
  for (long long done = 0; done < lines; done += rows) {
    if (h.row % rows != 0 || chunk >= band.chunks.size()) h.Fail("strips out of order");
    const auto strip = static_cast<std::uint32_t>(h.row / rows);
    // libtiff takes the data as non-const but only writes it out.
    auto* data = const_cast<unsigned char*>(band.bytes.data() + offset);
    const auto size = static_cast<tmsize_t>(band.chunks[chunk]);
    if (TIFFWriteRawStrip(h.tiff, strip, data, size) != size) h.Fail("write failed");
    offset += band.chunks[chunk];
    ++chunk;
    h.row += static_cast<std::uint32_t>(std::min<long long>(rows, h.height - h.row));
  }
}

void TiffWriter::Finish() {
  Handle& h = *handle_;
  if (h.tiff == nullptr) return;
  if (h.row != h.height)
    h.Fail("only " + std::to_string(h.row) + " of " + std::to_string(h.height) +
           " lines were written");
  const bool flushed = TIFFFlush(h.tiff) == 1;
  TIFFClose(h.tiff);
  h.tiff = nullptr;
  if (!flushed) h.Fail("cannot complete the file");
}

// A TIFF in memory: libtiff writes its strips through these procedures.
struct TiffStripEncoder::Memory {
  std::vector<unsigned char> bytes;
  std::uint64_t position = 0;
  TiffWriter::Handle handle;

  static tmsize_t Read(thandle_t m, void* data, tmsize_t size) {
    auto& self = *static_cast<Memory*>(m);
    const auto n = static_cast<std::size_t>(std::clamp<std::int64_t>(
        static_cast<std::int64_t>(self.bytes.size()) - static_cast<std::int64_t>(self.position), 0,
        size));
    std::memcpy(data, self.bytes.data() + self.position, n);
    self.position += n;
    return static_cast<tmsize_t>(n);
  }
  static tmsize_t Write(thandle_t m, void* data, tmsize_t size) {
    auto& self = *static_cast<Memory*>(m);
    const auto n = static_cast<std::size_t>(size);
    // Appended rather than cleared and copied over: strips are written at the end.
    if (self.bytes.size() < self.position) self.bytes.resize(self.position);
    const std::size_t over = std::min(n, self.bytes.size() - self.position);
    const auto* from = static_cast<const unsigned char*>(data);
    if (over > 0) std::memcpy(self.bytes.data() + self.position, from, over);
    self.bytes.insert(self.bytes.end(), from + over, from + n);
    self.position += n;
    return size;
  }
  static toff_t Seek(thandle_t m, toff_t offset, int whence) {
    auto& self = *static_cast<Memory*>(m);
    if (whence == SEEK_CUR) offset += self.position;
    if (whence == SEEK_END) offset += self.bytes.size();
    self.position = offset;
    return offset;
  }
  static int Close(thandle_t) { return 0; }
  static toff_t Size(thandle_t m) { return static_cast<Memory*>(m)->bytes.size(); }
  static int Map(thandle_t, void**, toff_t*) { return 0; }
  static void Unmap(thandle_t, void*, toff_t) {}
};

TiffStripEncoder::TiffStripEncoder(const TiffLayout& layout)
    : layout_(layout),
      row_(static_cast<std::size_t>(layout.width) * SamplesOf(layout)),
      memory_(std::make_unique<Memory>()) {
  memory_->handle.path = "strips in memory";
  memory_->handle.width = static_cast<std::size_t>(layout.width);
  memory_->handle.samples = SamplesOf(layout);
}

TiffStripEncoder::~TiffStripEncoder() = default;

void TiffStripEncoder::Encode(const unsigned char* rows, std::size_t rowStride, long long count,
                              EncodedBand& out) {
  Memory& m = *memory_;
  TiffWriter::Handle& h = m.handle;
  m.bytes.clear();
  m.position = 0;
  h.error.clear();
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options, CollectError, &h);
  TIFFOpenOptionsSetWarningHandlerExtR(options, IgnoreWarning, nullptr);
  h.tiff = TIFFClientOpenExt(h.path.c_str(), "w", &m, Memory::Read, Memory::Write, Memory::Seek,
                             Memory::Close, Memory::Size, Memory::Map, Memory::Unmap, options);
  TIFFOpenOptionsFree(options);
  if (h.tiff == nullptr) h.Fail("cannot set up the encoder");
  // Frees the in-memory TIFF on every way out; its directory is never written.
  struct Cleanup {
    TIFF*& tiff;
    ~Cleanup() {
      TIFFCleanup(tiff);
      tiff = nullptr;
    }
  } cleanup{h.tiff};
  ApplyLayout(h, layout_, count);
  for (long long r = 0; r < count; ++r) {
    const unsigned char* pixels = rows + static_cast<std::size_t>(r) * rowStride;
    std::copy(pixels, pixels + row_.size(), row_.begin());
    if (TIFFWriteScanline(h.tiff, row_.data(), static_cast<std::uint32_t>(r), 0) != 1) {
      h.Fail("encoding failed");
    }
  }
  if (TIFFFlushData(h.tiff) != 1) h.Fail("encoding failed");
  const std::uint32_t strips = TIFFNumberOfStrips(h.tiff);
  for (std::uint32_t s = 0; s < strips; ++s) {
    const auto offset = static_cast<std::size_t>(TIFFGetStrileOffset(h.tiff, s));
    const auto size = static_cast<std::size_t>(TIFFGetStrileByteCount(h.tiff, s));
    if (offset + size > m.bytes.size()) h.Fail("encoding failed");
    out.Add(m.bytes.data() + offset, size);
  }
}

}  // namespace QorScTool
