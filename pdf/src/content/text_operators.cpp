// Text operators: BT ET, the text state (Tc Tw Tz TL Tf Tr Ts), positioning (Td TD
// Tm T*) and showing (Tj TJ ' ").
//
// Each showing operator becomes one Text object: its glyph outlines placed along the
// baseline in glyph units (1000 per text-space unit at font size 1), and a
// transformation CTM × Tm × [Tfs·Th/1000 0 0 Tfs/1000 0 Trise] from those units to
// world coordinates. Render modes 4-7 also keep the texts, and ET clips to all of
// them at once. Type3 glyphs are content procedures, run as nested content; in
// modes 4-7 the shapes a procedure paints join the clip (AddToGlyphClip).
#include <algorithm>
#include <cmath>
#include <utility>

#include "content/interpreter_frame.h"

namespace QorPdf::internal {
namespace {

// The stroke style of a text object: PDF measures line widths and dashes in user
// space, the object's own units are glyph units.
QorDoc::StrokeStyle TextStrokeStyle(QorDoc::StrokeStyle style, const Matrix& own_to_user) {
  const double scale = std::sqrt(std::fabs(own_to_user.Determinant()));
  if (scale == 0.0 || !std::isfinite(scale)) return style;
  style.width /= scale;
  for (double& length : style.dash.array)
    length /= scale;
  style.dash.phase /= scale;
  return style;
}

}  // namespace

void ContentInterpreter::TextOperator(const std::string& op, std::vector<Operand>& operands) {
  Frame& f = *frame_;
  TextState& text = f.gs.text;
  double v[6];
  auto number = [&](double& target) {
    if (TakeNumbers(operands, 1, v)) {
      target = v[0];
    } else {
      Warn(op, "needs a number");
    }
  };
  auto move = [&](double tx, double ty) {
    f.line_matrix = Morv::Compose(f.line_matrix, Matrix::Translation(tx, ty));
    f.text_matrix = f.line_matrix;
  };

  if (op == "BT") {
    if (f.in_text) EndText();
    f.in_text = true;
    f.text_matrix = Matrix{};
    f.line_matrix = Matrix{};
    return;
  }
  if (op == "ET") {
    if (!f.in_text) return WarnOnce("ET", "without a matching BT: ignored");
    return EndText();
  }
  if (op == "Tc") return number(text.char_spacing);
  if (op == "Tw") return number(text.word_spacing);
  if (op == "TL") return number(text.leading);
  if (op == "Ts") return number(text.rise);
  if (op == "Tz") {
    double scale = text.horizontal_scale * 100.0;
    number(scale);
    text.horizontal_scale = scale / 100.0;
    return;
  }
  if (op == "Tr") {
    if (TakeNumbers(operands, 1, v) && v[0] >= 0 && v[0] <= 7) {
      text.render_mode = static_cast<int>(v[0]);
    } else {
      Warn(op, "needs a render mode from 0 to 7");
    }
    return;
  }
  if (op == "Tf") {
    if (operands.size() < 2 || !operands[operands.size() - 2].IsName() ||
        !operands.back().IsNumber()) {
      return Warn(op, "needs a font name and a size");
    }
    const std::string& name = operands[operands.size() - 2].text;
    text.font_size = operands.back().number;
    QPDFObjectHandle dictionary = f.resources.getKey("/Font").getKey("/" + name);
    text.font = dictionary.isDictionary() ? context_.fonts.Get(dictionary, page_) : nullptr;
    if (!text.font) {
      WarnOnce("Tf /" + name, "font not found: its text is skipped");
    } else if (std::find(fonts_used_.begin(), fonts_used_.end(), text.font) == fonts_used_.end()) {
      fonts_used_.push_back(text.font);
    }
    return;
  }
  if (op == "Td" || op == "TD") {
    if (!TakeNumbers(operands, 2, v)) return Warn(op, "needs two numbers");
    if (op == "TD") text.leading = -v[1];
    return move(v[0], v[1]);
  }
  if (op == "Tm") {
    if (!TakeNumbers(operands, 6, v)) return Warn(op, "needs six numbers");
    f.text_matrix = f.line_matrix = MatrixOf(v);
    return;
  }
  if (op == "T*") return move(0.0, -text.leading);
  if (op == "Tj") return ShowText(operands, false);
  if (op == "TJ") return ShowText(operands, true);
  if (op == "'") {
    move(0.0, -text.leading);
    return ShowText(operands, false);
  }
  if (op == "\"") {
    if (operands.size() < 3 || !operands[operands.size() - 3].IsNumber() ||
        !operands[operands.size() - 2].IsNumber()) {
      return Warn(op, "needs two numbers and a string");
    }
    text.word_spacing = operands[operands.size() - 3].number;
    text.char_spacing = operands[operands.size() - 2].number;
    move(0.0, -text.leading);
    return ShowText(operands, false);
  }
  // d0 and d1 declare a Type3 glyph's metrics, which the font's widths already give.
}

void ContentInterpreter::ShowText(const std::vector<Operand>& operands, bool array) {
  Frame& f = *frame_;
  const TextState& text = f.gs.text;
  if (operands.empty() || (array ? !operands.back().IsArray() : !operands.back().IsString())) {
    return Warn(array ? "TJ" : "Tj", array ? "needs an array" : "needs a string");
  }
  if (!text.font) {
    NotRendered("text without a usable font");
    return WarnOnce("text", "shown without a usable font: skipped");
  }

  std::vector<ShownGlyph> glyphs;
  std::vector<double> positions;
  double x = 0.0;
  if (array) {
    for (const Operand& element : operands.back().elements) {
      if (element.IsNumber()) {
        x -= element.number / 1000.0 * text.font_size * text.horizontal_scale;
      } else if (element.IsString()) {
        ShowString(element.text, glyphs, positions, x);
      }
    }
  } else {
    ShowString(operands.back().text, glyphs, positions, x);
  }
  const Matrix start = f.text_matrix;
  EmitText(glyphs, positions, start);
  f.text_matrix = Morv::Compose(f.text_matrix, Matrix::Translation(x, 0.0));
}

void ContentInterpreter::ShowString(const std::string& bytes, std::vector<ShownGlyph>& glyphs,
                                    std::vector<double>& positions, double& x) {
  const TextState& text = frame_->gs.text;
  const std::size_t first = glyphs.size();
  text.font->Decode(bytes, glyphs);
  for (std::size_t i = first; i < glyphs.size(); ++i) {
    positions.push_back(x);
    const double spacing = text.char_spacing + (glyphs[i].word_space ? text.word_spacing : 0.0);
    x += (glyphs[i].width * text.font_size + spacing) * text.horizontal_scale;
  }
}

void ContentInterpreter::EmitText(std::vector<ShownGlyph>& glyphs, std::vector<double>& positions,
                                  const Matrix& start) {
  Frame& f = *frame_;
  const TextState& text = f.gs.text;
  const int mode = text.render_mode;
  if (glyphs.empty() || mode == 3) return;
  const double sx = text.font_size * text.horizontal_scale;
  const double sy = text.font_size;

  if (text.font->IsType3()) {
    for (std::size_t i = 0; i < glyphs.size(); ++i) {
      const Matrix placed =
          Morv::Compose(start, Morv::Compose(Matrix::Translation(positions[i], 0.0),
                                             Matrix{sx, 0, 0, sy, 0, text.rise}));
      ShowType3Glyph(glyphs[i], placed, mode >= 4, mode != 7);
    }
    return;
  }
  if (sx == 0.0 || sy == 0.0 || !std::isfinite(sx) || !std::isfinite(sy)) return;

  // Glyph units to text space, then text space to user space.
  const Matrix own_to_user =
      Morv::Compose(start, Matrix{sx / 1000.0, 0, 0, sy / 1000.0, 0, text.rise});
  const Matrix own_to_world = Morv::Compose(f.gs.ctm, own_to_user);
  std::vector<std::shared_ptr<const Morv::Compound>> outlines;
  outlines.reserve(glyphs.size());
  for (std::size_t i = 0; i < glyphs.size(); ++i) {
    if (!glyphs[i].outline || glyphs[i].outline->GetSubpaths().empty()) continue;
    // Shared with earlier texts showing this glyph at this offset, not copied again.
    outlines.push_back(context_.fonts.PlacedOutline(glyphs[i].outline, positions[i] * 1000.0 / sx));
  }
  if (outlines.empty()) return;
  // Text inside a Type3 glyph that clips: its painted outlines are the glyph's shape.
  if (glyph_clip_ && mode != 7) {
    glyph_clip_->push_back(context_.builder.MakeText(outlines, {}, own_to_world));
  }
  if (!CountObject()) return;

  const bool fill = mode == 0 || mode == 2 || mode == 4 || mode == 6;
  const bool stroke = mode == 1 || mode == 2 || mode == 5 || mode == 6;
  const bool fill_tiled = fill && PaintedApart(f.gs.fill);
  const bool stroke_tiled = stroke && PaintedApart(f.gs.stroke);
  if (fill_tiled || stroke_tiled) {
    PaintTextTiled(outlines, own_to_user, own_to_world, fill, stroke);
  } else if (fill || stroke) {
    QorDoc::Fillable::Painting painting = MakePainting(fill, stroke);
    if (stroke) painting.strokeStyle = TextStrokeStyle(painting.strokeStyle, own_to_user);
    if (painting.fill || painting.stroke) {
      context_.builder.AddText(*f.gs.target, outlines, std::move(painting), own_to_world);
    }
  }
  if (mode >= 4) {
    f.text_clip.push_back(context_.builder.MakeText(std::move(outlines), {}, own_to_world));
  }
}

void ContentInterpreter::PaintTextTiled(
    const std::vector<std::shared_ptr<const Morv::Compound>>& outlines, const Matrix& own_to_user,
    const Matrix& own_to_world, bool fill, bool stroke) {
  const GraphicsState& gs = frame_->gs;
  auto paint_part = [&](bool stroking) {
    const ColorState& color = stroking ? gs.stroke : gs.fill;
    if (!IsTiled(color)) {
      QorDoc::Fillable::Painting painting = MakePainting(!stroking, stroking);
      if (stroking) painting.strokeStyle = TextStrokeStyle(painting.strokeStyle, own_to_user);
      if (painting.fill || painting.stroke) {
        context_.builder.AddText(*gs.target, outlines, std::move(painting), own_to_world);
      }
      return;
    }
    if (!stroking) {
      // The glyphs as a clipping text; the area is their outlines' box.
      double x0 = 0.0, y0 = 0.0, x1 = 0.0, y1 = 0.0;
      for (std::size_t i = 0; i < outlines.size(); ++i) {
        const auto r = Morv::TransformedBoundingBox(own_to_world, outlines[i]->GetBoundingBox());
        x0 = i == 0 ? r.X() : std::min(x0, r.X());
        y0 = i == 0 ? r.Y() : std::min(y0, r.Y());
        x1 = i == 0 ? r.X() + r.Width() : std::max(x1, r.X() + r.Width());
        y1 = i == 0 ? r.Y() + r.Height() : std::max(y1, r.Y() + r.Height());
      }
      auto text = context_.builder.MakeText(outlines, {}, own_to_world);
      PaintTiled(color, false,
                 {[&](QorDoc::Content& members) {
                    context_.builder.AddTextGroup(members, {text}, {}, true);
                  },
                  {x0, y0, x1 - x0, y1 - y0}});
      return;
    }
    // The glyphs' stroke outline, in glyph space.
    const QorDoc::StrokeStyle style = TextStrokeStyle(gs.stroke_style, own_to_user);
    std::vector<Morv::Subpath> subpaths;
    for (const auto& outline : outlines) {
      const auto stroked = StrokeOutline(*outline, style, own_to_world);
      subpaths.insert(subpaths.end(), stroked->GetSubpaths().begin(), stroked->GetSubpaths().end());
    }
    PaintTiledOutline(color, true,
                      std::make_shared<const Morv::Compound>(std::move(subpaths), Morv::kNonZero),
                      own_to_world);
  };
  if (fill) paint_part(false);
  if (stroke) paint_part(true);
}

void ContentInterpreter::ShowType3Glyph(const ShownGlyph& glyph, const Matrix& glyph_matrix,
                                        bool clip, bool paint) {
  const Font& font = *frame_->gs.text.font;
  QPDFObjectHandle procedure = font.Type3Procedure(glyph.code);
  if (!procedure.isStream()) return;
  if (depth_ >= context_.limits.max_nesting) {
    return WarnOnce("Type3 glyph", "nested deeper than " +
                                       std::to_string(context_.limits.max_nesting) + ": skipped");
  }
  if (!PlaceNested(procedure, "Type3 glyph")) return;
  const auto m = font.Type3Matrix();
  GraphicsState initial = frame_->gs;
  initial.ctm = Morv::Compose(initial.ctm, Morv::Compose(glyph_matrix, MatrixOf(m.data())));
  QPDFObjectHandle resources = font.Type3Resources();
  if (!resources.isDictionary()) resources = frame_->resources;
  auto* const outer_clip = glyph_clip_;
  if (clip) glyph_clip_ = &frame_->text_clip;
  // Clipping only (mode 7): the glyph runs into a content nothing draws.
  if (!paint) initial.target = &context_.builder.AddContent();
  RunNested(procedure, "Type3 glyph", resources, std::move(initial));
  glyph_clip_ = outer_clip;
}

void ContentInterpreter::AddToGlyphClip(std::shared_ptr<const Morv::Compound> shape,
                                        const Matrix& t) {
  if (!glyph_clip_ || shape->GetSubpaths().empty()) return;
  glyph_clip_->push_back(context_.builder.MakeText({std::move(shape)}, {}, t));
}

void ContentInterpreter::EndText() {
  Frame& f = *frame_;
  f.in_text = false;
  if (f.text_clip.empty()) return;
  ClipToTexts(std::move(f.text_clip));
  f.text_clip.clear();
}

}  // namespace QorPdf::internal
