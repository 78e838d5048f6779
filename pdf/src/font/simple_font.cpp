// Simple fonts (Type1, MMType1, TrueType and their embedded CFF or OpenType
// programs): one byte per code, looked up once per code at construction.
//
// How a code finds its glyph depends on the program's format, not on /Subtype
// (documents label fonts loosely):
//  - Type1 and CFF: the code's glyph name (base encoding, then /Differences) by
//    name; codes the document does not name use the program's built-in encoding.
//  - TrueType: a name goes through Unicode to the (3,1) cmap, through
//    MacRomanEncoding to the (1,0) cmap, then through the post table. Codes without a
//    name (symbolic fonts) or whose name finds nothing try the (3,0) cmap at code,
//    0xF000, 0xF100 and 0xF200 plus code, then the (1,0) and (3,1) cmaps at code;
//    a program without any of these cmaps takes the code as glyph index.
// Glyph 0 (notdef) draws nothing. Decode is a table lookup per byte; outlines come
// from the program's per-glyph cache.
#include <array>
#include <string>
#include <utility>

#include "font/encodings.h"
#include "font/font_loader.h"

namespace QorPdf::internal {

namespace {

// Glyph names per code, as the font dictionary gives them.
struct Names {
  std::array<std::string, 256> names;
  bool has_base = false;         // a base encoding named every code it has
  bool has_differences = false;  // /Differences named some codes
};

Names ReadEncoding(QPDFObjectHandle encoding, bool default_standard) {
  Names result;
  const EncodingTable* base = nullptr;
  QPDFObjectHandle differences;
  if (encoding.isName()) {
    base = EncodingByName(NameOf(encoding));
  } else if (encoding.isDictionary()) {
    base = EncodingByName(NameOf(encoding.getKey("/BaseEncoding")));
    differences = encoding.getKey("/Differences");
  }
  if (base == nullptr && default_standard) base = &StandardEncoding();
  if (base != nullptr) {
    result.has_base = true;
    for (std::size_t code = 0; code < 256; ++code) {
      if ((*base)[code] != nullptr) result.names[code] = (*base)[code];
    }
  }
  if (differences.isArray()) {
    long long code = -1;  // names before the first number are ignored
    for (QPDFObjectHandle item : differences.aitems()) {
      if (const auto number = IntegerOf(item)) {
        code = *number;
      } else if (item.isName()) {
        if (code >= 0 && code < 256) {
          result.names[static_cast<std::size_t>(code)] = NameOf(item);
          result.has_differences = true;
        }
        if (code >= 0) ++code;
      }
    }
  }
  return result;
}

unsigned TrueTypeGlyphByName(FontProgram& program, const std::string& name) {
  if (const auto unicode = GlyphNameToUnicode(name)) {
    if (const auto glyph = program.GlyphByCmap(3, 1, *unicode); glyph && *glyph != 0) {
      return *glyph;
    }
  }
  if (const auto mac = MacRomanCode(name)) {
    if (const auto glyph = program.GlyphByCmap(1, 0, *mac); glyph && *glyph != 0) return *glyph;
  }
  return program.GlyphByName(name.c_str());
}

unsigned TrueTypeGlyphByCode(FontProgram& program, std::uint32_t code) {
  for (const std::uint32_t offset : {0x0000u, 0xF000u, 0xF100u, 0xF200u}) {
    const auto glyph = program.GlyphByCmap(3, 0, offset + code);
    if (!glyph) break;
    if (*glyph != 0) return *glyph;
  }
  if (const auto glyph = program.GlyphByCmap(1, 0, code); glyph && *glyph != 0) return *glyph;
  if (const auto glyph = program.GlyphByCmap(3, 1, code); glyph && *glyph != 0) return *glyph;
  if (!program.HasCmap(3, 0) && !program.HasCmap(3, 1) && !program.HasCmap(1, 0)) return code;
  return 0;
}

class SimpleFont final : public Font {
 public:
  SimpleFont(FontDescription description, std::shared_ptr<FontProgram> program,
             std::array<unsigned, 256> glyphs, std::array<double, 256> widths)
      : Font(std::move(description), false),
        program_(std::move(program)),
        glyphs_(glyphs),
        widths_(widths) {}

  // No reserve for `bytes`: a TJ array decodes string after string into one vector,
  // and growing it exactly for each would move every glyph before it each time.
  void Decode(std::string_view bytes, std::vector<ShownGlyph>& out) override {
    for (const char byte : bytes) {
      const auto code = static_cast<std::uint8_t>(byte);
      ShownGlyph glyph;
      glyph.code = code;
      glyph.outline = OutlineOf(code);
      glyph.width = widths_[code];
      glyph.word_space = code == 32;
      out.push_back(std::move(glyph));
    }
  }

 private:
  // The program's outline of a code's glyph, kept per code: a page shows the same
  // codes thousands of times.
  const std::shared_ptr<const Morv::Compound>& OutlineOf(std::uint8_t code) {
    if (!outline_known_[code]) {
      if (program_ && glyphs_[code] != 0) outlines_[code] = program_->Outline(glyphs_[code]);
      outline_known_[code] = true;
    }
    return outlines_[code];
  }

  std::shared_ptr<FontProgram> program_;
  std::array<unsigned, 256> glyphs_;
  std::array<double, 256> widths_;  // text-space units for a font size of 1
  std::array<std::shared_ptr<const Morv::Compound>, 256> outlines_{};
  std::array<bool, 256> outline_known_{};
};

}  // namespace

std::shared_ptr<Font> MakeSimpleFont(QPDFObjectHandle font, FontLoader& loader,
                                     std::string& problem) {
  FontDescription description;
  const std::string base_font = NameOf(font.getKey("/BaseFont"));
  description.name = base_font.empty() ? "(unnamed)" : base_font;
  description.subtype = NameOf(font.getKey("/Subtype"));
  QPDFObjectHandle descriptor = font.getKey("/FontDescriptor");
  LoadedProgram loaded = loader.Load(base_font, descriptor, true, problem);
  description.program = loaded.kind;
  description.embedded = loaded.embedded;
  description.substitute = loaded.substitute;
  FontProgram* program = loaded.program.get();

  const std::uint32_t flags = FlagsOf(descriptor);
  const bool symbolic = (flags & kFlagSymbolic) != 0 && (flags & kFlagNonsymbolic) == 0;
  const bool truetype =
      program != nullptr && program->GetFormat() == FontProgram::Format::kTrueType;
  // A non-symbolic TrueType font without an encoding reads as StandardEncoding; a
  // Type1 or CFF program falls back to its built-in encoding instead. A CJK
  // substitute has no built-in encoding of the missing font: StandardEncoding too.
  const Names names = ReadEncoding(font.getKey("/Encoding"), (truetype && !symbolic) || loaded.cjk);

  std::array<unsigned, 256> glyphs{};
  if (program != nullptr) {
    for (std::uint32_t code = 0; code < 256; ++code) {
      const std::string& name = names.names[code];
      unsigned glyph = 0;
      if (truetype) {
        const bool use_name = !name.empty() && (!symbolic || names.has_differences);
        if (use_name) glyph = TrueTypeGlyphByName(*program, name);
        if (glyph == 0) glyph = TrueTypeGlyphByCode(*program, code);
      } else if (!name.empty()) {
        glyph = program->GlyphByName(name.c_str());
        if (glyph == 0) {
          // A CFF program in OpenType may lack names but map Unicode.
          if (const auto unicode = GlyphNameToUnicode(name)) {
            glyph = program->GlyphByCmap(3, 1, *unicode).value_or(0);
          }
        }
      } else {
        glyph = program->GlyphByBuiltInEncoding(code);
      }
      glyphs[code] = glyph;
    }
  }

  std::array<double, 256> widths{};
  QPDFObjectHandle widths_array = font.getKey("/Widths");
  if (widths_array.isArray()) {
    double missing = 0.0;
    if (descriptor.isDictionary()) {
      missing = NumberOf(descriptor.getKey("/MissingWidth")).value_or(0.0);
    }
    const long long first = IntegerOf(font.getKey("/FirstChar")).value_or(0);
    const int count = widths_array.getArrayNItems();
    for (long long code = 0; code < 256; ++code) {
      const long long index = code - first;
      std::optional<double> width;
      if (index >= 0 && index < count) {
        width = NumberOf(widths_array.getArrayItem(static_cast<int>(index)));
      }
      widths[static_cast<std::size_t>(code)] = width.value_or(missing) / 1000.0;
    }
  } else if (program != nullptr) {
    // The standard 14 fonts come without widths: the metric-compatible substitute
    // (or the embedded program) has them.
    // Codes without a glyph do not advance.
    for (std::size_t code = 0; code < 256; ++code) {
      if (glyphs[code] == 0) continue;
      widths[code] = program->Advance(glyphs[code]).value_or(0.0) / 1000.0;
    }
  }
  return std::make_shared<SimpleFont>(std::move(description), std::move(loaded.program), glyphs,
                                      widths);
}

}  // namespace QorPdf::internal
