// The predefined CMaps installed on the machine: Adobe's CMap resources as Debian's
// poppler-data lays them out (one folder per character collection under
// /usr/share/poppler/cMap, plus the Identity ones at the top).
//
// Names are looked up in an index of the folders built on first use, so a name from
// a document never becomes a path by itself: only files that exist under a root can
// be read. Files larger than kMaxCMapFileSize are refused (the largest Adobe CMap is
// about 330 KB).
//
// Invariants: nothing here throws; a name that is not installed, or a file that
// cannot be read, gives nullopt. Not thread-safe (the index is built lazily).
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace QorPdf::internal {

class CMapResources {
 public:
  static constexpr std::size_t kMaxCMapFileSize = 4u << 20;
  static constexpr const char* kDefaultRoot = "/usr/share/poppler/cMap";

  // Roots searched in order; each holds CMap files and folders of CMap files.
  explicit CMapResources(std::vector<std::string> roots = {kDefaultRoot});

  // The text of the predefined CMap `name`; nullopt when it is not installed or
  // cannot be read.
  std::optional<std::string> Text(std::string_view name);

 private:
  void BuildIndex();

  std::vector<std::string> roots_;
  bool indexed_ = false;
  std::map<std::string, std::string, std::less<>> files_;  // name -> path; the first root wins
};

}  // namespace QorPdf::internal
