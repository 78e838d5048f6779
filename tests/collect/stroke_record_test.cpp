// Stroke records keep their object's path and read its style at activation: the
// runs are those of the stroke's own compound, whatever the cap, join, dash and
// minimal width; a record given an outline of another style or width keeps that
// outline; and records share a placement only when their widening and flatness agree
// too, whatever their own widths.
#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "collect/fillable_object_info.h"
#include "morv/flatten.h"
#include "qordoc/document.h"
#include "raster/geometry_source.h"
#include "scan/collect_objects.h"

namespace {

using Box = QorMath::Rectangle<long long>;
using T = Morv::MilliPointTransformation;

std::shared_ptr<const QorPaint::Paint> Flat() {
  return std::make_shared<QorPaint::FlatPaint>(QorColor::Color{{"Black", 1.0f}});
}

// Every line of `box` gives the same runs from both generators.
void ExpectSameRuns(QorSc::RunLengthGenerator& got, QorSc::RunLengthGenerator& want,
                    const Box& box) {
  for (long long y = box.top; y < box.bottom; ++y) {
    got.GenerateRuns(y);
    want.GenerateRuns(y);
    ASSERT_EQ(got.Runs(), want.Runs()) << "line " << y;
  }
}

TEST(StrokeRecords, ActivateToTheRunsOfTheirStrokesCompound) {
  const QorSc::Environment env(Morv::MilliPointRectangle(0.0, 0.0, 72000.0, 72000.0), 600, 600);
  const Box page_box{0, 0, 600, 600};
  const Morv::DashPattern dash{{900.0, 500.0, 60.0, 400.0}, 250.0};
  std::mt19937 random(5);
  std::uniform_real_distribution<double> coordinate(2000.0, 60000.0);
  std::uniform_real_distribution<double> width(0.0, 900.0);
  const T placements[] = {T{}, T{0.7, 0.2, -0.3, 0.9, 4000.0, 3000.0}};

  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  struct Made {
    std::shared_ptr<const QorDoc::Path> path;
    T placement;
  };
  std::vector<Made> made;
  for (int i = 0; i < 60; ++i) {
    const double x = coordinate(random), y = coordinate(random);
    Morv::PathBuilder path;
    path.MoveTo(x, y)
        .CurveTo(x + 3000.0, y + 2000.0, x - 1000.0, y + 5000.0, x + 4000.0, y + 6000.0)
        .LineTo(x + 5000.0, y + 100.0);
    if (i % 3 == 0) path.Close();
    QorDoc::Fillable::Painting painting;
    painting.stroke = Flat();
    // Widths below the minimal stroke width (one pixel, 120 units) are raised.
    painting.strokeStyle.width = i % 4 == 0 ? 10.0 : width(random);
    painting.strokeStyle.cap = static_cast<Morv::LineCap>(i % 3);
    painting.strokeStyle.join = static_cast<Morv::LineJoin>((i / 3) % 3);
    painting.strokeStyle.miterLimit = 3.0;
    if (i % 5 == 0) painting.strokeStyle.dash = dash;
    const T& t = placements[i % 2];
    made.push_back({builder.AddPath(page, path.BuildShared(), std::move(painting), t), t});
  }
  const auto document = builder.Build();
  QorSc::Options options(true, document->GetSeparationInfo());
  options.SetMinimalStrokeWidth(1);
  const auto collection =
      QorSc::CollectObjects(env, options, page_box, page, T{}, QorSc::kAllSelection);
  ASSERT_EQ(collection.objects->records.size(), made.size());

  QorSc::ScratchChains chains;
  const QorSc::LineContext context(env, chains);
  for (std::size_t i = 0; i < made.size(); ++i) {
    SCOPED_TRACE(i);
    const auto* record =
        dynamic_cast<const QorSc::FillableObjectInfo*>(collection.objects->records[i].get());
    ASSERT_NE(record, nullptr);
    const QorSc::GeometrySource kept = record->GetGeometry();
    ASSERT_NE(kept.outline, nullptr) << "curved strokes stay outlines";
    const Morv::StrokeOutline& outline = *kept.outline;
    const QorDoc::StrokeStyle& style = made[i].path->GetStrokeStyle();
    EXPECT_EQ(outline.GetPath(), made[i].path->DefiningCompound()) << "the object's own path";
    EXPECT_EQ(outline.GetCap(), style.cap);
    EXPECT_EQ(outline.GetJoin(), style.join);
    EXPECT_EQ(outline.GetDash() != nullptr, !style.dash.array.empty());
    EXPECT_GE(outline.GetWidth(), style.width);
    EXPECT_EQ(outline.GetTolerance(),
              Morv::CurveErrorForTransformation(env.GetCurveError(), made[i].placement));

    // The stroke made at activation against the compound Morv::Stroke makes.
    const auto compound = std::make_shared<const Morv::Compound>(
        Morv::Stroke(*made[i].path->DefiningCompound(), outline.GetWidth(), style.cap, style.join,
                     style.miterLimit, style.dash.array.empty() ? nullptr : &style.dash,
                     outline.GetTolerance()));
    const QorSc::GeometrySource want{record->GetPixelBox(), compound, nullptr, made[i].placement};
    std::optional<Morv::StrokeOutline> stroke;
    const auto got = QorSc::CreateRunLengthGenerator(record->GetGeometryRef(stroke), context);
    ASSERT_TRUE(stroke.has_value()) << "made at activation, not kept";
    ExpectSameRuns(*got, *QorSc::CreateRunLengthGenerator(want, context), record->GetPixelBox());
  }
}

TEST(StrokeRecords, KeepAnOutlineOfAnotherStyleAndSharePlacementsOnlyWhenStrokedAlike) {
  QorDoc::DocumentBuilder builder;
  QorDoc::Content& page = builder.AddPage();
  const auto curve =
      Morv::PathBuilder().MoveTo(0, 0).CurveTo(500, 900, 1000, -300, 2000, 400).BuildShared();
  QorDoc::Fillable::Painting painting;
  painting.fill = Flat();
  painting.stroke = Flat();
  painting.strokeStyle.width = 50.0;
  painting.strokeStyle.cap = Morv::LineCap::kRound;
  const auto path = builder.AddPath(page, curve, std::move(painting));
  const Box box{0, 0, 40, 40};
  const T placed{2.0, 0.0, 0.0, -2.0, 10.0, 900.0};
  auto outline = [&](double w, Morv::LineCap cap) {
    return std::make_shared<const Morv::StrokeOutline>(curve, w, cap, Morv::LineJoin::kMiter, 10.0,
                                                       nullptr, 0.25);
  };
  std::shared_ptr<const QorSc::FillableObjectInfo::ShapePlacement> last;
  auto make = [&](const std::shared_ptr<const Morv::StrokeOutline>& o, bool stroke) {
    QorSc::GeometrySource source{box, nullptr, nullptr, placed};
    source.outline = o;
    return QorSc::FillableObjectInfo::Make(path.get(), path.get(), nullptr, source, Flat(), {},
                                           nullptr, stroke, &last);
  };

  // The object's style: only the path is kept, the outline given is let go.
  const auto given = outline(50.0, Morv::LineCap::kRound);
  const auto by_path = make(given, true);
  EXPECT_EQ(given.use_count(), 1);
  const auto remade = by_path->GetGeometry().outline;
  EXPECT_NE(remade, given);
  EXPECT_EQ(remade->GetPath(), curve);
  EXPECT_EQ(remade->GetWidth(), 50.0);
  EXPECT_EQ(remade->GetTolerance(), 0.25);
  EXPECT_EQ(remade->GetBoundingBox(), given->GetBoundingBox());
  const auto* first = last.get();

  // Another cap, or a fill record: the outline itself is kept.
  const auto other = outline(50.0, Morv::LineCap::kSquare);
  EXPECT_EQ(make(other, true)->GetGeometry().outline, other);
  EXPECT_EQ(make(given, false)->GetGeometry().outline, given);
  EXPECT_EQ(last.get(), first)
      << "an outline kept whole shares any placement of its transformation";

  // A width the object's style does not give: the outline is kept whole.
  const auto wider_outline = outline(80.0, Morv::LineCap::kRound);
  EXPECT_EQ(make(wider_outline, true)->GetGeometry().outline, wider_outline);
  EXPECT_EQ(last.get(), first);

  // Widened to the minimal width: kept by its path, the width worked out again at
  // activation; strokes widened alike share the placement whatever their own widths.
  QorDoc::Fillable::Painting thin_painting;
  thin_painting.stroke = Flat();
  thin_painting.strokeStyle.width = 20.0;
  thin_painting.strokeStyle.cap = Morv::LineCap::kRound;
  const auto thin = builder.AddPath(page, curve, std::move(thin_painting));
  const QorSc::StrokeWidening widening{3.0, 0.05};  // at least 60 wide
  auto make_widened = [&](const QorDoc::Path& object, double width) {
    QorSc::GeometrySource source{box, nullptr, nullptr, placed};
    source.outline = outline(width, Morv::LineCap::kRound);
    return QorSc::FillableObjectInfo::Make(&object, &object, nullptr, source, Flat(), {}, nullptr,
                                           true, &last, nullptr, nullptr, widening);
  };
  const auto widened = make_widened(*thin, 60.0);
  EXPECT_NE(widened->GetGeometry().outline->GetPath(), nullptr);
  EXPECT_EQ(widened->GetGeometry().outline->GetWidth(), 60.0);
  const auto* widened_placement = last.get();
  EXPECT_NE(widened_placement, first) << "another widening";
  const auto wide = make_widened(*path, 60.0);  // 50 wide, widened too
  EXPECT_EQ(wide->GetGeometry().outline->GetWidth(), 60.0);
  EXPECT_EQ(last.get(), widened_placement) << "widened alike";
  EXPECT_EQ(make_widened(*thin, 61.0)->GetGeometry().outline->GetWidth(), 61.0)
      << "a width the widening does not give is kept with its outline";
  EXPECT_EQ(by_path->GetGeometry().outline->GetWidth(), 50.0);
}

}  // namespace
