#include "JNFoundation/platform/store/NSAttributeDescription.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectID.h>
#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSAttributeDescription::classObject =
    Class::of<NSAttributeDescription>("NSAttributeDescription");

NSAttributeDescription::NSAttributeDescription() = default;
NSAttributeDescription::~NSAttributeDescription() { delete _compiledPattern.load(); }

Ref<NSAttributeDescription> NSAttributeDescription::init() {
  return makeObject<NSAttributeDescription>();
}

Ref<NSAttributeDescription> NSAttributeDescription::attributeWithNameType(const Ref<NSString>& name,
                                                                          NSAttributeType type) {
  Ref<NSAttributeDescription> attribute = init();
  attribute->setName(name);
  attribute->setAttributeType(type);
  return attribute;
}

void NSAttributeDescription::setAttributeType(NSAttributeType type) {
  willChange();
  _attributeType = type;
}

Ref<NSString> NSAttributeDescription::attributeValueClassName() const {
  switch (_attributeType) {
    case NSUndefinedAttributeType:
      return nullptr;
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSBooleanAttributeType:
      return "NSNumber"_s;
    case NSDecimalAttributeType:
      return "NSDecimalNumber"_s;
    case NSStringAttributeType:
      return "NSString"_s;
    case NSDateAttributeType:
      return "NSDate"_s;
    case NSBinaryDataAttributeType:
      return "NSData"_s;
    case NSUUIDAttributeType:
      return "NSUUID"_s;
    case NSURIAttributeType:
      return "NSURL"_s;
    case NSObjectIDAttributeType:
      return "NSManagedObjectID"_s;
    case NSTransformableAttributeType:
      break;
  }
  return _valueClassName ? _valueClassName : "NSObject"_s;
}

void NSAttributeDescription::setAttributeValueClassName(const Ref<NSString>& name) {
  willChange();
  _valueClassName = name;
}

void NSAttributeDescription::setDefaultValue(const Value& value) {
  willChange();
  _defaultValue = value;
}

void NSAttributeDescription::setValueTransformerName(const Ref<NSString>& name) {
  willChange();
  _valueTransformerName = name;
}

void NSAttributeDescription::setMinimumValue(const Value& value) {
  willChange();
  _minimumValue = value;
}

void NSAttributeDescription::setMaximumValue(const Value& value) {
  willChange();
  _maximumValue = value;
}

void NSAttributeDescription::setRegularExpression(const Ref<NSString>& pattern) {
  willChange();
  _regularExpression = pattern;
  delete _compiledPattern.exchange(nullptr);
}

const impl::CompiledPattern* NSAttributeDescription::compiledPattern() const {
  if (!_regularExpression) return nullptr;
  if (const auto* known = _compiledPattern.load(std::memory_order_acquire)) return known;
  auto fresh = std::make_unique<impl::CompiledPattern>();
  fresh->expression =
      RegularExpression::compile(_regularExpression->utf8(), Fold::None, &fresh->problem);
  const impl::CompiledPattern* expected = nullptr;
  // Two threads may both compile it; the first one's stays.
  if (!_compiledPattern.compare_exchange_strong(expected, fresh.get(), std::memory_order_acq_rel)) {
    return expected;
  }
  return fresh.release();
}

void NSAttributeDescription::setAllowsExternalBinaryDataStorage(bool allows) {
  willChange();
  _allowsExternalStorage = allows;
}

bool NSAttributeDescription::acceptsValue(const Value& value) const noexcept {
  if (value.isNull()) return true;
  switch (_attributeType) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSBooleanAttributeType:
      return value.isNumber();
    case NSDecimalAttributeType:
      return isKindOf<NSDecimalNumber>(value);
    case NSStringAttributeType:
      return value.isString();
    case NSDateAttributeType:
      return value.isDate();
    case NSBinaryDataAttributeType:
      return isKindOf<NSData>(value);
    case NSUUIDAttributeType:
      return isKindOf<NSUUID>(value);
    case NSURIAttributeType:
      return isKindOf<NSURL>(value);
    case NSObjectIDAttributeType:
      return isKindOf<NSManagedObjectID>(value);
    case NSUndefinedAttributeType:
    case NSTransformableAttributeType:
      break;
  }
  return true;
}

bool NSAttributeDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  if (!NSPropertyDescription::isEqual(other)) return false;
  const auto* attribute = as<NSAttributeDescription>(other);
  return attribute && _attributeType == attribute->_attributeType &&
         _defaultValue == attribute->_defaultValue;
}

std::string NSAttributeDescription::versionHashInput() const {
  return 'A' + NSPropertyDescription::versionHashInput() +
         std::to_string(static_cast<NSUInteger>(_attributeType));
}

}  // namespace JNFoundation
