#include <algorithm>

#include <JNFoundation/platform/query/impl/Expressions.h>
#include <JNFoundation/platform/query/impl/FormatText.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

/// The expressions that call: functions of the language, and operations of objects.
namespace JNFoundation::inline v0_1::impl {

constinit const Class FunctionExpression::classObject =
    Class::of<FunctionExpression>("NSFunctionExpression");
constinit const Class SelectorExpression::classObject =
    Class::of<SelectorExpression>("NSSelectorFunctionExpression");

namespace {

using Form = Function::Form;

/// The kinds of numbers that arithmetic tells apart.
enum class NumberKind { None, Whole, Double, Decimal };

NumberKind numberKindOf(const NSExpression& expression) {
  if (expression.expressionType() != NSConstantValueExpressionType) return NumberKind::None;
  const Value value = expression.constantValue();
  if (!value.isNumber()) return NumberKind::None;
  if (isKindOf<NSDecimalNumber>(value)) return NumberKind::Decimal;
  const bool isDouble = value.kind() == Value::Kind::Double || value.kind() == Value::Kind::Float;
  return isDouble ? NumberKind::Double : NumberKind::Whole;
}

/// An operand in parentheses where another reading would be possible without; whole doubles keep
/// their point and decimal numbers their class, because 7.0 / 2 is not 7 / 2.
void appendOperand(const NSExpression& expression, std::string& text) {
  bool parentheses = false;
  if (expression.expressionType() == NSConstantValueExpressionType) {
    const Value value = expression.constantValue();
    const NumberKind kind = numberKindOf(expression);
    if (kind == NumberKind::Decimal) return appendDecimal(text, *as<NSDecimalNumber>(value));
    std::string number;
    appendConstant(number, value);
    if (kind == NumberKind::Double && number.find_first_not_of("-0123456789") == std::string::npos)
      number += ".0";
    parentheses = value.isNumber() && number[0] == '-';
    text += parentheses ? "(" + number + ")" : number;
    return;
  }
  if (expression.expressionType() == NSFunctionExpressionType) {
    const auto* function = dynamic_cast<const FunctionExpression*>(&expression);
    parentheses = function && function->implementation().form == Form::Operator;
  }
  if (parentheses) text += '(';
  TreeAccess::appendFormat(expression, text);
  if (parentheses) text += ')';
}

void appendOperands(const ExpressionList& operands, std::string& text) {
  std::string_view separator;
  for (const auto& operand : operands) {
    text += separator;
    separator = ", ";
    appendOperand(*operand, text);
  }
}

}  // namespace

Value FunctionExpression::evaluate(const Value& object, const Bindings& bindings) const {
  if (_function.form == Form::Aggregate) return evaluateAggregate(object, bindings);
  if (_arguments.list().size() <= 2) {
    Value values[2];
    for (std::size_t i = 0; i < _arguments.list().size(); ++i) {
      values[i] = TreeAccess::evaluate(*_arguments.list()[i], object, bindings);
    }
    return _function.apply({values, _arguments.list().size()});
  }
  return _function.apply(_arguments.evaluate(object, bindings));
}

Value FunctionExpression::evaluateAggregate(const Value& object, const Bindings& bindings) const {
  std::vector<Value> members;
  if (_arguments.list().size() != 1 ||
      !appendValues(*_arguments.list()[0], object, bindings, members)) {
    members = _arguments.evaluate(object, bindings);
  }
  std::erase_if(members, isNullLike);
  return _function.apply(members);
}

bool FunctionExpression::hasEqualContent(const NSExpression& other) const {
  const auto& function = static_cast<const FunctionExpression&>(other);
  if (&_function != &function._function) return false;
  const ExpressionList& left = _arguments.list();
  const ExpressionList& right = function._arguments.list();
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](const auto& one, const auto& another) {
                      return numberKindOf(*one) == numberKindOf(*another) &&
                             one->isEqual(Value(another));
                    });
}

std::size_t FunctionExpression::contentHash() const {
  return combinedHash(std::hash<const void*>()(&_function), _arguments.hash());
}

void FunctionExpression::appendFormat(std::string& text) const {
  const ExpressionList& arguments = _arguments.list();
  switch (_function.form) {
    case Form::Operator:
      appendOperand(*arguments[0], text);
      text += ' ';
      text += _function.word;
      text += ' ';
      appendOperand(*arguments[1], text);
      break;
    case Form::Index:
      appendOperand(*arguments[0], text);
      text += '[';
      TreeAccess::appendFormat(*arguments[1], text);
      text += ']';
      break;
    case Form::Call:
    case Form::Cast:
    case Form::Aggregate:
      text += _function.word.empty() ? _function.selector : _function.word;
      text += '(';
      appendOperands(arguments, text);
      text += ')';
      break;
  }
}

Ref<NSExpression> FunctionExpression::substituted(const Bindings& bindings) const {
  const Ref<NSArray> arguments = _arguments.substituted(bindings);
  if (!arguments) return nullptr;
  return makeObject<FunctionExpression>(_function, ExpressionArray(arguments));
}

Value SelectorExpression::evaluate(const Value& object, const Bindings& bindings) const {
  const Value receiver = TreeAccess::evaluate(*_operand, object, bindings);
  const std::vector<Value> arguments = _arguments.evaluate(object, bindings);
  return performSelectorWithArguments(receiver, _selector, arguments);
}

bool SelectorExpression::hasEqualContent(const NSExpression& other) const {
  const auto& call = static_cast<const SelectorExpression&>(other);
  return _selector == call._selector && _operand->isEqual(Value(call._operand)) &&
         _arguments == call._arguments;
}

std::size_t SelectorExpression::contentHash() const {
  return combinedHash(std::hash<SEL>()(_selector),
                      combinedHash(_operand->hash(), _arguments.hash()));
}

void SelectorExpression::appendFormat(std::string& text) const {
  text += "FUNCTION(";
  TreeAccess::appendFormat(*_operand, text);
  text += ", ";
  appendQuoted(text, _selector.name());
  if (!_arguments.list().empty()) text += ", ";
  _arguments.appendFormat(text);
  text += ')';
}

Ref<NSExpression> SelectorExpression::substituted(const Bindings& bindings) const {
  Ref<NSExpression> operand = _operand;
  const bool changed = TreeAccess::substitute(operand, bindings);
  const Ref<NSArray> arguments = _arguments.substituted(bindings);
  if (!changed && !arguments) return nullptr;
  return makeObject<SelectorExpression>(
      std::move(operand), _selector, ExpressionArray(arguments ? arguments : _arguments.array()));
}

}  // namespace JNFoundation::impl
