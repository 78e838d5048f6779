// Interval map of a line. Splits and joins move keys and rows in place; the pixel
// loops of compositing never run here.

#include "composite/line_buffer.h"

#include <algorithm>

namespace QorSc {

LineBuffer::LineBuffer(std::size_t planes, long long left, long long right)
    : planes_(planes),
      left_(left),
      right_(right > left ? right : left),
      width_(static_cast<std::size_t>(right_ - left_)),
      values_(planes * width_, 0.0f) {
  keys_.reserve(16);
  rows_.reserve(16 * planes_);
  Reset();
}

void LineBuffer::Reset() {
  keys_.assign({left_, right_});
  rows_.assign(2 * planes_, kStateZero);
  knockout_ = false;
  initial_backdrop_ = nullptr;
}

void LineBuffer::MarkColoursAbsent() {
  for (std::size_t i = 0; i < IntervalCount(); ++i)
    std::fill(Row(i), Row(i) + ColourPlanes(), kStateAbsent);
}

void LineBuffer::CopyFrom(const LineBuffer& source, long long from, long long to) {
  from = std::max(from, left_);
  to = std::min(to, right_);
  if (from >= to) return;
  const std::size_t target = Cover(from, to);
  // The target interval becomes the source's intervals over [from, to).
  const std::size_t first = source.Find(from);
  std::size_t last = first;
  while (source.End(last) < to)
    ++last;
  const std::size_t extra = last - first;
  keys_.insert(keys_.begin() + static_cast<std::ptrdiff_t>(target + 1), extra, 0);
  rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>((target + 1) * planes_), extra * planes_,
               0);
  for (std::size_t k = 0; k <= extra; ++k) {
    const std::size_t i = first + k;
    const long long s = std::max(source.Start(i), from);
    const long long e = std::min(source.End(i), to);
    keys_[target + k] = s;
    const std::uint8_t* states = source.Row(i);
    std::copy(states, states + planes_, Row(target + k));
    for (std::size_t p = 0; p < planes_; ++p) {
      if (states[p] == kStatePerPixel) {
        std::copy(source.Plane(p).At(s), source.Plane(p).At(e), Plane(p).At(s));
      } else if (states[p] == kStateConstant) {
        Plane(p)[s] = source.Plane(p)[source.Start(i)];
      }
    }
  }
}

void LineBuffer::ResolveInto(std::size_t p, long long from, long long to, float* out) const {
  for (std::size_t i = Find(from); from < to; ++i) {
    const long long e = std::min(End(i), to);
    const auto n = static_cast<std::size_t>(e - from);
    const PixelPlane<const float> v = Plane(p);
    switch (Row(i)[p]) {
      case kStatePerPixel:
        std::copy(v.At(from), v.At(e), out);
        break;
      case kStateConstant:
        std::fill(out, out + n, v[Start(i)]);
        break;
      case kStateFull:
        std::fill(out, out + n, 1.0f);
        break;
      default:
        std::fill(out, out + n, 0.0f);
        break;
    }
    out += n;
    from = e;
  }
}

std::size_t LineBuffer::Find(long long x) const {
  const auto it = std::upper_bound(keys_.begin(), keys_.end() - 1, x);
  return static_cast<std::size_t>(it - keys_.begin()) - 1;
}

std::size_t LineBuffer::Split(long long x) {
  if (x >= right_) return IntervalCount();
  const std::size_t i = Find(x);
  if (keys_[i] == x) return i;
  const long long from = keys_[i];
  keys_.insert(keys_.begin() + static_cast<std::ptrdiff_t>(i + 1), x);
  const auto row = rows_.begin() + static_cast<std::ptrdiff_t>(i * planes_);
  rows_.insert(row + static_cast<std::ptrdiff_t>(planes_), row,
               row + static_cast<std::ptrdiff_t>(planes_));
  const std::uint8_t* states = Row(i);
  for (std::size_t p = 0; p < planes_; ++p) {
    if (states[p] == kStateConstant) Plane(p)[x] = Plane(p)[from];
  }
  return i + 1;
}

std::size_t LineBuffer::Cover(long long from, long long to) {
  // The interval that continues at `to` keeps its Constant values there, before the
  // caller writes anything into [from, to).
  if (to < right_) Split(to);
  const std::size_t first = Split(from);
  std::size_t last = first + 1;
  while (keys_[last] < to)
    ++last;
  if (last > first + 1) {
    keys_.erase(keys_.begin() + static_cast<std::ptrdiff_t>(first + 1),
                keys_.begin() + static_cast<std::ptrdiff_t>(last));
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>((first + 1) * planes_),
                rows_.begin() + static_cast<std::ptrdiff_t>(last * planes_));
  }
  return first;
}

void LineBuffer::Coalesce() {
  std::size_t out = 0;
  for (std::size_t i = 1; i < IntervalCount(); ++i) {
    const std::uint8_t* a = Row(out);
    const std::uint8_t* b = Row(i);
    bool same = std::equal(a, a + planes_, b);
    for (std::size_t p = 0; same && p < planes_; ++p) {
      if (a[p] == kStateConstant) same = Plane(p)[keys_[out]] == Plane(p)[keys_[i]];
    }
    if (same) continue;
    ++out;
    if (out != i) {
      keys_[out] = keys_[i];
      std::copy(b, b + planes_, Row(out));
    }
  }
  keys_[out + 1] = right_;
  keys_.resize(out + 2);
  rows_.resize((out + 2) * planes_);
}

void LineBuffer::Resolve(std::size_t firstPlane, std::size_t planeCount) {
  for (std::size_t i = 0; i < IntervalCount(); ++i) {
    const std::uint8_t* states = Row(i);
    const long long s = keys_[i];
    const long long e = keys_[i + 1];
    for (std::size_t p = firstPlane; p < firstPlane + planeCount; ++p) {
      const PixelPlane<float> v = Plane(p);
      switch (states[p]) {
        case kStatePerPixel:
          break;
        case kStateConstant:
          std::fill(v.At(s + 1), v.At(e), v[s]);
          break;
        case kStateFull:
          std::fill(v.At(s), v.At(e), 1.0f);
          break;
        default:  // Zero, and anything that paints nothing
          std::fill(v.At(s), v.At(e), 0.0f);
          break;
      }
    }
  }
}

}  // namespace QorSc
