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
float RegistrationTint(std::span<const QorColor::Component> tints) {
  float tint = 0.0f;
  for (const float entry : tints) {
    const float t = entry > 1.0f ? 1.0f : entry;
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

FlatColorPlan::FlatColorPlan(const Options& options, const std::vector<std::string>& names)
    : process_(options.GetOutputMode() == Options::kProcess),
      gray_(options.GetOutputMode() == Options::kGray),
      plate_count_(options.GetBlendingSeparations().Size()),
      no_names_(names.empty()) {
  const Options::SeparationList& separations = options.GetBlendingSeparations();
  const Options::SeparationInfo& table = options.GetSeparationInfo();
  named_.resize(plate_count_);
  for (std::size_t i = 0; i < plate_count_; ++i) {
    named_[i] = std::find(names.begin(), names.end(), separations.GetName(i)) != names.end();
  }
  if (process_ || gray_) {
    process_converter_.emplace(names, table);
  } else {
    separation_converter_.emplace(names, separations, table);
  }
}

FlatPaintDescription FlatColorPlan::Describe(std::span<const QorColor::Component> tints,
                                             bool namedOnly, bool all) const {
  FlatPaintDescription description;
  if (all) {
    description.values.assign(process_ ? 4 : plate_count_, RegistrationTint(tints));
  } else if (process_) {
    const auto cmyk = process_converter_->ToProcess(tints.data());
    description.values.assign(cmyk.begin(), cmyk.end());
  } else if (gray_) {
    description.values.assign(plate_count_, process_converter_->ToGray(tints.data()));
  } else {
    description.values.resize(plate_count_);
    separation_converter_->ToSeparations(tints.data(), description.values.data());
  }

  // Overprint leaves the plates of foreign colorants alone; grey and process output
  // have no foreign plates to protect, and registration marks them all.
  const bool overprint = !process_ && !gray_ && namedOnly && !all;
  description.kinds.resize(description.values.size());
  for (std::size_t i = 0; i < description.values.size(); ++i) {
    if (overprint && (no_names_ || !named_[i])) {
      description.kinds[i] = kKindAbsent;
      description.absent = true;
      continue;
    }
    description.kinds[i] = KindOf(description.values[i], process_);
  }
  return description;
}

FlatPaintDescription DescribeFlatPaint(const Options& options, const QorColor::Color& color) {
  const QorPaint::FlatPaint paint(color);
  return FlatColorPlan(options, paint.GetColorants().GetNames())
      .Describe(paint.GetTints(), paint.PaintsNamedColorantsOnly(), paint.PaintsAllColorants());
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
      values_(std::move(description.values)) {
  copy_.Assign(Kinds(), values_);
}

void OpaqueFlatCopy::Assign(const ComponentKinds& kinds, const FlatValues& values) {
  row = kinds;
  row.insert(row.end(), 3, kKindFull);
  constants.clear();
  for (std::size_t c = 0; c < kinds.size(); ++c) {
    if (kinds[c] == kKindConstant) constants.emplace_back(c, values[c]);
  }
}

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

const FlatColorPlan& FlatPaintGetterCache::PlanFor(const Options& options,
                                                   const QorPaint::FlatPaint& paint) {
  const QorPaint::ColorantList* colorants = &paint.GetColorants();
  const auto address = reinterpret_cast<std::uintptr_t>(colorants);
  PlanSlot& slot = plans_[(address >> 4) % kPlanSlots];
  if (slot.plan && slot.colorants.get() == colorants && slot.options == &options) {
    return *slot.plan;
  }
  slot.plan = std::make_unique<FlatColorPlan>(options, colorants->GetNames());
  slot.colorants = paint.GetSharedColorants();
  slot.options = &options;
  return *slot.plan;
}

std::shared_ptr<FlatPaintGetter> FlatPaintGetterCache::Get(const Options& options,
                                                           const QorPaint::FlatPaint& paint,
                                                           bool fullInk) {
  const FlatColorPlan& plan = PlanFor(options, paint);
  if (!fullInk) {
    return Get(plan.Describe(paint.GetTints(), paint.PaintsNamedColorantsOnly(),
                             paint.PaintsAllColorants()));
  }
  const FlatValues full(paint.GetTints().size(), 1.0f);
  return Get(plan.Describe({full.data(), full.size()}, paint.PaintsNamedColorantsOnly(),
                           paint.PaintsAllColorants()));
}

std::shared_ptr<FlatPaintGetter> FlatPaintGetterCache::Get(
    const Options& options, const std::shared_ptr<const QorPaint::Paint>& paint, bool fullInk) {
  PaintSlot& slot = SlotOf(*paint);
  if (slot.Keeps(options, paint, fullInk)) return slot.getter;
  const auto& flat = static_cast<const QorPaint::FlatPaint&>(*paint);
  // A paint held only by its object and the object's record will not be asked for
  // again: keeping it would cost the slot's upkeep for nothing.
  if (paint.use_count() <= kPrivateUses) return Get(options, flat, fullInk);
  slot.getter = Get(options, flat, fullInk);
  slot.paint = paint;
  slot.options = &options;
  slot.fullInk = fullInk;
  return slot.getter;
}

bool FlatPaintGetterCache::CopyOf(const Options& options,
                                  const std::shared_ptr<const QorPaint::Paint>& paint,
                                  OpaqueFlatCopy& copy) {
  // A paint kept in its slot is copied from its getter, found by the paint's address
  // alone: the reference count, on a line of its own, is read only for the others.
  const PaintSlot& slot = SlotOf(*paint);
  if (slot.Keeps(options, paint, false)) {
    copy = slot.getter->Copy();
    return slot.getter->HasAbsentComponents();
  }
  if (paint.use_count() <= kPrivateUses) {
    // Equal descriptions copy the same: a Constant value is never a zero, the one
    // value two equal descriptions may hold with different bits.
    const auto& flat = static_cast<const QorPaint::FlatPaint&>(*paint);
    const FlatPaintDescription description =
        PlanFor(options, flat)
            .Describe(flat.GetTints(), flat.PaintsNamedColorantsOnly(), flat.PaintsAllColorants());
    copy.Assign(description.kinds, description.values);
    return description.absent;
  }
  const std::shared_ptr<FlatPaintGetter> getter = Get(options, paint, false);
  copy = getter->Copy();
  return getter->HasAbsentComponents();
}

void FlatPaintGetterCache::Forget(const Options& options) {
  for (PlanSlot& slot : plans_) {
    if (slot.options == &options) slot = PlanSlot{};
  }
  for (PaintSlot& slot : paints_) {
    if (slot.options == &options) slot = PaintSlot{};
  }
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
