// Clip scopes, line by line: generators of clipping shapes advanced in step with the
// scan line, their runs united within a text and intersected within a scope chain.
//
// Invariants: a scope's runs belong to its stored line; an excluded scope has no runs
// and never leaves that state. The per-line path must not allocate once warm: lists
// are cleared (keeping their capacity) and results built in a scratch list are
// swapped in rather than copied into fresh storage.

#include "raster/clip.h"

namespace QorSc {

namespace {

// What an element without a generator reports: shared, never written.
const RunList& NoRuns() {
  static const RunList none;
  return none;
}

}  // namespace

void ClipObject::Update(const LineContext& context, long long line) {
  const auto& box = source_.pixelBox;
  if (line < box.top) return;
  if (line >= box.bottom) {
    // Lines only go down: the edges will never be needed again.
    generator_.reset();
    return;
  }
  if (!generator_) generator_ = CreateRunLengthGenerator(source_, context);
  generator_->GenerateRuns(line);
}

const RunList& ClipObject::Runs() const {
  return generator_ ? generator_->Runs() : NoRuns();
}

void ClipGroup::Update(const LineContext& context, long long line) {
  runs_.clear();
  for (ClipObject& member : members_) {
    member.Update(context, line);
    const RunList& runs = member.Runs();
    if (runs.empty()) continue;
    if (runs_.empty()) {
      runs_.assign(runs.begin(), runs.end());
    } else {
      UniteRuns(runs_, runs, scratch_);
      runs_.swap(scratch_);
    }
  }
}

bool ClipGroup::IsFinished(long long line) const {
  for (const ClipObject& member : members_) {
    if (!member.IsFinished(line)) return false;
  }
  return true;
}

bool Clip::HasElements() const {
  for (const Clip* scope = this; scope != nullptr; scope = scope->enclosing_.get()) {
    if (!scope->elements_.empty()) return true;
  }
  return false;
}

void Clip::Compute(const LineContext& context, long long line) {
  line_ = line;
  runs_.clear();
  if (excluded_) return;

  Clip* enclosing = enclosing_.get();
  if (enclosing != nullptr && enclosing->HasElements()) {
    enclosing->Update(context, line);
    if (enclosing->IsExcluded()) {
      Exclude();
      return;
    }
    runs_.assign(enclosing->runs_.begin(), enclosing->runs_.end());
    ApplyElements(context, line, 0);
    return;
  }
  if (elements_.empty()) return;

  // Outermost clipping scope: the first element's runs are the starting set, which
  // saves intersecting with "everything".
  ClipBase& first = *elements_.front();
  first.Update(context, line);
  if (first.IsFinished(line)) {
    Exclude();
    return;
  }
  if (first.IsEmpty()) {
    // Applying the empty element again yields the empty set; the later elements are
    // still advanced so that one that has passed its last line excludes the scope.
    ApplyElements(context, line, 0);
    return;
  }
  runs_.assign(first.Runs().begin(), first.Runs().end());
  ApplyElements(context, line, 1);
}

void Clip::ApplyElements(const LineContext& context, long long line, std::size_t first) {
  for (std::size_t i = first; i < elements_.size(); ++i) {
    ClipBase& element = *elements_[i];
    element.Update(context, line);
    if (element.IsFinished(line)) {
      Exclude();
      return;
    }
    if (element.IsEmpty()) {
      runs_.clear();
    } else {
      IntersectRuns(runs_, element.Runs(), scratch_);
      runs_.swap(scratch_);
    }
  }
}

void Clip::Exclude() {
  excluded_ = true;
  runs_.clear();
}

}  // namespace QorSc
