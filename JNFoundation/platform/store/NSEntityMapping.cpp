#include "JNFoundation/platform/store/NSEntityMapping.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSEntityMapping::classObject = Class::of<NSEntityMapping>("NSEntityMapping");

namespace {

Ref<NSString> nameOf(NSEntityMappingType type, const Ref<NSString>& source,
                     const Ref<NSString>& destination) {
  switch (type) {
    case NSAddEntityMappingType:
      return NSString::stringWithFormat("Add %@", destination);
    case NSRemoveEntityMappingType:
      return NSString::stringWithFormat("Remove %@", source);
    case NSCopyEntityMappingType:
      return NSString::stringWithFormat("Copy %@", destination);
    case NSTransformEntityMappingType:
      break;
  }
  if (source->hasContentOf(*destination)) return NSString::stringWithFormat("Transform %@", source);
  return NSString::stringWithFormat("Transform %@ to %@", source, destination);
}

}  // namespace

NSEntityMapping::NSEntityMapping(NSEntityMappingType type, Ref<NSString> source,
                                 Ref<NSString> destination, Ref<NSArray> attributes,
                                 Ref<NSArray> relationships, Ref<NSArray> removed)
    : _type(type),
      _name(nameOf(type, source, destination)),
      _source(std::move(source)),
      _destination(std::move(destination)),
      _attributes(std::move(attributes)),
      _relationships(std::move(relationships)),
      _removed(std::move(removed)) {}

NSEntityMapping::~NSEntityMapping() = default;

Ref<NSString> NSEntityMapping::description() const {
  std::string text = _name->toStdString();
  for (const Ref<NSArray>& mappings : {_attributes, _relationships}) {
    for (const Value& value : *mappings) {
      const auto* mapping = as<NSPropertyMapping>(value);
      if (mapping->sourceName() && mapping->sourceName()->hasContentOf(*mapping->name())) continue;
      text += "\n  " + mapping->description()->toStdString();
    }
  }
  for (const Value& name : *_removed)
    text += "\n  " + name.stringValue()->toStdString() + " (gone)";
  return NSString::fromText(text);
}

}  // namespace JNFoundation
