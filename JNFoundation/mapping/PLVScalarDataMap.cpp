#include "JNFoundation/mapping/PLVScalarDataMap.h"

#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/mapping/impl/MapDestination.h>
#include <JNFoundation/mapping/impl/MappingReport.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVScalarDataMap::classObject =
    Class::of<PLVScalarDataMap>("PLVScalarDataMap");

namespace {

const ClassDeclaration<PLVScalarDataMap> declarationOfPLVScalarDataMap =
    ClassDeclaration<PLVScalarDataMap>().property("filterName", &PLVScalarDataMap::filterName);

using ReportedConversion = MappingEvent::Conversion;

/// What values attributes take that are mapped.
enum class Taken { Numbers, Texts, Dates, Nothing };

Taken takenBy(NSUInteger attributeType) noexcept {
  switch (attributeType) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSBooleanAttributeType:
      return Taken::Numbers;
    case NSStringAttributeType:
      return Taken::Texts;
    case NSDateAttributeType:
      return Taken::Dates;
    default:
      return Taken::Nothing;
  }
}

/// Whether an attribute of the type takes the value as it is.
bool isOfType(const Value& value, NSUInteger attributeType) noexcept {
  switch (takenBy(attributeType)) {
    case Taken::Numbers:
      return value.isNumber();
    case Taken::Texts:
      return value.isString();
    case Taken::Dates:
      return value.isDate();
    case Taken::Nothing:
      break;
  }
  return false;
}

/// How a value of another kind becomes one that an attribute of the type takes.
ReportedConversion conversionOf(const Value& value, NSUInteger attributeType) noexcept {
  switch (takenBy(attributeType)) {
    case Taken::Numbers:
      return value.isString() ? ReportedConversion::NumberFromText : ReportedConversion::None;
    case Taken::Texts:
      return value.isNumber() ? ReportedConversion::TextFromNumber : ReportedConversion::None;
    case Taken::Dates:
      if (value.isString()) return ReportedConversion::DateFromText;
      return value.isNumber() ? ReportedConversion::DateFromNumber : ReportedConversion::None;
    case Taken::Nothing:
      break;
  }
  return ReportedConversion::None;
}

/// What a refusal says that the attribute wants; null for one that is not mapped.
const char* wordFor(NSUInteger attributeType) noexcept {
  switch (takenBy(attributeType)) {
    case Taken::Numbers:
      return "number";
    case Taken::Texts:
      return "string";
    case Taken::Dates:
      return "date";
    case Taken::Nothing:
      break;
  }
  return nullptr;
}

/// A double without its fraction, as the nearest integer number there is.
Value truncated(double number) { return Value(number).longLongValue(); }

}  // namespace

PLVScalarDataMap::PLVScalarDataMap(const Ref<NSString>& entityName, const Ref<NSString>& filter,
                                   MapType mapType)
    : _mapType(mapType), _entityName(entityName) {
  if (filter && filter->length() > 0) _filterName = filter;
}

Ref<PLVScalarDataMap> PLVScalarDataMap::initWithEntityNameFilterMapType(
    const Ref<NSString>& entityName, const Ref<NSString>& filter, MapType mapType) {
  return makeObject<PLVScalarDataMap>(entityName, filter, mapType);
}

Ref<PLVScalarDataMap> PLVScalarDataMap::initWithEntityNameFilterAttributeNameAttributeType(
    const Ref<NSString>& entityName, const Ref<NSString>& filter,
    const Ref<NSString>& attributeName, NSUInteger attributeType) {
  auto map = initWithEntityNameFilterMapType(entityName, filter, MapType::Attribute);
  map->_destination = attributeName;
  map->_attributeType = attributeType;
  return map;
}

Ref<PLVScalarDataMap> PLVScalarDataMap::initWithEntityNameFilterSelectorSelectorReturnsVoid(
    const Ref<NSString>& entityName, const Ref<NSString>& filter, SEL selector, bool returnsVoid) {
  auto map = initWithEntityNameFilterMapType(entityName, filter, MapType::Selector);
  map->_destinationSelector = selector;
  map->_destinationSelectorReturnsVoid = returnsVoid;
  return map;
}

Ref<PLVScalarDataMap> PLVScalarDataMap::newMapWithDestinationForEntity(
    const Ref<NSString>& destination, const Ref<NSEntityDescription>& entity) {
  const auto fail = [](const Ref<NSString>& message) -> Ref<PLVScalarDataMap> {
    NSLog("%s(%p) %@", "+[PLVScalarDataMap newMapWithDestination:forEntity:]", &classObject,
          message);
    return nullptr;
  };
  const impl::MapDestination parts = impl::MapDestination::of(destination, entity);
  if (!parts.makesMap()) return fail(parts.objection);
  const Ref<NSString> entityName = entity ? entity->name() : nullptr;
  if (parts.namesMessage()) {
    return initWithEntityNameFilterSelectorSelectorReturnsVoid(entityName, parts.filter,
                                                               parts.selector, parts.returnsVoid);
  }
  // The attribute's own name is the interned one, which the object finds fastest.
  return initWithEntityNameFilterAttributeNameAttributeType(
      entityName, parts.filter, parts.attribute->name(), parts.attribute->attributeType());
}

void PLVScalarDataMap::mapValueToObject(const Value& value,
                                        const Ref<NSManagedObject>& object) const {
  mapValueToObjectFilter(value, object,
                         object ? plv_dataMapFilter(object->managedObjectContext()) : nullptr);
}

void PLVScalarDataMap::mapValueToObjectFilter(const Value& value,
                                              const Ref<NSManagedObject>& object,
                                              const Ref<PLVDataMapFilter>& filter) const {
  if (!object) return;
  // A filter is an application's code, which may let go of the object that it gave us.
  const Ref<NSManagedObject> target(object.get());
  if (const MappingObserver observer = impl::mappingObserverOf(*target)) {
    // So it may of the value, which the event shows when all is done.
    const Value kept = value;  // NOLINT(performance-unnecessary-copy-initialization)
    impl::MappingReport report(observer, kept, target, nullptr);
    mapReporting(kept, target, filter, MappingWrites::Every, report);
  } else {
    mapUnobserved(value, target, filter, MappingWrites::Every);
  }
}

void PLVScalarDataMap::mapUnobserved(const Value& value, const Ref<NSManagedObject>& object,
                                     const Ref<PLVDataMapFilter>& filter,
                                     MappingWrites writes) const {
  const Value* input = &value;
  Value filtered;
  if (_filterName) {
    if (filter) filtered = filter->valueFilteredBy(value.isNSNull() ? Value() : value, _filterName);
    input = &filtered;
  } else if (value.isNSNull()) {
    input = &filtered;
  }
  impl::Unreported nobody;
  apply(*input, *object, writes, nobody);
}

void PLVScalarDataMap::mapReporting(const Value& value, const Ref<NSManagedObject>& object,
                                    const Ref<PLVDataMapFilter>& filter, MappingWrites writes,
                                    impl::MappingReport& report) const {
  using Reason = MappingEvent::Reason;
  const bool isMessage = _mapType == MapType::Selector;
  report.setRule(_entityName,
                 isMessage ? NSString::interned(_destinationSelector.name()) : _destination,
                 _attributeType, _filterName);
  Value input = value.isNSNull() ? Value() : value;
  Reason whyNull = Reason::NullValue;
  try {
    if (_filterName) {
      if (!filter) {
        whyNull = Reason::NoFilter;
      } else if (!filter->filterActions() ||
                 filter->filterActions()->objectForKey(_filterName).isNull()) {
        whyNull = Reason::UnknownFilter;
      } else if (!input.isNull()) {
        whyNull = Reason::FilteredToNull;
      }
      input = filter ? filter->valueFilteredBy(input, _filterName) : Value();
    }
    report.filtered(input, whyNull);
    apply(input, *object, writes, report);
  } catch (const Raised& raised) {
    report.refused(Reason::Raised, raised.exception()->description());
    report.tell();
    throw;
  }
  report.tell();
}

template <class Report>
void PLVScalarDataMap::apply(const Value& input, NSManagedObject& object, MappingWrites writes,
                             Report& report) const {
  if (_mapType == MapType::Selector) {
    performSelector(Value(&object), _destinationSelector, input);
    report.sent(input);
  } else if (input.isNull()) {
    set(nullptr, object, writes);
    report.stored(nullptr, Report::Conversion::None);
  } else if (isOfType(input, _attributeType)) {
    set(input, object, writes);
    report.stored(input, Report::Conversion::None);
  } else {
    setConverted(input, object, writes, report);
  }
}

template <class Report>
void PLVScalarDataMap::setConverted(const Value& value, NSManagedObject& object,
                                    MappingWrites writes, Report& report) const {
  using Reason = MappingEvent::Reason;
  const ReportedConversion conversion = conversionOf(value, _attributeType);
  if (conversion != ReportedConversion::None) {
    const Value made = converted(value);
    set(made, object, writes);
    report.stored(made, conversion);
  } else if (const char* wanted = wordFor(_attributeType)) {
    report.refused(Reason::WrongKind, refuse(value, wanted));
  } else {
    const Ref<NSString> message =
        NSString::stringWithFormat("Unexpected type to map to %@.%@", _entityName, _destination);
    NSLog("%s(%p) %@", "-[PLVScalarDataMap mapValue:toObject:filter:]", this, message);
    report.refused(Reason::UnsupportedType, message);
  }
}

Value PLVScalarDataMap::converted(const Value& value) const {
  switch (conversionOf(value, _attributeType)) {
    case ReportedConversion::NumberFromText:
      return numberForInputString(as<NSString>(value));
    case ReportedConversion::TextFromNumber:
      return value.stringValue();
    case ReportedConversion::DateFromText:
      return parseRFC3339DateTimeString(as<NSString>(value));
    case ReportedConversion::DateFromNumber:
      return NSDate::dateWithTimeIntervalSince1970(value.doubleValue() / 1000.0);
    default:
      return value;
  }
}

bool PLVScalarDataMap::isSame(const Value& value, const Value& present) const {
  // A float attribute keeps what is left of a number.
  const bool isFloat = _attributeType == NSFloatAttributeType;
  return isFloat && present.isNumber() && value.isNumber()
             ? present.floatValue() == value.floatValue()
             : present == value;
}

bool PLVScalarDataMap::isSettled(const Value& value, const Value& present) const {
  if (_mapType == MapType::Selector || _filterName) return false;
  if (value.isNull() || value.isNSNull()) return present.isNull();
  if (isOfType(value, _attributeType)) return isSame(value, present);
  return conversionOf(value, _attributeType) != ReportedConversion::None &&
         isSame(converted(value), present);
}

Ref<NSString> PLVScalarDataMap::refuse(const Value& value, const char* wanted) const {
  Ref<NSString> message =
      NSString::stringWithFormat("unparsable value class %s when mapping %s to %@.%@",
                                 value.class_()->name(), wanted, _entityName, _destination);
  NSLog("%s(%p) %@", "-[PLVScalarDataMap mapValue:toObject:filter:]", this, message);
  return message;
}

Value PLVScalarDataMap::numberForInputString(const Ref<NSString>& text) const {
  switch (_attributeType) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      return text ? text->longLongValue() : 0;
    case NSDoubleAttributeType:
      return truncated(text ? text->doubleValue() : 0);
    case NSFloatAttributeType:
      return truncated(text ? text->floatValue() : 0);
    case NSBooleanAttributeType:
      return text && text->boolValue() ? 1 : 0;
    default:
      NSLog("%s(%p) %@", "-[PLVScalarDataMap numberForInputString:]", this,
            NSString::stringWithFormat("Unexpected type to generate number from string for %@.%@",
                                       _entityName, _destination));
      return nullptr;
  }
}

Value PLVScalarDataMap::parseRFC3339DateTimeString(const Ref<NSString>& text) {
  return JNFoundation::parseRFC3339DateTimeString(text);
}

}  // namespace JNFoundation
