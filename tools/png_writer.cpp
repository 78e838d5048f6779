// libpng behind PngWriter. libpng reports errors by longjmp: every libpng call runs
// inside a small function whose frame holds no C++ object with a destructor, so the
// jump never skips one; the message is kept and turned into an exception afterwards.
#include "png_writer.h"

#include <png.h>

#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include "output_file.h"

namespace QorScTool {

struct PngWriter::State {
  std::unique_ptr<BufferedStream> stream;
  png_structp png = nullptr;
  png_infop info = nullptr;
  std::string path;
  char error[256] = {};
  long long rows_left = 0;
  bool finished = false;

  [[noreturn]] void Fail(const char* what) const {
    throw std::runtime_error("cannot write '" + path + "': " + what +
                             (error[0] != '\0' ? std::string(" (") + error + ")" : ""));
  }
};

namespace {

void OnError(png_structp png, png_const_charp message) {
  auto* state = static_cast<PngWriter::State*>(png_get_error_ptr(png));
  std::snprintf(state->error, sizeof state->error, "%s", message);
  png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

bool WriteHeader(PngWriter::State* s, png_uint_32 width, png_uint_32 height, png_uint_32 ppm) {
  if (setjmp(png_jmpbuf(s->png))) return false;
  png_init_io(s->png, s->stream->Get());
  png_set_IHDR(s->png, s->info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_pHYs(s->png, s->info, ppm, ppm, PNG_RESOLUTION_METER);
  png_write_info(s->png, s->info);
  return true;
}

bool WriteRowChecked(PngWriter::State* s, const unsigned char* row) {
  if (setjmp(png_jmpbuf(s->png))) return false;
  png_write_row(s->png, row);
  return true;
}

bool WriteEnd(PngWriter::State* s) {
  if (setjmp(png_jmpbuf(s->png))) return false;
  png_write_end(s->png, nullptr);
  return true;
}

}  // namespace

PngWriter::PngWriter(const std::filesystem::path& path, long long width, long long height,
                     double resolution)
    : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.path = path.string();
  s.rows_left = height;
  s.stream = std::make_unique<BufferedStream>(s.path);
  s.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &s, OnError, OnWarning);
  if (s.png != nullptr) s.info = png_create_info_struct(s.png);
  if (s.info == nullptr) s.Fail("out of memory");
  const auto ppm = static_cast<png_uint_32>(std::lround(resolution / 0.0254));
  if (!WriteHeader(&s, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), ppm)) {
    s.Fail("cannot write the header");
  }
}

PngWriter::~PngWriter() {
  State& s = *state_;
  if (s.png != nullptr) png_destroy_write_struct(&s.png, s.info != nullptr ? &s.info : nullptr);
}

void PngWriter::WriteRow(const unsigned char* rgb) {
  State& s = *state_;
  if (s.finished || s.rows_left <= 0) s.Fail("more rows than the image has");
  if (!WriteRowChecked(&s, rgb)) s.Fail("write failed");
  --s.rows_left;
}

void PngWriter::Finish() {
  State& s = *state_;
  if (s.finished) return;
  s.finished = true;
  if (s.rows_left != 0) s.Fail("rows are missing");
  if (!WriteEnd(&s)) s.Fail("cannot end the image");
  if (!s.stream->Close()) s.Fail(std::strerror(errno));
}

}  // namespace QorScTool
