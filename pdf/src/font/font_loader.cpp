// Loading font programs: embedded streams through qpdf, substitutes from the URW and
// CJK font files, and the dictionary readers the font kinds share.
#include "font/font_loader.h"

#include <climits>
#include <cmath>
#include <exception>
#include <utility>
#include <vector>

#include "font/cjk_substitutes.h"
#include "font/substitutes.h"
#include "stream_data.h"

namespace QorPdf::internal {

namespace {

// The bytes of a stream, decoded; nullopt (and `problem`) when qpdf cannot decode it.
std::optional<std::vector<unsigned char>> StreamBytes(QPDFObjectHandle stream,
                                                      std::string& problem) {
  try {
    const std::string data = DecodeResource(stream);
    return std::vector<unsigned char>(data.begin(), data.end());
  } catch (const std::exception& e) {
    if (problem.empty()) problem = std::string("cannot read the font program: ") + e.what();
    return std::nullopt;
  }
}

SubstituteHints HintsOf(QPDFObjectHandle descriptor) {
  SubstituteHints hints;
  const std::uint32_t flags = FlagsOf(descriptor);
  hints.fixed_pitch = (flags & kFlagFixedPitch) != 0;
  hints.serif = (flags & kFlagSerif) != 0;
  hints.italic = (flags & kFlagItalic) != 0;
  hints.bold = (flags & kFlagForceBold) != 0;
  if (descriptor.isDictionary()) {
    if (const auto angle = NumberOf(descriptor.getKey("/ItalicAngle")); angle && *angle != 0) {
      hints.italic = true;
    }
    if (const auto weight = NumberOf(descriptor.getKey("/FontWeight")); weight && *weight >= 600) {
      hints.bold = true;
    }
  }
  return hints;
}

}  // namespace

std::optional<double> NumberOf(QPDFObjectHandle object) {
  if (object.isInteger()) return static_cast<double>(object.getIntValue());
  if (object.isReal()) {
    const double value = object.getNumericValue();
    if (std::isfinite(value)) return value;
  }
  return std::nullopt;
}

std::optional<long long> IntegerOf(QPDFObjectHandle object) {
  const auto value = NumberOf(object);
  if (!value) return std::nullopt;
  if (*value <= static_cast<double>(INT_MIN)) return INT_MIN;
  if (*value >= static_cast<double>(INT_MAX)) return INT_MAX;
  return static_cast<long long>(std::lround(*value));
}

std::string NameOf(QPDFObjectHandle object) {
  if (!object.isName()) return {};
  return object.getName().substr(1);
}

std::uint32_t FlagsOf(QPDFObjectHandle descriptor) {
  if (!descriptor.isDictionary()) return 0;
  QPDFObjectHandle flags = descriptor.getKey("/Flags");
  if (!flags.isInteger()) return 0;
  return static_cast<std::uint32_t>(flags.getIntValue() & 0xFFFFFFFF);
}

FontLoader::FontLoader() = default;

// Started with the first program: a page without text never loads FreeType's modules
// (half a megabyte of its code and tables resident).
const FreeTypeLibrary& FontLoader::Library() {
  if (!library_) library_ = MakeFreeTypeLibrary();
  return library_;
}

LoadedProgram FontLoader::Load(const std::string& base_font, QPDFObjectHandle descriptor,
                               bool allow_substitute, std::string& problem) {
  LoadedProgram loaded;
  if (descriptor.isDictionary()) {
    struct Slot {
      const char* key;
      const char* kind;
    };
    for (const Slot slot : {Slot{"/FontFile", "Type1"}, Slot{"/FontFile2", "TrueType"},
                            Slot{"/FontFile3", "FontFile3"}}) {
      QPDFObjectHandle stream = descriptor.getKey(slot.key);
      if (!stream.isStream()) continue;
      loaded.embedded = true;
      loaded.kind = slot.kind;
      if (loaded.kind == "FontFile3") {
        const std::string subtype = NameOf(stream.getDict().getKey("/Subtype"));
        if (!subtype.empty()) loaded.kind = subtype;
      }
      auto bytes = StreamBytes(stream, problem);
      if (!bytes) return loaded;
      std::string error;
      loaded.program = FontProgram::Open(Library(), std::move(*bytes), error);
      if (!loaded.program && problem.empty()) problem = "embedded " + loaded.kind + " " + error;
      return loaded;
    }
  }
  if (!allow_substitute) return loaded;
  if (const auto collection = CollectionOfFontName(base_font)) {
    CjkSubstitute(*collection, base_font, descriptor, loaded, problem);
    if (loaded.program) return loaded;
  }
  const std::string urw_name = SubstituteName(base_font, HintsOf(descriptor));
  const auto path = SubstituteFile(urw_name);
  if (!path) {
    if (problem.empty()) {
      problem = "no embedded font program and the substitute " + urw_name +
                " is not installed (fonts-urw-base35)";
    }
    return loaded;
  }
  loaded.substitute = path->substr(path->find_last_of('/') + 1);
  loaded.program = Substitute(*path, {}, problem);
  return loaded;
}

void FontLoader::CjkSubstitute(CjkCollection collection, const std::string& base_font,
                               QPDFObjectHandle descriptor, LoadedProgram& loaded,
                               std::string& problem) {
  const SubstituteHints hints = HintsOf(descriptor);
  const std::string name = NormalFontName(base_font);
  const bool bold = hints.bold || name.find("bold") != std::string::npos ||
                    name.find("heavy") != std::string::npos;
  const auto file = CjkSubstituteFile(collection, IsSerifCjk(base_font, hints), bold);
  if (!file) {
    if (problem.empty()) {
      problem = "no embedded font program and no CJK substitute is installed (fonts-noto-cjk)";
    }
    return;
  }
  std::string note = file->path.substr(file->path.find_last_of('/') + 1);
  if (!file->family.empty()) note += " (" + file->family + ")";
  loaded.substitute = note;
  loaded.cjk = true;
  loaded.program = Substitute(file->path, file->family, problem);
  if (!loaded.program) return;
  // A substitute draws other shapes than the missing font: worth one line per font.
  const std::string message = "no embedded font program; drawn with the substitute " + note;
  problem = problem.empty() ? message : problem + "; " + message;
}

std::shared_ptr<const CMap> FontLoader::UnicodeCMap(CjkCollection collection) {
  auto it = unicode_cmaps_.find(collection);
  if (it == unicode_cmaps_.end()) {
    std::string ignored;  // the installed files are well-formed; a damaged one maps less
    auto cmap = CMap::Predefined(UnicodeCMapName(collection), cmaps_, ignored);
    it = unicode_cmaps_
             .emplace(collection, cmap ? std::make_shared<const CMap>(std::move(*cmap)) : nullptr)
             .first;
  }
  return it->second;
}

std::shared_ptr<FontProgram> FontLoader::Substitute(const std::string& path,
                                                    const std::string& family,
                                                    std::string& problem) {
  const auto key = std::make_pair(path, family);
  if (const auto it = substitutes_.find(key); it != substitutes_.end()) {
    if (!it->second && problem.empty()) problem = "cannot open the substitute " + path;
    return it->second;
  }
  std::string error;
  auto program = FontProgram::OpenFileFace(Library(), path, family, error);
  if (!program && problem.empty()) problem = "substitute " + path + ": " + error;
  substitutes_.emplace(key, program);
  return program;
}

}  // namespace QorPdf::internal
