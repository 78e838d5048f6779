// LineRenderer: drives the objects of one level (the page, later each group) line
// by line.
//
// Records are ordered once by the first line of their pixel box (painting index
// breaking ties); when the scan line reaches one it is activated into its filler (or
// dropped, if its box already ended) and joins the active list, which stays sorted
// by painting index. An object that is just its box in an opaque flat colour
// becomes no filler: its entry holds the box's run and its paint's copy, settled
// from its first line (a filler is made for it only if a line needs one: hit lists,
// or a line of other planes or span). An opaque flat object of any other shape
// becomes no filler either: its entry draws its paint's copy over the runs of a
// generator the renderer keeps and reuses (FlatShape), unless the line it starts on
// needs fillers. Activated records are kept, and freed
// together with the renderer in the order they were made. Per line every active object advances its
// generator and clip, and its filler composites it over its (clipped) runs, lowest index first. The
// renderer is also the context the fillers and generators see: environment, pixel box, options,
// pools.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "composite/intervals_filler.h"
#include "composite/line_buffer.h"
#include "composite/opaque_flat_batch.h"
#include "frame/conversion_pools.h"
#include "frame/flat_shape.h"
#include "paint/flat_paint_getter.h"
#include "qorcolor/cmyk.h"
#include "raster/line_context.h"
#include "scan/object_collection.h"
#include "scan/options.h"

namespace QorSc {

class LineRenderer : public LineContext {
 public:
  LineRenderer(const Environment& env, const QorMath::Rectangle<long long>& pixelBox,
               const Options& options, std::unique_ptr<ObjectInfoContainer> objects,
               ConversionPools& pools);
  ~LineRenderer();

  const QorMath::Rectangle<long long>& GetPixelBox() const { return pixel_box_; }
  const Options& GetOptions() const { return options_; }
  std::size_t ColourPlanes() const { return options_.GetBlendingSeparations().Size(); }
  const std::vector<QorColor::CmykIndex::Type>& GetCmykIndexes() const { return cmyk_indexes_; }
  std::uint8_t GetKnockout() const { return knockout_; }
  long long GetCurrentLine() const { return current_line_; }
  ConversionPools& Pools() const { return *pools_; }

  // Renders line `y` into `line`: activation, ordering, then every active object.
  void RenderLine(long long y, LineBuffer& line, std::vector<std::size_t>* hits);

 private:
  // One active object: its filler and what the per-line loop reads of it, kept
  // together so that a line crossed by thousands of objects touches one array. The
  // entry refers to its filler (its slot of fillers_ owns it) and is copied freely
  // when the list is merged.
  struct Active {
    Active() = default;  // a place in the merge's buffer
    Active(IntervalsFiller& filler, std::uint32_t fillerSlot, std::size_t planes);
    // Null for a flat box or shape (then copy is not) and once retired (then
    // neither is set).
    IntervalsFiller* filler = nullptr;
    // The filler's, or a flat shape's; null for a flat box.
    RunLengthGenerator* generator = nullptr;
    Clip* clip = nullptr;  // null when the scope clips nothing
    // The filler's flat copy, if any, or a flat box's or shape's FlatShape.
    const OpaqueFlatCopy* copy = nullptr;
    const RunList* runs = nullptr;  // on this line, after the clip (null: nothing to draw)
    // A settled object's one run as bits of the batch's union (SettledRun) and the
    // line its box ends on, in 32 bits as record boxes are (SettledBottom), so that
    // an entry stays 80 bytes with its filler's slot.
    OpaqueFlatBatch::SettledRun run{};
    std::int32_t bottom = 0;
    std::uint32_t index = 0;
    std::uint32_t slot = 0;  // the filler's place in fillers_, when there is a filler
    bool may_be_hidden = false;
    bool hides = false;
    // An unclipped flat copy of this renderer's planes whose runs stay the same on
    // every line: once its first run is known it is settled, and its later lines
    // read only this entry, neither generator nor filler.
    bool steady = false;
    bool settled = false;

    bool Retired() const { return filler == nullptr && copy == nullptr; }
  };
  static_assert(sizeof(Active) <= 80, "the merge copies every active entry on most lines");
  // Fills order_ with the records' indices by first line, then painting index.
  void OrderByFirstLine();
  // Adds the records whose first line is `y` to the active list, which then holds
  // no entry retired on an earlier line.
  // `flatShapes`: the line takes flat copies without fillers (ActivateFlatShape).
  void Activate(long long y, bool flatShapes);
  // Activates `record` as a flat box when it is one (FlatBoxCopy) and the box's run
  // can be settled; false otherwise.
  bool ActivateFlatBox(ObjectInfo& record);
  // Activates `record` as a flat shape when it is one (FlatShapeCopy); false
  // otherwise.
  bool ActivateFlatShape(ObjectInfo& record);
  // The flat shape the next flat box or shape takes (the last given back).
  FlatShape& SpareFlatShape() {
    if (free_flat_shapes_.empty()) {
      // The free list then has room for every shape there is: giving one back never
      // allocates.
      free_flat_shapes_.reserve(flat_shapes_.size() + 1);
      free_flat_shapes_.push_back(&flat_shapes_.emplace_back());
    }
    return *free_flat_shapes_.back();
  }
  // The flat shape of a flat box's or shape's entry: its copy is that shape's.
  static FlatShape& FlatShapeOf(const Active& a) {
    // Every such copy is one of flat_shapes_, which the renderer owns and writes.
    return static_cast<FlatShape&>(const_cast<OpaqueFlatCopy&>(*a.copy));
  }
  // A settled entry's bottom: a generator's box lies within its record's, whose
  // sides are 32-bit; clamped all the same.
  static std::int32_t SettledBottom(long long bottom) {
    return static_cast<std::int32_t>(std::clamp<long long>(bottom, INT32_MIN, INT32_MAX));
  }
  // Makes `record`'s filler, keeps it in a free slot of fillers_ and returns its
  // entry.
  Active MakeActive(ObjectInfo& record);
  // Gives a flat box or shape its filler, for a line that needs one (hit lists, or
  // other planes or span): the record's filler, whose generator starts at the
  // line it is first asked for, as the one it replaces would read there.
  void MakeFiller(Active& a);
  // Gives back what an active entry draws with: its filler, or a flat box's or
  // shape's FlatShape.
  void Release(const Active& a);
  void DropRetired();
  // Walks the line's objects from the last painted: drops from runs_ the objects
  // whose runs lie under later opaque flat copies, and hands every copy that fits the
  // line to the batch as its visible pieces (dropped from runs_ as well). Returns how
  // many objects are left to draw by themselves. `settledFit`: the line has the
  // planes and the pixel span settled objects were prepared for.
  std::uint32_t ResolveOcclusion(const LineBuffer& line, bool settledFit);
  // Frees the object's filler; the entry is removed after the line.
  void Retire(Active& a);

  QorMath::Rectangle<long long> pixel_box_;
  Options options_;
  std::vector<QorColor::CmykIndex::Type> cmyk_indexes_;
  std::uint8_t knockout_;
  long long current_line_;
  long long last_line_;  // the last line a record's first line is clamped to
  bool narrow_;          // the box's pixels can be numbered in 32 bits, as settled runs are
  // How far ahead of activation a record, then what its filler reads, is prefetched.
  static constexpr std::size_t kPrefetchRecord = 16;
  static constexpr std::size_t kPrefetchReads = 8;
  static constexpr std::size_t kPrefetchRecordBytes = 184;  // fillable records: 120, 184

  // The line a record is activated on, from the box's first line: its box's top,
  // clamped to the box.
  std::uint32_t FirstLine(const ObjectInfo& record) const {
    const long long top = std::clamp(record.GetPixelBox().top, pixel_box_.top, last_line_);
    return static_cast<std::uint32_t>(top - pixel_box_.top);
  }
  static constexpr std::uint64_t kIndexBits = 0xFFFFFFFFu;

  // Records by painting index: one dropped unseen is freed at once, the others when
  // the renderer ends.
  std::vector<std::unique_ptr<ObjectInfo>> pending_;
  // Painting indices by first line, then index: 4 bytes a record, where the
  // activation reads the record's first line from the record it activates anyway.
  std::vector<std::uint32_t> order_;
  std::size_t next_ = 0;  // the first entry of order_ not yet activated
  // The fillers of the active objects in slots given back when their objects
  // retire and taken again by the next: as many as objects with fillers cross one
  // line, not one per record. The free list has room for every slot, so giving
  // one back never allocates.
  std::vector<std::unique_ptr<IntervalsFiller>> fillers_;
  std::vector<std::uint32_t> free_fillers_;
  std::vector<Active> active_;  // by painting index
  std::vector<Active> merged_;  // scratch for Activate's merge
  bool has_retired_ = false;    // active_ holds retired entries
  OpaqueFlatBatch flat_batch_;  // what opaque flat copies cover and leave visible
  const RunList no_runs_;       // the runs of a flat box without a filler: never read
  // What the active flat boxes and shapes draw with, reused through a free list: an
  // object takes the one given back last, still in the cache, and none is made per
  // object once there are as many as such objects cross one line. A deque, so that
  // entries keep their copy's address as it grows.
  std::deque<FlatShape> flat_shapes_;
  std::vector<FlatShape*> free_flat_shapes_;
  ConversionPools* pools_;
};

}  // namespace QorSc
