// What the font kinds share while reading a font dictionary: the FreeType library,
// embedded programs, URW substitutes (opened once per document and shared between
// fonts) and small readers for dictionary values.
//
// Invariants: nothing here throws for bad data; problems come back as a reason string
// that the font cache turns into the font's one warning.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "font/cjk_substitutes.h"
#include "font/cmap.h"
#include "font/cmap_resources.h"
#include "font/font.h"
#include "font/font_program.h"
#include "qpdf_headers.h"

namespace QorPdf::internal {

// A font's program: embedded, a substitute, or none (then `problem` says why).
struct LoadedProgram {
  std::shared_ptr<FontProgram> program;
  std::string kind = "none";  // Type1, Type1C, TrueType, OpenType, CIDFontType0C, ...
  bool embedded = false;
  std::string substitute;  // the substitute's file name, when one is used
  bool cjk = false;        // the substitute is a CJK font (its glyphs go by Unicode)
};

class FontLoader {
 public:
  FontLoader();

  // The embedded program of `descriptor` or, when there is none, the substitute chosen
  // for `base_font` and the descriptor's flags: a CJK font for known CJK names, else
  // a URW font. `allow_substitute` is false for CID fonts, whose glyph numbering no
  // substitute shares (they use CjkSubstitute). Sets `problem` (when still empty)
  // for a program that cannot be read or a missing substitute, and notes a CJK
  // substitution.
  LoadedProgram Load(const std::string& base_font, QPDFObjectHandle descriptor,
                     bool allow_substitute, std::string& problem);

  // The CJK substitute for a font of `collection` without a program, in the style its
  // name and descriptor ask for; `loaded.program` is null (and `problem` says why)
  // when no CJK font is installed.
  void CjkSubstitute(CjkCollection collection, const std::string& base_font,
                     QPDFObjectHandle descriptor, LoadedProgram& loaded, std::string& problem);

  // The collection's CID-to-Unicode CMap, read once per document; null when it is
  // not installed.
  std::shared_ptr<const CMap> UnicodeCMap(CjkCollection collection);

  // The predefined CMaps of this machine.
  CMapResources& CMaps() { return cmaps_; }

 private:
  std::shared_ptr<FontProgram> Substitute(const std::string& path, const std::string& family,
                                          std::string& problem);

  // The FreeType library, started on first use.
  const FreeTypeLibrary& Library();

  FreeTypeLibrary library_;
  // By path and family (the face of a collection file).
  std::map<std::pair<std::string, std::string>, std::shared_ptr<FontProgram>> substitutes_;
  CMapResources cmaps_;
  std::map<CjkCollection, std::shared_ptr<const CMap>> unicode_cmaps_;
};

// The value of a number object (integer or real); nullopt for anything else.
std::optional<double> NumberOf(QPDFObjectHandle object);
// An integer value of a number object, clamped to the int range.
std::optional<long long> IntegerOf(QPDFObjectHandle object);
// A name without its slash; empty when `object` is not a name.
std::string NameOf(QPDFObjectHandle object);
// The /FontDescriptor /Flags, 0 when absent.
std::uint32_t FlagsOf(QPDFObjectHandle descriptor);

// FontDescriptor flag bits.
constexpr std::uint32_t kFlagFixedPitch = 1u << 0;
constexpr std::uint32_t kFlagSerif = 1u << 1;
constexpr std::uint32_t kFlagSymbolic = 1u << 2;
constexpr std::uint32_t kFlagNonsymbolic = 1u << 5;
constexpr std::uint32_t kFlagItalic = 1u << 6;
constexpr std::uint32_t kFlagForceBold = 1u << 18;

// The font kinds, each in its own file. They never throw for bad data; a problem
// worth the font's warning is stored in `problem` (the first one wins).
std::shared_ptr<Font> MakeSimpleFont(QPDFObjectHandle font, FontLoader& loader,
                                     std::string& problem);
std::shared_ptr<Font> MakeCidFont(QPDFObjectHandle font, FontLoader& loader, std::string& problem);
std::shared_ptr<Font> MakeType3Font(QPDFObjectHandle font, std::string& problem);

}  // namespace QorPdf::internal
