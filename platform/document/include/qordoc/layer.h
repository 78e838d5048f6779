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

// An expression is a value whose operands are shared, not copied: copying one, or
// using the same expression as an operand of several others, costs a reference
// count. So an expression read from a file where sub-expressions are shared objects
// stays as small as the file, even when written out as a tree it would have more
// nodes than memory can hold.
class LayerExpression {
 public:
  enum class Kind { kProperties, kNot, kAnd, kOr };

  static LayerExpression Of(std::shared_ptr<LayerProperties> properties) {
    LayerExpression e(Kind::kProperties, {});
    e.properties_ = std::move(properties);
    return e;
  }
  static LayerExpression Not(LayerExpression operand) {
    return LayerExpression(Kind::kNot, {std::move(operand)});
  }
  static LayerExpression And(std::vector<LayerExpression> operands) {
    return LayerExpression(Kind::kAnd, std::move(operands));
  }
  static LayerExpression Or(std::vector<LayerExpression> operands) {
    return LayerExpression(Kind::kOr, std::move(operands));
  }

  Kind GetKind() const { return kind_; }
  const std::shared_ptr<LayerProperties>& GetProperties() const { return properties_; }
  const std::vector<LayerExpression>& GetOperands() const { return *operands_; }
  // The same for every copy of this expression, and different for expressions built
  // separately: identifies shared sub-expressions.
  const void* Identity() const { return operands_.get(); }

 private:
  LayerExpression(Kind kind, std::vector<LayerExpression> operands)
      : kind_(kind),
        operands_(std::make_shared<const std::vector<LayerExpression>>(std::move(operands))) {}

  Kind kind_;
  std::shared_ptr<LayerProperties> properties_;
  std::shared_ptr<const std::vector<LayerExpression>> operands_;  // never null
};

// Whether content under `expression` shows, with `filter` saying which layer
// properties are visible. An empty And is true, an empty Or false. Each shared
// sub-expression is evaluated once, so the time is linear in the number of distinct
// sub-expressions, not in the number of paths through them.
bool Evaluate(const LayerExpression& expression, const LayerFilter& filter);

}  // namespace QorDoc
