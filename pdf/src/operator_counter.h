// Counting the operators of one page's content streams: the first, placeholder pass
// over page content, to be replaced by the interpreter. The page's streams are read
// as one sequence (an operator may take operands from the end of the previous
// stream), split into tokens by qpdf's content tokenizer.
#pragma once

#include <cstddef>

#include "qorpdf/importer.h"
#include "warning_list.h"

class QPDFObjectHandle;

namespace QorPdf::internal {

// Every keyword token outside an inline image's data is an operator; unknown ones are
// counted like the rest, so an inline image counts as BI, ID and EI. Unreadable
// tokens are skipped and reported in one warning per page; a stream that cannot be
// read ends the pass with a warning, and the counts then cover what came before.
OperatorCountMap CountOperators(QPDFObjectHandle page, std::size_t index, WarningList& warnings);

}  // namespace QorPdf::internal
