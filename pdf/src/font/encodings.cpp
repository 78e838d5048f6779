// The base encodings and the glyph-name to Unicode table.
//
// The code tables were taken from the URW fonts' built-in StandardEncoding (through
// FreeType) and from the Windows-1252 and Mac OS Roman code pages, named with the
// URW fonts' glyph names; the row comments give the first code of the row in octal,
// as encodings are usually listed. In WinAnsiEncoding the unused codes above 40
// octal show a bullet and codes 240 and 255 octal are space and hyphen; in
// MacRomanEncoding code 333 octal is currency and code 360 octal (the Apple logo)
// has no glyph.
#include "font/encodings.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace QorPdf::internal {

namespace {

struct NameToUnicode {
  std::string_view name;
  std::uint32_t unicode;
};

// clang-format off
constexpr EncodingTable kStandardEncoding = {{
    /*   0 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  10 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  20 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  30 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  40 */ "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand", "quoteright",
    /*  50 */ "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash",
    /*  60 */ "zero", "one", "two", "three", "four", "five", "six", "seven",
    /*  70 */ "eight", "nine", "colon", "semicolon", "less", "equal", "greater", "question",
    /* 100 */ "at", "A", "B", "C", "D", "E", "F", "G",
    /* 110 */ "H", "I", "J", "K", "L", "M", "N", "O",
    /* 120 */ "P", "Q", "R", "S", "T", "U", "V", "W",
    /* 130 */ "X", "Y", "Z", "bracketleft", "backslash", "bracketright", "asciicircum", "underscore",
    /* 140 */ "quoteleft", "a", "b", "c", "d", "e", "f", "g",
    /* 150 */ "h", "i", "j", "k", "l", "m", "n", "o",
    /* 160 */ "p", "q", "r", "s", "t", "u", "v", "w",
    /* 170 */ "x", "y", "z", "braceleft", "bar", "braceright", "asciitilde", nullptr,
    /* 200 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /* 210 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /* 220 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /* 230 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /* 240 */ nullptr, "exclamdown", "cent", "sterling", "fraction", "yen", "florin", "section",
    /* 250 */ "currency", "quotesingle", "quotedblleft", "guillemotleft", "guilsinglleft", "guilsinglright", "fi", "fl",
    /* 260 */ nullptr, "endash", "dagger", "daggerdbl", "periodcentered", nullptr, "paragraph", "bullet",
    /* 270 */ "quotesinglbase", "quotedblbase", "quotedblright", "guillemotright", "ellipsis", "perthousand", nullptr, "questiondown",
    /* 300 */ nullptr, "grave", "acute", "circumflex", "tilde", "macron", "breve", "dotaccent",
    /* 310 */ "dieresis", nullptr, "ring", "cedilla", nullptr, "hungarumlaut", "ogonek", "caron",
    /* 320 */ "emdash", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /* 330 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /* 340 */ nullptr, "AE", nullptr, "ordfeminine", nullptr, nullptr, nullptr, nullptr,
    /* 350 */ "Lslash", "Oslash", "OE", "ordmasculine", nullptr, nullptr, nullptr, nullptr,
    /* 360 */ nullptr, "ae", nullptr, nullptr, nullptr, "dotlessi", nullptr, nullptr,
    /* 370 */ "lslash", "oslash", "oe", "germandbls", nullptr, nullptr, nullptr, nullptr,
}};

constexpr EncodingTable kWinAnsiEncoding = {{
    /*   0 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  10 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  20 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  30 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  40 */ "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand", "quotesingle",
    /*  50 */ "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash",
    /*  60 */ "zero", "one", "two", "three", "four", "five", "six", "seven",
    /*  70 */ "eight", "nine", "colon", "semicolon", "less", "equal", "greater", "question",
    /* 100 */ "at", "A", "B", "C", "D", "E", "F", "G",
    /* 110 */ "H", "I", "J", "K", "L", "M", "N", "O",
    /* 120 */ "P", "Q", "R", "S", "T", "U", "V", "W",
    /* 130 */ "X", "Y", "Z", "bracketleft", "backslash", "bracketright", "asciicircum", "underscore",
    /* 140 */ "grave", "a", "b", "c", "d", "e", "f", "g",
    /* 150 */ "h", "i", "j", "k", "l", "m", "n", "o",
    /* 160 */ "p", "q", "r", "s", "t", "u", "v", "w",
    /* 170 */ "x", "y", "z", "braceleft", "bar", "braceright", "asciitilde", "bullet",
    /* 200 */ "Euro", "bullet", "quotesinglbase", "florin", "quotedblbase", "ellipsis", "dagger", "daggerdbl",
    /* 210 */ "circumflex", "perthousand", "Scaron", "guilsinglleft", "OE", "bullet", "Zcaron", "bullet",
    /* 220 */ "bullet", "quoteleft", "quoteright", "quotedblleft", "quotedblright", "bullet", "endash", "emdash",
    /* 230 */ "tilde", "trademark", "scaron", "guilsinglright", "oe", "bullet", "zcaron", "Ydieresis",
    /* 240 */ "space", "exclamdown", "cent", "sterling", "currency", "yen", "brokenbar", "section",
    /* 250 */ "dieresis", "copyright", "ordfeminine", "guillemotleft", "logicalnot", "hyphen", "registered", "macron",
    /* 260 */ "degree", "plusminus", "twosuperior", "threesuperior", "acute", "mu", "paragraph", "periodcentered",
    /* 270 */ "cedilla", "onesuperior", "ordmasculine", "guillemotright", "onequarter", "onehalf", "threequarters", "questiondown",
    /* 300 */ "Agrave", "Aacute", "Acircumflex", "Atilde", "Adieresis", "Aring", "AE", "Ccedilla",
    /* 310 */ "Egrave", "Eacute", "Ecircumflex", "Edieresis", "Igrave", "Iacute", "Icircumflex", "Idieresis",
    /* 320 */ "Eth", "Ntilde", "Ograve", "Oacute", "Ocircumflex", "Otilde", "Odieresis", "multiply",
    /* 330 */ "Oslash", "Ugrave", "Uacute", "Ucircumflex", "Udieresis", "Yacute", "Thorn", "germandbls",
    /* 340 */ "agrave", "aacute", "acircumflex", "atilde", "adieresis", "aring", "ae", "ccedilla",
    /* 350 */ "egrave", "eacute", "ecircumflex", "edieresis", "igrave", "iacute", "icircumflex", "idieresis",
    /* 360 */ "eth", "ntilde", "ograve", "oacute", "ocircumflex", "otilde", "odieresis", "divide",
    /* 370 */ "oslash", "ugrave", "uacute", "ucircumflex", "udieresis", "yacute", "thorn", "ydieresis",
}};

constexpr EncodingTable kMacRomanEncoding = {{
    /*   0 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  10 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  20 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  30 */ nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    /*  40 */ "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand", "quotesingle",
    /*  50 */ "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash",
    /*  60 */ "zero", "one", "two", "three", "four", "five", "six", "seven",
    /*  70 */ "eight", "nine", "colon", "semicolon", "less", "equal", "greater", "question",
    /* 100 */ "at", "A", "B", "C", "D", "E", "F", "G",
    /* 110 */ "H", "I", "J", "K", "L", "M", "N", "O",
    /* 120 */ "P", "Q", "R", "S", "T", "U", "V", "W",
    /* 130 */ "X", "Y", "Z", "bracketleft", "backslash", "bracketright", "asciicircum", "underscore",
    /* 140 */ "grave", "a", "b", "c", "d", "e", "f", "g",
    /* 150 */ "h", "i", "j", "k", "l", "m", "n", "o",
    /* 160 */ "p", "q", "r", "s", "t", "u", "v", "w",
    /* 170 */ "x", "y", "z", "braceleft", "bar", "braceright", "asciitilde", nullptr,
    /* 200 */ "Adieresis", "Aring", "Ccedilla", "Eacute", "Ntilde", "Odieresis", "Udieresis", "aacute",
    /* 210 */ "agrave", "acircumflex", "adieresis", "atilde", "aring", "ccedilla", "eacute", "egrave",
    /* 220 */ "ecircumflex", "edieresis", "iacute", "igrave", "icircumflex", "idieresis", "ntilde", "oacute",
    /* 230 */ "ograve", "ocircumflex", "odieresis", "otilde", "uacute", "ugrave", "ucircumflex", "udieresis",
    /* 240 */ "dagger", "degree", "cent", "sterling", "section", "bullet", "paragraph", "germandbls",
    /* 250 */ "registered", "copyright", "trademark", "acute", "dieresis", "notequal", "AE", "Oslash",
    /* 260 */ "infinity", "plusminus", "lessequal", "greaterequal", "yen", "mu", "partialdiff", "summation",
    /* 270 */ "product", "pi", "integral", "ordfeminine", "ordmasculine", "Omega", "ae", "oslash",
    /* 300 */ "questiondown", "exclamdown", "logicalnot", "radical", "florin", "approxequal", "Delta", "guillemotleft",
    /* 310 */ "guillemotright", "ellipsis", "space", "Agrave", "Atilde", "Otilde", "OE", "oe",
    /* 320 */ "endash", "emdash", "quotedblleft", "quotedblright", "quoteleft", "quoteright", "divide", "lozenge",
    /* 330 */ "ydieresis", "Ydieresis", "fraction", "currency", "guilsinglleft", "guilsinglright", "fi", "fl",
    /* 340 */ "daggerdbl", "periodcentered", "quotesinglbase", "quotedblbase", "perthousand", "Acircumflex", "Ecircumflex", "Aacute",
    /* 350 */ "Edieresis", "Egrave", "Iacute", "Icircumflex", "Idieresis", "Igrave", "Oacute", "Ocircumflex",
    /* 360 */ nullptr, "Ograve", "Uacute", "Ucircumflex", "Ugrave", "dotlessi", "circumflex", "tilde",
    /* 370 */ "macron", "breve", "dotaccent", "ring", "cedilla", "hungarumlaut", "ogonek", "caron",
}};

// Sorted by name (byte order) for binary search.
constexpr NameToUnicode kGlyphNameUnicode[] = {
    {"A", 0x0041}, {"AE", 0x00C6}, {"Aacute", 0x00C1}, {"Acircumflex", 0x00C2},
    {"Adieresis", 0x00C4}, {"Agrave", 0x00C0}, {"Aring", 0x00C5}, {"Atilde", 0x00C3},
    {"B", 0x0042}, {"C", 0x0043}, {"Ccedilla", 0x00C7}, {"D", 0x0044}, {"Delta", 0x2206},
    {"E", 0x0045}, {"Eacute", 0x00C9}, {"Ecircumflex", 0x00CA}, {"Edieresis", 0x00CB},
    {"Egrave", 0x00C8}, {"Eth", 0x00D0}, {"Euro", 0x20AC}, {"F", 0x0046}, {"G", 0x0047},
    {"H", 0x0048}, {"I", 0x0049}, {"Iacute", 0x00CD}, {"Icircumflex", 0x00CE},
    {"Idieresis", 0x00CF}, {"Igrave", 0x00CC}, {"J", 0x004A}, {"K", 0x004B}, {"L", 0x004C},
    {"Lslash", 0x0141}, {"M", 0x004D}, {"N", 0x004E}, {"Ntilde", 0x00D1}, {"O", 0x004F},
    {"OE", 0x0152}, {"Oacute", 0x00D3}, {"Ocircumflex", 0x00D4}, {"Odieresis", 0x00D6},
    {"Ograve", 0x00D2}, {"Omega", 0x03A9}, {"Oslash", 0x00D8}, {"Otilde", 0x00D5}, {"P", 0x0050},
    {"Q", 0x0051}, {"R", 0x0052}, {"S", 0x0053}, {"Scaron", 0x0160}, {"T", 0x0054},
    {"Thorn", 0x00DE}, {"U", 0x0055}, {"Uacute", 0x00DA}, {"Ucircumflex", 0x00DB},
    {"Udieresis", 0x00DC}, {"Ugrave", 0x00D9}, {"V", 0x0056}, {"W", 0x0057}, {"X", 0x0058},
    {"Y", 0x0059}, {"Yacute", 0x00DD}, {"Ydieresis", 0x0178}, {"Z", 0x005A}, {"Zcaron", 0x017D},
    {"a", 0x0061}, {"aacute", 0x00E1}, {"acircumflex", 0x00E2}, {"acute", 0x00B4},
    {"adieresis", 0x00E4}, {"ae", 0x00E6}, {"agrave", 0x00E0}, {"ampersand", 0x0026},
    {"approxequal", 0x2248}, {"aring", 0x00E5}, {"asciicircum", 0x005E}, {"asciitilde", 0x007E},
    {"asterisk", 0x002A}, {"at", 0x0040}, {"atilde", 0x00E3}, {"b", 0x0062},
    {"backslash", 0x005C}, {"bar", 0x007C}, {"braceleft", 0x007B}, {"braceright", 0x007D},
    {"bracketleft", 0x005B}, {"bracketright", 0x005D}, {"breve", 0x02D8}, {"brokenbar", 0x00A6},
    {"bullet", 0x2022}, {"c", 0x0063}, {"caron", 0x02C7}, {"ccedilla", 0x00E7},
    {"cedilla", 0x00B8}, {"cent", 0x00A2}, {"circumflex", 0x02C6}, {"colon", 0x003A},
    {"comma", 0x002C}, {"copyright", 0x00A9}, {"currency", 0x00A4}, {"d", 0x0064},
    {"dagger", 0x2020}, {"daggerdbl", 0x2021}, {"degree", 0x00B0}, {"dieresis", 0x00A8},
    {"divide", 0x00F7}, {"dollar", 0x0024}, {"dotaccent", 0x02D9}, {"dotlessi", 0x0131},
    {"e", 0x0065}, {"eacute", 0x00E9}, {"ecircumflex", 0x00EA}, {"edieresis", 0x00EB},
    {"egrave", 0x00E8}, {"eight", 0x0038}, {"ellipsis", 0x2026}, {"emdash", 0x2014},
    {"endash", 0x2013}, {"equal", 0x003D}, {"eth", 0x00F0}, {"exclam", 0x0021},
    {"exclamdown", 0x00A1}, {"f", 0x0066}, {"fi", 0xFB01}, {"five", 0x0035}, {"fl", 0xFB02},
    {"florin", 0x0192}, {"four", 0x0034}, {"fraction", 0x2044}, {"g", 0x0067},
    {"germandbls", 0x00DF}, {"grave", 0x0060}, {"greater", 0x003E}, {"greaterequal", 0x2265},
    {"guillemotleft", 0x00AB}, {"guillemotright", 0x00BB}, {"guilsinglleft", 0x2039},
    {"guilsinglright", 0x203A}, {"h", 0x0068}, {"hungarumlaut", 0x02DD}, {"hyphen", 0x002D},
    {"i", 0x0069}, {"iacute", 0x00ED}, {"icircumflex", 0x00EE}, {"idieresis", 0x00EF},
    {"igrave", 0x00EC}, {"infinity", 0x221E}, {"integral", 0x222B}, {"j", 0x006A}, {"k", 0x006B},
    {"l", 0x006C}, {"less", 0x003C}, {"lessequal", 0x2264}, {"logicalnot", 0x00AC},
    {"lozenge", 0x25CA}, {"lslash", 0x0142}, {"m", 0x006D}, {"macron", 0x00AF}, {"mu", 0x00B5},
    {"multiply", 0x00D7}, {"n", 0x006E}, {"nine", 0x0039}, {"notequal", 0x2260},
    {"ntilde", 0x00F1}, {"numbersign", 0x0023}, {"o", 0x006F}, {"oacute", 0x00F3},
    {"ocircumflex", 0x00F4}, {"odieresis", 0x00F6}, {"oe", 0x0153}, {"ogonek", 0x02DB},
    {"ograve", 0x00F2}, {"one", 0x0031}, {"onehalf", 0x00BD}, {"onequarter", 0x00BC},
    {"onesuperior", 0x00B9}, {"ordfeminine", 0x00AA}, {"ordmasculine", 0x00BA},
    {"oslash", 0x00F8}, {"otilde", 0x00F5}, {"p", 0x0070}, {"paragraph", 0x00B6},
    {"parenleft", 0x0028}, {"parenright", 0x0029}, {"partialdiff", 0x2202}, {"percent", 0x0025},
    {"period", 0x002E}, {"periodcentered", 0x00B7}, {"perthousand", 0x2030}, {"pi", 0x03C0},
    {"plus", 0x002B}, {"plusminus", 0x00B1}, {"product", 0x220F}, {"q", 0x0071},
    {"question", 0x003F}, {"questiondown", 0x00BF}, {"quotedbl", 0x0022},
    {"quotedblbase", 0x201E}, {"quotedblleft", 0x201C}, {"quotedblright", 0x201D},
    {"quoteleft", 0x2018}, {"quoteright", 0x2019}, {"quotesinglbase", 0x201A},
    {"quotesingle", 0x0027}, {"r", 0x0072}, {"radical", 0x221A}, {"registered", 0x00AE},
    {"ring", 0x02DA}, {"s", 0x0073}, {"scaron", 0x0161}, {"section", 0x00A7},
    {"semicolon", 0x003B}, {"seven", 0x0037}, {"six", 0x0036}, {"slash", 0x002F},
    {"space", 0x0020}, {"sterling", 0x00A3}, {"summation", 0x2211}, {"t", 0x0074},
    {"thorn", 0x00FE}, {"three", 0x0033}, {"threequarters", 0x00BE}, {"threesuperior", 0x00B3},
    {"tilde", 0x02DC}, {"trademark", 0x2122}, {"two", 0x0032}, {"twosuperior", 0x00B2},
    {"u", 0x0075}, {"uacute", 0x00FA}, {"ucircumflex", 0x00FB}, {"udieresis", 0x00FC},
    {"ugrave", 0x00F9}, {"underscore", 0x005F}, {"v", 0x0076}, {"w", 0x0077}, {"x", 0x0078},
    {"y", 0x0079}, {"yacute", 0x00FD}, {"ydieresis", 0x00FF}, {"yen", 0x00A5}, {"z", 0x007A},
    {"zcaron", 0x017E}, {"zero", 0x0030},
};
// clang-format on

// Names outside the base encodings that documents commonly use in /Differences.
constexpr NameToUnicode kExtraNames[] = {
    {"minus", 0x2212},        {"nbspace", 0x00A0},  {"sfthyphen", 0x00AD}, {"Tcommaaccent", 0x0162},
    {"tcommaaccent", 0x0163}, {"Gbreve", 0x011E},   {"gbreve", 0x011F},    {"Idotaccent", 0x0130},
    {"Scedilla", 0x015E},     {"scedilla", 0x015F}, {"ff", 0xFB00},        {"ffi", 0xFB03},
    {"ffl", 0xFB04},          {"dotlessj", 0x0237},
};

// Parses `digits` as hexadecimal when it has `min` to `max` upper-case hex digits.
std::optional<std::uint32_t> ParseHex(std::string_view digits, std::size_t min, std::size_t max) {
  if (digits.size() < min || digits.size() > max) return std::nullopt;
  std::uint32_t value = 0;
  for (char c : digits) {
    const bool digit = c >= '0' && c <= '9';
    const bool letter = c >= 'A' && c <= 'F';
    if (!digit && !letter) return std::nullopt;
    value = value * 16 + static_cast<std::uint32_t>(digit ? c - '0' : c - 'A' + 10);
  }
  return value;
}

}  // namespace

const EncodingTable& StandardEncoding() {
  return kStandardEncoding;
}
const EncodingTable& WinAnsiEncoding() {
  return kWinAnsiEncoding;
}
const EncodingTable& MacRomanEncoding() {
  return kMacRomanEncoding;
}

const EncodingTable* EncodingByName(std::string_view name) {
  if (name == "StandardEncoding") return &kStandardEncoding;
  if (name == "WinAnsiEncoding") return &kWinAnsiEncoding;
  if (name == "MacRomanEncoding") return &kMacRomanEncoding;
  return nullptr;
}

std::optional<std::uint32_t> GlyphNameToUnicode(std::string_view name) {
  // A suffix (".sc", ".alt") names a variant of the glyph before it.
  if (const auto dot = name.find('.'); dot != std::string_view::npos && dot > 0) {
    name = name.substr(0, dot);
  }
  const auto* end = std::end(kGlyphNameUnicode);
  const auto* it = std::lower_bound(
      std::begin(kGlyphNameUnicode), end, name,
      [](const NameToUnicode& entry, std::string_view key) { return entry.name < key; });
  if (it != end && it->name == name) return it->unicode;
  for (const NameToUnicode& entry : kExtraNames) {
    if (entry.name == name) return entry.unicode;
  }
  if (name.starts_with("uni")) return ParseHex(name.substr(3), 4, 4);
  if (name.starts_with("u")) return ParseHex(name.substr(1), 4, 6);
  return std::nullopt;
}

std::optional<std::uint8_t> MacRomanCode(std::string_view name) {
  for (std::size_t code = 0; code < kMacRomanEncoding.size(); ++code) {
    const char* entry = kMacRomanEncoding[code];
    if (entry != nullptr && name == entry) return static_cast<std::uint8_t>(code);
  }
  return std::nullopt;
}

}  // namespace QorPdf::internal
