// The interpreter's driver: running streams, dispatching operators, the graphics
// state operators (q Q cm w J j M d ri i gs), marked content and reporting. Paths,
// colour, text and XObjects have files of their own.
#include "content/interpreter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "content/interpreter_frame.h"
#include "stream_data.h"

namespace QorPdf::internal {
namespace {

// Operators have at most three characters: a packed key lets one switch dispatch.
constexpr std::uint32_t Key(std::string_view op) {
  if (op.size() > 3 || op.empty()) return 0;
  std::uint32_t key = static_cast<std::uint32_t>(op.size()) << 24;
  for (std::size_t i = 0; i < op.size(); ++i) {
    key |= static_cast<std::uint32_t>(static_cast<unsigned char>(op[i])) << (8 * i);
  }
  return key;
}

// Operators that build a path or set plain graphics state make no call into qpdf, so
// leave no file warnings to collect after them; the check is a call into qpdf, and
// these are most of the operators of a page of many objects.
// One-letter operators answer from a table: a search of the letters was a library
// call per operator.
constexpr std::array<bool, 256> MakeNoFileLetters() {
  std::array<bool, 256> letters{};
  for (const char c : std::string_view("mlcvyhWqQwJjMdi"))
    letters[static_cast<unsigned char>(c)] = true;
  return letters;
}

constexpr std::array<bool, 256> kNoFileLetters = MakeNoFileLetters();

bool CallsNoFile(std::string_view op) {
  if (op.size() == 1) return kNoFileLetters[static_cast<unsigned char>(op[0])];
  return op == "re" || op == "W*" || op == "cm";
}

}  // namespace

bool TakeNumbers(const std::vector<Operand>& operands, std::size_t count, double* out) {
  if (operands.size() < count) return false;
  const std::size_t first = operands.size() - count;
  for (std::size_t i = 0; i < count; ++i) {
    if (!operands[first + i].IsNumber()) return false;
    out[i] = operands[first + i].number;
  }
  return true;
}

std::optional<Matrix> ReadMatrix(QPDFObjectHandle array) {
  if (!array.isArray() || array.getArrayNItems() != 6) return std::nullopt;
  double m[6];
  for (int i = 0; i < 6; ++i) {
    QPDFObjectHandle item = array.getArrayItem(i);
    if (!item.isNumber()) return std::nullopt;
    m[i] = item.getNumericValue();
    if (!std::isfinite(m[i])) return std::nullopt;
  }
  return MatrixOf(m);
}

ContentInterpreter::ContentInterpreter(ImportContext& context, std::size_t page_index)
    : context_(context), page_(page_index) {}

ContentInterpreter::~ContentInterpreter() = default;

void ContentInterpreter::RunPage(QPDFObjectHandle page, QorDoc::Content& content,
                                 const Matrix& base, const Morv::MilliPointRectangle& visible) {
  page_box_ = visible;
  GraphicsState gs = InitialState(base, content);

  // A page group is isolated already; only its knockout flag needs a group.
  QPDFObjectHandle group = page.getKey("/Group");
  if (context_.options.keep_transparency_groups && group.isDictionary() &&
      group.getKey("/S").isNameAndEquals("/Transparency") && group.getKey("/K").isBool() &&
      group.getKey("/K").getBoolValue()) {
    auto knockout = std::make_shared<QorBlend::Transparency>();
    knockout->SetGroupFlags(1, 1);
    QorDoc::Content& members = context_.builder.AddContent();
    context_.builder.AddGroup(content, members, Matrix{}, std::move(knockout));
    gs.target = &members;
    gs.knockout = 1;
  }

  QPDFPageObjectHelper helper(page);
  QPDFObjectHandle resources = helper.getAttribute("/Resources", false);
  std::string data;
  try {
    for (QPDFObjectHandle stream : helper.getPageContents()) {
      if (!stream.isStream()) continue;
      if (!ReadContent(stream, "/Contents", data)) {
        if (!incomplete_.empty()) return;
        continue;
      }
    }
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    Warn("/Contents", std::string("content not fully read: ") + e.what());
  }
  context_.warnings.TakeFrom(context_.pdf, page_);
  RunStream(std::move(data), "page " + std::to_string(page_ + 1), resources, std::move(gs));
  if (context_.options.draw_annotations && incomplete_.empty()) {
    RunAnnotations(page, content, base);
  }
}

GraphicsState ContentInterpreter::InitialState(const Matrix& ctm, QorDoc::Content& target) const {
  GraphicsState gs;
  gs.ctm = ctm;
  gs.target = &target;
  gs.fill.space = context_.colors.DeviceGray();
  gs.fill.components = gs.fill.space->InitialColor();
  gs.stroke = gs.fill;
  return gs;
}

bool ContentInterpreter::ReadContent(QPDFObjectHandle stream, const std::string& description,
                                     std::string& data) {
  DecodedStream fresh;
  const DecodedStream* decoded = KeptContent(stream);
  if (decoded == nullptr) {
    try {
      fresh = DecodeStream(stream, kMaxContentBytes, qpdf_dl_generalized);
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& e) {
      Warn(description, std::string("content not readable: ") + e.what());
      return false;
    }
    decoded = &fresh;
  }
  if (decoded->truncated) {
    StopPage("a content stream (" + description + ") " + decoded->Excess(kMaxContentBytes));
    return false;
  }
  if (decoded->damaged) Warn(description, "content stream damaged: read as far as it decodes");
  if (!CountContent(decoded->data.size())) return false;
  if (data.empty() && decoded == &fresh) {
    // The usual single stream: taken over, not copied (6 MB on a page of 100 000
    // rectangles, each page of it touched once more).
    data = std::move(fresh.data);
  } else {
    // Streams of one page split only between tokens. Nothing follows the last one: a
    // byte more on a stream taken over would copy it into twice its size.
    if (!data.empty()) data.push_back('\n');
    data.append(decoded->data);
  }
  return true;
}

const DecodedStream* ContentInterpreter::KeptContent(QPDFObjectHandle stream) const {
  if (kept_forms_.empty()) return nullptr;
  const QPDFObjGen id = stream.getObjGen();
  if (!id.isIndirect()) return nullptr;
  const auto found = kept_forms_.find(id);
  return found != kept_forms_.end() ? &found->second : nullptr;
}

bool ContentInterpreter::CountImageBytes(std::size_t bytes) {
  if (!incomplete_.empty()) return false;
  image_bytes_ += bytes;
  if (image_bytes_ <= context_.limits.max_image_bytes) return true;
  StopPage("more than " + ByteSize(context_.limits.max_image_bytes) +
           " of decoded image samples (each placement keeps its own)");
  return false;
}

bool ContentInterpreter::CountContent(std::size_t bytes) {
  content_bytes_ += bytes;
  if (content_bytes_ <= context_.limits.max_content_bytes) return true;
  StopPage("more than " + ByteSize(context_.limits.max_content_bytes) +
           " of content to read (forms and glyph procedures count each time they are drawn)");
  return false;
}

bool ContentInterpreter::PlaceNested(QPDFObjectHandle stream, const std::string& description) {
  if (!incomplete_.empty()) return false;
  const QPDFObjGen id = stream.getObjGen();
  if (id.isIndirect() && std::find(running_.begin(), running_.end(), id) != running_.end()) {
    WarnOnce(description, "draws itself: the inner drawing is skipped");
    NotRendered(description + " drawing itself");
    return false;
  }
  if (placements_ >= context_.limits.max_placements) {
    StopPage("more than " + std::to_string(context_.limits.max_placements) +
             " placements of forms, glyph procedures and soft masks");
    return false;
  }
  ++placements_;
  return true;
}

void ContentInterpreter::RunNested(QPDFObjectHandle stream, const std::string& description,
                                   QPDFObjectHandle resources, GraphicsState initial) {
  std::string data;
  if (!ReadContent(stream, description, data)) return;
  const QPDFObjGen id = stream.getObjGen();
  running_.push_back(id);
  RunStream(std::move(data), description, resources, std::move(initial),
            id.isIndirect() ? &stream_paths_[id] : nullptr);
  running_.pop_back();
}

void ContentInterpreter::StopPage(const std::string& reason) {
  if (!incomplete_.empty()) return;
  incomplete_ = reason;
  Warn("page", reason + ": the page is incomplete");
}

void ContentInterpreter::RunStream(std::string data, const std::string& description,
                                   QPDFObjectHandle resources, GraphicsState initial,
                                   StreamPaths* paths) {
  Frame frame;
  frame.paths = paths;
  frame.paths_recording = paths != nullptr && paths->empty();
  frame.resources = resources.isDictionary() ? resources : QPDFObjectHandle::newDictionary();
  frame.gs = std::move(initial);
  frame.default_ctm = frame.gs.ctm;
  Frame* outer = frame_;
  frame.outer = outer;
  frame_ = &frame;
  ++depth_;

  ContentReader reader(std::move(data), description);
  std::string_view op;
  std::vector<Operand> operands;
  while (incomplete_.empty() && reader.Next(op, operands)) {
    try {
      Execute(op, operands);
    } catch (const std::bad_alloc&) {
      frame_ = outer;
      --depth_;
      throw;
    } catch (const std::exception& e) {
      Warn(std::string(op), e.what());
    }
    if (!CallsNoFile(op)) context_.warnings.TakeFrom(context_.pdf, page_);
  }
  for (const std::string& problem : reader.Problems())
    Warn(description, problem);
  if (frame.in_text) EndText();

  --depth_;
  frame_ = outer;
}

void ContentInterpreter::Execute(std::string_view op, std::vector<Operand>& operands) {
  Frame& f = *frame_;
  double v[6];
  switch (Key(op)) {
    // Graphics state.
    case Key("q"):
      return Save();
    case Key("Q"):
      return Restore();
    case Key("cm"):
      return Concatenate(operands);
    case Key("w"):
      if (TakeNumbers(operands, 1, v)) f.gs.stroke_style.width = std::fabs(v[0]);
      return;
    case Key("J"):
      if (TakeNumbers(operands, 1, v) && v[0] >= 0 && v[0] <= 2) {
        f.gs.stroke_style.cap = static_cast<Morv::LineCap>(static_cast<int>(v[0]));
      }
      return;
    case Key("j"):
      if (TakeNumbers(operands, 1, v) && v[0] >= 0 && v[0] <= 2) {
        f.gs.stroke_style.join = static_cast<Morv::LineJoin>(static_cast<int>(v[0]));
      }
      return;
    case Key("M"):
      if (TakeNumbers(operands, 1, v) && v[0] >= 1.0) f.gs.stroke_style.miterLimit = v[0];
      return;
    case Key("d"):
      return SetDash(operands);
    case Key("ri"):
      if (!operands.empty() && operands.back().IsName()) {
        f.gs.rendering_intent = RenderingIntentOf(operands.back().text);
      }
      return;
    case Key("i"):
      return;  // flatness: no effect on exact geometry
    case Key("gs"):
      return SetExtGState(operands);

    // Path construction and painting.
    case Key("m"):
    case Key("l"):
    case Key("c"):
    case Key("v"):
    case Key("y"):
    case Key("h"):
    case Key("re"):
      return PathOperator(op, operands);
    case Key("S"):
      return Paint(false, true, Morv::kNonZero, false);
    case Key("s"):
      return Paint(false, true, Morv::kNonZero, true);
    case Key("f"):
    case Key("F"):
      return Paint(true, false, Morv::kNonZero, false);
    case Key("f*"):
      return Paint(true, false, Morv::kEvenOdd, false);
    case Key("B"):
      return Paint(true, true, Morv::kNonZero, false);
    case Key("B*"):
      return Paint(true, true, Morv::kEvenOdd, false);
    case Key("b"):
      return Paint(true, true, Morv::kNonZero, true);
    case Key("b*"):
      return Paint(true, true, Morv::kEvenOdd, true);
    case Key("n"):
      return Paint(false, false, Morv::kNonZero, false);
    case Key("W"):
      f.pending_clip = Morv::kNonZero;
      return;
    case Key("W*"):
      f.pending_clip = Morv::kEvenOdd;
      return;

    // Colour.
    case Key("CS"):
    case Key("cs"):
    case Key("SC"):
    case Key("sc"):
    case Key("SCN"):
    case Key("scn"):
    case Key("G"):
    case Key("g"):
    case Key("RG"):
    case Key("rg"):
    case Key("K"):
    case Key("k"):
      return ColorOperator(op, operands);

    // Text.
    case Key("BT"):
    case Key("ET"):
    case Key("Tc"):
    case Key("Tw"):
    case Key("Tz"):
    case Key("TL"):
    case Key("Tf"):
    case Key("Tr"):
    case Key("Ts"):
    case Key("Td"):
    case Key("TD"):
    case Key("Tm"):
    case Key("T*"):
    case Key("Tj"):
    case Key("TJ"):
    case Key("'"):
    case Key("\""):
    case Key("d0"):
    case Key("d1"):
      return TextOperator(std::string(op), operands);

    // XObjects, inline images, shadings.
    case Key("Do"):
      return DoXObject(operands);
    case Key("BI"):
      return InlineImage(operands);
    case Key("sh"):
      return PaintShading(operands);

    // Marked content and compatibility sections.
    case Key("BMC"):
      return BeginMarkedContent(operands, false);
    case Key("BDC"):
      return BeginMarkedContent(operands, true);
    case Key("EMC"):
      return EndMarkedContent();
    case Key("MP"):
    case Key("DP"):
    case Key("BX"):
    case Key("EX"):
      return;
    default:
      WarnOnce(std::string(op), "unknown operator: skipped (reported once per page)");
  }
}

void ContentInterpreter::Save() {
  Frame& f = *frame_;
  constexpr std::size_t kMaxSavedStates = 4096;
  if (f.saved.size() >= kMaxSavedStates) {
    WarnOnce("q",
             "graphics states nested deeper than " + std::to_string(kMaxSavedStates) + ": ignored");
    return;
  }
  f.saved.push_back(f.gs);
}

void ContentInterpreter::Restore() {
  Frame& f = *frame_;
  if (f.saved.empty()) {
    WarnOnce("Q", "without a matching q: ignored");
    return;
  }
  f.gs = std::move(f.saved.back());
  f.saved.pop_back();
}

void ContentInterpreter::Concatenate(const std::vector<Operand>& operands) {
  double m[6];
  if (!TakeNumbers(operands, 6, m)) {
    Warn("cm", "needs six numbers");
    return;
  }
  frame_->gs.ctm = Morv::Compose(frame_->gs.ctm, MatrixOf(m));
}

void ContentInterpreter::SetDash(const std::vector<Operand>& operands) {
  if (operands.size() < 2 || !operands[operands.size() - 2].IsArray() ||
      !operands.back().IsNumber()) {
    Warn("d", "needs an array and a number");
    return;
  }
  Morv::DashPattern dash;
  double total = 0.0;
  for (const Operand& element : operands[operands.size() - 2].elements) {
    if (!element.IsNumber() || element.number < 0.0) {
      Warn("d", "dash lengths must be non-negative numbers");
      return;
    }
    dash.array.push_back(element.number);
    total += element.number;
  }
  // All-zero dashes draw nothing sensible; PDF readers draw such lines solid.
  if (total <= 0.0) dash.array.clear();
  dash.phase = operands.back().number;
  frame_->gs.stroke_style.dash = std::move(dash);
}

void ContentInterpreter::BeginMarkedContent(const std::vector<Operand>& operands,
                                            bool with_properties) {
  Frame& f = *frame_;
  Frame::Marked marked;
  const bool optional = with_properties && operands.size() >= 2 &&
                        operands[operands.size() - 2].IsName() &&
                        operands[operands.size() - 2].text == "OC";
  if (optional) {
    const Operand& properties = operands.back();
    QPDFObjectHandle object;
    if (properties.IsName()) {
      object = f.resources.getKey("/Properties").getKey("/" + properties.text);
    }
    std::optional<QorDoc::LayerExpression> expression;
    if (object.isDictionary()) {
      expression = context_.optional_content.ExpressionFor(object, page_);
    } else {
      Warn("BDC /OC", "properties " + properties.text + " not found: content kept visible");
    }
    if (expression) {
      QorDoc::Content& members = context_.builder.AddContent();
      context_.builder.AddLayer(*f.gs.target, members, std::move(*expression));
      marked.layer = true;
      marked.parent = f.gs.target;
      marked.saved_depth = f.saved.size();
      marked.clips = f.gs.clips;
      f.gs.target = &members;
    }
  }
  f.marked.push_back(std::move(marked));
}

void ContentInterpreter::EndMarkedContent() {
  Frame& f = *frame_;
  if (f.marked.empty()) {
    WarnOnce("EMC", "without a matching BMC or BDC: ignored");
    return;
  }
  const Frame::Marked marked = std::move(f.marked.back());
  f.marked.pop_back();
  if (!marked.layer) return;
  // A Q inside the layer that went back past its start has already left it.
  if (f.saved.size() < marked.saved_depth) return;
  // Clips applied inside the layer and still in force outlive it: apply them again
  // outside, oldest first.
  std::vector<std::shared_ptr<const ClipRecord>> inside;
  for (auto clip = f.gs.clips; clip && clip != marked.clips; clip = clip->previous)
    inside.push_back(clip);
  f.gs.target = marked.parent;
  f.gs.clips = marked.clips;
  for (auto it = inside.rbegin(); it != inside.rend(); ++it) {
    auto record = std::make_shared<ClipRecord>(**it);
    record->previous = f.gs.clips;
    OpenClipScope(std::move(record));
  }
}

void ContentInterpreter::Warn(const std::string& subject, const std::string& reason) {
  context_.warnings.Add(page_, subject, reason);
}

void ContentInterpreter::WarnOnce(const std::string& subject, const std::string& reason) {
  if (unsupported_reported_.insert(subject).second) Warn(subject, reason);
}

void ContentInterpreter::Unsupported(const std::string& feature) {
  WarnOnce(feature, "not supported yet: skipped (reported once per page)");
  NotRendered(feature);
}

void ContentInterpreter::Skip(const std::string& feature, const std::string& subject,
                              const std::string& reason) {
  Warn(subject, reason);
  NotRendered(feature);
}

void ContentInterpreter::NotRendered(const std::string& feature) {
  // A handful of features per page at most: a linear search is the cheapest.
  for (auto& [name, count] : not_rendered_) {
    if (name == feature) {
      ++count;
      return;
    }
  }
  not_rendered_.emplace_back(feature, 1);
}

bool ContentInterpreter::CountObject() {
  if (!incomplete_.empty()) return false;
  if (objects_ < context_.limits.max_objects) {
    ++objects_;
    return true;
  }
  StopPage("more than " + std::to_string(context_.limits.max_objects) + " objects");
  return false;
}

}  // namespace QorPdf::internal
