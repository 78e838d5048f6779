// Per-line resolution of consecutive opaque flat copies; see the header.

#include "composite/opaque_flat_batch.h"

#include <algorithm>
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

void OpaqueFlatBatch::Claim(long long start, long long end, const OpaqueFlatCopy* copy) {
  if (start >= end) return;
  // The first owned span that overlaps or touches [start, end).
  const auto first = std::lower_bound(owned_.begin(), owned_.end(), start,
                                      [](const Span& span, long long x) { return span.end < x; });
  long long x = start;
  Span joined{start, end};
  auto last = first;
  for (; last != owned_.end() && last->start <= end; ++last) {
    if (last->start > x) visible_.push_back({x, last->start, copy});
    x = std::max(x, last->end);
    joined.start = std::min(joined.start, last->start);
    joined.end = std::max(joined.end, last->end);
  }
  if (x < end) visible_.push_back({x, end, copy});
  if (first == last) {
    owned_.insert(first, joined);
  } else {
    *first = joined;
    owned_.erase(first + 1, last);
  }
}

void OpaqueFlatBatch::Apply(LineBuffer& line) {
  if (members_.size() == 1) {
    members_.front().copy->CopyInto(line, *members_.front().runs);
    members_.clear();
    return;
  }
  owned_.clear();
  visible_.clear();
  for (std::size_t m = members_.size(); m-- > 0;) {
    for (const Run& run : *members_[m].runs)
      Claim(run.start, run.End(), members_[m].copy);
  }
  std::sort(visible_.begin(), visible_.end(),
            [](const Piece& a, const Piece& b) { return a.start < b.start; });
  // Neighbouring pieces of one object are one piece, as one object's cover would be.
  std::size_t kept = 0;
  for (const Piece& piece : visible_) {
    if (kept > 0 && visible_[kept - 1].copy == piece.copy && visible_[kept - 1].end == piece.start) {
      visible_[kept - 1].end = piece.end;
    } else {
      visible_[kept++] = piece;
    }
  }
  visible_.resize(kept);
  pieces_.clear();
  for (const Piece& piece : visible_)
    pieces_.push_back({piece.start, piece.end, piece.copy->row.data()});
  line.CoverPieces(pieces_);
  for (const Piece& piece : visible_) {
    for (const auto& [plane, value] : piece.copy->constants)
      line.Plane(plane)[piece.start] = value;
  }
  members_.clear();
}

}  // namespace QorSc
