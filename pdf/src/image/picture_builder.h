// From PDF image samples and their colour space to a painted picture.
//
// Spaces whose components are inks (DeviceGray as Black 1 − g, DeviceCMYK,
// Separation, DeviceN without "None" colorants) keep their samples: 1-bit single
// channels packed, everything else widened to 8 bits per channel, and /Decode
// becomes each channel's decode pair. Every other space (RGB, CalGray, CalRGB, Lab,
// ICC, Indexed, DeviceN with "None") keeps its raw samples and carries a converter
// that turns them into inks through the space's own colour conversion, the one
// flat colours take, so an image pixel and a flat colour of equal value print alike.
#pragma once

#include <memory>
#include <string>

#include "color/color_space.h"
#include "image/image_samples.h"
#include "qorimg/painted_picture.h"

namespace QorPdf::internal {

// The picture's own mask: one channel whose decoded value is the opacity.
struct PictureMask {
  std::shared_ptr<const QorImg::PictureData> data;
  QorImg::DecodePair decode;
  bool partial = false;  // decoded only where rendering can read it
};

// Null with `problem` set when the samples cannot be painted in `space`. 8-bit ink
// samples are adopted by the picture: `samples.data` is moved from. `intent` (a
// QorImg::RenderingIntent) is the picture's: colorimetric samples convert under it.
std::shared_ptr<const QorImg::PaintedPicture> BuildPicture(ImageSamples& samples,
                                                           std::shared_ptr<const ColorSpace> space,
                                                           QPDFObjectHandle decode, bool overprint,
                                                           int intent, const PictureMask& mask,
                                                           std::string& problem);

// A mask picture of one channel from samples of 1, 2, 4, 8 or 16 bits: packed when
// 1 bit, otherwise widened to 8 bits.
std::shared_ptr<const QorImg::PictureData> MaskData(const ImageSamples& samples);

// The colour-key mask of `samples` (opaque = 1): a sample whose every raw component
// lies in its [min, max] pair of `ranges` is masked out. Null when `ranges` is not
// two numbers per component.
std::shared_ptr<const QorImg::PictureData> ColorKeyMask(const ImageSamples& samples,
                                                        QPDFObjectHandle ranges);

// Undoes the premultiplication of 8-bit samples against `matte` (one value per
// component) by the mask's opacities when it has the samples' dimensions:
// c = m + (c' − m) / α, clipped; samples where α is 0 are left alone.
void UndoMatte(ImageSamples& samples, const QorImg::PictureData& mask, QPDFObjectHandle matte);

}  // namespace QorPdf::internal
