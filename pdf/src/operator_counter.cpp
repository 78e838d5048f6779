// Operator counting through qpdf's token filter on the page's contents.
//
// Tokens rather than parsed objects: counting needs no operands, and building an
// object for each operand made the pass several times slower (ten times under the
// sanitizers) on pages with hundreds of thousands of operators.
#include "operator_counter.h"

#include <exception>
#include <new>
#include <string>

#include "qpdf_headers.h"

namespace QorPdf::internal {
namespace {

class Counter final : public QPDFObjectHandle::TokenFilter {
 public:
  explicit Counter(OperatorCountMap& counts) : counts_(counts) {}

  void handleToken(const QPDFTokenizer::Token& token) override {
    switch (token.getType()) {
      case QPDFTokenizer::tt_word:
        ++counts_[token.getValue()];
        break;
      case QPDFTokenizer::tt_bad:
        if (bad_tokens_++ == 0) first_error_ = token.getErrorMessage();
        break;
      default:
        break;
    }
  }

  std::size_t BadTokens() const { return bad_tokens_; }
  const std::string& FirstError() const { return first_error_; }

 private:
  OperatorCountMap& counts_;
  std::size_t bad_tokens_ = 0;
  std::string first_error_;
};

}  // namespace

OperatorCountMap CountOperators(QPDFObjectHandle page, std::size_t index, WarningList& warnings) {
  OperatorCountMap counts;
  Counter counter(counts);
  try {
    QPDFPageObjectHelper(page).filterContents(&counter);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& e) {
    warnings.Add(index, "/Contents", std::string("content not fully read: ") + e.what());
  }
  if (counter.BadTokens() > 0) {
    warnings.Add(index, "/Contents",
                 std::to_string(counter.BadTokens()) +
                     " unreadable token(s) skipped; the first: " + counter.FirstError());
  }
  return counts;
}

}  // namespace QorPdf::internal
