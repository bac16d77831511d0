#include <string>

#include <JNFoundation/mapping/MapInspection.h>
#include <JNFoundation/platform/store/NSAttributeType+Name.h>

namespace JNFoundation::inline v0_1 {

Ref<NSString> MapInspection::Origin::text() const {
  const Ref<NSString> name = entity ? entity->name() : nullptr;
  switch (kind) {
    case Kind::Automatic:
      return NSString::stringWithFormat("attribute of %@", name);
    case Kind::UserInfo:
      return NSString::stringWithFormat("user info of %@", name);
    case Kind::Descriptor:
      break;
  }
  return "descriptor";
}

Ref<NSString> MapInspection::Rule::pathText() const {
  std::string text;
  for (const Ref<NSString>& inputKey : path) {
    if (&inputKey != &path.front()) text += '.';
    text += inputKey->utf8();
  }
  return text;
}

Ref<NSString> MapInspection::Rule::conversionText() const {
  if (kind == Kind::NestedDictionary) return "";
  if (kind == Kind::Message) return "any value as it is";
  switch (attributeType) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      return "numbers as they are, text by its integer prefix";
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
      return "numbers as they are, text by its numeric prefix without the fraction";
    case NSBooleanAttributeType:
      return "numbers as they are, text by its truth";
    case NSStringAttributeType:
      return "text as it is, numbers as decimal text";
    case NSDateAttributeType:
      return "text as 2016-03-01T12:30:00.250Z, numbers as milliseconds since 1970";
    default:
      return "";
  }
}

Ref<NSString> MapInspection::Problem::text() const {
  return NSString::stringWithFormat("%@: %@ \"%@\" (%@): %@%s%@", entity ? entity->name() : nullptr,
                                    key, value, origin.text(), reason, advice ? "; " : "",
                                    advice ? advice : Ref<NSString>(""));
}

std::string_view MapInspection::nameOf(Problem::Kind kind) noexcept {
  switch (kind) {
    case Problem::Kind::UnknownAttribute:
      return "unknown-attribute";
    case Problem::Kind::UnmappableType:
      return "unmappable-type";
    case Problem::Kind::UnknownClass:
      return "unknown-class";
    case Problem::Kind::UnknownMessage:
      return "unknown-message";
    case Problem::Kind::UnsuitableMessage:
      return "unsuitable-message";
    case Problem::Kind::NotText:
      return "not-text";
    case Problem::Kind::DroppedSubkey:
      return "dropped-subkey";
    case Problem::Kind::NoForm:
      return "no-form";
    case Problem::Kind::UnknownFilter:
      return "unknown-filter";
    case Problem::Kind::Shadowed:
      return "shadowed";
    case Problem::Kind::Bypassed:
      return "bypassed";
    case Problem::Kind::Unreachable:
      return "unreachable";
    case Problem::Kind::UnlikelyKey:
      return "unlikely-key";
    case Problem::Kind::EmptyNested:
      return "empty-nested";
  }
  return "";
}

std::string_view MapInspection::nameOf(NSAttributeType type) noexcept {
  return nameOfAttributeType(type);
}

}  // namespace JNFoundation
