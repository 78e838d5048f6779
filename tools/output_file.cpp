// Temporary output files and output path patterns.
//
// The temporary is created by mkstemp (a hidden ".NAME.XXXXXX" beside the final
// file), so two runs writing the same name never share a temporary; the writers
// reopen it by path (without truncating it: see OpenForWriting).
#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace QorScTool {

int OpenForWriting(const std::string& path) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (fd < 0) return -1;
  struct stat status {};
  if (fstat(fd, &status) != 0 || (status.st_size > 0 && ftruncate(fd, 0) != 0)) {
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
  }
  return fd;
}

BufferedStream::BufferedStream(const std::string& path, std::size_t buffer_bytes)
    : buffer_(buffer_bytes > 0 ? std::make_unique_for_overwrite<char[]>(buffer_bytes) : nullptr) {
  const int fd = OpenForWriting(path);
  if (fd >= 0) {
    file_ = fdopen(fd, "wb");
    if (file_ == nullptr) {
      const int error = errno;
      close(fd);
      errno = error;
    }
  }
  if (file_ == nullptr) {
    throw std::runtime_error("cannot write '" + path + "': " + std::strerror(errno));
  }
  std::setvbuf(file_, buffer_.get(), buffer_ ? _IOFBF : _IONBF, buffer_bytes);
}

BufferedStream::~BufferedStream() {
  if (file_ != nullptr) std::fclose(file_);
}

bool BufferedStream::Close() {
  if (file_ == nullptr) return true;
  const bool failed = std::ferror(file_) != 0;
  const int closed = std::fclose(file_);
  file_ = nullptr;
  return !failed && closed == 0;
}

OutputFile::OutputFile(std::filesystem::path final_path) : final_(std::move(final_path)) {
  const std::filesystem::path directory =
      final_.has_parent_path() ? final_.parent_path() : std::filesystem::path(".");
  std::string name = (directory / ("." + final_.filename().string() + ".XXXXXX")).string();
  std::vector<char> buffer(name.begin(), name.end());
  buffer.push_back('\0');
  const int fd = mkstemp(buffer.data());
  if (fd < 0) {
    throw std::runtime_error("cannot create a file in '" + directory.string() +
                             "': " + std::strerror(errno));
  }
  // mkstemp creates the file private (0600); outputs get the usual permissions.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  close(fd);
  temporary_ = buffer.data();
}

OutputFile::~OutputFile() {
  if (!committed_) {
    std::error_code ignored;
    std::filesystem::remove(temporary_, ignored);
  }
}

void OutputFile::Commit() {
  std::error_code error;
  std::filesystem::rename(temporary_, final_, error);
  if (error) {
    std::filesystem::remove(temporary_, error);
    throw std::runtime_error("cannot write '" + final_.string() + "': " + error.message());
  }
  committed_ = true;
}

std::string FileNameSafe(std::string_view name) {
  std::string safe;
  for (const char c : name) {
    const bool keep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_' || c == '.' || c == '+';
    safe += keep ? c : '_';
  }
  if (safe.empty() || safe == "." || safe == "..") safe = "_" + safe;
  return safe;
}

namespace {

// Inserts `suffix` before the extension of the last path component.
std::string BeforeExtension(const std::string& path, const std::string& suffix) {
  const std::size_t slash = path.find_last_of('/');
  const std::size_t name_start = slash == std::string::npos ? 0 : slash + 1;
  const std::size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || dot <= name_start) return path + suffix;
  return path.substr(0, dot) + suffix + path.substr(dot);
}

}  // namespace

std::string ExpandOutputPattern(std::string_view pattern, std::size_t page, bool several_pages,
                                std::string_view plate) {
  std::string result;
  bool has_page = false, has_plate = false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '%') {
      result += pattern[i];
      continue;
    }
    const char next = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
    ++i;
    if (next == 'd') {
      result += std::to_string(page);
      has_page = true;
    } else if (next == 's') {
      if (!plate.empty()) result += FileNameSafe(plate);
      has_plate = true;
    } else if (next == '%') {
      result += '%';
    } else {
      throw std::invalid_argument("output pattern '" + std::string(pattern) +
                                  "': only %d, %s and %% may follow a percent sign");
    }
  }
  if (!has_page && several_pages) result = BeforeExtension(result, "-" + std::to_string(page));
  if (!has_plate && !plate.empty()) result = BeforeExtension(result, "-" + FileNameSafe(plate));
  return result;
}

}  // namespace QorScTool
