// PDF colour spaces and their translation into ink.
//
// The document model holds ink amounts only, so every PDF colour becomes a
// QorColor::Color here:
// - DeviceCMYK: its four components as Cyan, Magenta, Yellow, Black;
// - DeviceGray g: Black 1 − g (Cyan, Magenta, Yellow 0);
// - DeviceRGB, CalGray, CalRGB, Lab, ICCBased: through LittleCMS into the output
//   intent's CMYK where the document has one, otherwise into a built-in CMYK
//   (see ColorContext); an ICCBased space with four components is taken as
//   DeviceCMYK, one with one component as DeviceGray (those profiles describe the
//   same inks);
// - Indexed: the base space's colour of the looked-up entry;
// - Separation and DeviceN: one entry per named colorant with its tint, in the
//   order the space names them; "None" colorants are left out; Separation "All"
//   yields a single entry named "All" with the colour's flag PaintsAllColorants set.
//   Each named colorant's CMYK representation (the alternate space at 100 % of that
//   colorant, every other component 0) is recorded in the context's separation
//   table the first time the space is resolved. A colorant named Cyan, Magenta,
//   Yellow or Black is that process ink.
// Every process colour lists all four process colorants, zeros included, so that
// the overprint rules the interpreter applies (Family() tells it which) see the
// whole colour. Tints are clipped to [0, 1]. The colour's overprint flags are left
// clear: overprint is graphics state, not colour.
//
// Invariants: a ColorSpace is immutable and cheap to share; ToInk allocates only
// the returned colour. Resolving never throws for bad input: an unusable space is
// reported to the warning list and replaced by DeviceGray (a broken CalGray, CalRGB
// or three-component ICCBased by its alternate or the device space of its size; an
// unusable alternate or base by a fallback that keeps the component count). Each
// space is read, and reported, once per context.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "qorcolor/color_list.h"
#include "qordoc/separation.h"
#include "qpdf_headers.h"
#include "warning_list.h"

namespace QorPdf::internal {

enum class ColorSpaceFamily {
  kDeviceGray,
  kDeviceRGB,
  kDeviceCMYK,
  kCalGray,
  kCalRGB,
  kLab,
  kICCBased,
  kIndexed,
  kSeparation,
  kDeviceN,
  kPattern,  // paints through the pattern the colour names
};

class ColorSpace {
 public:
  virtual ~ColorSpace() = default;

  virtual ColorSpaceFamily Family() const = 0;
  // Operands SC/SCN/sc/scn take (besides a pattern name): for Pattern the
  // component count of its underlying space, 0 when it has none.
  virtual std::size_t ComponentCount() const = 0;
  // The colour CS/cs set: black for process spaces, tint 1 for Separation and DeviceN,
  // index 0 for Indexed.
  virtual std::vector<double> InitialColor() const = 0;
  // `components` has ComponentCount() values; missing ones are taken as 0 and extra
  // ones ignored.
  virtual QorColor::Color ToInk(std::span<const double> components) const = 0;
  // The interval component `i` lives in, which ToInk clips to and images' default
  // decode arrays come from: [0, 1] for most spaces, L* a* b* (or /Range) for Lab
  // and ICC spaces with a /Range, [0, hival] for Indexed.
  virtual std::pair<double, double> ComponentRange(std::size_t /*i*/) const { return {0.0, 1.0}; }
  // True for a Separation whose colorant is "None" and a DeviceN whose colorants
  // all are: painting with it marks nothing.
  virtual bool PaintsNothing() const { return false; }
  // A Pattern space's underlying space (the colour of uncoloured patterns); null
  // for other spaces and a Pattern space without one.
  virtual std::shared_ptr<const ColorSpace> Underlying() const { return nullptr; }
  // Many colours at once, for the colorimetric spaces (RGB, CalGray, CalRGB, Lab,
  // ICCBased): `components` holds ComponentCount() values per colour, `cmyk` receives
  // Cyan, Magenta, Yellow and Black per colour, under relative colorimetric exactly
  // the tints ToInk gives, in one colour-management call; `intent` (a
  // QorImg::RenderingIntent) picks the transform. False, with nothing written, for
  // every other space.
  virtual bool ToProcessInks(const double* /*components*/, std::size_t /*count*/, int /*intent*/,
                             float* /*cmyk*/) const {
    return false;
  }
  // RGB image samples in bulk: `samples` holds three bytes per colour, 0 to 255
  // spanning each component's [0, 1]; `cmyk` receives Cyan, Magenta, Yellow and
  // Black bytes (255 full ink) per colour through the transform LittleCMS optimises
  // for 8-bit input (CmykTransform::ToCmykBytes: within a few levels of ToInk, each
  // colour's bytes independent of the others). False, with nothing written, for
  // spaces without one (all but DeviceRGB into an output profile and RGB ICCBased and
  // CalRGB spaces whose components span [0, 1]).
  virtual bool ToProcessBytes(const std::uint8_t* /*samples*/, std::size_t /*count*/,
                              int /*intent*/, std::uint8_t* /*cmyk*/) const {
    return false;
  }
};

// Everything colour conversion needs for one document: the output intent profile
// and the transforms made from it, the separation table and the resolved spaces
// (cached by object, so a space named on every page is read once).
class ColorContext {
 public:
  // Reads /OutputIntents (the first entry with a usable DestOutputProfile, CMYK
  // only; others are reported and ignored) from the document catalog.
  ColorContext(QPDF& pdf, WarningList& warnings);
  ~ColorContext();
  ColorContext(const ColorContext&) = delete;
  ColorContext& operator=(const ColorContext&) = delete;

  // `space` is a name (/DeviceRGB, /CS0, ...) or an array; a name that is not a
  // device family is looked up in `resources` /ColorSpace. `page` attributes
  // warnings. Never null.
  std::shared_ptr<const ColorSpace> Resolve(QPDFObjectHandle space, QPDFObjectHandle resources,
                                            std::optional<std::size_t> page);

  // The device spaces, for the defaults of the graphics state and for images.
  std::shared_ptr<const ColorSpace> DeviceGray() const;
  std::shared_ptr<const ColorSpace> DeviceRGB() const;
  std::shared_ptr<const ColorSpace> DeviceCMYK() const;
  // `family` is kDeviceGray, kDeviceRGB or kDeviceCMYK: that device space.
  std::shared_ptr<const ColorSpace> Device(ColorSpaceFamily family) const;

  // The space `resources` /ColorSpace names /DefaultGray, /DefaultRGB or /DefaultCMYK
  // for the device `family`: null when the resources have no such entry (the caller
  // looks further out); the device space itself when the entry is unusable (not a
  // space, a Pattern or Indexed space, or the wrong number of components), reported
  // once per entry.
  std::shared_ptr<const ColorSpace> DefaultSpace(ColorSpaceFamily family,
                                                 QPDFObjectHandle resources,
                                                 std::optional<std::size_t> page);
  // The device family `space` names, directly or through `resources` /ColorSpace
  // (CS0 defined as /DeviceRGB); nothing for arrays and every other space.
  static std::optional<ColorSpaceFamily> DeviceFamilyNamed(QPDFObjectHandle space,
                                                           QPDFObjectHandle resources);

  // Named colorants met so far, in order of first resolution, with their CMYK
  // representation.
  const std::vector<QorDoc::Separation::Entry>& Separations() const;
  // The output intent's ICC profile as stored in the file; empty when there is none.
  const std::vector<unsigned char>& OutputIntentProfile() const;
  // The output intent's description (OutputConditionIdentifier or Info), or empty.
  const std::string& OutputIntentName() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QorPdf::internal
