// The content interpreter through the importer's interface: the model a page
// produces (objects, paints, transformations, clip scopes, groups, layers) and,
// where the renderer draws it already, the pixels.
//
// The PDFs come from tests/pdf/make_test_pdfs.py; each test names the page content
// it reads in the generator's function of the same name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "imported_page.h"
#include "qordoc/content.h"
#include "qorpaint/paint.h"
#include "qorpaint/shading_paint.h"
#include "qorpdf/importer.h"

namespace {

using namespace QorPdfTest;

TEST(Interpreter, PathsCarryTheirPaintStyleRuleAndPlacement) {
  const Imported imported = Import("paths.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_EQ(members.size(), 5u) << imported.AllWarnings();

  const auto* rect = As<QorDoc::Path>(members[0]);
  ASSERT_NE(rect, nullptr);
  EXPECT_EQ(rect->GetTransformation(), (Matrix{1000, 0, 0, 1000, 10000, 20000}));
  EXPECT_EQ(rect->DefiningCompound()->GetBoundingBox(), Morv::MilliPointRectangle(10, 10, 100, 50));
  EXPECT_EQ(InkOf(rect->GetFillPaint()), Cmyk(0, 1, 0, 0));
  EXPECT_EQ(rect->GetStrokePaint(), nullptr);

  const auto* line = As<QorDoc::Path>(members[1]);
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(line->GetFillPaint(), nullptr);
  EXPECT_EQ(InkOf(line->GetStrokePaint()), Cmyk(0, 0, 0, 1));
  const QorDoc::StrokeStyle& style = line->GetStrokeStyle();
  EXPECT_EQ(style.width, 2.0);
  EXPECT_EQ(style.cap, Morv::LineCap::kRound);
  EXPECT_EQ(style.join, Morv::LineJoin::kBevel);
  EXPECT_EQ(style.miterLimit, 4.0);
  EXPECT_THAT(style.dash.array, testing::ElementsAre(3.0, 1.0));
  EXPECT_EQ(style.dash.phase, 0.5);
  EXPECT_FALSE(line->DefiningCompound()->GetSubpaths().front().IsClosed());

  const auto* both = As<QorDoc::Path>(members[2]);
  ASSERT_NE(both, nullptr);
  EXPECT_EQ(InkOf(both->GetFillPaint()), Cmyk(0, 0, 0, 0.5f));
  EXPECT_EQ(InkOf(both->GetStrokePaint()), Cmyk(0, 0, 1, 0));
  EXPECT_EQ(both->DefiningCompound()->GetWindingRule(), Morv::kEvenOdd);
  EXPECT_EQ(both->DefiningCompound()->GetSubpaths().size(), 2u);

  const auto* curve = As<QorDoc::Path>(members[3]);
  ASSERT_NE(curve, nullptr);
  EXPECT_TRUE(curve->DefiningCompound()->GetSubpaths().front().HasCurves());
  EXPECT_TRUE(curve->DefiningCompound()->GetSubpaths().front().IsClosed());
  EXPECT_NE(curve->GetFillPaint(), nullptr);
  EXPECT_NE(curve->GetStrokePaint(), nullptr);

  // White is ink too: a zero colour knocks out what lies below.
  EXPECT_EQ(InkOf(As<QorDoc::Path>(members[4])->GetFillPaint()), Cmyk(0, 0, 0, 0));
  EXPECT_TRUE(imported.pdf.Warnings().empty()) << imported.AllWarnings();
}

TEST(Interpreter, SegmentsAfterClosePathStartAtTheSubpathStart) {
  const Imported imported = Import("closepath.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_EQ(members.size(), 2u) << imported.AllWarnings();
  using Point = Morv::MilliPointPoint;

  // v takes the current point as its first control point: after h that is (10 10),
  // where the triangle began, not (100 100) where its last segment ended.
  const auto& curved = As<QorDoc::Path>(members[0])->DefiningCompound()->GetSubpaths();
  ASSERT_EQ(curved.size(), 2u);
  EXPECT_TRUE(curved[0].IsClosed());
  EXPECT_EQ(curved[1].Start(), Point(10, 10));
  ASSERT_EQ(curved[1].Segments().size(), 1u);
  EXPECT_EQ(curved[1].Segments()[0],
            Morv::Subpath::Segment::Cubic(Point(10, 10), Point(10, 100), Point(60, 150)));

  const auto& lined = As<QorDoc::Path>(members[1])->DefiningCompound()->GetSubpaths();
  ASSERT_EQ(lined.size(), 2u);
  EXPECT_EQ(lined[1].Start(), Point(110, 10));
  EXPECT_TRUE(imported.pdf.Warnings().empty()) << imported.AllWarnings();
}

TEST(Interpreter, ClipsOpenScopesThatEndWithTheirSavedState) {
  const Imported imported = Import("clips.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_EQ(members.size(), 3u);
  const auto* outer = As<QorDoc::Group>(members[0]);
  ASSERT_NE(outer, nullptr);
  const auto& scope = outer->GetMembers().GetMembers();
  ASSERT_EQ(scope.size(), 3u);
  EXPECT_TRUE(scope[0]->IsClippingObject());
  EXPECT_FALSE(scope[1]->IsClippingObject());
  const auto* inner = As<QorDoc::Group>(scope[2]);
  ASSERT_NE(inner, nullptr);
  const auto* even_odd = As<QorDoc::Path>(inner->GetMembers().GetMembers()[0]);
  ASSERT_NE(even_odd, nullptr);
  EXPECT_TRUE(even_odd->IsClippingObject());
  EXPECT_EQ(even_odd->DefiningCompound()->GetWindingRule(), Morv::kEvenOdd);
  EXPECT_NE(As<QorDoc::Path>(members[1]), nullptr);

  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  EXPECT_EQ(r.At(3, 50, 50), 255) << "black inside the rectangle clip";
  EXPECT_EQ(r.At(3, 5, 5), 0) << "black outside it";
  EXPECT_EQ(r.At(0, 45, 45), 255) << "cyan between the even-odd squares";
  EXPECT_EQ(r.At(0, 25, 25), 0) << "cyan in the even-odd hole";
  EXPECT_EQ(r.At(0, 60, 60), 0) << "cyan outside the even-odd clip";
  EXPECT_EQ(r.At(1, 160, 160), 255) << "magenta after Q, unclipped";
  for (long long y = 0; y < r.height; y += 7) {
    for (long long x = 0; x < r.width; x += 7)
      ASSERT_EQ(r.At(2, x, y), 0) << "a clip by an empty path hides everything";
  }
}

TEST(Interpreter, OverprintPaintsNamedColorantsOnly) {
  const Imported imported = Import("overprint.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_EQ(members.size(), 7u) << imported.AllWarnings();
  auto ink = [&](std::size_t i) { return InkOf(As<QorDoc::Path>(members[i])->GetFillPaint()); };
  EXPECT_EQ(ink(1), (Ink{{{"Spot Orange", 1.0f}}, false, false}));
  EXPECT_EQ(ink(2), (Ink{{{"Spot Orange", 0.5f}}, true, false}));
  EXPECT_EQ(ink(3), Cmyk(0.2f, 0, 0.4f, 0, true));
  EXPECT_EQ(ink(4), (Ink{{{"Cyan", 0.2f}, {"Yellow", 0.4f}}, true, false})) << "mode 1";
  EXPECT_EQ(ink(5), Cmyk(0.2f, 0, 0.4f, 0, false));
  EXPECT_TRUE(ink(6).all);

  const auto& table = imported.import.document->GetSeparationInfo();
  const QorDoc::Separation::Entry* orange = QorDoc::Separation::Find(table, "Spot Orange");
  ASSERT_NE(orange, nullptr);
  EXPECT_EQ(orange->GetRepresentation().GetCmyk(),
            (std::array<QorColor::Component, 4>{0.0f, 0.5f, 1.0f, 0.0f}));
  std::vector<std::string> colorants;
  for (const auto& e : imported.import.pages.front().colorants)
    colorants.push_back(e.name);
  EXPECT_THAT(colorants, testing::ElementsAre("Cyan", "Magenta", "Yellow", "Black", "Spot Orange"));

  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black", "Spot Orange"});
  auto pixel = [&](long long x, long long y) {
    return std::vector<int>{r.At(0, x, y), r.At(1, x, y), r.At(2, x, y), r.At(3, x, y),
                            r.At(4, x, y)};
  };
  EXPECT_THAT(pixel(20, 20), testing::ElementsAre(0, 0, 0, 0, 255)) << "spot knocks out";
  EXPECT_THAT(pixel(60, 20), testing::ElementsAre(77, 153, 0, 0, 128)) << "spot overprints";
  EXPECT_THAT(pixel(100, 20), testing::ElementsAre(51, 0, 102, 0, 0)) << "process, mode 0";
  EXPECT_THAT(pixel(140, 20), testing::ElementsAre(51, 153, 102, 0, 0)) << "process, mode 1";
  EXPECT_THAT(pixel(20, 60), testing::ElementsAre(51, 0, 102, 0, 0)) << "overprint off";
  EXPECT_THAT(pixel(60, 60), testing::ElementsAre(77, 153, 0, 0, 0)) << "zero colour, mode 1";
  EXPECT_THAT(pixel(100, 60), testing::ElementsAre(255, 255, 255, 255, 255)) << "All";
  EXPECT_THAT(pixel(140, 60), testing::ElementsAre(77, 153, 0, 0, 0)) << "None paints nothing";
}

TEST(Interpreter, FormsAreGroupsAndTransparencyGroupsCarryTheirFlags) {
  const Imported imported = Import("forms.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_GE(members.size(), 2u);

  // /In under cm 100 100: a group whose BBox clip scope holds the black square.
  const auto* plain = As<QorDoc::Group>(members[0]);
  ASSERT_NE(plain, nullptr);
  EXPECT_EQ(plain->GetTransparency(), QorBlend::Transparency::Opaque());
  const auto* bbox_scope = As<QorDoc::Group>(plain->GetMembers().GetMembers().at(0));
  ASSERT_NE(bbox_scope, nullptr);
  const auto& clipped = bbox_scope->GetMembers().GetMembers();
  ASSERT_EQ(clipped.size(), 2u);
  EXPECT_TRUE(clipped[0]->IsClippingObject());
  EXPECT_EQ(clipped[1]->GetTransformation(), (Matrix{1000, 0, 0, 1000, 100000, 100000}));

  const auto* group = As<QorDoc::Group>(members[1]);
  ASSERT_NE(group, nullptr);
  const QorBlend::Transparency& t = *group->GetTransparency();
  EXPECT_EQ(t.GetBlendMode(), QorBlend::kMultiply);
  EXPECT_EQ(t.GetFillAlpha(), 0.5f);
  EXPECT_EQ(t.GetStrokeAlpha(), 0.25f);
  EXPECT_EQ(t.IsIsolated(), 1);
  EXPECT_EQ(t.IsKnockout(), 0);
  const auto& inside =
      As<QorDoc::Group>(group->GetMembers().GetMembers().at(0))->GetMembers().GetMembers();
  const auto* cyan = As<QorDoc::Path>(inside.at(1));
  ASSERT_NE(cyan, nullptr);
  EXPECT_EQ(cyan->GetTransformation(), (Matrix{2000, 0, 0, 2000, 10000, 0}));
  EXPECT_EQ(cyan->GetTransparency(), QorBlend::Transparency::Opaque()) << "the group carries it";

  EXPECT_TRUE(imported.Warned("Do /Self")) << imported.AllWarnings();
  EXPECT_FALSE(imported.Warned("image")) << "sampled images are drawn";
  EXPECT_TRUE(imported.Warned("sh /Sh")) << "a shading missing from the resources";
  EXPECT_TRUE(imported.Warned("frobnicate"));

  // Without transparency groups the members carry the group's opacity themselves.
  const Imported plain_groups = Import("forms.pdf", {true, false});
  const auto* flat = As<QorDoc::Group>(plain_groups.Page().GetMembers().at(1));
  ASSERT_NE(flat, nullptr);
  EXPECT_EQ(flat->GetTransparency(), QorBlend::Transparency::Opaque());
  const auto* member = As<QorDoc::Path>(
      As<QorDoc::Group>(flat->GetMembers().GetMembers().at(0))->GetMembers().GetMembers().at(1));
  ASSERT_NE(member, nullptr);
  EXPECT_EQ(member->GetTransparency()->GetBlendMode(), QorBlend::kMultiply);
  EXPECT_EQ(member->GetTransparency()->GetFillAlpha(), 0.5f);
  EXPECT_TRUE(plain_groups.Warned("transparency group"));
}

// Soft masks good and bad, and a knockout group, rendered: each bad mask warns and
// its object still renders sensibly.
TEST(Interpreter, SoftMasksRenderAndBadOnesWarn) {
  const Imported imported = Import("soft_masks.pdf");
  const std::string warnings = imported.AllWarnings();
  EXPECT_NE(warnings.find("/SMask /BC: 2 components for a space of 1"), std::string::npos)
      << warnings;
  EXPECT_NE(warnings.find("/SMask /TR: transfer function not usable"), std::string::npos);
  EXPECT_NE(warnings.find("refers to itself"), std::string::npos);
  EXPECT_NE(warnings.find("nested deeper than"), std::string::npos);

  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  EXPECT_EQ(r.At(0, 25, 25), 128) << "a luminosity mask of 50 % grey";
  EXPECT_EQ(r.At(0, 65, 25), 255) << "a wrong /BC falls back to black; the content is white";
  EXPECT_EQ(r.At(0, 105, 25), 255) << "an unusable /TR is the identity";
  EXPECT_EQ(r.At(0, 145, 25), 255) << "the self-reference dropped inside the mask";
  EXPECT_EQ(r.At(0, 25, 65), 255) << "masks past the limit are dropped, not the object";
  EXPECT_EQ(r.At(1, 20, 115), 128);
  EXPECT_EQ(r.At(0, 40, 115), 128) << "knockout: the later fill at its own 50 %";
  EXPECT_EQ(r.At(1, 40, 115), 0) << "knockout: the earlier fill is gone";
  EXPECT_EQ(r.At(0, 20, 115), 0);
  // Hue over nothing: the black fill as it is.
  EXPECT_EQ(r.At(3, 160, 160), 255);
  const auto* hue = As<QorDoc::Path>(imported.Page().GetMembers().back());
  ASSERT_NE(hue, nullptr);
  EXPECT_EQ(hue->GetTransparency()->GetNonSeparableMode(), QorBlend::kHue);
  EXPECT_EQ(hue->GetTransparency()->GetBlendMode(), QorBlend::kNormal);
}

TEST(Interpreter, AKnockoutPageGroupKnocksOutThePagesObjects) {
  const Imported imported = Import("knockout_page.pdf");
  ASSERT_EQ(imported.Page().GetMembers().size(), 1u) << imported.AllWarnings();
  const auto* group = As<QorDoc::Group>(imported.Page().GetMembers().front());
  ASSERT_NE(group, nullptr);
  EXPECT_EQ(group->GetTransparency()->IsKnockout(), 1);
  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  EXPECT_EQ(r.At(1, 20, 20), 128);
  EXPECT_EQ(r.At(0, 40, 20), 128);
  EXPECT_EQ(r.At(1, 40, 20), 0) << "the earlier fill knocked out";
}

TEST(Interpreter, OptionalContentBecomesLayers) {
  const Imported imported = Import("layers.pdf");
  QorPdf::Document pdf = QorPdf::Document::OpenFile(Data("layers.pdf"));
  const auto layers = pdf.Layers();
  ASSERT_EQ(layers.size(), 2u);
  EXPECT_EQ(layers[0].name, "Shown");
  EXPECT_TRUE(layers[0].visible_by_default);
  EXPECT_EQ(layers[1].name, "Hidden");
  EXPECT_FALSE(layers[1].visible_by_default);

  const auto& members = imported.Page().GetMembers();
  ASSERT_GE(members.size(), 4u);
  const auto* first = As<QorDoc::Layer>(members[0]);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->GetExpression().GetKind(), QorDoc::LayerExpression::Kind::kProperties);
  EXPECT_EQ(first->GetExpression().GetProperties()->GetName(), "Shown");
  const auto* expression = As<QorDoc::Layer>(members[2]);
  ASSERT_NE(expression, nullptr);
  EXPECT_EQ(expression->GetExpression().GetKind(), QorDoc::LayerExpression::Kind::kAnd);
  EXPECT_NE(As<QorDoc::Layer>(expression->GetMembers().GetMembers().at(0)), nullptr);
  EXPECT_TRUE(imported.Warned("BDC /OC"));

  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  EXPECT_EQ(r.At(0, 5, 5), 255) << "the visible layer";
  EXPECT_EQ(r.At(1, 25, 5), 0) << "the hidden layer";
  EXPECT_EQ(r.At(3, 45, 5), 255) << "both membership expressions hold";
  EXPECT_EQ(r.At(2, 5, 5), 0) << "the XObject in the hidden layer";
  EXPECT_EQ(r.At(3, 100, 100), 255) << "the clip set inside the layer holds after it";
  EXPECT_EQ(r.At(3, 180, 180), 0);
}

TEST(Interpreter, ImageMasksMarkThePaintingSamples) {
  const Imported imported = Import("image_masks.pdf");
  std::vector<const QorDoc::ImageMask*> masks;
  for (const auto& group : imported.Page().GetMembers()) {
    // Each mask sits alone; q/Q without a clip adds no scope.
    if (const auto* mask = As<QorDoc::ImageMask>(group)) masks.push_back(mask);
  }
  ASSERT_EQ(masks.size(), 3u) << imported.AllWarnings();
  EXPECT_EQ(masks[0]->GetTransformation(), (Matrix{40000, 0, 0, 20000, 10000, 10000}));
  auto bits = [](const QorDoc::ImageMask* mask) {
    std::string text;
    for (std::size_t row = 0; row < 2; ++row) {
      for (std::size_t column = 0; column < 4; ++column)
        text += mask->GetMask()->GetBit(column, row) ? '1' : '0';
      text += row == 0 ? "/" : "";
    }
    return text;
  };
  EXPECT_EQ(bits(masks[0]), "1010/0011") << "samples of 0 paint";
  EXPECT_EQ(bits(masks[1]), "0101/1100") << "Decode [1 0]: samples of 1 paint";
  EXPECT_EQ(bits(masks[2]), "1010/0011") << "inline, ASCIIHex";

  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  EXPECT_EQ(r.At(3, 15, 25), 255) << "row 0 is the top row, column 0 painted";
  EXPECT_EQ(r.At(3, 25, 25), 0);
  EXPECT_EQ(r.At(3, 45, 15), 255) << "row 1, column 3";
  EXPECT_EQ(r.At(0, 25, 65), 255) << "inverted mask, row 0 column 1";
}

TEST(Interpreter, TextShowsGlyphOutlinesAlongTheBaseline) {
  const Imported imported = Import("text.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_GE(members.size(), 4u) << imported.AllWarnings();

  const auto* av = As<QorDoc::Text>(members[0]);
  ASSERT_NE(av, nullptr);
  EXPECT_EQ(av->GetTransformation(), (Matrix{20, 0, 0, 20, 10000, 150000}));
  ASSERT_EQ(av->OriginalCompounds().size(), 2u);
  // Helvetica's A is 667 units wide: V starts there.
  const double a_left = av->OriginalCompounds()[0]->GetBoundingBox().X();
  const double v_left = av->OriginalCompounds()[1]->GetBoundingBox().X();
  // Left side bearings are small and positive.
  EXPECT_GT(a_left, 0.0);
  EXPECT_LT(a_left, 60.0);
  EXPECT_GT(v_left, 667.0);
  EXPECT_LT(v_left, 727.0);

  const auto* kerned = As<QorDoc::Text>(members[1]);
  ASSERT_NE(kerned, nullptr);
  EXPECT_DOUBLE_EQ(kerned->OriginalCompounds()[1]->GetBoundingBox().X(), v_left + 1000.0);

  const auto* stroked = As<QorDoc::Text>(members[2]);
  ASSERT_NE(stroked, nullptr);
  EXPECT_EQ(stroked->GetFillPaint(), nullptr);
  EXPECT_EQ(InkOf(stroked->GetStrokePaint()), Cmyk(1, 0, 0, 0));
  EXPECT_DOUBLE_EQ(stroked->GetStrokeStyle().width, 25.0) << "0.5 pt in units of 20/1000 pt";

  // Mode 7: ET clips everything after it to the H.
  const auto* clip_scope = As<QorDoc::Group>(members[3]);
  ASSERT_NE(clip_scope, nullptr);
  const auto* clip = As<QorDoc::TextGroup>(clip_scope->GetMembers().GetMembers().at(0));
  ASSERT_NE(clip, nullptr);
  EXPECT_TRUE(clip->IsClippingObject());

  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  EXPECT_EQ(r.At(1, 14, 20), 255) << "magenta in the H's left stem";
  EXPECT_EQ(r.At(1, 100, 100), 0) << "magenta outside the H";
  EXPECT_EQ(r.At(3, 153, 153), 255) << "the first Type3 box";
  EXPECT_EQ(r.At(3, 163, 153), 255) << "the second, one em further";
  EXPECT_EQ(r.At(3, 159, 153), 0) << "the gap between the boxes";
}

TEST(Interpreter, CjkTextThroughPredefinedCMapsAndSubstitutes) {
  const Imported imported = Import("cjk_fonts.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_EQ(members.size(), 5u) << imported.AllWarnings();

  // 90ms-RKSJ-H splits "A", 82 A0, "A" into three codes: square, triangle, square,
  // one em apart (the /W widths).
  const auto* embedded = As<QorDoc::Text>(members[0]);
  ASSERT_NE(embedded, nullptr);
  EXPECT_EQ(embedded->GetTransformation(), (Matrix{20, 0, 0, 20, 20000, 160000}));
  const auto& glyphs = embedded->OriginalCompounds();
  ASSERT_EQ(glyphs.size(), 3u);
  EXPECT_EQ(glyphs[0]->GetBoundingBox(), Morv::MilliPointRectangle(100, 0, 800, 800));
  EXPECT_EQ(glyphs[1]->GetBoundingBox(), Morv::MilliPointRectangle(1100, 0, 800, 800));
  EXPECT_EQ(glyphs[2]->GetBoundingBox(), Morv::MilliPointRectangle(2100, 0, 800, 800));
  const auto triangle = glyphs[1]->GetSubpaths().front().VectorPoints();
  ASSERT_GE(triangle.size(), 3u);
  EXPECT_EQ(triangle[2], Morv::MilliPointPoint(1500, 800)) << "the apex";

  // Fonts without a program: every character has an outline inside its em.
  for (std::size_t i = 1; i < 4; ++i) {
    const auto* text = As<QorDoc::Text>(members[i]);
    ASSERT_NE(text, nullptr);
    const auto& outlines = text->OriginalCompounds();
    ASSERT_EQ(outlines.size(), i == 1 ? 3u : 2u);
    for (std::size_t k = 0; k < outlines.size(); ++k) {
      ASSERT_TRUE(outlines[k]) << i << " " << k;
      const auto box = outlines[k]->GetBoundingBox();
      EXPECT_GE(box.X(), 1000.0 * k) << i << " " << k;
      EXPECT_LE(box.X() + box.Width(), 1000.0 * (k + 1)) << i << " " << k;
    }
  }
  // One warning per substituted font, one for the CMap that is not installed.
  EXPECT_EQ(imported.pdf.Warnings().size(), 4u) << imported.AllWarnings();
  EXPECT_TRUE(imported.Warned("font KozMinPro-Regular"));
  EXPECT_NE(imported.AllWarnings().find("No-Such-CMap-H is not installed"), std::string::npos);

  const Raster r = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  EXPECT_EQ(r.At(3, 30, 168), 255) << "inside the first square";
  EXPECT_EQ(r.At(3, 40, 168), 0) << "between square and triangle";
  EXPECT_EQ(r.At(3, 50, 162), 255) << "inside the triangle";
  EXPECT_EQ(r.At(3, 43, 174), 0) << "beside the triangle's apex";
  EXPECT_EQ(r.At(3, 70, 168), 255) << "inside the second square";
  // The substituted lines print: ink in each line's band.
  for (const long long baseline : {120, 80, 40}) {
    int inked = 0;
    for (long long y = baseline - 2; y < baseline + 22; ++y) {
      for (long long x = 20; x < 92; ++x)
        inked += r.At(3, x, y) == 255 ? 1 : 0;
    }
    EXPECT_GT(inked, 100) << "line at " << baseline;
  }
}

TEST(Interpreter, BadCMapsStillShowTheirTextWithOneWarningEach) {
  const Imported imported = Import("cjk_bad_cmaps.pdf");
  const auto& members = imported.Page().GetMembers();
  ASSERT_EQ(members.size(), 3u) << imported.AllWarnings();
  const Morv::MilliPointRectangle square(100, 0, 800, 800);
  const Morv::MilliPointRectangle triangle(1100, 0, 800, 800);

  // Two CMap streams using each other: both mappings hold, the loop is cut.
  const auto& loop = As<QorDoc::Text>(members[0])->OriginalCompounds();
  ASSERT_EQ(loop.size(), 2u);
  EXPECT_EQ(loop[0]->GetBoundingBox(), square);
  EXPECT_EQ(loop[1]->GetBoundingBox(), triangle);
  // A range past CID 65535 keeps its start; the code beyond the cut draws nothing.
  const auto& huge = As<QorDoc::Text>(members[1])->OriginalCompounds();
  ASSERT_EQ(huge.size(), 2u);
  EXPECT_EQ(huge[0]->GetBoundingBox(), square);
  EXPECT_EQ(huge[1]->GetBoundingBox(), triangle);
  // A CMap that is not installed: two-byte codes as CIDs.
  const auto& unknown = As<QorDoc::Text>(members[2])->OriginalCompounds();
  ASSERT_EQ(unknown.size(), 1u);
  EXPECT_EQ(unknown[0]->GetBoundingBox(), square);

  const std::string warnings = imported.AllWarnings();
  EXPECT_EQ(imported.pdf.Warnings().size(), 3u) << warnings;
  EXPECT_NE(warnings.find("uses itself"), std::string::npos) << warnings;
  EXPECT_NE(warnings.find("malformed"), std::string::npos) << warnings;
  EXPECT_NE(warnings.find("No-Such-CMap-H is not installed"), std::string::npos) << warnings;
}

}  // namespace

namespace {

// Every shaded paint of the content tree, in painting order (groups entered).
void CollectShadings(const QorDoc::Content& content,
                     std::vector<std::shared_ptr<const QorPaint::ShadingPaint>>& out) {
  for (const auto& member : content.GetMembers()) {
    if (const auto* group = As<QorDoc::Group>(member)) {
      CollectShadings(group->GetMembers(), out);
    } else if (const auto* path = As<QorDoc::Path>(member)) {
      if (auto s = std::dynamic_pointer_cast<const QorPaint::ShadingPaint>(path->GetFillPaint())) {
        out.push_back(std::move(s));
      }
    }
  }
}

TEST(Interpreter, ShadingsBecomeShadedPaintsOnTheirOwnPlates) {
  const Imported imported = Import("shadings.pdf");
  std::vector<std::shared_ptr<const QorPaint::ShadingPaint>> shadings;
  CollectShadings(imported.Page(), shadings);
  ASSERT_EQ(shadings.size(), 6u) << imported.AllWarnings();

  // sh of a Separation: the function drives the spot alone; user space is the CTM's.
  const auto* spot = dynamic_cast<const QorPaint::AxialShadingPaint*>(shadings[0].get());
  ASSERT_NE(spot, nullptr);
  ASSERT_EQ(spot->GetSeparationMapping().GetEntries().size(), 1u);
  EXPECT_EQ(spot->GetSeparationMapping().GetEntries()[0].name, "Spot Blue");
  EXPECT_EQ(spot->GetSeparationMapping().GetEntries()[0].index, 0u);
  EXPECT_EQ(spot->GetExtends(), (std::array{true, true}));
  EXPECT_EQ(spot->GetTransformation(), (Matrix{1000, 0, 0, 1000, 0, 0}));

  const auto* radial = dynamic_cast<const QorPaint::RadialShadingPaint*>(shadings[1].get());
  ASSERT_NE(radial, nullptr);
  EXPECT_EQ(radial->GetTransformation(), (Matrix{1000, 0, 0, 1000, 100000, 100000}));
  ASSERT_TRUE(radial->GetBoundingBox());
  EXPECT_EQ(radial->GetBoundingBox()->Width(), 80.0);
  EXPECT_EQ(radial->GetSeparationMapping().GetEntries().size(), 4u) << "DeviceCMYK is direct";

  const auto& devicen = shadings[2]->GetSeparationMapping().GetEntries();
  ASSERT_EQ(devicen.size(), 2u);
  EXPECT_EQ(devicen[1].name, "Gold");
  EXPECT_EQ(devicen[1].index, 1u);

  // A DeviceGray pattern: converted to process inks, placed by its matrix in the
  // page's default space, with its background.
  const auto& gray = *shadings[3];
  EXPECT_EQ(gray.GetSeparationMapping().GetEntries().size(), 4u);
  EXPECT_EQ(gray.GetTransformation(), (Matrix{1000, 0, 0, 1000, 100000, 0}));
  ASSERT_TRUE(gray.GetBackground());

  EXPECT_TRUE(imported.Warned("shading 10 0 R")) << "negative radius";
  EXPECT_TRUE(imported.Warned("shading 11 0 R")) << "wrong output count";
  // The truncated mesh keeps its complete triangle.
  const auto* truncated = dynamic_cast<const QorPaint::DefaultShadingPaint*>(shadings[4].get());
  ASSERT_NE(truncated, nullptr);
  EXPECT_EQ(truncated->GetMesh()->triangles.size(), 3u);
  EXPECT_TRUE(imported.Warned("shading")) << "mesh data ends inside a vertex";
  EXPECT_FALSE(imported.Warned("background")) << "drawn with its shading as one group";

  const Raster raster = Render(imported, {"Cyan", "Magenta", "Black", "Spot Blue", "Gold"});
  // The Separation ramp: 0 at x = 0, full at x = 100, only on its plate, and
  // knocking out the process plates it does not name (overprint off).
  EXPECT_EQ(raster.At(3, 0, 10), 0);
  EXPECT_EQ(raster.At(3, 49, 10), 126);
  EXPECT_EQ(raster.At(3, 99, 10), 255);
  EXPECT_EQ(raster.At(0, 49, 10), 0);
  EXPECT_EQ(raster.At(4, 49, 10), 0);
  // DeviceN above it: Spot Blue up, Gold down.
  EXPECT_GT(raster.At(3, 80, 70), raster.At(3, 20, 70));
  EXPECT_LT(raster.At(4, 80, 70), raster.At(4, 20, 70));
  // The radial: magenta rises from the centre (150, 150) outwards, nothing beyond 40.
  EXPECT_LT(raster.At(1, 150, 150), 10);
  EXPECT_GT(raster.At(1, 180, 150), 180);
  EXPECT_EQ(raster.At(1, 195, 150), 0);
  // The gray pattern: black falls from the bottom of its rectangle to the top.
  EXPECT_GT(raster.At(2, 150, 5), 240);
  EXPECT_LT(raster.At(2, 150, 95), 15);
}

TEST(Interpreter, FunctionBasedAndMeshShadingsKeepTheirGeometry) {
  const Imported imported = Import("mesh_types.pdf");
  EXPECT_TRUE(imported.pdf.Warnings().empty()) << imported.AllWarnings();
  std::vector<std::shared_ptr<const QorPaint::ShadingPaint>> shadings;
  CollectShadings(imported.Page(), shadings);
  ASSERT_EQ(shadings.size(), 5u);
  std::vector<const QorPaint::ShadingMesh*> meshes;
  for (const auto& s : shadings) {
    const auto* general = dynamic_cast<const QorPaint::DefaultShadingPaint*>(s.get());
    ASSERT_NE(general, nullptr);
    meshes.push_back(general->GetMesh().get());
  }
  EXPECT_EQ(meshes[0]->kind, QorPaint::ShadingMesh::kFunctionBased);
  EXPECT_EQ(meshes[0]->matrix, (Matrix{80, 0, 0, 80, 10, 110}));
  // Free-form: a triangle, then flag 1 (b, c, new), then flag 2 (a, c, new).
  EXPECT_EQ(meshes[1]->triangles, (std::vector<std::uint32_t>{0, 1, 2, 1, 2, 3, 1, 3, 4}));
  // Lattice of 4 rows of 5: two triangles per cell.
  EXPECT_EQ(meshes[2]->triangles.size(), 3u * 4u * 2u * 3u);
  // DeviceGray vertex colours stay grey levels, written as Black 1 − g.
  EXPECT_TRUE(meshes[2]->additive);
  EXPECT_EQ(meshes[2]->components, 1u);
  EXPECT_EQ(meshes[2]->vertices[2], 0.0);
  // Two Coons patches, the second sharing the first's edge p33 p32 p31 p30 (flag 2).
  ASSERT_EQ(meshes[3]->patches.size(), 2 * meshes[3]->PatchStride());
  const double* first = meshes[3]->patches.data();
  const double* second = first + meshes[3]->PatchStride();
  EXPECT_NEAR(second[0], first[2 * (4 * 3 + 3)], 0.01);
  EXPECT_NEAR(second[2 * 3], first[2 * (4 * 3 + 0)], 0.01);
  EXPECT_EQ(second[32], first[32 + 2]) << "c00 of the second is c33 of the first";
  ASSERT_EQ(shadings[3]->GetSeparationMapping().GetEntries().size(), 1u);
  EXPECT_EQ(shadings[3]->GetSeparationMapping().GetEntries()[0].name, "Mesh Green");
  EXPECT_EQ(meshes[4]->patches.size(), meshes[4]->PatchStride()) << "one tensor patch";

  const Raster raster = Render(imported, {"Magenta", "Black", "Mesh Green"});
  // The grey lattice darkens from right to left (Black = 1 − g, g rising with x).
  EXPECT_GT(raster.At(1, 12, 50), 240);
  EXPECT_LT(raster.At(1, 88, 50), 15);
  // The spot patches paint the spot plate only.
  EXPECT_GT(raster.At(2, 150, 45), 0);
  EXPECT_EQ(raster.At(1, 150, 45), 0);
}

TEST(Interpreter, EveryShadingTypeImportsAndRenders) {
  const Imported imported = Import("shading_types.pdf");
  EXPECT_TRUE(imported.pdf.Warnings().empty()) << imported.AllWarnings();
  std::vector<std::shared_ptr<const QorPaint::ShadingPaint>> shadings;
  CollectShadings(imported.Page(), shadings);
  ASSERT_EQ(shadings.size(), 8u);
  const auto* grid = dynamic_cast<const QorPaint::DefaultShadingPaint*>(shadings[6].get());
  ASSERT_NE(grid, nullptr);
  EXPECT_EQ(grid->GetMesh()->patches.size(), 144 * grid->GetMesh()->PatchStride());
  const Raster raster = Render(imported, {"Cyan", "Magenta", "Yellow", "Black"});
  // The patch grid's grey (as black ink) grows darker towards the bottom left.
  EXPECT_GT(raster.At(3, 104, 104), raster.At(3, 196, 196));
}

// tiling(): page 1 paints with tiling patterns, page 2 is the same with every cell
// written out by hand; page 3 puts patterns on strokes and in a form; page 4 holds
// bad patterns.
TEST(Interpreter, TilingPatternCellsMatchTheSameCellsWrittenOut) {
  const Imported imported = Import("tiling.pdf");
  for (const auto& w : imported.pdf.Warnings()) {
    EXPECT_TRUE(w.page && *w.page == 3) << w.subject << ": " << w.reason;
  }
  const std::vector<std::string> cmyk = {"Cyan", "Magenta", "Yellow", "Black"};
  const Raster patterned = Render(imported, cmyk, 0, 3);
  const Raster expanded = Render(imported, cmyk, 1, 3);
  EXPECT_TRUE(patterned.bytes == expanded.bytes) << "plates differ from the cells written out";

  // Coloured cells: cyan and magenta squares 5 pt apart inside the rectangle, the
  // uncoloured rotated stripes in the colour given with scn, nothing outside.
  auto count = [&](const Raster& r, std::size_t plate, int value, long long x0, long long y0,
                   long long x1, long long y1) {
    int n = 0;
    for (long long y = y0 * 3; y < y1 * 3; ++y) {
      for (long long x = x0 * 3; x < x1 * 3; ++x)
        n += r.At(plate, x, y) == value;
    }
    return n;
  };
  EXPECT_EQ(patterned.At(1, 3 * 14 + 1, 3 * 12 + 1), 255) << "magenta at cell (1, 1) of P1";
  EXPECT_EQ(patterned.At(0, 3 * 19 + 1, 3 * 17 + 1), 255) << "cyan in its upper half";
  EXPECT_EQ(patterned.At(0, 3 * 19 + 1, 3 * 12 + 1) + patterned.At(1, 3 * 19 + 1, 3 * 12 + 1), 0);
  EXPECT_EQ(count(patterned, 0, 255, 10, 10, 90, 80) + count(patterned, 1, 255, 10, 10, 90, 80),
            count(patterned, 0, 255, 0, 0, 100, 100) + count(patterned, 1, 255, 0, 0, 100, 100));
  EXPECT_GT(count(patterned, 3, 204, 110, 10, 190, 90), 5000);  // 80 % black stripes
  EXPECT_GT(count(patterned, 0, 51, 110, 10, 190, 90), 5000);   // and 20 % cyan
  EXPECT_GT(count(patterned, 3, 0, 110, 10, 190, 90), 5000);    // with gaps
  EXPECT_EQ(count(patterned, 3, 204, 100, 0, 110, 100), 0);
  // The nested pattern's inner stripes are full black.
  EXPECT_GT(count(patterned, 3, 255, 110, 110, 190, 190), 1000);
}

TEST(Interpreter, TilingPatternsPaintStrokesTextAndFormsAndSurviveBadInput) {
  const Imported imported = Import("tiling.pdf");
  const std::vector<std::string> cmyk = {"Cyan", "Magenta", "Yellow", "Black"};
  const Raster strokes = Render(imported, cmyk, 2);
  // The 12 pt stroke from (20, 30) to (90, 90) carries the cells; beside it, nothing.
  int inked = 0;
  for (long long y = 20; y < 100; ++y) {
    for (long long x = 10; x < 100; ++x)
      inked += strokes.At(0, x, y) + strokes.At(1, x, y) > 0;
  }
  EXPECT_GT(inked, 300);
  EXPECT_EQ(strokes.At(0, 80, 40) + strokes.At(1, 80, 40), 0);
  // The fill of B stays flat magenta inside the patterned border.
  EXPECT_EQ(strokes.At(1, 145, 45), 255);
  EXPECT_EQ(strokes.At(3, 145, 45), 0);
  // The form at half opacity: its cells at half strength.
  int half = 0;
  for (long long x = 104; x < 160; ++x)
    half += strokes.At(0, x, 130) == 128 || strokes.At(1, x, 130) == 128;
  EXPECT_GT(half, 10);

  // Bad patterns: each reported on page 4, each still giving a sensible area.
  EXPECT_TRUE(imported.Warned("tiling pattern /Ps")) << imported.AllWarnings();
  EXPECT_TRUE(imported.Warned("tiling pattern /Pz /XStep"));
  EXPECT_TRUE(imported.Warned("tiling pattern /Pt"));
  EXPECT_TRUE(imported.Warned("tiling pattern /Pu /BBox"));
  const Raster bad = Render(imported, cmyk, 3);
  EXPECT_EQ(bad.At(3, 12, 12), 255) << "the self-painting cell keeps its own square";
  EXPECT_EQ(bad.At(0, 62, 30), 255) << "/XStep 0 steps by the box's width";
  EXPECT_EQ(bad.At(0, 67, 30), 0);
  EXPECT_EQ(bad.At(2, 130, 30), 255) << "too many cells: a flat fill in the cell's colour";
  EXPECT_EQ(bad.At(2, 105, 30), 0);
  EXPECT_EQ(bad.At(1, 12, 62), 255) << "no /BBox: the cell is the step";
  EXPECT_EQ(bad.At(1, 17, 62), 0);
  EXPECT_EQ(bad.At(3, 80, 80), 128) << "too many uncoloured cells: the pattern's colour";
  EXPECT_EQ(bad.At(3, 175, 80), 191) << "the cell's first colour in a named space";
  EXPECT_TRUE(imported.Warned("tiling pattern /Pd")) << "not a stream";
  EXPECT_TRUE(imported.Warned("pattern /Pn")) << "not in the resources";
  for (std::size_t p = 0; p < 4; ++p) {
    EXPECT_EQ(bad.At(p, 130, 80) + bad.At(p, 175, 30), 0);
  }
}

}  // namespace
