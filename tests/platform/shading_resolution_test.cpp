// Shading resolution against brute force: every pixel centre of a random triangle
// mesh takes the colour of the last triangle that contains it; a flat patch covers
// its parallelogram with its bilinear colours; a function-based shading evaluates
// its function at the pixel centre's domain point.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "qorshading/shading.h"

namespace {

using QorPaint::ShadingMesh;
using QorShading::ShadingFactory;
using QorShading::Span;

const QorMath::Rectangle<long long> kBox{0, 0, 64, 64};

// Which pixels of line y the spans cover.
std::vector<bool> Covered(const std::vector<Span>& spans) {
  std::vector<bool> in(64, false);
  long long last_end = -1;
  for (const Span& s : spans) {
    EXPECT_LT(last_end, s.first) << "spans sorted, disjoint, not touching";
    last_end = s.end;
    for (long long x = s.first; x < s.end; ++x)
      in[static_cast<std::size_t>(x)] = true;
  }
  return in;
}

TEST(ShadingResolution, TrianglesPaintInOrderWithInterpolatedValues) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> coordinate(-8.0, 72.0), value(0.0, 1.0);
  auto mesh = std::make_shared<ShadingMesh>();
  mesh->kind = ShadingMesh::kTriangles;
  mesh->components = 2;
  for (int v = 0; v < 60; ++v) {
    mesh->vertices.insert(mesh->vertices.end(),
                          {coordinate(random), coordinate(random), value(random), value(random)});
  }
  for (std::uint32_t t = 0; t < 20; ++t)
    mesh->triangles.insert(mesh->triangles.end(), {3 * t, 3 * t + 1, 3 * t + 2});
  auto shading = ShadingFactory::MakeShading(mesh, {}, kBox);
  std::vector<Span> spans;
  int ambiguous = 0;
  for (long long y = 0; y < 64; ++y) {
    shading->CrossSection(y, spans);
    const std::vector<bool> in = Covered(spans);
    for (long long x = 0; x < 64; ++x) {
      const double px = x + 0.5, py = y + 0.5;
      int last = -1;
      double w[3] = {};
      bool near_edge = false;
      for (int t = 0; t < 20; ++t) {
        const double* a = &mesh->vertices[4 * (3 * t)];
        const double* b = &mesh->vertices[4 * (3 * t + 1)];
        const double* c = &mesh->vertices[4 * (3 * t + 2)];
        const double det = (b[0] - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (b[1] - a[1]);
        const double w1 = ((px - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (py - a[1])) / det;
        const double w2 = ((b[0] - a[0]) * (py - a[1]) - (px - a[0]) * (b[1] - a[1])) / det;
        const double w0 = 1 - w1 - w2;
        const double margin = 1e-3;
        if (std::fabs(w0) < margin || std::fabs(w1) < margin || std::fabs(w2) < margin) {
          if (w0 > -margin && w1 > -margin && w2 > -margin) near_edge = true;
        }
        if (w0 >= 0 && w1 >= 0 && w2 >= 0) {
          last = t;
          w[0] = w0;
          w[1] = w1;
          w[2] = w2;
        }
      }
      if (near_edge) {
        ++ambiguous;
        continue;
      }
      ASSERT_EQ(in[static_cast<std::size_t>(x)], last >= 0) << x << "," << y;
      if (last < 0) continue;
      for (int k = 0; k < 2; ++k) {
        double want = 0;
        for (int i = 0; i < 3; ++i)
          want += w[i] * mesh->vertices[4 * (3 * last + i) + 2 + k];
        EXPECT_NEAR(shading->ValuesAt(x)[k], want, 1e-5) << x << "," << y;
      }
    }
  }
  EXPECT_LT(ambiguous, 64 * 64 / 20);
}

TEST(ShadingResolution, FlatPatchCoversItsParallelogramWithBilinearColours) {
  auto mesh = std::make_shared<ShadingMesh>();
  mesh->kind = ShadingMesh::kPatches;
  mesh->components = 1;
  // p[i][j] = O + i/3·U + j/3·V: a flat patch, (u, v) affine in the plane.
  const double ox = 6, oy = 10, ux = 40, uy = 8, vx = 10, vy = 44;
  std::vector<double> patch;
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      patch.push_back(ox + i / 3.0 * ux + j / 3.0 * vx);
      patch.push_back(oy + i / 3.0 * uy + j / 3.0 * vy);
    }
  }
  const double c00 = 0.0, c01 = 1.0, c11 = 0.2, c10 = 0.6;
  patch.insert(patch.end(), {c00, c01, c11, c10});
  mesh->patches = patch;
  auto shading = ShadingFactory::MakeShading(mesh, {}, kBox);
  std::vector<Span> spans;
  const double det = ux * vy - vx * uy;
  for (long long y = 0; y < 64; ++y) {
    shading->CrossSection(y, spans);
    const std::vector<bool> in = Covered(spans);
    for (long long x = 0; x < 64; ++x) {
      const double px = x + 0.5 - ox, py = y + 0.5 - oy;
      const double u = (px * vy - vx * py) / det, v = (ux * py - px * uy) / det;
      const double margin = 1e-3;
      if (std::fabs(u) < margin || std::fabs(v) < margin || std::fabs(u - 1) < margin ||
          std::fabs(v - 1) < margin) {
        continue;
      }
      const bool inside = u > 0 && u < 1 && v > 0 && v < 1;
      ASSERT_EQ(in[static_cast<std::size_t>(x)], inside) << x << "," << y;
      if (!inside) continue;
      const double want = (1 - u) * ((1 - v) * c00 + v * c01) + u * ((1 - v) * c10 + v * c11);
      // Triangles approximate the bilinear term u·v to the pieces' size.
      EXPECT_NEAR(shading->ValuesAt(x)[0], want, 0.01) << x << "," << y;
    }
  }
}

TEST(ShadingResolution, FunctionBasedShadingsEvaluateAtThePixelCentre) {
  auto mesh = std::make_shared<ShadingMesh>();
  mesh->kind = ShadingMesh::kFunctionBased;
  mesh->components = 2;
  mesh->domain = {QorPaint::Interval{0, 2}, QorPaint::Interval{-1, 1}};
  mesh->matrix = {20, 5, -3, 15, 10, 30};
  mesh->function = std::make_shared<QorPaint::CalculatorFunction>(
      std::vector<QorPaint::Interval>{{0, 2}, {-1, 1}}, std::vector<QorPaint::Interval>{{-10, 10}},
      "mul");
  // Placement: flip y inside the box.
  const QorShading::PixelPlacement placement{1, 0, 0, -1, 0, 64};
  auto shading = ShadingFactory::MakeShading(mesh, placement, kBox);
  EXPECT_EQ(shading->OutputCount(), 1u);
  const Morv::MilliPointTransformation inverse = mesh->matrix.Inverse();
  std::vector<Span> spans;
  int painted = 0;
  for (long long y = 0; y < 64; ++y) {
    shading->CrossSection(y, spans);
    for (const Span& s : spans) {
      for (long long x = s.first; x < s.end; ++x) {
        const double sx = x + 0.5, sy = 64 - (y + 0.5);
        const double u = inverse.ApplyX(sx, sy), v = inverse.ApplyY(sx, sy);
        EXPECT_NEAR(shading->ValuesAt(x)[0], u * v, 1e-4) << x << "," << y;
        ++painted;
      }
    }
  }
  // The domain is 2 × 2 units of |det| = 315 square pixels each.
  EXPECT_NEAR(painted, 4 * (20 * 15 + 3 * 5), 40);
}

// Function values along a line: interpolated between checked pixels only where the
// function is straight there. Steps, kinks, conditionals and stitching boundaries
// keep every pixel within 1e-4 of the function at its centre; a step stays sharp.
TEST(ShadingResolution, FunctionValuesStayWithinTheirToleranceAcrossStepsAndBends) {
  using QorPaint::Interval;
  const QorMath::Rectangle<long long> box{0, 0, 300, 40};
  auto ramp = [](double c0, double c1, double n) {
    return std::make_shared<QorPaint::ExponentialFunction>(Interval{0, 1}, std::vector<Interval>{},
                                                           std::vector<double>{c0},
                                                           std::vector<double>{c1}, n);
  };
  // u in [0, 1] across the box, v down it; a slight slant crosses columns.
  const auto two_inputs = std::vector<Interval>{{0, 1}, {0, 1}};
  auto calculator = [&](const char* program, std::vector<Interval> range = {{0, 1}}) {
    return std::make_shared<QorPaint::CalculatorFunction>(two_inputs, std::move(range), program);
  };
  // A step along u, a step moving with v, a kink, fast bends, a plane.
  std::vector<std::shared_ptr<const QorPaint::Function>> functions{
      calculator("pop 0.4 gt { 1 } { 0 } ifelse"),
      calculator("0.3 mul sub 0.5 lt { 0.2 } { 0.20005 } ifelse"),
      calculator("pop 0.55 sub abs"),
      calculator("dup 0.5 mul 3 1 roll 90 mul add 1000 mul sin", {{0, 1}, {-1, 1}}),
      calculator("0.25 mul exch 0.5 mul add"),
  };
  // A coarse sampled grid: kinks along its cells' edges.
  functions.push_back(std::make_shared<QorPaint::SampledFunction>(
      two_inputs, std::vector<Interval>{{0, 1}}, std::vector<std::uint32_t>{5, 3},
      std::vector<double>{0, 1, 0.2, 0.9, 0.5, 0.1, 0.1, 0.7, 0.3, 1, 1, 0, 0.6, 0.4, 0}));
  std::size_t function_index = 0;
  for (const auto& function : functions) {
    auto mesh = std::make_shared<ShadingMesh>();
    mesh->kind = ShadingMesh::kFunctionBased;
    mesh->domain = {Interval{0, 1}, Interval{0, 1}};
    mesh->matrix = {300, 0, 7, 40, 0, 0};
    mesh->function = function;
    auto shading = ShadingFactory::MakeShading(mesh, {}, box);
    const Morv::MilliPointTransformation inverse = mesh->matrix.Inverse();
    std::vector<Span> spans;
    std::vector<double> in(2), out(function->OutputCount());
    int painted = 0;
    for (long long y = 0; y < 40; ++y) {
      shading->CrossSection(y, spans);
      for (const Span& s : spans) {
        for (long long x = s.first; x < s.end; ++x) {
          in[0] = inverse.ApplyX(x + 0.5, y + 0.5);
          in[1] = inverse.ApplyY(x + 0.5, y + 0.5);
          function->Evaluate(in, out);
          for (std::size_t k = 0; k < out.size(); ++k) {
            const float got = shading->ValuesAt(x)[k];
            EXPECT_NEAR(got, out[k], 1e-4) << function_index << ": " << x << "," << y;
            if (function_index == 0) {
              EXPECT_TRUE(got == 0.0f || got == 1.0f) << x << "," << y;
            }
          }
          ++painted;
        }
      }
    }
    EXPECT_GT(painted, 11000) << function_index;
    ++function_index;
  }
  // A stitched ramp through a parametric mesh, t from 0 to 1 across the box: its
  // stops stay sharp.
  auto stitched = std::make_shared<QorPaint::StitchingFunction>(
      Interval{0, 1}, std::vector<Interval>{},
      std::vector<std::shared_ptr<const QorPaint::Function>>{ramp(0, 1, 1), ramp(0.2, 0.9, 3),
                                                             ramp(0.3, 0.3, 1)},
      std::vector<double>{0.31, 0.62}, std::vector<Interval>{{0, 1}, {0, 1}, {0, 1}});
  auto mesh = std::make_shared<ShadingMesh>();
  mesh->kind = ShadingMesh::kTriangles;
  mesh->components = 1;
  mesh->vertices = {0, 0, 0, 300, 0, 1, 300, 40, 1, 0, 40, 0};
  mesh->triangles = {0, 1, 2, 0, 2, 3};
  mesh->function = stitched;
  auto shading = ShadingFactory::MakeShading(mesh, {}, box);
  std::vector<Span> spans;
  std::vector<double> in(1), out(1);
  for (long long y = 0; y < 40; y += 3) {
    shading->CrossSection(y, spans);
    ASSERT_EQ(spans.size(), 1u);
    ASSERT_EQ(spans[0].end - spans[0].first, 300);
    for (long long x = 0; x < 300; ++x) {
      in[0] = (x + 0.5) / 300.0;
      stitched->Evaluate(in, out);
      EXPECT_NEAR(shading->ValuesAt(x)[0], out[0], 1e-4) << x << "," << y;
    }
  }
}

}  // namespace
