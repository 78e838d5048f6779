#include "content/content_reader.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <qpdf/Buffer.hh>
#include <qpdf/BufferInputSource.hh>
#include <utility>

namespace QorPdf::internal {
namespace {

// Exact powers of ten (every one up to 10^22 is a double without rounding).
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

// PDF numbers are plain decimals; from_chars is locale-free, unlike strtod, but
// refuses a leading plus sign.
double ParseNumber(std::string_view raw) {
  const char* first = raw.data();
  const char* last = raw.data() + raw.size();
  if (first != last && *first == '+') ++first;
  double value = 0.0;
  const auto result = std::from_chars(first, last, value);
  if (result.ec != std::errc() || !std::isfinite(value)) return 0.0;
  return value;
}

}  // namespace

OperandList::OperandList(const OperandList& other)
    : items_(other.items_ ? std::make_unique<std::vector<Operand>>(*other.items_) : nullptr) {}

OperandList& OperandList::operator=(const OperandList& other) {
  if (this != &other) *this = OperandList(other);
  return *this;
}

void OperandList::push_back(Operand operand) {
  if (!items_) items_ = std::make_unique<std::vector<Operand>>();
  items_->push_back(std::move(operand));
}

const Operand* Operand::Find(std::string_view key) const {
  if (kind != Kind::kDictionary) return nullptr;
  for (std::size_t i = 0; i + 1 < elements.size(); i += 2) {
    if (elements[i].text == key) return &elements[i + 1];
  }
  return nullptr;
}

QPDFObjectHandle Operand::ToObject() const {
  switch (kind) {
    case Kind::kNull:
      return QPDFObjectHandle::newNull();
    case Kind::kNumber:
      if (number == std::floor(number) && std::fabs(number) < 9.0e15) {
        return QPDFObjectHandle::newInteger(static_cast<long long>(number));
      }
      return QPDFObjectHandle::newReal(number, 6);
    case Kind::kBool:
      return QPDFObjectHandle::newBool(boolean);
    case Kind::kName:
      return QPDFObjectHandle::newName("/" + text);
    case Kind::kString:
      return QPDFObjectHandle::newString(text);
    case Kind::kArray: {
      auto array = QPDFObjectHandle::newArray();
      for (const Operand& element : elements)
        array.appendItem(element.ToObject());
      return array;
    }
    case Kind::kDictionary: {
      auto dictionary = QPDFObjectHandle::newDictionary();
      for (std::size_t i = 0; i + 1 < elements.size(); i += 2) {
        dictionary.replaceKey("/" + elements[i].text, elements[i + 1].ToObject());
      }
      return dictionary;
    }
  }
  return QPDFObjectHandle::newNull();
}

ContentReader::ContentReader(std::string data, std::string description)
    : data_(std::move(data)), description_(std::move(description)) {
  buffer_ = std::make_unique<Buffer>(reinterpret_cast<unsigned char*>(data_.data()), data_.size());
  input_ = std::make_shared<BufferInputSource>(description_, buffer_.get());
  tokenizer_.allowEOF();
}

ContentReader::~ContentReader() = default;

void ContentReader::Problem(std::string text) {
  for (const std::string& p : problems_) {
    if (p == text) return;
  }
  problems_.push_back(std::move(text));
}

bool ContentReader::ReadOperand(const QPDFTokenizer::Token& token, Operand& out,
                                std::size_t depth) {
  out = Operand{};
  switch (token.getType()) {
    case QPDFTokenizer::tt_integer:
    case QPDFTokenizer::tt_real:
      out.kind = Operand::Kind::kNumber;
      out.number = ParseNumber(token.getRawValue());
      return true;
    case QPDFTokenizer::tt_bool:
      out.kind = Operand::Kind::kBool;
      out.boolean = token.getRawValue() == "true";
      return true;
    case QPDFTokenizer::tt_null:
      return true;
    case QPDFTokenizer::tt_name:
      out.kind = Operand::Kind::kName;
      out.text = token.getValue().substr(1);
      return true;
    case QPDFTokenizer::tt_string:
      out.kind = Operand::Kind::kString;
      out.text = token.getValue();
      return true;
    case QPDFTokenizer::tt_array_open:
    case QPDFTokenizer::tt_dict_open: {
      const bool array = token.getType() == QPDFTokenizer::tt_array_open;
      const auto close = array ? QPDFTokenizer::tt_array_close : QPDFTokenizer::tt_dict_close;
      out.kind = array ? Operand::Kind::kArray : Operand::Kind::kDictionary;
      if (depth >= kMaxNesting) {
        // Kept as an empty operand; what it holds is skipped without recursion, so
        // no nesting depth can exhaust the stack.
        Problem("arrays or dictionaries nested too deep");
        SkipNested();
        return true;
      }
      for (;;) {
        const QPDFTokenizer::Token inner = ReadToken();
        const auto type = inner.getType();
        if (type == close) break;
        if (type == QPDFTokenizer::tt_eof) {
          Problem("unterminated array or dictionary");
          break;
        }
        if (type == QPDFTokenizer::tt_word || type == QPDFTokenizer::tt_bad ||
            type == QPDFTokenizer::tt_array_close || type == QPDFTokenizer::tt_dict_close) {
          ++bad_tokens_;
          Problem("unexpected '" + inner.getRawValue() + "' inside an array or dictionary");
          continue;
        }
        Operand element;
        if (!ReadOperand(inner, element, depth + 1)) continue;
        if (out.elements.size() < kMaxOperands) out.elements.push_back(std::move(element));
      }
      if (!array && out.elements.size() % 2 != 0) out.elements.pop_back();
      return true;
    }
    default:
      return false;
  }
}

QPDFTokenizer::Token ContentReader::ReadToken() {
  input_->seek(static_cast<qpdf_offset_t>(at_), SEEK_SET);
  QPDFTokenizer::Token token = tokenizer_.readToken(input_, description_, true, kMaxTokenBytes);
  at_ = static_cast<std::size_t>(input_->tell());
  if (token.getType() == QPDFTokenizer::tt_bad && token.getRawValue().size() >= kMaxTokenBytes) {
    Problem("a string or other token longer than " + std::to_string(kMaxTokenBytes >> 20) +
            " MiB: cut off and skipped");
  }
  return token;
}

void ContentReader::SkipNested() {
  std::size_t open = 1;
  while (open > 0) {
    const auto type = ReadToken().getType();
    if (type == QPDFTokenizer::tt_array_open || type == QPDFTokenizer::tt_dict_open) {
      ++open;
    } else if (type == QPDFTokenizer::tt_array_close || type == QPDFTokenizer::tt_dict_close) {
      --open;
    } else if (type == QPDFTokenizer::tt_eof) {
      Problem("unterminated array or dictionary");
      return;
    }
  }
}

void ContentReader::ReadInlineImage(std::vector<Operand>& operands) {
  operands.clear();
  for (;;) {
    const QPDFTokenizer::Token token = ReadToken();
    const auto type = token.getType();
    if (type == QPDFTokenizer::tt_eof) {
      Problem("inline image without ID");
      operands.clear();
      return;
    }
    if (type == QPDFTokenizer::tt_word) {
      if (token.getValue() != "ID") {
        Problem("unexpected '" + token.getValue() + "' in an inline image dictionary");
        continue;
      }
      // One white-space character separates ID from the data.
      if (at_ < data_.size()) ++at_;
      input_->seek(static_cast<qpdf_offset_t>(at_), SEEK_SET);
      tokenizer_.expectInlineImage(input_);
      const QPDFTokenizer::Token data = ReadToken();
      Operand bytes;
      bytes.kind = Operand::Kind::kString;
      if (data.getType() == QPDFTokenizer::tt_inline_image) {
        bytes.text = data.getValue();
      } else {
        Problem("inline image data without EI");
      }
      if (operands.size() % 2 != 0) operands.pop_back();
      operands.push_back(std::move(bytes));
      // The EI that ends the data.
      const QPDFTokenizer::Token end = ReadToken();
      if (!end.isWord("EI")) Problem("inline image data without EI");
      return;
    }
    Operand operand;
    if (ReadOperand(token, operand, 0)) {
      if (operands.size() < kMaxOperands) operands.push_back(std::move(operand));
    } else {
      ++bad_tokens_;
    }
  }
}

namespace {

// Character classes of the content syntax, looked up once per byte.
enum CharClass : unsigned char { kRegular = 0, kWhiteSpace = 1, kDelimiter = 2 };

constexpr std::array<unsigned char, 256> MakeCharClasses() {
  std::array<unsigned char, 256> classes{};
  for (const char c : {' ', '\n', '\r', '\t', '\f', '\0'})
    classes[static_cast<unsigned char>(c)] = kWhiteSpace;
  for (const char c : {'(', ')', '<', '>', '[', ']', '{', '}', '/', '%'})
    classes[static_cast<unsigned char>(c)] = kDelimiter;
  return classes;
}

constexpr std::array<unsigned char, 256> kCharClasses = MakeCharClasses();

CharClass ClassOf(char c) {
  return static_cast<CharClass>(kCharClasses[static_cast<unsigned char>(c)]);
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

// Inlined into Next, its only caller: the call's register saves were a sixth of the
// reader's time on a page of 100 000 rectangles.
[[gnu::always_inline]] inline ContentReader::Plain ContentReader::ReadPlainToken(
    std::string_view& word, double& number) {
  const std::size_t size = data_.size();
  // The string's terminating NUL (white space) ends every token at the end of the data,
  // so the scans below need no bound of their own past the first character.
  const char* data = data_.c_str();
  const auto ends = [data](std::size_t at) { return ClassOf(data[at]) != kRegular; };
  std::size_t at = at_;
  while (at < size && ClassOf(data[at]) == kWhiteSpace)
    ++at;
  if (at >= size) return Plain::kNone;
  const std::size_t start = at;
  const char first = data[at];
  if (IsDigit(first) || first == '.' || first == '+' || first == '-') {
    // [+-]? then digits with at most one point, at least one digit. The digits are
    // gathered as an integer on the way: with at most 15 of them it is below 2^53, and
    // the number is that integer divided by a power of ten, both exact doubles and the
    // division rounded once, so the very double from_chars gives. Nearly every number
    // of a content stream is such; longer ones go to from_chars (their integer may
    // have wrapped around, harmlessly, as it is not used).
    constexpr std::size_t kExactDigits = 15;
    const bool negative = first == '-';
    if (first == '+' || first == '-') ++at;
    std::uint64_t mantissa = 0;
    const auto gather = [&] {
      const std::size_t from = at;
      for (;; ++at) {
        const unsigned digit = static_cast<unsigned char>(data[at]) - unsigned{'0'};
        if (digit >= 10) break;
        mantissa = mantissa * 10 + digit;
      }
      return at - from;
    };
    const std::size_t whole = gather();
    std::size_t fraction = 0;
    if (data[at] == '.') {
      ++at;
      fraction = gather();
    }
    if (whole + fraction == 0 || !ends(at)) return Plain::kNone;
    static_assert(kExactDigits < std::size(kPowersOfTen));
    if (whole + fraction <= kExactDigits) [[likely]] {
      const double magnitude = static_cast<double>(mantissa) / kPowersOfTen[fraction];
      number = negative ? -magnitude : magnitude;
    } else {
      number = ParseNumber(std::string_view(data + start, at - start));
    }
    at_ = at;
    return Plain::kNumber;
  }
  const bool letter = (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z');
  if (!letter && first != '\'' && first != '"' && first != '*') return Plain::kNone;
  // Operators are a few characters; anything long goes through qpdf's limits.
  while (!ends(at) && at - start < 64)
    ++at;
  if (!ends(at)) return Plain::kNone;
  word = std::string_view(data + start, at - start);
  if ((first == 't' || first == 'f' || first == 'n') &&
      (word == "true" || word == "false" || word == "null")) {
    return Plain::kNone;
  }
  at_ = at;
  return Plain::kWord;
}

[[gnu::always_inline]] inline Operand& ContentReader::Push(std::vector<Operand>& operands) {
  if (operands.size() >= kMaxOperands) [[unlikely]]
    Overflow(operands);
  return operands.emplace_back();
}

// Once per operator: inlined into Next, the unusual cases out of line.
[[gnu::always_inline]] inline bool ContentReader::Operator(std::string_view op,
                                                           std::vector<Operand>& operands) {
  if (operands.size() > kMaxOperands) [[unlikely]] {
    operands.erase(operands.begin(), operands.end() - kMaxOperands);
  }
  if (op.size() == 2 && op[0] == 'B' && op[1] == 'I') [[unlikely]]
    ReadInlineImage(operands);
  return true;
}

bool ContentReader::Next(std::string_view& op, std::vector<Operand>& operands) {
  operands.clear();
  for (;;) {
    // Numbers and operator words, nearly every token of a content stream, are read
    // here; everything else (and anything unusual) goes to qpdf's tokenizer, whose
    // per-token cost was half of the import of a page of 100 000 rectangles.
    double number = 0.0;
    switch (ReadPlainToken(op, number)) {
      case Plain::kNumber: {
        Operand& operand = Push(operands);
        operand.kind = Operand::Kind::kNumber;
        operand.number = number;
        continue;
      }
      case Plain::kWord:
        return Operator(op, operands);
      case Plain::kNone:
        break;
    }
    const QPDFTokenizer::Token token = ReadToken();
    const auto type = token.getType();
    if (type == QPDFTokenizer::tt_eof) {
      if (bad_tokens_ > 0) {
        Problem(std::to_string(bad_tokens_) + " unreadable token(s) skipped");
        bad_tokens_ = 0;
      }
      return false;
    }
    if (type == QPDFTokenizer::tt_word) {
      word_ = token.getValue();
      op = word_;
      return Operator(op, operands);
    }
    Operand operand;
    if (!ReadOperand(token, operand, 0)) {
      ++bad_tokens_;
      continue;
    }
    Push(operands) = std::move(operand);
  }
}

void ContentReader::Overflow(std::vector<Operand>& operands) {
  if (!overflow_reported_) {
    Problem("more than " + std::to_string(kMaxOperands) +
            " operands before an operator: the oldest dropped");
    overflow_reported_ = true;
  }
  // The oldest are dropped a batch at a time, so that a stream of operands without
  // an operator costs linear time.
  if (operands.size() >= 2 * kMaxOperands) {
    operands.erase(operands.begin(), operands.begin() + kMaxOperands);
  }
}

}  // namespace QorPdf::internal
