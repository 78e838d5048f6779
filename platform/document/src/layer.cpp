// Evaluating layer expressions with a memo of shared sub-expressions.
#include "qordoc/layer.h"

#include <unordered_map>

namespace QorDoc {
namespace {

class Evaluator {
 public:
  explicit Evaluator(const LayerFilter& filter) : filter_(filter) {}

  bool Value(const LayerExpression& expression) {
    if (expression.GetKind() == LayerExpression::Kind::kProperties) {
      return filter_(expression.GetProperties());
    }
    if (const auto found = memo_.find(expression.Identity()); found != memo_.end()) {
      return found->second;
    }
    const bool value = Compute(expression);
    memo_.emplace(expression.Identity(), value);
    return value;
  }

 private:
  bool Compute(const LayerExpression& expression) {
    const auto& operands = expression.GetOperands();
    switch (expression.GetKind()) {
      case LayerExpression::Kind::kNot:
        return operands.empty() || !Value(operands.front());
      case LayerExpression::Kind::kAnd:
        for (const auto& e : operands) {
          if (!Value(e)) return false;
        }
        return true;
      case LayerExpression::Kind::kOr:
        for (const auto& e : operands) {
          if (Value(e)) return true;
        }
        return false;
      case LayerExpression::Kind::kProperties:
        break;
    }
    return false;
  }

  const LayerFilter& filter_;
  std::unordered_map<const void*, bool> memo_;
};

}  // namespace

bool Evaluate(const LayerExpression& expression, const LayerFilter& filter) {
  if (expression.GetKind() == LayerExpression::Kind::kProperties) {
    return filter(expression.GetProperties());
  }
  return Evaluator(filter).Value(expression);
}

}  // namespace QorDoc
