// From a shading mesh to triangles in target pixels.
//
// Invariant: every triangle's coordinates are finite (others are dropped: they can
// cover no pixel centre reliably) and its line range is where its edges can be
// crossed, ymin < y + 0.5 <= ymax, so a line outside it has nothing of it.

#include <algorithm>
#include <array>
#include <cmath>

#include "qorshading/shading.h"

namespace QorShading {
namespace {

constexpr int kMaxPiecesPerSide = 64;
// The most triangles all patches of one shading are cut into together: beyond it
// every patch gets fewer pieces, so hostile meshes cannot exhaust memory.
constexpr double kMaxPatchTriangles = 4.0 * 1024 * 1024;

struct Builder {
  const PixelPlacement& placement;
  std::size_t inputs;
  std::vector<Shading::Triangle> triangles;
  std::vector<double> values;

  // Adds a triangle of points already in pixels with three vertex values each.
  void Add(const std::array<double, 3>& xs, const std::array<double, 3>& ys,
           const double* v0, const double* v1, const double* v2) {
    double lo = ys[0], hi = ys[0];
    for (int i = 0; i < 3; ++i) {
      if (!std::isfinite(xs[i]) || !std::isfinite(ys[i])) return;
      lo = std::min(lo, ys[i]);
      hi = std::max(hi, ys[i]);
    }
    if (lo < -4.0e15 || hi > 4.0e15) return;
    Shading::Triangle t{};
    for (int i = 0; i < 3; ++i) {
      t.x[i] = xs[i];
      t.y[i] = ys[i];
    }
    t.values = values.size();
    t.firstLine = static_cast<std::int64_t>(std::floor(lo - 0.5)) + 1;
    t.endLine = static_cast<std::int64_t>(std::floor(hi - 0.5)) + 1;
    if (t.firstLine >= t.endLine) return;
    values.insert(values.end(), v0, v0 + inputs);
    values.insert(values.end(), v1, v1 + inputs);
    values.insert(values.end(), v2, v2 + inputs);
    triangles.push_back(t);
  }

  std::array<double, 2> Place(double x, double y) const {
    return {placement.ApplyX(x, y), placement.ApplyY(x, y)};
  }
};

double Bernstein(int i, double t) {
  const double s = 1.0 - t;
  switch (i) {
    case 0: return s * s * s;
    case 1: return 3.0 * t * s * s;
    case 2: return 3.0 * t * t * s;
    default: return t * t * t;
  }
}

void AddPatch(Builder& b, const double* patch, std::size_t components, double tolerance,
              int maxPieces) {
  // Control points in pixels: the surface is affine-invariant.
  double px[4][4], py[4][4];
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      const auto p = b.Place(patch[2 * (4 * i + j)], patch[2 * (4 * i + j) + 1]);
      px[i][j] = p[0];
      py[i][j] = p[1];
    }
  }
  // Pieces per side so that straight pieces stay within `tolerance` pixels of the
  // surface: a cubic's second derivative is at most 6 times its control points'
  // largest second difference M, and a chord of step 1/n deviates at most
  // 6M / (8 n^2). The colours' bilinear term gets the same treatment in levels of
  // 1/255, so triangles do not flatten it visibly.
  double second = 0.0;
  for (int i = 0; i < 4; ++i) {
    for (int k = 0; k < 2; ++k) {
      second = std::max({second,
                         std::hypot(px[i][k] - 2 * px[i][k + 1] + px[i][k + 2],
                                    py[i][k] - 2 * py[i][k + 1] + py[i][k + 2]),
                         std::hypot(px[k][i] - 2 * px[k + 1][i] + px[k + 2][i],
                                    py[k][i] - 2 * py[k + 1][i] + py[k + 2][i])});
    }
  }
  double twist = 0.0;
  for (std::size_t k = 0; k < components; ++k) {
    const double* c = patch + 32;
    twist = std::max(twist, std::fabs(c[k] - c[components + k] + c[2 * components + k] -
                                      c[3 * components + k]));
  }
  if (!std::isfinite(second) || !std::isfinite(twist)) return;
  const double pieces = std::max(std::sqrt(6.0 * second / (8.0 * tolerance)),
                                 std::sqrt(2.0 * twist * 255.0 / 8.0));
  const int n = std::clamp(static_cast<int>(std::ceil(pieces)), 1, maxPieces);

  const double* colour = patch + 32;  // corners (0,0) (0,1) (1,1) (1,0)
  std::vector<double> gx((n + 1) * (n + 1)), gy((n + 1) * (n + 1));
  std::vector<double> gv((n + 1) * (n + 1) * components);
  for (int a = 0; a <= n; ++a) {
    const double u = static_cast<double>(a) / n;
    for (int c = 0; c <= n; ++c) {
      const double v = static_cast<double>(c) / n;
      double x = 0.0, y = 0.0;
      for (int i = 0; i < 4; ++i) {
        const double bu = Bernstein(i, u);
        for (int j = 0; j < 4; ++j) {
          const double w = bu * Bernstein(j, v);
          x += w * px[i][j];
          y += w * py[i][j];
        }
      }
      const std::size_t g = static_cast<std::size_t>(a * (n + 1) + c);
      gx[g] = x;
      gy[g] = y;
      for (std::size_t k = 0; k < components; ++k) {
        const double c00 = colour[k], c01 = colour[components + k];
        const double c11 = colour[2 * components + k], c10 = colour[3 * components + k];
        gv[g * components + k] =
            (1 - u) * ((1 - v) * c00 + v * c01) + u * ((1 - v) * c10 + v * c11);
      }
    }
  }
  auto at = [&](int a, int c) { return static_cast<std::size_t>(a * (n + 1) + c); };
  for (int a = 0; a < n; ++a) {
    for (int c = 0; c < n; ++c) {
      const std::size_t p00 = at(a, c), p01 = at(a, c + 1), p11 = at(a + 1, c + 1),
                        p10 = at(a + 1, c);
      b.Add({gx[p00], gx[p01], gx[p11]}, {gy[p00], gy[p01], gy[p11]}, &gv[p00 * components],
            &gv[p01 * components], &gv[p11 * components]);
      b.Add({gx[p00], gx[p11], gx[p10]}, {gy[p00], gy[p11], gy[p10]}, &gv[p00 * components],
            &gv[p11 * components], &gv[p10 * components]);
    }
  }
}

}  // namespace

std::unique_ptr<Shading> ShadingFactory::MakeShading(
    std::shared_ptr<const QorPaint::ShadingMesh> mesh, const PixelPlacement& placement,
    const QorMath::Rectangle<long long>& box, double tolerance) {
  const QorPaint::ShadingMesh& m = *mesh;
  const std::size_t inputs = m.kind == QorPaint::ShadingMesh::kFunctionBased ? 2 : m.components;
  Builder b{placement, inputs, {}, {}};
  if (!(tolerance > 0.0)) tolerance = 0.25;

  if (m.kind == QorPaint::ShadingMesh::kFunctionBased) {
    const double us[4] = {m.domain[0].min, m.domain[0].max, m.domain[0].max, m.domain[0].min};
    const double vs[4] = {m.domain[1].min, m.domain[1].min, m.domain[1].max, m.domain[1].max};
    std::array<double, 4> xs{}, ys{};
    double uv[4][2];
    for (int i = 0; i < 4; ++i) {
      const double sx = m.matrix.ApplyX(us[i], vs[i]);
      const double sy = m.matrix.ApplyY(us[i], vs[i]);
      const auto p = b.Place(sx, sy);
      xs[i] = p[0];
      ys[i] = p[1];
      uv[i][0] = us[i];
      uv[i][1] = vs[i];
    }
    b.Add({xs[0], xs[1], xs[2]}, {ys[0], ys[1], ys[2]}, uv[0], uv[1], uv[2]);
    b.Add({xs[0], xs[2], xs[3]}, {ys[0], ys[2], ys[3]}, uv[0], uv[2], uv[3]);
  } else if (m.kind == QorPaint::ShadingMesh::kTriangles) {
    const std::size_t stride = m.VertexStride();
    const std::size_t count = m.vertices.size() / stride;
    for (std::size_t t = 0; t + 2 < m.triangles.size(); t += 3) {
      std::array<double, 3> xs{}, ys{};
      const double* v[3];
      bool valid = true;
      for (int i = 0; i < 3; ++i) {
        const std::size_t index = m.triangles[t + static_cast<std::size_t>(i)];
        if (index >= count) {
          valid = false;
          break;
        }
        const double* vertex = m.vertices.data() + index * stride;
        const auto p = b.Place(vertex[0], vertex[1]);
        xs[static_cast<std::size_t>(i)] = p[0];
        ys[static_cast<std::size_t>(i)] = p[1];
        v[i] = vertex + 2;
      }
      if (valid) b.Add(xs, ys, v[0], v[1], v[2]);
    }
  } else {
    const std::size_t stride = m.PatchStride();
    const double count = static_cast<double>(m.patches.size() / stride);
    const int max_pieces = std::clamp(
        static_cast<int>(std::sqrt(kMaxPatchTriangles / (2.0 * std::max(count, 1.0)))), 1,
        kMaxPiecesPerSide);
    for (std::size_t p = 0; p + stride <= m.patches.size(); p += stride)
      AddPatch(b, m.patches.data() + p, m.components, tolerance, max_pieces);
  }
  return std::make_unique<Shading>(std::move(mesh), std::move(b.triangles), std::move(b.values),
                                   inputs, box);
}

}  // namespace QorShading
