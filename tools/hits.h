// Which objects paint a pixel: one line of one pixel collected and converted, with
// ScanConverter::GetObjectsOnNextLine naming the objects painted there, and a short
// description of each for people.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qordoc/content.h"
#include "render_job.h"

namespace QorScTool {

struct Hit {
  std::size_t id = 0;
  std::string kind;         // "path", "text", "text group", "image mask", "image", "group", ...
  std::string description;  // e.g. "fill Cyan 0.6 overprint"
};

// The objects painting pixel (x, y) of the page at `resolution` on the `auto`
// plates, first painted first. Throws std::out_of_range when the pixel lies outside
// the page.
std::vector<Hit> FindHits(const PageInput& page, double resolution, long long x, long long y);

// The kind word and description of an object (identifier not included).
std::string KindOf(const QorDoc::ContentObject& object);
std::string DescribeObject(const QorDoc::ContentObject& object);

}  // namespace QorScTool
