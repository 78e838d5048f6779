// The per-line driver. Per line it touches only the active objects; records are
// activated once and fillers live while the line crosses their objects.

#include "frame/line_renderer.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "qordoc/separation.h"
#include "raster/clip.h"

namespace QorSc {

LineRenderer::LineRenderer(const Environment& env, const QorMath::Rectangle<long long>& pixelBox,
                           const Options& options, std::unique_ptr<ObjectInfoContainer> objects,
                           ConversionPools& pools)
    : LineContext(env, pools.Chains()),
      pixel_box_(pixelBox),
      options_(options),
      knockout_(objects ? objects->knockout : 0),
      current_line_(pixelBox.top - 1),
      last_line_(std::max(pixelBox.top, pixelBox.bottom)),
      narrow_(pixelBox.right - pixelBox.left <= static_cast<long long>(kIndexBits)),
      pools_(&pools) {
  for (const auto& entry : options_.GetBlendingSeparations()) {
    cmyk_indexes_.push_back(QorDoc::GetCmykIndex(entry.name));
  }
  if (objects) {
    pending_ = std::move(objects->records);
    // Ordered once, not kept in a heap: a heap's pops reach every record's box
    // again, a cache miss each, while records arrive in painting order and most
    // lines activate few of them.
    if (static_cast<std::uint64_t>(last_line_ - pixel_box_.top) > kIndexBits ||
        pending_.size() > kIndexBits)
      throw std::length_error("line renderer: more than 2^32 lines or objects on one level");
    OrderByFirstLine();
  }
}

void LineRenderer::OrderByFirstLine() {
  const std::size_t count = pending_.size();
  const auto last = static_cast<std::size_t>(last_line_ - pixel_box_.top);
  order_.resize(count);
  if (last > 4 * count + 4096) {
    // A box of far more lines than records: sorted by keys made for the sort alone,
    // the first line above the index.
    std::vector<std::uint64_t> keys(count);
    for (std::size_t i = 0; i < count; ++i) {
      pending_[i]->SetIndex(static_cast<std::uint32_t>(i));
      keys[i] = std::uint64_t{FirstLine(*pending_[i])} << 32 | i;
    }
    std::sort(keys.begin(), keys.end());
    for (std::size_t i = 0; i < count; ++i)
      order_[i] = static_cast<std::uint32_t>(keys[i] & kIndexBits);
    return;
  }
  // Records come in painting order, so counting them into their first lines keeps
  // each line's records by index, in two passes over the records and no copy of
  // the order.
  std::vector<std::uint32_t> first(last + 2, 0);  // by line: its first place
  for (std::size_t i = 0; i < count; ++i) {
    pending_[i]->SetIndex(static_cast<std::uint32_t>(i));
    ++first[FirstLine(*pending_[i]) + 1];
  }
  for (std::size_t line = 1; line < first.size(); ++line)
    first[line] += first[line - 1];
  for (std::size_t i = 0; i < count; ++i)
    order_[first[FirstLine(*pending_[i])]++] = static_cast<std::uint32_t>(i);
}

LineRenderer::~LineRenderer() {
  // Nested renderers (groups, soft masks) come and go within one conversion, and the
  // next one's options may take this one's place.
  pools_->FlatPaints().Forget(options_);
}

LineRenderer::Active::Active(IntervalsFiller& f, std::uint32_t fillerSlot, std::size_t planes)
    : filler(&f),
      generator(&f.Generator()),
      clip(f.GetClip() && f.GetClip()->HasElements() ? f.GetClip().get() : nullptr),
      copy(f.FlatCopy()),
      index(f.GetIndex()),
      slot(fillerSlot),
      may_be_hidden(f.MayBeHidden()),
      hides(f.HidesWhatItCovers()),
      steady(copy != nullptr && copy->row.size() == planes && clip == nullptr &&
             generator->HasSteadyRuns()) {}

void LineRenderer::Activate(long long y, bool flatShapes) {
  const std::size_t first_new = active_.size();
  const auto line = static_cast<std::uint32_t>(y - pixel_box_.top);
  for (; next_ < order_.size(); ++next_) {
    // The first record not due yet ends the walk: read here, it is read again when
    // it is activated, still in the cache.
    const std::uint32_t index = order_[next_];
    ObjectInfo& record = *pending_[index];
    if (FirstLine(record) > line) break;
    // Records are reached in an order far from the one they were made in: ask for
    // a record ahead (its first few cache lines, where records keep what Prefetch
    // reads), then for what its filler reads, before they are needed.
    if (next_ + kPrefetchRecord < order_.size()) {
      const auto* ahead =
          reinterpret_cast<const char*>(pending_[order_[next_ + kPrefetchRecord]].get());
      // Records are 16-byte aligned, not 64: their last bytes (a shape's
      // transformation) may lie on one more line than their size fills.
      for (std::size_t offset = 0; offset < kPrefetchRecordBytes; offset += 64)
        __builtin_prefetch(ahead + offset);
      __builtin_prefetch(ahead + kPrefetchRecordBytes - 1);
      if (next_ + 2 * kPrefetchRecord < order_.size())
        __builtin_prefetch(&pending_[order_[next_ + 2 * kPrefetchRecord]]);
    }
    if (next_ + kPrefetchReads < order_.size()) {
      const std::uint32_t ahead = order_[next_ + kPrefetchReads];
      pending_[ahead]->Prefetch();
    }
    // An activated record stays until the renderer ends, when all are freed in the
    // order they were made: one by one in the order of their first lines, each free
    // missed the cache on the allocator's neighbouring chunks.
    if (y < record.GetPixelBox().bottom) {
      if (!ActivateFlatBox(record) && !(flatShapes && ActivateFlatShape(record)))
        active_.push_back(MakeActive(record));
    } else {
      pending_[index].reset();
    }
  }
  if (active_.size() == first_new) {
    DropRetired();
    return;
  }
  auto by_index = [](const Active& a, const Active& b) { return a.index < b.index; };
  const auto fresh = active_.begin() + static_cast<std::ptrdiff_t>(first_new);
  // Records of several first lines come together only on a renderer's first line
  // or after skipped lines (a group's children start where the group does).
  if (!std::is_sorted(fresh, active_.end(), by_index)) std::sort(fresh, active_.end(), by_index);
  if (first_new == 0) return;
  // Merged through a kept buffer (std::inplace_merge would allocate one every
  // line), leaving out the entries retired on the line before: one pass over the
  // list instead of two.
  if (merged_.size() < active_.size()) merged_.resize(active_.size());
  Active* out = merged_.data();
  const Active* old = active_.data();
  const Active* const old_end = old + first_new;
  const Active* added = old_end;
  const Active* const added_end = active_.data() + active_.size();
  while (old != old_end && added != added_end) {
    if (old->Retired()) {
      ++old;
    } else if (added->index < old->index) {
      *out++ = *added++;
    } else {
      *out++ = *old++;
    }
  }
  for (; old != old_end; ++old) {
    if (!old->Retired()) *out++ = *old;
  }
  out = std::copy(added, added_end, out);
  merged_.resize(static_cast<std::size_t>(out - merged_.data()));
  active_.swap(merged_);
  has_retired_ = false;
}

bool LineRenderer::ActivateFlatBox(ObjectInfo& record) {
  // Settled runs number the box's pixels in 32 bits.
  if (!narrow_) return false;
  FlatShape& copy = SpareFlatShape();
  if (!record.FlatBoxCopy(*this, copy) || copy.row.size() != ColourPlanes() + 3) return false;
  free_flat_shapes_.pop_back();
  // The entry a box filler's would be once settled on its first line: a box
  // generator's run is the box's columns on every line of it.
  const QorMath::Rectangle<long long>& box = record.GetPixelBox();
  Active& a = active_.emplace_back();
  a.copy = &copy;
  a.run = OpaqueFlatBatch::Settle(box.left, box.right, pixel_box_.left, pixel_box_.right);
  a.bottom = SettledBottom(box.bottom);
  a.index = record.GetIndex();
  a.may_be_hidden = true;
  a.hides = true;
  a.steady = true;
  a.settled = true;
  return true;
}

bool LineRenderer::ActivateFlatShape(ObjectInfo& record) {
  FlatShape& shape = SpareFlatShape();
  if (!record.FlatShapeCopy(*this, shape)) return false;
  if (shape.row.size() != ColourPlanes() + 3) {
    shape.Finish();
    return false;
  }
  free_flat_shapes_.pop_back();
  // The entry its filler's would be: a flat copy that hides what it covers. It is
  // never settled (only a box generator keeps its run, and an unclipped box is a
  // flat box).
  Active& a = active_.emplace_back();
  a.generator = shape.generator;
  a.clip = shape.clip;
  a.copy = &shape;
  a.index = record.GetIndex();
  a.may_be_hidden = true;
  a.hides = true;
  return true;
}

void LineRenderer::Release(const Active& a) {
  if (a.filler != nullptr) {
    fillers_[a.slot].reset();
    free_fillers_.push_back(a.slot);
  } else if (a.copy != nullptr) {
    FlatShape& shape = FlatShapeOf(a);
    shape.Finish();
    free_flat_shapes_.push_back(&shape);
  }
}

void LineRenderer::MakeFiller(Active& a) {
  Release(a);
  a = MakeActive(*pending_[a.index]);
}

LineRenderer::Active LineRenderer::MakeActive(ObjectInfo& record) {
  std::unique_ptr<IntervalsFiller> filler = record.CreateFiller(*this);
  std::uint32_t slot = 0;
  if (free_fillers_.empty()) {
    slot = static_cast<std::uint32_t>(fillers_.size());
    fillers_.emplace_back();
    free_fillers_.reserve(fillers_.capacity());
  } else {
    slot = free_fillers_.back();
    free_fillers_.pop_back();
  }
  fillers_[slot] = std::move(filler);
  return Active(*fillers_[slot], slot, ColourPlanes() + 3);
}

void LineRenderer::DropRetired() {
  if (!has_retired_) return;
  active_.erase(
      std::remove_if(active_.begin(), active_.end(), [](const Active& a) { return a.Retired(); }),
      active_.end());
  has_retired_ = false;
}

void LineRenderer::RenderLine(long long y, LineBuffer& line, std::vector<std::size_t>* hits) {
  current_line_ = y;
  const bool settled_fit = line.Planes() == ColourPlanes() + 3 && line.Left() == pixel_box_.left &&
                           line.Right() == pixel_box_.right;
  // A line that draws through fillers makes them at once rather than flat shapes
  // that would need them at once.
  const bool fillers_only = hits != nullptr || !settled_fit;
  Activate(y, !fillers_only);
  // Every object's runs first, so that objects hidden under later ones are known.
  bool retired = false;
  std::size_t drawn = 0;
  if (fillers_only) {
    // Flat shapes take their fillers (a flat box keeps its settled run below).
    for (Active& a : active_) {
      if (a.filler == nullptr && a.generator != nullptr) MakeFiller(a);
    }
  }
  for (Active& a : active_) {
    if (a.settled) {
      // What its generator would say: the same run until the box ends.
      if (y >= a.bottom) {
        Retire(a);
        retired = true;
        continue;
      }
      if (a.filler != nullptr) {
        a.runs = &a.generator->Runs();
      } else if (fillers_only) {
        const Active box = a;
        MakeFiller(a);
        a.generator->GenerateRuns(y);
        a.runs = &a.generator->Runs();
        a.settled = true;
        a.run = box.run;
        a.bottom = box.bottom;
      } else {
        // Drawn from its settled run alone (ResolveOcclusion), never read.
        a.runs = &no_runs_;
      }
      ++drawn;
      continue;
    }
    a.runs = nullptr;
    a.generator->GenerateRuns(y);
    if (a.generator->GetState() == RunLengthGenerator::kFinished) {
      Retire(a);
      retired = true;
      continue;
    }
    const RunList* runs = &a.generator->Runs();
    if (a.clip != nullptr) {
      a.clip->Update(*this, y);
      if (a.clip->IsExcluded()) {
        Retire(a);
        retired = true;
        continue;
      }
      // Most clipped objects lie inside one run of their clip (a plot's frame, a
      // page's box): their runs are the intersection as they stand, as are no runs.
      const RunList& admitted = a.clip->Runs();
      if (!runs->empty() && (admitted.size() != 1 || runs->front().start < admitted.front().start ||
                             runs->back().End() > admitted.front().End())) {
        RunList& clipped = a.filler != nullptr ? a.filler->ClippedRuns() : FlatShapeOf(a).clipped;
        IntersectRuns(*runs, admitted, clipped);
        runs = &clipped;
      }
    }
    if (runs->empty()) continue;
    a.runs = runs;
    if (a.steady && runs->size() == 1 && narrow_) {
      a.settled = true;
      a.run = OpaqueFlatBatch::Settle(runs->front().start, runs->front().End(), pixel_box_.left,
                                      pixel_box_.right);
      a.bottom = SettledBottom(a.generator->GetPixelBox().bottom);
    }
    ++drawn;
  }
  // A hit list names every object that paints, hidden or not, in painting order.
  if (hits != nullptr) {
    for (Active& a : active_) {
      if (a.runs != nullptr) a.filler->Fill(*this, line, hits, *a.runs);
    }
  } else if (drawn > 0) {
    const std::uint32_t others = ResolveOcclusion(line, settled_fit);
    // Copies painted before each other object cover the map together just before it.
    std::uint32_t remaining = others;
    for (Active& a : active_) {
      if (a.runs == nullptr) continue;
      flat_batch_.Apply(line, remaining);
      a.filler->Fill(*this, line, hits, *a.runs);
      --remaining;
    }
    flat_batch_.Apply(line, 0);
  }
  // Entries retired here leave the list with the next line's merge.
  has_retired_ = has_retired_ || retired;
}

void LineRenderer::Retire(Active& a) {
  Release(a);
  a.filler = nullptr;
  a.generator = nullptr;
  a.copy = nullptr;
  a.runs = nullptr;
}

std::uint32_t LineRenderer::ResolveOcclusion(const LineBuffer& line, bool settledFit) {
  const std::size_t planes = line.Planes();
  flat_batch_.Clear(line.Left(), line.Right());
  std::uint32_t others = 0;
  // Walked through local pointers: the batch's calls would otherwise make the
  // compiler reload the vector's data for every object.
  Active* const first = active_.data();
  for (Active* it = first + active_.size(); it-- != first;) {
    Active& a = *it;
    if (a.runs == nullptr) continue;
    if (a.settled && settledFit) {
      flat_batch_.ClaimSettled(a.run, a.copy, others);
      a.runs = nullptr;
      continue;
    }
    if (a.copy != nullptr && a.copy->row.size() == planes) {
      // Painted through its visible pieces, not by itself.
      flat_batch_.Claim(*a.runs, *a.copy, others);
      a.runs = nullptr;
      continue;
    }
    if (a.may_be_hidden && !flat_batch_.Empty() && flat_batch_.Covers(*a.runs)) {
      a.runs = nullptr;
      continue;
    }
    if (a.hides) flat_batch_.Own(*a.runs);
    ++others;
  }
  flat_batch_.Finish();
  return others;
}

}  // namespace QorSc
