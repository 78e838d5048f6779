// The command line of `qorsc`: subcommands, their options and the help texts.
//
// Parsing only checks what can be checked without opening the input: numbers,
// ranges, names and combinations. Everything that depends on the file (a page
// beyond the last one, a pixel outside the page) is checked by the command itself.
// A bad argument throws UsageError, which main turns into exit status 2.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace QorScTool {

class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Which plates a render produces.
struct ColorantChoice {
  enum Kind {
    kAuto,  // Cyan, Magenta, Yellow, Black, then the page's spot colorants in order of use
    kCmyk,  // the four process plates
    kGray,  // one grey plate "Black" (the library's grey output)
    kList,  // exactly the named plates
  };
  Kind kind = kAuto;
  std::vector<std::string> names;  // kList only

  friend bool operator==(const ColorantChoice&, const ColorantChoice&) = default;
};

enum class OutputFormat { kTiff, kTiffSep, kPng, kPam };
enum class AntiAliasFilter { kTent, kBox };
enum class TiffCompression { kNone, kLzw, kDeflate };

// The highest resolution accepted: beyond it a letter page is millions of pixels
// wide, surely a typo.
inline constexpr double kMaxResolution = 100000.0;

struct RenderArguments {
  std::string input;
  std::vector<std::size_t> pages;  // 1-based, in the order given; empty = every page
  double resolution = 300.0;
  ColorantChoice colorants;
  int anti_alias = 1;  // 1 (none) to 4
  AntiAliasFilter filter = AntiAliasFilter::kTent;
  OutputFormat format = OutputFormat::kTiff;
  std::optional<std::string> output;  // the path pattern; empty = the format's default
  unsigned threads = 0;               // 0 = one per core
  // The thinnest a stroke prints, in final device pixels; 0 = the raw geometry.
  double min_line_width = 1.0;
  bool halftone_labels = false;
  bool annotations = false;  // draw printable annotations' appearances
  bool quiet = false;
  TiffCompression compression = TiffCompression::kLzw;
};

struct InfoArguments {
  std::string input;
  bool annotations = false;  // import as `render --annotations` does
};

struct HitsArguments {
  std::string input;
  std::size_t page = 0;  // 1-based
  long long x = 0;
  long long y = 0;
  double resolution = 300.0;
};

struct Arguments {
  enum Command { kHelp, kVersion, kRender, kInfo, kHits };
  Command command = kHelp;
  // For kHelp: the help text to print (the general one or a subcommand's).
  std::string help_text;
  RenderArguments render;
  InfoArguments info;
  HitsArguments hits;
};

// `args` are the arguments after the program name.
Arguments ParseArguments(std::span<const std::string_view> args);

// "1,3-5" → 1, 3, 4, 5 in the order written, duplicates dropped. Pages are 1-based;
// 0, reversed ranges, empty items and non-numbers throw UsageError.
std::vector<std::size_t> ParsePageList(std::string_view text);

// "auto", "cmyk", "gray" (or "grey"), or a comma-separated list of plate names.
ColorantChoice ParseColorants(std::string_view text);

// A default output pattern for the input file and format: the input's stem in the
// current directory, "-%d" for the page and, for tiffsep, "-%s" for the plate.
std::string DefaultOutputPattern(const std::string& input, OutputFormat format);

extern const char* const kMainHelp;
extern const char* const kRenderHelp;
extern const char* const kInfoHelp;
extern const char* const kHitsHelp;

}  // namespace QorScTool
