// Small PDF files written out for tests: numbered objects and a correct
// cross-reference table, so that readers take them without repair.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace QorTest {

// A PDF whose object i + 1 is `objects[i]` (a dictionary, or a stream's dictionary
// and data); object 1 must be the catalog.
inline std::string PdfFile(const std::vector<std::string>& objects) {
  std::string pdf = "%PDF-1.7\n";
  std::vector<std::size_t> offsets;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    offsets.push_back(pdf.size());
    pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const std::size_t xref = pdf.size();
  pdf += "xref\n0 " + std::to_string(objects.size() + 1) + "\n0000000000 65535 f \n";
  for (const std::size_t offset : offsets) {
    char line[32];
    std::snprintf(line, sizeof line, "%010zu 00000 n \n", offset);
    pdf += line;
  }
  pdf += "trailer\n<< /Size " + std::to_string(objects.size() + 1) +
         " /Root 1 0 R >>\nstartxref\n" + std::to_string(xref) + "\n%%EOF\n";
  return pdf;
}

}  // namespace QorTest
