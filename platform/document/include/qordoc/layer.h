// Optional content: layers, their properties and visibility expressions.
//
// A layer's content shows when its expression evaluates true; the expression
// combines layer properties (each visible or not, as the caller's filter decides)
// with not, and, or.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace QorDoc {

class LayerProperties {
 public:
  LayerProperties(std::string name, bool visibleByDefault)
      : name_(std::move(name)), visible_by_default_(visibleByDefault) {}

  const std::string& GetName() const { return name_; }
  bool IsVisibleByDefault() const { return visible_by_default_; }

 private:
  std::string name_;
  bool visible_by_default_;
};

using LayerFilter = std::function<bool(const std::shared_ptr<LayerProperties>&)>;

class LayerExpression {
 public:
  enum class Kind { kProperties, kNot, kAnd, kOr };

  static LayerExpression Of(std::shared_ptr<LayerProperties> properties) {
    LayerExpression e(Kind::kProperties);
    e.properties_ = std::move(properties);
    return e;
  }
  static LayerExpression Not(LayerExpression operand) {
    LayerExpression e(Kind::kNot);
    e.operands_.push_back(std::move(operand));
    return e;
  }
  static LayerExpression And(std::vector<LayerExpression> operands) {
    LayerExpression e(Kind::kAnd);
    e.operands_ = std::move(operands);
    return e;
  }
  static LayerExpression Or(std::vector<LayerExpression> operands) {
    LayerExpression e(Kind::kOr);
    e.operands_ = std::move(operands);
    return e;
  }

  Kind GetKind() const { return kind_; }
  const std::shared_ptr<LayerProperties>& GetProperties() const { return properties_; }
  const std::vector<LayerExpression>& GetOperands() const { return operands_; }

 private:
  explicit LayerExpression(Kind kind) : kind_(kind) {}

  Kind kind_;
  std::shared_ptr<LayerProperties> properties_;
  std::vector<LayerExpression> operands_;
};

// Whether content under `expression` shows, with `filter` saying which layer
// properties are visible. An empty And is true, an empty Or false.
inline bool Evaluate(const LayerExpression& expression, const LayerFilter& filter) {
  switch (expression.GetKind()) {
    case LayerExpression::Kind::kProperties:
      return filter(expression.GetProperties());
    case LayerExpression::Kind::kNot:
      return !Evaluate(expression.GetOperands().front(), filter);
    case LayerExpression::Kind::kAnd:
      for (const auto& e : expression.GetOperands()) {
        if (!Evaluate(e, filter)) return false;
      }
      return true;
    case LayerExpression::Kind::kOr:
      for (const auto& e : expression.GetOperands()) {
        if (Evaluate(e, filter)) return true;
      }
      return false;
  }
  return false;
}

}  // namespace QorDoc
