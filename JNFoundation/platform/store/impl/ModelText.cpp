#include "JNFoundation/platform/store/impl/ModelText.h"

#include <cmath>
#include <iterator>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

struct TypeName {
  std::string_view name;
  NSAttributeType type;
};
/// Of a type with two names the first one is written.
constexpr TypeName typeNames[] = {
    {"", NSUndefinedAttributeType},
    {"Undefined", NSUndefinedAttributeType},
    {"Integer 16", NSInteger16AttributeType},
    {"Integer 32", NSInteger32AttributeType},
    {"Integer 64", NSInteger64AttributeType},
    {"Decimal", NSDecimalAttributeType},
    {"Double", NSDoubleAttributeType},
    {"Float", NSFloatAttributeType},
    {"String", NSStringAttributeType},
    {"Boolean", NSBooleanAttributeType},
    {"Date", NSDateAttributeType},
    {"Binary", NSBinaryDataAttributeType},
    {"UUID", NSUUIDAttributeType},
    {"URI", NSURIAttributeType},
    {"Transformable", NSTransformableAttributeType},
    {"ObjectID", NSObjectIDAttributeType},
};

/// By the number of the rule.
constexpr std::string_view ruleNames[] = {"No Action", "Nullify", "Cascade", "Deny"};

/// What the file says in place of the value, whether or not it reads back.
std::optional<std::string> textOf(const Value& value, NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      if (value.isNumber()) return textFromInteger(value.longLongValue());
      break;
    case NSDoubleAttributeType:
      if (value.isNumber()) return textFromDouble(value.doubleValue());
      break;
    case NSFloatAttributeType:
      if (value.isNumber()) return textFromFloat(value.floatValue());
      break;
    case NSBooleanAttributeType:
      if (value.isNumber()) return value.boolValue() ? "YES" : "NO";
      break;
    case NSDecimalAttributeType:
      if (value.isNumber()) return value.description()->toStdString();
      break;
    case NSStringAttributeType:
      if (value.isString()) return as<NSString>(value)->toStdString();
      break;
    case NSDateAttributeType:
      if (value.isDate()) {
        return textFromDouble(value.timeIntervalSince1970() -
                              NSDate::timeIntervalBetween1970AndReferenceDate);
      }
      break;
    case NSUUIDAttributeType:
      if (auto* uuid = as<NSUUID>(value)) return uuid->UUIDString()->toStdString();
      break;
    case NSURIAttributeType:
      if (auto* url = as<NSURL>(value)) return url->absoluteString()->toStdString();
      break;
    case NSUndefinedAttributeType:
    case NSBinaryDataAttributeType:
    case NSTransformableAttributeType:
    case NSObjectIDAttributeType:
      break;
  }
  return std::nullopt;
}

/// The value as an attribute of the type keeps it.
Value keptAs(const Value& value, NSAttributeType type) {
  if (type == NSFloatAttributeType) return value.floatValue();
  if (type == NSDoubleAttributeType) return value.doubleValue();
  return value;
}

}  // namespace

std::optional<NSAttributeType> attributeTypeNamed(std::string_view name) {
  for (const TypeName& entry : typeNames) {
    if (entry.name == name) return entry.type;
  }
  return std::nullopt;
}

std::string_view writtenNameOfType(NSAttributeType type) noexcept {
  for (const TypeName& entry : typeNames) {
    if (entry.type == type) return entry.name;
  }
  return {};
}

std::optional<NSDeleteRule> deleteRuleNamed(std::string_view name) {
  for (std::size_t i = 0; i < std::size(ruleNames); ++i) {
    if (ruleNames[i] == name) return static_cast<NSDeleteRule>(i);
  }
  return std::nullopt;
}

std::string_view nameOfDeleteRule(NSDeleteRule rule) { return ruleNames[rule]; }

std::optional<NSFetchIndexElementType> indexTypeNamed(std::string_view name) {
  if (name.empty() || name == "Binary") return NSFetchIndexElementTypeBinary;
  if (name == "RTree") return NSFetchIndexElementTypeRTree;
  return std::nullopt;
}

std::string_view nameOfIndexType(NSFetchIndexElementType type) {
  return type == NSFetchIndexElementTypeRTree ? "RTree" : "Binary";
}

NSAttributeType typeOfBounds(NSAttributeType type) {
  return type == NSStringAttributeType || type == NSBinaryDataAttributeType
             ? NSInteger64AttributeType
             : type;
}

std::optional<bool> flagFromModelText(std::string_view text) {
  if (text == "YES" || text == "1" || text == "true") return true;
  if (text == "NO" || text == "0" || text == "false") return false;
  return std::nullopt;
}

Value valueFromModelText(std::string_view text, NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType: {
      const auto number = numberFromModelText<std::int64_t>(text);
      const std::int64_t bound = type == NSInteger16AttributeType   ? INT16_MAX
                                 : type == NSInteger32AttributeType ? INT32_MAX
                                                                    : INT64_MAX;
      return number && *number <= bound && *number >= -bound - 1 ? Value(*number) : Value();
    }
    case NSDoubleAttributeType: {
      const auto number = numberFromModelText<double>(text);
      return number && std::isfinite(*number) ? Value(*number) : Value();
    }
    case NSFloatAttributeType: {
      const auto number = numberFromModelText<float>(text);
      return number && std::isfinite(*number) ? Value(*number) : Value();
    }
    case NSDecimalAttributeType: {
      Ref<NSDecimalNumber> number = NSDecimalNumber::decimalNumberWithString(text);
      return number->isNotANumber() ? Value() : Value(number);
    }
    case NSBooleanAttributeType: {
      const auto flag = flagFromModelText(text);
      return flag ? Value(*flag) : Value();
    }
    case NSStringAttributeType:
      return text;
    case NSDateAttributeType: {
      const auto seconds = numberFromModelText<double>(text);
      return seconds && std::isfinite(*seconds)
                 ? Value(NSDate::dateWithTimeIntervalSinceReferenceDate(*seconds))
                 : Value();
    }
    case NSUUIDAttributeType:
      return NSUUID::initWithUUIDString(text);
    case NSURIAttributeType:
      return NSURL::URLWithString(text);
    case NSUndefinedAttributeType:
    case NSBinaryDataAttributeType:
    case NSTransformableAttributeType:
    case NSObjectIDAttributeType:
      break;
  }
  return nullptr;
}

std::optional<std::string> modelTextFromValue(const Value& value, NSAttributeType type) {
  std::optional<std::string> text = textOf(value, type);
  if (!text || valueFromModelText(*text, type) != keptAs(value, type)) return std::nullopt;
  return text;
}

}  // namespace JNFoundation::impl
