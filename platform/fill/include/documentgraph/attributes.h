// DocumentGraph attributes: what the components of a fill refer to.
//
// An attribute describes one group, one painted element or one soft mask of the
// document graph as the fill-mapping step saw it. Attributes are immutable once made
// and shared by std::shared_ptr<const>, so several components may refer to the same
// one. Document objects are held by plain pointers: their document must outlive every
// attribute that names them. Reading an attribute never allocates or copies what it
// refers to, so that walks over large fills cost only the walk.
#pragma once

#include <memory>

#include "morv/transformation.h"
#include "qorblend/soft_mask.h"
#include "qorblend/transparency.h"
#include "qordoc/content.h"
#include "qorimg/picture_buffer.h"
#include "qorpaint/paint.h"

namespace DocumentGraph {

class GroupAttribute {
 public:
  explicit GroupAttribute(std::shared_ptr<const QorBlend::Transparency> transparency,
                          bool selectStroke = false)
      : transparency_(std::move(transparency)), select_stroke_(selectStroke) {}

  // Null when the group has no transparency of its own; such a group never needs a
  // level of its own.
  const std::shared_ptr<const QorBlend::Transparency>& Transparency() const {
    return transparency_;
  }
  bool DoSelectStroke() const { return select_stroke_; }

 private:
  std::shared_ptr<const QorBlend::Transparency> transparency_;
  bool select_stroke_;
};

class ElementAttribute {
 public:
  struct Definition {
    // Set for a sampled picture; such an element paints the picture, not `paint`.
    std::shared_ptr<const QorImg::PaintedPicture> paintedPicture;
    std::shared_ptr<const QorBlend::Transparency> transparency;
    // Places the element's own coordinates on the page.
    Morv::MilliPointTransformation objectTransformation;
    // Places the content the element belongs to; paints are laid out in it.
    Morv::MilliPointTransformation contentTransformation;
    const QorDoc::ContentObject* objectForSelection = nullptr;
    // The painted document object; null for pictures.
    const QorDoc::Fillable* object = nullptr;
    std::shared_ptr<const QorPaint::Paint> paint;
    bool selectStroke = false;
  };

  explicit ElementAttribute(Definition definition) : definition_(std::move(definition)) {}

  const std::shared_ptr<const QorImg::PaintedPicture>& PaintedPicture() const {
    return definition_.paintedPicture;
  }
  const std::shared_ptr<const QorBlend::Transparency>& Transparency() const {
    return definition_.transparency;
  }
  const Morv::MilliPointTransformation& ObjectTransformation() const {
    return definition_.objectTransformation;
  }
  const Morv::MilliPointTransformation& ContentTransformation() const {
    return definition_.contentTransformation;
  }
  const QorDoc::ContentObject* ObjectForSelection() const { return definition_.objectForSelection; }
  const QorDoc::Fillable* Object() const { return definition_.object; }
  const std::shared_ptr<const QorPaint::Paint>& Paint() const { return definition_.paint; }
  bool DoSelectStroke() const { return definition_.selectStroke; }

 private:
  Definition definition_;
};

class SoftMaskAttribute {
 public:
  explicit SoftMaskAttribute(std::shared_ptr<const QorBlend::SoftMask> mask)
      : mask_(std::move(mask)) {}

  const std::shared_ptr<const QorBlend::SoftMask>& DefiningSoftMask() const { return mask_; }

 private:
  std::shared_ptr<const QorBlend::SoftMask> mask_;
};

// The attribute of `object`'s fill, or with `stroke` of its stroke, as the object
// stands in its built document: its paint and transparency, its absolute placement
// and that of its content. The attribute names the object itself for selection.
std::shared_ptr<const ElementAttribute> MakeElementAttribute(const QorDoc::Fillable& object,
                                                             bool stroke = false);

}  // namespace DocumentGraph
