// Shading tables, kinds and noise shared by the parametric shading getters.
//
// Invariant: every table value is a tint in [0, 1] (NaN becomes 0), computed the
// same way for table rows and extend colours, so an extend colour equals the row at
// its end of the table.

#include "paint/shading_table.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "qordoc/color_conversion.h"

namespace QorSc {
namespace {

float Tint(double v) {
  if (!(v > 0.0)) return 0.0f;
  if (v >= 1.0) return 1.0f;
  return static_cast<float>(v);
}

std::size_t ColumnCount(const Options& options) {
  return options.GetOutputMode() == Options::kProcess ? 4
                                                      : options.GetBlendingSeparations().Size();
}

bool PaintsAnything(const QorPaint::SeparationMapping& mapping) {
  for (const auto& entry : mapping.GetEntries()) {
    if (entry.index != QorPaint::SeparationMapping::kNotPainted) return true;
  }
  return false;
}

constexpr std::size_t kMaxShadingOutputs = 64;

}  // namespace

Morv::MilliPointTransformation ShadingPlacementInPixels(const Environment& env,
                                                        const Morv::MilliPointTransformation& t) {
  auto to_internal = [&](double x, double y) {
    return env.WorldToInternal(Morv::MilliPointPoint(t.ApplyX(x, y), t.ApplyY(x, y)));
  };
  const Point<double> o = to_internal(0.0, 0.0);
  const Point<double> ux = to_internal(1.0, 0.0);
  const Point<double> uy = to_internal(0.0, 1.0);
  return {ux.x - o.x, ux.y - o.y, uy.x - o.x, uy.y - o.y, o.x, o.y};
}

ShadingComponents DescribeShadingComponents(const Options& options,
                                            const QorPaint::SeparationMapping& mapping) {
  ShadingComponents result;
  if (options.GetOutputMode() == Options::kProcess) {
    result.kinds.assign(4, kKindPerPixel);
    return result;
  }
  const Options::SeparationList& separations = options.GetBlendingSeparations();
  if (options.GetOutputMode() == Options::kGray) {
    result.kinds.assign(separations.Size(), PaintsAnything(mapping) ? kKindPerPixel : kKindZero);
    return result;
  }
  for (std::size_t i = 0; i < separations.Size(); ++i) {
    const auto* entry = mapping.Find(separations.GetName(i));
    if (entry != nullptr) {
      result.kinds.push_back(entry->index == QorPaint::SeparationMapping::kNotPainted
                                 ? kKindZero
                                 : kKindPerPixel);
    } else if (mapping.PaintsNamedColorantsOnly()) {
      result.kinds.push_back(kKindAbsent);
      result.absent = true;
    } else {
      result.kinds.push_back(kKindZero);
    }
  }
  return result;
}

std::size_t ShadingRowsPerFunction(double pixels) {
  // Truncation of a value beyond 256 (or NaN) only needs to tell that it is large.
  if (!(pixels < 257.0)) return 256;
  const auto n = pixels > 0.0 ? static_cast<std::size_t>(pixels) : std::size_t{0};
  return n > 256 ? 256 : std::max<std::size_t>(n, 32);
}

void ShadingColourAt(const Options& options, const QorPaint::SeparationMapping& mapping,
                     const QorPaint::Function& function, double t, std::vector<float>& out) {
  // A function of more outputs than any colour space has is unusable: it paints 0.
  double outputs[kMaxShadingOutputs] = {};
  const std::size_t count = std::min(function.OutputCount(), kMaxShadingOutputs);
  if (function.InputCount() == 1 && count == function.OutputCount()) {
    function.Evaluate(std::span<const double>(&t, 1), std::span<double>(outputs, count));
  }
  const std::size_t columns = ColumnCount(options);
  out.assign(columns, 0.0f);

  // A mapping entry beyond the function's outputs (a malformed shading) reads 0.
  auto output = [&](std::size_t index) { return index < count ? outputs[index] : 0.0; };

  if (options.GetOutputMode() == Options::kSeparations) {
    const Options::SeparationList& separations = options.GetBlendingSeparations();
    for (std::size_t i = 0; i < columns; ++i) {
      const auto* entry = mapping.Find(separations.GetName(i));
      if (entry != nullptr && entry->index != QorPaint::SeparationMapping::kNotPainted) {
        out[i] = Tint(output(entry->index));
      }
    }
    return;
  }
  QorColor::Color color;
  for (const auto& entry : mapping.GetEntries()) {
    if (entry.index == QorPaint::SeparationMapping::kNotPainted) continue;
    color.Add(entry.name, Tint(output(entry.index)));
  }
  if (options.GetOutputMode() == Options::kProcess) {
    const auto cmyk = QorDoc::ConvertToProcess(color, options.GetSeparationInfo());
    std::copy(cmyk.begin(), cmyk.end(), out.begin());
  } else {
    std::fill(out.begin(), out.end(), QorDoc::ConvertToGray(color, options.GetSeparationInfo()));
  }
}

ShadingTable::ShadingTable(const Options& options, const QorPaint::SeparationMapping& mapping,
                           const QorPaint::Function& function, QorPaint::Interval domain,
                           std::size_t entries)
    : entries_(entries), columns_(ColumnCount(options)) {
  values_.resize(entries_ * columns_);
  std::vector<float> row;
  for (std::size_t r = 0; r < entries_; ++r) {
    // Row r samples the parameter at r / (entries − 1): the first and the last row
    // hold exactly the colours at the two ends.
    const double s =
        entries_ > 1 ? static_cast<double>(r) / static_cast<double>(entries_ - 1) : 0.0;
    const double t = domain.min + s * (domain.max - domain.min);
    ShadingColourAt(options, mapping, function, t, row);
    std::copy(row.begin(), row.end(), values_.begin() + static_cast<std::ptrdiff_t>(r * columns_));
  }
}

ShadingNoise::ShadingNoise(std::size_t entries, std::size_t percent)
    : m_(static_cast<std::int32_t>(entries)),
      amplitude_(static_cast<std::int32_t>(
          ((static_cast<std::int64_t>(m_) * static_cast<std::int64_t>(percent) + 50) / 100 + 1) /
          2)),
      generator_(0),
      distribution_(-m_, m_) {}

std::int64_t ShadingNoise::Perturb(std::int64_t r) {
  const std::int64_t a =
      r < amplitude_ ? r : std::min<std::int64_t>(static_cast<std::int64_t>(m_) - r, amplitude_);
  const std::int64_t d = distribution_(generator_);
  // 64-bit product: the same quotient as 32-bit arithmetic wherever that does not
  // overflow, and defined where it would.
  std::int64_t moved = r + (d * a) / m_;
  if (moved < 0) moved = 0;
  if (moved > static_cast<std::int64_t>(m_) - 1) moved = static_cast<std::int64_t>(m_) - 1;
  return moved;
}

ShadingTable MakeShadingTable(const Options& options, const QorPaint::SeparationMapping& mapping,
                              const QorPaint::Function& function, QorPaint::Interval domain,
                              double pixels, std::optional<ShadingNoise>& noise) {
  std::size_t entries = ShadingRowsPerFunction(pixels) * QorPaint::CountLeafFunctions(function);
  const std::size_t percent = options.GetNoiseForShadings();
  noise.reset();
  if (percent > 0 && entries > 0) {
    entries *= 16;
    noise.emplace(entries, percent);
  }
  return ShadingTable(options, mapping, function, domain, entries);
}

}  // namespace QorSc
