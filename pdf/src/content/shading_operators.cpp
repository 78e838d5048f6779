// Shadings in content: the sh operator and shading patterns used as fill or
// stroke colour (paths, text, strokes).
//
// sh paints the shading over the current clip: one object whose outline is the
// shading's /BBox when it has one, else a rectangle beyond any page, placed in world
// coordinates; the clip scopes in force restrict it. A shading pattern's space is the
// default space of the stream that selected it, then the pattern's /Matrix; its
// /ExtGState holds while it paints, so a fill or stroke in it is an object of its own.
#include <string>

#include "color/shading_reader.h"
#include "content/interpreter_frame.h"
#include "qorpaint/shading_paint.h"

namespace QorPdf::internal {
namespace {

// Half the side of the square, in world millipoints, that sh covers without a
// /BBox: about 35 m, beyond any page, small enough for every resolution's pixels.
constexpr double kShadingReach = 1.0e8;

// What not_rendered counts a shading that cannot be drawn as.
constexpr const char* kUnreadableShading = "shading that could not be read";

}  // namespace

void ContentInterpreter::PaintShading(const std::vector<Operand>& operands) {
  if (operands.empty() || !operands.back().IsName()) return Warn("sh", "needs a name");
  const std::string& name = operands.back().text;
  QPDFObjectHandle shading = frame_->resources.getKey("/Shading").getKey("/" + name);
  if (!shading.isDictionary() && !shading.isStream()) {
    return Skip(kUnreadableShading, "sh /" + name, "no such shading in the resources");
  }
  const int type = ShadingTypeOf(shading);
  if (type < 1 || type > 7) {
    return Skip(kUnreadableShading, "sh /" + name, "not a shading of types 1 to 7");
  }
  Frame& f = *frame_;
  ShadingContext context{context_.colors, f.resources, context_.warnings, page_, DefaultsOf()};
  auto paint = ReadShading(shading, f.gs.ctm, f.gs.fill_overprint, false, context);
  if (!paint) return NotRendered(kUnreadableShading);
  if (!CountObject()) return;

  QorDoc::Fillable::Painting painting;
  painting.fill = paint;
  painting.transparency = CurrentTransparency();
  if (const auto& box = paint->GetBoundingBox()) {
    auto outline = Morv::PathBuilder()
                       .Rectangle(box->X(), box->Y(), box->Width(), box->Height())
                       .BuildShared();
    context_.builder.AddPath(*f.gs.target, outline, std::move(painting), f.gs.ctm);
    return;
  }
  auto outline = Morv::PathBuilder()
                     .Rectangle(-kShadingReach, -kShadingReach, 2 * kShadingReach, 2 * kShadingReach)
                     .BuildShared();
  context_.builder.AddPath(*f.gs.target, outline, std::move(painting), Matrix{});
}

std::function<std::shared_ptr<const ColorSpace>(std::shared_ptr<const ColorSpace>,
                                                QPDFObjectHandle)>
ContentInterpreter::DefaultsOf() const {
  return [this](std::shared_ptr<const ColorSpace> space, QPDFObjectHandle object) {
    return WithDefault(std::move(space), object);
  };
}

Matrix ContentInterpreter::ShadingPatternPlacement(const ColorState& color) {
  QPDFObjectHandle pattern = color.shading_pattern;  // qpdf's queries are not const
  Matrix placement = color.pattern_base;
  if (auto matrix = ReadMatrix(pattern.getKey("/Matrix"))) {
    placement = Morv::Compose(placement, *matrix);
  }
  return placement;
}

std::shared_ptr<const QorPaint::Paint> ContentInterpreter::ShadingPatternPaint(
    const ColorState& color, bool overprint) const {
  QPDFObjectHandle pattern = color.shading_pattern;
  if (!pattern.isDictionary()) return nullptr;
  QPDFObjectHandle shading = pattern.getKey("/Shading");
  ShadingContext context{context_.colors, frame_->resources, context_.warnings, page_,
                         DefaultsOf()};
  return ReadShading(shading, ShadingPatternPlacement(color), overprint, true, context);
}

bool ContentInterpreter::HasPatternState(const ColorState& color) {
  // Asked for every painted object: a plain colour answers before any handle is copied.
  if (!color.pattern) return false;
  QPDFObjectHandle pattern = color.shading_pattern;
  return pattern.isDictionary() && pattern.getKey("/ExtGState").isDictionary();
}

std::optional<QorDoc::Fillable::Painting> ContentInterpreter::ShadingPatternPainting(
    bool stroking) {
  GraphicsState& gs = frame_->gs;
  const ColorState& color = stroking ? gs.stroke : gs.fill;
  if (!HasPatternState(color)) return std::nullopt;
  QPDFObjectHandle pattern = color.shading_pattern;
  QPDFObjectHandle state = pattern.getKey("/ExtGState");
  // The pattern's parameters hold while it paints, over those of the stream; a soft
  // mask among them is drawn in the pattern's space, as the shading is. The outline
  // stays the object's: line width and dashes of the pattern do not reshape it.
  GraphicsState saved = gs;
  gs.ctm = ShadingPatternPlacement(color);
  ApplyExtGState(state);
  gs.ctm = saved.ctm;
  gs.stroke_style = saved.stroke_style;
  QorDoc::Fillable::Painting painting = PaintingInState(!stroking, stroking);
  frame_->gs = std::move(saved);
  return painting;
}

}  // namespace QorPdf::internal
