// The importer's bounds on what a file can ask for: nesting and token sizes in the
// content reader, decoded sizes in DecodeStream, and the page budget of the
// interpreter (objects, placements, streams that draw themselves). The end-to-end
// cases with the hostile files are in tests/tools/hostile_files_test.cpp.
#include <gtest/gtest.h>

#include <memory>
#include <qpdf/Pl_Buffer.hh>
#include <qpdf/Pl_Flate.hh>
#include <string>
#include <vector>

#include "../color/color_test_support.h"
#include "color/color_space.h"
#include "content/content_reader.h"
#include "content/interpreter.h"
#include "content/optional_content.h"
#include "font/font.h"
#include "page_run.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"
#include "stream_data.h"

namespace QorPdf::internal {
namespace {

using test::PdfObjects;

std::string Deflated(const std::string& data) {
  Pl_Buffer buffer("deflated");
  Pl_Flate flate("deflate", &buffer, Pl_Flate::a_deflate);
  flate.write(reinterpret_cast<const unsigned char*>(data.data()), data.size());
  flate.finish();
  const std::unique_ptr<Buffer> bytes(buffer.getBuffer());
  return std::string(reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize());
}

bool HasProblem(const ContentReader& reader, const std::string& part) {
  for (const std::string& p : reader.Problems()) {
    if (p.find(part) != std::string::npos) return true;
  }
  return false;
}

TEST(ContentReaderLimits, NestingTokensAndOperandsAreBounded) {
  // 100 000 levels: skipped by counting, the operator after them still read.
  ContentReader nested(std::string(100000, '[') + std::string(100000, ']') + " 7 w", "nested");
  std::string_view op;
  std::vector<Operand> operands;
  ASSERT_TRUE(nested.Next(op, operands));
  EXPECT_EQ(op, "w");
  ASSERT_EQ(operands.size(), 2u);
  EXPECT_TRUE(operands[0].IsArray());
  EXPECT_EQ(operands[1].number, 7.0);
  EXPECT_TRUE(HasProblem(nested, "nested too deep"));

  // The newest operands are kept, in order, however many come before the operator.
  std::string many;
  for (int i = 0; i < 3 * static_cast<int>(ContentReader::kMaxOperands) + 5; ++i) {
    many += std::to_string(i) + " ";
  }
  ContentReader numbers(many + "m", "numbers");
  ASSERT_TRUE(numbers.Next(op, operands));
  ASSERT_EQ(operands.size(), ContentReader::kMaxOperands);
  EXPECT_EQ(operands.back().number, 3.0 * ContentReader::kMaxOperands + 4);
  EXPECT_EQ(operands.front().number, 2.0 * ContentReader::kMaxOperands + 5);
  EXPECT_TRUE(HasProblem(numbers, "oldest dropped"));

  ContentReader long_string("(" + std::string(ContentReader::kMaxTokenBytes + 10, 'A') + ") Tj",
                            "string");
  while (long_string.Next(op, operands)) {
  }
  EXPECT_TRUE(HasProblem(long_string, "longer than 16 MiB"));
}

TEST(DecodeStream, StopsAtTheConsumersLimitAndAtImplausibleExpansion) {
  PdfObjects objects;
  const std::string text(100000, 'x');
  QPDFObjectHandle flate = objects.Stream("<< /Filter /FlateDecode >>", Deflated(text));

  DecodedStream whole = DecodeStream(flate, 1 << 20, qpdf_dl_generalized);
  EXPECT_EQ(whole.data, text);
  EXPECT_FALSE(whole.truncated);
  EXPECT_FALSE(whole.damaged);

  DecodedStream part = DecodeStream(flate, 1000, qpdf_dl_generalized);
  EXPECT_EQ(part.data, text.substr(0, 1000));
  EXPECT_TRUE(part.truncated);
  EXPECT_FALSE(part.over_expansion);
  EXPECT_EQ(part.Excess(1000), "decodes to more than 1000 bytes");

  // Twice compressed, 8 MiB of zeros are a few hundred bytes: decoding stops at the
  // expansion floor, not at the caller's far larger limit.
  const std::string bomb = Deflated(Deflated(std::string(std::size_t{8} << 20, '\0')));
  QPDFObjectHandle chained = objects.Stream(
      "<< /Filter [/FlateDecode /FlateDecode] /Length " + std::to_string(bomb.size()) + " >>",
      bomb);
  DecodedStream inflated = DecodeStream(chained, kMaxContentBytes, qpdf_dl_generalized);
  EXPECT_TRUE(inflated.truncated);
  EXPECT_TRUE(inflated.over_expansion);
  EXPECT_EQ(inflated.data.size(), kMinExpansionLimit);
  EXPECT_EQ(inflated.Excess(kMaxContentBytes), "inflates more than 4096-fold");

  QPDFObjectHandle jbig2 = objects.Stream("<< /Filter /JBIG2Decode >>", "data");
  EXPECT_THROW(DecodeStream(jbig2, 100, qpdf_dl_specialized), std::runtime_error);
  EXPECT_THROW(DecodeResource(chained), std::runtime_error);
}

TEST(DecodeStream, WholeFlateStreamsMatchTheStreamingDecoder) {
  PdfObjects objects;
  std::string text;
  for (int i = 0; i < 200000; ++i)
    text += std::to_string(i % 977) + (i % 7 == 0 ? " 0 l\n" : " ");
  const std::string deflated = Deflated(text);
  // Forms of a lone Flate filter, and a stream inflating far past its first room.
  const std::string runs(std::size_t{3} << 20, 'r');
  const std::string cases[][2] = {{"<< /Filter /FlateDecode >>", text},
                                  {"<< /Filter [/FlateDecode] /DecodeParms null >>", text},
                                  {"<< /Filter [/FlateDecode] /DecodeParms [null] >>", text},
                                  {"<< /Filter /FlateDecode >>", runs}};
  for (const auto& [dictionary, data] : cases) {
    const DecodedStream decoded = DecodeStream(objects.Stream(dictionary, Deflated(data)),
                                               kMaxContentBytes, qpdf_dl_generalized);
    EXPECT_EQ(decoded.data, data) << dictionary;
    EXPECT_FALSE(decoded.truncated || decoded.damaged) << dictionary;
  }

  // A limit of exactly the decoded size is no truncation; one byte less is.
  QPDFObjectHandle flate = objects.Stream("<< /Filter /FlateDecode >>", deflated);
  EXPECT_EQ(DecodeStream(flate, text.size(), qpdf_dl_generalized).data, text);
  EXPECT_FALSE(DecodeStream(flate, text.size(), qpdf_dl_generalized).truncated);
  const DecodedStream short_of_one = DecodeStream(flate, text.size() - 1, qpdf_dl_generalized);
  EXPECT_TRUE(short_of_one.truncated);
  EXPECT_EQ(short_of_one.data, text.substr(0, text.size() - 1));

  // Damage (a stream cut short, a wrong checksum) and bytes after the stream's end
  // give what qpdf's own decoding gives, flags included.
  std::string bad_sum = deflated;
  bad_sum.back() = static_cast<char>(bad_sum.back() ^ 0x55);
  for (const std::string& stored :
       {deflated.substr(0, deflated.size() / 2), bad_sum, deflated + "\r\n"}) {
    QPDFObjectHandle stream = objects.Stream("<< /Filter /FlateDecode >>", stored);
    Pl_Buffer buffer("expected");
    const bool success = stream.pipeStreamData(&buffer, nullptr, 0, qpdf_dl_generalized, true);
    const std::unique_ptr<Buffer> bytes(buffer.getBuffer());
    const std::string expected(reinterpret_cast<const char*>(bytes->getBuffer()), bytes->getSize());
    const DecodedStream decoded = DecodeStream(stream, kMaxContentBytes, qpdf_dl_generalized);
    EXPECT_EQ(decoded.data, expected);
    EXPECT_EQ(decoded.damaged, !success);
    EXPECT_FALSE(decoded.truncated);
  }

  // Not decoded at all below the generalized level.
  EXPECT_EQ(DecodeStream(flate, kMaxContentBytes, qpdf_dl_none).data, deflated);
}

TEST(DecodeStream, ImageBytesPadsRowsAndRefusesOverflow) {
  EXPECT_EQ(ImageBytes(8, 8, 1, 1, 1000), 8u);
  EXPECT_EQ(ImageBytes(9, 2, 1, 1, 1000), 4u);
  EXPECT_EQ(ImageBytes(3, 2, 3, 8, 1000), 18u);
  EXPECT_EQ(ImageBytes(3, 2, 3, 8, 17), std::nullopt);
  // The limit is in bytes: a row of 12 RGB samples fits 36 bytes exactly.
  EXPECT_EQ(ImageBytes(12, 1, 3, 8, 36), 36u);
  EXPECT_EQ(ImageBytes(12, 1, 3, 8, 35), std::nullopt);
  EXPECT_EQ(ImageBytes(80, 1, 1, 1, 10), 10u);
  EXPECT_EQ(ImageBytes(0, 2, 3, 8, 1000), std::nullopt);
  const std::size_t huge = std::size_t{1} << 62;
  EXPECT_EQ(ImageBytes(huge, huge, 4, 16, std::size_t{1} << 40), std::nullopt);
}

// One page run by the interpreter with the given limits.
class PageBudget : public ::testing::Test {
 protected:
  // Runs `content` with `xobjects` (a dictionary's text) as the page's resources.
  // `patterns` is the text of a /Pattern dictionary, when the page has one.
  std::string Run(const std::string& content, const std::string& xobjects,
                  const ImportLimits& limits, const std::string& patterns = "<< >>") {
    QPDFObjectHandle page = objects_.Parse("<< /Type /Page /MediaBox [0 0 100 100] >>");
    page.replaceKey("/Contents", objects_.Stream("<< >>", content));
    page.replaceKey("/Resources",
                    objects_.Parse("<< /XObject " + xobjects + " /Pattern " + patterns + " >>"));
    run_ = std::make_unique<test::PageRun>(objects_.pdf, warnings_, page, limits);
    objects_count_ = CountPaths(run_->Content());
    return run_->Incomplete();
  }

  // A form drawing `inner` (a form's reference) `times` times after a square.
  QPDFObjectHandle Form(const std::string& inner, int times) {
    std::string content = "0 0 1 1 re f";
    for (int i = 0; i < times; ++i)
      content += " /N Do";
    const std::string resources =
        inner.empty() ? "" : "/Resources << /XObject << /N " + inner + " >> >>";
    return objects_.Stream(
        "<< /Type /XObject /Subtype /Form /BBox [0 0 10 10] " + resources + " >>", content);
  }

  std::size_t Warnings(const std::string& part) const {
    std::size_t count = 0;
    for (const Warning& w : warnings_.All()) {
      if ((w.subject + ": " + w.reason).find(part) != std::string::npos) ++count;
    }
    return count;
  }

  static std::size_t CountPaths(const QorDoc::Content& content) {
    std::size_t count = 0;
    for (const auto& member : content.GetMembers()) {
      if (dynamic_cast<const QorDoc::Path*>(member.get()) && !member->IsClippingObject()) ++count;
      if (const auto* group = dynamic_cast<const QorDoc::Group*>(member.get())) {
        count += CountPaths(group->GetMembers());
      }
    }
    return count;
  }

  // The last page run (placed as a page of 100 world units), CMYK plates one after
  // another per line, at 4 pixels per unit.
  std::vector<unsigned char> Render() const {
    constexpr long long kPixels = 400;
    QorSc::Options::SeparationList plates;
    for (const char* name : {"Cyan", "Magenta", "Yellow", "Black"})
      plates.Add(name, 0.0f);
    const QorSc::Options options(plates, {});
    const QorSc::Environment env(Morv::MilliPointRectangle(0, 0, 100, 100), kPixels, kPixels);
    QorSc::ScanConverter converter(QorSc::CollectObjects(
        env, options, {0, 0, kPixels, kPixels}, run_->Content(), {}, QorSc::kAllSelection));
    std::vector<unsigned char> line(4 * kPixels), all;
    while (converter.GetLine255PlaneInterleaved(line.data()))
      all.insert(all.end(), line.begin(), line.end());
    return all;
  }

  PdfObjects objects_;
  WarningList warnings_;
  std::size_t objects_count_ = 0;
  std::unique_ptr<test::PageRun> run_;  // the last page run, alive for Render
};

TEST_F(PageBudget, ObjectsPastTheBudgetStopThePageOnce) {
  ImportLimits limits;
  limits.max_objects = 3;
  const std::string reason =
      Run("0 0 1 1 re f 0 0 1 1 re f 0 0 1 1 re f 0 0 1 1 re f 0 0 1 1 re f", "<< >>", limits);
  EXPECT_EQ(reason, "more than 3 objects");
  EXPECT_EQ(objects_count_, 3u);
  EXPECT_EQ(Warnings("the page is incomplete"), 1u);
}

TEST_F(PageBudget, SharedFormsAreCountedPerPlacementBeforeTheyRun) {
  // Three levels, each drawing the next twice: 1 + 2 + 4 placements, 7 squares.
  const QPDFObjectHandle leaf = Form("", 0);
  const QPDFObjectHandle middle = Form(PdfObjects::Ref(leaf), 2);
  const QPDFObjectHandle top = Form(PdfObjects::Ref(middle), 2);
  ImportLimits limits;
  limits.max_placements = 7;
  EXPECT_EQ(Run("/F Do", "<< /F " + PdfObjects::Ref(top) + " >>", limits), "");
  EXPECT_EQ(objects_count_, 7u);

  limits.max_placements = 6;
  EXPECT_EQ(Run("/F Do", "<< /F " + PdfObjects::Ref(top) + " >>", limits),
            "Do /F would make more than 6 placements of forms, glyph procedures and soft masks");
  EXPECT_EQ(objects_count_, 0u) << "refused before anything of it ran";
}

TEST_F(PageBudget, FormsThatDrawEachOtherRunOncePerChain) {
  QPDFObjectHandle a = Form("", 3);
  const QPDFObjectHandle b = Form(PdfObjects::Ref(a), 3);
  a.getDict().replaceKey("/Resources",
                         objects_.Parse("<< /XObject << /N " + PdfObjects::Ref(b) + " >> >>"));
  // The page draws a; a draws b three times; b's drawings of a are skipped.
  EXPECT_EQ(Run("/F Do", "<< /F " + PdfObjects::Ref(a) + " >>", ImportLimits{}), "");
  EXPECT_EQ(objects_count_, 4u);
  EXPECT_EQ(Warnings("draws itself"), 1u);
}

TEST_F(PageBudget, TilingPatternsAreBoundedBeforeAndWhileTheirCellsRun) {
  // A 10 × 10 cell over the 100 × 100 page: 100 cells of one square each.
  const QPDFObjectHandle pattern = objects_.Stream(
      "<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 10 10] /XStep 10 /YStep 10 >>",
      "0 0 0 1 k 0 0 5 5 re f");
  const std::string patterns = "<< /P " + PdfObjects::Ref(pattern) + " >>";
  const std::string fill = "/Pattern cs /P scn 0 0 100 100 re f";
  EXPECT_EQ(Run(fill, "<< >>", ImportLimits{}, patterns), "");
  EXPECT_GE(objects_count_, 100u);
  EXPECT_LE(objects_count_, 144u) << "only the cells that can reach the page";

  ImportLimits limits;
  limits.max_tile_objects = 99;
  EXPECT_EQ(Run(fill, "<< >>", limits, patterns), "");
  EXPECT_EQ(objects_count_, 1u) << "one fill with the cell rendered once instead of the cells";
  EXPECT_TRUE(warnings_.All().empty());
  // A /BBox a hundred steps wide is beyond the tiled cell: one flat fill, reported.
  const QPDFObjectHandle wide = objects_.Stream(
      "<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 1000 10] /XStep 10 /YStep 10 >>",
      "0 0 0 1 k 0 0 5 5 re f");
  EXPECT_EQ(Run(fill, "<< >>", limits, "<< /P " + PdfObjects::Ref(wide) + " >>"), "");
  EXPECT_EQ(objects_count_, 1u);
  EXPECT_EQ(Warnings("filled flat with its cell's first colour"), 1u);

  // Each cell draws a form of ten squares, counted as one operator beforehand: the
  // cells stop once they have really made more than 25 objects.
  std::string squares;
  for (int i = 0; i < 10; ++i)
    squares += "0 0 1 1 re f ";
  const QPDFObjectHandle form =
      objects_.Stream("<< /Type /XObject /Subtype /Form /BBox [0 0 10 10] >>", squares);
  const QPDFObjectHandle heavy = objects_.Stream(
      "<< /PatternType 1 /PaintType 1 /TilingType 1 /BBox [0 0 10 10] /XStep 10 /YStep 10 "
      "/Resources << /XObject << /N " +
          PdfObjects::Ref(form) + " >> >> >>",
      "/N Do");
  limits = ImportLimits{};
  limits.max_cell_objects = 25;
  EXPECT_EQ(Run(fill, "<< >>", limits, "<< /P " + PdfObjects::Ref(heavy) + " >>"), "");
  EXPECT_EQ(objects_count_, 30u);
  EXPECT_EQ(Warnings("the remaining cells are not drawn"), 1u);
}

// The same patterns drawn cell by cell and, with the cell limit at 64 objects (the
// cell's copies over one period fit, the page's cells do not), through one fill
// whose cell is rendered once: pixel-aligned cells agree on every pixel; rotated and
// skewed ones with non-integer and negative steps, and cells reaching into their
// neighbours' periods, on 97 % to 99 % of the plate bytes (each pixel takes the cell
// within an eighth of a pixel of its centre).
TEST_F(PageBudget, TiledCellsAgreeWithCellsDrawnOneByOne) {
  struct Case {
    const char* dictionary;
    double agreement;
  };
  const Case cases[] = {
      {"/BBox [0 0 4 4] /XStep 4 /YStep 4 /Matrix [1 0 0 1 0.5 0.25]", 1.0},
      {"/BBox [0 0 3.5 3] /XStep -4.5 /YStep 3.75 /Matrix [1 0 0 1 0 0]", 1.0},
      {"/BBox [0 0 5 4] /XStep -5.3 /YStep 4.1 /Matrix [0.8 0.6 -0.6 0.8 3 1]", 0.98},
      // Cells a few pixels wide reaching into their neighbours' periods, on a rotated and
      // on a skewed lattice (one sample per pixel would agree on 97 % and 92 %).
      {"/BBox [-1 -1 8 7] /XStep 4.5 /YStep 2.2 /Matrix [0.1625 -0.28145 0.28145 0.1625 20 50]",
       0.99},
      {"/BBox [0.3 -0.2 4.2 5.3] /XStep -3.4 /YStep 1.6 /Matrix [0.275 0.075 -0.125 0.225 2 40]",
       0.97},
  };
  for (const Case& c : cases) {
    const QPDFObjectHandle pattern = objects_.Stream(
        std::string("<< /PatternType 1 /PaintType 1 /TilingType 1 ") + c.dictionary + " >>",
        "0 0 0 1 k 0.5 0.5 2 2 re f 1 0 0 0 k 1.5 1 3 0.75 re f");
    const std::string patterns = "<< /P " + PdfObjects::Ref(pattern) + " >>";
    const std::string fill = "/Pattern cs /P scn 10 10 m 90 20 l 80 85 l 15 70 l f";
    ASSERT_EQ(Run(fill, "<< >>", ImportLimits{}, patterns), "");
    ASSERT_GT(objects_count_, 100u) << "drawn cell by cell";
    const std::vector<unsigned char> cells = Render();
    ImportLimits limits;
    limits.max_tile_objects = 64;
    const std::size_t warnings = warnings_.All().size();
    ASSERT_EQ(Run(fill, "<< >>", limits, patterns), "");
    ASSERT_EQ(objects_count_, 1u) << "one tiled fill";
    EXPECT_EQ(warnings_.All().size(), warnings) << "no warning";
    const std::vector<unsigned char> tiled = Render();
    ASSERT_EQ(cells.size(), tiled.size());
    std::size_t same = 0, inked = 0;
    for (std::size_t k = 0; k < cells.size(); ++k) {
      same += cells[k] == tiled[k];
      inked += cells[k] != 0;
    }
    EXPECT_GT(inked, 10000u);
    EXPECT_GE(static_cast<double>(same) / static_cast<double>(cells.size()), c.agreement)
        << c.dictionary;
  }
}

TEST_F(PageBudget, ContentCountsEachTimeItIsRead) {
  // The page (30 bytes), then the form's 12 bytes when it is counted and each time
  // it runs: the fifth run passes 100 bytes.
  const QPDFObjectHandle form = Form("", 0);
  ImportLimits limits;
  limits.max_content_bytes = 100;
  const std::string reason =
      Run("/F Do /F Do /F Do /F Do /F Do", "<< /F " + PdfObjects::Ref(form) + " >>", limits);
  EXPECT_EQ(reason,
            "more than 100 bytes of content to read (forms and glyph procedures count each time "
            "they are drawn)");
  EXPECT_EQ(objects_count_, 4u);
}

TEST_F(PageBudget, FormsDecodedOnceRunAsDecodedEachTime) {
  // A deflated form placed three times draws all of itself each time; one whose data
  // does not inflate is reported by each run, as if each had decoded it.
  std::string squares;
  for (int i = 0; i < 2000; ++i)
    squares += std::to_string(i % 97) + " " + std::to_string(i % 89) + " 1 1 re f\n";
  std::string deflated = Deflated(squares);
  const std::string form =
      "<< /Type /XObject /Subtype /Form /BBox [0 0 100 100] /Filter /FlateDecode >>";
  const QPDFObjectHandle whole = objects_.Stream(form, deflated);
  EXPECT_EQ(Run("/F Do /F Do /F Do", "<< /F " + PdfObjects::Ref(whole) + " >>", {}), "");
  EXPECT_EQ(objects_count_, 6000u);
  const std::vector<unsigned char> thrice = Render();
  EXPECT_EQ(Run("/F Do", "<< /F " + PdfObjects::Ref(whole) + " >>", {}), "");
  EXPECT_EQ(Render(), thrice);

  deflated.replace(deflated.size() / 2, 16, std::string(16, '\xff'));
  const QPDFObjectHandle damaged = objects_.Stream(form, deflated);
  EXPECT_EQ(Run("/F Do /F Do /F Do", "<< /F " + PdfObjects::Ref(damaged) + " >>", {}), "");
  EXPECT_EQ(objects_count_, 0u);
  EXPECT_EQ(Warnings("content not readable"), 3u);

  // "Do" inside a string or name places nothing; a real Do after them still counts.
  const QPDFObjectHandle leaf = Form("", 0);
  const QPDFObjectHandle wordy = objects_.Stream(
      "<< /Type /XObject /Subtype /Form /BBox [0 0 10 10] /Resources << /XObject << /N " +
          PdfObjects::Ref(leaf) + " >> >> >>",
      "BT (Do) Tj ET /Do MP 0 0 1 1 re f /N Do");
  ImportLimits limits;
  limits.max_placements = 2;
  EXPECT_EQ(Run("/F Do", "<< /F " + PdfObjects::Ref(wordy) + " >>", limits), "");
  EXPECT_EQ(objects_count_, 2u);
  limits.max_placements = 1;
  EXPECT_EQ(Run("/F Do", "<< /F " + PdfObjects::Ref(wordy) + " >>", limits),
            "Do /F would make more than 1 placements of forms, glyph procedures and soft masks");
}

TEST_F(PageBudget, ImageSamplesCountPerPlacement) {
  const QPDFObjectHandle mask =
      objects_.Stream("<< /Type /XObject /Subtype /Image /Width 8 /Height 8 /ImageMask true >>",
                      std::string(8, '\0'));
  ImportLimits limits;
  limits.max_image_bytes = 20;
  EXPECT_EQ(Run("/M Do /M Do", "<< /M " + PdfObjects::Ref(mask) + " >>", limits), "");
  EXPECT_EQ(Run("/M Do /M Do /M Do", "<< /M " + PdfObjects::Ref(mask) + " >>", limits),
            "more than 20 bytes of decoded image samples (each placement keeps its own)");
}

TEST_F(PageBudget, SampledImagesCountOnceWithTheBuffersTheyWillMake) {
  // A grey image is its own ink buffer: 16 bytes however often it is placed.
  const QPDFObjectHandle gray = objects_.Stream(
      "<< /Type /XObject /Subtype /Image /Width 4 /Height 4 /ColorSpace /DeviceGray "
      "/BitsPerComponent 8 >>",
      std::string(16, '\x40'));
  // RGB samples (24 bytes) make a CMYK buffer (32 bytes) when drawn.
  const QPDFObjectHandle rgb = objects_.Stream(
      "<< /Type /XObject /Subtype /Image /Width 4 /Height 2 /ColorSpace /DeviceRGB "
      "/BitsPerComponent 8 >>",
      std::string(24, '\x80'));
  ImportLimits limits;
  limits.max_image_bytes = 72;
  const std::string both = "<< /G " + PdfObjects::Ref(gray) + " /R " + PdfObjects::Ref(rgb) + " >>";
  EXPECT_EQ(Run("/G Do /G Do /G Do /R Do /R Do", both, limits), "");
  limits.max_image_bytes = 71;
  EXPECT_EQ(Run("/G Do /R Do", both, limits),
            "more than 71 bytes of decoded image samples (each placement keeps its own)");

  // An image larger than the whole budget is refused on its own and the page goes on:
  // nothing near its size (10 GB) is allocated.
  const QPDFObjectHandle huge = objects_.Stream(
      "<< /Type /XObject /Subtype /Image /Width 100000 /Height 100000 /ColorSpace /DeviceGray "
      "/BitsPerComponent 8 >>",
      std::string(10, '\0'));
  EXPECT_EQ(Run("/H Do 0 0 1 1 re f", "<< /H " + PdfObjects::Ref(huge) + " >>", ImportLimits{}),
            "");
  EXPECT_EQ(Warnings("image too large: more than 1 GiB of samples"), 1u);
  EXPECT_EQ(objects_count_, 1u);

  // An 8 x 8 grey JPEG (64 bytes) that its dictionary calls 1 x 1: the JPEG's own size
  // counts, and it may only take what the budget has left.
  const std::string jpeg_hex =
      "ffd8ffe000104a46494600010100000100010000ffdb00430001010101010101010101010101010101010101"
      "0101010101010101010101010101010101010101010101010101010101010101010101010101010101010101"
      "01ffc0000b080008000801011100ffc4001f0000010501010101010100000000000000000102030405060708"
      "090a0bffc400b5100002010303020403050504040000017d0102030004110512213141061351610722711432"
      "8191a1082342b1c11552d1f02433627282090a161718191a25262728292a3435363738393a43444546474849"
      "4a535455565758595a636465666768696a737475767778797a838485868788898a92939495969798999aa2a3"
      "a4a5a6a7a8a9aab2b3b4b5b6b7b8b9bac2c3c4c5c6c7c8c9cad2d3d4d5d6d7d8d9dae1e2e3e4e5e6e7e8e9ea"
      "f1f2f3f4f5f6f7f8f9faffda0008010100003f00fe7febffd9";
  std::string jpeg;
  for (std::size_t i = 0; i + 1 < jpeg_hex.size(); i += 2)
    jpeg += static_cast<char>(std::stoi(jpeg_hex.substr(i, 2), nullptr, 16));
  const QPDFObjectHandle small = objects_.Stream(
      "<< /Type /XObject /Subtype /Image /Width 1 /Height 1 /ColorSpace /DeviceGray "
      "/BitsPerComponent 8 /Filter /DCTDecode >>",
      jpeg);
  const std::string jpegs = "<< /J " + PdfObjects::Ref(small) + " >>";
  limits.max_image_bytes = 64;
  EXPECT_EQ(Run("/J Do", jpegs, limits), "");
  EXPECT_EQ(Warnings("JPEG too large"), 0u);
  limits.max_image_bytes = 63;
  EXPECT_EQ(Run("/J Do", jpegs, limits), "");
  EXPECT_EQ(Warnings("JPEG too large: more than 63 bytes of samples"), 1u);
}

}  // namespace
}  // namespace QorPdf::internal
