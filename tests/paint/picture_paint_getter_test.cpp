// Picture paint: random placements in all three orientation cases against a
// per-pixel oracle (bit for bit), the line range against the path generator's runs
// of the same unit square, the fast paths of upright pictures, the decode rules,
// 1-bit samples, soft masks, the layering of process output and the conversion of
// only the samples a page shows. Pictures through collection and the scan converter
// have their own tests (the opaque copy's).

#include "paint/picture_paint_getter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "qordoc/document.h"
#include "raster/path_run_length_generator_builder.h"
#include "raster/point_enumerator.h"
#include "test_picture.h"

namespace {

using QorSc::Options;
using QorSc::RunList;
using QorSc::SourcePaintBuffers;
using T = Morv::MilliPointTransformation;
using Box = QorMath::Rectangle<long long>;

constexpr long long kSize = 200;
constexpr float kMarker = -7.0f;

// One millipoint is one pixel; world y runs up, internal y down.
QorSc::Environment Env() {
  return QorSc::Environment(Morv::MilliPointRectangle(0.0, 0.0, kSize, kSize), kSize, kSize);
}

Options Plates(std::initializer_list<const char*> names) {
  Options::SeparationList plates;
  for (const char* name : names)
    plates.Add(name, 0.0f);
  return Options(plates, {});
}

void Mark(SourcePaintBuffers& buffers) {
  for (std::size_t i = 0; i <= buffers.ComponentCount(); ++i) {
    for (long long x = buffers.Left(); x < buffers.Right(); ++x)
      buffers.Component(i)[x] = kMarker;
  }
}

// Line `line` of what `getter` paints over the whole target, on marked buffers.
SourcePaintBuffers PaintedLine(QorSc::PicturePaintGetter& getter, std::size_t components,
                               long long line, RunList* painted = nullptr) {
  SourcePaintBuffers buffers(components, 0, kSize);
  Mark(buffers);
  RunList runs;
  getter.Compute({line}, RunList{{0, kSize}}, buffers, painted ? *painted : runs);
  return buffers;
}

// The path generator's runs of the placed unit square, one list per line.
std::vector<RunList> UnitSquareRuns(const T& t, const QorSc::Environment& env, const Box& box) {
  const std::vector<Morv::MilliPointPoint> square = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
  QorSc::ScratchChains chains;
  QorSc::PathRunLengthGeneratorBuilder builder(1, box, chains);
  QorSc::VectorPointEnumerator points(square, t, env);
  builder.AddPoints(points);
  auto generator = builder.Release();
  std::vector<RunList> lines;
  for (long long y = box.top; y < box.bottom; ++y) {
    generator->GenerateRuns(y);
    lines.push_back(generator->Runs());
  }
  return lines;
}

// The decode rules, written out independently of the getter.
float Decoded(std::uint8_t b, QorImg::DecodePair d) {
  if (d.dmin == 0.0f && d.dmax == 1.0f) return static_cast<float>(b) * 0.003921569f;
  if (d.dmin == 1.0f && d.dmax == 0.0f) return static_cast<float>(255 - b) * 0.003921569f;
  float v = b == 0 ? d.dmin
                   : (b == 255 ? d.dmax
                               : static_cast<float>((1.0 - b * 0.00392156862745098) * d.dmin +
                                                    b * 0.00392156862745098 * d.dmax));
  if (!(v >= 0.0f)) v = 0.0f;
  return v > 1.0f ? 1.0f : v;
}

struct RandomPicture {
  std::size_t width, height;
  std::vector<std::string> colorants;
  std::vector<std::uint8_t> samples;
  QorImg::DecodePair decode;
  std::size_t mask_width = 0, mask_height = 0;
  std::vector<std::uint8_t> mask;
  QorImg::DecodePair mask_decode;
};

// The sample index under pixel x of `line`: the stepped index along the line for the
// index the case steps, the index at the range's first pixel for the other.
long long OracleIndex(const QorSc::PicturePlacement& p, bool column, long long x, long long line,
                      long long first) {
  const bool steps =
      column ? (p.orientation != 1 && p.v.y != 0.0) : (p.orientation != 0 && p.u.y != 0.0);
  long long index;
  if (steps) {
    double origin, step;
    if (column) {
      p.ColumnStep(line, origin, step);
    } else {
      p.RowStep(line, origin, step);
    }
    index = static_cast<long long>(std::floor((x + 0.5 - origin) * step));
  } else {
    index = column ? p.ColumnAt(first, line) : p.RowAt(first, line);
  }
  const long long count = column ? p.columns : p.rows;
  return index < 0 ? 0 : (index >= count ? count - 1 : index);
}

bool NearFastStep(double step) {
  if (std::fabs(step - 1.0) < 1e-3) return true;
  if (step > 0.0005 && step < 1.0) {
    const double r = 1.0 / step;
    return std::fabs(r - std::round(r)) < 1e-3;
  }
  return false;
}

// A placement of the wanted case, scales between 3 and 150 pixels.
T RandomPlacement(std::mt19937& rng, int wanted) {
  std::uniform_real_distribution<double> scale(3.0, 150.0), small(-0.45, 0.45), shear(-30, 30),
      offset(-30.0, 170.0), angle(0.0, 6.283185307179586), sign(0.0, 1.0);
  auto s = [&] { return sign(rng) < 0.5 ? -scale(rng) : scale(rng); };
  switch (wanted) {
    case 0:
      // Some exactly upright: every line then steps the same columns.
      if (sign(rng) < 0.3) return T{s(), 0.0, 0.0, s(), offset(rng), offset(rng)};
      return T{s(), small(rng), shear(rng), s(), offset(rng), offset(rng)};
    case 1:
      // Some exact quarter turns: every line then steps the same rows.
      if (sign(rng) < 0.3) return T{0.0, s(), s(), 0.0, offset(rng), offset(rng)};
      return T{shear(rng), s(), s(), small(rng), offset(rng), offset(rng)};
    default: {
      const double a = angle(rng), w = scale(rng), h = scale(rng);
      return T{w * std::cos(a), w * std::sin(a), -h * std::sin(a) + shear(rng),
               h * std::cos(a), offset(rng),     offset(rng)};
    }
  }
}

TEST(PicturePaintGetter, RandomPlacementsMatchThePerPixelOracle) {
  std::mt19937 rng(20261123);
  const QorSc::Environment env = Env();
  const Box box{0, 0, kSize, kSize};
  const std::vector<QorImg::DecodePair> decodes = {{0.0f, 1.0f}, {1.0f, 0.0f}, {0.2f, 0.8f}};
  const Options separations = Plates({"Cyan", "Magenta", "Yellow", "Black"});
  const Options process(true, {});
  int done[3] = {0, 0, 0};
  std::uniform_int_distribution<int> byte(0, 255), dim(1, 40), pick(0, 2);

  for (int attempt = 0; attempt < 2000 && (done[0] + done[1] + done[2]) < 90; ++attempt) {
    const int wanted = attempt % 3;
    if (done[wanted] >= 30) continue;
    const T t = RandomPlacement(rng, wanted);
    RandomPicture r;
    r.width = dim(rng);
    r.height = dim(rng);
    // Channels: one plate each (three, or all four in sample order); every third
    // picture has two channels on Black.
    r.colorants = attempt % 3 == 0 ? std::vector<std::string>{"Magenta"}
                  : attempt % 6 == 4
                      ? std::vector<std::string>{"Cyan", "Magenta", "Yellow", "Black"}
                  : attempt % 3 == 1 ? std::vector<std::string>{"Cyan", "Yellow", "Black"}
                                     : std::vector<std::string>{"Black", "Black"};
    r.samples.resize(r.width * r.height * r.colorants.size());
    for (auto& b : r.samples)
      b = static_cast<std::uint8_t>(byte(rng) < 20 ? (byte(rng) < 128 ? 0 : 255) : byte(rng));
    r.decode = decodes[pick(rng)];
    std::shared_ptr<const QorImg::PictureData> mask;
    if (attempt % 2 == 0) {
      r.mask_width = dim(rng);
      r.mask_height = dim(rng);
      r.mask.resize(r.mask_width * r.mask_height);
      for (auto& b : r.mask)
        b = static_cast<std::uint8_t>(byte(rng));
      r.mask_decode = decodes[pick(rng)];
      mask = QorTest::MakeInkPicture(r.mask_width, r.mask_height, {"m"}, r.mask)->GetPictureData();
    }
    const auto picture = QorTest::MakeInkPicture(r.width, r.height, r.colorants, r.samples,
                                                 r.decode, mask, r.mask_decode);

    const bool use_process = attempt % 4 == 1;
    const Options& options = use_process ? process : separations;
    QorSc::PicturePaintGetter getter(picture, env, options, t);
    const auto& p = getter.GetPlacement();
    if (p.orientation != wanted || p.Singular()) continue;
    // The fast paths of upright pictures intentionally round the step; they have a
    // test of their own.
    if (wanted == 0 && p.v.y != 0.0) {
      double o, step;
      p.ColumnStep(0, o, step);
      if (NearFastStep(step)) continue;
      if (mask) {
        QorSc::PicturePlacement mp(env, t, r.mask_width, r.mask_height);
        mp.ColumnStep(0, o, step);
        if (NearFastStep(step)) continue;
      }
    }
    ++done[wanted];
    EXPECT_EQ(getter.GetPaintKind(), mask ? 2 : 1);
    const QorSc::PicturePlacement mp(env, t, r.mask_width, r.mask_height);

    // The range is the picture's own, not cut by the box: the index held along a line
    // must not depend on which pixels are asked for.
    const auto ranges = UnitSquareRuns(t, env, Box{-1000000, 0, 1000000, kSize});
    SourcePaintBuffers buffers(4, box.left, box.right);
    std::uniform_int_distribution<long long> at(-10, kSize + 10);
    for (long long y = 0; y < kSize; ++y) {
      RunList runs;
      // Pairs of lines with the same run: a walk kept from the line before is reused.
      if (y % 4 < 2) {
        runs.push_back({0, kSize});
      } else {
        long long a = at(rng), b = at(rng);
        if (a > b) std::swap(a, b);
        a = std::clamp(a, 0LL, kSize);
        b = std::clamp(b, 0LL, kSize);
        if (a < b) runs.push_back({a, b - a});
      }
      Mark(buffers);
      RunList painted;
      getter.Compute({y}, runs, buffers, painted);

      RunList expected;
      const RunList& range = ranges[y];
      long long first = 0;
      if (!range.empty()) {
        ASSERT_EQ(range.size(), 1u);
        first = range[0].start;
        for (const auto& run : runs) {
          const long long x0 = std::max(run.start, range[0].start);
          const long long x1 = std::min(run.End(), range[0].End());
          if (x0 < x1) expected.push_back({x0, x1 - x0});
        }
      }
      ASSERT_EQ(painted, expected) << "case " << wanted << " line " << y;
      for (const auto& run : painted) {
        for (long long x = run.start; x < run.End(); ++x) {
          const long long col = OracleIndex(p, true, x, y, first);
          const long long row = OracleIndex(p, false, x, y, first);
          float m = 1.0f;
          if (mask) {
            const long long mc = OracleIndex(mp, true, x, y, first);
            const long long mr = OracleIndex(mp, false, x, y, first);
            m = Decoded(r.mask[mr * r.mask_width + mc], r.mask_decode);
            ASSERT_EQ(buffers.Mask()[x], m) << "case " << wanted << " line " << y << " x " << x
                                            << " first " << first << " " << mc << "," << mr;
          }
          const char* names[4] = {"Cyan", "Magenta", "Yellow", "Black"};
          for (std::size_t c = 0; c < 4; ++c) {
            float o = 0.0f;
            bool reached = false;
            for (std::size_t k = 0; k < r.colorants.size(); ++k) {
              if (r.colorants[k] != names[c]) continue;
              reached = true;
              const float s =
                  Decoded(r.samples[(row * r.width + col) * r.colorants.size() + k], r.decode);
              o = o + 1.0f * s - o * 1.0f * s;
            }
            if (!reached) {
              ASSERT_EQ(getter.Kinds()[c], QorSc::kKindZero);
              ASSERT_EQ(buffers.Component(c)[x], kMarker);
              continue;
            }
            ASSERT_EQ(buffers.Component(c)[x], o)
                << "case " << wanted << " line " << y << " x " << x << " component " << c;
          }
        }
      }
    }
  }
  EXPECT_EQ(done[0], 30);
  EXPECT_EQ(done[1], 30);
  EXPECT_EQ(done[2], 30);
}

TEST(PicturePaintGetter, LineRangeIsThePathGeneratorsRunOfTheUnitSquare) {
  std::mt19937 rng(7);
  const QorSc::Environment env = Env();
  const Box box{-1000000, 0, 1000000, kSize};
  const auto picture = QorTest::MakeInkPicture(3, 3, {"Black"}, {});
  const Options options = Plates({"Black"});
  for (int i = 0; i < 300; ++i) {
    T t = RandomPlacement(rng, i % 3);
    // Every tenth placement sits on half pixels, where the rounding rule decides.
    if (i % 10 == 0) t = T{std::round(t.a) + 0.5, 0.0, 0.0, std::round(t.d), 10.5, 20.5};
    QorSc::PicturePaintGetter getter(picture, env, options, t);
    const auto runs = UnitSquareRuns(t, env, box);
    for (long long y = 0; y < kSize; ++y) {
      const QorSc::Run range = getter.LineRangeOf(y);
      if (runs[y - box.top].empty()) {
        EXPECT_EQ(range.length, 0) << i << " line " << y;
      } else {
        ASSERT_EQ(runs[y - box.top].size(), 1u);
        EXPECT_EQ(range, runs[y - box.top][0]) << i << " line " << y;
      }
    }
  }
}

TEST(PicturePaintGetter, UprightFastPathsRepeatSamples) {
  const QorSc::Environment env = Env();
  std::vector<std::uint8_t> samples(64);
  for (std::size_t i = 0; i < samples.size(); ++i)
    samples[i] = static_cast<std::uint8_t>(i * 3 + 1);
  const auto picture = QorTest::MakeInkPicture(64, 1, {"Black"}, samples);
  const Options options = Plates({"Black"});
  // One sample per pixel, then three pixels per sample with the picture starting a
  // third of a pixel left of a pixel edge, so the first block is shortened.
  for (const auto& [width, left, per] : {std::tuple{64.0, 10.0, 1}, std::tuple{192.0, 4.25, 3}}) {
    const T t{width, 0.0, 0.0, 10.0, left, 100.0};
    QorSc::PicturePaintGetter getter(picture, env, options, t);
    ASSERT_EQ(getter.GetOrientationCase(), 0);
    RunList painted;
    const SourcePaintBuffers buffers = PaintedLine(getter, 1, 95, &painted);
    ASSERT_EQ(painted.size(), 1u);
    for (long long x = painted[0].start; x < painted[0].End(); ++x) {
      const double f = (x + 0.5 - left) / per;
      const auto column = std::min<long long>(63, static_cast<long long>(std::floor(f)));
      EXPECT_EQ(buffers.Component(0)[x], static_cast<float>(samples[column]) * 0.003921569f)
          << "x " << x << " per " << per;
    }
  }
}

TEST(PicturePaintGetter, CasesDecodeRulesBitsAndLayering) {
  const QorSc::Environment env = Env();
  const Options black = Plates({"Black"});
  const Options process(true, {});
  const T at_top{20, 0, 0, 20, 0, 180};
  const auto gray = QorTest::MakeInkPicture(2, 2, {"Black"}, {0, 255, 128, 64});
  auto orientation = [&](const T& t) {
    return QorSc::PicturePaintGetter(gray, env, black, t).GetOrientationCase();
  };
  // A whole picture rising less than half a pixel is upright; a quarter turn is case 1.
  EXPECT_EQ(orientation(T{100, 0.49, 0, 50, 10, 10}), 0);
  EXPECT_EQ(orientation(T{0, 100, -50, 0, 80, 10}), 1);
  EXPECT_EQ(orientation(T{70, 70, -30, 30, 80, 10}), 2);

  // A run outside the parallelogram paints nothing and writes nothing.
  {
    QorSc::PicturePaintGetter getter(gray, env, black, T{20, 0, 0, 20, 10, 150});
    SourcePaintBuffers buffers(1, 0, kSize);
    Mark(buffers);
    RunList painted;
    getter.Compute({40}, RunList{{100, 50}}, buffers, painted);
    EXPECT_TRUE(painted.empty());
    for (long long x = 0; x < kSize; ++x)
      ASSERT_EQ(buffers.Component(0)[x], kMarker);
  }

  // Decode pairs: top-left sample 0, top-right 255, bottom-left 128.
  auto values = [&](QorImg::DecodePair decode) {
    const auto picture = QorTest::MakeInkPicture(2, 2, {"Black"}, {0, 255, 128, 64}, decode);
    QorSc::PicturePaintGetter getter(picture, env, black, at_top);
    const SourcePaintBuffers top = PaintedLine(getter, 1, 5);
    return std::tuple{top.Component(0)[5], top.Component(0)[15],
                      PaintedLine(getter, 1, 15).Component(0)[5]};
  };
  EXPECT_EQ(values({1.0f, 0.0f}), std::tuple(1.0f, 0.0f, 127.0f * 0.003921569f));
  const auto [o0, o255, o128] = values({0.2f, 0.8f});
  EXPECT_EQ(o0, 0.2f);
  EXPECT_EQ(o255, 0.8f);
  EXPECT_NEAR(o128, 0.2 + 0.6 * 128.0 / 255.0, 1e-6);

  // 1-bit samples, most significant bit first: 0b10100000 over three columns.
  auto bits = std::make_shared<QorImg::PictureBuffer>(3, 1, 1);
  bits->GetRowPtr(0)[0] = 0xA0;
  QorSc::PicturePaintGetter bit_getter(QorTest::MakeBitPicture(bits, "Black"), env, black,
                                       T{30, 0, 0, 10, 0, 190});
  const SourcePaintBuffers bit_line = PaintedLine(bit_getter, 1, 5);
  EXPECT_EQ(bit_line.Component(0)[5], 1.0f);
  EXPECT_EQ(bit_line.Component(0)[15], 0.0f);
  EXPECT_EQ(bit_line.Component(0)[25], 1.0f);

  // Process output layers channels: two weight-1 channels of 0.5 give 0.75.
  QorSc::PicturePaintGetter two_cyan(
      QorTest::MakeInkPicture(1, 1, {"Cyan", "Cyan"}, {0, 0}, QorImg::DecodePair{0.5f, 0.5f}), env,
      process, at_top);
  EXPECT_EQ(two_cyan.Kinds(), QorSc::ComponentKinds({2, 0, 0, 0}));
  EXPECT_EQ(PaintedLine(two_cyan, 4, 5).Component(0)[5], 0.75f);

  // A process ink alone on its plate is copied, to the bit what layering it onto the
  // empty plate gives; a decode pair's −0 still layers into +0.
  QorSc::PicturePaintGetter cmyk(
      QorTest::MakeInkPicture(1, 1, {"Cyan", "Magenta", "Yellow", "Black"}, {0, 51, 128, 255}), env,
      process, at_top);
  const SourcePaintBuffers cmyk_line = PaintedLine(cmyk, 4, 5);
  const std::uint8_t bytes[4] = {0, 51, 128, 255};
  for (std::size_t c = 0; c < 4; ++c) {
    const float s = QorImg::IntToComponent(bytes[c]);
    EXPECT_EQ(cmyk_line.Component(c)[5], 0.0f + 1.0f * s - 0.0f * 1.0f * s) << c;
    EXPECT_FALSE(std::signbit(cmyk_line.Component(c)[5])) << c;
  }
  QorSc::PicturePaintGetter layered(
      QorTest::MakeInkPicture(1, 1, {"Cyan"}, {0}, QorImg::DecodePair{-0.0f, -0.0f}), env, process,
      at_top);
  const float zero = PaintedLine(layered, 4, 5).Component(0)[5];
  EXPECT_EQ(zero, 0.0f);
  EXPECT_FALSE(std::signbit(zero));

  // A spot channel without its plate goes through its representation; overprint
  // leaves foreign plates Absent in separation output.
  using Entry = QorDoc::Separation::Entry;
  using Rep = QorDoc::Separation::Representation;
  const Options spots(QorColor::Color{{"Cyan", 0.0f}, {"Black", 0.0f}, {"Gold", 0.0f}},
                      {Entry("Gold", Rep({0.0f, 0.25f, 1.0f, 0.0f})),
                       Entry("Teal", Rep({0.5f, 0.0f, 0.0f, 0.0f}))});
  const auto teal = QorTest::MakeInkPicture(1, 1, {"Teal"}, {255});
  QorSc::PicturePaintGetter simulated(teal, env, spots, at_top);
  EXPECT_EQ(simulated.Kinds(), QorSc::ComponentKinds({2, 0, 0}));
  EXPECT_EQ(PaintedLine(simulated, 3, 5).Component(0)[5], 0.5f);
  QorImg::ChannelMapping mapping;
  mapping.entries.push_back({"Gold", 0, {}});
  mapping.paintsNamedColorantsOnly = true;
  QorSc::PicturePaintGetter gold(
      std::make_shared<const QorImg::PaintedPicture>(teal->GetPictureData(), mapping), env, spots,
      at_top);
  EXPECT_EQ(gold.Kinds(), QorSc::ComponentKinds({4, 4, 2}));
  EXPECT_TRUE(gold.HasAbsentComponents());
}

// One channel into the ink 255 − b, counting the samples it converts.
class CountingConverter final : public QorImg::PictureConverter {
 public:
  std::size_t InputChannels() const override { return 1; }
  std::size_t OutputChannels() const override { return 1; }
  void Convert(const std::uint8_t* in, std::uint8_t* out, std::size_t samples,
               int /*intent*/) const override {
    for (std::size_t s = 0; s < samples; ++s)
      out[s] = static_cast<std::uint8_t>(255 - in[s]);
    converted += samples;
  }
  mutable std::atomic<std::size_t> converted{0};
};

TEST(PicturePaintGetter, ConvertedPicturesConvertWhatTheTargetShows) {
  // 100 × 80 samples at 4 pixels each, a quarter turn, over the target's edges: about
  // half the columns and rows fall on the 200 × 200 target.
  constexpr std::size_t kWidth = 100;
  constexpr std::size_t kHeight = 80;
  std::vector<std::uint8_t> samples(kWidth * kHeight);
  std::vector<std::uint8_t> inks(samples.size());
  std::mt19937 rng(16);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = static_cast<std::uint8_t>(rng());
    inks[i] = static_cast<std::uint8_t>(255 - samples[i]);
  }
  auto buffer = std::make_shared<QorImg::PictureBuffer>(kWidth, kHeight, 8, samples);
  auto converter = std::make_shared<CountingConverter>();
  QorImg::ChannelMapping mapping;
  mapping.entries.push_back({"Black", 0, {}});
  const auto converted = std::make_shared<const QorImg::PaintedPicture>(
      std::make_shared<const QorImg::PictureData>(buffer, 1, converter), mapping);
  const auto reference = QorTest::MakeInkPicture(kWidth, kHeight, {"Black"}, inks);

  const QorSc::Environment env = Env();
  const Options options = Plates({"Black"});
  for (const T& t : {T{0, 400, -320, 0, 250, -120}, T{400, 0, 0, 320, -100, -60}}) {
    converter->converted = 0;
    QorSc::PicturePaintGetter getter(converted, env, options, t);
    QorSc::PicturePaintGetter expected(reference, env, options, t);
    const std::size_t initially = converter->converted;
    EXPECT_GT(initially, 0u);
    EXPECT_LT(initially, samples.size() * 2 / 5);
    // Every target pixel as from inks converted beforehand, with nothing more converted.
    for (long long line = 0; line < kSize; ++line) {
      RunList pa, pb;
      const SourcePaintBuffers a = PaintedLine(getter, 1, line, &pa);
      const SourcePaintBuffers b = PaintedLine(expected, 1, line, &pb);
      ASSERT_EQ(pa, pb) << line;
      for (long long x = 0; x < kSize; ++x)
        ASSERT_EQ(a.Component(0)[x], b.Component(0)[x]) << "line " << line << " x " << x;
    }
    EXPECT_EQ(converter->converted, initially);
    // A run past the target's right edge converts its samples first.
    SourcePaintBuffers wide_a(1, 0, 2 * kSize);
    SourcePaintBuffers wide_b(1, 0, 2 * kSize);
    RunList pa, pb;
    const long long line = kSize + 10;
    getter.Compute({line}, RunList{{0, 2 * kSize}}, wide_a, pa);
    expected.Compute({line}, RunList{{0, 2 * kSize}}, wide_b, pb);
    ASSERT_EQ(pa, pb);
    ASSERT_FALSE(pa.empty());
    for (long long x = pa[0].start; x < pa[0].End(); ++x)
      ASSERT_EQ(wide_a.Component(0)[x], wide_b.Component(0)[x]) << "x " << x;
    EXPECT_GT(converter->converted, initially);
    EXPECT_LE(converter->converted, samples.size());
  }
}

}  // namespace
