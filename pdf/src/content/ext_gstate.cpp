// The gs operator: line style, overprint, blend mode, opacities, alpha-is-shape and
// soft masks from an ExtGState dictionary, and the transparency they make.
#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "color/function_reader.h"
#include "content/interpreter_frame.h"

namespace QorPdf::internal {
namespace {

struct NamedBlendMode {
  const char* name;
  QorBlend::BlendMode mode;
};

constexpr NamedBlendMode kBlendModes[] = {
    {"/Normal", QorBlend::kNormal},       {"/Compatible", QorBlend::kNormal},
    {"/Multiply", QorBlend::kMultiply},   {"/Screen", QorBlend::kScreen},
    {"/Overlay", QorBlend::kOverlay},     {"/SoftLight", QorBlend::kSoftLight},
    {"/HardLight", QorBlend::kHardLight}, {"/ColorDodge", QorBlend::kColorDodge},
    {"/ColorBurn", QorBlend::kColorBurn}, {"/Darken", QorBlend::kDarken},
    {"/Lighten", QorBlend::kLighten},     {"/Difference", QorBlend::kDifference},
    {"/Exclusion", QorBlend::kExclusion},
};

struct NamedNonSeparableMode {
  const char* name;
  QorBlend::NonSeparableMode mode;
};

constexpr NamedNonSeparableMode kNonSeparableModes[] = {
    {"/Hue", QorBlend::kHue},
    {"/Saturation", QorBlend::kSaturation},
    {"/Color", QorBlend::kColor},
    {"/Luminosity", QorBlend::kLuminosity},
};

// A blend mode and, for the non-separable ones, that mode (the blend mode is then
// Normal, which spot colorants use).
struct ReadBlendMode {
  QorBlend::BlendMode mode = QorBlend::kNormal;
  QorBlend::NonSeparableMode non_separable = QorBlend::kSeparable;
};

std::optional<ReadBlendMode> BlendModeNamed(const std::string& name) {
  for (const auto& entry : kBlendModes) {
    if (name == entry.name) return ReadBlendMode{entry.mode, QorBlend::kSeparable};
  }
  for (const auto& entry : kNonSeparableModes) {
    if (name == entry.name) return ReadBlendMode{QorBlend::kNormal, entry.mode};
  }
  return std::nullopt;
}

float Opacity(QPDFObjectHandle value) {
  const double v = value.getNumericValue();
  if (!std::isfinite(v)) return 1.0f;
  return static_cast<float>(v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v);
}

}  // namespace

void ContentInterpreter::SetExtGState(const std::vector<Operand>& operands) {
  if (operands.empty() || !operands.back().IsName()) return Warn("gs", "needs a name");
  const std::string& name = operands.back().text;
  QPDFObjectHandle state = frame_->resources.getKey("/ExtGState").getKey("/" + name);
  if (!state.isDictionary()) return Warn("gs /" + name, "ExtGState not found");
  ApplyExtGState(state);
}

void ContentInterpreter::ApplyExtGState(QPDFObjectHandle dictionary) {
  GraphicsState& gs = frame_->gs;
  QorDoc::StrokeStyle& style = gs.stroke_style;
  for (const std::string& key : dictionary.getKeys()) {
    QPDFObjectHandle value = dictionary.getKey(key);
    if (key == "/LW" && value.isNumber()) {
      style.width = std::fabs(value.getNumericValue());
    } else if (key == "/LC" && value.isInteger() && value.getIntValue() >= 0 &&
               value.getIntValue() <= 2) {
      style.cap = static_cast<Morv::LineCap>(value.getIntValue());
    } else if (key == "/LJ" && value.isInteger() && value.getIntValue() >= 0 &&
               value.getIntValue() <= 2) {
      style.join = static_cast<Morv::LineJoin>(value.getIntValue());
    } else if (key == "/ML" && value.isNumber() && value.getNumericValue() >= 1.0) {
      style.miterLimit = value.getNumericValue();
    } else if (key == "/D" && value.isArray() && value.getArrayNItems() == 2) {
      std::vector<Operand> operands(2);
      operands[0].kind = Operand::Kind::kArray;
      QPDFObjectHandle array = value.getArrayItem(0);
      if (!array.isArray() || !value.getArrayItem(1).isNumber()) continue;
      for (QPDFObjectHandle item : array.aitems()) {
        Operand element;
        element.kind = item.isNumber() ? Operand::Kind::kNumber : Operand::Kind::kNull;
        if (item.isNumber()) element.number = item.getNumericValue();
        operands[0].elements.push_back(element);
      }
      operands[1].kind = Operand::Kind::kNumber;
      operands[1].number = value.getArrayItem(1).getNumericValue();
      SetDash(operands);
    } else if (key == "/OP" && value.isBool()) {
      gs.stroke_overprint = value.getBoolValue();
      // Without its own /op, the fill follows /OP.
      if (!dictionary.hasKey("/op")) gs.fill_overprint = gs.stroke_overprint;
      gs.InvalidatePaints();
    } else if (key == "/op" && value.isBool()) {
      gs.fill_overprint = value.getBoolValue();
      gs.InvalidatePaints();
    } else if (key == "/RI" && value.isName()) {
      gs.rendering_intent = RenderingIntentOf(value.getName().substr(1));
    } else if (key == "/OPM" && value.isNumber()) {
      gs.overprint_mode = value.getNumericValue() == 1.0 ? 1 : 0;
      gs.InvalidatePaints();
    } else if (key == "/CA" && value.isNumber()) {
      gs.stroke_alpha = Opacity(value);
      gs.transparency.reset();
    } else if (key == "/ca" && value.isNumber()) {
      gs.fill_alpha = Opacity(value);
      gs.transparency.reset();
    } else if (key == "/AIS" && value.isBool()) {
      gs.alpha_is_shape = value.getBoolValue();
      gs.transparency.reset();
    } else if (key == "/BM") {
      std::optional<ReadBlendMode> mode;
      if (value.isName()) {
        mode = BlendModeNamed(value.getName());
      } else if (value.isArray()) {
        for (QPDFObjectHandle item : value.aitems()) {
          if (item.isName() && (mode = BlendModeNamed(item.getName()))) break;
        }
      }
      if (!mode) {
        Unsupported("blend mode " + (value.isName() ? value.getName() : std::string("array")) +
                    " (drawn as Normal)");
      }
      gs.blend_mode = mode.value_or(ReadBlendMode{}).mode;
      gs.non_separable = mode.value_or(ReadBlendMode{}).non_separable;
      gs.transparency.reset();
    } else if (key == "/SMask") {
      gs.soft_mask = value.isDictionary() ? ReadSoftMask(value) : nullptr;
      gs.transparency.reset();
    } else if (key == "/Font") {
      Unsupported("ExtGState /Font");
    }
  }
}

const std::shared_ptr<const QorBlend::Transparency>& ContentInterpreter::CurrentTransparency()
    const {
  const GraphicsState& gs = frame_->gs;
  if (gs.transparency) return gs.transparency;
  if (gs.blend_mode == QorBlend::kNormal && gs.non_separable == QorBlend::kSeparable &&
      gs.fill_alpha == 1.0f && gs.stroke_alpha == 1.0f && !gs.alpha_is_shape && !gs.soft_mask) {
    gs.transparency = QorBlend::Transparency::Opaque();
  } else {
    auto transparency = std::make_shared<QorBlend::Transparency>(
        gs.blend_mode, gs.fill_alpha, gs.stroke_alpha, gs.alpha_is_shape ? 1 : 0);
    transparency->SetSoftMask(gs.soft_mask);
    transparency->SetNonSeparableMode(gs.non_separable);
    gs.transparency = std::move(transparency);
  }
  return gs.transparency;
}

std::shared_ptr<const QorBlend::SoftMask> ContentInterpreter::ReadSoftMask(QPDFObjectHandle mask) {
  if (!context_.options.keep_soft_masks) {
    Unsupported("soft mask (SMask, drawn without it)");
    return nullptr;
  }
  QPDFObjectHandle group = mask.getKey("/G");
  if (!group.isStream() || !group.getDict().getKey("/Subtype").isNameAndEquals("/Form")) {
    Warn("/SMask", "no transparency group /G: ignored");
    return nullptr;
  }
  if (depth_ >= context_.limits.max_nesting) {
    Warn("/SMask", "nested deeper than " + std::to_string(context_.limits.max_nesting));
    return nullptr;
  }
  const QPDFObjGen id = group.getObjGen();
  if (id.isIndirect() && std::find(masks_in_progress_.begin(), masks_in_progress_.end(), id) !=
                             masks_in_progress_.end()) {
    Warn("/SMask", "the mask's group refers to itself: drawn without that mask");
    return nullptr;
  }
  const bool alpha = mask.getKey("/S").isNameAndEquals("/Alpha");
  QorBlend::SoftMask::TransferFunction transfer = true;
  QPDFObjectHandle tr = mask.getKey("/TR");
  if (!tr.isNull() && !tr.isNameAndEquals("/Identity")) {
    auto function = ReadFunction(tr, context_.warnings, page_);
    if (function && function->InputCount() == 1 && function->OutputCount() == 1) {
      transfer = std::function<float(float)>([function](float x) {
        const double in = x;
        double out = 0.0;
        function->Evaluate({&in, 1}, {&out, 1});
        return static_cast<float>(out);
      });
    } else {
      Warn("/SMask /TR", "transfer function not usable: identity used");
    }
  }
  // The mask's content is drawn in the coordinates in force when the mask is set.
  QorDoc::Content& content = context_.builder.AddContent();
  GraphicsState initial = InitialState(frame_->gs.ctm, content);
  masks_in_progress_.push_back(id);
  // A mask set inside a clipping glyph is not part of the glyph's shape.
  auto* const glyph_clip = std::exchange(glyph_clip_, nullptr);
  RunForm(group, std::move(initial), "/SMask /G");
  glyph_clip_ = glyph_clip;
  masks_in_progress_.pop_back();

  QorColor::Color backdrop;
  QPDFObjectHandle bc = mask.getKey("/BC");
  QPDFObjectHandle space = group.getDict().getKey("/Group").getKey("/CS");
  if (bc.isArray() && !space.isNull()) {
    auto resolved = context_.colors.Resolve(space, frame_->resources, page_);
    std::vector<double> components;
    for (QPDFObjectHandle item : bc.aitems()) {
      components.push_back(item.isNumber() ? item.getNumericValue() : 0.0);
    }
    if (components.size() == resolved->ComponentCount()) {
      backdrop = resolved->ToInk(components);
    } else {
      Warn("/SMask /BC", std::to_string(components.size()) + " components for a space of " +
                             std::to_string(resolved->ComponentCount()) + ": black used");
    }
  } else if (!bc.isNull() && !bc.isArray()) {
    Warn("/SMask /BC", "not an array: black used");
  }
  return std::make_shared<QorBlend::SoftMask>(&content, Matrix{}, alpha, std::move(backdrop),
                                              std::move(transfer));
}

}  // namespace QorPdf::internal
