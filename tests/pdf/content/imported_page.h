// Helpers of the interpreter's tests: a generated PDF imported through the
// importer's interface, the ink of a flat paint, and the page rendered at one pixel
// per point.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qordoc/content.h"
#include "qorpaint/paint.h"
#include "qorpdf/importer.h"
#include "scan/collect_objects.h"
#include "scan/scan_converter.h"

namespace QorPdfTest {

using QorDoc::ContentObject;
using Matrix = Morv::MilliPointTransformation;

inline std::filesystem::path Data(const std::string& name) {
  return std::filesystem::path(__FILE__).parent_path().parent_path() / "data" / name;
}

struct Imported {
  QorPdf::Document pdf;
  QorPdf::Import import;

  const QorDoc::Content& Page() const { return *import.pages.front().content; }

  bool Warned(const std::string& subject_part) const {
    for (const auto& w : pdf.Warnings()) {
      if (w.subject.find(subject_part) != std::string::npos) return true;
    }
    return false;
  }
  std::string AllWarnings() const {
    std::string text;
    for (const auto& w : pdf.Warnings())
      text += w.subject + ": " + w.reason + "\n";
    return text;
  }
};

inline Imported Import(const std::string& name, const QorPdf::ImportOptions& options = {}) {
  QorPdf::Document pdf = QorPdf::Document::OpenFile(Data(name));
  QorPdf::Import import = pdf.ImportPages({}, options);
  return {std::move(pdf), std::move(import)};
}

template <class T>
const T* As(const std::shared_ptr<const ContentObject>& object) {
  return dynamic_cast<const T*>(object.get());
}

// The fill colour of a fillable as (name, tint) pairs, with the overprint flag.
struct Ink {
  std::vector<std::pair<std::string, float>> entries;
  bool named_only = false;
  bool all = false;
  friend bool operator==(const Ink&, const Ink&) = default;
};

inline Ink InkOf(const std::shared_ptr<const QorPaint::Paint>& paint) {
  const auto* flat = dynamic_cast<const QorPaint::FlatPaint*>(paint.get());
  if (!flat) return {};
  Ink ink;
  for (const auto& e : flat->GetColor())
    ink.entries.emplace_back(e.name, e.tint);
  ink.named_only = flat->GetColor().PaintsNamedColorantsOnly();
  ink.all = flat->GetColor().PaintsAllColorants();
  return ink;
}

inline Ink Cmyk(float c, float m, float y, float k, bool named_only = false) {
  return {{{"Cyan", c}, {"Magenta", m}, {"Yellow", y}, {"Black", k}}, named_only, false};
}

// Renders the page at one pixel per point into plates named `plates`; returns
// plate-interleaved bytes, row by row from the top.
struct Raster {
  long long width = 0;
  long long height = 0;
  std::size_t plates = 0;
  std::vector<unsigned char> bytes;

  // Byte of plate p at the pixel whose centre is (x + 0.5, y + 0.5) in PDF points,
  // y up from the bottom of the page.
  int At(std::size_t p, long long x, long long y) const {
    const long long row = height - 1 - y;
    return bytes[static_cast<std::size_t>(row) * plates * width + p * width + x];
  }
};

inline Raster Render(const Imported& imported, const std::vector<std::string>& plates,
                     std::size_t page_index = 0, int pixels_per_point = 1) {
  const QorPdf::ImportedPage& page = imported.import.pages.at(page_index);
  Raster raster;
  raster.width = static_cast<long long>(page.world_box.Width() / 1000.0) * pixels_per_point;
  raster.height = static_cast<long long>(page.world_box.Height() / 1000.0) * pixels_per_point;
  raster.plates = plates.size();
  QorSc::Options::SeparationList list;
  for (const auto& name : plates)
    list.Add(name, 0.0f);
  const QorSc::Options options(list, imported.import.document->GetSeparationInfo());
  const QorSc::Environment env(page.world_box, raster.width, raster.height);
  QorSc::ObjectSelection selection = QorSc::kAllSelection;
  selection.layerFilter = [](const std::shared_ptr<QorDoc::LayerProperties>& layer) {
    return layer->IsVisibleByDefault();
  };
  QorSc::ScanConverter converter(QorSc::CollectObjects(
      env, options, {0, 0, raster.width, raster.height}, *page.content, {}, selection));
  std::vector<unsigned char> line(plates.size() * raster.width);
  while (converter.GetLine255PlaneInterleaved(line.data()))
    raster.bytes.insert(raster.bytes.end(), line.begin(), line.end());
  return raster;
}

}  // namespace QorPdfTest
