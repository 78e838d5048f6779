// Path construction (m l c v y h re), painting (S s f F f* B B* b b* n) and
// clipping (W W*), with the clip scopes that make PDF's "clip what follows" mean the
// model's "clip the members of a content".
#include <cmath>
#include <utility>

#include "content/interpreter_frame.h"

namespace QorPdf::internal {

void ContentInterpreter::PathOperator(std::string_view op, const std::vector<Operand>& operands) {
  Frame& f = *frame_;
  double v[6];
  std::size_t points = 0;
  const char c = op[0];
  const bool rectangle = c == 'r';  // the only path operator starting with r
  if (rectangle) {
    if (!TakeNumbers(operands, 4, v)) return Warn(std::string(op), "needs four numbers");
    points = 4;
  } else if (c == 'h') {
    points = 0;
  } else {
    const std::size_t count = c == 'm' || c == 'l' ? 2 : c == 'c' ? 6 : 4;
    if (!TakeNumbers(operands, count, v)) {
      return Warn(std::string(op), "needs " + std::to_string(count) + " numbers");
    }
    points = count / 2;
    for (std::size_t i = 0; i < count; ++i) {
      if (!std::isfinite(v[i])) return Warn(std::string(op), "coordinates must be finite");
    }
  }
  if (f.path_points + points > context_.limits.max_path_points) {
    if (!f.path_limit_reported) {
      Warn(std::string(op), "path has more than " +
                                std::to_string(context_.limits.max_path_points) +
                                " points: the rest is dropped");
      f.path_limit_reported = true;
    }
    return;
  }
  f.path_points += points;

  // Segments need a current point; PDF readers start a subpath at a lone segment's
  // end instead of failing.
  if (c != 'm' && !rectangle && c != 'h' && !f.has_current_point) {
    WarnOnce(std::string(op), "segment without a current point: starts a new subpath");
    const double x = c == 'c' ? v[4] : c == 'l' ? v[0] : v[2];
    const double y = c == 'c' ? v[5] : c == 'l' ? v[1] : v[3];
    f.path.MoveTo(x, y);
    f.has_current_point = true;
    f.current_x = f.subpath_x = x;
    f.current_y = f.subpath_y = y;
    f.path_empty = false;
    return;
  }
  switch (c) {
    case 'm':
      f.path.MoveTo(v[0], v[1]);
      f.current_x = f.subpath_x = v[0];
      f.current_y = f.subpath_y = v[1];
      break;
    case 'l':
      f.path.LineTo(v[0], v[1]);
      f.current_x = v[0];
      f.current_y = v[1];
      break;
    case 'c':
      f.path.CurveTo(v[0], v[1], v[2], v[3], v[4], v[5]);
      f.current_x = v[4];
      f.current_y = v[5];
      break;
    case 'v':
      f.path.CurveTo(f.current_x, f.current_y, v[0], v[1], v[2], v[3]);
      f.current_x = v[2];
      f.current_y = v[3];
      break;
    case 'y':
      f.path.CurveTo(v[0], v[1], v[2], v[3], v[2], v[3]);
      f.current_x = v[2];
      f.current_y = v[3];
      break;
    case 'h':
      if (!f.has_current_point) return;
      f.path.Close();
      // The next segment (a v uses the current point as its first control point)
      // starts where the closed subpath began.
      f.current_x = f.subpath_x;
      f.current_y = f.subpath_y;
      break;
    default:  // re
      f.path.Rectangle(v[0], v[1], v[2], v[3]);
      f.current_x = f.subpath_x = v[0];
      f.current_y = f.subpath_y = v[1];
      break;
  }
  f.has_current_point = true;
  f.path_empty = false;
}

void ContentInterpreter::EndPath() {
  Frame& f = *frame_;
  f.path_points = 0;
  f.path_empty = true;
  f.has_current_point = false;
  f.path_limit_reported = false;
}

std::shared_ptr<const Morv::Compound> ContentInterpreter::TakePath(std::uint32_t rule) {
  Frame& f = *frame_;
  EndPath();
  // Building empties the builder and keeps its scratch space for the next path.
  if (f.paths == nullptr) return f.path.BuildShared(rule);
  // A stream's later run is offered the path its first run made at the same turn;
  // anything not the same, bit for bit, is built.
  StreamPaths& paths = *f.paths;
  if (!f.paths_recording && f.paths_at < paths.size() &&
      f.path.TakeIfSame(*paths[f.paths_at], rule)) {
    return paths[f.paths_at++];
  }
  auto compound = f.path.BuildShared(rule);
  if (f.paths_recording) paths.push_back(compound);
  ++f.paths_at;
  return compound;
}

QorDoc::Fillable::Painting ContentInterpreter::MakePainting(bool fill, bool stroke) {
  const GraphicsState& gs = frame_->gs;
  if (fill != stroke && (stroke ? gs.stroke : gs.fill).pattern) {
    if (auto painting = ShadingPatternPainting(stroke)) return std::move(*painting);
  }
  return PaintingInState(fill, stroke);
}

// Made in place: a default painting's opaque transparency, assigned over, would cost
// two reference counts per object.
QorDoc::Fillable::Painting ContentInterpreter::PaintingInState(bool fill, bool stroke) const {
  const GraphicsState& gs = frame_->gs;
  return QorDoc::Fillable::Painting{
      .fill = fill ? PaintOf(gs.fill, gs.fill_overprint) : nullptr,
      .stroke = stroke ? PaintOf(gs.stroke, gs.stroke_overprint) : nullptr,
      .strokeStyle = stroke ? gs.stroke_style : QorDoc::StrokeStyle{},
      .halftone = nullptr,
      .transparency = CurrentTransparency()};
}

void ContentInterpreter::Paint(bool fill, bool stroke, std::uint32_t fill_rule, bool close) {
  Frame& f = *frame_;
  if (close && !f.path_empty) f.path.Close();
  const std::optional<std::uint32_t> clip = f.pending_clip;
  f.pending_clip.reset();
  if (f.path_empty) {
    // A clip by an empty path leaves nothing visible.
    if (clip) Clip(std::make_shared<const Morv::Compound>(), f.gs.ctm);
    TakePath(fill_rule);
    return;
  }
  const bool apart = (fill && PaintedApart(f.gs.fill)) || (stroke && PaintedApart(f.gs.stroke));
  std::shared_ptr<const Morv::Compound> compound;
  if (!glyph_clip_ && !apart) {
    compound = PaintPath(fill, stroke, fill_rule, clip.has_value());
  } else {
    compound = TakePath(fill_rule);
    if (glyph_clip_ && fill) AddToGlyphClip(compound, f.gs.ctm);
    if (glyph_clip_ && stroke) {
      AddToGlyphClip(StrokeOutline(*compound, f.gs.stroke_style, f.gs.ctm), f.gs.ctm);
    }
    if (apart) {
      PaintPathTiled(compound, fill, stroke);
    } else if ((fill || stroke) && CountObject()) {
      QorDoc::Fillable::Painting painting = MakePainting(fill, stroke);
      if (painting.fill || painting.stroke) {
        // The path object takes the compound unless a clip by it follows.
        context_.builder.AddPath(*f.gs.target, clip ? compound : std::move(compound),
                                 std::move(painting), f.gs.ctm);
      }
    }
  }
  if (clip) {
    // The clip uses its own rule, not the painting's.
    auto clip_path = compound;
    if (*clip != fill_rule) {
      const std::span<const Morv::Subpath> subpaths = compound->GetSubpaths();
      clip_path = std::make_shared<const Morv::Compound>(
          std::vector<Morv::Subpath>(subpaths.begin(), subpaths.end()), *clip);
    }
    Clip(std::move(clip_path), f.gs.ctm);
  }
}

// The object is built with its compound in one block, and with its fill paint too
// when that is a flat colour not made yet (on a page of many objects each in its own
// colour, every object): one allocation where there were three. A later run of a
// recorded stream takes the compounds its first run made instead.
std::shared_ptr<const Morv::Compound> ContentInterpreter::PaintPath(bool fill, bool stroke,
                                                                    std::uint32_t rule, bool keep) {
  Frame& f = *frame_;
  const GraphicsState& gs = f.gs;
  const bool replaying = f.paths != nullptr && !f.paths_recording;
  if (!(fill || stroke)) return TakePath(rule);
  if (replaying) {
    auto compound = TakePath(rule);
    if (!CountObject()) return compound;
    QorDoc::Fillable::Painting painting = MakePainting(fill, stroke);
    if (painting.fill || painting.stroke) {
      context_.builder.AddPath(*gs.target, keep ? compound : std::move(compound),
                               std::move(painting), gs.ctm);
    }
    return compound;
  }
  if (!CountObject()) return TakePath(rule);
  EndPath();
  Morv::Compound built = f.path.Build(rule);
  const bool fill_made_here = fill && !gs.fill.pattern && !gs.fill.paint_made;
  std::optional<QorPaint::FlatPaint> own_fill =
      fill_made_here ? NewFlatPaint(gs.fill, gs.fill_overprint) : std::nullopt;
  QorDoc::Fillable::Painting painting =
      fill_made_here ? PaintingInState(false, stroke) : MakePainting(fill, stroke);
  std::shared_ptr<const Morv::Compound> compound;
  if (own_fill || painting.fill || painting.stroke) {
    const bool own = own_fill.has_value();
    auto path = context_.builder.AddPathInOneBlock(
        *gs.target, std::move(built), std::move(own_fill), std::move(painting), gs.ctm);
    // Later objects of the same colour share the paint, and so this object's block.
    if (own) gs.fill.paint = path->GetFillPaint();
    if (keep || f.paths_recording) compound = path->DefiningCompound();
  } else {
    compound = std::make_shared<const Morv::Compound>(std::move(built));
  }
  if (f.paths_recording) {
    f.paths->push_back(compound);
    ++f.paths_at;
  }
  return compound;
}

void ContentInterpreter::PaintPathTiled(const std::shared_ptr<const Morv::Compound>& compound,
                                        bool fill, bool stroke) {
  const GraphicsState& gs = frame_->gs;
  const Matrix t = gs.ctm;
  // Fill, then stroke, each an object of its own when the other is not tiled.
  auto paint_part = [&](bool stroking) {
    const ColorState& color = stroking ? gs.stroke : gs.fill;
    if (!IsTiled(color)) {
      if (!CountObject()) return;
      QorDoc::Fillable::Painting painting = MakePainting(!stroking, stroking);
      if (painting.fill || painting.stroke) {
        context_.builder.AddPath(*gs.target, compound, std::move(painting), t);
      }
      return;
    }
    PaintTiledOutline(color, stroking,
                      stroking ? StrokeOutline(*compound, gs.stroke_style, t) : compound, t);
  };
  if (fill) paint_part(false);
  if (stroke) paint_part(true);
}

void ContentInterpreter::Clip(std::shared_ptr<const Morv::Compound> compound, const Matrix& t) {
  auto record = std::make_shared<ClipRecord>();
  record->previous = frame_->gs.clips;
  record->path = std::move(compound);
  record->transformation = t;
  OpenClipScope(std::move(record));
}

void ContentInterpreter::ClipToTexts(std::vector<std::shared_ptr<const QorDoc::Text>> texts) {
  auto record = std::make_shared<ClipRecord>();
  record->previous = frame_->gs.clips;
  record->texts = std::move(texts);
  OpenClipScope(std::move(record));
}

void ContentInterpreter::OpenClipScope(std::shared_ptr<const ClipRecord> record) {
  GraphicsState& gs = frame_->gs;
  QorDoc::Content& members = context_.builder.AddContent();
  if (record->path) {
    context_.builder.AddPath(members, record->path, {}, record->transformation, true);
  } else {
    context_.builder.AddTextGroup(members, record->texts, {}, true);
  }
  context_.builder.AddGroup(*gs.target, members, Matrix{}, gs.PlainGroupTransparency());
  gs.target = &members;
  gs.clips = std::move(record);
}

}  // namespace QorPdf::internal
