// PAM output through a buffered stdio stream; errors are checked at every write and
// at close, since a full disk may show only there.
#include "pam_writer.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "interleave.h"

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
      interleaved_(width_ * depth_),
      stream_(path_) {
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

void PamWriter::WriteLine(const unsigned char* planes) {
  if (stream_.Get() == nullptr || rows_left_ <= 0) Fail("more lines than the image has");
  InterleavePlanes(planes, width_, depth_, interleaved_.data());
  if (std::fwrite(interleaved_.data(), 1, interleaved_.size(), stream_.Get()) != interleaved_.size()) {
    Fail(std::strerror(errno));
  }
  --rows_left_;
}

std::unique_ptr<BandEncoder> PamWriter::MakeBandEncoder() const {
  class Encoder final : public BandEncoder {
   public:
    Encoder(std::size_t width, std::size_t depth) : width_(width), depth_(depth) {}
    void Encode(const unsigned char* lines, long long count, EncodedBand& out) override {
      const std::size_t row = width_ * depth_;
      unsigned char* pixels = out.WholeChunk(static_cast<std::size_t>(count) * row);
      for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k)
        InterleavePlanes(lines + k * row, width_, depth_, pixels + k * row);
    }

   private:
    std::size_t width_;
    std::size_t depth_;
  };
  return std::make_unique<Encoder>(width_, depth_);
}

void PamWriter::WriteBand(const EncodedBand& band, long long lines) {
  if (stream_.Get() == nullptr || rows_left_ < lines) Fail("more lines than the image has");
  if (std::fwrite(band.bytes.data(), 1, band.bytes.size(), stream_.Get()) != band.bytes.size()) {
    Fail(std::strerror(errno));
  }
  rows_left_ -= lines;
}

void PamWriter::Finish() {
  if (stream_.Get() == nullptr) return;
  if (rows_left_ != 0) Fail(std::to_string(rows_left_) + " lines are missing");
  if (!stream_.Close()) Fail(std::strerror(errno));
}

}  // namespace QorScTool
