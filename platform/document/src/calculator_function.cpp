// The PostScript calculator subset: compiling a program to a flat instruction list
// and running it on a fixed-size operand stack.
//
// A procedure can only appear as the operand of if or ifelse, so compilation turns
// "cond {a} if" into a conditional forward jump over a, and "cond {a} {b} ifelse" into
// a conditional jump to b plus an unconditional jump over b; the list has no calls
// and no backward jumps, so every run ends after at most code_.size() steps. Once
// checked, literal operands are folded into the operators that take them ("3 1
// roll", "0.5 mul", "1 exch sub"): function-based shadings run the program once per
// pixel, and most of a generator's instructions are such pairs.
//
// Values keep the language's three types (boolean, integer, real). Integers are
// 32-bit as in PostScript: integer arithmetic that leaves that range gives a real.
// Operators that need integers (idiv, mod, bitshift, copy, index, roll and the
// bitwise and/or/xor/not) also accept reals, truncated towards zero, since generators
// often feed them computed values. Any error during a run (a type error, a division
// by zero, a value outside an operator's domain, stack overflow or underflow) ends the
// run with every output 0, clipped to the range.
//
// A program whose numbers its types cannot change (see RunsOnReals: no booleans,
// jumps or integer-only operators) runs on plain doubles without type tags or depth
// checks, giving the same bits as the typed run.
//
// Evaluate allocates nothing: the operand stack is an array of kStackLimit entries on
// the C++ stack.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <optional>
#include <string>

#include "qorpaint/function.h"

namespace QorPaint {

namespace {

// clang-format off
enum class Op : std::uint8_t {
  kPushReal, kPushInt, kPushBool, kJumpIfFalse, kJump,
  kAbs, kAdd, kAnd, kAtan, kBitshift, kCeiling, kCopy, kCos, kCvi, kCvr, kDiv, kDup, kEq,
  kExch, kExp, kFloor, kGe, kGt, kIdiv, kIndex, kLe, kLn, kLog, kLt, kMod, kMul, kNe, kNeg,
  kNot, kOr, kPop, kRoll, kRound, kSin, kSqrt, kSub, kTruncate, kXor,
  // Fused after compilation (see Fuse): a literal operand folded into its operator.
  kCopyN, kIndexN, kRollN, kBinaryLiteral, kBinaryLiteralFirst,
};
// clang-format on

struct OperatorName {
  std::string_view name;
  Op op;
  // Net change of the stack depth; copy's depends on its operand (see RefuseTooDeep).
  int effect;
};

// clang-format off
constexpr OperatorName kOperators[] = {
    {"abs", Op::kAbs, 0},          {"add", Op::kAdd, -1},         {"and", Op::kAnd, -1},
    {"atan", Op::kAtan, -1},       {"bitshift", Op::kBitshift, -1}, {"ceiling", Op::kCeiling, 0},
    {"copy", Op::kCopy, -1},       {"cos", Op::kCos, 0},          {"cvi", Op::kCvi, 0},
    {"cvr", Op::kCvr, 0},          {"div", Op::kDiv, -1},         {"dup", Op::kDup, 1},
    {"eq", Op::kEq, -1},           {"exch", Op::kExch, 0},        {"exp", Op::kExp, -1},
    {"floor", Op::kFloor, 0},      {"ge", Op::kGe, -1},           {"gt", Op::kGt, -1},
    {"idiv", Op::kIdiv, -1},       {"index", Op::kIndex, 0},      {"le", Op::kLe, -1},
    {"ln", Op::kLn, 0},            {"log", Op::kLog, 0},          {"lt", Op::kLt, -1},
    {"mod", Op::kMod, -1},         {"mul", Op::kMul, -1},         {"ne", Op::kNe, -1},
    {"neg", Op::kNeg, 0},          {"not", Op::kNot, 0},          {"or", Op::kOr, -1},
    {"pop", Op::kPop, -1},         {"roll", Op::kRoll, -2},       {"round", Op::kRound, 0},
    {"sin", Op::kSin, 0},          {"sqrt", Op::kSqrt, 0},        {"sub", Op::kSub, -1},
    {"truncate", Op::kTruncate, 0}, {"xor", Op::kXor, -1},
};
// clang-format on

int EffectOf(Op op) {
  switch (op) {
    case Op::kPushReal:
    case Op::kPushInt:
    case Op::kPushBool:
      return 1;
    case Op::kJumpIfFalse:
      return -1;
    case Op::kJump:
      return 0;
    default:
      break;
  }
  for (const OperatorName& o : kOperators) {
    if (o.op == op) return o.effect;
  }
  return 0;
}

constexpr double kIntMin = -2147483648.0;
constexpr double kIntMax = 2147483647.0;

bool IsDelimiter(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\0' || c == '{' ||
         c == '}' || c == '%';
}

}  // namespace

struct CalculatorFunction::Instruction {
  Op op;
  double value;          // the operand of a push (a boolean as 0 or 1), or the literal
  std::uint32_t target;  // the destination of a jump, or the count of copy, index, roll
  Op binary = Op::kAdd;  // the operator of kBinaryLiteral and kBinaryLiteralFirst
  bool integer = false;  // the literal is an integer
  std::uint32_t shift = 0;  // kRollN: positions moved towards the top, in [0, count)
};

namespace {

using Instruction = CalculatorFunction::Instruction;

// Recursive descent over the program text; procedures nest as deep as the text does,
// bounded by kMaxNesting so that a hostile program cannot exhaust the C++ stack.
class Compiler {
 public:
  Compiler(std::string_view text, std::vector<Instruction>& code) : text_(text), code_(code) {}

  void CompileProgram() { Block(false, 0); }

 private:
  static constexpr int kMaxNesting = 100;

  struct Token {
    enum Kind { kEnd, kOpen, kClose, kWord } kind;
    std::string_view word;
  };

  Token Next() {
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      if (c == '%') {
        while (pos_ < text_.size() && text_[pos_] != '\n' && text_[pos_] != '\r')
          ++pos_;
      } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\0') {
        ++pos_;
      } else {
        break;
      }
    }
    if (pos_ >= text_.size()) return {Token::kEnd, {}};
    if (text_[pos_] == '{') return {Token::kOpen, text_.substr(pos_++, 1)};
    if (text_[pos_] == '}') return {Token::kClose, text_.substr(pos_++, 1)};
    const std::size_t start = pos_;
    while (pos_ < text_.size() && !IsDelimiter(text_[pos_]))
      ++pos_;
    return {Token::kWord, text_.substr(start, pos_ - start)};
  }

  std::uint32_t Here() const { return static_cast<std::uint32_t>(code_.size()); }

  // Compiles up to the closing brace (nested) or the end of the text (top level).
  void Block(bool nested, int depth) {
    if (depth > kMaxNesting) throw FunctionError("calculator procedures nested too deeply");
    for (;;) {
      const Token token = Next();
      switch (token.kind) {
        case Token::kEnd:
          if (nested) throw FunctionError("calculator program has an unclosed brace");
          return;
        case Token::kClose:
          if (!nested) throw FunctionError("calculator program has an unmatched closing brace");
          return;
        case Token::kOpen:
          Conditional(depth);
          break;
        case Token::kWord:
          Word(token.word);
          break;
      }
    }
  }

  // After "{": the first procedure, optionally a second, then if or ifelse.
  void Conditional(int depth) {
    const std::size_t skip_first = code_.size();
    code_.push_back({Op::kJumpIfFalse, 0.0, 0});
    Block(true, depth + 1);
    Token token = Next();
    if (token.kind == Token::kWord && token.word == "if") {
      code_[skip_first].target = Here();
      return;
    }
    if (token.kind != Token::kOpen) {
      throw FunctionError("calculator procedure not followed by if or ifelse");
    }
    const std::size_t skip_second = code_.size();
    code_.push_back({Op::kJump, 0.0, 0});
    code_[skip_first].target = Here();
    Block(true, depth + 1);
    token = Next();
    if (token.kind != Token::kWord || token.word != "ifelse") {
      throw FunctionError("calculator procedures not followed by ifelse");
    }
    code_[skip_second].target = Here();
  }

  void Word(std::string_view word) {
    if (word == "true" || word == "false") {
      code_.push_back({Op::kPushBool, word == "true" ? 1.0 : 0.0, 0});
      return;
    }
    for (const OperatorName& o : kOperators) {
      if (o.name == word) {
        code_.push_back({o.op, 0.0, 0});
        return;
      }
    }
    if (word == "if" || word == "ifelse") {
      throw FunctionError("calculator " + std::string(word) + " without procedures");
    }
    if (const auto number = ParseNumber(word)) {
      code_.push_back(*number);
      return;
    }
    throw FunctionError("calculator program has an unknown operator '" +
                        std::string(word.substr(0, 40)) + "'");
  }

  // Integers (with an optional radix prefix such as 16#FF) and reals.
  static std::optional<Instruction> ParseNumber(std::string_view word) {
    std::string_view digits = word;
    if (!digits.empty() && digits[0] == '+') digits.remove_prefix(1);
    if (digits.empty()) return std::nullopt;
    const char* end = digits.data() + digits.size();
    if (const auto hash = digits.find('#'); hash != std::string_view::npos) {
      int radix = 0;
      auto r = std::from_chars(digits.data(), digits.data() + hash, radix);
      if (r.ec != std::errc() || r.ptr != digits.data() + hash || radix < 2 || radix > 36) {
        return std::nullopt;
      }
      std::uint64_t value = 0;
      r = std::from_chars(digits.data() + hash + 1, end, value, radix);
      if (r.ec != std::errc() || r.ptr != end || hash + 1 == digits.size()) return std::nullopt;
      // Radix numbers are bit patterns: 16#FFFFFFFF is -1.
      if (value > 0xffffffffu) return Instruction{Op::kPushReal, static_cast<double>(value), 0};
      return Instruction{Op::kPushInt, static_cast<double>(static_cast<std::int32_t>(value)), 0};
    }
    long long integer = 0;
    auto r = std::from_chars(digits.data(), end, integer);
    if (r.ec == std::errc() && r.ptr == end) {
      if (integer >= kIntMin && integer <= kIntMax) {
        return Instruction{Op::kPushInt, static_cast<double>(integer), 0};
      }
      return Instruction{Op::kPushReal, static_cast<double>(integer), 0};
    }
    double real = 0.0;
    r = std::from_chars(digits.data(), end, real);
    if (r.ec != std::errc() || r.ptr != end || !std::isfinite(real)) return std::nullopt;
    return Instruction{Op::kPushReal, real, 0};
  }

  std::string_view text_;
  std::size_t pos_ = 0;
  std::vector<Instruction>& code_;
};

// The program's text without one pair of braces around all of it, if it has them.
std::string_view WithoutOuterBraces(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n\f");
  const std::size_t last = text.find_last_not_of(" \t\r\n\f");
  if (first == std::string_view::npos || text[first] != '{' || text[last] != '}') return text;
  int depth = 0;
  for (std::size_t i = first; i <= last; ++i) {
    if (text[i] == '%') return text;  // comments may hide braces: leave it to the compiler
    if (text[i] == '{') ++depth;
    if (text[i] == '}' && --depth == 0) {
      return i == last ? text.substr(first + 1, last - first - 1) : text;
    }
  }
  return text;
}

// The stack depth along every path where it is known statically: the inputs, then
// each instruction's effect, copy's operand where a literal pushes it. Paths whose
// depths disagree where they join, or that depend on computed operands, are not
// followed further; evaluation still guards them.
void RefuseTooDeep(const std::vector<Instruction>& code, std::size_t inputs) {
  constexpr long kUnreached = -1;
  constexpr long kUnknown = -2;
  std::vector<long> depth(code.size() + 1, kUnreached);
  std::vector<bool> is_target(code.size() + 1, false);
  for (const Instruction& i : code) {
    if (i.op == Op::kJump || i.op == Op::kJumpIfFalse) is_target[i.target] = true;
  }
  auto merge = [&](std::size_t at, long d) {
    if (depth[at] == kUnreached) {
      depth[at] = d;
    } else if (depth[at] != d) {
      depth[at] = kUnknown;
    }
  };
  depth[0] = static_cast<long>(inputs);
  for (std::size_t pc = 0; pc < code.size(); ++pc) {
    const long d = depth[pc];
    if (d == kUnreached) continue;
    long next = kUnknown;
    if (d != kUnknown) {
      const Instruction& i = code[pc];
      long effect = EffectOf(i.op);
      bool known = true;
      if (i.op == Op::kCopy) {
        known = pc > 0 && !is_target[pc] && code[pc - 1].op == Op::kPushInt;
        if (known) effect = static_cast<long>(code[pc - 1].value) - 1;
      }
      if (known) next = d + effect;
      if (next > static_cast<long>(CalculatorFunction::kStackLimit)) {
        throw FunctionError("calculator program needs more than " +
                            std::to_string(CalculatorFunction::kStackLimit) + " stack entries");
      }
      if (next < 0) next = kUnknown;
    }
    const Instruction& i = code[pc];
    if (i.op == Op::kJump) {
      merge(i.target, next);
    } else {
      merge(pc + 1, next);
      if (i.op == Op::kJumpIfFalse) merge(i.target, next);
    }
  }
}

// Folds literal operands into their operators once the program is checked: "n copy",
// "n index" and "n j roll" with literal integers, and "x op" and "x exch op" for the
// arithmetic operators with a literal number x. A group is folded only when no jump
// lands inside it; jump targets are renumbered. The folded forms behave exactly as
// the instructions they replace, failures included.
std::vector<Instruction> Fuse(const std::vector<Instruction>& code) {
  std::vector<bool> is_target(code.size() + 1, false);
  for (const Instruction& i : code) {
    if (i.op == Op::kJump || i.op == Op::kJumpIfFalse) is_target[i.target] = true;
  }
  auto literal_count = [&](std::size_t at) {
    return code[at].op == Op::kPushInt && code[at].value >= 0.0 &&
           code[at].value <= static_cast<double>(CalculatorFunction::kStackLimit);
  };
  auto number = [&](std::size_t at) {
    return code[at].op == Op::kPushInt || code[at].op == Op::kPushReal;
  };
  auto arithmetic = [&](std::size_t at) {
    switch (code[at].op) {
      case Op::kAdd: case Op::kSub: case Op::kMul: case Op::kDiv: case Op::kIdiv:
      case Op::kMod: case Op::kAtan: case Op::kExp: case Op::kBitshift:
        return true;
      default:
        return false;
    }
  };
  std::vector<Instruction> fused;
  std::vector<std::uint32_t> moved(code.size() + 1, 0);
  std::size_t pc = 0;
  while (pc < code.size()) {
    // How many instructions the group at pc spans, if nothing jumps into it.
    auto free_of_targets = [&](std::size_t length) {
      if (pc + length > code.size()) return false;
      for (std::size_t k = 1; k < length; ++k) {
        if (is_target[pc + k]) return false;
      }
      return true;
    };
    const Instruction& here = code[pc];
    Instruction out = here;
    std::size_t length = 1;
    if (free_of_targets(3) && literal_count(pc) && code[pc + 1].op == Op::kPushInt &&
        code[pc + 2].op == Op::kRoll) {
      const auto count = static_cast<std::int64_t>(here.value);
      const auto j = static_cast<std::int64_t>(code[pc + 1].value);
      out = {Op::kRollN, 0.0, static_cast<std::uint32_t>(count)};
      out.shift = count == 0 ? 0 : static_cast<std::uint32_t>(((j % count) + count) % count);
      length = 3;
    } else if (free_of_targets(2) && literal_count(pc) && code[pc + 1].op == Op::kCopy) {
      out = {Op::kCopyN, 0.0, static_cast<std::uint32_t>(here.value)};
      length = 2;
    } else if (free_of_targets(2) && literal_count(pc) && code[pc + 1].op == Op::kIndex) {
      out = {Op::kIndexN, 0.0, static_cast<std::uint32_t>(here.value)};
      length = 2;
    } else if (free_of_targets(2) && number(pc) && arithmetic(pc + 1)) {
      out = {Op::kBinaryLiteral, here.value, 0};
      out.binary = code[pc + 1].op;
      out.integer = here.op == Op::kPushInt;
      length = 2;
    } else if (free_of_targets(3) && number(pc) && code[pc + 1].op == Op::kExch &&
               arithmetic(pc + 2)) {
      out = {Op::kBinaryLiteralFirst, here.value, 0};
      out.binary = code[pc + 2].op;
      out.integer = here.op == Op::kPushInt;
      length = 3;
    }
    for (std::size_t k = 0; k < length; ++k)
      moved[pc + k] = static_cast<std::uint32_t>(fused.size());
    fused.push_back(out);
    pc += length;
  }
  moved[code.size()] = static_cast<std::uint32_t>(fused.size());
  for (Instruction& i : fused) {
    if (i.op == Op::kJump || i.op == Op::kJumpIfFalse) i.target = moved[i.target];
  }
  return fused;
}

struct Value {
  double v;
  enum Kind : std::uint8_t { kReal, kInt, kBool } kind;
};

// The integer a number operand stands for (reals truncated), if it is one in range.
std::optional<std::int64_t> AsInteger(const Value& x) {
  if (x.kind == Value::kBool) return std::nullopt;
  const double t = std::trunc(x.v);
  if (!(t >= kIntMin && t <= kIntMax)) return std::nullopt;
  return static_cast<std::int64_t>(t);
}

// An integer result: an integer while it fits 32 bits, otherwise a real.
Value IntegerResult(std::int64_t i) {
  const double d = static_cast<double>(i);
  return {d, d >= kIntMin && d <= kIntMax ? Value::kInt : Value::kReal};
}

// Sine and cosine of degrees, exact at multiples of 90 degrees.
double SinDegrees(double degrees) {
  const double a = std::fmod(degrees, 360.0);
  if (a == 0.0 || a == 180.0 || a == -180.0) return 0.0;
  if (a == 90.0 || a == -270.0) return 1.0;
  if (a == 270.0 || a == -90.0) return -1.0;
  return std::sin(a * (std::numbers::pi / 180.0));
}

// The operators of two numbers giving one number: a becomes a op b. False on an
// error, which ends the run.
[[gnu::always_inline]] inline bool Binary(Op op, Value& a, const Value& b) {
  if (a.kind == Value::kBool || b.kind == Value::kBool) return false;
  const bool integers = a.kind == Value::kInt && b.kind == Value::kInt;
  // Only read as integers when they are: a real may be far outside the range.
  const std::int64_t ia = integers ? static_cast<std::int64_t>(a.v) : 0;
  const std::int64_t ib = integers ? static_cast<std::int64_t>(b.v) : 0;
  switch (op) {
    case Op::kAdd:
      a = integers ? IntegerResult(ia + ib) : Value{a.v + b.v, Value::kReal};
      break;
    case Op::kSub:
      a = integers ? IntegerResult(ia - ib) : Value{a.v - b.v, Value::kReal};
      break;
    case Op::kMul:
      a = integers ? IntegerResult(ia * ib) : Value{a.v * b.v, Value::kReal};
      break;
    case Op::kDiv:
      if (b.v == 0.0) return false;
      a = {a.v / b.v, Value::kReal};
      break;
    case Op::kIdiv:
    case Op::kMod: {
      const auto x = AsInteger(a);
      const auto y = AsInteger(b);
      if (!x || !y || *y == 0) return false;
      a = IntegerResult(op == Op::kIdiv ? *x / *y : *x % *y);
      break;
    }
    case Op::kAtan: {
      if (a.v == 0.0 && b.v == 0.0) return false;
      double degrees = std::atan2(a.v, b.v) * (180.0 / std::numbers::pi);
      if (degrees < 0.0) degrees += 360.0;
      a = {degrees, Value::kReal};
      break;
    }
    case Op::kExp: {
      const double p = std::pow(a.v, b.v);
      if (!std::isfinite(p)) return false;
      a = {p, Value::kReal};
      break;
    }
    case Op::kBitshift: {
      const auto x = AsInteger(a);
      const auto s = AsInteger(b);
      if (!x || !s) return false;
      const auto bits = static_cast<std::uint32_t>(*x);
      std::uint32_t r = 0;
      if (*s >= 0 && *s < 32) r = bits << *s;
      if (*s < 0 && *s > -32) r = bits >> -*s;
      a = {static_cast<double>(static_cast<std::int32_t>(r)), Value::kInt};
      break;
    }
    default:
      break;
  }
  return true;
}

Value Literal(const Instruction& ins) {
  return {ins.value, ins.integer ? Value::kInt : Value::kReal};
}

// Programs whose numbers the language's types cannot change run on doubles alone:
// no jumps, no booleans, no operator that treats integers apart (idiv, mod,
// bitshift, cvi, the bitwise ones, comparisons, copy, index and roll of a computed
// count), no arithmetic of two integers (whose zero is never negative, where a
// product of doubles can be), and a stack depth known at every step and within
// bounds, so no step can fail for want of operands or room. Whether a slot holds an
// integer is known at every step too, so this is decided once per program.
bool OnRealsOnly(Op op) {
  switch (op) {
    case Op::kAdd:
    case Op::kSub:
    case Op::kMul:
    case Op::kDiv:
    case Op::kAtan:
    case Op::kExp:
      return true;
    default:
      return false;
  }
}

bool RunsOnReals(const std::vector<Instruction>& code, std::size_t inputs, std::size_t outputs) {
  constexpr std::size_t kLimit = CalculatorFunction::kStackLimit;
  std::array<bool, kLimit> integer{};  // per stack slot; the inputs are reals
  std::size_t sp = inputs;
  // Operators whose result keeps an integer's type from integers.
  auto integral = [](Op op) { return op == Op::kAdd || op == Op::kSub || op == Op::kMul; };
  for (const Instruction& ins : code) {
    if (OnRealsOnly(ins.op)) {  // two numbers in, one out
      if (sp < 2 || (integral(ins.op) && integer[sp - 1] && integer[sp - 2])) return false;
      integer[--sp - 1] = false;
      continue;
    }
    switch (ins.op) {
      case Op::kPushReal:
      case Op::kPushInt:
        if (sp + 1 > kLimit) return false;
        integer[sp++] = ins.op == Op::kPushInt;
        break;
      case Op::kAbs:
      case Op::kNeg:
        if (sp < 1 || integer[sp - 1]) return false;
        break;
      case Op::kCeiling:
      case Op::kFloor:
      case Op::kRound:
      case Op::kTruncate:
        if (sp < 1) return false;
        break;
      case Op::kCvr:
      case Op::kSqrt:
      case Op::kSin:
      case Op::kCos:
      case Op::kLn:
      case Op::kLog:
        if (sp < 1) return false;
        integer[sp - 1] = false;
        break;
      case Op::kBinaryLiteral:
      case Op::kBinaryLiteralFirst:
        if (sp + 1 > kLimit || sp < 1 || !OnRealsOnly(ins.binary)) return false;
        if (integral(ins.binary) && ins.integer && integer[sp - 1]) return false;
        integer[sp - 1] = false;
        break;
      case Op::kDup:
        if (sp < 1 || sp + 1 > kLimit) return false;
        integer[sp] = integer[sp - 1];
        ++sp;
        break;
      case Op::kExch:
        if (sp < 2) return false;
        std::swap(integer[sp - 1], integer[sp - 2]);
        break;
      case Op::kPop:
        if (sp < 1) return false;
        --sp;
        break;
      case Op::kCopyN:
        if (sp + 1 > kLimit || sp < ins.target || sp + ins.target > kLimit) return false;
        std::copy(integer.begin() + (sp - ins.target), integer.begin() + sp, integer.begin() + sp);
        sp += ins.target;
        break;
      case Op::kIndexN:
        if (sp + 1 > kLimit || static_cast<std::size_t>(ins.target) + 1 > sp) return false;
        integer[sp] = integer[sp - 1 - ins.target];
        ++sp;
        break;
      case Op::kRollN: {
        if (sp + 2 > kLimit || sp < ins.target) return false;
        const auto first = integer.begin() + (sp - ins.target);
        std::rotate(first, first + (ins.target - ins.shift), integer.begin() + sp);
        break;
      }
      default:
        return false;
    }
  }
  return sp >= outputs;
}

// a op b on doubles for the operators OnRealsOnly accepts; false where the
// language's operator fails.
[[gnu::always_inline]] inline bool RealBinary(Op op, double& a, double b) {
  switch (op) {
    case Op::kAdd:
      a = a + b;
      return true;
    case Op::kSub:
      a = a - b;
      return true;
    case Op::kMul:
      a = a * b;
      return true;
    case Op::kDiv:
      if (b == 0.0) return false;
      a = a / b;
      return true;
    default: {
      Value x{a, Value::kReal};
      if (!Binary(op, x, Value{b, Value::kReal})) return false;
      a = x.v;
      return true;
    }
  }
}

}  // namespace

CalculatorFunction::CalculatorFunction(std::vector<Interval> domain, std::vector<Interval> range,
                                       std::string_view program)
    : Function(std::move(domain), std::move(range)) {
  if (GetRange().empty()) throw FunctionError("calculator function without a range");
  if (InputCount() > kStackLimit || GetRange().size() > kStackLimit) {
    throw FunctionError("calculator function with more values than its stack holds");
  }
  Compiler(WithoutOuterBraces(program), code_).CompileProgram();
  if (code_.size() > std::numeric_limits<std::uint32_t>::max() / 2) {
    throw FunctionError("calculator program too long");
  }
  RefuseTooDeep(code_, InputCount());
  code_ = Fuse(code_);
  on_reals_ = RunsOnReals(code_, InputCount(), GetRange().size());
}

CalculatorFunction::~CalculatorFunction() = default;

void CalculatorFunction::Failed(std::span<double> out) const {
  const std::size_t outputs = std::min(out.size(), GetRange().size());
  std::fill_n(out.begin(), outputs, 0.0);
  ClipOutputs(out.first(outputs));
}

void CalculatorFunction::Evaluate(std::span<const double> in, std::span<double> out) const {
  if (on_reals_) return EvaluateOnReals(in, out);
  std::array<Value, kStackLimit> stack;
  std::size_t sp = 0;
  const std::size_t outputs = std::min(out.size(), GetRange().size());
  auto fail = [&] { Failed(out); };
  for (std::size_t i = 0; i < InputCount(); ++i) {
    stack[sp++] = {ClipInput(i, i < in.size() ? in[i] : GetDomain()[i].min), Value::kReal};
  }

// Operand access for the operators below; each bails out of the run on error.
#define QOR_NEED(n) \
  if (sp < (n)) return fail()
#define QOR_ROOM(n) \
  if (sp + (n) > kStackLimit) return fail()
#define QOR_NUMBER(x) \
  if ((x).kind == Value::kBool) return fail()

  const std::size_t size = code_.size();
  for (std::size_t pc = 0; pc < size; ++pc) {
    const Instruction& ins = code_[pc];
    switch (ins.op) {
      case Op::kPushReal:
      case Op::kPushInt:
      case Op::kPushBool: {
        QOR_ROOM(1);
        const Value::Kind kind = ins.op == Op::kPushReal  ? Value::kReal
                                 : ins.op == Op::kPushInt ? Value::kInt
                                                          : Value::kBool;
        stack[sp++] = {ins.value, kind};
        break;
      }
      case Op::kJumpIfFalse: {
        QOR_NEED(1);
        const Value c = stack[--sp];
        if (c.kind != Value::kBool) return fail();
        if (c.v == 0.0) pc = ins.target - 1;  // the loop's ++pc lands on the target
        break;
      }
      case Op::kJump:
        pc = ins.target - 1;
        break;

      // One number in, one out.
      case Op::kAbs:
      case Op::kNeg:
      case Op::kCeiling:
      case Op::kFloor:
      case Op::kRound:
      case Op::kTruncate:
      case Op::kCvi:
      case Op::kCvr:
      case Op::kSqrt:
      case Op::kSin:
      case Op::kCos:
      case Op::kLn:
      case Op::kLog: {
        QOR_NEED(1);
        Value& x = stack[sp - 1];
        QOR_NUMBER(x);
        const bool integer = x.kind == Value::kInt;
        switch (ins.op) {
          case Op::kAbs:
            x = integer ? IntegerResult(std::llabs(static_cast<std::int64_t>(x.v)))
                        : Value{std::fabs(x.v), Value::kReal};
            break;
          case Op::kNeg:
            x = integer ? IntegerResult(-static_cast<std::int64_t>(x.v))
                        : Value{-x.v, Value::kReal};
            break;
          // Integers are left as they are; reals stay reals.
          case Op::kCeiling:
            x.v = std::ceil(x.v);
            break;
          case Op::kFloor:
            x.v = std::floor(x.v);
            break;
          case Op::kRound:  // the language's rounding: halves go up (-2.5 gives -2)
            x.v = std::floor(x.v + 0.5);
            break;
          case Op::kTruncate:
            x.v = std::trunc(x.v);
            break;
          case Op::kCvi: {
            const auto i = AsInteger(x);
            if (!i) return fail();
            x = {static_cast<double>(*i), Value::kInt};
            break;
          }
          case Op::kCvr:
            x.kind = Value::kReal;
            break;
          case Op::kSqrt:
            if (x.v < 0.0) return fail();
            x = {std::sqrt(x.v), Value::kReal};
            break;
          case Op::kSin:
            x = {SinDegrees(x.v), Value::kReal};
            break;
          case Op::kCos:
            x = {SinDegrees(x.v + 90.0), Value::kReal};
            break;
          case Op::kLn:
          case Op::kLog:
            if (!(x.v > 0.0)) return fail();
            x = {ins.op == Op::kLn ? std::log(x.v) : std::log10(x.v), Value::kReal};
            break;
          default:
            break;
        }
        break;
      }

      // Two numbers in, one number out.
      case Op::kAdd:
      case Op::kSub:
      case Op::kMul:
      case Op::kDiv:
      case Op::kIdiv:
      case Op::kMod:
      case Op::kAtan:
      case Op::kExp:
      case Op::kBitshift: {
        QOR_NEED(2);
        const Value b = stack[--sp];
        if (!Binary(ins.op, stack[sp - 1], b)) return fail();
        break;
      }
      // "x op" and "x exch op" with a literal x: the push and the exch are folded in
      // (the push's room is still required, as the unfused program needs it).
      case Op::kBinaryLiteral:
        QOR_ROOM(1);
        QOR_NEED(1);
        if (!Binary(ins.binary, stack[sp - 1], Literal(ins))) return fail();
        break;
      case Op::kBinaryLiteralFirst: {
        QOR_ROOM(1);
        QOR_NEED(1);
        Value a = Literal(ins);
        if (!Binary(ins.binary, a, stack[sp - 1])) return fail();
        stack[sp - 1] = a;
        break;
      }

      // Comparisons.
      case Op::kEq:
      case Op::kNe: {
        QOR_NEED(2);
        const Value b = stack[--sp];
        Value& a = stack[sp - 1];
        const bool same_type = (a.kind == Value::kBool) == (b.kind == Value::kBool);
        const bool equal = same_type && a.v == b.v;
        a = {(ins.op == Op::kEq) == equal ? 1.0 : 0.0, Value::kBool};
        break;
      }
      case Op::kGe:
      case Op::kGt:
      case Op::kLe:
      case Op::kLt: {
        QOR_NEED(2);
        const Value b = stack[--sp];
        Value& a = stack[sp - 1];
        QOR_NUMBER(a);
        QOR_NUMBER(b);
        bool r = false;
        if (ins.op == Op::kGe) r = a.v >= b.v;
        if (ins.op == Op::kGt) r = a.v > b.v;
        if (ins.op == Op::kLe) r = a.v <= b.v;
        if (ins.op == Op::kLt) r = a.v < b.v;
        a = {r ? 1.0 : 0.0, Value::kBool};
        break;
      }

      // Logical for booleans, bitwise for integers.
      case Op::kAnd:
      case Op::kOr:
      case Op::kXor: {
        QOR_NEED(2);
        const Value b = stack[--sp];
        Value& a = stack[sp - 1];
        if ((a.kind == Value::kBool) != (b.kind == Value::kBool)) return fail();
        if (a.kind == Value::kBool) {
          const bool x = a.v != 0.0;
          const bool y = b.v != 0.0;
          const bool r = ins.op == Op::kAnd ? (x && y) : ins.op == Op::kOr ? (x || y) : (x != y);
          a.v = r ? 1.0 : 0.0;
        } else {
          const auto x = AsInteger(a);
          const auto y = AsInteger(b);
          if (!x || !y) return fail();
          const auto u = static_cast<std::uint32_t>(*x);
          const auto v = static_cast<std::uint32_t>(*y);
          const std::uint32_t r = ins.op == Op::kAnd  ? (u & v)
                                  : ins.op == Op::kOr ? (u | v)
                                                      : (u ^ v);
          a = {static_cast<double>(static_cast<std::int32_t>(r)), Value::kInt};
        }
        break;
      }
      case Op::kNot: {
        QOR_NEED(1);
        Value& a = stack[sp - 1];
        if (a.kind == Value::kBool) {
          a.v = a.v != 0.0 ? 0.0 : 1.0;
        } else {
          const auto x = AsInteger(a);
          if (!x) return fail();
          a = {static_cast<double>(~static_cast<std::int32_t>(*x)), Value::kInt};
        }
        break;
      }

      // Stack manipulation.
      case Op::kDup:
        QOR_NEED(1);
        QOR_ROOM(1);
        stack[sp] = stack[sp - 1];
        ++sp;
        break;
      case Op::kExch:
        QOR_NEED(2);
        std::swap(stack[sp - 1], stack[sp - 2]);
        break;
      case Op::kPop:
        QOR_NEED(1);
        --sp;
        break;
      case Op::kCopy: {
        QOR_NEED(1);
        const auto n = AsInteger(stack[--sp]);
        if (!n || *n < 0) return fail();
        const auto count = static_cast<std::size_t>(*n);
        QOR_NEED(count);
        QOR_ROOM(count);
        std::copy(stack.begin() + (sp - count), stack.begin() + sp, stack.begin() + sp);
        sp += count;
        break;
      }
      case Op::kIndex: {
        QOR_NEED(1);
        const auto n = AsInteger(stack[sp - 1]);
        // (x_n ... x_0 n) gives (x_n ... x_0 x_n).
        if (!n || *n < 0 || static_cast<std::size_t>(*n) + 2 > sp) return fail();
        stack[sp - 1] = stack[sp - 2 - static_cast<std::size_t>(*n)];
        break;
      }
      case Op::kCopyN: {
        QOR_ROOM(1);
        const std::size_t count = ins.target;
        QOR_NEED(count);
        QOR_ROOM(count);
        std::copy(stack.begin() + (sp - count), stack.begin() + sp, stack.begin() + sp);
        sp += count;
        break;
      }
      case Op::kIndexN:
        QOR_ROOM(1);
        if (static_cast<std::size_t>(ins.target) + 1 > sp) return fail();
        stack[sp] = stack[sp - 1 - ins.target];
        ++sp;
        break;
      case Op::kRollN: {
        QOR_ROOM(2);
        const std::size_t count = ins.target;
        QOR_NEED(count);
        if (ins.shift == 0) break;
        const auto first = stack.begin() + (sp - count);
        if (ins.shift == 1) {  // the top goes to the bottom: "3 1 roll"
          const Value top = stack[sp - 1];
          std::copy_backward(first, stack.begin() + (sp - 1), stack.begin() + sp);
          *first = top;
        } else {
          std::rotate(first, first + (count - ins.shift), stack.begin() + sp);
        }
        break;
      }
      case Op::kRoll: {
        QOR_NEED(2);
        const auto j = AsInteger(stack[sp - 1]);
        const auto n = AsInteger(stack[sp - 2]);
        if (!j || !n || *n < 0) return fail();
        sp -= 2;
        const auto count = static_cast<std::size_t>(*n);
        QOR_NEED(count);
        if (count == 0) break;
        // Positive j moves elements towards the top: (a b c) 3 1 roll gives (c a b).
        const std::int64_t shift = ((*j % *n) + *n) % *n;
        const auto first = stack.begin() + (sp - count);
        std::rotate(first, first + (count - static_cast<std::size_t>(shift)), stack.begin() + sp);
        break;
      }
    }
  }
#undef QOR_NEED
#undef QOR_ROOM
#undef QOR_NUMBER

  // The outputs are the top `outputs` entries, the deepest one first.
  if (sp < GetRange().size()) return fail();
  const std::size_t first = sp - GetRange().size();
  for (std::size_t j = 0; j < outputs; ++j)
    out[j] = stack[first + j].v;
  ClipOutputs(out.first(outputs));
}

void CalculatorFunction::EvaluateOnReals(std::span<const double> in,
                                         std::span<double> out) const {
  // The same steps as Evaluate on untyped doubles; the depths were checked once.
  std::array<double, kStackLimit> stack;
  std::size_t sp = 0;
  const std::size_t outputs = std::min(out.size(), GetRange().size());
  auto fail = [&] { Failed(out); };
  for (std::size_t i = 0; i < InputCount(); ++i)
    stack[sp++] = ClipInput(i, i < in.size() ? in[i] : GetDomain()[i].min);
  for (const Instruction& ins : code_) {
    switch (ins.op) {
      case Op::kPushReal:
      case Op::kPushInt:
        stack[sp++] = ins.value;
        break;
      case Op::kAbs:
        stack[sp - 1] = std::fabs(stack[sp - 1]);
        break;
      case Op::kNeg:
        stack[sp - 1] = -stack[sp - 1];
        break;
      case Op::kCeiling:
        stack[sp - 1] = std::ceil(stack[sp - 1]);
        break;
      case Op::kFloor:
        stack[sp - 1] = std::floor(stack[sp - 1]);
        break;
      case Op::kRound:
        stack[sp - 1] = std::floor(stack[sp - 1] + 0.5);
        break;
      case Op::kTruncate:
        stack[sp - 1] = std::trunc(stack[sp - 1]);
        break;
      case Op::kCvr:
        break;
      case Op::kSqrt:
        if (stack[sp - 1] < 0.0) return fail();
        stack[sp - 1] = std::sqrt(stack[sp - 1]);
        break;
      case Op::kSin:
        stack[sp - 1] = SinDegrees(stack[sp - 1]);
        break;
      case Op::kCos:
        stack[sp - 1] = SinDegrees(stack[sp - 1] + 90.0);
        break;
      case Op::kLn:
      case Op::kLog:
        if (!(stack[sp - 1] > 0.0)) return fail();
        stack[sp - 1] =
            ins.op == Op::kLn ? std::log(stack[sp - 1]) : std::log10(stack[sp - 1]);
        break;
      case Op::kBinaryLiteral:
        if (!RealBinary(ins.binary, stack[sp - 1], ins.value)) return fail();
        break;
      case Op::kBinaryLiteralFirst: {
        double a = ins.value;
        if (!RealBinary(ins.binary, a, stack[sp - 1])) return fail();
        stack[sp - 1] = a;
        break;
      }
      case Op::kDup:
        stack[sp] = stack[sp - 1];
        ++sp;
        break;
      case Op::kExch:
        std::swap(stack[sp - 1], stack[sp - 2]);
        break;
      case Op::kPop:
        --sp;
        break;
      case Op::kCopyN:
        std::copy(stack.begin() + (sp - ins.target), stack.begin() + sp, stack.begin() + sp);
        sp += ins.target;
        break;
      case Op::kIndexN:
        stack[sp] = stack[sp - 1 - ins.target];
        ++sp;
        break;
      case Op::kRollN: {
        if (ins.shift == 0) break;
        const auto first = stack.begin() + (sp - ins.target);
        std::rotate(first, first + (ins.target - ins.shift), stack.begin() + sp);
        break;
      }
      default: {  // add, sub, mul, div, atan, exp
        const double b = stack[--sp];
        if (!RealBinary(ins.op, stack[sp - 1], b)) return fail();
        break;
      }
    }
  }
  const std::size_t first = sp - GetRange().size();
  for (std::size_t j = 0; j < outputs; ++j)
    out[j] = stack[first + j];
  ClipOutputs(out.first(outputs));
}

}  // namespace QorPaint
