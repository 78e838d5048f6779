// The four output formats behind PageOutput.
#include "page_output.h"

#include <numeric>

#include "output_file.h"
#include "pam_writer.h"
#include "png_writer.h"
#include "preview.h"
#include "tiff_writer.h"

namespace QorScTool {

namespace {

// The label file of tiffsep and the label channel's plate-name stand-in.
constexpr const char* kLabelPlate = "HalftoneLabels";

std::vector<std::filesystem::path> FinalPaths(
    const std::vector<std::unique_ptr<OutputFile>>& files) {
  std::vector<std::filesystem::path> paths;
  for (const auto& file : files)
    paths.push_back(file->FinalPath());
  return paths;
}

// One file written by one writer (multi-plate TIFF, PAM): the writer is made on the
// file's temporary path and finished before the file takes its final name.
template <class Writer>
class SingleFileOutput final : public PageOutput {
 public:
  template <class... WriterArguments>
  explicit SingleFileOutput(const PageOutputRequest& r, const WriterArguments&... arguments)
      : file_(std::make_unique<OutputFile>(
            ExpandOutputPattern(r.pattern, r.page_number, r.several_pages))),
        writer_(file_->TemporaryPath(), arguments...) {}

  void WriteLine(const unsigned char* planes) override { writer_.WriteLine(planes); }
  bool TakesPixels() const override { return writer_.TakesPixels(); }
  unsigned char* NextLine() override { return writer_.NextLine(); }
  void WriteLines(const unsigned char* lines, std::size_t line_bytes, long long count) override {
    writer_.WriteLines(lines, line_bytes, count);
  }
  std::unique_ptr<BandEncoder> MakeBandEncoder() const override {
    return writer_.MakeBandEncoder();
  }
  long long BandLineMultiple() const override { return writer_.BandLineMultiple(); }
  void WriteBand(const EncodedBand& band, long long lines) override {
    writer_.WriteBand(band, lines);
  }
  void Commit() override {
    writer_.Finish();
    file_->Commit();
  }
  std::vector<std::filesystem::path> Paths() const override { return {file_->FinalPath()}; }

 private:
  std::unique_ptr<OutputFile> file_;
  Writer writer_;
};

class TiffSepOutput final : public PageOutput {
 public:
  explicit TiffSepOutput(const PageOutputRequest& r)
      : width_(static_cast<std::size_t>(r.size.width)) {
    std::vector<std::string> names = r.plates;
    if (r.label_plane) names.push_back(kLabelPlate);
    for (std::size_t p = 0; p < names.size(); ++p) {
      const bool label = r.label_plane && p + 1 == names.size();
      files_.push_back(std::make_unique<OutputFile>(
          ExpandOutputPattern(r.pattern, r.page_number, r.several_pages, names[p])));
      TiffLayout layout{r.size.width, r.size.height, r.resolution, {}, label, r.compression};
      if (!label) layout.inks = {names[p]};
      writers_.push_back(std::make_unique<TiffWriter>(files_.back()->TemporaryPath(), layout));
      layouts_.push_back(layout);
    }
    for (std::size_t i = 0; i < files_.size(); ++i) {
      for (std::size_t j = 0; j < i; ++j) {
        if (files_[i]->FinalPath() == files_[j]->FinalPath()) {
          throw std::runtime_error("plates '" + names[j] + "' and '" + names[i] +
                                   "' would both be written to '" +
                                   files_[i]->FinalPath().string() + "'");
        }
      }
    }
  }

  void WriteLine(const unsigned char* planes) override {
    for (std::size_t p = 0; p < writers_.size(); ++p)
      writers_[p]->WriteLine(planes + p * width_);
  }
  // Every plate's strips, compressed where the band was rendered: per band, the
  // strips of the first plate's file, then the next plate's.
  std::unique_ptr<BandEncoder> MakeBandEncoder() const override {
    class Encoder final : public BandEncoder {
     public:
      Encoder(const std::vector<TiffLayout>& layouts, std::size_t width) : width_(width) {
        for (const TiffLayout& layout : layouts)
          strips_.push_back(std::make_unique<TiffStripEncoder>(layout));
      }
      void Encode(const unsigned char* lines, long long count, EncodedBand& out) override {
        out.Clear();
        for (std::size_t p = 0; p < strips_.size(); ++p)
          strips_[p]->Encode(lines + p * width_, strips_.size() * width_, count, out);
      }

     private:
      std::size_t width_;
      std::vector<std::unique_ptr<TiffStripEncoder>> strips_;
    };
    return std::make_unique<Encoder>(layouts_, width_);
  }
  long long BandLineMultiple() const override {
    long long multiple = 1;
    for (const TiffLayout& layout : layouts_)
      multiple = std::lcm(multiple, TiffRowsPerStrip(layout));
    return multiple;
  }
  void WriteBand(const EncodedBand& band, long long lines) override {
    std::size_t chunk = 0;
    for (auto& writer : writers_)
      writer->WriteStrips(band, chunk, lines);
  }
  void Commit() override {
    for (auto& writer : writers_)
      writer->Finish();
    for (auto& file : files_)
      file->Commit();
  }
  std::vector<std::filesystem::path> Paths() const override { return FinalPaths(files_); }

 private:
  std::size_t width_;
  std::vector<std::unique_ptr<OutputFile>> files_;
  std::vector<std::unique_ptr<TiffWriter>> writers_;
  std::vector<TiffLayout> layouts_;
};

class PngOutput final : public PageOutput {
 public:
  explicit PngOutput(const PageOutputRequest& r)
      : file_(std::make_unique<OutputFile>(
            ExpandOutputPattern(r.pattern, r.page_number, r.several_pages))),
        line_bytes_((r.plates.size() + (r.label_plane ? 1 : 0)) *
                    static_cast<std::size_t>(r.size.width)),
        plates_(r.plates),
        table_(r.separation_table),
        profile_(r.output_intent_profile.begin(), r.output_intent_profile.end()),
        preview_(plates_, table_, profile_, static_cast<std::size_t>(r.size.width)),
        writer_(file_->TemporaryPath(), r.size.width, r.size.height, r.resolution),
        rgb_(static_cast<std::size_t>(r.size.width) * 3) {}

  void WriteLine(const unsigned char* planes) override {
    preview_.Convert(planes, rgb_.data());
    writer_.WriteRow(rgb_.data());
  }
  // The colour conversion runs where the band was rendered, each thread with a
  // preview (and colour transform) of its own; compression stays in the one zlib
  // stream of the writer.
  std::unique_ptr<BandEncoder> MakeBandEncoder() const override {
    class Encoder final : public BandEncoder {
     public:
      Encoder(const PngOutput& output)
          : width_(output.rgb_.size() / 3),
            line_bytes_(output.line_bytes_),
            preview_(output.plates_, output.table_, output.profile_, width_) {}
      void Encode(const unsigned char* lines, long long count, EncodedBand& out) override {
        unsigned char* rgb = out.WholeChunk(static_cast<std::size_t>(count) * width_ * 3);
        for (long long k = 0; k < count; ++k) {
          preview_.Convert(lines + static_cast<std::size_t>(k) * line_bytes_,
                           rgb + static_cast<std::size_t>(k) * width_ * 3);
        }
      }

     private:
      std::size_t width_;
      std::size_t line_bytes_;
      Preview preview_;
    };
    return std::make_unique<Encoder>(*this);
  }
  void WriteBand(const EncodedBand& band, long long lines) override {
    for (long long k = 0; k < lines; ++k)
      writer_.WriteRow(band.bytes.data() + static_cast<std::size_t>(k) * rgb_.size());
  }
  void Commit() override {
    writer_.Finish();
    file_->Commit();
  }
  std::vector<std::filesystem::path> Paths() const override { return {file_->FinalPath()}; }
  std::string Note() const override {
    return preview_.UsesProfile() ? "colours through the output intent profile"
                                  : "colours by formula: " + preview_.ProfileNote();
  }

 private:
  std::unique_ptr<OutputFile> file_;
  std::size_t line_bytes_;  // the lines the sink receives: plates and label plane
  std::vector<std::string> plates_;
  std::vector<QorDoc::Separation::Entry> table_;
  std::vector<unsigned char> profile_;
  Preview preview_;
  PngWriter writer_;
  std::vector<unsigned char> rgb_;
};

}  // namespace

std::unique_ptr<PageOutput> PageOutput::Create(const PageOutputRequest& request) {
  switch (request.format) {
    case OutputFormat::kTiff:
      return std::make_unique<SingleFileOutput<TiffWriter>>(
          request, TiffLayout{request.size.width, request.size.height, request.resolution,
                              request.plates, request.label_plane, request.compression});
    case OutputFormat::kTiffSep:
      return std::make_unique<TiffSepOutput>(request);
    case OutputFormat::kPam:
      return std::make_unique<SingleFileOutput<PamWriter>>(
          request, request.size.width, request.size.height, request.plates, request.label_plane);
    case OutputFormat::kPng:
      return std::make_unique<PngOutput>(request);
  }
  throw std::invalid_argument("unknown output format");
}

}  // namespace QorScTool
