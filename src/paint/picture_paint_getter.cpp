// Picture paint: placement, line set-up and the per-pixel sampling loops.
//
// The sampling loop is instantiated per orientation case, sample depth and decode
// rule so that nothing is decided per pixel; the case-0 direct-decode loop has two
// faster forms for steps of one sample per pixel and of one sample per k pixels.

#include "paint/picture_paint_getter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "qordoc/color_conversion.h"
#include "raster/pixel_rounding.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QorSc {
namespace {

constexpr double kIndexLimit = 4611686018427387904.0;  // 2^62

long long FloorToIndex(double f) {
  if (!(f > -kIndexLimit)) return -static_cast<long long>(kIndexLimit);
  if (!(f < kIndexLimit)) return static_cast<long long>(kIndexLimit);
  return static_cast<long long>(std::floor(f));
}

inline std::uint8_t ReadByte(const PicturePaintGetter::Samples& s, std::size_t offset,
                             long long row, long long column) {
  const std::uint8_t* r = s.base + static_cast<std::size_t>(row) * s.stride;
  if (s.bits) {
    const auto c = static_cast<std::size_t>(column);
    return ((r[c / 8] >> (7 - c % 8)) & 1u) != 0 ? 255 : 0;
  }
  return r[static_cast<std::size_t>(column) * s.channels + offset];
}

template <int Rule>
inline float Decode(std::uint8_t b, const QorImg::DecodePair& d) {
  if constexpr (Rule == PicturePaintGetter::kDecodeDirect) {
    return QorImg::IntToComponent(b);
  } else if constexpr (Rule == PicturePaintGetter::kDecodeInverted) {
    return static_cast<float>(255 - b) * 0.003921569f;
  } else {
    float value;
    if (b == 0) {
      value = d.dmin;
    } else if (b >= 255) {
      value = d.dmax;
    } else {
      const double t = b * 0.00392156862745098;
      value = static_cast<float>((1.0 - t) * d.dmin + t * d.dmax);
    }
    if (!(value >= 0.0f)) return 0.0f;
    return value > 1.0f ? 1.0f : value;
  }
}

// One channel over n pixels from x. Case 0 steps the column, case 1 the row, case 2
// both; an index that does not step was fixed at line set-up (kFixed: neither).
enum Walk : int { kFixed = 0, kColumns = 1, kRows = 2, kBoth = 3 };

template <int W, int Rule>
void SampleLoop(const PicturePaintGetter::Samples& s, PictureStepper columns, PictureStepper rows,
                const PicturePaintGetter::Channel& ch, long long x, long long n, float* out) {
  if constexpr ((W & kColumns) != 0) columns.Place(x);
  if constexpr ((W & kRows) != 0) rows.Place(x);
  for (long long i = 0; i < n; ++i) {
    out[i] = Decode<Rule>(ReadByte(s, ch.offset, rows.Clamped(), columns.Clamped()), ch.decode);
    if constexpr ((W & kColumns) != 0) columns.Advance();
    if constexpr ((W & kRows) != 0) rows.Advance();
  }
}

template <int W>
void SampleWalk(const PicturePaintGetter::Samples& s, const PictureStepper& columns,
                const PictureStepper& rows, const PicturePaintGetter::Channel& ch, long long x,
                long long n, float* out) {
  switch (ch.rule) {
    case PicturePaintGetter::kDecodeDirect:
      return SampleLoop<W, PicturePaintGetter::kDecodeDirect>(s, columns, rows, ch, x, n, out);
    case PicturePaintGetter::kDecodeInverted:
      return SampleLoop<W, PicturePaintGetter::kDecodeInverted>(s, columns, rows, ch, x, n, out);
    default:
      return SampleLoop<W, PicturePaintGetter::kDecodeOther>(s, columns, rows, ch, x, n, out);
  }
}

// Whether case 0's direct decode takes a fast path for this column step: one sample
// per pixel, or one per k pixels, when the step is that within 0.0001.
bool Case0FastStep(double step) {
  if (std::fabs(step - 1.0) < 0.0001) return true;
  if (!(step > 0.001 && step < 1.0)) return false;
  const double reciprocal = 1.0 / step;
  return std::fabs(reciprocal - std::round(reciprocal)) < 0.0001;
}

// The general loop of a walk that steps only the column, from the column byte offsets
// of the run's pixels (made by ColumnOffsetsOf with the loop's own stepping).
template <int Rule>
void SampleColumnOffsets(const std::uint8_t* row, const std::size_t* columns,
                         const PicturePaintGetter::Channel& ch, long long n, float* out) {
  const std::uint8_t* base = row + ch.offset;
  for (long long i = 0; i < n; ++i)
    out[i] = Decode<Rule>(base[columns[i]], ch.decode);
}

// Case 0, direct decode: one sample per pixel, or one sample per k pixels, when the
// step is that within 0.0001; otherwise the general loop.
void SampleCase0Direct(const PicturePaintGetter::Samples& s, PictureStepper columns,
                       const PictureStepper& rows, const PicturePaintGetter::Channel& ch,
                       long long x, long long n, float* out) {
  const double step = columns.step;
  const long long row = rows.Clamped();
  if (std::fabs(step - 1.0) < 0.0001) {
    columns.Place(x);
    long long index = columns.index;
    for (long long i = 0; i < n; ++i, ++index) {
      const long long c = index < 0 ? 0 : (index >= columns.count ? columns.count - 1 : index);
      out[i] = QorImg::IntToComponent(ReadByte(s, ch.offset, row, c));
    }
    return;
  }
  if (step > 0.001 && step < 1.0) {
    const double reciprocal = 1.0 / step;
    const double k_real = std::round(reciprocal);
    if (std::fabs(reciprocal - k_real) < 0.0001) {
      const auto k = static_cast<long long>(k_real);
      columns.Place(x);
      long long index = columns.index;
      long long block = k - static_cast<long long>(std::floor(columns.fraction * k_real));
      block = std::clamp(block, 1LL, k);
      long long i = 0;
      while (i < n) {
        const long long c = index < 0 ? 0 : (index >= columns.count ? columns.count - 1 : index);
        const float value = QorImg::IntToComponent(ReadByte(s, ch.offset, row, c));
        const long long stop = std::min(n, i + block);
        for (; i < stop; ++i)
          out[i] = value;
        ++index;
        block = k;
      }
      return;
    }
  }
  SampleLoop<kColumns, PicturePaintGetter::kDecodeDirect>(s, columns, rows, ch, x, n, out);
}

// SpanLoop of a walk that steps only the row, by less than one sample per pixel either
// way (whole step 0 or −1): the row changes exactly where a step carries (whole 0) or
// where it does not (whole −1), so a span is read off the carries alone, with the
// stepper's very additions, without comparing indices per pixel. Each span function
// advances i to the end of the span that starts there, with the fraction and the row.
enum RowWalk : int { kForward = 0, kBackward = 1, kBackwardByHalves = 2 };

// Whole step 0: the fraction only grows until it carries.
// Where more than `longest` pixels remain, the span cannot reach the run's end and the
// loop tests the fraction alone, twice per pass.
inline void ForwardSpan(double fractional, long long longest, double& fraction, long long& row,
                        long long& i, long long n) {
  if (n - i > longest) {
    for (;;) {
      fraction += fractional;
      if (fraction >= 1.0) {
        ++i;
        break;
      }
      fraction += fractional;
      i += 2;
      if (fraction >= 1.0) break;
    }
  } else {
    do {
      fraction += fractional;
      ++i;
    } while (fraction < 1.0 && i < n);
    if (fraction < 1.0) return;
  }
  fraction -= 1.0;
  ++row;
}

// Whole step −1: the span goes on while steps carry.
inline void BackwardSpan(double fractional, double& fraction, long long& row, long long& i,
                         long long n) {
  for (;;) {
    fraction += fractional;
    ++i;
    if (fraction < 1.0) {
      --row;
      return;
    }
    fraction -= 1.0;
    if (i >= n) return;
  }
}

// BackwardSpan for a fractional step of at least 1/2, with one addition per pixel on
// the chain instead of an addition and a subtraction: a step that carries has its sum h
// in [1, 2), and the next step adds the fractional step to h − 1, which equals
// h + (fractional − 1) as real numbers with both terms exact (differences of numbers
// within a factor 2 of each other), so the rounded sums are the same.
// Where more than `longest` pixels remain, the span cannot reach the run's end and the
// loop tests the sum alone.
inline void BackwardSpanByHalves(double fractional, double back, long long longest,
                                 double& fraction, long long& row, long long& i, long long n) {
  double sum = fraction + fractional;
  ++i;
  if (n - i > longest) {
    // Two steps per test of the loop.
    while (sum >= 1.0) {
      const double next = sum + back;
      if (next < 1.0) {
        sum = next;
        ++i;
        break;
      }
      sum = next + back;
      i += 2;
    }
  } else {
    while (sum >= 1.0 && i < n) {
      sum = sum + back;
      ++i;
    }
  }
  if (sum < 1.0) {
    fraction = sum;
    --row;
  } else {
    fraction = sum - 1.0;
  }
}

template <int Kind>
std::size_t RowSpans(const PicturePaintGetter::Samples& s, const PictureStepper& columns,
                     PictureStepper rows, long long n, PicturePaintGetter::SampleSpan* spans) {
  const std::size_t column = static_cast<std::size_t>(columns.Clamped()) * s.channels;
  const double fractional = rows.fractional;
  const double back = fractional - 1.0;
  // Each step moves the sum towards the span's end by the fractional step (forward) or
  // by |back| (backward, carried sums in [1, 2)), less at most half a unit in the last
  // place (2^-53) of rounding; a relative margin far above that bounds a span's steps.
  // Steps too small for that keep the run's end test.
  const double progress = Kind == kForward ? fractional : -back;
  const long long longest = progress > 0x1p-10
                                ? static_cast<long long>(1.0 / (progress * (1.0 - 0x1p-20))) + 2
                                : LLONG_MAX;
  double fraction = rows.fraction;
  long long row = rows.index;
  std::size_t count = 0;
  long long i = 0;
  while (i < n) {
    rows.index = row;
    spans[count].offset = static_cast<std::size_t>(rows.Clamped()) * s.stride + column;
    const long long first = i;
    if constexpr (Kind == kForward) {
      ForwardSpan(fractional, longest, fraction, row, i, n);
    } else if constexpr (Kind == kBackward) {
      BackwardSpan(fractional, fraction, row, i, n);
    } else {
      BackwardSpanByHalves(fractional, back, longest, fraction, row, i, n);
    }
    spans[count++].length = i - first;
  }
  return count;
}

// The samples under n pixels from x, for walks that step the row: stepped once per run
// and shared by every channel, as spans of pixels on one sample (a picture drawn
// larger than its samples has long ones). Returns the number of spans.
template <int W>
std::size_t SpanLoop(const PicturePaintGetter::Samples& s, PictureStepper columns,
                     PictureStepper rows, long long x, long long n,
                     PicturePaintGetter::SampleSpan* spans) {
  if constexpr ((W & kColumns) != 0) columns.Place(x);
  rows.Place(x);
  std::size_t count = 0;
  long long i = 0;
  if constexpr (W == kRows) {
    if (rows.whole == 0) return RowSpans<kForward>(s, columns, rows, n, spans);
    if (rows.whole == -1 && rows.fractional >= 0.5) {
      return RowSpans<kBackwardByHalves>(s, columns, rows, n, spans);
    }
    if (rows.whole == -1) return RowSpans<kBackward>(s, columns, rows, n, spans);
  }
  while (i < n) {
    const long long row = rows.index;
    const long long column = columns.index;
    spans[count].offset = static_cast<std::size_t>(rows.Clamped()) * s.stride +
                          static_cast<std::size_t>(columns.Clamped()) * s.channels;
    const long long first = i;
    // The steppers alone until an index changes: the pixels of this span.
    do {
      rows.Advance();
      if constexpr ((W & kColumns) != 0) columns.Advance();
      ++i;
    } while (i < n && rows.index == row && columns.index == column);
    spans[count++].length = i - first;
  }
  return count;
}

// A span is written as whole blocks of kBlock values, the excess overwritten by the
// spans that follow: fixed-size stores instead of a loop of unknown length. Only where
// the blocks stay within the run [out, end); the run's last spans are written exactly.
constexpr long long kBlock = 8;

// The pixels the blocks of a span of `length` pixels cover.
constexpr long long BlockCover(long long length) {
  static_assert((kBlock & (kBlock - 1)) == 0);
  return (length + kBlock - 1) & ~(kBlock - 1);
}

template <int Rule>
void FillSpans(const std::uint8_t* base, const PicturePaintGetter::SampleSpan* spans,
               std::size_t count, const QorImg::DecodePair& d, float* out, const float* end) {
  for (std::size_t i = 0; i < count; ++i) {
    const float value = Decode<Rule>(base[spans[i].offset], d);
    const long long length = spans[i].length;
    const long long covered = BlockCover(length);
    if (end - out >= covered) {
      for (long long b = 0; b < covered; b += kBlock) {
        for (long long j = 0; j < kBlock; ++j)
          out[b + j] = value;
      }
    } else {
      std::fill_n(out, length, value);
    }
    out += length;
  }
}

void FillSpans(const PicturePaintGetter::Samples& s, const PicturePaintGetter::SampleSpan* spans,
               std::size_t count, const PicturePaintGetter::Channel& ch, float* out, long long n) {
  const std::uint8_t* base = s.base + ch.offset;
  const float* end = out + n;
  switch (ch.rule) {
    case PicturePaintGetter::kDecodeDirect:
      return FillSpans<PicturePaintGetter::kDecodeDirect>(base, spans, count, ch.decode, out, end);
    case PicturePaintGetter::kDecodeInverted:
      return FillSpans<PicturePaintGetter::kDecodeInverted>(base, spans, count, ch.decode, out,
                                                            end);
    default:
      return FillSpans<PicturePaintGetter::kDecodeOther>(base, spans, count, ch.decode, out, end);
  }
}

// Every channel of a picture whose channels all decode directly onto a plate of their
// own, from one pass over the spans: each plate gets exactly the stores of its own pass
// (blocks included, in the same order), and the span list is read once instead of per
// channel.
#if defined(__SSE2__)
void StoreBlock(float* out, __m128 value) {
  static_assert(kBlock == 8);
  _mm_storeu_ps(out, value);
  _mm_storeu_ps(out + 4, value);
}
#endif

template <std::size_t N>
void FillSpansDirect(const std::uint8_t* base, const std::size_t* offsets,
                     const PicturePaintGetter::SampleSpan* spans, std::size_t count,
                     float* const* outs, long long n) {
  float* out[N];
  std::size_t offset[N];
  for (std::size_t c = 0; c < N; ++c) {
    out[c] = outs[c];
    offset[c] = offsets[c];
  }
  long long done = 0;
#if defined(__SSE2__)
  // Four interleaved channels in sample order: the four bytes convert side by side, each
  // lane the same int-to-float and single multiplication as IntToComponent.
  const bool interleaved =
      N == 4 && offset[0] == 0 && offset[1] == 1 && offset[2] == 2 && offset[3] == 3;
#else
  constexpr bool interleaved = false;
#endif
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* sample = base + spans[i].offset;
    const long long length = spans[i].length;
    const long long covered = BlockCover(length);
#if defined(__SSE2__)
    if (interleaved && n - done >= covered) {
      std::int32_t word;
      std::memcpy(&word, sample, sizeof word);
      const __m128i zero = _mm_setzero_si128();
      const __m128i ints =
          _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(word), zero), zero);
      const __m128 values =
          _mm_mul_ps(_mm_cvtepi32_ps(ints), _mm_set1_ps(QorImg::IntToComponent(1)));
      const __m128 lane0 = _mm_shuffle_ps(values, values, _MM_SHUFFLE(0, 0, 0, 0));
      const __m128 lane1 = _mm_shuffle_ps(values, values, _MM_SHUFFLE(1, 1, 1, 1));
      const __m128 lane2 = _mm_shuffle_ps(values, values, _MM_SHUFFLE(2, 2, 2, 2));
      const __m128 lane3 = _mm_shuffle_ps(values, values, _MM_SHUFFLE(3, 3, 3, 3));
      const long long stop = done + covered;
      long long b = done;
      do {
        StoreBlock(out[0] + b, lane0);
        StoreBlock(out[1 % N] + b, lane1);
        StoreBlock(out[2 % N] + b, lane2);
        StoreBlock(out[3 % N] + b, lane3);
        b += kBlock;
      } while (b < stop);
      done += length;
      continue;
    }
#endif
    if (n - done >= covered) {
      for (std::size_t c = 0; c < N; ++c) {
        const float value = QorImg::IntToComponent(sample[offset[c]]);
        float* block = out[c] + done;
        for (long long b = 0; b < covered; b += kBlock) {
          for (long long j = 0; j < kBlock; ++j)
            block[b + j] = value;
        }
      }
    } else {
      for (std::size_t c = 0; c < N; ++c)
        std::fill_n(out[c] + done, length, QorImg::IntToComponent(sample[offset[c]]));
    }
    done += length;
  }
}

// Widens `window` to sample (column, row), give or take `margin` samples for the
// steppers' rounding and the upright fast paths' drift over `pixels` pixels, clamped
// to the picture.
void Widen(QorImg::SampleWindow& window, const PicturePlacement& p, long long column, long long row,
           long long pixels) {
  const long long margin = 2 + pixels / 1000;
  const auto clamp = [](long long v, long long count) {
    return static_cast<std::size_t>(std::clamp(v, 0LL, count));
  };
  window.column0 = std::min(window.column0, clamp(column - margin, p.columns));
  window.column1 = std::max(window.column1, clamp(column + margin + 1, p.columns));
  window.row0 = std::min(window.row0, clamp(row - margin, p.rows));
  window.row1 = std::max(window.row1, clamp(row + margin + 1, p.rows));
}

const QorImg::PaintedPicture& Checked(const std::shared_ptr<const QorImg::PaintedPicture>& p) {
  if (!p) throw std::invalid_argument("PicturePaintGetter: no picture");
  return *p;
}

PicturePaintGetter::DecodeRule RuleOf(const QorImg::DecodePair& d) {
  if (d.dmin == 0.0f && d.dmax == 1.0f) return PicturePaintGetter::kDecodeDirect;
  if (d.dmin == 1.0f && d.dmax == 0.0f) return PicturePaintGetter::kDecodeInverted;
  return PicturePaintGetter::kDecodeOther;
}

// `window`: the samples that will be read, where the data converts them.
PicturePaintGetter::Samples SamplesOf(const QorImg::PictureData& data, int intent,
                                      const QorImg::SampleWindow& window) {
  PicturePaintGetter::Samples s;
  s.buffer = data.Get1BitPictureBuffer();
  s.bits = s.buffer != nullptr;
  if (!s.bits) {
    s.buffer = data.Get8BitPictureBuffer(intent, window);
    s.channels = data.Get8BitChannelCount();
  }
  s.base = s.buffer->GetBuffer();
  s.stride = s.buffer->GetRowStride();
  return s;
}

// The weight of one full-tint colorant on every output component.
std::vector<float> WeightsOf(const std::string& colorant, const Options& options) {
  QorColor::Color color;
  color.Add(colorant, 1.0f);
  const auto& table = options.GetSeparationInfo();
  switch (options.GetOutputMode()) {
    case Options::kProcess: {
      const auto cmyk = QorDoc::ConvertToProcess(color, table);
      return {cmyk.begin(), cmyk.end()};
    }
    case Options::kGray:
      return std::vector<float>(options.GetBlendingSeparations().Size(),
                                QorDoc::ConvertToGray(color, table));
    default:
      return QorDoc::ConvertToSeparations(color, options.GetBlendingSeparations(), table);
  }
}

}  // namespace

void PictureStepper::SetStep(double o, double s) {
  origin = o;
  step = s;
  const double w = std::floor(s);
  whole = FloorToIndex(w);
  fractional = s - w;
}

void PictureStepper::Place(long long x) {
  const double f = (static_cast<double>(x) + 0.5 - origin) * step;
  index = FloorToIndex(f);
  fraction = f - std::floor(f);
}

PicturePlacement::PicturePlacement(const Environment& env, const Morv::MilliPointTransformation& t,
                                   long long columnCount, long long rowCount)
    : columns(columnCount), rows(rowCount) {
  const Morv::MilliPointPoint unit[4] = {{0.0, 0.0}, {1.0, 0.0}, {1.0, 1.0}, {0.0, 1.0}};
  for (int i = 0; i < 4; ++i)
    corners[i] = env.WorldToInternal(t.Apply(unit[i]));
  origin = corners[3];
  u = {corners[2].x - origin.x, corners[2].y - origin.y};
  v = {corners[0].x - origin.x, corners[0].y - origin.y};
  det = u.x * v.y - u.y * v.x;
  if (std::fabs(u.y) < 0.5) {
    orientation = 0;
  } else if (std::fabs(v.y) < 0.5) {
    orientation = 1;
  } else {
    orientation = 2;
  }
}

bool PicturePlacement::Singular() const {
  return !(det != 0.0 && std::isfinite(det)) || columns <= 0 || rows <= 0;
}

void PicturePlacement::LineRange(long long line, long long& first, long long& end) const {
  first = end = 0;
  if (Singular()) return;
  const double ys = static_cast<double>(line) + 0.5;
  double xs[4];
  int active = 0;
  for (int i = 0; i < 4; ++i) {
    const Point<double>& a = corners[i];
    const Point<double>& b = corners[(i + 1) % 4];
    if (a.y == b.y) continue;
    const Point<double>& lo = a.y < b.y ? a : b;
    const Point<double>& hi = a.y < b.y ? b : a;
    if (!(RoundToPixel(lo.y) <= line && line < RoundToPixel(hi.y))) continue;
    const double dxdy = (hi.x - lo.x) / (hi.y - lo.y);
    xs[active++] = lo.x + (ys - lo.y) * dxdy;
  }
  if (active < 2) return;
  const double left = *std::min_element(xs, xs + active);
  const double right = *std::max_element(xs, xs + active);
  first = RoundToPixel(left);
  end = RoundToPixel(right);
}

long long PicturePlacement::ColumnAt(long long x, long long line) const {
  const double dx = (static_cast<double>(x) + 0.5) - origin.x;
  const double dy = (static_cast<double>(line) + 0.5) - origin.y;
  return FloorToIndex((dx * v.y - dy * v.x) / det * static_cast<double>(columns));
}

long long PicturePlacement::RowAt(long long x, long long line) const {
  const double dx = (static_cast<double>(x) + 0.5) - origin.x;
  const double dy = (static_cast<double>(line) + 0.5) - origin.y;
  return FloorToIndex((dy * u.x - dx * u.y) / det * static_cast<double>(rows));
}

void PicturePlacement::ColumnStep(long long line, double& o, double& step) const {
  const double yc = static_cast<double>(line) + 0.5;
  o = origin.x + (yc - origin.y) * v.x / v.y;
  step = static_cast<double>(columns) * v.y / det;
}

void PicturePlacement::RowStep(long long line, double& o, double& step) const {
  const double yc = static_cast<double>(line) + 0.5;
  o = origin.x + (yc - origin.y) * u.x / u.y;
  step = -static_cast<double>(rows) * u.y / det;
}

PicturePaintGetter::Plan PicturePaintGetter::MakePlan(const QorImg::PaintedPicture& picture,
                                                      const Options& options, bool bits) {
  // Every channel reaches the components its colorant converts onto at full tint.
  Plan plan;
  const bool process = options.GetOutputMode() == Options::kProcess;
  const std::size_t components = process ? 4 : options.GetBlendingSeparations().Size();
  std::vector<int> reached(components, 0);
  bool unit_weights = true;
  for (const QorImg::ChannelMappingEntry& entry : picture.GetChannelMapping().entries) {
    Channel channel;
    channel.offset = bits ? 0 : entry.channel;
    channel.decode = entry.decode;
    channel.rule = RuleOf(entry.decode);
    const std::vector<float> weights = WeightsOf(entry.colorant, options);
    for (std::size_t c = 0; c < components && c < weights.size(); ++c) {
      if (!(weights[c] > 0.0f)) continue;
      channel.weights.emplace_back(c, weights[c]);
      channel.component = c;
      ++reached[c];
      if (weights[c] != 1.0f) unit_weights = false;
    }
    if (channel.weights.empty()) continue;
    if (channel.weights.size() != 1) unit_weights = false;
    plan.channels.push_back(std::move(channel));
  }
  // Process output always layers; elsewhere a channel that is exactly one plate is
  // copied, unless two channels meet on one plate.
  plan.weighted = process || !unit_weights ||
                  std::any_of(reached.begin(), reached.end(), [](int r) { return r > 1; });
  // o + 1·s − o·1·s on o = 0 is s to the bit for every s but −0, which only a general
  // decode pair can give.
  std::vector<bool> layered(components, false);
  for (Channel& channel : plan.channels) {
    channel.copied = channel.weights.size() == 1 && channel.weights[0].second == 1.0f &&
                     reached[channel.component] == 1 && channel.rule != kDecodeOther;
    if (channel.copied) continue;
    for (const auto& weight : channel.weights)
      layered[weight.first] = true;
  }
  for (std::size_t c = 0; c < components; ++c) {
    if (layered[c]) plan.layered.push_back(c);
  }

  const bool overprint = options.GetOutputMode() == Options::kSeparations &&
                         picture.GetChannelMapping().paintsNamedColorantsOnly;
  for (std::size_t c = 0; c < components; ++c) {
    if (reached[c] > 0) {
      plan.kinds.push_back(kKindPerPixel);
    } else if (overprint) {
      plan.kinds.push_back(kKindAbsent);
      plan.absent = true;
    } else {
      plan.kinds.push_back(kKindZero);
    }
  }
  return plan;
}

PicturePaintGetter::PicturePaintGetter(std::shared_ptr<const QorImg::PaintedPicture> picture,
                                       const Environment& env, const Options& options,
                                       const Morv::MilliPointTransformation& transformation)
    : PicturePaintGetter(picture, env, transformation,
                         MakePlan(Checked(picture), options,
                                  picture->GetPictureData()->Get1BitPictureBuffer() != nullptr)) {}

PicturePaintGetter::PicturePaintGetter(std::shared_ptr<const QorImg::PaintedPicture> picture,
                                       const Environment& env,
                                       const Morv::MilliPointTransformation& transformation,
                                       Plan plan)
    : PaintGetter(std::move(plan.kinds), plan.absent),
      picture_(std::move(picture)),
      channels_(std::move(plan.channels)),
      weighted_(plan.weighted),
      layered_(std::move(plan.layered)) {
  // Converted samples are asked for where the target's pixels fall; runs elsewhere
  // widen the window as they come (Cover).
  const long long width = env.GetTargetWidth();
  const long long height = env.GetTargetHeight();
  const auto place = [&](const QorImg::PictureData& data, Samples& samples,
                         PicturePlacement& placement, PictureStepper& columns,
                         PictureStepper& rows) {
    placement = PicturePlacement(env, transformation, static_cast<long long>(data.GetWidth()),
                                 static_cast<long long>(data.GetHeight()));
    QorImg::SampleWindow window{0, data.GetWidth(), 0, data.GetHeight()};
    if (data.IsConverted() && !placement.Singular() && width > 0 && height > 0) {
      window = {};
      window.column0 = window.row0 = SIZE_MAX;
      for (const long long x : {0LL, width - 1}) {
        for (const long long y : {0LL, height - 1}) {
          Widen(window, placement, placement.ColumnAt(x, y), placement.RowAt(x, y), width);
        }
      }
    }
    samples = SamplesOf(data, picture_->GetRenderingIntent(), window);
    columns.count = placement.columns;
    rows.count = placement.rows;
    return window;
  };
  // Channels that all decode directly, each copied onto its own plate, fill together.
  const bool fusable = !channels_.empty() && channels_.size() <= kMaxFused &&
                       std::all_of(channels_.begin(), channels_.end(), [this](const Channel& c) {
                         return c.rule == kDecodeDirect && (!weighted_ || c.copied);
                       });
  if (fusable) {
    for (const Channel& channel : channels_) {
      fused_offsets_.push_back(channel.offset);
      fused_components_.push_back(channel.component);
    }
  }
  window_ = place(*picture_->GetPictureData(), samples_, placement_, columns_, rows_);
  lazy_ = !samples_.bits && picture_->GetPictureData()->IsConverted();
  masked_ = picture_->GetMaskKind() == QorImg::kSoftMask;
  if (masked_) {
    place(*picture_->GetMaskData(), mask_samples_, mask_placement_, mask_columns_, mask_rows_);
    mask_channel_.decode = picture_->GetSoftMaskMapping();
    mask_channel_.rule = RuleOf(mask_channel_.decode);
  }
}

void PicturePaintGetter::SetUpLine(long long line) {
  last_line_ = line;
  placement_.LineRange(line, range_first_, range_end_);
  if (range_first_ >= range_end_) return;
  auto set_up = [line, this](const PicturePlacement& p, PictureStepper& columns,
                             PictureStepper& rows) {
    double origin, step;
    if (p.orientation != 1 && p.v.y != 0.0) {
      p.ColumnStep(line, origin, step);
      columns.SetStep(origin, step);
    } else {
      columns.SetStep(0.0, 0.0);
      columns.index = p.ColumnAt(range_first_, line);
    }
    if (p.orientation != 0 && p.u.y != 0.0) {
      p.RowStep(line, origin, step);
      rows.SetStep(origin, step);
    } else {
      rows.SetStep(0.0, 0.0);
      rows.index = p.RowAt(range_first_, line);
    }
  };
  set_up(placement_, columns_, rows_);
  if (masked_) set_up(mask_placement_, mask_columns_, mask_rows_);
}

Run PicturePaintGetter::LineRangeOf(long long line) {
  if (line > last_line_) SetUpLine(line);
  return {range_first_, range_end_ > range_first_ ? range_end_ - range_first_ : 0};
}

void PicturePaintGetter::Sample(const Samples& s, const PictureStepper& columns,
                                const PictureStepper& rows, const Channel& ch, long long x,
                                long long n, float* out) const {
  // A stepper with step 0 keeps the index set at line set-up; the case decides which
  // ones move. Degenerate edges (v.y or u.y of 0) fall back to the fixed index.
  const int walk = (columns.step != 0.0 ? kColumns : 0) | (rows.step != 0.0 ? kRows : 0);
  switch (walk) {
    case kFixed:
      return SampleWalk<kFixed>(s, columns, rows, ch, x, n, out);
    case kColumns:
      if (ch.rule == kDecodeDirect) return SampleCase0Direct(s, columns, rows, ch, x, n, out);
      return SampleWalk<kColumns>(s, columns, rows, ch, x, n, out);
    case kRows:
      return SampleWalk<kRows>(s, columns, rows, ch, x, n, out);
    default:
      return SampleWalk<kBoth>(s, columns, rows, ch, x, n, out);
  }
}

void PicturePaintGetter::Cover(long long x, long long n, long long line) {
  // The samples of the run's end pixels (the held index as held), widened by the
  // margin: an affine walk reads nothing outside their box.
  QorImg::SampleWindow needed{SIZE_MAX, 0, SIZE_MAX, 0};
  for (const long long px : {x, x + n - 1}) {
    const long long column = columns_.step != 0.0 ? placement_.ColumnAt(px, line) : columns_.index;
    const long long row = rows_.step != 0.0 ? placement_.RowAt(px, line) : rows_.index;
    Widen(needed, placement_, column, row, n);
  }
  if (needed.column0 >= window_.column0 && needed.column1 <= window_.column1 &&
      needed.row0 >= window_.row0 && needed.row1 <= window_.row1) {
    return;
  }
  window_.column0 = std::min(window_.column0, needed.column0);
  window_.column1 = std::max(window_.column1, needed.column1);
  window_.row0 = std::min(window_.row0, needed.row0);
  window_.row1 = std::max(window_.row1, needed.row1);
  samples_.buffer =
      picture_->GetPictureData()->Get8BitPictureBuffer(picture_->GetRenderingIntent(), window_);
  samples_.base = samples_.buffer->GetBuffer();
}

void PicturePaintGetter::FillFused(SourcePaintBuffers& buffers, long long x, long long n) const {
  float* outs[kMaxFused];
  for (std::size_t c = 0; c < fused_offsets_.size(); ++c)
    outs[c] = buffers.Component(fused_components_[c]).At(x);
  const std::size_t* offsets = fused_offsets_.data();
  switch (fused_offsets_.size()) {
    case 1:
      return FillSpansDirect<1>(samples_.base, offsets, spans_.data(), span_count_, outs, n);
    case 2:
      return FillSpansDirect<2>(samples_.base, offsets, spans_.data(), span_count_, outs, n);
    case 3:
      return FillSpansDirect<3>(samples_.base, offsets, spans_.data(), span_count_, outs, n);
    default:
      return FillSpansDirect<4>(samples_.base, offsets, spans_.data(), span_count_, outs, n);
  }
}

std::size_t PicturePaintGetter::RowSpansOf(long long x, long long n) {
  const std::size_t column = static_cast<std::size_t>(columns_.Clamped()) * samples_.channels;
  const RowSpanKey key{x, n, rows_.origin, rows_.step};
  if (key == row_span_key_) {
    // The same rows over the same pixels; offsets are row + column, and size_t
    // arithmetic wraps, so moving to another column is exact.
    if (column != row_span_column_) {
      const std::size_t shift = column - row_span_column_;
      for (std::size_t k = 0; k < span_count_; ++k)
        spans_[k].offset += shift;
      row_span_column_ = column;
    }
    return span_count_;
  }
  const std::size_t count = SpanLoop<kRows>(samples_, columns_, rows_, x, n, spans_.data());
  row_span_key_ = key;
  row_span_column_ = column;
  return count;
}

bool PicturePaintGetter::SharedWalk() const {
  return !samples_.bits && rows_.step != 0.0;
}

bool PicturePaintGetter::ColumnOffsetWalk(const Channel& channel) const {
  return !samples_.bits && columns_.step != 0.0 && rows_.step == 0.0 &&
         (channel.rule != kDecodeDirect || !Case0FastStep(columns_.step));
}

const std::size_t* PicturePaintGetter::ColumnOffsetsOf(long long x, long long n) {
  const ColumnKey key{x, n, columns_.origin, columns_.step};
  if (key == column_key_) return column_offsets_.data();
  // The general loop's own stepping: the same columns, clamped the same way.
  PictureStepper columns = columns_;
  columns.Place(x);
  for (long long i = 0; i < n; ++i) {
    column_offsets_[static_cast<std::size_t>(i)] =
        static_cast<std::size_t>(columns.Clamped()) * samples_.channels;
    columns.Advance();
  }
  column_key_ = key;
  return column_offsets_.data();
}

void PicturePaintGetter::SampleChannel(const Channel& channel, long long x, long long n,
                                       float* out) {
  if (SharedWalk()) return FillSpans(samples_, spans_.data(), span_count_, channel, out, n);
  if (ColumnOffsetWalk(channel)) {
    const std::size_t* columns = ColumnOffsetsOf(x, n);
    const std::uint8_t* row =
        samples_.base + static_cast<std::size_t>(rows_.Clamped()) * samples_.stride;
    switch (channel.rule) {
      case kDecodeDirect:
        return SampleColumnOffsets<kDecodeDirect>(row, columns, channel, n, out);
      case kDecodeInverted:
        return SampleColumnOffsets<kDecodeInverted>(row, columns, channel, n, out);
      default:
        return SampleColumnOffsets<kDecodeOther>(row, columns, channel, n, out);
    }
  }
  Sample(samples_, columns_, rows_, channel, x, n, out);
}

void PicturePaintGetter::Compute(const PaintLine& line, const RunList& runs,
                                 SourcePaintBuffers& buffers, RunList& painted) {
  painted.clear();
  if (line.y > last_line_) SetUpLine(line.y);
  if (range_first_ >= range_end_) return;
  const auto width = static_cast<std::size_t>(buffers.Right() - buffers.Left());
  if (SharedWalk() && spans_.size() < width) spans_.resize(width);
  if (!SharedWalk() && column_offsets_.size() < width) column_offsets_.resize(width);
  for (const Run& run : runs) {
    const long long x = std::max(run.start, range_first_);
    const long long end = std::min(run.start + run.length, range_end_);
    if (x >= end) continue;
    const long long n = end - x;
    painted.push_back({x, n});
    if (lazy_) Cover(x, n, line.y);
    if (masked_) {
      Sample(mask_samples_, mask_columns_, mask_rows_, mask_channel_, x, n, buffers.Mask().At(x));
    }
    if (SharedWalk() && columns_.step != 0.0) {
      span_count_ = SpanLoop<kBoth>(samples_, columns_, rows_, x, n, spans_.data());
      row_span_key_ = RowSpanKey{};  // spans_ holds another walk now
    } else if (SharedWalk()) {
      span_count_ = RowSpansOf(x, n);
    }
    if (SharedWalk() && !fused_offsets_.empty()) {
      FillFused(buffers, x, n);
      continue;
    }
    if (!weighted_) {
      for (const Channel& channel : channels_)
        SampleChannel(channel, x, n, buffers.Component(channel.component).At(x));
      continue;
    }
    for (const std::size_t c : layered_)
      std::fill_n(buffers.Component(c).At(x), n, 0.0f);
    if (scratch_.size() < width) scratch_.resize(width);
    float* s = scratch_.data();
    for (const Channel& channel : channels_) {
      if (channel.copied) {
        SampleChannel(channel, x, n, buffers.Component(channel.component).At(x));
        continue;
      }
      SampleChannel(channel, x, n, s);
      for (const auto& [component, w] : channel.weights) {
        float* o = buffers.Component(component).At(x);
        for (long long i = 0; i < n; ++i)
          o[i] = o[i] + w * s[i] - o[i] * w * s[i];
      }
    }
  }
}

}  // namespace QorSc
