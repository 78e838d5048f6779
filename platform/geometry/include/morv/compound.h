// Morv::Compound: a set of subpaths filled together under one winding rule.
//
// The winding rule is 1 for non-zero; any other value means even-odd. Every subpath
// is filled as if closed. Immutable once built, shared by std::shared_ptr<const>.
// PathBuilder assembles one the way PDF content does (move, line, curve, close).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

#include "morv/subpath.h"
#include "morv/transformation.h"

namespace Morv {

enum WindingRule : std::uint32_t { kEvenOdd = 0, kNonZero = 1 };

class Compound {
 public:
  using const_iterator = std::span<const Subpath>::iterator;

  Compound() : several_() {}
  Compound(std::vector<Subpath> subpaths, std::uint32_t windingRule);
  Compound(const Subpath& subpath, std::uint32_t windingRule);
  Compound(Subpath&& subpath, std::uint32_t windingRule);
  Compound(const Compound& other);
  Compound(Compound&& other) noexcept;
  Compound& operator=(const Compound& other);
  Compound& operator=(Compound&& other) noexcept;
  ~Compound() { Release(); }

  std::uint32_t GetWindingRule() const { return winding_rule_; }
  std::span<const Subpath> GetSubpaths() const;
  const_iterator Begin() const { return GetSubpaths().begin(); }
  const_iterator End() const { return GetSubpaths().end(); }
  // The union of the subpaths' boxes; all zero for a compound without subpaths.
  MilliPointRectangle GetBoundingBox() const;

  // Every point (ends and controls) mapped through `t`; the same rule.
  Compound Transformed(const MilliPointTransformation& t) const;

 private:
  // Several subpaths keep their union box; one subpath (most paths of a page: a
  // rectangle, a line) is held inline and its box derived from the subpath's when
  // asked, so a rectangle's compound is one block with its corners. A union by hand,
  // not a variant: the rule then sits beside the tag, 80 bytes instead of 88, and a
  // page may hold a compound per object.
  struct Several {
    std::vector<Subpath> subpaths;
    MilliPointRectangle box;
  };
  void Release();
  void CopyFrom(const Compound& other);
  void StealFrom(Compound& other);

  union {
    Several several_;
    Subpath single_;
  };
  std::uint32_t winding_rule_ = kNonZero;
  bool single_held_ = false;
};

// The square (0, 0)-(1, 1), closed, non-zero: the space images are placed from.
const std::shared_ptr<const Compound>& GetUnityPdfRectangleCompound();

class PathBuilder {
 public:
  using Point = Subpath::Point;

  PathBuilder& MoveTo(double x, double y);
  PathBuilder& LineTo(double x, double y);
  PathBuilder& QuadTo(double cx, double cy, double x, double y);
  PathBuilder& CurveTo(double c1x, double c1y, double c2x, double c2y, double x, double y);
  PathBuilder& Close();
  // A closed rectangle from (x, y), counter-clockwise for positive width and height.
  PathBuilder& Rectangle(double x, double y, double width, double height);
  // A closed polygon through the points.
  PathBuilder& Polygon(const std::vector<Point>& points);

  // The subpaths so far (the open one included) as a compound; the builder is then
  // empty, as if new, and reuses its scratch space for the next path.
  Compound Build(std::uint32_t windingRule = kNonZero);
  std::shared_ptr<const Compound> BuildShared(std::uint32_t windingRule = kNonZero);
  // Whether the path so far is `compound` bit for bit (one subpath of the same points,
  // segment kinds and closing, under `windingRule`); if so the builder is emptied as
  // by a build, and the caller may take `compound` instead of building another.
  bool TakeIfSame(const Compound& compound, std::uint32_t windingRule);

 private:
  // Moves the subpath in the scratch space (open, or held closed) to the finished
  // ones; a lone move is dropped.
  void FinishSubpath();
  void Append(Subpath::SegmentKind kind, std::initializer_list<Point> points);
  // The scratch subpath, when it is the path's only one: built straight from the
  // scratch space, without passing through the finished list.
  bool OnlyScratch() const { return subpaths_.empty() && (held_ || (open_ && points_.size() > 1)); }
  Subpath ScratchSubpath(bool closed) const;
  void ClearScratch();

  // Scratch kept across paths: the finished subpaths, and the last one as its start,
  // controls and ends. Kinds are kept only once a curve arrives (one per segment);
  // a straight subpath's segments are its points after the start. A closed subpath
  // stays in the scratch space (held) until something follows it, so that a path of
  // one closed subpath (a rectangle) is built as directly as an open one.
  std::vector<Subpath> subpaths_;
  Point start_;
  std::vector<Point> points_;
  std::vector<Subpath::SegmentKind> kinds_;
  bool curves_ = false;
  bool open_ = false;
  bool held_ = false;
};

}  // namespace Morv
