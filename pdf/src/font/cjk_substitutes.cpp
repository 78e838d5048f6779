// CJK substitute selection.
//
// Names are compared in the normal form of substitutes.h. Serif keys are looked for
// before sans ones, since a few serif names contain a sans key ("HeiseiMin" holds
// "hei"); a bare "gothic" is no CJK key (Century Gothic, URW Gothic).
#include "font/cjk_substitutes.h"

#include <filesystem>
#include <system_error>

namespace QorPdf::internal {

namespace {

struct NameKey {
  const char* key;  // in normal form, matched anywhere in the name
  CjkCollection collection;
};

constexpr NameKey kCollectionKeys[] = {
    {"mincho", CjkCollection::kJapan1},      {"msgothic", CjkCollection::kJapan1},
    {"mspgothic", CjkCollection::kJapan1},   {"msuigothic", CjkCollection::kJapan1},
    {"kozmin", CjkCollection::kJapan1},      {"kozgo", CjkCollection::kJapan1},
    {"ryumin", CjkCollection::kJapan1},      {"gothicbbb", CjkCollection::kJapan1},
    {"heiseimin", CjkCollection::kJapan1},   {"heiseikakugo", CjkCollection::kJapan1},
    {"hiragino", CjkCollection::kJapan1},    {"yugothic", CjkCollection::kJapan1},
    {"ipagothic", CjkCollection::kJapan1},   {"ipaexgothic", CjkCollection::kJapan1},
    {"meiryo", CjkCollection::kJapan1},      {"simsun", CjkCollection::kGB1},
    {"simhei", CjkCollection::kGB1},         {"stsong", CjkCollection::kGB1},
    {"stheiti", CjkCollection::kGB1},        {"stkaiti", CjkCollection::kGB1},
    {"stfangsong", CjkCollection::kGB1},     {"kaiti", CjkCollection::kGB1},
    {"fangsong", CjkCollection::kGB1},       {"songti", CjkCollection::kGB1},
    {"adobesong", CjkCollection::kGB1},      {"adobeheiti", CjkCollection::kGB1},
    {"microsoftyahei", CjkCollection::kGB1}, {"dengxian", CjkCollection::kGB1},
    {"mingliu", CjkCollection::kCNS1},       {"msung", CjkCollection::kCNS1},
    {"mhei", CjkCollection::kCNS1},          {"dfkai", CjkCollection::kCNS1},
    {"adobeming", CjkCollection::kCNS1},     {"jhenghei", CjkCollection::kCNS1},
    {"batang", CjkCollection::kKorea1},      {"gulim", CjkCollection::kKorea1},
    {"dotum", CjkCollection::kKorea1},       {"gungsuh", CjkCollection::kKorea1},
    {"malgun", CjkCollection::kKorea1},      {"myeongjo", CjkCollection::kKorea1},
    {"myungjo", CjkCollection::kKorea1},     {"hygothic", CjkCollection::kKorea1},
    {"hygoth", CjkCollection::kKorea1},      {"nanum", CjkCollection::kKorea1},
};

constexpr const char* kSerifKeys[] = {"mincho", "heiseimin", "kozmin", "ryumin",   "ming",
                                      "sung",   "song",      "batang", "myeongjo", "myungjo",
                                      "kai",    "gungsuh",   "serif"};
constexpr const char* kSansKeys[] = {"gothic", "hei",   "gulim",  "dotum",  "sans",
                                     "kakugo", "kozgo", "meiryo", "malgun", "goth"};

bool Contains(const std::string& s, const char* part) {
  return s.find(part) != std::string::npos;
}

bool Exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

// Per collection, in the order of CjkCollection: the regional suffix of its Noto
// CJK family and its CID-to-Unicode CMap.
struct CollectionNames {
  const char* region;
  const char* unicode_cmap;
};
constexpr CollectionNames kCollectionNames[] = {
    {"JP", "Adobe-Japan1-UCS2"},
    {"SC", "Adobe-GB1-UCS2"},
    {"TC", "Adobe-CNS1-UCS2"},
    {"KR", "Adobe-Korea1-UCS2"},
};

const CollectionNames& NamesOf(CjkCollection collection) {
  return kCollectionNames[static_cast<int>(collection)];
}

constexpr const char* kNotoFolder = "/usr/share/fonts/opentype/noto/";
constexpr const char* kDroidFallback = "/usr/share/fonts/truetype/droid/DroidSansFallbackFull.ttf";

}  // namespace

std::optional<CjkCollection> CollectionOfOrdering(std::string_view ordering) {
  if (ordering == "Japan1") return CjkCollection::kJapan1;
  if (ordering == "GB1") return CjkCollection::kGB1;
  if (ordering == "CNS1") return CjkCollection::kCNS1;
  if (ordering == "Korea1" || ordering == "KR") return CjkCollection::kKorea1;
  return std::nullopt;
}

std::optional<CjkCollection> CollectionOfFontName(std::string_view base_font) {
  const std::string name = NormalFontName(base_font);
  for (const NameKey& entry : kCollectionKeys) {
    if (Contains(name, entry.key)) return entry.collection;
  }
  return std::nullopt;
}

const char* UnicodeCMapName(CjkCollection collection) {
  return NamesOf(collection).unicode_cmap;
}

bool IsSerifCjk(std::string_view base_font, const SubstituteHints& hints) {
  const std::string name = NormalFontName(base_font);
  for (const char* key : kSerifKeys) {
    if (Contains(name, key)) return true;
  }
  for (const char* key : kSansKeys) {
    if (Contains(name, key)) return false;
  }
  return hints.serif;
}

std::optional<CjkSubstitute> CjkSubstituteFile(CjkCollection collection, bool serif, bool bold) {
  const std::string region = NamesOf(collection).region;
  // The requested style first, then the other one: a glyph in the wrong style
  // reads better than none.
  for (const bool want_serif : {serif, !serif}) {
    for (const bool want_bold : {bold, false}) {
      const std::string style = want_serif ? "Serif" : "Sans";
      const std::string path =
          kNotoFolder + ("Noto" + style + "CJK-" + (want_bold ? "Bold" : "Regular") + ".ttc");
      if (Exists(path)) return CjkSubstitute{path, "Noto " + style + " CJK " + region};
    }
  }
  if (Exists(kDroidFallback)) return CjkSubstitute{kDroidFallback, ""};
  return std::nullopt;
}

}  // namespace QorPdf::internal
