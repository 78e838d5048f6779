// The process colour space: Cyan, Magenta, Yellow and Black, always in that order.
#pragma once

#include <cstdint>

#include "qorcolor/color_list.h"

namespace QorColor {

// Position of a process colorant in the CMYK order; None for any other colorant.
struct CmykIndex {
  enum Type : std::uint8_t { Cyan = 0, Magenta = 1, Yellow = 2, Black = 3, None = 4 };
};

inline constexpr const char* kCmykNames[4] = {"Cyan", "Magenta", "Yellow", "Black"};

// The four process colorants in CMYK order, tints 0. Built on first use, so it is
// safe to call from other libraries' static initialisers.
const ColorList<ColorSpacePolicy>& GetCMYKColorSpace();

}  // namespace QorColor
