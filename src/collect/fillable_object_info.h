// FillableObjectInfo: the record of one filled or stroked object (a path, a text
// outline, an image mask) between collection and rasterisation.
//
// It keeps the object's geometry source (pixel box, compound or mask,
// transformation), its paint and the paint's placement, its transparency, whether it
// is a stroke, its clip scope and the document object it came from. A page holds
// one record per object from collection to its first line, so a record is only as
// large as its object needs: a box (most objects of pages of many objects) keeps no
// shape or transformation, a stroke keeps its path and reads its style from the
// document object, a path's own compound is read through the path, the paint is
// read through the document object when it is the object's own fill, a clip scope
// that clips nothing is not kept, and paint placements and soft masks, which few
// objects have, go in a block of their own. Activation turns
// it into an ElementaryObjectIntervalsFiller: paint getter (with the halftone label when labels are
// asked for), run-length generator, filler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>

#include "collect/group_object_info.h"
#include "qorblend/transparency.h"
#include "qordoc/content.h"
#include "qorpaint/paint.h"
#include "raster/geometry_source.h"
#include "scan/object_collection.h"

namespace QorSc {

class Clip;
class PaintGetter;

// The filler of one painted object, shared by fillable and image records: the paint
// (labelled with `labelled`'s halftone set when labels are asked for), the object's
// runs, its soft-mask state and its transparency.
struct ElementaryFillerParts {
  const QorDoc::ContentObject* labelled;
  const QorDoc::HalftoneSet* halftoneSet;
  const QorDoc::ContentObject* contentObject;
  std::shared_ptr<Clip> clip;
  std::uint32_t index;
  const GeometryRef& geometry;
  std::shared_ptr<const QorBlend::Transparency> transparency;
  bool stroke;
};
std::unique_ptr<IntervalsFiller> CreateElementaryFiller(LineRenderer& renderer,
                                                        std::shared_ptr<PaintGetter> paint,
                                                        const ElementaryFillerParts& parts,
                                                        std::unique_ptr<SoftMaskRecord> softMask);

// How the strokes under one shape transformation are widened to the minimal stroke
// width: a stroke narrower than `minimum` device units, at `scale` device units per
// unit of its path, is drawn `minimum` wide; a zero minimum widens nothing. The
// collector and a stroke's activation work the width out by this one function, so
// both get the same bits.
struct StrokeWidening {
  double minimum = 0.0;
  double scale = 0.0;

  double Apply(double width) const {
    if (minimum == 0.0) return width;
    if (scale != 0.0 && scale * width < minimum) return minimum / scale;
    return width;
  }
};

class FillableObjectInfo : public ObjectInfo {
 public:
  // Where a record's shape is placed, shared by records placed alike (a plot's
  // strokes, a page of strokes of every width, hold one): the shape transformation
  // and, for a stroke kept as its document object's path and style, how its width is
  // widened and the flatness of its curves in the path's units. The width itself is
  // the document object's, widened at activation, so strokes of different widths
  // share a placement.
  struct ShapePlacement {
    Morv::MilliPointTransformation transformation;
    StrokeWidening widening;
    double strokeTolerance = 0.0;
  };

  // A record of the size `geometry` needs: a box source (coverage is the pixel box)
  // keeps neither shape nor transformation. Throws std::invalid_argument without a
  // paint.
  // A stroke outline whose path is shared, whose cap, join, miter limit and dash are
  // the document object's and whose width is the object's widened by `widening`
  // keeps only its path (and the widening and flatness in the placement): it is
  // stroked again from the document object's style at activation; any other outline
  // is kept whole.
  // `sharedPlacement`, when given, holds the shape placement of an earlier record (or
  // null): a record with a shape shares it when its own is the same, bit for bit, and
  // otherwise leaves its own there for the next record. `path`, when it is the
  // document object, names the path whose own compound a compound or stroke shape
  // may be: the record then reads it from the path instead of holding it.
  // `softMask` is the collected content of the object's soft mask, if it has one.
  static std::unique_ptr<FillableObjectInfo> Make(
      const QorDoc::Fillable* documentObject, const QorDoc::ContentObject* contentObject,
      const std::shared_ptr<Clip>& clip, const GeometrySource& geometry,
      const std::shared_ptr<const QorPaint::Paint>& paint,
      const Morv::MilliPointTransformation& paintPlacement,
      const std::shared_ptr<const QorBlend::Transparency>& transparency, bool stroke,
      std::shared_ptr<const ShapePlacement>* sharedPlacement = nullptr,
      const QorDoc::Path* path = nullptr, std::unique_ptr<SoftMaskRecord> softMask = nullptr,
      const StrokeWidening& widening = {});

  // Records are made by Make alone, each in one block with the parts it holds.
  static void operator delete(void* block) { ::operator delete(block); }

  ~FillableObjectInfo() override;

  std::unique_ptr<IntervalsFiller> CreateFiller(LineRenderer& renderer) override;
  bool FlatBoxCopy(LineRenderer& renderer, OpaqueFlatCopy& copy) override;
  bool FlatShapeCopy(LineRenderer& renderer, FlatShape& shape) override;
  void Prefetch() const override;

  // The source as given, less what its generator never reads: a box source keeps no
  // transformation (identity here), and of compound, flattened compound, outline and
  // mask only the first, the one the generator uses, is kept. A stroke kept by
  // reference comes back as an outline of its own.
  GeometrySource GetGeometry() const;
  // The same by reference, valid while the record and `stroke` live: a stroke kept by
  // reference is made in `stroke`, borrowing the path and style.
  GeometryRef GetGeometryRef(std::optional<Morv::StrokeOutline>& stroke) const;
  bool IsStroke() const { return stroke_; }
  // By value: the document object's own fill paint is read through the object.
  std::shared_ptr<const QorPaint::Paint> GetPaint() const;
  // The identity for a flat paint, which is the same wherever it is placed.
  const Morv::MilliPointTransformation& GetPaintPlacement() const;
  // Null when the object is not clipped (its scope had no element).
  const std::shared_ptr<Clip>& GetClip() const;
  // The document object's own unless the record was given others.
  const QorDoc::ContentObject* GetContentObject() const;
  const std::shared_ptr<const QorBlend::Transparency>& GetTransparency() const;

  // The collected content of the object's soft mask, if it has one.
  const SoftMaskRecord* GetSoftMask() const;

 private:
  // Which of a source's shapes a record holds; kBox: none, the pixel box is the
  // coverage, and the record is a plain FillableObjectInfo. kStroke: the path of a
  // stroke whose style is the document object's.
  enum class ShapeKind : std::uint8_t { kBox, kCompound, kFlatCompound, kOutline, kStroke, kMask };
  struct Shape {
    std::shared_ptr<const void> pointer;
    // Shared: the shapes of a page are mostly placed alike (a plot's strokes).
    std::shared_ptr<const ShapePlacement> placement;
  };

  // What few records need, in a block of their own: the placement of a paint that
  // varies over the page, a soft mask, and a content object or transparency other
  // than the document object's (fill components, a shading's opaque unit).
  struct Rare {
    Morv::MilliPointTransformation paintPlacement;
    std::unique_ptr<SoftMaskRecord> softMask;
    bool ownContentObject = false;
    const QorDoc::ContentObject* contentObject = nullptr;
    std::shared_ptr<const QorBlend::Transparency> transparency;
  };
  // What a record holds beyond its fixed fields, each null when not held; placed after
  // the record in its block, in this order.
  struct HeldParts {
    std::shared_ptr<const QorPaint::Paint> paint;
    std::shared_ptr<Clip> clip;
    std::unique_ptr<Rare> rare;
  };
  // Throws std::out_of_range for a pixel box beyond 32-bit coordinates (ObjectInfo).
  FillableObjectInfo(const QorDoc::Fillable* documentObject,
                     const QorMath::Rectangle<long long>& pixelBox, ShapeKind shapeKind,
                     bool shapeIsPath, bool stroke, HeldParts&& held);

  class Shaped;
  class PathShaped;
  // The block of a record and its held parts: the bytes of the parts after the record.
  struct TailBytes {
    std::size_t bytes;
  };
  static void* operator new(std::size_t size, TailBytes tail) {
    return ::operator new(size + tail.bytes);
  }
  static void operator delete(void* block, TailBytes) { ::operator delete(block); }
  template <class Record, class... Args>
  static std::unique_ptr<FillableObjectInfo> New(HeldParts&& held, Args&&... args);

  // How far a path made in one block reaches beyond the path object's address.
  static constexpr std::size_t kPathBlockBytes = 200;
  // Bits of held_: which parts follow the record.
  static constexpr std::uint8_t kHeldPaint = 1;
  static constexpr std::uint8_t kHeldClip = 2;
  static constexpr std::uint8_t kHeldRare = 4;
  // The size of the record before its held parts: its class's, known from its kind.
  std::size_t RecordBytes() const;
  std::byte* HeldSlot(std::uint8_t bit) const;
  template <class Part>
  Part* HeldPart(std::uint8_t bit) const {
    return std::launder(reinterpret_cast<Part*>(HeldSlot(bit)));
  }
  // The held paint, or the document object's fill read into `scratch`: either way
  // one reference for the record, as the flat paint cache counts them.
  const std::shared_ptr<const QorPaint::Paint>& PaintOr(
      std::shared_ptr<const QorPaint::Paint>& scratch) const;
  const Rare* GetRare() const {
    return held_ & kHeldRare ? HeldPart<std::unique_ptr<Rare>>(kHeldRare)->get() : nullptr;
  }
  // What FlatBoxCopy and FlatShapeCopy share: whether the object paints an opaque
  // flat copy whatever its coverage, written into `copy` when it does.
  bool CopiesOpaqueFlat(LineRenderer& renderer, OpaqueFlatCopy& copy) const;
  // The shape of a record whose kind is not kBox: its placement, and the compound,
  // outline or mask, held or read from the path.
  const ShapePlacement& Placement() const;
  const void* ShapePointer() const;
  std::shared_ptr<const void> SharedShapePointer() const;

  // Kept small on purpose (a page holds one record per object, all alive at its first
  // line): the four bytes sit in the base's tail padding and a box record of an
  // object painted with its own fill, unclipped, is 40 bytes, one 48-byte allocator
  // chunk. What only some records need (a paint other than the object's fill, which
  // is held, not read through the document object, since its reference count tells
  // the flat paint cache whether other objects share it; a clip; the rare parts)
  // follows in the same block.
  bool stroke_;
  ShapeKind shape_kind_;
  // The shape is the document object's (a path's) own compound, not held.
  bool shape_is_path_;
  std::uint8_t held_ = 0;
  const QorDoc::Fillable* document_object_;
};

}  // namespace QorSc
