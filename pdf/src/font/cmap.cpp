// Reading CMap programs: a small tokenizer for the PostScript subset CMaps use, the
// usecmap chains, and the code space and value lookups.
//
// Overlapping ranges resolve to the one with the greatest first code, so a cidchar
// inside a cidrange wins. The lookup finds the last range starting at or below the
// code by binary search and walks back while an earlier range could still reach the
// code (a running maximum of last codes bounds the walk).
#include "font/cmap.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <optional>

#include "font/cmap_resources.h"
#include "stream_data.h"

namespace QorPdf::internal {

namespace {

// CIDs are two-byte numbers; Unicode ends at U+10FFFF.
constexpr std::uint32_t kMaxCid = 0xFFFF;
constexpr std::uint32_t kMaxUnicode = 0x10FFFF;

struct Token {
  enum class Kind { kHex, kName, kWord, kOther, kEnd } kind = Kind::kEnd;
  std::string text;  // the bytes of a hex string, a name without '/', or a word
};

class Tokenizer {
 public:
  explicit Tokenizer(std::string_view text) : text_(text) {}

  Token Next() {
    SkipSpace();
    if (pos_ >= text_.size()) return {};
    const char c = text_[pos_];
    if (c == '<') {
      if (pos_ + 1 < text_.size() && text_[pos_ + 1] == '<') {
        pos_ += 2;
        return {Token::Kind::kOther, "<<"};
      }
      return Hex();
    }
    if (c == '(') return Literal();
    if (c == '/') {
      ++pos_;
      return {Token::Kind::kName, Word()};
    }
    if (IsDelimiter(c)) {
      ++pos_;
      if (c == '>' && pos_ < text_.size() && text_[pos_] == '>') ++pos_;
      return {Token::Kind::kOther, std::string(1, c)};
    }
    return {Token::Kind::kWord, Word()};
  }

 private:
  static bool IsSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\0';
  }
  static bool IsDelimiter(char c) {
    return c == '(' || c == ')' || c == '<' || c == '>' || c == '[' || c == ']' || c == '{' ||
           c == '}' || c == '/' || c == '%';
  }

  void SkipSpace() {
    while (pos_ < text_.size()) {
      if (IsSpace(text_[pos_])) {
        ++pos_;
      } else if (text_[pos_] == '%') {
        while (pos_ < text_.size() && text_[pos_] != '\n' && text_[pos_] != '\r')
          ++pos_;
      } else {
        break;
      }
    }
  }

  std::string Word() {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && !IsSpace(text_[pos_]) && !IsDelimiter(text_[pos_]))
      ++pos_;
    return std::string(text_.substr(start, pos_ - start));
  }

  Token Hex() {
    ++pos_;  // '<'
    std::string bytes;
    int high = -1;
    while (pos_ < text_.size() && text_[pos_] != '>') {
      const int digit = HexDigit(text_[pos_++]);
      if (digit < 0) continue;
      if (high < 0) {
        high = digit;
      } else {
        bytes += static_cast<char>(high * 16 + digit);
        high = -1;
      }
    }
    if (high >= 0) bytes += static_cast<char>(high * 16);
    if (pos_ < text_.size()) ++pos_;  // '>'
    return {Token::Kind::kHex, std::move(bytes)};
  }

  static int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  }

  // Literal strings appear only in the CIDSystemInfo; their content is not needed.
  Token Literal() {
    int depth = 0;
    while (pos_ < text_.size()) {
      const char c = text_[pos_++];
      if (c == '\\') {
        ++pos_;
      } else if (c == '(') {
        ++depth;
      } else if (c == ')' && --depth == 0) {
        break;
      }
    }
    return {Token::Kind::kOther, "()"};
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

std::uint32_t BigEndian(const std::string& bytes) {
  std::uint32_t value = 0;
  for (unsigned char b : bytes)
    value = (value << 8) | b;
  return value;
}

std::optional<std::uint32_t> CidOf(const Token& token) {
  if (token.kind != Token::Kind::kWord || token.text.empty()) return std::nullopt;
  std::uint64_t value = 0;
  for (char c : token.text) {
    if (c < '0' || c > '9') return std::nullopt;
    value = value * 10 + static_cast<unsigned>(c - '0');
    if (value > 0xFFFFFFFFu) return std::nullopt;
  }
  return static_cast<std::uint32_t>(value);
}

// The first code point of a UTF-16BE destination (a surrogate pair joined); a
// one-byte destination is its byte.
std::optional<std::uint32_t> FirstCodePoint(const std::string& bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  if (bytes.empty()) return std::nullopt;
  if (bytes.size() == 1) return byte(0);
  const std::uint32_t high = (byte(0) << 8) | byte(1);
  if (high >= 0xD800 && high < 0xDC00 && bytes.size() >= 4) {
    const std::uint32_t low = (byte(2) << 8) | byte(3);
    if (low >= 0xDC00 && low < 0xE000) return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
  }
  return high;
}

std::optional<std::uint32_t> FirstCodePoint(const Token& token) {
  if (token.kind != Token::Kind::kHex) return std::nullopt;
  return FirstCodePoint(token.text);
}

bool IsCode(const Token& token) {
  return token.kind == Token::Kind::kHex && !token.text.empty() && token.text.size() <= 4;
}

}  // namespace

CMap CMap::Identity() {
  CMap cmap;
  cmap.AddIdentity();
  return cmap;
}

CMap CMap::Guess() {
  CMap cmap = Identity();
  cmap.guessed_ = true;
  return cmap;
}

void CMap::AddIdentity() {
  CodeSpace space;
  space.length = 2;
  space.low[0] = space.low[1] = 0x00;
  space.high[0] = space.high[1] = 0xFF;
  code_spaces_.push_back(space);
  identity_fallback_ = true;
}

CMap CMap::Parse(std::string_view text, std::string& problem, CMapResources* resources) {
  CMap cmap;
  std::size_t skipped = 0;
  UseChain chain{resources, {}, {}, 0};
  cmap.ParseInto(text, chain, skipped, problem);
  cmap.Complete(skipped, problem);
  return cmap;
}

void CMap::Complete(std::size_t skipped, std::string& problem) {
  if (code_spaces_.empty()) {
    // Without code spaces nothing can be split; two bytes per code is the usual case.
    if (problem.empty()) problem = "CMap has no code space ranges; reading two-byte codes";
    CodeSpace space;
    space.length = 2;
    space.high[0] = space.high[1] = 0xFF;
    code_spaces_.push_back(space);
  }
  if (skipped > 0 && problem.empty()) {
    problem = "CMap has " + std::to_string(skipped) + " malformed entries";
  }
  Finish();
}

void CMap::AddRange(std::uint8_t length, std::uint32_t first, std::uint32_t last,
                    std::uint32_t value, std::uint32_t max_value, std::size_t& skipped) {
  if (value > max_value) {
    ++skipped;
    return;
  }
  if (last - first > max_value - value) {
    // Values past the limit mean nothing: the range ends where they would begin.
    ++skipped;
    last = first + (max_value - value);
  }
  ranges_.push_back({length, first, last, value});
}

void CMap::ParseInto(std::string_view text, UseChain& chain, std::size_t& skipped,
                     std::string& problem) {
  Tokenizer tokens(text);
  Token previous;
  for (Token token = tokens.Next(); token.kind != Token::Kind::kEnd; token = tokens.Next()) {
    if (token.kind != Token::Kind::kWord) {
      previous = std::move(token);
      continue;
    }
    const std::string& op = token.text;
    if (op == "begincodespacerange") {
      for (;;) {
        Token low = tokens.Next();
        if (!IsCode(low)) break;
        Token high = tokens.Next();
        if (!IsCode(high) || high.text.size() != low.text.size()) {
          ++skipped;
          continue;
        }
        CodeSpace space;
        space.length = static_cast<std::uint8_t>(low.text.size());
        for (std::size_t i = 0; i < low.text.size(); ++i) {
          space.low[i] = static_cast<std::uint8_t>(low.text[i]);
          space.high[i] = static_cast<std::uint8_t>(high.text[i]);
        }
        code_spaces_.push_back(space);
      }
    } else if (op == "begincidrange" || op == "beginbfrange") {
      const bool unicode = op == "beginbfrange";
      for (;;) {
        Token first = tokens.Next();
        if (!IsCode(first)) break;
        Token last = tokens.Next();
        Token target = tokens.Next();
        const bool codes_ok = IsCode(last) && last.text.size() == first.text.size() &&
                              BigEndian(last.text) >= BigEndian(first.text);
        const auto length = static_cast<std::uint8_t>(first.text.size());
        const std::uint32_t low = BigEndian(first.text);
        if (unicode && target.kind == Token::Kind::kOther && target.text == "[") {
          // One destination per code.
          std::uint32_t code = low;
          for (Token item = tokens.Next(); item.kind == Token::Kind::kHex; item = tokens.Next()) {
            const auto point = FirstCodePoint(item.text);
            if (codes_ok && code <= BigEndian(last.text) && point) {
              AddRange(length, code, code, *point, kMaxUnicode, skipped);
            }
            ++code;
          }
          if (!codes_ok) ++skipped;
          continue;
        }
        const auto value = unicode ? FirstCodePoint(target) : CidOf(target);
        if (!codes_ok || !value) {
          ++skipped;
          if (target.kind == Token::Kind::kWord && !value) break;  // an end keyword
          continue;
        }
        AddRange(length, low, BigEndian(last.text), *value, unicode ? kMaxUnicode : kMaxCid,
                 skipped);
      }
    } else if (op == "begincidchar" || op == "beginbfchar") {
      const bool unicode = op == "beginbfchar";
      for (;;) {
        Token code = tokens.Next();
        if (!IsCode(code)) break;
        Token target = tokens.Next();
        const auto value = unicode ? FirstCodePoint(target) : CidOf(target);
        if (!value) {
          ++skipped;
          if (target.kind == Token::Kind::kWord) break;
          continue;
        }
        const std::uint32_t c = BigEndian(code.text);
        AddRange(static_cast<std::uint8_t>(code.text.size()), c, c, *value,
                 unicode ? kMaxUnicode : kMaxCid, skipped);
      }
    } else if (op == "usecmap" && previous.kind == Token::Kind::kName) {
      Use(previous.text, chain, skipped, problem);
    }
    previous = std::move(token);
  }
}

void CMap::Merge(CMap&& used) {
  code_spaces_.insert(code_spaces_.end(), used.code_spaces_.begin(), used.code_spaces_.end());
  // The used ranges go first, so that this CMap's win where both map a code.
  used.ranges_.insert(used.ranges_.end(), ranges_.begin(), ranges_.end());
  ranges_ = std::move(used.ranges_);
  identity_fallback_ = identity_fallback_ || used.identity_fallback_;
}

void CMap::Use(const std::string& name, UseChain& chain, std::size_t& skipped,
               std::string& problem) {
  if (name == "Identity-H" || name == "Identity-V") {
    AddIdentity();
    return;
  }
  if (std::find(chain.names.begin(), chain.names.end(), name) != chain.names.end()) {
    if (problem.empty()) problem = "CMap " + name + " uses itself; the loop is cut";
    return;
  }
  if (chain.depth + 1 >= kMaxUseDepth) {
    if (problem.empty()) problem = "CMaps nest more than " + std::to_string(kMaxUseDepth) + " deep";
    return;
  }
  std::optional<std::string> text;
  if (chain.resources != nullptr) text = chain.resources->Text(name);
  if (!text) {
    if (problem.empty()) problem = "CMap uses the unknown CMap " + name;
    return;
  }
  CMap used;
  chain.names.push_back(name);
  ++chain.depth;
  used.ParseInto(*text, chain, skipped, problem);
  --chain.depth;
  chain.names.pop_back();
  Merge(std::move(used));
}

bool CMap::ReadStream(QPDFObjectHandle stream, UseChain& chain, std::size_t& skipped,
                      std::string& problem) {
  std::string text;
  try {
    text = DecodeResource(stream);
  } catch (const std::exception& e) {
    if (problem.empty()) problem = std::string("cannot read the CMap stream: ") + e.what();
    return false;
  }
  ParseInto(text, chain, skipped, problem);
  QPDFObjectHandle use = stream.getDict().getKey("/UseCMap");
  if (use.isName()) {
    Use(use.getName().substr(1), chain, skipped, problem);
  } else if (use.isStream()) {
    const bool loop = use.isIndirect() && std::find(chain.streams.begin(), chain.streams.end(),
                                                    use.getObjGen()) != chain.streams.end();
    if (loop || chain.depth + 1 >= kMaxUseDepth) {
      if (problem.empty()) {
        problem =
            loop ? "CMap stream " + use.getObjGen().unparse(' ') + " uses itself; the loop is cut"
                 : "CMaps nest more than " + std::to_string(kMaxUseDepth) + " deep";
      }
      return true;
    }
    CMap used;
    ++chain.depth;
    chain.streams.push_back(use.getObjGen());
    used.ReadStream(use, chain, skipped, problem);
    chain.streams.pop_back();
    --chain.depth;
    Merge(std::move(used));
  }
  return true;
}

std::optional<CMap> CMap::Predefined(std::string_view name, CMapResources& resources,
                                     std::string& problem) {
  if (name == "Identity-H" || name == "Identity-V") return Identity();
  const auto text = resources.Text(name);
  if (!text) return std::nullopt;
  CMap cmap;
  std::size_t skipped = 0;
  UseChain chain{&resources, {std::string(name)}, {}, 0};
  cmap.ParseInto(*text, chain, skipped, problem);
  cmap.Complete(skipped, problem);
  return cmap;
}

CMap CMap::FromEncoding(QPDFObjectHandle encoding, CMapResources& resources, std::string& problem) {
  if (encoding.isName()) {
    const std::string name = encoding.getName().substr(1);
    if (auto cmap = Predefined(name, resources, problem)) return std::move(*cmap);
    if (problem.empty()) {
      problem =
          "predefined CMap " + name + " is not installed (poppler-data); reading two-byte codes";
    }
    return Guess();
  }
  if (!encoding.isStream()) {
    problem = "missing or invalid /Encoding; reading two-byte codes";
    return Guess();
  }
  CMap result;
  std::size_t skipped = 0;
  UseChain chain{&resources, {}, {}, 0};
  if (encoding.isIndirect()) chain.streams.push_back(encoding.getObjGen());
  if (!result.ReadStream(encoding, chain, skipped, problem)) return Guess();
  result.Complete(skipped, problem);
  return result;
}

void CMap::Finish() {
  // Stable, so that of two ranges with the same first code the later one wins below.
  std::stable_sort(ranges_.begin(), ranges_.end(), [](const Range& a, const Range& b) {
    return a.length != b.length ? a.length < b.length : a.first < b.first;
  });
  reach_.resize(ranges_.size());
  for (std::size_t i = 0; i < ranges_.size(); ++i) {
    const bool same_length = i > 0 && ranges_[i - 1].length == ranges_[i].length;
    reach_[i] = same_length ? std::max(reach_[i - 1], ranges_[i].last) : ranges_[i].last;
  }
}

std::uint32_t CMap::Value(std::uint8_t length, std::uint32_t code) const {
  auto it =
      std::upper_bound(ranges_.begin(), ranges_.end(), std::make_pair(length, code),
                       [](const std::pair<std::uint8_t, std::uint32_t>& key, const Range& r) {
                         return key.first != r.length ? key.first < r.length : key.second < r.first;
                       });
  while (it != ranges_.begin()) {
    --it;
    const std::size_t i = static_cast<std::size_t>(it - ranges_.begin());
    if (it->length != length || reach_[i] < code) break;
    if (code <= it->last) return it->cid + (code - it->first);
  }
  if (identity_fallback_ && length == 2) return code;
  return 0;
}

CMap::Code CMap::Next(std::string_view bytes) const {
  std::uint8_t shortest = 4;
  for (const CodeSpace& space : code_spaces_)
    shortest = std::min(shortest, space.length);
  for (std::uint8_t n = 1; n <= 4 && n <= bytes.size(); ++n) {
    for (const CodeSpace& space : code_spaces_) {
      if (space.length != n) continue;
      bool inside = true;
      for (std::uint8_t i = 0; i < n && inside; ++i) {
        const auto b = static_cast<std::uint8_t>(bytes[i]);
        inside = b >= space.low[i] && b <= space.high[i];
      }
      if (!inside) continue;
      Code code;
      code.length = n;
      for (std::uint8_t i = 0; i < n; ++i) {
        code.code = (code.code << 8) | static_cast<std::uint8_t>(bytes[i]);
      }
      code.cid = Value(n, code.code);
      return code;
    }
  }
  // The start of a longer code cut off by the end of the string: dropped.
  Code code;
  for (const CodeSpace& space : code_spaces_) {
    if (space.length <= bytes.size()) continue;
    bool inside = true;
    for (std::size_t i = 0; i < bytes.size() && inside; ++i) {
      const auto b = static_cast<std::uint8_t>(bytes[i]);
      inside = b >= space.low[i] && b <= space.high[i];
    }
    if (inside) return code;
  }
  // Outside every code space: skip as many bytes as the shortest code has, drawing
  // the notdef glyph.
  if (shortest > bytes.size()) return code;
  code.length = shortest;
  for (std::uint8_t i = 0; i < shortest; ++i) {
    code.code = (code.code << 8) | static_cast<std::uint8_t>(bytes[i]);
  }
  return code;
}

}  // namespace QorPdf::internal
