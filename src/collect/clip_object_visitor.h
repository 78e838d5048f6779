// ClipObjectVisitor: turns the clipping objects of a content into the elements of
// its clip scope.
//
// It runs over a content's members before anything of the content is collected,
// so a clipping object clips every member of its content, also the ones painted
// before it. A clipping path adds one element; a clipping text (or text group) adds
// one element that is the union of its glyphs. Every element narrows the shared
// clip box (in target pixels); once the box is empty the content admits nothing and
// later clipping objects are ignored.
#pragma once

#include <memory>

#include "qordoc/content.h"
#include "qormath/rectangle.h"
#include "raster/clip.h"
#include "scan/environment.h"

namespace QorSc {

class ClipObjectVisitor final : public QorDoc::ConstVisitorBase {
 public:
  ClipObjectVisitor(const Environment& env, Clip& clip,
                    const Morv::MilliPointTransformation& transformation,
                    QorMath::Rectangle<long long>& clipBox)
      : env_(env), clip_(clip), transformation_(transformation), clip_box_(clipBox) {}

  bool VisitContent(const QorDoc::Content&) override { return false; }
  bool VisitGroup(const QorDoc::Group&) override { return false; }
  bool VisitLayer(const QorDoc::Layer&) override { return false; }
  bool VisitPath(const QorDoc::Path& path) override;
  bool VisitText(const QorDoc::Text& text) override;
  bool VisitTextGroup(const QorDoc::TextGroup& group) override;

 private:
  // Adds the glyphs of `text` under `t` to `group`, growing `unionBox`; returns
  // whether any glyph has a subpath.
  bool AddGlyphs(const QorDoc::Text& text, const Morv::MilliPointTransformation& t,
                 ClipGroup& group, QorMath::Rectangle<long long>& unionBox, bool& anyBox) const;
  void AddGroup(std::unique_ptr<ClipGroup> group, bool anySubpath,
                const QorMath::Rectangle<long long>& unionBox);

  const Environment& env_;
  Clip& clip_;
  Morv::MilliPointTransformation transformation_;
  QorMath::Rectangle<long long>& clip_box_;
};

}  // namespace QorSc
