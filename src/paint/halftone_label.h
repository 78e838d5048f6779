// Writing halftone labels: the value a label component carries for an object's
// halftone set, and the transparency an object's label is composited with.
//
// Invariant: EncodeHalftoneLabel and QorSc::ToHalftoneSet (scan/halftone.h) are
// inverse on every set of the document's list and on the null set. Labels are
// identifiers, not inks: they replace what lies below and are never blended.
#pragma once

#include <memory>

#include "qorblend/transparency.h"
#include "qordoc/document.h"
#include "qordoc/halftone.h"
#include "scan/options.h"

namespace QorSc {

// index / (n + 2) in double, stored as float, with n the document's set count and
// index 1 for no set, i + 2 for the set at position i, n + 2 (label 1.0) for a set
// the list does not hold.
float EncodeHalftoneLabel(const QorDoc::Document& document, const QorDoc::HalftoneSet* set);

// The transparency of a label pass: unchanged without halftone labels; otherwise
// Normal with each opacity reduced to 0 (below 0.00001f) or 1 and alpha-is-shape
// clear, so a label covers exactly where the object paints. A null transparency
// counts as opaque.
std::shared_ptr<const QorBlend::Transparency> PrepareHalftoneTransparency(
    const std::shared_ptr<const QorBlend::Transparency>& transparency, HalftoneMode mode);

}  // namespace QorSc
