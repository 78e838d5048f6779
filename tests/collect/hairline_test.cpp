// Thin strokes under the minimal stroke width: lines of width 0 and below a pixel,
// horizontal, vertical and diagonal, at positions off the pixel grid, print as
// unbroken lines about a pixel wide; without a minimum they keep their raw geometry.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "line_coverage.h"
#include "qordoc/document.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace {

using T = Morv::MilliPointTransformation;

// A 200 pt square page at 150 dpi.
constexpr double kPagePoints = 200.0;
constexpr long long kPixels = 417;
constexpr double kPixelsPerPoint = static_cast<double>(kPixels) / kPagePoints;

struct Plate {
  std::vector<unsigned char> ink;  // row after row, kPixels × kPixels
  bool At(long long x, long long y) const {
    return ink[static_cast<std::size_t>(y * kPixels + x)] != 0;
  }
};

// The page of `builder` on the grey plate, with `minimum` as the minimal stroke width.
Plate Render(QorDoc::DocumentBuilder& builder, const QorDoc::Content& page, long long minimum) {
  const auto document = builder.Build();
  const QorSc::Environment env(
      Morv::MilliPointRectangle(0.0, 0.0, kPagePoints * 1000.0, kPagePoints * 1000.0), kPixels,
      kPixels);
  QorSc::Options options(false, document->GetSeparationInfo());
  options.SetMinimalStrokeWidth(minimum);
  QorSc::ScanConverter converter(QorSc::CollectObjects(env, options, {0, 0, kPixels, kPixels}, page,
                                                       T{}, QorSc::kAllSelection));
  Plate plate;
  plate.ink.resize(static_cast<std::size_t>(kPixels * kPixels));
  for (long long y = 0; y < kPixels; ++y) {
    EXPECT_TRUE(converter.GetLine255PlaneInterleaved(plate.ink.data() + y * kPixels));
  }
  return plate;
}

// Where the line sits: on the page itself, or as the only member of a group or a
// layer (whose own boxes know nothing of the minimum).
enum class Container { kPage, kGroup, kLayer };

// One butt-capped segment from (x0, y0) to (x1, y1) in points (y up), `width`
// points wide, rendered alone with `minimum` as the minimal stroke width.
Plate RenderLine(double x0, double y0, double x1, double y1, double width, long long minimum,
                 const T& placement = T{}, Container container = Container::kPage) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  QorDoc::Content& holder = container == Container::kPage ? page : builder.AddContent();
  QorDoc::Fillable::Painting paint;
  paint.stroke = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  paint.strokeStyle.width =
      width * 1000.0 / std::sqrt(std::fabs(placement.a * placement.d - placement.b * placement.c));
  const T inverse = placement.Inverse();
  auto point = [&](double x, double y) {
    const double wx = x * 1000.0, wy = y * 1000.0;
    return std::pair{inverse.a * wx + inverse.c * wy + inverse.e,
                     inverse.b * wx + inverse.d * wy + inverse.f};
  };
  const auto [ax, ay] = point(x0, y0);
  const auto [bx, by] = point(x1, y1);
  builder.AddPath(holder, Morv::PathBuilder().MoveTo(ax, ay).LineTo(bx, by).BuildShared(), paint,
                  placement);
  if (container == Container::kGroup) builder.AddGroup(page, holder);
  if (container == Container::kLayer) {
    builder.AddLayer(
        page, holder,
        QorDoc::LayerExpression::Of(std::make_shared<QorDoc::LayerProperties>("Marks", true)));
  }
  return Render(builder, page, minimum);
}

QorScTest::LineCoverage Measure(const Plate& plate, double x0, double y0, double x1, double y1) {
  return QorScTest::MeasureLine(plate.ink, kPixels, kPixels, x0 * kPixelsPerPoint,
                                (kPagePoints - y0) * kPixelsPerPoint, x1 * kPixelsPerPoint,
                                (kPagePoints - y1) * kPixelsPerPoint);
}

struct Line {
  const char* name;
  double x0, y0, x1, y1;
};

// Starts off the grid by various fractions of a pixel (a pixel is 0.48 pt).
std::vector<Line> Lines() {
  std::vector<Line> lines;
  for (const double offset : {0.0, 0.1, 0.23, 0.24, 0.37, 0.4711}) {
    lines.push_back({"horizontal", 20.0 + offset, 100.0 + offset, 180.0 + offset, 100.0 + offset});
    lines.push_back({"vertical", 100.0 + offset, 20.0 + offset, 100.0 + offset, 180.0 + offset});
    lines.push_back({"diagonal", 20.0 + offset, 20.0, 180.0, 180.0 - offset});
    lines.push_back({"shallow", 20.0, 90.0 + offset, 180.0, 110.0 + offset});
    lines.push_back({"steep", 90.0 + offset, 20.0, 110.0 + offset, 180.0});
    lines.push_back({"almost horizontal", 20.0, 100.0 + offset, 180.0, 100.3 + offset});
  }
  return lines;
}

TEST(Hairlines, ThinStrokesPrintUnbroken) {
  // √2 rounded up: a minimum of 2 makes the thinnest stroke 2/√2 ≈ 1.41 pixels, the
  // smallest whole value that reaches a pixel (the width is measured by √(fx² + fy²)).
  constexpr long long kOnePixel = 2;
  for (const Line& l : Lines()) {
    for (const double width : {0.0, 0.05, 0.1, 0.25}) {
      SCOPED_TRACE(std::string(l.name) + " from (" + std::to_string(l.x0) + ", " +
                   std::to_string(l.y0) + "), width " + std::to_string(width));
      const QorScTest::LineCoverage c =
          Measure(RenderLine(l.x0, l.y0, l.x1, l.y1, width, kOnePixel), l.x0, l.y0, l.x1, l.y1);
      EXPECT_EQ(c.gaps, 0);
      EXPECT_GE(c.thickest, 1);
      // A line of 1.41 pixels across covers at most three pixel centres in a column
      // (two for axis-parallel lines, up to three at 45°).
      EXPECT_LE(c.thickest, 3);
    }
  }
}

TEST(Hairlines, WidthZeroIsTheMinimumAndRawGeometryWithout) {
  const Line l{"horizontal", 20.0, 100.1, 180.0, 100.1};
  // Without a minimum, a width-0 stroke has no area and a 0.05 pt stroke (0.1 pixel)
  // covers a pixel centre nowhere on this line.
  EXPECT_EQ(Measure(RenderLine(l.x0, l.y0, l.x1, l.y1, 0.0, 0), l.x0, l.y0, l.x1, l.y1).total, 0);
  EXPECT_EQ(Measure(RenderLine(l.x0, l.y0, l.x1, l.y1, 0.05, 0), l.x0, l.y0, l.x1, l.y1).total, 0);
  // With it, widths 0 and 0.05 pt print exactly alike, and a line already wider than
  // the minimum keeps its own width (2 pt is 4.17 pixels).
  const Plate zero = RenderLine(l.x0, l.y0, l.x1, l.y1, 0.0, 2);
  EXPECT_EQ(zero.ink, RenderLine(l.x0, l.y0, l.x1, l.y1, 0.05, 2).ink);
  EXPECT_EQ(RenderLine(l.x0, l.y0, l.x1, l.y1, 2.0, 2).ink,
            RenderLine(l.x0, l.y0, l.x1, l.y1, 2.0, 0).ink);
  EXPECT_EQ(Measure(RenderLine(l.x0, l.y0, l.x1, l.y1, 2.0, 2), l.x0, l.y0, l.x1, l.y1).thickest,
            4);
}

TEST(Hairlines, LoneHairlinesInGroupsAndLayersPrint) {
  // A width-0 horizontal line has a box of no height, and so has a group or layer
  // holding only it: neither may be culled before the line is widened.
  const Line l{"horizontal", 20.3, 100.1, 180.3, 100.1};
  for (const Container container : {Container::kGroup, Container::kLayer}) {
    const QorScTest::LineCoverage c =
        Measure(RenderLine(l.x0, l.y0, l.x1, l.y1, 0.0, 2, T{}, container), l.x0, l.y0, l.x1, l.y1);
    EXPECT_EQ(c.gaps, 0);
    EXPECT_GE(c.thickest, 1);
  }
}

TEST(Hairlines, MinimumHoldsUnderScaledAndRotatedPlacements) {
  // The stroke's own space is scaled by 10 and turned by 30°: the width is measured
  // through the whole placement.
  const double c = 10.0 * std::cos(M_PI / 6.0), s = 10.0 * std::sin(M_PI / 6.0);
  const T placement{c, s, -s, c, 1000.0, -500.0};
  for (const Line& l : Lines()) {
    SCOPED_TRACE(l.name);
    const QorScTest::LineCoverage cov =
        Measure(RenderLine(l.x0, l.y0, l.x1, l.y1, 0.0, 2, placement), l.x0, l.y0, l.x1, l.y1);
    EXPECT_EQ(cov.gaps, 0);
    EXPECT_LE(cov.thickest, 3);
  }
}

// A text of three glyphs given in pixels: a stem 0.3 pixel wide between column
// centres, a bar 0.3 pixel high between row centres, and a solid block; filled with
// black at 50 % opacity.
Plate RenderGlyphs(long long minimum) {
  auto world = [](double x, double y) {
    return std::pair{x / kPixelsPerPoint * 1000.0, (kPagePoints - y / kPixelsPerPoint) * 1000.0};
  };
  auto box = [&](double x0, double y0, double x1, double y1) {
    const auto [ax, ay] = world(x0, y0);
    const auto [bx, by] = world(x1, y1);
    return Morv::PathBuilder().Rectangle(ax, by, bx - ax, ay - by).BuildShared();
  };
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  QorDoc::Fillable::Painting paint;
  paint.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  paint.transparency = std::make_shared<QorBlend::Transparency>(QorBlend::kNormal, 0.5f, 1.0f);
  builder.AddText(
      page,
      {box(100.6, 50.2, 100.9, 70.8), box(120.2, 60.1, 140.8, 60.4), box(150.3, 50.3, 160.7, 70.7)},
      paint);
  return Render(builder, page, minimum);
}

TEST(Hairlines, GlyphStemsKeepTheirPixelsWithoutGainingWeight) {
  const Plate raw = RenderGlyphs(0);
  const Plate kept = RenderGlyphs(2);
  for (long long y = 50; y <= 70; ++y) {
    EXPECT_FALSE(raw.At(100, y)) << "row " << y;  // the stem falls between centres
    EXPECT_TRUE(kept.At(100, y)) << "row " << y;  // and keeps one pixel per row
  }
  for (long long x = 120; x <= 140; ++x) {
    EXPECT_FALSE(raw.At(x, 60)) << "column " << x;
    EXPECT_TRUE(kept.At(x, 60)) << "column " << x;
  }
  long long added = 0;
  for (std::size_t i = 0; i < kept.ink.size(); ++i) {
    // The text composites once: every inked pixel holds 50 % black, also where the
    // stems' pixels were added.
    if (kept.ink[i] != 0) {
      EXPECT_EQ(kept.ink[i], 128) << "pixel " << i;
    }
    // Nothing the raw outline covers changes, and the block gains no weight.
    if (raw.ink[i] != 0) {
      EXPECT_EQ(kept.ink[i], raw.ink[i]) << "pixel " << i;
    }
    added += kept.ink[i] != raw.ink[i];
  }
  EXPECT_EQ(added, 21 + 21);  // the stem's rows and the bar's columns, nothing else
}

}  // namespace

namespace {

// `glyphs` (in pixels) as a lone text, or as the only text of a text group, whose
// glyphs are merged into one compound before their dropout pixels are searched.
Plate RenderText(const std::vector<std::vector<std::pair<double, double>>>& glyphs, bool grouped) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  std::vector<std::shared_ptr<const Morv::Compound>> compounds;
  for (const auto& glyph : glyphs) {
    Morv::PathBuilder b;
    std::vector<Morv::MilliPointPoint> points;
    for (const auto& [x, y] : glyph)
      points.emplace_back(x / kPixelsPerPoint * 1000.0,
                          (kPagePoints - y / kPixelsPerPoint) * 1000.0);
    compounds.push_back(b.Polygon(points).BuildShared(Morv::kNonZero));
  }
  QorDoc::Fillable::Painting paint;
  paint.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  if (grouped) {
    builder.AddTextGroup(page, {builder.MakeText(std::move(compounds), paint)});
  } else {
    builder.AddText(page, std::move(compounds), paint);
  }
  return Render(builder, page, 2);
}

// A lone text's fill is made from its glyphs without merging them into one compound;
// it must cover what the merged compound covers: with and without dropout pixels, a
// text of one rectangle (served as a box), glyphs reaching one or two pixels, glyphs
// partly off the page, and a glyph without area.
TEST(Hairlines, LoneTextsCoverWhatTheirMergedGlyphsCover) {
  using Glyph = std::vector<std::pair<double, double>>;
  auto rect = [](double x0, double y0, double x1, double y1) {
    return Glyph{{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
  };
  const std::vector<std::vector<Glyph>> texts = {
      {rect(10.6, 10.2, 10.9, 30.8),
       rect(20.2, 20.1, 40.8, 20.4),
       {{50.2, 10.3}, {58.9, 30.6}, {52.1, 12.0}}},
      {rect(10.3, 10.3, 30.7, 30.7)},
      {rect(10.3, 10.3, 30.7, 30.7), rect(40.3, 10.3, 60.7, 30.7)},
      {rect(10.6, 10.6, 10.9, 10.9)},
      {rect(10.2, 10.2, 10.8, 11.4)},
      {rect(10.6, 10.2, 10.9, 11.4), rect(10.4, 11.6, 10.7, 11.9)},
      {rect(-5.6, 10.2, 3.9, 10.4), rect(410.5, 300.2, 430.3, 300.4)},
      {{{10.0, 10.0}, {20.0, 10.0}, {30.0, 10.0}}, rect(12.6, 10.2, 12.9, 30.8)},
  };
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const Plate lone = RenderText(texts[i], false);
    const Plate grouped = RenderText(texts[i], true);
    EXPECT_EQ(lone.ink, grouped.ink) << "text " << i;
  }
  // The first text gained its stem's and bar's pixels.
  EXPECT_TRUE(RenderText(texts[0], false).At(10, 20));
  EXPECT_TRUE(RenderText(texts[0], false).At(30, 20));
}

}  // namespace
