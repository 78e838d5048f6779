// The subcommands of `qorsc`, each reading a PDF through the importer. They write
// results to standard output and warnings to standard error, and throw for failures:
// UsageError (exit status 2), anything else (exit status 1).
#pragma once

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

#include "arguments.h"
#include "qorpdf/importer.h"

namespace QorScTool {

int RunRender(const RenderArguments& arguments, const std::atomic<bool>* interrupt);
int RunInfo(const InfoArguments& arguments);
int RunHits(const HitsArguments& arguments);

// Shared by the commands: opening (ImportError passes through with its message) and
// checking 1-based page numbers against the document (std::out_of_range naming the
// page and the page count).
QorPdf::Document OpenDocument(const std::string& path);
std::vector<std::size_t> ZeroBasedPages(const std::vector<std::size_t>& pages,
                                        std::size_t page_count);

// What the commands import: everything the renderer can draw, soft masks and
// transparency groups included; annotations when asked for.
inline QorPdf::ImportOptions RenderableImportOptions(bool annotations = false) {
  QorPdf::ImportOptions options;
  options.draw_annotations = annotations;
  return options;
}

// Prints the importer's warnings for one page (or, with no page, for the whole
// file) to `stream` as "qorsc: warning: page N: subject: reason".
void PrintWarnings(const QorPdf::Document& document, std::optional<std::size_t> page,
                   std::FILE* stream);

}  // namespace QorScTool
