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

class TiffWriter final : public LineSink {
 public:
  // Throws std::runtime_error naming the file when it cannot be created.
  TiffWriter(const std::filesystem::path& path, const TiffLayout& layout);
  ~TiffWriter() override;

  // The inks' planes then the label plane, `width` bytes each.
  void WriteLine(const unsigned char* planes) override;
  // Flushes and closes; throws when the file could not be completed. Required: the
  // destructor only closes.
  void Finish();

  struct Handle;

 private:
  std::unique_ptr<Handle> handle_;
};

}  // namespace QorScTool
