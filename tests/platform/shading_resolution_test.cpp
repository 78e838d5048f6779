// Shading resolution against brute force: every pixel centre of a random triangle
// mesh takes the colour of the last triangle that contains it; a flat patch covers
// its parallelogram with its bilinear colours; a function-based shading evaluates
// its function at the pixel centre's domain point.

#include <gtest/gtest.h>

#include <cmath>
#include <random>
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
      std::vector<QorPaint::Interval>{{0, 2}, {-1, 1}},
      std::vector<QorPaint::Interval>{{-10, 10}}, "mul");
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

}  // namespace
