// Per-line resolution of consecutive opaque flat copies; see the header.

#include "composite/opaque_flat_batch.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace QorSc {

void OpaqueFlatCopy::CopyInto(LineBuffer& line, const RunList& runs) const {
  const std::size_t planes = row.size();
  for (const Run& run : runs) {
    std::memcpy(line.Row(line.Cover(run.start, run.End())), row.data(), planes);
    for (const auto& [plane, value] : constants)
      line.Plane(plane)[run.start] = value;
  }
}

namespace {

using Word = std::uint64_t;

}  // namespace

void OpaqueFlatBatch::Clear(long long left, long long right) {
  left_ = left;
  width_ = right > left ? static_cast<std::size_t>(right - left) : 0;
  const std::size_t words = (width_ + kWordBits - 1) / kWordBits;
  covered_.assign(words, 0);
  starts_.assign(words, 0);
  if (piece_at_.size() < width_) piece_at_.resize(width_);
  empty_ = true;
  visible_.clear();
  applied_ = 0;
}

OpaqueFlatBatch::SettledRun OpaqueFlatBatch::Settle(long long start, long long end, long long left,
                                                    long long right) {
  const long long width = std::max(0LL, right - left);
  const auto from = static_cast<std::size_t>(std::clamp(start - left, 0LL, width));
  const auto to = static_cast<std::size_t>(std::clamp(end - left, 0LL, width));
  SettledRun run{static_cast<std::uint32_t>(from), static_cast<std::uint32_t>(from), 0, 0};
  if (from >= to) return run;
  run.to = static_cast<std::uint32_t>(to);
  const std::size_t word = from / kWordBits;
  const std::size_t words = (to - 1) / kWordBits - word + 1;
  if (words > 2) return run;  // no shortcut: the bits are joined word by word
  const std::size_t base = word * kWordBits;
  run.head = Bits(from - base, std::min(to - base, kWordBits));  // not 0: from < to
  if (words == 2) run.tail = Bits(0, to - base - kWordBits);     // not 0: to > base + 64
  return run;
}

bool OpaqueFlatBatch::Covers(const RunList& runs) const {
  for (const Run& run : runs) {
    std::size_t from = 0, to = 0;
    if (!Inside(run.start, run.End(), from, to)) continue;
    const std::size_t last = (to - 1) / kWordBits;
    for (std::size_t w = from / kWordBits; w <= last; ++w) {
      const std::size_t base = w * kWordBits;
      const Word mask = Bits(std::max(from, base) - base, std::min(to - base, kWordBits));
      if ((covered_[w] & mask) != mask) return false;
    }
  }
  return true;
}

void OpaqueFlatBatch::JoinWords(std::size_t from, std::size_t to, const OpaqueFlatCopy* copy,
                                std::uint32_t group) {
  empty_ = false;
  // The visible part found last and not yet kept, [gap_from, gap_to): one that ends
  // at a word's end may go on in the next word.
  std::size_t gap_from = 0;
  std::size_t gap_to = 0;
  const std::size_t last = (to - 1) / kWordBits;
  for (std::size_t w = from / kWordBits; w <= last; ++w) {
    const std::size_t base = w * kWordBits;
    const Word mask = Bits(std::max(from, base) - base, std::min(to - base, kWordBits));
    Word gaps = ~covered_[w] & mask;
    covered_[w] |= mask;
    if (copy == nullptr) continue;
    while (gaps != 0) {
      const auto s = static_cast<std::size_t>(std::countr_zero(gaps));
      const Word above = ~(gaps >> s);  // zero only for a gap over the whole word
      const std::size_t e =
          above == 0 ? kWordBits : s + static_cast<std::size_t>(std::countr_zero(above));
      gaps &= gaps + (Word{1} << s);  // clears the lowest run of set bits
      if (gap_to > gap_from && gap_to == base + s) {
        gap_to = base + e;
        continue;
      }
      if (gap_to > gap_from) AddPiece(gap_from, gap_to, copy, group);
      gap_from = base + s;
      gap_to = base + e;
    }
  }
  if (gap_to > gap_from) AddPiece(gap_from, gap_to, copy, group);
}

void OpaqueFlatBatch::AddPiece(std::size_t from, std::size_t to, const OpaqueFlatCopy* copy,
                               std::uint32_t group) {
  if (visible_.empty()) {
    first_start_ = last_start_ = from;
    low_group_ = high_group_ = group;
  } else {
    first_start_ = std::min(first_start_, from);
    last_start_ = std::max(last_start_, from);
    low_group_ = std::min(low_group_, group);
    high_group_ = std::max(high_group_, group);
  }
  piece_at_[from] = static_cast<std::uint32_t>(visible_.size());
  starts_[from / kWordBits] |= Word{1} << (from % kWordBits);
  visible_.push_back(
      {left_ + static_cast<long long>(from), left_ + static_cast<long long>(to), copy, group});
}

void OpaqueFlatBatch::Finish() {
  applied_ = 0;
  const std::size_t count = visible_.size();
  if (count < 2) return;
  // A scan reads every word between the first and the last start; a sort compares
  // each piece about log2(count) times.
  const std::size_t words = last_start_ / kWordBits - first_start_ / kWordBits + 1;
  if (count < 16 || words > 4 * count) {
    SortPieces();
  } else {
    ScanPieces();
  }
}

void OpaqueFlatBatch::SortPieces() {
  std::sort(visible_.begin(), visible_.end(), [](const Piece& a, const Piece& b) {
    return a.group != b.group ? a.group > b.group : a.start < b.start;
  });
}

void OpaqueFlatBatch::ScanPieces() {
  // Pieces never overlap, so their starts are distinct: the start bits in order are
  // the pieces by position.
  ordered_.clear();
  for (std::size_t w = first_start_ / kWordBits; w <= last_start_ / kWordBits; ++w) {
    for (Word bits = starts_[w]; bits != 0; bits &= bits - 1) {
      const std::size_t x = w * kWordBits + static_cast<std::size_t>(std::countr_zero(bits));
      ordered_.push_back(visible_[piece_at_[x]]);
    }
  }
  if (low_group_ == high_group_) {
    visible_.swap(ordered_);
    return;
  }
  // Then stably by group, the highest first, so that each group stays by position.
  group_next_.assign(high_group_ - low_group_ + 1, 0);
  for (const Piece& piece : ordered_)
    ++group_next_[high_group_ - piece.group];
  std::size_t offset = 0;
  for (std::size_t& next : group_next_) {
    const std::size_t count = next;
    next = offset;
    offset += count;
  }
  for (const Piece& piece : ordered_)
    visible_[group_next_[high_group_ - piece.group]++] = piece;
}

void OpaqueFlatBatch::Apply(LineBuffer& line, std::uint32_t group) {
  const std::size_t from = applied_;
  std::size_t to = from;
  while (to < visible_.size() && visible_[to].group >= group)
    ++to;
  if (to == from) return;
  applied_ = to;
  // Neighbouring pieces of one copy are one piece, as the copy's own cover would be.
  pieces_.clear();
  piece_copies_.clear();
  for (std::size_t k = from; k < to; ++k) {
    const Piece& piece = visible_[k];
    if (!pieces_.empty() && piece_copies_.back() == piece.copy &&
        pieces_.back().end == piece.start) {
      pieces_.back().end = piece.end;
      continue;
    }
    pieces_.push_back({piece.start, piece.end, piece.copy->row.data()});
    piece_copies_.push_back(piece.copy);
  }
  line.CoverPieces(pieces_);
  for (std::size_t k = 0; k < pieces_.size(); ++k) {
    for (const auto& [plane, value] : piece_copies_[k]->constants)
      line.Plane(plane)[pieces_[k].start] = value;
  }
}

}  // namespace QorSc
