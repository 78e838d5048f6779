// Parsing `qorsc` command lines by hand: a handful of options per subcommand does
// not justify an argument library. Options take their value as the next argument,
// after "=" (long options) or attached (short options: -r600); "--" ends options.
#include "arguments.h"

#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>
#include <set>

#include "output_file.h"

namespace QorScTool {

const char* const kMainHelp =
    "Usage: qorsc COMMAND [OPTIONS] FILE.pdf\n"
    "\n"
    "Renders PDF pages to colour separations.\n"
    "\n"
    "Commands:\n"
    "  render   render pages to separations (TIFF, per-plate TIFF, PAM) or a PNG preview\n"
    "  info     show pages, boxes, colorants, fonts, what will not render, layers,\n"
    "           output intent and warnings\n"
    "  hits     list the objects that paint one pixel\n"
    "\n"
    "Options:\n"
    "  -h, --help     show this help (qorsc COMMAND --help for a command's options)\n"
    "  --version      show the version\n"
    "\n"
    "Exit status: 0 success, 1 unreadable file or page out of range, 2 bad arguments.\n";

const char* const kRenderHelp =
    "Usage: qorsc render [OPTIONS] FILE.pdf\n"
    "\n"
    "Renders pages to separations. Plate values are ink amounts: 0 no ink, 255 full ink.\n"
    "Paths, text, images and image masks, flat colours, shadings of every type,\n"
    "tiling patterns, overprint, opacity, blend modes, transparency groups, soft masks\n"
    "and clips are drawn; what is not is reported as warnings.\n"
    "\n"
    "Options:\n"
    "  -p, --pages LIST        pages to render, e.g. 1,3-5 (default: all)\n"
    "  -r, --resolution DPI    resolution in dots per inch (default: 300)\n"
    "  -c, --colorants WHICH   auto: CMYK plus every spot colorant the page uses, in the\n"
    "                            order the page uses them (default)\n"
    "                          cmyk: the four process plates (spots simulated in process)\n"
    "                          gray: one grey plate\n"
    "                          NAME,NAME,...: exactly these plates; other spots are\n"
    "                            simulated on the process plates present\n"
    "  --aa N                  anti-aliasing: convert N times finer and reduce, 1 to 4\n"
    "                            (default: 1, none)\n"
    "  --aa-filter tent|box    anti-aliasing filter (default: tent)\n"
    "  --min-line-width PIXELS strokes thinner than this (width 0 included) print this\n"
    "                            wide and glyph stems thinner than a pixel keep a\n"
    "                            pixel, so hairlines never break up (default: 1; 0:\n"
    "                            the exact geometry)\n"
    "  -f, --format FORMAT     tiff: one multi-plate TIFF per page (default)\n"
    "                          tiffsep: one greyscale TIFF per plate\n"
    "                          png: composite RGB preview of the inks on white paper\n"
    "                          pam: one multi-plate PAM per page\n"
    "  -o, --output PATTERN    output path; %d is the page number, %s the plate name\n"
    "                            (tiffsep), %% a percent sign (default: the input's\n"
    "                            name, e.g. doc-%d.tif, doc-%d-%s.tif, doc-%d.png)\n"
    "  --compression KIND      TIFF compression: none, lzw (default), deflate\n"
    "  --threads N             render with N threads (default: one per core)\n"
    "  --halftone-labels       add the halftone label plane (TIFF extra sample, PAM\n"
    "                            channel, or a separate tiffsep file)\n"
    "  --annotations           also draw the annotations that print (form fields,\n"
    "                            stamps, comments with an appearance; not hidden)\n"
    "  -q, --quiet             no progress bar and no importer warnings\n"
    "  -h, --help              show this help\n";

const char* const kInfoHelp =
    "Usage: qorsc info [--annotations] FILE.pdf\n"
    "\n"
    "Shows every page's boxes and rotation, the colorants and fonts it uses, what it\n"
    "holds that will not be rendered (features and how often), the document's\n"
    "optional-content layers and output intent, and the importer's warnings.\n"
    "\n"
    "Options:\n"
    "  --annotations           check the page as `render --annotations` draws it\n"
    "  -h, --help              show this help\n";

const char* const kHitsHelp =
    "Usage: qorsc hits -p PAGE -x X -y Y [-r DPI] FILE.pdf\n"
    "\n"
    "Lists the objects that paint pixel (X, Y) of a page rendered at DPI, first painted\n"
    "first: identifier, kind and a short description. Pixels count from the top-left\n"
    "corner of the displayed page.\n"
    "\n"
    "Options:\n"
    "  -p, --page N            the page (1-based; required)\n"
    "  -x X, -y Y              the pixel (required)\n"
    "  -r, --resolution DPI    resolution in dots per inch (default: 300)\n"
    "  -h, --help              show this help\n";

namespace {

// Walks the arguments of one subcommand, splitting "--name=value" and "-xVALUE".
class OptionReader {
 public:
  explicit OptionReader(std::span<const std::string_view> args) : args_(args) {}

  bool Done() const { return index_ >= args_.size(); }

  // The next option's name ("--pages", "-p"), or empty for a positional argument,
  // which Positional() then returns.
  std::string_view NextName() {
    attached_.reset();
    const std::string_view arg = args_[index_++];
    if (!options_ended_ && arg == "--") {
      options_ended_ = true;
      if (Done()) return "--";
      return NextName();
    }
    if (options_ended_ || arg.size() < 2 || arg[0] != '-') {
      positional_ = arg;
      return {};
    }
    if (arg[1] == '-') {
      const auto eq = arg.find('=');
      if (eq != std::string_view::npos) {
        attached_ = arg.substr(eq + 1);
        return arg.substr(0, eq);
      }
      return arg;
    }
    if (arg.size() > 2) attached_ = arg.substr(2);
    return arg.substr(0, 2);
  }

  std::string_view Positional() const { return positional_; }

  std::string_view Value(std::string_view name) {
    if (attached_) return *attached_;
    if (Done()) throw UsageError("option " + std::string(name) + " needs a value");
    return args_[index_++];
  }

  // For flags: a value attached with "=" is a mistake.
  void NoValue(std::string_view name) const {
    if (attached_) throw UsageError("option " + std::string(name) + " takes no value");
  }

 private:
  std::span<const std::string_view> args_;
  std::size_t index_ = 0;
  bool options_ended_ = false;
  std::optional<std::string_view> attached_;
  std::string_view positional_;
};

long long ParseInteger(std::string_view text, std::string_view what, long long min, long long max) {
  long long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) {
    throw UsageError(std::string(what) + ": '" + std::string(text) + "' is not a whole number");
  }
  if (value < min || value > max) {
    throw UsageError(std::string(what) + ": " + std::string(text) + " is not between " +
                     std::to_string(min) + " and " + std::to_string(max));
  }
  return value;
}

// A finite decimal number; `what` names it in the message.
double ParseNumber(std::string_view text, std::string_view what) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() ||
      !std::isfinite(value)) {
    throw UsageError(std::string(what) + ": '" + std::string(text) + "' is not a number");
  }
  return value;
}

double ParseResolution(std::string_view text) {
  const double value = ParseNumber(text, "resolution");
  if (value <= 0.0 || value > kMaxResolution) {
    throw UsageError("resolution: " + std::string(text) + " is not between 0 and 100000 dpi");
  }
  return value;
}

double ParseMinLineWidth(std::string_view text) {
  const double value = ParseNumber(text, "--min-line-width");
  // Wider than 100 pixels is no hairline guarantee any more but a typo.
  if (value < 0.0 || value > 100.0) {
    throw UsageError("--min-line-width: " + std::string(text) + " is not between 0 and 100 pixels");
  }
  return value;
}

void UnknownOption(std::string_view name, std::string_view command) {
  throw UsageError("unknown option " + std::string(name) + " for '" + std::string(command) + "'");
}

void SetInput(std::string& input, std::string_view positional) {
  if (!input.empty()) {
    throw UsageError("more than one input file ('" + input + "', '" + std::string(positional) +
                     "')");
  }
  input = positional;
}

void RequireInput(const std::string& input) {
  if (input.empty()) throw UsageError("no input file given");
}

OutputFormat ParseFormat(std::string_view text) {
  if (text == "tiff" || text == "tif") return OutputFormat::kTiff;
  if (text == "tiffsep") return OutputFormat::kTiffSep;
  if (text == "png") return OutputFormat::kPng;
  if (text == "pam") return OutputFormat::kPam;
  throw UsageError("format: '" + std::string(text) + "' is not one of tiff, tiffsep, png, pam");
}

// Fills `arguments` or returns a help text.
std::optional<std::string> ParseRender(OptionReader& reader, RenderArguments& a) {
  while (!reader.Done()) {
    const std::string_view name = reader.NextName();
    if (name.empty()) {
      SetInput(a.input, reader.Positional());
    } else if (name == "-h" || name == "--help") {
      return kRenderHelp;
    } else if (name == "-p" || name == "--pages") {
      a.pages = ParsePageList(reader.Value(name));
    } else if (name == "-r" || name == "--resolution") {
      a.resolution = ParseResolution(reader.Value(name));
    } else if (name == "-c" || name == "--colorants") {
      a.colorants = ParseColorants(reader.Value(name));
    } else if (name == "--aa") {
      a.anti_alias = static_cast<int>(ParseInteger(reader.Value(name), "--aa", 1, 4));
    } else if (name == "--aa-filter") {
      const std::string_view v = reader.Value(name);
      if (v == "tent") {
        a.filter = AntiAliasFilter::kTent;
      } else if (v == "box") {
        a.filter = AntiAliasFilter::kBox;
      } else {
        throw UsageError("--aa-filter: '" + std::string(v) + "' is not tent or box");
      }
    } else if (name == "-f" || name == "--format") {
      a.format = ParseFormat(reader.Value(name));
    } else if (name == "-o" || name == "--output") {
      const std::string_view v = reader.Value(name);
      if (v.empty()) throw UsageError("--output: the pattern is empty");
      try {
        ExpandOutputPattern(v, 1, false);
      } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
      }
      a.output = std::string(v);
    } else if (name == "--compression") {
      const std::string_view v = reader.Value(name);
      if (v == "none") {
        a.compression = TiffCompression::kNone;
      } else if (v == "lzw") {
        a.compression = TiffCompression::kLzw;
      } else if (v == "deflate" || v == "zip") {
        a.compression = TiffCompression::kDeflate;
      } else {
        throw UsageError("--compression: '" + std::string(v) + "' is not none, lzw or deflate");
      }
    } else if (name == "--min-line-width") {
      a.min_line_width = ParseMinLineWidth(reader.Value(name));
    } else if (name == "--threads") {
      a.threads = static_cast<unsigned>(ParseInteger(reader.Value(name), "--threads", 1, 1024));
    } else if (name == "--halftone-labels") {
      reader.NoValue(name);
      a.halftone_labels = true;
    } else if (name == "--annotations") {
      reader.NoValue(name);
      a.annotations = true;
    } else if (name == "-q" || name == "--quiet") {
      reader.NoValue(name);
      a.quiet = true;
    } else {
      UnknownOption(name, "render");
    }
  }
  RequireInput(a.input);
  if (a.halftone_labels && a.format == OutputFormat::kPng) {
    throw UsageError("--halftone-labels needs a format with plates: tiff, tiffsep or pam");
  }
  return std::nullopt;
}

std::optional<std::string> ParseInfo(OptionReader& reader, InfoArguments& a) {
  while (!reader.Done()) {
    const std::string_view name = reader.NextName();
    if (name.empty()) {
      SetInput(a.input, reader.Positional());
    } else if (name == "-h" || name == "--help") {
      return kInfoHelp;
    } else if (name == "--annotations") {
      reader.NoValue(name);
      a.annotations = true;
    } else {
      UnknownOption(name, "info");
    }
  }
  RequireInput(a.input);
  return std::nullopt;
}

std::optional<std::string> ParseHits(OptionReader& reader, HitsArguments& a) {
  bool has_page = false, has_x = false, has_y = false;
  constexpr long long kMaxCoordinate = 1LL << 40;
  while (!reader.Done()) {
    const std::string_view name = reader.NextName();
    if (name.empty()) {
      SetInput(a.input, reader.Positional());
    } else if (name == "-h" || name == "--help") {
      return kHitsHelp;
    } else if (name == "-p" || name == "--page") {
      a.page = static_cast<std::size_t>(
          ParseInteger(reader.Value(name), "--page", 1, std::numeric_limits<int>::max()));
      has_page = true;
    } else if (name == "-x") {
      a.x = ParseInteger(reader.Value(name), "-x", 0, kMaxCoordinate);
      has_x = true;
    } else if (name == "-y") {
      a.y = ParseInteger(reader.Value(name), "-y", 0, kMaxCoordinate);
      has_y = true;
    } else if (name == "-r" || name == "--resolution") {
      a.resolution = ParseResolution(reader.Value(name));
    } else {
      UnknownOption(name, "hits");
    }
  }
  RequireInput(a.input);
  if (!has_page) throw UsageError("hits needs a page (-p N)");
  if (!has_x || !has_y) throw UsageError("hits needs a pixel (-x X -y Y)");
  return std::nullopt;
}

}  // namespace

std::vector<std::size_t> ParsePageList(std::string_view text) {
  std::vector<std::size_t> pages;
  std::set<std::size_t> seen;
  constexpr long long kMaxPage = std::numeric_limits<int>::max();
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    const std::string_view item = text.substr(start, comma - start);
    if (item.empty()) throw UsageError("pages: empty item in '" + std::string(text) + "'");
    const std::size_t dash = item.find('-');
    long long first = 0, last = 0;
    if (dash == std::string_view::npos) {
      first = last = ParseInteger(item, "pages", 1, kMaxPage);
    } else {
      first = ParseInteger(item.substr(0, dash), "pages", 1, kMaxPage);
      last = ParseInteger(item.substr(dash + 1), "pages", 1, kMaxPage);
      if (last < first) {
        throw UsageError("pages: the range " + std::string(item) + " runs backwards");
      }
    }
    for (long long p = first; p <= last; ++p) {
      if (seen.insert(static_cast<std::size_t>(p)).second) {
        pages.push_back(static_cast<std::size_t>(p));
      }
    }
    start = comma + 1;
  }
  return pages;
}

ColorantChoice ParseColorants(std::string_view text) {
  if (text == "auto") return {ColorantChoice::kAuto, {}};
  if (text == "cmyk") return {ColorantChoice::kCmyk, {}};
  if (text == "gray" || text == "grey") return {ColorantChoice::kGray, {}};
  ColorantChoice choice{ColorantChoice::kList, {}};
  std::size_t start = 0;
  while (start <= text.size()) {
    const std::size_t comma = std::min(text.find(',', start), text.size());
    std::string name(text.substr(start, comma - start));
    if (name.empty()) throw UsageError("colorants: empty name in '" + std::string(text) + "'");
    for (const std::string& earlier : choice.names) {
      if (earlier == name) throw UsageError("colorants: '" + name + "' is named twice");
    }
    choice.names.push_back(std::move(name));
    start = comma + 1;
  }
  return choice;
}

std::string DefaultOutputPattern(const std::string& input, OutputFormat format) {
  std::string stem = std::filesystem::path(input).stem().string();
  if (stem.empty()) stem = "page";
  // The stem goes into a pattern: its own percent signs must stay literal.
  std::string escaped;
  for (const char c : stem) {
    escaped += c;
    if (c == '%') escaped += '%';
  }
  switch (format) {
    case OutputFormat::kTiff:
      return escaped + "-%d.tif";
    case OutputFormat::kTiffSep:
      return escaped + "-%d-%s.tif";
    case OutputFormat::kPng:
      return escaped + "-%d.png";
    case OutputFormat::kPam:
      return escaped + "-%d.pam";
  }
  return escaped + "-%d";
}

Arguments ParseArguments(std::span<const std::string_view> args) {
  Arguments result;
  if (args.empty()) {
    result.help_text = kMainHelp;
    return result;
  }
  const std::string_view command = args[0];
  OptionReader reader(args.subspan(1));
  std::optional<std::string> help;
  if (command == "-h" || command == "--help" || command == "help") {
    result.help_text = kMainHelp;
    return result;
  } else if (command == "--version" || command == "-V") {
    result.command = Arguments::kVersion;
    return result;
  } else if (command == "render") {
    result.command = Arguments::kRender;
    help = ParseRender(reader, result.render);
  } else if (command == "info") {
    result.command = Arguments::kInfo;
    help = ParseInfo(reader, result.info);
  } else if (command == "hits") {
    result.command = Arguments::kHits;
    help = ParseHits(reader, result.hits);
  } else {
    throw UsageError("unknown command '" + std::string(command) +
                     "' (commands: render, info, hits)");
  }
  if (help) {
    result.command = Arguments::kHelp;
    result.help_text = std::move(*help);
  }
  return result;
}

}  // namespace QorScTool
