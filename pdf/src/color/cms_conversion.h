// Colour management with LittleCMS: transforms from the document's colorimetric
// sources (sRGB for DeviceRGB, CalGray, CalRGB, Lab, embedded ICC profiles) into the
// process inks.
//
// Two destinations:
// - the output intent's CMYK profile, when the document has a usable one:
//   relative colorimetric with black-point compensation, the usual prepress
//   choice (paper white stays paper, the source's black maps to the press's black);
// - otherwise the built-in separation: the source goes into sRGB (same intent) and
//   then through full grey component replacement, k = 1 − max(r, g, b),
//   c = (max − r) / max and likewise m and y. Neutrals become black ink only, and
//   DeviceRGB needs no LittleCMS step at all, so its results are exact.
//
// Colours convert under relative colorimetric; images may ask for another rendering
// intent, whose transform a CmykTransform makes from its own source profile on first
// use and keeps.
//
// Invariants: every cmsHTRANSFORM is made with cmsFLAGS_NOCACHE, so a shared
// transform may be used from several threads; a CmykTransform keeps its source
// profile open for the other intents, and every transform made into a destination
// profile is made under that destination's lock (LittleCMS profiles are not
// thread-safe, transforms are). Colours go through transforms on doubles (LittleCMS's
// CMYK doubles are 0 to 100, converted here), which LittleCMS evaluates exactly
// stage by stage; converting many colours in one call gives exactly what converting
// them one by one gives. RGB image samples may instead take a transform LittleCMS
// optimises for 8-bit input (a precalculated table, interpolated): far faster and
// within a few ink levels of the exact one (measured in docs/design.md).
#pragma once

#include <lcms2.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace QorPdf::internal {

// The built-in separation of an sRGB colour (components clipped to [0, 1]).
std::array<double, 4> SeparateRgb(double r, double g, double b);

// A destination profile and the lock under which transforms into it are made.
struct CmsDestination {
  explicit CmsDestination(cmsHPROFILE p) : profile(p) {}
  ~CmsDestination();
  CmsDestination(const CmsDestination&) = delete;
  CmsDestination& operator=(const CmsDestination&) = delete;

  cmsHPROFILE profile;
  std::mutex mutex;
};

class CmykTransform {
 public:
  // What the transform's input components are.
  enum class Input { kGray, kRgb, kLab, kOther };

  // `transform` converts under relative colorimetric from `source` (adopted, kept for
  // the other intents; may be null when `transform` is) in `format` into
  // `destination` (the output profile when `to_output`, else sRGB). A null
  // `transform` means the input is sRGB already.
  CmykTransform(cmsHTRANSFORM transform, Input input, std::size_t inputs, bool to_output,
                cmsHPROFILE source = nullptr, cmsUInt32Number format = 0,
                std::shared_ptr<CmsDestination> destination = nullptr);
  ~CmykTransform();
  CmykTransform(const CmykTransform&) = delete;
  CmykTransform& operator=(const CmykTransform&) = delete;

  Input GetInput() const { return input_; }
  std::size_t InputCount() const { return inputs_; }

  // `in` has InputCount() values in the source's own units (0 to 1 for grey and RGB,
  // L* a* b* for Lab); missing ones are 0. Cyan, Magenta, Yellow, Black in [0, 1].
  std::array<double, 4> ToCmyk(std::span<const double> in) const;

  // `count` colours at once: `in` holds InputCount() values per colour, `out`
  // receives four per colour. Under relative colorimetric each colour gets exactly
  // what ToCmyk gives it; other intents (QorImg::RenderingIntent numbers) take their
  // own transform, relative colorimetric where LittleCMS cannot make it.
  void ToCmyk(const double* in, std::size_t count, double* out, int intent) const;

  // `count` RGB samples of three bytes (0 to 255 spanning each component's unit
  // range) into four ink bytes each (Cyan, Magenta, Yellow, Black, 255 full ink),
  // through LittleCMS's transform optimised for 8-bit input under `intent` (relative
  // colorimetric where LittleCMS cannot make it). Each sample's bytes depend on that
  // sample alone, so any grouping of samples gives the same bytes. False, with
  // nothing written, for other inputs and where there is no such transform (sRGB
  // without an output profile needs no colour management: it separates exactly).
  // Allocates nothing.
  bool ToCmykBytes(const std::uint8_t* in, std::size_t count, std::uint8_t* out, int intent) const;

 private:
  cmsHTRANSFORM TransformFor(int intent) const;
  cmsHTRANSFORM BytesTransformFor(int intent) const;

  cmsHTRANSFORM transform_;  // null: the input is sRGB already
  Input input_;
  std::size_t inputs_;
  bool to_output_;  // into the output profile's CMYK; otherwise into sRGB
  cmsHPROFILE source_;
  cmsUInt32Number format_;
  std::shared_ptr<CmsDestination> destination_;
  // Perceptual, saturation and absolute colorimetric, made on first use.
  mutable std::mutex intents_mutex_;
  mutable std::array<cmsHTRANSFORM, 4> intents_{};
  mutable std::array<bool, 4> intents_tried_{};
  // Per intent, the transform from 8-bit RGB into 16-bit CMYK (or sRGB), made on
  // first use under intents_mutex_.
  mutable std::array<cmsHTRANSFORM, 4> bytes_{};
  mutable std::array<bool, 4> bytes_tried_{};
};

class CmsConversion {
 public:
  CmsConversion();
  ~CmsConversion();
  CmsConversion(const CmsConversion&) = delete;
  CmsConversion& operator=(const CmsConversion&) = delete;

  // Adopts `icc` as the destination when it is a CMYK output profile LittleCMS can
  // convert into; otherwise returns why not and keeps the built-in separation.
  // Must come before the first transform is made.
  std::optional<std::string> UseOutputProfile(std::span<const unsigned char> icc);
  bool HasOutputProfile() const { return output_ != nullptr; }

  // DeviceRGB (taken as sRGB) and D50 Lab: made on first use, then shared.
  std::shared_ptr<const CmykTransform> FromSrgb();
  std::shared_ptr<const CmykTransform> FromLab();

  // A new transform per call (the caller caches), or null with `reason` set.
  // `components` is the count the document declares for the profile.
  std::shared_ptr<const CmykTransform> FromIcc(std::span<const unsigned char> icc,
                                               std::size_t components, std::string& reason);
  std::shared_ptr<const CmykTransform> FromCalGray(const cmsCIExyY& white, double gamma,
                                                   std::string& reason);
  std::shared_ptr<const CmykTransform> FromCalRgb(const cmsCIExyY& white,
                                                  const cmsCIExyYTRIPLE& primaries,
                                                  const std::array<double, 3>& gamma,
                                                  std::string& reason);

 private:
  // Makes the transform from `source` (closed here in every case).
  std::shared_ptr<const CmykTransform> Make(cmsHPROFILE source, CmykTransform::Input input,
                                            std::string& reason);

  std::shared_ptr<CmsDestination> output_;
  std::shared_ptr<CmsDestination> srgb_;  // the destination of the built-in separation
  std::shared_ptr<const CmykTransform> from_srgb_;
  std::shared_ptr<const CmykTransform> from_lab_;
};

}  // namespace QorPdf::internal
