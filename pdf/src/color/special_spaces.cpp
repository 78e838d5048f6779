// The special spaces: Indexed, Separation, DeviceN (with NChannel colorants) and
// Pattern.
//
// Indexed palettes are converted once when the space is read (at most 256 entries),
// so ToInk is a lookup. Separation and DeviceN record each named colorant's CMYK
// representation in the separation table while being read: the tint transform at
// 100 % of that colorant (every other 0), through the alternate space into process
// inks. Where the tint transform is unusable the representation is full black, which
// keeps a simulated spot visible. A DeviceN colorant named "All" is not a registration
// colour (only Separation has one) and is left out like "None", with a warning.
#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <utility>

#include "color/function_reader.h"
#include "color/space_reader.h"
#include "qordoc/separation.h"
#include "stream_data.h"

namespace QorPdf::internal {

namespace {

double Tint(std::span<const double> components, std::size_t i) {
  const double x = i < components.size() ? components[i] : 0.0;
  if (!(x >= 0.0)) return 0.0;  // also NaN
  return x > 1.0 ? 1.0 : x;
}

class IndexedSpace final : public ColorSpace {
 public:
  IndexedSpace(std::shared_ptr<const ColorSpace> base, std::vector<QorColor::Color> palette)
      : base_(std::move(base)), palette_(std::move(palette)) {}
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kIndexed; }
  std::size_t ComponentCount() const override { return 1; }
  std::pair<double, double> ComponentRange(std::size_t) const override {
    return {0.0, static_cast<double>(palette_.size() - 1)};
  }
  std::vector<double> InitialColor() const override { return {0.0}; }
  QorColor::Color ToInk(std::span<const double> components) const override {
    const double x = components.empty() ? 0.0 : components[0];
    const double last = static_cast<double>(palette_.size() - 1);
    const double index = !(x >= 0.0) ? 0.0 : x > last ? last : std::round(x);
    return palette_[static_cast<std::size_t>(index)];
  }
  bool PaintsNothing() const override { return base_->PaintsNothing(); }

 private:
  std::shared_ptr<const ColorSpace> base_;
  std::vector<QorColor::Color> palette_;  // hival + 1 entries
};

class SeparationSpace final : public ColorSpace {
 public:
  explicit SeparationSpace(std::string name) : name_(std::move(name)) {}
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kSeparation; }
  std::size_t ComponentCount() const override { return 1; }
  std::vector<double> InitialColor() const override { return {1.0}; }
  QorColor::Color ToInk(std::span<const double> components) const override {
    QorColor::Color color;
    if (name_ == "None") return color;
    color.Add(name_, static_cast<float>(Tint(components, 0)));
    if (name_ == "All") color.SetPaintsAllColorants(true);
    return color;
  }
  bool PaintsNothing() const override { return name_ == "None"; }

 private:
  std::string name_;
};

class DeviceNSpace final : public ColorSpace {
 public:
  // `names` has one entry per component; empty for the components left out.
  explicit DeviceNSpace(std::vector<std::string> names) : names_(std::move(names)) {}
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kDeviceN; }
  std::size_t ComponentCount() const override { return names_.size(); }
  std::vector<double> InitialColor() const override {
    return std::vector<double>(names_.size(), 1.0);
  }
  QorColor::Color ToInk(std::span<const double> components) const override {
    QorColor::Color color;
    for (std::size_t i = 0; i < names_.size(); ++i) {
      if (!names_[i].empty()) color.Add(names_[i], static_cast<float>(Tint(components, i)));
    }
    return color;
  }
  bool PaintsNothing() const override {
    return std::all_of(names_.begin(), names_.end(), [](const auto& n) { return n.empty(); });
  }

 private:
  std::vector<std::string> names_;
};

class PatternSpace final : public ColorSpace {
 public:
  explicit PatternSpace(std::shared_ptr<const ColorSpace> base) : base_(std::move(base)) {}
  ColorSpaceFamily Family() const override { return ColorSpaceFamily::kPattern; }
  std::size_t ComponentCount() const override { return base_ ? base_->ComponentCount() : 0; }
  std::pair<double, double> ComponentRange(std::size_t i) const override {
    return base_ ? base_->ComponentRange(i) : std::pair<double, double>{0.0, 1.0};
  }
  std::vector<double> InitialColor() const override {
    return base_ ? base_->InitialColor() : std::vector<double>{};
  }
  QorColor::Color ToInk(std::span<const double>) const override { return {}; }
  std::shared_ptr<const ColorSpace> Underlying() const override { return base_; }

 private:
  std::shared_ptr<const ColorSpace> base_;
};

// A colorant name: a name object (or, from careless writers, a string).
std::optional<std::string> ColorantName(QPDFObjectHandle object) {
  std::string name;
  if (object.isName()) {
    name = object.getName().substr(1);
  } else if (object.isString()) {
    name = object.getStringValue();
  }
  if (name.empty()) return std::nullopt;
  return name;
}

// The alternate space of a Separation or DeviceN: a process space, or null after a
// warning.
std::shared_ptr<const ColorSpace> Alternate(QPDFObjectHandle object, SpaceReader& reader,
                                            int depth) {
  auto alternate = reader.Nested(object, depth + 1);
  if (alternate && !IsProcessFamily(alternate->Family())) {
    reader.Warn("the alternate space is not a process colour space");
    alternate = nullptr;
  }
  return alternate;
}

// The tint transform, if usable with `inputs` inputs.
std::shared_ptr<const QorPaint::Function> TintTransform(QPDFObjectHandle object,
                                                        SpaceReader& reader, std::size_t inputs) {
  auto function = ReadFunction(object, reader.Warnings(), reader.Page());
  if (!function) {
    reader.Warn("the tint transform is unusable; colorants are simulated as black");
  } else if (function->InputCount() != inputs) {
    reader.Warn("the tint transform takes " + std::to_string(function->InputCount()) +
                " inputs, the space has " + std::to_string(inputs) +
                " colorants; colorants are simulated as black");
    function = nullptr;
  }
  return function;
}

// Completes the alternate (stand-in of the tint transform's output count where it
// is unusable) and reports a count mismatch, which ToInk tolerates.
std::shared_ptr<const ColorSpace> CompleteAlternate(
    std::shared_ptr<const ColorSpace> alternate,
    const std::shared_ptr<const QorPaint::Function>& function, SpaceReader& reader) {
  if (!alternate) {
    reader.Warn("the alternate space is unusable; a device space is used");
    alternate = FallbackForCount(reader, function ? function->OutputCount() : 1);
  }
  if (function && function->OutputCount() != alternate->ComponentCount()) {
    reader.Warn("the tint transform gives " + std::to_string(function->OutputCount()) +
                " values, the alternate space takes " +
                std::to_string(alternate->ComponentCount()));
  }
  return alternate;
}

// Full ink of component `which` of `count`, through the tint transform and the
// alternate space.
std::array<float, 4> Representation(const ColorSpace& alternate,
                                    const std::shared_ptr<const QorPaint::Function>& function,
                                    std::size_t count, std::size_t which) {
  if (!function) return {0.0f, 0.0f, 0.0f, 1.0f};
  std::vector<double> in(count, 0.0);
  in[which] = 1.0;
  std::vector<double> out(function->OutputCount(), 0.0);
  function->Evaluate(in, out);
  return CmykOf(alternate.ToInk(out));
}

bool IsSpot(const std::string& name) {
  return name != "All" && name != "None" && QorDoc::GetCmykIndex(name) == QorColor::CmykIndex::None;
}

}  // namespace

std::shared_ptr<const ColorSpace> ReadIndexed(QPDFObjectHandle space, SpaceReader& reader,
                                              int depth) {
  if (space.getArrayNItems() < 4) {
    reader.Warn("Indexed needs a base space, hival and a lookup table");
    return nullptr;
  }
  auto base = reader.Nested(space.getArrayItem(1), depth + 1);
  if (!base) {
    reader.Warn("the Indexed space's base is unusable");
    return nullptr;
  }
  if (base->Family() == ColorSpaceFamily::kIndexed ||
      base->Family() == ColorSpaceFamily::kPattern) {
    reader.Warn("an Indexed space's base cannot be Indexed or Pattern");
    return nullptr;
  }
  QPDFObjectHandle hival_object = space.getArrayItem(2);
  const double hival_value = hival_object.isNumber() ? hival_object.getNumericValue() : -1.0;
  if (!(hival_value >= 0.0)) {
    reader.Warn("Indexed with an unusable hival");
    return nullptr;
  }
  if (hival_value > 255.0) reader.Warn("Indexed with hival above 255; 255 used");
  const auto entries = static_cast<std::size_t>(std::min(std::floor(hival_value), 255.0)) + 1;

  QPDFObjectHandle lookup_object = space.getArrayItem(3);
  std::string lookup;
  if (lookup_object.isString()) {
    lookup = lookup_object.getStringValue();
  } else if (lookup_object.isStream()) {
    lookup = DecodeResource(lookup_object);
  } else {
    reader.Warn("Indexed without a lookup string or stream");
    return nullptr;
  }
  const std::size_t m = base->ComponentCount();
  if (lookup.size() < m * entries) {
    reader.Warn("the Indexed lookup table is short; missing entries are 0");
    lookup.resize(m * entries, '\0');
  }

  std::vector<QorColor::Color> palette;
  palette.reserve(entries);
  std::vector<double> components(m);
  for (std::size_t i = 0; i < entries; ++i) {
    for (std::size_t j = 0; j < m; ++j) {
      const auto [lo, hi] = base->ComponentRange(j);
      const double byte = static_cast<unsigned char>(lookup[i * m + j]);
      components[j] = lo + byte * (hi - lo) / 255.0;
    }
    palette.push_back(base->ToInk(components));
  }
  return std::make_shared<IndexedSpace>(std::move(base), std::move(palette));
}

std::shared_ptr<const ColorSpace> ReadSeparation(QPDFObjectHandle space, SpaceReader& reader,
                                                 int depth) {
  if (space.getArrayNItems() < 4) {
    reader.Warn("Separation needs a colorant, an alternate space and a tint transform");
    return nullptr;
  }
  const auto name = ColorantName(space.getArrayItem(1));
  if (!name) {
    reader.Warn("Separation without a colorant name");
    return nullptr;
  }
  auto alternate = Alternate(space.getArrayItem(2), reader, depth);
  const auto function = TintTransform(space.getArrayItem(3), reader, 1);
  alternate = CompleteAlternate(std::move(alternate), function, reader);
  if (IsSpot(*name) && !reader.HasSeparation(*name)) {
    reader.RecordSeparation(*name, Representation(*alternate, function, 1, 0));
  }
  return std::make_shared<SeparationSpace>(*name);
}

std::shared_ptr<const ColorSpace> ReadDeviceN(QPDFObjectHandle space, SpaceReader& reader,
                                              int depth) {
  if (space.getArrayNItems() < 4) {
    reader.Warn("DeviceN needs colorants, an alternate space and a tint transform");
    return nullptr;
  }
  QPDFObjectHandle names_object = space.getArrayItem(1);
  if (!names_object.isArray() || names_object.getArrayNItems() < 1 ||
      static_cast<std::size_t>(names_object.getArrayNItems()) > kMaxComponents) {
    reader.Warn("DeviceN needs 1 to " + std::to_string(kMaxComponents) + " colorants");
    return nullptr;
  }
  std::vector<std::string> names;
  std::set<std::string> seen;
  for (QPDFObjectHandle item : names_object.getArrayAsVector()) {
    auto name = ColorantName(item);
    if (!name) {
      reader.Warn("DeviceN with a colorant that is not a name");
      return nullptr;
    }
    if (*name == "None") {
      name->clear();
    } else if (*name == "All") {
      reader.Warn("DeviceN with a colorant named All; left out");
      name->clear();
    } else if (!seen.insert(*name).second) {
      reader.Warn("DeviceN names colorant " + *name + " twice; the second is left out");
      name->clear();
    }
    names.push_back(std::move(*name));
  }

  auto alternate = Alternate(space.getArrayItem(2), reader, depth);
  const auto function = TintTransform(space.getArrayItem(3), reader, names.size());
  alternate = CompleteAlternate(std::move(alternate), function, reader);

  QPDFObjectHandle colorants = QPDFObjectHandle::newNull();
  if (space.getArrayNItems() >= 5 && space.getArrayItem(4).isDictionary()) {
    colorants = space.getArrayItem(4).getKey("/Colorants");
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string& name = names[i];
    if (name.empty() || !IsSpot(name) || reader.HasSeparation(name)) continue;
    // An NChannel space's own Separation space for the colorant describes it best;
    // resolving it records its representation.
    if (colorants.isDictionary() && colorants.hasKey("/" + name)) {
      const auto separation = reader.Nested(colorants.getKey("/" + name), depth + 1);
      if (reader.HasSeparation(name)) continue;
      if (separation) reader.Warn("the /Colorants entry for " + name + " is not its Separation");
    }
    reader.RecordSeparation(name, Representation(*alternate, function, names.size(), i));
  }
  return std::make_shared<DeviceNSpace>(std::move(names));
}

std::shared_ptr<const ColorSpace> MakePattern(std::shared_ptr<const ColorSpace> base) {
  return std::make_shared<PatternSpace>(std::move(base));
}

}  // namespace QorPdf::internal
