// Reading PDF function objects into QorPaint::Function.
//
// Everything wrong with a function (a missing or malformed key, an unreadable
// stream, sizes the model's constructors refuse) surfaces as an exception inside
// this file and becomes exactly one warning at ReadFunction. Sampled data are
// decoded once into [0, 1] units here, so evaluation never touches the stream again.
#include "color/function_reader.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "stream_data.h"

namespace QorPdf::internal {

namespace {

using QorPaint::FunctionError;
using QorPaint::Interval;

std::string Describe(QPDFObjectHandle& function) {
  if (!function.isIndirect()) return "function";
  return "function " + function.getObjGen().unparse(' ') + " R";
}

// The numbers of an array; throws naming `key` when it is not an array of numbers.
std::vector<double> Numbers(QPDFObjectHandle array, const char* key) {
  if (!array.isArray()) throw FunctionError(std::string(key) + " is not an array");
  std::vector<double> numbers;
  for (QPDFObjectHandle item : array.getArrayAsVector()) {
    if (!item.isNumber()) throw FunctionError(std::string(key) + " holds a non-number");
    const double value = item.getNumericValue();
    if (!std::isfinite(value)) throw FunctionError(std::string(key) + " holds a non-finite number");
    numbers.push_back(value);
  }
  return numbers;
}

// Pairs of numbers as intervals; an absent key gives none (or throws when required).
std::vector<Interval> Intervals(QPDFObjectHandle dict, const char* key, bool required) {
  QPDFObjectHandle value = dict.getKey(key);
  if (value.isNull()) {
    if (required) throw FunctionError(std::string("no ") + key);
    return {};
  }
  const std::vector<double> numbers = Numbers(value, key);
  if (numbers.size() % 2 != 0) throw FunctionError(std::string(key) + " has an odd length");
  std::vector<Interval> intervals;
  for (std::size_t i = 0; i < numbers.size(); i += 2) {
    intervals.push_back({numbers[i], numbers[i + 1]});
  }
  return intervals;
}

Interval SingleInterval(QPDFObjectHandle dict) {
  const std::vector<Interval> domain = Intervals(dict, "/Domain", true);
  if (domain.size() != 1) throw FunctionError("/Domain must have one input");
  return domain[0];
}

std::string StreamText(QPDFObjectHandle stream) {
  return DecodeResource(stream);
}

class Reader {
 public:
  Reader(WarningList& warnings, std::optional<std::size_t> page)
      : warnings_(warnings), page_(page) {}

  std::shared_ptr<const QorPaint::Function> Read(QPDFObjectHandle function, int depth) {
    if (depth > kMaxFunctionNesting) throw FunctionError("functions nested too deeply");
    QPDFObjectHandle dict;
    if (function.isStream()) {
      dict = function.getDict();
    } else if (function.isDictionary()) {
      dict = function;
    } else {
      throw FunctionError("not a function dictionary or stream");
    }
    QPDFObjectHandle type = dict.getKey("/FunctionType");
    if (!type.isInteger()) throw FunctionError("no /FunctionType");
    switch (type.getIntValue()) {
      case 0:
        return Sampled(function, dict);
      case 2:
        return Exponential(dict);
      case 3:
        return Stitching(dict, depth);
      case 4:
        if (!function.isStream()) throw FunctionError("a calculator function must be a stream");
        return std::make_shared<QorPaint::CalculatorFunction>(Intervals(dict, "/Domain", true),
                                                              Intervals(dict, "/Range", true),
                                                              StreamText(function));
      default:
        throw FunctionError("unknown /FunctionType " + std::to_string(type.getIntValue()));
    }
  }

 private:
  std::shared_ptr<const QorPaint::Function> Sampled(QPDFObjectHandle stream,
                                                    QPDFObjectHandle dict) {
    if (!stream.isStream()) throw FunctionError("a sampled function must be a stream");
    std::vector<Interval> domain = Intervals(dict, "/Domain", true);
    std::vector<Interval> range = Intervals(dict, "/Range", true);
    QPDFObjectHandle size_array = dict.getKey("/Size");
    if (!size_array.isArray()) throw FunctionError("no /Size");
    std::vector<std::uint32_t> size;
    std::size_t values = range.size();
    for (QPDFObjectHandle item : size_array.getArrayAsVector()) {
      if (!item.isInteger() || item.getIntValue() < 1 ||
          item.getIntValue() > static_cast<long long>(kMaxFunctionSamples)) {
        throw FunctionError("/Size holds a value that is not a positive grid size");
      }
      size.push_back(static_cast<std::uint32_t>(item.getIntValue()));
      if (values > kMaxFunctionSamples / size.back()) {
        throw FunctionError("more than " + std::to_string(kMaxFunctionSamples) + " samples");
      }
      values *= size.back();
    }
    if (size.size() != domain.size()) throw FunctionError("/Size does not match /Domain");
    QPDFObjectHandle bps_object = dict.getKey("/BitsPerSample");
    const long long bps = bps_object.isInteger() ? bps_object.getIntValue() : 0;
    if (bps != 1 && bps != 2 && bps != 4 && bps != 8 && bps != 12 && bps != 16 && bps != 24 &&
        bps != 32) {
      throw FunctionError("/BitsPerSample is not 1, 2, 4, 8, 12, 16, 24 or 32");
    }

    // Samples are packed without padding, most significant bit first.
    const std::string data = StreamText(stream);
    const std::uint64_t bits = static_cast<std::uint64_t>(values) * static_cast<std::uint64_t>(bps);
    if (data.size() * 8u < bits) {
      warnings_.Add(page_, Describe(stream),
                    "sample data end early; the missing samples are taken as 0");
    }
    const double max_sample = std::ldexp(1.0, static_cast<int>(bps)) - 1.0;
    std::vector<double> samples(values, 0.0);
    std::uint64_t bit = 0;
    for (std::size_t i = 0; i < values && bit + static_cast<std::uint64_t>(bps) <= data.size() * 8u;
         ++i) {
      std::uint64_t raw = 0;
      for (long long b = 0; b < bps;) {
        const auto byte = static_cast<unsigned char>(data[bit / 8]);
        const int offset = static_cast<int>(bit % 8);
        const int take = static_cast<int>(std::min<long long>(8 - offset, bps - b));
        const unsigned part = (byte >> (8 - offset - take)) & ((1u << take) - 1u);
        raw = (raw << take) | part;
        b += take;
        bit += static_cast<std::uint64_t>(take);
      }
      samples[i] = static_cast<double>(raw) / max_sample;
    }
    return std::make_shared<QorPaint::SampledFunction>(
        std::move(domain), std::move(range), std::move(size), std::move(samples),
        Intervals(dict, "/Encode", false), Intervals(dict, "/Decode", false));
  }

  std::shared_ptr<const QorPaint::Function> Exponential(QPDFObjectHandle dict) {
    QPDFObjectHandle n = dict.getKey("/N");
    if (!n.isNumber()) throw FunctionError("no /N");
    std::vector<double> c0;
    std::vector<double> c1;
    if (dict.hasKey("/C0")) c0 = Numbers(dict.getKey("/C0"), "/C0");
    if (dict.hasKey("/C1")) c1 = Numbers(dict.getKey("/C1"), "/C1");
    // One of them missing takes its default of the other's size.
    if (c0.empty() && !c1.empty()) c0.assign(c1.size(), 0.0);
    if (c1.empty() && !c0.empty()) c1.assign(c0.size(), 1.0);
    return std::make_shared<QorPaint::ExponentialFunction>(
        SingleInterval(dict), Intervals(dict, "/Range", false), std::move(c0), std::move(c1),
        n.getNumericValue());
  }

  std::shared_ptr<const QorPaint::Function> Stitching(QPDFObjectHandle dict, int depth) {
    QPDFObjectHandle array = dict.getKey("/Functions");
    if (!array.isArray()) throw FunctionError("no /Functions");
    std::vector<std::shared_ptr<const QorPaint::Function>> functions;
    for (QPDFObjectHandle item : array.getArrayAsVector()) {
      functions.push_back(Read(item, depth + 1));
    }
    std::vector<double> bounds;
    if (dict.hasKey("/Bounds")) bounds = Numbers(dict.getKey("/Bounds"), "/Bounds");
    return std::make_shared<QorPaint::StitchingFunction>(
        SingleInterval(dict), Intervals(dict, "/Range", false), std::move(functions),
        std::move(bounds), Intervals(dict, "/Encode", true));
  }

  WarningList& warnings_;
  std::optional<std::size_t> page_;
};

}  // namespace

std::shared_ptr<const QorPaint::Function> ReadFunction(QPDFObjectHandle function,
                                                       WarningList& warnings,
                                                       std::optional<std::size_t> page) {
  try {
    return Reader(warnings, page).Read(function, 0);
  } catch (const std::exception& e) {
    warnings.Add(page, Describe(function), std::string("unusable function: ") + e.what());
  }
  return nullptr;
}

}  // namespace QorPdf::internal
