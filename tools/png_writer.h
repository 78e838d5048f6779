// Writing an 8-bit RGB PNG row by row through libpng (its compressor keeps only a
// window, so memory stays at a row), with the resolution in the pHYs chunk.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace QorScTool {

class PngWriter {
 public:
  // Throws std::runtime_error naming the file when it cannot be created.
  PngWriter(const std::filesystem::path& path, long long width, long long height,
            double resolution);
  ~PngWriter();
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;

  // width × 3 bytes: R, G, B per pixel.
  void WriteRow(const unsigned char* rgb);
  // Ends the image and closes; throws when the file could not be completed.
  void Finish();

  struct State;

 private:
  std::unique_ptr<State> state_;
};

}  // namespace QorScTool
