// JBIG2 through jbig2dec, with a capped allocator and quiet error reporting.

#include "image/jbig2_samples.h"

#include "stream_data.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" {
#include <jbig2.h>
}

namespace QorPdf::internal {
namespace {

// Every block carries its size in front, so frees can be counted.
struct CappedAllocator {
  Jbig2Allocator base;
  std::size_t used;
  std::size_t cap;
};

constexpr std::size_t kHeader = 16;

void* Allocate(Jbig2Allocator* a, std::size_t size) {
  auto* c = reinterpret_cast<CappedAllocator*>(a);
  if (size > c->cap - c->used) return nullptr;
  auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &size, sizeof size);
  c->used += size;
  return block + kHeader;
}

void Free(Jbig2Allocator* a, void* p) {
  if (p == nullptr) return;
  auto* c = reinterpret_cast<CappedAllocator*>(a);
  unsigned char* block = static_cast<unsigned char*>(p) - kHeader;
  std::size_t size;
  std::memcpy(&size, block, sizeof size);
  c->used -= size;
  std::free(block);
}

void* Reallocate(Jbig2Allocator* a, void* p, std::size_t size) {
  if (p == nullptr) return Allocate(a, size);
  auto* c = reinterpret_cast<CappedAllocator*>(a);
  unsigned char* block = static_cast<unsigned char*>(p) - kHeader;
  std::size_t old;
  std::memcpy(&old, block, sizeof old);
  if (size > old && size - old > c->cap - c->used) return nullptr;
  auto* grown = static_cast<unsigned char*>(std::realloc(block, size + kHeader));
  if (grown == nullptr) return nullptr;
  std::memcpy(grown, &size, sizeof size);
  c->used = c->used - old + size;
  return grown + kHeader;
}

void Report(void* data, const char* message, Jbig2Severity severity, std::uint32_t) {
  auto* problem = static_cast<std::string*>(data);
  if (severity == JBIG2_SEVERITY_FATAL && problem->empty() && message != nullptr) {
    *problem = std::string("JBIG2 data: ") + message;
  }
}

}  // namespace

void DecodeJbig2(const std::vector<std::uint8_t>& data, const std::vector<std::uint8_t>& globals,
                 ImageSamples& samples) {
  // jbig2dec's own work (contexts, segments, symbol dictionaries) beside the page.
  constexpr std::size_t kWorkingBytes = std::size_t{64} << 20;
  CappedAllocator allocator{{Allocate, Free, Reallocate}, 0, samples.limit + kWorkingBytes};
  Jbig2Allocator* a = &allocator.base;
  std::string problem;
  Jbig2GlobalCtx* global = nullptr;
  if (!globals.empty()) {
    Jbig2Ctx* g = jbig2_ctx_new(a, JBIG2_OPTIONS_EMBEDDED, nullptr, Report, &problem);
    if (g != nullptr) {
      jbig2_data_in(g, globals.data(), globals.size());
      global = jbig2_make_global_ctx(g);
    }
  }
  Jbig2Ctx* ctx = jbig2_ctx_new(a, JBIG2_OPTIONS_EMBEDDED, global, Report, &problem);
  Jbig2Image* page = nullptr;
  if (ctx != nullptr) {
    jbig2_data_in(ctx, data.data(), data.size());
    jbig2_complete_page(ctx);
    page = jbig2_page_out(ctx);
  }
  if (page != nullptr && !ImageBytes(page->width, page->height, 1, 1, samples.limit)) {
    samples.problem = "JBIG2 page larger than " + ByteSize(samples.limit);
  } else if (page != nullptr && page->width > 0 && page->height > 0) {
    samples.width = page->width;
    samples.height = page->height;
    samples.components = 1;
    samples.bits = 1;
    samples.row_bytes = (samples.width + 7) / 8;
    samples.data.resize(samples.row_bytes * samples.height);
    for (std::size_t row = 0; row < samples.height; ++row) {
      const std::uint8_t* in = page->data + row * page->stride;
      std::uint8_t* out = samples.data.data() + row * samples.row_bytes;
      // jbig2dec marks black with set bits; PDF's filter output has black as 0.
      for (std::size_t i = 0; i < samples.row_bytes; ++i)
        out[i] = static_cast<std::uint8_t>(~in[i]);
    }
    samples.rows_decoded = samples.height;
  } else {
    samples.problem = problem.empty() ? "JBIG2 data: no page decoded" : problem;
  }
  if (page != nullptr) jbig2_release_page(ctx, page);
  if (ctx != nullptr) jbig2_ctx_free(ctx);
  if (global != nullptr) jbig2_global_ctx_free(global);
}

}  // namespace QorPdf::internal
