// Sampled, exponential and stitching functions, and the base's clipping helpers.
//
// Invariants: every size a function's evaluation relies on (grid sizes, sample
// count, encode and decode lengths, sub-function output counts) is checked in the
// constructor, so Evaluate needs no checks and throws nothing. Evaluate allocates
// nothing: the sampled function's per-input work lives in fixed arrays bounded by
// kMaxSampledInputs. NaN inputs clip to the domain's lower end, so no NaN reaches an
// index computation.
#include "qorpaint/function.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

namespace QorPaint {

namespace {

// The most inputs a sampled function may have: DeviceN's colorant limit. The grid
// walk keeps one entry per input on the stack.
constexpr std::size_t kMaxSampledInputs = 32;

void CheckIntervals(const std::vector<Interval>& intervals, const char* what) {
  for (const Interval& interval : intervals) {
    if (!std::isfinite(interval.min) || !std::isfinite(interval.max) ||
        interval.min > interval.max) {
      throw FunctionError(std::string(what) + " has an empty or non-finite interval");
    }
  }
}

// Maps x from [x0, x1] onto [y0, y1]; a degenerate source interval maps to y0.
double Interpolate(double x, double x0, double x1, double y0, double y1) {
  if (x1 == x0) return y0;
  return y0 + (x - x0) * ((y1 - y0) / (x1 - x0));
}

double Clamp(double x, double lo, double hi) {
  if (!(x >= lo)) return lo;  // also NaN
  return x > hi ? hi : x;
}

}  // namespace

Function::Function(std::vector<Interval> domain, std::vector<Interval> range)
    : domain_(std::move(domain)), range_(std::move(range)) {
  if (domain_.empty()) throw FunctionError("function without a domain");
  CheckIntervals(domain_, "domain");
  CheckIntervals(range_, "range");
}

double Function::ClipInput(std::size_t i, double x) const {
  return Clamp(x, domain_[i].min, domain_[i].max);
}

void Function::ClipOutputs(std::span<double> out) const {
  const std::size_t n = std::min(out.size(), range_.size());
  for (std::size_t j = 0; j < n; ++j)
    out[j] = Clamp(out[j], range_[j].min, range_[j].max);
}

// ---------------------------------------------------------------------------------
// Sampled

SampledFunction::SampledFunction(std::vector<Interval> domain, std::vector<Interval> range,
                                 std::vector<std::uint32_t> size, std::vector<double> samples,
                                 std::vector<Interval> encode, std::vector<Interval> decode)
    : Function(std::move(domain), std::move(range)),
      size_(std::move(size)),
      samples_(std::move(samples)),
      encode_(std::move(encode)),
      decode_(std::move(decode)) {
  const std::size_t m = InputCount();
  const std::size_t n = GetRange().size();
  if (m > kMaxSampledInputs) throw FunctionError("sampled function with too many inputs");
  if (n == 0) throw FunctionError("sampled function without a range");
  if (size_.size() != m) throw FunctionError("sampled function's size does not match its domain");
  std::size_t points = 1;
  for (std::uint32_t s : size_) {
    if (s == 0) throw FunctionError("sampled function with a grid size of 0");
    if (points > std::numeric_limits<std::size_t>::max() / s / n) {
      throw FunctionError("sampled function's grid is too large");
    }
    points *= s;
  }
  if (samples_.size() != points * n) {
    throw FunctionError("sampled function has " + std::to_string(samples_.size()) +
                        " samples where its grid needs " + std::to_string(points * n));
  }
  if (encode_.empty()) {
    for (std::uint32_t s : size_)
      encode_.push_back({0.0, static_cast<double>(s - 1)});
  }
  if (decode_.empty()) decode_ = GetRange();
  if (encode_.size() != m) throw FunctionError("sampled function's encode does not match");
  if (decode_.size() != n) throw FunctionError("sampled function's decode does not match");
  for (const auto* list : {&encode_, &decode_}) {
    for (const Interval& interval : *list) {
      if (!std::isfinite(interval.min) || !std::isfinite(interval.max)) {
        throw FunctionError("sampled function with a non-finite encode or decode");
      }
    }
  }
  for (double s : samples_) {
    if (!(s >= 0.0 && s <= 1.0)) throw FunctionError("sampled function's sample outside [0, 1]");
  }
}

void SampledFunction::Evaluate(std::span<const double> in, std::span<double> out) const {
  const std::size_t m = InputCount();
  const std::size_t n = GetRange().size();
  // Per input: the grid cell's lower index, the fraction towards the upper one and the
  // index stride. Inputs whose fraction is 0 take no part in the corner walk.
  std::array<std::size_t, kMaxSampledInputs> base{};
  std::array<std::size_t, kMaxSampledInputs> stride{};
  std::array<double, kMaxSampledInputs> fraction{};
  std::array<std::size_t, kMaxSampledInputs> active{};
  std::size_t active_count = 0;
  std::size_t origin = 0;
  std::size_t step = n;
  for (std::size_t i = 0; i < m; ++i) {
    const Interval& d = GetDomain()[i];
    const double x = ClipInput(i, i < in.size() ? in[i] : d.min);
    const double last = static_cast<double>(size_[i] - 1);
    const double e = Clamp(Interpolate(x, d.min, d.max, encode_[i].min, encode_[i].max), 0.0, last);
    double cell = std::floor(e);
    double f = e - cell;
    if (cell >= last && size_[i] > 1) {  // the upper edge belongs to the last cell
      cell = last - 1.0;
      f = 1.0;
    }
    base[i] = static_cast<std::size_t>(cell);
    stride[i] = step;
    fraction[i] = f;
    origin += base[i] * step;
    if (f > 0.0) active[active_count++] = i;
    step *= size_[i];
  }

  const std::size_t outputs = std::min(out.size(), n);
  for (std::size_t j = 0; j < outputs; ++j)
    out[j] = 0.0;
  const std::size_t corners = std::size_t{1} << active_count;
  for (std::size_t corner = 0; corner < corners; ++corner) {
    double weight = 1.0;
    std::size_t index = origin;
    for (std::size_t a = 0; a < active_count; ++a) {
      const std::size_t i = active[a];
      if ((corner >> a) & 1u) {
        weight *= fraction[i];
        index += stride[i];
      } else {
        weight *= 1.0 - fraction[i];
      }
    }
    for (std::size_t j = 0; j < outputs; ++j)
      out[j] += weight * samples_[index + j];
  }
  for (std::size_t j = 0; j < outputs; ++j) {
    out[j] = decode_[j].min + out[j] * (decode_[j].max - decode_[j].min);
  }
  ClipOutputs(out.first(outputs));
}

// ---------------------------------------------------------------------------------
// Exponential

ExponentialFunction::ExponentialFunction(Interval domain, std::vector<Interval> range,
                                         std::vector<double> c0, std::vector<double> c1,
                                         double exponent)
    : Function({domain}, std::move(range)),
      c0_(std::move(c0)),
      c1_(std::move(c1)),
      exponent_(exponent) {
  if (c0_.empty() && c1_.empty()) {
    c0_ = {0.0};
    c1_ = {1.0};
  }
  if (c0_.size() != c1_.size()) throw FunctionError("exponential function's C0 and C1 differ");
  if (c0_.empty()) throw FunctionError("exponential function without outputs");
  if (!GetRange().empty() && GetRange().size() != c0_.size()) {
    throw FunctionError("exponential function's range does not match C0");
  }
  if (!std::isfinite(exponent_)) throw FunctionError("exponential function's N is not finite");
  for (const auto* c : {&c0_, &c1_}) {
    for (double v : *c) {
      if (!std::isfinite(v)) throw FunctionError("exponential function's C0 or C1 not finite");
    }
  }
}

void ExponentialFunction::Evaluate(std::span<const double> in, std::span<double> out) const {
  const double x = ClipInput(0, in.empty() ? GetDomain()[0].min : in[0]);
  // x^N is undefined for negative x with a non-integer N and for 0 with a negative
  // N; a domain that allows those yields C0 there rather than NaN or infinity.
  double p = std::pow(x, exponent_);
  if (!std::isfinite(p)) p = 0.0;
  const std::size_t outputs = std::min(out.size(), c0_.size());
  for (std::size_t j = 0; j < outputs; ++j)
    out[j] = c0_[j] + p * (c1_[j] - c0_[j]);
  ClipOutputs(out.first(outputs));
}

// ---------------------------------------------------------------------------------
// Stitching

StitchingFunction::StitchingFunction(Interval domain, std::vector<Interval> range,
                                     std::vector<std::shared_ptr<const Function>> functions,
                                     std::vector<double> bounds, std::vector<Interval> encode)
    : Function({domain}, std::move(range)),
      functions_(std::move(functions)),
      bounds_(std::move(bounds)),
      encode_(std::move(encode)) {
  const std::size_t k = functions_.size();
  if (k == 0) throw FunctionError("stitching function without functions");
  if (bounds_.size() != k - 1) throw FunctionError("stitching function needs k - 1 bounds");
  if (encode_.size() != k) throw FunctionError("stitching function needs k encode intervals");
  for (const auto& f : functions_) {
    if (!f) throw FunctionError("stitching function with a missing function");
    if (f->InputCount() != 1) throw FunctionError("stitching a function of several inputs");
    if (f->OutputCount() != functions_[0]->OutputCount()) {
      throw FunctionError("stitched functions differ in their output counts");
    }
  }
  double previous = domain.min;
  for (double b : bounds_) {
    if (!(b >= previous) || b > domain.max) {
      throw FunctionError("stitching function's bounds are not increasing inside the domain");
    }
    previous = b;
  }
  for (const Interval& e : encode_) {
    if (!std::isfinite(e.min) || !std::isfinite(e.max)) {
      throw FunctionError("stitching function with a non-finite encode");
    }
  }
  if (!GetRange().empty() && GetRange().size() != functions_[0]->OutputCount()) {
    throw FunctionError("stitching function's range does not match its functions");
  }
}

std::size_t StitchingFunction::OutputCount() const {
  return GetRange().empty() ? functions_[0]->OutputCount() : GetRange().size();
}

void StitchingFunction::Evaluate(std::span<const double> in, std::span<double> out) const {
  const Interval& d = GetDomain()[0];
  const double x = ClipInput(0, in.empty() ? d.min : in[0]);
  // Subdomain i is [bounds[i-1], bounds[i]), the last one closed at the domain's end;
  // a first bound equal to the domain's start makes the first subdomain the single
  // point [start, start].
  const std::size_t k = functions_.size();
  std::size_t i = 0;
  if (!(k > 1 && bounds_[0] == d.min && x == d.min)) {
    while (i + 1 < k && x >= bounds_[i])
      ++i;
  }
  const double lo = i == 0 ? d.min : bounds_[i - 1];
  const double hi = i + 1 == k ? d.max : bounds_[i];
  const double mapped = Interpolate(x, lo, hi, encode_[i].min, encode_[i].max);
  functions_[i]->Evaluate(std::span<const double>(&mapped, 1),
                          out.first(std::min(out.size(), functions_[i]->OutputCount())));
  ClipOutputs(out);
}

}  // namespace QorPaint
