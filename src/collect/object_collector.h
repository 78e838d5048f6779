// ObjectCollector: the visitor behind CollectObjects.
//
// It keeps, as stacks, the current transformation, the clip scope with its clip box
// (target pixels), layer visibility and the "selected" state, and appends records to
// the container of the level it collects (a nested collector per transparency group,
// a separate one per soft mask). Every content first lets a clip visitor open its
// scope, then lets its members be collected. Plain groups (normal, opaque, no soft
// mask, not isolated, the level's knockout flag) are flattened into the level.
#pragma once

#include <memory>
#include <vector>

#include "collect/fillable_object_info.h"
#include "collect/group_object_info.h"
#include "qordoc/content.h"
#include "raster/clip.h"
#include "raster/dropout_pixels.h"
#include "raster/geometry_source.h"
#include "scan/environment.h"
#include "scan/object_collection.h"
#include "scan/object_selection.h"
#include "scan/options.h"

namespace QorSc {

class ObjectCollector final : public QorDoc::ConstVisitorBase {
 public:
  using Box = QorMath::Rectangle<long long>;

  // A collector of one level: `clipBox` bounds what it collects; `selected` starts
  // the selected state; `isolated` and `knockout` are the level's group flags.
  ObjectCollector(const Environment& env, const Options& options, const Box& clipBox,
                  const Morv::MilliPointTransformation& transformation,
                  const ObjectSelection& selection, bool selected, std::uint8_t isolated,
                  std::uint8_t knockout);

  std::unique_ptr<ObjectInfoContainer> TakeContainer() { return std::move(container_); }

  bool VisitContent(const QorDoc::Content& content) override;
  bool VisitGroup(const QorDoc::Group& group) override;
  bool VisitLayer(const QorDoc::Layer& layer) override;
  bool VisitPath(const QorDoc::Path& path) override;
  bool VisitText(const QorDoc::Text& text) override;
  bool VisitTextGroup(const QorDoc::TextGroup& group) override;
  bool VisitImage(const QorDoc::Image& image) override;
  bool VisitImageMask(const QorDoc::ImageMask& mask) override;

 private:
  bool IsSelected(const QorDoc::ContentObject& object) const;
  // The object's visual box on the target grown by `grow` pixels on every side,
  // rounded, within the current clip box.
  Box TargetBox(const QorDoc::ContentObject& object, double grow = 0.0) const;
  // How far, in target pixels, the object's stroke widened by the minimal stroke
  // width can reach beyond its outline: an upper bound for culling (the visual box
  // only knows the object's own width); 0 when no minimum is set or not stroked.
  // `glyphs` marks text, whose dropout pixels may add a pixel around its outline.
  double MinimalWidthReach(const QorDoc::Fillable& object,
                           const Morv::MilliPointTransformation& own, bool glyphs) const;
  // The same bound for a group or layer, whose members are not known yet: a generous
  // one (their own culling is exact), so that a container holding only hairlines,
  // whose box has no height or width, is not skipped.
  double ContainerReach() const;
  const Morv::MilliPointTransformation& Current() const { return transformations_.back(); }
  // Flattens the members into this level, or collects them as one group record.
  void CollectMembers(const QorDoc::Content& members, const Morv::MilliPointTransformation& own,
                      const std::shared_ptr<const QorBlend::Transparency>& transparency,
                      const QorDoc::Group* group, const Box& target);
  std::unique_ptr<SoftMaskRecord> CollectSoftMask(
      const std::shared_ptr<const QorBlend::Transparency>& transparency) const;
  // The record of the object's fill or stroke paint; a shaded paint's background
  // goes just before it, or both go in one group when the object has transparency.
  // `path` is the object when it is a path, whose own compound a record may read
  // instead of holding.
  // `widening` is how a stroke's width was widened to the minimal stroke width.
  void AppendShaded(const QorDoc::Fillable& object, const GeometrySource& geometry,
                    const std::shared_ptr<const QorPaint::Paint>& paint, bool stroke,
                    const QorDoc::Path* path, const StrokeWidening& widening = {});
  // The geometry of a fillable object: a compound, or a lone text's glyphs, which
  // are merged into one compound only when something needs it (a stroke, or a fill
  // that the flattened glyphs cannot serve).
  class Outline {
   public:
    explicit Outline(std::shared_ptr<const Morv::Compound> compound)
        : compound_(std::move(compound)) {}
    explicit Outline(const std::vector<std::shared_ptr<const Morv::Compound>>& glyphs)
        : glyphs_(&glyphs) {}

    // The glyphs when not merged yet, else null.
    const std::vector<std::shared_ptr<const Morv::Compound>>* Glyphs() const {
      return compound_ ? nullptr : glyphs_;
    }
    const std::shared_ptr<const Morv::Compound>& Compound();

   private:
    std::shared_ptr<const Morv::Compound> compound_;
    const std::vector<std::shared_ptr<const Morv::Compound>>* glyphs_ = nullptr;
  };

  // Fill and stroke records of a fillable object whose geometry is `outline`;
  // `glyphs` marks text outlines, whose fill gets its dropout pixels.
  void AddFillable(const QorDoc::Fillable& object, Outline& outline,
                   const Morv::MilliPointTransformation& own, bool glyphs,
                   const QorDoc::Path* path = nullptr);
  // The fill geometry of the glyphs `outline` placed by `t`. With a minimal stroke
  // width set, the glyphs plus a small square on each dropout pixel: thin stems get
  // the hairline guarantee, and SetMinimalStrokeWidth(0) leaves outlines exact.
  GeometrySource GlyphGeometry(Outline& outline, const Morv::MilliPointTransformation& t) const;
  // The square around each of `pixels`, in the glyphs' own space under `t`, four
  // corners after four; their placed corners are appended to `flat`.
  std::vector<Morv::MilliPointPoint> DropoutSquares(const Morv::MilliPointTransformation& t,
                                                    const std::vector<DropoutPixel>& pixels,
                                                    FlatOutline& flat) const;
  // How strokes under `t` are widened to the minimal stroke width.
  StrokeWidening Widening(const Morv::MilliPointTransformation& t) const;
  void Append(std::unique_ptr<ObjectInfo> record);

  const Environment& env_;
  const Options& options_;
  const ObjectSelection& selection_;
  std::vector<Morv::MilliPointTransformation> transformations_;
  std::vector<std::shared_ptr<Clip>> clips_;
  std::vector<Box> clip_boxes_;
  std::vector<bool> visible_;
  std::vector<bool> selected_;
  std::unique_ptr<ObjectInfoContainer> container_;
  // The dropout search's storage, kept from text to text (mutable: a scratch store,
  // not state of the collection).
  mutable DropoutScratch dropout_scratch_;
  // The shape placement of the last record with a shape, which the next shares when
  // equal (a plot's strokes hold one).
  std::shared_ptr<const FillableObjectInfo::ShapePlacement> last_shape_placement_;
};

}  // namespace QorSc
