// Writing plates into a TIFF, strip by strip as lines arrive (libtiff buffers one
// strip), so memory stays at a strip whatever the page height.
//
// Layouts:
// - several inks: PhotometricInterpretation Separated, one 8-bit sample per ink in
//   plate order, InkSet 1 for exactly Cyan, Magenta, Yellow, Black and 2 otherwise,
//   NumberOfInks and InkNames naming every ink;
// - one ink: MinIsWhite (0 = no ink shows as white), PageName naming the plate:
//   readers handle a single Separated sample badly;
// - no ink, label sample only: MinIsBlack.
// The optional label sample follows the inks as an unspecified extra sample.
// Sample values are ink amounts, 0 none to 255 full. Files whose raw size passes
// 3.5 GB are written as BigTIFF.
//
// Strips can also be compressed elsewhere: a TiffStripEncoder (one per thread) runs
// libtiff's own encoder over a band of whole strips in memory, the very calls the
// writer makes line by line, and WriteStrips appends the results; the file's bytes
// are the same.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "arguments.h"
#include "render_job.h"

namespace QorScTool {

struct TiffLayout {
  long long width = 0;
  long long height = 0;
  double resolution = 300.0;
  std::vector<std::string> inks;
  bool label_sample = false;
  TiffCompression compression = TiffCompression::kLzw;
};

// Rows per strip: strips of about 256 KB, small enough to keep memory flat, large
// enough that the strip table stays short on tall pages.
long long TiffRowsPerStrip(const TiffLayout& layout);

class TiffWriter final : public LineSink {
 public:
  // Throws std::runtime_error naming the file when it cannot be created.
  TiffWriter(const std::filesystem::path& path, const TiffLayout& layout);
  ~TiffWriter() override;

  // Lines come pixel after pixel (each pixel's inks, then its label), as the file
  // stores them.
  bool TakesPixels() const override { return true; }
  void WriteLine(const unsigned char* pixels) override;
  std::unique_ptr<BandEncoder> MakeBandEncoder() const override;
  long long BandLineMultiple() const override;
  void WriteBand(const EncodedBand& band, long long lines) override;
  // Appends the strips of `lines` rows held in band's chunks from `chunk` on (one
  // chunk per strip, as a TiffStripEncoder makes them); advances `chunk`.
  void WriteStrips(const EncodedBand& band, std::size_t& chunk, long long lines);
  // Flushes and closes; throws when the file could not be completed. Required: the
  // destructor only closes.
  void Finish();

  struct Handle;

 private:
  TiffLayout layout_;
  std::unique_ptr<Handle> handle_;
};

// Compresses bands of whole strips of one TIFF layout, in memory, on any one thread.
class TiffStripEncoder {
 public:
  explicit TiffStripEncoder(const TiffLayout& layout);
  ~TiffStripEncoder();
  TiffStripEncoder(const TiffStripEncoder&) = delete;
  TiffStripEncoder& operator=(const TiffStripEncoder&) = delete;

  // `count` rows starting at a strip boundary, each row's pixels (inks, then label)
  // at `rows + k · rowStride`: appends one chunk per strip to `out`.
  void Encode(const unsigned char* rows, std::size_t rowStride, long long count, EncodedBand& out);

 private:
  TiffLayout layout_;
  std::vector<unsigned char> row_;  // as the writer's row
  struct Memory;
  std::unique_ptr<Memory> memory_;
};

}  // namespace QorScTool
