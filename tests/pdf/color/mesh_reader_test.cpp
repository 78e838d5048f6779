// Mesh streams whose vertices and patches are not whole bytes: 12-bit coordinates
// and colours with 2-bit flags, and 1-bit colours. Each vertex (types 4 and 5) and
// each patch (6 and 7) starts on a byte boundary, its last byte padded, as
// Ghostscript reads them; a stream packed without that padding is shorter and reads
// as truncated.
#include "color/mesh_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace QorPdf::internal {
namespace {

using Field = std::pair<std::uint32_t, int>;  // value, bits

// Fields most significant bit first; with `padded`, each element ends on a byte.
std::string Pack(const std::vector<std::vector<Field>>& elements, bool padded) {
  std::string out;
  std::uint64_t acc = 0;
  int bits = 0;
  auto flush = [&](bool all) {
    while (bits >= 8 || (all && bits > 0)) {
      if (bits < 8) {
        acc <<= 8 - bits;
        bits = 8;
      }
      out.push_back(static_cast<char>((acc >> (bits - 8)) & 0xff));
      bits -= 8;
    }
  };
  for (const auto& element : elements) {
    for (const auto& [value, width] : element) {
      acc = (acc << width) | value;
      bits += width;
      flush(false);
    }
    if (padded) flush(true);
  }
  flush(true);
  return out;
}

MeshLayout Layout(int type, int coordinate, int component, int flag) {
  MeshLayout layout;
  layout.type = type;
  layout.bitsPerCoordinate = coordinate;
  layout.bitsPerComponent = component;
  layout.bitsPerFlag = flag;
  layout.components = 1;
  layout.decode = {0, 4095, 0, 4095, 0, 1};
  return layout;
}

TEST(MeshReader, TwelveBitVerticesStartOnByteBoundaries) {
  // Type 4: 2 + 12 + 12 + 12 = 38 bits a vertex, padded to 5 bytes.
  const std::vector<std::vector<Field>> vertices = {
      {{0, 2}, {100, 12}, {200, 12}, {0, 12}},
      {{0, 2}, {4000, 12}, {200, 12}, {4095, 12}},
      {{0, 2}, {100, 12}, {3900, 12}, {2048, 12}},
      {{1, 2}, {4000, 12}, {3900, 12}, {1, 12}},
  };
  QorPaint::ShadingMesh mesh;
  bool truncated = false;
  DecodeMesh(Pack(vertices, true), Layout(4, 12, 12, 2), mesh, truncated);
  EXPECT_FALSE(truncated);
  ASSERT_EQ(mesh.vertices.size(), 4u * 3);
  EXPECT_EQ(mesh.vertices[3], 4000.0);
  EXPECT_EQ(mesh.vertices[4], 200.0);
  EXPECT_EQ(mesh.vertices[5], 1.0);
  EXPECT_EQ(mesh.vertices[9], 4000.0);
  EXPECT_EQ(mesh.vertices[10], 3900.0);
  EXPECT_EQ(mesh.vertices[11], 1.0 / 4095.0);
  EXPECT_EQ(mesh.triangles, (std::vector<std::uint32_t>{0, 1, 2, 1, 2, 3}));

  // The same vertices packed back to back are 19 bytes, not 20: the fourth vertex
  // is incomplete under the byte-boundary rule.
  QorPaint::ShadingMesh unpadded;
  DecodeMesh(Pack(vertices, false), Layout(4, 12, 12, 2), unpadded, truncated);
  EXPECT_TRUE(truncated);

  // Type 5, 36 bits a vertex, and one-bit colours: every vertex still restarts.
  std::vector<std::vector<Field>> lattice;
  for (std::uint32_t i = 0; i < 6; ++i)
    lattice.push_back({{i * 700, 12}, {(i / 3) * 4000, 12}, {i % 2, 1}});
  MeshLayout layout = Layout(5, 12, 1, 0);
  layout.verticesPerRow = 3;
  QorPaint::ShadingMesh grid;
  truncated = false;
  DecodeMesh(Pack(lattice, true), layout, grid, truncated);
  EXPECT_FALSE(truncated);
  ASSERT_EQ(grid.vertices.size(), 6u * 3);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(grid.vertices[3 * i], 700.0 * static_cast<double>(i)) << i;
    EXPECT_EQ(grid.vertices[3 * i + 2], static_cast<double>(i % 2)) << i;
  }
  EXPECT_EQ(grid.triangles.size(), 4u * 3);
}

TEST(MeshReader, TwelveBitPatchesStartOnByteBoundaries) {
  // Type 6: 2 + 12 · 24 + 4 · 12 = 338 bits a patch, padded to 43 bytes.
  std::vector<std::vector<Field>> patches;
  for (std::uint32_t p = 0; p < 2; ++p) {
    std::vector<Field> patch = {{0, 2}};
    for (std::uint32_t k = 0; k < 12; ++k) {
      patch.emplace_back(p * 2000 + k * 10, 12);
      patch.emplace_back(k * 300, 12);
    }
    for (std::uint32_t c = 0; c < 4; ++c)
      patch.emplace_back(c * 1000 + p, 12);
    patches.push_back(patch);
  }
  QorPaint::ShadingMesh mesh;
  bool truncated = false;
  const std::string data = Pack(patches, true);
  ASSERT_EQ(data.size(), 86u);
  DecodeMesh(data, Layout(6, 12, 12, 2), mesh, truncated);
  EXPECT_FALSE(truncated);
  ASSERT_EQ(mesh.patches.size(), 2 * mesh.PatchStride());
  // The second patch's first point and last corner colour, read from byte 43 on.
  const double* second = mesh.patches.data() + mesh.PatchStride();
  EXPECT_EQ(second[0], 2000.0);
  EXPECT_EQ(second[1], 0.0);
  bool found = false;
  for (std::size_t c = 0; c < 4; ++c)
    found |= second[32 + c] == 3001.0 / 4095.0;
  EXPECT_TRUE(found) << "a corner colour of the second patch";
}

}  // namespace
}  // namespace QorPdf::internal
