#include "scan/resample_environment.h"

#include <iterator>

namespace QorSc {
namespace {

using U64 = std::uint64_t;

struct ModeGrid {
  U64 factor;
  bool shift;
};

constexpr ModeGrid kModeGrids[] = {
    {1, false}, {2, true},  {1, true},  {2, true},  {3, true},
    {4, true},  {1, false}, {2, false}, {3, false}, {4, false},
};

ModeGrid GridOf(ResampleMode mode) {
  const auto index = static_cast<U64>(static_cast<std::uint32_t>(mode));
  return index < std::size(kModeGrids) ? kModeGrids[index] : ModeGrid{0, false};
}

U64 U(long long v) {
  return static_cast<U64>(v);
}
long long S(U64 v) {
  return static_cast<long long>(v);
}

}  // namespace

ResampleEnvironment::ResampleEnvironment(ResampleMode mode)
    : mode_(mode), factor_(GridOf(mode).factor), shift_(GridOf(mode).shift) {}

U64 ResampleEnvironment::GetInitialFromFinalWidth(U64 width) const {
  if (mode_ == kResampleNone) return width;
  return width * factor_ + (shift_ ? 1 : 0);
}

U64 ResampleEnvironment::GetInitialFromFinalHeight(U64 height) const {
  return GetInitialFromFinalWidth(height);
}

QorMath::Rectangle<long long> ResampleEnvironment::GetInitialFromFinalPixelBox(
    const QorMath::Rectangle<long long>& box) const {
  if (mode_ == kResampleNone) return box;
  const U64 f = factor_;
  const U64 extra = shift_ ? 1 : 0;
  return {S(U(box.left) * f), S(U(box.top) * f), S(U(box.right) * f + extra),
          S(U(box.bottom) * f + extra)};
}

QorMath::Rectangle<long long> ResampleEnvironment::GetFinalFromInitialPixelBox(
    const QorMath::Rectangle<long long>& box) const {
  if (mode_ == kResampleNone) return box;
  const U64 f = factor_;
  if (shift_) {
    return {S((U(box.left) - 1) / f), S((U(box.top) - 1) / f), S(U(box.right) / f + 1),
            S(U(box.bottom) / f + 1)};
  }
  return {S(U(box.left) / f), S(U(box.top) / f), S((U(box.right) - 1) / f + 1),
          S((U(box.bottom) - 1) / f + 1)};
}

QorMath::Point<long long> ResampleEnvironment::GetInitialPickPointFromFinalPixelPoint(
    const QorMath::Point<long long>& point) const {
  const U64 f = factor_;
  const U64 offset = shift_ ? f / 2 : (f - 1) / 2;
  return {S(U(point.x) * f + offset), S(U(point.y) * f + offset)};
}

Environment ResampleEnvironment::GetInitialEnvironment(const Environment& environment) const {
  if (mode_ == kResampleNone) return environment;
  const U64 f = factor_;
  const U64 w = U(environment.GetTargetWidth()) * f;
  const U64 h = U(environment.GetTargetHeight()) * f;
  const Environment::WorldRectangle& view = environment.GetWorldView();
  if (!shift_) return Environment(view, S(w), S(h));

  const double dx = view.Width() / static_cast<double>(2 * w);
  const double dy = view.Height() / static_cast<double>(2 * h);
  const double x = view.X() - dx;
  const double y = view.Y() - dy;
  const Environment::WorldRectangle widened(x, y, (view.X() + view.Width() + dx) - x,
                                            (view.Y() + view.Height() + dy) - y, view.Flags());
  return Environment(widened, S(w + 1), S(h + 1));
}

}  // namespace QorSc
