// DefaultShadingPaintGetter: general shadings (function-based, triangle meshes,
// patch meshes), resolved line by line by the shading resolution platform.
//
// Per line the resolved shading reports the spans it covers and a colour for each
// covered pixel (function outputs or vertex values, ink tints of the paint's
// mapping, or additive grey levels written as 1 − value); the getter paints the
// object's runs where they meet the spans and the bounding box. Separation output takes each plate's mapped tint; process and grey
// output convert the mapped colorants per pixel without allocating.
//
// Invariants: lines come top to bottom; Compute allocates nothing once the span
// list has grown; memory beyond the mesh is one row of the pixel box.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "paint/shading_paint_getter.h"
#include "qordoc/color_conversion.h"
#include "qorpaint/shading_paint.h"
#include "qorshading/shading.h"

namespace QorSc {

class DefaultShadingPaintGetter final : public ShadingPaintGetter {
 public:
  DefaultShadingPaintGetter(std::shared_ptr<const QorPaint::DefaultShadingPaint> paint,
                            const Environment& env, const Options& options,
                            const Morv::MilliPointTransformation& transformation,
                            const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains);
  ~DefaultShadingPaintGetter() override;

  void Compute(const PaintLine& line, const RunList& runs, SourcePaintBuffers& buffers,
               RunList& painted) override;

  const QorShading::Shading& Resolved() const { return *shading_; }

 private:
  void Fill(const Run& piece, SourcePaintBuffers& buffers);
  void MapProcessColorantsDirectly(const std::vector<std::string>& names);

  std::shared_ptr<const QorPaint::DefaultShadingPaint> paint_;
  std::unique_ptr<QorShading::Shading> shading_;
  Options::OutputMode mode_;
  bool inverted_;
  // Separation output, and process output of process colorants only (`direct_`):
  // (component, resolved value index) of every PerPixel component.
  std::vector<std::pair<std::size_t, std::size_t>> mapping_;
  bool direct_ = false;
  // Process and grey output: the mapped colorants' value indexes and their converter.
  std::vector<std::size_t> colorant_values_;
  std::optional<QorDoc::ProcessConverter> converter_;
  mutable std::vector<float> tints_;
  std::vector<QorShading::Span> spans_;
};

}  // namespace QorSc
