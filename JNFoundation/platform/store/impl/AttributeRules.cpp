#include "JNFoundation/platform/store/impl/AttributeRules.h"

#include <cmath>
#include <limits>

#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Broken = std::optional<BrokenRule>;

BrokenRule broken(NSInteger code, std::string problem, Ref<NSPredicate> predicate = nullptr) {
  return {code, std::move(problem), std::move(predicate)};
}

/// Where the number lies once its fraction is cut off: below (-1), within (0) or above (1) the
/// range. Requires: a number.
int placeInRange(const Value& value, std::int64_t least, std::int64_t greatest) {
  std::int64_t number;
  switch (value.kind()) {
    case Value::Kind::Unsigned:
      return 1;
    case Value::Kind::Float:
    case Value::Kind::Double:
      if (value.doubleValue() >= 0x1p63) return 1;
      if (value.doubleValue() < -0x1p63) return -1;
      number = value.longLongValue();
      break;
    case Value::Kind::Object:
      if (value.compare(greatest) == NSOrderedDescending) return 1;
      if (value.compare(least) == NSOrderedAscending) return -1;
      return 0;
    default:
      number = value.longLongValue();
  }
  return number > greatest ? 1 : number < least ? -1 : 0;
}

bool isNotANumber(const Value& value) {
  if (const auto* decimal = as<NSDecimalNumber>(value)) return decimal->isNotANumber();
  return (value.kind() == Value::Kind::Double || value.kind() == Value::Kind::Float) &&
         std::isnan(value.doubleValue());
}

Broken notANumber() { return broken(NSManagedObjectValidationError, "is not a number"); }

template <class Integer>
Broken integerRuleBrokenBy(const Value& value) {
  using Limits = std::numeric_limits<Integer>;
  if (isNotANumber(value)) return notANumber();
  const int place = placeInRange(value, Limits::min(), Limits::max());
  if (place == 0) return std::nullopt;
  const std::int64_t limit = place > 0 ? Limits::max() : Limits::min();
  return broken(
      place > 0 ? NSValidationNumberTooLargeError : NSValidationNumberTooSmallError,
      (place > 0 ? "is too large, at most " : "is too small, at least ") + std::to_string(limit) +
          " fits its type",
      NSPredicate::predicateWithFormat(place > 0 ? "SELF <= %@" : "SELF >= %@", Value(limit)));
}

/// What is said of a value outside its bounds.
struct Words {
  NSInteger tooGreat, tooSmall;
  const char* above;
  const char* below;
  /// How a predicate names what has the bounds.
  const char* name;
};
constexpr Words numberWords{NSValidationNumberTooLargeError, NSValidationNumberTooSmallError,
                            "is too large, at most ", "is too small, at least ", "SELF"};
constexpr Words dateWords{NSValidationDateTooLateError, NSValidationDateTooSoonError,
                          "is too late, at the latest ", "is too soon, at the earliest ", "SELF"};
constexpr Words lengthWords{NSValidationStringTooLongError, NSValidationStringTooShortError,
                            "is too long, at most ", "is too short, at least ", "length"};

/// What bounds are held against: the number as a store would keep it, a date, or a length.
struct Measure {
  Value value;
  const Words& words;
};

std::optional<Measure> measureOf(const Value& value, NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      return Measure{value.longLongValue(), numberWords};
    case NSFloatAttributeType:
      return Measure{value.floatValue(), numberWords};
    case NSDoubleAttributeType:
    case NSDecimalAttributeType:
    case NSBooleanAttributeType:
      return Measure{value, numberWords};
    case NSDateAttributeType:
      return Measure{value, dateWords};
    case NSStringAttributeType:
      return Measure{as<NSString>(value)->length(), lengthWords};
    case NSBinaryDataAttributeType:
      return Measure{as<NSData>(value)->length(), lengthWords};
    default:
      return std::nullopt;
  }
}

/// The bound in the kind that the measure has. Returns: null for a bound of another kind.
Value boundFor(const Value& measure, const Value& bound, NSAttributeType type) {
  if (measure.isDate()) {
    if (bound.isDate()) return bound;
    return bound.isNumber() ? NSDate::dateWithTimeIntervalSinceReferenceDate(bound.doubleValue())
                            : Value();
  }
  if (!bound.isNumber() || isNotANumber(bound)) return {};
  // A number that was rounded when it was stored is still within bounds that round alike.
  return type == NSFloatAttributeType ? Value(bound.floatValue()) : bound;
}

Broken boundRuleBrokenBy(const Value& value, const NSAttributeDescription& attribute) {
  const NSAttributeType type = attribute.attributeType();
  const std::optional<Measure> measure = measureOf(value, type);
  if (!measure) return std::nullopt;
  for (const bool upper : {false, true}) {
    const Value& declared = upper ? attribute.maximumValue() : attribute.minimumValue();
    if (declared.isNull()) continue;
    const Value bound = boundFor(measure->value, declared, type);
    if (bound.isNull()) {
      return broken(NSManagedObjectValidationError,
                    "cannot be checked: its model gives it the bound " +
                        declared.description()->toStdString());
    }
    const NSComparisonResult order = measure->value.compare(bound);
    if (order != (upper ? NSOrderedDescending : NSOrderedAscending)) continue;
    const Words& words = measure->words;
    return broken(
        upper ? words.tooGreat : words.tooSmall,
        (upper ? words.above : words.below) + bound.description()->toStdString() + " is allowed",
        NSPredicate::predicateWithFormat(std::string(words.name) + (upper ? " <= %@" : " >= %@"),
                                         bound));
  }
  return std::nullopt;
}

Broken patternRuleBrokenBy(const NSString& text, const NSAttributeDescription& attribute) {
  const CompiledPattern* pattern = attribute.compiledPattern();
  if (!pattern) return std::nullopt;
  const std::string quoted = "\"" + attribute.regularExpression()->toStdString() + "\"";
  if (!pattern->expression) {
    return broken(NSManagedObjectValidationError, "cannot be checked: its regular expression " +
                                                      quoted + " is malformed, " +
                                                      pattern->problem);
  }
  const std::optional<bool> matches = pattern->expression->match(text.utf8());
  if (matches == true) return std::nullopt;
  return broken(NSValidationStringPatternMatchingError,
                (matches ? "does not match the regular expression "
                         : "takes too long to be matched with the regular expression ") +
                    quoted,
                NSPredicate::predicateWithFormat("SELF MATCHES %@", attribute.regularExpression()));
}

}  // namespace

std::optional<BrokenRule> typeRuleBrokenBy(const Value& value,
                                           const NSAttributeDescription& attribute) {
  if (value.isNull()) return std::nullopt;
  if (!attribute.acceptsValue(value)) {
    return broken(NSManagedObjectValidationError,
                  "is no " + attribute.attributeValueClassName()->toStdString());
  }
  switch (attribute.attributeType()) {
    case NSInteger16AttributeType:
      return integerRuleBrokenBy<std::int16_t>(value);
    case NSInteger32AttributeType:
      return integerRuleBrokenBy<std::int32_t>(value);
    case NSInteger64AttributeType:
      if (value.kind() == Value::Kind::Integer) return std::nullopt;
      return integerRuleBrokenBy<std::int64_t>(value);
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSDecimalAttributeType:
    case NSBooleanAttributeType:
      return isNotANumber(value) ? notANumber() : std::nullopt;
    case NSDateAttributeType:
      if (!std::isnan(value.timeIntervalSince1970())) return std::nullopt;
      return broken(NSValidationInvalidDateError, "is no date");
    case NSObjectIDAttributeType:
      if (attribute.isTransient()) return std::nullopt;
      return broken(NSManagedObjectValidationError,
                    "cannot be stored: identifiers of objects are no values of a store");
    default:
      return std::nullopt;
  }
}

std::optional<BrokenRule> ruleBrokenBy(const Value& value,
                                       const NSAttributeDescription& attribute) {
  if (value.isNull()) {
    if (attribute.isOptional()) return std::nullopt;
    return broken(NSValidationMissingMandatoryPropertyError, "is required, but there is none");
  }
  if (Broken rule = typeRuleBrokenBy(value, attribute)) return rule;
  if (!attribute.minimumValue().isNull() || !attribute.maximumValue().isNull()) {
    if (Broken rule = boundRuleBrokenBy(value, attribute)) return rule;
  }
  if (attribute.regularExpression() && attribute.attributeType() == NSStringAttributeType) {
    return patternRuleBrokenBy(*as<NSString>(value), attribute);
  }
  return std::nullopt;
}

}  // namespace JNFoundation::impl
