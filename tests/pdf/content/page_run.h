// One page run by a fresh content interpreter with its own document-wide services,
// for tests that look at the objects a page's content makes.
#pragma once

#include <string>

#include "color/color_space.h"
#include "content/interpreter.h"
#include "content/optional_content.h"
#include "font/font.h"
#include "qordoc/content.h"
#include "qordoc/document.h"
#include "warning_list.h"

namespace QorPdf::internal::test {

class PageRun {
 public:
  // Runs `page` (a page dictionary of `pdf`, 100 × 100 world units visible) under
  // `limits`; warnings go to `warnings`.
  PageRun(QPDF& pdf, WarningList& warnings, QPDFObjectHandle page,
          const ImportLimits& limits = ImportLimits{})
      : colors_(pdf, warnings), fonts_(warnings), optional_(pdf, warnings) {
    ImportContext context{pdf, warnings, colors_, fonts_, optional_, builder_, limits, {}, {}, {}};
    ContentInterpreter interpreter(context, 0);
    interpreter.RunPage(page, content_, Matrix{}, {0, 0, 100, 100});
    incomplete_ = interpreter.Incomplete();
  }

  const QorDoc::Content& Content() const { return content_; }
  // Why the interpreter stopped the page, or empty.
  const std::string& Incomplete() const { return incomplete_; }

 private:
  ColorContext colors_;
  FontCache fonts_;
  OptionalContent optional_;
  QorDoc::DocumentBuilder builder_;
  QorDoc::Content& content_ = builder_.AddPage();
  std::string incomplete_;
};

}  // namespace QorPdf::internal::test
