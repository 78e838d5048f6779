// General shadings through their getter: lines the mesh does not reach paint
// nothing, separation output takes each plate's mapped value, process output
// converts the mapped colorants per pixel like a flat colour.

#include <gtest/gtest.h>

#include "paint/axial_shading_paint_getter.h"
#include "paint/default_shading_paint_getter.h"
#include "paint/flat_paint_getter.h"
#include "pixel_space.h"

namespace {

using QorSc::DefaultShadingPaintGetter;
using QorSc::Options;
using QorSc::RunList;
using QorSc::SourcePaintBuffers;

// One triangle in the upper half of UnitEnvironment (world y 60 to 100), values
// (Gold, Cyan) constant 0.25 and 0.5.
std::shared_ptr<const QorPaint::DefaultShadingPaint> Triangle(
    std::vector<QorPaint::SeparationMapping::Entry> mapping = {{"Gold", 0}, {"Cyan", 1}}) {
  auto mesh = std::make_shared<QorPaint::ShadingMesh>();
  mesh->kind = QorPaint::ShadingMesh::kTriangles;
  mesh->components = 2;
  mesh->vertices = {0, 60, 0.25, 0.5, 100, 60, 0.25, 0.5, 50, 100, 0.25, 0.5};
  mesh->triangles = {0, 1, 2};
  QorPaint::ShadingPaint::Common common;
  common.mapping = QorPaint::SeparationMapping(std::move(mapping), false);
  return std::make_shared<QorPaint::DefaultShadingPaint>(common, mesh);
}

TEST(DefaultShading, PaintsWhereTheMeshReachesInTheMappedPlates) {
  const QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  Options::SeparationList plates;
  plates.Add("Cyan", 0.0f);
  plates.Add("Magenta", 0.0f);
  plates.Add("Gold", 0.0f);
  DefaultShadingPaintGetter getter(Triangle(), env, Options(plates, {}), {}, {0, 0, 100, 100},
                                   chains);
  EXPECT_EQ(getter.Kinds()[1], QorSc::kKindZero);
  SourcePaintBuffers buffers(3, 0, 100);
  RunList runs{{0, 100}}, painted;
  getter.Compute({20}, runs, buffers, painted);
  ASSERT_EQ(painted.size(), 1u);
  EXPECT_EQ(buffers.Component(0)[50], 0.5f);
  EXPECT_EQ(buffers.Component(2)[50], 0.25f);
  getter.Compute({60}, runs, buffers, painted);
  EXPECT_TRUE(painted.empty()) << "below the mesh the object is transparent";
}

TEST(DefaultShading, ProcessOutputConvertsLikeAFlatColour) {
  const QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  const Options::SeparationInfo table{QorDoc::Separation::Entry(
      "Gold", QorDoc::Separation::Representation({0.0f, 0.3f, 0.9f, 0.1f}))};
  const Options process(true, table);
  SourcePaintBuffers buffers(4, 0, 100);
  RunList runs{{40, 20}}, painted;
  // A spot through its representation; process colorants alone copied to their
  // plates, to the bit as converted.
  for (const char* first : {"Gold", "Black"}) {
    SCOPED_TRACE(first);
    DefaultShadingPaintGetter getter(Triangle({{first, 0}, {"Cyan", 1}}), env, process, {},
                                     {0, 0, 100, 100}, chains);
    getter.Compute({30}, runs, buffers, painted);
    ASSERT_EQ(painted.size(), 1u);
    const auto flat =
        QorSc::DescribeFlatPaint(process, QorColor::Color{{first, 0.25f}, {"Cyan", 0.5f}});
    for (std::size_t c = 0; c < 4; ++c)
      EXPECT_EQ(buffers.Component(c)[45], flat.values[c]) << c;
  }
  EXPECT_EQ(buffers.Component(3)[45], 0.25f);
}

TEST(DefaultShading, AgreesWithTheAxialGetterOnTheSameRamp) {
  const QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  Options::SeparationList plates;
  plates.Add("Gold", 0.0f);
  const Options options(plates, {});
  QorPaint::ShadingPaint::Common common;
  common.mapping = QorPaint::SeparationMapping({{"Gold", 0}}, false);
  // An axial ramp t² from (10, 30) to (90, 70) in the world...
  auto ramp = std::make_shared<QorPaint::ExponentialFunction>(
      QorPaint::Interval{0, 1}, std::vector<QorPaint::Interval>{}, std::vector<double>{0},
      std::vector<double>{1}, 2.0);
  auto axial = std::make_shared<QorPaint::AxialShadingPaint>(
      common, std::array{Morv::MilliPointPoint(10, 30), Morv::MilliPointPoint(90, 70)}, ramp,
      QorPaint::Interval{}, std::array{true, true});
  // ...and as a function of (x, y): the projection on the axis, clipped, squared.
  auto mesh = std::make_shared<QorPaint::ShadingMesh>();
  mesh->kind = QorPaint::ShadingMesh::kFunctionBased;
  mesh->components = 1;
  mesh->domain = {QorPaint::Interval{0, 100}, QorPaint::Interval{0, 100}};
  mesh->function = std::make_shared<QorPaint::CalculatorFunction>(
      std::vector<QorPaint::Interval>{{0, 100}, {0, 100}}, std::vector<QorPaint::Interval>{{0, 1}},
      "30 sub 40 mul exch 10 sub 80 mul add 8000 div "
      "dup 0 lt { pop 0 } if dup 1 gt { pop 1 } if dup mul");
  auto general = std::make_shared<QorPaint::DefaultShadingPaint>(common, mesh);
  QorSc::AxialShadingPaintGetter a(axial, env, options, {}, {0, 0, 100, 100}, chains);
  DefaultShadingPaintGetter d(general, env, options, {}, {0, 0, 100, 100}, chains);
  SourcePaintBuffers from_axial(1, 0, 100), from_mesh(1, 0, 100);
  const double row = 1.0 / static_cast<double>(a.Entries());
  for (long long y = 1; y < 99; y += 7) {
    RunList runs{{1, 98}}, painted_a, painted_d;
    a.Compute({y}, runs, from_axial, painted_a);
    d.Compute({y}, runs, from_mesh, painted_d);
    // The axial getter paints the run in pieces (extend, axis, extend).
    long long covered = 0;
    for (const auto& run : painted_a)
      covered += run.length;
    ASSERT_EQ(covered, 98);
    ASSERT_EQ(painted_d, runs);
    for (long long x = 1; x < 99; ++x) {
      // Within one table row of the parameter: |t² − t'²| <= 2·row.
      EXPECT_NEAR(from_axial.Component(0)[x], from_mesh.Component(0)[x], 2 * row + 1e-6)
          << x << "," << y;
    }
  }
}

TEST(DefaultShading, AdditiveGreyLevelsAreWrittenAsInk) {
  auto mesh = std::make_shared<QorPaint::ShadingMesh>();
  mesh->kind = QorPaint::ShadingMesh::kTriangles;
  mesh->components = 1;
  mesh->additive = true;
  mesh->vertices = {0, 0, 0.25, 100, 0, 0.25, 50, 100, 0.25};
  mesh->triangles = {0, 1, 2};
  QorPaint::ShadingPaint::Common common;
  common.mapping = QorPaint::SeparationMapping(
      {{"Cyan", QorPaint::SeparationMapping::kNotPainted}, {"Black", 0}}, false);
  const QorSc::Environment env = QorScTest::UnitEnvironment();
  QorSc::ScratchChains chains;
  Options::SeparationList plates;
  plates.Add("Cyan", 0.0f);
  plates.Add("Black", 0.0f);
  DefaultShadingPaintGetter getter(std::make_shared<QorPaint::DefaultShadingPaint>(common, mesh),
                                   env, Options(plates, {}), {}, {0, 0, 100, 100}, chains);
  EXPECT_EQ(getter.Kinds()[0], QorSc::kKindZero) << "named, not painted: knocked out";
  SourcePaintBuffers buffers(2, 0, 100);
  RunList runs{{45, 10}}, painted;
  getter.Compute({80}, runs, buffers, painted);
  ASSERT_EQ(painted.size(), 1u);
  EXPECT_EQ(buffers.Component(1)[50], 0.75f);
}

}  // namespace
