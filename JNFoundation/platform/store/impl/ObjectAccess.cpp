#include "JNFoundation/platform/store/impl/ObjectAccess.h"

#include <atomic>

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>

namespace JNFoundation::inline v0_1::impl {

Ref<NSManagedObject> ObjectAccess::make(const NSEntityDescription& entity) {
  const EntityLayout& layout = entity.layout();
  const Class& cls = *layout.objectClass().cls;
  Ref<Object> object;
  if (&cls == &Object::classObject) {
    object = makeObject<Object>();
  } else {
    object = Ref<Object>::adopt(static_cast<Object*>(cls.newInstance().leak()));
  }
  object->_entity = Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(&entity));
  return object;
}

void ObjectAccess::detach(Object& object) noexcept {
  if (!object._registry) return;
  object.objectID();
  object._registry->remove(key(object), object);
  object._registry = nullptr;
  object._hierarchy = nullptr;
  object._flags &= ~(inserted | updated | deleted);
  object._committed.reset();
}

ObjectKey ObjectAccess::keyOf(const NSManagedObjectID& objectID,
                              const NSPersistentStoreCoordinator* coordinator,
                              Ref<NSPersistentStore>& store) {
  if (objectID.isTemporaryID()) return {nullptr, objectID.number()};
  if (coordinator) {
    store = coordinator->persistentStoreWithIdentifier(objectID.storeIdentifier()->utf8());
  }
  if (!store) return {};
  return {store->hierarchyOf(*objectID.entity()), objectID.number()};
}

bool ObjectAccess::canFire(Object& object) {
  if ((object._flags & hasValues) != 0) return true;
  const Ref<NSManagedObjectContext> context = object.managedObjectContext();
  return context && context->readValues(object, nullptr);
}

void ObjectAccess::noteRefreshed(Object& object) {
  const Ref<NSManagedObjectContext> context = object.managedObjectContext();
  if (!context) return;
  ++context->_registry->rereads;
  context->_events->noteRefreshed(object);
  context->noteChange();
}

void ObjectAccess::repeatDeleteRules(Object& object) {
  const Ref<NSManagedObjectContext> context = object.managedObjectContext();
  if (!context) return;
  context->noteDeleteRules(object);
  context->noteChange();
}

void ObjectAccess::addObserver(NSManagedObjectContext& context, ContextObserver& observer) {
  context._events->addObserver(observer);
}

void ObjectAccess::removeObserver(NSManagedObjectContext& context,
                                  ContextObserver& observer) noexcept {
  context._events->removeObserver(observer);
}

bool ObjectAccess::tellsAgain(NSManagedObjectContext& context) noexcept {
  if (!context._events->isTelling) return false;
  context._events->tellAgain();
  return true;
}

std::vector<Ref<NSManagedObject>> ObjectAccess::notedObjects(
    const NSManagedObjectContext& context) {
  return context._events->objects();
}

bool comesBefore(const NSManagedObject& left, const NSManagedObject& right) noexcept {
  const ObjectKey one = ObjectAccess::key(left), other = ObjectAccess::key(right);
  if (one.hierarchy != other.hierarchy) {
    if (!one.hierarchy || !other.hierarchy) return static_cast<bool>(one.hierarchy);
    const std::uint64_t place = one.hierarchy->store->place();
    if (place != other.hierarchy->store->place()) return place < other.hierarchy->store->place();
  }
  return one.number < other.number;
}

std::int64_t ObjectAccess::nextTemporaryNumber() noexcept {
  static std::atomic<std::int64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

bool isCanonical(const Value& value, NSAttributeType type) noexcept {
  const Value::Kind kind = value.kind();
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      return kind == Value::Kind::Integer || value.isNull();
    case NSBooleanAttributeType:
      return value.isBoolean() || value.isNull();
    case NSDoubleAttributeType:
      return kind == Value::Kind::Double || value.isNull();
    case NSFloatAttributeType:
      return kind == Value::Kind::Float || value.isNull();
    case NSTransformableAttributeType:
      return !isKindOf<TransformedValue>(value);
    default:
      return true;
  }
}

Value canonicalValue(const Value& value, NSAttributeType type) {
  if (isCanonical(value, type)) return value;
  switch (type) {
    case NSBooleanAttributeType:
      return value.boolValue();
    case NSDoubleAttributeType:
      return value.doubleValue();
    case NSFloatAttributeType:
      return value.floatValue();
    case NSTransformableAttributeType:
      return storedFormOfPlace(value);
    default:
      return value.longLongValue();
  }
}

bool storesAlike(const Value& left, const Value& right, NSAttributeType type) {
  if (left.isIdentical(right)) return true;
  if (left.isNull() || right.isNull()) return false;
  if (type == NSTransformableAttributeType) return placesAlike(left, right);
  return left == right || canonicalValue(left, type) == canonicalValue(right, type);
}

}  // namespace JNFoundation::impl
