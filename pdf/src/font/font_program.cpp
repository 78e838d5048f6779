// FreeType faces for font programs, and outlines converted to Morv compounds.
//
// Glyphs load unscaled and unhinted (FT_LOAD_NO_SCALE), so outlines come in font
// units and are scaled by 1000 / units_per_EM. FreeType folds a Type1 FontMatrix's
// scale into units_per_EM (a matrix of 0.0005 gives 2000 units per em) and applies
// the rest of the matrix while loading, so the same division holds for every format.
#include "font/font_program.h"

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_ADVANCES_H
#include FT_CID_H
#include FT_FONT_FORMATS_H
#include FT_OUTLINE_H
#include FT_TRUETYPE_IDS_H

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

namespace QorPdf::internal {

namespace {

// The loads that give outlines in font units, untouched by hinting.
constexpr FT_Int32 kLoadFlags = FT_LOAD_NO_SCALE | FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP;

// Carries the builder and the scale through FT_Outline_Decompose.
struct DecomposeState {
  Morv::PathBuilder builder;
  double scale = 1.0;
  bool open = false;
};

DecomposeState& StateOf(void* user) {
  return *static_cast<DecomposeState*>(user);
}

int MoveTo(const FT_Vector* to, void* user) {
  DecomposeState& s = StateOf(user);
  // Glyph contours are closed shapes; FreeType does not report the closing line.
  if (s.open) s.builder.Close();
  s.builder.MoveTo(to->x * s.scale, to->y * s.scale);
  s.open = true;
  return 0;
}

int LineTo(const FT_Vector* to, void* user) {
  DecomposeState& s = StateOf(user);
  s.builder.LineTo(to->x * s.scale, to->y * s.scale);
  return 0;
}

int ConicTo(const FT_Vector* control, const FT_Vector* to, void* user) {
  DecomposeState& s = StateOf(user);
  s.builder.QuadTo(control->x * s.scale, control->y * s.scale, to->x * s.scale, to->y * s.scale);
  return 0;
}

int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* user) {
  DecomposeState& s = StateOf(user);
  s.builder.CurveTo(c1->x * s.scale, c1->y * s.scale, c2->x * s.scale, c2->y * s.scale,
                    to->x * s.scale, to->y * s.scale);
  return 0;
}

}  // namespace

FreeTypeLibrary MakeFreeTypeLibrary() {
  FT_Library library = nullptr;
  if (FT_Init_FreeType(&library) != 0) return nullptr;
  return FreeTypeLibrary(library, [](FT_Library l) { FT_Done_FreeType(l); });
}

FontProgram::FontProgram(FreeTypeLibrary library, std::vector<unsigned char> bytes)
    : library_(std::move(library)), bytes_(std::move(bytes)) {}

FontProgram::~FontProgram() {
  if (face_ != nullptr) FT_Done_Face(face_);
}

std::shared_ptr<FontProgram> FontProgram::Open(FreeTypeLibrary library,
                                               std::vector<unsigned char> bytes,
                                               std::string& error) {
  if (!library) {
    error = "FreeType is not available";
    return nullptr;
  }
  if (bytes.empty()) {
    error = "the font program is empty";
    return nullptr;
  }
  std::shared_ptr<FontProgram> program(new FontProgram(std::move(library), std::move(bytes)));
  FT_Face face = nullptr;
  const FT_Error status =
      FT_New_Memory_Face(program->library_.get(), program->bytes_.data(),
                         static_cast<FT_Long>(program->bytes_.size()), 0, &face);
  if (!program->Finish(face, status, error)) return nullptr;
  return program;
}

std::shared_ptr<FontProgram> FontProgram::OpenFile(FreeTypeLibrary library, const std::string& path,
                                                   std::string& error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    error = "cannot read " + path;
    return nullptr;
  }
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)),
                                   std::istreambuf_iterator<char>());
  return Open(std::move(library), std::move(bytes), error);
}

std::shared_ptr<FontProgram> FontProgram::OpenFileFace(FreeTypeLibrary library,
                                                       const std::string& path,
                                                       const std::string& family,
                                                       std::string& error) {
  if (!library) {
    error = "FreeType is not available";
    return nullptr;
  }
  FT_Long index = 0;
  FT_Face probe = nullptr;
  if (!family.empty() && FT_New_Face(library.get(), path.c_str(), 0, &probe) == 0) {
    const FT_Long faces = probe->num_faces;
    for (FT_Long i = 0; i < faces; ++i) {
      if (i > 0 && FT_New_Face(library.get(), path.c_str(), i, &probe) != 0) break;
      const bool match = probe->family_name != nullptr && family == probe->family_name;
      FT_Done_Face(probe);
      probe = nullptr;
      if (match) {
        index = i;
        break;
      }
    }
    if (probe != nullptr) FT_Done_Face(probe);
  }
  std::shared_ptr<FontProgram> program(new FontProgram(library, {}));
  FT_Face face = nullptr;
  const FT_Error status = FT_New_Face(library.get(), path.c_str(), index, &face);
  if (!program->Finish(face, status, error)) return nullptr;
  return program;
}

bool FontProgram::Finish(FT_Face face, FT_Error status, std::string& error) {
  if (status != 0 || face == nullptr) {
    const char* reason = FT_Error_String(status);
    error = std::string("FreeType cannot open the font program (") +
            (reason != nullptr ? reason : "error " + std::to_string(status)) + ")";
    return false;
  }
  face_ = face;
  if (!FT_IS_SCALABLE(face_) || face_->num_glyphs <= 0) {
    error = "the font program has no outline glyphs";
    return false;
  }
  const char* format = FT_Get_Font_Format(face_);
  if (format == nullptr) format = "";
  if (std::strcmp(format, "Type 1") == 0 || std::strcmp(format, "CID Type 1") == 0) {
    format_ = Format::kType1;
  } else if (std::strcmp(format, "CFF") == 0) {
    format_ = Format::kCff;
  } else if (std::strcmp(format, "TrueType") == 0) {
    format_ = Format::kTrueType;
  }
  FT_Bool cid_keyed = 0;
  if (FT_Get_CID_Is_Internally_CID_Keyed(face_, &cid_keyed) == 0) cid_keyed_ = cid_keyed != 0;
  const unsigned units_per_em = face_->units_per_EM != 0 ? face_->units_per_EM : 1000;
  scale_ = 1000.0 / units_per_em;
  return true;
}

bool FontProgram::HasGlyphNames() const {
  return FT_HAS_GLYPH_NAMES(face_);
}

unsigned FontProgram::GlyphByName(const char* name) const {
  if (name == nullptr || !FT_HAS_GLYPH_NAMES(face_)) return 0;
  if (++name_lookups_ == kLookupsBeforeNameTable) MakeNameTable();
  if (!glyphs_by_name_.empty() && name[0] != '\0') {
    const auto it = glyphs_by_name_.find(name);
    return it != glyphs_by_name_.end() ? it->second : 0;
  }
  // FreeType's name lookup takes a mutable pointer but does not write through it.
  return FT_Get_Name_Index(face_, const_cast<char*>(name));
}

// FreeType's lookup returns the first glyph whose name matches, skipping glyphs
// whose name it cannot read; the table keeps the first glyph of each name and skips
// the same ones. A name that may have been cut by the buffer leaves the table empty,
// and every lookup to FreeType.
void FontProgram::MakeNameTable() const {
  std::unordered_map<std::string, unsigned> table;
  table.reserve(static_cast<std::size_t>(std::max<FT_Long>(face_->num_glyphs, 0)));
  char name[256];
  for (FT_Long glyph = 0; glyph < face_->num_glyphs; ++glyph) {
    name[0] = '\0';
    if (FT_Get_Glyph_Name(face_, static_cast<FT_UInt>(glyph), name, sizeof name) != 0) continue;
    const std::size_t length = std::strlen(name);
    if (length + 1 >= sizeof name) return;
    if (length != 0) table.emplace(std::string(name, length), static_cast<unsigned>(glyph));
  }
  glyphs_by_name_ = std::move(table);
}

bool FontProgram::HasCmap(int platform, int encoding) const {
  for (FT_Int i = 0; i < face_->num_charmaps; ++i) {
    const FT_CharMap map = face_->charmaps[i];
    if (map->platform_id == platform && map->encoding_id == encoding) return true;
  }
  return false;
}

bool FontProgram::Select(int platform, int encoding) {
  for (FT_Int i = 0; i < face_->num_charmaps; ++i) {
    const FT_CharMap map = face_->charmaps[i];
    if (map->platform_id == platform && map->encoding_id == encoding) {
      return FT_Set_Charmap(face_, map) == 0;
    }
  }
  return false;
}

std::optional<unsigned> FontProgram::GlyphByCmap(int platform, int encoding, std::uint32_t code) {
  if (!Select(platform, encoding)) return std::nullopt;
  return FT_Get_Char_Index(face_, code);
}

unsigned FontProgram::GlyphByBuiltInEncoding(std::uint32_t code) {
  // FreeType lists a Type1 or CFF encoding as platform 7 (Adobe): standard, expert,
  // custom or Latin-1.
  for (FT_Int i = 0; i < face_->num_charmaps; ++i) {
    const FT_CharMap map = face_->charmaps[i];
    if (map->platform_id != TT_PLATFORM_ADOBE) continue;
    if (FT_Set_Charmap(face_, map) != 0) return 0;
    return FT_Get_Char_Index(face_, code);
  }
  return 0;
}

std::optional<double> FontProgram::Advance(unsigned glyph) {
  FT_Fixed advance = 0;
  if (FT_Get_Advance(face_, glyph, kLoadFlags, &advance) != 0) return std::nullopt;
  return static_cast<double>(advance) * scale_;
}

std::shared_ptr<const Morv::Compound> FontProgram::Outline(unsigned glyph) {
  if (const auto it = outlines_.find(glyph); it != outlines_.end()) return it->second;
  std::shared_ptr<const Morv::Compound> outline;
  if (FT_Load_Glyph(face_, glyph, kLoadFlags) == 0 &&
      face_->glyph->format == FT_GLYPH_FORMAT_OUTLINE && face_->glyph->outline.n_contours > 0) {
    FT_Outline_Funcs funcs{};
    funcs.move_to = MoveTo;
    funcs.line_to = LineTo;
    funcs.conic_to = ConicTo;
    funcs.cubic_to = CubicTo;
    DecomposeState state;
    state.scale = scale_;
    if (FT_Outline_Decompose(&face_->glyph->outline, &funcs, &state) == 0) {
      if (state.open) state.builder.Close();
      auto built = state.builder.BuildShared(Morv::kNonZero);
      if (!built->GetSubpaths().empty()) outline = std::move(built);
    }
  }
  outlines_.emplace(glyph, outline);
  return outline;
}

}  // namespace QorPdf::internal
