// Clip scopes: which pixels of each line the objects under a clipping scope may paint.
//
// A scope admits the intersection of its elements and of every element of the scopes
// that enclose it. An element is one clipping shape (ClipObject) or the union of the
// glyph outlines of a clipping text (ClipGroup). Lines are visited in ascending order,
// possibly with skips. A scope computes its runs once per line however many objects
// share it, and once an element has passed its last line the scope admits nothing
// for the rest of the page (it is excluded).
//
// Invariants: every run list kept here is strictly ascending, without touching or
// overlapping runs. The per-line path must not allocate once warm: run lists keep
// their capacity, scratch lists are swapped in, and each element creates its
// generator once.
#pragma once

#include <limits>
#include <memory>
#include <vector>

#include "raster/geometry_source.h"
#include "raster/line_context.h"
#include "raster/run.h"
#include "raster/run_length_generator.h"

namespace QorSc {

// One element of a clip scope.
class ClipBase {
 public:
  virtual ~ClipBase() = default;

  // Makes the runs of `line` current; lines come in ascending order.
  virtual void Update(const LineContext& context, long long line) = 0;
  // The runs of the current line (empty when IsEmpty()).
  virtual const RunList& Runs() const = 0;
  // No run on the current line.
  virtual bool IsEmpty() const = 0;
  // Covers nothing on `line` nor on any later line.
  virtual bool IsFinished(long long line) const = 0;

 protected:
  ClipBase() = default;
  ClipBase(const ClipBase&) = default;
  ClipBase(ClipBase&&) = default;
  ClipBase& operator=(const ClipBase&) = default;
  ClipBase& operator=(ClipBase&&) = default;
};

// One clipping shape. Its generator is made when the shape's first line is reached,
// so that scopes over shapes far down the page hold no edges until then, and is
// released once the shape is passed.
class ClipObject final : public ClipBase {
 public:
  explicit ClipObject(const GeometrySource& source) : source_(source) {}
  ClipObject(ClipObject&&) = default;
  ClipObject& operator=(ClipObject&&) = default;

  void Update(const LineContext& context, long long line) override;
  const RunList& Runs() const override;
  bool IsEmpty() const override { return !generator_ || generator_->Runs().empty(); }
  bool IsFinished(long long line) const override { return source_.pixelBox.bottom <= line; }

 private:
  GeometrySource source_;
  std::unique_ptr<RunLengthGenerator> generator_;
};

// The union of several shapes, e.g. the glyphs of a clipping text.
class ClipGroup final : public ClipBase {
 public:
  ClipGroup() = default;

  void AddObject(const GeometrySource& source) { members_.emplace_back(source); }
  std::size_t Size() const { return members_.size(); }

  void Update(const LineContext& context, long long line) override;
  const RunList& Runs() const override { return runs_; }
  bool IsEmpty() const override { return runs_.empty(); }
  // A group without members clips everything away.
  bool IsFinished(long long line) const override;

 private:
  std::vector<ClipObject> members_;
  RunList runs_;
  RunList scratch_;
};

// One clipping scope, shared by every object painted under it.
class Clip {
 public:
  // `enclosing` is the scope this one is nested in; empty at the outermost level.
  explicit Clip(std::shared_ptr<Clip> enclosing) : enclosing_(std::move(enclosing)) {}
  Clip(const Clip&) = delete;
  Clip& operator=(const Clip&) = delete;

  void AddElement(std::unique_ptr<ClipBase> element) { elements_.push_back(std::move(element)); }

  // Whether this scope or an enclosing one has an element. Without any, the scope
  // does not clip at all and its runs mean nothing: callers test this first.
  bool HasElements() const;

  // Makes the admitted runs of `line` current. Repeated calls for one line keep the
  // first result, so that every object under the scope shares one computation (the
  // test inline: a plot's thousands of marks under one frame ask on every line).
  void Update(const LineContext& context, long long line) {
    if (line != line_) Compute(context, line);
  }

  const RunList& Runs() const { return runs_; }
  // Admits nothing on the current line nor on any later one.
  bool IsExcluded() const { return excluded_; }

 private:
  // Update for a line not yet computed.
  void Compute(const LineContext& context, long long line);
  // Intersects the runs with the elements from `first` on, until one is finished.
  void ApplyElements(const LineContext& context, long long line, std::size_t first);
  void Exclude();

  std::shared_ptr<Clip> enclosing_;
  std::vector<std::unique_ptr<ClipBase>> elements_;
  RunList runs_;
  RunList scratch_;
  // No line is this one, so the first line asked for is always computed.
  long long line_ = std::numeric_limits<long long>::min();
  bool excluded_ = false;
};

}  // namespace QorSc
