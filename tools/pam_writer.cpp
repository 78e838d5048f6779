// PAM output in blocks of whole lines through an unbuffered stdio stream; errors are checked at
// every write and at close, since a full disk may show only there.
#include "pam_writer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace QorScTool {

std::string PamWriter::TupleType(const std::vector<std::string>& plates, bool label_channel) {
  std::string type;
  if (plates == std::vector<std::string>{"Cyan", "Magenta", "Yellow", "Black"}) {
    type = "CMYK";
  } else {
    for (const std::string& plate : plates) {
      if (!type.empty()) type += ',';
      type += plate;
    }
  }
  if (label_channel) type += type.empty() ? "HalftoneLabel" : ",HalftoneLabel";
  // A line break would end the header line early.
  for (char& c : type) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return type;
}

PamWriter::PamWriter(const std::filesystem::path& path, long long width, long long height,
                     const std::vector<std::string>& plates, bool label_channel)
    : path_(path.string()),
      width_(static_cast<std::size_t>(width)),
      depth_(plates.size() + (label_channel ? 1 : 0)),
      rows_left_(height),
      block_(std::max<std::size_t>(1, kBlockBytes / std::max<std::size_t>(1, width_ * depth_)) *
             width_ * depth_),
      stream_(path_, 0) {
  const std::string header = "P7\nWIDTH " + std::to_string(width) + "\nHEIGHT " +
                             std::to_string(height) + "\nDEPTH " + std::to_string(depth_) +
                             "\nMAXVAL 255\nTUPLTYPE " + TupleType(plates, label_channel) +
                             "\nENDHDR\n";
  if (std::fwrite(header.data(), 1, header.size(), stream_.Get()) != header.size()) {
    Fail(std::strerror(errno));
  }
}

PamWriter::~PamWriter() = default;

void PamWriter::Fail(const std::string& what) const {
  throw std::runtime_error("cannot write '" + path_ + "': " + what);
}

unsigned char* PamWriter::NextLine() {
  if (block_used_ == block_.size()) Flush();
  return block_.data() + block_used_;
}

void PamWriter::WriteLine(const unsigned char* pixels) {
  if (stream_.Get() == nullptr || rows_left_ <= 0) Fail("more lines than the image has");
  const std::size_t line = width_ * depth_;
  unsigned char* slot = NextLine();
  if (pixels != slot) std::copy(pixels, pixels + line, slot);
  block_used_ += line;
  --rows_left_;
}

void PamWriter::WriteLines(const unsigned char* lines, std::size_t line_bytes, long long count) {
  if (stream_.Get() == nullptr || rows_left_ < count) Fail("more lines than the image has");
  if (line_bytes != width_ * depth_) Fail("a line of the wrong size");
  Flush();
  const std::size_t bytes = line_bytes * static_cast<std::size_t>(count);
  if (std::fwrite(lines, 1, bytes, stream_.Get()) != bytes) Fail(std::strerror(errno));
  rows_left_ -= count;
}

void PamWriter::Flush() {
  if (block_used_ == 0) return;
  if (std::fwrite(block_.data(), 1, block_used_, stream_.Get()) != block_used_) {
    Fail(std::strerror(errno));
  }
  block_used_ = 0;
}

void PamWriter::Finish() {
  if (stream_.Get() == nullptr) return;
  if (rows_left_ != 0) Fail(std::to_string(rows_left_) + " lines are missing");
  Flush();
  if (!stream_.Close()) Fail(std::strerror(errno));
}

}  // namespace QorScTool
