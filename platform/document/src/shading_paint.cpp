// Shaded paints: construction and the small queries the renderers share.

#include "qorpaint/shading_paint.h"

#include <utility>

namespace QorPaint {

const SeparationMapping::Entry* SeparationMapping::Find(std::string_view name) const {
  for (const Entry& entry : entries_) {
    if (entry.name == name) return &entry;
  }
  return nullptr;
}

QorColor::Color SeparationMapping::ColorOf(const double* outputs) const {
  QorColor::Color color;
  for (const Entry& entry : entries_) {
    if (entry.index == kNotPainted) continue;
    color.Add(entry.name, static_cast<float>(outputs[entry.index]));
  }
  color.SetPaintsNamedColorantsOnly(named_only_);
  return color;
}

AxialShadingPaint::AxialShadingPaint(Common common, std::array<Morv::MilliPointPoint, 2> points,
                                     std::shared_ptr<const Function> function, Interval domain,
                                     std::array<bool, 2> extends)
    : ShadingPaint(std::move(common)),
      points_(points),
      function_(std::move(function)),
      domain_(domain),
      extends_(extends) {
  if (!function_) throw std::invalid_argument("AxialShadingPaint: a shading needs a function");
}

RadialShadingPaint::RadialShadingPaint(Common common, std::array<Circle, 2> circles,
                                       std::shared_ptr<const Function> function, Interval domain,
                                       std::array<bool, 2> extends)
    : ShadingPaint(std::move(common)),
      circles_(circles),
      function_(std::move(function)),
      domain_(domain),
      extends_(extends) {
  if (!function_) throw std::invalid_argument("RadialShadingPaint: a shading needs a function");
}

DefaultShadingPaint::DefaultShadingPaint(Common common, std::shared_ptr<const ShadingMesh> mesh)
    : ShadingPaint(std::move(common)), mesh_(std::move(mesh)) {
  if (!mesh_) throw std::invalid_argument("DefaultShadingPaint: a shading needs its mesh");
}

std::size_t CountLeafFunctions(const Function& f) {
  if (f.GetType() != Function::kStitching) return 1;
  std::size_t count = 0;
  for (const auto& sub : static_cast<const StitchingFunction&>(f).GetFunctions()) {
    if (sub) count += CountLeafFunctions(*sub);
  }
  return count;
}

}  // namespace QorPaint
