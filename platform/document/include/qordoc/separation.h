// The document's separation table: for every colorant it names, the colorant's
// appearance in process inks.
//
// A spot colorant that is not rendered on a plate of its own is simulated through
// its representation: the CMYK tints that 100 % of the colorant looks like. Process
// colorants need no entry. Names compare exactly (case-sensitive).
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "qorcolor/cmyk.h"

namespace QorDoc {

class Separation {
 public:
  // What full ink of a colorant looks like in process inks.
  class Representation {
   public:
    Representation() = default;
    explicit Representation(const std::array<QorColor::Component, 4>& cmyk) : cmyk_(cmyk) {}

    // Cyan, Magenta, Yellow, Black tints, in that order.
    const std::array<QorColor::Component, 4>& GetCmyk() const { return cmyk_; }

    friend bool operator==(const Representation&, const Representation&) = default;

   private:
    std::array<QorColor::Component, 4> cmyk_{};
  };

  class Entry {
   public:
    Entry(std::string name, Representation representation)
        : name_(std::move(name)), representation_(representation) {}

    const std::string& GetName() const { return name_; }
    const Representation& GetRepresentation() const { return representation_; }

    friend bool operator==(const Entry&, const Entry&) = default;

   private:
    std::string name_;
    Representation representation_;
  };

  // The entry named exactly `name`, or null.
  static const Entry* Find(const std::vector<Entry>& entries, std::string_view name);
};

// The process position of a colorant name: "Cyan", "Magenta", "Yellow" and "Black"
// give their CMYK index, any other name CmykIndex::None.
QorColor::CmykIndex::Type GetCmykIndex(const std::string& name);

}  // namespace QorDoc
