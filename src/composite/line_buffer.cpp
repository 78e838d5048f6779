// Interval map of a line. Splits and joins move keys and rows in place; the pixel
// loops of compositing never run here.

#include "composite/line_buffer.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace QorSc {

LineBuffer::LineBuffer(std::size_t planes, long long left, long long right)
    : planes_(planes),
      left_(left),
      right_(right > left ? right : left),
      width_(static_cast<std::size_t>(right_ - left_)),
      values_(planes, std::vector<float>(width_, 0.0f)) {
  Reserve(16);
  Reset();
}

void LineBuffer::Reset() {
  keys_[0] = left_;
  keys_[1] = right_;
  key_count_ = 2;
  std::fill_n(rows_.begin(), 2 * planes_, kStateZero);
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
  Resize(target + 1, 0, extra);
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
  const auto it = std::upper_bound(keys_.begin(),
                                   keys_.begin() + static_cast<std::ptrdiff_t>(IntervalCount()), x);
  return static_cast<std::size_t>(it - keys_.begin()) - 1;
}

inline void LineBuffer::CarryConstants(std::size_t i, long long x) {
  const std::uint8_t* states = Row(i);
  const auto to = static_cast<std::size_t>(x - left_);
  const auto from = static_cast<std::size_t>(keys_[i] - left_);
  for (std::size_t p = 0; p < planes_; ++p) {
    if (states[p] == kStateConstant) values_[p][to] = values_[p][from];
  }
}

bool LineBuffer::OnlyIntervalWithValues(std::size_t p, std::size_t i) const {
  for (std::size_t k = 0; k < IntervalCount(); ++k) {
    const std::uint8_t state = Row(k)[p];
    if (k != i && (state == kStatePerPixel || state == kStateConstant)) return false;
  }
  return true;
}

void LineBuffer::TradePlane(std::size_t p, std::vector<float>& storage) {
  if (storage.size() != width_) throw std::invalid_argument("line plane: storage of another width");
  values_[p].swap(storage);
}

void LineBuffer::Reserve(std::size_t count) {
  if (keys_.size() >= count) return;
  keys_.resize(count);
  rows_.resize(count * planes_);
}

void LineBuffer::Resize(std::size_t at, std::size_t oldCount, std::size_t newCount) {
  // Keys and rows of [at, at + oldCount) become newCount slots; what follows moves.
  // A line holds a handful of intervals: these moves are a few bytes.
  if (newCount == oldCount) return;
  const std::size_t rest = key_count_ - (at + oldCount);
  const std::size_t count = key_count_ + newCount - oldCount;
  if (count > keys_.size()) Reserve(2 * count);
  long long* const keys_from = keys_.data() + at + oldCount;
  long long* const keys_to = keys_.data() + at + newCount;
  std::uint8_t* const rows_from = rows_.data() + (at + oldCount) * planes_;
  std::uint8_t* const rows_to = rows_.data() + (at + newCount) * planes_;
  const std::size_t bytes = rest * planes_;
  if (newCount > oldCount) {
    for (std::size_t k = rest; k-- > 0;)
      keys_to[k] = keys_from[k];
    for (std::size_t k = bytes; k-- > 0;)
      rows_to[k] = rows_from[k];
  } else {
    for (std::size_t k = 0; k < rest; ++k)
      keys_to[k] = keys_from[k];
    for (std::size_t k = 0; k < bytes; ++k)
      rows_to[k] = rows_from[k];
  }
  key_count_ = count;
}

std::size_t LineBuffer::Split(long long x) {
  if (x >= right_) return IntervalCount();
  const std::size_t i = Find(x);
  if (keys_[i] == x) return i;
  CarryConstants(i, x);
  Resize(i + 1, 0, 1);
  keys_[i + 1] = x;
  std::copy_n(Row(i), planes_, Row(i + 1));
  return i + 1;
}

std::size_t LineBuffer::Cover(long long from, long long to) {
  // Intervals i .. j hold [from, to); they become at most three: the part of i
  // before `from`, the covered interval, and the part of j from `to` on.
  const std::size_t i = Find(from);
  std::size_t j = i;
  while (keys_[j + 1] < to)
    ++j;
  const bool head = keys_[i] < from;
  const bool tail = keys_[j + 1] > to;
  const std::size_t covered = i + std::size_t{head};
  const std::size_t old_count = j - i + 1;
  const std::size_t new_count = covered - i + 1 + std::size_t{tail};
  if (tail) {
    // Interval j continues at `to`: its Constant values go there before the caller
    // writes into [from, to), and its row moves to the new key.
    CarryConstants(j, to);
    if (new_count > old_count) {
      Resize(i, old_count, new_count);  // moves only what follows j
      std::copy_n(Row(j), planes_, Row(covered + 1));
    } else {
      std::copy_n(Row(j), planes_, Row(covered + 1));  // left of or at row j
      Resize(i, old_count, new_count);
    }
    keys_[covered + 1] = to;
  } else {
    Resize(i, old_count, new_count);
  }
  keys_[covered] = from;
  return covered;
}

void LineBuffer::CoverPieces(const std::vector<CoverPiece>& pieces) {
  if (pieces.empty()) return;
  // Intervals first .. last hold the pieces; they are rebuilt in scratch, then take
  // their place with one move of what follows.
  const std::size_t first = Find(pieces.front().start);
  const std::size_t last = Find(pieces.back().end - 1);
  // At most every piece, an interval starting in each gap before a piece and after
  // the last, and every old interval: the scratch only grows, and is written
  // through pointers without a capacity test per interval.
  const std::size_t most = 2 * pieces.size() + (last - first + 1) + 1;
  if (scratch_keys_.size() < most) {
    scratch_keys_.resize(most);
    scratch_rows_.resize(most * planes_);
  }
  long long* keys = scratch_keys_.data();
  std::uint8_t* rows = scratch_rows_.data();
  const std::size_t planes = planes_;
  const auto append = [&](long long key, const std::uint8_t* row) {
    *keys++ = key;
    for (std::size_t p = 0; p < planes; ++p)
      rows[p] = row[p];
    rows += planes;
  };
  std::size_t i = first;
  long long x = keys_[first];
  // What lies between pieces keeps the old intervals; one that now starts inside an
  // old interval takes its row and Constant values (the old keys are not written
  // until the pieces are in place, so every value is read before it can change).
  const auto keep = [&](long long limit) {
    while (x < limit) {
      while (keys_[i + 1] <= x)
        ++i;
      if (x != keys_[i]) CarryConstants(i, x);
      append(x, Row(i));
      x = std::min(keys_[i + 1], limit);
    }
  };
  for (const CoverPiece& piece : pieces) {
    keep(piece.start);
    append(piece.start, piece.row);
    x = piece.end;
  }
  keep(keys_[last + 1]);
  const auto count = static_cast<std::size_t>(keys - scratch_keys_.data());
  Resize(first, last - first + 1, count);
  std::copy(scratch_keys_.data(), keys, keys_.begin() + static_cast<std::ptrdiff_t>(first));
  std::copy(scratch_rows_.data(), rows,
            rows_.begin() + static_cast<std::ptrdiff_t>(first * planes));
}

void LineBuffer::Coalesce() {
  std::size_t out = 0;
  for (std::size_t i = 1; i < IntervalCount(); ++i) {
    const std::uint8_t* a = Row(out);
    const std::uint8_t* b = Row(i);
    // A plain loop: rows are a few bytes, shorter than a library call's setup.
    bool same = true;
    for (std::size_t p = 0; same && p < planes_; ++p)
      same = a[p] == b[p];
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
  key_count_ = out + 2;
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
