// ImageMaskRunLengthGenerator against the sampling rule evaluated pixel by pixel.
//
// The reference below is written straight from the rule (including std::floor and
// the clamp of the column) and shares no code with the generator; the generator must
// reproduce it exactly on every requested line, whatever the placement.
#include "raster/image_mask_run_length_generator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using QorSc::ImageMaskRunLengthGenerator;
using Box = QorMath::Rectangle<long long>;
using Mask = QorImg::PictureBuffer;
using Transformation = Morv::MilliPointTransformation;
using Pairs = std::vector<std::pair<long long, long long>>;

struct Vec {
  double x;
  double y;
};

// One millipoint per pixel with y flipped: internal (x, y) is world (x, 1000 - y).
QorSc::Environment OneToOne() {
  return QorSc::Environment(Morv::MilliPointRectangle(0, 0, 1000, 1000), 1000, 1000);
}

// 1000 dpi: 72 millipoints per pixel.
QorSc::Environment ThousandDpi() {
  return QorSc::Environment(Morv::MilliPointRectangle(0, 0, 72000, 72000), 1000, 1000);
}

// The map (for OneToOne) putting the image's top-left corner at internal point `o`,
// its columns along `u` and its rows along `v`.
Transformation PlaceInPixels(Vec o, Vec u, Vec v) {
  return {u.x, -u.y, -v.x, v.y, o.x + v.x, 1000.0 - (o.y + v.y)};
}

std::shared_ptr<Mask> RandomMask(std::mt19937& random, std::size_t width, std::size_t height,
                                 double density, std::size_t extraStride = 0) {
  auto mask = std::make_shared<Mask>(width, height, 1, (width + 7) / 8 + extraStride);
  std::bernoulli_distribution coin(density);
  for (std::size_t row = 0; row < height; ++row) {
    for (std::size_t column = 0; column < width; ++column)
      mask->SetBit(column, row, coin(random));
  }
  return mask;
}

Pairs ToPairs(const QorSc::RunList& runs) {
  Pairs out;
  for (const QorSc::Run& r : runs)
    out.emplace_back(r.start, r.length);
  return out;
}

class Reference {
 public:
  Reference(const Box& box, std::shared_ptr<const Mask> mask, const Transformation& t,
            const QorSc::Environment& env)
      : box_(box), mask_(std::move(mask)) {
    const auto internal = [&](double x, double y) {
      return env.WorldToInternal(t.Apply(Morv::MilliPointPoint(x, y)));
    };
    const auto o = internal(0.0, 1.0);
    const auto pu = internal(1.0, 1.0);
    const auto pv = internal(0.0, 0.0);
    const double ux = pu.x - o.x;
    const double uy = pu.y - o.y;
    const double vx = pv.x - o.x;
    const double vy = pv.y - o.y;
    ox_ = o.x;
    oy_ = o.y;
    det_ = ux * vy - vx * uy;
    ss_ = vy / det_;
    st_ = -vx / det_;
    ts_ = -uy / det_;
    tt_ = ux / det_;
  }

  bool Covered(long long x, long long line) const {
    if (x < box_.left || x >= box_.right || line < box_.top || line >= box_.bottom) return false;
    const auto w = static_cast<double>(mask_->GetWidth());
    const auto h = static_cast<double>(mask_->GetHeight());
    if (det_ == 0.0 || w == 0.0 || h == 0.0) return false;
    const double dx = (static_cast<double>(x) + 0.5) - ox_;
    const double dy = (static_cast<double>(line) + 0.5) - oy_;
    const double s = ss_ * dx + st_ * dy;
    const double t = ts_ * dx + tt_ * dy;
    if (!(s >= 0.0 && s <= 1.0)) return false;
    const double row = std::floor(t * h);
    if (!(row >= 0.0 && row < h)) return false;
    const double column = std::min(std::floor(s * w), w - 1.0);
    return mask_->GetBit(static_cast<std::size_t>(column), static_cast<std::size_t>(row));
  }

  Pairs Runs(long long line) const {
    Pairs out;
    for (long long x = box_.left; x < box_.right;) {
      if (!Covered(x, line)) {
        ++x;
        continue;
      }
      const long long start = x;
      while (x < box_.right && Covered(x, line))
        ++x;
      out.emplace_back(start, x - start);
    }
    return out;
  }

 private:
  Box box_;
  std::shared_ptr<const Mask> mask_;
  double ox_, oy_, det_, ss_, st_, ts_, tt_;
};

// Requests the lines of the box from above it to below it with random skips, each
// checked against the reference; now and then asks for an earlier line, which must
// change nothing.
void ExpectMatchesReference(const Box& box, const std::shared_ptr<const Mask>& mask,
                            const Transformation& t, const QorSc::Environment& env,
                            std::mt19937& random) {
  ImageMaskRunLengthGenerator generator(box, mask, t, env);
  const Reference reference(box, mask, t, env);
  std::uniform_int_distribution<int> skip(1, 3);
  long long line = box.top - 2;
  for (; line < box.bottom; line += skip(random)) {
    generator.GenerateRuns(line);
    if (line < box.top) {
      ASSERT_EQ(generator.GetState(), ImageMaskRunLengthGenerator::kNotStarted);
      ASSERT_TRUE(generator.Runs().empty());
      continue;
    }
    const Pairs expected = reference.Runs(line);
    ASSERT_EQ(ToPairs(generator.Runs()), expected) << "line " << line;
    if (line % 4 == 0) {
      generator.GenerateRuns(line - 1);
      ASSERT_EQ(ToPairs(generator.Runs()), expected) << "an earlier line, after " << line;
    }
  }
  generator.GenerateRuns(line);
  EXPECT_EQ(generator.GetState(), ImageMaskRunLengthGenerator::kFinished);
  EXPECT_TRUE(generator.Runs().empty());
}

Box BoundingBox(Vec o, Vec u, Vec v, long long margin) {
  const double xs[4] = {o.x, o.x + u.x, o.x + v.x, o.x + u.x + v.x};
  const double ys[4] = {o.y, o.y + u.y, o.y + v.y, o.y + u.y + v.y};
  return {static_cast<long long>(std::floor(*std::min_element(xs, xs + 4))) - margin,
          static_cast<long long>(std::floor(*std::min_element(ys, ys + 4))) - margin,
          static_cast<long long>(std::ceil(*std::max_element(xs, xs + 4))) + margin,
          static_cast<long long>(std::ceil(*std::max_element(ys, ys + 4))) + margin};
}

// A non-empty box inside `outer` that cuts it on every side it can.
Box CuttingBox(const Box& outer, std::mt19937& random) {
  const long long mid_x = (outer.left + outer.right) / 2;
  const long long mid_y = (outer.top + outer.bottom) / 2;
  const auto pick = [&](long long a, long long b) {
    return std::uniform_int_distribution<long long>(a, b)(random);
  };
  return {pick(outer.left, mid_x), pick(outer.top, mid_y), pick(mid_x + 1, outer.right),
          pick(mid_y + 1, outer.bottom)};
}

enum class Kind {
  kUpright,
  kMirroredX,
  kMirroredY,
  kShearedX,
  kTiltedShear,
  kFlat,
  kQuarterTurnLeft,
  kQuarterTurnRight,
  kNearQuarterTurn,
  kRotated30,
  kRotated,
  kGeneralShear,
};

struct Placement {
  Vec o;
  Vec u;
  Vec v;
  ImageMaskRunLengthGenerator::Mode mode;
};

Placement MakePlacement(Kind kind, std::mt19937& random) {
  const auto uniform = [&](double a, double b) {
    return std::uniform_real_distribution<double>(a, b)(random);
  };
  const auto sign = [&] { return std::bernoulli_distribution(0.5)(random) ? 1.0 : -1.0; };
  const Vec o{uniform(100.0, 130.0), uniform(100.0, 130.0)};
  const double sw = uniform(3.0, 90.0);
  const double sh = uniform(3.0, 90.0);
  using G = ImageMaskRunLengthGenerator;
  switch (kind) {
    case Kind::kUpright:
      return {o, {sw, 0.0}, {0.0, sh}, G::kColumnsAlongLines};
    case Kind::kMirroredX:
      return {{o.x + sw, o.y}, {-sw, 0.0}, {0.0, sh}, G::kColumnsAlongLines};
    case Kind::kMirroredY:
      return {{o.x, o.y + sh}, {sw, 0.0}, {0.0, -sh}, G::kColumnsAlongLines};
    case Kind::kShearedX:
      return {o, {sw, 0.0}, {uniform(-sh, sh), sh}, G::kColumnsAlongLines};
    case Kind::kTiltedShear:
      return {o, {sw, uniform(-0.45, 0.45)}, {uniform(-sh, sh), sh}, G::kColumnsAlongLines};
    case Kind::kFlat:
      // Rows along the lines but too flat to count as turned: s is fixed on a line.
      return {o,
              {sw, sign() * uniform(0.2, 0.45)},
              {sign() * uniform(20.0, 60.0), 0.0},
              G::kColumnsAlongLines};
    case Kind::kQuarterTurnLeft:
      return {{o.x + sh, o.y}, {0.0, sw}, {-sh, 0.0}, G::kRowsAlongLines};
    case Kind::kQuarterTurnRight:
      return {{o.x, o.y + sw}, {0.0, -sw}, {sh, 0.0}, G::kRowsAlongLines};
    case Kind::kNearQuarterTurn:
      return {o,
              {uniform(-sw, sw), sign() * sw},
              {sign() * sh, uniform(-0.45, 0.45)},
              G::kRowsAlongLines};
    case Kind::kRotated30:
    case Kind::kRotated: {
      const double degrees =
          kind == Kind::kRotated30 ? 30.0 : uniform(10.0, 80.0) + 90.0 * (random() % 4);
      const double a = degrees * std::numbers::pi / 180.0;
      return {o,
              {sw * std::cos(a), sw * std::sin(a)},
              {-sh * std::sin(a), sh * std::cos(a)},
              G::kGeneral};
    }
    case Kind::kGeneralShear: {
      const double g1 = sign() * uniform(0.3, 1.5);
      const double g2 = g1 > 0.0 ? uniform(-1.0, 0.4) : uniform(-0.4, 1.0);
      return {o, {sw, g1 * sw}, {g2 * sh, sh}, G::kGeneral};
    }
  }
  return {};
}

TEST(ImageMaskRunLengthGenerator, MatchesTheRuleUnderEveryPlacement) {
  std::mt19937 random(20240611);
  std::set<ImageMaskRunLengthGenerator::Mode> modes;
  const QorSc::Environment env = OneToOne();
  for (Kind kind :
       {Kind::kUpright, Kind::kMirroredX, Kind::kMirroredY, Kind::kShearedX, Kind::kTiltedShear,
        Kind::kFlat, Kind::kQuarterTurnLeft, Kind::kQuarterTurnRight, Kind::kNearQuarterTurn,
        Kind::kRotated30, Kind::kRotated, Kind::kGeneralShear}) {
    for (int round = 0; round < 12; ++round) {
      SCOPED_TRACE(testing::Message() << "kind " << static_cast<int>(kind) << ", round " << round);
      std::uniform_int_distribution<std::size_t> size(1, 40);
      const std::size_t w = size(random);
      const std::size_t h = size(random);
      const auto mask = RandomMask(random, w, h, round % 3 == 0 ? 0.85 : 0.5, round % 2);
      const Placement p = MakePlacement(kind, random);
      const Transformation t = PlaceInPixels(p.o, p.u, p.v);
      const Box whole = BoundingBox(p.o, p.u, p.v, 3);

      ImageMaskRunLengthGenerator probe(whole, mask, t, env);
      EXPECT_EQ(probe.GetMode(), p.mode);
      modes.insert(probe.GetMode());

      ExpectMatchesReference(whole, mask, t, env, random);
      ExpectMatchesReference(CuttingBox(whole, random), mask, t, env, random);
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_EQ(modes.size(), 3u) << "every mode is exercised";
}

TEST(ImageMaskRunLengthGenerator, WorldPlacementsAtThousandDpi) {
  std::mt19937 random(72);
  const QorSc::Environment env = ThousandDpi();
  for (double degrees : {0.0, 90.0, 180.0, 270.0, 30.0, 135.0, 200.0}) {
    for (double mirror : {1.0, -1.0}) {
      SCOPED_TRACE(testing::Message() << degrees << " degrees, mirror " << mirror);
      const auto mask = RandomMask(random, 17, 11, 0.5);
      const double a = degrees * std::numbers::pi / 180.0;
      const double sw = 72.0 * 37.3 * mirror;
      const double sh = 72.0 * 23.9;
      const Transformation t{sw * std::cos(a), sw * std::sin(a), -sh * std::sin(a),
                             sh * std::cos(a), 72.0 * 300.37,    72.0 * 400.61};
      const QorMath::Rectangle<double> r = env.WorldToInternal(
          Morv::TransformedBoundingBox(t, Morv::MilliPointRectangle(0, 0, 1, 1)));
      const Box whole{static_cast<long long>(r.left) - 2, static_cast<long long>(r.top) - 2,
                      static_cast<long long>(r.right) + 3, static_cast<long long>(r.bottom) + 3};
      ExpectMatchesReference(whole, mask, t, env, random);
      ExpectMatchesReference(CuttingBox(whole, random), mask, t, env, random);
    }
  }
}

// A placement of the given kind whose image axes are `side` pixels long.
void ExpectScaledMatchesReference(Kind kind, double side, const std::shared_ptr<const Mask>& mask,
                                  const QorSc::Environment& env, std::mt19937& random) {
  Placement p = MakePlacement(kind, random);
  const double scale_u = side / std::hypot(p.u.x, p.u.y);
  const double scale_v = side / std::hypot(p.v.x, p.v.y);
  p.u = {p.u.x * scale_u, p.u.y * scale_u};
  p.v = {p.v.x * scale_v, p.v.y * scale_v};
  const Transformation t = PlaceInPixels(p.o, p.u, p.v);
  ExpectMatchesReference(BoundingBox(p.o, p.u, p.v, 2), mask, t, env, random);
}

TEST(ImageMaskRunLengthGenerator, TinyMasksUpscaledAndMasksDownscaled) {
  std::mt19937 random(3);
  const QorSc::Environment env = OneToOne();

  // One set sample on whole pixels: exactly the 50 × 50 square.
  auto single = std::make_shared<Mask>(1, 1, 1);
  single->SetBit(0, 0, true);
  const Box box{0, 0, 100, 100};
  ImageMaskRunLengthGenerator generator(box, single,
                                        PlaceInPixels({10.0, 10.0}, {50.0, 0.0}, {0.0, 50.0}), env);
  for (long long line = 0; line < 100; ++line) {
    generator.GenerateRuns(line);
    const Pairs expected = line >= 10 && line < 60 ? Pairs{{10, 50}} : Pairs{};
    ASSERT_EQ(ToPairs(generator.Runs()), expected) << "line " << line;
  }

  // One to six samples over 50 pixels, and 40 × 40 samples over 7.
  for (int round = 0; round < 8; ++round) {
    const auto tiny = RandomMask(random, round % 2 == 0 ? 1 : 2, round % 2 == 0 ? 1 : 3, 0.6);
    for (Kind kind : {Kind::kUpright, Kind::kMirroredY, Kind::kQuarterTurnLeft, Kind::kRotated})
      ExpectScaledMatchesReference(kind, 50.0, tiny, env, random);
    const auto large = RandomMask(random, 40, 40, 0.5);
    for (Kind kind : {Kind::kUpright, Kind::kMirroredX, Kind::kQuarterTurnRight, Kind::kRotated30,
                      Kind::kGeneralShear}) {
      ExpectScaledMatchesReference(kind, 7.0, large, env, random);
    }
  }
}

TEST(ImageMaskRunLengthGenerator, StateFollowsTheRequestedLines) {
  const QorSc::Environment env = OneToOne();
  auto mask = std::make_shared<Mask>(1, 1, 1);
  mask->SetBit(0, 0, true);
  const Transformation t = PlaceInPixels({0.0, 0.0}, {100.0, 0.0}, {0.0, 100.0});
  ImageMaskRunLengthGenerator generator(Box{10, 20, 60, 40}, mask, t, env);

  generator.GenerateRuns(5);
  EXPECT_EQ(generator.GetState(), ImageMaskRunLengthGenerator::kNotStarted);
  EXPECT_TRUE(generator.Runs().empty());
  EXPECT_EQ(generator.GetLastLine(), -1);

  generator.GenerateRuns(20);
  EXPECT_EQ(generator.GetState(), ImageMaskRunLengthGenerator::kActive);
  EXPECT_EQ(ToPairs(generator.Runs()), (Pairs{{10, 50}}));
  EXPECT_EQ(generator.GetLastLine(), 20);

  generator.GenerateRuns(20);
  generator.GenerateRuns(3);
  EXPECT_EQ(ToPairs(generator.Runs()), (Pairs{{10, 50}})) << "the current or an earlier line";
  EXPECT_EQ(generator.GetLastLine(), 20);

  generator.GenerateRuns(39);
  EXPECT_EQ(generator.GetLastLine(), 39);
  EXPECT_EQ(ToPairs(generator.Runs()), (Pairs{{10, 50}}));

  generator.GenerateRuns(40);
  EXPECT_EQ(generator.GetState(), ImageMaskRunLengthGenerator::kFinished);
  EXPECT_TRUE(generator.Runs().empty());

  ImageMaskRunLengthGenerator skipped(Box{10, 20, 60, 40}, mask, t, env);
  skipped.GenerateRuns(100);
  EXPECT_EQ(skipped.GetState(), ImageMaskRunLengthGenerator::kFinished);
  EXPECT_TRUE(skipped.Runs().empty());
}

TEST(ImageMaskRunLengthGenerator, RightBorderReadsTheLastColumn) {
  // Pixel 4's centre lies at s = 1 exactly: s·W = 4, which belongs to column 3.
  const QorSc::Environment env = OneToOne();
  auto mask = std::make_shared<Mask>(4, 4, 1);
  for (std::size_t row = 0; row < 4; ++row)
    mask->SetBit(3, row, true);
  ImageMaskRunLengthGenerator generator(Box{0, 0, 20, 20}, mask,
                                        PlaceInPixels({0.5, 10.0}, {4.0, 0.0}, {0.0, 4.0}), env);
  for (long long line = 0; line < 20; ++line) {
    generator.GenerateRuns(line);
    const Pairs expected = line >= 10 && line < 14 ? Pairs{{3, 2}} : Pairs{};
    ASSERT_EQ(ToPairs(generator.Runs()), expected) << "line " << line;
  }

  // The same border reached from the other side of a mirrored image.
  ImageMaskRunLengthGenerator mirrored(Box{0, 0, 20, 20}, mask,
                                       PlaceInPixels({4.5, 10.0}, {-4.0, 0.0}, {0.0, 4.0}), env);
  mirrored.GenerateRuns(11);
  EXPECT_EQ(ToPairs(mirrored.Runs()), (Pairs{{0, 2}}));
}

// Singular placements and masks without samples cover nothing on any line.
TEST(ImageMaskRunLengthGenerator, SingularPlacementsAndEmptyMasksCoverNothing) {
  std::mt19937 random(5);
  const QorSc::Environment env = OneToOne();
  const auto full = RandomMask(random, 8, 8, 1.0);
  const Transformation upright = PlaceInPixels({0.0, 0.0}, {50.0, 0.0}, {0.0, 50.0});
  const std::pair<std::shared_ptr<Mask>, Transformation> cases[] = {
      {full, PlaceInPixels({10.0, 10.0}, {20.0, 10.0}, {40.0, 20.0})},
      {full, PlaceInPixels({10.0, 10.0}, {0.0, 0.0}, {0.0, 30.0})},
      {full, Transformation{0, 0, 0, 0, 10, 10}},
      {std::make_shared<Mask>(0, 4, 1), upright},
      {std::make_shared<Mask>(4, 0, 1), upright},
      {std::make_shared<Mask>(0, 0, 1), upright},
  };
  for (const auto& [mask, t] : cases) {
    ImageMaskRunLengthGenerator generator(Box{0, 0, 100, 100}, mask, t, env);
    for (long long line = 0; line < 100; ++line) {
      generator.GenerateRuns(line);
      ASSERT_TRUE(generator.Runs().empty()) << "line " << line;
      ASSERT_EQ(generator.GetState(), ImageMaskRunLengthGenerator::kActive);
    }
  }
}

TEST(ImageMaskRunLengthGenerator, ExtremePlacementsFollowTheRule) {
  std::mt19937 random(6);
  const QorSc::Environment env = OneToOne();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (bool corner : {false, true}) {
    auto mask = RandomMask(random, 5, 5, 0.5);
    mask->SetBit(0, 0, corner);
    // The first has a determinant that overflows, so every centre maps to (0, 0).
    for (const Transformation& t :
         {PlaceInPixels({10.0, 10.0}, {1e300, 0.0}, {0.0, 1e300}),
          Transformation{nan, 0, 0, 1, 0, 0}, Transformation{inf, 0, 0, 1, 0, 0},
          Transformation{1e-300, 0, 0, 1e-300, 5.25, 5.25}}) {
      ExpectMatchesReference(Box{0, 0, 30, 30}, mask, t, env, random);
    }
  }
}

TEST(ImageMaskRunLengthGenerator, RejectsMissingAndMultiBitMasks) {
  const QorSc::Environment env = OneToOne();
  const Transformation t = PlaceInPixels({0.0, 0.0}, {50.0, 0.0}, {0.0, 50.0});
  EXPECT_THROW(ImageMaskRunLengthGenerator(Box{0, 0, 60, 60}, nullptr, t, env),
               std::invalid_argument);
  EXPECT_THROW(
      ImageMaskRunLengthGenerator(Box{0, 0, 60, 60}, std::make_shared<Mask>(4, 4, 8), t, env),
      std::invalid_argument);
}

}  // namespace

namespace {

// Upright and mirrored masks (u.y = 0) by walking one image row along the line: the
// image column of the range's first pixel centre and the column step per pixel, each
// split into a whole and a fractional part, the fraction carried into the column when
// it reaches 1. The range (pixel centres with 0 <= s <= 1) is taken from the rule;
// the walk decides only which column each pixel reads.
Pairs SteppedRuns(const Box& box, const Mask& mask, Vec o, Vec u, Vec v, long long line) {
  const double w = static_cast<double>(mask.GetWidth());
  const double h = static_cast<double>(mask.GetHeight());
  const double yc = static_cast<double>(line) + 0.5;
  const double t = (yc - o.y) / v.y;
  Pairs runs;
  if (!(t >= 0.0) || !(t * h < h)) return runs;
  const auto row = static_cast<std::size_t>(std::floor(t * h));
  const auto column_at = [&](long long x) {  // s·W, from x's own centre
    return ((static_cast<double>(x) + 0.5 - o.x) - t * v.x) / u.x * w;
  };
  long long first = box.left;
  while (first < box.right && !(column_at(first) >= 0.0 && column_at(first) <= w))
    ++first;
  long long end = first;
  while (end < box.right && column_at(end) >= 0.0 && column_at(end) <= w)
    ++end;
  if (first == end) return runs;

  const double c0 = column_at(first);
  const double step = w / u.x;
  double whole = std::floor(c0), fraction = c0 - whole;
  const double step_whole = std::floor(step), step_fraction = step - step_whole;
  bool open = false;
  long long start = first;
  for (long long x = first; x < end; ++x) {
    const double column = std::clamp(whole, 0.0, w - 1.0);
    const bool set = mask.GetBit(static_cast<std::size_t>(column), row);
    if (set && !open) start = x;
    if (!set && open) runs.emplace_back(start, x - start);
    open = set;
    whole += step_whole;
    fraction += step_fraction;
    if (fraction >= 1.0) {
      fraction -= 1.0;
      whole += 1.0;
    }
  }
  if (open) runs.emplace_back(start, end - start);
  return runs;
}

// Upright and mirrored masks read each pixel's sample from its own centre. Where
// column stepping along the line is exact (every value a binary fraction, pixel
// centres falling right on sample boundaries included) it gives the same runs.
TEST(ImageMaskRunLengthGenerator, UprightMasksAgreeWithColumnStepping) {
  std::mt19937 random(20261123);
  struct Case {
    Vec o, u, v;
    std::size_t w, h;
  };
  // Centres on boundaries: 8 samples over 16 pixels puts every other centre on one,
  // 16 over 8 pixels every centre; mirrored, sheared along x, and offset by halves.
  const Case exact_cases[] = {
      {{0.5, 0.0}, {16.0, 0.0}, {0.0, 8.0}, 8, 4},    {{0.0, 0.0}, {8.0, 0.0}, {0.0, 8.0}, 16, 8},
      {{20.5, 1.0}, {-16.0, 0.0}, {0.0, 8.0}, 8, 4},  {{3.0, 0.5}, {32.0, 0.0}, {4.0, 8.0}, 64, 8},
      {{1.5, 0.0}, {12.0, 0.0}, {-2.0, 16.0}, 24, 4}, {{40.0, 2.0}, {-8.0, 0.0}, {0.0, 4.0}, 32, 2},
  };
  for (const Case& c : exact_cases) {
    const auto mask = RandomMask(random, c.w, c.h, 0.5);
    const Box box = BoundingBox(c.o, c.u, c.v, 2);
    ImageMaskRunLengthGenerator generator(box, mask, PlaceInPixels(c.o, c.u, c.v), OneToOne());
    ASSERT_EQ(generator.GetMode(), ImageMaskRunLengthGenerator::kColumnsAlongLines);
    for (long long line = box.top; line < box.bottom; ++line) {
      generator.GenerateRuns(line);
      ASSERT_EQ(ToPairs(generator.Runs()), SteppedRuns(box, *mask, c.o, c.u, c.v, line))
          << "line " << line << " of the mask at " << c.o.x << "," << c.o.y;
    }
  }
}

}  // namespace
