// Optional content: the document's optional-content groups as layer properties,
// and membership dictionaries and visibility expressions as layer expressions.
//
// Each group (OCG) becomes one QorDoc::LayerProperties, shared by every layer that
// names it, visible by default unless the default configuration (/OCProperties /D)
// says otherwise (/BaseState, /ON, /OFF). A membership dictionary (OCMD) becomes an
// expression: /VE when present, else /P over /OCGs (AnyOn as "or", AllOn as "and",
// AnyOff and AllOff over negations). Invariants: reading never throws; unusable
// entries are reported and leave the content visible (an empty "and"); an array
// object is read once per document and its expression shared wherever it is used.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "qordoc/layer.h"
#include "qorpdf/importer.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorPdf::internal {

class OptionalContent {
 public:
  OptionalContent(QPDF& pdf, WarningList& warnings);

  // The expression for an OCG or OCMD dictionary; empty (with a warning) when the
  // object is neither.
  std::optional<QorDoc::LayerExpression> ExpressionFor(QPDFObjectHandle object,
                                                       std::optional<std::size_t> page);

  std::vector<LayerInfo> Layers() const;

 private:
  std::shared_ptr<QorDoc::LayerProperties> PropertiesOf(QPDFObjectHandle group);
  std::optional<QorDoc::LayerExpression> ReadVisibilityExpression(QPDFObjectHandle expression,
                                                                  std::size_t depth,
                                                                  std::optional<std::size_t> page);
  // An array [/And ...], [/Or ...] or [/Not x].
  std::optional<QorDoc::LayerExpression> ReadVisibilityOperator(QPDFObjectHandle expression,
                                                                std::size_t depth,
                                                                std::optional<std::size_t> page);

  WarningList& warnings_;
  bool base_off_ = false;
  std::map<QPDFObjGen, bool> defaults_;  // from /D /ON and /OFF
  std::vector<QPDFObjectHandle> order_;  // /OCGs in order
  std::map<QPDFObjGen, std::shared_ptr<QorDoc::LayerProperties>> properties_;
  // Visibility expressions read so far, by object; empty for unusable ones.
  std::map<QPDFObjGen, std::optional<QorDoc::LayerExpression>> expressions_;
  std::set<QPDFObjGen> reading_;  // arrays being read, to tell a cycle
};

}  // namespace QorPdf::internal
