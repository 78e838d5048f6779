// Per-line resolution of consecutive opaque flat copies; see the header.

#include "composite/opaque_flat_batch.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace QorSc {

void OpaqueFlatCopy::CopyInto(LineBuffer& line, const RunList& runs) const {
  const std::size_t planes = row.size();
  for (const Run& run : runs) {
    std::memcpy(line.Row(line.Cover(run.start, run.End())), row.data(), planes);
    for (const auto& [plane, value] : constants)
      line.Plane(plane)[run.start] = value;
  }
}

void OpaqueFlatBatch::Clear() {
  owned_.clear();
  visible_.clear();
  applied_ = 0;
}

bool OpaqueFlatBatch::Covers(const RunList& runs) const {
  for (const Run& run : runs) {
    // The last span starting at or before the run must reach its end.
    const auto after = std::upper_bound(owned_.begin(), owned_.end(), run.start,
                                        [](long long x, const Span& span) { return x < span.start; });
    if (after == owned_.begin() || std::prev(after)->end < run.End()) return false;
  }
  return true;
}

void OpaqueFlatBatch::Own(const RunList& runs) {
  for (const Run& run : runs)
    Join(run.start, run.End(), nullptr, 0);
}

void OpaqueFlatBatch::Claim(const RunList& runs, const OpaqueFlatCopy& copy, std::uint32_t group) {
  for (const Run& run : runs)
    Join(run.start, run.End(), &copy, group);
}

void OpaqueFlatBatch::Join(long long start, long long end, const OpaqueFlatCopy* copy,
                           std::uint32_t group) {
  if (start >= end) return;
  // The first span that overlaps or touches [start, end).
  const auto first = std::lower_bound(owned_.begin(), owned_.end(), start,
                                      [](const Span& span, long long x) { return span.end < x; });
  // Wholly hidden, the common case under many objects: nothing to add or keep.
  if (first != owned_.end() && first->start <= start && end <= first->end) return;
  long long x = start;
  Span joined{start, end};
  auto last = first;
  for (; last != owned_.end() && last->start <= end; ++last) {
    if (copy != nullptr && last->start > x) visible_.push_back({x, last->start, copy, group});
    x = std::max(x, last->end);
    joined.start = std::min(joined.start, last->start);
    joined.end = std::max(joined.end, last->end);
  }
  if (copy != nullptr && x < end) visible_.push_back({x, end, copy, group});
  if (first == last) {
    owned_.insert(first, joined);
  } else {
    *first = joined;
    owned_.erase(first + 1, last);
  }
}

void OpaqueFlatBatch::Finish() {
  std::sort(visible_.begin(), visible_.end(), [](const Piece& a, const Piece& b) {
    return a.group != b.group ? a.group > b.group : a.start < b.start;
  });
  applied_ = 0;
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
