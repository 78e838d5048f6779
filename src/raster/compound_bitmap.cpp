// Standalone rasterisation of one compound into a bitmap or a smoothened map.
// Each pass runs one generator over the rows of the area, with chains of its own.

#include "scan/compound_bitmap.h"

#include <algorithm>

#include "morv/stroke.h"
#include "raster/box_run_length_generator.h"
#include "raster/path_run_length_generator_builder.h"

namespace QorSc {
namespace {

using Box = QorMath::Rectangle<long long>;

std::unique_ptr<RunLengthGenerator> MakeGenerator(const Morv::Compound* compound,
                                                  const Morv::MilliPointTransformation& t,
                                                  const Environment& env, const Box& area,
                                                  const Box& limit) {
  if (compound == nullptr) return std::make_unique<BoxRunLengthGenerator>(Intersect(area, limit));
  ScratchChains chains;
  PathRunLengthGeneratorBuilder builder(compound->GetWindingRule(), limit, chains);
  builder.AddCompound(*compound, env, t);
  return builder.Release();
}

// Calls cover(index, count) for every run of every row, clipped to the area, with
// index the first pixel's position in the row-major result.
template <class Cover>
void ForEachCoveredSpan(RunLengthGenerator& generator, const Box& area, Cover cover) {
  const long long width = std::max(0LL, area.Width());
  const long long height = std::max(0LL, area.Height());
  for (long long r = 0; r < height; ++r) {
    generator.GenerateRuns(area.top + r);
    for (const Run& run : generator.Runs()) {
      const long long s = std::clamp(run.start - area.left, 0LL, width);
      const long long e = std::clamp(run.start - area.left + run.length, 0LL, width);
      if (s < e) cover(static_cast<std::size_t>(r * width + s), static_cast<std::size_t>(e - s));
    }
  }
}

std::size_t AreaSize(const Box& area) {
  return static_cast<std::size_t>(std::max(0LL, area.Width()) * std::max(0LL, area.Height()));
}

}  // namespace

boost::dynamic_bitset<unsigned long> CreateBitmapFromCompound(
    const std::shared_ptr<const Morv::Compound>& compound,
    const Morv::MilliPointTransformation& transformation, const Environment& env, const Box& area,
    const Box& limit) {
  boost::dynamic_bitset<unsigned long> bits(AreaSize(area));
  const auto generator = MakeGenerator(compound.get(), transformation, env, area, limit);
  ForEachCoveredSpan(*generator, area, [&bits](std::size_t index, std::size_t count) {
    bits.set(index, count, true);
  });
  return bits;
}

std::vector<double> CreateSmoothenedMapFromCompound(
    const std::shared_ptr<const Morv::Compound>& compound,
    const Morv::MilliPointTransformation& transformation, const Environment& env, const Box& area,
    const Box& limit, std::size_t steps) {
  std::vector<double> map(AreaSize(area), 0.0);
  {
    const auto generator = MakeGenerator(compound.get(), transformation, env, area, limit);
    ForEachCoveredSpan(*generator, area, [&map](std::size_t index, std::size_t count) {
      std::fill_n(map.begin() + static_cast<std::ptrdiff_t>(index), count, 1.0);
    });
  }
  if (!compound || steps == 0) return map;

  // Stroke widths are in target pixels: the compound goes to internal space through
  // the transformation and the environment, is stroked there and comes back through
  // the inverse, so the path generator sees it under `transformation` as usual.
  const double xf = env.WorldToInternalXFactor();
  const double yf = env.WorldToInternalYFactor();
  const Environment::WorldRectangle& view = env.GetWorldView();
  const Morv::MilliPointTransformation to_pixels_of_world{
      xf, 0.0, 0.0, -yf, -view.X() * xf, (view.Y() + view.Height()) * yf};
  const Morv::MilliPointTransformation to_pixels =
      Morv::Compose(to_pixels_of_world, transformation);
  const Morv::MilliPointTransformation from_pixels = to_pixels.Inverse();
  const Morv::Compound in_pixels = compound->Transformed(to_pixels);

  for (std::size_t j = 1; j <= steps; ++j) {
    const Morv::Compound outline = Morv::Stroke(in_pixels, 2.0 * static_cast<double>(j),
                                                Morv::LineCap::kButt, Morv::LineJoin::kMiter, 4.0)
                                       .Transformed(from_pixels);
    const double value = (static_cast<double>(steps - j) + 0.5) / static_cast<double>(steps);
    const auto generator = MakeGenerator(&outline, transformation, env, area, limit);
    ForEachCoveredSpan(*generator, area, [&map, value](std::size_t index, std::size_t count) {
      for (std::size_t i = index; i < index + count; ++i) {
        if (map[i] == 0.0) map[i] = value;
      }
    });
  }
  return map;
}

}  // namespace QorSc
