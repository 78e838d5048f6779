// Reading halftone labels back: a label component of the output names the halftone
// set that screens the pixel.
//
// With n sets in the document's list, labels are k / (n + 2): k = 1 for an object
// without a set, k = i + 2 for the set at position i; 0 (nothing painted) and 1 (a
// set the list does not hold) carry no set. Decoding rounds in single precision, as
// the label was stored, and never converts an out-of-range float to an integer.
#pragma once

#include <boost/optional.hpp>
#include <memory>

#include "qorcolor/color_list.h"
#include "qordoc/document.h"
#include "qordoc/halftone.h"
#include "scan/export.h"

namespace QorSc {

// With k = (size_t)(component · (n + 2) + 0.5f) in float: empty for k = 0, for
// k ≥ n + 2 and for a negative, NaN or huge component; an engaged null for k = 1
// (painted without a set); else the set at position k − 2.
QORSC_API boost::optional<std::shared_ptr<QorDoc::HalftoneSet>> ToHalftoneSet(
    const QorColor::Component& component, const QorDoc::Document& document);

}  // namespace QorSc
