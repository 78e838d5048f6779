// Scan-line resolution of triangles: spans by the pixel-centre rule and the
// linear interpolation of vertex values, painted in triangle order.
//
// Invariant: an edge's crossing is computed from its endpoints taken in one fixed
// order (by y, then x), so two triangles sharing an edge meet without gap or
// overlap. The per-pixel loop evaluates the plane of each value from slopes found
// once per triangle (no division per pixel); where the shading has a function, the
// function runs at checked pixels and the chord between them fills the rest only
// where the checks show it straight (see kStretch). It allocates nothing.

#include <algorithm>
#include <cmath>
#include <span>

#include "qorshading/shading.h"

namespace QorShading {
namespace {

// Function values are interpolated along a line over stretches of at most kStretch
// pixels, each checked at its quarter points: where the chord between the
// stretch's ends misses the function there by more than kStraightness in any
// output, every pixel of the stretch is evaluated. One step, kink, bend or
// inflection per stretch thus stays within 1.375 · kStraightness (well below 1e-4)
// of the function at every pixel centre; features narrower than the checks' spacing
// of 4 pixels that leave no trace at them are not seen.
constexpr long long kStretch = 16;
constexpr double kStraightness = 1.0 / 32768;

long long RoundHalfAway(double v) {
  if (!(v > -4.0e18)) return static_cast<long long>(-4.0e18);
  if (!(v < 4.0e18)) return static_cast<long long>(4.0e18);
  return std::llround(v);
}

// Where the edge from (ax, ay) to (bx, by) crosses the row at yc, if it does.
bool Crossing(double ax, double ay, double bx, double by, double yc, double& x) {
  if (ay > by || (ay == by && ax > bx)) {
    std::swap(ax, bx);
    std::swap(ay, by);
  }
  if (!(ay < yc && yc <= by)) return false;
  x = ax + (yc - ay) * (bx - ax) / (by - ay);
  return true;
}

}  // namespace

Shading::Shading(std::shared_ptr<const QorPaint::ShadingMesh> mesh, std::vector<Triangle> triangles,
                 std::vector<double> values, std::size_t inputs,
                 const QorMath::Rectangle<long long>& box)
    : mesh_(std::move(mesh)),
      triangles_(std::move(triangles)),
      values_(std::move(values)),
      inputs_(inputs),
      outputs_(mesh_->function ? mesh_->function->OutputCount() : inputs),
      box_(box) {
  by_first_line_.resize(triangles_.size());
  for (std::size_t i = 0; i < triangles_.size(); ++i)
    by_first_line_[i] = static_cast<std::uint32_t>(i);
  std::sort(by_first_line_.begin(), by_first_line_.end(), [&](std::uint32_t a, std::uint32_t b) {
    const auto fa = triangles_[a].firstLine, fb = triangles_[b].firstLine;
    return fa < fb || (fa == fb && a < b);
  });
  // Per triangle and value, the plane's slopes along x and y in pixels, from the
  // barycentric weights of vertices 1 and 2; a flat triangle takes vertex 0.
  gradients_.assign(2 * values_.size() / 3, 0.0);
  for (const Triangle& t : triangles_) {
    const double dx1 = t.x[1] - t.x[0], dy1 = t.y[1] - t.y[0];
    const double dx2 = t.x[2] - t.x[0], dy2 = t.y[2] - t.y[0];
    const double det = dx1 * dy2 - dx2 * dy1;
    if (det == 0.0) continue;
    const double* v = values_.data() + t.values;
    double* g = gradients_.data() + 2 * t.values / 3;
    for (std::size_t k = 0; k < inputs_; ++k) {
      const double d1 = v[inputs_ + k] - v[k], d2 = v[2 * inputs_ + k] - v[k];
      g[2 * k] = (dy2 * d1 - dy1 * d2) / det;
      g[2 * k + 1] = (dx1 * d2 - dx2 * d1) / det;
    }
  }
  const auto width = static_cast<std::size_t>(box_.right > box_.left ? box_.right - box_.left : 0);
  row_.assign(width * outputs_, 0.0f);
  // A line never has more active triangles than the mesh: no line allocates.
  active_.reserve(triangles_.size());
  scratch_in_.assign(inputs_, 0.0);
  line_base_.assign(inputs_, 0.0);
  scratch_out_.assign(outputs_, 0.0);
  knot_a_.assign(outputs_, 0.0);
  knot_b_.assign(outputs_, 0.0);
}

Shading::~Shading() = default;

void Shading::CrossSection(long long y, std::vector<Span>& spans) {
  spans.clear();
  // Triangles that begin by this line join; those that ended leave.
  bool joined = false;
  while (next_ < by_first_line_.size() && triangles_[by_first_line_[next_]].firstLine <= y) {
    active_.push_back(by_first_line_[next_++]);
    joined = true;
  }
  if (joined) std::sort(active_.begin(), active_.end());
  active_.erase(std::remove_if(active_.begin(), active_.end(),
                               [&](std::uint32_t i) { return triangles_[i].endLine <= y; }),
                active_.end());
  for (std::uint32_t i : active_)
    Paint(triangles_[i], y, spans);
  if (spans.empty()) return;
  std::sort(spans.begin(), spans.end(),
            [](const Span& a, const Span& b) { return a.first < b.first; });
  std::size_t out = 0;
  for (std::size_t i = 1; i < spans.size(); ++i) {
    if (spans[i].first <= spans[out].end) {
      spans[out].end = std::max(spans[out].end, spans[i].end);
    } else {
      spans[++out] = spans[i];
    }
  }
  spans.resize(out + 1);
}

void Shading::Paint(const Triangle& t, long long y, std::vector<Span>& spans) {
  const double yc = static_cast<double>(y) + 0.5;
  double xs[3];
  int n = 0;
  for (int e = 0; e < 3; ++e) {
    const int f = (e + 1) % 3;
    double x;
    if (Crossing(t.x[e], t.y[e], t.x[f], t.y[f], yc, x)) xs[n++] = x;
  }
  if (n < 2) return;
  const double xl = std::min(xs[0], xs[1]);
  const double xr = std::max(xs[0], xs[1]);
  const long long first = std::max<long long>(RoundHalfAway(xl), box_.left);
  const long long end = std::min<long long>(RoundHalfAway(xr), box_.right);
  if (first >= end) return;
  spans.push_back({first, end});

  // Each value is a plane over the triangle: along the line it steps by a constant.
  const double* v = values_.data() + t.values;
  const double* g = gradients_.data() + 2 * t.values / 3;
  const double py = yc - t.y[0];
  for (std::size_t k = 0; k < inputs_; ++k)
    line_base_[k] = v[k] + py * g[2 * k + 1];
  const double x0 = t.x[0];
  float* out = row_.data() + static_cast<std::size_t>(first - box_.left) * outputs_;
  if (!mesh_->function) {
    for (long long x = first; x < end; ++x, out += outputs_) {
      const double px = static_cast<double>(x) + 0.5 - x0;
      for (std::size_t k = 0; k < inputs_; ++k)
        out[k] = static_cast<float>(line_base_[k] + px * g[2 * k]);
    }
    return;
  }
  PaintFunction(first, end, x0, g, out);
}

void Shading::EvaluateAt(long long x, double x0, const double* g, double* values) {
  const double px = static_cast<double>(x) + 0.5 - x0;
  for (std::size_t k = 0; k < inputs_; ++k)
    scratch_in_[k] = line_base_[k] + px * g[2 * k];
  mesh_->function->Evaluate(scratch_in_, {values, outputs_});
}

void Shading::PaintFunction(long long first, long long end, double x0, const double* g,
                            float* out) {
  const std::size_t n = outputs_;
  auto store = [&](long long x, const double* values) {
    float* o = out + static_cast<std::size_t>(x - first) * n;
    for (std::size_t k = 0; k < n; ++k)
      o[k] = static_cast<float>(values[k]);
  };
  double* a = knot_a_.data();
  double* b = knot_b_.data();
  double* m = scratch_out_.data();
  EvaluateAt(first, x0, g, a);
  store(first, a);
  for (long long xa = first; xa + 1 < end;) {
    const long long xb = std::min(xa + kStretch, end - 1);
    EvaluateAt(xb, x0, g, b);
    store(xb, b);
    const long long h = xb - xa;
    // The chord from xa to xb stands in for the function inside the stretch when it
    // passes within kStraightness of the function at the stretch's quarter points.
    bool straight = h >= 4;
    const long long checks[3] = {xa + h / 4, xa + h / 2, xa + 3 * h / 4};
    int checked = 0;  // checks evaluated (and stored) so far
    const double inverse_h = 1.0 / static_cast<double>(h);
    for (int i = 0; i < 3 && straight; ++i, ++checked) {
      EvaluateAt(checks[i], x0, g, m);
      store(checks[i], m);
      const double t = static_cast<double>(checks[i] - xa) * inverse_h;
      for (std::size_t k = 0; k < n; ++k) {
        // Written so that a NaN fails the test.
        if (!(std::fabs(a[k] + t * (b[k] - a[k]) - m[k]) <= kStraightness)) straight = false;
      }
    }
    for (long long x = xa + 1; x < xb; ++x) {
      const bool done = (checked > 0 && x == checks[0]) || (checked > 1 && x == checks[1]) ||
                        (checked > 2 && x == checks[2]);
      if (done) continue;
      if (!straight) {
        EvaluateAt(x, x0, g, m);
        store(x, m);
      } else {
        const double t = static_cast<double>(x - xa) * inverse_h;
        float* o = out + static_cast<std::size_t>(x - first) * n;
        for (std::size_t k = 0; k < n; ++k)
          o[k] = static_cast<float>(a[k] + t * (b[k] - a[k]));
      }
    }
    std::swap(a, b);
    xa = xb;
  }
}

}  // namespace QorShading
