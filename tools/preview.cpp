// Preview conversion: layering inks per pixel, then LittleCMS or the formula.
#include "preview.h"

#include <lcms2.h>

#include <algorithm>
#include <cmath>

#include "qorcolor/cmyk.h"

namespace QorScTool {

namespace {

float Clamp01(float v) {
  return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;  // NaN → 0
}

unsigned char ToByte(float v) {
  return static_cast<unsigned char>(std::lround(Clamp01(v) * 255.0f));
}

}  // namespace

Preview::Preview(const std::vector<std::string>& plates,
                 const std::vector<QorDoc::Separation::Entry>& table,
                 std::span<const unsigned char> profile, std::size_t width)
    : width_(width), cmyk_(width * 4), cmyk16_(width * 4) {
  for (const std::string& plate : plates) {
    std::array<float, 4> w{};
    const QorColor::CmykIndex::Type index = QorDoc::GetCmykIndex(plate);
    if (index != QorColor::CmykIndex::None) {
      w[index] = 1.0f;
    } else if (const QorDoc::Separation::Entry* entry = QorDoc::Separation::Find(table, plate)) {
      for (std::size_t j = 0; j < 4; ++j)
        w[j] = Clamp01(entry->GetRepresentation().GetCmyk()[j]);
    }
    weights_.push_back(w);
  }

  if (profile.empty()) {
    profile_note_ = "no output intent profile";
    return;
  }
  cmsHPROFILE cmyk =
      cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size()));
  if (cmyk == nullptr) {
    profile_note_ = "the output intent profile cannot be read";
    return;
  }
  if (cmsGetColorSpace(cmyk) != cmsSigCmykData) {
    cmsCloseProfile(cmyk);
    profile_note_ = "the output intent profile is not a CMYK profile";
    return;
  }
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  transform_ = cmsCreateTransform(cmyk, TYPE_CMYK_16, srgb, TYPE_RGB_8,
                                  INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_BLACKPOINTCOMPENSATION);
  cmsCloseProfile(srgb);
  cmsCloseProfile(cmyk);
  profile_note_ = transform_ != nullptr ? "output intent profile"
                                        : "the output intent profile cannot convert to sRGB";
}

Preview::~Preview() {
  if (transform_ != nullptr) cmsDeleteTransform(static_cast<cmsHTRANSFORM>(transform_));
}

void Preview::Convert(const unsigned char* planes, unsigned char* rgb) {
  std::fill(cmyk_.begin(), cmyk_.end(), 0.0f);
  for (std::size_t p = 0; p < weights_.size(); ++p) {
    const std::array<float, 4>& w = weights_[p];
    const unsigned char* plane = planes + p * width_;
    for (std::size_t j = 0; j < 4; ++j) {
      if (w[j] == 0.0f) continue;
      for (std::size_t x = 0; x < width_; ++x) {
        float& o = cmyk_[x * 4 + j];
        const float q = w[j] * (static_cast<float>(plane[x]) / 255.0f);
        o = (o + q) - o * q;
      }
    }
  }
  if (transform_ != nullptr) {
    for (std::size_t i = 0; i < cmyk_.size(); ++i) {
      cmyk16_[i] = static_cast<std::uint16_t>(std::lround(Clamp01(cmyk_[i]) * 65535.0f));
    }
    cmsDoTransform(static_cast<cmsHTRANSFORM>(transform_), cmyk16_.data(), rgb,
                   static_cast<cmsUInt32Number>(width_));
    return;
  }
  for (std::size_t x = 0; x < width_; ++x) {
    const float* v = &cmyk_[x * 4];
    const float white = 1.0f - Clamp01(v[3]);
    rgb[x * 3 + 0] = ToByte((1.0f - Clamp01(v[0])) * white);
    rgb[x * 3 + 1] = ToByte((1.0f - Clamp01(v[1])) * white);
    rgb[x * 3 + 2] = ToByte((1.0f - Clamp01(v[2])) * white);
  }
}

}  // namespace QorScTool
