#include "JNFoundation/platform/store/NSExpressionDescription.h"

#include <JNFoundation/platform/query/NSExpression.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSExpressionDescription::classObject =
    Class::of<NSExpressionDescription>("NSExpressionDescription");

NSExpressionDescription::NSExpressionDescription() = default;
NSExpressionDescription::~NSExpressionDescription() = default;

Ref<NSExpressionDescription> NSExpressionDescription::init() {
  return makeObject<NSExpressionDescription>();
}

void NSExpressionDescription::setExpression(const Ref<NSExpression>& expression) {
  _expression = expression;
}

bool NSExpressionDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  if (!NSPropertyDescription::isEqual(other)) return false;
  const auto* description = as<NSExpressionDescription>(other);
  return description && _expressionResultType == description->_expressionResultType &&
         Value(_expression) == Value(description->_expression);
}

}  // namespace JNFoundation
