// Per-line resolution of consecutive opaque flat copies; see the header.

#include "composite/opaque_flat_batch.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace QorSc {

void OpaqueFlatCopy::CopyInto(LineBuffer& line, const RunList& runs) const {
  const std::size_t planes = row.size();
  for (const Run& run : runs) {
    std::memcpy(line.Row(line.Cover(run.start, run.End())), row.data(), planes);
    for (const auto& [plane, value] : constants)
      line.Plane(plane)[run.start] = value;
  }
}

void OpaqueFlatBatch::Apply(LineBuffer& line) {
  long long lo = line.Right();
  long long hi = line.Left();
  std::size_t runs = 0;
  for (const Member& m : members_) {
    lo = std::min(lo, m.runs->front().start);
    hi = std::max(hi, m.runs->back().End());
    runs += m.runs->size();
  }
  if (static_cast<std::size_t>(hi - lo) >= runs * (runs + line.IntervalCount())) {
    for (const Member& m : members_)
      m.copy->CopyInto(line, *m.runs);
    members_.clear();
    return;
  }
  const auto width = static_cast<std::size_t>(hi - lo);
  owner_.assign(width, -1);
  next_.resize(width + 1);
  std::iota(next_.begin(), next_.end(), std::uint32_t{0});
  // next_[x] == x: x is unowned (or the end); otherwise a pixel at or before the
  // next unowned one.
  const auto find = [this](std::uint32_t x) {
    while (next_[x] != x) {
      next_[x] = next_[next_[x]];
      x = next_[x];
    }
    return x;
  };
  for (std::size_t m = members_.size(); m-- > 0;) {
    for (const Run& run : *members_[m].runs) {
      const auto end = static_cast<std::uint32_t>(run.End() - lo);
      for (std::uint32_t x = find(static_cast<std::uint32_t>(run.start - lo)); x < end;
           x = find(x + 1)) {
        owner_[x] = static_cast<std::int32_t>(m);
        next_[x] = x + 1;
      }
    }
  }
  pieces_.clear();
  piece_owner_.clear();
  for (std::size_t x = 0; x < width;) {
    const std::int32_t owner = owner_[x];
    std::size_t e = x + 1;
    while (e < width && owner_[e] == owner)
      ++e;
    if (owner >= 0) {
      pieces_.push_back({lo + static_cast<long long>(x), lo + static_cast<long long>(e),
                         members_[static_cast<std::size_t>(owner)].copy->row.data()});
      piece_owner_.push_back(owner);
    }
    x = e;
  }
  line.CoverPieces(pieces_);
  for (std::size_t k = 0; k < pieces_.size(); ++k) {
    const OpaqueFlatCopy& copy = *members_[static_cast<std::size_t>(piece_owner_[k])].copy;
    for (const auto& [plane, value] : copy.constants)
      line.Plane(plane)[pieces_[k].start] = value;
  }
  members_.clear();
}

}  // namespace QorSc
