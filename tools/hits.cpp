// Finding and describing the objects that paint a pixel.
//
// The pixel box of the collection is the one pixel itself: the renderer reports an
// object only where its runs (after clipping) reach the box, so an object elsewhere
// on the same line is not named.
#include "hits.h"

#include <cstdio>
#include <map>
#include <stdexcept>

#include "plate_selection.h"
#include "qorpaint/paint.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace QorScTool {

namespace {

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3g", value);
  return text;
}

std::string DescribePaint(const QorPaint::Paint& paint) {
  switch (paint.GetType()) {
    case QorPaint::kFlatPaint: {
      const QorColor::Color& color = static_cast<const QorPaint::FlatPaint&>(paint).GetColor();
      std::string text;
      for (const auto& entry : color) {
        if (!text.empty()) text += ' ';
        text += entry.name + ' ' + Number(entry.tint);
      }
      if (text.empty()) text = "no colorant";
      if (color.PaintsAllColorants()) text += " registration";
      if (color.PaintsNamedColorantsOnly()) text += " overprint";
      return text;
    }
    case QorPaint::kPicturePaint:
      return "picture";
    case QorPaint::kAxialShadingPaint:
      return "axial shading";
    case QorPaint::kRadialShadingPaint:
      return "radial shading";
    case QorPaint::kTilingPaint:
      return "tiled cell";
    default:
      return "shading";
  }
}

const char* BlendName(QorBlend::BlendMode mode) {
  static const char* const kNames[] = {"Normal",    "Multiply",  "Screen",     "Overlay",
                                       "SoftLight", "HardLight", "ColorDodge", "ColorBurn",
                                       "Darken",    "Lighten",   "Difference", "Exclusion"};
  return mode < std::size(kNames) ? kNames[mode] : "unknown";
}

void AppendTransparency(std::string& text, const QorBlend::Transparency* t, bool stroke) {
  if (t == nullptr) return;
  static const char* const kNonSeparable[] = {"", "Hue", "Saturation", "Color", "Luminosity"};
  if (t->GetNonSeparableMode() != QorBlend::kSeparable && t->GetNonSeparableMode() <= 4) {
    text += std::string(", blend ") + kNonSeparable[t->GetNonSeparableMode()];
  } else if (t->GetBlendMode() != QorBlend::kNormal) {
    text += std::string(", blend ") + BlendName(t->GetBlendMode());
  }
  if (t->GetFillAlpha() < 1.0f) text += ", fill opacity " + Number(t->GetFillAlpha());
  if (stroke && t->GetStrokeAlpha() < 1.0f)
    text += ", stroke opacity " + Number(t->GetStrokeAlpha());
  if (t->GetSoftMask()) text += ", soft mask";
}

std::string DescribeFillable(const QorDoc::Fillable& f) {
  std::string text;
  if (f.GetFillPaint()) text = "fill " + DescribePaint(*f.GetFillPaint());
  if (f.GetStrokePaint()) {
    if (!text.empty()) text += ", ";
    text += "stroke " + DescribePaint(*f.GetStrokePaint()) + " width " +
            Number(f.GetStrokeStyle().width / 1000.0) + " pt";
  }
  if (text.empty()) text = "no paint";
  if (f.GetHalftoneSet()) text += ", halftone " + f.GetHalftoneSet()->GetName();
  AppendTransparency(text, f.GetTransparency().get(), f.GetStrokePaint() != nullptr);
  if (f.IsClippingObject()) text += ", clipping";
  return text;
}

std::string LayerName(const QorDoc::LayerExpression& e) {
  switch (e.GetKind()) {
    case QorDoc::LayerExpression::Kind::kProperties:
      return e.GetProperties() ? e.GetProperties()->GetName() : "?";
    case QorDoc::LayerExpression::Kind::kNot:
      return "not " + LayerName(e.GetOperands().front());
    case QorDoc::LayerExpression::Kind::kAnd:
    case QorDoc::LayerExpression::Kind::kOr: {
      const char* joint = e.GetKind() == QorDoc::LayerExpression::Kind::kAnd ? " and " : " or ";
      std::string text = "(";
      for (std::size_t i = 0; i < e.GetOperands().size(); ++i) {
        if (i > 0) text += joint;
        text += LayerName(e.GetOperands()[i]);
      }
      return text + ")";
    }
  }
  return "?";
}

void IndexObjects(const QorDoc::Content& content,
                  std::map<std::size_t, const QorDoc::ContentObject*>& index) {
  for (const auto& member : content.GetMembers()) {
    index.emplace(member->GetID(), member.get());
    if (const auto* group = dynamic_cast<const QorDoc::Group*>(member.get())) {
      IndexObjects(group->GetMembers(), index);
    } else if (const auto* layer = dynamic_cast<const QorDoc::Layer*>(member.get())) {
      IndexObjects(layer->GetMembers(), index);
    } else if (const auto* texts = dynamic_cast<const QorDoc::TextGroup*>(member.get())) {
      for (const auto& text : texts->GetTexts())
        index.emplace(text->GetID(), text.get());
    }
  }
}

}  // namespace

std::string KindOf(const QorDoc::ContentObject& object) {
  if (dynamic_cast<const QorDoc::Path*>(&object)) return "path";
  if (dynamic_cast<const QorDoc::Text*>(&object)) return "text";
  if (dynamic_cast<const QorDoc::TextGroup*>(&object)) return "text group";
  if (dynamic_cast<const QorDoc::ImageMask*>(&object)) return "image mask";
  if (dynamic_cast<const QorDoc::Image*>(&object)) return "image";
  if (dynamic_cast<const QorDoc::Group*>(&object)) return "group";
  if (dynamic_cast<const QorDoc::Layer*>(&object)) return "layer";
  return "object";
}

std::string DescribeObject(const QorDoc::ContentObject& object) {
  if (const auto* text = dynamic_cast<const QorDoc::Text*>(&object)) {
    return std::to_string(text->OriginalCompounds().size()) + " glyphs, " + DescribeFillable(*text);
  }
  if (const auto* mask = dynamic_cast<const QorDoc::ImageMask*>(&object)) {
    const auto& m = mask->GetMask();
    return (m ? std::to_string(m->GetWidth()) + "x" + std::to_string(m->GetHeight()) + ", " : "") +
           DescribeFillable(*mask);
  }
  if (const auto* fillable = dynamic_cast<const QorDoc::Fillable*>(&object)) {
    return DescribeFillable(*fillable);
  }
  if (const auto* group = dynamic_cast<const QorDoc::TextGroup*>(&object)) {
    std::string text = std::to_string(group->GetTexts().size()) + " texts";
    if (!group->GetTexts().empty()) text += ", " + DescribeFillable(*group->GetTexts().front());
    return text;
  }
  if (const auto* image = dynamic_cast<const QorDoc::Image*>(&object)) {
    const auto& picture = image->GetPaintedPicture();
    const auto* p = picture ? picture->GetPictureData().get() : nullptr;
    std::string text =
        p ? std::to_string(p->GetWidth()) + "x" + std::to_string(p->GetHeight()) : "no samples";
    if (image->GetHalftoneSet()) text += ", halftone " + image->GetHalftoneSet()->GetName();
    AppendTransparency(text, image->GetTransparency().get(), false);
    return text;
  }
  if (const auto* group = dynamic_cast<const QorDoc::Group*>(&object)) {
    std::string text = std::to_string(group->GetMembers().GetMembers().size()) + " members";
    const auto& t = group->GetTransparency();
    if (t && t->IsIsolated()) text += ", isolated";
    if (t && t->IsKnockout()) text += ", knockout";
    AppendTransparency(text, t.get(), false);
    return text;
  }
  if (const auto* layer = dynamic_cast<const QorDoc::Layer*>(&object)) {
    return "shown with " + LayerName(layer->GetExpression());
  }
  return "";
}

std::vector<Hit> FindHits(const PageInput& page, double resolution, long long x, long long y) {
  if (page.document == nullptr || page.content == nullptr) {
    throw std::invalid_argument("FindHits: no page content");
  }
  const PixelSize size = PagePixelSize(page.world_box, resolution);
  if (x < 0 || y < 0 || x >= size.width || y >= size.height) {
    throw std::out_of_range("pixel (" + std::to_string(x) + ", " + std::to_string(y) +
                            ") lies outside the page, which is " + std::to_string(size.width) +
                            " x " + std::to_string(size.height) + " pixels at " +
                            Number(resolution) + " dpi");
  }
  const QorSc::Environment environment(page.world_box, size.width, size.height);
  const PlateSet plates =
      ChoosePlates(ColorantChoice{}, page.colorants, page.document->GetSeparationInfo());
  // Hairlines are found where a render prints them.
  QorSc::Options options = plates.options;
  options.SetMinimalStrokeWidth(
      MinimalStrokeWidthFor(environment, RenderSettings{}.min_line_width));
  QorSc::ScanConverter converter(QorSc::CollectObjects(environment, options, {x, y, x + 1, y + 1},
                                                       *page.content, {}, DefaultVisibility()));
  std::map<std::size_t, const QorDoc::ContentObject*> index;
  IndexObjects(*page.content, index);
  std::vector<Hit> hits;
  for (const std::size_t id : converter.GetObjectsOnNextLine()) {
    Hit hit{id, "object", ""};
    if (const auto found = index.find(id); found != index.end()) {
      hit.kind = KindOf(*found->second);
      hit.description = DescribeObject(*found->second);
    }
    hits.push_back(std::move(hit));
  }
  return hits;
}

}  // namespace QorScTool
