// Reading PDF function objects (sampled, exponential, stitching, calculator) into
// the document model's QorPaint::Function classes.
//
// Used for the tint transforms of Separation and DeviceN spaces and, by the
// interpreter, for shading colour functions and soft-mask transfer functions.
// Reading never throws: an unusable function is reported once to the warning list
// and yields null, so each caller chooses its own fallback.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "qorpaint/function.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorPdf::internal {

// How deep stitching functions may nest; deeper (or cyclic) ones are unusable.
inline constexpr int kMaxFunctionNesting = 8;

// The most sample values (grid points × outputs) a sampled function may hold; a
// larger one is unusable rather than a way to exhaust memory.
inline constexpr std::size_t kMaxFunctionSamples = std::size_t{1} << 22;

// `function` is a function dictionary or stream (types 0, 2, 3 and 4). `page`
// attributes warnings. Null, with a warning, when the function cannot be used.
std::shared_ptr<const QorPaint::Function> ReadFunction(QPDFObjectHandle function,
                                                       WarningList& warnings,
                                                       std::optional<std::size_t> page);

}  // namespace QorPdf::internal
