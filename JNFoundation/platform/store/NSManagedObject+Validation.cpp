#include <cmath>
#include <limits>

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>

namespace JNFoundation {

using impl::EntityLayout;

namespace {

Ref<NSError> validationError(NSInteger code, const NSManagedObject& object,
                             const EntityLayout::Slot& slot, const Value& value,
                             const char* problem) {
  return impl::cocoaError(
      code,
      NSString::stringWithFormat("The value of '%@' of an object of entity '%@' %s.", slot.name,
                                 object.entity()->name(), problem),
      {{NSValidationObjectErrorKey, Value(const_cast<NSManagedObject*>(&object))},
       {NSValidationKeyErrorKey, slot.name},
       {NSValidationValueErrorKey, value}});
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

template <class Integer>
const char* problemOfInteger(const Value& value, NSInteger& code) {
  using Limits = std::numeric_limits<Integer>;
  const int place = placeInRange(value, Limits::min(), Limits::max());
  if (place > 0) {
    code = NSValidationNumberTooLargeError;
    return "is too large";
  }
  if (place < 0) {
    code = NSValidationNumberTooSmallError;
    return "is too small";
  }
  return nullptr;
}

/// What keeps a value that is not null from being stored as its attribute's type. Null if nothing.
const char* problemOf(NSAttributeType type, const Value& value, NSInteger& code) {
  code = NSManagedObjectValidationError;
  switch (type) {
    case NSInteger16AttributeType:
      return isNotANumber(value) ? "is not a number" : problemOfInteger<std::int16_t>(value, code);
    case NSInteger32AttributeType:
      return isNotANumber(value) ? "is not a number" : problemOfInteger<std::int32_t>(value, code);
    case NSInteger64AttributeType:
      if (value.kind() == Value::Kind::Integer) return nullptr;
      return isNotANumber(value) ? "is not a number" : problemOfInteger<std::int64_t>(value, code);
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSDecimalAttributeType:
    case NSBooleanAttributeType:
      return isNotANumber(value) ? "is not a number" : nullptr;
    case NSDateAttributeType:
      code = NSValidationInvalidDateError;
      return std::isnan(value.timeIntervalSince1970()) ? "is no date" : nullptr;
    case NSTransformableAttributeType:
      return "cannot be stored: nothing turns a transformable value into data";
    case NSObjectIDAttributeType:
      return "cannot be stored: identifiers of objects are no values of a store";
    default:
      return nullptr;
  }
}

}  // namespace

bool NSManagedObject::validateValues(Ref<NSError>* error) const {
  // A fault was not written to.
  if ((_flags & HasValues) == 0) return true;
  const EntityLayout& layout = _entity->layout();
  std::vector<Ref<NSError>> errors;
  for (std::size_t i = 0; i < layout.count(); ++i) {
    const EntityLayout::Slot& slot = layout[i];
    NSInteger code = NSValidationMissingMandatoryPropertyError;
    const char* problem = nullptr;
    if (!_values[i].isNull()) {
      if (slot.stored) problem = problemOf(slot.type, _values[i], code);
    } else if (!slot.optional) {
      problem = "is required, but there is none";
    }
    if (!problem) continue;
    if (!error) return false;
    errors.push_back(validationError(code, *this, slot, _values[i], problem));
  }
  if (errors.empty()) return true;
  return impl::fail(error, impl::joinedErrors(errors));
}

bool NSManagedObject::validateForInsert(Ref<NSError>* error) { return validateValues(error); }
bool NSManagedObject::validateForUpdate(Ref<NSError>* error) { return validateValues(error); }
bool NSManagedObject::validateForDelete(Ref<NSError>*) { return true; }

}  // namespace JNFoundation
