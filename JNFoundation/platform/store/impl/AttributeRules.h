#pragma once

#include <cmath>
#include <optional>
#include <string>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/text/TextMatch.h>

namespace JNFoundation::inline v0_1::impl {

/// An attribute's regular expression, or what is wrong with it.
struct CompiledPattern {
  std::optional<RegularExpression> expression;
  std::string problem;
};

/// What an attribute's model says against a value.
struct BrokenRule {
  NSInteger code;
  /// What follows "The value of … ", without a full stop.
  std::string problem;
  /// What would have to be true of the value; null where the rule is none that predicates know.
  Ref<NSPredicate> predicate;
};

/// What keeps the value from being held by an attribute of this type: its kind, its range, numbers
/// that are none. Nothing is said against null. Returns: nothing if it can be held.
std::optional<BrokenRule> typeRuleBrokenBy(const Value& value,
                                           const NSAttributeDescription& attribute);

/// Whether a store can hold the value for an attribute of this type, and would give the same back.
/// Says so quickly of what most values are, a number of just that kind, a text, a date. Returns:
/// false as well where it takes a closer look.
inline bool isPlainly(const Value& value, NSAttributeType type) noexcept {
  switch (type) {
    case NSInteger64AttributeType:
      return value.kind() == Value::Kind::Integer;
    case NSDoubleAttributeType:
      return value.kind() == Value::Kind::Double && !std::isnan(value.doubleValue());
    case NSBooleanAttributeType:
      return value.isBoolean();
    case NSStringAttributeType:
      return value.isString();
    case NSDateAttributeType:
      return value.isDate() && !std::isnan(value.timeIntervalSince1970());
    default:
      return false;
  }
}

/// Whether the model beyond doubt allows the value of an attribute. Returns: false as well where it
/// takes a closer look.
inline bool isPlainlyAllowed(const Value& value, const EntityLayout::Slot& slot) noexcept {
  if (value.isNull()) return slot.optional;
  return !slot.hasRules && isPlainly(value, slot.type);
}

/// The first rule that the value breaks: a missing value, its type, its bounds, its pattern.
/// Returns: nothing if the model allows the value.
std::optional<BrokenRule> ruleBrokenBy(const Value& value, const NSAttributeDescription& attribute);

}  // namespace JNFoundation::impl
