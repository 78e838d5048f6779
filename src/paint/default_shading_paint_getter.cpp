// General shadings: the resolved spans and colours of a line, painted over runs.

#include "paint/default_shading_paint_getter.h"

#include <algorithm>
#include <string>

#include "qordoc/separation.h"

namespace QorSc {
namespace {

float Tint(float v) {
  if (!(v > 0.0f)) return 0.0f;
  return v < 1.0f ? v : 1.0f;
}

}  // namespace

DefaultShadingPaintGetter::DefaultShadingPaintGetter(
    std::shared_ptr<const QorPaint::DefaultShadingPaint> paint, const Environment& env,
    const Options& options, const Morv::MilliPointTransformation& transformation,
    const QorMath::Rectangle<long long>& pixelBox, ScratchChains& chains)
    : ShadingPaintGetter(*paint, env, options, transformation, pixelBox, chains),
      paint_(std::move(paint)),
      mode_(options.GetOutputMode()),
      inverted_(paint_->GetMesh()->additive) {
  shading_ = QorShading::ShadingFactory::MakeShading(
      paint_->GetMesh(), ShadingPlacementInPixels(env, Placement()), pixelBox);
  // One span per active triangle at most: no line allocates.
  spans_.reserve(shading_->TriangleCount());
  const auto& mapping = paint_->GetSeparationMapping();
  const std::size_t outputs = shading_->OutputCount();
  if (mode_ == Options::kSeparations) {
    const auto& separations = options.GetBlendingSeparations();
    for (std::size_t c = 0; c < Kinds().size(); ++c) {
      if (Kinds()[c] != kKindPerPixel) continue;
      const auto* entry = mapping.Find(separations.GetName(c));
      // A mapping beyond the shading's values (malformed) paints no ink.
      mapping_.emplace_back(c, entry != nullptr && entry->index < outputs ? entry->index : outputs);
    }
  } else {
    std::vector<std::string> names;
    for (const auto& entry : mapping.GetEntries()) {
      if (entry.index == QorPaint::SeparationMapping::kNotPainted || entry.index >= outputs) continue;
      names.push_back(entry.name);
      colorant_values_.push_back(entry.index);
    }
    converter_.emplace(names, options.GetSeparationInfo());
    tints_.resize(names.size());
    if (mode_ == Options::kProcess) MapProcessColorantsDirectly(names);
  }
}

// Process colorants, each on a plate of its own, convert to themselves: a plate
// that only they layer onto holds exactly the clamped tint. Their values are then
// copied like separations, without a conversion per pixel.
void DefaultShadingPaintGetter::MapProcessColorantsDirectly(const std::vector<std::string>& names) {
  const std::size_t none = shading_->OutputCount();
  std::vector<std::pair<std::size_t, std::size_t>> plates;
  for (std::size_t c = 0; c < 4; ++c)
    plates.emplace_back(c, none);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const auto plate = QorDoc::GetCmykIndex(names[i]);
    if (plate == QorColor::CmykIndex::None || plates[plate].second != none) return;
    plates[plate].second = colorant_values_[i];
  }
  mapping_ = std::move(plates);
  direct_ = true;
}

DefaultShadingPaintGetter::~DefaultShadingPaintGetter() = default;

void DefaultShadingPaintGetter::Fill(const Run& piece, SourcePaintBuffers& buffers) {
  const std::size_t outputs = shading_->OutputCount();
  if (mode_ == Options::kSeparations || direct_) {
    for (const auto& [c, k] : mapping_) {
      const PixelPlane<float> out = buffers.Component(c);
      if (k >= outputs) {
        std::fill(out.At(piece.start), out.At(piece.End()), 0.0f);
        continue;
      }
      if (inverted_) {
        for (long long x = piece.start; x < piece.End(); ++x)
          out[x] = Tint(1.0f - shading_->ValuesAt(x)[k]);
      } else {
        for (long long x = piece.start; x < piece.End(); ++x)
          out[x] = Tint(shading_->ValuesAt(x)[k]);
      }
    }
    return;
  }
  for (long long x = piece.start; x < piece.End(); ++x) {
    const float* values = shading_->ValuesAt(x);
    for (std::size_t i = 0; i < colorant_values_.size(); ++i) {
      const float v = values[colorant_values_[i]];
      tints_[i] = inverted_ ? 1.0f - v : v;
    }
    if (mode_ == Options::kProcess) {
      const auto cmyk = converter_->ToProcess(tints_.data());
      for (std::size_t c = 0; c < 4; ++c)
        buffers.Component(c)[x] = cmyk[c];
    } else {
      const float gray = converter_->ToGray(tints_.data());
      for (std::size_t c = 0; c < Kinds().size(); ++c) {
        if (Kinds()[c] == kKindPerPixel) buffers.Component(c)[x] = gray;
      }
    }
  }
}

void DefaultShadingPaintGetter::Compute(const PaintLine& line, const RunList& runs,
                                        SourcePaintBuffers& buffers, RunList& painted) {
  painted.clear();
  if (BeginsLine(line.y)) shading_->CrossSection(line.y, spans_);
  const RunList* input = InBox(runs);
  if (input == nullptr) return;
  for (const Run& run : *input) {
    for (const QorShading::Span& span : spans_) {
      const long long s = std::max<long long>(run.start, span.first);
      const long long e = std::min<long long>(run.End(), span.end);
      if (s >= e) continue;
      const Run piece{s, e - s};
      painted.push_back(piece);
      Fill(piece, buffers);
    }
  }
}

}  // namespace QorSc
