#include "JNFoundation/platform/value/Value.h"

#include <cmath>
#include <limits>

#include <JNFoundation/platform/text/DateText.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSNumber.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// The concrete classes of what Value stores inline, as log texts name them.
struct InlineNumber {
  using Superclass = NSNumber;
  static const Class classObject;
};
struct InlineBoolean {
  using Superclass = NSNumber;
  static const Class classObject;
};
struct InlineDate {
  using Superclass = NSDate;
  static const Class classObject;
};

constinit const Class InlineNumber::classObject = Class::of<InlineNumber>("__NSCFNumber");
constinit const Class InlineBoolean::classObject = Class::of<InlineBoolean>("__NSCFBoolean");
constinit const Class InlineDate::classObject = Class::of<InlineDate>("__NSDate");

/// Rounded toward zero and held within the range; not-a-number is 0.
template <class Integer>
Integer clamped(double number) {
  using Limits = std::numeric_limits<Integer>;
  if (std::isnan(number)) return 0;
  // The greatest integer is one below a power of two, which the double rounds up to.
  if (number >= static_cast<double>(Limits::max())) return Limits::max();
  if (number <= static_cast<double>(Limits::min())) return Limits::min();
  return static_cast<Integer>(number);
}

}  // namespace

Value::Value(std::string_view text) : Value(NSString::fromText(text)) {}

Value::Value(const char* text) : Value() {
  if (text) Value(NSString::fromText(text)).swap(*this);
}

const Class* Value::inlineClass() const noexcept {
  switch (_kind) {
    case Kind::Null:
      return nullptr;
    case Kind::Boolean:
      return &InlineBoolean::classObject;
    case Kind::Integer:
    case Kind::Unsigned:
    case Kind::Float:
    case Kind::Double:
      return &InlineNumber::classObject;
    case Kind::Date:
      return &InlineDate::classObject;
    case Kind::Class:
      return &NSObject::classObject;
    case Kind::Object:
      break;
  }
  return nullptr;
}

void Value::raiseNotADate() const { doesNotRecognizeSelector(*this, "timeIntervalSince1970"); }

bool Value::isNumberObject() const noexcept {
  return _object->class_().isSubclassOf(NSNumber::classObject);
}

bool Value::isStringObject() const noexcept {
  return _object->class_().isSubclassOf(NSString::classObject);
}

bool Value::isNSNull() const noexcept {
  return _kind == Kind::Object && _object == NSNull::null().get();
}

std::int64_t Value::longLongValue() const {
  switch (_kind) {
    case Kind::Null:
      return 0;
    case Kind::Boolean:
    case Kind::Integer:
      return _integer;
    case Kind::Unsigned:
      return std::numeric_limits<std::int64_t>::max();
    case Kind::Float:
    case Kind::Double:
      return clamped<std::int64_t>(_double);
    case Kind::Object:
      if (isNumber()) return static_cast<const NSNumber*>(_object)->longLongValue();
      if (isString()) return integerFromText(static_cast<const NSString*>(_object)->utf8());
      break;
    default:
      break;
  }
  doesNotRecognizeSelector(*this, "longLongValue");
}

std::uint64_t Value::unsignedLongLongValue() const {
  switch (_kind) {
    case Kind::Null:
      return 0;
    case Kind::Boolean:
    case Kind::Integer:
      return _integer < 0 ? 0 : static_cast<std::uint64_t>(_integer);
    case Kind::Unsigned:
      return static_cast<std::uint64_t>(_integer);
    case Kind::Float:
    case Kind::Double:
      return clamped<std::uint64_t>(_double);
    case Kind::Object:
      if (isNumber()) return static_cast<const NSNumber*>(_object)->unsignedLongLongValue();
      if (isString()) return unsignedFromText(static_cast<const NSString*>(_object)->utf8());
      break;
    default:
      break;
  }
  doesNotRecognizeSelector(*this, "unsignedLongLongValue");
}

std::int32_t Value::intValue() const {
  const std::int64_t wide = longLongValue();
  using Limits = std::numeric_limits<std::int32_t>;
  if (wide > Limits::max()) return Limits::max();
  if (wide < Limits::min()) return Limits::min();
  return static_cast<std::int32_t>(wide);
}

double Value::doubleValue() const {
  switch (_kind) {
    case Kind::Null:
      return 0;
    case Kind::Boolean:
    case Kind::Integer:
      return static_cast<double>(_integer);
    case Kind::Unsigned:
      return static_cast<double>(static_cast<std::uint64_t>(_integer));
    case Kind::Float:
    case Kind::Double:
      return _double;
    case Kind::Object:
      if (isNumber()) return static_cast<const NSNumber*>(_object)->doubleValue();
      if (isString()) return doubleFromText(static_cast<const NSString*>(_object)->utf8());
      break;
    default:
      break;
  }
  doesNotRecognizeSelector(*this, "doubleValue");
}

float Value::floatValue() const {
  if (isString()) return floatFromText(static_cast<const NSString*>(_object)->utf8());
  return static_cast<float>(doubleValue());
}

bool Value::boolValue() const {
  if (isString()) return boolFromText(static_cast<const NSString*>(_object)->utf8());
  if (_kind == Kind::Boolean || _kind == Kind::Integer || _kind == Kind::Unsigned) {
    return _integer != 0;
  }
  return doubleValue() != 0;
}

Ref<NSString> Value::stringValue() const {
  switch (_kind) {
    case Kind::Null:
      return nullptr;
    case Kind::Boolean:
    case Kind::Integer:
      return NSString::fromText(textFromInteger(_integer));
    case Kind::Unsigned:
      return NSString::fromText(textFromUnsigned(static_cast<std::uint64_t>(_integer)));
    case Kind::Float:
      return NSString::fromText(textFromFloat(static_cast<float>(_double)));
    case Kind::Double:
      return NSString::fromText(textFromDouble(_double));
    case Kind::Object:
      if (isNumber()) return static_cast<const NSNumber*>(_object)->stringValue();
      if (isString()) return static_cast<NSString*>(_object);
      break;
    default:
      break;
  }
  doesNotRecognizeSelector(*this, "stringValue");
}

Ref<NSString> Value::description() const {
  switch (_kind) {
    case Kind::Null:
      return "(null)"_s;
    case Kind::Date:
      return NSString::fromText(dateDescription(_double));
    case Kind::Class:
      return NSString::fromText(_class->name());
    case Kind::Object: {
      Ref<NSString> text = _object->description();
      return text ? text : "(null)"_s;
    }
    default:
      return stringValue();
  }
}

Value Value::copy() const { return _kind == Kind::Object ? _object->copy() : *this; }

bool Value::respondsToSelector(SEL selector) const {
  if (_kind == Kind::Object) return _object->respondsToSelector(selector);
  if (_kind == Kind::Class) return _class->classMethodForSelector(selector) != nullptr;
  return _kind != Kind::Null && class_()->instancesRespondToSelector(selector);
}

}  // namespace JNFoundation
