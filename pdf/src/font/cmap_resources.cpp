// Finding and reading predefined CMap files.
#include "font/cmap_resources.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace QorPdf::internal {

CMapResources::CMapResources(std::vector<std::string> roots) : roots_(std::move(roots)) {}

void CMapResources::BuildIndex() {
  indexed_ = true;
  namespace fs = std::filesystem;
  // Two levels: the root's own files, then one folder per character collection.
  for (const std::string& root : roots_) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(root, error)) {
      std::error_code entry_error;
      if (entry.is_regular_file(entry_error)) {
        files_.emplace(entry.path().filename().string(), entry.path().string());
        continue;
      }
      if (!entry.is_directory(entry_error)) continue;
      std::error_code inner_error;
      for (const fs::directory_entry& file : fs::directory_iterator(entry.path(), inner_error)) {
        std::error_code file_error;
        if (file.is_regular_file(file_error)) {
          files_.emplace(file.path().filename().string(), file.path().string());
        }
      }
    }
  }
}

std::optional<std::string> CMapResources::Text(std::string_view name) {
  if (!indexed_) BuildIndex();
  const auto it = files_.find(name);
  if (it == files_.end()) return std::nullopt;
  std::error_code error;
  const auto size = std::filesystem::file_size(it->second, error);
  if (error || size > kMaxCMapFileSize) return std::nullopt;
  std::ifstream in(it->second, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace QorPdf::internal
