// The graphics state of the content interpreter: what q saves and Q restores.
//
// Matrices map user space to world coordinates (millipoints of the displayed page),
// so an object's transformation is simply the current one. Paints and the
// transparency are derived from colour, overprint and ExtGState values and cached
// here; every setter of their inputs clears the cache, so objects painted with an
// unchanged state share one paint and one transparency.
//
// Also saved and restored: the content that new objects go into. A clip opens a new
// content inside the current one (see ContentInterpreter::Clip), and Q returns to
// the content that was current at the matching q.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "color/color_space.h"
#include "font/font.h"
#include "morv/transformation.h"
#include "qorblend/transparency.h"
#include "qordoc/content.h"
#include "qorpaint/paint.h"

namespace QorPdf::internal {

using Matrix = Morv::MilliPointTransformation;

// A colour as set by the colour operators, with the paint made from it.
struct ColorState {
  std::shared_ptr<const ColorSpace> space;
  std::vector<double> components;
  bool pattern = false;  // a pattern was selected
  // The shading or tiling pattern selected (at most one is set), with the matrix of
  // the stream's default space then. A tiling pattern has no paint: the area it
  // paints receives copies of its cell (see tiling_patterns.cpp).
  QPDFObjectHandle shading_pattern;
  QPDFObjectHandle tiling_pattern;
  std::string pattern_name;
  Matrix pattern_base;
  // Cached: the paint for the current overprint settings; null when not made yet.
  mutable std::shared_ptr<const QorPaint::Paint> paint;
  mutable bool paint_made = false;

  void Invalidate() {
    paint.reset();
    paint_made = false;
  }
};

// A clip in force, linked to the one before it: q copies one pointer, and the
// clips applied inside a scope can be found and applied again after it.
struct ClipRecord {
  std::shared_ptr<const ClipRecord> previous;
  std::shared_ptr<const Morv::Compound> path;              // a clipping path in user space, or
  std::vector<std::shared_ptr<const QorDoc::Text>> texts;  // clipping texts
  Matrix transformation;                                   // of the path
};

struct TextState {
  double char_spacing = 0.0;      // Tc
  double word_spacing = 0.0;      // Tw
  double horizontal_scale = 1.0;  // Tz / 100
  double leading = 0.0;           // TL
  std::shared_ptr<Font> font;     // Tf
  double font_size = 0.0;
  int render_mode = 0;  // Tr
  double rise = 0.0;    // Ts
};

// The rendering intent a name (without its slash) stands for; names PDF does not
// define mean relative colorimetric, as PDF says.
inline int RenderingIntentOf(const std::string& name) {
  if (name == "Perceptual") return 0;
  if (name == "Saturation") return 2;
  if (name == "AbsoluteColorimetric") return 3;
  return 1;
}

struct GraphicsState {
  Matrix ctm;
  QorDoc::StrokeStyle stroke_style;  // widths and dashes in user-space units
  ColorState fill;
  ColorState stroke;

  bool stroke_overprint = false;  // OP
  bool fill_overprint = false;    // op
  int overprint_mode = 0;         // OPM
  // ri, /RI: how images' colorimetric samples convert (a QorImg::RenderingIntent).
  int rendering_intent = 1;

  QorBlend::BlendMode blend_mode = QorBlend::kNormal;
  QorBlend::NonSeparableMode non_separable = QorBlend::kSeparable;
  float fill_alpha = 1.0f;    // ca
  float stroke_alpha = 1.0f;  // CA
  bool alpha_is_shape = false;
  std::shared_ptr<const QorBlend::SoftMask> soft_mask;
  // Cached: the transparency for the values above; null when not made yet.
  mutable std::shared_ptr<const QorBlend::Transparency> transparency;

  TextState text;

  QorDoc::Content* target = nullptr;        // where painted objects go
  std::shared_ptr<const ClipRecord> clips;  // newest first; null for none
  // The knockout flag of the transparency group being read (0 outside any).
  std::uint8_t knockout = 0;
  // Inside the cell of an uncoloured tiling pattern: the colour is the pattern's and
  // colour operators are ignored.
  bool color_locked = false;

  void InvalidatePaints() {
    fill.Invalidate();
    stroke.Invalidate();
  }

  // The transparency of a group the importer makes (clip scopes, plain forms): it
  // must not be a group of its own for compositing, so it takes the knockout flag of
  // the level it lies in and the renderer draws its members as that level's.
  std::shared_ptr<const QorBlend::Transparency> PlainGroupTransparency() const {
    if (knockout == 0) return QorBlend::Transparency::Opaque();
    static const auto in_knockout = [] {
      auto t = std::make_shared<QorBlend::Transparency>();
      t->SetGroupFlags(0, 1);
      return std::shared_ptr<const QorBlend::Transparency>(std::move(t));
    }();
    return in_knockout;
  }
};

}  // namespace QorPdf::internal
