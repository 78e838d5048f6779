// JPEG 2000 through OpenJPEG: a memory stream, the header checked against the
// size limit before anything is decoded, then components scaled to 8 bits.

#include "image/jpx_samples.h"

#include "stream_data.h"

#include <openjpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace QorPdf::internal {
namespace {

struct Source {
  const std::uint8_t* data;
  std::size_t size;
  std::size_t at;
};

OPJ_SIZE_T Read(void* buffer, OPJ_SIZE_T bytes, void* user) {
  auto* s = static_cast<Source*>(user);
  if (s->at >= s->size) return static_cast<OPJ_SIZE_T>(-1);
  const std::size_t n = std::min<std::size_t>(bytes, s->size - s->at);
  std::memcpy(buffer, s->data + s->at, n);
  s->at += n;
  return n;
}

OPJ_OFF_T Skip(OPJ_OFF_T bytes, void* user) {
  auto* s = static_cast<Source*>(user);
  if (bytes < 0) {
    const auto back = static_cast<std::size_t>(-bytes);
    if (back > s->at) return -1;
    s->at -= back;
    return bytes;
  }
  const std::size_t n = std::min<std::size_t>(static_cast<std::size_t>(bytes), s->size - s->at);
  s->at += n;
  return static_cast<OPJ_OFF_T>(n);
}

OPJ_BOOL Seek(OPJ_OFF_T to, void* user) {
  auto* s = static_cast<Source*>(user);
  if (to < 0 || static_cast<std::size_t>(to) > s->size) return OPJ_FALSE;
  s->at = static_cast<std::size_t>(to);
  return OPJ_TRUE;
}

void Quiet(const char*, void*) {}

struct Codec {
  opj_codec_t* codec = nullptr;
  opj_stream_t* stream = nullptr;
  opj_image_t* image = nullptr;
  ~Codec() {
    if (image != nullptr) opj_image_destroy(image);
    if (stream != nullptr) opj_stream_destroy(stream);
    if (codec != nullptr) opj_destroy_codec(codec);
  }
};

std::uint8_t To8Bits(int value, const opj_image_comp_t& c) {
  const int v = c.sgnd != 0 ? value + (1 << (c.prec - 1)) : value;
  if (c.prec == 8) return static_cast<std::uint8_t>(std::clamp(v, 0, 255));
  const long long max = (1LL << c.prec) - 1;
  const long long clamped = std::clamp<long long>(v, 0, max);
  return static_cast<std::uint8_t>((clamped * 255 + max / 2) / max);
}

// Writes `comp`'s samples in 8 bits to every pixel of the image grid, `stride` bytes
// apart. A subsampled component (chroma at half resolution, say) repeats each sample
// over the pixels it covers: grid position X lies in sample floor(X / dx) of the
// component, whose first sample is x0 (= ceil(image x0 / dx)); likewise rows.
void Spread(const opj_image_t& image, const opj_image_comp_t& comp, std::uint8_t* out,
            std::size_t stride) {
  const std::size_t w = image.x1 - image.x0;
  const std::size_t h = image.y1 - image.y0;
  const auto index = [](std::size_t grid, std::size_t step, std::size_t first, std::size_t count) {
    const std::size_t sample = grid / step;
    return std::min(sample - std::min(sample, first), count - 1);
  };
  std::vector<std::size_t> columns(w);
  for (std::size_t x = 0; x < w; ++x)
    columns[x] = index(image.x0 + x, comp.dx, comp.x0, comp.w);
  for (std::size_t y = 0; y < h; ++y) {
    const OPJ_INT32* row = comp.data + index(image.y0 + y, comp.dy, comp.y0, comp.h) * comp.w;
    for (std::size_t x = 0; x < w; ++x, out += stride)
      *out = To8Bits(row[columns[x]], comp);
  }
}

}  // namespace

void DecodeJpx(const std::vector<std::uint8_t>& jpx, std::size_t colour, ImageSamples& samples,
               std::vector<std::uint8_t>* alpha) {
  static const std::uint8_t kJp2[] = {0, 0, 0, 12, 'j', 'P', ' ', ' '};
  const bool jp2 = jpx.size() >= 8 && std::memcmp(jpx.data(), kJp2, 8) == 0;
  Codec c;
  c.codec = opj_create_decompress(jp2 ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K);
  opj_set_info_handler(c.codec, Quiet, nullptr);
  opj_set_warning_handler(c.codec, Quiet, nullptr);
  opj_set_error_handler(c.codec, Quiet, nullptr);
  opj_dparameters_t parameters;
  opj_set_default_decoder_parameters(&parameters);
  Source source{jpx.data(), jpx.size(), 0};
  c.stream = opj_stream_create(1 << 16, OPJ_TRUE);
  opj_stream_set_user_data(c.stream, &source, nullptr);
  opj_stream_set_user_data_length(c.stream, jpx.size());
  opj_stream_set_read_function(c.stream, Read);
  opj_stream_set_skip_function(c.stream, Skip);
  opj_stream_set_seek_function(c.stream, Seek);
  if (!opj_setup_decoder(c.codec, &parameters) || !opj_read_header(c.stream, c.codec, &c.image)) {
    samples.problem = "JPEG 2000 data: unreadable header";
    return;
  }
  const std::size_t w = c.image->x1 - c.image->x0;
  const std::size_t h = c.image->y1 - c.image->y0;
  const std::size_t components = c.image->numcomps;
  // The 8-bit samples kept must fit the limit; OpenJPEG holds four times as much (every
  // component as 32-bit integers) while it decodes.
  if (!ImageBytes(w, h, components, 8, samples.limit)) {
    samples.problem = "JPEG 2000 image empty or larger than " + ByteSize(samples.limit);
    return;
  }
  if (!opj_decode(c.codec, c.stream, c.image) || !opj_end_decompress(c.codec, c.stream)) {
    samples.problem = "JPEG 2000 data: decoding failed";
    return;
  }
  for (std::size_t i = 0; i < components; ++i) {
    const opj_image_comp_t& comp = c.image->comps[i];
    if (comp.w == 0 || comp.h == 0 || comp.dx == 0 || comp.dy == 0 || comp.data == nullptr ||
        comp.prec == 0 || comp.prec > 31) {
      samples.problem = "JPEG 2000 data: a component without samples";
      return;
    }
  }
  std::size_t n = colour != 0 ? std::min(colour, components) : components;
  // A trailing fourth component of an RGB (or second of a grey) image is alpha.
  if (colour == 0 && (components == 4 || components == 2) &&
      c.image->color_space != OPJ_CLRSPC_CMYK) {
    n = components - 1;
  }
  samples.width = w;
  samples.height = h;
  samples.components = n;
  samples.bits = 8;
  samples.row_bytes = w * n;
  samples.data.resize(w * h * n);
  for (std::size_t i = 0; i < n; ++i)
    Spread(*c.image, c.image->comps[i], samples.data.data() + i, n);
  samples.rows_decoded = h;
  if (alpha != nullptr && components > n) {
    alpha->resize(w * h);
    Spread(*c.image, c.image->comps[n], alpha->data(), 1);
  }
}

}  // namespace QorPdf::internal
