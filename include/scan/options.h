// QorSc::Options: the rendering choices every stage of a conversion consults.
//
// - the blending separations: the colorants rendered, one colour plane each, in
//   plane order;
// - the document's separation table, for simulating spot colorants in process inks;
// - the output mode, fixed by the constructor: separations (0), process CMYK (1) or
//   one grey plate named "Black" (2); stages test it against 1 to choose the process
//   path;
// - the halftone mode, the noise level for shadings and the minimal stroke width
//   (world units; 0 = no bound), which have setters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qorcolor/color_list.h"
#include "qordoc/separation.h"
#include "scan/export.h"

namespace QorSc {

// Whether and how halftone sets are carried through the output as labels.
enum HalftoneMode : std::int32_t {
  // No halftone information.
  kHalftoneNone = 0,
  // Each fillable object's halftone set is encoded as a label component.
  kHalftoneLabels = 1,
  // As kHalftoneLabels, and objects with a flat paint carry full ink in their own
  // colorants over their whole shape.
  kHalftoneLabelsFullInk = 2,
};

class QORSC_API Options {
 public:
  enum OutputMode : std::int32_t {
    kSeparations = 0,  // exactly the caller's colorants
    kProcess = 1,      // Cyan, Magenta, Yellow, Black
    kGray = 2,         // one plate named "Black"
  };

  using SeparationList = QorColor::ColorList<QorColor::ColorSpacePolicy>;
  using SeparationInfo = std::vector<QorDoc::Separation::Entry>;

  // Process output (cmyk true) or grey output (cmyk false).
  Options(bool cmyk, const SeparationInfo& separations);
  // Separation output onto exactly the given colorants.
  Options(SeparationList blendingSeparations, const SeparationInfo& separations);

  Options(const Options& other);
  Options(Options&& other) noexcept;
  Options& operator=(const Options& other);
  Options& operator=(Options&& other) noexcept;
  ~Options();

  const SeparationList& GetBlendingSeparations() const { return blending_separations_; }
  const SeparationInfo& GetSeparationInfo() const { return separation_info_; }
  OutputMode GetOutputMode() const { return output_mode_; }

  HalftoneMode GetHalftoneMode() const { return halftone_mode_; }
  void SetHalftoneMode(HalftoneMode mode) { halftone_mode_ = mode; }
  std::size_t GetNoiseForShadings() const { return noise_for_shadings_; }
  void SetNoiseForShadings(std::size_t noise) { noise_for_shadings_ = noise; }
  long long GetMinimalStrokeWidth() const { return minimal_stroke_width_; }
  void SetMinimalStrokeWidth(long long width) { minimal_stroke_width_ = width; }

  // All six fields equal.
  QORSC_API friend bool operator==(const Options& a, const Options& b);

 private:
  void CopyScalars(const Options& other);

  SeparationList blending_separations_;
  SeparationInfo separation_info_;
  OutputMode output_mode_;
  HalftoneMode halftone_mode_ = kHalftoneNone;
  std::size_t noise_for_shadings_ = 0;
  long long minimal_stroke_width_ = 0;
};

}  // namespace QorSc
