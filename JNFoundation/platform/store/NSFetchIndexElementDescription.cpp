#include "JNFoundation/platform/store/NSFetchIndexElementDescription.h"

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSFetchIndexDescription.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSFetchIndexElementDescription::classObject =
    Class::of<NSFetchIndexElementDescription>("NSFetchIndexElementDescription");

NSFetchIndexElementDescription::NSFetchIndexElementDescription(Ref<NSPropertyDescription> property,
                                                               Ref<NSString> name,
                                                               NSFetchIndexElementType type)
    : _property(std::move(property)), _propertyName(std::move(name)), _collationType(type) {}
NSFetchIndexElementDescription::~NSFetchIndexElementDescription() = default;

Ref<NSFetchIndexElementDescription> NSFetchIndexElementDescription::initWithPropertyCollationType(
    const Ref<NSPropertyDescription>& property, NSFetchIndexElementType type) {
  if (!property) raise(NSInvalidArgumentException, "An index element needs a property");
  return makeObject<NSFetchIndexElementDescription>(property, nullptr, type);
}

Ref<NSFetchIndexElementDescription>
NSFetchIndexElementDescription::initWithPropertyNameCollationType(const Ref<NSString>& name,
                                                                  NSFetchIndexElementType type) {
  if (!name || name->utf8().empty()) {
    raise(NSInvalidArgumentException, "An index element needs the name of a property");
  }
  return makeObject<NSFetchIndexElementDescription>(nullptr, NSString::interned(name->utf8()),
                                                    type);
}

void NSFetchIndexElementDescription::willChange() const {
  if (_immutable) raise(NSInternalInconsistencyException, "Can't modify an immutable model.");
}

Ref<NSPropertyDescription> NSFetchIndexElementDescription::property() const {
  if (_property) return _property;
  const Ref<NSFetchIndexDescription> index = indexDescription();
  for (Ref<NSEntityDescription> entity = index ? index->entity() : nullptr; entity;
       entity = entity->superentity()) {
    for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
      if (property->name() == _propertyName) return property;
    }
  }
  return nullptr;
}

void NSFetchIndexElementDescription::setCollationType(NSFetchIndexElementType type) {
  willChange();
  _collationType = type;
}

void NSFetchIndexElementDescription::setAscending(bool ascending) {
  willChange();
  _ascending = ascending;
}

Ref<NSFetchIndexDescription> NSFetchIndexElementDescription::indexDescription() const noexcept {
  return _index.load();
}

bool NSFetchIndexElementDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  const auto* element = as<NSFetchIndexElementDescription>(other);
  return element && Value(propertyName()) == Value(element->propertyName()) &&
         _collationType == element->_collationType && _ascending == element->_ascending;
}

std::size_t NSFetchIndexElementDescription::hash() const { return Value(propertyName()).hash(); }

Ref<NSString> NSFetchIndexElementDescription::description() const {
  return NSString::stringWithFormat(
      "<NSFetchIndexElementDescription: %p> %@ %s%s", static_cast<const void*>(this),
      Value(propertyName()), _ascending ? "ascending" : "descending",
      _collationType == NSFetchIndexElementTypeRTree ? " R-tree" : "");
}

}  // namespace JNFoundation
