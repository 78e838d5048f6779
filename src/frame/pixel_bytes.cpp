// The pixel-interleaved byte output: tuples filled, mixed intervals interleaved.
#include "frame/pixel_bytes.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "qorcolor/interleave.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QorSc {

namespace {

static_assert(std::endian::native == std::endian::little);

// 0x01 in each of the S low bytes of a word.
template <std::size_t S>
constexpr std::uint64_t kOnes = S == 8 ? ~std::uint64_t{0} / 255
                                       : ((std::uint64_t{1} << (8 * S)) - 1) / 255;

// The byte plane p of interval i prints, for the uniform states; false for PerPixel
// and Absent.
inline bool UniformByte(const LineBuffer& line, std::size_t i, std::size_t p, unsigned char& byte) {
  switch (line.Row(i)[p]) {
    case kStateZero:
      byte = 0;
      return true;
    case kStateFull:
      byte = 255;
      return true;
    case kStateConstant:
      byte = ComponentByte(line.Plane(p)[line.Start(i)]);
      return true;
    default:
      return false;
  }
}

// Pixels a tuple is stored at one by one before the rest is copied in doubling
// blocks: short stretches take no block copies at all.
constexpr std::size_t kSinglePixels = 16;

// Bytes of a long fill stored before the rest is copied on.
constexpr std::size_t kStoredBytes = 256;

// out[0, done) holds whole tuples: copies them on up to `bytes`, doubling the block.
inline void CopyOnTuples(unsigned char* out, std::size_t done, std::size_t bytes) {
  while (done < bytes) {
    const std::size_t n = std::min(done, bytes - done);
    std::memcpy(out + done, out, n);
    done += n;
  }
}

// Tuples of S ≤ 8 planes as the S low bytes of a word, plane 0 lowest (memcpy's
// layout on a little-endian machine): states are read as one word, tuples compared
// as words and filled with word stores.
template <std::size_t S>
class WordTuples {
 public:
  // Reads interval i's tuple as the next one; false when a plane varies per pixel
  // or is Absent.
  bool Read(const LineBuffer& line, std::size_t i) {
    std::uint64_t states = 0;
    std::memcpy(&states, line.Row(i), S);
    if ((states & ~kOnes<S>) == 0) {
      // Only Zero and Full: each state 0 or 1 becomes its byte 0 or 255.
      next_ = states * 255;
      return true;
    }
    next_ = 0;
    for (std::size_t p = 0; p < S; ++p) {
      unsigned char byte = 0;
      if (!UniformByte(line, i, p, byte)) return false;
      next_ |= std::uint64_t{byte} << (8 * p);
    }
    return true;
  }
  bool NextIsPending() const { return next_ == pending_; }
  void TakeNext() { pending_ = next_; }

  // `count` pixels of the pending tuple.
  void Fill(unsigned char* out, std::size_t count) const {
    const std::uint64_t tuple = pending_;
    const std::uint64_t first = tuple & 0xFF;
    if (tuple == first * kOnes<S>) {
      std::memset(out, static_cast<int>(first), count * S);
      return;
    }
    if constexpr (S == 2 || S == 4 || S == 8) {
      // The tuple repeated through a word, stored 16 bytes at a time, then the
      // tuples left over.
      const std::uint64_t word =
          S == 8 ? tuple : tuple * (S == 2 ? 0x0001000100010001 : 0x0000000100000001);
      const std::size_t bytes = count * S;
      std::size_t k = 0;
#if defined(__SSE2__)
      const __m128i pattern = _mm_set1_epi64x(static_cast<long long>(word));
      for (; k + 16 <= bytes && k < kStoredBytes; k += 16)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + k), pattern);
      // Long stretches (a flat background) are copied on with the copy's widest
      // stores: 16-byte stores alone took 1.4 times the plane-by-plane memsets.
      if (k >= kStoredBytes) return CopyOnTuples(out, k, bytes);
#endif
      for (; k + 8 <= bytes; k += 8)
        std::memcpy(out + k, &word, 8);
      for (; k < bytes; k += S)
        std::memcpy(out + k, &tuple, S);
    } else {
      // A word per pixel, its bytes past the tuple overwritten by the next pixels',
      // while the word ends within the stretch: what follows may be the caller's.
      // The last pixels store only their own bytes. Past kSinglePixels, the pixels
      // written are copied on in doubling blocks (the copy's wide stores).
      const std::size_t single = std::min(count, kSinglePixels);
      std::size_t i = 0;
      for (; i * S + 8 <= single * S; ++i)
        std::memcpy(out + i * S, &tuple, 8);
      for (; i < single; ++i)
        std::memcpy(out + i * S, &tuple, S);
      CopyOnTuples(out, single * S, count * S);
    }
  }

 private:
  std::uint64_t next_ = 0;
  std::uint64_t pending_ = 0;
};

// Uniform intervals narrower than this are joined into the mixed stretch beside
// them.
constexpr long long kMixedJoin = 64;

// Tuples of any number of planes as byte vectors (kept by the writer, so that a
// line allocates nothing).
class ByteTuples {
 public:
  ByteTuples(std::vector<unsigned char>& next, std::vector<unsigned char>& pending)
      : next_(next), pending_(pending) {}

  bool Read(const LineBuffer& line, std::size_t i) {
    for (std::size_t p = 0; p < next_.size(); ++p) {
      if (!UniformByte(line, i, p, next_[p])) return false;
    }
    return true;
  }
  bool NextIsPending() const { return next_ == pending_; }
  void TakeNext() { pending_.swap(next_); }

  void Fill(unsigned char* out, std::size_t count) const {
    const std::size_t size = pending_.size();
    const std::size_t bytes = count * size;
    if (std::all_of(pending_.begin(), pending_.end(),
                    [&](unsigned char b) { return b == pending_[0]; })) {
      std::memset(out, pending_[0], bytes);
      return;
    }
    const std::size_t first = std::min(count, kSinglePixels);
    for (std::size_t i = 0; i < first; ++i)
      std::memcpy(out + i * size, pending_.data(), size);
    CopyOnTuples(out, first * size, bytes);
  }

 private:
  std::vector<unsigned char>& next_;
  std::vector<unsigned char>& pending_;
};

}  // namespace

PixelBytes::PixelBytes(std::size_t planes, std::size_t width, ComponentBytesFunction componentBytes)
    : planes_(planes),
      component_bytes_(componentBytes),
      tuple_(planes),
      next_(planes),
      scratch_(planes * width) {}

void PixelBytes::WriteMixed(const LineBuffer& line, std::size_t first, std::size_t last,
                            unsigned char* out) {
  const std::size_t s_count = planes_;
  const long long start = line.Start(first);
  const auto n = static_cast<std::size_t>(line.End(last - 1) - start);
  for (std::size_t p = 0; p < s_count; ++p) {
    unsigned char* plane = scratch_.data() + p * n;
    for (std::size_t i = first; i < last; ++i) {
      const long long s = line.Start(i);
      const auto offset = static_cast<std::size_t>(s - start);
      const auto width = static_cast<std::size_t>(line.End(i) - s);
      unsigned char byte = 0;
      if (UniformByte(line, i, p, byte)) {
        std::memset(plane + offset, byte, width);
      } else if (line.Row(i)[p] == kStatePerPixel) {
        component_bytes_(line.Plane(p).At(s), width, plane + offset);
      } else {  // not painted on this level: the caller's bytes stay
        for (std::size_t x = offset; x < offset + width; ++x)
          plane[x] = out[x * s_count + p];
      }
    }
  }
  QorColor::InterleavePlanes(scratch_.data(), n, s_count, out);
}

template <class Tuples>
void PixelBytes::WriteWith(Tuples& tuples, const LineBuffer& line, unsigned char* pixels) {
  const std::size_t s_count = planes_;
  const long long left = line.Left();
  long long fill_start = left;  // a pending fill [fill_start, fill_end) of the pending tuple
  long long fill_end = left;
  const auto flush = [&] {
    if (fill_end > fill_start) {
      tuples.Fill(pixels + static_cast<std::size_t>(fill_start - left) * s_count,
                  static_cast<std::size_t>(fill_end - fill_start));
    }
    fill_start = fill_end;
  };
  const std::size_t count = line.IntervalCount();
  for (std::size_t i = 0; i < count; ++i) {
    const long long s = line.Start(i);
    const long long e = line.End(i);
    if (!tuples.Read(line, i)) {
      // The mixed stretch takes the next mixed intervals when only uniform ones
      // narrower than kMixedJoin pixels lie between: one interleaving instead of
      // one per piece (a grid of small shadings is many), since every
      // interleaving ends in a slower tail.
      std::size_t j = i + 1;
      for (std::size_t k = i + 1; k < count; ++k) {
        const bool narrow = line.End(k) - line.Start(k) < kMixedJoin;
        if (!tuples.Read(line, k)) {
          j = k + 1;
        } else if (!narrow) {
          break;
        }
      }
      flush();
      WriteMixed(line, i, j, pixels + static_cast<std::size_t>(s - left) * s_count);
      fill_start = fill_end = line.Start(j);
      i = j - 1;
      continue;
    }
    if (fill_end > fill_start && tuples.NextIsPending()) {
      fill_end = e;
      continue;
    }
    flush();
    tuples.TakeNext();
    fill_start = s;
    fill_end = e;
  }
  flush();
}

void PixelBytes::Write(const LineBuffer& line, unsigned char* pixels) {
  const auto fixed = [&]<std::size_t S>() {
    WordTuples<S> tuples;
    WriteWith(tuples, line, pixels);
  };
  switch (planes_) {
    case 0:
      return;
    case 1:
      return fixed.template operator()<1>();
    case 2:
      return fixed.template operator()<2>();
    case 3:
      return fixed.template operator()<3>();
    case 4:
      return fixed.template operator()<4>();
    case 5:
      return fixed.template operator()<5>();
    case 6:
      return fixed.template operator()<6>();
    case 7:
      return fixed.template operator()<7>();
    case 8:
      return fixed.template operator()<8>();
    default: {
      ByteTuples tuples(next_, tuple_);
      return WriteWith(tuples, line, pixels);
    }
  }
}

}  // namespace QorSc
