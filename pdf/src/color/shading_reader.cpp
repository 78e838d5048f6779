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
#include "color/mesh_reader.h"
#include "stream_data.h"

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
                                                   ShadingContext& context, std::size_t inputs = 1) {
  if (value.isArray()) {
    std::vector<std::shared_ptr<const Function>> parts;
    for (QPDFObjectHandle item : value.getArrayAsVector()) {
      auto f = ReadFunction(item, context.warnings, context.page);
      if (!f) throw ShadingError("its /Function array holds an unusable function");
      if (f->InputCount() != inputs || f->OutputCount() != 1) {
        throw ShadingError("a function of its /Function array has the wrong number of inputs or "
                           "outputs");
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
  if (f->InputCount() != inputs) {
    throw ShadingError("/Function does not take " + std::to_string(inputs) + " input(s)");
  }
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

// The process colorants a converted space yields, in its order.
std::vector<std::string> ConvertedColorants(const ColorSpace& space) {
  std::vector<std::string> names;
  for (const auto& entry : space.ToInk(space.InitialColor()))
    names.push_back(entry.name);
  return names;
}

SeparationMapping MappingOf(const std::vector<std::string>& names, bool overprint) {
  std::vector<SeparationMapping::Entry> entries;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (!names[i].empty()) entries.push_back({names[i], i});
  }
  return SeparationMapping(std::move(entries), overprint);
}

// The inks of `count` colour values of `space`, one per name.
void ConvertValues(const ColorSpace& space, const std::vector<std::string>& names,
                   const double* values, double* inks) {
  const QorColor::Color ink = space.ToInk(std::span<const double>(values, space.ComponentCount()));
  for (std::size_t k = 0; k < names.size(); ++k) {
    inks[k] = 0.0;
    for (const auto& entry : ink) {
      if (entry.name == names[k]) inks[k] = entry.tint;
    }
  }
}

// Types 1 and 4 to 7: the shading as a mesh the renderer resolves.
std::shared_ptr<const QorPaint::ShadingPaint> ReadGeneral(QPDFObjectHandle shading,
                                                          QPDFObjectHandle dict, int type,
                                                          const ColorSpace& space,
                                                          QorPaint::ShadingPaint::Common common,
                                                          bool overprint,
                                                          ShadingContext& context) {
  auto mesh = std::make_shared<QorPaint::ShadingMesh>();
  const std::size_t components = space.ComponentCount();
  const std::vector<std::string> direct = DirectColorants(space);
  QPDFObjectHandle function = dict.getKey("/Function");

  if (type == 1) {
    mesh->kind = QorPaint::ShadingMesh::kFunctionBased;
    mesh->domain = {Interval{0, 1}, Interval{0, 1}};
    if (!dict.getKey("/Domain").isNull()) {
      const auto d = Numbers(dict.getKey("/Domain"), 4, "/Domain");
      mesh->domain = {Interval{d[0], d[1]}, Interval{d[2], d[3]}};
    }
    if (!dict.getKey("/Matrix").isNull()) {
      const auto m = Numbers(dict.getKey("/Matrix"), 6, "/Matrix");
      mesh->matrix = {m[0], m[1], m[2], m[3], m[4], m[5]};
    }
    auto colour = ReadColourFunction(function, components, context, 2);
    if (!direct.empty()) {
      mesh->function = std::move(colour);
      common.mapping = MappingOf(direct, overprint);
    } else {
      // Sampled through the space's conversion on a grid over the domain.
      const std::vector<std::string> names = ConvertedColorants(space);
      constexpr std::uint32_t kGrid = 65;
      std::vector<double> samples(kGrid * kGrid * names.size());
      std::vector<double> values(colour->OutputCount());
      for (std::uint32_t j = 0; j < kGrid; ++j) {
        for (std::uint32_t i = 0; i < kGrid; ++i) {
          const double in[2] = {
              mesh->domain[0].min + (mesh->domain[0].max - mesh->domain[0].min) * i / (kGrid - 1),
              mesh->domain[1].min + (mesh->domain[1].max - mesh->domain[1].min) * j / (kGrid - 1)};
          colour->Evaluate(in, values);
          ConvertValues(space, names, values.data(),
                        samples.data() + (j * kGrid + i) * names.size());
        }
      }
      mesh->function = std::make_shared<QorPaint::SampledFunction>(
          std::vector<Interval>{mesh->domain[0], mesh->domain[1]},
          std::vector<Interval>(names.size(), Interval{0.0, 1.0}),
          std::vector<std::uint32_t>{kGrid, kGrid}, std::move(samples));
      common.mapping = MappingOf(names, overprint);
    }
    return std::make_shared<QorPaint::DefaultShadingPaint>(std::move(common), std::move(mesh));
  }

  if (!shading.isStream()) throw ShadingError("a mesh shading must be a stream");
  MeshLayout layout;
  layout.type = type;
  auto integer = [&](const char* key, int fallback) {
    QPDFObjectHandle v = dict.getKey(key);
    return v.isInteger() ? static_cast<int>(v.getIntValue()) : fallback;
  };
  layout.bitsPerCoordinate = integer("/BitsPerCoordinate", 0);
  layout.bitsPerComponent = integer("/BitsPerComponent", 0);
  layout.bitsPerFlag = integer("/BitsPerFlag", 0);
  layout.verticesPerRow = integer("/VerticesPerRow", 0);
  const bool has_function = !function.isNull();
  layout.components = has_function ? 1 : components;
  QPDFObjectHandle decode = dict.getKey("/Decode");
  if (!decode.isArray()) throw ShadingError("has no /Decode");
  layout.decode = Numbers(decode, static_cast<std::size_t>(decode.getArrayNItems()), "/Decode");

  DecodedStream data;
  try {
    data = DecodeStream(shading, kMaxResourceBytes, qpdf_dl_generalized);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    throw ShadingError(std::string("mesh data not readable: ") + e.what());
  }
  bool truncated = false;
  DecodeMesh(data.data, layout, *mesh, truncated);
  if (data.truncated || data.damaged) {
    context.warnings.Add(context.page, "shading",
                         "mesh data " +
                             (data.truncated ? data.Excess(kMaxResourceBytes)
                                             : std::string("damaged")) +
                             ": drawn up to there");
  } else if (truncated) {
    context.warnings.Add(context.page, "shading",
                         "mesh data end inside a vertex or patch (or exceed the limit): drawn up "
                         "to there");
  }

  if (has_function) {
    auto colour = ReadColourFunction(function, components, context);
    const Interval t_range{layout.decode[4], layout.decode[5]};
    InkFunction ink = InkOf(std::move(colour), space, t_range, overprint);
    mesh->function = std::move(ink.function);
    common.mapping = std::move(ink.mapping);
  } else if (!direct.empty()) {
    common.mapping = MappingOf(direct, overprint);
  } else if (space.Family() == ColorSpaceFamily::kDeviceGray) {
    // Grey levels stay as they are; the renderer writes their ink, 1 − g, to Black
    // and knocks out the other process plates as a grey flat colour does.
    mesh->additive = true;
    common.mapping = SeparationMapping({{"Cyan", SeparationMapping::kNotPainted},
                                        {"Magenta", SeparationMapping::kNotPainted},
                                        {"Yellow", SeparationMapping::kNotPainted},
                                        {"Black", 0}},
                                       overprint);
  } else {
    // Vertex colours become process inks here; the renderer interpolates inks.
    const std::vector<std::string> names = ConvertedColorants(space);
    QorPaint::ShadingMesh converted = *mesh;
    converted.components = names.size();
    converted.vertices.clear();
    converted.patches.clear();
    std::vector<double> inks(names.size());
    const std::size_t vstride = mesh->VertexStride();
    for (std::size_t v = 0; v + vstride <= mesh->vertices.size(); v += vstride) {
      converted.vertices.push_back(mesh->vertices[v]);
      converted.vertices.push_back(mesh->vertices[v + 1]);
      ConvertValues(space, names, mesh->vertices.data() + v + 2, inks.data());
      converted.vertices.insert(converted.vertices.end(), inks.begin(), inks.end());
    }
    const std::size_t pstride = mesh->PatchStride();
    for (std::size_t p = 0; p + pstride <= mesh->patches.size(); p += pstride) {
      converted.patches.insert(converted.patches.end(), mesh->patches.begin() + p,
                               mesh->patches.begin() + p + 32);
      for (std::size_t c = 0; c < 4; ++c) {
        ConvertValues(space, names, mesh->patches.data() + p + 32 + c * components, inks.data());
        converted.patches.insert(converted.patches.end(), inks.begin(), inks.end());
      }
    }
    *mesh = std::move(converted);
    common.mapping = MappingOf(names, overprint);
  }
  return std::make_shared<QorPaint::DefaultShadingPaint>(std::move(common), std::move(mesh));
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
  if (type < 1 || type > 7) return nullptr;

  QPDFObjectHandle space_object = dict.getKey("/ColorSpace");
  if (space_object.isNull()) throw ShadingError("has no /ColorSpace");
  auto space = context.colors.Resolve(space_object, context.resources, context.page);
  if (context.with_default) space = context.with_default(std::move(space), space_object);
  if (space->Family() == ColorSpaceFamily::kPattern) {
    throw ShadingError("cannot have a Pattern colour space");
  }
  const std::size_t components = space->ComponentCount();
  if (space->Family() == ColorSpaceFamily::kIndexed && (type == 2 || type == 3)) {
    throw ShadingError("an axial or radial shading cannot use an Indexed space");
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

  if (type != 2 && type != 3) {
    return ReadGeneral(shading, dict, type, *space, std::move(common), overprint, context);
  }
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
