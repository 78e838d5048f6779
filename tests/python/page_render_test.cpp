// The Python module's rendering layer without Python: boxes cut from the render
// job's bytes, float output against bytes, lines against whole renders, and stopping
// (a poll that throws, a line source dropped half-way) on several threads.
#include "page_render.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include "synthetic_page.h"

namespace {

using QorScPy::LineSource;
using QorScPy::PixelBox;
using QorScPy::RenderInto;
using QorScPy::RenderRequest;
using QorScPy::SampleType;
using QorScTool::PageInput;

RenderRequest Request(const PageInput& page, double dpi, int aa, unsigned threads,
                      std::optional<PixelBox> box = std::nullopt,
                      SampleType type = SampleType::kByte) {
  QorScTool::ColorantChoice choice;  // auto
  QorScTool::RenderSettings settings;
  settings.resolution = dpi;
  settings.anti_alias = aa;
  settings.threads = threads;
  settings.band_lines = 16;
  return RenderRequest{
      QorScTool::ChoosePlates(choice, page.colorants, page.document->GetSeparationInfo()),
      settings,
      QorScPy::ChooseBox(page, dpi, box),
      type,
      {}};
}

template <class T>
std::vector<T> Render(const PageInput& page, const RenderRequest& request) {
  std::vector<T> out(request.plates.names.size() * static_cast<std::size_t>(request.box.Width()) *
                     static_cast<std::size_t>(request.box.Height()));
  RenderInto(page, request, out.data());
  return out;
}

// Plates × height × width → the rows [top, bottom) and columns [left, right).
std::vector<unsigned char> Crop(const std::vector<unsigned char>& whole, std::size_t plates,
                                const PixelBox& page, const PixelBox& box) {
  std::vector<unsigned char> part;
  for (std::size_t p = 0; p < plates; ++p) {
    for (long long y = box.top; y < box.bottom; ++y) {
      const auto row = whole.begin() + static_cast<long long>(p) * page.Width() * page.Height() +
                       y * page.Width();
      part.insert(part.end(), row + box.left, row + box.right);
    }
  }
  return part;
}

TEST(PageRender, BoxesAreTheSamePartOfTheWholePageOnEveryThreadCount) {
  const PageInput page = QorScToolTest::BusyPage();
  for (const int aa : {1, 3}) {
    const RenderRequest whole_request = Request(page, 50, aa, 1);
    const std::vector<unsigned char> whole = Render<unsigned char>(page, whole_request);
    const PixelBox box{13, 29, 121, 180};
    for (const unsigned threads : {1u, 3u}) {
      const RenderRequest request = Request(page, 50, aa, threads, box);
      EXPECT_EQ(Render<unsigned char>(page, request),
                Crop(whole, request.plates.names.size(), whole_request.box, box))
          << "aa " << aa << ", threads " << threads;
    }
  }
  EXPECT_THROW(Request(page, 50, 1, 1, PixelBox{0, 0, 0, 10}), std::invalid_argument);
  EXPECT_THROW(Request(page, 50, 1, 1, PixelBox{0, 0, 10, 1000}), std::invalid_argument);
}

TEST(PageRender, FloatsBecomeTheBytesByTheByteRule) {
  const PageInput page = QorScToolTest::BusyPage();
  const std::vector<unsigned char> bytes = Render<unsigned char>(page, Request(page, 40, 1, 2));
  for (const unsigned threads : {1u, 4u}) {
    const std::vector<float> floats =
        Render<float>(page, Request(page, 40, 1, threads, std::nullopt, SampleType::kFloat));
    ASSERT_EQ(floats.size(), bytes.size());
    std::size_t differences = 0;
    for (std::size_t i = 0; i < floats.size(); ++i) {
      differences += QorSc::ComponentToByte(floats[i]) != bytes[i];
    }
    EXPECT_EQ(differences, 0u) << threads << " threads";
  }
  EXPECT_THROW(Render<float>(page, Request(page, 40, 2, 1, std::nullopt, SampleType::kFloat)),
               std::invalid_argument);
}

TEST(PageRender, LinesEqualTheWholeRender) {
  const PageInput page = QorScToolTest::BusyPage();
  for (const SampleType type : {SampleType::kByte, SampleType::kFloat}) {
    const RenderRequest request = Request(page, 45, 1, 3, PixelBox{5, 7, 99, 150}, type);
    const std::size_t width = static_cast<std::size_t>(request.box.Width());
    const std::size_t height = static_cast<std::size_t>(request.box.Height());
    const std::size_t plates = request.plates.names.size();
    const std::size_t sample = request.SampleSize();
    std::vector<unsigned char> whole(plates * width * height * sample);
    RenderInto(page, request, whole.data());

    LineSource lines(page, request);
    std::vector<unsigned char> line(plates * width * sample);
    std::size_t y = 0;
    while (lines.Next(line.data())) {
      ASSERT_LT(y, height);
      for (std::size_t p = 0; p < plates; ++p) {
        ASSERT_EQ(std::memcmp(line.data() + p * width * sample,
                              whole.data() + (p * height + y) * width * sample, width * sample),
                  0)
            << "line " << y << ", plate " << p;
      }
      ++y;
    }
    EXPECT_EQ(y, height);
    EXPECT_FALSE(lines.Next(line.data()));
  }
}

TEST(PageRender, StoppingEndsEveryThread) {
  const PageInput page = QorScToolTest::BusyPage();
  for (const SampleType type : {SampleType::kByte, SampleType::kFloat}) {
    RenderRequest request = Request(page, 60, 1, 3, std::nullopt, type);
    int polls = 0;
    request.poll = [&] {
      if (++polls == 30) throw std::runtime_error("stop");
    };
    std::vector<unsigned char> out(
        request.plates.names.size() * static_cast<std::size_t>(request.box.Width()) *
        static_cast<std::size_t>(request.box.Height()) * request.SampleSize());
    EXPECT_THROW(RenderInto(page, request, out.data()), std::runtime_error);
  }
  // A source dropped after a few lines, its thread still rendering ahead.
  for (const unsigned threads : {1u, 3u}) {
    LineSource lines(page, Request(page, 60, 2, threads));
    std::vector<unsigned char> line(64 * 1024);
    ASSERT_TRUE(lines.Next(line.data()));
    ASSERT_TRUE(lines.Next(line.data()));
  }
}

}  // namespace
