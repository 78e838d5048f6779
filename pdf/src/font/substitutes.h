// Choosing a URW base-35 font (Debian's fonts-urw-base35) to draw a font that has no
// embedded program.
//
// The standard 14 names and common aliases (Arial, Times New Roman, Courier New and
// the like) map to their metric-compatible URW families; any other name falls back
// by the FontDescriptor flags to a serif, sans-serif or fixed-pitch family. The style
// comes from the name (Bold, Italic, Oblique, ...) or, failing that, the flags and
// weight. Pure functions apart from looking at which files exist.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace QorPdf::internal {

// What the FontDescriptor says about a font, as far as choosing a substitute needs.
struct SubstituteHints {
  bool fixed_pitch = false;
  bool serif = false;
  bool italic = false;  // the Italic flag or a non-zero ItalicAngle
  bool bold = false;    // the ForceBold flag or a FontWeight of 600 or more
};

// A font name in the form names are compared in: subset prefix dropped, lower case,
// without spaces, hyphens, commas and underscores.
std::string NormalFontName(std::string_view base_font);

// The URW font name (without extension) for `base_font` (subset prefix allowed).
std::string SubstituteName(std::string_view base_font, const SubstituteHints& hints);

// The file of a URW font name: the OpenType file when installed, else the Type1 one
// (for the two symbol fonts the other way round); nullopt when neither exists.
std::optional<std::string> SubstituteFile(const std::string& urw_name);

}  // namespace QorPdf::internal
