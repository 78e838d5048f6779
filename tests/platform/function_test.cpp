// Functions of the document model: sampled, exponential, stitching, calculator.
#include "qorpaint/function.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using QorPaint::CalculatorFunction;
using QorPaint::ExponentialFunction;
using QorPaint::Function;
using QorPaint::FunctionError;
using QorPaint::Interval;
using QorPaint::SampledFunction;
using QorPaint::StitchingFunction;

std::vector<double> Eval(const Function& f, std::initializer_list<double> in) {
  std::vector<double> out(f.OutputCount(), -12345.0);
  f.Evaluate(std::vector<double>(in), out);
  return out;
}

double Eval1(const Function& f, double x) {
  return Eval(f, {x}).at(0);
}

TEST(SampledFunction, InterpolatesLinearlyBetweenSamplesAndClips) {
  const SampledFunction f({{0, 1}}, {{0, 1}}, {3}, {0.0, 0.5, 1.0});
  EXPECT_EQ(f.GetType(), Function::kSampled);
  EXPECT_EQ(f.InputCount(), 1u);
  EXPECT_EQ(f.OutputCount(), 1u);
  EXPECT_EQ(Eval1(f, 0.0), 0.0);
  EXPECT_EQ(Eval1(f, 0.25), 0.25);
  EXPECT_EQ(Eval1(f, 0.5), 0.5);
  EXPECT_EQ(Eval1(f, 0.75), 0.75);
  EXPECT_EQ(Eval1(f, 1.0), 1.0) << "the upper edge is the last sample";
  EXPECT_EQ(Eval1(f, -3.0), 0.0) << "inputs clip to the domain";
  EXPECT_EQ(Eval1(f, 7.0), 1.0);
  EXPECT_EQ(Eval1(f, std::nan("")), 0.0) << "NaN clips to the domain's start";

  // Decode maps the [0, 1] samples onto its interval (here reversed); the range clips.
  const SampledFunction decoded({{0, 1}}, {{0, 10}}, {3}, {0.0, 0.5, 1.0}, {}, {{10, 0}});
  EXPECT_EQ(Eval1(decoded, 0.25), 7.5);
  const SampledFunction clipped({{0, 1}}, {{0, 0.5}}, {3}, {0.0, 0.5, 1.0}, {}, {{0, 1}});
  EXPECT_EQ(Eval1(clipped, 0.75), 0.5);
  EXPECT_EQ(Eval1(clipped, 0.25), 0.25);

  // Encode maps the domain onto grid positions, here reversed over five samples.
  const SampledFunction encoded({{0, 1}}, {{0, 1}}, {5}, {0.0, 0.25, 0.5, 0.75, 1.0}, {{4, 0}});
  EXPECT_EQ(Eval1(encoded, 0.25), 0.75);
  EXPECT_EQ(Eval1(encoded, 0.125), 0.875);

  // A domain other than [0, 1]: [2, 4] onto three grid points.
  const SampledFunction shifted({{2, 4}}, {{0, 1}}, {3}, {0.0, 0.5, 1.0});
  EXPECT_EQ(Eval1(shifted, 2.5), 0.25);

  // A grid of one point is constant.
  const SampledFunction single({{0, 1}}, {{0, 1}}, {1}, {0.5});
  EXPECT_EQ(Eval1(single, 0.3), 0.5);
}

TEST(SampledFunction, SeveralInputsAndOutputs) {
  // Two inputs, first varying fastest: (0,0) 0, (1,0) 0.25, (0,1) 0.5, (1,1) 1.
  const SampledFunction f({{0, 1}, {0, 1}}, {{0, 1}}, {2, 2}, {0.0, 0.25, 0.5, 1.0});
  EXPECT_EQ(Eval(f, {0.5, 0.5})[0], 0.4375);
  EXPECT_EQ(Eval(f, {1.0, 0.5})[0], 0.625);
  EXPECT_EQ(Eval(f, {0.5, 0.0})[0], 0.125);
  EXPECT_EQ(Eval(f, {1.0, 1.0})[0], 1.0);
  EXPECT_EQ(Eval(f, {0.0, 1.0})[0], 0.5);

  // Two outputs interleaved per grid point.
  const SampledFunction g({{0, 1}}, {{0, 1}, {0, 1}}, {2}, {0.0, 1.0, 1.0, 0.0});
  EXPECT_EQ(g.OutputCount(), 2u);
  EXPECT_EQ(Eval(g, {0.25}), (std::vector<double>{0.25, 0.75}));
}

TEST(SampledFunction, InconsistentSizesAreRefused) {
  EXPECT_THROW(SampledFunction({{0, 1}}, {{0, 1}}, {3}, {0.0, 0.5}), FunctionError);
  EXPECT_THROW(SampledFunction({{0, 1}}, {{0, 1}}, {2, 2}, {0.0, 0.5, 0.5, 1.0}), FunctionError);
  EXPECT_THROW(SampledFunction({{0, 1}}, {{0, 1}}, {0}, {}), FunctionError);
  EXPECT_THROW(SampledFunction({{0, 1}}, {}, {2}, {0.0, 1.0}), FunctionError);
  EXPECT_THROW(SampledFunction({{0, 1}}, {{0, 1}}, {2}, {0.0, 1.0}, {{0, 1}, {0, 1}}),
               FunctionError);
  EXPECT_THROW(SampledFunction({{0, 1}}, {{0, 1}}, {2}, {0.0, 1.0}, {}, {{0, 1}, {0, 1}}),
               FunctionError);
  EXPECT_THROW(SampledFunction({{0, 1}}, {{0, 1}}, {2}, {0.0, 2.0}), FunctionError);
  EXPECT_THROW(SampledFunction({}, {{0, 1}}, {}, {0.0}), FunctionError);
  EXPECT_THROW(SampledFunction({{1, 0}}, {{0, 1}}, {2}, {0.0, 1.0}), FunctionError);
}

TEST(ExponentialFunction, InterpolatesWithThePower) {
  const ExponentialFunction f({0, 1}, {}, {0.0, 1.0}, {1.0, 0.5}, 2.0);
  EXPECT_EQ(f.GetType(), Function::kExponential);
  EXPECT_EQ(f.OutputCount(), 2u);
  EXPECT_EQ(Eval(f, {0.5}), (std::vector<double>{0.25, 0.875}));
  EXPECT_EQ(Eval(f, {2.0}), (std::vector<double>{1.0, 0.5})) << "input clipped to 1";

  // A non-integer N.
  const ExponentialFunction root({0, 1}, {}, {}, {}, 0.5);
  EXPECT_EQ(root.OutputCount(), 1u) << "C0 0 and C1 1 by default";
  EXPECT_EQ(Eval1(root, 0.25), 0.5);
  const ExponentialFunction f25({0, 1}, {}, {}, {}, 2.5);
  EXPECT_DOUBLE_EQ(Eval1(f25, 0.25), 0.03125);

  // x^N undefined (negative x, non-integer N) yields C0.
  const ExponentialFunction wide({-1, 1}, {}, {0.25}, {1.0}, 0.5);
  EXPECT_EQ(Eval1(wide, -0.25), 0.25);
  // The range clips.
  const ExponentialFunction ranged({0, 2}, {{0, 1}}, {0.0}, {1.0}, 1.0);
  EXPECT_EQ(Eval1(ranged, 1.5), 1.0);
  EXPECT_EQ(Eval1(ranged, 0.5), 0.5);

  EXPECT_THROW(ExponentialFunction({0, 1}, {}, {0.0, 0.0}, {1.0}, 1.0), FunctionError);
  EXPECT_THROW(ExponentialFunction({0, 1}, {{0, 1}, {0, 1}}, {0.0}, {1.0}, 1.0), FunctionError);
  EXPECT_THROW(ExponentialFunction({0, 1}, {}, {}, {}, std::nan("")), FunctionError);
}

std::shared_ptr<const Function> Linear(double c0, double c1) {
  return std::make_shared<ExponentialFunction>(Interval{0, 1}, std::vector<Interval>{},
                                               std::vector<double>{c0}, std::vector<double>{c1},
                                               1.0);
}

TEST(StitchingFunction, SubdomainsAndBounds) {
  const StitchingFunction f({0, 1}, {}, {Linear(0, 1), Linear(0, 1)}, {0.5}, {{0, 1}, {1, 0}});
  EXPECT_EQ(f.GetType(), 1);
  EXPECT_EQ(f.GetFunctions().size(), 2u);
  EXPECT_EQ(f.OutputCount(), 1u);
  EXPECT_EQ(Eval1(f, 0.0), 0.0);
  EXPECT_EQ(Eval1(f, 0.25), 0.5);
  EXPECT_EQ(Eval1(f, 0.5), 1.0) << "a bound starts the next subdomain";
  EXPECT_EQ(Eval1(f, 0.75), 0.5);
  EXPECT_EQ(Eval1(f, 1.0), 0.0) << "the last subdomain is closed";
  EXPECT_EQ(Eval1(f, 5.0), 0.0);
  EXPECT_EQ(Eval1(f, -5.0), 0.0);

  // A first bound at the domain's start: the domain's start alone is the first
  // subdomain.
  const StitchingFunction g({0, 1}, {}, {Linear(0.25, 0.25), Linear(0, 1)}, {0.0},
                            {{0, 1}, {0, 1}});
  EXPECT_EQ(Eval1(g, 0.0), 0.25);
  EXPECT_EQ(Eval1(g, 0.5), 0.5);

  // The range clips the sub-function's outputs.
  const StitchingFunction h({0, 1}, {{0, 0.5}}, {Linear(0, 1)}, {}, {{0, 1}});
  EXPECT_EQ(Eval1(h, 0.75), 0.5);

  EXPECT_THROW(StitchingFunction({0, 1}, {}, {Linear(0, 1), Linear(0, 1)}, {}, {{0, 1}, {0, 1}}),
               FunctionError);
  EXPECT_THROW(StitchingFunction({0, 1}, {}, {Linear(0, 1), Linear(0, 1), Linear(0, 1)}, {0.6, 0.4},
                                 {{0, 1}, {0, 1}, {0, 1}}),
               FunctionError);
  EXPECT_THROW(StitchingFunction({0, 1}, {}, {Linear(0, 1)}, {}, {}), FunctionError);
  EXPECT_THROW(StitchingFunction({0, 1}, {}, {Linear(0, 1), nullptr}, {0.5}, {{0, 1}, {0, 1}}),
               FunctionError);
  const auto two_in = std::make_shared<SampledFunction>(
      std::vector<Interval>{{0, 1}, {0, 1}}, std::vector<Interval>{{0, 1}},
      std::vector<std::uint32_t>{1, 1}, std::vector<double>{0.0});
  EXPECT_THROW(StitchingFunction({0, 1}, {}, {two_in}, {}, {{0, 1}}), FunctionError);
  const auto two_out = std::make_shared<ExponentialFunction>(
      Interval{0, 1}, std::vector<Interval>{}, std::vector<double>{0, 0}, std::vector<double>{1, 1},
      1.0);
  EXPECT_THROW(StitchingFunction({0, 1}, {}, {Linear(0, 1), two_out}, {0.5}, {{0, 1}, {0, 1}}),
               FunctionError);
}

// A calculator of one input (popped by most programs) and one output in a wide range.
double Calc(const std::string& program, double x = 0.0) {
  const CalculatorFunction f({{-1000, 1000}}, {{-100000, 100000}}, program);
  return Eval1(f, x);
}

TEST(CalculatorFunction, StackOperatorsAndOutputs) {
  const CalculatorFunction f({{0, 1}}, {{0, 1}, {0, 1}}, "dup 0.5 mul exch");
  EXPECT_EQ(f.GetType(), Function::kCalculator);
  EXPECT_EQ(Eval(f, {0.5}), (std::vector<double>{0.25, 0.5}));
  EXPECT_EQ(Eval(f, {4.0}), (std::vector<double>{0.5, 1.0})) << "input clipped to 1";

  const CalculatorFunction braces({{0, 1}}, {{0, 1}}, " { 2 mul } ");
  EXPECT_EQ(Eval1(braces, 0.25), 0.5) << "one pair of outer braces is accepted";

  const std::vector<Interval> unit3 = {{0, 1}, {0, 1}, {0, 1}};
  const CalculatorFunction roll_up(unit3, unit3, "3 1 roll");
  EXPECT_EQ(Eval(roll_up, {0.125, 0.25, 0.5}), (std::vector<double>{0.5, 0.125, 0.25}));
  const CalculatorFunction roll_down(unit3, unit3, "3 -1 roll");
  EXPECT_EQ(Eval(roll_down, {0.125, 0.25, 0.5}), (std::vector<double>{0.25, 0.5, 0.125}));
  const CalculatorFunction roll_far(unit3, unit3, "2 5 roll");
  EXPECT_EQ(Eval(roll_far, {0.125, 0.25, 0.5}), (std::vector<double>{0.125, 0.5, 0.25}));

  const std::vector<Interval> unit4 = {{0, 1}, {0, 1}, {0, 1}, {0, 1}};
  const CalculatorFunction index(unit3, unit4, "2 index");
  EXPECT_EQ(Eval(index, {0.125, 0.25, 0.5}), (std::vector<double>{0.125, 0.25, 0.5, 0.125}));
  const CalculatorFunction copy({{0, 1}, {0, 1}}, unit4, "2 copy");
  EXPECT_EQ(Eval(copy, {0.125, 0.25}), (std::vector<double>{0.125, 0.25, 0.125, 0.25}));

  // Outputs are the top of the stack; extra entries below are ignored.
  EXPECT_EQ(Calc("3 4"), 4.0);
  EXPECT_EQ(Calc("pop 1 2 pop"), 1.0);
  EXPECT_EQ(Calc("pop true"), 1.0);
  EXPECT_EQ(Calc("pop 1 2 3 2 copy add add add add"), 11.0);
}

TEST(CalculatorFunction, Conditionals) {
  const std::string ifelse = "dup 0.5 gt { pop 1 } { 2 mul } ifelse";
  EXPECT_EQ(Calc(ifelse, 0.25), 0.5);
  EXPECT_EQ(Calc(ifelse, 0.75), 1.0);
  const std::string if_only = "dup 0.5 lt { 0.5 add } if";
  EXPECT_EQ(Calc(if_only, 0.25), 0.75);
  EXPECT_EQ(Calc(if_only, 0.75), 0.75);
  // Nested, in both branches.
  const std::string nested =
      "dup 0 lt { dup -10 lt { pop -2 } { pop -1 } ifelse } "
      "{ dup 10 gt { pop 2 } if dup 2 ne { pop 0 } if } ifelse";
  EXPECT_EQ(Calc(nested, -20), -2.0);
  EXPECT_EQ(Calc(nested, -5), -1.0);
  EXPECT_EQ(Calc(nested, 5), 0.0);
  EXPECT_EQ(Calc(nested, 20), 2.0);
  EXPECT_EQ(Calc("pop true { } { 5 } ifelse 3"), 3.0) << "empty procedures";
  EXPECT_EQ(Calc("pop 7 % a comment { }\n"), 7.0);
}

struct CalcCase {
  const char* program;
  double expected;
};

// Each program's result at input 0, compared exactly.
void ExpectCalc(std::initializer_list<CalcCase> cases) {
  for (const CalcCase& c : cases)
    EXPECT_EQ(Calc(c.program), c.expected) << c.program;
}

TEST(CalculatorFunction, ArithmeticExactly) {
  // Integer operators truncate reals, halves round up, integer overflow gives a
  // real, and the range clips.
  // clang-format off
  ExpectCalc({{"pop 1 2 add 3 mul", 9.0}, {"pop 3 5 sub", -2.0}, {"pop 10 4 div", 2.5},
              {"pop 7 2 idiv", 3.0}, {"pop -7 2 idiv", -3.0}, {"pop -7 2 mod", -1.0},
              {"pop 7 -2 mod", 1.0}, {"pop 7.9 2 mod", 1.0}, {"pop 2 3 exp", 8.0},
              {"pop 4 0.5 exp", 2.0}, {"pop 100 log", 2.0}, {"pop 1 ln", 0.0},
              {"pop 16 sqrt", 4.0}, {"pop 90 sin", 1.0}, {"pop 180 sin", 0.0},
              {"pop 90 cos", 0.0}, {"pop 360 cos", 1.0}, {"pop -90 sin", -1.0},
              {"pop 0 1 atan", 0.0}, {"pop 2.5 round", 3.0}, {"pop -2.5 round", -2.0},
              {"pop -2.5 truncate", -2.0}, {"pop -2.5 floor", -3.0}, {"pop -2.5 ceiling", -2.0},
              {"pop 3.7 cvi", 3.0}, {"pop -3.7 cvi", -3.0}, {"pop 3 cvr 2 idiv", 1.0},
              {"pop 5 neg", -5.0}, {"pop -5.5 abs", 5.5}, {"pop 1 4 bitshift", 16.0},
              {"pop 16 -2 bitshift", 4.0}, {"pop 5 3 and", 1.0}, {"pop 5 3 or", 7.0},
              {"pop 5 3 xor", 6.0}, {"pop 0 not", -1.0}, {"pop 16#ff", 255.0},
              {"pop 2147483647 1 add 2147483648 sub", 0.0}, {"pop 1e2", 100.0}, {"pop .5", 0.5},
              {"pop +3", 3.0}, {"pop 1.5 1000 mul", 1500.0}, {"pop 1e6", 100000.0}});
  // clang-format on
  EXPECT_DOUBLE_EQ(Calc("pop 30 sin"), 0.5);
  EXPECT_DOUBLE_EQ(Calc("pop 1 0 atan"), 90.0);
  EXPECT_DOUBLE_EQ(Calc("pop -1 0 atan"), 270.0);
  EXPECT_DOUBLE_EQ(Calc("pop 1 -1 atan"), 135.0);
}

TEST(CalculatorFunction, BooleansAndComparisons) {
  // Integers and reals compare by value; booleans never equal numbers.
  // clang-format off
  for (const auto& [condition, expected] : std::initializer_list<std::pair<const char*, double>>{
           {"true", 1}, {"false", 0}, {"1 1.0 eq", 1}, {"true 1 eq", 0}, {"true 1 ne", 1},
           {"true true eq", 1}, {"2 3 ne", 1}, {"2 3 ge", 0}, {"3 3 ge", 1}, {"3 3 gt", 0},
           {"3 3 le", 1}, {"2 3 lt", 1}, {"true false and", 0}, {"true false or", 1},
           {"true true xor", 0}, {"false not", 1}}) {
    // clang-format on
    EXPECT_EQ(Calc(std::string("pop ") + condition + " {1} {0} ifelse"), expected) << condition;
  }
}

TEST(CalculatorFunction, RunTimeErrorsGiveZeros) {
  // Underflow, too few outputs, division by zero, domain and type errors, a
  // non-boolean condition, an integer out of range, bad index, roll and copy counts.
  for (const char* program :
       {"pop pop 1", "pop", "pop 1 0 div", "pop 1 0 idiv", "pop 1 0 mod", "pop -1 sqrt", "pop 0 ln",
        "pop -8 0.5 exp", "pop 0 0 atan", "pop true 1 add", "pop 1 2 lt 3 gt", "pop true 1 and",
        "pop 2 { 5 } if", "pop 1e20 cvi", "pop 1 2 5 index", "pop 1 2 -1 index", "pop 1 2 3 1 roll",
        "pop 1 2 -1 copy"}) {
    EXPECT_EQ(Calc(program), 0.0) << program;
  }
  // Copies whose size is computed escape the static check; the run overflows.
  EXPECT_EQ(Calc("pop 1 1 1 1 1 1 1 1 1 1 10 cvi copy 20 cvi copy 40 cvi copy 80 cvi copy"
                 " pop 7"),
            0.0);
  EXPECT_EQ(Calc("pop 1 1 1 1 1 1 1 1 1 1 10 cvi copy 20 cvi copy 40 cvi copy pop 7"), 7.0);
  // Failure clips its zeros to the range.
  const CalculatorFunction ranged({{0, 1}}, {{0.25, 1}}, "pop 1 0 div");
  EXPECT_EQ(Eval1(ranged, 0.5), 0.25);
}

// Literal operands are folded into their operators when compiled; a jump landing
// between the literal and the operator ("true {} if" does nothing else) keeps
// them apart. Both forms must agree, errors included.
TEST(CalculatorFunction, FoldedLiteralsBehaveAsWritten) {
  const char* programs[][2] = {
      {"0.25 1.5 2 copy add add add", "0.25 1.5 2 true {} if copy add add add"},
      {"0.25 1.5 2 index add add", "0.25 1.5 2 true {} if index add add"},
      {"pop 1 2 3 3 1 roll 10 mul add 10 mul add",
       "pop 1 2 3 3 true {} if 1 roll 10 mul add 10 mul add"},
      {"1 2 3 4 -1 roll 10 mul add 10 mul add 10 mul add",
       "1 2 3 4 true {} if -1 roll 10 mul add 10 mul add 10 mul add"},
      {"1 2 3 4 7 roll 10 mul add 10 mul add 10 mul add",
       "1 2 3 4 true {} if 7 roll 10 mul add 10 mul add 10 mul add"},
      {"1 2 0 0 roll add add", "1 2 0 true {} if 0 roll add add"},
      {"0.5 mul", "0.5 true {} if mul"},
      {"1 exch sub", "1 true {} if exch sub"},
      {"pop 7 2 idiv", "pop 7 2 true {} if idiv"},
      {"pop 7 3 exch mod", "pop 7 3 true {} if exch mod"},
      {"0 div", "0 true {} if div"},
      {"2 exch exp", "2 true {} if exch exp"},
      {"pop 2147483647 1 add 2147483647 sub", "pop 2147483647 1 true {} if add 2147483647 sub"},
      {"pop true 1 add", "pop true 1 true {} if add"},
      {"pop true 1 exch sub", "pop true 1 true {} if exch sub"},
      {"5 index", "5 true {} if index"},
      {"pop 1 2 3 1 roll", "pop 1 2 3 true {} if 1 roll"},
      {"2 copy", "2 true {} if copy"},
      {"pop 6 -1 bitshift", "pop 6 -1 true {} if bitshift"},
      {"pop 5 2 idiv 3 exch idiv", "pop 5 2 true {} if idiv 3 true {} if exch idiv"},
  };
  for (const auto& [folded, apart] : programs) {
    for (double x : {0.75, -3.0, 2.0})
      EXPECT_EQ(Calc(folded, x), Calc(apart, x)) << folded << " at " << x;
  }
  EXPECT_EQ(Calc("pop 1 2 3 4 4 7 roll 10 mul add 10 mul add 10 mul add"), 1432.0);
  EXPECT_EQ(Calc("1 exch sub", 0.25), 0.75);
  EXPECT_EQ(Calc("pop 2147483647 1 add 2147483647 sub"), 1.0) << "exact beyond 32 bits";

  // A folded literal still needs its stack entry: with the stack filled to its
  // limit at run time (a computed copy escapes the static check) "1 add" fails.
  std::string half;
  for (int i = 0; i < 49; ++i)
    half += "1 ";
  EXPECT_EQ(Calc(half + "49 cvi copy 1 add"), 2.0);
  EXPECT_EQ(Calc(half + "50 cvi copy 1 add"), 0.0);
  EXPECT_EQ(Calc(half + "50 cvi copy 1 exch sub"), 0.0);
  EXPECT_EQ(Calc(half + "49 cvi copy 3 1 roll"), 0.0) << "roll's two literals need room";
  EXPECT_EQ(Calc(half + "48 cvi copy 3 1 roll"), 1.0);
}

TEST(CalculatorFunction, MalformedProgramsAreRefused) {
  const std::vector<Interval> unit = {{0, 1}};
  for (const char* program : {"{ 1 add", "1 add }", "foo", "dup { 1 } 2 add", "true { 1 } { 2 } if",
                              "true { 1 } ifelse 3", "true if", "ifelse", "/name", "1 add [",
                              "(text)", "1..2", "1 { 2 }", "{ 1 } { 2 }", "16#", "99#1", "2#12"}) {
    EXPECT_THROW(CalculatorFunction(unit, unit, program), FunctionError) << program;
  }
  // Statically too deep: 101 entries.
  std::string deep;
  for (int i = 0; i < 100; ++i)
    deep += "1 ";
  EXPECT_THROW(CalculatorFunction(unit, unit, deep), FunctionError);
  EXPECT_NO_THROW(CalculatorFunction(unit, unit, "pop " + deep));
  EXPECT_THROW(CalculatorFunction(unit, unit, "1 2 3 4 5 6 7 8 9 10 95 copy"), FunctionError);
  std::string nesting = "pop 1";
  for (int i = 0; i < 200; ++i)
    nesting = "true { " + nesting + " } if";
  EXPECT_THROW(CalculatorFunction(unit, unit, "pop " + nesting), FunctionError);
  EXPECT_THROW(CalculatorFunction(unit, {}, "dup"), FunctionError) << "a range is required";
  EXPECT_THROW(CalculatorFunction(std::vector<Interval>(101, {0, 1}), unit, ""), FunctionError);
}

// Programs without booleans, jumps or integer-only operators run on plain doubles;
// the same program made to take the typed path (a boolean pushed and popped) must
// give the very same bits, failures (square root of a negative, division by zero,
// logarithm of zero) included, and an integer zero stays positive.
TEST(CalculatorFunction, UntypedRunsGiveTheTypedRunsBits) {
  const std::vector<Interval> two = {{-2, 2}, {-2, 2}};
  const std::vector<Interval> four = {{-1000, 1000}, {-1000, 1000}, {-1000, 1000}, {-1000, 1000}};
  const char* programs[] = {
      "2 copy mul 3 1 roll 2 copy add 0.5 mul 3 1 roll exch 1 exch sub exch 1 exch sub mul 0",
      "dup 0.5 mul 3 1 roll 90 mul add 1000 mul sin exch cos 4 -1 roll",
      "sqrt exch 10 exch div 2 copy atan 3 index ln",
      "neg abs floor exch ceiling 2 exp exch round 3 2 roll truncate cvr 0.5 add",
      "1 index 2 index 3 mul 7 div exch 2 exp log 5 1 roll pop",
      "pop pop 0 -3 mul 4 -2 sub 1.5 2 mul 7 neg",
  };
  for (const char* program : programs) {
    const CalculatorFunction plain(two, four, program);
    const CalculatorFunction typed(two, four, std::string(program) + " true pop");
    for (double u = -2.0; u <= 2.0; u += 0.25) {
      for (double v = -2.0; v <= 2.0; v += 0.375) {
        std::vector<double> a(4, -1.0), b(4, -2.0);
        plain.Evaluate(std::vector<double>{u, v}, a);
        typed.Evaluate(std::vector<double>{u, v}, b);
        for (std::size_t k = 0; k < 4; ++k) {
          EXPECT_EQ(std::signbit(a[k]), std::signbit(b[k])) << program << " " << u << "," << v;
          EXPECT_TRUE(a[k] == b[k] || (std::isnan(a[k]) && std::isnan(b[k])))
              << program << " " << u << "," << v << ": " << a[k] << " " << b[k];
        }
      }
    }
  }
  const CalculatorFunction zero({{0, 1}}, {{-1, 1}}, "pop 0 -3 mul");
  EXPECT_FALSE(std::signbit(Eval1(zero, 0.5)));
}

}  // namespace
