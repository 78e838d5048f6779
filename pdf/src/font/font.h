// PDF fonts for text showing: decoding a string into glyphs with their outlines and
// widths.
//
// Handles Type1 (embedded FontFile, FontFile3/Type1C), TrueType (FontFile2),
// OpenType (FontFile3/OpenType), Type0 with CIDFontType0 or CIDFontType2
// descendants (Identity-H/V, Adobe's predefined CMaps from poppler-data and
// embedded CMaps; CIDToGIDMap Identity or a stream), and Type3 (glyphs are content
// procedures, which the interpreter runs). Encodings: the font's built-in one,
// StandardEncoding, WinAnsiEncoding, MacRomanEncoding, and /Differences over a base.
// Widths from /Widths (FirstChar) or /W and /DW for CID fonts, else from the font
// program. Standard 14 fonts and other simple fonts without an embedded program are
// drawn with Debian's URW base-35 substitutes (fonts-urw-base35), chosen by name and
// flags; CJK fonts without one (CID fonts of the Adobe-Japan1, GB1, CNS1 and Korea1
// collections, simple fonts and CID fonts with a /ToUnicode that have CJK names) with
// a Noto CJK face (fonts-noto-cjk) found through Unicode, noted by one warning per
// font; other CID fonts with a /ToUnicode with URW through Unicode. CID fonts without
// a program, a known collection or a /ToUnicode draw nothing (one warning, widths
// still apply).
//
// Invariants: outlines are in glyph units, 1000 per text-space unit (a glyph of a
// 1-unit font scaled up 1000×), y up, origin at the glyph origin, filled non-zero;
// they are made once per glyph and shared. Nothing here throws for bad font data: a
// broken font program or a missing substitute gives glyphs without outlines (they
// still advance) and one warning.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "morv/compound.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorPdf::internal {

// One glyph of a shown string.
struct ShownGlyph {
  std::uint32_t code = 0;  // the character code as read from the string
  // Null for glyphs that draw nothing (a space, a missing glyph) and for Type3.
  std::shared_ptr<const Morv::Compound> outline;
  // Horizontal displacement w0 in text-space units for a font size of 1 (a /Widths
  // entry divided by 1000, or for Type3 the width through the FontMatrix).
  double width = 0.0;
  // A one-byte code 32: the word spacing (Tw) applies to it.
  bool word_space = false;
};

// What `qorsc info` shows about a font.
struct FontDescription {
  std::string name;     // BaseFont (subset prefix kept), or "(unnamed)"
  std::string subtype;  // Type1, MMType1, TrueType, Type0, Type3
  std::string program;  // Type1, Type1C, TrueType, OpenType, CIDFontType0C ... or "none"
  bool embedded = false;
  std::string substitute;  // the file drawn instead, when not embedded; else empty
};

class Font {
 public:
  virtual ~Font() = default;

  const FontDescription& Description() const { return description_; }
  bool IsType3() const { return type3_; }

  // Appends the glyphs of `bytes` (the string operand of Tj, TJ, ' or ") to `out`.
  // Bytes left over at the end of a multi-byte string are dropped.
  virtual void Decode(std::string_view bytes, std::vector<ShownGlyph>& out) = 0;

  // Type3 only: the FontMatrix (glyph space to text space, a b c d e f), the
  // procedure drawing `code` (a null handle when there is none) and the resources
  // the procedures use (the font's /Resources, or null to use the page's).
  virtual std::array<double, 6> Type3Matrix() const { return {0.001, 0, 0, 0.001, 0, 0}; }
  virtual QPDFObjectHandle Type3Procedure(std::uint32_t /*code*/) const { return {}; }
  virtual QPDFObjectHandle Type3Resources() const { return {}; }

 protected:
  Font(FontDescription description, bool type3)
      : description_(std::move(description)), type3_(type3) {}

 private:
  FontDescription description_;
  bool type3_;
};

// Fonts of one document, read once per font dictionary. Owns the FreeType library
// handle; not for use from two threads at once.
class FontCache {
 public:
  explicit FontCache(WarningList& warnings);
  ~FontCache();
  FontCache(const FontCache&) = delete;
  FontCache& operator=(const FontCache&) = delete;

  // The font of the dictionary `font` (as found in /Resources /Font); `page`
  // attributes warnings. Null only when `font` is not a dictionary at all.
  std::shared_ptr<Font> Get(QPDFObjectHandle font, std::optional<std::size_t> page);

  // A glyph outline moved `offset` glyph units along the baseline, shared with the
  // texts that show the same glyph at the same offset (see placed_glyphs.h).
  std::shared_ptr<const Morv::Compound> PlacedOutline(
      const std::shared_ptr<const Morv::Compound>& outline, double offset);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QorPdf::internal
