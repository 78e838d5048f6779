// Writing plates into a PAM (Netpbm's arbitrary map): one channel per plate, plus
// the label channel, 8 bits, written line by line.
//
// TUPLTYPE names the plates: "CMYK" for exactly Cyan, Magenta, Yellow, Black (the
// name other tools recognise), otherwise the plate names joined by commas, with
// "HalftoneLabel" for the label channel. Values are ink amounts (0 none, 255 full).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "output_file.h"
#include "render_job.h"

namespace QorScTool {

class PamWriter final : public LineSink {
 public:
  PamWriter(const std::filesystem::path& path, long long width, long long height,
            const std::vector<std::string>& plates, bool label_channel);
  ~PamWriter() override;
  PamWriter(const PamWriter&) = delete;
  PamWriter& operator=(const PamWriter&) = delete;

  // Lines come pixel after pixel, as the file stores them. One thread renders them
  // into the writer's block of lines (about kBlockBytes), written when full; with
  // several threads a band is written at once. Either way without a copy.
  bool TakesPixels() const override { return true; }
  unsigned char* NextLine() override;
  void WriteLine(const unsigned char* pixels) override;
  void WriteLines(const unsigned char* lines, std::size_t line_bytes, long long count) override;
  // Flushes and closes; throws when the file could not be completed.
  void Finish();

  // The TUPLTYPE value for these plates.
  static std::string TupleType(const std::vector<std::string>& plates, bool label_channel);

 private:
  // Half a megabyte: written as fast as a megabyte (a quarter cost 8 % more on a
  // 1200-dpi page), and a page's peak memory holds the block whole.
  static constexpr std::size_t kBlockBytes = std::size_t{1} << 19;

  [[noreturn]] void Fail(const std::string& what) const;
  // Writes the block's lines.
  void Flush();

  std::string path_;
  std::size_t width_;
  std::size_t depth_;
  long long rows_left_;
  std::vector<unsigned char> block_;  // whole lines
  std::size_t block_used_ = 0;        // bytes
  BufferedStream stream_;
};

}  // namespace QorScTool
