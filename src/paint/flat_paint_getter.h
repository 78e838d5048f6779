// Flat paints: one colour everywhere, described once per distinct colour.
//
// A FlatPaintDescription holds one value and one kind per output component and the
// absent flag; it is computed from the options and the colour alone, so equal
// descriptions paint identically and may share one getter (FlatPaintGetterCache).
// Invariants: values.size() == kinds.size() == the output's component count; a kind
// is never PerPixel. Compute's loop writes only Constant components, only at run
// starts, and must not allocate (the painted list reuses its capacity).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "paint/paint_getter.h"
#include "qorcolor/color_list.h"
#include "qordoc/color_conversion.h"
#include "qorpaint/paint.h"
#include "scan/options.h"

namespace QorSc {

class LineBuffer;

// Below this a value is no ink (kind Zero); above 1 minus it, full ink (kind Full).
inline constexpr float kFlatInkEpsilon = 0.00001f;
inline constexpr float kFlatFullInk = 0.99999f;

// One value per component, kept inline for the usual few plates: a page of many
// distinct colours makes one getter per colour, and each should be one allocation.
using FlatValues = boost::container::small_vector<float, 8>;

struct FlatPaintDescription {
  FlatValues values;
  bool absent = false;
  ComponentKinds kinds;
};

// What `color` paints under `options`:
// - separations and grey output: the converted value per blending separation,
//   kind Zero / Full / Constant by the thresholds; with separation output a colour
//   that paints its named colorants only leaves every other separation Absent;
// - process output: the four process values, Zero or Constant (never Full);
// - a registration colour (paints all colorants): the largest of its tints on every
//   plate, never Absent, whatever the output.
FlatPaintDescription DescribeFlatPaint(const Options& options, const QorColor::Color& color);

// DescribeFlatPaint for colours of one list of colorant names under one set of
// options: each name's plate or look is found once, then each colour's description
// is its tints' arithmetic alone, the same to the bit.
class FlatColorPlan {
 public:
  FlatColorPlan(const Options& options, const std::vector<std::string>& names);
  // `tints` one per name; the flags are the colour's.
  FlatPaintDescription Describe(std::span<const QorColor::Component> tints, bool namedOnly,
                                bool all) const;

 private:
  bool process_;
  bool gray_;
  std::size_t plate_count_;
  bool no_names_;
  // Per separation: whether a name of the list is that separation's (overprint).
  std::vector<bool> named_;
  std::optional<QorDoc::ProcessConverter> process_converter_;
  std::optional<QorDoc::SeparationConverter> separation_converter_;
};

// The colour with full ink (1.0) in each of its colorants, flags kept: what an
// object screened by a halftone set marks in its own colorants.
QorColor::Color FullInkColor(const QorColor::Color& color);

// What an opaque flat object copies over each of its runs: the row of states (the
// paint's kinds, then the auxiliary planes Full) and its Constant values by plane.
// Each flat getter prepares its own once, so that every object painted with it
// (and drawn by an opaque copy) shares it.
struct OpaqueFlatCopy {
  ComponentKinds row;
  boost::container::small_vector<std::pair<std::size_t, float>, 4> constants;

  // The copy of a flat paint of these kinds and values.
  void Assign(const ComponentKinds& kinds, const FlatValues& values);
  // Covers every run in `line`, one after the other (with the line batch, which
  // resolves copies together).
  void CopyInto(LineBuffer& line, const RunList& runs) const;
};

class FlatPaintGetter final : public PaintGetter {
 public:
  explicit FlatPaintGetter(FlatPaintDescription description);

  // `buffers` has at least one component per value; runs lie inside its box.
  void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override;
  int GetPaintKind() const override { return 1; }

  const FlatValues& Values() const { return values_; }
  // What an object of this paint copies when it is opaque and Normal.
  const OpaqueFlatCopy& Copy() const { return copy_; }

 private:
  FlatValues values_;
  OpaqueFlatCopy copy_;
};

// A getter of explicit values, kinds and absent flag, not shared.
std::shared_ptr<FlatPaintGetter> MakeFlatPaintGetter(std::vector<float> values,
                                                     ComponentKinds kinds, bool absent);

// Equal descriptions seen recently share one getter. The cache is direct-mapped by
// a hash of the description: a lookup hashes a few words and compares one entry,
// and a page of thousands of distinct colours holds at most kSlots getters beyond
// those of its active objects (a colour whose slot was taken gets a new getter,
// which paints the same). Not thread-safe: one cache per conversion.
class FlatPaintGetterCache {
 public:
  static constexpr std::size_t kSlots = 256;

  std::shared_ptr<FlatPaintGetter> Get(const Options& options, const QorColor::Color& color);
  std::shared_ptr<FlatPaintGetter> Get(FlatPaintDescription description);
  // A flat paint's getter through the plan of its colorant list, made at the list's
  // first paint and found again by the list's identity; `fullInk` gives the getter
  // of full ink in the paint's colorants (as GetFullInk).
  std::shared_ptr<FlatPaintGetter> Get(const Options& options, const QorPaint::FlatPaint& paint,
                                       bool fullInk = false);
  // The same for a flat paint held by `paint`, found again by the paint's identity
  // while its slot keeps it: the importer hands one paint to every object painted
  // in one colour, so runs of such objects describe their colour once.
  std::shared_ptr<FlatPaintGetter> Get(const Options& options,
                                       const std::shared_ptr<const QorPaint::Paint>& paint,
                                       bool fullInk);
  // What Get(options, paint, false)'s getter copies, written into `copy`: taken from
  // the getter kept for the paint, else described without making a getter (a paint
  // of one object only is never asked for again). Returns whether the paint leaves
  // components absent.
  bool CopyOf(const Options& options, const std::shared_ptr<const QorPaint::Paint>& paint,
              OpaqueFlatCopy& copy);
  // The shared getter of full ink in `color`'s own colorants (FullInkColor), converted
  // like any colour.
  std::shared_ptr<FlatPaintGetter> GetFullInk(const Options& options, const QorColor::Color& color);

  // Forgets the plans and paints found for `options`, which is going away: they are
  // found by the options' address, and later options may be made at the same place.
  void Forget(const Options& options);

  // Getters held by the cache (at most kSlots).
  std::size_t Size() const;

  static constexpr std::size_t kPlanSlots = 64;
  static constexpr std::size_t kPaintSlots = 64;
  // References to a paint that only one object uses: its document object's and its
  // record's.
  static constexpr long kPrivateUses = 2;

 private:
  // A plan holds its list, so that the list's address names it while it is kept.
  struct PlanSlot {
    const Options* options = nullptr;
    QorPaint::ColorantListPtr colorants;
    std::unique_ptr<FlatColorPlan> plan;
  };
  const FlatColorPlan& PlanFor(const Options& options, const QorPaint::FlatPaint& paint);

  struct Slot {
    std::uint64_t hash = 0;
    std::shared_ptr<FlatPaintGetter> getter;
  };
  // A slot holds its paint, so that the paint's address names it while it is kept.
  struct PaintSlot {
    const Options* options = nullptr;
    std::shared_ptr<const QorPaint::Paint> paint;
    bool fullInk = false;
    std::shared_ptr<FlatPaintGetter> getter;

    bool Keeps(const Options& o, const std::shared_ptr<const QorPaint::Paint>& p, bool full) const {
      return getter && paint == p && options == &o && fullInk == full;
    }
  };
  // The slot a paint is kept in, by its address.
  PaintSlot& SlotOf(const QorPaint::Paint& paint) {
    return paints_[(reinterpret_cast<std::uintptr_t>(&paint) >> 4) % kPaintSlots];
  }

  std::array<Slot, kSlots> slots_;
  std::array<PaintSlot, kPaintSlots> paints_;
  std::array<PlanSlot, kPlanSlots> plans_;
};

}  // namespace QorSc
