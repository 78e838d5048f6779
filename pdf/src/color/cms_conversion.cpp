// LittleCMS transforms into the output intent's CMYK or the built-in separation.
//
// Everything here runs when a colour space is resolved, except CmykTransform::ToCmyk
// and ToCmykBytes, which run per colour (or per batch of an image's colours) and
// allocate nothing.
#include "color/cms_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace QorPdf::internal {

namespace {

constexpr cmsUInt32Number kIntent = INTENT_RELATIVE_COLORIMETRIC;
constexpr cmsUInt32Number kFlags = cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE;

double Unit(double x) {
  if (!(x >= 0.0)) return 0.0;  // also NaN
  return x > 1.0 ? 1.0 : x;
}

cmsHPROFILE OpenProfile(std::span<const unsigned char> icc) {
  if (icc.empty() || icc.size() > std::numeric_limits<cmsUInt32Number>::max()) return nullptr;
  return cmsOpenProfileFromMem(icc.data(), static_cast<cmsUInt32Number>(icc.size()));
}

}  // namespace

std::array<double, 4> SeparateRgb(double r, double g, double b) {
  r = Unit(r);
  g = Unit(g);
  b = Unit(b);
  const double max = std::max({r, g, b});
  if (max == 0.0) return {0.0, 0.0, 0.0, 1.0};
  // (max − r)/max is (1 − r − k)/(1 − k) with k = 1 − max, without the rounding of k.
  return {(max - r) / max, (max - g) / max, (max - b) / max, 1.0 - max};
}

namespace {

// Rounds sRGB results to a 1e-6 grid, then separates them.
std::array<double, 4> SeparateConverted(const double* rgb) {
  // LittleCMS's float arithmetic leaves noise in the last digits where a colour is
  // neutral or black; near black the separation would turn it into full CMY under
  // the black. Results on a 1e-6 grid keep such colours neutral.
  return SeparateRgb(std::round(rgb[0] * 1e6) / 1e6, std::round(rgb[1] * 1e6) / 1e6,
                     std::round(rgb[2] * 1e6) / 1e6);
}

}  // namespace

CmsDestination::~CmsDestination() {
  if (profile) cmsCloseProfile(profile);
}

CmykTransform::CmykTransform(cmsHTRANSFORM transform, Input input, std::size_t inputs,
                             bool to_output, cmsHPROFILE source, cmsUInt32Number format,
                             std::shared_ptr<CmsDestination> destination)
    : transform_(transform),
      input_(input),
      inputs_(inputs),
      to_output_(to_output),
      source_(source),
      format_(format),
      destination_(std::move(destination)) {}

CmykTransform::~CmykTransform() {
  for (cmsHTRANSFORM t : intents_) {
    if (t) cmsDeleteTransform(t);
  }
  for (cmsHTRANSFORM t : bytes_) {
    if (t) cmsDeleteTransform(t);
  }
  if (transform_) cmsDeleteTransform(transform_);
  if (source_) {
    // The source profile is read only under the destination's lock.
    std::lock_guard<std::mutex> lock(destination_->mutex);
    cmsCloseProfile(source_);
  }
}

cmsHTRANSFORM CmykTransform::TransformFor(int intent) const {
  if (intent < 0 || intent > 3 || intent == static_cast<int>(kIntent) || !source_) {
    return transform_;
  }
  const auto slot = static_cast<std::size_t>(intent);
  std::lock_guard<std::mutex> lock(intents_mutex_);
  if (!intents_tried_[slot]) {
    intents_tried_[slot] = true;
    std::lock_guard<std::mutex> profiles(destination_->mutex);
    intents_[slot] = cmsCreateTransform(source_, format_, destination_->profile,
                                        to_output_ ? TYPE_CMYK_DBL : TYPE_RGB_DBL,
                                        static_cast<cmsUInt32Number>(intent), kFlags);
  }
  return intents_[slot] ? intents_[slot] : transform_;
}

cmsHTRANSFORM CmykTransform::BytesTransformFor(int intent) const {
  if (!transform_ || !source_ || input_ != Input::kRgb) return nullptr;
  if (intent < 0 || intent > 3) intent = static_cast<int>(kIntent);
  const auto slot = static_cast<std::size_t>(intent);
  {
    std::lock_guard<std::mutex> lock(intents_mutex_);
    if (!bytes_tried_[slot]) {
      bytes_tried_[slot] = true;
      std::lock_guard<std::mutex> profiles(destination_->mutex);
      // No cmsFLAGS_NOOPTIMIZE and integer formats: LittleCMS precalculates the
      // device link into a table with interpolation, its usual path for images.
      bytes_[slot] = cmsCreateTransform(source_, TYPE_RGB_8, destination_->profile,
                                        to_output_ ? TYPE_CMYK_16 : TYPE_RGB_16,
                                        static_cast<cmsUInt32Number>(intent), kFlags);
    }
    if (bytes_[slot] || intent == static_cast<int>(kIntent)) return bytes_[slot];
  }
  return BytesTransformFor(static_cast<int>(kIntent));
}

namespace {

// A 16-bit ink (0 to 65535) as a byte, rounded to nearest: 65535 = 255 × 257.
std::uint8_t InkByte(unsigned wide) {
  return static_cast<std::uint8_t>((wide + 128u) / 257u);
}

// The built-in separation of a 16-bit sRGB colour, as SeparateRgb, rounded to bytes in
// integers (the values are exact on the 16-bit grid, so neutrals stay neutral).
void SeparateWide(const std::uint16_t* rgb, std::uint8_t* cmyk) {
  const unsigned max = std::max({rgb[0], rgb[1], rgb[2]});
  if (max == 0) {
    cmyk[0] = cmyk[1] = cmyk[2] = 0;
    cmyk[3] = 255;
    return;
  }
  // round(255 (max − c) / max), halves up: below 2^25, so no overflow.
  for (int i = 0; i < 3; ++i)
    cmyk[i] = static_cast<std::uint8_t>((510u * (max - rgb[i]) + max) / (2u * max));
  cmyk[3] = InkByte(65535u - max);
}

}  // namespace

bool CmykTransform::ToCmykBytes(const std::uint8_t* in, std::size_t count, std::uint8_t* out,
                                int intent) const {
  const cmsHTRANSFORM transform = BytesTransformFor(intent);
  if (!transform) return false;
  constexpr std::size_t kChunk = 1024;
  std::array<std::uint16_t, 4 * kChunk> wide;
  for (std::size_t first = 0; first < count; first += kChunk) {
    const std::size_t n = std::min(kChunk, count - first);
    cmsDoTransform(transform, in + 3 * first, wide.data(), static_cast<cmsUInt32Number>(n));
    std::uint8_t* o = out + 4 * first;
    if (to_output_) {
      for (std::size_t i = 0; i < 4 * n; ++i)
        o[i] = InkByte(wide[i]);
    } else {
      for (std::size_t s = 0; s < n; ++s)
        SeparateWide(wide.data() + 3 * s, o + 4 * s);
    }
  }
  return true;
}

std::array<double, 4> CmykTransform::ToCmyk(std::span<const double> in) const {
  std::array<double, cmsMAXCHANNELS> source{};
  const std::size_t n = std::min({in.size(), inputs_, source.size()});
  std::copy_n(in.begin(), n, source.begin());
  if (!transform_) return SeparateRgb(source[0], source[1], source[2]);
  std::array<double, 4> out{};
  cmsDoTransform(transform_, source.data(), out.data(), 1);
  if (!to_output_) return SeparateConverted(out.data());
  for (double& v : out)
    v = Unit(v / 100.0);
  return out;
}

void CmykTransform::ToCmyk(const double* in, std::size_t count, double* out, int intent) const {
  if (!transform_) {
    for (std::size_t i = 0; i < count; ++i, in += inputs_, out += 4) {
      const std::array<double, 4> cmyk = SeparateRgb(in[0], in[1], in[2]);
      std::copy(cmyk.begin(), cmyk.end(), out);
    }
    return;
  }
  // One call for the lot; LittleCMS converts each colour on its own, so the results
  // are those of one call per colour.
  cmsDoTransform(TransformFor(intent), in, out, static_cast<cmsUInt32Number>(count));
  if (to_output_) {
    for (std::size_t i = 0; i < 4 * count; ++i)
      out[i] = Unit(out[i] / 100.0);
    return;
  }
  // Three values per colour came out; spread them to four from the end, where no
  // colour's result overwrites another's values before they are read.
  for (std::size_t i = count; i-- > 0;) {
    const std::array<double, 4> cmyk = SeparateConverted(out + 3 * i);
    std::copy(cmyk.begin(), cmyk.end(), out + 4 * i);
  }
}

CmsConversion::CmsConversion() = default;

CmsConversion::~CmsConversion() = default;

std::optional<std::string> CmsConversion::UseOutputProfile(std::span<const unsigned char> icc) {
  cmsHPROFILE profile = OpenProfile(icc);
  if (!profile) return "LittleCMS cannot read the ICC profile";
  std::optional<std::string> refusal;
  if (cmsGetColorSpace(profile) != cmsSigCmykData) {
    refusal = "the profile is not a CMYK profile";
  } else if (cmsGetDeviceClass(profile) != cmsSigOutputClass) {
    refusal = "the profile is not an output profile";
  } else {
    // Proof that LittleCMS can build a transform into it (a profile may lack the
    // intent's own table and still serve it through its perceptual one).
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHTRANSFORM probe =
        srgb ? cmsCreateTransform(srgb, TYPE_RGB_DBL, profile, TYPE_CMYK_DBL, kIntent, kFlags)
             : nullptr;
    if (probe) {
      cmsDeleteTransform(probe);
    } else {
      refusal = "LittleCMS cannot convert into the profile";
    }
    if (srgb) cmsCloseProfile(srgb);
  }
  if (refusal) {
    cmsCloseProfile(profile);
    return refusal;
  }
  output_ = std::make_shared<CmsDestination>(profile);
  from_srgb_.reset();
  from_lab_.reset();
  return std::nullopt;
}

std::shared_ptr<const CmykTransform> CmsConversion::Make(cmsHPROFILE source,
                                                         CmykTransform::Input input,
                                                         std::string& reason) {
  if (!source) {
    reason = "LittleCMS cannot read the profile";
    return nullptr;
  }
  const cmsInt32Number channels = cmsChannelsOfColorSpace(cmsGetColorSpace(source));
  const cmsUInt32Number format = cmsFormatterForColorspaceOfProfile(source, 0, TRUE);
  // The built-in destination is made with the first profile that needs it: most
  // pages have none, and LittleCMS's tables stay out of their memory.
  if (!output_ && !srgb_) srgb_ = std::make_shared<CmsDestination>(cmsCreate_sRGBProfile());
  const std::shared_ptr<CmsDestination>& destination = output_ ? output_ : srgb_;
  cmsHTRANSFORM transform = nullptr;
  if (channels > 0 && channels < cmsMAXCHANNELS && format != 0 && destination->profile) {
    std::lock_guard<std::mutex> lock(destination->mutex);
    transform = cmsCreateTransform(source, format, destination->profile,
                                   output_ ? TYPE_CMYK_DBL : TYPE_RGB_DBL, kIntent, kFlags);
  }
  if (!transform) {
    cmsCloseProfile(source);
    reason = "LittleCMS cannot convert from the profile";
    return nullptr;
  }
  return std::make_shared<CmykTransform>(transform, input, static_cast<std::size_t>(channels),
                                         output_ != nullptr, source, format, destination);
}

std::shared_ptr<const CmykTransform> CmsConversion::FromSrgb() {
  if (!from_srgb_) {
    if (output_) {
      std::string reason;
      from_srgb_ = Make(cmsCreate_sRGBProfile(), CmykTransform::Input::kRgb, reason);
    }
    // Without an output profile (or, never expected, when LittleCMS fails on its own
    // sRGB) the values are sRGB already.
    if (!from_srgb_) {
      from_srgb_ = std::make_shared<CmykTransform>(nullptr, CmykTransform::Input::kRgb, 3, false);
    }
  }
  return from_srgb_;
}

std::shared_ptr<const CmykTransform> CmsConversion::FromLab() {
  if (!from_lab_) {
    std::string reason;
    from_lab_ = Make(cmsCreateLab4Profile(nullptr), CmykTransform::Input::kLab, reason);
  }
  return from_lab_;
}

std::shared_ptr<const CmykTransform> CmsConversion::FromIcc(std::span<const unsigned char> icc,
                                                            std::size_t components,
                                                            std::string& reason) {
  cmsHPROFILE profile = OpenProfile(icc);
  if (!profile) {
    reason = "LittleCMS cannot read the ICC profile";
    return nullptr;
  }
  const cmsColorSpaceSignature space = cmsGetColorSpace(profile);
  const cmsProfileClassSignature kind = cmsGetDeviceClass(profile);
  const cmsInt32Number channels = cmsChannelsOfColorSpace(space);
  if (channels < 0 || static_cast<std::size_t>(channels) != components) {
    reason = "the ICC profile has " + std::to_string(channels) + " components, the space " +
             std::to_string(components);
    cmsCloseProfile(profile);
    return nullptr;
  }
  // Abstract profiles stay: a Lab identity profile is one.
  if (kind == cmsSigLinkClass || kind == cmsSigNamedColorClass) {
    reason = "the ICC profile does not describe a colour space";
    cmsCloseProfile(profile);
    return nullptr;
  }
  CmykTransform::Input input = CmykTransform::Input::kOther;
  if (space == cmsSigGrayData) input = CmykTransform::Input::kGray;
  if (space == cmsSigRgbData) input = CmykTransform::Input::kRgb;
  if (space == cmsSigLabData) input = CmykTransform::Input::kLab;
  return Make(profile, input, reason);
}

std::shared_ptr<const CmykTransform> CmsConversion::FromCalGray(const cmsCIExyY& white,
                                                                double gamma, std::string& reason) {
  cmsToneCurve* curve = cmsBuildGamma(nullptr, gamma);
  if (!curve) {
    reason = "LittleCMS cannot build the gamma curve";
    return nullptr;
  }
  cmsHPROFILE profile = cmsCreateGrayProfile(&white, curve);
  cmsFreeToneCurve(curve);
  return Make(profile, CmykTransform::Input::kGray, reason);
}

std::shared_ptr<const CmykTransform> CmsConversion::FromCalRgb(const cmsCIExyY& white,
                                                               const cmsCIExyYTRIPLE& primaries,
                                                               const std::array<double, 3>& gamma,
                                                               std::string& reason) {
  std::array<cmsToneCurve*, 3> curves{};
  for (std::size_t i = 0; i < 3; ++i)
    curves[i] = cmsBuildGamma(nullptr, gamma[i]);
  cmsHPROFILE profile = nullptr;
  if (curves[0] && curves[1] && curves[2]) {
    profile = cmsCreateRGBProfile(&white, &primaries, curves.data());
  }
  for (cmsToneCurve* curve : curves) {
    if (curve) cmsFreeToneCurve(curve);
  }
  return Make(profile, CmykTransform::Input::kRgb, reason);
}

}  // namespace QorPdf::internal
