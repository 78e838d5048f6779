// Reading a content stream as operators with their operands.
//
// Tokens come from qpdf's tokenizer, except plain numbers and operator words, which
// are read directly (the same values; half the import's time went into qpdf's
// per-token work on a page of 100 000 rectangles). This file groups them: operands (numbers,
// names, strings, booleans, null, and the arrays and dictionaries made of them) are
// collected until an operator word arrives. qpdf's object parser would do the
// grouping too, but it builds a full object per token and was measured at six
// times the cost of the whole import on a page of 100 000 rectangles.
//
// Inline images come back as one operator "BI" whose operands are the dictionary's
// keys and values in order, followed by the image data as a string operand.
//
// Invariants: at most kMaxOperands operands are kept per operator (the oldest are
// dropped, as a PostScript-style stack overflow would lose them), arrays or
// dictionaries nest at most kMaxNesting deep (deeper ones are skipped by counting
// brackets, never by recursion) and no token is longer than kMaxTokenBytes (a longer
// one is a bad token); each is reported, once per stream,
// through the problems list. Reading never throws for bad content: bad tokens are
// skipped and counted.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "qpdf_headers.h"

class Buffer;
class InputSource;

namespace QorPdf::internal {

struct Operand;

// An array's elements, or a dictionary's keys and values. Nearly every operand is a
// number without any, so the list is one pointer until its first element arrives:
// making and dropping a number operand then calls nothing (a std::vector of the
// operand's own type is destroyed by an out-of-line call, its destructor being
// recursive).
class OperandList {
 public:
  OperandList() = default;
  OperandList(const OperandList& other);
  OperandList(OperandList&&) noexcept = default;
  OperandList& operator=(const OperandList& other);
  OperandList& operator=(OperandList&&) noexcept = default;
  ~OperandList() = default;

  std::size_t size() const { return items_ ? items_->size() : 0; }
  bool empty() const { return size() == 0; }
  Operand* begin();
  Operand* end();
  const Operand* begin() const;
  const Operand* end() const;
  Operand& operator[](std::size_t i) { return (*items_)[i]; }
  const Operand& operator[](std::size_t i) const { return (*items_)[i]; }
  void push_back(Operand operand);
  void pop_back() { items_->pop_back(); }

 private:
  std::unique_ptr<std::vector<Operand>> items_;
};

struct Operand {
  enum class Kind : unsigned char { kNull, kNumber, kBool, kName, kString, kArray, kDictionary };

  Kind kind = Kind::kNull;
  double number = 0.0;
  bool boolean = false;
  std::string text;      // a name without its slash, or a string's bytes
  OperandList elements;  // an array's elements, or a dictionary's keys and values

  bool IsNumber() const { return kind == Kind::kNumber; }
  bool IsName() const { return kind == Kind::kName; }
  bool IsString() const { return kind == Kind::kString; }
  bool IsArray() const { return kind == Kind::kArray; }
  bool IsDictionary() const { return kind == Kind::kDictionary; }
  // The value of `key` (without slash) in a dictionary operand, or null.
  const Operand* Find(std::string_view key) const;
  // The operand as a qpdf object (direct, not owned by any file).
  QPDFObjectHandle ToObject() const;
};

inline Operand* OperandList::begin() {
  return items_ ? items_->data() : nullptr;
}
inline Operand* OperandList::end() {
  return items_ ? items_->data() + items_->size() : nullptr;
}
inline const Operand* OperandList::begin() const {
  return items_ ? items_->data() : nullptr;
}
inline const Operand* OperandList::end() const {
  return items_ ? items_->data() + items_->size() : nullptr;
}

class ContentReader {
 public:
  static constexpr std::size_t kMaxOperands = 8192;
  static constexpr std::size_t kMaxNesting = 32;
  // A string, name or inline image's data longer than this is unusable anyway, and
  // the tokenizer would hold it twice.
  static constexpr std::size_t kMaxTokenBytes = std::size_t{16} << 20;

  // `description` names the stream in messages.
  ContentReader(std::string data, std::string description);
  ~ContentReader();

  // The next operator and its operands; false at the end of the data. `op` views the
  // reader's own bytes and stays valid until the next call.
  bool Next(std::string_view& op, std::vector<Operand>& operands);

  // Problems met so far (bad tokens, overflows), each once, for the warning list.
  const std::vector<std::string>& Problems() const { return problems_; }

 private:
  enum class Plain { kNone, kNumber, kWord };
  // A plain number or operator word at the reading position, read without qpdf and
  // with the position moved past it; kNone (position unchanged) for anything else,
  // which qpdf's tokenizer then reads.
  Plain ReadPlainToken(std::string_view& word, double& number);
  QPDFTokenizer::Token ReadToken();
  bool Operator(std::string_view op, std::vector<Operand>& operands);
  // A new null operand at the end of `operands`, the oldest dropped past the limit.
  Operand& Push(std::vector<Operand>& operands);
  // Past kMaxOperands: reports it once and drops the oldest operands.
  [[gnu::noinline]] void Overflow(std::vector<Operand>& operands);
  bool ReadOperand(const QPDFTokenizer::Token& token, Operand& out, std::size_t depth);
  // Skips the rest of an array or dictionary whose opening was just read.
  void SkipNested();
  void ReadInlineImage(std::vector<Operand>& operands);
  void Problem(std::string text);

  std::string data_;
  std::string description_;
  std::unique_ptr<Buffer> buffer_;  // a view of data_
  // The reading position in data_. qpdf's input is moved there before each of its
  // tokens and read back after, so directly read tokens cost no virtual calls.
  std::size_t at_ = 0;
  std::shared_ptr<InputSource> input_;
  QPDFTokenizer tokenizer_;
  // An operator word read by qpdf's tokenizer, which `op` then views.
  std::string word_;
  std::vector<std::string> problems_;
  std::size_t bad_tokens_ = 0;
  bool overflow_reported_ = false;
};

}  // namespace QorPdf::internal
