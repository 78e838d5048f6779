// Flat paints: describing a colour per output component, sharing equal descriptions,
// and writing Constant components at run starts.
//
// Invariant: a description depends on the options and the colour only, so the cache
// may hand one getter to every object of an equal description. Compute must not
// allocate or write anything but Constant components at run starts.

#include "paint/flat_paint_getter.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "qordoc/color_conversion.h"

namespace QorSc {
namespace {

// Process output writes full ink as a value, never as kind Full, so every process
// plate of a flat paint is either untouched ink or one stored value.
std::uint8_t KindOf(float value, bool process) {
  if (value < kFlatInkEpsilon) return kKindZero;
  if (!process && value > kFlatFullInk) return kKindFull;
  return kKindConstant;
}

// A registration colour marks every plate alike; with several entries the strongest
// wins, since any of them alone would already show on every plate.
float RegistrationTint(const QorColor::Color& color) {
  float tint = 0.0f;
  for (const auto& entry : color) {
    const float t = entry.tint > 1.0f ? 1.0f : entry.tint;
    if (t > tint) tint = t;
  }
  return tint;
}

// FNV-1a over the values' bits, the kinds and the flag. Zero and negative zero
// compare equal, so both hash as zero.
std::uint64_t HashOf(const FlatPaintDescription& d) {
  constexpr std::uint64_t kPrime = 0x100000001b3ULL;
  std::uint64_t h = 0xcbf29ce484222325ULL;
  for (const float v : d.values) {
    const std::uint32_t bits = v == 0.0f ? 0u : std::bit_cast<std::uint32_t>(v);
    h = (h ^ bits) * kPrime;
  }
  for (const std::uint8_t k : d.kinds)
    h = (h ^ k) * kPrime;
  h = (h ^ static_cast<std::uint64_t>(d.absent)) * kPrime;
  return h ^ (h >> 29);
}

bool Describes(const FlatPaintGetter& getter, const FlatPaintDescription& d) {
  return getter.Values() == d.values && getter.Kinds() == d.kinds &&
         getter.HasAbsentComponents() == d.absent;
}

}  // namespace

FlatPaintDescription DescribeFlatPaint(const Options& options, const QorColor::Color& color) {
  const bool process = options.GetOutputMode() == Options::kProcess;
  const bool gray = options.GetOutputMode() == Options::kGray;
  const Options::SeparationList& separations = options.GetBlendingSeparations();
  const Options::SeparationInfo& table = options.GetSeparationInfo();

  FlatPaintDescription description;
  if (color.PaintsAllColorants()) {
    description.values.assign(process ? 4 : separations.Size(), RegistrationTint(color));
  } else if (process) {
    const auto cmyk = QorDoc::ConvertToProcess(color, table);
    description.values.assign(cmyk.begin(), cmyk.end());
  } else if (gray) {
    description.values.assign(separations.Size(), QorDoc::ConvertToGray(color, table));
  } else {
    description.values.resize(separations.Size());
    QorDoc::ConvertToSeparations(color, separations, table, description.values.data());
  }

  // Overprint leaves the plates of foreign colorants alone; grey and process output
  // have no foreign plates to protect, and registration marks them all.
  const bool overprint =
      !process && !gray && color.PaintsNamedColorantsOnly() && !color.PaintsAllColorants();
  description.kinds.resize(description.values.size());
  for (std::size_t i = 0; i < description.values.size(); ++i) {
    if (overprint && (color.Empty() || !color.Find(separations.GetName(i)))) {
      description.kinds[i] = kKindAbsent;
      description.absent = true;
      continue;
    }
    description.kinds[i] = KindOf(description.values[i], process);
  }
  return description;
}

QorColor::Color FullInkColor(const QorColor::Color& color) {
  QorColor::Color full;
  for (const auto& entry : color)
    full.Add(entry.name, 1.0f);
  full.SetPaintsNamedColorantsOnly(color.PaintsNamedColorantsOnly());
  full.SetPaintsAllColorants(color.PaintsAllColorants());
  return full;
}

FlatPaintGetter::FlatPaintGetter(FlatPaintDescription description)
    : PaintGetter(std::move(description.kinds), description.absent),
      values_(std::move(description.values)) {}

void FlatPaintGetter::Compute(const PaintLine& /*line*/, const RunList& runs,
                              SourcePaintBuffers& buffers, RunList& painted) {
  const ComponentKinds& kinds = Kinds();
  const std::size_t count = kinds.size();
  for (const Run& run : runs) {
    for (std::size_t i = 0; i < count; ++i) {
      if (kinds[i] == kKindConstant) buffers.Component(i)[run.start] = values_[i];
    }
  }
  painted = runs;
}

std::shared_ptr<FlatPaintGetter> MakeFlatPaintGetter(std::vector<float> values,
                                                     ComponentKinds kinds, bool absent) {
  FlatPaintDescription description;
  description.values.assign(values.begin(), values.end());
  description.kinds = std::move(kinds);
  description.absent = absent;
  return std::make_shared<FlatPaintGetter>(std::move(description));
}

std::shared_ptr<FlatPaintGetter> FlatPaintGetterCache::Get(const Options& options,
                                                           const QorColor::Color& color) {
  return Get(DescribeFlatPaint(options, color));
}

std::shared_ptr<FlatPaintGetter> FlatPaintGetterCache::Get(FlatPaintDescription description) {
  const std::uint64_t hash = HashOf(description);
  Slot& slot = slots_[hash % kSlots];
  if (slot.getter && slot.hash == hash && Describes(*slot.getter, description)) return slot.getter;
  slot.hash = hash;
  slot.getter = std::make_shared<FlatPaintGetter>(std::move(description));
  return slot.getter;
}

std::size_t FlatPaintGetterCache::Size() const {
  return static_cast<std::size_t>(std::count_if(slots_.begin(), slots_.end(),
                                                [](const Slot& s) { return s.getter != nullptr; }));
}

std::shared_ptr<FlatPaintGetter> FlatPaintGetterCache::GetFullInk(const Options& options,
                                                                  const QorColor::Color& color) {
  return Get(options, FullInkColor(color));
}

}  // namespace QorSc
