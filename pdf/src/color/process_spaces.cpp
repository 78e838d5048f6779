// The process spaces: DeviceGray, DeviceRGB, DeviceCMYK, CalGray, CalRGB, Lab and
// ICCBased, and the readers of the colorimetric families.
//
// Every colour made here lists Cyan, Magenta, Yellow and Black in that order, zeros
// included. Components are clipped to the space's ranges before conversion.
// Colorimetric details the importer does not model: BlackPoint entries are ignored
// (black-point compensation maps the source's black to the press's black anyway),
// and a CalRGB's Matrix contributes the chromaticities of its primaries, from which
// LittleCMS builds the profile with the white point.
#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "color/space_reader.h"
#include "qorcolor/cmyk.h"

namespace QorPdf::internal {

namespace {

using Range = std::pair<double, double>;

double Clip(double x, const Range& range) {
  if (!(x >= range.first)) return range.first;  // also NaN
  return x > range.second ? range.second : x;
}

double Component(std::span<const double> components, std::size_t i, const Range& range) {
  return Clip(i < components.size() ? components[i] : 0.0, range);
}

// One allocation for the four entries: every flat colour of a page passes here.
QorColor::Color ProcessColor(double c, double m, double y, double k) {
  return QorColor::Color{{QorColor::kCmykNames[0], static_cast<float>(c)},
                         {QorColor::kCmykNames[1], static_cast<float>(m)},
                         {QorColor::kCmykNames[2], static_cast<float>(y)},
                         {QorColor::kCmykNames[3], static_cast<float>(k)}};
}

QorColor::Color ProcessColor(const std::array<double, 4>& cmyk) {
  return ProcessColor(cmyk[0], cmyk[1], cmyk[2], cmyk[3]);
}

// Converts `count` colours of `ranges.size()` components, each clipped to its range
// and passed through `prepare`, with one call of `transform`; tints as ProcessColor
// stores them.
template <typename Prepare>
void ConvertMany(const CmykTransform& transform, const std::vector<Range>& ranges,
                 const double* components, std::size_t count, int intent, float* cmyk,
                 Prepare prepare) {
  const std::size_t n = ranges.size();
  std::vector<double> in(n * count);
  for (std::size_t c = 0; c < count; ++c) {
    double* values = in.data() + c * n;
    for (std::size_t i = 0; i < n; ++i)
      values[i] = Clip(components[c * n + i], ranges[i]);
    prepare(values);
  }
  std::vector<double> out(4 * count);
  transform.ToCmyk(in.data(), count, out.data(), intent);
  for (std::size_t i = 0; i < out.size(); ++i)
    cmyk[i] = static_cast<float>(out[i]);
}

constexpr Range kUnit{0.0, 1.0};

class DeviceGraySpace final : public ColorSpace {
 public:
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kDeviceGray; }
  std::size_t ComponentCount() const override { return 1; }
  std::vector<double> InitialColor() const override { return {0.0}; }
  QorColor::Color ToInk(std::span<const double> components) const override {
    return ProcessColor(0.0, 0.0, 0.0, 1.0 - Component(components, 0, kUnit));
  }
};

class DeviceCmykSpace final : public ColorSpace {
 public:
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kDeviceCMYK; }
  std::size_t ComponentCount() const override { return 4; }
  std::vector<double> InitialColor() const override { return {0.0, 0.0, 0.0, 1.0}; }
  QorColor::Color ToInk(std::span<const double> components) const override {
    return ProcessColor(Component(components, 0, kUnit), Component(components, 1, kUnit),
                        Component(components, 2, kUnit), Component(components, 3, kUnit));
  }
};

class DeviceRgbSpace final : public ColorSpace {
 public:
  explicit DeviceRgbSpace(std::shared_ptr<const CmykTransform> transform)
      : transform_(std::move(transform)) {}
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kDeviceRGB; }
  std::size_t ComponentCount() const override { return 3; }
  std::vector<double> InitialColor() const override { return {0.0, 0.0, 0.0}; }
  QorColor::Color ToInk(std::span<const double> components) const override {
    const std::array<double, 3> rgb = {Component(components, 0, kUnit),
                                       Component(components, 1, kUnit),
                                       Component(components, 2, kUnit)};
    return ProcessColor(transform_->ToCmyk(rgb));
  }
  bool ToProcessInks(const double* components, std::size_t count, int intent,
                     float* cmyk) const override {
    static const std::vector<Range> kRgb(3, kUnit);
    ConvertMany(*transform_, kRgb, components, count, intent, cmyk, [](double*) {});
    return true;
  }
  bool ToProcessBytes(const std::uint8_t* samples, std::size_t count, int intent,
                      std::uint8_t* cmyk) const override {
    return transform_->ToCmykBytes(samples, count, cmyk, intent);
  }

 private:
  std::shared_ptr<const CmykTransform> transform_;
};

// CalGray, CalRGB, Lab and ICCBased with three components: through a LittleCMS
// transform. Lab values relative to another white point are adapted to D50 first
// (Bradford, by LittleCMS), so that the white point maps to paper white.
class CieSpace final : public ColorSpace {
 public:
  CieSpace(ColorSpaceFamily family, std::vector<Range> ranges,
           std::shared_ptr<const CmykTransform> transform, std::optional<cmsCIEXYZ> lab_white)
      : family_(family),
        ranges_(std::move(ranges)),
        transform_(std::move(transform)),
        lab_white_(lab_white) {}

  ColorSpaceFamily Family() const override { return family_; }
  std::size_t ComponentCount() const override { return ranges_.size(); }
  Range ComponentRange(std::size_t i) const override {
    return i < ranges_.size() ? ranges_[i] : kUnit;
  }
  std::vector<double> InitialColor() const override {
    std::vector<double> initial;
    for (const Range& range : ranges_)
      initial.push_back(Clip(0.0, range));
    return initial;
  }
  QorColor::Color ToInk(std::span<const double> components) const override {
    std::array<double, 4> values{};
    for (std::size_t i = 0; i < ranges_.size() && i < values.size(); ++i) {
      values[i] = Component(components, i, ranges_[i]);
    }
    if (lab_white_) AdaptToD50(values.data());
    return ProcessColor(transform_->ToCmyk(std::span<const double>(values.data(), ranges_.size())));
  }
  bool ToProcessInks(const double* components, std::size_t count, int intent,
                     float* cmyk) const override {
    if (ranges_.size() != transform_->InputCount()) return false;
    if (lab_white_) {
      ConvertMany(*transform_, ranges_, components, count, intent, cmyk,
                  [this](double* values) { AdaptToD50(values); });
    } else {
      ConvertMany(*transform_, ranges_, components, count, intent, cmyk, [](double*) {});
    }
    return true;
  }
  bool ToProcessBytes(const std::uint8_t* samples, std::size_t count, int intent,
                      std::uint8_t* cmyk) const override {
    // Bytes span [0, 1]: other ranges and adapted Lab are not what the 8-bit input reads.
    if (lab_white_ || ranges_.size() != 3) return false;
    for (const Range& range : ranges_) {
      if (range != kUnit) return false;
    }
    return transform_->ToCmykBytes(samples, count, cmyk, intent);
  }

 private:
  // Lab values relative to the space's white point, in place, to D50.
  void AdaptToD50(double* values) const {
    const cmsCIELab lab{values[0], values[1], values[2]};
    cmsCIEXYZ xyz;
    cmsLab2XYZ(&*lab_white_, &xyz, &lab);
    cmsCIEXYZ adapted = xyz;
    cmsAdaptToIlluminant(&adapted, &*lab_white_, cmsD50_XYZ(), &xyz);
    cmsCIELab d50;
    cmsXYZ2Lab(cmsD50_XYZ(), &d50, &adapted);
    values[0] = d50.L;
    values[1] = d50.a;
    values[2] = d50.b;
  }

  ColorSpaceFamily family_;
  std::vector<Range> ranges_;
  std::shared_ptr<const CmykTransform> transform_;
  std::optional<cmsCIEXYZ> lab_white_;
};

// The stand-in for an unusable alternate with a component count no device space has.
class CountFallbackSpace final : public ColorSpace {
 public:
  explicit CountFallbackSpace(std::size_t components) : components_(components) {}
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kDeviceCMYK; }
  std::size_t ComponentCount() const override { return components_; }
  std::vector<double> InitialColor() const override {
    return std::vector<double>(components_, 0.0);
  }
  QorColor::Color ToInk(std::span<const double> components) const override {
    std::array<double, 4> cmyk{};
    for (std::size_t i = 0; i < cmyk.size() && i < components_; ++i) {
      cmyk[i] = Component(components, i, kUnit);
    }
    return ProcessColor(cmyk);
  }

 private:
  std::size_t components_;
};

// The numbers of an array entry of `dict`, if it has exactly `count` finite ones.
std::optional<std::vector<double>> Numbers(QPDFObjectHandle dict, const char* key,
                                           std::size_t count) {
  QPDFObjectHandle array = dict.getKey(key);
  if (!array.isArray() || static_cast<std::size_t>(array.getArrayNItems()) != count) {
    return std::nullopt;
  }
  std::vector<double> numbers;
  for (QPDFObjectHandle item : array.getArrayAsVector()) {
    if (!item.isNumber() || !std::isfinite(item.getNumericValue())) return std::nullopt;
    numbers.push_back(item.getNumericValue());
  }
  return numbers;
}

// The space's dictionary (the array's second entry), or null after a warning.
std::optional<QPDFObjectHandle> Dictionary(QPDFObjectHandle space, SpaceReader& reader,
                                           const char* family) {
  QPDFObjectHandle dict = space.isArray() && space.getArrayNItems() >= 2
                              ? space.getArrayItem(1)
                              : QPDFObjectHandle::newNull();
  if (!dict.isDictionary()) {
    reader.Warn(std::string(family) + " without its dictionary");
    return std::nullopt;
  }
  return dict;
}

// /WhitePoint as XYZ with Y = 1, if present and plausible (X, Y, Z positive).
std::optional<cmsCIEXYZ> WhitePoint(QPDFObjectHandle dict) {
  const auto numbers = Numbers(dict, "/WhitePoint", 3);
  if (!numbers || !((*numbers)[0] > 0.0 && (*numbers)[1] > 0.0 && (*numbers)[2] > 0.0)) {
    return std::nullopt;
  }
  const double y = (*numbers)[1];
  return cmsCIEXYZ{(*numbers)[0] / y, 1.0, (*numbers)[2] / y};
}

cmsCIExyY Chromaticity(double x, double y, double z) {
  const double sum = x + y + z;
  return cmsCIExyY{x / sum, y / sum, 1.0};
}

std::optional<double> PositiveNumber(QPDFObjectHandle dict, const char* key) {
  QPDFObjectHandle value = dict.getKey(key);
  if (value.isNull()) return 1.0;
  if (!value.isNumber() || !(value.getNumericValue() > 0.0) ||
      !std::isfinite(value.getNumericValue())) {
    return std::nullopt;
  }
  return value.getNumericValue();
}

}  // namespace

bool IsProcessFamily(ColorSpaceFamily family) {
  switch (family) {
    case ColorSpaceFamily::kDeviceGray:
    case ColorSpaceFamily::kDeviceRGB:
    case ColorSpaceFamily::kDeviceCMYK:
    case ColorSpaceFamily::kCalGray:
    case ColorSpaceFamily::kCalRGB:
    case ColorSpaceFamily::kLab:
    case ColorSpaceFamily::kICCBased:
      return true;
    default:
      return false;
  }
}

std::shared_ptr<const ColorSpace> MakeDeviceGray() {
  return std::make_shared<DeviceGraySpace>();
}

std::shared_ptr<const ColorSpace> MakeDeviceCmyk() {
  return std::make_shared<DeviceCmykSpace>();
}

std::shared_ptr<const ColorSpace> MakeDeviceRgb(std::shared_ptr<const CmykTransform> transform) {
  return std::make_shared<DeviceRgbSpace>(std::move(transform));
}

std::shared_ptr<const ColorSpace> FallbackForCount(SpaceReader& reader, std::size_t components) {
  if (components == 1) return reader.Gray();
  if (components == 3) return reader.Rgb();
  if (components == 4) return reader.Cmyk();
  return std::make_shared<CountFallbackSpace>(components);
}

std::array<float, 4> CmykOf(const QorColor::Color& color) {
  std::array<float, 4> cmyk{};
  for (std::size_t i = 0; i < 4; ++i) {
    if (const auto at = color.Find(QorColor::kCmykNames[i])) cmyk[i] = color.GetTint(*at);
  }
  return cmyk;
}

// A broken CalGray or CalRGB becomes the device space of its component count: the
// colours stay close, and the operands keep their number.
std::shared_ptr<const ColorSpace> ReadCalGray(QPDFObjectHandle space, SpaceReader& reader) {
  auto dict = Dictionary(space, reader, "CalGray");
  if (!dict) return reader.Gray();
  const auto white = WhitePoint(*dict);
  const auto gamma = PositiveNumber(*dict, "/Gamma");
  if (!white || !gamma) {
    reader.Warn("CalGray with an unusable /WhitePoint or /Gamma; taken as DeviceGray");
    return reader.Gray();
  }
  std::string reason;
  auto transform =
      reader.Cms().FromCalGray(Chromaticity(white->X, white->Y, white->Z), *gamma, reason);
  if (!transform) {
    reader.Warn("CalGray unusable (" + reason + "); taken as DeviceGray");
    return reader.Gray();
  }
  return std::make_shared<CieSpace>(ColorSpaceFamily::kCalGray, std::vector<Range>{kUnit},
                                    std::move(transform), std::nullopt);
}

std::shared_ptr<const ColorSpace> ReadCalRgb(QPDFObjectHandle space, SpaceReader& reader) {
  auto dict = Dictionary(space, reader, "CalRGB");
  if (!dict) return reader.Rgb();
  const auto white = WhitePoint(*dict);
  std::optional<std::vector<double>> gamma = std::vector<double>{1.0, 1.0, 1.0};
  if (dict->hasKey("/Gamma")) gamma = Numbers(*dict, "/Gamma", 3);
  std::optional<std::vector<double>> matrix = std::vector<double>{1, 0, 0, 0, 1, 0, 0, 0, 1};
  if (dict->hasKey("/Matrix")) matrix = Numbers(*dict, "/Matrix", 9);
  bool usable = white && gamma && matrix;
  for (std::size_t i = 0; usable && i < 3; ++i) {
    const double* p = matrix->data() + 3 * i;
    usable =
        (*gamma)[i] > 0.0 && p[0] >= 0.0 && p[1] >= 0.0 && p[2] >= 0.0 && p[0] + p[1] + p[2] > 0.0;
  }
  if (!usable) {
    reader.Warn("CalRGB with an unusable /WhitePoint, /Gamma or /Matrix; taken as DeviceRGB");
    return reader.Rgb();
  }
  const double* m = matrix->data();
  const cmsCIExyYTRIPLE primaries{Chromaticity(m[0], m[1], m[2]), Chromaticity(m[3], m[4], m[5]),
                                  Chromaticity(m[6], m[7], m[8])};
  std::string reason;
  auto transform = reader.Cms().FromCalRgb(Chromaticity(white->X, white->Y, white->Z), primaries,
                                           {(*gamma)[0], (*gamma)[1], (*gamma)[2]}, reason);
  if (!transform) {
    reader.Warn("CalRGB unusable (" + reason + "); taken as DeviceRGB");
    return reader.Rgb();
  }
  return std::make_shared<CieSpace>(ColorSpaceFamily::kCalRGB,
                                    std::vector<Range>{kUnit, kUnit, kUnit}, std::move(transform),
                                    std::nullopt);
}

std::shared_ptr<const ColorSpace> ReadLab(QPDFObjectHandle space, SpaceReader& reader) {
  std::optional<QPDFObjectHandle> dict = Dictionary(space, reader, "Lab");
  if (!dict) dict = QPDFObjectHandle::newDictionary();
  auto white = WhitePoint(*dict);
  if (!white) {
    reader.Warn("Lab with an unusable /WhitePoint; D50 assumed");
    white = *cmsD50_XYZ();
  }
  std::vector<double> range = {-100.0, 100.0, -100.0, 100.0};
  if (dict->hasKey("/Range")) {
    const auto given = Numbers(*dict, "/Range", 4);
    if (given && (*given)[0] <= (*given)[1] && (*given)[2] <= (*given)[3]) {
      range = *given;
    } else {
      reader.Warn("Lab with an unusable /Range; -100 to 100 assumed");
    }
  }
  auto transform = reader.Cms().FromLab();
  if (!transform) {
    reader.Warn("LittleCMS cannot convert from Lab");
    return nullptr;
  }
  const cmsCIEXYZ& d50 = *cmsD50_XYZ();
  const bool is_d50 = std::fabs(white->X - d50.X) < 1e-4 && std::fabs(white->Z - d50.Z) < 1e-4;
  return std::make_shared<CieSpace>(
      ColorSpaceFamily::kLab,
      std::vector<Range>{{0.0, 100.0}, {range[0], range[1]}, {range[2], range[3]}},
      std::move(transform), is_d50 ? std::nullopt : white);
}

std::shared_ptr<const ColorSpace> ReadIccBased(QPDFObjectHandle space, SpaceReader& reader,
                                               int depth) {
  QPDFObjectHandle stream =
      space.getArrayNItems() >= 2 ? space.getArrayItem(1) : QPDFObjectHandle::newNull();
  if (!stream.isStream()) {
    reader.Warn("ICCBased without its profile stream");
    return nullptr;
  }
  QPDFObjectHandle dict = stream.getDict();
  QPDFObjectHandle n_object = dict.getKey("/N");
  const long long n = n_object.isInteger() ? n_object.getIntValue() : 0;
  // One and four components are the device inks themselves; see color_space.h.
  if (n == 1) return reader.Gray();
  if (n == 4) return reader.Cmyk();
  if (n != 3) {
    reader.Warn("ICCBased with /N other than 1, 3 or 4");
    return nullptr;
  }
  std::string reason;
  auto transform = reader.IccTransform(stream, 3, reason);
  if (!transform) {
    QPDFObjectHandle alternate = dict.getKey("/Alternate");
    if (!alternate.isNull()) {
      reader.Warn("ICC profile unusable (" + reason + "); its /Alternate is used");
      auto fallback = reader.Nested(alternate, depth + 1);
      if (fallback && IsProcessFamily(fallback->Family()) && fallback->ComponentCount() == 3) {
        return fallback;
      }
      reader.Warn("the ICCBased space's /Alternate is unusable; taken as DeviceRGB");
    } else {
      reader.Warn("ICC profile unusable (" + reason + "); taken as DeviceRGB");
    }
    return reader.Rgb();
  }
  std::vector<Range> ranges(3, kUnit);
  if (transform->GetInput() == CmykTransform::Input::kLab) {
    ranges = {{0.0, 100.0}, {-128.0, 127.0}, {-128.0, 127.0}};
  }
  if (dict.hasKey("/Range")) {
    const auto given = Numbers(dict, "/Range", 6);
    bool usable = given.has_value();
    for (std::size_t i = 0; usable && i < 3; ++i)
      usable = (*given)[2 * i] <= (*given)[2 * i + 1];
    if (usable) {
      for (std::size_t i = 0; i < 3; ++i)
        ranges[i] = {(*given)[2 * i], (*given)[2 * i + 1]};
    } else {
      reader.Warn("ICCBased with an unusable /Range; ignored");
    }
  }
  return std::make_shared<CieSpace>(ColorSpaceFamily::kICCBased, std::move(ranges),
                                    std::move(transform), std::nullopt);
}

}  // namespace QorPdf::internal
