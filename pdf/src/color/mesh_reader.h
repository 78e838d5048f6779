// Decoding the streams of mesh shadings (types 4 to 7) into the document model's
// ShadingMesh: bit-packed flags, coordinates and colours mapped through /Decode,
// free-form triangles with shared edges (4), lattices (5), Coons (6) and
// tensor-product (7) patches with shared edges, Coons patches given in tensor form.
//
// Invariants: every vertex, and every patch, starts on a byte boundary; a stream
// that ends inside one keeps what was complete before it (reported through
// `truncated`); at most kMaxMeshElements vertices or patches are read.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "qorpaint/shading_paint.h"
#include "qpdf_headers.h"

namespace QorPdf::internal {

inline constexpr std::size_t kMaxMeshElements = std::size_t{1} << 20;

struct MeshLayout {
  int type = 4;
  int bitsPerCoordinate = 8;
  int bitsPerComponent = 8;
  int bitsPerFlag = 8;
  int verticesPerRow = 2;
  std::size_t components = 1;  // colour values per vertex (1 with a function)
  std::vector<double> decode;  // xmin xmax ymin ymax, then a pair per value
};

// Fills `mesh` (kind, vertices and triangles, or patches) from `data`. Throws
// std::runtime_error for a layout it cannot read; sets `truncated` when the data
// ended inside a vertex or patch, or past the element limit.
void DecodeMesh(const std::string& data, const MeshLayout& layout, QorPaint::ShadingMesh& mesh,
                bool& truncated);

}  // namespace QorPdf::internal
