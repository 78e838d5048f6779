// Soft-mask values per line: one render of the mask's content, then one pass over
// the masked box. The only per-pixel branches test data (thresholds), never modes.

#include "composite/soft_mask_state.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "collect/group_object_info.h"
#include "frame/line_renderer.h"
#include "qordoc/color_conversion.h"
#include "qordoc/document.h"

namespace QorSc {
namespace {

constexpr std::size_t kTransferSteps = 1024;

bool UsesOnlyBlack(const QorColor::Color& colors) {
  for (const auto& entry : colors) {
    if (entry.name != "Black") return false;
  }
  return true;
}

Options MaskOptions(const SoftMaskRecord& record, const Options& enclosing) {
  const QorBlend::SoftMask& mask = *record.mask;
  const QorDoc::Content* content = mask.GetContent();
  const bool black = (content == nullptr || UsesOnlyBlack(content->GetSeparations())) &&
                     UsesOnlyBlack(mask.GetBackdrop());
  const Options::SeparationInfo& table = content != nullptr && content->GetDocument() != nullptr
                                             ? content->GetDocument()->GetSeparationInfo()
                                             : enclosing.GetSeparationInfo();
  return Options(!black, table);
}

// The backdrop colour in the mask's plates; no colour means full black.
std::vector<float> BackdropInk(const QorColor::Color& backdrop, const Options& options) {
  const bool process = options.GetOutputMode() == Options::kProcess;
  if (backdrop.Size() == 0) {
    return process ? std::vector<float>{0.0f, 0.0f, 0.0f, 1.0f} : std::vector<float>{1.0f};
  }
  if (process) {
    const auto ink = QorDoc::ConvertToProcess(backdrop, options.GetSeparationInfo());
    return {ink.begin(), ink.end()};
  }
  return {QorDoc::ConvertToGray(backdrop, options.GetSeparationInfo())};
}

float Clamp01(float v) {
  if (!(v >= 0.0f)) return 0.0f;  // NaN too
  return v > 1.0f ? 1.0f : v;
}

}  // namespace

SoftMaskState::SoftMaskState(const LineRenderer& renderer, const QorMath::Rectangle<long long>& box,
                             std::unique_ptr<SoftMaskRecord> record)
    : x0_(box.left),
      x1_(std::max(box.left, box.right)),
      options_(MaskOptions(*record, renderer.GetOptions())),
      alpha_(record->mask->IsAlpha()),
      halftones_(renderer.GetOptions().GetHalftoneMode()),
      backdrop_(BackdropInk(record->mask->GetBackdrop(), options_)),
      content_(std::make_unique<LineRenderer>(renderer.GetEnvironment(), renderer.GetPixelBox(),
                                              options_, std::move(record->content),
                                              renderer.Pools())),
      pools_(&renderer.Pools()),
      last_line_(std::numeric_limits<long long>::min()),
      values_(static_cast<std::size_t>(x1_ - x0_), 0.0f) {
  const auto* function =
      boost::get<std::function<float(float)>>(&record->mask->GetTransferFunction());
  if (function != nullptr && *function) {
    transfer_.resize(kTransferSteps + 1);
    for (std::size_t i = 0; i <= kTransferSteps; ++i) {
      transfer_[i] =
          Clamp01((*function)(static_cast<float>(i) / static_cast<float>(kTransferSteps)));
    }
  }
}

SoftMaskState::~SoftMaskState() = default;

const float* SoftMaskState::Values(long long y) {
  if (y <= last_line_) return values_.data();
  last_line_ = y;
  if (x0_ >= x1_) return values_.data();
  PooledLine line(*pools_, options_.GetBlendingSeparations().Size() + 3);
  content_->RenderLine(y, *line, nullptr);
  ScratchLine alpha(*pools_);
  line->ResolveInto(line->AlphaPlane(), x0_, x1_, alpha.Data());
  const std::size_t n = values_.size();
  float* m = values_.data();
  const float* a = alpha.Data();
  if (halftones_ == kHalftoneLabelsFullInk) {
    for (std::size_t k = 0; k < n; ++k)
      m[k] = a[k] >= 0.00001f ? 1.0f : 0.0f;
    return m;
  }
  if (alpha_) {
    std::copy(a, a + n, m);
  } else {
    Luminosity(*line, alpha.Data());
  }
  if (!transfer_.empty()) Transfer();
  if (halftones_ == kHalftoneLabels) {
    for (std::size_t k = 0; k < n; ++k)
      m[k] = m[k] >= 0.00001f ? 1.0f : 0.0f;
  }
  return m;
}

void SoftMaskState::Luminosity(LineBuffer& line, float* alpha) {
  // grey accumulates plate by plate, in the order ((0.3·C + 0.59·M) + 0.11·Y) + K.
  static constexpr float kWeights[4] = {0.3f, 0.59f, 0.11f, 1.0f};
  const std::size_t n = values_.size();
  float* grey = values_.data();
  ScratchLine plate(*pools_);
  float* c = plate.Data();
  const std::size_t plates = line.ColourPlanes();
  // 0 + w·v and 1·v are exact, so starting from 0 with weight 1 for K (or a lone
  // black plate) gives the formula's bits.
  std::fill(grey, grey + n, 0.0f);
  for (std::size_t p = 0; p < plates; ++p) {
    line.ResolveInto(p, x0_, x1_, c);
    const float bc = backdrop_[p];
    const float w = plates == 4 ? kWeights[p] : 1.0f;
    for (std::size_t k = 0; k < n; ++k)
      grey[k] = grey[k] + w * (c[k] + (1.0f - alpha[k]) * bc);
  }
  for (std::size_t k = 0; k < n; ++k)
    grey[k] = 1.0f - std::min(1.0f, grey[k]);
}

void SoftMaskState::Transfer() {
  for (float& v : values_) {
    const float t = Clamp01(v) * static_cast<float>(kTransferSteps);
    const auto i = static_cast<std::size_t>(t);
    if (i >= kTransferSteps) {
      v = transfer_[kTransferSteps];
    } else {
      v = transfer_[i] + (t - static_cast<float>(i)) * (transfer_[i + 1] - transfer_[i]);
    }
  }
}

}  // namespace QorSc
