// Command-line parsing: page lists, colorants, options, and the errors bad values
// give.
#include "arguments.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace {

using QorScTool::Arguments;
using QorScTool::ColorantChoice;
using QorScTool::UsageError;

Arguments Parse(std::initializer_list<std::string_view> args) {
  const std::vector<std::string_view> v(args);
  return QorScTool::ParseArguments(v);
}

TEST(Arguments, PageLists) {
  using V = std::vector<std::size_t>;
  EXPECT_EQ(QorScTool::ParsePageList("1"), V{1});
  EXPECT_EQ(QorScTool::ParsePageList("1,3-5"), (V{1, 3, 4, 5}));
  EXPECT_EQ(QorScTool::ParsePageList("7,2-3,3,7,1"), (V{7, 2, 3, 1}));  // order kept, no repeats
  EXPECT_EQ(QorScTool::ParsePageList("4-4"), V{4});
  for (const char* bad :
       {"", "0", "1,", ",1", "1,,2", "5-3", "a", "1-", "-2", "1.5", "2-x", "99999999999", "1 ,2"}) {
    EXPECT_THROW(QorScTool::ParsePageList(bad), UsageError) << "'" << bad << "'";
  }
}

TEST(Arguments, Colorants) {
  EXPECT_EQ(QorScTool::ParseColorants("auto").kind, ColorantChoice::kAuto);
  EXPECT_EQ(QorScTool::ParseColorants("cmyk").kind, ColorantChoice::kCmyk);
  EXPECT_EQ(QorScTool::ParseColorants("gray").kind, ColorantChoice::kGray);
  EXPECT_EQ(QorScTool::ParseColorants("grey").kind, ColorantChoice::kGray);
  const ColorantChoice list = QorScTool::ParseColorants("Cyan,PANTONE 286 C,Black");
  EXPECT_EQ(list.kind, ColorantChoice::kList);
  EXPECT_EQ(list.names, (std::vector<std::string>{"Cyan", "PANTONE 286 C", "Black"}));
  EXPECT_EQ(QorScTool::ParseColorants("Gold").names, std::vector<std::string>{"Gold"});
  for (const char* bad : {"", ",", "Cyan,", "Cyan,,Black", "Cyan,Cyan"}) {
    EXPECT_THROW(QorScTool::ParseColorants(bad), UsageError) << "'" << bad << "'";
  }
}

TEST(Arguments, RenderOptions) {
  const Arguments defaults = Parse({"render", "doc.pdf"});
  EXPECT_EQ(defaults.command, Arguments::kRender);
  EXPECT_EQ(defaults.render.input, "doc.pdf");
  EXPECT_TRUE(defaults.render.pages.empty());
  EXPECT_EQ(defaults.render.resolution, 300.0);
  EXPECT_EQ(defaults.render.colorants.kind, ColorantChoice::kAuto);
  EXPECT_EQ(defaults.render.anti_alias, 1);
  EXPECT_EQ(defaults.render.format, QorScTool::OutputFormat::kTiff);
  EXPECT_FALSE(defaults.render.output);
  EXPECT_EQ(defaults.render.threads, 0u);
  EXPECT_FALSE(defaults.render.halftone_labels);
  EXPECT_FALSE(defaults.render.annotations);
  EXPECT_FALSE(defaults.render.quiet);
  EXPECT_EQ(defaults.render.min_line_width, 1.0);

  const Arguments a =
      Parse({"render", "-p", "2,4-5", "-r600", "--colorants=gray", "--aa", "3", "--aa-filter",
             "box", "-f", "tiffsep", "-o", "out/p%d-%s.tif", "--threads=4", "--halftone-labels",
             "-q", "--compression", "none", "--annotations", "x.pdf"});
  EXPECT_EQ(a.render.pages, (std::vector<std::size_t>{2, 4, 5}));
  EXPECT_EQ(a.render.resolution, 600.0);
  EXPECT_EQ(a.render.colorants.kind, ColorantChoice::kGray);
  EXPECT_EQ(a.render.anti_alias, 3);
  EXPECT_EQ(a.render.filter, QorScTool::AntiAliasFilter::kBox);
  EXPECT_EQ(a.render.format, QorScTool::OutputFormat::kTiffSep);
  EXPECT_EQ(a.render.output, "out/p%d-%s.tif");
  EXPECT_EQ(a.render.threads, 4u);
  EXPECT_TRUE(a.render.halftone_labels);
  EXPECT_TRUE(a.render.annotations);
  EXPECT_TRUE(a.render.quiet);
  EXPECT_EQ(a.render.compression, QorScTool::TiffCompression::kNone);
  EXPECT_EQ(a.render.input, "x.pdf");

  // "--" ends the options: a file may start with a dash.
  EXPECT_EQ(Parse({"render", "--", "-odd.pdf"}).render.input, "-odd.pdf");
  EXPECT_EQ(Parse({"render", "-r", "72.5", "a.pdf"}).render.resolution, 72.5);
  EXPECT_EQ(Parse({"render", "--min-line-width", "0", "a.pdf"}).render.min_line_width, 0.0);
  EXPECT_EQ(Parse({"render", "--min-line-width=2.5", "a.pdf"}).render.min_line_width, 2.5);
}

TEST(Arguments, BadRenderArguments) {
  const std::vector<std::vector<std::string_view>> bad = {
      {"render"},                      // no input
      {"render", "a.pdf", "b.pdf"},    // two inputs
      {"render", "-r", "0", "a.pdf"},  // resolution
      {"render", "-r", "-5", "a.pdf"},
      {"render", "-r", "fast", "a.pdf"},
      {"render", "-r", "1e9", "a.pdf"},
      {"render", "-r", "nan", "a.pdf"},
      {"render", "--aa", "5", "a.pdf"},  // anti-aliasing
      {"render", "--aa", "0", "a.pdf"},
      {"render", "--aa-filter", "gauss", "a.pdf"},
      {"render", "--min-line-width", "-1", "a.pdf"},  // minimal line width
      {"render", "--min-line-width", "101", "a.pdf"},
      {"render", "--min-line-width", "thin", "a.pdf"},
      {"render", "-f", "jpeg", "a.pdf"},       // format
      {"render", "--threads", "0", "a.pdf"},   // threads
      {"render", "-p", "0", "a.pdf"},          // pages
      {"render", "-o", "out%x.tif", "a.pdf"},  // pattern
      {"render", "-o", "", "a.pdf"},
      {"render", "--quiet=yes", "a.pdf"},  // flag with a value
      {"render", "--bogus", "a.pdf"},      // unknown option
      {"render", "a.pdf", "-p"},           // missing value
      {"render", "-f", "png", "--halftone-labels", "a.pdf"},
      {"frobnicate", "a.pdf"},  // unknown command
      {"hits", "a.pdf"},        // hits without page and pixel
      {"hits", "-p", "1", "-x", "3", "a.pdf"},
      {"hits", "-p", "1", "-x", "-3", "-y", "4", "a.pdf"},
      {"info"},
      {"info", "--pages", "1", "a.pdf"},
      {"render", "--annotations=yes", "a.pdf"},
      {"info", "--annotations=all", "a.pdf"},
  };
  for (const auto& args : bad) {
    std::string joined;
    for (auto arg : args)
      joined += std::string(arg) + " ";
    EXPECT_THROW(QorScTool::ParseArguments(args), UsageError) << joined;
  }
}

TEST(Arguments, HelpVersionInfoAndHits) {
  EXPECT_EQ(Parse({}).command, Arguments::kHelp);
  EXPECT_EQ(Parse({"--help"}).help_text, QorScTool::kMainHelp);
  EXPECT_EQ(Parse({"--version"}).command, Arguments::kVersion);
  const Arguments render_help = Parse({"render", "--help"});
  EXPECT_EQ(render_help.command, Arguments::kHelp);
  EXPECT_EQ(render_help.help_text, QorScTool::kRenderHelp);
  EXPECT_EQ(Parse({"hits", "-h"}).help_text, QorScTool::kHitsHelp);
  EXPECT_EQ(Parse({"info", "--help"}).help_text, QorScTool::kInfoHelp);

  const Arguments info = Parse({"info", "doc.pdf"});
  EXPECT_EQ(info.command, Arguments::kInfo);
  EXPECT_EQ(info.info.input, "doc.pdf");
  EXPECT_FALSE(info.info.annotations);
  EXPECT_TRUE(Parse({"info", "--annotations", "doc.pdf"}).info.annotations);
  EXPECT_NE(std::string(QorScTool::kRenderHelp).find("--annotations"), std::string::npos);
  EXPECT_NE(std::string(QorScTool::kInfoHelp).find("--annotations"), std::string::npos);

  const Arguments hits = Parse({"hits", "doc.pdf", "-p", "3", "-x", "10", "-y", "20", "-r", "72"});
  EXPECT_EQ(hits.command, Arguments::kHits);
  EXPECT_EQ(hits.hits.page, 3u);
  EXPECT_EQ(hits.hits.x, 10);
  EXPECT_EQ(hits.hits.y, 20);
  EXPECT_EQ(hits.hits.resolution, 72.0);
}

TEST(Arguments, DefaultOutputPatterns) {
  using QorScTool::DefaultOutputPattern;
  using QorScTool::OutputFormat;
  EXPECT_EQ(DefaultOutputPattern("dir/doc.pdf", OutputFormat::kTiff), "doc-%d.tif");
  EXPECT_EQ(DefaultOutputPattern("doc.pdf", OutputFormat::kTiffSep), "doc-%d-%s.tif");
  EXPECT_EQ(DefaultOutputPattern("doc.pdf", OutputFormat::kPng), "doc-%d.png");
  EXPECT_EQ(DefaultOutputPattern("doc.pdf", OutputFormat::kPam), "doc-%d.pam");
  EXPECT_EQ(DefaultOutputPattern("100%.pdf", OutputFormat::kPam), "100%%-%d.pam");
}

}  // namespace
