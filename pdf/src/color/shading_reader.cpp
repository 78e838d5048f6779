// Shading dictionaries into shaded paints: geometry, function, colour mapping.
//
// Invariant: the paint's function yields ink tints, one output per mapping entry;
// the mapping names every colorant the shading can paint. Everything wrong with a
// dictionary becomes one warning and a null paint.
#include "color/shading_reader.h"

#include <cmath>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "color/function_reader.h"

namespace QorPdf::internal {
namespace {

using QorPaint::Function;
using QorPaint::Interval;
using QorPaint::SeparationMapping;

class ShadingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The /Function array of a shading: one single-output function per colour
// component, side by side.
class FunctionArray final : public Function {
 public:
  explicit FunctionArray(std::vector<std::shared_ptr<const Function>> parts)
      : Function(parts.front()->GetDomain(), {}), parts_(std::move(parts)) {}
  // Not one of the PDF types: several functions side by side.
  int GetType() const override { return -1; }
  std::size_t OutputCount() const override { return parts_.size(); }
  void Evaluate(std::span<const double> in, std::span<double> out) const override {
    for (std::size_t i = 0; i < parts_.size(); ++i)
      parts_[i]->Evaluate(in, out.subspan(i, 1));
  }

 private:
  std::vector<std::shared_ptr<const Function>> parts_;
};

std::vector<double> Numbers(QPDFObjectHandle array, std::size_t count, const char* key) {
  if (!array.isArray() || array.getArrayNItems() != static_cast<int>(count)) {
    throw ShadingError(std::string(key) + " must hold " + std::to_string(count) + " numbers");
  }
  std::vector<double> numbers;
  for (QPDFObjectHandle item : array.getArrayAsVector()) {
    if (!item.isNumber() || !std::isfinite(item.getNumericValue())) {
      throw ShadingError(std::string(key) + " holds a non-number");
    }
    numbers.push_back(item.getNumericValue());
  }
  return numbers;
}

// The colour function, as one function of the space's component count.
std::shared_ptr<const Function> ReadColourFunction(QPDFObjectHandle value, std::size_t components,
                                                   ShadingContext& context) {
  if (value.isArray()) {
    std::vector<std::shared_ptr<const Function>> parts;
    for (QPDFObjectHandle item : value.getArrayAsVector()) {
      auto f = ReadFunction(item, context.warnings, context.page);
      if (!f) throw ShadingError("its /Function array holds an unusable function");
      if (f->InputCount() != 1 || f->OutputCount() != 1) {
        throw ShadingError("a function of its /Function array is not one input to one output");
      }
      parts.push_back(std::move(f));
    }
    if (parts.size() != components) {
      throw ShadingError("/Function has " + std::to_string(parts.size()) + " functions for " +
                         std::to_string(components) + " colour components");
    }
    return std::make_shared<FunctionArray>(std::move(parts));
  }
  auto f = ReadFunction(value, context.warnings, context.page);
  if (!f) throw ShadingError("its /Function is unusable");
  if (f->InputCount() != 1) throw ShadingError("/Function does not take one input");
  if (f->OutputCount() != components) {
    throw ShadingError("/Function has " + std::to_string(f->OutputCount()) + " outputs for " +
                       std::to_string(components) + " colour components");
  }
  return f;
}

// When every component of `space` is exactly one colorant's tint: the colorant of
// each component ("" for a None component). Empty otherwise.
std::vector<std::string> DirectColorants(const ColorSpace& space) {
  const std::size_t n = space.ComponentCount();
  std::vector<double> v(n, 0.0);
  const QorColor::Color zero = space.ToInk(v);
  if (zero.PaintsAllColorants()) return {};
  for (const auto& entry : zero) {
    if (entry.tint != 0.0f) return {};
  }
  std::vector<std::string> names(n);
  for (std::size_t i = 0; i < n; ++i) {
    for (const double probe : {1.0, 0.5}) {
      std::fill(v.begin(), v.end(), 0.0);
      v[i] = probe;
      const QorColor::Color ink = space.ToInk(v);
      std::string name;
      for (const auto& entry : ink) {
        if (entry.tint == 0.0f) continue;
        if (!name.empty() || entry.tint != static_cast<float>(probe)) return {};
        name = entry.name;
      }
      if (probe == 1.0) {
        names[i] = name;
      } else if (name != names[i]) {
        return {};
      }
    }
    if (names[i].empty()) continue;
    for (std::size_t j = 0; j < i; ++j) {
      if (names[j] == names[i]) return {};
    }
  }
  return names;
}

struct InkFunction {
  std::shared_ptr<const Function> function;
  SeparationMapping mapping;
};

// The shading's colour as inks: straight through for colorant spaces, sampled
// through the space's conversion otherwise.
InkFunction InkOf(std::shared_ptr<const Function> colour, const ColorSpace& space,
                  Interval domain, bool overprint) {
  std::vector<SeparationMapping::Entry> entries;
  const std::vector<std::string> direct = DirectColorants(space);
  if (!direct.empty()) {
    for (std::size_t i = 0; i < direct.size(); ++i) {
      if (!direct[i].empty()) entries.push_back({direct[i], i});
    }
    return {std::move(colour), SeparationMapping(std::move(entries), overprint)};
  }

  const std::size_t components = space.ComponentCount();
  std::vector<std::string> names;
  for (const auto& entry : space.ToInk(space.InitialColor()))
    names.push_back(entry.name);
  const std::size_t n = kShadingConversionSamples;
  std::vector<double> samples(n * names.size(), 0.0);
  std::vector<double> values(colour->OutputCount(), 0.0);
  for (std::size_t j = 0; j < n; ++j) {
    const double t =
        domain.min + static_cast<double>(j) / static_cast<double>(n - 1) * (domain.max - domain.min);
    colour->Evaluate(std::span<const double>(&t, 1), values);
    values.resize(components, 0.0);
    const QorColor::Color ink = space.ToInk(values);
    for (const auto& entry : ink) {
      for (std::size_t k = 0; k < names.size(); ++k) {
        if (names[k] == entry.name) samples[j * names.size() + k] = entry.tint;
      }
    }
  }
  for (std::size_t k = 0; k < names.size(); ++k)
    entries.push_back({names[k], k});
  auto sampled = std::make_shared<QorPaint::SampledFunction>(
      std::vector<Interval>{domain}, std::vector<Interval>(names.size(), Interval{0.0, 1.0}),
      std::vector<std::uint32_t>{static_cast<std::uint32_t>(n)}, std::move(samples));
  return {std::move(sampled), SeparationMapping(std::move(entries), overprint)};
}

std::shared_ptr<const QorPaint::ShadingPaint> Read(QPDFObjectHandle shading,
                                                   const Morv::MilliPointTransformation& t,
                                                   bool overprint, bool background,
                                                   ShadingContext& context) {
  QPDFObjectHandle dict = shading.isStream() ? shading.getDict() : shading;
  if (!dict.isDictionary()) throw ShadingError("is not a dictionary");
  const int type = dict.getKey("/ShadingType").isInteger()
                       ? static_cast<int>(dict.getKey("/ShadingType").getIntValue())
                       : 0;
  if (type != 2 && type != 3) return nullptr;

  QPDFObjectHandle space_object = dict.getKey("/ColorSpace");
  if (space_object.isNull()) throw ShadingError("has no /ColorSpace");
  const auto space = context.colors.Resolve(space_object, context.resources, context.page);
  if (space->Family() == ColorSpaceFamily::kPattern) {
    throw ShadingError("cannot have a Pattern colour space");
  }
  const std::size_t components = space->ComponentCount();

  Interval domain{0.0, 1.0};
  if (!dict.getKey("/Domain").isNull()) {
    const auto d = Numbers(dict.getKey("/Domain"), 2, "/Domain");
    domain = {d[0], d[1]};
  }
  std::array<bool, 2> extends{false, false};
  QPDFObjectHandle extend = dict.getKey("/Extend");
  if (extend.isArray() && extend.getArrayNItems() == 2) {
    for (int i = 0; i < 2; ++i) {
      QPDFObjectHandle item = extend.getArrayItem(i);
      extends[static_cast<std::size_t>(i)] = item.isBool() && item.getBoolValue();
    }
  }

  QorPaint::ShadingPaint::Common common;
  common.transformation = t;
  QPDFObjectHandle bbox = dict.getKey("/BBox");
  if (bbox.isRectangle()) {
    const QPDFObjectHandle::Rectangle r = bbox.getArrayAsRectangle();
    common.boundingBox = Morv::MilliPointRectangle(std::min(r.llx, r.urx), std::min(r.lly, r.ury),
                                                   std::fabs(r.urx - r.llx),
                                                   std::fabs(r.ury - r.lly));
  }
  if (background && !dict.getKey("/Background").isNull()) {
    const auto values = Numbers(dict.getKey("/Background"), components, "/Background");
    QorColor::Color ink = space->ToInk(values);
    ink.SetPaintsNamedColorantsOnly(overprint);
    common.background = std::move(ink);
  }

  auto colour = ReadColourFunction(dict.getKey("/Function"), components, context);
  InkFunction ink = InkOf(std::move(colour), *space, domain, overprint);
  common.mapping = std::move(ink.mapping);

  if (type == 2) {
    const auto c = Numbers(dict.getKey("/Coords"), 4, "/Coords");
    return std::make_shared<QorPaint::AxialShadingPaint>(
        std::move(common), std::array{Morv::MilliPointPoint(c[0], c[1]), Morv::MilliPointPoint(c[2], c[3])},
        std::move(ink.function), domain, extends);
  }
  const auto c = Numbers(dict.getKey("/Coords"), 6, "/Coords");
  if (c[2] < 0.0 || c[5] < 0.0) throw ShadingError("has a negative radius");
  return std::make_shared<QorPaint::RadialShadingPaint>(
      std::move(common),
      std::array{QorPaint::RadialShadingPaint::Circle{Morv::MilliPointPoint(c[0], c[1]), c[2]},
                 QorPaint::RadialShadingPaint::Circle{Morv::MilliPointPoint(c[3], c[4]), c[5]}},
      std::move(ink.function), domain, extends);
}

}  // namespace

int ShadingTypeOf(QPDFObjectHandle shading) {
  QPDFObjectHandle dict = shading.isStream() ? shading.getDict() : shading;
  if (!dict.isDictionary()) return 0;
  QPDFObjectHandle type = dict.getKey("/ShadingType");
  return type.isInteger() ? static_cast<int>(type.getIntValue()) : 0;
}

std::shared_ptr<const QorPaint::ShadingPaint> ReadShading(QPDFObjectHandle shading,
                                                          const Morv::MilliPointTransformation& t,
                                                          bool overprint, bool background,
                                                          ShadingContext& context) {
  std::string what = "shading";
  if (shading.isIndirect()) what += " " + shading.getObjGen().unparse(' ') + " R";
  try {
    return Read(shading, t, overprint, background, context);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    context.warnings.Add(context.page, what, e.what());
    return nullptr;
  }
}

}  // namespace QorPdf::internal
