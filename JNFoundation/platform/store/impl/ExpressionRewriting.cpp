#include "JNFoundation/platform/store/impl/ExpressionRewriting.h"

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

Ref<NSArray> rewrittenAll(const Ref<NSArray>& expressions,
                          const ExpressionReplacement& replacement) {
  std::vector<Value> parts;
  for (const Value& part : *expressions) {
    Ref<NSExpression> expression(as<NSExpression>(part));
    parts.push_back(expression ? Value(rewritten(expression, replacement)) : part);
  }
  return NSArray::arrayWithValues(std::move(parts));
}

}  // namespace

Ref<NSExpression> rewritten(const Ref<NSExpression>& expression,
                            const ExpressionReplacement& replacement) {
  if (Ref<NSExpression> other = replacement(*expression)) return other;
  const auto partOf = [&](const Ref<NSExpression>& part) { return rewritten(part, replacement); };
  switch (expression->expressionType()) {
    case NSFunctionExpressionType: {
      if (expression->operand()) return expression;
      return NSExpression::expressionForFunctionArguments(
          expression->function(), rewrittenAll(expression->arguments(), replacement));
    }
    case NSKeyPathExpressionType: {
      const Ref<NSExpression> operand = expression->operand();
      if (!operand || operand->expressionType() == NSEvaluatedObjectExpressionType) {
        return expression;
      }
      return NSExpression::expressionForKeyPathOfOperand(expression->keyPath(), partOf(operand));
    }
    case NSUnionSetExpressionType:
      return NSExpression::expressionForUnionSetWith(partOf(expression->leftExpression()),
                                                     partOf(expression->rightExpression()));
    case NSIntersectSetExpressionType:
      return NSExpression::expressionForIntersectSetWith(partOf(expression->leftExpression()),
                                                         partOf(expression->rightExpression()));
    case NSMinusSetExpressionType:
      return NSExpression::expressionForMinusSetWith(partOf(expression->leftExpression()),
                                                     partOf(expression->rightExpression()));
    case NSAggregateExpressionType: {
      const Value collection = expression->collection();
      const auto* members = as<NSArray>(collection);
      if (!members) return expression;
      return NSExpression::expressionForAggregate(
          rewrittenAll(Ref<NSArray>(const_cast<NSArray*>(members)), replacement));
    }
    case NSConditionalExpressionType:
      return NSExpression::expressionForConditionalTrueExpressionFalseExpression(
          rewritten(expression->predicate(), replacement), partOf(expression->trueExpression()),
          partOf(expression->falseExpression()));
    default:
      return expression;
  }
}

Ref<NSPredicate> rewritten(const Ref<NSPredicate>& predicate,
                           const ExpressionReplacement& replacement) {
  if (isKindOf<NSCompoundPredicate>(*predicate)) {
    const auto& compound = static_cast<const NSCompoundPredicate&>(*predicate);
    std::vector<Value> parts;
    for (const Value& part : *compound.subpredicates()) {
      const Ref<NSPredicate> inner(as<NSPredicate>(part));
      parts.emplace_back(rewritten(inner, replacement));
    }
    return NSCompoundPredicate::initWithTypeSubpredicates(
        compound.compoundPredicateType(), NSArray::arrayWithValues(std::move(parts)));
  }
  if (!isKindOf<NSComparisonPredicate>(*predicate)) return predicate;
  const auto& comparison = static_cast<const NSComparisonPredicate&>(*predicate);
  const Ref<NSExpression> left = rewritten(comparison.leftExpression(), replacement);
  const Ref<NSExpression> right = rewritten(comparison.rightExpression(), replacement);
  if (comparison.predicateOperatorType() == NSCustomSelectorPredicateOperatorType) {
    return NSComparisonPredicate::predicateWithLeftExpressionRightExpressionCustomSelector(
        left, right, comparison.customSelector());
  }
  return NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
      left, right, comparison.comparisonPredicateModifier(), comparison.predicateOperatorType(),
      comparison.options());
}

}  // namespace JNFoundation::impl
