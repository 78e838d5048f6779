// Converting a paint colour (ink tints per named colorant) into the inks an output
// renders: named separations, the four process inks, or one grey ink.
//
// A colorant reaches a plate either directly (the plate carries its name) or
// simulated through its process representation (the separation table's CMYK for
// 100 % of a spot colorant; a process colorant is its own representation). Inks
// layer rather than add: every contribution of weight w and tint s combines with the
// plate's value o so far as
//
//   p = w · s;   o = (o + p) − o · p
//
// evaluated in float exactly in that order, contributions taken in the colour's
// colorant order, and for one simulated colorant in C, M, Y, K order. Tints and
// representation components are clamped into [0, 1] first (NaN counts as 0), so
// every result lies in [0, 1]. Nothing here allocates beyond the returned vector.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qorcolor/color_list.h"
#include "qordoc/separation.h"

namespace QorDoc {

// One value per entry of `separations`, in its order (output onto named plates).
// A colorant named like a separation goes to that plate; any other colorant is
// simulated into those of Cyan, Magenta, Yellow and Black that are separations; a
// spot colorant without a table entry contributes nothing.
std::vector<QorColor::Component> ConvertToSeparations(const QorColor::Color& color,
                                                      const QorColor::Color& separations,
                                                      const std::vector<Separation::Entry>& table);
// The same into `plates` (one value per separation), allocating nothing: for callers
// that convert once per object and keep the values elsewhere.
void ConvertToSeparations(const QorColor::Color& color, const QorColor::Color& separations,
                          const std::vector<Separation::Entry>& table, QorColor::Component* plates);

// ConvertToSeparations for a fixed list of colorants and separations, each colorant's
// plate or look found once, then converting tints (one per colorant, in the list's
// order) without allocating or comparing names. Same arithmetic, to the bit.
class SeparationConverter {
 public:
  SeparationConverter(const std::vector<std::string>& names, const QorColor::Color& separations,
                      const std::vector<Separation::Entry>& table);
  // One value per separation into `plates`.
  void ToSeparations(const QorColor::Component* tints, QorColor::Component* plates) const;

 private:
  struct Colorant {
    std::optional<std::size_t> plate;  // rendered directly on this plate
    std::optional<std::array<QorColor::Component, 4>> look;  // else simulated, if known
  };
  std::vector<Colorant> colorants_;
  std::array<std::optional<std::size_t>, 4> process_plates_;
  std::size_t plate_count_ = 0;
};

// Cyan, Magenta, Yellow, Black: process colorants directly, spot colorants through
// their representation (nothing without a table entry).
std::array<QorColor::Component, 4> ConvertToProcess(const QorColor::Color& color,
                                                    const std::vector<Separation::Entry>& table);

// One grey ink: min(1, ((0.3·C + 0.59·M) + 0.11·Y) + K) of the process equivalent,
// in float, left to right. A pure black tint comes out bit for bit unchanged.
QorColor::Component ConvertToGray(const QorColor::Color& color,
                                  const std::vector<Separation::Entry>& table);

// ConvertToProcess and ConvertToGray for a fixed list of colorants, looked up once,
// then converting tints (one per colorant, in the list's order) without allocating:
// for colours that change per pixel. Same arithmetic, to the bit.
class ProcessConverter {
 public:
  ProcessConverter(const std::vector<std::string>& names,
                   const std::vector<Separation::Entry>& table);
  std::array<QorColor::Component, 4> ToProcess(const QorColor::Component* tints) const;
  QorColor::Component ToGray(const QorColor::Component* tints) const;

 private:
  // Per colorant: its process ink, or its representation's weights, or nothing.
  std::vector<std::optional<std::array<QorColor::Component, 4>>> looks_;
};

}  // namespace QorDoc
