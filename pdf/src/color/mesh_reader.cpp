// Mesh shading streams into triangles and patches.
#include "color/mesh_reader.h"

#include <array>
#include <cstdint>
#include <stdexcept>

namespace QorPdf::internal {
namespace {

class BitReader {
 public:
  explicit BitReader(const std::string& data) : data_(data) {}

  bool Read(int bits, std::uint64_t& out) {
    out = 0;
    for (int i = 0; i < bits; ++i) {
      if (byte_ >= data_.size()) return false;
      const auto b = static_cast<unsigned char>(data_[byte_]);
      out = (out << 1) | ((b >> (7 - bit_)) & 1u);
      if (++bit_ == 8) {
        bit_ = 0;
        ++byte_;
      }
    }
    return true;
  }
  void Align() {
    if (bit_ != 0) {
      bit_ = 0;
      ++byte_;
    }
  }
  bool AtEnd() const { return byte_ >= data_.size(); }

 private:
  const std::string& data_;
  std::size_t byte_ = 0;
  int bit_ = 0;
};

struct Decoder {
  const MeshLayout& layout;
  BitReader reader;

  double Map(std::uint64_t raw, int bits, std::size_t pair) const {
    const double max = bits >= 64 ? 18446744073709551615.0 : static_cast<double>((std::uint64_t{1} << bits) - 1);
    const double lo = layout.decode[2 * pair], hi = layout.decode[2 * pair + 1];
    return lo + static_cast<double>(raw) * (hi - lo) / max;
  }
  bool Flag(int& flag) {
    std::uint64_t raw;
    if (!reader.Read(layout.bitsPerFlag, raw)) return false;
    flag = static_cast<int>(raw & 3u);
    return true;
  }
  bool Point(double& x, double& y) {
    std::uint64_t rx, ry;
    if (!reader.Read(layout.bitsPerCoordinate, rx) || !reader.Read(layout.bitsPerCoordinate, ry)) {
      return false;
    }
    x = Map(rx, layout.bitsPerCoordinate, 0);
    y = Map(ry, layout.bitsPerCoordinate, 1);
    return true;
  }
  bool Colour(double* out) {
    for (std::size_t k = 0; k < layout.components; ++k) {
      std::uint64_t raw;
      if (!reader.Read(layout.bitsPerComponent, raw)) return false;
      out[k] = Map(raw, layout.bitsPerComponent, 2 + k);
    }
    return true;
  }
  // One vertex (x, y, colour) appended to the mesh.
  bool Vertex(QorPaint::ShadingMesh& mesh) {
    const std::size_t start = mesh.vertices.size();
    mesh.vertices.resize(start + mesh.VertexStride());
    if (!Point(mesh.vertices[start], mesh.vertices[start + 1]) ||
        !Colour(mesh.vertices.data() + start + 2)) {
      mesh.vertices.resize(start);
      return false;
    }
    return true;
  }
};

void FreeForm(Decoder& d, QorPaint::ShadingMesh& mesh, bool& truncated) {
  std::array<std::uint32_t, 3> last{};
  bool have_triangle = false;
  std::size_t pending = 0;  // vertices of a new triangle read so far
  while (!d.reader.AtEnd()) {
    if (mesh.vertices.size() / mesh.VertexStride() >= kMaxMeshElements) {
      truncated = true;
      return;
    }
    int flag;
    if (!d.Flag(flag) || !d.Vertex(mesh)) {
      truncated = true;
      return;
    }
    d.reader.Align();
    const auto index = static_cast<std::uint32_t>(mesh.vertices.size() / mesh.VertexStride() - 1);
    if (pending > 0 || flag == 0 || !have_triangle) {
      // A new triangle: this vertex and the next two (their flags do not count).
      last[pending++] = index;
      if (pending < 3) continue;
      pending = 0;
    } else if (flag == 1) {
      last = {last[1], last[2], index};
    } else {
      last = {last[0], last[2], index};
    }
    mesh.triangles.insert(mesh.triangles.end(), last.begin(), last.end());
    have_triangle = true;
  }
  if (pending > 0) truncated = true;
}

void Lattice(Decoder& d, QorPaint::ShadingMesh& mesh, bool& truncated) {
  const auto per_row = static_cast<std::size_t>(d.layout.verticesPerRow);
  while (!d.reader.AtEnd()) {
    if (mesh.vertices.size() / mesh.VertexStride() >= kMaxMeshElements) {
      truncated = true;
      break;
    }
    if (!d.Vertex(mesh)) {
      truncated = true;
      break;
    }
    d.reader.Align();
  }
  const std::size_t count = mesh.vertices.size() / mesh.VertexStride();
  const std::size_t rows = count / per_row;
  if (rows * per_row != count) truncated = true;
  for (std::size_t r = 0; r + 1 < rows; ++r) {
    for (std::size_t c = 0; c + 1 < per_row; ++c) {
      const auto a = static_cast<std::uint32_t>(r * per_row + c);
      const auto b = a + 1;
      const auto e = static_cast<std::uint32_t>(a + per_row);
      const auto f = e + 1;
      mesh.triangles.insert(mesh.triangles.end(), {a, b, e, b, f, e});
    }
  }
}

// Point (i, j) of a patch in the tensor layout: x at 2·(4i + j), y after it.
double& X(double* patch, int i, int j) { return patch[2 * (4 * i + j)]; }
double& Y(double* patch, int i, int j) { return patch[2 * (4 * i + j) + 1]; }

// The inner points of a Coons patch as a tensor-product patch describes it.
void CoonsInterior(double* p) {
  for (int axis = 0; axis < 2; ++axis) {
    auto v = [&](int i, int j) -> double& { return axis == 0 ? X(p, i, j) : Y(p, i, j); };
    v(1, 1) = (-4 * v(0, 0) + 6 * (v(0, 1) + v(1, 0)) - 2 * (v(0, 3) + v(3, 0)) +
               3 * (v(3, 1) + v(1, 3)) - v(3, 3)) / 9;
    v(1, 2) = (-4 * v(0, 3) + 6 * (v(0, 2) + v(1, 3)) - 2 * (v(0, 0) + v(3, 3)) +
               3 * (v(3, 2) + v(1, 0)) - v(3, 0)) / 9;
    v(2, 2) = (-4 * v(3, 3) + 6 * (v(3, 2) + v(2, 3)) - 2 * (v(3, 0) + v(0, 3)) +
               3 * (v(0, 2) + v(2, 0)) - v(0, 0)) / 9;
    v(2, 1) = (-4 * v(3, 0) + 6 * (v(3, 1) + v(2, 0)) - 2 * (v(3, 3) + v(0, 0)) +
               3 * (v(0, 1) + v(2, 3)) - v(0, 3)) / 9;
  }
}

void Patches(Decoder& d, QorPaint::ShadingMesh& mesh, bool& truncated) {
  const std::size_t stride = mesh.PatchStride();
  const std::size_t n = mesh.components;
  // Stream order of the points after the shared edge, and of a whole boundary.
  static constexpr int kBoundary[12][2] = {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {1, 3}, {2, 3},
                                           {3, 3}, {3, 2}, {3, 1}, {3, 0}, {2, 0}, {1, 0}};
  static constexpr int kInner[4][2] = {{1, 1}, {1, 2}, {2, 2}, {2, 1}};
  const bool tensor = d.layout.type == 7;
  std::vector<double> patch(stride), previous(stride);
  bool have_previous = false;
  while (!d.reader.AtEnd()) {
    if (mesh.patches.size() / stride >= kMaxMeshElements) {
      truncated = true;
      return;
    }
    int flag;
    if (!d.Flag(flag)) {
      truncated = true;
      return;
    }
    if (flag != 0 && !have_previous) flag = 0;  // nothing to share: read it whole
    double* p = patch.data();
    double* colour = p + 32;
    std::size_t first_point = 0;
    std::size_t first_colour = 0;
    if (flag != 0) {
      // The shared edge: four points and two colours of the previous patch.
      static constexpr int kEdge[3][4] = {{3, 4, 5, 6}, {6, 7, 8, 9}, {9, 10, 11, 0}};
      static constexpr int kColours[3][2] = {{1, 2}, {2, 3}, {3, 0}};
      for (int k = 0; k < 4; ++k) {
        const auto* from = kBoundary[kEdge[flag - 1][k]];
        X(p, 0, k) = X(previous.data(), from[0], from[1]);
        Y(p, 0, k) = Y(previous.data(), from[0], from[1]);
      }
      for (int k = 0; k < 2; ++k) {
        const double* from = previous.data() + 32 + kColours[flag - 1][k] * n;
        std::copy(from, from + n, colour + k * n);
      }
      first_point = 4;
      first_colour = 2;
    }
    bool complete = true;
    for (std::size_t k = first_point; k < 12 && complete; ++k)
      complete = d.Point(X(p, kBoundary[k][0], kBoundary[k][1]), Y(p, kBoundary[k][0], kBoundary[k][1]));
    for (int k = 0; k < 4 && complete && tensor; ++k)
      complete = d.Point(X(p, kInner[k][0], kInner[k][1]), Y(p, kInner[k][0], kInner[k][1]));
    for (std::size_t k = first_colour; k < 4 && complete; ++k)
      complete = d.Colour(colour + k * n);
    if (!complete) {
      truncated = true;
      return;
    }
    d.reader.Align();
    if (!tensor) CoonsInterior(p);
    mesh.patches.insert(mesh.patches.end(), patch.begin(), patch.end());
    previous = patch;
    have_previous = true;
  }
}

}  // namespace

void DecodeMesh(const std::string& data, const MeshLayout& layout, QorPaint::ShadingMesh& mesh,
                bool& truncated) {
  auto valid_bits = [](int bits, std::initializer_list<int> allowed) {
    for (int b : allowed) {
      if (b == bits) return true;
    }
    return false;
  };
  if (!valid_bits(layout.bitsPerCoordinate, {1, 2, 4, 8, 12, 16, 24, 32})) {
    throw std::runtime_error("/BitsPerCoordinate is not 1, 2, 4, 8, 12, 16, 24 or 32");
  }
  if (!valid_bits(layout.bitsPerComponent, {1, 2, 4, 8, 12, 16})) {
    throw std::runtime_error("/BitsPerComponent is not 1, 2, 4, 8, 12 or 16");
  }
  if (layout.type != 5 && !valid_bits(layout.bitsPerFlag, {2, 4, 8})) {
    throw std::runtime_error("/BitsPerFlag is not 2, 4 or 8");
  }
  if (layout.decode.size() < 4 + 2 * layout.components) {
    throw std::runtime_error("/Decode is too short");
  }
  if (layout.type == 5 && layout.verticesPerRow < 2) {
    throw std::runtime_error("/VerticesPerRow is less than 2");
  }
  mesh.components = layout.components;
  Decoder d{layout, BitReader(data)};
  truncated = false;
  if (layout.type == 4) {
    mesh.kind = QorPaint::ShadingMesh::kTriangles;
    FreeForm(d, mesh, truncated);
  } else if (layout.type == 5) {
    mesh.kind = QorPaint::ShadingMesh::kTriangles;
    Lattice(d, mesh, truncated);
  } else {
    mesh.kind = QorPaint::ShadingMesh::kPatches;
    Patches(d, mesh, truncated);
  }
}

}  // namespace QorPdf::internal
