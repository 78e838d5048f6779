// Output files that appear under their final name only when complete.
//
// An OutputFile hands out a temporary path in the final file's directory (so the
// closing rename stays on one file system and is atomic); Commit() renames it to the
// final name. A file never committed (an error, an exception, an interrupted run)
// is removed by the destructor, so no half-written file is left under any name.
//
// Output path patterns: %d is the 1-based page number, %s the plate name (made safe
// for a file name), %% a percent sign.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace QorScTool {

class OutputFile {
 public:
  // Picks a temporary name next to `final_path` that does not exist yet. Throws
  // std::runtime_error when the directory does not exist.
  explicit OutputFile(std::filesystem::path final_path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  // Where the writer writes.
  const std::filesystem::path& TemporaryPath() const { return temporary_; }
  const std::filesystem::path& FinalPath() const { return final_; }
  // Renames the temporary file to the final name (replacing an older file there).
  // Throws std::runtime_error when the rename fails; the temporary is removed then.
  void Commit();

 private:
  std::filesystem::path final_;
  std::filesystem::path temporary_;
  bool committed_ = false;
};

// Opens `path` for reading and writing, creating it (mode 0666 less the umask) or
// emptying it, and returns the descriptor; -1 with errno set on failure. A file that
// is already empty, as a fresh temporary is, is not truncated: ext4 flushes a file
// truncated to nothing when it is closed, and close() then waits while a page of a
// gigabyte is handed to the disk (0.1-0.2 s).
int OpenForWriting(const std::string& path);

// A stdio stream writing `path` (created or emptied, see OpenForWriting) through a buffer of its
// own, so that the kernel sees writes of about a megabyte: glibc ignores setvbuf's size when it
// allocates the buffer itself (it takes the file system's block size, and a line of a wide page
// then goes out in two small writes). The buffer outlives the stream: the stream is closed first.
class BufferedStream {
 public:
  static constexpr std::size_t kBufferBytes = std::size_t{1} << 20;

  // Throws std::runtime_error naming the file when it cannot be opened. With a
  // `buffer_bytes` of 0 the stream is unbuffered: for a writer that hands stdio
  // only large blocks of its own, which are then written without a copy.
  explicit BufferedStream(const std::string& path, std::size_t buffer_bytes = kBufferBytes);
  BufferedStream(const BufferedStream&) = delete;
  BufferedStream& operator=(const BufferedStream&) = delete;
  ~BufferedStream();

  std::FILE* Get() const { return file_; }
  // Closes the stream; false when an earlier write or the close failed (errno says
  // why). Later calls return true.
  bool Close();

 private:
  std::unique_ptr<char[]> buffer_;
  std::FILE* file_ = nullptr;
};

// The pattern with %d, %s and %% replaced. A pattern without %d gets "-<page>"
// before its extension when `several_pages`; a pattern without %s gets
// "-<plate>" before its extension when `plate` is not empty. Throws
// std::invalid_argument for any other % sequence.
std::string ExpandOutputPattern(std::string_view pattern, std::size_t page, bool several_pages,
                                std::string_view plate = {});

// A plate name as part of a file name: characters other than letters, digits,
// '-', '_', '.' and '+' become '_'.
std::string FileNameSafe(std::string_view name);

}  // namespace QorScTool
