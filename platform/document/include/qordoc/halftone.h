// Halftone sets and the document's list of them.
//
// A halftone set names the screening a press applies to an object; the renderer
// carries it through the output as a label and never screens. Sets are identified
// by address: the document's list holds each once.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace QorDoc {

class HalftoneSet {
 public:
  explicit HalftoneSet(std::string name) : name_(std::move(name)) {}
  const std::string& GetName() const { return name_; }

 private:
  std::string name_;
};

class Halftones {
 public:
  using const_iterator = std::vector<std::shared_ptr<HalftoneSet>>::const_iterator;

  Halftones() = default;
  explicit Halftones(std::vector<std::shared_ptr<HalftoneSet>> sets) : sets_(std::move(sets)) {}

  const_iterator GetBegin() const { return sets_.begin(); }
  const_iterator GetEnd() const { return sets_.end(); }
  std::size_t Size() const { return sets_.size(); }
  // The position of `set` in the list, or GetEnd().
  const_iterator Find(const HalftoneSet* set) const {
    for (auto it = sets_.begin(); it != sets_.end(); ++it) {
      if (it->get() == set) return it;
    }
    return sets_.end();
  }

 private:
  std::vector<std::shared_ptr<HalftoneSet>> sets_;
};

}  // namespace QorDoc
