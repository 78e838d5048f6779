// A font program opened with FreeType: glyph lookup, advances and outlines in glyph
// units (1000 per em).
//
// Invariants: the program's bytes and the FreeType library outlive the face (FreeType
// reads memory faces in place, and a face must be freed before its library), so each
// program holds both. Outlines are converted once per glyph index and shared; a glyph
// that fails to load is remembered as having no outline. Nothing here throws for bad
// font data: every FreeType error ends in "no glyph" or "no outline". Not
// thread-safe: FreeType faces are not.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "morv/compound.h"

struct FT_LibraryRec_;
struct FT_FaceRec_;

namespace QorPdf::internal {

// The FreeType library handle shared by every program of a document.
using FreeTypeLibrary = std::shared_ptr<FT_LibraryRec_>;

// A new FreeType library; null when FreeType cannot start.
FreeTypeLibrary MakeFreeTypeLibrary();

class FontProgram {
 public:
  // Kinds of outline data, deciding how codes find glyphs.
  enum class Format { kType1, kCff, kTrueType, kOther };

  // Opens `bytes` (Type1 PFA/PFB, bare CFF, TrueType or OpenType). On failure returns
  // null and sets `error` to a short reason.
  static std::shared_ptr<FontProgram> Open(FreeTypeLibrary library,
                                           std::vector<unsigned char> bytes, std::string& error);
  // Opens a file; the same on failure.
  static std::shared_ptr<FontProgram> OpenFile(FreeTypeLibrary library, const std::string& path,
                                               std::string& error);
  // Opens the face of a font file or collection whose family name is `family` (the
  // first face when `family` is empty or no face has it), reading the file on demand
  // instead of into memory: CJK fonts are tens of megabytes, of which a page needs a
  // few glyphs. The same on failure.
  static std::shared_ptr<FontProgram> OpenFileFace(FreeTypeLibrary library, const std::string& path,
                                                   const std::string& family, std::string& error);

  ~FontProgram();
  FontProgram(const FontProgram&) = delete;
  FontProgram& operator=(const FontProgram&) = delete;

  Format GetFormat() const { return format_; }
  bool HasGlyphNames() const;
  // True for a CFF program keyed by CID, whose glyphs FreeType loads by CID.
  bool IsCidKeyed() const { return cid_keyed_; }

  // The glyph named `name`; 0 when there is none.
  unsigned GlyphByName(const char* name) const;
  // The glyph of `code` in the first cmap with this platform and encoding id; nullopt
  // when the font has no such cmap, 0 when the cmap does not map the code.
  std::optional<unsigned> GlyphByCmap(int platform, int encoding, std::uint32_t code);
  // Whether a cmap with this platform and encoding id exists.
  bool HasCmap(int platform, int encoding) const;
  // The glyph of `code` in the program's built-in encoding (a Type1 or CFF encoding,
  // which FreeType lists as an Adobe cmap); 0 when there is none.
  unsigned GlyphByBuiltInEncoding(std::uint32_t code);

  // The advance of a glyph in glyph units (1000 per em); nullopt when unknown.
  std::optional<double> Advance(unsigned glyph);
  // The outline of a glyph in glyph units, y up; null when it draws nothing.
  std::shared_ptr<const Morv::Compound> Outline(unsigned glyph);

 private:
  FontProgram(FreeTypeLibrary library, std::vector<unsigned char> bytes);
  bool Finish(FT_FaceRec_* face, int status, std::string& error);
  bool Select(int platform, int encoding);
  void MakeNameTable() const;

  // Lookups of names answered by FreeType before the names are put in a table: a
  // font asked for a few names (a symbolic TrueType font) does not pay for reading
  // every name of a large face.
  static constexpr unsigned kLookupsBeforeNameTable = 16;

  // Declaration order matters: the face is freed before the bytes and the library.
  FreeTypeLibrary library_;
  std::vector<unsigned char> bytes_;
  FT_FaceRec_* face_ = nullptr;
  Format format_ = Format::kOther;
  bool cid_keyed_ = false;
  double scale_ = 1.0;  // glyph units per font unit
  std::unordered_map<unsigned, std::shared_ptr<const Morv::Compound>> outlines_;
  // Every glyph's name (the first glyph of a name), made after a few lookups:
  // FreeType compares the names one by one, and a simple font looks up every name of
  // its encoding. Empty while not made, or when a name could not be read whole.
  mutable std::unordered_map<std::string, unsigned> glyphs_by_name_;
  mutable unsigned name_lookups_ = 0;
};

}  // namespace QorPdf::internal
