// What the parametric shading getters (axial, radial) share: the component kinds a
// separation mapping gives, the colour table sampled uniformly in the parameter,
// the table size rule and the dither noise.
//
// Invariants: a table has Entries() rows of Columns() floats, row 0 the colour at
// the start of the parameter domain and the last row the colour at its end, each
// value an ink tint in [0, 1]. ShadingNoise draws exactly one number per Perturb
// call from an mt19937 seeded with 0, so a getter's dither is reproducible; its
// state is meant to persist across lines. Nothing here allocates after
// construction.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "paint/paint_getter.h"
#include "qorpaint/shading_paint.h"
#include "morv/transformation.h"
#include "scan/environment.h"
#include "scan/options.h"

namespace QorSc {

// The map from a shading's space (placed by `t` in the world) into target pixels.
Morv::MilliPointTransformation ShadingPlacementInPixels(const Environment& env,
                                                        const Morv::MilliPointTransformation& t);

// Relative tolerance below which an isoline counts as horizontal or vertical.
inline constexpr double kIsolineTolerance = 0.00001;

struct ShadingComponents {
  ComponentKinds kinds;
  bool absent = false;
};

// Separation output: a separation the mapping names with a function output is
// PerPixel, one it marks as not painted Zero, one it does not name Absent when the
// shading paints its named colorants only, else Zero. Process output: four PerPixel
// components; grey output: one, PerPixel when the mapping paints anything.
ShadingComponents DescribeShadingComponents(const Options& options,
                                            const QorPaint::SeparationMapping& mapping);

// Rows per leaf function for a parameter range spanning `pixels` on the page: the
// pixel count truncated, at least 32 and at most 256.
std::size_t ShadingRowsPerFunction(double pixels);

// The colour of `function` at parameter t, mapped through `mapping` onto the output
// components of `options`: `out` gets one tint in [0, 1] per component.
void ShadingColourAt(const Options& options, const QorPaint::SeparationMapping& mapping,
                     const QorPaint::Function& function, double t, std::vector<float>& out);

class ShadingTable {
 public:
  ShadingTable() = default;
  // `entries` rows (0 paints nothing) of `function` over `domain`, mapped through
  // `mapping` onto the output components of `options`.
  ShadingTable(const Options& options, const QorPaint::SeparationMapping& mapping,
               const QorPaint::Function& function, QorPaint::Interval domain,
               std::size_t entries);

  std::size_t Entries() const { return entries_; }
  std::size_t Columns() const { return columns_; }
  const float* Row(std::size_t r) const { return values_.data() + r * columns_; }

 private:
  std::size_t entries_ = 0;
  std::size_t columns_ = 0;
  std::vector<float> values_;
};

// Dither of table rows: each row moves by up to `amplitude` rows (less near the
// table's ends, which it never passes).
class ShadingNoise {
 public:
  // `entries` table rows, `percent` > 0.
  ShadingNoise(std::size_t entries, std::size_t percent);

  std::int32_t Amplitude() const { return amplitude_; }
  std::int32_t Range() const { return m_; }
  // Row `r` (in [0, entries)) with one draw of noise applied.
  std::int64_t Perturb(std::int64_t r);

 private:
  std::int32_t m_;
  std::int32_t amplitude_;
  std::mt19937 generator_;
  std::uniform_int_distribution<std::int32_t> distribution_;
};

// The table of a parametric shading whose parameter runs over `pixels` on the page:
// the size rule's rows per leaf function, times 16 with noise, in which case `noise`
// is set up for the table (and left empty otherwise).
ShadingTable MakeShadingTable(const Options& options, const QorPaint::SeparationMapping& mapping,
                              const QorPaint::Function& function, QorPaint::Interval domain,
                              double pixels, std::optional<ShadingNoise>& noise);

}  // namespace QorSc
