// The content interpreter: runs a page's content streams (and the forms, Type3
// glyphs and soft-mask groups they call) and adds what they paint to the document
// model.
//
// Mapping of PDF onto the model:
// - every painted path, text string and image mask is one object whose own
//   transformation is the current transformation matrix (user space to world), so
//   the groups the interpreter makes all have the identity transformation;
// - a clip (W, W*, text render modes 4-7, a form's BBox) opens a new content: a
//   clipping object plus everything painted afterwards until the matching Q, as the
//   members of a group added where the clip happened. The model clips a content's
//   members; PDF clips what follows. This makes both mean the same;
// - a form XObject is a group; with /Group /S /Transparency it carries the group
//   flags and the blend mode, opacity and soft mask in force where it is painted;
// - marked content BDC /OC ... EMC and XObjects with /OC are layers.
//
// Invariants: never throws for bad content; everything skipped is reported to the
// warning list with the page, the operator or object and the reason. Recursion
// (forms, Type3 glyphs, soft masks) is bounded by ImportLimits::max_nesting and a
// stream never runs inside itself; paths are bounded by max_path_points. The page as
// a whole has a budget (ImportLimits): painted objects, placements of forms, glyph
// procedures and soft masks (each run counts, so shared objects drawn many times
// count many times), decoded content bytes and decoded image samples. Past any of them the
// interpreter stops the page at once and says why in Incomplete(): such a page must not be printed
// as if it were whole.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "color/color_space.h"
#include "content/content_reader.h"
#include "content/graphics_state.h"
#include "content/optional_content.h"
#include "font/font.h"
#include "image/picture_builder.h"
#include "qordoc/document.h"
#include "qorpaint/colorant_list.h"
#include "qpdf_headers.h"
#include "stream_data.h"
#include "warning_list.h"

namespace QorPdf::internal {

struct ImportLimits {
  std::size_t max_nesting = 64;           // forms, Type3 glyphs and soft masks inside each other
  std::size_t max_path_points = 1 << 22;  // points of one path
  std::size_t max_objects = 1 << 21;      // painted objects of one page
  std::size_t max_placements = 1 << 18;   // form, glyph procedure and soft-mask runs of one page
  std::size_t max_content_bytes = std::size_t{1} << 30;  // decoded content read for one page
  std::size_t max_image_bytes = std::size_t{1} << 30;    // decoded samples kept for one page
  // Tiling patterns: the objects one painted area may ask for (cells × the cell's
  // painting operators) before it is filled flat instead, the objects its cells may
  // really make before the rest are dropped, and all areas of a page together.
  std::size_t max_tile_objects = std::size_t{1} << 16;
  std::size_t max_cell_objects = std::size_t{1} << 18;
  std::size_t max_page_tile_objects = std::size_t{1} << 20;
};

// What an import keeps of content that the renderer may not draw yet.
struct ContentOptions {
  bool keep_soft_masks = true;
  bool keep_transparency_groups = true;
  bool draw_annotations = false;  // RunPage draws the printable annotations
  // World millipoints of the coarsest device pixel any render will use; 0: unknown,
  // images decode whole.
  double max_pixel_size = 0.0;
};

// A decoded image and where its picture lies within the unit square (all of it,
// unless the data ended early).
struct CachedPicture {
  std::shared_ptr<const QorImg::PaintedPicture> picture;
  Matrix within;
  SampleArea decoded;  // the part of the image whose samples are defined
};

struct PictureKey {
  QPDFObjGen object;
  bool overprint = false;
  std::array<const void*, 3> device_spaces{};  // see ContentInterpreter::DeviceSpace
  int intent = 1;                              // the image's rendering intent

  friend bool operator<(const PictureKey& a, const PictureKey& b) {
    return std::tie(a.object, a.overprint, a.device_spaces, a.intent) <
           std::tie(b.object, b.overprint, b.device_spaces, b.intent);
  }
};

// Document-wide services shared by the pages of one import.
struct ImportContext {
  QPDF& pdf;
  WarningList& warnings;
  ColorContext& colors;
  FontCache& fonts;
  OptionalContent& optional_content;
  QorDoc::DocumentBuilder& builder;
  ImportLimits limits;
  ContentOptions options;
  // Image XObjects decoded so far, by object, fill overprint, the spaces that stand
  // for the device spaces and rendering intent (failures too, so each is reported once).
  std::map<PictureKey, CachedPicture> pictures;
  // The colorant lists of the document's flat paints, each made once.
  QorPaint::ColorantLists colorants;
};

// The cell geometry of a tiling pattern, in pattern space.
struct TilingCell {
  double x0 = 0.0, y0 = 0.0, x1 = 0.0, y1 = 0.0;  // /BBox, normalised
  double x_step = 0.0;
  double y_step = 0.0;
  bool uncoloured = false;
};

class ContentInterpreter {
 public:
  ContentInterpreter(ImportContext& context, std::size_t page_index);
  ~ContentInterpreter();

  // Runs the page's content into `content`; `base` maps default user space to world
  // coordinates.
  // `visible` is the page's displayed area in world coordinates (none when empty):
  // tiling patterns make no cells outside it.
  void RunPage(QPDFObjectHandle page, QorDoc::Content& content, const Matrix& base,
               const Morv::MilliPointRectangle& visible = {});

  // The fonts the page selected with Tf, in order of first use.
  const std::vector<std::shared_ptr<Font>>& FontsUsed() const { return fonts_used_; }

  // What the page holds that was not drawn, by feature, with how often each was met,
  // in order of first meeting.
  const std::vector<std::pair<std::string, std::size_t>>& NotRenderedFeatures() const {
    return not_rendered_;
  }

  // Why the page was stopped before its end (a budget of ImportLimits passed, a
  // content stream too large), or empty when it was read in full.
  const std::string& Incomplete() const { return incomplete_; }

 private:
  struct Frame;

  // The paths one run of a stream made, in order (see stream_paths_).
  using StreamPaths = std::vector<std::shared_ptr<const Morv::Compound>>;

  // Runs one content stream with its own graphics-state stack, starting from
  // `initial`. Depth counts nested forms, glyphs and masks. With `paths`, the run
  // records its paths there when it is empty, and otherwise takes each path from it
  // that it builds the same.
  void RunStream(std::string data, const std::string& description, QPDFObjectHandle resources,
                 GraphicsState initial, StreamPaths* paths = nullptr);
  // PDF's initial graphics state (black in DeviceGray, nothing else set), drawing
  // into `target` under `ctm`: a page's, an annotation's, a soft mask's.
  GraphicsState InitialState(const Matrix& ctm, QorDoc::Content& target) const;
  // The page's printable annotations (annotations.cpp), over `content`.
  void RunAnnotations(QPDFObjectHandle page, QorDoc::Content& content, const Matrix& base);
  void RunAnnotation(QPDFObjectHandle annot, int index, QorDoc::Content& content);
  // Before a form, glyph procedure or soft-mask group runs: counts the placement
  // and refuses a stream that is already running (it would draw itself forever).
  bool PlaceNested(QPDFObjectHandle stream, const std::string& description);
  // Then decodes it within the content limits and runs it.
  void RunNested(QPDFObjectHandle stream, const std::string& description,
                 QPDFObjectHandle resources, GraphicsState initial);
  // Appends the stream's decoded content to `data`; false when it could not be read
  // (reported) or the page had to stop.
  bool ReadContent(QPDFObjectHandle stream, const std::string& description, std::string& data);
  // Adds decoded content to the page's total; false (the page stopped) past the
  // budget.
  bool CountContent(std::size_t bytes);
  // Adds decoded image samples the page keeps (before they are allocated); false
  // (the page stopped) past the budget. Every image and image mask counts.
  bool CountImageBytes(std::size_t bytes);
  // Stops the page: nothing more is read or added. Reported once.
  void StopPage(const std::string& reason);
  void Execute(std::string_view op, std::vector<Operand>& operands);

  // Graphics state.
  void Save();
  void Restore();
  void Concatenate(const std::vector<Operand>& operands);
  void SetExtGState(const std::vector<Operand>& operands);
  void ApplyExtGState(QPDFObjectHandle dictionary);
  void SetDash(const std::vector<Operand>& operands);
  // Kept in the graphics state once made: every painted object asks.
  const std::shared_ptr<const QorBlend::Transparency>& CurrentTransparency() const;
  std::shared_ptr<const QorBlend::SoftMask> ReadSoftMask(QPDFObjectHandle mask);

  // Paths.
  void PathOperator(std::string_view op, const std::vector<Operand>& operands);
  void Paint(bool fill, bool stroke, std::uint32_t fill_rule, bool close);
  std::shared_ptr<const Morv::Compound> TakePath(std::uint32_t rule);
  // Ends the current path for building or taking.
  void EndPath();
  // Paints the current path flat or shaded as one object (not tiled, no glyph clip);
  // returns its compound when `keep` (for a clip by the same path).
  std::shared_ptr<const Morv::Compound> PaintPath(bool fill, bool stroke, std::uint32_t rule,
                                                  bool keep);
  // Not const: a shading pattern with its own graphics state paints under it.
  QorDoc::Fillable::Painting MakePainting(bool fill, bool stroke);
  // The painting from the graphics state as it stands.
  QorDoc::Fillable::Painting PaintingInState(bool fill, bool stroke) const;
  void Clip(std::shared_ptr<const Morv::Compound> compound, const Matrix& t);
  void ClipToTexts(std::vector<std::shared_ptr<const QorDoc::Text>> texts);
  // Adds the clip's scope to the current target and makes its content the target.
  void OpenClipScope(std::shared_ptr<const ClipRecord> record);
  bool CountObject();

  // Colour.
  void ColorOperator(std::string_view op, const std::vector<Operand>& operands);
  std::shared_ptr<const QorPaint::Paint> PaintOf(const ColorState& color, bool overprint) const;
  // The flat paint of a colour that is not a pattern, made now for the caller to place;
  // marks the colour's paint made and leaves the cache empty for the caller to fill.
  // Nothing when the colour paints nothing.
  std::optional<QorPaint::FlatPaint> NewFlatPaint(const ColorState& color, bool overprint) const;
  // The space a device family stands for in the current stream: the Default space of
  // its resources, else of the streams around it, else the device space.
  // Const: the answers are kept in the frames, which the interpreter points to.
  const std::shared_ptr<const ColorSpace>& DeviceSpace(ColorSpaceFamily family) const;
  // `space` resolved from `object` (a colour space operand or an image's /ColorSpace),
  // with a device space replaced by DeviceSpace.
  std::shared_ptr<const ColorSpace> WithDefault(std::shared_ptr<const ColorSpace> space,
                                                QPDFObjectHandle object) const;
  // WithDefault as the shading reader takes it.
  std::function<std::shared_ptr<const ColorSpace>(std::shared_ptr<const ColorSpace>,
                                                  QPDFObjectHandle)>
  DefaultsOf() const;

  // Shadings: sh, and the shading pattern a colour names.
  void PaintShading(const std::vector<Operand>& operands);
  std::shared_ptr<const QorPaint::Paint> ShadingPatternPaint(const ColorState& color,
                                                             bool overprint) const;
  // The pattern's space: the stream's default space then its /Matrix.
  static Matrix ShadingPatternPlacement(const ColorState& color);
  static bool HasPatternState(const ColorState& color);
  // Whether a fill or stroke in this colour must be an object of its own, apart from
  // the other: a tiling pattern, or a shading pattern with its own /ExtGState. Asked
  // for every painted object: a plain colour answers inline.
  static bool PaintedApart(const ColorState& color) {
    return color.pattern && (IsTiled(color) || HasPatternState(color));
  }
  // The painting of a fill or (`stroking`) a stroke whose shading pattern has an
  // /ExtGState, made with the pattern's parameters in force; none otherwise.
  std::optional<QorDoc::Fillable::Painting> ShadingPatternPainting(bool stroking);

  struct PatternCell {
    std::string data;           // decoded content
    std::size_t operators = 0;  // painting operators in it
  };
  // Tiling patterns (tiling_patterns.cpp). An area painted with one: `add_clip`
  // adds it as the clipping object of a content, `world_box` bounds it.
  struct TiledArea {
    std::function<void(QorDoc::Content&)> add_clip;
    Morv::MilliPointRectangle world_box;
  };
  static bool IsTiled(const ColorState& color);
  // Fills or strokes the area with copies of the pattern's cell (see the file).
  void PaintTiled(const ColorState& color, bool stroke, const TiledArea& area);
  // The same for an area given as an outline (filled non-zero or by its own rule)
  // placed by `t`.
  void PaintTiledOutline(const ColorState& color, bool stroke,
                         std::shared_ptr<const Morv::Compound> area, const Matrix& t);
  // Past the cell limits: the area filled once with a tiling paint whose cell is the
  // pattern's content run once, placed at lattice offset (0, 0).
  void PaintTiledCell(const ColorState& color, bool stroke, const TiledArea& area,
                      const TilingCell& cell, const Matrix& space, const GraphicsState& initial,
                      QPDFObjectHandle resources, const PatternCell& content);
  // The area filled with `paint` as one object under the area's clip, carrying the
  // fill's or the stroke's opacity.
  void FillTiledArea(std::shared_ptr<const QorPaint::Paint> paint, bool stroke,
                     const TiledArea& area);
  // Where a tiling paint cannot stand in: the area in one flat colour, with a warning.
  void PaintTiledFlat(const ColorState& color, bool stroke, const TiledArea& area,
                      const std::string& data, bool uncoloured, const std::string& name,
                      double cells);
  // `area` cut by the page and the path clips in force.
  Morv::MilliPointRectangle VisibleBox(const Morv::MilliPointRectangle& area) const;
  // The outline a stroke of `style` paints, in the compound's space placed by `t`.
  std::shared_ptr<const Morv::Compound> StrokeOutline(const Morv::Compound& compound,
                                                      const QorDoc::StrokeStyle& style,
                                                      const Matrix& t) const;
  // A path painted with a tiling pattern for its fill, its stroke or both.
  void PaintPathTiled(const std::shared_ptr<const Morv::Compound>& compound, bool fill,
                      bool stroke);

  // Text.
  void TextOperator(const std::string& op, std::vector<Operand>& operands);
  void ShowText(const std::vector<Operand>& operands, bool array);
  void ShowString(const std::string& bytes, std::vector<ShownGlyph>& glyphs,
                  std::vector<double>& positions, double& x);
  void EmitText(std::vector<ShownGlyph>& glyphs, std::vector<double>& positions,
                const Matrix& start);
  // `clip`: render modes 4-7, the glyph's shapes join the text clip; `paint`: the
  // glyph is drawn (every mode but 7).
  void ShowType3Glyph(const ShownGlyph& glyph, const Matrix& glyph_matrix, bool clip, bool paint);
  // While a Type3 glyph runs in a clipping mode: adds a shape it paints (in the
  // coordinates `t` maps to world) to that text's clip.
  void AddToGlyphClip(std::shared_ptr<const Morv::Compound> shape, const Matrix& t);
  // Text painted with a tiling pattern for its fill, its stroke or both.
  void PaintTextTiled(const std::vector<std::shared_ptr<const Morv::Compound>>& outlines,
                      const Matrix& own_to_user, const Matrix& own_to_world, bool fill,
                      bool stroke);
  void EndText();

  // XObjects and inline images.
  void DoXObject(const std::vector<Operand>& operands);
  void DoForm(QPDFObjectHandle form, const std::string& name);
  // Runs a form's content into initial.target, placed by its /Matrix after
  // initial.ctm and clipped to its /BBox; counts towards the nesting limit.
  void RunForm(QPDFObjectHandle form, GraphicsState initial, const std::string& name);
  // How many form placements running `form` makes, itself included, from its
  // content's Do operators alone (read once per form and page, without running
  // anything), saturating past the placement budget: forms that share forms can ask
  // for 2^40 placements in a few kilobytes, and this refuses them before the first.
  std::size_t FormPlacements(QPDFObjectHandle form, QPDFObjectHandle resources, std::size_t depth);
  // A form's content as FormPlacements decoded it, kept for the form's runs while the
  // page's kept bytes stay within kKeptFormBytes; null when not kept.
  const DecodedStream* KeptContent(QPDFObjectHandle stream) const;
  void DoImageMask(QPDFObjectHandle dictionary, const std::string& data, const std::string& name);
  // An image mask stream through the decoder its last filter needs.
  void DoImageMaskStream(QPDFObjectHandle stream, const std::string& name);
  void InlineImage(std::vector<Operand>& operands);
  // A sampled image; `stream` holds its (full-key) dictionary and data.
  void DoImage(QPDFObjectHandle stream, const std::string& name);
  // `area`: the part of the image renders can read (ImportOptions::max_pixel_size).
  CachedPicture ReadPicture(QPDFObjectHandle stream, const std::string& name,
                            const std::optional<SampleArea>& area = std::nullopt);
  // Decodes an image stream's samples within the page's image budget: the size its
  // dictionary promises is counted before decoding, and a decoder that finds more (a
  // JPEG larger than /Width and /Height say) may take only what the budget has left.
  // An image larger than the whole budget is refused (samples.problem says so). False
  // when the page stopped.
  bool ReadSamples(QPDFObjectHandle stream, std::size_t width, std::size_t height,
                   std::size_t components, std::size_t bits, ImageSamples& samples,
                   const std::optional<SampleArea>& area = std::nullopt);
  // The image's own /SMask or /Mask as a picture mask (none when it has neither);
  // undoes a soft mask's /Matte in `samples`.
  PictureMask ReadPictureMask(QPDFObjectHandle dictionary, ImageSamples& samples,
                              const std::string& name, const std::optional<SampleArea>& area);

  // Marked content and layers.
  void BeginMarkedContent(const std::vector<Operand>& operands, bool with_properties);
  void EndMarkedContent();

  // Reporting.
  void Warn(const std::string& subject, const std::string& reason);
  // Once per page and subject.
  void WarnOnce(const std::string& subject, const std::string& reason);
  // A feature not supported yet: one warning per page and feature.
  void Unsupported(const std::string& feature);
  // Counts something left out of the page (see NotRenderedFeatures).
  void NotRendered(const std::string& feature);
  // Reports `subject` skipped for `reason` and counts it as `feature`.
  void Skip(const std::string& feature, const std::string& subject, const std::string& reason);

  ImportContext& context_;
  std::size_t page_;
  Frame* frame_ = nullptr;
  std::size_t depth_ = 0;
  std::size_t objects_ = 0;
  std::size_t placements_ = 0;
  std::size_t content_bytes_ = 0;
  std::size_t image_bytes_ = 0;
  std::string incomplete_;
  std::vector<QPDFObjGen> running_;  // the nested streams being run, outermost first
  std::map<QPDFObjGen, std::size_t> form_placements_;  // FormPlacements' results
  // Form content decoded by FormPlacements, so that running a form (once or many
  // times) does not inflate it again: a plot's form of 60 000 marks placed twice was
  // decoded three times.
  static constexpr std::size_t kKeptFormBytes = std::size_t{16} << 20;
  std::map<QPDFObjGen, DecodedStream> kept_forms_;
  std::size_t kept_form_bytes_ = 0;
  // The paths of the first run of each nested stream: a later run of the same form or
  // glyph procedure (a plot's form placed twice, a Type3 glyph shown many times) takes
  // the very compound again where it builds one bit for bit the same, instead of
  // allocating another.
  std::map<QPDFObjGen, StreamPaths> stream_paths_;
  std::set<std::string> unsupported_reported_;
  Morv::MilliPointRectangle page_box_;  // the displayed page in world coordinates
  std::map<QPDFObjGen, std::shared_ptr<const PatternCell>> cells_;  // by tiling pattern
  double tile_objects_ = 0.0;  // objects tiling patterns made so far
  std::vector<std::pair<std::string, std::size_t>> not_rendered_;
  std::vector<std::shared_ptr<Font>> fonts_used_;
  // The mask groups (/SMask /G) whose content is being read: a mask that reaches
  // itself again is dropped there.
  std::vector<QPDFObjGen> masks_in_progress_;
  // The clip of the text object whose Type3 glyph is running in a clipping render
  // mode, or null; what the glyph paints is added to it (AddToGlyphClip).
  std::vector<std::shared_ptr<const QorDoc::Text>>* glyph_clip_ = nullptr;
};

}  // namespace QorPdf::internal
