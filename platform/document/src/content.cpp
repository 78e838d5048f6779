// Boxes, walks and placements of the content tree.

#include "qordoc/content.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <new>
#include <string>
#include <unordered_set>

#include "qorpaint/shading_paint.h"
#include "qorpaint/tiling_paint.h"

namespace QorDoc {
namespace {

using Rect = Morv::MilliPointRectangle;

// Union of boxes, skipping empty inputs by a flag rather than by size (a line or
// a point still has a position).
class BoxUnion {
 public:
  void Add(const Rect& r) {
    const double x1 = r.X() + r.Width();
    const double y1 = r.Y() + r.Height();
    if (!any_) {
      x0_ = r.X();
      y0_ = r.Y();
      x1_ = x1;
      y1_ = y1;
      any_ = true;
      return;
    }
    x0_ = std::min(x0_, r.X());
    y0_ = std::min(y0_, r.Y());
    x1_ = std::max(x1_, x1);
    y1_ = std::max(y1_, y1);
  }
  Rect Get() const { return any_ ? Rect(x0_, y0_, x1_ - x0_, y1_ - y0_) : Rect(); }

 private:
  bool any_ = false;
  double x0_ = 0.0, y0_ = 0.0, x1_ = 0.0, y1_ = 0.0;
};

Rect Grow(const Rect& r, double d) {
  return Rect(r.X() - d, r.Y() - d, r.Width() + 2.0 * d, r.Height() + 2.0 * d);
}

const Rect kUnitSquare(0.0, 0.0, 1.0, 1.0);

}  // namespace

Rect Content::GetBoundingBox(int kind) const {
  if (visual_box_kept_ && kind == kVisualBox) return visual_box_;
  return ComputeBoundingBox(kind);
}

void Content::KeepVisualBox() {
  visual_box_ = ComputeBoundingBox(kVisualBox);
  visual_box_kept_ = true;
}

Rect Content::ComputeBoundingBox(int kind) const {
  BoxUnion box;
  for (const auto& member : members_) {
    if (!member->IsClippingObject()) box.Add(member->GetBoundingBox(kind));
  }
  Rect result = box.Get();
  // A clipping object paints nothing and bounds everything else.
  for (const auto& member : members_) {
    if (!member->IsClippingObject() || result.Width() <= 0.0 || result.Height() <= 0.0) continue;
    const Rect clip = member->GetBoundingBox(kGeometryBox);
    const double x0 = std::max(result.X(), clip.X());
    const double y0 = std::max(result.Y(), clip.Y());
    const double x1 = std::min(result.X() + result.Width(), clip.X() + clip.Width());
    const double y1 = std::min(result.Y() + result.Height(), clip.Y() + clip.Height());
    result = x1 > x0 && y1 > y0 ? Rect(x0, y0, x1 - x0, y1 - y0) : Rect();
  }
  return result;
}

namespace {

// Gathers the colorants of flat and shaded paints, each name once, in order of first use.
class SeparationCollector final : public ConstVisitorBase {
 public:
  bool VisitGroup(const Group& group) override {
    Mask(group.GetTransparency());
    return true;
  }
  bool VisitPath(const Path& path) override { return Fillable(path); }
  bool VisitText(const Text& text) override { return Fillable(text); }
  bool VisitTextGroup(const TextGroup& group) override {
    for (const auto& text : group.GetTexts())
      Fillable(*text);
    return false;
  }
  bool VisitImageMask(const ImageMask& mask) override { return Fillable(mask); }
  bool VisitImage(const Image& image) override {
    Mask(image.GetTransparency());
    return false;
  }

  QorColor::Color Take() { return std::move(colorants_); }

 private:
  bool Fillable(const QorDoc::Fillable& object) {
    Paint(object.GetFillPaint().get());
    Paint(object.GetStrokePaint().get());
    Mask(object.GetTransparency());
    return false;
  }
  void Paint(const QorPaint::Paint* paint) {
    if (paint == nullptr) return;
    // Flat paints first and without a cast: a page can hold a hundred thousand.
    if (paint->GetType() == QorPaint::kFlatPaint) {
      const QorPaint::ColorantList& list =
          static_cast<const QorPaint::FlatPaint*>(paint)->GetColorants();
      if (&list == last_list_ || !lists_seen_.insert(&list).second) return;
      last_list_ = &list;
      for (const std::string& name : list.GetNames())
        Name(name);
      return;
    }
    if (const auto* shading = dynamic_cast<const QorPaint::ShadingPaint*>(paint)) {
      if (shading->GetBackground()) {
        for (const auto& entry : *shading->GetBackground())
          Name(entry.name);
      }
      for (const auto& entry : shading->GetSeparationMapping().GetEntries()) {
        if (entry.index == QorPaint::SeparationMapping::kNotPainted) continue;
        Name(entry.name);
      }
      return;
    }
    if (const auto* tiling = dynamic_cast<const QorPaint::TilingPaint*>(paint)) {
      tiling->GetCell()->Accept(*this);
    }
  }
  void Name(const std::string& name) {
    if (!colorants_.Find(name)) colorants_.Add(name, 0.0f);
  }
  void Mask(const std::shared_ptr<const QorBlend::Transparency>& t) {
    if (t && t->GetSoftMask() && t->GetSoftMask()->GetContent()) {
      t->GetSoftMask()->GetContent()->Accept(*this);
    }
  }

  QorColor::Color colorants_;
  // Colorant lists of flat paints whose names are in already: a page of a hundred
  // thousand flat paints names a handful of lists, mostly the one met last.
  const QorPaint::ColorantList* last_list_ = nullptr;
  std::unordered_set<const QorPaint::ColorantList*> lists_seen_;
};

}  // namespace

QorColor::Color Content::GetSeparations() const {
  SeparationCollector collector;
  Accept(collector);
  return collector.Take();
}

void Content::Accept(ConstVisitorBase& visitor) const {
  if (!visitor.VisitContent(*this)) return;
  for (const auto& member : members_)
    member->Accept(visitor);
}

double StrokeStyle::Reach() const {
  return Morv::StrokeReach(width, cap, join, miterLimit);
}

namespace {

bool SameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// Equal to the bit, so that sharing never changes a width's sign or a NaN.
bool SameStyle(const StrokeStyle& a, const StrokeStyle& b) {
  if (!SameBits(a.width, b.width) || a.cap != b.cap || a.join != b.join ||
      !SameBits(a.miterLimit, b.miterLimit) || !SameBits(a.dash.phase, b.dash.phase) ||
      a.dash.array.size() != b.dash.array.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.dash.array.size(); ++i) {
    if (!SameBits(a.dash.array[i], b.dash.array[i])) return false;
  }
  return true;
}

}  // namespace

ContentObject::ContentObject(const Morv::MilliPointTransformation& t, bool clipping,
                             ObjectSharing* shareWith)
    : clipping_(clipping) {
  static const auto identity = QorSys::CountedPtr<const Morv::MilliPointTransformation>::Make();
  if (shareWith != nullptr && shareWith->transformation != nullptr &&
      Morv::IdenticalBits(*shareWith->transformation, t)) {
    transformation_ = shareWith->transformation;
    return;
  }
  transformation_ = Morv::IdenticalBits(*identity, t)
                        ? identity
                        : QorSys::CountedPtr<const Morv::MilliPointTransformation>::Make(t);
  if (shareWith != nullptr) shareWith->transformation = transformation_;
}

Fillable::Fillable(const Morv::MilliPointTransformation& t, bool clipping, Painting&& painting,
                   ObjectSharing* shareWith)
    : ContentObject(t, clipping, shareWith), fill_(std::move(painting.fill)) {
  if (!painting.transparency) painting.transparency = QorBlend::Transparency::Opaque();
  // The style is kept only when stroked: a fill's is the default one.
  if (!painting.stroke) painting.strokeStyle = StrokeStyle{};
  if (!painting.stroke && !painting.halftone &&
      painting.transparency == QorBlend::Transparency::Opaque()) {
    attributes_ = NoAttributes();
    return;
  }
  if (shareWith != nullptr && shareWith->attributes != nullptr) {
    const Attributes& last = *shareWith->attributes;
    if (last.stroke == painting.stroke && last.halftone == painting.halftone &&
        last.transparency == painting.transparency &&
        SameStyle(last.strokeStyle, painting.strokeStyle)) {
      attributes_ = shareWith->attributes;
      return;
    }
  }
  attributes_ = QorSys::CountedPtr<const Attributes>::Make(
      Attributes{std::move(painting.stroke), std::move(painting.strokeStyle),
                 std::move(painting.halftone), std::move(painting.transparency)});
  if (shareWith != nullptr) shareWith->attributes = attributes_;
}

const QorSys::CountedPtr<const Fillable::Attributes>& Fillable::NoAttributes() {
  static const auto none = QorSys::CountedPtr<const Attributes>::Make(
      Attributes{nullptr, StrokeStyle{}, nullptr, QorBlend::Transparency::Opaque()});
  return none;
}

Rect Fillable::PlaceBox(const Rect& box, int kind) const {
  const Attributes& attributes = GetAttributes();
  const Rect visual = kind == kVisualBox && attributes.stroke != nullptr
                          ? Grow(box, attributes.strokeStyle.Reach())
                          : box;
  return Morv::TransformedBoundingBox(GetTransformation(), visual);
}

Fillable::~Fillable() {
  if (own_parts_ & kOwnFill) {
    own_block_.~weak_ptr();
  } else {
    fill_.~shared_ptr();
  }
}

void Fillable::HoldOwnFill(const std::shared_ptr<const Fillable>& block) {
  fill_.~shared_ptr();
  new (&own_block_) std::weak_ptr<const Fillable>(block);
  own_parts_ |= kOwnFill;
}

namespace {

// The three ways a path is kept: over a shared compound, in one block with its
// compound (the block found again through `self`), and in one block with its compound
// and fill paint (the block found again through the fill paint's slot).
class PathOverShared final : public Path {
 public:
  PathOverShared(std::shared_ptr<const Morv::Compound> compound,
                 const Morv::MilliPointTransformation& t, Fillable::Painting&& painting,
                 bool clipping, ObjectSharing* shareWith)
      : Path(t, std::move(painting), clipping, shareWith), compound(std::move(compound)) {}

  const std::shared_ptr<const Morv::Compound> compound;
};

class PathWithCompound final : public Path {
 public:
  PathWithCompound(Morv::Compound&& compound, const Morv::MilliPointTransformation& t,
                   Fillable::Painting&& painting, bool clipping, ObjectSharing* shareWith)
      : Path(t, std::move(painting), clipping, shareWith), compound(std::move(compound)) {
    own_parts_ = kOwnCompound;
  }

  std::weak_ptr<const Path> self;
  const Morv::Compound compound;
};

class PathWithFill final : public Path {
 public:
  PathWithFill(Morv::Compound&& compound, QorPaint::FlatPaint&& fill,
               const Morv::MilliPointTransformation& t, Fillable::Painting&& painting,
               bool clipping, ObjectSharing* shareWith)
      : Path(t, std::move(painting), clipping, shareWith),
        compound(std::move(compound)),
        fill(std::move(fill)) {
    own_parts_ = kOwnCompound;
  }

  std::shared_ptr<const void> Block() const { return OwnBlock().lock(); }

  const Morv::Compound compound;
  const QorPaint::FlatPaint fill;
};

// A rectangle filled with a colour of its own, the most common object of a dense page,
// is one 192-byte allocator chunk with the block's shared count (three chunks of
// 96, 112 and 64 bytes apart); a path with its compound alone one of 176.
static_assert(sizeof(void*) != 8 || sizeof(PathOverShared) <= 72);
static_assert(sizeof(void*) != 8 || sizeof(PathWithCompound) <= 152);
static_assert(sizeof(void*) != 8 || sizeof(PathWithFill) <= 168);

}  // namespace

std::shared_ptr<Path> Path::Make(std::shared_ptr<const Morv::Compound> compound,
                                 const Morv::MilliPointTransformation& t, Painting&& painting,
                                 bool clipping, ObjectSharing* shareWith) {
  return std::make_shared<PathOverShared>(std::move(compound), t, std::move(painting), clipping,
                                          shareWith);
}

std::shared_ptr<Path> Path::MakeInOneBlock(Morv::Compound&& compound,
                                           std::optional<QorPaint::FlatPaint>&& fill,
                                           const Morv::MilliPointTransformation& t,
                                           Painting&& painting, bool clipping,
                                           ObjectSharing* shareWith) {
  if (fill) {
    painting.fill = nullptr;
    auto path = std::make_shared<PathWithFill>(std::move(compound), std::move(*fill), t,
                                               std::move(painting), clipping, shareWith);
    path->HoldOwnFill(path);
    return path;
  }
  auto path = std::make_shared<PathWithCompound>(std::move(compound), t, std::move(painting),
                                                 clipping, shareWith);
  path->self = path;
  return path;
}

std::shared_ptr<const Morv::Compound> Path::DefiningCompound() const {
  if (!(own_parts_ & kOwnCompound)) return static_cast<const PathOverShared&>(*this).compound;
  if (own_parts_ & kOwnFill) {
    const auto& path = static_cast<const PathWithFill&>(*this);
    return std::shared_ptr<const Morv::Compound>(path.Block(), &path.compound);
  }
  const auto& path = static_cast<const PathWithCompound&>(*this);
  return std::shared_ptr<const Morv::Compound>(path.self.lock(), &path.compound);
}

const Morv::Compound& Path::GetCompound() const {
  if (!(own_parts_ & kOwnCompound)) return *static_cast<const PathOverShared&>(*this).compound;
  if (own_parts_ & kOwnFill) return static_cast<const PathWithFill&>(*this).compound;
  return static_cast<const PathWithCompound&>(*this).compound;
}

std::shared_ptr<const QorPaint::Paint> Fillable::OwnFillPaint() const {
  const auto& path = static_cast<const PathWithFill&>(*this);
  return std::shared_ptr<const QorPaint::Paint>(path.Block(), &path.fill);
}

const QorPaint::Paint* Fillable::OwnFillPaintAddress() const {
  return &static_cast<const PathWithFill&>(*this).fill;
}

Rect Path::GetBoundingBox(int kind) const {
  return PlaceBox(GetCompound().GetBoundingBox(), kind);
}

Rect Text::GetBoundingBox(int kind) const {
  BoxUnion box;
  for (const auto& glyph : glyphs_) {
    if (!glyph->GetSubpaths().empty()) box.Add(glyph->GetBoundingBox());
  }
  return PlaceBox(box.Get(), kind);
}

Rect TextGroup::GetBoundingBox(int kind) const {
  BoxUnion box;
  for (const auto& text : texts_)
    box.Add(text->GetBoundingBox(kind));
  return Morv::TransformedBoundingBox(GetTransformation(), box.Get());
}

Rect ImageMask::GetBoundingBox(int kind) const {
  return PlaceBox(kUnitSquare, kind);
}

Rect Image::GetBoundingBox(int) const {
  return Morv::TransformedBoundingBox(GetTransformation(), kUnitSquare);
}

Rect Group::GetBoundingBox(int kind) const {
  return Morv::TransformedBoundingBox(GetTransformation(), members_->GetBoundingBox(kind));
}

void Group::Accept(ConstVisitorBase& visitor) const {
  if (visitor.VisitGroup(*this)) members_->Accept(visitor);
}

Rect Layer::GetBoundingBox(int kind) const {
  return members_->GetBoundingBox(kind);
}

void Layer::Accept(ConstVisitorBase& visitor) const {
  if (visitor.VisitLayer(*this)) members_->Accept(visitor);
}

Morv::MilliPointTransformation GetAbsoluteTransformation(const ContentObject& object) {
  Morv::MilliPointTransformation t = object.GetTransformation();
  for (const ContentObject* parent = object.GetParent(); parent != nullptr;
       parent = parent->GetParent()) {
    t = Morv::Compose(parent->GetTransformation(), t);
  }
  return t;
}

}  // namespace QorDoc
