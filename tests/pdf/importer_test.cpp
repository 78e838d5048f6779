// The PDF importer's first layer: opening files, page geometry with inheritance
// through the page tree, warnings for unusable values, reading content streams, and
// the behaviour on unreadable, encrypted and damaged input.
//
// The files under data/ come from make_test_pdfs.py next to this file; each test
// names the page of the file it checks, and the expected values are the ones that
// script writes. The shared corpus is read by tests/pdf/content/corpus_test.cpp.

#include "qorpdf/importer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "qordoc/content.h"

namespace {

using QorPdf::Box;
using QorPdf::Document;
using QorPdf::ImportError;
using QorPdf::Page;
using QorPdf::Warning;

// Sources are compiled by absolute path, so the data sits beside this file.
std::filesystem::path DataFile(const std::string& name) {
  return std::filesystem::path(__FILE__).parent_path() / "data" / name;
}

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::span<const std::byte> AsBytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

std::vector<Warning> WarningsOf(const Document& document, std::optional<std::size_t> page) {
  std::vector<Warning> found;
  for (const Warning& w : document.Warnings()) {
    if (w.page == page) found.push_back(w);
  }
  return found;
}

// The one warning of `page`, which must concern `subject`.
void ExpectSingleWarning(const Document& document, std::size_t page, const std::string& subject) {
  const auto found = WarningsOf(document, page);
  ASSERT_EQ(found.size(), 1u) << "page " << page;
  EXPECT_EQ(found[0].subject, subject) << "page " << page;
  EXPECT_FALSE(found[0].reason.empty()) << "page " << page;
}

// What a page paints, in painting order, groups and layers walked into: "f" for a
// filled path, "S" stroked, "B" both, "text", "mask" for an image mask.
void AddPainted(const QorDoc::Content& content, std::vector<std::string>& out) {
  for (const auto& member : content.GetMembers()) {
    const QorDoc::ContentObject* object = member.get();
    if (const auto* group = dynamic_cast<const QorDoc::Group*>(object)) {
      AddPainted(group->GetMembers(), out);
    } else if (const auto* layer = dynamic_cast<const QorDoc::Layer*>(object)) {
      AddPainted(layer->GetMembers(), out);
    } else if (object->IsClippingObject()) {
      continue;
    } else if (const auto* path = dynamic_cast<const QorDoc::Path*>(object)) {
      const bool fill = path->GetFillPaint() != nullptr;
      const bool stroke = path->GetStrokePaint() != nullptr;
      out.push_back(fill && stroke ? "B" : fill ? "f" : "S");
    } else if (dynamic_cast<const QorDoc::ImageMask*>(object)) {
      out.push_back("mask");
    } else if (dynamic_cast<const QorDoc::Image*>(object)) {
      out.push_back("image");
    } else {
      out.push_back("text");
    }
  }
}

std::vector<std::string> Painted(Document& document, std::size_t page) {
  const std::vector<std::size_t> pages{page};
  const QorPdf::Import import = document.ImportPages(pages);
  std::vector<std::string> painted;
  AddPainted(*import.pages.front().content, painted);
  return painted;
}

// The subjects of a page's warnings, in order.
std::vector<std::string> SubjectsOf(const Document& document, std::size_t page) {
  std::vector<std::string> subjects;
  for (const Warning& w : WarningsOf(document, page))
    subjects.push_back(w.subject);
  return subjects;
}

// The invariants the importer promises for every page of every file.
void ExpectValidPage(const Page& page) {
  for (const Box& box : {page.media_box, page.crop_box}) {
    EXPECT_TRUE(std::isfinite(box.Width()) && box.Width() > 0.0);
    EXPECT_TRUE(std::isfinite(box.Height()) && box.Height() > 0.0);
  }
  EXPECT_GE(page.crop_box.llx, page.media_box.llx);
  EXPECT_GE(page.crop_box.lly, page.media_box.lly);
  EXPECT_LE(page.crop_box.urx, page.media_box.urx);
  EXPECT_LE(page.crop_box.ury, page.media_box.ury);
  EXPECT_TRUE(page.rotate == 0 || page.rotate == 90 || page.rotate == 180 || page.rotate == 270);
  EXPECT_TRUE(std::isfinite(page.user_unit) && page.user_unit > 0.0);
}

// Opening may fail with ImportError; anything that opens must keep every promise.
void ExpectOpensCleanlyOrFails(const std::string& bytes, const std::string& name) {
  try {
    Document document = Document::OpenBuffer(AsBytes(bytes), name);
    for (std::size_t i = 0; i < document.PageCount(); ++i)
      ExpectValidPage(document.GetPage(i));
    const QorPdf::Import import = document.ImportPages();
    EXPECT_EQ(import.pages.size(), document.PageCount());
    EXPECT_LE(document.Warnings().size(), Document::kMaxWarnings);
  } catch (const ImportError& e) {
    EXPECT_EQ(e.FileName(), name);
  }
}

constexpr Box kLetter{0, 0, 612, 792};
constexpr Box kA4{0, 0, 595, 842};

// ---------------------------------------------------------------------------------
// Boxes, Rotate and UserUnit. In page_tree.pdf the root gives MediaBox [0 0 612 792],
// CropBox [10 10 600 780] and Rotate 90, a middle node MediaBox [0 0 400 400] and
// Rotate 180; boxes.pdf is a flat tree.

TEST(PdfPageGeometry, InheritedClippedAndScaled) {
  struct Case {
    const char* file;
    std::size_t page;
    Box media, crop;
    int rotate;
    double user_unit;
    const char* what;
  };
  const Case cases[] = {
      {"page_tree.pdf", 0, kLetter, {10, 10, 600, 780}, 90, 1.0, "all from the root"},
      // The root's crop box, clipped to the media box the middle node gives.
      {"page_tree.pdf", 1, {0, 0, 400, 400}, {10, 10, 400, 400}, 180, 1.0, "nearest ancestor"},
      // An explicit 0 beats the inherited 180; "/CropBox null" leaves the root's.
      {"page_tree.pdf", 2, {0, 0, 200, 300}, {10, 10, 200, 300}, 0, 1.0, "page values, null"},
      {"page_tree.pdf", 3, {0, 0, 300, 300}, {10, 10, 300, 300}, 90, 1.0, "box by reference"},
      {"boxes.pdf", 0, kA4, kA4, 0, 1.0, "crop box defaults to media box"},
      {"boxes.pdf", 1, kA4, {0, 0, 595, 500}, 0, 1.0, "crop box clipped to media box"},
      {"boxes.pdf", 2, kLetter, {100, 50, 500, 700}, 0, 1.0, "corners in any order"},
      {"boxes.pdf",
       3,
       {-100.5, -200.25, 100.5, 200.25},
       {-100.5, -200.25, 100.5, 200.25},
       0,
       2.5,
       "real coordinates, large units"},
      {"boxes.pdf", 4, {0, 0, 1000, 1000}, {100, 100, 200, 200}, 0, 0.5, "small units"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.file << " page " << c.page << ": " << c.what);
    const Document document = Document::OpenFile(DataFile(c.file));
    EXPECT_EQ(document.PageCount(), std::string(c.file) == "boxes.pdf" ? 5u : 4u);
    const Page& page = document.GetPage(c.page);
    EXPECT_EQ(page.media_box, c.media);
    EXPECT_EQ(page.crop_box, c.crop);
    EXPECT_EQ(page.rotate, c.rotate);
    EXPECT_EQ(page.user_unit, c.user_unit);
    EXPECT_TRUE(document.Warnings().empty());
  }
  const Document boxes = Document::OpenFile(DataFile("boxes.pdf"));
  EXPECT_EQ(boxes.GetPage(3).media_box.Width() * boxes.GetPage(3).user_unit, 502.5);
}

// Rotate, one value per page (see ROTATIONS in make_test_pdfs.py).
TEST(PdfPageGeometry, RotateNormalisedToQuarterTurnsAndInvalidValuesWarn) {
  const Document document = Document::OpenFile(DataFile("rotation.pdf"));
  // absent, 0, 90, 180, 270, 360, -90, 450, -540, 3600000090, 45, 90.0, 12.5, /R90,
  // (90), null
  const std::vector<int> expected{0, 0, 90, 180, 270, 0, 270, 90, 180, 90, 0, 90, 0, 0, 0, 0};
  ASSERT_EQ(document.PageCount(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(document.GetPage(i).rotate, expected[i]) << "page " << i;
  }
  // 45, 90.0 (honoured but not an integer), 12.5, a name, a string.
  for (std::size_t page : {10u, 11u, 12u, 13u, 14u})
    ExpectSingleWarning(document, page, "/Rotate");
  EXPECT_EQ(document.Warnings().size(), 5u);
}

// ---------------------------------------------------------------------------------
// Malformed values: each page of malformed.pdf has one fault.

class PdfMalformed : public ::testing::Test {
 protected:
  Document document_ = Document::OpenFile(DataFile("malformed.pdf"));
};

TEST_F(PdfMalformed, BadValuesFallBackWithOneWarning) {
  ASSERT_EQ(document_.PageCount(), 14u);
  struct Case {
    std::vector<std::size_t> pages;
    const char* subject;
    Box media, crop;
  };
  const Case cases[] = {
      // Three numbers, a string, zero width, nothing at all, a missing object as element.
      {{0, 1, 2, 5, 12}, "/MediaBox", kLetter, kLetter},
      // A name among the numbers; a box outside the media box.
      {{3, 4}, "/CropBox", kA4, kA4},
      // -1, a name, 0.
      {{6, 7, 8}, "/UserUnit", kA4, kA4},
  };
  for (const Case& c : cases) {
    for (std::size_t page : c.pages) {
      SCOPED_TRACE(testing::Message() << c.subject << " page " << page);
      EXPECT_EQ(document_.GetPage(page).media_box, c.media);
      EXPECT_EQ(document_.GetPage(page).crop_box, c.crop);
      EXPECT_EQ(document_.GetPage(page).user_unit, 1.0);
      ExpectSingleWarning(document_, page, c.subject);
    }
  }
}

TEST_F(PdfMalformed, ParentLoopEndsInheritance) {
  const auto warnings = WarningsOf(document_, 9);
  ASSERT_EQ(warnings.size(), 2u);
  EXPECT_EQ(warnings[0].subject, "/Parent");
  EXPECT_EQ(warnings[1].subject, "/MediaBox");
  EXPECT_EQ(document_.GetPage(9).media_box, kLetter);
}

TEST_F(PdfMalformed, ContentsThatAreNotStreamsWarnAndPaintNothing) {
  EXPECT_TRUE(WarningsOf(document_, 10).empty());  // nothing read yet
  EXPECT_TRUE(Painted(document_, 10).empty());
  EXPECT_FALSE(WarningsOf(document_, 10).empty());
  // A reference to a missing object is null: no content, which is no fault.
  EXPECT_TRUE(Painted(document_, 11).empty());
  EXPECT_TRUE(WarningsOf(document_, 11).empty());
}

TEST_F(PdfMalformed, GarbageInContentIsSkippedWithWarnings) {
  // "q 1 0 0 1 0 0 cm ) ] >> 5 5 m Q <<": the operators around the stray
  // delimiters are read (a lone m paints nothing, and q/Q stay balanced).
  EXPECT_TRUE(Painted(document_, 13).empty());
  const auto warnings = WarningsOf(document_, 13);
  EXPECT_FALSE(warnings.empty());
  for (const Warning& w : warnings)
    EXPECT_FALSE(w.reason.empty());
}

TEST_F(PdfMalformed, GoodPagesStayGood) {
  for (std::size_t i = 0; i < document_.PageCount(); ++i)
    ExpectValidPage(document_.GetPage(i));
  EXPECT_TRUE(WarningsOf(document_, std::nullopt).empty());
}

// ---------------------------------------------------------------------------------
// Content streams.

TEST(PdfContent, StreamsOfAPageAreOneSequence) {
  Document document = Document::OpenFile(DataFile("content.pdf"));
  // The first stream ends with "1 0 0" and the second, compressed one starts with
  // "rg": read as one sequence, rg finds its operands. The inline image is drawn,
  // the unknown operator reported; the text has no font resource.
  EXPECT_EQ(Painted(document, 0), (std::vector<std::string>{"f", "S", "image"}));
  const auto subjects = SubjectsOf(document, 0);
  for (const std::string& subject : subjects)
    EXPECT_NE(subject, "rg") << "rg lost its operands";
  EXPECT_NE(std::find(subjects.begin(), subjects.end(), "frobnicate"), subjects.end());
  EXPECT_EQ(WarningsOf(document, std::nullopt).size(), 0u);
}

TEST(PdfContent, PageWithoutContentPaintsNothing) {
  Document document = Document::OpenFile(DataFile("boxes.pdf"));
  EXPECT_TRUE(Painted(document, 0).empty());
  EXPECT_TRUE(document.Warnings().empty());
}

TEST(PdfContent, IndexOutOfRangeThrows) {
  Document document = Document::OpenFile(DataFile("content.pdf"));
  EXPECT_THROW(document.GetPage(1), std::out_of_range);
  EXPECT_THROW(Painted(document, 1), std::out_of_range);
}

// ---------------------------------------------------------------------------------
// Opening: from memory, encrypted files, unreadable and damaged files.

TEST(PdfOpen, FromMemoryMatchesFromFile) {
  const Document from_file = Document::OpenFile(DataFile("page_tree.pdf"));
  std::optional<std::string> bytes = ReadBytes(DataFile("page_tree.pdf"));
  Document from_memory = Document::OpenBuffer(AsBytes(*bytes), "tree in memory");
  bytes.reset();  // the document keeps its own copy
  EXPECT_EQ(from_memory.Name(), "tree in memory");
  ASSERT_EQ(from_memory.PageCount(), from_file.PageCount());
  for (std::size_t i = 0; i < from_file.PageCount(); ++i) {
    EXPECT_EQ(from_memory.GetPage(i).media_box, from_file.GetPage(i).media_box);
    EXPECT_EQ(from_memory.GetPage(i).crop_box, from_file.GetPage(i).crop_box);
    EXPECT_EQ(from_memory.GetPage(i).rotate, from_file.GetPage(i).rotate);
    EXPECT_TRUE(Painted(from_memory, i).empty());
  }
}

TEST(PdfOpen, MovedDocumentStaysUsable) {
  Document first = Document::OpenFile(DataFile("content.pdf"));
  Document second = std::move(first);
  EXPECT_EQ(Painted(second, 0), (std::vector<std::string>{"f", "S", "image"}));
  first = Document::OpenFile(DataFile("boxes.pdf"));
  EXPECT_EQ(first.PageCount(), 5u);
}

TEST(PdfOpen, EncryptedWithEmptyUserPasswordOpens) {
  Document document = Document::OpenFile(DataFile("encrypted_empty_password.pdf"));
  EXPECT_TRUE(document.IsEncrypted());
  ASSERT_EQ(document.PageCount(), 1u);
  EXPECT_EQ(document.GetPage(0).media_box, (Box{0, 0, 300, 400}));
  // A painted square proves the content was decrypted.
  EXPECT_EQ(Painted(document, 0), (std::vector<std::string>{"f"}));
  EXPECT_TRUE(document.Warnings().empty());
}

TEST(PdfOpen, FailuresNameTheFileAndTheReason) {
  struct Case {
    std::string name;  // a path, or a buffer's name
    std::optional<std::string> buffer;
    const char* reason;
  };
  const Case cases[] = {
      {DataFile("encrypted_user_password.pdf").string(), std::nullopt, "password"},
      {DataFile("no_such_file.pdf").string(), std::nullopt, "No such file"},
      {DataFile("").string(), std::nullopt, "directory"},
      // qpdf's warning before it gave up says what is wrong.
      {DataFile("not_a_pdf.pdf").string(), std::nullopt, "PDF header"},
      {"empty upload", std::string(), ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    try {
      if (c.buffer) {
        Document::OpenBuffer(AsBytes(*c.buffer), c.name);
      } else {
        Document::OpenFile(c.name);
      }
      ADD_FAILURE() << "opened";
    } catch (const ImportError& e) {
      EXPECT_EQ(e.FileName(), c.name);
      EXPECT_NE(std::string(e.what()).find(c.name), std::string::npos) << e.what();
      EXPECT_NE(e.Reason().find(c.reason), std::string::npos) << e.what();
    }
  }
}

TEST(PdfDamaged, WrongCrossReferenceOffsetsAreRepaired) {
  Document document = Document::OpenFile(DataFile("damaged_xref.pdf"));
  ASSERT_EQ(document.PageCount(), 2u);
  EXPECT_EQ(document.GetPage(0).media_box, (Box{0, 0, 300, 400}));
  EXPECT_EQ(document.GetPage(1).media_box, (Box{0, 0, 500, 600}));
  EXPECT_EQ(Painted(document, 1), std::vector<std::string>(8, "f"));
  // Repair concerns the file, not a page.
  EXPECT_FALSE(document.Warnings().empty());
  EXPECT_EQ(WarningsOf(document, std::nullopt).size(), document.Warnings().size());
}

TEST(PdfDamaged, LostTailIsRepaired) {
  Document document = Document::OpenFile(DataFile("truncated_tail.pdf"));
  ASSERT_EQ(document.PageCount(), 2u);
  EXPECT_EQ(Painted(document, 0), (std::vector<std::string>{"f"}));
  EXPECT_FALSE(document.Warnings().empty());
}

TEST(PdfDamaged, TruncatedFileFailsClearlyOrOpens) {
  // Cut inside a content stream, so no trailer survives: qpdf has nothing to find
  // the catalog from. Either outcome is acceptable; a crash or another exception
  // is not.
  const auto path = DataFile("truncated.pdf");
  try {
    Document document = Document::OpenFile(path);
    for (std::size_t i = 0; i < document.PageCount(); ++i) {
      ExpectValidPage(document.GetPage(i));
      Painted(document, i);
    }
  } catch (const ImportError& e) {
    EXPECT_NE(std::string(e.what()).find(path.string()), std::string::npos) << e.what();
    EXPECT_FALSE(e.Reason().empty());
  }
}

// A PDF file of the given objects, numbered from 1 (the catalog first).
std::string PdfOf(const std::vector<std::string>& objects) {
  std::string pdf = "%PDF-1.7\n";
  std::vector<std::size_t> offsets;
  for (const std::string& body : objects) {
    offsets.push_back(pdf.size());
    pdf += std::to_string(offsets.size()) + " 0 obj\n" + body + "\nendobj\n";
  }
  const std::size_t xref = pdf.size();
  pdf += "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n";
  for (const std::size_t offset : offsets) {
    const std::string number = std::to_string(offset);
    pdf += std::string(10 - number.size(), '0') + number + " 00000 n \n";
  }
  pdf += "trailer\n<< /Size " + std::to_string(offsets.size() + 1) +
         " /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  return pdf;
}

// A page tree of `depth` /Pages nodes, each the only kid of the one above, with one
// page at the bottom; written out in full, since the depth is the point.
std::string ChainedPageTree(std::size_t depth) {
  std::vector<std::string> objects{"<< /Type /Catalog /Pages 2 0 R >>"};
  for (std::size_t i = 0; i < depth; ++i) {
    objects.push_back("<< /Type /Pages /Kids [" + std::to_string(i + 3) + " 0 R] /Count 1 >>");
  }
  objects.push_back("<< /Type /Page /MediaBox [0 0 100 100] >>");
  return PdfOf(objects);
}

TEST(PdfDamaged, PageTreeDepthIsBoundedBeforeQpdfWalksIt) {
  const Document chained = Document::OpenBuffer(AsBytes(ChainedPageTree(500)), "chained");
  EXPECT_EQ(chained.PageCount(), 1u);
  // Deep enough to overflow the stack in qpdf's own recursive walk.
  try {
    Document::OpenBuffer(AsBytes(ChainedPageTree(30000)), "deep");
    ADD_FAILURE() << "a page tree 30000 levels deep opened";
  } catch (const ImportError& e) {
    EXPECT_EQ(e.Reason(), "the page tree is nested more than 10000 levels deep");
  }
}

TEST(PdfDamaged, EveryPrefixOfAFile) {
  const std::string bytes = ReadBytes(DataFile("content.pdf"));
  for (std::size_t length = 0; length <= bytes.size(); ++length) {
    ExpectOpensCleanlyOrFails(bytes.substr(0, length), "prefix " + std::to_string(length));
  }
}

TEST(PdfDamaged, EveryByteReplaced) {
  // One replacement per position, cycling through bytes that start or end tokens, so
  // that the sweep stays fast under the sanitizers.
  constexpr std::string_view kReplacements("\0 9/(<[", 7);
  const std::string original = ReadBytes(DataFile("page_tree.pdf"));
  for (std::size_t at = 0; at < original.size(); ++at) {
    std::string bytes = original;
    bytes[at] = kReplacements[at % kReplacements.size()];
    ExpectOpensCleanlyOrFails(bytes, "byte " + std::to_string(at));
  }
}

// More faulty pages than the warning list keeps: the rest are counted, not stored.
TEST(PdfWarnings, ListIsBounded) {
  constexpr std::size_t kPages = Document::kMaxWarnings + 25;
  std::vector<std::string> objects{"<< /Type /Catalog /Pages 2 0 R >>"};
  std::string kids;
  for (std::size_t i = 0; i < kPages; ++i)
    kids += std::to_string(i + 3) + " 0 R ";
  objects.push_back("<< /Type /Pages /MediaBox [0 0 10 10] /Count " + std::to_string(kPages) +
                    " /Kids [" + kids + "] >>");
  for (std::size_t i = 0; i < kPages; ++i)
    objects.push_back("<< /Type /Page /Parent 2 0 R /Rotate 1 >>");
  const std::string pdf = PdfOf(objects);

  const Document document = Document::OpenBuffer(AsBytes(pdf), "many faults");
  ASSERT_EQ(document.PageCount(), kPages);
  EXPECT_EQ(document.Warnings().size(), Document::kMaxWarnings);
  EXPECT_EQ(document.DroppedWarningCount(), 25u);
  EXPECT_EQ(document.Warnings().back().page, Document::kMaxWarnings - 1);
  EXPECT_EQ(document.GetPage(kPages - 1).rotate, 0);
}

}  // namespace
