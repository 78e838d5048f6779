// The font cache: one Font per font dictionary, chosen by /Subtype, with the font's
// one warning given when it is first read.
//
// Indirect dictionaries are keyed by object number; direct ones (rare, but allowed in
// resources) by identity of the qpdf object, so a font is read once however often Tf
// selects it. A font whose dictionary throws while being read (a damaged file) becomes
// a font that draws nothing and advances by nothing, with a warning.
#include <exception>
#include <map>
#include <utility>
#include <vector>

#include "font/font.h"
#include "font/font_loader.h"
#include "font/placed_glyphs.h"

namespace QorPdf::internal {

namespace {

// The last resort for a dictionary that could not be read at all.
class EmptyFont final : public Font {
 public:
  explicit EmptyFont(FontDescription description) : Font(std::move(description), false) {}

  void Decode(std::string_view bytes, std::vector<ShownGlyph>& out) override {
    for (const char byte : bytes) {
      ShownGlyph glyph;
      glyph.code = static_cast<std::uint8_t>(byte);
      glyph.word_space = glyph.code == 32;
      out.push_back(std::move(glyph));
    }
  }
};

}  // namespace

struct FontCache::Impl {
  explicit Impl(WarningList& w) : warnings(w) {}

  std::shared_ptr<Font> Read(QPDFObjectHandle font, std::optional<std::size_t> page);

  WarningList& warnings;
  FontLoader loader;
  std::map<QPDFObjGen, std::shared_ptr<Font>> indirect;
  std::vector<std::pair<QPDFObjectHandle, std::shared_ptr<Font>>> direct;
  PlacedGlyphs placed;
};

std::shared_ptr<Font> FontCache::Impl::Read(QPDFObjectHandle font,
                                            std::optional<std::size_t> page) {
  std::string problem;
  std::shared_ptr<Font> result;
  std::string name = "(unnamed)";
  try {
    if (const std::string base = NameOf(font.getKey("/BaseFont")); !base.empty()) name = base;
    const std::string subtype = NameOf(font.getKey("/Subtype"));
    if (subtype == "Type0") {
      result = MakeCidFont(font, loader, problem);
    } else if (subtype == "Type3") {
      result = MakeType3Font(font, problem);
      name = result->Description().name;
    } else {
      if (subtype != "Type1" && subtype != "MMType1" && subtype != "TrueType") {
        problem = "unknown font type '" + subtype + "'; read as a simple font";
      }
      result = MakeSimpleFont(font, loader, problem);
    }
  } catch (const std::exception& e) {
    problem = std::string("cannot read the font: ") + e.what();
    FontDescription description;
    description.name = name;
    description.program = "none";
    result = std::make_shared<EmptyFont>(std::move(description));
  }
  if (!problem.empty()) warnings.Add(page, "font " + name, std::move(problem));
  return result;
}

FontCache::FontCache(WarningList& warnings) : impl_(std::make_unique<Impl>(warnings)) {}

FontCache::~FontCache() = default;

std::shared_ptr<Font> FontCache::Get(QPDFObjectHandle font, std::optional<std::size_t> page) {
  if (!font.isDictionary()) return nullptr;
  if (font.isIndirect()) {
    auto& slot = impl_->indirect[font.getObjGen()];
    if (!slot) slot = impl_->Read(font, page);
    return slot;
  }
  for (const auto& [object, cached] : impl_->direct) {
    if (object.isSameObjectAs(font)) return cached;
  }
  auto result = impl_->Read(font, page);
  impl_->direct.emplace_back(font, result);
  return result;
}

std::shared_ptr<const Morv::Compound> FontCache::PlacedOutline(
    const std::shared_ptr<const Morv::Compound>& outline, double offset) {
  return impl_->placed.Get(outline, offset);
}

}  // namespace QorPdf::internal
