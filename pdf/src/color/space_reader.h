// The pieces ColorContext assembles colour spaces from: the concrete process spaces,
// the readers of each family's array, and SpaceReader, the context's side of
// reading (nested spaces, warnings, conversions, the separation table).
//
// Readers return null for an unusable space after reporting why through
// SpaceReader::Warn; the caller picks the fallback (DeviceGray at the top, a space
// of the right component count for a base or an alternate). Readers may throw qpdf's
// exceptions for damaged objects; ColorContext catches them.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "color/cms_conversion.h"
#include "color/color_space.h"

namespace QorPdf::internal {

// The most components a space may have (DeviceN's colorant limit).
inline constexpr std::size_t kMaxComponents = 32;

class SpaceReader {
 public:
  virtual ~SpaceReader() = default;

  // A space inside another (base, alternate, NChannel colorant): an array, or the
  // name of a family; never a resource name. Null when unusable (already reported).
  virtual std::shared_ptr<const ColorSpace> Nested(QPDFObjectHandle space, int depth) = 0;
  // Reports a problem with the space being resolved.
  virtual void Warn(std::string reason) = 0;
  virtual CmsConversion& Cms() = 0;
  // The transform of an embedded profile, one per stream: null (with `reason`) when
  // it cannot be used.
  virtual std::shared_ptr<const CmykTransform> IccTransform(QPDFObjectHandle stream,
                                                            std::size_t components,
                                                            std::string& reason) = 0;
  virtual std::shared_ptr<const ColorSpace> Gray() const = 0;
  virtual std::shared_ptr<const ColorSpace> Rgb() const = 0;
  virtual std::shared_ptr<const ColorSpace> Cmyk() const = 0;
  // Adds `name` to the separation table unless it is there already (first wins).
  virtual void RecordSeparation(const std::string& name, const std::array<float, 4>& cmyk) = 0;
  virtual bool HasSeparation(const std::string& name) const = 0;
  // Warnings of function reading go straight to the list, attributed to this page.
  virtual WarningList& Warnings() = 0;
  virtual std::optional<std::size_t> Page() const = 0;
};

// Device, CIE-based and ICC spaces, all of which yield the four process colorants.
bool IsProcessFamily(ColorSpaceFamily family);
std::shared_ptr<const ColorSpace> MakeDeviceGray();
std::shared_ptr<const ColorSpace> MakeDeviceCmyk();
std::shared_ptr<const ColorSpace> MakeDeviceRgb(std::shared_ptr<const CmykTransform> transform);
// Stands in for an unusable alternate or base of `components` components: DeviceGray,
// DeviceRGB or DeviceCMYK for 1, 3 or 4, otherwise a space taking its first four
// components as Cyan, Magenta, Yellow and Black.
std::shared_ptr<const ColorSpace> FallbackForCount(SpaceReader& reader, std::size_t components);

// The process tints of a colour made by a process space (missing colorants 0).
std::array<float, 4> CmykOf(const QorColor::Color& color);

// Family readers; `space` is the whole array, e.g. [/CalRGB << ... >>].
std::shared_ptr<const ColorSpace> ReadCalGray(QPDFObjectHandle space, SpaceReader& reader);
std::shared_ptr<const ColorSpace> ReadCalRgb(QPDFObjectHandle space, SpaceReader& reader);
std::shared_ptr<const ColorSpace> ReadLab(QPDFObjectHandle space, SpaceReader& reader);
std::shared_ptr<const ColorSpace> ReadIccBased(QPDFObjectHandle space, SpaceReader& reader,
                                               int depth);
std::shared_ptr<const ColorSpace> ReadIndexed(QPDFObjectHandle space, SpaceReader& reader,
                                              int depth);
std::shared_ptr<const ColorSpace> ReadSeparation(QPDFObjectHandle space, SpaceReader& reader,
                                                 int depth);
std::shared_ptr<const ColorSpace> ReadDeviceN(QPDFObjectHandle space, SpaceReader& reader,
                                              int depth);
// `base` null for a Pattern space without an underlying space.
std::shared_ptr<const ColorSpace> MakePattern(std::shared_ptr<const ColorSpace> base);

}  // namespace QorPdf::internal
