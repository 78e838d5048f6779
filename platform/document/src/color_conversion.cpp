// Colour conversion into separations, process inks and grey.
//
// Invariant: every plate value starts at 0 and only ever goes through Layer(), so it
// stays in [0, 1]; the order of Layer() calls is the colour's colorant order (and
// C, M, Y, K within one simulated colorant), which fixes the result to the bit.
// The per-colorant loop must not allocate: plate lookups are by position.

#include "qordoc/color_conversion.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "qorcolor/cmyk.h"

namespace QorDoc {
namespace {

using QorColor::CmykIndex;
using QorColor::Component;

// Out-of-range inks would let a plate leave [0, 1]; NaN fails both comparisons and
// becomes no ink.
Component ClampInk(Component value) {
  if (!(value > 0.0f)) return 0.0f;
  if (value > 1.0f) return 1.0f;
  return value;
}

// Lays ink of weight `weight` at tint `tint` over a plate already holding `plate`.
void Layer(Component& plate, Component weight, Component tint) {
  const Component p = weight * tint;
  plate = (plate + p) - plate * p;
}

// The CMYK look of 100 % of `name`, or nothing for a spot colorant the table lacks.
// Process colorants are their own look, whatever the table says about them.
std::optional<std::array<Component, 4>> Representation(
    const std::string& name, const std::vector<Separation::Entry>& table) {
  const CmykIndex::Type index = GetCmykIndex(name);
  if (index != CmykIndex::None) {
    std::array<Component, 4> unit{0.0f, 0.0f, 0.0f, 0.0f};
    unit[index] = 1.0f;
    return unit;
  }
  const Separation::Entry* entry = Separation::Find(table, name);
  if (entry == nullptr) return std::nullopt;
  std::array<Component, 4> cmyk = entry->GetRepresentation().GetCmyk();
  for (Component& c : cmyk)
    c = ClampInk(c);
  return cmyk;
}

// Where each process ink is rendered, looked up once rather than per colorant.
std::array<std::optional<std::size_t>, 4> ProcessPlates(const QorColor::Color& separations) {
  std::array<std::optional<std::size_t>, 4> plates;
  for (int k = 0; k < 4; ++k)
    plates[k] = separations.Find(QorColor::kCmykNames[k]);
  return plates;
}

// One colorant of a colour onto named plates: directly onto its own plate, else
// through its look onto the process plates present, else nothing.
void LayerColorant(Component* plates, const std::array<std::optional<std::size_t>, 4>& process,
                   const std::optional<std::size_t>& plate,
                   const std::optional<std::array<Component, 4>>& look, Component tint) {
  tint = ClampInk(tint);
  if (plate) {
    Layer(plates[*plate], 1.0f, tint);
    return;
  }
  if (!look) return;
  for (int k = 0; k < 4; ++k) {
    if (process[k]) Layer(plates[*process[k]], (*look)[k], tint);
  }
}

}  // namespace

std::vector<Component> ConvertToSeparations(const QorColor::Color& color,
                                            const QorColor::Color& separations,
                                            const std::vector<Separation::Entry>& table) {
  std::vector<Component> plates(separations.Size(), 0.0f);
  ConvertToSeparations(color, separations, table, plates.data());
  return plates;
}

void ConvertToSeparations(const QorColor::Color& color, const QorColor::Color& separations,
                          const std::vector<Separation::Entry>& table, Component* plates) {
  std::fill(plates, plates + separations.Size(), 0.0f);
  const auto processPlates = ProcessPlates(separations);
  for (const auto& colorant : color) {
    const auto plate = separations.Find(colorant.name);
    LayerColorant(plates, processPlates, plate,
                  plate ? std::nullopt : Representation(colorant.name, table), colorant.tint);
  }
}

SeparationConverter::SeparationConverter(const std::vector<std::string>& names,
                                         const QorColor::Color& separations,
                                         const std::vector<Separation::Entry>& table)
    : process_plates_(ProcessPlates(separations)), plate_count_(separations.Size()) {
  colorants_.reserve(names.size());
  for (const std::string& name : names) {
    Colorant c;
    c.plate = separations.Find(name);
    if (!c.plate) c.look = Representation(name, table);
    colorants_.push_back(c);
  }
}

void SeparationConverter::ToSeparations(const Component* tints, Component* plates) const {
  std::fill(plates, plates + plate_count_, 0.0f);
  for (std::size_t i = 0; i < colorants_.size(); ++i)
    LayerColorant(plates, process_plates_, colorants_[i].plate, colorants_[i].look, tints[i]);
}

std::array<Component, 4> ConvertToProcess(const QorColor::Color& color,
                                          const std::vector<Separation::Entry>& table) {
  std::array<Component, 4> plates{0.0f, 0.0f, 0.0f, 0.0f};
  for (const auto& colorant : color) {
    const Component tint = ClampInk(colorant.tint);
    const CmykIndex::Type index = GetCmykIndex(colorant.name);
    if (index != CmykIndex::None) {
      Layer(plates[index], 1.0f, tint);
      continue;
    }
    const auto cmyk = Representation(colorant.name, table);
    if (!cmyk) continue;
    for (int k = 0; k < 4; ++k)
      Layer(plates[k], (*cmyk)[k], tint);
  }
  return plates;
}

namespace {

Component GrayOf(const std::array<Component, 4>& cmyk) {
  const Component gray = 0.3f * cmyk[0] + 0.59f * cmyk[1] + 0.11f * cmyk[2] + cmyk[3];
  return gray < 1.0f ? gray : 1.0f;
}

}  // namespace

Component ConvertToGray(const QorColor::Color& color, const std::vector<Separation::Entry>& table) {
  return GrayOf(ConvertToProcess(color, table));
}

ProcessConverter::ProcessConverter(const std::vector<std::string>& names,
                                   const std::vector<Separation::Entry>& table) {
  for (const auto& name : names)
    looks_.push_back(Representation(name, table));
}

std::array<Component, 4> ProcessConverter::ToProcess(const Component* tints) const {
  std::array<Component, 4> plates{0.0f, 0.0f, 0.0f, 0.0f};
  for (std::size_t i = 0; i < looks_.size(); ++i) {
    if (!looks_[i]) continue;
    const Component tint = ClampInk(tints[i]);
    for (int k = 0; k < 4; ++k) {
      // A process ink's look is its unit vector: layering weight 0 changes nothing.
      if ((*looks_[i])[k] != 0.0f) Layer(plates[k], (*looks_[i])[k], tint);
    }
  }
  return plates;
}

Component ProcessConverter::ToGray(const Component* tints) const {
  return GrayOf(ToProcess(tints));
}

}  // namespace QorDoc
