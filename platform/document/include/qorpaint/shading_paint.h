// Shaded paints: colours that vary over the object, given by a function of a
// parameter (axial, radial) or by a general shading description (function-based
// shadings and meshes).
//
// A shading's function yields ink tints directly: its outputs are mapped to named
// colorants by the SeparationMapping, so a Separation shading ramps exactly its own
// plate and a process shading its four process plates. Geometry is given in shading
// space; GetTransformation maps shading space into the object's space (world
// millipoints for imported pages). Immutable once built, shared by
// std::shared_ptr<const>.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "morv/coordinates.h"
#include "morv/transformation.h"
#include "qorcolor/color_list.h"
#include "qorpaint/function.h"
#include "qorpaint/paint.h"

namespace QorPaint {

// Which output of a shading's colour function paints which colorant.
class SeparationMapping {
 public:
  // The index of an entry that names a colorant the shading leaves unpainted.
  static constexpr std::size_t kNotPainted = static_cast<std::size_t>(-1);

  struct Entry {
    std::string name;
    std::size_t index = kNotPainted;  // function output, or kNotPainted
    friend bool operator==(const Entry&, const Entry&) = default;
  };

  SeparationMapping() = default;
  // `namedOnly`: the shading paints the named colorants only (overprint), so other
  // plates keep what lies beneath it.
  SeparationMapping(std::vector<Entry> entries, bool namedOnly)
      : entries_(std::move(entries)), named_only_(namedOnly) {}

  const std::vector<Entry>& GetEntries() const { return entries_; }
  // The entry of `name` (exact comparison), or null.
  const Entry* Find(std::string_view name) const;
  bool PaintsNamedColorantsOnly() const { return named_only_; }

  // The colour that function outputs `outputs` paint: one entry per painted
  // colorant, flags as the mapping says.
  QorColor::Color ColorOf(const double* outputs) const;

 private:
  std::vector<Entry> entries_;
  bool named_only_ = false;
};

// What every shaded paint has: the mapping of its outputs to colorants, its
// placement, an optional bounding box (in shading space) and an optional background
// colour that fills the object where the shading does not paint.
class ShadingPaint : public Paint {
 public:
  struct Common {
    SeparationMapping mapping;
    Morv::MilliPointTransformation transformation;
    std::optional<Morv::MilliPointRectangle> boundingBox;
    std::optional<QorColor::Color> background;
  };

  const SeparationMapping& GetSeparationMapping() const { return common_.mapping; }
  const Morv::MilliPointTransformation& GetTransformation() const {
    return common_.transformation;
  }
  const std::optional<Morv::MilliPointRectangle>& GetBoundingBox() const {
    return common_.boundingBox;
  }
  const std::optional<QorColor::Color>& GetBackground() const { return common_.background; }

 protected:
  explicit ShadingPaint(Common common) : common_(std::move(common)) {}

 private:
  Common common_;
};

// Parameter t runs over `domain` from the start point to the end point; colours are
// constant on lines perpendicular to the axis.
class AxialShadingPaint final : public ShadingPaint {
 public:
  AxialShadingPaint(Common common, std::array<Morv::MilliPointPoint, 2> points,
                    std::shared_ptr<const Function> function, Interval domain = {},
                    std::array<bool, 2> extends = {false, false});
  int GetType() const override { return kAxialShadingPaint; }

  const std::array<Morv::MilliPointPoint, 2>& GetPoints() const { return points_; }
  // Extend before the start, extend beyond the end.
  const std::array<bool, 2>& GetExtends() const { return extends_; }
  const std::shared_ptr<const Function>& GetFunction() const { return function_; }
  const Interval& GetDomain() const { return domain_; }

 private:
  std::array<Morv::MilliPointPoint, 2> points_;
  std::shared_ptr<const Function> function_;
  Interval domain_;
  std::array<bool, 2> extends_;
};

// Circles of centre c(s) = c0 + s·(c1 − c0) and radius r(s) = r0 + s·(r1 − r0);
// s in [0, 1] maps onto the parameter domain; the largest s whose circle passes
// through a point colours it.
class RadialShadingPaint final : public ShadingPaint {
 public:
  struct Circle {
    Morv::MilliPointPoint centre;
    double radius = 0.0;
  };

  RadialShadingPaint(Common common, std::array<Circle, 2> circles,
                     std::shared_ptr<const Function> function, Interval domain = {},
                     std::array<bool, 2> extends = {false, false});
  int GetType() const override { return kRadialShadingPaint; }

  const std::array<Circle, 2>& GetCircles() const { return circles_; }
  const std::array<bool, 2>& GetExtends() const { return extends_; }
  const std::shared_ptr<const Function>& GetFunction() const { return function_; }
  const Interval& GetDomain() const { return domain_; }

 private:
  std::array<Circle, 2> circles_;
  std::shared_ptr<const Function> function_;
  Interval domain_;
  std::array<bool, 2> extends_;
};

// A general shading in the form the renderer resolves: a function of two variables
// over a rectangle (kind 1), triangles with a colour at each vertex (kind 4, for
// free-form and lattice meshes alike) or bicubic patches with a colour at each
// corner (kind 6, Coons patches given in their tensor form). A colour is
// `components` values: ink tints, or with a function its parameter, which the
// function maps to tints.
struct ShadingMesh {
  enum Kind : int { kFunctionBased = 1, kTriangles = 4, kPatches = 6 };

  int kind = kTriangles;
  std::size_t components = 0;
  // The resolved values are additive grey levels (1 no ink): ink is 1 − value.
  bool additive = false;
  // Kind 1: (x, y) -> tints; kinds 4 and 6: optional, t -> tints.
  std::shared_ptr<const Function> function;

  // Kind 1: the domain rectangle and the map from it into shading space.
  std::array<Interval, 2> domain{};
  Morv::MilliPointTransformation matrix;

  // Kind 4: per vertex x, y and `components` values; three vertex indices per
  // triangle, painted in order.
  std::vector<double> vertices;
  std::vector<std::uint32_t> triangles;

  // Kind 6: per patch the 16 control points p[i][j] (i along u, j along v; x then y,
  // p00 p01 p02 p03 p10 ... p33) and the colours of the corners (u, v) = (0, 0),
  // (0, 1), (1, 1), (1, 0); painted in order.
  std::vector<double> patches;

  std::size_t PatchStride() const { return 32 + 4 * components; }
  std::size_t VertexStride() const { return 2 + components; }
  // Values of one resolved colour: the function's outputs, or the components.
  std::size_t OutputCount() const { return function ? function->OutputCount() : components; }
};

// Any other shading: function-based, free-form and lattice meshes, patch meshes.
class DefaultShadingPaint final : public ShadingPaint {
 public:
  DefaultShadingPaint(Common common, std::shared_ptr<const ShadingMesh> mesh);
  int GetType() const override { return kDefaultShadingPaint; }
  const std::shared_ptr<const ShadingMesh>& GetMesh() const { return mesh_; }

 private:
  std::shared_ptr<const ShadingMesh> mesh_;
};

// The number of leaf functions of `f`: 1, or for a stitching function the sum over
// its sub-functions (0 for an empty one).
std::size_t CountLeafFunctions(const Function& f);

}  // namespace QorPaint
