// The content tree: contents hold content objects in painting order.
//
// Objects are immutable once their document is built and shared by
// std::shared_ptr<const>; the back links (object to its content, content to its
// document) are plain pointers set by the DocumentBuilder, valid while the document
// lives. Every object has an identifier unique within its document, assigned by the
// builder (1, 2, 3, … in creation order).
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "morv/compound.h"
#include "morv/stroke.h"
#include "morv/transformation.h"
#include "qorblend/transparency.h"
#include "qordoc/fwd.h"
#include "qordoc/halftone.h"
#include "qorpaint/paint.h"

namespace QorDoc {

class DocumentBuilder;

class ContentObject {
 public:
  virtual ~ContentObject() = default;
  ContentObject(const ContentObject&) = delete;
  ContentObject& operator=(const ContentObject&) = delete;

  std::size_t GetID() const { return id_; }
  const Content* GetContent() const { return content_; }
  // The object's own placement inside its content.
  const Morv::MilliPointTransformation& GetTransformation() const { return transformation_; }

 protected:
  explicit ContentObject(const Morv::MilliPointTransformation& t) : transformation_(t) {}

 private:
  friend class DocumentBuilder;

  std::size_t id_ = 0;
  const Content* content_ = nullptr;
  Morv::MilliPointTransformation transformation_;
};

// How a stroke is drawn: PDF's line width, cap, join, miter limit and dashes.
struct StrokeStyle {
  double width = 1000.0;  // millipoints
  Morv::LineCap cap = Morv::LineCap::kButt;
  Morv::LineJoin join = Morv::LineJoin::kMiter;
  double miterLimit = 10.0;
  Morv::DashPattern dash;
};

// An object painted with a fill paint, a stroke paint, or both (either may be null).
class Fillable : public ContentObject {
 public:
  const std::shared_ptr<const QorPaint::Paint>& GetFillPaint() const { return fill_; }
  const std::shared_ptr<const QorPaint::Paint>& GetStrokePaint() const { return stroke_; }
  const StrokeStyle& GetStrokeStyle() const { return stroke_style_; }
  // The halftone set that screens this object; null for none.
  const std::shared_ptr<HalftoneSet>& GetHalftoneSet() const { return halftone_; }
  const std::shared_ptr<const QorBlend::Transparency>& GetTransparency() const {
    return transparency_;
  }

  struct Painting {
    std::shared_ptr<const QorPaint::Paint> fill;
    std::shared_ptr<const QorPaint::Paint> stroke;
    StrokeStyle strokeStyle;
    std::shared_ptr<HalftoneSet> halftone;
    std::shared_ptr<const QorBlend::Transparency> transparency = QorBlend::Transparency::Opaque();
  };

 protected:
  Fillable(const Morv::MilliPointTransformation& t, Painting painting)
      : ContentObject(t),
        fill_(std::move(painting.fill)),
        stroke_(std::move(painting.stroke)),
        stroke_style_(std::move(painting.strokeStyle)),
        halftone_(std::move(painting.halftone)),
        transparency_(painting.transparency ? std::move(painting.transparency)
                                            : QorBlend::Transparency::Opaque()) {}

 private:
  std::shared_ptr<const QorPaint::Paint> fill_;
  std::shared_ptr<const QorPaint::Paint> stroke_;
  StrokeStyle stroke_style_;
  std::shared_ptr<HalftoneSet> halftone_;
  std::shared_ptr<const QorBlend::Transparency> transparency_;
};

class Path final : public Fillable {
 public:
  Path(std::shared_ptr<const Morv::Compound> compound, const Morv::MilliPointTransformation& t,
       Painting painting)
      : Fillable(t, std::move(painting)), compound_(std::move(compound)) {}

  const std::shared_ptr<const Morv::Compound>& DefiningCompound() const { return compound_; }

 private:
  std::shared_ptr<const Morv::Compound> compound_;
};

class Content {
 public:
  Content(const Content&) = delete;
  Content& operator=(const Content&) = delete;

  const Document* GetDocument() const { return document_; }
  // The members in painting order, first painted first.
  const std::vector<std::shared_ptr<const ContentObject>>& GetMembers() const { return members_; }

 private:
  friend class DocumentBuilder;
  Content() = default;

  const Document* document_ = nullptr;
  std::vector<std::shared_ptr<const ContentObject>> members_;
};

}  // namespace QorDoc
