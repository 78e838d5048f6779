// The content walk of CollectObjects. Runs once per conversion; its cost is the walk
// plus the geometry of what reaches the pixel box: culled objects are dropped on
// their boxes before any geometry work.

#include "collect/object_collector.h"

#include <cmath>
#include <stdexcept>

#include "collect/clip_object_visitor.h"
#include "collect/fillable_object_info.h"
#include "collect/group_flattening.h"
#include "collect/image_object_info.h"
#include "morv/flatten.h"
#include "morv/stroke.h"
#include "qorpaint/shading_paint.h"
#include "raster/dropout_pixels.h"
#include "raster/pixel_rounding.h"
#include "scan/collect_objects.h"

namespace QorSc {
namespace {

using Transformation = Morv::MilliPointTransformation;

// The subpaths of every glyph under `t` (glyphs in text space), appended.
void AddGlyphSubpaths(const std::vector<std::shared_ptr<const Morv::Compound>>& glyphs,
                      const Transformation& t, std::vector<Morv::Subpath>& subpaths) {
  // Under the identity (a lone text, and most texts of a group) the subpaths are
  // taken as they are: placing them would rebuild every subpath for nothing.
  const bool identity = t == Transformation{};
  for (const auto& glyph : glyphs) {
    if (identity) {
      subpaths.insert(subpaths.end(), glyph->GetSubpaths().begin(), glyph->GetSubpaths().end());
      continue;
    }
    const Morv::Compound placed = glyph->Transformed(t);
    subpaths.insert(subpaths.end(), placed.GetSubpaths().begin(), placed.GetSubpaths().end());
  }
}

// An upper bound of the factor by which `t` stretches any length: the root of the
// sum of its squared entries.
double LargestStretch(const Transformation& t) {
  return std::sqrt(((t.a * t.a + t.b * t.b) + t.c * t.c) + t.d * t.d);
}

}  // namespace

ObjectCollector::ObjectCollector(const Environment& env, const Options& options, const Box& clipBox,
                                 const Transformation& transformation,
                                 const ObjectSelection& selection, bool selected,
                                 std::uint8_t isolated, std::uint8_t knockout)
    : env_(env),
      options_(options),
      selection_(selection),
      transformations_{transformation},
      clips_{std::make_shared<Clip>(nullptr)},
      clip_boxes_{clipBox},
      visible_{true},
      selected_{selected},
      container_(std::make_unique<ObjectInfoContainer>(isolated, knockout)) {}

bool ObjectCollector::IsSelected(const QorDoc::ContentObject& object) const {
  if (!visible_.back()) return false;
  if (selected_.back()) return true;
  return selection_.objectFilter(object);  // an empty filter throws bad_function_call
}

ObjectCollector::Box ObjectCollector::TargetBox(const QorDoc::ContentObject& object,
                                                double grow) const {
  return RoundedTargetBox(env_, object.GetBoundingBox(QorDoc::kVisualBox), Current(),
                          clip_boxes_.back(), grow);
}

double ObjectCollector::MinimalWidthReach(const QorDoc::Fillable& object, const Transformation& own,
                                          bool glyphs) const {
  if (options_.GetMinimalStrokeWidth() == 0) return 0.0;
  // A dropout pixel can lie a pixel beyond a glyph box that rounds to nothing.
  const double dropouts = glyphs && options_.GetMinimalStrokeWidth() > 0 ? 1.0 : 0.0;
  if (!object.GetStrokePaint()) return dropouts;
  const Transformation t = Morv::Compose(Current(), own);
  QorDoc::StrokeStyle style = object.GetStrokeStyle();
  const double width = Widening(t).Apply(style.width);
  if (!(width > style.width)) return dropouts;  // the visual box already holds the stroke
  style.width = width;
  const double pixels = style.Reach() * LargestStretch(t) *
                        std::max(env_.WorldToInternalXFactor(), env_.WorldToInternalYFactor());
  return std::max(dropouts, std::isfinite(pixels) ? pixels : 0.0);
}

double ObjectCollector::ContainerReach() const {
  const long long minimum = options_.GetMinimalStrokeWidth();
  if (minimum <= 0) return 0.0;
  const double fx = env_.WorldToInternalXFactor();
  const double fy = env_.WorldToInternalYFactor();
  // Half the raised width on the pixel grid, times 10 for mitred corners.
  const double pixels =
      5.0 * static_cast<double>(minimum) / std::sqrt(fx * fx + fy * fy) * std::max(fx, fy);
  return std::isfinite(pixels) ? pixels : 0.0;
}

void ObjectCollector::Append(std::unique_ptr<ObjectInfo> record) {
  if (record->GetPixelBox().IsEmpty()) return;  // it could never reach a line
  container_->Append(std::move(record));
}

bool ObjectCollector::VisitContent(const QorDoc::Content& content) {
  ClipObjectVisitor clips(env_, *clips_.back(), Current(), clip_boxes_.back());
  for (const auto& member : content.GetMembers()) {
    if (IsSelected(*member)) member->Accept(clips);
  }
  if (clip_boxes_.back().IsEmpty()) return false;
  // A level's first content gives most of its records (a page of many objects is one
  // content): room for one per member at once, instead of doubling through the page
  // and keeping up to twice the room. What is culled is never touched, so never
  // resident.
  std::vector<std::unique_ptr<ObjectInfo>>& records = container_->records;
  if (records.empty()) records.reserve(content.GetMembers().size());
  for (const auto& member : content.GetMembers())
    member->Accept(*this);
  return false;
}

bool ObjectCollector::VisitLayer(const QorDoc::Layer& layer) {
  if (!QorDoc::Evaluate(layer.GetExpression(), selection_.layerFilter)) return false;
  const Box target = TargetBox(layer, ContainerReach());
  if (target.IsEmpty()) return false;
  visible_.push_back(true);
  CollectMembers(layer.GetMembers(), layer.GetTransformation(), QorBlend::Transparency::Opaque(),
                 nullptr, target);
  visible_.pop_back();
  return false;
}

bool ObjectCollector::VisitGroup(const QorDoc::Group& group) {
  if (!visible_.back()) return false;
  const Box target = TargetBox(group, ContainerReach());
  if (target.IsEmpty()) return false;
  selected_.push_back(IsSelected(group));
  CollectMembers(group.GetMembers(), group.GetTransformation(), group.GetTransparency(), &group,
                 target);
  selected_.pop_back();
  return false;
}

void ObjectCollector::CollectMembers(
    const QorDoc::Content& members, const Transformation& own,
    const std::shared_ptr<const QorBlend::Transparency>& transparency, const QorDoc::Group* group,
    const Box& target) {
  const Transformation composed = Morv::Compose(Current(), own);
  const QorBlend::Transparency& t = *transparency;
  if (FlattensInto(t, *container_)) {
    transformations_.push_back(composed);
    clips_.push_back(std::make_shared<Clip>(clips_.back()));
    clip_boxes_.push_back(clip_boxes_.back());
    members.Accept(*this);
    clip_boxes_.pop_back();
    clips_.pop_back();
    transformations_.pop_back();
    return;
  }
  ObjectCollector nested(env_, options_, clip_boxes_.back(), composed, selection_, selected_.back(),
                         t.IsIsolated(), t.IsKnockout());
  members.Accept(nested);
  const GeometrySource geometry{target, nullptr, nullptr, composed};
  Append(std::make_unique<GroupObjectInfo>(group, clips_.back(), geometry, transparency,
                                           nested.TakeContainer(), CollectSoftMask(transparency)));
}

std::unique_ptr<SoftMaskRecord> ObjectCollector::CollectSoftMask(
    const std::shared_ptr<const QorBlend::Transparency>& transparency) const {
  if (!transparency || !transparency->GetSoftMask()) return nullptr;
  const std::shared_ptr<const QorBlend::SoftMask>& mask = transparency->GetSoftMask();
  Options mask_options = options_;
  mask_options.SetHalftoneMode(kHalftoneNone);
  ObjectCollector collector(env_, mask_options, clip_boxes_.front(),
                            Morv::Compose(Current(), mask->GetTransformation()), kAllSelection,
                            kAllSelection.flag, 1, 0);
  if (mask->GetContent() != nullptr) mask->GetContent()->Accept(collector);
  return std::make_unique<SoftMaskRecord>(SoftMaskRecord{mask, collector.TakeContainer()});
}

StrokeWidening ObjectCollector::Widening(const Transformation& t) const {
  const long long minimum = options_.GetMinimalStrokeWidth();
  if (minimum == 0) return {};
  const double r = std::sqrt(t.a * t.a + t.b * t.b);
  const double q = r != 0.0 ? (t.a * t.d - t.b * t.c) / r : 1.0;
  const double fx = env_.WorldToInternalXFactor();
  const double fy = env_.WorldToInternalYFactor();
  return {static_cast<double>(minimum), std::max(std::fabs(q), r) * std::sqrt(fx * fx + fy * fy)};
}

const std::shared_ptr<const Morv::Compound>& ObjectCollector::Outline::Compound() {
  if (!compound_) {
    std::vector<Morv::Subpath> subpaths;
    AddGlyphSubpaths(*glyphs_, Transformation{}, subpaths);
    compound_ = std::make_shared<const Morv::Compound>(std::move(subpaths), Morv::kNonZero);
  }
  return compound_;
}

GeometrySource ObjectCollector::GlyphGeometry(Outline& outline, const Transformation& t) const {
  const Box& limit = clip_boxes_.back();
  if (options_.GetMinimalStrokeWidth() <= 0 || t.Determinant() == 0.0) {
    return MakeGeometrySource(env_, limit, outline.Compound(), t);
  }
  // The search flattens the whole outline; its polygons (and the squares' corners)
  // are kept so that activation builds the edges without flattening it again. The
  // records are converted under the collection's environment, the one used here.
  auto flat = std::make_shared<FlatOutline>();
  const std::vector<DropoutPixel> pixels =
      outline.Glyphs() != nullptr
          ? FindDropoutPixels(env_, *outline.Glyphs(), Morv::kNonZero, t, limit, flat.get(),
                              &dropout_scratch_)
          : FindDropoutPixels(env_, *outline.Compound(), t, limit, flat.get(), &dropout_scratch_);
  // Four corners per square.
  const std::vector<Morv::MilliPointPoint> squares = DropoutSquares(t, pixels, *flat);
  if (const std::vector<std::shared_ptr<const Morv::Compound>>* glyphs = outline.Glyphs();
      glyphs != nullptr && !flat->points.empty()) {
    // What MakeGeometrySource would make of the glyphs and squares as one compound,
    // without making it: the box of its subpaths' boxes, and no reduction, which
    // needs one subpath (a rectangle) or a box of one or two pixels.
    Morv::BoxUnion bounds;
    std::size_t subpaths = squares.size() / 4;
    for (const auto& glyph : *glyphs) {
      subpaths += glyph->GetSubpaths().size();
      for (const Morv::Subpath& subpath : glyph->GetSubpaths())
        bounds.Add(subpath.GetBoundingBox());
    }
    for (std::size_t i = 0; i < squares.size(); i += 4)
      bounds.Add(Morv::PointsBoundingBox(squares.data() + i, 4));
    const Box box = RoundedTargetBox(env_, bounds.Rectangle(), t, limit);
    if (subpaths > 1 && box.Width() >= 1 && box.Height() >= 1 && box.Width() * box.Height() > 2) {
      flat->windingRule = Morv::kNonZero;
      GeometrySource geometry{box, nullptr, nullptr, t};
      geometry.flatCompound = std::move(flat);
      return geometry;
    }
  }
  std::shared_ptr<const Morv::Compound> shape = outline.Compound();
  if (!squares.empty()) {
    std::vector<Morv::Subpath> subpaths(shape->GetSubpaths().begin(), shape->GetSubpaths().end());
    subpaths.reserve(subpaths.size() + squares.size() / 4);
    for (std::size_t i = 0; i < squares.size(); i += 4) {
      subpaths.push_back(
          Morv::Subpath::Polygon({squares.begin() + static_cast<std::ptrdiff_t>(i),
                                  squares.begin() + static_cast<std::ptrdiff_t>(i + 4)},
                                 true));
    }
    shape = std::make_shared<const Morv::Compound>(std::move(subpaths), shape->GetWindingRule());
  }
  GeometrySource geometry = MakeGeometrySource(env_, limit, shape, t);
  if (geometry.compound && !flat->points.empty()) {
    // The points replace the compound: a record holds one form of its outline.
    flat->windingRule = geometry.compound->GetWindingRule();
    geometry.flatCompound = std::move(flat);
    geometry.compound.reset();
  }
  return geometry;
}

std::vector<Morv::MilliPointPoint> ObjectCollector::DropoutSquares(
    const Transformation& t, const std::vector<DropoutPixel>& pixels, FlatOutline& flat) const {
  std::vector<Morv::MilliPointPoint> squares;
  if (pixels.empty()) return squares;
  // A square around each dropout pixel's centre and no other: the winding there was
  // 0, so the square paints that pixel whatever its orientation, and nothing else.
  const Transformation to_own = t.Inverse();
  squares.reserve(4 * pixels.size());
  flat.points.reserve(flat.points.size() + 4 * pixels.size());
  flat.ends.reserve(flat.ends.size() + pixels.size());
  for (const DropoutPixel& d : pixels) {
    const double x = static_cast<double>(d.x), y = static_cast<double>(d.y);
    const Point<double> corners[4] = {
        {x + 0.25, y + 0.25}, {x + 0.75, y + 0.25}, {x + 0.75, y + 0.75}, {x + 0.25, y + 0.75}};
    for (const Point<double>& corner : corners) {
      squares.push_back(to_own.Apply(env_.InternalToWorld(corner)));
      // The corner as a point enumerator places the compound's: the same two maps.
      flat.points.push_back(env_.WorldToInternal(t.Apply(squares.back())));
    }
    flat.ends.push_back(flat.points.size());
  }
  return squares;
}

void ObjectCollector::AppendShaded(const QorDoc::Fillable& object, const GeometrySource& geometry,
                                   const std::shared_ptr<const QorPaint::Paint>& paint, bool stroke,
                                   const QorDoc::Path* path, const StrokeWidening& widening) {
  // Most objects are flat: their type says so without a cast through the hierarchy.
  const auto* shading = paint->GetType() == QorPaint::kFlatPaint
                            ? nullptr
                            : dynamic_cast<const QorPaint::ShadingPaint*>(paint.get());
  const std::shared_ptr<const QorBlend::Transparency>& transparency = object.GetTransparency();
  const QorBlend::Transparency& t = *transparency;
  const float alpha = stroke ? t.GetStrokeAlpha() : t.GetFillAlpha();
  const bool plain = t.GetBlendMode() == QorBlend::kNormal &&
                     t.GetNonSeparableMode() == QorBlend::kSeparable && alpha > 0.99999f &&
                     !t.GetSoftMask();
  if (shading == nullptr || !shading->GetBackground() || plain) {
    // The background, if any, is a flat record of the same shape just before.
    if (shading != nullptr && shading->GetBackground()) {
      Append(FillableObjectInfo::Make(
          &object, &object, clips_.back(), geometry,
          std::make_shared<const QorPaint::FlatPaint>(*shading->GetBackground()), Current(),
          transparency, stroke, nullptr, nullptr, nullptr, widening));
    }
    Append(FillableObjectInfo::Make(&object, &object, clips_.back(), geometry, paint, Current(),
                                    transparency, stroke, &last_shape_placement_, path,
                                    CollectSoftMask(transparency), widening));
    return;
  }
  // Under the object's opacity, blend mode or soft mask, background and shading are
  // painted as one unit: an isolated group of the two, opaque and Normal, that takes
  // the object's transparency (its stroke alpha for a stroke). Drawing both with the
  // opacity would darken where they overlap.
  ObjectCollector unit(env_, options_, clip_boxes_.back(), Current(), selection_, selected_.back(),
                       1, 0);
  const auto& opaque = QorBlend::Transparency::Opaque();
  unit.Append(FillableObjectInfo::Make(
      &object, &object, unit.clips_.back(), geometry,
      std::make_shared<const QorPaint::FlatPaint>(*shading->GetBackground()), Current(), opaque,
      stroke, nullptr, nullptr, nullptr, widening));
  unit.Append(FillableObjectInfo::Make(&object, &object, unit.clips_.back(), geometry, paint,
                                       Current(), opaque, stroke, nullptr, nullptr, nullptr,
                                       widening));
  auto group_transparency =
      std::make_shared<QorBlend::Transparency>(t.GetBlendMode(), alpha, alpha, t.GetAlphaIsShape());
  group_transparency->SetNonSeparableMode(t.GetNonSeparableMode())
      .SetSoftMask(t.GetSoftMask())
      .SetGroupFlags(1, 0);
  const GeometrySource group_geometry{geometry.pixelBox, nullptr, nullptr, Current()};
  Append(std::make_unique<GroupObjectInfo>(nullptr, clips_.back(), group_geometry,
                                           group_transparency, unit.TakeContainer(),
                                           CollectSoftMask(group_transparency)));
}

void ObjectCollector::AddFillable(const QorDoc::Fillable& object, Outline& outline,
                                  const Transformation& own, bool glyphs,
                                  const QorDoc::Path* path) {
  const Transformation t = Morv::Compose(Current(), own);
  const Box& clip_box = clip_boxes_.back();
  if (object.GetFillPaint()) {
    // Glyph stems thinner than a pixel keep their pixels: one compound, so the text
    // still composites once.
    const GeometrySource geometry = glyphs
                                        ? GlyphGeometry(outline, t)
                                        : MakeGeometrySource(env_, clip_box, outline.Compound(), t);
    AppendShaded(object, geometry, object.GetFillPaint(), false, path);
  }
  if (object.GetStrokePaint()) {
    const QorDoc::StrokeStyle& style = object.GetStrokeStyle();
    // Curves, round joins and caps are flattened to the device's curve error, as
    // fills are: a hairline then costs what its pixels cost, not what its width
    // would allow.
    // The outline is kept as the path and its style and stroked again when its record
    // is activated: held as pieces, the strokes of a page of long thin curves took
    // hundreds of megabytes. The record keeps only the path, reading the style from
    // the object (this outline lives just long enough to box the stroke). A one-piece
    // outline is kept as a compound, which an axis-aligned rectangle needs to become
    // a box. Only short polylines without round caps are walked here (to find their
    // pieces); any other outline is boxed by its path's box grown by its reach, which
    // may be larger than the outline's own box but never misses a piece, and a larger
    // box changes no run.
    const StrokeWidening widening = Widening(t);
    const auto stroke = std::make_shared<const Morv::StrokeOutline>(
        outline.Compound(), widening.Apply(style.width), style.cap, style.join, style.miterLimit,
        style.dash.array.empty() ? nullptr : &style.dash,
        Morv::CurveErrorForTransformation(env_.GetCurveError(), t));
    const GeometrySource geometry =
        stroke->Measured() && stroke->PieceCount() <= 1
            ? MakeGeometrySource(env_, clip_box,
                                 std::make_shared<const Morv::Compound>(stroke->ToCompound()), t)
            : MakeGeometrySource(env_, clip_box, stroke, t);
    AppendShaded(object, geometry, object.GetStrokePaint(), true, path, widening);
  }
}

bool ObjectCollector::VisitPath(const QorDoc::Path& path) {
  if (!IsSelected(path) || path.IsClippingObject() ||
      TargetBox(path, MinimalWidthReach(path, path.GetTransformation(), false)).IsEmpty()) {
    return false;
  }
  Outline outline(path.DefiningCompound());
  AddFillable(path, outline, path.GetTransformation(), false, &path);
  return false;
}

bool ObjectCollector::VisitText(const QorDoc::Text& text) {
  if (!IsSelected(text) || text.IsClippingObject() ||
      TargetBox(text, MinimalWidthReach(text, text.GetTransformation(), true)).IsEmpty()) {
    return false;
  }
  Outline outline(text.OriginalCompounds());
  AddFillable(text, outline, text.GetTransformation(), true);
  return false;
}

bool ObjectCollector::VisitTextGroup(const QorDoc::TextGroup& group) {
  if (group.IsClippingObject() || group.GetTexts().empty()) return false;
  const bool selected = IsSelected(group);
  selected_.push_back(selected);
  bool admitted = true;
  if (!selected) {
    for (const auto& text : group.GetTexts())
      admitted = admitted && IsSelected(*text);
  }
  const QorDoc::Fillable& first = *group.GetTexts().front();
  if (admitted &&
      !TargetBox(group, MinimalWidthReach(first, group.GetTransformation(), true)).IsEmpty()) {
    std::vector<Morv::Subpath> subpaths;
    for (const auto& text : group.GetTexts()) {
      AddGlyphSubpaths(text->OriginalCompounds(), text->GetTransformation(), subpaths);
    }
    // The group paints with its first text's paints and style.
    Outline outline(std::make_shared<const Morv::Compound>(std::move(subpaths), Morv::kNonZero));
    AddFillable(first, outline, group.GetTransformation(), true);
  }
  selected_.pop_back();
  return false;
}

bool ObjectCollector::VisitImageMask(const QorDoc::ImageMask& mask) {
  if (!IsSelected(mask) || !mask.GetFillPaint() || TargetBox(mask).IsEmpty()) return false;
  const Transformation t = Morv::Compose(Current(), mask.GetTransformation());
  Append(FillableObjectInfo::Make(
      &mask, &mask, clips_.back(),
      MakeImageMaskGeometrySource(env_, clip_boxes_.back(), mask.GetMask(), t), mask.GetFillPaint(),
      Current(), mask.GetTransparency(), false, &last_shape_placement_, nullptr,
      CollectSoftMask(mask.GetTransparency())));
  return false;
}

bool ObjectCollector::VisitImage(const QorDoc::Image& image) {
  if (!IsSelected(image)) return false;
  const Box target = TargetBox(image);
  if (target.IsEmpty()) return false;
  if (!image.GetPaintedPicture()) return false;
  const Transformation placement = Morv::Compose(Current(), image.GetTransformation());
  const GeometrySource geometry{target, nullptr, nullptr, placement};
  Append(std::make_unique<ImageObjectInfo>(
      &image, &image, clips_.back(), geometry, image.GetPaintedPicture(), placement,
      image.GetTransparency(), CollectSoftMask(image.GetTransparency())));
  return false;
}

ObjectCollection CollectObjects(const Environment& env, const Options& options,
                                const QorMath::Rectangle<long long>& pixelBox,
                                const QorDoc::Content& content,
                                const Transformation& transformation,
                                const ObjectSelection& selection) {
  ObjectCollector collector(env, options, pixelBox, transformation, selection, selection.flag, 1,
                            0);
  content.Accept(collector);
  return ObjectCollection(env, options, pixelBox, collector.TakeContainer());
}

ObjectCollection CollectObjects(const Environment& env, const Options& options,
                                const QorMath::Rectangle<long long>& pixelBox,
                                const QorDoc::ContentObject& object,
                                const ObjectSelection& selection) {
  const QorDoc::ContentObject* parent = object.GetParent();
  const Transformation start =
      parent != nullptr ? QorDoc::GetAbsoluteTransformation(*parent) : Transformation{};
  ObjectCollector collector(env, options, pixelBox, start, selection, selection.flag, 1, 0);
  object.Accept(collector);
  return ObjectCollection(env, options, pixelBox, collector.TakeContainer());
}

}  // namespace QorSc
