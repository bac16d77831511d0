#include "JNFoundation/platform/query/NSComparisonPredicate.h"

#include <algorithm>

#include <JNFoundation/platform/query/impl/Bindings.h>
#include <JNFoundation/platform/query/impl/Comparison.h>
#include <JNFoundation/platform/query/impl/Expressions.h>
#include <JNFoundation/platform/query/impl/Members.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSComparisonPredicate::classObject =
    Class::of<NSComparisonPredicate>("NSComparisonPredicate");
const Class& NSComparisonPredicate::class_() const noexcept { return classObject; }

namespace {

const ClassDeclaration<NSComparisonPredicate> declarationOfNSComparisonPredicate =
    ClassDeclaration<NSComparisonPredicate>();

bool isOperator(NSPredicateOperatorType type) noexcept {
  return type <= NSInPredicateOperatorType || type == NSContainsPredicateOperatorType ||
         type == NSBetweenPredicateOperatorType;
}

const Ref<NSExpression>& required(const Ref<NSExpression>& expression) {
  if (!expression) raise(NSInvalidArgumentException, "a comparison needs two expressions, not nil");
  return expression;
}

/// The value of an expression that is the same for every object. Returns: nothing for all others.
std::optional<Value> constantValueOf(const NSExpression& expression) {
  if (expression.expressionType() == NSConstantValueExpressionType) {
    return expression.constantValue();
  }
  if (expression.expressionType() != NSAggregateExpressionType) return std::nullopt;
  const auto& members = static_cast<const impl::AggregateExpression&>(expression).members();
  const bool isConstant = std::all_of(members.begin(), members.end(), [](const auto& member) {
    return member->expressionType() == NSConstantValueExpressionType;
  });
  if (!isConstant) return std::nullopt;
  return impl::TreeAccess::evaluate(expression, nullptr, {});
}

/// A path whose nulls a set on the way would lose.
bool hasSeveralKeys(const NSExpression& expression) {
  return expression.expressionType() == NSKeyPathExpressionType &&
         !expression.parsedKeyPath().singleKey();
}

std::string_view spelling(NSPredicateOperatorType type) noexcept {
  switch (type) {
    case NSLessThanPredicateOperatorType:
      return "<";
    case NSLessThanOrEqualToPredicateOperatorType:
      return "<=";
    case NSGreaterThanPredicateOperatorType:
      return ">";
    case NSGreaterThanOrEqualToPredicateOperatorType:
      return ">=";
    case NSEqualToPredicateOperatorType:
      return "==";
    case NSNotEqualToPredicateOperatorType:
      return "!=";
    case NSMatchesPredicateOperatorType:
      return "MATCHES";
    case NSLikePredicateOperatorType:
      return "LIKE";
    case NSBeginsWithPredicateOperatorType:
      return "BEGINSWITH";
    case NSEndsWithPredicateOperatorType:
      return "ENDSWITH";
    case NSInPredicateOperatorType:
      return "IN";
    case NSContainsPredicateOperatorType:
      return "CONTAINS";
    case NSBetweenPredicateOperatorType:
      return "BETWEEN";
    case NSCustomSelectorPredicateOperatorType:
      break;
  }
  return "";
}

}  // namespace

NSComparisonPredicate::NSComparisonPredicate(Ref<NSExpression> left, Ref<NSExpression> right,
                                             NSComparisonPredicateModifier modifier,
                                             NSPredicateOperatorType type,
                                             NSComparisonPredicateOptions options, SEL selector)
    : NSPredicate(std::max(left->nesting(), right->nesting()) + 1),
      _leftExpression(std::move(left)),
      _rightExpression(std::move(right)),
      _modifier(modifier),
      _type(type),
      _options(options),
      _customSelector(selector) {
  const std::optional<Value> constant = constantValueOf(*_rightExpression);
  _comparison = std::make_unique<impl::Comparison>(_type, _options, _customSelector,
                                                   constant ? &*constant : nullptr);
}

NSComparisonPredicate::~NSComparisonPredicate() = default;

Ref<NSComparisonPredicate>
NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
    const Ref<NSExpression>& left, const Ref<NSExpression>& right,
    NSComparisonPredicateModifier modifier, NSPredicateOperatorType type,
    NSComparisonPredicateOptions options) {
  if (!isOperator(type)) {
    raise(NSInvalidArgumentException, "a comparison has no operator of type %llu", type);
  }
  return makeObject<NSComparisonPredicate>(required(left), required(right), modifier, type, options,
                                           SEL());
}

Ref<NSComparisonPredicate>
NSComparisonPredicate::predicateWithLeftExpressionRightExpressionCustomSelector(
    const Ref<NSExpression>& left, const Ref<NSExpression>& right, SEL selector) {
  if (!selector) raise(NSInvalidArgumentException, "a comparison needs a selector, not nil");
  return makeObject<NSComparisonPredicate>(
      required(left), required(right), NSDirectPredicateModifier,
      NSCustomSelectorPredicateOperatorType, NSComparisonPredicateOptions{}, selector);
}

Value NSComparisonPredicate::rightValue(const Value& object, const impl::Bindings& bindings) const {
  if (_type == NSInPredicateOperatorType && hasSeveralKeys(*_rightExpression)) {
    return impl::valueWithNulls(*_rightExpression, object, bindings);
  }
  return impl::TreeAccess::evaluate(*_rightExpression, object, bindings);
}

Value NSComparisonPredicate::leftValue(const Value& object, const impl::Bindings& bindings) const {
  if (_type == NSContainsPredicateOperatorType && hasSeveralKeys(*_leftExpression)) {
    return impl::valueWithNulls(*_leftExpression, object, bindings);
  }
  return impl::TreeAccess::evaluate(*_leftExpression, object, bindings);
}

bool NSComparisonPredicate::evaluate(const Value& object, const impl::Bindings& bindings) const {
  if (_modifier != NSDirectPredicateModifier) return evaluateMembers(object, bindings);
  if (!_comparison->isPrepared()) {
    const Value left = leftValue(object, bindings);
    return _comparison->holds(left, rightValue(object, bindings));
  }
  return _comparison->holds(leftValue(object, bindings), _comparison->right());
}

bool NSComparisonPredicate::evaluateMembers(const Value& object,
                                            const impl::Bindings& bindings) const {
  std::vector<Value> members;
  if (!impl::appendValues(*_leftExpression, object, bindings, members)) {
    raise(NSInvalidArgumentException,
          "The left hand side for an ALL or ANY operator must be either an NSArray or an NSSet.");
  }
  if (members.empty()) return _modifier == NSAllPredicateModifier;
  const Value right =
      _comparison->isPrepared() ? _comparison->right() : rightValue(object, bindings);
  const auto holds = [&](const Value& member) { return _comparison->holds(member, right); };
  return _modifier == NSAllPredicateModifier ? std::all_of(members.begin(), members.end(), holds)
                                             : std::any_of(members.begin(), members.end(), holds);
}

bool NSComparisonPredicate::hasEqualContent(const NSPredicate& other) const {
  const auto& comparison = static_cast<const NSComparisonPredicate&>(other);
  return _modifier == comparison._modifier && _type == comparison._type &&
         _options == comparison._options && _customSelector == comparison._customSelector &&
         _leftExpression->isEqual(Value(comparison._leftExpression)) &&
         _rightExpression->isEqual(Value(comparison._rightExpression));
}

std::size_t NSComparisonPredicate::contentHash() const {
  return impl::combinedHash(_type ^ _modifier << 8 ^ _options << 16,
                            impl::combinedHash(_leftExpression->hash(), _rightExpression->hash()));
}

void NSComparisonPredicate::appendFormat(std::string& text) const {
  if (_modifier == NSAllPredicateModifier) text += "ALL ";
  if (_modifier == NSAnyPredicateModifier) text += "ANY ";
  impl::TreeAccess::appendFormat(*_leftExpression, text);
  text += ' ';
  text += _customSelector ? _customSelector.name() : spelling(_type);
  if (_options != 0) {
    text += '[';
    if (_options & NSCaseInsensitivePredicateOption) text += 'c';
    if (_options & NSDiacriticInsensitivePredicateOption) text += 'd';
    if (_options & NSNormalizedPredicateOption) text += 'n';
    if (_options & NSLocaleSensitivePredicateOption) text += 'l';
    text += ']';
  }
  text += ' ';
  impl::TreeAccess::appendFormat(*_rightExpression, text);
}

Ref<NSPredicate> NSComparisonPredicate::substituted(const impl::Bindings& bindings) const {
  Ref<NSExpression> left = _leftExpression, right = _rightExpression;
  const bool changedLeft = impl::TreeAccess::substitute(left, bindings);
  const bool changedRight = impl::TreeAccess::substitute(right, bindings);
  if (!changedLeft && !changedRight) return nullptr;
  return makeObject<NSComparisonPredicate>(std::move(left), std::move(right), _modifier, _type,
                                           _options, _customSelector);
}

}  // namespace JNFoundation
