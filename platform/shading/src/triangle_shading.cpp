// Scan-line resolution of triangles: spans by the pixel-centre rule and the
// linear interpolation of vertex values, painted in triangle order.
//
// Invariant: an edge's crossing is computed from its endpoints taken in one fixed
// order (by y, then x), so two triangles sharing an edge meet without gap or
// overlap. The per-pixel loop evaluates the plane of each value and, where the
// shading has a function, the function; it allocates nothing.

#include <algorithm>
#include <cmath>
#include <span>

#include "qorshading/shading.h"

namespace QorShading {
namespace {

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
  const auto width = static_cast<std::size_t>(box_.right > box_.left ? box_.right - box_.left : 0);
  row_.assign(width * outputs_, 0.0f);
  // A line never has more active triangles than the mesh: no line allocates.
  active_.reserve(triangles_.size());
  scratch_in_.assign(inputs_, 0.0);
  scratch_out_.assign(outputs_, 0.0);
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

  // Each value is a plane over the triangle: v = a·x + b·y + c.
  const double x0 = t.x[0], y0 = t.y[0];
  const double dx1 = t.x[1] - x0, dy1 = t.y[1] - y0, dx2 = t.x[2] - x0, dy2 = t.y[2] - y0;
  const double det = dx1 * dy2 - dx2 * dy1;
  const double* v = values_.data() + t.values;
  for (long long x = first; x < end; ++x) {
    const double px = static_cast<double>(x) + 0.5 - x0;
    const double py = yc - y0;
    // Barycentric weights of vertices 1 and 2; a flat triangle takes vertex 0.
    const double w1 = det != 0.0 ? (px * dy2 - dx2 * py) / det : 0.0;
    const double w2 = det != 0.0 ? (dx1 * py - px * dy1) / det : 0.0;
    for (std::size_t k = 0; k < inputs_; ++k) {
      const double a = v[k];
      scratch_in_[k] = a + w1 * (v[inputs_ + k] - a) + w2 * (v[2 * inputs_ + k] - a);
    }
    float* out = row_.data() + static_cast<std::size_t>(x - box_.left) * outputs_;
    if (mesh_->function) {
      mesh_->function->Evaluate(scratch_in_, scratch_out_);
      for (std::size_t k = 0; k < outputs_; ++k)
        out[k] = static_cast<float>(scratch_out_[k]);
    } else {
      for (std::size_t k = 0; k < outputs_; ++k)
        out[k] = static_cast<float>(scratch_in_[k]);
    }
  }
}

}  // namespace QorShading
