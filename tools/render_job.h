// Rendering one page to byte lines of plates, in horizontal bands, on one or more
// threads, handing the lines in order to a LineSink as soon as they are ready.
//
// The rendering seam of the tool: it takes a document model page (built by the PDF
// importer, or directly through QorDoc::DocumentBuilder in tests) and knows nothing
// of PDF. Invariants:
// - the output is byte-identical for every thread count and band height: each band
//   is its own CollectObjects + ScanConverter over the same shared document and the
//   same environment, restricted to the band's pixel box; anti-aliased bands start
//   on the initial grid's band alignment (a multiple of the factor);
// - memory is proportional to the page width: one thread renders and writes line by
//   line; several threads fill at most two band buffers each before the writer (the
//   calling thread) has consumed them in order;
// - the sink and the progress function are only called from the calling thread; the
//   band encoders a sink makes there each run on one worker.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "arguments.h"
#include "morv/coordinates.h"
#include "plate_selection.h"
#include "qorcolor/color_list.h"
#include "qordoc/document.h"
#include "scan/environment.h"
#include "scan/object_selection.h"

namespace QorScTool {

// One page of a document model, ready to render.
struct PageInput {
  std::shared_ptr<const QorDoc::Document> document;
  const QorDoc::Content* content = nullptr;  // owned by `document`
  // The world view: the displayed page in millipoints, y up.
  Morv::MilliPointRectangle world_box;
  // The colorants the page uses, in order of first use (for `auto` plates).
  QorColor::Color colorants;
};

struct RenderSettings {
  double resolution = 300.0;
  int anti_alias = 1;  // 1 to 4
  AntiAliasFilter filter = AntiAliasFilter::kTent;
  unsigned threads = 1;
  // Final lines per band with several threads; 0 chooses from the line size.
  long long band_lines = 0;
  // Adds one plane after the plates: the halftone label of the topmost object
  // painting each pixel, converted on the final grid (labels are identifiers and
  // are never filtered).
  bool halftone_labels = false;
  // The thinnest a stroke or glyph stem prints, in final device pixels; 0 leaves
  // the geometry exact.
  double min_line_width = 1.0;
  // Polled between lines; when it becomes true the render throws Interrupted.
  const std::atomic<bool>* interrupt = nullptr;
};

struct PixelSize {
  long long width = 0;
  long long height = 0;
};

// The page's size in pixels: millipoints / 72000 × resolution, rounded, at least 1.
PixelSize PagePixelSize(const Morv::MilliPointRectangle& world_box, double resolution);

// The largest page a render takes on: at most kMaxPageSide pixels a side, and a
// working line (final width × anti-aliasing factor, one float per plate plus the
// compositor's three auxiliary planes) of at most kMaxLineBytes, so that the line,
// group and band buffers stay within a few hundred megabytes whatever the file's page
// size, user unit and the resolution. Throws std::invalid_argument ("the page is too
// large to render: ...") for anything larger.
inline constexpr long long kMaxPageSide = 1LL << 21;
inline constexpr std::size_t kMaxLineBytes = std::size_t{64} << 20;
void CheckPageSize(PixelSize size, std::size_t plates, const RenderSettings& settings);

// A band of lines in a sink's own encoding (compressed strips, converted colours):
// the bytes, cut into chunks in the order the sink writes them.
struct EncodedBand {
  std::vector<unsigned char> bytes;
  std::vector<std::size_t> chunks;  // sizes, adding up to bytes.size()

  void Clear() {
    bytes.clear();
    chunks.clear();
  }
  // Makes the band one chunk of `size` bytes, left as they are: for an encoder that
  // writes every byte, since clearing a band of megabytes first costs as much as
  // writing it. Returns the first byte.
  unsigned char* WholeChunk(std::size_t size) {
    bytes.resize(size);
    chunks.assign(1, size);
    return bytes.data();
  }
  // Appends one chunk.
  void Add(const unsigned char* data, std::size_t size) {
    bytes.insert(bytes.end(), data, data + size);
    chunks.push_back(size);
  }
};

// Encodes bands of lines on a rendering thread, so that the writer only writes.
class BandEncoder {
 public:
  virtual ~BandEncoder() = default;
  // `count` lines as LineSink::WriteLine receives them, one after the other, into
  // `out`, replacing what it held.
  virtual void Encode(const unsigned char* lines, long long count, EncodedBand& out) = 0;
};

// Receives the page's lines top to bottom: the plates' planes one after the other,
// each `width` bytes, then the label plane if there is one; or, for a sink that
// takes pixels, the same bytes pixel after pixel (each pixel's plates, then its
// label), as the renderer writes them without a pass per plane.
//
// A sink whose encoding is worth spreading over the rendering threads also makes
// band encoders: with several threads every band is then encoded where it was
// rendered and handed to WriteBand in order, instead of line by line to WriteLine.
// The file's bytes are the same either way.
class LineSink {
 public:
  virtual ~LineSink() = default;
  virtual void WriteLine(const unsigned char* planes) = 0;
  // Whether lines come pixel after pixel rather than plane after plane.
  virtual bool TakesPixels() const { return false; }
  // Where the renderer may put the next line, so that the sink need not copy it;
  // null for the renderer's own buffer. The same address until the next WriteLine,
  // which receives it (lines rendered on other threads still come from elsewhere).
  virtual unsigned char* NextLine() { return nullptr; }
  // `count` lines of `line_bytes` each, one after the other (a band rendered by
  // another thread): by default one WriteLine each.
  virtual void WriteLines(const unsigned char* lines, std::size_t line_bytes, long long count);
  // An encoder for one thread (made on the calling thread, used on one other), or
  // null when the sink takes lines only.
  virtual std::unique_ptr<BandEncoder> MakeBandEncoder() const { return nullptr; }
  // Every band but the last holds a multiple of this many lines (a TIFF strip's).
  virtual long long BandLineMultiple() const { return 1; }
  // Writes `lines` lines encoded by one of this sink's encoders.
  virtual void WriteBand(const EncodedBand& band, long long lines);
};

class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

// Called with the number of lines written so far.
using ProgressFunction = std::function<void(long long)>;

// Renders the page and writes every line to `sink`. Exceptions from rendering (on
// any thread) or from the sink stop all threads and are rethrown here.
void RenderPage(const PageInput& page, const PlateSet& plates, const RenderSettings& settings,
                LineSink& sink, const ProgressFunction& progress = {});

// The renderer's minimal stroke width for converting in `environment` so that no
// stroke prints thinner than `pixels` of that environment's pixels: its measure
// counts √(fx² + fy²) per pixel of the finer axis, so one pixel is √2 of its units
// for square pixels, rounded up to the next whole unit. 0 for `pixels` ≤ 0.
long long MinimalStrokeWidthFor(const QorSc::Environment& environment, double pixels);

// Every object, with optional content shown as the document shows it by default.
const QorSc::ObjectSelection& DefaultVisibility();

// The number of final lines per band RenderPage uses for these settings.
long long ChooseBandLines(long long width, long long height, std::size_t planes,
                          const RenderSettings& settings);

}  // namespace QorScTool
