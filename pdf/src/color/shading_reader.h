// Reading PDF shading dictionaries into the document model's shaded paints: axial
// and radial shadings (types 2, 3) as parametric paints, the others (function-based,
// meshes; types 1, 4-7) as a ShadingMesh the renderer resolves.
//
// A shading's colour becomes ink the way flat colours do: when every component of
// its space is one named colorant's tint (DeviceCMYK, Separation, DeviceN, a
// four-component ICC space), the shading function's outputs are mapped straight to
// those colorants, so a spot vignette ramps exactly its own plate; any other space
// (DeviceGray, RGB, Lab, ICC, Indexed) is converted through its ColorSpace at import:
// a colour function is sampled finely over its domain into a function of the process
// inks, and mesh vertex colours are converted one by one.
// Reading never throws: an unusable shading is reported and yields null.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "color/color_space.h"
#include "morv/transformation.h"
#include "qorpaint/shading_paint.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorPdf::internal {

// Grid points of the sampled ink function of a converted shading.
inline constexpr std::size_t kShadingConversionSamples = 1024;

struct ShadingContext {
  ColorContext& colors;
  QPDFObjectHandle resources;
  WarningList& warnings;
  std::optional<std::size_t> page;
  // The shading's resolved space and its /ColorSpace object to the space used: the
  // stream's Default space for a device space. Empty: the resolved space.
  std::function<std::shared_ptr<const ColorSpace>(std::shared_ptr<const ColorSpace>,
                                                  QPDFObjectHandle)>
      with_default;
};

// The /ShadingType of a shading dictionary or stream, 0 when it has none.
int ShadingTypeOf(QPDFObjectHandle shading);

// `shading` is a shading dictionary or stream; `t` maps shading space to world
// coordinates; `overprint` makes the shading paint its named colorants only;
// `background` takes the shading's /Background (patterns; `sh` ignores it). Null,
// with a warning, when the shading cannot be used; null without one for a type
// outside 1 to 7 (see ShadingTypeOf).
std::shared_ptr<const QorPaint::ShadingPaint> ReadShading(QPDFObjectHandle shading,
                                                          const Morv::MilliPointTransformation& t,
                                                          bool overprint, bool background,
                                                          ShadingContext& context);

}  // namespace QorPdf::internal
