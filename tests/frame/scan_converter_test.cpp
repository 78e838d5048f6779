// The line driver end to end: FillableObjectInfo records built directly from a
// small document, rendered through the ScanConverter in every output shape and
// compared with a per-pixel reference compositor.
#include "scan/scan_converter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <random>

#include "composite/blend_term.h"
#include "composite/intervals_filler.h"
#include "converter_lines.h"
#include "frame/component_byte.h"
#include "qorpaint/shading_paint.h"
#include "reference_compositor.h"
#include "reference_rasterizer.h"
#include "scan/halftone.h"
#include "test_ramp.h"
#include "test_scene.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorScTest::Polygon;
using QorScTest::ReferencePaint;
using QorScTest::ReferencePixel;

using QorScTest::kHeight;
using QorScTest::kWidth;
using QorScTest::PixelEnvironment;
using QorScTest::Rect;
using QorScTest::Scene;

const QorColor::Color kPlates{{"Cyan", 0.0f}, {"Magenta", 0.0f}, {"Gold", 0.0f}};

TEST(ScanConverter, EmptyCollectionGivesBlankLinesThenTheEnd) {
  Scene scene;
  QorSc::ScanConverter converter(scene.Collect(QorSc::Options(kPlates, {}), Box{0, 0, 8, 3}));
  std::vector<unsigned char> bytes(3 * 8, 0xAB);
  for (int y = 0; y < 3; ++y) {
    ASSERT_TRUE(converter.GetLine255PlaneInterleaved(bytes.data()));
    for (unsigned char b : bytes)
      EXPECT_EQ(b, 0);
  }
  std::fill(bytes.begin(), bytes.end(), 0xAB);
  EXPECT_FALSE(converter.GetLine255PlaneInterleaved(bytes.data()));
  EXPECT_EQ(bytes[0], 0xAB) << "the end of the page writes nothing";
  EXPECT_EQ(converter.GetLine(), nullptr);
  EXPECT_TRUE(converter.GetLineAsPlaneInterleaved().empty());
  EXPECT_TRUE(converter.GetObjectsOnNextLine().empty());

  Scene flat;
  QorSc::ScanConverter none(flat.Collect(QorSc::Options(true, {}), Box{0, 5, 8, 5}));
  EXPECT_EQ(none.GetLine(), nullptr) << "a box of no height ends at once";
}

TEST(ScanConverter, OpaqueObjectsPaintInIndexOrderAndLeaveNoTrace) {
  Scene scene;
  // Object 0 starts lower than object 1 but is painted first.
  scene.Add(Rect(2.2, 5.2, 20.3, 9.7), QorColor::Color{{"Cyan", 1.0f}});
  scene.Add(Rect(10.2, 0.2, 30.3, 9.7), QorColor::Color{{"Magenta", 0.4f}});
  // Only on line 0 (and above it).
  scene.Add(Rect(1.2, -3.0, 5.3, 0.7), QorColor::Color{{"Gold", 0.5f}});
  QorSc::ScanConverter converter(scene.Collect(QorSc::Options(kPlates, {}), Box{0, 0, 40, 12}));

  EXPECT_EQ(converter.GetObjectsOnNextLine(), (std::vector<std::size_t>{2, 3}));
  // Line 1: the record of line 0 is gone and its pixels are clean in every shape.
  const QorColor::Component* floats = converter.GetLine();
  ASSERT_NE(floats, nullptr);
  for (long long x = 0; x < 10; ++x) {
    for (int s = 0; s < 3; ++s)
      EXPECT_EQ(floats[x * 3 + s], 0.0f);
  }
  EXPECT_EQ(floats[12 * 3 + 1], 0.4f);
  std::vector<unsigned char> bytes(3 * 40);
  std::vector<unsigned char> alpha(40), shape(40);
  ASSERT_TRUE(converter.GetLine255PlaneInterleaved(bytes.data(), alpha.data(), shape.data(), 40));
  EXPECT_EQ(bytes[2 * 40 + 2], 0) << "Gold is clean on line 2";
  EXPECT_EQ(alpha[3], 0);
  EXPECT_EQ(alpha[12], 255);
  for (int y = 3; y < 7; ++y)
    converter.GetLine();
  const auto planes = converter.GetLineAsPlaneInterleaved();  // line 7
  ASSERT_EQ(planes.size(), 3u);
  EXPECT_EQ(planes[0][5], 1.0f);
  EXPECT_EQ(planes[0][15], 0.0f) << "object 1 knocks out object 0 where they overlap";
  EXPECT_EQ(planes[1][15], 0.4f);
  EXPECT_EQ(planes[1][5], 0.0f);
}

// A box of many more lines than records orders the records by a sort rather than
// by counting them into their lines: the same order either way.
TEST(ScanConverter, TallBoxesActivateRecordsInLineAndIndexOrder) {
  Scene scene;
  scene.Add(Rect(2.2, 6000.2, 20.3, 6001.7), QorColor::Color{{"Cyan", 1.0f}});
  scene.Add(Rect(10.2, 3.2, 30.3, 6000.7), QorColor::Color{{"Magenta", 0.4f}});
  scene.Add(Rect(1.2, 3.2, 5.3, 4.7), QorColor::Color{{"Gold", 0.5f}});
  QorSc::ScanConverter converter(scene.Collect(QorSc::Options(kPlates, {}), Box{0, 0, 40, 10000}));
  for (long long y = 0; y < 10000; ++y) {
    const auto hits = converter.GetObjectsOnNextLine();
    if (y == 3 || y == 4) {
      EXPECT_EQ(hits, (std::vector<std::size_t>{2, 3})) << y;
    } else if (y == 6000) {
      EXPECT_EQ(hits, (std::vector<std::size_t>{1, 2})) << y;
    } else if (y == 6001) {
      EXPECT_EQ(hits, (std::vector<std::size_t>{1})) << y;
    } else if (y > 4 && y < 6000) {
      ASSERT_EQ(hits, (std::vector<std::size_t>{2})) << y;
    } else {
      ASSERT_TRUE(hits.empty()) << y;
    }
  }
  EXPECT_EQ(converter.GetLine(), nullptr);
}

// A line with no components (a box of no width, or no separations asked for) is
// still a line: every shape that can tell a line from the end says so, for every
// line of the box, and reports the end only after the last one.
TEST(ScanConverter, LinesWithoutComponentsAreStillLines) {
  struct Case {
    const char* what;
    QorColor::Color plates;
    Box box;
  };
  const Case cases[] = {{"no width", kPlates, Box{4, 0, 4, 3}},
                        {"no separations", QorColor::Color{}, Box{0, 0, 8, 3}},
                        {"neither", QorColor::Color{}, Box{4, 0, 4, 3}}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Scene scene;
    scene.Add(Rect(0.2, 0.2, 7.7, 2.7), QorColor::Color{{"Cyan", 1.0f}});
    const QorSc::Options options(c.plates, {});
    const std::size_t separations = options.GetBlendingSeparations().Size();
    QorSc::ScanConverter floats(scene.Collect(options, c.box));
    QorSc::ScanConverter planes(scene.Collect(options, c.box));
    QorSc::ScanConverter bytes(scene.Collect(options, c.box));
    QorSc::ScanConverter mixed(scene.Collect(options, c.box));
    QorSc::ScanConverter hits(scene.Collect(options, c.box));
    const std::size_t painted = c.box.Width() > 0 ? 1 : 0;
    const auto width = static_cast<std::size_t>(c.box.Width());
    // One guard byte after each output shows that nothing is written past it.
    std::vector<unsigned char> colour(separations * width + 1, 0xAB), alpha(width + 1, 0xAB);
    for (int y = 0; y < 3; ++y) {
      EXPECT_NE(floats.GetLine(), nullptr) << "line " << y;
      EXPECT_EQ(planes.GetLineAsPlaneInterleaved().size(), separations) << "line " << y;
      EXPECT_TRUE(bytes.GetLine255PlaneInterleaved(colour.data(), alpha.data(), nullptr, width))
          << "line " << y;
      EXPECT_EQ(colour.back(), 0xAB);
      EXPECT_EQ(alpha.back(), 0xAB);
      if (width > 0) {
        EXPECT_EQ(alpha[4], 255) << "the alpha plane shows the object";
      }
      // The shapes mixed from line to line count lines alike.
      const bool more = y == 0   ? mixed.GetLine() != nullptr
                        : y == 1 ? mixed.GetLine255PlaneInterleaved(nullptr)
                                 : mixed.GetLine() != nullptr;
      EXPECT_TRUE(more) << "line " << y;
      // Hit-testing needs no plates.
      EXPECT_EQ(hits.GetObjectsOnNextLine().size(), painted) << "line " << y;
    }
    EXPECT_EQ(floats.GetLine(), nullptr);
    EXPECT_TRUE(planes.GetLineAsPlaneInterleaved().empty());
    EXPECT_FALSE(bytes.GetLine255PlaneInterleaved(colour.data()));
    EXPECT_EQ(mixed.GetLine(), nullptr);
    EXPECT_TRUE(mixed.GetObjectsOnNextLine().empty());
  }
}

// Forwards to a real record (without one, fails if activated) and counts what the
// renderer asks of it.
class Counted : public QorSc::ObjectInfo {
 public:
  Counted(std::unique_ptr<QorSc::ObjectInfo> inner, const Box& box, int* prefetched, int* destroyed)
      : ObjectInfo(box), inner_(std::move(inner)), prefetched_(prefetched), destroyed_(destroyed) {}
  ~Counted() override { ++*destroyed_; }
  std::unique_ptr<QorSc::IntervalsFiller> CreateFiller(QorSc::LineRenderer& renderer) override {
    if (!inner_) {
      ADD_FAILURE() << "activated";
      return nullptr;
    }
    inner_->SetIndex(GetIndex());
    return inner_->CreateFiller(renderer);
  }
  void Prefetch() const override { ++*prefetched_; }

 private:
  std::unique_ptr<QorSc::ObjectInfo> inner_;
  int* prefetched_;
  int* destroyed_;
};

// A record whose box ends above the first line is dropped unseen.
TEST(ScanConverter, RecordsAboveTheFirstLineAreFreedUnseen) {
  int prefetched = 0, destroyed = 0;
  auto container = std::make_unique<QorSc::ObjectInfoContainer>();
  container->Append(std::make_unique<Counted>(nullptr, Box{0, 0, 10, 5}, &prefetched, &destroyed));
  QorSc::ScanConverter converter(QorSc::ObjectCollection(
      PixelEnvironment(), QorSc::Options(true, {}), Box{0, 10, 10, 20}, std::move(container)));
  EXPECT_EQ(destroyed, 0);
  EXPECT_NE(converter.GetLine(), nullptr);
  EXPECT_EQ(destroyed, 1);
}

// Records are activated in the order of their first lines whatever order they come
// in, and each stays until the converter ends; records further on are prefetched.
TEST(ScanConverter, ActivatedRecordsLiveUntilTheEnd) {
  Scene scene;
  constexpr int kObjects = 40;
  for (int k = 0; k < kObjects; ++k) {
    const double top = (k * 7) % 20;  // first lines out of painting order
    scene.Add(Rect(k, top + 0.2, k + 0.8, top + 1.7), QorColor::Color{{"Cyan", 1.0f}});
  }
  QorSc::ObjectCollection collection =
      scene.Collect(QorSc::Options(kPlates, {}), Box{0, 0, 40, 22});
  int prefetched = 0, destroyed = 0;
  for (auto& record : collection.objects->records)
    record = std::make_unique<Counted>(std::move(record), record->GetPixelBox(), &prefetched,
                                       &destroyed);
  {
    QorSc::ScanConverter converter(std::move(collection));
    for (long long y = 0; y < 22; ++y) {
      const QorColor::Component* line = converter.GetLine();
      ASSERT_NE(line, nullptr);
      for (int k = 0; k < kObjects; ++k) {
        const long long top = (k * 7) % 20;
        EXPECT_EQ(line[k * 3], y == top || y == top + 1 ? 1.0f : 0.0f) << k << " " << y;
      }
    }
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, kObjects);
  EXPECT_EQ(prefetched, kObjects - 8) << "each record but the last few, once";
}

// Objects ending and starting on the same lines, out of painting order, each draw
// with their own filler however the renderer's filler slots are given back and
// taken again: when every object has a filler, and when flat boxes take fillers
// only on the lines that list hits.
TEST(ScanConverter, FillersOfEndingAndStartingObjectsStayTheirOwn) {
  constexpr int kObjects = 60;
  constexpr long long kLines = 18;
  auto top = [](int k) { return (k * 7) % 13; };
  auto height = [](int k) { return 1 + k % 5; };
  auto value = [](int k) { return static_cast<float>(k + 1) / 64.0f; };
  auto covers = [&](int k, long long y) { return y >= top(k) && y < top(k) + height(k); };
  Scene scene;
  for (int k = 0; k < kObjects; ++k)
    scene.Add(Rect(k, top(k) + 0.2, k + 0.8, top(k) + height(k) - 0.3),
              QorColor::Color{{"Cyan", value(k)}});
  auto expect_line = [&](const QorColor::Component* line, long long y) {
    ASSERT_NE(line, nullptr) << y;
    for (int k = 0; k < kObjects; ++k)
      EXPECT_EQ(line[k * 3], covers(k, y) ? value(k) : 0.0f) << k << " " << y;
  };

  QorSc::ObjectCollection wrapped =
      scene.Collect(QorSc::Options(kPlates, {}), Box{0, 0, 60, kLines});
  int prefetched = 0, destroyed = 0;
  for (auto& record : wrapped.objects->records)
    record = std::make_unique<Counted>(std::move(record), record->GetPixelBox(), &prefetched,
                                       &destroyed);
  QorSc::ScanConverter fillers(std::move(wrapped));
  QorSc::ScanConverter mixed(scene.Collect(QorSc::Options(kPlates, {}), Box{0, 0, 60, kLines}));
  for (long long y = 0; y < kLines; ++y) {
    expect_line(fillers.GetLine(), y);
    if (y % 2 == 0) {
      expect_line(mixed.GetLine(), y);
      continue;
    }
    std::vector<std::size_t> expected;
    for (int k = 0; k < kObjects; ++k) {
      if (covers(k, y)) expected.push_back(static_cast<std::size_t>(k) + 1);
    }
    EXPECT_EQ(mixed.GetObjectsOnNextLine(), expected) << y;
  }
  EXPECT_EQ(fillers.GetLine(), nullptr);
  EXPECT_EQ(mixed.GetLine(), nullptr);
}

TEST(ScanConverter, BytesConvertInSinglePrecision) {
  EXPECT_EQ(QorSc::ComponentToByte(0.503921568f), 129) << "double arithmetic gives 128";
  EXPECT_EQ(QorSc::ComponentToByte(0.00001f), 1) << "a trace of ink stays visible";
  EXPECT_EQ(QorSc::ComponentToByte(0.0000005f), 0);
  EXPECT_EQ(QorSc::ComponentToByte(0.000001f), 0) << "the float nearest 1e-6 lies below it";
  // 254.5 / 255 is where 255 begins: 0.998 · 255 + 0.5 = 254.99 still truncates to 254.
  EXPECT_EQ(QorSc::ComponentToByte(0.998f), 254);
  EXPECT_EQ(QorSc::ComponentToByte(0.99804f), 255);
  EXPECT_EQ(QorSc::ComponentToByte(1.0f), 255);
  EXPECT_EQ(QorSc::ComponentToByte(0.0f), 0);
  // Out of range values follow the same formula without undefined behaviour: -3
  // gives (int)-764.5 = -764, whose low byte is 4; a value beyond int's range is
  // taken as the largest int (low byte 255); NaN converts to nothing.
  EXPECT_EQ(QorSc::ComponentToByte(-3.0f), 4);
  EXPECT_EQ(QorSc::ComponentToByte(1e30f), 255);
  EXPECT_EQ(QorSc::ComponentToByte(-1e30f), 0);
  EXPECT_EQ(QorSc::ComponentToByte(std::nanf("")), 0);
}

// Per-pixel lines take a vectorised byte conversion: every byte must still be
// ComponentToByte of its float, traces of ink and the 0.5/255 boundary included.
TEST(ScanConverter, PerPixelBytesMatchTheScalarConversion) {
  Scene scene;
  const auto axis = QorScTest::ToWorld({{1.0, 0.0}, {kWidth - 3.0, 0.0}});
  QorDoc::Fillable::Painting painting;
  // Steep powers put many pixels just above 0, where a trace must stay 1.
  painting.fill =
      QorScTest::AxialRamp({QorPaint::SeparationMapping({{"Cyan", 0}, {"Gold", 1}}, false),
                            {axis[0], axis[1]},
                            true,
                            {0.0, 1.0},
                            {1.0, 0.0},
                            9.0});
  painting.transparency = QorBlend::Transparency::Opaque();
  scene.Add(Rect(0, 0, kWidth, kHeight), painting);
  painting.transparency =
      std::make_shared<const QorBlend::Transparency>(QorBlend::BlendMode(1), 0.37f, 0.37f, 0);
  scene.Add(Rect(5, 10, kWidth, 20), std::move(painting));
  const QorSc::Options options(kPlates, {});
  const Box box{0, 0, kWidth, kHeight};
  QorSc::ScanConverter floats(scene.Collect(options, box));
  QorSc::ScanConverter bytes(scene.Collect(options, box));
  std::vector<unsigned char> out(3 * kWidth);
  int traces = 0;
  for (long long y = 0; y < kHeight; ++y) {
    const QorColor::Component* line = floats.GetLine();
    ASSERT_TRUE(bytes.GetLine255PlaneInterleaved(out.data()));
    for (long long x = 0; x < kWidth; ++x) {
      for (int s = 0; s < 3; ++s) {
        const float v = line[x * 3 + s];
        ASSERT_EQ(out[s * kWidth + x], QorSc::ComponentToByte(v)) << x << "," << y << " " << v;
        if (v > 0.0f && v < 0.5f / 255.0f) ++traces;
      }
    }
  }
  EXPECT_GT(traces, 0) << "the ramp reaches the traces";
}

// The pixel-interleaved bytes are the plane bytes interleaved, for every plate count
// (the tuple stores and the interleaving take their own path per count), on lines
// wider than the doubling copies' first block: blank lines, flat stretches printing
// one byte on every plate or a tuple of different bytes, neighbours printing the same
// tuple, and pieces of a shading varying per pixel on one plate beside flat ones.
TEST(ScanConverter, PixelBytesAreThePlaneBytesInterleaved) {
  constexpr long long kWide = 300;
  for (const std::size_t count : {1u, 2u, 3u, 4u, 5u, 8u, 9u}) {
    QorColor::Color plates;
    std::vector<std::string> names;
    for (std::size_t p = 0; p < count; ++p) {
      names.push_back("Plate" + std::to_string(p));
      plates.Add(names.back(), 0.0f);
    }
    const auto flat = [&](float first, float rest) {
      QorColor::Color color;
      for (std::size_t p = 0; p < count; ++p)
        color.Add(names[p], p == 0 ? first : rest);
      return color;
    };
    Scene scene;
    scene.Add(Rect(10, 2, 200, 12), flat(1.0f, 0.0f));
    scene.Add(Rect(200, 2, 290, 12), flat(1.0f, 0.0f));    // the same tuple, joined
    scene.Add(Rect(20, 6, 280, 9), flat(0.5f, 0.5f));      // one byte on every plate
    scene.Add(Rect(30, 14, 33, 24), flat(0.25f, 1.0f));    // a short stretch
    scene.Add(Rect(281, 20, 310, 24), flat(0.25f, 1.0f));  // up to the line's end
    const auto axis = QorScTest::ToWorld({{40.0, 0.0}, {250.0, 0.0}});
    QorDoc::Fillable::Painting painting;
    painting.fill = QorScTest::AxialRamp(
        {QorPaint::SeparationMapping({{names.back(), 0}}, false), {axis[0], axis[1]}, true});
    painting.transparency = QorBlend::Transparency::Opaque();
    scene.Add(Rect(40, 16, 250, 28), painting);
    // Beyond a narrow gap, a second piece: both are interleaved together.
    scene.Add(Rect(256, 16, 280, 28), painting);
    const QorSc::Options options(plates, {});
    const Box box{3, 0, kWide, kHeight};
    QorSc::ScanConverter planes(scene.Collect(options, box));
    QorSc::ScanConverter pixels(scene.Collect(options, box));
    const auto width = static_cast<std::size_t>(box.Width());
    std::vector<unsigned char> plane_out(count * width), pixel_out(count * width + 1, 0xEE);
    int varying = 0;
    for (long long y = 0; y < kHeight; ++y) {
      ASSERT_TRUE(planes.GetLine255PlaneInterleaved(plane_out.data()));
      ASSERT_TRUE(pixels.GetLine255PixelInterleaved(pixel_out.data()));
      for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t p = 0; p < count; ++p) {
          ASSERT_EQ(pixel_out[x * count + p], plane_out[p * width + x])
              << count << " plates, pixel " << x << "," << y << " plate " << p;
        }
        if (x > 0 && plane_out[(count - 1) * width + x] != plane_out[(count - 1) * width + x - 1] &&
            plane_out[(count - 1) * width + x] != 0) {
          ++varying;
        }
      }
      ASSERT_EQ(pixel_out.back(), 0xEE) << "wrote past the line";
    }
    EXPECT_FALSE(pixels.GetLine255PixelInterleaved(pixel_out.data()));
    EXPECT_GT(varying, 100) << "the shading varies per pixel";
  }
}

// The stretch conversions directly (the baseline one, and the one this processor
// selects, AVX2 where it has it), on the values where a block conversion can go wrong:
// the rounding boundaries (k + 0.5) / 255 and their neighbours, traces around 1e-6, -0
// and 1, and blocks that hold one value outside [0, 1] at every position, blocks of 16
// and of 32.
TEST(ScanConverter, StretchBytesMatchTheValueByValueConversion) {
  std::vector<float> inks;
  for (int k = 0; k <= 255; ++k) {
    for (const float at :
         {static_cast<float>(k) / 255.0f, (static_cast<float>(k) + 0.5f) / 255.0f}) {
      inks.push_back(at);
      inks.push_back(std::nextafter(at, 0.0f));
      inks.push_back(std::nextafter(at, 1.0f));
    }
  }
  float trace = 1e-6f;
  for (int i = 0; i < 8; ++i)
    trace = std::nextafter(trace, 0.0f);
  for (int i = 0; i < 16; ++i, trace = std::nextafter(trace, 1.0f))
    inks.push_back(trace);
  inks.push_back(-0.0f);
  inks.push_back(1.0f);
  // A sweep of the floats of [0, 1] by their bits.
  for (std::uint32_t bits = 0; bits <= 0x3f800000u; bits += 1021) {
    float v = 0.0f;
    std::memcpy(&v, &bits, sizeof v);
    inks.push_back(v);
  }
  inks.push_back(0.25f);  // an odd length: the tail goes value by value
  for (const QorSc::ComponentBytesFunction convert :
       {QorSc::ComponentBytesFunction{&QorSc::ComponentBytes}, QorSc::SelectComponentBytes()}) {
    std::vector<unsigned char> bytes(inks.size());
    convert(inks.data(), inks.size(), bytes.data());
    for (std::size_t i = 0; i < inks.size(); ++i)
      ASSERT_EQ(bytes[i], QorSc::ComponentByte(inks[i])) << "value " << inks[i] << " at " << i;
    // Every start and length of a short stretch: blocks, then the tail.
    for (std::size_t start = 0; start < 40; ++start) {
      for (std::size_t n = 0; n < 80; ++n) {
        std::vector<unsigned char> part(n + 1, 0xAB);
        convert(inks.data() + start, n, part.data());
        for (std::size_t i = 0; i < n; ++i)
          ASSERT_EQ(part[i], QorSc::ComponentByte(inks[start + i])) << start << " " << n;
        ASSERT_EQ(part[n], 0xAB) << "written past the stretch";
      }
    }

    // Values just outside [0, 1] still round within [0, 255] (1.003 gives 256, whose
    // low byte 0 is a trace); the others leave int's range.
    const float below = std::nextafter(0.0f, -1.0f), above = std::nextafter(1.0f, 2.0f);
    const float nan = std::nanf(""), infinity = std::numeric_limits<float>::infinity();
    const float outside[] = {-3.0f,  -0.001f, below,  above, 1.001f,
                             1.003f, 1e30f,   -1e30f, nan,   infinity};
    for (const float odd : outside) {
      for (std::size_t at = 0; at < 32; ++at) {
        std::vector<float> block(inks.begin(), inks.begin() + 64);
        block[at] = odd;
        block[32 + (at * 7) % 32] = odd;
        std::vector<unsigned char> out(block.size());
        convert(block.data(), block.size(), out.data());
        for (std::size_t i = 0; i < block.size(); ++i)
          ASSERT_EQ(out[i], QorSc::ComponentByte(block[i])) << "value " << block[i] << " at " << i;
      }
    }
  }
}

TEST(ScanConverter, CopyAndBlendAgreeWhereTheBackdropIsEmptyOrOpaque) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  const QorSc::BlendTermFunction normal = QorSc::SelectBlendTerm(0);
  for (int i = 0; i < 10000; ++i) {
    const float cs = unit(random);
    for (float ab : {0.0f, 1.0f}) {
      const float cb = ab * unit(random);
      const float blended = QorSc::CompositeInk(ab, cb, 1.0f, cs, normal(ab, cb, 1.0f, cs));
      ASSERT_EQ(blended, cs) << "cs " << cs << " over alpha " << ab;
    }
  }
}

TEST(ScanConverter, StrokesUseTheStrokeAlpha) {
  Scene scene;
  QorDoc::Fillable::Painting painting;
  painting.stroke = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Cyan", 0.8f}});
  painting.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Cyan", 0.2f}});
  painting.transparency =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, 1.0f, 0.5f);
  scene.Add(Rect(2.2, 0.2, 9.7, 3.7), painting, true);
  QorSc::ScanConverter converter(scene.Collect(QorSc::Options(kPlates, {}), Box{0, 0, 12, 2}));
  const QorColor::Component* line = converter.GetLine();
  ASSERT_NE(line, nullptr);
  EXPECT_EQ(line[5 * 3], 0.5f * 0.8f) << "half the stroke's ink over nothing";
}

TEST(ScanConverter, HalftoneLabelsDecodeToTheObjectsSets) {
  Scene scene;
  std::vector<std::shared_ptr<QorDoc::HalftoneSet>> sets;
  for (const char* name : {"coarse", "fine", "stochastic"}) {
    sets.push_back(scene.builder.AddHalftoneSet(name));
  }
  QorDoc::Fillable::Painting with_set;
  with_set.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
  with_set.halftone = sets[1];
  scene.Add(Rect(0.2, 0.2, 10.3, 2.7), with_set);
  // Half transparent, no set of its own: its label replaces, it does not blend.
  QorDoc::Fillable::Painting without;
  without.fill = std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 0.5f}});
  without.transparency =
      std::make_shared<const QorBlend::Transparency>(QorBlend::kMultiply, 0.5f, 0.5f);
  scene.Add(Rect(5.2, 0.2, 15.3, 2.7), without);

  QorSc::Options options(QorColor::Color{{"Black", 0.0f}}, {});
  options.SetHalftoneMode(QorSc::kHalftoneLabels);
  QorSc::ScanConverter converter(scene.Collect(options, Box{0, 0, 20, 2}));
  const QorColor::Component* labels = converter.GetLine();
  ASSERT_NE(labels, nullptr);
  const QorDoc::Document& document = *scene.document;
  const auto second = QorSc::ToHalftoneSet(labels[2], document);
  ASSERT_TRUE(second.has_value());
  EXPECT_EQ(*second, sets[1]);
  const auto null_set = QorSc::ToHalftoneSet(labels[7], document);
  ASSERT_TRUE(null_set.has_value()) << "painted, with no halftone set";
  EXPECT_EQ(*null_set, nullptr);
  EXPECT_FALSE(QorSc::ToHalftoneSet(labels[17], document).has_value()) << "not painted";
}

// The reference pixels of a scene's objects over `box` (row by row from its top-left),
// and the objects painting on each line.
struct ReferenceImage {
  std::vector<ReferencePixel> pixels;
  std::vector<std::vector<std::size_t>> hits;
};

ReferenceImage Reference(const Scene& scene, const std::vector<ReferencePaint>& paints,
                         const Box& box) {
  ReferenceImage image{std::vector<ReferencePixel>(box.Width() * box.Height(), ReferencePixel(3)),
                       std::vector<std::vector<std::size_t>>(box.Height())};
  for (std::size_t k = 0; k < paints.size(); ++k) {
    const auto runs = QorScTest::ReferenceRuns({scene.shapes[k]}, 1, box);
    for (long long y = 0; y < box.Height(); ++y) {
      if (!runs[y].empty()) image.hits[y].push_back(scene.paths[k]->GetID());
      for (const QorSc::Run& r : runs[y]) {
        for (long long x = r.start; x < r.End(); ++x)
          image.pixels[y * box.Width() + (x - box.left)].Paint(paints[k]);
      }
    }
  }
  return image;
}

// Random stacks of rectangles and polygons with process, spot and named-only
// colours, alphas, blend modes and alpha-is-shape flags, in every output shape,
// bit for bit against the reference.
TEST(ScanConverter, MatchesTheReferenceCompositorOnRandomScenes) {
  std::mt19937 random(20261122);
  std::uniform_real_distribution<double> coord(-4.0, kWidth + 4.0);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  const char* names[] = {"Cyan", "Magenta", "Gold"};
  const Box box{0, 0, kWidth, kHeight};
  for (int round = 0; round < 30; ++round) {
    Scene scene;
    std::vector<ReferencePaint> paints;
    const int objects = 1 + static_cast<int>(unit(random) * 12);
    for (int k = 0; k < objects; ++k) {
      Polygon shape;
      if (unit(random) < 0.5f) {
        const double x0 = coord(random), y0 = coord(random) * kHeight / kWidth;
        shape = Rect(x0, y0, x0 + unit(random) * 30, y0 + unit(random) * 20);
      } else {
        for (int p = 0; p < 3 + static_cast<int>(unit(random) * 5); ++p) {
          shape.push_back({coord(random), coord(random) * kHeight / kWidth});
        }
      }
      QorColor::Color color;
      ReferencePaint paint;
      const bool named_only = unit(random) < 0.3f;
      for (const char* name : names) {
        if (unit(random) < 0.6f) {
          const float r = unit(random);
          const float tint = r < 0.15f ? 0.0f : r > 0.85f ? 1.0f : unit(random);
          color.Add(name, tint);
          paint.values.push_back(tint);
        } else {
          paint.values.push_back(named_only ? std::nullopt : std::optional<float>(0.0f));
        }
      }
      color.SetPaintsNamedColorantsOnly(named_only);
      const float a = unit(random);
      paint.alpha = a < 0.4f ? 1.0f : a;
      paint.mode = unit(random) < 0.4f ? 0 : static_cast<std::uint32_t>(unit(random) * 13);
      paint.alphaIsShape = unit(random) < 0.3f;
      paints.push_back(paint);
      scene.Add(shape, color,
                std::make_shared<const QorBlend::Transparency>(
                    static_cast<QorBlend::BlendMode>(paint.mode), paint.alpha, paint.alpha,
                    paint.alphaIsShape ? 1 : 0));
    }

    const auto [expected, hits] = Reference(scene, paints, box);

    const QorSc::Options options(kPlates, {});
    QorSc::ScanConverter floats(scene.Collect(options, box));
    QorSc::ScanConverter planes(scene.Collect(options, box));
    QorSc::ScanConverter bytes(scene.Collect(options, box));
    QorSc::ScanConverter hit_lists(scene.Collect(options, box));
    // Bytes of a box that does not start at column 0 are the same pixels.
    constexpr long long kLeft = 5;
    QorSc::ScanConverter shifted(scene.Collect(options, Box{kLeft, 0, kWidth, kHeight}));
    QorSc::ScanConverter pixels(scene.Collect(options, Box{kLeft, 0, kWidth, kHeight}));
    std::vector<unsigned char> out(3 * kWidth), alpha(kWidth), shape(kWidth);
    std::vector<unsigned char> shifted_out(3 * (kWidth - kLeft)), pixel_out(3 * (kWidth - kLeft));
    for (long long y = 0; y < kHeight; ++y) {
      const QorColor::Component* line = floats.GetLine();
      const auto plane = planes.GetLineAsPlaneInterleaved();
      ASSERT_TRUE(bytes.GetLine255PlaneInterleaved(out.data(), alpha.data(), shape.data(), kWidth));
      ASSERT_EQ(hit_lists.GetObjectsOnNextLine(), hits[y]) << "round " << round << " line " << y;
      ASSERT_TRUE(shifted.GetLine255PlaneInterleaved(shifted_out.data()));
      ASSERT_TRUE(pixels.GetLine255PixelInterleaved(pixel_out.data()));
      for (long long x = 0; x < kWidth; ++x) {
        const ReferencePixel& e = expected[y * kWidth + x];
        for (int s = 0; s < 3; ++s) {
          ASSERT_EQ(line[x * 3 + s], e.colour[s])
              << "round " << round << " pixel " << x << "," << y << " plane " << s;
          ASSERT_EQ(plane[s][x], e.colour[s]);
          ASSERT_EQ(out[s * kWidth + x], QorSc::ComponentToByte(e.colour[s]));
          if (x >= kLeft) {
            ASSERT_EQ(shifted_out[s * (kWidth - kLeft) + (x - kLeft)], out[s * kWidth + x]);
            ASSERT_EQ(pixel_out[(x - kLeft) * 3 + s], out[s * kWidth + x]);
          }
        }
        ASSERT_EQ(alpha[x], QorSc::ComponentToByte(e.alpha)) << x << "," << y;
        ASSERT_EQ(shape[x], QorSc::ComponentToByte(e.shape));
      }
    }
    EXPECT_EQ(floats.GetLine(), nullptr);
  }
}

// Rectangles keep their one run from line to line, so the driver reads them from
// its own list after their first line: many opaque ones (some wider than two words
// of the occlusion bits, some reaching past the box) among see-through ones, on a
// box that does not start at column 0, with hit lists on two of every three lines
// of the same converter, against the reference.
TEST(ScanConverter, KeptRectanglesMatchTheReferenceWithHitListsBetween) {
  std::mt19937 random(20261124);
  std::uniform_real_distribution<double> x(-20.0, 320.0);
  std::uniform_real_distribution<double> y(-5.0, 45.0);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  const Box box{7, 0, 300, 40};
  const long long width = box.right - box.left;
  for (int round = 0; round < 4; ++round) {
    Scene scene;
    std::vector<ReferencePaint> paints;
    for (int k = 0; k < 150; ++k) {
      const double x0 = x(random), y0 = y(random);
      const double w = unit(random) < 0.2f ? 100.0 + unit(random) * 150.0 : unit(random) * 40.0;
      QorColor::Color color{{"Cyan", unit(random)}, {"Magenta", 0.0f}, {"Gold", 1.0f}};
      ReferencePaint paint;
      paint.values = {color.GetTint(0), 0.0f, 1.0f};
      paint.alpha = unit(random) < 0.8f ? 1.0f : 0.5f;
      paints.push_back(paint);
      scene.Add(Rect(x0, y0, x0 + w, y0 + 1.0 + unit(random) * 12.0), color,
                std::make_shared<const QorBlend::Transparency>(QorBlend::kNormal, paint.alpha,
                                                               paint.alpha, 0));
    }
    const auto [expected, hits] = Reference(scene, paints, box);
    const QorSc::Options options(kPlates, {});
    QorSc::ScanConverter bytes(scene.Collect(options, box));
    QorSc::ScanConverter mixed(scene.Collect(options, box));
    QorScTest::ExpectBytesAndHitsMatch(bytes, mixed, expected, hits, width, box.bottom, box.left,
                                       round);
  }
}

}  // namespace
