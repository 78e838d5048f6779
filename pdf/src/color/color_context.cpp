// ColorContext: the output intent, the resolution of colour space operands with
// their cache, and the separation table.
//
// Invariants: every array space is cached under its object id (indirect) or its
// text (small direct arrays), including unusable ones (as null), so a space is read
// and reported once per document; a space whose reading is still under way is
// refused when met again, so self-referencing spaces end instead of recursing, and
// with the cache no object is read twice. ICC transforms are cached per profile
// stream. Nothing escapes Resolve: qpdf's exceptions for damaged objects become a
// warning and DeviceGray.
#include <exception>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "color/color_space.h"
#include "color/space_reader.h"
#include "stream_data.h"

namespace QorPdf::internal {

namespace {

// How deep spaces may nest (Pattern over Indexed over DeviceN over ICCBased with an
// alternate needs five).
constexpr int kMaxNesting = 8;

// Direct arrays longer than this as text are not cached (they are rare: a palette
// written inline is the largest common case, 768 bytes).
constexpr std::size_t kMaxKeyLength = 8192;

std::string Describe(QPDFObjectHandle space) {
  if (space.isName()) return "colour space " + space.getName();
  if (space.isIndirect()) return "colour space " + space.getObjGen().unparse(' ') + " R";
  std::string text = space.unparse();
  if (text.size() > 60) text = text.substr(0, 57) + "...";
  return "colour space " + text;
}

std::optional<std::string> CacheKey(QPDFObjectHandle space) {
  if (space.isIndirect()) return "R" + space.getObjGen().unparse(' ');
  std::string text = space.unparse();
  if (text.size() > kMaxKeyLength) return std::nullopt;
  return "D" + text;
}

std::string TextOf(QPDFObjectHandle object) {
  return object.isString() ? object.getUTF8Value() : std::string();
}

}  // namespace

struct ColorContext::Impl final : SpaceReader {
  explicit Impl(WarningList& list) : warnings(list) {}

  WarningList& warnings;
  CmsConversion cms;
  std::shared_ptr<const ColorSpace> gray = MakeDeviceGray();
  std::shared_ptr<const ColorSpace> cmyk = MakeDeviceCmyk();
  std::shared_ptr<const ColorSpace> rgb;  // after the output intent: it converts into it
  std::shared_ptr<const ColorSpace> pattern = MakePattern(nullptr);
  std::map<std::string, std::shared_ptr<const ColorSpace>> cache;
  std::set<std::string> defaults_reported;  // unusable Default entries, by key and cache key
  std::set<std::string> in_progress;
  std::map<QPDFObjGen, std::pair<std::shared_ptr<const CmykTransform>, std::string>> icc;
  std::vector<QorDoc::Separation::Entry> separations;
  std::set<std::string> separation_names;
  std::vector<unsigned char> output_profile;
  std::string output_name;
  // The space being resolved, for warnings.
  std::string subject;
  std::optional<std::size_t> page;

  void ReadOutputIntent(QPDF& pdf) {
    QPDFObjectHandle intents = pdf.getRoot().getKey("/OutputIntents");
    if (!intents.isArray()) return;
    for (QPDFObjectHandle intent : intents.getArrayAsVector()) {
      if (!intent.isDictionary()) continue;
      std::string name = TextOf(intent.getKey("/OutputConditionIdentifier"));
      if (name.empty()) name = TextOf(intent.getKey("/Info"));
      const std::string where = name.empty() ? "output intent" : "output intent " + name;
      QPDFObjectHandle profile = intent.getKey("/DestOutputProfile");
      if (!profile.isStream()) {
        warnings.Add(std::nullopt, where, "no embedded profile; ignored");
        continue;
      }
      const std::string data = DecodeResource(profile);
      std::vector<unsigned char> bytes(data.begin(), data.end());
      if (const auto refusal = cms.UseOutputProfile(bytes)) {
        warnings.Add(std::nullopt, where, *refusal + "; ignored");
        continue;
      }
      output_profile = std::move(bytes);
      output_name = std::move(name);
      return;
    }
  }

  std::shared_ptr<const ColorSpace> DeviceByName(const std::string& name) const {
    if (name == "/DeviceGray" || name == "/G") return gray;
    if (name == "/DeviceRGB" || name == "/RGB") return rgb;
    if (name == "/DeviceCMYK" || name == "/CMYK") return cmyk;
    if (name == "/Pattern") return pattern;
    return nullptr;
  }

  std::shared_ptr<const ColorSpace> Top(QPDFObjectHandle space, QPDFObjectHandle resources) {
    if (space.isName()) {
      if (auto device = DeviceByName(space.getName())) return device;
      QPDFObjectHandle dict = resources.isInitialized() && resources.isDictionary()
                                  ? resources.getKey("/ColorSpace")
                                  : QPDFObjectHandle::newNull();
      if (!dict.isDictionary() || !dict.hasKey(space.getName())) {
        Warn("not in the resources; DeviceGray used");
        return gray;
      }
      space = dict.getKey(space.getName());
    }
    auto resolved = Nested(space, 0);
    return resolved ? resolved : gray;
  }

  std::shared_ptr<const ColorSpace> Nested(QPDFObjectHandle space, int depth) override {
    if (depth > kMaxNesting) {
      Warn("colour spaces nested too deeply");
      return nullptr;
    }
    if (space.isName()) {
      if (auto device = DeviceByName(space.getName())) return device;
      Warn("unknown colour space " + space.getName());
      return nullptr;
    }
    if (!space.isArray() || space.getArrayNItems() < 1) {
      Warn("a colour space must be a name or an array");
      return nullptr;
    }
    const auto key = CacheKey(space);
    if (key) {
      if (const auto hit = cache.find(*key); hit != cache.end()) return hit->second;
      if (!in_progress.insert(*key).second) {
        Warn("the colour space refers to itself");
        return nullptr;
      }
    }
    std::shared_ptr<const ColorSpace> result;
    try {
      result = ReadArray(space, depth);
    } catch (...) {
      if (key) in_progress.erase(*key);
      throw;
    }
    if (key) {
      in_progress.erase(*key);
      cache.emplace(*key, result);
    }
    return result;
  }

  std::shared_ptr<const ColorSpace> ReadArray(QPDFObjectHandle space, int depth) {
    QPDFObjectHandle family_object = space.getArrayItem(0);
    if (!family_object.isName()) {
      Warn("a colour space array must start with its family's name");
      return nullptr;
    }
    const std::string family = family_object.getName();
    if (family == "/Pattern") {
      if (space.getArrayNItems() < 2) return pattern;
      auto base = Nested(space.getArrayItem(1), depth + 1);
      if (base && base->Family() == ColorSpaceFamily::kPattern) {
        Warn("a Pattern space's underlying space cannot be Pattern");
        base = nullptr;
      }
      if (!base) {
        Warn("the Pattern space's underlying space is unusable; uncoloured patterns get none");
      }
      return MakePattern(std::move(base));
    }
    if (auto device = DeviceByName(family)) return device;
    if (family == "/CalGray") return ReadCalGray(space, *this);
    if (family == "/CalRGB") return ReadCalRgb(space, *this);
    if (family == "/CalCMYK") return cmyk;  // obsolete; its writers meant DeviceCMYK
    if (family == "/Lab") return ReadLab(space, *this);
    if (family == "/ICCBased") return ReadIccBased(space, *this, depth);
    if (family == "/Indexed" || family == "/I") return ReadIndexed(space, *this, depth);
    if (family == "/Separation") return ReadSeparation(space, *this, depth);
    if (family == "/DeviceN") return ReadDeviceN(space, *this, depth);
    Warn("unknown colour space family " + family);
    return nullptr;
  }

  // SpaceReader
  void Warn(std::string reason) override { warnings.Add(page, subject, std::move(reason)); }
  CmsConversion& Cms() override { return cms; }
  std::shared_ptr<const CmykTransform> IccTransform(QPDFObjectHandle stream, std::size_t components,
                                                    std::string& reason) override {
    const QPDFObjGen id = stream.getObjGen();
    auto at = icc.find(id);
    if (at == icc.end()) {
      std::shared_ptr<const CmykTransform> transform;
      std::string why;
      try {
        const std::string data = DecodeResource(stream);
        transform =
            cms.FromIcc(std::span(reinterpret_cast<const unsigned char*>(data.data()), data.size()),
                        components, why);
      } catch (const std::exception& e) {
        why = std::string("the profile stream cannot be read: ") + e.what();
      }
      at = icc.emplace(id, std::make_pair(std::move(transform), std::move(why))).first;
    }
    reason = at->second.second;
    if (at->second.first && at->second.first->InputCount() != components) {
      reason = "the ICC profile's component count differs";
      return nullptr;
    }
    return at->second.first;
  }
  std::shared_ptr<const ColorSpace> Gray() const override { return gray; }
  std::shared_ptr<const ColorSpace> Rgb() const override { return rgb; }
  std::shared_ptr<const ColorSpace> Cmyk() const override { return cmyk; }
  void RecordSeparation(const std::string& name, const std::array<float, 4>& values) override {
    if (!separation_names.insert(name).second) return;
    separations.emplace_back(name, QorDoc::Separation::Representation(values));
  }
  bool HasSeparation(const std::string& name) const override {
    return separation_names.count(name) != 0;
  }
  WarningList& Warnings() override { return warnings; }
  std::optional<std::size_t> Page() const override { return page; }
};

ColorContext::ColorContext(QPDF& pdf, WarningList& warnings)
    : impl_(std::make_unique<Impl>(warnings)) {
  try {
    impl_->ReadOutputIntent(pdf);
  } catch (const std::exception& e) {
    warnings.Add(std::nullopt, "output intent", std::string("unreadable: ") + e.what());
  }
  impl_->rgb = MakeDeviceRgb(impl_->cms.FromSrgb());
}

ColorContext::~ColorContext() = default;

std::shared_ptr<const ColorSpace> ColorContext::Resolve(QPDFObjectHandle space,
                                                        QPDFObjectHandle resources,
                                                        std::optional<std::size_t> page) {
  impl_->page = page;
  try {
    impl_->subject = Describe(space);
    return impl_->Top(space, resources);
  } catch (const std::exception& e) {
    impl_->Warn(std::string("unreadable (") + e.what() + "); DeviceGray used");
  }
  return impl_->gray;
}

std::shared_ptr<const ColorSpace> ColorContext::Device(ColorSpaceFamily family) const {
  if (family == ColorSpaceFamily::kDeviceRGB) return impl_->rgb;
  if (family == ColorSpaceFamily::kDeviceCMYK) return impl_->cmyk;
  return impl_->gray;
}

std::optional<ColorSpaceFamily> ColorContext::DeviceFamilyNamed(QPDFObjectHandle space,
                                                                QPDFObjectHandle resources) {
  // One step through the resources: a resource naming another resource is not a space.
  for (int step = 0; step < 2 && space.isName(); ++step) {
    const std::string name = space.getName();
    if (name == "/DeviceGray" || name == "/G") return ColorSpaceFamily::kDeviceGray;
    if (name == "/DeviceRGB" || name == "/RGB") return ColorSpaceFamily::kDeviceRGB;
    if (name == "/DeviceCMYK" || name == "/CMYK") return ColorSpaceFamily::kDeviceCMYK;
    // qpdf warns about a key asked of a non-dictionary: look before asking.
    QPDFObjectHandle spaces =
        resources.isDictionary() ? resources.getKey("/ColorSpace") : QPDFObjectHandle();
    if (!spaces.isDictionary()) break;
    space = spaces.getKey(name);
  }
  return std::nullopt;
}

std::shared_ptr<const ColorSpace> ColorContext::DefaultSpace(ColorSpaceFamily family,
                                                             QPDFObjectHandle resources,
                                                             std::optional<std::size_t> page) {
  const char* key = family == ColorSpaceFamily::kDeviceRGB    ? "/DefaultRGB"
                    : family == ColorSpaceFamily::kDeviceCMYK ? "/DefaultCMYK"
                                                              : "/DefaultGray";
  const std::shared_ptr<const ColorSpace> device = Device(family);
  impl_->page = page;
  impl_->subject = std::string("colour space ") + key;
  try {
    if (!resources.isDictionary()) return nullptr;
    QPDFObjectHandle spaces = resources.getKey("/ColorSpace");
    if (!spaces.isDictionary() || !spaces.hasKey(key)) return nullptr;
    QPDFObjectHandle entry = spaces.getKey(key);
    // Nested caches the space, so each entry is read (and its own problems reported)
    // once; the checks below report once per entry too.
    const std::shared_ptr<const ColorSpace> space = impl_->Nested(entry, 0);
    std::string problem;
    const std::size_t needed = device->ComponentCount();
    if (!space) {
      problem = "unusable";
    } else if (space->Family() == ColorSpaceFamily::kPattern ||
               space->Family() == ColorSpaceFamily::kIndexed) {
      problem = "cannot be a Pattern or Indexed space";
    } else if (space->ComponentCount() != needed) {
      problem = "has " + std::to_string(space->ComponentCount()) + " component(s), not " +
                std::to_string(needed);
    }
    if (problem.empty()) return space;
    if (impl_->defaults_reported.insert(key + CacheKey(entry).value_or(std::string())).second) {
      impl_->Warn(problem + "; the device space is used");
    }
  } catch (const std::exception& e) {
    impl_->Warn(std::string("unreadable (") + e.what() + "); the device space is used");
  }
  return device;
}

std::shared_ptr<const ColorSpace> ColorContext::DeviceGray() const {
  return impl_->gray;
}
std::shared_ptr<const ColorSpace> ColorContext::DeviceRGB() const {
  return impl_->rgb;
}
std::shared_ptr<const ColorSpace> ColorContext::DeviceCMYK() const {
  return impl_->cmyk;
}

const std::vector<QorDoc::Separation::Entry>& ColorContext::Separations() const {
  return impl_->separations;
}

const std::vector<unsigned char>& ColorContext::OutputIntentProfile() const {
  return impl_->output_profile;
}

const std::string& ColorContext::OutputIntentName() const {
  return impl_->output_name;
}

}  // namespace QorPdf::internal
