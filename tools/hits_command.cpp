// `qorsc hits`: import one page and list the objects painting one pixel.
#include <cstdio>

#include "commands.h"
#include "hits.h"

namespace QorScTool {

int RunHits(const HitsArguments& a) {
  QorPdf::Document document = OpenDocument(a.input);
  const std::vector<std::size_t> index = ZeroBasedPages({a.page}, document.PageCount());
  QorPdf::Import import = document.ImportPages(index, RenderableImportOptions());
  const QorPdf::ImportedPage& imported = import.pages.at(0);
  PrintWarnings(document, imported.index, stderr);
  const PageInput page{import.document, imported.content, imported.world_box, imported.colorants};
  const std::vector<Hit> hits = FindHits(page, a.resolution, a.x, a.y);
  if (hits.empty()) {
    std::printf("no object paints pixel (%lld, %lld)\n", a.x, a.y);
    return 0;
  }
  std::printf("objects painting pixel (%lld, %lld), first painted first:\n", a.x, a.y);
  for (const Hit& hit : hits) {
    std::printf("  %6zu  %-10s  %s\n", hit.id, hit.kind.c_str(), hit.description.c_str());
  }
  return 0;
}

}  // namespace QorScTool
