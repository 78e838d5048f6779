// The files of one rendered page in the chosen format, as one LineSink.
//
// Every file is written under a temporary name (OutputFile) and renamed only by
// Commit(), after every writer has finished: an error or exception on the way leaves
// no file under a final name. tiff: one multi-plate file; tiffsep: one file per plate
// (the plate name in the file name) and one for the labels; pam: one file; png: one
// RGB preview (the label plane, if any, is ignored).
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "arguments.h"
#include "qordoc/separation.h"
#include "render_job.h"

namespace QorScTool {

struct PageOutputRequest {
  OutputFormat format = OutputFormat::kTiff;
  std::string pattern;
  std::size_t page_number = 1;  // 1-based, for %d
  bool several_pages = false;
  PixelSize size;
  double resolution = 300.0;
  std::vector<std::string> plates;
  bool label_plane = false;
  TiffCompression compression = TiffCompression::kLzw;
  // For the png preview.
  std::vector<QorDoc::Separation::Entry> separation_table;
  std::span<const unsigned char> output_intent_profile;
};

class PageOutput : public LineSink {
 public:
  static std::unique_ptr<PageOutput> Create(const PageOutputRequest& request);

  // Finishes every file and gives each its final name.
  virtual void Commit() = 0;
  // The final paths, in the order written.
  virtual std::vector<std::filesystem::path> Paths() const = 0;
  // A note for the user about how the output was made (the preview's colour
  // conversion), or empty.
  virtual std::string Note() const { return {}; }
};

}  // namespace QorScTool
