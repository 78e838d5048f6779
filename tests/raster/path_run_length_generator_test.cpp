#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <span>
#include <vector>

#include "raster/path_run_length_generator_builder.h"
#include "reference_rasterizer.h"
#include "test_scene.h"

namespace {

using QorSc::RunList;
using QorScTest::Polygon;
using QorScTest::Rect;
using Box = QorMath::Rectangle<long long>;

// Hands out given internal points.
class ListEnumerator final : public QorSc::PointEnumerator {
 public:
  explicit ListEnumerator(const Polygon& points) : points_(points) {}
  bool Next(QorSc::Point<double>& out) override {
    if (next_ == points_.size()) return false;
    out = points_[next_++];
    return true;
  }

 private:
  const Polygon& points_;
  std::size_t next_ = 0;
};

std::unique_ptr<QorSc::PathRunLengthGenerator> Build(const std::vector<Polygon>& polygons,
                                                     std::uint32_t rule, const Box& box) {
  QorSc::ScratchChains chains;
  QorSc::PathRunLengthGeneratorBuilder builder(rule, box, chains);
  for (const Polygon& p : polygons) {
    ListEnumerator e(p);
    builder.AddPoints(e);
  }
  return builder.Release();
}

// The runs of every line of the box, from the generator's first line on.
std::vector<RunList> Lines(QorSc::PathRunLengthGenerator& generator, const Box& box) {
  std::vector<RunList> lines;
  for (long long y = box.top; y < box.bottom; ++y) {
    generator.GenerateRuns(y);
    lines.push_back(generator.Runs());
  }
  return lines;
}

std::vector<RunList> AllLines(const std::vector<Polygon>& polygons, std::uint32_t rule,
                              const Box& box) {
  return Lines(*Build(polygons, rule, box), box);
}

const Box kBox{10, 10, 20, 20};

// Corner polygons are culled on their rounded box, which a point enumerator's polygon
// is not: only polygons that culling cannot drop build edges to compare.
bool OutlivesCulling(const Polygon& p) {
  double x0 = p[0].x, x1 = x0, y0 = p[0].y, y1 = y0;
  for (const auto& c : p) {
    x0 = std::min(x0, c.x);
    x1 = std::max(x1, c.x);
    y0 = std::min(y0, c.y);
    y1 = std::max(y1, c.y);
  }
  return std::llround(x0) < std::llround(x1) && std::llround(y0) < std::llround(y1);
}

// Builds `flat` as a flattened outline and `polygons` (the same) through a point
// enumerator under both winding rules: as many edges, and the reference's runs on every
// line. Returns the edges built under the last rule.
std::size_t ExpectTheGeneralEdges(const std::vector<Polygon>& polygons,
                                  const QorSc::FlatOutline& flat, const Box& box, int round) {
  std::size_t edges = 0;
  for (std::uint32_t rule : {0u, 1u}) {
    const auto general = Build(polygons, rule, box);
    QorSc::ScratchChains chains;
    QorSc::PathRunLengthGeneratorBuilder builder(rule, box, chains);
    builder.AddFlatOutline(flat);
    const auto corners = builder.Release();
    EXPECT_EQ(corners->EdgeCount(), general->EdgeCount()) << "round " << round;
    edges = corners->EdgeCount();
    const std::vector<RunList> expected = QorScTest::ReferenceRuns(polygons, rule, box);
    EXPECT_EQ(Lines(*corners, box), expected) << "round " << round;
    EXPECT_EQ(Lines(*general, box), expected) << "round " << round;
  }
  return edges;
}

// Rectangles cover the pixels whose centres they hold: halves round away from zero,
// also left of the origin; a rectangle wider than the box gives one run over it. The
// sample band's top edge is strict (y < y0 + 0.5), its bottom edge not (y >= y1 - 0.5).
TEST(PathRunLengthGenerator, RectanglesCoverPixelCentres) {
  const Box wide{0, 0, 40, 40};
  const Box negative{-30, -30, 0, 0};
  const struct {
    Polygon rect;
    Box box;
    long long first, last;  // lines [first, last] have `runs`
    RunList runs;
  } cases[] = {
      {Rect(10, 10, 20, 20), kBox, 10, 19, {{10, 10}}},
      {Rect(10.5, 10.5, 20.5, 20.5), wide, 10, 10, {}},
      {Rect(10.5, 10.5, 20.5, 20.5), wide, 11, 20, {{11, 10}}},
      {Rect(10.5, 10.5, 20.5, 20.5), wide, 21, 21, {}},
      {Rect(-20.5, -20.2, -10.5, -10.2), negative, -15, -15, {{-21, 10}}},
      {Rect(-100, 12, 100, 14), kBox, 12, 13, {{10, 10}}},
      {Rect(-100, 12, 100, 14), kBox, 14, 14, {}},
      {Rect(12, 5, 18, 10.5), kBox, 10, 10, {{12, 6}}},
      {Rect(12, 5, 18, 10.5), kBox, 11, 11, {}},
      {Rect(12, 19.4, 18, 19.6), kBox, 19, 19, {{12, 6}}},
      {Rect(12, 19.5, 18, 25), kBox, 19, 19, {}},
  };
  for (const auto& c : cases) {
    const auto lines = AllLines({c.rect}, 1, c.box);
    for (long long y = c.first; y <= c.last; ++y)
      EXPECT_EQ(lines[y - c.box.top], c.runs) << c.rect[0].x << "," << c.rect[0].y << " line " << y;
  }
}

TEST(PathRunLengthGenerator, SegmentFilterNeverChangesTheOutput) {
  const std::vector<Polygon> cases[] = {
      // Unclosed, with sides left of the box.
      {{{5, 15}, {5, 12}, {15, 12}, {15, 18}, {5, 18}}},
      // The held-back first segment must still reach the output.
      {{{15, 15}, {15, 18}, {5, 18}, {5, 12}, {15, 12}}},
      // Merges above the box.
      {{{5, 8}, {5, 12}, {5, 9}, {15, 9}, {15, 18}, {5, 18}}},
  };
  const long long first_line[] = {12, 12, 10};
  for (std::size_t c = 0; c < std::size(cases); ++c) {
    const auto lines = AllLines(cases[c], 1, kBox);
    EXPECT_EQ(lines, QorScTest::ReferenceRuns(cases[c], 1, kBox)) << "case " << c;
    for (long long y = 10; y < 20; ++y) {
      const RunList expected = (y >= first_line[c] && y < 18) ? RunList{{10, 5}} : RunList{};
      EXPECT_EQ(lines[y - kBox.top], expected) << "case " << c << " line " << y;
    }
  }
}

TEST(PathRunLengthGenerator, SpikesVanishOnlyWhenTheyCancel) {
  // A dent down one row and back at the same rounded x adds nothing on line 18.
  const Polygon spike{{12, 12}, {18, 12}, {18, 18}, {15, 18}, {15.1, 19.2}, {15.2, 18.1}, {12, 18}};
  auto lines = AllLines({spike}, 1, kBox);
  EXPECT_TRUE(lines[18 - kBox.top].empty());
  EXPECT_EQ(lines, QorScTest::ReferenceRuns({spike}, 1, kBox));
  // Crossing the row at different rounded x, the dent covers one pixel.
  const Polygon dent{{12, 12}, {18, 12}, {18, 18}, {15, 18}, {15.5, 19.2}, {16.4, 18.1}, {12, 18}};
  lines = AllLines({dent}, 1, kBox);
  EXPECT_EQ(lines[18 - kBox.top], (RunList{{15, 1}}));
  EXPECT_EQ(lines, QorScTest::ReferenceRuns({dent}, 1, kBox));
}

TEST(PathRunLengthGenerator, WindingRulesAndDegenerateShapes) {
  const Box box{0, 0, 100, 100};
  // A five-pointed star as one self-crossing subpath.
  Polygon star;
  for (int k = 0; k < 5; ++k) {
    const double a = M_PI / 2 + k * 4 * M_PI / 5;
    star.push_back({50.3 + 45 * std::cos(a), 50.2 - 45 * std::sin(a)});
  }
  const auto even_odd = AllLines({star}, 0, box);
  const auto non_zero = AllLines({star}, 1, box);
  EXPECT_EQ(even_odd, QorScTest::ReferenceRuns({star}, 0, box));
  EXPECT_EQ(non_zero, QorScTest::ReferenceRuns({star}, 1, box));
  auto covers = [&](const std::vector<RunList>& lines, long long x, long long y) {
    for (const auto& r : lines[y]) {
      if (r.start <= x && x < r.End()) return true;
    }
    return false;
  };
  EXPECT_FALSE(covers(even_odd, 50, 50)) << "the centre pentagon is a hole under even-odd";
  EXPECT_TRUE(covers(non_zero, 50, 50));

  // Two abutting rectangles of one compound give one run.
  const auto abutting = AllLines({Rect(10, 10, 15, 20), Rect(15, 10, 20, 20)}, 1, kBox);
  EXPECT_EQ(abutting[15 - kBox.top], (RunList{{10, 10}}));
  // A zero-height sliver and a single point give nothing.
  for (const auto& line : AllLines({{{11, 15.2}, {19, 15.2}, {14, 15.2}}, {{12, 12}}}, 1, kBox)) {
    EXPECT_TRUE(line.empty());
  }
}

TEST(PathRunLengthGenerator, SkippingLinesGivesWhatAFreshGeneratorGives) {
  const Box box{0, 0, 100, 100};
  const Polygon diamond{{50.2, 3.1}, {96.7, 50.4}, {50.3, 97.2}, {4.1, 49.8}};
  const Polygon slant{{20.3, 40.1}, {80.2, 20.7}, {70.4, 90.3}};
  const std::vector<Polygon> shape{diamond, slant};
  const auto reference = AllLines(shape, 0, box);
  auto generator = Build(shape, 0, box);
  for (long long y : {10LL, 50LL, 51LL, 77LL, 98LL}) {
    generator->GenerateRuns(y);
    EXPECT_EQ(generator->Runs(), reference[y]) << "line " << y;
    generator->GenerateRuns(y - 5);
    EXPECT_EQ(generator->Runs(), reference[y]) << "an earlier line changes nothing";
  }
  generator->GenerateRuns(100);
  EXPECT_TRUE(generator->Runs().empty());
  EXPECT_EQ(generator->GetState(), QorSc::RunLengthGenerator::kFinished);

  auto late = Build(shape, 0, Box{0, 40, 100, 60});
  late->GenerateRuns(10);
  EXPECT_EQ(late->GetState(), QorSc::RunLengthGenerator::kNotStarted);
  EXPECT_TRUE(late->Runs().empty());
}

// Random polygons against the per-pixel reference: self-crossing, partly or wholly
// outside the box, huge and tiny, several subpaths, both winding rules.
TEST(PathRunLengthGenerator, MatchesTheReferenceOnRandomPolygons) {
  std::mt19937 random(12345);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int round = 0; round < 400; ++round) {
    const long long bx = static_cast<long long>(unit(random) * 20);
    const long long by = static_cast<long long>(unit(random) * 20);
    const Box box{bx, by, bx + 1 + static_cast<long long>(unit(random) * 30),
                  by + 1 + static_cast<long long>(unit(random) * 30)};
    const int subpaths = 1 + static_cast<int>(unit(random) * 4);
    std::vector<Polygon> polygons;
    for (int s = 0; s < subpaths; ++s) {
      const int kind = static_cast<int>(unit(random) * 4);
      const double spread = kind == 0 ? 2.0 : kind == 1 ? 40.0 : kind == 2 ? 400.0 : 15.0;
      const double cx = bx + unit(random) * 40 - 5;
      const double cy = by + unit(random) * 40 - 5;
      const int points = 1 + static_cast<int>(unit(random) * 12);
      Polygon p;
      for (int k = 0; k < points; ++k) {
        p.push_back({cx + (unit(random) - 0.5) * spread, cy + (unit(random) - 0.5) * spread});
        // Now and then an axis-parallel side, as real content has.
        if (unit(random) < 0.2) p.push_back({p.back().x, cy + (unit(random) - 0.5) * spread});
      }
      polygons.push_back(p);
    }
    for (std::uint32_t rule : {0u, 1u}) {
      ASSERT_EQ(AllLines(polygons, rule, box), QorScTest::ReferenceRuns(polygons, rule, box))
          << "round " << round << " rule " << rule;
    }
  }
}

// A generator handed from shape to shape (reset, keeping its storage) reads as a
// fresh one for each: large shapes then small and back, other boxes and rules, a
// shape without edges, the last one left partway down before the next, lines
// skipped.
TEST(PathRunLengthGenerator, AResetGeneratorReadsAsAFreshOne) {
  std::mt19937 random(424242);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  QorSc::ScratchChains chains;
  std::unique_ptr<QorSc::PathRunLengthGenerator> kept;
  for (int round = 0; round < 300; ++round) {
    const long long bx = static_cast<long long>(unit(random) * 20);
    const long long by = static_cast<long long>(unit(random) * 20);
    const Box box{bx, by, bx + 1 + static_cast<long long>(unit(random) * 40),
                  by + 1 + static_cast<long long>(unit(random) * 40)};
    // Every tenth shape has hundreds of corners, so that later ones reuse a store and
    // active entries far larger than they need.
    const int points = round % 10 == 0 ? 400 : 1 + static_cast<int>(unit(random) * 8);
    const double spread = round % 10 == 0 ? 60.0 : 2.0 + unit(random) * 20.0;
    Polygon p;
    for (int k = 0; k < points; ++k)
      p.push_back({bx + unit(random) * 40 + (unit(random) - 0.5) * spread,
                   by + unit(random) * 40 + (unit(random) - 0.5) * spread});
    if (round % 17 == 0) p.resize(1);  // no edges at all
    const std::uint32_t rule = round % 2;
    QorSc::PathRunLengthGeneratorBuilder builder(rule, box, chains, std::move(kept));
    ListEnumerator e(p);
    builder.AddPoints(e);
    kept = builder.Release();
    const auto reference = QorScTest::ReferenceRuns({p}, rule, box);
    // Lines skipped now and then; some shapes are left before their last line.
    const long long stop = round % 3 == 0 ? box.top + (box.bottom - box.top) / 2 : box.bottom;
    for (long long y = box.top; y < stop; y += 1 + (round % 4 == 1 ? y % 3 : 0)) {
      kept->GenerateRuns(y);
      ASSERT_EQ(kept->Runs(), reference[y - box.top]) << "round " << round << " line " << y;
    }
  }
}

// Polygons given as corners (stroke pieces, glyph contours) are culled on their
// corners and, when those lie inside the sample box, filtered without outcodes; they
// must build as many edges as the same polygons through a point enumerator (no
// culling, outcodes always) and the same runs (the reference's), with spikes, repeated
// corners, level sides, closed and open polygons, from one corner to a few hundred,
// inside the sample box and reaching past it (sides beyond one side of the box merge,
// sides above or below it drop): the box is cut smaller than the polygons' area in
// half the rounds.
TEST(PathRunLengthGenerator, CornerPolygonsBuildTheGeneralEdges) {
  std::mt19937 random(2024);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int round = 0; round < 600; ++round) {
    const Box box = round % 2 == 0 ? Box{0, 0, 40, 40} : Box{12, 9, 29, 33};
    QorSc::FlatOutline flat;
    std::vector<Polygon> polygons;
    const int count = 1 + static_cast<int>(unit(random) * 6);
    for (int n = 0; n < count; ++n) {
      const double cx = 4 + unit(random) * 32;
      const double cy = 4 + unit(random) * 32;
      const double kind = unit(random);
      const double spread = kind < 0.4 ? 3.0 : kind < 0.8 ? 7.0 : kind < 0.95 ? 30.0 : 90.0;
      const int corners = 1 + static_cast<int>(unit(random) * (unit(random) < 0.7 ? 20 : 300));
      Polygon p;
      for (int k = 0; k < corners; ++k) {
        const double r = unit(random);
        if (r < 0.15 && !p.empty()) {
          // A spike: one row down and back to the same rounded x.
          const QorSc::Point<double> at = p.back();
          p.push_back({at.x + 0.01, std::floor(at.y) + 1.6});
          p.push_back({at.x + 0.02, at.y});
        } else if (r < 0.25 && !p.empty()) {
          p.push_back(p.back());  // a repeated corner
        } else if (r < 0.35 && !p.empty()) {
          p.push_back({cx + (unit(random) - 0.5) * spread, p.back().y});  // a level side
        } else {
          p.push_back({cx + (unit(random) - 0.5) * spread, cy + (unit(random) - 0.5) * spread});
        }
      }
      if (unit(random) < 0.3) p.push_back(p.front());  // closed by its data
      if (!OutlivesCulling(p)) continue;
      polygons.push_back(p);
      flat.points.insert(flat.points.end(), p.begin(), p.end());
      flat.ends.push_back(flat.points.size());
    }
    ExpectTheGeneralEdges(polygons, flat, box, round);
    ASSERT_FALSE(HasFailure());
  }
}

// Small polygons inside the sample box take their own road to the edges; with spikes
// side by side, at the first side, at the closing side and right after one another,
// cancelled pairs leave sides of one chain apart (or a chain that crosses no row), and
// the edges must still be the filter's: as many, with the same runs on every line.
TEST(PathRunLengthGenerator, SmallPolygonsWithSpikesBuildTheFilteredEdges) {
  std::mt19937 random(31);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const Box box{0, 0, 30, 30};
  std::size_t edges = 0;
  for (int round = 0; round < 1500; ++round) {
    Polygon p;
    const int corners = 3 + static_cast<int>(unit(random) * 58);
    auto place = [&] { return 3.0 + unit(random) * 24.0; };
    p.push_back({place(), place()});
    while (static_cast<int>(p.size()) < corners) {
      const QorSc::Point<double> at = p.back();
      const double r = unit(random);
      if (r < 0.5 && at.y > 3.0 && at.y < 26.0) {
        // One row down or up and back, at nearly the same x (a spike) or a pixel
        // apart (a dent that covers one).
        const double row = unit(random) < 0.5 ? 1.0 : -1.0;
        const double apart = unit(random) < 0.8 ? 0.05 : 1.0;
        p.push_back({at.x + 0.02, std::floor(at.y + 0.5) + row * 0.6});
        p.push_back({at.x + apart, at.y + (unit(random) - 0.5) * 0.4});
      } else if (r < 0.7) {
        p.push_back({at.x + (unit(random) - 0.5) * 3.0, at.y + (unit(random) - 0.5) * 3.0});
      } else {
        p.push_back({place(), place()});
      }
    }
    if (round % 3 == 0) {
      // A spike across the closing side.
      p.insert(p.begin(), {p.front().x - 0.01, std::floor(p.front().y + 0.5) + 0.6});
    }
    if (!OutlivesCulling(p)) continue;
    QorSc::FlatOutline flat;
    flat.points = p;
    flat.ends = {p.size()};
    edges += ExpectTheGeneralEdges({p}, flat, box, round);
    ASSERT_FALSE(HasFailure());
  }
  EXPECT_GT(edges, 8000u);
}

}  // namespace

// Thin slanted quadrilaterals, like the pieces of hairline strokes: most lines cross
// two edges, a few start on one line (placed one by one into the active entries) or
// many at once (sorted and merged in), more are active than the entries first hold,
// and lines are skipped; every line must still be the reference's.
TEST(PathRunLengthGenerator, ManyThinPiecesMatchTheReference) {
  std::mt19937 random(99);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const Box box{0, 0, 90, 70};
  for (int round = 0; round < 24; ++round) {
    const int count = 1 + static_cast<int>(unit(random) * 100);
    // Every third round all pieces start on one row of centres.
    const bool one_row = round % 3 == 0;
    const double row = 5.5 + std::floor(unit(random) * 50);
    std::vector<Polygon> pieces;
    for (int n = 0; n < count; ++n) {
      const double x = unit(random) * 100 - 5;
      const double y = one_row ? row - 0.25 : unit(random) * 80 - 5;
      const double angle = unit(random) * 3.1;
      const double length = 2 + unit(random) * 50;
      const double width = 0.2 + unit(random) * 2.5;
      const double dx = std::cos(angle), dy = std::sin(angle);
      const double nx = -dy * width / 2, ny = dx * width / 2;
      const double ex = x + dx * length, ey = y + dy * length;
      pieces.push_back(
          {{x + nx, y + ny}, {ex + nx, ey + ny}, {ex - nx, ey - ny}, {x - nx, y - ny}});
    }
    for (std::uint32_t rule : {0u, 1u}) {
      const auto reference = QorScTest::ReferenceRuns(pieces, rule, box);
      ASSERT_EQ(AllLines(pieces, rule, box), reference) << "round " << round << " rule " << rule;
      auto skipping = Build(pieces, rule, box);
      for (long long y = box.top + round % 4; y < box.bottom; y += 1 + (y % 5)) {
        skipping->GenerateRuns(y);
        ASSERT_EQ(skipping->Runs(), reference[y - box.top])
            << "round " << round << " rule " << rule << " line " << y;
      }
    }
  }
}

// A stroke's pieces are mapped and culled by the builder itself; they must build
// exactly as many edges as the same pieces placed the same way (as a flattened
// outline, which is culled on its corners too) and the same runs on every line. Thin
// strokes a pixel or two wide, dots, caps and joins of every style cross one row and
// back at every turn, so the spike test decides often.
TEST(PathRunLengthGenerator, StrokePiecesBuildTheFilteredEdges) {
  // One world unit per pixel over a 60 × 60 target (y flipped).
  const QorSc::Environment env(Morv::MilliPointRectangle(0.0, 0.0, 60.0, 60.0), 60, 60);
  const Box box{2, 3, 57, 55};
  // The last placement overflows: corners near the origin stay finite, the others
  // become infinite or not a number.
  const Morv::MilliPointTransformation placements[] = {
      {}, {0.9, 0.25, -0.35, 1.05, 1.5, -2.0}, {1e308, -1e308, -1e308, 1e308, 0.0, 0.0}};
  std::mt19937 random(16);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::size_t edges = 0;
  for (int round = 0; round < 400; ++round) {
    Morv::PathBuilder path;
    const double x = 4 + unit(random) * 52, y = 4 + unit(random) * 52;
    const int kind = round % 4;
    if (round % 10 == 9) {
      path.MoveTo(0.3, 0.2).LineTo(2.5, 1.0).LineTo(x, y);
    } else if (kind == 0) {
      path.MoveTo(x, y).LineTo(x, y);  // a dot
    } else if (kind == 1) {
      path.MoveTo(x, y).LineTo(x + (unit(random) - 0.5) * 6, y + (unit(random) - 0.5) * 6);
    } else {
      path.MoveTo(x, y);
      for (int k = 0; k < 4; ++k) {
        path.LineTo(4 + unit(random) * 52, 4 + unit(random) * 52);
      }
      if (kind == 3) {
        path.CurveTo(x + 9, y - 7, x - 8, y + 5, x + 2, y + 1).Close();
      }
    }
    const auto compound = path.BuildShared();
    const double width = round % 8 < 5 ? 0.3 + unit(random) * 1.8 : 2.0 + unit(random) * 8;
    const auto cap = static_cast<Morv::LineCap>(round % 3);
    const auto join = static_cast<Morv::LineJoin>((round / 3) % 3);
    const Morv::StrokeOutline outline(compound, width, cap, join, 4.0, nullptr, 0.3);
    for (const auto& t : placements) {
      class Placer final : public Morv::OutlineSink {
       public:
        Placer(const QorSc::Environment& env, const Morv::MilliPointTransformation& t)
            : env_(env), t_(t) {}
        void Piece(std::span<const Morv::MilliPointPoint> points) override {
          const std::size_t begin = flat.points.size();
          flat.points.resize(begin + points.size());
          env_.TransformToInternal(t_, points.data(), points.size(), &flat.points[begin]);
          flat.ends.push_back(flat.points.size());
        }
        QorSc::FlatOutline flat;

       private:
        const QorSc::Environment& env_;
        const Morv::MilliPointTransformation& t_;
      } placed(env, t);
      outline.Walk(placed);
      QorSc::ScratchChains chains;
      QorSc::PathRunLengthGeneratorBuilder direct(Morv::kNonZero, box, chains);
      direct.AddOutline(outline, env, t);
      auto a = direct.Release();
      QorSc::PathRunLengthGeneratorBuilder filtered(Morv::kNonZero, box, chains);
      filtered.AddFlatOutline(placed.flat);
      auto b = filtered.Release();
      ASSERT_EQ(a->EdgeCount(), b->EdgeCount()) << "round " << round;
      edges += a->EdgeCount();
      ASSERT_EQ(Lines(*a, box), Lines(*b, box)) << "round " << round;
    }
  }
  EXPECT_GT(edges, 4000u);
}

// Sides that cross no row leave gaps in a chain: the edge runs on across such a gap
// where no row of centres can fall on it, and is cut in two where one may (left of and
// above the origin, a gap ending on a row centre). Either way every line stays the
// reference's, through a point enumerator and as corners inside the box.
TEST(PathRunLengthGenerator, GapsInAChainKeepTheRuns) {
  const Polygon zigzag{{5.0, 2.2},  {6.0, 4.7},  {7.5, 4.9}, {8.0, 9.3}, {8.4, 9.1},
                       {9.0, 12.6}, {3.0, 12.6}, {2.5, 7.1}, {2.0, 7.3}, {1.5, 2.2}};
  Polygon shifted;
  for (const auto& c : zigzag)
    shifted.push_back({c.x - 10.0, c.y - 16.0});
  const Polygon on_row{{-6.2, -8.1}, {-5.3, -3.6}, {-4.1, -3.5}, {-3.3, -1.2}, {-8.4, -1.2}};
  int round = 0;
  for (const auto& [polygon, box] :
       {std::pair{zigzag, Box{0, 0, 20, 20}}, std::pair{shifted, Box{-20, -20, 5, 5}},
        std::pair{on_row, Box{-20, -20, 5, 5}}}) {
    QorSc::FlatOutline flat;
    flat.points = polygon;
    flat.ends.push_back(polygon.size());
    EXPECT_GE(ExpectTheGeneralEdges({polygon}, flat, box, round++), 2u);
  }
}

// A long thin curve down a tall box, cut into slanted pieces as a hairline's outline is:
// its edges are held in blocks freed as the lines pass them, so a generator partway
// down holds fewer blocks and less storage, and every line (also after lines skipped
// past several blocks at once, and in a generator reset partway down for the next
// shape) stays the reference's.
TEST(PathRunLengthGenerator, LongOutlinesFreeTheirEdgesAsTheLinesPass) {
  const Box box{0, 0, 120, 1200};
  std::vector<Polygon> pieces;
  double x = 60.0, y = 1.3;
  for (int n = 0; y < 1190.0; ++n) {
    const double ex = 60.0 + 45.0 * std::sin(0.05 * (n + 1));
    const double ey = y + 2.0 + 3.0 * std::fabs(std::cos(0.11 * n));
    const double nx = 0.4, ny = -0.4 * (ex - x) / (ey - y);
    pieces.push_back({{x + nx, y + ny}, {ex + nx, ey + ny}, {ex - nx, ey - ny}, {x - nx, y - ny}});
    x = ex;
    y = ey;
  }
  const auto reference = QorScTest::ReferenceRuns(pieces, 1, box);

  auto generator = Build(pieces, 1, box);
  const std::size_t blocks = generator->HeldBlocks();
  const std::size_t bytes = generator->StorageBytes();
  EXPECT_GE(blocks, 8u);
  for (long long line = box.top; line < box.bottom; ++line) {
    generator->GenerateRuns(line);
    ASSERT_EQ(generator->Runs(), reference[line]) << "line " << line;
    if (line == 600) {
      EXPECT_LE(generator->HeldBlocks(), blocks / 2 + 1);
      EXPECT_LT(generator->StorageBytes(), bytes * 2 / 3);
    }
  }
  EXPECT_EQ(generator->HeldBlocks(), 1u);

  // Lines skipped, passing several blocks at a time.
  auto skipping = Build(pieces, 1, box);
  for (long long line = 3; line < box.bottom; line += 1 + 97 * (line % 2)) {
    skipping->GenerateRuns(line);
    ASSERT_EQ(skipping->Runs(), reference[line]) << "line " << line;
  }

  // Reset partway down (its first block long freed) and handed the same shape again.
  QorSc::ScratchChains chains;
  QorSc::PathRunLengthGeneratorBuilder again(1, box, chains, std::move(skipping));
  for (const Polygon& p : pieces) {
    ListEnumerator e(p);
    again.AddPoints(e);
  }
  auto reused = again.Release();
  EXPECT_EQ(reused->HeldBlocks(), blocks);
  EXPECT_EQ(Lines(*reused, box), reference);

  // A row of 60 teeth at the top (120 active entries on its lines) above one thin bar
  // down the box: the entries the teeth needed are given back once the lines leave
  // them, and the runs stay the reference's.
  std::vector<Polygon> comb{{{1.2, 5.3}, {1.7, 5.3}, {1.7, 1190.4}, {1.2, 1190.4}}};
  for (int t = 0; t < 60; ++t) {
    const double left = 3.1 + 1.9 * t;
    comb.push_back({{left, 2.2}, {left + 0.9, 2.2}, {left + 0.9, 40.6}, {left, 40.6}});
  }
  const auto comb_reference = QorScTest::ReferenceRuns(comb, 1, box);
  auto teeth = Build(comb, 1, box);
  std::size_t among_teeth = 0;
  for (long long line = box.top; line < box.bottom; ++line) {
    teeth->GenerateRuns(line);
    ASSERT_EQ(teeth->Runs(), comb_reference[line]) << "line " << line;
    if (line == 20) among_teeth = teeth->StorageBytes();
  }
  EXPECT_GT(among_teeth, 120 * 64u);
  // Held to the end, the 128-entry array alone would be 8 KB.
  EXPECT_LT(teeth->StorageBytes(), 120 * 64u);

  // Edges reaching billions of lines beyond the box give the same runs.
  const Box small{0, 0, 100, 100};
  const std::vector<Polygon> far{{{10.2, -5e9}, {90.7, 50.3}, {40.1, 6e9}},
                                 {{20.5, 30.5}, {60.2, -3e10}, {70.9, 80.4}, {50.1, 3e10}}};
  for (std::uint32_t rule : {0u, 1u})
    EXPECT_EQ(AllLines(far, rule, small), QorScTest::ReferenceRuns(far, rule, small));
}
