// Clip elements from clipping objects; runs once per content at collection.

#include "collect/clip_object_visitor.h"

#include <algorithm>

namespace QorSc {

bool ClipObjectVisitor::VisitPath(const QorDoc::Path& path) {
  if (!path.IsClippingObject() || clip_box_.IsEmpty()) return false;
  const auto t = Morv::Compose(transformation_, path.GetTransformation());
  const GeometrySource source = MakeGeometrySource(env_, clip_box_, path.DefiningCompound(), t);
  clip_box_ = QorMath::Intersect(clip_box_, source.pixelBox);
  if (!clip_box_.IsEmpty()) clip_.AddElement(std::make_unique<ClipObject>(source));
  return false;
}

bool ClipObjectVisitor::AddGlyphs(const QorDoc::Text& text, const Morv::MilliPointTransformation& t,
                                  ClipGroup& group, QorMath::Rectangle<long long>& unionBox,
                                  bool& anyBox) const {
  bool any_subpath = false;
  for (const auto& glyph : text.OriginalCompounds()) {
    any_subpath = any_subpath || !glyph->GetSubpaths().empty();
    const GeometrySource source = MakeGeometrySource(env_, clip_box_, glyph, t);
    if (source.pixelBox.IsEmpty()) continue;
    group.AddObject(source);
    const auto& b = source.pixelBox;
    unionBox = anyBox ? QorMath::Rectangle<long long>{std::min(unionBox.left, b.left),
                                                      std::min(unionBox.top, b.top),
                                                      std::max(unionBox.right, b.right),
                                                      std::max(unionBox.bottom, b.bottom)}
                      : b;
    anyBox = true;
  }
  return any_subpath;
}

void ClipObjectVisitor::AddGroup(std::unique_ptr<ClipGroup> group, bool anySubpath,
                                 const QorMath::Rectangle<long long>& unionBox) {
  // A clipping text without any outline changes nothing.
  if (!anySubpath) return;
  clip_box_ = QorMath::Intersect(clip_box_, unionBox);
  if (!clip_box_.IsEmpty()) clip_.AddElement(std::move(group));
}

bool ClipObjectVisitor::VisitText(const QorDoc::Text& text) {
  if (!text.IsClippingObject() || clip_box_.IsEmpty()) return false;
  auto group = std::make_unique<ClipGroup>();
  QorMath::Rectangle<long long> union_box{};
  bool any_box = false;
  const bool any_subpath = AddGlyphs(text, Morv::Compose(transformation_, text.GetTransformation()),
                                     *group, union_box, any_box);
  AddGroup(std::move(group), any_subpath, union_box);
  return false;
}

bool ClipObjectVisitor::VisitTextGroup(const QorDoc::TextGroup& textGroup) {
  if (!textGroup.IsClippingObject() || clip_box_.IsEmpty()) return false;
  auto group = std::make_unique<ClipGroup>();
  QorMath::Rectangle<long long> union_box{};
  bool any_box = false;
  bool any_subpath = false;
  const auto outer = Morv::Compose(transformation_, textGroup.GetTransformation());
  for (const auto& text : textGroup.GetTexts()) {
    any_subpath = AddGlyphs(*text, Morv::Compose(outer, text->GetTransformation()), *group,
                            union_box, any_box) ||
                  any_subpath;
  }
  AddGroup(std::move(group), any_subpath, union_box);
  return false;
}

}  // namespace QorSc
