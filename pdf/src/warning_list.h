// The importer's warning list: warnings in the order found, capped at
// Document::kMaxWarnings so that a damaged file cannot grow it without bound; the
// overflow is only counted. qpdf keeps its own warnings, which are moved here after
// each step so that each one is attributed to the page being read at the time.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "qorpdf/importer.h"

class QPDF;

namespace QorPdf::internal {

class WarningList {
 public:
  void Add(std::optional<std::size_t> page, std::string subject, std::string reason);
  // Moves qpdf's pending warnings here, attributed to `page`.
  void TakeFrom(QPDF& qpdf, std::optional<std::size_t> page);

  const std::vector<Warning>& All() const { return warnings_; }
  std::size_t Dropped() const { return dropped_; }

 private:
  std::vector<Warning> warnings_;
  std::size_t dropped_ = 0;
};

}  // namespace QorPdf::internal
