// Clip scopes against a pixel model: each test describes its clipping shapes once,
// builds the scopes from them and compares every admitted line with what the model
// derives pixel by pixel from the shapes' bounds (pixel-centre rule).
#include "raster/clip.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "pixel_space.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorSc::Clip;
using QorSc::ClipGroup;
using QorSc::ClipObject;
using QorSc::Run;
using QorSc::RunList;
using QorScTest::InternalRect;
using QorScTest::UnitEnvironment;

// Columns the model looks at; wider than the page so that stray runs show.
constexpr long long kLeft = -10;
constexpr long long kRight = 110;

// A clipping shape in internal coordinates: an axis-aligned rectangle, or the right
// triangle with legs along its top and left sides. No coordinate is at a half pixel
// and no pixel centre lies on the hypotenuse, so rounding never needs a tie rule.
struct Shape {
  double x0, y0, x1, y1;
  bool triangle = false;

  bool Covers(long long x, long long y) const {
    if (!triangle) {
      return std::lround(x0) <= x && x < std::lround(x1) && std::lround(y0) <= y &&
             y < std::lround(y1);
    }
    const double cx = x + 0.5, cy = y + 0.5;
    return cx > x0 && cy > y0 && (cx - x0) / (x1 - x0) + (cy - y0) / (y1 - y0) < 1.0;
  }
  long long Bottom() const { return std::lround(y1); }

  std::shared_ptr<const Morv::Compound> Compound() const {
    if (!triangle) return InternalRect(x0, y0, x1, y1);
    return Morv::PathBuilder()
        .Polygon({{x0, 100.0 - y0}, {x1, 100.0 - y0}, {x0, 100.0 - y1}})
        .BuildShared();
  }
};

// One element: a single shape, or a group uniting its shapes (possibly none).
struct Element {
  std::vector<Shape> shapes;
  bool group = false;

  bool Covers(long long x, long long y) const {
    for (const Shape& s : shapes) {
      if (s.Covers(x, y)) return true;
    }
    return false;
  }
  bool FinishedAt(long long line) const {
    for (const Shape& s : shapes) {
      if (s.Bottom() > line) return false;
    }
    return true;
  }
};

struct ModelScope {
  const ModelScope* enclosing = nullptr;
  std::vector<Element> elements;

  bool Excluded(long long line) const {
    for (const ModelScope* s = this; s; s = s->enclosing) {
      for (const Element& e : s->elements) {
        if (e.FinishedAt(line)) return true;
      }
    }
    return false;
  }
  bool Admits(long long x, long long y) const {
    if (Excluded(y)) return false;
    for (const ModelScope* s = this; s; s = s->enclosing) {
      for (const Element& e : s->elements) {
        if (!e.Covers(x, y)) return false;
      }
    }
    return true;
  }
  std::vector<bool> Row(long long y) const {
    std::vector<bool> row(kRight - kLeft);
    for (long long x = kLeft; x < kRight; ++x)
      row[x - kLeft] = Admits(x, y);
    return row;
  }
};

std::vector<bool> Pixels(const RunList& runs) {
  std::vector<bool> row(kRight - kLeft);
  for (const Run& r : runs) {
    for (long long x = r.start; x < r.End(); ++x)
      row.at(x - kLeft) = true;
  }
  return row;
}

// Ascending, with a gap between runs: touching runs must have been joined.
bool WellFormed(const RunList& runs) {
  for (std::size_t i = 0; i < runs.size(); ++i) {
    if (runs[i].length < 1) return false;
    if (i > 0 && runs[i].start <= runs[i - 1].End()) return false;
  }
  return true;
}

class ClipTest : public ::testing::Test {
 protected:
  QorSc::GeometrySource Source(const Shape& s) const {
    return QorSc::MakeGeometrySource(env_, limit_, s.Compound(), {});
  }

  std::unique_ptr<QorSc::ClipBase> Make(const Element& e) const {
    if (!e.group) return std::make_unique<ClipObject>(Source(e.shapes.at(0)));
    auto group = std::make_unique<ClipGroup>();
    for (const Shape& s : e.shapes)
      group->AddObject(Source(s));
    return group;
  }

  std::shared_ptr<Clip> Build(const ModelScope& model, std::shared_ptr<Clip> enclosing) const {
    auto clip = std::make_shared<Clip>(std::move(enclosing));
    for (const Element& e : model.elements)
      clip->AddElement(Make(e));
    return clip;
  }

  void Expect(Clip& clip, const ModelScope& model, long long line) {
    clip.Update(context_, line);
    EXPECT_EQ(clip.IsExcluded(), model.Excluded(line)) << "line " << line;
    EXPECT_TRUE(WellFormed(clip.Runs())) << "line " << line;
    EXPECT_EQ(Pixels(clip.Runs()), model.Row(line)) << "line " << line;
  }

  void ExpectAllLines(Clip& clip, const ModelScope& model) {
    for (long long line = -1; line <= 101; ++line)
      Expect(clip, model, line);
  }

  QorSc::Environment env_ = UnitEnvironment();
  QorSc::ScratchChains chains_;
  QorSc::LineContext context_{env_, chains_};
  Box limit_{0, 0, 100, 100};
};

const Shape kWide{10.2, 20.3, 30.7, 40.1};        // columns 10-30, rows 20-39
const Shape kTall{25.4, 5.2, 41.3, 70.4};         // columns 25-40, rows 5-69
const Shape kWedge{12.2, 8.3, 67.9, 88.6, true};  // rows 8-88, columns 12-67
const Shape kLeftGlyph{10.2, 30.3, 20.3, 45.1};   // columns 10-19, rows 30-44
const Shape kRightGlyph{20.3, 35.2, 30.1, 50.4};  // columns 20-29, rows 35-49

TEST_F(ClipTest, ObjectFollowsItsShapeAndReleasesItsGenerator) {
  ClipObject object(Source(kWide));
  object.Update(context_, 19);
  EXPECT_TRUE(object.IsEmpty());
  EXPECT_TRUE(object.Runs().empty());
  EXPECT_FALSE(object.IsFinished(19));
  object.Update(context_, 20);
  EXPECT_EQ(object.Runs(), (RunList{{10, 21}}));
  object.Update(context_, 39);
  EXPECT_FALSE(object.IsEmpty());
  object.Update(context_, 40);
  EXPECT_TRUE(object.IsEmpty());
  EXPECT_TRUE(object.IsFinished(40));
  EXPECT_FALSE(object.IsFinished(39));
}

TEST_F(ClipTest, OneRectangleAdmitsExactlyItsRuns) {
  const ModelScope model{nullptr, {{{kWide}}}};
  const auto clip = Build(model, nullptr);
  EXPECT_TRUE(clip->HasElements());
  ExpectAllLines(*clip, model);
}

TEST_F(ClipTest, ElementsIntersect) {
  const ModelScope two{nullptr, {{{kWide}}, {{kTall}}}};
  ExpectAllLines(*Build(two, nullptr), two);

  // The element starting lowest first: lines above it admit nothing without
  // excluding the scope. And a path element among boxes.
  const ModelScope three{nullptr, {{{kTall}}, {{kWedge}}, {{kWide}}}};
  ExpectAllLines(*Build(three, nullptr), three);
  const ModelScope reversed{nullptr, {{{kWedge}}, {{kWide}}, {{kTall}}}};
  ExpectAllLines(*Build(reversed, nullptr), reversed);
}

TEST_F(ClipTest, GroupUnitesTouchingGlyphsIntoOneRun) {
  ClipGroup group;
  group.AddObject(Source(kLeftGlyph));
  group.AddObject(Source(kRightGlyph));
  group.Update(context_, 32);
  EXPECT_EQ(group.Runs(), (RunList{{10, 10}}));
  group.Update(context_, 40);
  EXPECT_EQ(group.Runs(), (RunList{{10, 20}})) << "touching runs are one run";
  group.Update(context_, 47);
  EXPECT_EQ(group.Runs(), (RunList{{20, 10}}));
  EXPECT_FALSE(group.IsFinished(49));
  EXPECT_TRUE(group.IsFinished(50));

  const ModelScope text{nullptr, {{{kLeftGlyph, kRightGlyph, kWedge}, true}, {{kTall}}}};
  ExpectAllLines(*Build(text, nullptr), text);
}

TEST_F(ClipTest, GroupWithoutMembersIsFinishedAndExcludesItsScope) {
  ClipGroup group;
  EXPECT_TRUE(group.IsFinished(-1000));
  group.Update(context_, 3);
  EXPECT_TRUE(group.IsEmpty());

  const ModelScope model{nullptr, {{{kTall}}, {{}, true}}};
  ExpectAllLines(*Build(model, nullptr), model);
}

TEST_F(ClipTest, PassingAnElementExcludesTheScopeForTheRestOfThePage) {
  // kWide ends at row 40; kTall and kWedge go on below it.
  // Asked first for its last line with runs.
  const ModelScope model{nullptr, {{{kTall}}, {{kWedge}}, {{kWide}}}};
  const auto clip = Build(model, nullptr);
  ASSERT_FALSE(model.Excluded(39));
  for (long long line = 39; line < 100; ++line)
    Expect(*clip, model, line);
  // The same when the passed element comes first.
  const ModelScope first{nullptr, {{{kWide}}, {{kTall}}}};
  const auto other = Build(first, nullptr);
  for (long long line : {41, 50})
    Expect(*other, first, line);

  // And when the first element has not started yet on the line where a later one
  // ends: the scope is excluded there already, not only once the first one starts.
  const Shape low{15.3, 60.2, 35.1, 80.4};
  const ModelScope late{nullptr, {{{low}}, {{kWide}}}};
  const auto late_clip = Build(late, nullptr);
  late_clip->Update(context_, 40);
  EXPECT_TRUE(late_clip->IsExcluded());
  ExpectAllLines(*Build(late, nullptr), late);
}

TEST_F(ClipTest, NestedScopesIntersectWithTheirEnclosingScopes) {
  const ModelScope outer{nullptr, {{{kTall}}, {{kLeftGlyph, kRightGlyph, kWide}, true}}};
  const ModelScope middle{&outer, {}};
  const ModelScope inner{&middle, {{{kWedge}}}};
  const auto outer_clip = Build(outer, nullptr);
  const auto middle_clip = Build(middle, outer_clip);
  const auto inner_clip = Build(inner, middle_clip);
  EXPECT_TRUE(middle_clip->HasElements()) << "through its enclosing scope";
  for (long long line = -1; line <= 101; ++line) {
    Expect(*inner_clip, inner, line);
    // A scope without elements of its own admits what its enclosing scope admits.
    Expect(*middle_clip, middle, line);
    EXPECT_EQ(middle_clip->Runs(), outer_clip->Runs());
    Expect(*outer_clip, outer, line);
  }
}

TEST_F(ClipTest, NestedScopeOfAnExcludedScopeIsExcluded) {
  // The outer scope ends at row 40 while the inner one's shape goes on to row 88.
  const ModelScope outer{nullptr, {{{kWide}}}};
  const ModelScope inner{&outer, {{{kWedge}}}};
  const auto outer_clip = Build(outer, nullptr);
  const auto inner_clip = Build(inner, outer_clip);
  for (long long line = 30; line <= 60; ++line)
    Expect(*inner_clip, inner, line);
  EXPECT_TRUE(inner_clip->IsExcluded());
  EXPECT_TRUE(outer_clip->IsExcluded());

  // The inner scope passing its own element leaves the outer scope clipping.
  const ModelScope tall{nullptr, {{{kTall}}}};
  const ModelScope shorter{&tall, {{{kWide}}}};
  const auto tall_clip = Build(tall, nullptr);
  const auto shorter_clip = Build(shorter, tall_clip);
  shorter_clip->Update(context_, 45);
  EXPECT_TRUE(shorter_clip->IsExcluded());
  EXPECT_FALSE(tall_clip->IsExcluded());
  EXPECT_EQ(tall_clip->Runs(), (RunList{{25, 16}}));
}

TEST_F(ClipTest, ScopeWithoutElementsInItsChainDoesNotClip) {
  const auto outer = std::make_shared<Clip>(nullptr);
  const auto inner = std::make_shared<Clip>(outer);
  EXPECT_FALSE(outer->HasElements());
  EXPECT_FALSE(inner->HasElements());
  inner->Update(context_, 10);
  EXPECT_FALSE(inner->IsExcluded());
  EXPECT_FALSE(outer->IsExcluded());

  // An element added to the outer scope reaches the inner one.
  outer->AddElement(std::make_unique<ClipObject>(Source(kWide)));
  EXPECT_TRUE(inner->HasElements());
  inner->Update(context_, 25);
  EXPECT_EQ(inner->Runs(), (RunList{{10, 21}}));
}

TEST_F(ClipTest, LinesMayBeRepeatedOrSkipped) {
  // Two scopes share one enclosing scope, as the objects under them do; every scope
  // is asked for each line several times, in varying order.
  const ModelScope outer{nullptr, {{{kTall}}}};
  const ModelScope left{&outer, {{{kWedge}}}};
  const ModelScope right{&outer, {{{kLeftGlyph, kRightGlyph}, true}}};
  const auto outer_clip = Build(outer, nullptr);
  const auto left_clip = Build(left, outer_clip);
  const auto right_clip = Build(right, outer_clip);
  for (long long line = 0; line < 100; ++line) {
    Expect(*left_clip, left, line);
    Expect(*right_clip, right, line);
    Expect(*outer_clip, outer, line);
    Expect(*left_clip, left, line);
    Expect(*right_clip, right, line);
  }

  const ModelScope two{nullptr, {{{kTall}}, {{kWedge}}}};
  const ModelScope inner{&two, {{{kLeftGlyph, kRightGlyph, kWide}, true}}};
  const auto two_clip = Build(two, nullptr);
  const auto inner_clip = Build(inner, two_clip);
  for (long long line : {2, 9, 10, 21, 33, 34, 36, 44, 48, 49, 63, 70, 97}) {
    Expect(*inner_clip, inner, line);
    Expect(*two_clip, two, line);
  }
}

TEST_F(ClipTest, FirstLineIsComputedWhateverItsNumber) {
  limit_ = Box{kLeft, -10, kRight, 110};
  // Rows -5 to 7.
  const ModelScope model{nullptr, {{{{5.2, -4.7, 30.3, 8.1}}}}};
  for (long long first : {-1, 0}) {
    const auto clip = Build(model, nullptr);
    clip->Update(context_, first);
    EXPECT_EQ(clip->Runs(), (RunList{{5, 25}})) << first;
    for (long long line = first; line <= 9; ++line)
      Expect(*clip, model, line);
  }
}

}  // namespace
