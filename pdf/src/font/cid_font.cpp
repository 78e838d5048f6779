// Type0 fonts with a CIDFontType0 (CFF or Type1) or CIDFontType2 (TrueType)
// descendant: the CMap splits strings into codes and CIDs, the descendant maps CIDs
// to glyphs and widths.
//
// CID to glyph: a CID-keyed CFF program takes the CID itself (FreeType looks the CID
// up in the program's charset); otherwise a /CIDToGIDMap stream (two bytes per CID)
// gives the glyph, and without one (or with /Identity) the glyph is the CID. Widths
// come from /W (single widths expanded into a table, c_first c_last w ranges kept as
// ranges so that a huge range costs nothing) and /DW (default 1000). Vertical CMaps
// (Identity-V) decode like horizontal ones; glyphs still advance horizontally.
//
// Fonts without an embedded program are drawn with a substitute whose glyphs are
// found through Unicode: a CID of Adobe-Japan1, GB1, CNS1 or Korea1 through the
// collection's UCS2 CMap with a CJK substitute; else (or when the CMap is a guess) a
// code through the font's /ToUnicode, with the substitute a simple font of that name
// would get (CJK or URW). Other fonts without a program (no known collection, no
// /ToUnicode) draw nothing. A code's glyph is looked up once and remembered.
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "font/cjk_substitutes.h"
#include "font/cmap.h"
#include "font/font_loader.h"
#include "stream_data.h"

namespace QorPdf::internal {

namespace {

// Width entries from /W in text-space units for a font size of 1.
struct CidWidths {
  double default_width = 1.0;
  std::unordered_map<std::uint32_t, double> single;
  struct Range {
    std::uint32_t first;
    std::uint32_t last;
    double width;
  };
  std::vector<Range> ranges;

  double Of(std::uint32_t cid) const {
    if (const auto it = single.find(cid); it != single.end()) return it->second;
    for (const Range& r : ranges) {
      if (cid >= r.first && cid <= r.last) return r.width;
    }
    return default_width;
  }
};

std::optional<std::uint32_t> CidValue(QPDFObjectHandle object) {
  const auto value = IntegerOf(object);
  if (!value || *value < 0) return std::nullopt;
  return static_cast<std::uint32_t>(*value);
}

CidWidths ReadWidths(QPDFObjectHandle cid_font) {
  CidWidths widths;
  if (const auto dw = NumberOf(cid_font.getKey("/DW"))) widths.default_width = *dw / 1000.0;
  QPDFObjectHandle w = cid_font.getKey("/W");
  if (!w.isArray()) return widths;
  std::vector<QPDFObjectHandle> items = w.getArrayAsVector();
  std::size_t i = 0;
  while (i < items.size()) {
    const auto first = CidValue(items[i]);
    if (!first || i + 1 >= items.size()) break;
    if (items[i + 1].isArray()) {
      std::uint32_t cid = *first;
      for (QPDFObjectHandle item : items[i + 1].aitems()) {
        if (const auto width = NumberOf(item)) widths.single[cid] = *width / 1000.0;
        if (cid == UINT32_MAX) break;
        ++cid;
      }
      i += 2;
      continue;
    }
    if (i + 2 >= items.size()) break;
    const auto last = CidValue(items[i + 1]);
    const auto width = NumberOf(items[i + 2]);
    if (last && width && *last >= *first) widths.ranges.push_back({*first, *last, *width / 1000.0});
    i += 3;
  }
  return widths;
}

// The glyph of a Unicode code point in a substitute's Unicode cmap; 0 for none.
unsigned GlyphOfUnicode(FontProgram& program, std::uint32_t unicode) {
  if (unicode == 0) return 0;
  if (const auto glyph = program.GlyphByCmap(3, 10, unicode); glyph && *glyph != 0) return *glyph;
  if (unicode > 0xFFFF) return 0;
  return program.GlyphByCmap(3, 1, unicode).value_or(0);
}

// How a substitute finds its glyphs: through Unicode, from the CID (a collection's
// UCS2 CMap) or from the code (the font's /ToUnicode).
struct UnicodeRoute {
  std::shared_ptr<const CMap> to_unicode;  // null: the program is the font's own
  bool by_cid = false;
};

class CidFont final : public Font {
 public:
  CidFont(FontDescription description, CMap cmap, std::shared_ptr<FontProgram> program,
          std::vector<std::uint16_t> cid_to_gid, bool mapped, CidWidths widths,
          UnicodeRoute route = {})
      : Font(std::move(description), false),
        cmap_(std::move(cmap)),
        program_(std::move(program)),
        cid_to_gid_(std::move(cid_to_gid)),
        mapped_(mapped),
        widths_(std::move(widths)),
        route_(std::move(route)) {}

  void Decode(std::string_view bytes, std::vector<ShownGlyph>& out) override {
    std::size_t pos = 0;
    while (pos < bytes.size()) {
      const CMap::Code code = cmap_.Next(bytes.substr(pos));
      if (code.length == 0) break;
      pos += code.length;
      ShownGlyph glyph;
      glyph.code = code.code;
      const unsigned gid = route_.to_unicode ? SubstituteGlyph(code) : GlyphOf(code.cid);
      if (program_ && gid != 0) glyph.outline = program_->Outline(gid);
      glyph.width = widths_.Of(code.cid);
      glyph.word_space = code.length == 1 && code.code == 32;
      out.push_back(std::move(glyph));
    }
  }

 private:
  unsigned GlyphOf(std::uint32_t cid) const {
    if (!mapped_) return cid;
    return cid < cid_to_gid_.size() ? cid_to_gid_[cid] : 0;
  }

  unsigned SubstituteGlyph(const CMap::Code& code) {
    const std::uint64_t key =
        route_.by_cid ? code.cid : (std::uint64_t{code.length} << 32) | code.code;
    if (const auto it = substitute_glyphs_.find(key); it != substitute_glyphs_.end()) {
      return it->second;
    }
    const std::uint32_t unicode = route_.by_cid ? route_.to_unicode->Value(2, code.cid)
                                                : route_.to_unicode->Value(code.length, code.code);
    const unsigned glyph = program_ ? GlyphOfUnicode(*program_, unicode) : 0;
    substitute_glyphs_.emplace(key, glyph);
    return glyph;
  }

  CMap cmap_;
  std::shared_ptr<FontProgram> program_;
  std::vector<std::uint16_t> cid_to_gid_;
  bool mapped_;  // cid_to_gid_ applies; else glyph = CID
  CidWidths widths_;
  UnicodeRoute route_;
  std::unordered_map<std::uint64_t, unsigned> substitute_glyphs_;
};

// The collection's UCS2 CMap or the font's /ToUnicode, and a CJK substitute to draw
// with; `route.to_unicode` stays null when neither map exists.
UnicodeRoute SubstituteRoute(QPDFObjectHandle font, QPDFObjectHandle descendant,
                             const std::string& base_font, bool cids_guessed, FontLoader& loader,
                             LoadedProgram& loaded, std::string& problem) {
  UnicodeRoute route;
  QPDFObjectHandle info = descendant.getKey("/CIDSystemInfo");
  const std::string ordering = info.isDictionary() && info.getKey("/Ordering").isString()
                                   ? info.getKey("/Ordering").getStringValue()
                                   : std::string();
  auto collection = CollectionOfOrdering(ordering);
  QPDFObjectHandle to_unicode = font.getKey("/ToUnicode");
  // CIDs read through a guessed CMap mean little: the document's own /ToUnicode is
  // the better witness of the text then.
  if (collection && !(cids_guessed && to_unicode.isStream())) {
    route.to_unicode = loader.UnicodeCMap(*collection);
    route.by_cid = route.to_unicode != nullptr;
  }
  if (!route.to_unicode && to_unicode.isStream()) {
    std::string ignored;  // a damaged /ToUnicode maps fewer codes; the text still shows
    route.to_unicode =
        std::make_shared<const CMap>(CMap::FromEncoding(to_unicode, loader.CMaps(), ignored));
    if (!collection) {
      // No CJK collection: the font is drawn as a simple font without a program would
      // be (a CJK face for CJK names, else URW, like Arial exported as Type0 with
      // Identity-H), its glyphs found by Unicode all the same.
      loaded = loader.Load(base_font, descendant.getKey("/FontDescriptor"), true, problem);
      if (!loaded.program) route.to_unicode = nullptr;
      return route;
    }
  }
  if (!route.to_unicode) {
    if (problem.empty()) {
      problem = collection
                    ? std::string("no embedded font program and ") + UnicodeCMapName(*collection) +
                          " is not installed (poppler-data); drawn without glyphs"
                    : "no embedded font program, no known character collection and no "
                      "/ToUnicode; drawn without glyphs";
    }
    return route;
  }
  loader.CjkSubstitute(*collection, base_font, descendant.getKey("/FontDescriptor"), loaded,
                       problem);
  if (!loaded.program) route.to_unicode = nullptr;
  return route;
}

}  // namespace

std::shared_ptr<Font> MakeCidFont(QPDFObjectHandle font, FontLoader& loader, std::string& problem) {
  FontDescription description;
  const std::string base_font = NameOf(font.getKey("/BaseFont"));
  description.name = base_font.empty() ? "(unnamed)" : base_font;
  description.subtype = "Type0";

  CMap cmap = CMap::FromEncoding(font.getKey("/Encoding"), loader.CMaps(), problem);

  QPDFObjectHandle descendant;
  QPDFObjectHandle descendants = font.getKey("/DescendantFonts");
  if (descendants.isArray() && descendants.getArrayNItems() > 0) {
    descendant = descendants.getArrayItem(0);
  } else if (descendants.isDictionary()) {
    descendant = descendants;
  }
  if (!descendant.isDictionary()) {
    if (problem.empty()) problem = "Type0 font without a descendant font";
    description.program = "none";
    return std::make_shared<CidFont>(std::move(description), std::move(cmap), nullptr,
                                     std::vector<std::uint16_t>{}, false, CidWidths{});
  }

  LoadedProgram loaded =
      loader.Load(base_font, descendant.getKey("/FontDescriptor"), false, problem);
  description.program = loaded.kind;
  description.embedded = loaded.embedded;
  UnicodeRoute route;
  if (!loaded.embedded) {
    route = SubstituteRoute(font, descendant, base_font, cmap.Guessed(), loader, loaded, problem);
    description.substitute = loaded.substitute;
  }

  std::vector<std::uint16_t> cid_to_gid;
  bool mapped = false;
  QPDFObjectHandle map = descendant.getKey("/CIDToGIDMap");
  if (map.isStream() && !(loaded.program && loaded.program->IsCidKeyed())) {
    try {
      const std::string data = DecodeResource(map);
      const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
      cid_to_gid.resize(data.size() / 2);
      for (std::size_t i = 0; i < cid_to_gid.size(); ++i) {
        cid_to_gid[i] = static_cast<std::uint16_t>((bytes[2 * i] << 8) | bytes[2 * i + 1]);
      }
      mapped = true;
    } catch (const std::exception& e) {
      if (problem.empty()) problem = std::string("cannot read /CIDToGIDMap: ") + e.what();
    }
  }
  return std::make_shared<CidFont>(std::move(description), std::move(cmap),
                                   std::move(loaded.program), std::move(cid_to_gid), mapped,
                                   ReadWidths(descendant), std::move(route));
}

}  // namespace QorPdf::internal
