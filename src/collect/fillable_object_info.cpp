// Activation of fillable records: once per object per conversion.

#include "collect/fillable_object_info.h"

#include <bit>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

#include "collect/group_object_info.h"
#include "collect/tiling_cell.h"
#include "composite/elementary_filler.h"
#include "composite/soft_mask_state.h"
#include "frame/flat_shape.h"
#include "frame/line_renderer.h"
#include "paint/flat_paint_getter.h"
#include "paint/halftone_label.h"
#include "paint/halftone_paint_getter.h"
#include "paint/shading_paint_getters.h"
#include "qordoc/document.h"
#include "qorpaint/tiling_paint.h"
#include "raster/clip.h"

namespace QorSc {
namespace {

std::shared_ptr<PaintGetter> MakePaintGetter(const std::shared_ptr<const QorPaint::Paint>& shared,
                                             const Morv::MilliPointTransformation& placement,
                                             LineRenderer& renderer) {
  const QorPaint::Paint& paint = *shared;
  const Options& options = renderer.GetOptions();
  if (paint.GetType() == QorPaint::kFlatPaint) {
    return renderer.Pools().FlatPaints().Get(options, shared,
                                             options.GetHalftoneMode() == kHalftoneLabelsFullInk);
  }
  if (paint.GetType() == QorPaint::kTilingPaint) {
    // The cell is rendered once per object and conversion, at the device's density.
    const auto& tiling = static_cast<const QorPaint::TilingPaint&>(paint);
    const CellLattice lattice = MakeCellLattice(renderer.GetEnvironment(), placement, tiling);
    return std::make_shared<TilingPaintGetter>(RenderTilingCell(tiling, lattice, options), lattice);
  }
  if (auto shading = MakeShadingPaintGetter(shared, renderer.GetEnvironment(), options, placement,
                                            renderer.GetPixelBox(), renderer.GetScratchChains())) {
    return shading;
  }
  throw std::logic_error("qorsc: paints of type " + std::to_string(paint.GetType()) +
                         " cannot be rendered yet");
}

bool SameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// Whether an outline strokes with the object's own style, its width widened by
// `widening`, so that the record can keep the path alone and take the rest from the
// object when it is activated.
bool StrokesWithStyle(const Morv::StrokeOutline& outline, const QorDoc::StrokeStyle& style,
                      const StrokeWidening& widening) {
  if (outline.GetPath() == nullptr || outline.GetCap() != style.cap ||
      !SameBits(outline.GetWidth(), widening.Apply(style.width)) ||
      outline.GetJoin() != style.join || !SameBits(outline.GetMiterLimit(), style.miterLimit)) {
    return false;
  }
  const Morv::DashPattern* dash = outline.GetDash();
  if (dash == nullptr || style.dash.array.empty()) {
    return dash == nullptr && style.dash.array.empty();
  }
  return dash->array == style.dash.array && SameBits(dash->phase, style.dash.phase);
}

const Morv::DashPattern* DashOf(const QorDoc::StrokeStyle& style) {
  return style.dash.array.empty() ? nullptr : &style.dash;
}

}  // namespace

// A record with a shape: the shape follows the common part in the same block.
class FillableObjectInfo::Shaped final : public FillableObjectInfo {
 public:
  Shaped(const QorDoc::Fillable* documentObject, const QorMath::Rectangle<long long>& pixelBox,
         ShapeKind kind, bool stroke, Shape shape, HeldParts&& held)
      : FillableObjectInfo(documentObject, pixelBox, kind, false, stroke, std::move(held)),
        shape(std::move(shape)) {}

  const Shape shape;
};

// A record whose shape is its path's own compound: only the placement is held.
class FillableObjectInfo::PathShaped final : public FillableObjectInfo {
 public:
  PathShaped(const QorDoc::Path* path, const QorMath::Rectangle<long long>& pixelBox,
             ShapeKind kind, bool stroke, std::shared_ptr<const ShapePlacement> placement,
             HeldParts&& held)
      : FillableObjectInfo(path, pixelBox, kind, true, stroke, std::move(held)),
        placement(std::move(placement)) {}

  const std::shared_ptr<const ShapePlacement> placement;
};

// With the allocator's 8-byte header a box record of at most 40 bytes takes one
// 48-byte chunk (a page of 100 000 rectangles holds as many records); a stroke kept
// by its path with its paint held, 72 bytes, one 80-byte chunk.
static_assert(sizeof(void*) != 8 || sizeof(FillableObjectInfo) <= 40);

std::byte* FillableObjectInfo::HeldSlot(std::uint8_t bit) const {
  // The parts follow the record in the order of their bits, each present or not;
  // every size involved is a multiple of a pointer's, so each part is aligned. The
  // record's classes derive from this one alone, so it starts their block.
  std::size_t offset = RecordBytes();
  if (bit > kHeldPaint && (held_ & kHeldPaint)) {
    offset += sizeof(std::shared_ptr<const QorPaint::Paint>);
  }
  if (bit > kHeldClip && (held_ & kHeldClip)) offset += sizeof(std::shared_ptr<Clip>);
  return const_cast<std::byte*>(reinterpret_cast<const std::byte*>(this)) + offset;
}

std::size_t FillableObjectInfo::RecordBytes() const {
  static_assert(sizeof(void*) != 8 || sizeof(Shaped) <= 72);
  static_assert(sizeof(void*) != 8 || sizeof(PathShaped) <= 56);
  if (shape_kind_ == ShapeKind::kBox) return sizeof(FillableObjectInfo);
  return shape_is_path_ ? sizeof(PathShaped) : sizeof(Shaped);
}

template <class Record, class... Args>
std::unique_ptr<FillableObjectInfo> FillableObjectInfo::New(HeldParts&& held, Args&&... args) {
  const std::size_t tail = (held.paint ? sizeof(held.paint) : 0) +
                           (held.clip ? sizeof(held.clip) : 0) +
                           (held.rare ? sizeof(held.rare) : 0);
  auto* record = new (TailBytes{tail}) Record(std::forward<Args>(args)..., std::move(held));
  return std::unique_ptr<FillableObjectInfo>(record);
}

std::unique_ptr<FillableObjectInfo> FillableObjectInfo::Make(
    const QorDoc::Fillable* documentObject, const QorDoc::ContentObject* contentObject,
    const std::shared_ptr<Clip>& clip, const GeometrySource& geometry,
    const std::shared_ptr<const QorPaint::Paint>& paint,
    const Morv::MilliPointTransformation& paintPlacement,
    const std::shared_ptr<const QorBlend::Transparency>& transparency, bool stroke,
    std::shared_ptr<const ShapePlacement>* sharedPlacement, const QorDoc::Path* path,
    std::unique_ptr<SoftMaskRecord> softMask, const StrokeWidening& widening) {
  if (!paint) throw std::invalid_argument("FillableObjectInfo: an object needs a paint");
  HeldParts held;
  // A fill in the object's own fill paint reads it from the object: one reference
  // to it at activation, as the record's own would be, so the flat paint cache tells
  // shared paints as before. A stroke's paint is held: objects share their stroke
  // paints through one attribute block, one reference for them all.
  if (stroke || documentObject == nullptr || documentObject->GetFillPaintAddress() != paint.get()) {
    held.paint = paint;
  }
  // A scope with no element here or above clips nothing, and a clipping object
  // opens its scope before the content's painting objects are collected.
  if (clip != nullptr && clip->HasElements()) held.clip = clip;
  const QorPaint::Paint& painting = held.paint ? *held.paint : *paint;
  auto rare = [&]() -> Rare& {
    if (!held.rare) held.rare = std::make_unique<Rare>();
    return *held.rare;
  };
  if (painting.GetType() != QorPaint::kFlatPaint) rare().paintPlacement = paintPlacement;
  if (contentObject != documentObject) {
    rare().ownContentObject = true;
    rare().contentObject = contentObject;
  }
  const std::shared_ptr<const QorBlend::Transparency>& given =
      transparency ? transparency : QorBlend::Transparency::Opaque();
  if (documentObject == nullptr || given != documentObject->GetTransparency()) {
    rare().transparency = given;
  }
  if (softMask) rare().softMask = std::move(softMask);

  // The first shape in the order CreateRunLengthGenerator tries them: the one it uses.
  std::shared_ptr<const void> pointer;
  ShapeKind kind = ShapeKind::kBox;
  if (geometry.compound) {
    pointer = geometry.compound;
    kind = ShapeKind::kCompound;
  } else if (geometry.flatCompound) {
    pointer = geometry.flatCompound;
    kind = ShapeKind::kFlatCompound;
  } else if (geometry.outline) {
    if (stroke && documentObject != nullptr &&
        StrokesWithStyle(*geometry.outline, documentObject->GetStrokeStyle(), widening)) {
      pointer = geometry.outline->GetPath();
      kind = ShapeKind::kStroke;
    } else {
      pointer = geometry.outline;
      kind = ShapeKind::kOutline;
    }
  } else if (geometry.mask) {
    pointer = geometry.mask;
    kind = ShapeKind::kMask;
  }
  if (kind == ShapeKind::kBox) {
    return New<FillableObjectInfo>(std::move(held), documentObject, geometry.pixelBox, kind, false,
                                   stroke);
  }
  ShapePlacement own{geometry.transformation, {}, 0.0};
  if (kind == ShapeKind::kStroke) {
    own.widening = widening;
    own.strokeTolerance = geometry.outline->GetTolerance();
  }
  // Only a stroke kept by reference reads the widening and flatness.
  auto same = [&](const ShapePlacement& p) {
    return Morv::IdenticalBits(p.transformation, own.transformation) &&
           (kind != ShapeKind::kStroke || (SameBits(p.widening.minimum, own.widening.minimum) &&
                                           SameBits(p.widening.scale, own.widening.scale) &&
                                           SameBits(p.strokeTolerance, own.strokeTolerance)));
  };
  std::shared_ptr<const ShapePlacement> placement;
  if (sharedPlacement != nullptr && *sharedPlacement != nullptr && same(**sharedPlacement)) {
    placement = *sharedPlacement;
  } else {
    placement = std::make_shared<const ShapePlacement>(own);
    if (sharedPlacement != nullptr) *sharedPlacement = placement;
  }
  if (path != nullptr && path == documentObject &&
      (kind == ShapeKind::kCompound || kind == ShapeKind::kStroke) &&
      pointer.get() == &path->GetCompound()) {
    return New<PathShaped>(std::move(held), path, geometry.pixelBox, kind, stroke,
                           std::move(placement));
  }
  return New<Shaped>(std::move(held), documentObject, geometry.pixelBox, kind, stroke,
                     Shape{std::move(pointer), std::move(placement)});
}

FillableObjectInfo::FillableObjectInfo(const QorDoc::Fillable* documentObject,
                                       const QorMath::Rectangle<long long>& pixelBox,
                                       ShapeKind shapeKind, bool shapeIsPath, bool stroke,
                                       HeldParts&& held)
    : ObjectInfo(pixelBox),
      stroke_(stroke),
      shape_kind_(shapeKind),
      shape_is_path_(shapeIsPath),
      document_object_(documentObject) {
  // New allocated the bytes of exactly these parts after the record.
  held_ = (held.paint ? kHeldPaint : 0) | (held.clip ? kHeldClip : 0) | (held.rare ? kHeldRare : 0);
  if (held.paint) {
    new (HeldSlot(kHeldPaint)) std::shared_ptr<const QorPaint::Paint>(std::move(held.paint));
  }
  if (held.clip) new (HeldSlot(kHeldClip)) std::shared_ptr<Clip>(std::move(held.clip));
  if (held.rare) new (HeldSlot(kHeldRare)) std::unique_ptr<Rare>(std::move(held.rare));
}

FillableObjectInfo::~FillableObjectInfo() {
  if (held_ & kHeldRare) std::destroy_at(HeldPart<std::unique_ptr<Rare>>(kHeldRare));
  if (held_ & kHeldClip) std::destroy_at(HeldPart<std::shared_ptr<Clip>>(kHeldClip));
  if (held_ & kHeldPaint) {
    std::destroy_at(HeldPart<std::shared_ptr<const QorPaint::Paint>>(kHeldPaint));
  }
}

std::shared_ptr<const QorPaint::Paint> FillableObjectInfo::GetPaint() const {
  std::shared_ptr<const QorPaint::Paint> scratch;
  return PaintOr(scratch);
}

const std::shared_ptr<const QorPaint::Paint>& FillableObjectInfo::PaintOr(
    std::shared_ptr<const QorPaint::Paint>& scratch) const {
  if (held_ & kHeldPaint) return *HeldPart<std::shared_ptr<const QorPaint::Paint>>(kHeldPaint);
  scratch = document_object_->GetFillPaint();
  return scratch;
}

const std::shared_ptr<Clip>& FillableObjectInfo::GetClip() const {
  static const std::shared_ptr<Clip> none;
  return held_ & kHeldClip ? *HeldPart<std::shared_ptr<Clip>>(kHeldClip) : none;
}

const QorDoc::ContentObject* FillableObjectInfo::GetContentObject() const {
  const Rare* rare = GetRare();
  return rare != nullptr && rare->ownContentObject ? rare->contentObject : document_object_;
}

const std::shared_ptr<const QorBlend::Transparency>& FillableObjectInfo::GetTransparency() const {
  const Rare* rare = GetRare();
  return rare != nullptr && rare->transparency ? rare->transparency
                                               : document_object_->GetTransparency();
}

const FillableObjectInfo::ShapePlacement& FillableObjectInfo::Placement() const {
  // Make gives every record of another kind than kBox one of these layouts.
  return shape_is_path_ ? *static_cast<const PathShaped*>(this)->placement
                        : *static_cast<const Shaped*>(this)->shape.placement;
}

const void* FillableObjectInfo::ShapePointer() const {
  return shape_is_path_ ? &static_cast<const QorDoc::Path*>(document_object_)->GetCompound()
                        : static_cast<const Shaped*>(this)->shape.pointer.get();
}

std::shared_ptr<const void> FillableObjectInfo::SharedShapePointer() const {
  if (shape_is_path_) return static_cast<const QorDoc::Path*>(document_object_)->DefiningCompound();
  return static_cast<const Shaped*>(this)->shape.pointer;
}

GeometrySource FillableObjectInfo::GetGeometry() const {
  GeometrySource source{GetPixelBox(), nullptr, nullptr, {}};
  if (shape_kind_ == ShapeKind::kBox) return source;
  const ShapePlacement& placement = Placement();
  const std::shared_ptr<const void> pointer = SharedShapePointer();
  source.transformation = placement.transformation;
  switch (shape_kind_) {
    case ShapeKind::kBox:
      break;
    case ShapeKind::kCompound:
      source.compound = std::static_pointer_cast<const Morv::Compound>(pointer);
      break;
    case ShapeKind::kFlatCompound:
      source.flatCompound = std::static_pointer_cast<const FlatOutline>(pointer);
      break;
    case ShapeKind::kOutline:
      source.outline = std::static_pointer_cast<const Morv::StrokeOutline>(pointer);
      break;
    case ShapeKind::kStroke: {
      const QorDoc::StrokeStyle& style = document_object_->GetStrokeStyle();
      source.outline = std::make_shared<const Morv::StrokeOutline>(
          std::static_pointer_cast<const Morv::Compound>(pointer),
          placement.widening.Apply(style.width), style.cap, style.join, style.miterLimit,
          DashOf(style), placement.strokeTolerance);
      break;
    }
    case ShapeKind::kMask:
      source.mask = std::static_pointer_cast<const QorImg::PictureBuffer>(pointer);
      break;
  }
  return source;
}

GeometryRef FillableObjectInfo::GetGeometryRef(std::optional<Morv::StrokeOutline>& stroke) const {
  static const Morv::MilliPointTransformation identity{};
  GeometryRef ref{GetPixelBox(), nullptr, nullptr, nullptr, nullptr, &identity};
  if (shape_kind_ == ShapeKind::kBox) return ref;
  const ShapePlacement& placement = Placement();
  ref.transformation = &placement.transformation;
  const void* pointer = ShapePointer();
  switch (shape_kind_) {
    case ShapeKind::kBox:
      break;
    case ShapeKind::kCompound:
      ref.compound = static_cast<const Morv::Compound*>(pointer);
      break;
    case ShapeKind::kFlatCompound:
      ref.flatCompound = static_cast<const FlatOutline*>(pointer);
      break;
    case ShapeKind::kOutline:
      ref.outline = static_cast<const Morv::StrokeOutline*>(pointer);
      break;
    case ShapeKind::kStroke: {
      const QorDoc::StrokeStyle& style = document_object_->GetStrokeStyle();
      stroke.emplace(Morv::StrokeOutline::Borrowing(
          *static_cast<const Morv::Compound*>(pointer), placement.widening.Apply(style.width),
          style.cap, style.join, style.miterLimit, DashOf(style), placement.strokeTolerance));
      ref.outline = &*stroke;
      break;
    }
    case ShapeKind::kMask:
      ref.mask = std::static_pointer_cast<const QorImg::PictureBuffer>(SharedShapePointer());
      break;
  }
  return ref;
}

const Morv::MilliPointTransformation& FillableObjectInfo::GetPaintPlacement() const {
  static const Morv::MilliPointTransformation identity{};
  const Rare* rare = GetRare();
  return rare != nullptr ? rare->paintPlacement : identity;
}

const SoftMaskRecord* FillableObjectInfo::GetSoftMask() const {
  const Rare* rare = GetRare();
  return rare != nullptr ? rare->softMask.get() : nullptr;
}

std::unique_ptr<IntervalsFiller> CreateElementaryFiller(LineRenderer& renderer,
                                                        std::shared_ptr<PaintGetter> paint,
                                                        const ElementaryFillerParts& parts,
                                                        std::unique_ptr<SoftMaskRecord> softMask) {
  const HalftoneMode halftones = renderer.GetOptions().GetHalftoneMode();
  std::shared_ptr<const QorBlend::Transparency> transparency =
      PrepareHalftoneTransparency(parts.transparency, halftones);
  if (halftones != kHalftoneNone) {
    paint = WithHalftoneLabel(std::move(paint), parts.labelled, parts.halftoneSet, halftones);
  }
  std::unique_ptr<SoftMaskState> mask;
  if (softMask) {
    mask = std::make_unique<SoftMaskState>(renderer, parts.geometry.pixelBox, std::move(softMask));
  }
  return std::make_unique<ElementaryObjectIntervalsFiller>(
      std::move(paint), parts.contentObject, parts.clip, parts.index,
      CreateRunLengthGenerator(parts.geometry, renderer), std::move(mask), std::move(transparency),
      parts.stroke);
}

void FillableObjectInfo::Prefetch() const {
  const auto* object = reinterpret_cast<const char*>(document_object_);
  __builtin_prefetch(object);
  // A path made in one block keeps its compound and own fill paint behind the object,
  // up to 200 bytes on: a stroke's outline and a fill's copy read them first thing.
  if (shape_is_path_ || !(held_ & kHeldPaint)) {
    for (std::size_t offset = 64; offset < kPathBlockBytes; offset += 64)
      __builtin_prefetch(object + offset);
    __builtin_prefetch(object + kPathBlockBytes - 1);
  }
  // A paint read through the document object is its own fill, most often in its block.
  if (held_ & kHeldPaint) {
    __builtin_prefetch(HeldPart<std::shared_ptr<const QorPaint::Paint>>(kHeldPaint)->get());
  }
  // A path's own compound is found through the document object, fetched above.
  if (shape_kind_ != ShapeKind::kBox && !shape_is_path_) __builtin_prefetch(ShapePointer());
}

bool FillableObjectInfo::CopiesOpaqueFlat(LineRenderer& renderer, OpaqueFlatCopy& copy) const {
  // What CreateFiller would make a filler that copies its paint over every run: no
  // label wraps the paint, and nothing blends or masks the copy.
  std::shared_ptr<const QorPaint::Paint> scratch;
  const std::shared_ptr<const QorPaint::Paint>& paint = PaintOr(scratch);
  if (paint->GetType() != QorPaint::kFlatPaint || GetSoftMask() != nullptr ||
      renderer.GetOptions().GetHalftoneMode() != kHalftoneNone) {
    return false;
  }
  // Flat getters are opaque wherever they paint (paint kind 1).
  const bool absent = renderer.Pools().FlatPaints().CopyOf(renderer.GetOptions(), paint, copy);
  return CopiesOpaque(*GetTransparency(), stroke_, 1, absent);
}

bool FillableObjectInfo::FlatBoxCopy(LineRenderer& renderer, OpaqueFlatCopy& copy) {
  // A filler whose every line is the box's one run, unrestricted.
  if (shape_kind_ != ShapeKind::kBox || (held_ & kHeldClip)) return false;
  const QorMath::Rectangle<long long> box = GetPixelBox();
  if (box.left >= box.right) return false;
  return CopiesOpaqueFlat(renderer, copy);
}

bool FillableObjectInfo::FlatShapeCopy(LineRenderer& renderer, FlatShape& shape) {
  if (!CopiesOpaqueFlat(renderer, shape)) return false;
  std::optional<Morv::StrokeOutline> stroke;
  shape.generator =
      &CreateRunLengthGenerator(GetGeometryRef(stroke), renderer, shape.path, shape.other);
  shape.clip = GetClip().get();
  return true;
}

std::unique_ptr<IntervalsFiller> FillableObjectInfo::CreateFiller(LineRenderer& renderer) {
  std::optional<Morv::StrokeOutline> stroke;
  const GeometryRef geometry = GetGeometryRef(stroke);
  Rare* rare = held_ & kHeldRare ? HeldPart<std::unique_ptr<Rare>>(kHeldRare)->get() : nullptr;
  std::shared_ptr<const QorPaint::Paint> scratch;
  return CreateElementaryFiller(
      renderer, MakePaintGetter(PaintOr(scratch), GetPaintPlacement(), renderer),
      {document_object_,
       document_object_ != nullptr ? document_object_->GetHalftoneSet().get() : nullptr,
       GetContentObject(), GetClip(), GetIndex(), geometry, GetTransparency(), stroke_},
      rare != nullptr ? std::move(rare->softMask) : nullptr);
}

}  // namespace QorSc
