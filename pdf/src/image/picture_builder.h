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

// Null with `problem` set when the samples cannot be painted in `space`.
std::shared_ptr<const QorImg::PaintedPicture> BuildPicture(const ImageSamples& samples,
                                                           std::shared_ptr<const ColorSpace> space,
                                                           QPDFObjectHandle decode, bool overprint,
                                                           std::string& problem);

}  // namespace QorPdf::internal
