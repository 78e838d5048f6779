// CCITT through libtiff: a one-strip TIFF around the fax data, read back scanline
// by scanline from memory. Rows are bounded by the image's height, so a stream
// cannot make more of them than the image has.

#include "image/ccitt_samples.h"

#include "stream_data.h"

#include <tiffio.h>

#include <algorithm>
#include <cstring>

namespace QorPdf::internal {
namespace {

struct Memory {
  const std::vector<std::uint8_t>* bytes;
  toff_t at;
};

tmsize_t ReadProc(thandle_t handle, void* buffer, tmsize_t size) {
  auto* m = static_cast<Memory*>(handle);
  const auto total = static_cast<toff_t>(m->bytes->size());
  if (m->at >= total || size <= 0) return 0;
  const auto n = std::min<toff_t>(static_cast<toff_t>(size), total - m->at);
  std::memcpy(buffer, m->bytes->data() + m->at, static_cast<std::size_t>(n));
  m->at += n;
  return static_cast<tmsize_t>(n);
}

tmsize_t WriteProc(thandle_t, void*, tmsize_t) {
  return 0;
}

toff_t SeekProc(thandle_t handle, toff_t offset, int whence) {
  auto* m = static_cast<Memory*>(handle);
  const auto total = static_cast<toff_t>(m->bytes->size());
  if (whence == SEEK_CUR) offset += m->at;
  if (whence == SEEK_END) offset += total;
  m->at = offset;
  return m->at;
}

int CloseProc(thandle_t) {
  return 0;
}

toff_t SizeProc(thandle_t handle) {
  return static_cast<Memory*>(handle)->bytes->size();
}

void Put16(std::vector<std::uint8_t>& out, unsigned v) {
  out.push_back(static_cast<std::uint8_t>(v & 0xFF));
  out.push_back(static_cast<std::uint8_t>(v >> 8));
}

void Put32(std::vector<std::uint8_t>& out, std::uint32_t v) {
  for (int i = 0; i < 4; ++i)
    out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

void Entry(std::vector<std::uint8_t>& out, unsigned tag, unsigned type, std::uint32_t value) {
  Put16(out, tag);
  Put16(out, type);
  Put32(out, 1);
  if (type == 3) {  // SHORT: left-justified in the value field
    Put16(out, value);
    Put16(out, 0);
  } else {
    Put32(out, value);
  }
}

long long IntOf(QPDFObjectHandle parms, const char* key, long long otherwise) {
  if (!parms.isDictionary()) return otherwise;
  QPDFObjectHandle v = parms.getKey(key);
  return v.isInteger() ? v.getIntValue() : otherwise;
}

bool BoolOf(QPDFObjectHandle parms, const char* key) {
  if (!parms.isDictionary()) return false;
  QPDFObjectHandle v = parms.getKey(key);
  return v.isBool() && v.getBoolValue();
}

// Handled per file (libtiff's global handlers would be shared with every thread):
// returning 1 tells libtiff the message was dealt with.
int Silent(TIFF*, void*, const char*, const char*, va_list) {
  return 1;
}

}  // namespace

void DecodeCcitt(const std::vector<std::uint8_t>& fax, QPDFObjectHandle parms,
                 ImageSamples& samples) {
  const long long k = IntOf(parms, "/K", 0);
  const long long columns = IntOf(parms, "/Columns", 1728);
  const long long rows_given = IntOf(parms, "/Rows", 0);
  const bool black_is_1 = BoolOf(parms, "/BlackIs1");
  const bool aligned = BoolOf(parms, "/EncodedByteAlign");
  if (columns <= 0 || columns > (1LL << 24)) {
    samples.problem = "CCITT data with unusable /Columns";
    return;
  }
  const std::size_t width = static_cast<std::size_t>(columns);
  const std::size_t height =
      rows_given > 0 ? std::min<std::size_t>(rows_given, samples.height) : samples.height;
  if (!ImageBytes(width, height, 1, 1, samples.limit)) {
    samples.problem = "CCITT image too large: more than " + ByteSize(samples.limit) + " of samples";
    return;
  }

  // Header, the fax data as the one strip, then the directory.
  std::vector<std::uint8_t> tiff = {'I', 'I', 42, 0};
  const auto ifd = static_cast<std::uint32_t>(8 + fax.size() + (fax.size() & 1));
  Put32(tiff, ifd);
  tiff.insert(tiff.end(), fax.begin(), fax.end());
  if (fax.size() & 1) tiff.push_back(0);
  const bool g4 = k < 0;
  std::uint32_t t4 = (k > 0 ? GROUP3OPT_2DENCODING : 0) | (aligned ? GROUP3OPT_FILLBITS : 0);
  Put16(tiff, g4 ? 10 : 11);
  Entry(tiff, TIFFTAG_IMAGEWIDTH, 4, static_cast<std::uint32_t>(width));
  Entry(tiff, TIFFTAG_IMAGELENGTH, 4, static_cast<std::uint32_t>(height));
  Entry(tiff, TIFFTAG_BITSPERSAMPLE, 3, 1);
  Entry(tiff, TIFFTAG_COMPRESSION, 3, g4 ? COMPRESSION_CCITTFAX4 : COMPRESSION_CCITTFAX3);
  Entry(tiff, TIFFTAG_PHOTOMETRIC, 3, PHOTOMETRIC_MINISWHITE);
  Entry(tiff, TIFFTAG_STRIPOFFSETS, 4, 8);
  Entry(tiff, TIFFTAG_SAMPLESPERPIXEL, 3, 1);
  Entry(tiff, TIFFTAG_ROWSPERSTRIP, 4, static_cast<std::uint32_t>(height));
  Entry(tiff, TIFFTAG_STRIPBYTECOUNTS, 4, static_cast<std::uint32_t>(fax.size()));
  if (!g4) Entry(tiff, TIFFTAG_T4OPTIONS, 4, t4);
  Entry(tiff, TIFFTAG_T6OPTIONS, 4, 0);
  Put32(tiff, 0);

  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  TIFFOpenOptionsSetErrorHandlerExtR(options, Silent, nullptr);
  TIFFOpenOptionsSetWarningHandlerExtR(options, Silent, nullptr);
  Memory memory{&tiff, 0};
  TIFF* t = TIFFClientOpenExt("fax", "rm", &memory, ReadProc, WriteProc, SeekProc, CloseProc,
                              SizeProc, nullptr, nullptr, options);
  TIFFOpenOptionsFree(options);
  if (t == nullptr) {
    samples.problem = "CCITT data: unreadable";
    return;
  }
  samples.width = width;
  samples.height = height;
  samples.components = 1;
  samples.bits = 1;
  samples.row_bytes = (width + 7) / 8;
  samples.data.assign(samples.row_bytes * height, 0);
  for (std::size_t row = 0; row < height; ++row) {
    std::uint8_t* out = samples.data.data() + row * samples.row_bytes;
    if (TIFFReadScanline(t, out, static_cast<std::uint32_t>(row), 0) != 1) break;
    // libtiff gives black as 1; PDF's fax output has black as 0 unless /BlackIs1.
    if (!black_is_1) {
      for (std::size_t i = 0; i < samples.row_bytes; ++i)
        out[i] = static_cast<std::uint8_t>(~out[i]);
    }
    samples.rows_decoded = row + 1;
  }
  TIFFClose(t);
  if (samples.rows_decoded < height) {
    samples.problem = "CCITT data ends early: the rows that decoded are drawn";
  }
}

}  // namespace QorPdf::internal
