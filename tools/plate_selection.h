// Which plates a page is rendered to, and the library options that produce them.
//
// - auto and explicit lists render as separations (Options with a blending-separation
//   list): overprint is honoured, and a spot missing from a list goes to the process
//   plates present as the library decides (an overprinting one then paints nothing,
//   since every plate is foreign to it);
// - cmyk is the library's process output, Options(true): every spot is simulated
//   through its representation, overprint is ignored (a separation list of the four
//   process plates would instead drop overprinting spots altogether);
// - gray is the library's grey output, one plate named "Black".
#pragma once

#include <string>
#include <vector>

#include "arguments.h"
#include "qorcolor/color_list.h"
#include "scan/options.h"

namespace QorScTool {

struct PlateSet {
  std::vector<std::string> names;  // in plane order
  QorSc::Options options;

  // Exactly Cyan, Magenta, Yellow, Black in that order.
  bool IsCmyk() const;
};

// Whether a colorant name is one of the four process colorants.
bool IsProcessColorant(const std::string& name);

// `page_colorants` are the colorants the page uses in order of first use (process
// and spot); "All" (registration) and "None" are never plates of their own.
PlateSet ChoosePlates(const ColorantChoice& choice, const QorColor::Color& page_colorants,
                      const QorSc::Options::SeparationInfo& separation_table);

}  // namespace QorScTool
