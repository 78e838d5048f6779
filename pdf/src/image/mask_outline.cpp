// Tracing an image mask's set samples into rectangles: runs of each row, a run that
// continues unchanged from the row above growing that row's rectangle downwards.
#include "image/mask_outline.h"

#include <utility>
#include <vector>

namespace QorPdf::internal {
namespace {

struct Open {
  std::size_t start = 0;  // columns [start, end)
  std::size_t end = 0;
  std::size_t top = 0;  // first row
};

}  // namespace

std::optional<std::shared_ptr<const Morv::Compound>> MaskOutline(const QorImg::PictureBuffer& mask,
                                                                 std::size_t max_rectangles) {
  const std::size_t width = mask.GetWidth();
  const std::size_t height = mask.GetHeight();
  const double sx = 1.0 / static_cast<double>(width);
  const double sy = 1.0 / static_cast<double>(height);
  Morv::PathBuilder path;
  std::size_t rectangles = 0;
  auto close = [&](const Open& r, std::size_t bottom) {
    ++rectangles;
    path.Rectangle(static_cast<double>(r.start) * sx, 1.0 - static_cast<double>(bottom) * sy,
                   static_cast<double>(r.end - r.start) * sx,
                   static_cast<double>(bottom - r.top) * sy);
  };
  std::vector<Open> open;
  std::vector<Open> next;
  for (std::size_t row = 0; row <= height && rectangles <= max_rectangles; ++row) {
    next.clear();
    std::size_t k = 0;  // open rectangles, ascending like the runs
    for (std::size_t x = 0; row < height && x < width;) {
      if (!mask.GetBit(x, row)) {
        ++x;
        continue;
      }
      const std::size_t start = x;
      while (x < width && mask.GetBit(x, row))
        ++x;
      while (k < open.size() && open[k].start < start)
        close(open[k++], row);
      if (k < open.size() && open[k].start == start && open[k].end == x) {
        next.push_back(open[k++]);
      } else {
        next.push_back({start, x, row});
      }
    }
    while (k < open.size())
      close(open[k++], row);
    std::swap(open, next);
  }
  if (rectangles > max_rectangles) return std::nullopt;
  return std::make_shared<const Morv::Compound>(path.Build(Morv::kNonZero));
}

}  // namespace QorPdf::internal
