// Colour operators (CS cs SC SCN sc scn G g RG rg K k) and the paints made from
// the current colour under the overprint settings.
//
// Overprint, as prepress users check it: with overprint off every colour knocks out
// the plates it does not name. With it on, the colour paints its own colorants only
// ("paints named colorants only"); in overprint mode 1 a DeviceCMYK colour's zero
// components count as not named, so they leave their plates untouched too.
#include <utility>

#include "color/shading_reader.h"
#include "content/interpreter_frame.h"
#include "qorpaint/paint.h"

namespace QorPdf::internal {
namespace {

void SetComponents(ColorState& color, const std::vector<Operand>& operands) {
  const std::size_t count = color.space->ComponentCount();
  std::vector<double> components(count, 0.0);
  std::size_t taken = 0;
  // The last numbers before the operator (and before a pattern name) are the colour.
  std::size_t end = operands.size();
  if (end > 0 && operands[end - 1].IsName()) --end;
  while (taken < count && taken < end && operands[end - 1 - taken].IsNumber())
    ++taken;
  for (std::size_t i = 0; i < taken; ++i) {
    components[count - taken + i] = operands[end - taken + i].number;
  }
  color.components = std::move(components);
}

}  // namespace

void ContentInterpreter::ColorOperator(std::string_view op, const std::vector<Operand>& operands) {
  GraphicsState& gs = frame_->gs;
  // An uncoloured pattern's cell is painted in the pattern's colour only.
  if (gs.color_locked) return;
  const bool stroking =
      op[0] == 'C' || op[0] == 'S' || op[0] == 'G' || op[0] == 'R' || op[0] == 'K';
  ColorState& color = stroking ? gs.stroke : gs.fill;
  color.Invalidate();

  // A page of many objects sets a device colour before each: nothing is copied or
  // released that the colour already holds.
  auto set_device = [&](ColorSpaceFamily family, std::size_t count) {
    double v[4];
    if (!TakeNumbers(operands, count, v)) {
      Warn(std::string(op), "needs " + std::to_string(count) + " number(s)");
      return;
    }
    const std::shared_ptr<const ColorSpace>& space = DeviceSpace(family);
    if (color.space != space) color.space = space;
    color.components.assign(v, v + count);
    color.pattern = false;
    if (color.shading_pattern.isInitialized()) color.shading_pattern = QPDFObjectHandle();
    if (color.tiling_pattern.isInitialized()) color.tiling_pattern = QPDFObjectHandle();
  };

  switch (op[0]) {
    case 'G':
    case 'g':
      return set_device(ColorSpaceFamily::kDeviceGray, 1);
    case 'R':
    case 'r':
      return set_device(ColorSpaceFamily::kDeviceRGB, 3);
    case 'K':
    case 'k':
      return set_device(ColorSpaceFamily::kDeviceCMYK, 4);
    default:
      break;
  }

  if (op == "CS" || op == "cs") {
    if (operands.empty() || !operands.back().IsName()) return Warn(std::string(op), "needs a name");
    const QPDFObjectHandle name = operands.back().ToObject();
    color.space = WithDefault(context_.colors.Resolve(name, frame_->resources, page_), name);
    color.components = color.space->InitialColor();
    // The initial colour of a pattern space paints nothing.
    color.pattern = color.space->Family() == ColorSpaceFamily::kPattern;
    color.shading_pattern = QPDFObjectHandle();
    color.tiling_pattern = QPDFObjectHandle();
    return;
  }

  // SC sc SCN scn
  const bool named_pattern = !operands.empty() && operands.back().IsName();
  if (color.space->Family() == ColorSpaceFamily::kPattern || named_pattern) {
    color.pattern = true;
    color.shading_pattern = QPDFObjectHandle();
    color.tiling_pattern = QPDFObjectHandle();
    std::string kind = "pattern";
    if (named_pattern) {
      QPDFObjectHandle pattern =
          frame_->resources.getKey("/Pattern").getKey("/" + operands.back().text);
      QPDFObjectHandle type = pattern.isStream() ? pattern.getDict().getKey("/PatternType")
                                                 : pattern.getKey("/PatternType");
      const int shading_type =
          pattern.isDictionary() ? ShadingTypeOf(pattern.getKey("/Shading")) : 0;
      if (type.isInteger() && type.getIntValue() == 2 && pattern.isDictionary() &&
          shading_type >= 1 && shading_type <= 7) {
        color.shading_pattern = pattern;
        color.pattern_base = frame_->default_ctm;
        SetComponents(color, operands);
        return;
      }
      if (type.isInteger() && type.getIntValue() == 1 && pattern.isStream()) {
        color.tiling_pattern = pattern;
        color.pattern_name = operands.back().text;
        color.pattern_base = frame_->default_ctm;
        SetComponents(color, operands);
        return;
      }
      if (type.isInteger() && type.getIntValue() == 1) {
        WarnOnce("tiling pattern /" + operands.back().text, "is not a stream: not drawn");
        SetComponents(color, operands);
        return;
      }
      if (pattern.isNull()) {
        WarnOnce("pattern /" + operands.back().text, "not found in the resources: paints nothing");
        SetComponents(color, operands);
        return;
      }
      if (type.isInteger()) kind = "shading pattern of type " + std::to_string(shading_type);
    }
    Unsupported(kind);
    SetComponents(color, operands);
    return;
  }
  color.pattern = false;
  color.shading_pattern = QPDFObjectHandle();
  color.tiling_pattern = QPDFObjectHandle();
  SetComponents(color, operands);
}

const std::shared_ptr<const ColorSpace>& ContentInterpreter::DeviceSpace(
    ColorSpaceFamily family) const {
  const std::size_t slot = family == ColorSpaceFamily::kDeviceRGB    ? 1
                           : family == ColorSpaceFamily::kDeviceCMYK ? 2
                                                                     : 0;
  // Every colour operator of a stream asks: after the first, the answer is kept here.
  if (frame_->device_spaces[slot]) return frame_->device_spaces[slot];
  // The innermost stream whose resources say, or the device space; every stream
  // passed on the way keeps the answer.
  std::vector<Frame*> asked;
  std::shared_ptr<const ColorSpace> space;
  for (Frame* f = frame_; f != nullptr && !space; f = f->outer) {
    space = f->device_spaces[slot];
    if (!space) space = context_.colors.DefaultSpace(family, f->resources, page_);
    asked.push_back(f);
  }
  if (!space) space = context_.colors.Device(family);
  for (Frame* f : asked)
    f->device_spaces[slot] = space;
  return frame_->device_spaces[slot];
}

std::shared_ptr<const ColorSpace> ContentInterpreter::WithDefault(
    std::shared_ptr<const ColorSpace> space, QPDFObjectHandle object) const {
  const auto family = ColorContext::DeviceFamilyNamed(object, frame_->resources);
  // A resource that is not the device space it claims (already reported) stays as is.
  if (!family || space != context_.colors.Device(*family)) return space;
  return DeviceSpace(*family);
}

std::shared_ptr<const QorPaint::Paint> ContentInterpreter::PaintOf(const ColorState& color,
                                                                   bool overprint) const {
  if (color.paint_made) return color.paint;
  if (color.pattern) {
    color.paint_made = true;
    color.paint = ShadingPatternPaint(color, overprint);
    return color.paint;
  }
  std::optional<QorPaint::FlatPaint> flat = NewFlatPaint(color, overprint);
  if (flat) color.paint = std::make_shared<const QorPaint::FlatPaint>(std::move(*flat));
  return color.paint;
}

std::optional<QorPaint::FlatPaint> ContentInterpreter::NewFlatPaint(const ColorState& color,
                                                                    bool overprint) const {
  color.paint_made = true;
  color.paint.reset();
  if (!color.space || color.space->PaintsNothing()) return std::nullopt;

  QorColor::Color ink = color.space->ToInk(color.components);
  if (overprint) {
    if (color.space->Family() == ColorSpaceFamily::kDeviceCMYK && frame_->gs.overprint_mode == 1) {
      QorColor::Color nonzero;
      for (const auto& entry : ink) {
        if (entry.tint != 0.0f) nonzero.Add(entry.name, entry.tint);
      }
      nonzero.SetPaintsAllColorants(ink.PaintsAllColorants());
      ink = std::move(nonzero);
    }
    ink.SetPaintsNamedColorantsOnly(true);
  } else {
    ink.SetPaintsNamedColorantsOnly(false);
  }
  // Nothing left to paint: an overprinting colour that names no colorant.
  if (ink.Empty()) return std::nullopt;
  return QorPaint::FlatPaint(context_.colorants.Intern(ink), ink);
}

}  // namespace QorPdf::internal
