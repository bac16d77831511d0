#include "JNFoundation/platform/query/NSExpression.h"

#include <JNFoundation/platform/query/impl/Bindings.h>
#include <JNFoundation/platform/query/impl/Expressions.h>
#include <JNFoundation/platform/query/impl/Functions.h>
#include <JNFoundation/platform/query/impl/Parser.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSExpression::classObject = Class::of<NSExpression>("NSExpression");
const Class& NSExpression::class_() const noexcept { return classObject; }

namespace {

const ClassDeclaration<NSExpression> declarationOfNSExpression = ClassDeclaration<NSExpression>();

[[noreturn]] void raiseNotDefined(const NSExpression& expression, const char* accessor) {
  raise(NSInvalidArgumentException, "*** -%s only defined for abstract class.  Define -[%s %s]!",
        accessor, expression.class_().name(), accessor);
}

template <class T>
const Ref<T>& required(const Ref<T>& argument, const char* what) {
  if (!argument) raise(NSInvalidArgumentException, "an expression needs %s, not nil", what);
  return argument;
}

const Ref<NSExpression>& theEvaluatedObject() {
  static const Ref<NSExpression> expression = makeObject<impl::SelfExpression>();
  return expression;
}

}  // namespace

NSExpression::NSExpression(NSExpressionType type, unsigned nesting)
    : _expressionType(type), _nesting(nesting) {
  if (nesting > maximumNestingOfPredicates) {
    raise(NSInvalidArgumentException, "an expression must not have more than %u levels",
          maximumNestingOfPredicates);
  }
}

Ref<NSExpression> NSExpression::expressionWithFormatArguments(
    const Ref<NSString>& format, std::span<const FormatArgument> arguments) {
  return impl::parseExpression(format, arguments);
}

Ref<NSExpression> NSExpression::expressionForConstantValue(const Value& value) {
  return makeObject<impl::ConstantExpression>(value);
}

Ref<NSExpression> NSExpression::expressionForEvaluatedObject() { return theEvaluatedObject(); }

Ref<NSExpression> NSExpression::expressionForVariable(const Ref<NSString>& name) {
  return makeObject<impl::VariableExpression>(required(name, "the name of a variable"));
}

Ref<NSExpression> NSExpression::expressionForKeyPath(const Ref<NSString>& path) {
  return expressionForKeyPathOfOperand(path, theEvaluatedObject());
}

Ref<NSExpression> NSExpression::expressionForKeyPathOfOperand(const Ref<NSString>& path,
                                                              const Ref<NSExpression>& operand) {
  return makeObject<impl::KeyPathExpression>(KeyPath(path), required(operand, "an operand"));
}

Ref<NSExpression> NSExpression::expressionForAggregate(const Ref<NSArray>& expressions) {
  return makeObject<impl::AggregateExpression>(
      impl::ExpressionArray(required(expressions, "a list of expressions")));
}

Ref<NSExpression> NSExpression::expressionForFunctionArguments(const Ref<NSString>& name,
                                                               const Ref<NSArray>& arguments) {
  const impl::Function* function =
      impl::functionForSelector(required(name, "the name of a function")->utf8());
  if (!function) raise(NSInvalidArgumentException, "Unknown function name: %@", name);
  impl::ExpressionArray list(arguments);
  const std::size_t count = list.list().size();
  if (count < function->minimumArguments ||
      (function->maximumArguments != impl::anyNumberOfArguments &&
       count > function->maximumArguments)) {
    raise(NSInvalidArgumentException, "the function %@ does not take %zu arguments", name, count);
  }
  return makeObject<impl::FunctionExpression>(*function, std::move(list));
}

Ref<NSExpression> NSExpression::expressionForFunctionSelectorNameArguments(
    const Ref<NSExpression>& target, const Ref<NSString>& name, const Ref<NSArray>& arguments) {
  return makeObject<impl::SelectorExpression>(required(target, "a target"),
                                              SEL(required(name, "the name of a selector")->utf8()),
                                              impl::ExpressionArray(arguments));
}

Ref<NSExpression> NSExpression::expressionForUnionSetWith(const Ref<NSExpression>& left,
                                                          const Ref<NSExpression>& right) {
  return makeObject<impl::SetExpression>(NSUnionSetExpressionType, required(left, "a left side"),
                                         required(right, "a right side"));
}

Ref<NSExpression> NSExpression::expressionForIntersectSetWith(const Ref<NSExpression>& left,
                                                              const Ref<NSExpression>& right) {
  return makeObject<impl::SetExpression>(
      NSIntersectSetExpressionType, required(left, "a left side"), required(right, "a right side"));
}

Ref<NSExpression> NSExpression::expressionForMinusSetWith(const Ref<NSExpression>& left,
                                                          const Ref<NSExpression>& right) {
  return makeObject<impl::SetExpression>(NSMinusSetExpressionType, required(left, "a left side"),
                                         required(right, "a right side"));
}

Ref<NSExpression> NSExpression::expressionForSubqueryUsingIteratorVariablePredicate(
    const Ref<NSExpression>& collection, const Ref<NSString>& variable,
    const Ref<NSPredicate>& predicate) {
  return makeObject<impl::SubqueryExpression>(required(collection, "a collection"),
                                              required(variable, "the name of a variable"),
                                              required(predicate, "a predicate"));
}

Ref<NSExpression> NSExpression::expressionForConditionalTrueExpressionFalseExpression(
    const Ref<NSPredicate>& predicate, const Ref<NSExpression>& trueExpression,
    const Ref<NSExpression>& falseExpression) {
  return makeObject<impl::ConditionalExpression>(required(predicate, "a predicate"),
                                                 required(trueExpression, "a first expression"),
                                                 required(falseExpression, "a second expression"));
}

Ref<NSExpression> NSExpression::expressionForBlockArguments(Block block,
                                                            const Ref<NSArray>& arguments) {
  if (!block) fatalError("expressionForBlock:arguments: needs a block");
  return makeObject<impl::BlockExpression>(std::move(block), impl::ExpressionArray(arguments));
}

Ref<NSExpression> NSExpression::expressionForAnyKey() {
  return makeObject<impl::AnyKeyExpression>();
}

Value NSExpression::constantValue() const { raiseNotDefined(*this, "constantValue"); }
Ref<NSString> NSExpression::variable() const { raiseNotDefined(*this, "variable"); }
Ref<NSString> NSExpression::keyPath() const { raiseNotDefined(*this, "keyPath"); }
const KeyPath& NSExpression::parsedKeyPath() const { raiseNotDefined(*this, "keyPath"); }
Ref<NSExpression> NSExpression::operand() const { raiseNotDefined(*this, "operand"); }
Ref<NSString> NSExpression::function() const { raiseNotDefined(*this, "function"); }
Ref<NSArray> NSExpression::arguments() const { raiseNotDefined(*this, "arguments"); }
Value NSExpression::collection() const { raiseNotDefined(*this, "collection"); }
Ref<NSPredicate> NSExpression::predicate() const { raiseNotDefined(*this, "predicate"); }
Ref<NSExpression> NSExpression::leftExpression() const { raiseNotDefined(*this, "leftExpression"); }
Ref<NSExpression> NSExpression::rightExpression() const {
  raiseNotDefined(*this, "rightExpression");
}
Ref<NSExpression> NSExpression::trueExpression() const { raiseNotDefined(*this, "trueExpression"); }
Ref<NSExpression> NSExpression::falseExpression() const {
  raiseNotDefined(*this, "falseExpression");
}
NSExpression::Block NSExpression::expressionBlock() const {
  raiseNotDefined(*this, "expressionBlock");
}

Value NSExpression::expressionValueWithObjectContext(
    const Value& object, const Ref<NSMutableDictionary>& context) const {
  return evaluate(object, impl::Bindings{context.get()});
}

Ref<NSExpression> NSExpression::expressionWithSubstitutionVariables(
    const Ref<NSDictionary>& variables) const {
  Ref<NSExpression> fresh = substituted(impl::Bindings{variables.get()});
  return fresh ? fresh : Ref<NSExpression>(const_cast<NSExpression*>(this));
}

Ref<NSString> NSExpression::description() const {
  std::string text;
  appendFormat(text);
  return NSString::fromText(text);
}

bool NSExpression::isEqual(const Value& other) const {
  const NSExpression* expression = as<NSExpression>(other);
  if (expression == this) return true;
  return expression && _expressionType == expression->_expressionType &&
         _nesting == expression->_nesting && class_() == expression->class_() &&
         hasEqualContent(*expression);
}

std::size_t NSExpression::hash() const {
  return impl::combinedHash(_expressionType, contentHash());
}

}  // namespace JNFoundation
