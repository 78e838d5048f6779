// Documents built directly through QorDoc::DocumentBuilder for the tool's tests:
// pages whose rendering is known without a PDF.
#pragma once

#include <memory>
#include <random>
#include <string>

#include "qordoc/document.h"
#include "render_job.h"

namespace QorScToolTest {

inline QorDoc::Fillable::Painting Fill(QorColor::Color color,
                                       std::shared_ptr<QorDoc::HalftoneSet> halftone = nullptr) {
  QorDoc::Fillable::Painting p;
  p.fill = std::make_shared<QorPaint::FlatPaint>(std::move(color));
  p.halftone = std::move(halftone);
  return p;
}

// A page of `width_pt` × `height_pt` points.
inline Morv::MilliPointRectangle PageBox(double width_pt, double height_pt) {
  return Morv::MilliPointRectangle(0, 0, width_pt * 1000.0, height_pt * 1000.0);
}

// A 72 × 72 pt page (72 pixels at 72 dpi) with a cyan 0.6 square at points
// [10, 30) × [10, 30) from the top-left, a spot "Gold" square overprinting it at
// [20, 40) × [20, 40), and a black 1.0 bar at y [50, 52) across the page.
inline QorScTool::PageInput SimplePage() {
  QorDoc::DocumentBuilder builder;
  builder.AddSeparation(QorDoc::Separation::Entry(
      "Gold", QorDoc::Separation::Representation({0.0f, 0.2f, 1.0f, 0.0f})));
  QorDoc::Content& page = builder.AddPage();
  // World y is up: top-left point (x, y) of a w × h box is at world y = 72 − y − h.
  auto rect = [](double x, double y, double w, double h) {
    return Morv::PathBuilder()
        .Rectangle(x * 1000, (72 - y - h) * 1000, w * 1000, h * 1000)
        .BuildShared();
  };
  builder.AddPath(page, rect(10, 10, 20, 20), Fill(QorColor::Color{{"Cyan", 0.6f}}));
  QorColor::Color gold{{"Gold", 1.0f}};
  gold.SetPaintsNamedColorantsOnly(true);
  builder.AddPath(page, rect(20, 20, 20, 20), Fill(gold));
  builder.AddPath(page, rect(0, 50, 72, 2), Fill(QorColor::Color{{"Black", 1.0f}}));
  auto document = builder.Build();
  const QorDoc::Content* content = document->GetPages().front();
  return {document, content, PageBox(72, 72), content->GetSeparations()};
}

// Many overlapping shapes of several colours, overprint flags and halftone sets over
// a 200 × 300 pt page: enough to cross many bands at any resolution.
inline QorScTool::PageInput BusyPage(unsigned seed = 7) {
  QorDoc::DocumentBuilder builder;
  builder.AddSeparation(QorDoc::Separation::Entry(
      "Gold", QorDoc::Separation::Representation({0.0f, 0.2f, 1.0f, 0.0f})));
  builder.AddSeparation(QorDoc::Separation::Entry(
      "Teal", QorDoc::Separation::Representation({0.9f, 0.0f, 0.4f, 0.1f})));
  auto coarse = builder.AddHalftoneSet("coarse");
  auto fine = builder.AddHalftoneSet("fine");
  QorDoc::Content& page = builder.AddPage();
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const char* inks[] = {"Cyan", "Magenta", "Yellow", "Black", "Gold", "Teal"};
  for (int i = 0; i < 120; ++i) {
    const double x = unit(random) * 200000, y = unit(random) * 300000;
    const double w = 2000 + unit(random) * 60000, h = 2000 + unit(random) * 80000;
    QorColor::Color color{{inks[i % 6], static_cast<float>(0.1 + 0.9 * unit(random))}};
    if (i % 5 == 0) color.Add(inks[(i + 1) % 6], 0.5f);
    color.SetPaintsNamedColorantsOnly(i % 3 == 0);
    std::shared_ptr<const Morv::Compound> shape;
    if (i % 4 == 0) {
      shape = Morv::PathBuilder()
                  .MoveTo(x, y)
                  .CurveTo(x + w, y, x + w, y + h, x, y + h)
                  .LineTo(x - w / 3, y + h / 2)
                  .Close()
                  .BuildShared();
    } else {
      shape = Morv::PathBuilder()
                  .Polygon({{x, y}, {x + w, y + h / 3}, {x + w / 2, y + h}})
                  .BuildShared();
    }
    builder.AddPath(page, shape, Fill(color, i % 2 == 0 ? coarse : (i % 7 == 0 ? fine : nullptr)));
  }
  auto document = builder.Build();
  const QorDoc::Content* content = document->GetPages().front();
  return {document, content, PageBox(200, 300), content->GetSeparations()};
}

}  // namespace QorScToolTest
