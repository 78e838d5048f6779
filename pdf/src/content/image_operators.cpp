// Sampled images (XObjects and inline images) as Image objects with their pictures.
//
// The picture covers the unit square of the current transformation with row 0 at
// the top, as PDF places images. Samples are read within the image's dimensions;
// what could not be read is reported and the rest painted.
#include <algorithm>
#include <optional>
#include <utility>

#include "content/interpreter_frame.h"
#include "image/image_samples.h"
#include "image/picture_builder.h"
#include "stream_data.h"

namespace QorPdf::internal {
namespace {

// The first number of a /Decode array, or `otherwise`.
double FirstDecode(QPDFObjectHandle dictionary, double otherwise) {
  QPDFObjectHandle decode = dictionary.getKey("/Decode");
  if (decode.isArray() && decode.getArrayNItems() >= 2 && decode.getArrayItem(0).isNumber()) {
    return decode.getArrayItem(0).getNumericValue();
  }
  return otherwise;
}

// The image's own /Intent, else the graphics state's.
int ImageIntent(QPDFObjectHandle dictionary, int current) {
  QPDFObjectHandle intent = dictionary.getKey("/Intent");
  return intent.isName() ? RenderingIntentOf(intent.getName().substr(1)) : current;
}

}  // namespace

PictureMask ContentInterpreter::ReadPictureMask(QPDFObjectHandle dictionary, ImageSamples& samples,
                                                const std::string& name,
                                                const std::optional<SampleArea>& area) {
  PictureMask mask;
  QPDFObjectHandle smask = dictionary.getKey("/SMask");
  QPDFObjectHandle stencil = dictionary.getKey("/Mask");
  if (smask.isStream()) {
    // A soft-mask image: grey samples whose value is the opacity.
    QPDFObjectHandle d = smask.getDict();
    QPDFObjectHandle w = d.getKey("/Width"), h = d.getKey("/Height"),
                     b = d.getKey("/BitsPerComponent");
    if (!w.isInteger() || !h.isInteger() || w.getIntValue() <= 0 || h.getIntValue() <= 0) {
      Warn(name, "/SMask without a usable /Width and /Height: drawn unmasked");
      return mask;
    }
    const long long bits = b.isInteger() ? b.getIntValue() : 8;
    ImageSamples alpha;
    if (!ReadSamples(smask, static_cast<std::size_t>(w.getIntValue()),
                     static_cast<std::size_t>(h.getIntValue()), 1,
                     static_cast<std::size_t>(bits == 16 || bits <= 8 ? bits : 8), alpha, area)) {
      return mask;
    }
    mask.partial = alpha.partial;
    if (!alpha.problem.empty()) Warn(name + " /SMask", alpha.problem);
    if (alpha.data.empty() || alpha.components != 1) return mask;
    mask.data = MaskData(alpha);
    const double low = FirstDecode(d, 0.0);
    mask.decode = {static_cast<float>(low), static_cast<float>(1.0 - low)};
    UndoMatte(samples, *mask.data, d.getKey("/Matte"));
  } else if (stencil.isStream()) {
    // A stencil: set samples (under the default /Decode) are masked out.
    QPDFObjectHandle d = stencil.getDict();
    QPDFObjectHandle w = d.getKey("/Width"), h = d.getKey("/Height");
    if (!w.isInteger() || !h.isInteger() || w.getIntValue() <= 0 || h.getIntValue() <= 0) {
      Warn(name, "/Mask without a usable /Width and /Height: drawn unmasked");
      return mask;
    }
    ImageSamples bits;
    if (!ReadSamples(stencil, static_cast<std::size_t>(w.getIntValue()),
                     static_cast<std::size_t>(h.getIntValue()), 1, 1, bits)) {
      return mask;
    }
    if (!bits.problem.empty()) Warn(name + " /Mask", bits.problem);
    if (bits.data.empty()) return mask;
    mask.data = MaskData(bits);
    mask.decode = FirstDecode(d, 0.0) == 1.0 ? QorImg::DecodePair{0.0f, 1.0f}
                                             : QorImg::DecodePair{1.0f, 0.0f};
  } else if (stencil.isArray()) {
    mask.data = ColorKeyMask(samples, stencil);
    if (!mask.data) Warn(name, "unusable colour-key /Mask: drawn unmasked");
  } else if (!samples.alpha.empty()) {
    // A JPEG 2000 image's own alpha, which /SMaskInData 1 or 2 asks for.
    QPDFObjectHandle in_data = dictionary.getKey("/SMaskInData");
    if (in_data.isInteger() && in_data.getIntValue() != 0) {
      auto alpha = std::make_shared<QorImg::PictureBuffer>(samples.width, samples.height, 8);
      std::copy(samples.alpha.begin(), samples.alpha.end(), alpha->GetBuffer());
      mask.data = std::make_shared<QorImg::PictureData>(std::move(alpha), 1);
    }
  }
  return mask;
}

void ContentInterpreter::DoImage(QPDFObjectHandle stream, const std::string& name) {
  // With the coarsest pixel of the renders known, a JPEG decodes only what they can
  // read where the image is placed: inside the visible box (page box and clips). Not
  // inside a tiling cell made once for all its copies (no page box then): the copies
  // lie elsewhere.
  std::optional<SampleArea> area;
  const double pixel = context_.options.max_pixel_size;
  if (pixel > 0.0 && page_box_.Width() > 0.0 && page_box_.Height() > 0.0) {
    const Matrix placement = frame_->gs.ctm;
    area = ReadableArea(placement,
                        VisibleBox(Morv::TransformedBoundingBox(
                            placement, Morv::MilliPointRectangle(0.0, 0.0, 1.0, 1.0))),
                        pixel);
  }
  // An image XObject is decoded once per import and shared by all its placements. A
  // placement that reads beyond what was decoded decodes it again, whole: earlier
  // placements keep the picture they have.
  CachedPicture picture;
  if (stream.isIndirect()) {
    // Default spaces may differ between the streams that place one image.
    const PictureKey key{stream.getObjGen(),
                         frame_->gs.fill_overprint,
                         {DeviceSpace(ColorSpaceFamily::kDeviceGray).get(),
                          DeviceSpace(ColorSpaceFamily::kDeviceRGB).get(),
                          DeviceSpace(ColorSpaceFamily::kDeviceCMYK).get()},
                         ImageIntent(stream.getDict(), frame_->gs.rendering_intent)};
    const auto found = context_.pictures.find(key);
    if (found == context_.pictures.end()) {
      picture = ReadPicture(stream, name, area);
      context_.pictures.emplace(key, picture);
    } else if (area ? found->second.decoded.Contains(*area) : found->second.decoded.Whole()) {
      picture = found->second;
    } else {
      picture = ReadPicture(stream, name);
      found->second = picture;
    }
  } else {
    picture = ReadPicture(stream, name, area);
  }
  if (!picture.picture) return NotRendered("image that could not be read");
  // An image in a clipping glyph clips by its rectangle.
  if (glyph_clip_) {
    AddToGlyphClip(Morv::GetUnityPdfRectangleCompound(),
                   Morv::Compose(frame_->gs.ctm, picture.within));
  }
  if (!CountObject()) return;
  context_.builder.AddImage(*frame_->gs.target, picture.picture,
                            Morv::Compose(frame_->gs.ctm, picture.within), CurrentTransparency());
}

CachedPicture ContentInterpreter::ReadPicture(QPDFObjectHandle stream, const std::string& name,
                                              const std::optional<SampleArea>& area) {
  CachedPicture result;
  QPDFObjectHandle dictionary = stream.getDict();
  QPDFObjectHandle width = dictionary.getKey("/Width");
  QPDFObjectHandle height = dictionary.getKey("/Height");
  if (!width.isInteger() || !height.isInteger() || width.getIntValue() <= 0 ||
      height.getIntValue() <= 0) {
    Warn(name, "image without a usable /Width and /Height");
    return result;
  }
  // JPEG 2000 images may leave their colour space, depth and alpha to the stream.
  const bool jpx = LastFilter(stream) == "/JPXDecode";
  QPDFObjectHandle space_object = dictionary.getKey("/ColorSpace");
  if (space_object.isNull() && !jpx) {
    Warn(name, "image without /ColorSpace: skipped");
    return result;
  }
  std::shared_ptr<const ColorSpace> space =
      space_object.isNull()
          ? nullptr
          : WithDefault(context_.colors.Resolve(space_object, frame_->resources, page_),
                        space_object);
  QPDFObjectHandle bits_object = dictionary.getKey("/BitsPerComponent");
  const long long bits = jpx ? 8 : bits_object.isInteger() ? bits_object.getIntValue() : 8;
  if (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16) {
    Warn(name, "image with " + std::to_string(bits) + " bits per component: skipped");
    return result;
  }

  ImageSamples samples;
  if (!ReadSamples(stream, static_cast<std::size_t>(width.getIntValue()),
                   static_cast<std::size_t>(height.getIntValue()),
                   space ? space->ComponentCount() : 0, static_cast<std::size_t>(bits), samples,
                   area)) {
    return result;
  }
  if (!space && !samples.data.empty()) {
    space = DeviceSpace(samples.components == 1   ? ColorSpaceFamily::kDeviceGray
                        : samples.components == 3 ? ColorSpaceFamily::kDeviceRGB
                                                  : ColorSpaceFamily::kDeviceCMYK);
  }
  if (!samples.problem.empty()) Warn(name, samples.problem);
  if (samples.data.empty() || samples.rows_decoded == 0) return result;
  // Rows that did not decode stay unpainted: the picture shrinks to the rows that
  // did, over the top part of the unit square they occupy.
  if (samples.rows_decoded < samples.height) {
    const double kept = static_cast<double>(samples.rows_decoded) / samples.height;
    result.within = Matrix{1.0, 0.0, 0.0, kept, 0.0, 1.0 - kept};
    samples.height = samples.rows_decoded;
    samples.data.resize(samples.row_bytes * samples.height);
    samples.data.shrink_to_fit();  // the picture adopts the samples as they stand
  }
  // Adobe's CMYK JPEGs store inverted inks; a file that gives /Decode has already
  // said how to read them.
  QPDFObjectHandle decode = dictionary.getKey("/Decode");
  if (samples.adobe_inverted && !decode.isArray()) {
    decode = QPDFObjectHandle::parse("[1 0 1 0 1 0 1 0]");
  }
  std::string problem;
  const PictureMask mask = ReadPictureMask(dictionary, samples, name, area);
  if (samples.partial || mask.partial) result.decoded = *area;
  if (!incomplete_.empty()) return result;
  auto picture = BuildPicture(samples, space, decode, frame_->gs.fill_overprint,
                              ImageIntent(dictionary, frame_->gs.rendering_intent), mask, problem);
  if (!picture && !problem.empty()) Warn(name, problem);
  // Buffers rendering makes from the samples (inks of colorimetric samples, bytes of
  // 1-bit ones) are kept with the picture too.
  if (picture && !CountImageBytes(picture->GetPictureData()->Get8BitBufferBytes() +
                                  (mask.data ? mask.data->Get8BitBufferBytes() : 0))) {
    return result;
  }
  result.picture = std::move(picture);
  return result;
}

bool ContentInterpreter::ReadSamples(QPDFObjectHandle stream, std::size_t width, std::size_t height,
                                     std::size_t components, std::size_t bits,
                                     ImageSamples& samples, const std::optional<SampleArea>& area) {
  const std::size_t ceiling = context_.limits.max_image_bytes;
  // A JPEG 2000 image may leave its component count to its stream: one at least.
  const std::optional<std::size_t> promised =
      ImageBytes(width, height, std::max<std::size_t>(components, 1), bits, ceiling);
  if (!promised) {
    samples.problem = "image too large: more than " + ByteSize(ceiling) + " of samples";
    return true;
  }
  if (!CountImageBytes(*promised)) return false;
  samples = ReadImageSamples(stream, width, height, components, bits,
                             *promised + (ceiling - image_bytes_), area);
  return samples.Held() <= *promised || CountImageBytes(samples.Held() - *promised);
}

}  // namespace QorPdf::internal
