// Placed glyph outlines: a glyph's outline moved along the baseline to where a text
// shows it, shared by every text that shows the same glyph at the same offset (a word
// shown again, a line repeated at another size: the offset is in glyph units).
//
// Invariants: an entry is keyed by the source outline's address and the offset's
// bits, and holds the source outline, so the address cannot be reused by another
// outline while the entry exists; the placed outline is held weakly, so it lives
// exactly as long as the texts that hold it, and entries whose outline died are swept
// out as the table grows (the table stays proportional to the live outlines, whatever
// the number of pages imported). A shared outline is bit for bit the one a new copy
// would be: both come from the same outline moved by the same offset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "morv/compound.h"

namespace QorPdf::internal {

class PlacedGlyphs {
 public:
  // `outline` moved by `offset` along x; the outline itself for an offset of 0.
  std::shared_ptr<const Morv::Compound> Get(const std::shared_ptr<const Morv::Compound>& outline,
                                            double offset);

  std::size_t EntryCount() const { return entries_.size(); }

 private:
  struct Key {
    const Morv::Compound* outline;
    std::uint64_t offset;
    friend bool operator==(const Key&, const Key&) = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const;
  };
  struct Entry {
    std::shared_ptr<const Morv::Compound> source;
    std::weak_ptr<const Morv::Compound> placed;
  };
  static constexpr std::size_t kFirstSweep = 4096;

  void Sweep();

  std::unordered_map<Key, Entry, KeyHash> entries_;
  std::size_t sweep_at_ = kFirstSweep;
};

}  // namespace QorPdf::internal
