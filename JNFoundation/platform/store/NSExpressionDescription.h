#pragma once

#include <JNFoundation/platform/store/NSAttributeDescription.h>

namespace JNFoundation::inline v0_1 {

class NSExpression;

/// A computed value to fetch: a name for the result's dictionary, an expression over the objects
/// that are fetched, and the type that the result is turned into.
///
///     auto largest = NSExpressionDescription::init();
///     largest->setName("largest");
///     largest->setExpression(NSExpression::expressionForFunctionArguments("max:", arguments));
///     largest->setExpressionResultType(NSInteger64AttributeType);
///
/// It belongs into a fetch request's propertiesToFetch, never into an entity.
class NSExpressionDescription : public NSPropertyDescription {
 public:
  using Superclass = NSPropertyDescription;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// A description without a name and an expression, of undefined type.
  static Ref<NSExpressionDescription> init();

  /// Null until it is set.
  const Ref<NSExpression>& expression() const noexcept { return _expression; }
  void setExpression(const Ref<NSExpression>& expression);

  /// What the expression gives; undefined unless it is set.
  NSAttributeType expressionResultType() const noexcept { return _expressionResultType; }
  void setExpressionResultType(NSAttributeType type) noexcept { _expressionResultType = type; }

  bool isEqual(const Value& other) const override;

 protected:
  NSExpressionDescription();
  ~NSExpressionDescription() override;

 private:
  Ref<NSExpression> _expression;
  NSAttributeType _expressionResultType = NSUndefinedAttributeType;
};

}  // namespace JNFoundation
