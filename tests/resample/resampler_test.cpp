#include "scan/resampler.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

using QorSc::ResampleEnvironment;
using QorSc::ResampleMode;
using QorSc::Resampler;
using Box = QorMath::Rectangle<long long>;
using Bytes = std::vector<unsigned char>;

ResampleEnvironment Env(int mode) {
  return ResampleEnvironment(static_cast<ResampleMode>(mode));
}

// The reduction written as a whole-image filter, independent of the streaming
// bookkeeping: final pixel (X, Y) is the rounded weighted mean of its initial block.
// `image` holds initial lines from the top of the initial box.
Bytes ReferenceReduce(const ResampleEnvironment& env, const Box& final_box, std::size_t comps,
                      const std::vector<Bytes>& image) {
  const std::size_t f = env.Factor();
  const std::size_t width = final_box.right - final_box.left;
  const std::size_t lines = final_box.bottom - final_box.top;
  Bytes out(width * lines * comps);
  auto weight = [&](std::size_t j) -> std::uint32_t {
    if (!env.NeedsShift()) return 1;
    return (j == 0 || j == f) ? 1 : 2;
  };
  const std::size_t taps = env.NeedsShift() ? f + 1 : f;
  const std::uint32_t total = env.NeedsShift() ? 4 * f * f : f * f;
  const std::uint32_t round = env.NeedsShift() ? total / 2 : (f == 3 ? 4 : total / 2);
  for (std::size_t y = 0; y < lines; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      for (std::size_t k = 0; k < comps; ++k) {
        std::uint32_t sum = 0;
        for (std::size_t j = 0; j < taps; ++j) {
          for (std::size_t i = 0; i < taps; ++i) {
            sum += weight(j) * weight(i) * image[y * f + j][(x * f + i) * comps + k];
          }
        }
        out[(y * width + x) * comps + k] = static_cast<unsigned char>((sum + round) / total);
      }
    }
  }
  return out;
}

// Streams `image` through a Resampler; returns the final lines, `stride` apart.
Bytes Stream(const ResampleEnvironment& env, const Box& final_box, std::size_t comps,
             const std::vector<Bytes>& image, std::size_t stride) {
  const std::size_t lines = final_box.bottom - final_box.top;
  Bytes out(stride * lines + 1, 0xEE);
  Resampler resampler(env, final_box, comps, out.data(), stride);
  for (const Bytes& line : image)
    resampler.AddLine(line.data());
  EXPECT_EQ(out.back(), 0xEE) << "nothing written past the last line";
  out.pop_back();
  return out;
}

TEST(Resampler, WorkedExamples) {
  // Mode 7: box filter 2 × 2; a moved resampler carries on where it was.
  {
    Bytes out(1, 0);
    Resampler r(Env(7), Box{0, 0, 1, 1}, 1, out.data(), 1);
    const Bytes a{10, 20};
    const Bytes b{30, 41};
    r.AddLine(a.data());
    EXPECT_EQ(out[0], 0);
    Resampler moved(std::move(r));
    moved.AddLine(b.data());
    EXPECT_EQ(out[0], (101 + 2) >> 2);
  }
  // Mode 2: tent of factor 1; the first line only primes.
  {
    Bytes out(1, 0xAA);
    Resampler r(Env(2), Box{0, 0, 1, 1}, 1, out.data(), 1);
    const Bytes a{0, 4};
    const Bytes b{8, 12};
    r.AddLine(a.data());
    EXPECT_EQ(out[0], 0xAA);
    r.AddLine(b.data());
    EXPECT_EQ(out[0], (4 + 20 + 2) >> 2);
  }
}

TEST(Resampler, BandsAlignToAbsoluteInitialLines) {
  // Mode 8, final top -1: initial lines -3, -2, -1 form the first band.
  Bytes out(1, 0);
  Resampler r(Env(8), Box{0, -1, 1, 0}, 1, out.data(), 1);
  const Bytes line{9, 9, 9};
  r.AddLine(line.data());
  r.AddLine(line.data());
  EXPECT_EQ(out[0], 0);
  r.AddLine(line.data());
  EXPECT_EQ(out[0], 9);

  // Mode 4 (tent, factor 3) from final top -2: edge lines at -6, -3, 0.
  Bytes tent(2, 0);
  Resampler t(Env(4), Box{0, -2, 1, 0}, 1, tent.data(), 1);
  const Bytes flat{90, 90, 90, 90};
  for (int i = 0; i < 3; ++i)
    t.AddLine(flat.data());
  EXPECT_EQ(tent[0], 0) << "line -6 primes, -5 and -4 are inner";
  t.AddLine(flat.data());
  EXPECT_EQ(tent[0], 90) << "line -3 closes the first band";
  for (int i = 0; i < 2; ++i)
    t.AddLine(flat.data());
  EXPECT_EQ(tent[1], 0);
  t.AddLine(flat.data());
  EXPECT_EQ(tent[1], 90);
}

TEST(Resampler, MatchesWholeImageFilterForEveryModeAndComponentCount) {
  std::mt19937 random(20261122);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int mode = 0; mode <= 9; ++mode) {
    const ResampleEnvironment env = Env(mode);
    for (std::size_t comps : {1u, 2u, 3u, 4u, 5u}) {
      for (const Box& box : {Box{0, 0, 7, 5}, Box{3, -4, 9, 2}, Box{-5, 6, 1, 9}}) {
        const std::size_t width = box.right - box.left;
        const std::size_t initial_width = env.GetInitialFromFinalWidth(width);
        const std::size_t initial_lines = env.GetInitialFromFinalHeight(box.bottom - box.top);
        std::vector<Bytes> image(initial_lines, Bytes(initial_width * comps));
        for (Bytes& line : image) {
          for (unsigned char& v : line)
            v = static_cast<unsigned char>(byte(random));
        }
        const std::size_t stride = width * comps + 3;
        const Bytes streamed = Stream(env, box, comps, image, stride);
        const Bytes expected = ReferenceReduce(env, box, comps, image);
        for (std::size_t y = 0; y < static_cast<std::size_t>(box.bottom - box.top); ++y) {
          for (std::size_t i = 0; i < width * comps; ++i) {
            ASSERT_EQ(streamed[y * stride + i], expected[y * width * comps + i])
                << "mode " << mode << " components " << comps << " line " << y << " byte " << i;
          }
          for (std::size_t i = width * comps; i < stride; ++i) {
            ASSERT_EQ(streamed[y * stride + i], 0xEE) << "the gap between lines is untouched";
          }
        }
      }
    }
  }
}

TEST(Resampler, ExtremesDoNotOverflow) {
  for (int mode = 1; mode <= 9; ++mode) {
    const ResampleEnvironment env = Env(mode);
    const Box box{0, 0, 4, 3};
    const std::vector<Bytes> white(env.GetInitialFromFinalHeight(3),
                                   Bytes(env.GetInitialFromFinalWidth(4) * 3, 255));
    const Bytes out = Stream(env, box, 3, white, 12);
    for (unsigned char v : out)
      EXPECT_EQ(v, 255) << "mode " << mode;
  }
}

TEST(Resampler, ZeroWidthAndBadArguments) {
  // A zero-width final box takes its lines and writes nothing.
  Bytes out(4, 0x11);
  Resampler empty(Env(7), Box{5, 0, 5, 2}, 3, out.data(), 2);
  const Bytes line(1, 0);
  for (int i = 0; i < 4; ++i)
    empty.AddLine(line.data());
  EXPECT_EQ(out, Bytes(4, 0x11));

  EXPECT_THROW(Resampler(Env(7), Box{5, 0, 4, 2}, 1, out.data(), 1), std::invalid_argument);
  EXPECT_THROW(Resampler(Env(12), Box{0, 0, 4, 2}, 1, out.data(), 1), std::invalid_argument);
}

}  // namespace
