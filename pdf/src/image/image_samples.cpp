// Image samples: qpdf's filters through DecodeStream, JPEG through libjpeg-turbo.

#include "image/image_samples.h"

#include "image/ccitt_samples.h"
#include "image/jbig2_samples.h"
#include "image/jpx_samples.h"

// clang-format off
#include <cstdio>
#include <jpeglib.h>
// clang-format on

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <memory>

#include "stream_data.h"

namespace QorPdf::internal {
namespace {

std::vector<std::string> FilterNames(QPDFObjectHandle filter) {
  std::vector<std::string> names;
  if (filter.isName()) names.push_back(filter.getName());
  if (filter.isArray()) {
    for (int i = 0; i < filter.getArrayNItems(); ++i) {
      if (filter.getArrayItem(i).isName()) names.push_back(filter.getArrayItem(i).getName());
    }
  }
  return names;
}

struct JpegError {
  jpeg_error_mgr manager;
  std::jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
};

void OnJpegError(j_common_ptr info) {
  auto* error = reinterpret_cast<JpegError*>(info->err);
  (*info->err->format_message)(info, error->message);
  std::longjmp(error->jump, 1);
}

void OnJpegMessage(j_common_ptr, int) {}

// Decodes a baseline or progressive JPEG into `samples` (8 bits per component): every
// row, or with `area` only the rows and columns it can read. libjpeg-turbo skips whole
// rows and crops to whole blocks; one block row and column more on each side keep its
// smoothing of subsampled colours, which treats a cropped edge as the image's edge,
// away from the samples wanted. Rows below the area are never decoded. Returns false
// when a pass with `area` met an error (`samples` then holds anything).
bool DecodeJpegPass(const std::vector<std::uint8_t>& jpeg, ImageSamples& samples,
                    const SampleArea* area) {
  jpeg_decompress_struct info;
  JpegError error;
  info.err = jpeg_std_error(&error.manager);
  error.manager.error_exit = OnJpegError;
  error.manager.emit_message = OnJpegMessage;
  error.message[0] = '\0';
  // Everything that must survive the jump lives outside this frame's registers.
  std::vector<std::uint8_t>& out = samples.data;
  if (setjmp(error.jump) != 0) {
    samples.problem = std::string("JPEG data: ") + error.message;
    jpeg_destroy_decompress(&info);
    return area == nullptr;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
  jpeg_read_header(&info, TRUE);
  if (info.num_components == 3) info.out_color_space = JCS_RGB;
  if (info.num_components == 4) info.out_color_space = JCS_CMYK;
  jpeg_start_decompress(&info);
  const std::size_t components = static_cast<std::size_t>(info.output_components);
  if (info.output_width != samples.width || info.output_height != samples.height ||
      (components != samples.components && samples.components != 0)) {
    samples.problem = "JPEG dimensions differ from the image's: the JPEG's are used";
  }
  samples.width = info.output_width;
  samples.height = info.output_height;
  samples.components = components;
  samples.bits = 8;
  samples.row_bytes = samples.width * components;
  if (!ImageBytes(samples.width, samples.height, components, 8, samples.limit)) {
    samples.problem = "JPEG too large: more than " + ByteSize(samples.limit) + " of samples";
    jpeg_destroy_decompress(&info);
    return true;
  }
  out.assign(samples.row_bytes * samples.height, 0);
  samples.adobe_inverted = info.saw_Adobe_marker && components == 4;
  JDIMENSION left = 0;
  JDIMENSION end_row = info.output_height;
  if (area != nullptr) {
    const SampleRange columns = SampleRangeOf(area->column0, area->column1, samples.width);
    const SampleRange rows = SampleRangeOf(area->row0, area->row1, samples.height);
    const auto block_width = static_cast<std::size_t>(info.max_h_samp_factor) * DCTSIZE;
    const auto block_height = static_cast<std::size_t>(info.max_v_samp_factor) * DCTSIZE;
    const std::size_t first = columns.first > block_width ? columns.first - block_width : 0;
    const std::size_t end = std::min(samples.width, columns.end + block_width);
    samples.partial = true;
    if (columns.first >= columns.end || rows.first >= rows.end) {
      end_row = 0;
    } else {
      JDIMENSION width = static_cast<JDIMENSION>(end - first);
      left = static_cast<JDIMENSION>(first);
      if (width < info.output_width) jpeg_crop_scanline(&info, &left, &width);
      const std::size_t skip = rows.first > block_height ? rows.first - block_height : 0;
      if (skip > 0) jpeg_skip_scanlines(&info, static_cast<JDIMENSION>(skip));
      end_row = static_cast<JDIMENSION>(rows.end);
    }
  }
  while (info.output_scanline < end_row) {
    JSAMPROW row = out.data() + info.output_scanline * samples.row_bytes + left * components;
    if (jpeg_read_scanlines(&info, &row, 1) != 1) break;
    samples.rows_decoded = info.output_scanline;
  }
  if (area != nullptr) {
    // What lies below was never asked for; the data's end is not read.
    const bool whole = info.output_scanline >= end_row;
    samples.rows_decoded = samples.height;
    jpeg_destroy_decompress(&info);
    return whole;
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return true;
}

void DecodeJpeg(const std::vector<std::uint8_t>& jpeg, ImageSamples& samples,
                const std::optional<SampleArea>& area) {
  const ImageSamples before = samples;
  if (area && !area->Whole() && DecodeJpegPass(jpeg, samples, &*area)) return;
  samples = before;
  DecodeJpegPass(jpeg, samples, nullptr);
}

// The stream's data after every filter but the last, which the caller decodes;
// at most `limit` bytes of it.
bool DataBeforeLastFilter(QPDFObjectHandle stream, const std::vector<std::string>& filters,
                          std::size_t limit, std::vector<std::uint8_t>& bytes) {
  if (filters.size() == 1) {
    const std::shared_ptr<Buffer> raw = stream.getRawStreamData();
    bytes.assign(raw->getBuffer(), raw->getBuffer() + raw->getSize());
    return true;
  }
  // The earlier filters run through qpdf on a copy of the stream.
  QPDFObjectHandle dictionary = stream.getDict();
  const std::shared_ptr<Buffer> raw = stream.getRawStreamData();
  QPDFObjectHandle prefix = QPDFObjectHandle::newStream(
      stream.getOwningQPDF(),
      std::string(reinterpret_cast<const char*>(raw->getBuffer()), raw->getSize()));
  QPDFObjectHandle copy = dictionary.shallowCopy();
  QPDFObjectHandle filter = dictionary.getKey("/Filter");
  QPDFObjectHandle rest = QPDFObjectHandle::newArray();
  for (int i = 0; i + 1 < filter.getArrayNItems(); ++i)
    rest.appendItem(filter.getArrayItem(i));
  copy.replaceKey("/Filter", rest);
  copy.replaceKey("/Length", QPDFObjectHandle::newInteger(static_cast<long long>(raw->getSize())));
  QPDFObjectHandle parms = dictionary.getKey("/DecodeParms");
  if (parms.isArray()) {
    QPDFObjectHandle kept = QPDFObjectHandle::newArray();
    for (int i = 0; i + 1 < parms.getArrayNItems(); ++i)
      kept.appendItem(parms.getArrayItem(i));
    copy.replaceKey("/DecodeParms", kept);
  }
  prefix.replaceDict(copy);
  const DecodedStream decoded = DecodeStream(prefix, limit, qpdf_dl_specialized, bytes);
  return !decoded.truncated && !decoded.damaged;
}

}  // namespace

std::string LastFilter(QPDFObjectHandle stream) {
  const std::vector<std::string> filters = FilterNames(stream.getDict().getKey("/Filter"));
  return filters.empty() ? std::string() : filters.back();
}

ImageSamples ReadImageSamples(QPDFObjectHandle stream, std::size_t width, std::size_t height,
                              std::size_t components, std::size_t bits, std::size_t limit,
                              const std::optional<SampleArea>& area) {
  ImageSamples samples;
  samples.width = width;
  samples.height = height;
  samples.components = components;
  samples.bits = bits;
  samples.limit = limit;
  const std::vector<std::string> filters = FilterNames(stream.getDict().getKey("/Filter"));
  const std::string last = filters.empty() ? std::string() : filters.back();
  if (last == "/DCTDecode" || last == "/JPXDecode" || last == "/CCITTFaxDecode" ||
      last == "/JBIG2Decode") {
    std::vector<std::uint8_t> bytes;
    try {
      // Compressed data is rarely larger than its samples, but headers make a tiny
      // image's JPEG larger than its pixels: the first mebibyte is always allowed.
      if (!DataBeforeLastFilter(stream, filters, std::max(limit, kMinExpansionLimit), bytes)) {
        samples.problem = "image filters could not be applied";
        return samples;
      }
    } catch (const std::exception& e) {
      samples.problem = std::string("image data not readable: ") + e.what();
      return samples;
    }
    QPDFObjectHandle parms = stream.getDict().getKey("/DecodeParms");
    if (parms.isArray()) parms = parms.getArrayItem(static_cast<int>(filters.size()) - 1);
    if (last == "/DCTDecode") {
      DecodeJpeg(bytes, samples, area);
    } else if (last == "/JBIG2Decode") {
      std::vector<std::uint8_t> globals;
      QPDFObjectHandle global =
          parms.isDictionary() ? parms.getKey("/JBIG2Globals") : QPDFObjectHandle::newNull();
      if (global.isStream()) {
        try {
          DecodeStream(global, limit, qpdf_dl_specialized, globals);
        } catch (const std::exception&) {
          globals.clear();  // decoded without them; jbig2dec reports what is missing
        }
      }
      DecodeJbig2(bytes, globals, samples);
    } else if (last == "/CCITTFaxDecode") {
      DecodeCcitt(bytes, parms, samples);
    } else {
      DecodeJpx(bytes, components, samples, &samples.alpha);
    }
    return samples;
  }
  const std::optional<std::size_t> expected = ImageBytes(width, height, components, bits, limit);
  if (!expected) {
    samples.problem = width == 0 || height == 0 || components == 0 || bits == 0
                          ? "image without usable dimensions"
                          : "image too large: more than " + ByteSize(limit) + " of samples";
    return samples;
  }
  samples.row_bytes = (width * components * bits + 7) / 8;

  std::vector<std::uint8_t> bytes;
  bytes.reserve(*expected);
  try {
    const DecodedStream decoded = DecodeStream(stream, *expected, qpdf_dl_specialized, bytes);
    if (decoded.over_expansion) {
      samples.problem = "image data " + decoded.Excess(*expected) + ": the rows before are drawn";
    } else if (decoded.damaged) {
      samples.problem = "image data damaged: the rows that decoded are kept";
    }
  } catch (const std::exception& e) {
    samples.problem = std::string("image data not readable: ") + e.what();
  }
  samples.rows_decoded = bytes.size() / samples.row_bytes;
  if (bytes.size() < *expected && samples.problem.empty()) {
    samples.problem = "image data short: the rows that decoded are drawn";
  }
  bytes.resize(*expected, 0);
  samples.data = std::move(bytes);
  return samples;
}

}  // namespace QorPdf::internal
