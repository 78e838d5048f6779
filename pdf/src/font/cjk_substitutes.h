// Choosing a CJK font from Debian's packages to draw a Chinese, Japanese or Korean
// font that has no embedded program.
//
// The character collection (Adobe-Japan1, GB1, CNS1, Korea1) comes from the CID
// font's CIDSystemInfo or, for simple fonts and Identity-ordered CID fonts, from
// well-known font names (MS-Mincho, SimSun, MingLiU, Batang, ...). The substitute is
// a face of Noto Serif CJK or Noto Sans CJK (fonts-noto-cjk) in the collection's
// regional style, serif or sans from the name or the FontDescriptor flags, bold from
// the name or the weight; without Noto, Droid Sans Fallback (fonts-droid-fallback)
// covers the four collections in one sans face. Glyphs are found through Unicode:
// the collection's UCS2 CMap (CID to Unicode) and the face's Unicode cmap.
//
// Pure functions apart from looking at which files exist.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "font/substitutes.h"

namespace QorPdf::internal {

enum class CjkCollection { kJapan1, kGB1, kCNS1, kKorea1 };

// The collection of a CIDSystemInfo /Ordering ("Japan1", "GB1", "CNS1", "Korea1",
// "KR"); nullopt for others (Identity, custom orderings).
std::optional<CjkCollection> CollectionOfOrdering(std::string_view ordering);

// The collection a font name points to (subset prefix allowed); nullopt when the
// name is not a known CJK family.
std::optional<CjkCollection> CollectionOfFontName(std::string_view base_font);

// The predefined CMap from the collection's CIDs to Unicode ("Adobe-Japan1-UCS2"...).
const char* UnicodeCMapName(CjkCollection collection);

// A face of an installed font file.
struct CjkSubstitute {
  std::string path;
  std::string family;  // the face's family name, which picks the face in a collection
};

// Whether the font is drawn in a serif (Mincho, Song, Ming, Batang) style: the name
// decides when it says so, else the descriptor's serif flag.
bool IsSerifCjk(std::string_view base_font, const SubstituteHints& hints);

// The substitute for `collection` in the requested style; nullopt when no CJK font
// is installed.
std::optional<CjkSubstitute> CjkSubstituteFile(CjkCollection collection, bool serif, bool bold);

}  // namespace QorPdf::internal
