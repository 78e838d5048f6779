// libtiff behind TiffWriter. Errors are collected through a per-handle error handler
// (TIFFOpenExt) rather than libtiff's process-wide one, so several files written at
// once keep their messages apart and nothing is printed behind the tool's back.
#include "tiff_writer.h"

#include <tiffio.h>

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace QorScTool {

struct TiffWriter::Handle {
  TIFF* tiff = nullptr;
  std::string path;
  std::string error;
  std::size_t width = 0;
  std::size_t samples = 0;
  std::uint32_t row = 0;
  std::uint32_t height = 0;
  std::vector<unsigned char> interleaved;

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

}  // namespace

TiffWriter::TiffWriter(const std::filesystem::path& path, const TiffLayout& layout)
    : handle_(std::make_unique<Handle>()) {
  Handle& h = *handle_;
  h.path = path.string();
  h.width = static_cast<std::size_t>(layout.width);
  h.height = static_cast<std::uint32_t>(layout.height);
  h.samples = layout.inks.size() + (layout.label_sample ? 1 : 0);
  if (h.samples == 0 || layout.width <= 0 || layout.height <= 0) h.Fail("nothing to write");
  h.interleaved.resize(h.width * h.samples);

  const double raw = static_cast<double>(layout.width) * static_cast<double>(layout.height) *
                     static_cast<double>(h.samples);
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options, CollectError, &h);
  TIFFOpenOptionsSetWarningHandlerExtR(options, IgnoreWarning, nullptr);
  h.tiff = TIFFOpenExt(h.path.c_str(), raw > 3.5e9 ? "w8" : "w", options);
  TIFFOpenOptionsFree(options);
  if (h.tiff == nullptr) h.Fail("cannot create the file");

  const std::size_t inks = layout.inks.size();
  Set(h, TIFFTAG_IMAGEWIDTH, static_cast<std::uint32_t>(layout.width));
  Set(h, TIFFTAG_IMAGELENGTH, static_cast<std::uint32_t>(layout.height));
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
  // Strips of about 256 KB: small enough to keep memory flat, large enough that the
  // strip table stays short on tall pages.
  const std::size_t rows = std::max<std::size_t>(1, (256 * 1024) / h.interleaved.size());
  Set(h, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rows));
  // libtiff complains about NumberOfInks below SamplesPerPixel although an extra
  // sample makes exactly that correct; only messages of later failures matter.
  h.error.clear();
}

TiffWriter::~TiffWriter() {
  if (handle_->tiff != nullptr) TIFFClose(handle_->tiff);
}

void TiffWriter::WriteLine(const unsigned char* planes) {
  Handle& h = *handle_;
  if (h.tiff == nullptr) h.Fail("the file is already closed");
  const std::size_t w = h.width;
  const std::size_t s = h.samples;
  if (s == 1) {
    std::copy(planes, planes + w, h.interleaved.data());
  } else {
    for (std::size_t p = 0; p < s; ++p) {
      const unsigned char* plane = planes + p * w;
      unsigned char* out = h.interleaved.data() + p;
      for (std::size_t x = 0; x < w; ++x)
        out[x * s] = plane[x];
    }
  }
  if (TIFFWriteScanline(h.tiff, h.interleaved.data(), h.row, 0) != 1) h.Fail("write failed");
  ++h.row;
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

}  // namespace QorScTool
