#include "content/optional_content.h"

#include <string>
#include <utility>

namespace QorPdf::internal {
namespace {

constexpr std::size_t kMaxExpressionDepth = 32;

std::string NameOf(QPDFObjectHandle group) {
  QPDFObjectHandle name = group.getKey("/Name");
  if (name.isString()) return name.getUTF8Value();
  if (group.getObjGen().isIndirect()) return "OCG " + group.getObjGen().unparse(' ');
  return "(unnamed)";
}

QorDoc::LayerExpression AlwaysVisible() {
  return QorDoc::LayerExpression::And({});
}

}  // namespace

OptionalContent::OptionalContent(QPDF& pdf, WarningList& warnings) : warnings_(warnings) {
  QPDFObjectHandle properties = pdf.getRoot().getKey("/OCProperties");
  if (!properties.isDictionary()) return;
  QPDFObjectHandle groups = properties.getKey("/OCGs");
  if (groups.isArray()) {
    for (QPDFObjectHandle group : groups.aitems()) {
      if (group.isDictionary()) order_.push_back(group);
    }
  }
  QPDFObjectHandle config = properties.getKey("/D");
  if (!config.isDictionary()) return;
  base_off_ = config.getKey("/BaseState").isNameAndEquals("/OFF");
  for (const auto& [key, visible] : {std::pair{"/ON", true}, std::pair{"/OFF", false}}) {
    QPDFObjectHandle list = config.getKey(key);
    if (!list.isArray()) continue;
    for (QPDFObjectHandle group : list.aitems()) {
      if (group.isIndirect()) defaults_[group.getObjGen()] = visible;
    }
  }
}

std::shared_ptr<QorDoc::LayerProperties> OptionalContent::PropertiesOf(QPDFObjectHandle group) {
  const QPDFObjGen key = group.getObjGen();
  if (key.isIndirect()) {
    if (auto found = properties_.find(key); found != properties_.end()) return found->second;
  }
  bool visible = !base_off_;
  if (auto found = defaults_.find(key); found != defaults_.end()) visible = found->second;
  auto properties = std::make_shared<QorDoc::LayerProperties>(NameOf(group), visible);
  if (key.isIndirect()) properties_[key] = properties;
  return properties;
}

std::optional<QorDoc::LayerExpression> OptionalContent::ReadVisibilityExpression(
    QPDFObjectHandle expression, std::size_t depth, std::optional<std::size_t> page) {
  if (depth > kMaxExpressionDepth) {
    warnings_.Add(page, "/VE", "visibility expression nested too deep");
    return std::nullopt;
  }
  if (expression.isDictionary()) return QorDoc::LayerExpression::Of(PropertiesOf(expression));
  // Arrays that are objects of their own can be shared by several operands: each is
  // read once, and its expression shared, so a file cannot make the expression grow
  // with the number of paths through them.
  const QPDFObjGen id = expression.getObjGen();
  if (!id.isIndirect()) return ReadVisibilityOperator(expression, depth, page);
  if (const auto found = expressions_.find(id); found != expressions_.end()) {
    return found->second;
  }
  if (!reading_.insert(id).second) {
    warnings_.Add(page, "/VE", "visibility expression contains itself");
    return std::nullopt;
  }
  auto result = ReadVisibilityOperator(expression, depth, page);
  reading_.erase(id);
  expressions_.emplace(id, result);
  return result;
}

std::optional<QorDoc::LayerExpression> OptionalContent::ReadVisibilityOperator(
    QPDFObjectHandle expression, std::size_t depth, std::optional<std::size_t> page) {
  if (!expression.isArray() || expression.getArrayNItems() == 0 ||
      !expression.getArrayItem(0).isName()) {
    warnings_.Add(page, "/VE", "malformed visibility expression");
    return std::nullopt;
  }
  const std::string op = expression.getArrayItem(0).getName();
  std::vector<QorDoc::LayerExpression> operands;
  for (int i = 1; i < expression.getArrayNItems(); ++i) {
    auto operand = ReadVisibilityExpression(expression.getArrayItem(i), depth + 1, page);
    if (!operand) return std::nullopt;
    operands.push_back(std::move(*operand));
  }
  if (op == "/And") return QorDoc::LayerExpression::And(std::move(operands));
  if (op == "/Or") return QorDoc::LayerExpression::Or(std::move(operands));
  if (op == "/Not" && operands.size() == 1) {
    return QorDoc::LayerExpression::Not(std::move(operands.front()));
  }
  warnings_.Add(page, "/VE", "unknown visibility operator " + op);
  return std::nullopt;
}

std::optional<QorDoc::LayerExpression> OptionalContent::ExpressionFor(
    QPDFObjectHandle object, std::optional<std::size_t> page) {
  if (!object.isDictionary()) {
    warnings_.Add(page, "/OC", "optional content that is not a dictionary: ignored");
    return std::nullopt;
  }
  QPDFObjectHandle type = object.getKey("/Type");
  if (type.isNameAndEquals("/OCG") || (!type.isName() && object.hasKey("/Name"))) {
    return QorDoc::LayerExpression::Of(PropertiesOf(object));
  }
  if (!type.isNameAndEquals("/OCMD")) {
    warnings_.Add(page, "/OC", "neither an optional-content group nor a membership dictionary");
    return std::nullopt;
  }
  if (object.hasKey("/VE")) {
    if (auto expression = ReadVisibilityExpression(object.getKey("/VE"), 0, page)) {
      return expression;
    }
  }
  std::vector<QorDoc::LayerExpression> members;
  QPDFObjectHandle groups = object.getKey("/OCGs");
  if (groups.isDictionary()) {
    members.push_back(QorDoc::LayerExpression::Of(PropertiesOf(groups)));
  } else if (groups.isArray()) {
    for (QPDFObjectHandle group : groups.aitems()) {
      if (group.isDictionary()) members.push_back(QorDoc::LayerExpression::Of(PropertiesOf(group)));
    }
  }
  // A membership dictionary without groups has no effect on visibility.
  if (members.empty()) return AlwaysVisible();
  QPDFObjectHandle policy = object.getKey("/P");
  const bool off = policy.isNameAndEquals("/AnyOff") || policy.isNameAndEquals("/AllOff");
  if (off) {
    for (auto& member : members)
      member = QorDoc::LayerExpression::Not(std::move(member));
  }
  if (policy.isNameAndEquals("/AllOn") || policy.isNameAndEquals("/AllOff")) {
    return QorDoc::LayerExpression::And(std::move(members));
  }
  // AnyOn is the default policy.
  return QorDoc::LayerExpression::Or(std::move(members));
}

std::vector<LayerInfo> OptionalContent::Layers() const {
  std::vector<LayerInfo> layers;
  for (const QPDFObjectHandle& group : order_) {
    bool visible = !base_off_;
    if (auto found = defaults_.find(group.getObjGen()); found != defaults_.end()) {
      visible = found->second;
    }
    layers.push_back({NameOf(group), visible});
  }
  return layers;
}

}  // namespace QorPdf::internal
