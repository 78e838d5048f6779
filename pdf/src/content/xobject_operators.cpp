// XObjects (Do) and inline images (BI ID EI): forms as groups, transparency groups
// with their flags, image masks as ImageMask objects, sampled images as Image
// objects (image_operators.cpp), optional content on XObjects as layers.
//
// Image masks: the model marks painted samples with a set bit. In PDF a sample of 0
// paints under the default /Decode [0 1], so samples are inverted unless /Decode is
// [1 0].
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "content/interpreter_frame.h"
#include "image/image_samples.h"
#include "image/mask_outline.h"
#include "qorimg/picture_buffer.h"
#include "stream_data.h"

namespace QorPdf::internal {
namespace {

// What not_rendered counts an image mask that cannot be drawn as.
constexpr const char* kUnreadableMask = "image mask that could not be read";

// A glyph's image mask clips by at most this many rectangles (a 256 x 256 checker).
constexpr std::size_t kMaxGlyphMaskRectangles = 32768;

// Image masks larger than this are refused: 2^32 one-bit samples.
constexpr std::size_t kMaxMaskBytes = std::size_t{1} << 29;

// The bytes an image mask's samples fill, the most its data is decoded to; 0 when
// /Width or /Height is unusable (DoImageMask says why).
std::size_t MaskDataLimit(QPDFObjectHandle dictionary) {
  QPDFObjectHandle width = dictionary.getKey("/Width");
  QPDFObjectHandle height = dictionary.getKey("/Height");
  if (!width.isInteger() || !height.isInteger() || width.getIntValue() <= 0 ||
      height.getIntValue() <= 0) {
    return 0;
  }
  return ImageBytes(static_cast<std::size_t>(width.getIntValue()),
                    static_cast<std::size_t>(height.getIntValue()), 1, 1, kMaxMaskBytes)
      .value_or(0);
}

// The mask bits of a JPEG mask's decoded rows (the first component of each sample):
// a sample is 1 from half its range up, as a 1-bit sample would have been before
// lossy compression blurred it.
std::string MaskBitsOfGrey(const ImageSamples& samples) {
  const std::size_t row_bytes = (samples.width + 7) / 8;
  std::string bits(row_bytes * samples.rows_decoded, '\0');
  for (std::size_t row = 0; row < samples.rows_decoded; ++row) {
    const std::uint8_t* in = samples.data.data() + row * samples.row_bytes;
    for (std::size_t x = 0; x < samples.width; ++x) {
      if (in[x * samples.components] >= 128) {
        bits[row * row_bytes + x / 8] |= static_cast<char>(0x80u >> (x % 8));
      }
    }
  }
  return bits;
}

// Inline images abbreviate their keys and filter names.
std::string FullKey(const std::string& key) {
  static constexpr const char* kKeys[][2] = {{"BPC", "BitsPerComponent"},
                                             {"CS", "ColorSpace"},
                                             {"D", "Decode"},
                                             {"DP", "DecodeParms"},
                                             {"F", "Filter"},
                                             {"H", "Height"},
                                             {"IM", "ImageMask"},
                                             {"I", "Interpolate"},
                                             {"W", "Width"},
                                             {"L", "Length"}};
  for (const auto& entry : kKeys) {
    if (key == entry[0]) return entry[1];
  }
  return key;
}

std::string FullFilter(const std::string& name) {
  static constexpr const char* kFilters[][2] = {
      {"AHx", "ASCIIHexDecode"}, {"A85", "ASCII85Decode"},  {"LZW", "LZWDecode"},
      {"Fl", "FlateDecode"},     {"RL", "RunLengthDecode"}, {"CCF", "CCITTFaxDecode"},
      {"DCT", "DCTDecode"},      {"G", "DeviceGray"},       {"RGB", "DeviceRGB"},
      {"CMYK", "DeviceCMYK"},    {"I", "Indexed"}};
  for (const auto& entry : kFilters) {
    if (name == entry[0]) return entry[1];
  }
  return name;
}

Operand ExpandFilters(Operand value) {
  if (value.IsName()) value.text = FullFilter(value.text);
  for (Operand& element : value.elements) {
    if (element.IsName()) element.text = FullFilter(element.text);
  }
  return value;
}

}  // namespace

void ContentInterpreter::DoXObject(const std::vector<Operand>& operands) {
  if (operands.empty() || !operands.back().IsName()) return Warn("Do", "needs a name");
  const std::string name = "Do /" + operands.back().text;
  QPDFObjectHandle xobject =
      frame_->resources.getKey("/XObject").getKey("/" + operands.back().text);
  if (!xobject.isStream()) return Skip("XObject not found", name, "XObject not found");
  QPDFObjectHandle dictionary = xobject.getDict();
  QPDFObjectHandle subtype = dictionary.getKey("/Subtype");

  // Optional content on the XObject: paint it inside a layer.
  GraphicsState& gs = frame_->gs;
  QorDoc::Content* const target = gs.target;
  QPDFObjectHandle oc = dictionary.getKey("/OC");
  if (!oc.isNull()) {
    if (auto expression = context_.optional_content.ExpressionFor(oc, page_)) {
      QorDoc::Content& members = context_.builder.AddContent();
      context_.builder.AddLayer(*target, members, std::move(*expression));
      gs.target = &members;
    }
  }

  if (subtype.isNameAndEquals("/Form")) {
    DoForm(xobject, name);
  } else if (subtype.isNameAndEquals("/Image")) {
    QPDFObjectHandle mask = dictionary.getKey("/ImageMask");
    if (mask.isBool() && mask.getBoolValue()) {
      DoImageMaskStream(xobject, name);
    } else {
      DoImage(xobject, name);
    }
  } else if (!subtype.isNameAndEquals("/PS")) {
    Warn(name, "XObject of unknown subtype: skipped");
  }
  frame_->gs.target = target;
}

void ContentInterpreter::DoForm(QPDFObjectHandle form, const std::string& name) {
  GraphicsState& gs = frame_->gs;
  QPDFObjectHandle group = form.getDict().getKey("/Group");
  const bool transparency_group =
      group.isDictionary() && group.getKey("/S").isNameAndEquals("/Transparency");

  QorDoc::Content& members = context_.builder.AddContent();
  GraphicsState initial = gs;
  initial.target = &members;
  initial.clips.reset();
  std::shared_ptr<const QorBlend::Transparency> transparency;
  if (transparency_group && context_.options.keep_transparency_groups) {
    auto group_transparency = std::make_shared<QorBlend::Transparency>(
        gs.blend_mode, gs.fill_alpha, gs.stroke_alpha, gs.alpha_is_shape ? 1 : 0);
    group_transparency->SetSoftMask(gs.soft_mask);
    group_transparency->SetNonSeparableMode(gs.non_separable);
    QPDFObjectHandle isolated = group.getKey("/I");
    QPDFObjectHandle knockout = group.getKey("/K");
    group_transparency->SetGroupFlags(isolated.isBool() && isolated.getBoolValue() ? 1 : 0,
                                      knockout.isBool() && knockout.getBoolValue() ? 1 : 0);
    transparency = std::move(group_transparency);
    initial.knockout = knockout.isBool() && knockout.getBoolValue() ? 1 : 0;
    // Inside the group everything starts opaque: the group as a whole carries them.
    initial.blend_mode = QorBlend::kNormal;
    initial.non_separable = QorBlend::kSeparable;
    initial.fill_alpha = 1.0f;
    initial.stroke_alpha = 1.0f;
    initial.alpha_is_shape = false;
    initial.soft_mask.reset();
    initial.transparency.reset();
  } else if (transparency_group) {
    Unsupported("transparency group (drawn as a plain group)");
  }
  if (!transparency) transparency = gs.PlainGroupTransparency();
  RunForm(form, std::move(initial), name);
  context_.builder.AddGroup(*gs.target, members, Matrix{}, std::move(transparency));
}

void ContentInterpreter::RunForm(QPDFObjectHandle form, GraphicsState initial,
                                 const std::string& name) {
  if (depth_ >= context_.limits.max_nesting) {
    return WarnOnce(name, "forms nested deeper than " +
                              std::to_string(context_.limits.max_nesting) + ": skipped");
  }
  if (!PlaceNested(form, name)) return;
  QPDFObjectHandle dictionary = form.getDict();
  QPDFObjectHandle resources = dictionary.getKey("/Resources");
  // Forms without resources of their own use those of the page, as readers allow.
  if (!resources.isDictionary()) resources = frame_->resources;
  if (placements_ - 1 + FormPlacements(form, resources, depth_) > context_.limits.max_placements) {
    return StopPage(name + " would make more than " +
                    std::to_string(context_.limits.max_placements) +
                    " placements of forms, glyph procedures and soft masks");
  }
  if (auto matrix = ReadMatrix(dictionary.getKey("/Matrix"))) {
    initial.ctm = Morv::Compose(initial.ctm, *matrix);
  }
  QPDFObjectHandle bbox = dictionary.getKey("/BBox");
  if (bbox.isRectangle()) {
    const QPDFObjectHandle::Rectangle r = bbox.getArrayAsRectangle();
    QorDoc::Content& clipped = context_.builder.AddContent();
    context_.builder.AddPath(
        clipped,
        Morv::PathBuilder().Rectangle(r.llx, r.lly, r.urx - r.llx, r.ury - r.lly).BuildShared(), {},
        initial.ctm, true);
    context_.builder.AddGroup(*initial.target, clipped, Matrix{}, initial.PlainGroupTransparency());
    initial.target = &clipped;
  }
  RunNested(form, name, resources, std::move(initial));
}

std::size_t ContentInterpreter::FormPlacements(QPDFObjectHandle form, QPDFObjectHandle resources,
                                               std::size_t depth) {
  const QPDFObjGen id = form.getObjGen();
  if (id.isIndirect()) {
    const auto [found, added] = form_placements_.emplace(id, 1);
    // Known, or being counted further up: a form inside itself is skipped when run.
    if (!added) return found->second;
  }
  const std::size_t ceiling = context_.limits.max_placements + 1;
  std::size_t count = 1;
  if (depth < context_.limits.max_nesting) {
    DecodedStream content;
    bool decoded = false;
    try {
      content = DecodeStream(form, kMaxContentBytes, qpdf_dl_generalized);
      decoded = true;
    } catch (const std::exception&) {
      // Reported when the form runs.
    }
    // Reading counts towards the page's content like running does, so that many
    // large forms cannot make the count itself the unbounded work.
    if (!CountContent(content.data.size())) return ceiling;
    // Runs of the form take the same result from here instead of decoding again.
    if (decoded && !content.truncated && id.isIndirect() &&
        content.data.size() <= kKeptFormBytes - kept_form_bytes_) {
      kept_form_bytes_ += content.data.size();
      kept_forms_.emplace(id, content);
    }
    // Without the two bytes "Do" anywhere the content places no form: a plot's
    // content of marks is not tokenised twice.
    if (content.data.find("Do") == std::string::npos) content.data.clear();
    QPDFObjectHandle xobjects = resources.getKey("/XObject");
    ContentReader reader(std::move(content.data), "form");
    std::string_view op;
    std::vector<Operand> operands;
    while (count < ceiling && reader.Next(op, operands)) {
      if (op != "Do" || operands.empty() || !operands.back().IsName()) continue;
      QPDFObjectHandle inner = xobjects.getKey("/" + operands.back().text);
      if (!inner.isStream() || !inner.getDict().getKey("/Subtype").isNameAndEquals("/Form")) {
        continue;
      }
      QPDFObjectHandle inner_resources = inner.getDict().getKey("/Resources");
      if (!inner_resources.isDictionary()) inner_resources = resources;
      count = std::min(ceiling, count + FormPlacements(inner, inner_resources, depth + 1));
    }
  }
  if (id.isIndirect()) form_placements_[id] = count;
  return count;
}

void ContentInterpreter::DoImageMask(QPDFObjectHandle dictionary, const std::string& data,
                                     const std::string& name) {
  QPDFObjectHandle width = dictionary.getKey("/Width");
  QPDFObjectHandle height = dictionary.getKey("/Height");
  if (!width.isInteger() || !height.isInteger() || width.getIntValue() <= 0 ||
      height.getIntValue() <= 0) {
    return Skip(kUnreadableMask, name, "image mask without a usable /Width and /Height");
  }
  const auto w = static_cast<std::size_t>(width.getIntValue());
  const auto h = static_cast<std::size_t>(height.getIntValue());
  if (!ImageBytes(w, h, 1, 1, kMaxMaskBytes)) {
    return Skip(kUnreadableMask, name, "image mask too large");
  }
  QPDFObjectHandle bits = dictionary.getKey("/BitsPerComponent");
  if (bits.isInteger() && bits.getIntValue() != 1) {
    return Skip(kUnreadableMask, name, "image mask with more than one bit per sample");
  }
  QPDFObjectHandle decode = dictionary.getKey("/Decode");
  const bool sample_one_paints = decode.isArray() && decode.getArrayNItems() >= 1 &&
                                 decode.getArrayItem(0).isNumber() &&
                                 decode.getArrayItem(0).getNumericValue() == 1.0;
  if (IsTiled(frame_->gs.fill)) Unsupported("image mask painted with a tiling pattern");
  const QorDoc::Fillable::Painting painting = MakePainting(true, false);
  if (!painting.fill || !CountObject() ||
      !CountImageBytes(*ImageBytes(w, h, 1, 1, kMaxMaskBytes))) {
    return;
  }

  auto mask = std::make_shared<QorImg::PictureBuffer>(w, h, 1);
  const std::size_t row_bytes = mask->GetRowStride();
  const std::size_t available = std::min(data.size(), row_bytes * h);
  if (available < row_bytes * h) {
    Warn(name, "image mask data short: missing rows left unpainted");
  }
  std::uint8_t* out = mask->GetBuffer();
  for (std::size_t i = 0; i < available; ++i) {
    const auto byte = static_cast<std::uint8_t>(data[i]);
    out[i] = sample_one_paints ? byte : static_cast<std::uint8_t>(~byte);
  }
  // Bits past the width in each row are padding; keep them clear.
  if (const std::size_t tail = w % 8; tail != 0) {
    const auto keep = static_cast<std::uint8_t>(0xFFu << (8 - tail));
    for (std::size_t row = 0; row < h; ++row)
      mask->GetRowPtr(row)[row_bytes - 1] &= keep;
  }
  // Rows the data did not reach stay unpainted.
  for (std::size_t i = available; i < row_bytes * h; ++i)
    out[i] = 0;
  if (glyph_clip_) {
    // A d1 glyph's mask clips by its painted samples; past the limit, by its square.
    auto outline = MaskOutline(*mask, kMaxGlyphMaskRectangles);
    if (!outline) WarnOnce(name + " in a clipping glyph", "too detailed: clips by its square");
    AddToGlyphClip(outline ? *outline : Morv::GetUnityPdfRectangleCompound(), frame_->gs.ctm);
  }
  context_.builder.AddImageMask(*frame_->gs.target, std::move(mask), painting, frame_->gs.ctm);
}

void ContentInterpreter::InlineImage(std::vector<Operand>& operands) {
  if (operands.empty() || !operands.back().IsString())
    return Warn("BI", "inline image without data");
  std::string data = std::move(operands.back().text);
  operands.pop_back();
  Operand dictionary;
  dictionary.kind = Operand::Kind::kDictionary;
  for (std::size_t i = 0; i + 1 < operands.size(); i += 2) {
    if (!operands[i].IsName()) continue;
    Operand key = operands[i];
    key.text = FullKey(key.text);
    const bool abbreviated = key.text == "Filter" || key.text == "ColorSpace";
    Operand value = abbreviated ? ExpandFilters(operands[i + 1]) : operands[i + 1];
    dictionary.elements.push_back(std::move(key));
    dictionary.elements.push_back(std::move(value));
  }
  QPDFObjectHandle dict = dictionary.ToObject();
  QPDFObjectHandle mask = dict.getKey("/ImageMask");
  if (!mask.isBool() || !mask.getBoolValue()) {
    QPDFObjectHandle stream = QPDFObjectHandle::newStream(&context_.pdf, data);
    stream.replaceDict(dict);
    return DoImage(stream, "inline image");
  }
  QPDFObjectHandle stream = QPDFObjectHandle::newStream(&context_.pdf, data);
  stream.replaceDict(dict);
  DoImageMaskStream(stream, "inline image");
}

void ContentInterpreter::DoImageMaskStream(QPDFObjectHandle stream, const std::string& name) {
  QPDFObjectHandle dictionary = stream.getDict();
  const std::string last = LastFilter(stream);
  std::string data;
  if (last == "/CCITTFaxDecode" || last == "/JBIG2Decode" || last == "/DCTDecode") {
    // The fax and JBIG2 decoders give 1-bit rows of the mask's width, the JPEG decoder
    // 8-bit grey ones.
    QPDFObjectHandle width = dictionary.getKey("/Width");
    QPDFObjectHandle height = dictionary.getKey("/Height");
    if (!width.isInteger() || !height.isInteger() || width.getIntValue() <= 0 ||
        height.getIntValue() <= 0) {
      return Skip(kUnreadableMask, name, "image mask without a usable /Width and /Height");
    }
    if (MaskDataLimit(dictionary) == 0) return Warn(name, "image mask too large");
    // The decoders' rows may be wider than the mask (a fax's /Columns); they are
    // copied into the mask, which DoImageMask counts.
    const ImageSamples samples =
        ReadImageSamples(stream, static_cast<std::size_t>(width.getIntValue()),
                         static_cast<std::size_t>(height.getIntValue()), 1, 1, kMaxMaskBytes);
    if (!samples.problem.empty()) Warn(name, samples.problem);
    if (samples.data.empty()) return;
    if (samples.width != static_cast<std::size_t>(width.getIntValue())) {
      return Skip(kUnreadableMask, name,
                  "image mask whose data is not as wide as the mask: skipped");
    }
    if (samples.bits == 8) {
      data = MaskBitsOfGrey(samples);
    } else {
      data.assign(samples.data.begin(),
                  samples.data.begin() +
                      static_cast<std::ptrdiff_t>(samples.rows_decoded * samples.row_bytes));
    }
  } else {
    try {
      data = DecodeStream(stream, MaskDataLimit(dictionary), qpdf_dl_specialized).data;
    } catch (const std::bad_alloc&) {
      throw;
    } catch (const std::exception& e) {
      return Unsupported("image mask with filter " + dictionary.getKey("/Filter").unparse());
    }
  }
  DoImageMask(dictionary, data, name);
}

}  // namespace QorPdf::internal
