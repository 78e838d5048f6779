// Functions of m inputs to n outputs: tint transforms of special colour spaces,
// shading colour functions and soft-mask transfer functions.
//
// The model's numbering: 0 sampled, 1 stitching, 2 exponential, 4 calculator
// (PostScript subset). Every function clips its inputs to its domain and, where it
// has a range, its outputs to the range; Evaluate never reads more than InputCount()
// inputs nor writes more than OutputCount() outputs. Immutable once built, shared by
// std::shared_ptr<const>; evaluation allocates nothing and keeps no state, so one
// function may be evaluated from several threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace QorPaint {

// A closed interval [min, max].
struct Interval {
  double min = 0.0;
  double max = 1.0;
  friend bool operator==(const Interval&, const Interval&) = default;
};

// A function description that cannot be evaluated (sizes that do not match, a
// calculator program that does not balance). what() says what is wrong.
class FunctionError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

class Function {
 public:
  enum Type : int { kSampled = 0, kStitching = 1, kExponential = 2, kCalculator = 4 };

  virtual ~Function() = default;
  virtual int GetType() const = 0;

  std::size_t InputCount() const { return domain_.size(); }
  // Outputs per evaluation: the range's size where there is a range, otherwise what
  // the function itself yields.
  virtual std::size_t OutputCount() const = 0;
  const std::vector<Interval>& GetDomain() const { return domain_; }
  // One interval per output; empty where the function has no range.
  const std::vector<Interval>& GetRange() const { return range_; }

  // `in` has InputCount() values, `out` room for OutputCount(); throws nothing.
  virtual void Evaluate(std::span<const double> in, std::span<double> out) const = 0;

 protected:
  Function(std::vector<Interval> domain, std::vector<Interval> range);

  // Helpers for implementations: the input clipped to its domain interval, and the
  // outputs clipped to the range where there is one.
  double ClipInput(std::size_t i, double x) const;
  void ClipOutputs(std::span<double> out) const;

 private:
  std::vector<Interval> domain_;
  std::vector<Interval> range_;
};

// Samples on a grid, multilinear interpolation between them (order 1; cubic order 3
// is evaluated as linear). Samples are stored decoded to [0, 1] units of the sample
// range, first input varying fastest, outputs interleaved per grid point.
class SampledFunction final : public Function {
 public:
  // `size` has one grid size (>= 1) per input; `samples` holds
  // product(size) × range.size() values, each in [0, 1] (the raw sample divided by
  // 2^bitsPerSample − 1). `encode` (2 per input) and `decode` (2 per output) default
  // to [0, size−1] and the range when empty.
  SampledFunction(std::vector<Interval> domain, std::vector<Interval> range,
                  std::vector<std::uint32_t> size, std::vector<double> samples,
                  std::vector<Interval> encode = {}, std::vector<Interval> decode = {});
  int GetType() const override { return kSampled; }
  std::size_t OutputCount() const override { return GetRange().size(); }
  void Evaluate(std::span<const double> in, std::span<double> out) const override;

 private:
  std::vector<std::uint32_t> size_;
  std::vector<double> samples_;
  std::vector<Interval> encode_;
  std::vector<Interval> decode_;
};

// out_j = C0_j + x^N × (C1_j − C0_j), one input.
class ExponentialFunction final : public Function {
 public:
  // C0 and C1 have the same size (default {0} and {1} when both empty).
  ExponentialFunction(Interval domain, std::vector<Interval> range, std::vector<double> c0,
                      std::vector<double> c1, double exponent);
  int GetType() const override { return kExponential; }
  std::size_t OutputCount() const override { return c0_.size(); }
  void Evaluate(std::span<const double> in, std::span<double> out) const override;

 private:
  std::vector<double> c0_;
  std::vector<double> c1_;
  double exponent_;
};

// One input split into subdomains by `bounds`, each served by its own function after
// mapping the subdomain onto the function's `encode` interval.
class StitchingFunction final : public Function {
 public:
  // k functions (each one input, same output count), k − 1 increasing bounds inside
  // the domain, k encode intervals.
  StitchingFunction(Interval domain, std::vector<Interval> range,
                    std::vector<std::shared_ptr<const Function>> functions,
                    std::vector<double> bounds, std::vector<Interval> encode);
  int GetType() const override { return kStitching; }
  std::size_t OutputCount() const override;
  void Evaluate(std::span<const double> in, std::span<double> out) const override;

  const std::vector<std::shared_ptr<const Function>>& GetFunctions() const { return functions_; }
  const std::vector<double>& GetBounds() const { return bounds_; }
  const std::vector<Interval>& GetEncode() const { return encode_; }

 private:
  std::vector<std::shared_ptr<const Function>> functions_;
  std::vector<double> bounds_;
  std::vector<Interval> encode_;
};

// A program of the PostScript calculator subset, compiled to a flat instruction
// list (if/ifelse as jumps) run on a fixed-size operand stack. Type errors and stack
// over- or underflow during evaluation yield zeros, never undefined behaviour.
class CalculatorFunction final : public Function {
 public:
  // The stack depth the calculator allows; deeper programs are refused.
  static constexpr std::size_t kStackLimit = 100;

  // `program` is the program's text, e.g. "dup 0.5 mul exch"; one pair of braces
  // around all of it (as a stream holds it) is accepted too. Throws FunctionError
  // for unknown operators, unbalanced braces, a procedure not followed by if or
  // ifelse, or a stack that provably grows beyond kStackLimit.
  CalculatorFunction(std::vector<Interval> domain, std::vector<Interval> range,
                     std::string_view program);
  ~CalculatorFunction() override;
  int GetType() const override { return kCalculator; }
  std::size_t OutputCount() const override { return GetRange().size(); }
  void Evaluate(std::span<const double> in, std::span<double> out) const override;

  // One step of the compiled program; opaque, defined by the implementation.
  struct Instruction;

 private:
  // Evaluate for programs that the language's types cannot change (see the
  // implementation): no type tags, no depth checks.
  void EvaluateOnReals(std::span<const double> in, std::span<double> out) const;
  // The outputs of a run that failed: every one 0, clipped to the range.
  void Failed(std::span<double> out) const;

  std::vector<Instruction> code_;
  bool on_reals_ = false;
};

}  // namespace QorPaint
