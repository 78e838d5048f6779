// Reading one page's geometry: MediaBox, CropBox and Rotate found on the page or
// inherited from the nearest ancestor in the page tree that has them, and UserUnit
// from the page alone (it is not inherited). Never throws for bad values: each
// unusable one is replaced by its default and reported to the warning list.
#pragma once

#include <cstddef>

#include "qorpdf/importer.h"
#include "warning_list.h"

class QPDFObjectHandle;

namespace QorPdf::internal {

// The media box used when a page has none or an unusable one: US Letter, the size
// most readers assume.
inline constexpr Box kDefaultMediaBox{0.0, 0.0, 612.0, 792.0};

// A page with every attribute at its default.
Page DefaultPage();

Page ReadPageAttributes(QPDFObjectHandle page, std::size_t index, WarningList& warnings);

}  // namespace QorPdf::internal
