#include "JNFoundation/mapping/impl/MapDestination.h"

#include <string_view>

#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Verdict = MapDestination::Verdict;

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

/// Why the message cannot carry a value. Returns: null if it can.
const char* objectionTo(const Method* method) {
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

}  // namespace

MapDestination MapDestination::of(const Ref<NSString>& destination,
                                  const Ref<NSEntityDescription>& entity) {
  MapDestination result;
  const Ref<NSString> entityName = entity ? entity->name() : nullptr;
  std::string_view rest = destination ? destination->utf8() : std::string_view();
  if (const std::size_t bar = rest.find('|'); bar != std::string_view::npos) {
    result.filter = NSString::fromText(rest.substr(0, bar));
    rest.remove_prefix(bar + 1);
  }
  if (destination) result.name = NSString::fromText(rest);
  if (rest.size() >= 2 && rest.back() == ':') {
    const Class* cls =
        entity ? NSClassFromString(entity->managedObjectClassName()->utf8()) : nullptr;
    // What nobody has declared names no selector yet, and a bad rule does not make it one.
    result.selector = SEL::ifKnown(rest);
    const Method* method = class_getInstanceMethod(cls, result.selector);
    if (const char* objection = objectionTo(method)) {
      result.verdict = method ? Verdict::UnsuitableMessage
                       : cls  ? Verdict::UnknownMessage
                              : Verdict::UnknownClass;
      result.objection = NSString::stringWithFormat(objection, entityName, result.name);
    } else {
      result.verdict = Verdict::Message;
      result.returnsVoid = method->returnType() == 'v';
    }
    return result;
  }
  result.attribute = as<NSAttributeDescription>(
      entity ? entity->attributesByName()->objectForKey(Value(result.name)) : Value());
  if (!result.attribute) {
    result.objection = NSString::stringWithFormat("Undefined attribute '%@' for entity '%@'",
                                                  result.name, entityName);
    return result;
  }
  const NSUInteger type = result.attribute->attributeType();
  if (isAcceptedType(type)) {
    result.verdict = Verdict::Attribute;
  } else {
    result.verdict = Verdict::UnmappableType;
    result.objection =
        NSString::stringWithFormat("Unknown type %lu for %@.%@", type, entityName, result.name);
  }
  return result;
}

}  // namespace JNFoundation::impl
