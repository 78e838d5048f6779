// Activation of fillable records: once per object per conversion.

#include "collect/fillable_object_info.h"

#include <bit>
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

// Whether an outline strokes with the object's own style, so that the record can
// keep the path alone and take the rest from the object when it is activated.
bool StrokesWithStyle(const Morv::StrokeOutline& outline, const QorDoc::StrokeStyle& style) {
  if (outline.GetPath() == nullptr || outline.GetCap() != style.cap ||
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
  Shaped(const QorDoc::Fillable* documentObject, const QorDoc::ContentObject* contentObject,
         std::shared_ptr<Clip> clip, const QorMath::Rectangle<long long>& pixelBox, ShapeKind kind,
         Shape shape, std::shared_ptr<const QorPaint::Paint> paint,
         const Morv::MilliPointTransformation& paintPlacement,
         std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke)
      : FillableObjectInfo(documentObject, contentObject, std::move(clip), pixelBox, kind,
                           std::move(paint), paintPlacement, std::move(transparency), stroke),
        shape(std::move(shape)) {}

  const Shape shape;
};

// A record whose shape is its path's own compound: only the placement is held.
class FillableObjectInfo::PathShaped final : public FillableObjectInfo {
 public:
  PathShaped(const QorDoc::Path* path, const QorDoc::ContentObject* contentObject,
             std::shared_ptr<Clip> clip, const QorMath::Rectangle<long long>& pixelBox,
             ShapeKind kind, std::shared_ptr<const ShapePlacement> placement,
             std::shared_ptr<const QorPaint::Paint> paint,
             const Morv::MilliPointTransformation& paintPlacement,
             std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke)
      : FillableObjectInfo(path, contentObject, std::move(clip), pixelBox, kind, std::move(paint),
                           paintPlacement, std::move(transparency), stroke),
        placement(std::move(placement)) {
    shape_is_path_ = true;
  }

  const std::shared_ptr<const ShapePlacement> placement;
};

// With the allocator's 8-byte header a box record of at most 88 bytes takes one
// 96-byte chunk (a page of 100 000 rectangles holds as many records), and a record
// with a shape one 128-byte chunk, or 112 when its shape is its path's (see
// Placement).
static_assert(sizeof(void*) != 8 || sizeof(FillableObjectInfo) <= 88);

std::unique_ptr<FillableObjectInfo> FillableObjectInfo::Make(
    const QorDoc::Fillable* documentObject, const QorDoc::ContentObject* contentObject,
    std::shared_ptr<Clip> clip, const GeometrySource& geometry,
    std::shared_ptr<const QorPaint::Paint> paint,
    const Morv::MilliPointTransformation& paintPlacement,
    std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke,
    std::shared_ptr<const ShapePlacement>* sharedPlacement, const QorDoc::Path* path) {
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
        StrokesWithStyle(*geometry.outline, documentObject->GetStrokeStyle())) {
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
    return std::unique_ptr<FillableObjectInfo>(new FillableObjectInfo(
        documentObject, contentObject, std::move(clip), geometry.pixelBox, kind, std::move(paint),
        paintPlacement, std::move(transparency), stroke));
  }
  ShapePlacement own{geometry.transformation};
  if (kind == ShapeKind::kStroke) {
    own.strokeWidth = geometry.outline->GetWidth();
    own.strokeTolerance = geometry.outline->GetTolerance();
  }
  // Only a stroke kept by reference reads the width and flatness.
  auto same = [&](const ShapePlacement& p) {
    return Morv::IdenticalBits(p.transformation, own.transformation) &&
           (kind != ShapeKind::kStroke || (SameBits(p.strokeWidth, own.strokeWidth) &&
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
    return std::make_unique<PathShaped>(path, contentObject, std::move(clip), geometry.pixelBox,
                                        kind, std::move(placement), std::move(paint),
                                        paintPlacement, std::move(transparency), stroke);
  }
  return std::make_unique<Shaped>(documentObject, contentObject, std::move(clip), geometry.pixelBox,
                                  kind, Shape{std::move(pointer), std::move(placement)},
                                  std::move(paint), paintPlacement, std::move(transparency),
                                  stroke);
}

FillableObjectInfo::FillableObjectInfo(
    const QorDoc::Fillable* documentObject, const QorDoc::ContentObject* contentObject,
    std::shared_ptr<Clip> clip, const QorMath::Rectangle<long long>& pixelBox, ShapeKind shapeKind,
    std::shared_ptr<const QorPaint::Paint> paint,
    const Morv::MilliPointTransformation& paintPlacement,
    std::shared_ptr<const QorBlend::Transparency> transparency, bool stroke)
    : ObjectInfo(pixelBox),
      stroke_(stroke),
      shape_kind_(shapeKind),
      document_object_(documentObject),
      paint_(std::move(paint)),
      clip_(std::move(clip)) {
  if (!paint_) throw std::invalid_argument("FillableObjectInfo: an object needs a paint");
  if (paint_->GetType() != QorPaint::kFlatPaint) MakeRare().paintPlacement = paintPlacement;
  if (contentObject != documentObject) {
    Rare& rare = MakeRare();
    rare.ownContentObject = true;
    rare.contentObject = contentObject;
  }
  if (!transparency) transparency = QorBlend::Transparency::Opaque();
  if (documentObject == nullptr || transparency != documentObject->GetTransparency()) {
    MakeRare().transparency = std::move(transparency);
  }
}

FillableObjectInfo::~FillableObjectInfo() = default;

FillableObjectInfo::Rare& FillableObjectInfo::MakeRare() {
  if (!rare_) rare_ = std::make_unique<Rare>();
  return *rare_;
}

const QorDoc::ContentObject* FillableObjectInfo::GetContentObject() const {
  return rare_ && rare_->ownContentObject ? rare_->contentObject : document_object_;
}

const std::shared_ptr<const QorBlend::Transparency>& FillableObjectInfo::GetTransparency() const {
  return rare_ && rare_->transparency ? rare_->transparency : document_object_->GetTransparency();
}

const FillableObjectInfo::ShapePlacement& FillableObjectInfo::Placement() const {
  static_assert(sizeof(void*) != 8 || sizeof(Shaped) <= 120);
  static_assert(sizeof(void*) != 8 || sizeof(PathShaped) <= 104);
  // Make gives every record of another kind than kBox one of these layouts.
  return shape_is_path_ ? *static_cast<const PathShaped*>(this)->placement
                        : *static_cast<const Shaped*>(this)->shape.placement;
}

const void* FillableObjectInfo::ShapePointer() const {
  return shape_is_path_
             ? &static_cast<const QorDoc::Path*>(document_object_)->GetCompound()
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
          std::static_pointer_cast<const Morv::Compound>(pointer), placement.strokeWidth, style.cap,
          style.join, style.miterLimit, DashOf(style), placement.strokeTolerance);
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
          *static_cast<const Morv::Compound*>(pointer), placement.strokeWidth, style.cap,
          style.join, style.miterLimit, DashOf(style), placement.strokeTolerance));
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
  return rare_ ? rare_->paintPlacement : identity;
}

void FillableObjectInfo::SetSoftMask(std::unique_ptr<SoftMaskRecord> softMask) {
  if (softMask) {
    MakeRare().softMask = std::move(softMask);
  } else if (rare_) {
    rare_->softMask.reset();
  }
}

const SoftMaskRecord* FillableObjectInfo::GetSoftMask() const {
  return rare_ ? rare_->softMask.get() : nullptr;
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
  __builtin_prefetch(document_object_);
  __builtin_prefetch(paint_.get());
  // A path's own compound is found through the document object, fetched above.
  if (shape_kind_ != ShapeKind::kBox && !shape_is_path_) __builtin_prefetch(ShapePointer());
}

bool FillableObjectInfo::CopiesOpaqueFlat(LineRenderer& renderer, OpaqueFlatCopy& copy) const {
  // What CreateFiller would make a filler that copies its paint over every run: no
  // label wraps the paint, and nothing blends or masks the copy.
  if (paint_->GetType() != QorPaint::kFlatPaint || GetSoftMask() != nullptr ||
      renderer.GetOptions().GetHalftoneMode() != kHalftoneNone) {
    return false;
  }
  // Flat getters are opaque wherever they paint (paint kind 1).
  const bool absent = renderer.Pools().FlatPaints().CopyOf(renderer.GetOptions(), paint_, copy);
  return CopiesOpaque(*GetTransparency(), stroke_, 1, absent);
}

bool FillableObjectInfo::FlatBoxCopy(LineRenderer& renderer, OpaqueFlatCopy& copy) {
  // A filler whose every line is the box's one run, unrestricted.
  if (shape_kind_ != ShapeKind::kBox || (clip_ != nullptr && clip_->HasElements())) return false;
  const QorMath::Rectangle<long long> box = GetPixelBox();
  if (box.left >= box.right) return false;
  return CopiesOpaqueFlat(renderer, copy);
}

bool FillableObjectInfo::FlatShapeCopy(LineRenderer& renderer, FlatShape& shape) {
  if (!CopiesOpaqueFlat(renderer, shape)) return false;
  std::optional<Morv::StrokeOutline> stroke;
  shape.generator =
      &CreateRunLengthGenerator(GetGeometryRef(stroke), renderer, shape.path, shape.other);
  shape.clip = clip_ != nullptr && clip_->HasElements() ? clip_.get() : nullptr;
  return true;
}

std::unique_ptr<IntervalsFiller> FillableObjectInfo::CreateFiller(LineRenderer& renderer) {
  std::optional<Morv::StrokeOutline> stroke;
  const GeometryRef geometry = GetGeometryRef(stroke);
  return CreateElementaryFiller(
      renderer, MakePaintGetter(paint_, GetPaintPlacement(), renderer),
      {document_object_,
       document_object_ != nullptr ? document_object_->GetHalftoneSet().get() : nullptr,
       GetContentObject(), clip_, GetIndex(), geometry, GetTransparency(), stroke_},
      rare_ ? std::move(rare_->softMask) : nullptr);
}

}  // namespace QorSc
