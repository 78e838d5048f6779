// The content tree: contents hold content objects in painting order; groups and
// layers hold a content of their own.
//
// Objects are immutable once their document is built and shared by
// std::shared_ptr<const>; the back links (object to its content, content to its
// owning group or layer and to its document) are plain pointers set by the
// DocumentBuilder, valid while the document lives. Every object has an identifier
// unique within its document, assigned by the builder (1, 2, 3, … in creation
// order). Coordinates are millipoints; an object's own transformation places it in
// its content.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "morv/compound.h"
#include "morv/stroke.h"
#include "morv/transformation.h"
#include "qorblend/transparency.h"
#include "qordoc/fwd.h"
#include "qordoc/halftone.h"
#include "qordoc/layer.h"
#include "qorimg/painted_picture.h"
#include "qorimg/picture_buffer.h"
#include "qorpaint/paint.h"
#include "qorsys/counted_ptr.h"

namespace QorDoc {

class DocumentBuilder;
class Group;
class Layer;
struct ObjectSharing;
class Path;
class Text;
class TextGroup;
class Image;
class ImageMask;

// Walks the tree: each visit returns whether the walker should go on into the
// members of what it visited (groups, layers, contents); a visitor that walks
// members itself returns false.
class ConstVisitorBase {
 public:
  virtual ~ConstVisitorBase() = default;
  virtual bool VisitContent(const Content&) { return true; }
  virtual bool VisitGroup(const Group&) { return true; }
  virtual bool VisitLayer(const Layer&) { return true; }
  virtual bool VisitPath(const Path&) { return false; }
  virtual bool VisitText(const Text&) { return false; }
  virtual bool VisitTextGroup(const TextGroup&) { return false; }
  virtual bool VisitImage(const Image&) { return false; }
  virtual bool VisitImageMask(const ImageMask&) { return false; }
};

// Box kinds: the geometry alone, or the visual box including the stroke.
enum BoundingBoxKind : int { kGeometryBox = 0, kVisualBox = 32 };

class Content {
 public:
  Content(const Content&) = delete;
  Content& operator=(const Content&) = delete;

  const Document* GetDocument() const { return document_; }
  // The group or layer whose content this is; null for a page or a mask content.
  const ContentObject* GetOwner() const { return owner_; }
  // The members in painting order, first painted first.
  const std::vector<std::shared_ptr<const ContentObject>>& GetMembers() const { return members_; }
  // The union of the painting members' boxes of the given kind, cut to the geometry
  // box of every clipping member, in this content's coordinates; all zero when
  // nothing is left. The visual box of a group's or layer's members is worked out
  // once when the document is built (a renderer asks every nested group for it).
  Morv::MilliPointRectangle GetBoundingBox(int kind) const;
  // The colorants the content's flat paints use (fill and stroke, nested contents
  // and soft-mask contents included), in order of first use, tints 0.
  QorColor::Color GetSeparations() const;

  void Accept(ConstVisitorBase& visitor) const;

 private:
  friend class DocumentBuilder;
  Content() = default;

  Morv::MilliPointRectangle ComputeBoundingBox(int kind) const;
  // Keeps the visual box, the one renderers ask for; the builder calls it when the
  // document is finished, after which nothing in the content changes.
  void KeepVisualBox();

  const Document* document_ = nullptr;
  const ContentObject* owner_ = nullptr;
  std::vector<std::shared_ptr<const ContentObject>> members_;
  bool visual_box_kept_ = false;
  Morv::MilliPointRectangle visual_box_;
};

class ContentObject {
 public:
  virtual ~ContentObject() = default;
  ContentObject(const ContentObject&) = delete;
  ContentObject& operator=(const ContentObject&) = delete;

  std::size_t GetID() const { return id_; }
  const Content* GetContent() const { return content_; }
  // The group or layer this object is a member of; null at the top of a page.
  const ContentObject* GetParent() const { return content_ ? content_->GetOwner() : nullptr; }
  // The object's own placement inside its content.
  const Morv::MilliPointTransformation& GetTransformation() const { return *transformation_; }
  // A clipping object restricts the other members of its content instead of painting.
  bool IsClippingObject() const { return clipping_; }
  // The box of the given kind in the content's coordinates (own transformation
  // applied).
  virtual Morv::MilliPointRectangle GetBoundingBox(int kind) const = 0;

  virtual void Accept(ConstVisitorBase& visitor) const = 0;

 protected:
  // `shareWith`, when given, holds the transformation of an earlier object (or
  // null): this object shares it when its own is the same, bit for bit, and
  // otherwise leaves its own there for the next object. The identity is one block
  // for all objects.
  ContentObject(const Morv::MilliPointTransformation& t, bool clipping,
                ObjectSharing* shareWith = nullptr);

 private:
  friend class DocumentBuilder;

  const Content* content_ = nullptr;
  // Shared, never null: the objects of a page are mostly placed alike (every path
  // under one matrix), and six doubles were a third of a rectangle's path object.
  QorSys::CountedPtr<const Morv::MilliPointTransformation> transformation_;
  // 32 bits (the builder refuses more objects) beside the flag: pages of many small
  // objects hold one of these per object.
  std::uint32_t id_ = 0;
  bool clipping_;

 protected:
  // What a path keeps in its own block (Fillable::kOwnCompound and kOwnFill), in the
  // byte beside the flag that would otherwise be padding.
  std::uint8_t own_parts_ = 0;
};

// How a stroke is drawn: PDF's line width, cap, join, miter limit and dashes.
struct StrokeStyle {
  double width = 1000.0;  // millipoints, in the object's own coordinates
  Morv::LineCap cap = Morv::LineCap::kButt;
  Morv::LineJoin join = Morv::LineJoin::kMiter;
  double miterLimit = 10.0;
  Morv::DashPattern dash;

  // How far the stroke can reach beyond the path: half the width, times the miter
  // limit where joins may be mitred, times √2 for square caps.
  double Reach() const;
};

// An object painted with a fill paint, a stroke paint, or both (either may be null).
class Fillable : public ContentObject {
 public:
  // The painting beyond the fill paint. Objects with no stroke, no halftone set and
  // the opaque transparency share one block, and objects painted alike may share
  // one (see the constructors' `shareWith`). The style is the default one when not
  // stroked.
  struct Attributes {
    std::shared_ptr<const QorPaint::Paint> stroke;
    StrokeStyle strokeStyle;
    std::shared_ptr<HalftoneSet> halftone;
    std::shared_ptr<const QorBlend::Transparency> transparency;
  };

  // By value: a path that holds its fill paint in its own block hands out a
  // reference to that block.
  std::shared_ptr<const QorPaint::Paint> GetFillPaint() const {
    return own_parts_ & kOwnFill ? OwnFillPaint() : fill_;
  }
  // The same paint's address, without touching its shared count: for a caller that
  // only needs to know which paint it is.
  const QorPaint::Paint* GetFillPaintAddress() const {
    return own_parts_ & kOwnFill ? OwnFillPaintAddress() : fill_.get();
  }
  ~Fillable() override;
  const std::shared_ptr<const QorPaint::Paint>& GetStrokePaint() const {
    return GetAttributes().stroke;
  }
  // The default style when the object is not stroked.
  const StrokeStyle& GetStrokeStyle() const { return GetAttributes().strokeStyle; }
  // The halftone set that screens this object; null for none.
  const std::shared_ptr<HalftoneSet>& GetHalftoneSet() const { return GetAttributes().halftone; }
  const std::shared_ptr<const QorBlend::Transparency>& GetTransparency() const {
    return GetAttributes().transparency;
  }

  struct Painting {
    std::shared_ptr<const QorPaint::Paint> fill;
    std::shared_ptr<const QorPaint::Paint> stroke;
    StrokeStyle strokeStyle;
    std::shared_ptr<HalftoneSet> halftone;
    std::shared_ptr<const QorBlend::Transparency> transparency = QorBlend::Transparency::Opaque();
  };

 protected:
  // `shareWith`, when given, holds the attributes of an earlier object (or null):
  // this object shares them when its own are the same, bit for bit, and otherwise
  // leaves its own there for the next object; the transformation likewise.
  Fillable(const Morv::MilliPointTransformation& t, bool clipping, Painting&& painting,
           ObjectSharing* shareWith);

  // Set in own_parts_ by a path whose compound, or fill paint, lives in its own block.
  static constexpr std::uint8_t kOwnCompound = 1;
  static constexpr std::uint8_t kOwnFill = 2;

  // For a path whose fill paint is its own: the slot of the (null) fill paint then
  // leads back to the path's block.
  void HoldOwnFill(const std::shared_ptr<const Fillable>& block);
  const std::weak_ptr<const Fillable>& OwnBlock() const { return own_block_; }

  // `box` in own coordinates, grown by the stroke's reach for the visual kind when
  // stroked, then placed by the own transformation.
  Morv::MilliPointRectangle PlaceBox(const Morv::MilliPointRectangle& box, int kind) const;

 private:
  // The one block of every object without attributes of its own.
  static const QorSys::CountedPtr<const Attributes>& NoAttributes();
  const Attributes& GetAttributes() const { return *attributes_; }
  std::shared_ptr<const QorPaint::Paint> OwnFillPaint() const;
  const QorPaint::Paint* OwnFillPaintAddress() const;

  // The fill paint, or (kOwnFill) the way back to the path's own block, which a
  // shared reference would keep alive forever.
  union {
    std::shared_ptr<const QorPaint::Paint> fill_;
    std::weak_ptr<const Fillable> own_block_;
  };
  // Never null; NoAttributes() for the usual fill-only object: most objects of a page
  // are fills, and the style with its dash vector would be the largest part of each.
  QorSys::CountedPtr<const Attributes> attributes_;
};

// A path is made either over a compound shared with others (Make), or (MakeInOneBlock)
// as one block with its compound and, optionally, its flat fill paint: a page of many
// small objects then costs one allocation per object instead of three, each with its
// shared count and the allocator's header. Where the compound is kept depends on how
// the path was made, so paths are made by these two alone.
class Path : public Fillable {
 public:
  static std::shared_ptr<Path> Make(std::shared_ptr<const Morv::Compound> compound,
                                    const Morv::MilliPointTransformation& t, Painting&& painting,
                                    bool clipping = false, ObjectSharing* shareWith = nullptr);
  // One block for the path and `compound`, and for `fill` too when given (which then
  // paints in place of `painting.fill`). The block lives while any reference to the
  // path, its compound or its fill paint does.
  static std::shared_ptr<Path> MakeInOneBlock(Morv::Compound&& compound,
                                              std::optional<QorPaint::FlatPaint>&& fill,
                                              const Morv::MilliPointTransformation& t,
                                              Painting&& painting, bool clipping = false,
                                              ObjectSharing* shareWith = nullptr);

  // By value: a compound in the path's own block is handed out as a reference to the
  // block. GetCompound() reads it without touching a shared count.
  std::shared_ptr<const Morv::Compound> DefiningCompound() const;
  const Morv::Compound& GetCompound() const;
  Morv::MilliPointRectangle GetBoundingBox(int kind) const override;
  void Accept(ConstVisitorBase& visitor) const override { visitor.VisitPath(*this); }

 protected:
  Path(const Morv::MilliPointTransformation& t, Painting&& painting, bool clipping,
       ObjectSharing* shareWith)
      : Fillable(t, clipping, std::move(painting), shareWith) {}
};

// Text as outlines: one compound per glyph, already placed in text space.
class Text final : public Fillable {
 public:
  Text(std::vector<std::shared_ptr<const Morv::Compound>> glyphs,
       const Morv::MilliPointTransformation& t, Painting&& painting, bool clipping = false,
       ObjectSharing* shareWith = nullptr)
      : Fillable(t, clipping, std::move(painting), shareWith), glyphs_(std::move(glyphs)) {}

  const std::vector<std::shared_ptr<const Morv::Compound>>& OriginalCompounds() const {
    return glyphs_;
  }
  Morv::MilliPointRectangle GetBoundingBox(int kind) const override;
  void Accept(ConstVisitorBase& visitor) const override { visitor.VisitText(*this); }

 private:
  std::vector<std::shared_ptr<const Morv::Compound>> glyphs_;
};

// Texts that paint (or clip) as one object.
class TextGroup final : public ContentObject {
 public:
  TextGroup(std::vector<std::shared_ptr<const Text>> texts, const Morv::MilliPointTransformation& t,
            bool clipping = false, ObjectSharing* shareWith = nullptr)
      : ContentObject(t, clipping, shareWith), texts_(std::move(texts)) {}

  const std::vector<std::shared_ptr<const Text>>& GetTexts() const { return texts_; }
  Morv::MilliPointRectangle GetBoundingBox(int kind) const override;
  void Accept(ConstVisitorBase& visitor) const override { visitor.VisitTextGroup(*this); }

 private:
  std::vector<std::shared_ptr<const Text>> texts_;
};

// What the builder keeps of the last objects it made, for the next ones to share
// when equal to the bit.
struct ObjectSharing {
  QorSys::CountedPtr<const Morv::MilliPointTransformation> transformation;
  // The last fillable object's attributes that were not the empty block.
  QorSys::CountedPtr<const Fillable::Attributes> attributes;
};

// A 1-bit mask painted with the fill paint where its samples are set; the own
// transformation places the unit square (row 0 at the top).
class ImageMask final : public Fillable {
 public:
  ImageMask(std::shared_ptr<const QorImg::PictureBuffer> mask,
            const Morv::MilliPointTransformation& t, Painting&& painting,
            ObjectSharing* shareWith = nullptr)
      : Fillable(t, false, std::move(painting), shareWith), mask_(std::move(mask)) {}

  const std::shared_ptr<const QorImg::PictureBuffer>& GetMask() const { return mask_; }
  Morv::MilliPointRectangle GetBoundingBox(int kind) const override;
  void Accept(ConstVisitorBase& visitor) const override { visitor.VisitImageMask(*this); }

 private:
  std::shared_ptr<const QorImg::PictureBuffer> mask_;
};

// A sampled image on the unit square (row 0 at the top), painted by its picture:
// samples, channel mapping, rendering intent and the picture's own soft mask.
class Image final : public ContentObject {
 public:
  Image(std::shared_ptr<const QorImg::PaintedPicture> picture,
        const Morv::MilliPointTransformation& t,
        std::shared_ptr<const QorBlend::Transparency> transparency,
        std::shared_ptr<HalftoneSet> halftone = nullptr, ObjectSharing* shareWith = nullptr)
      : ContentObject(t, false, shareWith),
        picture_(std::move(picture)),
        transparency_(transparency ? std::move(transparency) : QorBlend::Transparency::Opaque()),
        halftone_(std::move(halftone)) {}

  const std::shared_ptr<const QorImg::PaintedPicture>& GetPaintedPicture() const {
    return picture_;
  }
  const std::shared_ptr<const QorBlend::Transparency>& GetTransparency() const {
    return transparency_;
  }
  const std::shared_ptr<HalftoneSet>& GetHalftoneSet() const { return halftone_; }
  Morv::MilliPointRectangle GetBoundingBox(int kind) const override;
  void Accept(ConstVisitorBase& visitor) const override { visitor.VisitImage(*this); }

 private:
  std::shared_ptr<const QorImg::PaintedPicture> picture_;
  std::shared_ptr<const QorBlend::Transparency> transparency_;
  std::shared_ptr<HalftoneSet> halftone_;
};

// A group of members with a transformation and a transparency (group flags, soft
// mask) of its own.
class Group final : public ContentObject {
 public:
  Group(const Content* members, const Morv::MilliPointTransformation& t,
        std::shared_ptr<const QorBlend::Transparency> transparency,
        ObjectSharing* shareWith = nullptr)
      : ContentObject(t, false, shareWith),
        members_(members),
        transparency_(transparency ? std::move(transparency) : QorBlend::Transparency::Opaque()) {}

  const Content& GetMembers() const { return *members_; }
  const std::shared_ptr<const QorBlend::Transparency>& GetTransparency() const {
    return transparency_;
  }
  Morv::MilliPointRectangle GetBoundingBox(int kind) const override;
  void Accept(ConstVisitorBase& visitor) const override;

 private:
  const Content* members_;
  std::shared_ptr<const QorBlend::Transparency> transparency_;
};

// Optional content: members that show when the layer expression holds.
class Layer final : public ContentObject {
 public:
  Layer(const Content* members, LayerExpression expression)
      : ContentObject(Morv::MilliPointTransformation{}, false),
        members_(members),
        expression_(std::move(expression)) {}

  const Content& GetMembers() const { return *members_; }
  const LayerExpression& GetExpression() const { return expression_; }
  Morv::MilliPointRectangle GetBoundingBox(int kind) const override;
  void Accept(ConstVisitorBase& visitor) const override;

 private:
  const Content* members_;
  LayerExpression expression_;
};

// The transformation that places `object`'s own coordinates on the page: its own
// transformation after those of every enclosing group.
Morv::MilliPointTransformation GetAbsoluteTransformation(const ContentObject& object);

}  // namespace QorDoc
