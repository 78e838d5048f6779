// The opaque copy of per-pixel paints, through the scan converter: wide pictures over
// and under flat colours, blended objects and each other, in every output shape, bit
// for bit against the reference compositor. A wide lone run may hand the paint's whole
// planes to the line instead of copying them; these scenes put values of other objects
// beside, under and over such runs, so a plane handed over while the line still reads
// something else of it shows.

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <vector>

#include "qordoc/document.h"
#include "qorimg/painted_picture.h"
#include "reference_compositor.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"
#include "test_picture.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using QorScTest::ReferencePaint;
using QorScTest::ReferencePixel;

constexpr long long kWidth = 320;
constexpr long long kHeight = 24;
constexpr std::size_t kPlates = 4;

// An object of a scene over the pixels [x0, x1) × [y0, y1) (y down): a picture of one
// sample per pixel (samples row by row, C, M, Y, K interleaved) or a flat colour.
struct Placed {
  long long x0, y0, x1, y1;
  std::vector<std::uint8_t> samples;  // empty: flat
  ReferencePaint paint;               // the flat colour, or the picture's transparency

  float Ink(long long x, long long y, std::size_t c) const {
    if (samples.empty()) return *paint.values[c];
    const auto at = static_cast<std::size_t>(((y - y0) * (x1 - x0) + (x - x0)) * 4) + c;
    return QorImg::IntToComponent(samples[at]);
  }
};

TEST(OpaqueCopy, WidePicturesMatchTheReferenceAmongOtherObjects) {
  std::mt19937 random(16);
  std::uniform_real_distribution<float> unit(0.0f, 1.0f);
  std::uniform_int_distribution<int> byte(0, 255);
  const char* names[] = {"Cyan", "Magenta", "Yellow", "Black"};
  for (int round = 0; round < 40; ++round) {
    QorDoc::DocumentBuilder builder;
    QorDoc::Content& page = builder.AddPage();
    std::vector<Placed> objects;
    const int count = 1 + static_cast<int>(unit(random) * 7);
    for (int k = 0; k < count; ++k) {
      Placed o;
      // Mostly wide (past the width where planes are handed over), sometimes narrow.
      const long long w = unit(random) < 0.8f ? 64 + static_cast<long long>(unit(random) * 256)
                                              : 1 + static_cast<long long>(unit(random) * 63);
      o.x0 = static_cast<long long>(unit(random) * static_cast<float>(kWidth - w + 1));
      o.x1 = o.x0 + w;
      o.y0 = static_cast<long long>(unit(random) * (kHeight - 1));
      o.y1 = o.y0 + 1 + static_cast<long long>(unit(random) * static_cast<float>(kHeight - o.y0));
      const float a = unit(random);
      o.paint.alpha = a < 0.6f ? 1.0f : a;
      o.paint.mode = unit(random) < 0.7f ? 0 : 2;  // Normal or Multiply
      const auto t = std::make_shared<const QorBlend::Transparency>(
          static_cast<QorBlend::BlendMode>(o.paint.mode), o.paint.alpha, o.paint.alpha, 0);
      // World y runs up: the object's top edge is at kHeight − y0.
      const double bottom = static_cast<double>(kHeight - o.y1);
      if (unit(random) < 0.6f) {
        const std::size_t n = static_cast<std::size_t>((o.x1 - o.x0) * (o.y1 - o.y0)) * kPlates;
        o.samples.resize(n);
        for (auto& s : o.samples) {
          const float r = unit(random);
          s = static_cast<std::uint8_t>(r < 0.1f ? 0 : r > 0.9f ? 255 : byte(random));
        }
        o.paint.values.assign(kPlates, 0.0f);  // only the transparency is read
        const auto picture = QorTest::MakeInkPicture(
            static_cast<std::size_t>(o.x1 - o.x0), static_cast<std::size_t>(o.y1 - o.y0),
            {names[0], names[1], names[2], names[3]}, o.samples);
        builder.AddImage(page, picture,
                         Morv::MilliPointTransformation{static_cast<double>(o.x1 - o.x0), 0, 0,
                                                        static_cast<double>(o.y1 - o.y0),
                                                        static_cast<double>(o.x0), bottom},
                         t);
      } else {
        QorColor::Color color;
        for (const char* name : names) {
          const float tint = unit(random) < 0.3f ? 0.0f : unit(random);
          color.Add(name, tint);
          o.paint.values.push_back(tint);
        }
        QorDoc::Fillable::Painting painting;
        painting.fill = std::make_shared<QorPaint::FlatPaint>(std::move(color));
        painting.transparency = t;
        builder.AddPath(
            page,
            Morv::PathBuilder()
                .Rectangle(static_cast<double>(o.x0), bottom, static_cast<double>(o.x1 - o.x0),
                           static_cast<double>(o.y1 - o.y0))
                .BuildShared(),
            painting);
      }
      objects.push_back(std::move(o));
    }
    const auto document = builder.Build();

    std::vector<ReferencePixel> expected(kWidth * kHeight, ReferencePixel(kPlates));
    for (const Placed& o : objects) {
      for (long long y = o.y0; y < o.y1; ++y) {
        for (long long x = o.x0; x < o.x1; ++x) {
          ReferencePaint paint = o.paint;
          for (std::size_t c = 0; c < kPlates; ++c)
            paint.values[c] = o.Ink(x, y, c);
          expected[y * kWidth + x].Paint(paint);
        }
      }
    }

    const QorSc::Environment env(Morv::MilliPointRectangle(0, 0, kWidth, kHeight), kWidth, kHeight);
    const QorSc::Options cmyk(true, document->GetSeparationInfo());
    const Box box{0, 0, kWidth, kHeight};
    const auto collect = [&] {
      return QorSc::CollectObjects(env, cmyk, box, page, {}, QorSc::kAllSelection);
    };
    QorSc::ScanConverter floats(collect());
    QorSc::ScanConverter planes(collect());
    QorSc::ScanConverter bytes(collect());
    std::vector<unsigned char> out(kPlates * kWidth);
    for (long long y = 0; y < kHeight; ++y) {
      const QorColor::Component* line = floats.GetLine();
      ASSERT_NE(line, nullptr);
      const auto plane = planes.GetLineAsPlaneInterleaved();
      ASSERT_TRUE(bytes.GetLine255PlaneInterleaved(out.data()));
      for (long long x = 0; x < kWidth; ++x) {
        const ReferencePixel& e = expected[y * kWidth + x];
        for (std::size_t s = 0; s < kPlates; ++s) {
          ASSERT_EQ(line[x * kPlates + s], e.colour[s])
              << "round " << round << " pixel " << x << "," << y << " plate " << s;
          ASSERT_EQ(plane[s][x], e.colour[s]) << "round " << round << " " << x << "," << y;
          ASSERT_EQ(out[s * kWidth + x], QorSc::ComponentToByte(e.colour[s]));
        }
      }
    }
    EXPECT_EQ(floats.GetLine(), nullptr);
  }
}

}  // namespace
