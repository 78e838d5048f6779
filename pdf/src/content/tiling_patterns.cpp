// Tiling patterns: the area a fill, a stroke or a text paints with a tiling pattern
// receives copies of the pattern's cell.
//
// The area becomes a clip scope (a group whose clipping object is the filled path,
// the stroke's outline or the glyphs), and every cell that can show inside it is the
// pattern's content run again, placed by the pattern space (the default space of
// the stream that selected the pattern, then /Matrix) and the cell's offset
// (i·XStep, j·YStep), clipped to /BBox. The cells are ordinary objects, so the
// renderer draws them exactly as it draws the same content written out by hand.
//
// Invariants: cells are counted before any is made; when the cells times the cell's
// painting operators pass ImportLimits::max_tile_objects (or the page's tiling
// budget), the area is instead one object painted with a QorPaint::TilingPaint whose
// cell is the content run once (the renderer draws it once and repeats it), so a
// hairline cell over a page cannot make millions of objects. Only where such a
// paint cannot stand in (steps finer than any press resolves, a /BBox more than 64
// steps wide) is the area filled flat, with one warning. The cell content is
// decoded once per page. A pattern met again inside its own cell is not drawn there
// (it would draw itself forever).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <utility>

#include "content/interpreter_frame.h"
#include "morv/singular_transformation.h"
#include "morv/stroke.h"
#include "qorpaint/tiling_paint.h"

namespace QorPdf::internal {
namespace {

using Cell = TilingCell;

// Lattice copies a renderer lays over one period of a tiling paint, per axis: a
// /BBox wider than this many steps is beyond the tiled paint.
constexpr double kMaxCopiesPerAxis = 64.0;
// A step shorter than this fraction of the page's larger side is finer than any
// press resolves (a millionth: 0.0008 pt on A4): such cells are filled flat.
constexpr double kFinestStep = 1e-6;

// Whether a tiling paint can stand in for the cells: the lattice is resolvable on
// the page and one period needs few copies of the cell.
bool TileableAsCell(const Cell& cell, const Matrix& space, std::size_t operators,
                    const ImportLimits& limits, const Morv::MilliPointRectangle& page) {
  const double finest = kFinestStep * std::max(page.Width(), page.Height());
  const double ux = space.a * cell.x_step, uy = space.b * cell.x_step;
  const double vx = space.c * cell.y_step, vy = space.d * cell.y_step;
  if (!(std::hypot(ux, uy) >= finest) || !(std::hypot(vx, vy) >= finest)) return false;
  const double across = std::ceil((cell.x1 - cell.x0) / std::fabs(cell.x_step)) + 1.0;
  const double down = std::ceil((cell.y1 - cell.y0) / std::fabs(cell.y_step)) + 1.0;
  if (!(across <= kMaxCopiesPerAxis) || !(down <= kMaxCopiesPerAxis)) return false;
  return across * down * static_cast<double>(std::max<std::size_t>(operators, 1)) <=
         static_cast<double>(limits.max_tile_objects);
}

bool Finite(double v) {
  return std::isfinite(v);
}

// The world rectangle `r` (possibly empty) cut by `other`.
Morv::MilliPointRectangle Intersect(const Morv::MilliPointRectangle& r,
                                    const Morv::MilliPointRectangle& other) {
  const double x0 = std::max(r.X(), other.X());
  const double y0 = std::max(r.Y(), other.Y());
  const double x1 = std::min(r.X() + r.Width(), other.X() + other.Width());
  const double y1 = std::min(r.Y() + r.Height(), other.Y() + other.Height());
  if (!(x1 > x0) || !(y1 > y0)) return {x0, y0, 0.0, 0.0};
  return {x0, y0, x1 - x0, y1 - y0};
}

// The indices k of the cells [lo + k·step, hi + k·step] that meet [from, to]
// (conservatively: a cell touching the edge is kept).
std::pair<double, double> CellRange(double lo, double hi, double step, double from, double to) {
  const double a = (from - hi) / step;
  const double b = (to - lo) / step;
  return {std::floor(std::min(a, b)), std::ceil(std::max(a, b))};
}

// How many painting operators one run of the content makes at most (nested forms,
// glyphs and patterns count as one): the cost of one cell.
std::size_t PaintingOperators(const std::string& data) {
  static const char* const kPainting[] = {"f", "F",  "f*", "B", "B*", "b",  "b*", "S",
                                          "s", "Tj", "TJ", "'", "\"", "Do", "sh", "BI"};
  ContentReader reader(data, "cell");
  std::string_view op;
  std::vector<Operand> operands;
  std::size_t count = 0;
  while (reader.Next(op, operands)) {
    for (const char* p : kPainting) {
      if (op == p) {
        ++count;
        break;
      }
    }
  }
  return count;
}

}  // namespace

bool ContentInterpreter::IsTiled(const ColorState& color) {
  if (!color.pattern) return false;
  QPDFObjectHandle pattern = color.tiling_pattern;  // qpdf's queries are not const
  return pattern.isStream();
}

Morv::MilliPointRectangle ContentInterpreter::VisibleBox(
    const Morv::MilliPointRectangle& area) const {
  Morv::MilliPointRectangle box = area;
  if (page_box_.Width() > 0.0 && page_box_.Height() > 0.0) box = Intersect(box, page_box_);
  for (auto clip = frame_->gs.clips; clip; clip = clip->previous) {
    if (clip->path) {
      box = Intersect(
          box, Morv::TransformedBoundingBox(clip->transformation, clip->path->GetBoundingBox()));
    }
  }
  return box;
}

std::shared_ptr<const Morv::Compound> ContentInterpreter::StrokeOutline(
    const Morv::Compound& compound, const QorDoc::StrokeStyle& style, const Matrix& t) const {
  // World millipoints per user unit: a user-space tolerance of 5 millipoints and a
  // hairline of 0.1 pt wherever the stroke lands.
  const double scale = std::sqrt(std::fabs(t.Determinant()));
  if (!(scale > 0.0) || !Finite(scale)) return std::make_shared<const Morv::Compound>();
  const double width = style.width > 0.0 ? style.width : 100.0 / scale;
  return std::make_shared<const Morv::Compound>(
      Morv::Stroke(compound, width, style.cap, style.join, style.miterLimit,
                   style.dash.array.empty() ? nullptr : &style.dash, 5.0 / scale));
}

void ContentInterpreter::PaintTiledOutline(const ColorState& color, bool stroke,
                                           std::shared_ptr<const Morv::Compound> area,
                                           const Matrix& t) {
  const Morv::MilliPointRectangle box = Morv::TransformedBoundingBox(t, area->GetBoundingBox());
  PaintTiled(
      color, stroke,
      {[&](QorDoc::Content& members) { context_.builder.AddPath(members, area, {}, t, true); },
       box});
}

void ContentInterpreter::PaintTiled(const ColorState& color, bool stroke, const TiledArea& area) {
  Frame& f = *frame_;
  const GraphicsState& gs = f.gs;
  QPDFObjectHandle pattern = color.tiling_pattern;
  QPDFObjectHandle dictionary = pattern.getDict();
  const std::string name = "tiling pattern /" + color.pattern_name;
  const QPDFObjGen id = pattern.getObjGen();
  if (std::find(running_.begin(), running_.end(), id) != running_.end()) {
    return WarnOnce(name, "paints itself inside its own cell: the inner use is not drawn");
  }
  if (depth_ >= context_.limits.max_nesting) {
    return WarnOnce(
        name, "nested deeper than " + std::to_string(context_.limits.max_nesting) + ": not drawn");
  }

  // The cell: a missing /BBox or step is taken from the other where it can be.
  Cell cell;
  QPDFObjectHandle paint_type = dictionary.getKey("/PaintType");
  cell.uncoloured = paint_type.isInteger() && paint_type.getIntValue() == 2;
  if (!paint_type.isInteger() || (paint_type.getIntValue() != 1 && !cell.uncoloured)) {
    WarnOnce(name + " /PaintType", "is neither 1 nor 2: drawn as a coloured pattern");
  }
  auto number = [&](const char* key) {
    QPDFObjectHandle value = dictionary.getKey(key);
    return value.isNumber() ? value.getNumericValue() : 0.0;
  };
  cell.x_step = number("/XStep");
  cell.y_step = number("/YStep");
  const bool steps_usable =
      cell.x_step != 0.0 && cell.y_step != 0.0 && Finite(cell.x_step) && Finite(cell.y_step);
  QPDFObjectHandle bbox = dictionary.getKey("/BBox");
  if (bbox.isRectangle()) {
    const QPDFObjectHandle::Rectangle r = bbox.getArrayAsRectangle();
    cell.x0 = std::min(r.llx, r.urx);
    cell.x1 = std::max(r.llx, r.urx);
    cell.y0 = std::min(r.lly, r.ury);
    cell.y1 = std::max(r.lly, r.ury);
  } else if (steps_usable) {
    WarnOnce(name + " /BBox", "missing or unusable: the cell is taken as [0 0 XStep YStep]");
    cell.x1 = std::fabs(cell.x_step);
    cell.y1 = std::fabs(cell.y_step);
  } else {
    return WarnOnce(name, "has neither a usable /BBox nor usable steps: not drawn");
  }
  if (!Finite(cell.x0) || !Finite(cell.x1) || !Finite(cell.y0) || !Finite(cell.y1)) {
    return WarnOnce(name, "has a /BBox that is not finite: not drawn");
  }
  if (!(cell.x1 > cell.x0) || !(cell.y1 > cell.y0)) return;  // an empty cell shows nothing
  if (cell.x_step == 0.0 || !Finite(cell.x_step)) {
    WarnOnce(name + " /XStep", "is 0 or unusable: the /BBox width is used");
    cell.x_step = cell.x1 - cell.x0;
  }
  if (cell.y_step == 0.0 || !Finite(cell.y_step)) {
    WarnOnce(name + " /YStep", "is 0 or unusable: the /BBox height is used");
    cell.y_step = cell.y1 - cell.y0;
  }

  Matrix space = color.pattern_base;
  if (auto matrix = ReadMatrix(dictionary.getKey("/Matrix"))) space = Morv::Compose(space, *matrix);
  Matrix inverse;
  try {
    inverse = space.Inverse();
  } catch (const Morv::SingularTransformationError&) {
    return WarnOnce(name, "has a singular /Matrix: not drawn");
  }
  const Morv::MilliPointRectangle visible = VisibleBox(area.world_box);
  if (!(visible.Width() > 0.0) || !(visible.Height() > 0.0)) return;
  const Morv::MilliPointRectangle in_pattern = Morv::TransformedBoundingBox(inverse, visible);
  const auto [i0, i1] =
      CellRange(cell.x0, cell.x1, cell.x_step, in_pattern.X(), in_pattern.X() + in_pattern.Width());
  const auto [j0, j1] = CellRange(cell.y0, cell.y1, cell.y_step, in_pattern.Y(),
                                  in_pattern.Y() + in_pattern.Height());

  // The cell's content, decoded (and counted against the page's content budget)
  // once per page however often the pattern paints.
  std::shared_ptr<const PatternCell> content;
  if (auto found = cells_.find(id); found != cells_.end() && id.isIndirect()) {
    content = found->second;
  } else {
    std::string read;
    if (!ReadContent(pattern, name, read)) return;
    auto made = std::make_shared<PatternCell>();
    made->operators = PaintingOperators(read);
    made->data = std::move(read);
    content = made;
    if (id.isIndirect()) cells_.emplace(id, std::move(made));
  }
  const std::string& data = content->data;
  const double cells = (i1 - i0 + 1.0) * (j1 - j0 + 1.0);
  const double cost = cells * static_cast<double>(std::max<std::size_t>(content->operators, 1));
  // Every cell is a placement too: leave half the page's placements to the rest.
  const double placements_left =
      static_cast<double>(context_.limits.max_placements - placements_) / 2.0;
  const ImportLimits& limits = context_.limits;
  const bool as_cell = !Finite(cost) || cost > static_cast<double>(limits.max_tile_objects) ||
                       tile_objects_ + cost > static_cast<double>(limits.max_page_tile_objects) ||
                       cells > placements_left;
  if (as_cell && !TileableAsCell(cell, space, content->operators, limits, page_box_)) {
    return PaintTiledFlat(color, stroke, area, data, cell.uncoloured, name, cells);
  }

  // The area's own transparency applies to the pattern as a whole: its group
  // carries it, and the cells start opaque.
  const float alpha = stroke ? gs.stroke_alpha : gs.fill_alpha;
  std::shared_ptr<const QorBlend::Transparency> transparency;
  if (gs.blend_mode == QorBlend::kNormal && gs.non_separable == QorBlend::kSeparable &&
      alpha > 0.99999f && !gs.soft_mask && gs.knockout == 0) {
    transparency = QorBlend::Transparency::Opaque();
  } else {
    auto group = std::make_shared<QorBlend::Transparency>(gs.blend_mode, alpha, alpha,
                                                          gs.alpha_is_shape ? 1 : 0);
    group->SetSoftMask(gs.soft_mask);
    group->SetNonSeparableMode(gs.non_separable);
    group->SetGroupFlags(0, 0);
    transparency = std::move(group);
  }
  GraphicsState initial;
  initial.fill.space = context_.colors.DeviceGray();
  initial.fill.components = initial.fill.space->InitialColor();
  if (cell.uncoloured) {
    // The colour given with the pattern, through the pattern space's underlying space.
    initial.fill.space = color.space ? color.space->Underlying() : nullptr;
    if (!initial.fill.space) {
      return WarnOnce(name,
                      "is uncoloured but its colour space has no underlying space: "
                      "not drawn");
    }
    initial.fill.components = color.components;
    initial.color_locked = true;
  }
  initial.stroke = initial.fill;
  initial.fill_overprint = initial.stroke_overprint =
      stroke ? gs.stroke_overprint : gs.fill_overprint;
  initial.overprint_mode = gs.overprint_mode;
  QPDFObjectHandle resources = dictionary.getKey("/Resources");
  if (!resources.isDictionary()) resources = f.resources;
  const auto cell_box = Morv::PathBuilder()
                            .Rectangle(cell.x0, cell.y0, cell.x1 - cell.x0, cell.y1 - cell.y0)
                            .BuildShared();
  if (as_cell) {
    return PaintTiledCell(color, stroke, area, cell, space, initial, resources, *content);
  }

  // The page's tiling budget holds the larger of the estimate and what is made.
  const double budget_before = tile_objects_;
  tile_objects_ += cost;
  QorDoc::Content& members = context_.builder.AddContent();
  area.add_clip(members);
  context_.builder.AddGroup(*gs.target, members, Matrix{}, std::move(transparency));

  // The estimate counts a form or a nested pattern in the cell as one object; what
  // the cells really make is watched too.
  const std::size_t objects_before = objects_;
  for (double j = j0; j <= j1; ++j) {
    for (double i = i0; i <= i1; ++i) {
      const std::size_t made = objects_ - objects_before;
      tile_objects_ = std::max(tile_objects_, budget_before + static_cast<double>(made));
      if (made > limits.max_cell_objects ||
          tile_objects_ > static_cast<double>(limits.max_page_tile_objects)) {
        return WarnOnce(name + " cells", "make more than " +
                                             std::to_string(limits.max_cell_objects) +
                                             " objects in one area or too many on the page: "
                                             "the remaining cells are not drawn");
      }
      if (!PlaceNested(pattern, name)) return;
      GraphicsState state = initial;
      state.ctm = Morv::Compose(space, Matrix::Translation(i * cell.x_step, j * cell.y_step));
      QorDoc::Content& clipped = context_.builder.AddContent();
      context_.builder.AddPath(clipped, cell_box, {}, state.ctm, true);
      context_.builder.AddGroup(members, clipped, Matrix{}, QorBlend::Transparency::Opaque());
      state.target = &clipped;
      running_.push_back(id);
      RunStream(data, name, resources, std::move(state));
      running_.pop_back();
    }
  }
}

void ContentInterpreter::PaintTiledCell(const ColorState& color, bool stroke, const TiledArea& area,
                                        const TilingCell& cell, const Matrix& space,
                                        const GraphicsState& initial, QPDFObjectHandle resources,
                                        const PatternCell& content) {
  QPDFObjectHandle pattern = color.tiling_pattern;
  const std::string name = "tiling pattern /" + color.pattern_name;
  if (!PlaceNested(pattern, name)) return;
  tile_objects_ += static_cast<double>(std::max<std::size_t>(content.operators, 1));

  // The cell at offset (0, 0), clipped to /BBox, in the page's coordinates like any
  // cell; the page box does not cut it, as its copies may lie anywhere.
  QorDoc::Content& members = context_.builder.AddContent();
  const auto cell_box = Morv::PathBuilder()
                            .Rectangle(cell.x0, cell.y0, cell.x1 - cell.x0, cell.y1 - cell.y0)
                            .BuildShared();
  context_.builder.AddPath(members, cell_box, {}, space, true);
  GraphicsState state = initial;
  state.ctm = space;
  state.target = &members;
  const Morv::MilliPointRectangle page_box = page_box_;
  page_box_ = Morv::MilliPointRectangle(0.0, 0.0, 0.0, 0.0);
  running_.push_back(pattern.getObjGen());
  RunStream(content.data, name, resources, std::move(state));
  running_.pop_back();
  page_box_ = page_box;

  std::optional<QorColor::Color> colour;
  if (cell.uncoloured) {
    if (const auto flat = std::dynamic_pointer_cast<const QorPaint::FlatPaint>(
            PaintOf(initial.fill, initial.fill_overprint))) {
      colour = flat->GetColor();
    }
  }
  FillTiledArea(
      std::make_shared<const QorPaint::TilingPaint>(
          &members, space, cell.x_step, cell.y_step,
          Morv::MilliPointRectangle(cell.x0, cell.y0, cell.x1 - cell.x0, cell.y1 - cell.y0),
          std::move(colour)),
      stroke, area);
}

void ContentInterpreter::PaintTiledFlat(const ColorState& color, bool stroke, const TiledArea& area,
                                        const std::string& data, bool uncoloured,
                                        const std::string& name, double cells) {
  ColorState flat;
  if (uncoloured) {
    flat.space = color.space ? color.space->Underlying() : nullptr;
    flat.components = color.components;
  } else {
    // A coloured cell: the first colour it sets, in a device space or a named
    // space of its resources.
    QPDFObjectHandle pattern = color.tiling_pattern;
    QPDFObjectHandle resources = pattern.getDict().getKey("/Resources");
    if (!resources.isDictionary()) resources = frame_->resources;
    std::shared_ptr<const ColorSpace> named;
    ContentReader reader(data, name);
    std::string_view op;
    std::vector<Operand> operands;
    while (!flat.space && reader.Next(op, operands)) {
      std::shared_ptr<const ColorSpace> space;
      if (op == "g" || op == "G") {
        space = context_.colors.DeviceGray();
      } else if (op == "rg" || op == "RG") {
        space = context_.colors.DeviceRGB();
      } else if (op == "k" || op == "K") {
        space = context_.colors.DeviceCMYK();
      } else if ((op == "cs" || op == "CS") && !operands.empty() && operands.back().IsName()) {
        named = context_.colors.Resolve(operands.back().ToObject(), resources, page_);
      } else if ((op == "sc" || op == "scn" || op == "SC" || op == "SCN") && named &&
                 named->Family() != ColorSpaceFamily::kPattern) {
        space = named;
      }
      if (!space || space->ComponentCount() == 0) continue;
      std::vector<double> values(space->ComponentCount());
      if (!TakeNumbers(operands, values.size(), values.data())) continue;
      flat.space = std::move(space);
      flat.components = std::move(values);
    }
  }
  char count[32];
  std::snprintf(count, sizeof count, "%.3g", cells);
  if (!flat.space) {
    return WarnOnce(name, std::string("would need ") + count +
                              " cells here and sets no colour to fill with: not drawn");
  }
  WarnOnce(name, std::string("would need ") + count + " cells here: filled flat with " +
                     (uncoloured ? "the pattern's colour" : "its cell's first colour"));
  const auto paint =
      PaintOf(flat, stroke ? frame_->gs.stroke_overprint : frame_->gs.fill_overprint);
  if (paint) FillTiledArea(paint, stroke, area);
}

void ContentInterpreter::FillTiledArea(std::shared_ptr<const QorPaint::Paint> paint, bool stroke,
                                       const TiledArea& area) {
  if (!CountObject()) return;
  const GraphicsState& gs = frame_->gs;
  QorDoc::Content& members = context_.builder.AddContent();
  area.add_clip(members);
  context_.builder.AddGroup(*gs.target, members, Matrix{}, gs.PlainGroupTransparency());
  QorDoc::Fillable::Painting painting;
  painting.fill = std::move(paint);
  painting.transparency = CurrentTransparency();
  if (stroke && gs.stroke_alpha != gs.fill_alpha) {
    // The rectangle is filled, so it carries the stroke's opacity as its fill's.
    auto t = std::make_shared<QorBlend::Transparency>(*painting.transparency);
    *t = QorBlend::Transparency(gs.blend_mode, gs.stroke_alpha, gs.stroke_alpha,
                                gs.alpha_is_shape ? 1 : 0);
    t->SetSoftMask(gs.soft_mask);
    t->SetNonSeparableMode(gs.non_separable);
    painting.transparency = std::move(t);
  }
  const Morv::MilliPointRectangle box = VisibleBox(area.world_box);
  context_.builder.AddPath(
      members,
      Morv::PathBuilder().Rectangle(box.X(), box.Y(), box.Width(), box.Height()).BuildShared(),
      std::move(painting), Matrix{});
}

}  // namespace QorPdf::internal
