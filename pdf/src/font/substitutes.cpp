// Substitute selection for fonts without a program.
//
// Names are compared in a normal form: subset prefix dropped, lower case, without
// spaces, hyphens, commas and a trailing "MT" or "PS", so that "Arial,BoldItalic",
// "Arial-BoldItalicMT" and "ABCDEF+Arial Bold Italic" all read the same. A family
// matches when the normal form starts with one of its keys; what follows carries the
// style; for a known family only the name decides it, since a bare "Helvetica" is
// the regular face whatever flags its descriptor carries.
#include "font/substitutes.h"

#include <array>
#include <cctype>
#include <filesystem>
#include <system_error>

namespace QorPdf::internal {

namespace {

// One URW family: its four faces (regular, bold, italic, bold italic); families with
// a single face repeat it.
struct Family {
  std::array<const char*, 4> faces;
};

constexpr Family kSans{
    {"NimbusSans-Regular", "NimbusSans-Bold", "NimbusSans-Italic", "NimbusSans-BoldItalic"}};
constexpr Family kSansNarrow{{"NimbusSansNarrow-Regular", "NimbusSansNarrow-Bold",
                              "NimbusSansNarrow-Oblique", "NimbusSansNarrow-BoldOblique"}};
constexpr Family kSerif{
    {"NimbusRoman-Regular", "NimbusRoman-Bold", "NimbusRoman-Italic", "NimbusRoman-BoldItalic"}};
constexpr Family kMono{{"NimbusMonoPS-Regular", "NimbusMonoPS-Bold", "NimbusMonoPS-Italic",
                        "NimbusMonoPS-BoldItalic"}};
constexpr Family kSymbol{
    {"StandardSymbolsPS", "StandardSymbolsPS", "StandardSymbolsPS", "StandardSymbolsPS"}};
constexpr Family kDingbats{{"D050000L", "D050000L", "D050000L", "D050000L"}};
constexpr Family kChancery{
    {"Z003-MediumItalic", "Z003-MediumItalic", "Z003-MediumItalic", "Z003-MediumItalic"}};
constexpr Family kSchoolbook{{"C059-Roman", "C059-Bold", "C059-Italic", "C059-BdIta"}};
constexpr Family kPalatino{{"P052-Roman", "P052-Bold", "P052-Italic", "P052-BoldItalic"}};
constexpr Family kBookman{
    {"URWBookman-Light", "URWBookman-Demi", "URWBookman-LightItalic", "URWBookman-DemiItalic"}};
constexpr Family kGothic{
    {"URWGothic-Book", "URWGothic-Demi", "URWGothic-BookOblique", "URWGothic-DemiOblique"}};

struct FamilyKey {
  const char* key;  // in normal form
  const Family* family;
};

// Longer keys first where one key starts with another.
constexpr FamilyKey kFamilies[] = {
    {"helveticanarrow", &kSansNarrow},
    {"arialnarrow", &kSansNarrow},
    {"nimbussansnarrow", &kSansNarrow},
    {"helvetica", &kSans},
    {"arial", &kSans},
    {"liberationsans", &kSans},
    {"nimbussans", &kSans},
    {"timesnewroman", &kSerif},
    {"times", &kSerif},
    {"liberationserif", &kSerif},
    {"nimbusroman", &kSerif},
    {"couriernew", &kMono},
    {"courier", &kMono},
    {"liberationmono", &kMono},
    {"nimbusmono", &kMono},
    {"symbol", &kSymbol},
    {"standardsymbols", &kSymbol},
    {"zapfdingbats", &kDingbats},
    {"itczapfdingbats", &kDingbats},
    {"dingbats", &kDingbats},
    {"zapfchancery", &kChancery},
    {"itczapfchancery", &kChancery},
    {"newcenturyschlbk", &kSchoolbook},
    {"centuryschoolbook", &kSchoolbook},
    {"palatino", &kPalatino},
    {"bookantiqua", &kPalatino},
    {"bookman", &kBookman},
    {"itcbookman", &kBookman},
    {"avantgarde", &kGothic},
    {"itcavantgarde", &kGothic},
    {"centurygothic", &kGothic},
};

bool Contains(const std::string& s, const char* part) {
  return s.find(part) != std::string::npos;
}

}  // namespace

std::string NormalFontName(std::string_view name) {
  // A subset tag is six upper-case letters and a plus sign.
  if (name.size() > 7 && name[6] == '+') {
    bool tag = true;
    for (std::size_t i = 0; i < 6; ++i)
      tag = tag && name[i] >= 'A' && name[i] <= 'Z';
    if (tag) name.remove_prefix(7);
  }
  std::string out;
  for (char c : name) {
    if (c == ' ' || c == '-' || c == ',' || c == '_') continue;
    out += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return out;
}

std::string SubstituteName(std::string_view base_font, const SubstituteHints& hints) {
  const std::string name = NormalFontName(base_font);
  const Family* family = nullptr;
  std::string style;
  for (const FamilyKey& entry : kFamilies) {
    if (name.starts_with(entry.key)) {
      family = entry.family;
      style = name.substr(std::char_traits<char>::length(entry.key));
      break;
    }
  }
  bool bold = false;
  bool italic = false;
  if (family == nullptr) {
    family = hints.fixed_pitch ? &kMono : hints.serif ? &kSerif : &kSans;
    if (Contains(name, "narrow") || Contains(name, "condensed")) {
      if (family == &kSans) family = &kSansNarrow;
    }
    style = name;
    bold = hints.bold;
    italic = hints.italic;
  }
  bold = bold || Contains(style, "bold") || Contains(style, "black") || Contains(style, "heavy") ||
         Contains(style, "demi") || Contains(style, "semibold");
  italic = italic || Contains(style, "italic") || Contains(style, "oblique") ||
           Contains(style, "slanted");
  return family->faces[(bold ? 1 : 0) + (italic ? 2 : 0)];
}

std::optional<std::string> SubstituteFile(const std::string& urw_name) {
  // FreeType opens a CFF program about four times faster than a Type 1 one, which it
  // parses whole (some 5 M instructions per font, much of a short text page's
  // fixed cost). The Latin fonts' OpenType files hold exactly the Type 1 files'
  // glyphs (outlines, advances, names, built-in encoding and Unicode cmap, checked
  // glyph by glyph); the OpenType symbol fonts have other outlines and encodings.
  const bool symbols = urw_name == "StandardSymbolsPS" || urw_name == "D050000L";
  const std::string type1 = "/usr/share/fonts/type1/urw-base35/" + urw_name + ".t1";
  const std::string open_type = "/usr/share/fonts/opentype/urw-base35/" + urw_name + ".otf";
  const std::string candidates[] = {symbols ? type1 : open_type, symbols ? open_type : type1};
  for (const std::string& path : candidates) {
    std::error_code error;
    if (std::filesystem::is_regular_file(path, error)) return path;
  }
  return std::nullopt;
}

}  // namespace QorPdf::internal
