// `qorsc render`: import the pages, then render each one to its output files.
//
// The pages are imported together (one document model, one separation table),
// then rendered one after the other; each page's files appear only when complete.
#include <algorithm>
#include <iostream>
#include <thread>

#include "commands.h"
#include "page_output.h"
#include "plate_selection.h"
#include "progress.h"
#include "render_job.h"

namespace QorScTool {

QorPdf::Document OpenDocument(const std::string& path) {
  return QorPdf::Document::OpenFile(path);
}

std::vector<std::size_t> ZeroBasedPages(const std::vector<std::size_t>& pages,
                                        std::size_t page_count) {
  std::vector<std::size_t> indices;
  if (pages.empty()) {
    for (std::size_t i = 0; i < page_count; ++i)
      indices.push_back(i);
    return indices;
  }
  for (const std::size_t page : pages) {
    if (page < 1 || page > page_count) {
      throw std::out_of_range("page " + std::to_string(page) +
                              " does not exist: the document has " + std::to_string(page_count) +
                              (page_count == 1 ? " page" : " pages"));
    }
    indices.push_back(page - 1);
  }
  return indices;
}

void PrintWarnings(const QorPdf::Document& document, std::optional<std::size_t> page,
                   std::FILE* stream) {
  for (const QorPdf::Warning& w : document.Warnings()) {
    if (w.page != page) continue;
    std::string where = w.page ? "page " + std::to_string(*w.page + 1) + ": " : "";
    std::fprintf(stream, "qorsc: warning: %s%s%s%s\n", where.c_str(), w.subject.c_str(),
                 w.subject.empty() ? "" : ": ", w.reason.c_str());
  }
}

int RunRender(const RenderArguments& a, const std::atomic<bool>* interrupt) {
  QorPdf::Document document = OpenDocument(a.input);
  const std::vector<std::size_t> indices = ZeroBasedPages(a.pages, document.PageCount());
  if (indices.empty()) throw std::runtime_error(a.input + ": the document has no pages");
  QorPdf::ImportOptions options = RenderableImportOptions(a.annotations);
  // Every conversion of this render (plates, labels) uses pixels no coarser than the
  // final grid's, whose pixel count per side is rounded (at least one): up to 1.5
  // times 72 / resolution points.
  options.max_pixel_size = 1.5 * 72.0 / a.resolution;
  QorPdf::Import import = document.ImportPages(indices, options);

  RenderSettings settings;
  settings.resolution = a.resolution;
  settings.anti_alias = a.anti_alias;
  settings.filter = a.filter;
  settings.threads = a.threads != 0 ? a.threads : std::max(1u, std::thread::hardware_concurrency());
  settings.halftone_labels = a.halftone_labels;
  settings.min_line_width = a.min_line_width;
  settings.interrupt = interrupt;

  // Every page is checked before any file is written: a refused page stops the job
  // with one message and leaves no output behind.
  for (const QorPdf::ImportedPage& imported : import.pages) {
    const std::string page = "page " + std::to_string(imported.index + 1);
    if (!imported.incomplete.empty()) {
      throw std::runtime_error(page + " is refused: " + imported.incomplete);
    }
    const PlateSet plates =
        ChoosePlates(a.colorants, imported.colorants, import.document->GetSeparationInfo());
    try {
      CheckPageSize(PagePixelSize(imported.world_box, a.resolution), plates.names.size(), settings);
    } catch (const std::invalid_argument& e) {
      throw std::runtime_error(page + ": " + e.what());
    }
  }
  if (!a.quiet) PrintWarnings(document, std::nullopt, stderr);

  std::vector<unsigned char> profile;
  if (a.format == OutputFormat::kPng) profile = document.OutputIntentProfile();

  const std::string pattern = a.output.value_or(DefaultOutputPattern(a.input, a.format));
  Progress progress(!a.quiet && Progress::StderrIsTerminal(), stderr);
  std::size_t done = 0;
  for (const QorPdf::ImportedPage& imported : import.pages) {
    if (!a.quiet) PrintWarnings(document, imported.index, stderr);
    const PageInput page{import.document, imported.content, imported.world_box, imported.colorants};
    const PlateSet plates =
        ChoosePlates(a.colorants, imported.colorants, import.document->GetSeparationInfo());
    PageOutputRequest request;
    request.format = a.format;
    request.pattern = pattern;
    request.page_number = imported.index + 1;
    request.several_pages = import.pages.size() > 1;
    request.size = PagePixelSize(imported.world_box, a.resolution);
    request.resolution = a.resolution;
    request.plates = plates.names;
    request.label_plane = a.halftone_labels;
    request.compression = a.compression;
    request.separation_table = import.document->GetSeparationInfo();
    request.output_intent_profile = profile;
    const std::unique_ptr<PageOutput> output = PageOutput::Create(request);

    ++done;
    progress.StartPage("page " + std::to_string(imported.index + 1) + " (" + std::to_string(done) +
                           "/" + std::to_string(import.pages.size()) + ")",
                       request.size.height);
    RenderPage(page, plates, settings, *output, [&](long long lines) { progress.Update(lines); });
    progress.FinishPage();
    output->Commit();
    if (!a.quiet) {
      std::string plate_list;
      for (const std::string& name : plates.names) {
        plate_list += (plate_list.empty() ? "" : ", ") + name;
      }
      std::printf("page %zu: %lld x %lld pixels, plates %s\n", imported.index + 1,
                  request.size.width, request.size.height, plate_list.c_str());
      for (const auto& path : output->Paths())
        std::printf("  %s\n", path.c_str());
      if (const std::string note = output->Note(); !note.empty()) {
        std::printf("  (%s)\n", note.c_str());
      }
      std::fflush(stdout);
    }
  }
  if (!a.quiet && document.DroppedWarningCount() > 0) {
    std::fprintf(stderr, "qorsc: warning: %zu further warnings were not kept\n",
                 document.DroppedWarningCount());
  }
  return 0;
}

}  // namespace QorScTool
