#include "JNFoundation/mapping/PLVScalarDataMap.h"

#include <cmath>

#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {

constinit const Class PLVScalarDataMap::classObject =
    Class::of<PLVScalarDataMap>("PLVScalarDataMap");

namespace {

const ClassDeclaration<PLVScalarDataMap> declaration =
    ClassDeclaration<PLVScalarDataMap>().property("filterName", &PLVScalarDataMap::filterName);

bool isAcceptedType(NSUInteger type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSStringAttributeType:
    case NSBooleanAttributeType:
    case NSDateAttributeType:
      return true;
    default:
      return false;
  }
}

/// Why the message cannot carry a value to objects of the entity. Returns: null if it can.
const char* objectionTo(SEL selector, const Class* cls) {
  const Method* method = class_getInstanceMethod(cls, selector);
  if (!method) return "Class for entity %@ does not implement selector %@";
  if (method->numberOfArguments() != 3) {
    return "Method for entity %@ with selector %@ does not take a single argument";
  }
  if (method->argumentType(2) != '@') {
    return "Method for entity %@ with selector %@ does not take a single argument of type 'id'";
  }
  if (method->returnType() != '@' && method->returnType() != 'v') {
    return "Method for entity %@ with selector %@ does not return either void or id";
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
  const Ref<NSString> entityName = entity ? entity->name() : nullptr;
  std::string_view rest = destination ? destination->utf8() : std::string_view();
  Ref<NSString> filter;
  if (const std::size_t bar = rest.find('|'); bar != std::string_view::npos) {
    filter = NSString::fromText(rest.substr(0, bar));
    rest.remove_prefix(bar + 1);
  }
  const Ref<NSString> name = destination ? NSString::fromText(rest) : nullptr;
  if (rest.size() >= 2 && rest.back() == ':') {
    // What nobody has declared names no selector yet, and a bad rule does not make it one.
    const SEL selector = SEL::ifKnown(rest);
    const Class* cls =
        entity ? NSClassFromString(entity->managedObjectClassName()->utf8()) : nullptr;
    if (const char* objection = objectionTo(selector, cls)) {
      return fail(NSString::stringWithFormat(objection, entityName, name));
    }
    const bool returnsVoid = class_getInstanceMethod(cls, selector)->returnType() == 'v';
    return initWithEntityNameFilterSelectorSelectorReturnsVoid(entityName, filter, selector,
                                                               returnsVoid);
  }
  const auto attribute = as<NSAttributeDescription>(
      entity ? entity->attributesByName()->objectForKey(Value(name)) : Value());
  if (!attribute) {
    return fail(
        NSString::stringWithFormat("Undefined attribute '%@' for entity '%@'", name, entityName));
  }
  const NSUInteger type = attribute->attributeType();
  if (!isAcceptedType(type)) {
    return fail(NSString::stringWithFormat("Unknown type %lu for %@.%@", type, entityName, name));
  }
  // The attribute's own name is the interned one, which the object finds fastest.
  return initWithEntityNameFilterAttributeNameAttributeType(entityName, filter, attribute->name(),
                                                            type);
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
  Value filtered;
  const Value* input = value.isNSNull() ? &filtered : &value;
  if (_filterName) {
    if (filter) filtered = filter->valueFilteredBy(*input, _filterName);
    input = &filtered;
  }
  if (_mapType == MapType::Selector) {
    performSelector(Value(target), _destinationSelector, *input);
  } else if (input->isNull()) {
    target->setValueForKey(nullptr, _destination);
  } else {
    setConverted(*input, *target);
  }
}

void PLVScalarDataMap::setConverted(const Value& value, NSManagedObject& object) const {
  const bool isText = value.isString();
  switch (_attributeType) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSBooleanAttributeType:
      if (value.isNumber()) return object.setValueForKey(value, _destination);
      if (isText)
        return object.setValueForKey(numberForInputString(as<NSString>(value)), _destination);
      return refuse(value, "number");
    case NSStringAttributeType:
      if (isText) return object.setValueForKey(value, _destination);
      if (value.isNumber()) return object.setValueForKey(value.stringValue(), _destination);
      return refuse(value, "string");
    case NSDateAttributeType:
      if (value.isDate()) return object.setValueForKey(value, _destination);
      if (isText) {
        return object.setValueForKey(parseRFC3339DateTimeString(as<NSString>(value)), _destination);
      }
      if (value.isNumber()) {
        return object.setValueForKey(
            NSDate::dateWithTimeIntervalSince1970(value.doubleValue() / 1000.0), _destination);
      }
      return refuse(value, "date");
    default:
      NSLog(
          "%s(%p) %@", "-[PLVScalarDataMap mapValue:toObject:filter:]", this,
          NSString::stringWithFormat("Unexpected type to map to %@.%@", _entityName, _destination));
  }
}

void PLVScalarDataMap::refuse(const Value& value, const char* wanted) const {
  NSLog("%s(%p) %@", "-[PLVScalarDataMap mapValue:toObject:filter:]", this,
        NSString::stringWithFormat("unparsable value class %s when mapping %s to %@.%@",
                                   value.class_()->name(), wanted, _entityName, _destination));
}

Value PLVScalarDataMap::numberForInputString(const Ref<NSString>& text) const {
  switch (_attributeType) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      return text ? text->integerValue() : 0;
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
