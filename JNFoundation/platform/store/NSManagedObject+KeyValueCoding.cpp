#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/store/impl/RelationshipSet.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/store/impl/UnreadPlace.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1 {

using impl::EntityLayout;

namespace {

/// The number of the property of that name, or none.
inline std::size_t indexOf(const Ref<NSEntityDescription>& entity, const Ref<NSString>& key) {
  return entity && key ? entity->layout().indexOf(*key) : EntityLayout::none;
}

}  // namespace

Value NSManagedObject::attributeAtIndex(std::size_t index) const {
  const Value& place = _values[index];
  if (place.kind() != Value::Kind::Object) return place;
  const EntityLayout::Slot& slot = _entity->layout()[index];
  if (!slot.isTransformed()) return place;
  // Reading a value is no change of the object, though its place remembers what was read.
  return impl::valueAtPlace(const_cast<Value&>(place), slot.attribute);
}

Value NSManagedObject::valueForKey(const Ref<NSString>& key) const {
  const std::size_t index = indexOf(_entity, key);
  if (index == EntityLayout::none) return NSObject::valueForKey(key);
  const Method* getter = _entity->layout().bindingOf(class_()).getters[index];
  if (getter) return getter->invoke(Value(const_cast<NSManagedObject*>(this)), {});
  return valueAtIndex(index);
}

void NSManagedObject::setValueForKey(const Value& value, const Ref<NSString>& key) {
  const std::size_t index = indexOf(_entity, key);
  if (index == EntityLayout::none) {
    NSObject::setValueForKey(value, key);
    return;
  }
  const Method* setter = _entity->layout().bindingOf(class_()).setters[index];
  if (!setter) {
    setValueAtIndex(index, value);
    return;
  }
  const char type = setter->argumentType(2);
  if (value.isNull() && type != '@' && type != '#' && type != '*') {
    setNilValueForKey(key);
  } else {
    setter->invoke(Value(this), {&value, 1});
  }
}

Value NSManagedObject::valueForUndefinedKey(const Ref<NSString>& key) const {
  raise(NSUndefinedKeyException,
        "[<%s %p> valueForUndefinedKey:]: the entity %@ is not key value coding-compliant for the "
        "key "
        "\"%@\".",
        class_().name(), static_cast<const void*>(this), _entity ? Value(_entity->name()) : Value(),
        Value(key));
}

void NSManagedObject::setValueForUndefinedKey(const Value&, const Ref<NSString>& key) {
  raise(NSUndefinedKeyException,
        "[<%s %p> setValue:forUndefinedKey:]: the entity %@ is not key value coding-compliant for "
        "the "
        "key \"%@\".",
        class_().name(), static_cast<const void*>(this), _entity ? Value(_entity->name()) : Value(),
        Value(key));
}

Value NSManagedObject::storedValueForKey(const Ref<NSString>& key) const {
  const std::size_t index = indexOf(_entity, key);
  return index == EntityLayout::none ? valueForUndefinedKey(key) : valueAtIndex(index);
}

Value NSManagedObject::valueAtIndex(std::size_t index) const {
  requireThread();
  if (_entity->layout()[index].relationship) return impl::Relations::value(*this, index);
  if ((_flags & Fault) != 0 && !hasReadPlace(index)) fire();
  return attributeAtIndex(index);
}

bool NSManagedObject::hasReadPlace(std::size_t index) const noexcept {
  return (_flags & (Partial | HasValues)) == Partial && !impl::isUnreadPlace(_values[index]);
}

void NSManagedObject::setStoredValueForKey(const Value& value, const Ref<NSString>& key) {
  const std::size_t index = indexOf(_entity, key);
  if (index == EntityLayout::none) {
    setValueForUndefinedKey(value, key);
  } else {
    setValueAtIndex(index, value);
  }
}

void NSManagedObject::checkValue(std::size_t index, const Value& value) const {
  const EntityLayout::Slot& slot = _entity->layout()[index];
  if (slot.attribute->acceptsValue(value)) return;
  raise(NSInvalidArgumentException,
        "Unacceptable type of value for attribute: property = \"%@\"; desired type = %@; given "
        "type = "
        "%s; value = %@.",
        slot.name, slot.attribute->attributeValueClassName(), value.class_()->name(), value);
}

void NSManagedObject::setValueAtIndex(std::size_t index, const Value& value) {
  requireThread();
  const EntityLayout::Slot& slot = _entity->layout()[index];
  if (slot.relationship) {
    impl::Relations::setValue(*this, index, value);
    return;
  }
  if (!impl::isPlainly(value, slot.type)) checkValue(index, value);
  if ((_flags & Fault) != 0) fire();
  willChange();
  if (slot.isTransformed()) {
    _values[index] = impl::placeOfValue(value, slot.attribute);
  } else if (slot.type == NSBinaryDataAttributeType) {
    // Data may be mutable; what the object holds must not change behind its back.
    _values[index] = value.copy();
  } else {
    _values[index] = value;
  }
}

Value NSManagedObject::primitiveValueForKey(const Ref<NSString>& key) const {
  const std::size_t index = indexOf(_entity, key);
  if (index == EntityLayout::none) return valueForUndefinedKey(key);
  requireThread();
  if ((_flags & HasValues) == 0) return nullptr;
  return _entity->layout()[index].relationship ? valueAtIndex(index) : attributeAtIndex(index);
}

void NSManagedObject::setPrimitiveValueForKey(const Value& value, const Ref<NSString>& key) {
  const std::size_t index = indexOf(_entity, key);
  if (index == EntityLayout::none) {
    setValueForUndefinedKey(value, key);
    return;
  }
  if (_entity->layout()[index].relationship) {
    raise(
        NSInvalidArgumentException,
        "The relationship '%@' of entity '%@' is changed at both ends, by setStoredValueForKey: it "
        "has no primitive value to set",
        Value(key), _entity->name());
  }
  requireThread();
  checkValue(index, value);
  if ((_flags & HasValues) == 0) fire();
  const EntityLayout::Slot& slot = _entity->layout()[index];
  _values[index] = slot.isTransformed() ? impl::placeOfValue(value, slot.attribute) : value;
}

namespace {

/// The relationship to many of that name. Fails: raises for every other name.
std::size_t toManyNamed(const NSManagedObject& object, const Ref<NSString>& key, bool isOrdered) {
  const EntityLayout& layout = object.entity()->layout();
  const std::size_t index = key ? layout.indexOf(*key) : EntityLayout::none;
  if (index == EntityLayout::none) object.valueForUndefinedKey(key);
  const bool fits =
      layout[index].isToMany() && layout[index].relationship->isOrdered() == isOrdered;
  if (!fits) {
    raise(NSInvalidArgumentException, "'%@' of entity '%@' is no %s relationship", Value(key),
          object.entity()->name(), isOrdered ? "ordered to-many" : "unordered to-many");
  }
  return index;
}

}  // namespace

Ref<NSMutableSet> NSManagedObject::mutableSetValueForKey(const Ref<NSString>& key) {
  return makeObject<impl::RelationshipSet>(Ref<NSManagedObject>(this),
                                           toManyNamed(*this, key, false));
}

Ref<NSMutableOrderedSet> NSManagedObject::mutableOrderedSetValueForKey(const Ref<NSString>& key) {
  return makeObject<impl::OrderedRelationshipSet>(Ref<NSManagedObject>(this),
                                                  toManyNamed(*this, key, true));
}

bool NSManagedObject::hasFaultForRelationshipNamed(const Ref<NSString>& key) const {
  const std::size_t index = indexOf(_entity, key);
  if (index == EntityLayout::none || !_entity->layout()[index].relationship) {
    valueForUndefinedKey(key);
  }
  if ((_flags & HasValues) == 0) return true;
  if (!_entity->layout()[index].isToMany()) {
    const Value destination = valueAtIndex(index);
    return !destination.isNull() && as<NSManagedObject>(destination)->isFault();
  }
  const impl::RelatedObjects* related = impl::Relations::known(*this, index);
  return (_flags & Inserted) == 0 && (!related || !related->isLoaded());
}

void NSManagedObject::willAccessValueForKey(const Ref<NSString>&) const {
  if ((_flags & Fault) != 0) fire();
}
void NSManagedObject::didAccessValueForKey(const Ref<NSString>&) const {}
void NSManagedObject::willChangeValueForKey(const Ref<NSString>&) {
  requireThread();
  if ((_flags & Fault) != 0) fire();
  willChange();
}
void NSManagedObject::didChangeValueForKey(const Ref<NSString>&) {}

Ref<NSDictionary> NSManagedObject::changedValues() const {
  requireThread();
  NSDictionary::Builder changes;
  if ((_flags & (Inserted | Updated)) != 0 && _entity) {
    const EntityLayout& layout = _entity->layout();
    const Value nothing;
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].isToMany()) {
        const impl::RelatedObjects* related = impl::Relations::known(*this, i);
        if (related && related->hasChanges()) changes.set(layout[i].name, valueAtIndex(i));
        continue;
      }
      if (!layout[i].stored) continue;
      const Value& before = _committed ? _committed[i] : nothing;
      if (impl::storesAlike(before, _values[i], layout[i].type)) continue;
      const Value value = layout[i].relationship ? valueAtIndex(i) : attributeAtIndex(i);
      changes.set(layout[i].name, value.isNull() ? Value(NSNull::null()) : value);
    }
  }
  return changes.finish();
}

Ref<NSDictionary> NSManagedObject::committedValuesForKeys(const Ref<NSArray>& keys) const {
  requireThread();
  const EntityLayout& layout = _entity->layout();
  if ((_flags & Fault) != 0) fire();
  NSDictionary::Builder values;
  const auto add = [&](std::size_t index) {
    Value value = layout[index].relationship ? impl::Relations::valueBefore(*this, index)
                  : (_flags & Inserted) != 0 ? Value()
                  : _committed               ? _committed[index]
                                             : _values[index];
    if (layout[index].isTransformed()) {
      value = impl::valueAtPlace(value, layout[index].attribute);
    }
    values.set(layout[index].name, value.isNull() ? Value(NSNull::null()) : std::move(value));
  };
  if (!keys) {
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].stored || layout[i].isToMany()) add(i);
    }
    return values.finish();
  }
  for (const Value& value : *keys) {
    auto* key = as<NSString>(value);
    const std::size_t index = key ? layout.indexOf(*key) : EntityLayout::none;
    if (index == EntityLayout::none) {
      valueForUndefinedKey(Ref<NSString>(key));
    } else {
      add(index);
    }
  }
  return values.finish();
}

}  // namespace JNFoundation
