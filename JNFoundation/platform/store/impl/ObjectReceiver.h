#pragma once

#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

/// How objects are read.
struct ObjectReading {
  bool includesValues = true;
  /// Whether objects that somebody has looked at take what the store has, unless they were changed.
  bool refreshes = false;
  /// The only properties that faults get, by name; none stands for all of them.
  std::vector<Ref<NSString>> properties = {};
};

/// Finds or makes the object of each row, and has its values read where it needs them.
class ObjectReceiver final : public StoreRowReceiver {
 public:
  /// The objects are appended to the list. Borrows everything else.
  ObjectReceiver(const NSPersistentStore& store, const Ref<ObjectRegistry>& registry,
                 ObjectReading reading, std::vector<Ref<NSManagedObject>>& objects)
      : _store(store), _registry(registry), _reading(std::move(reading)), _objects(objects) {}
  ObjectReceiver(const NSPersistentStore& store, const Ref<ObjectRegistry>& registry,
                 bool includesValues, std::vector<Ref<NSManagedObject>>& objects)
      : ObjectReceiver(store, registry, ObjectReading{includesValues, false, {}}, objects) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override {
    if (&entity != _entity) {
      _entity = &entity;
      _hierarchy = _store.hierarchyOf(entity);
      _count = entity.layout().count();
    }
    const ObjectKey key{_hierarchy, primaryKey};
    Ref<NSManagedObject> object = _registry->find(key);
    if (!object || object->entity().get() != &entity) {
      object = ObjectAccess::make(entity);
      ObjectAccess::setKey(*object, key);
      ObjectAccess::registry(*object) = _registry;
      ObjectAccess::flags(*object) = ObjectAccess::fault;
      _registry->add(key, *object);
    }
    NSManagedObject& found = *object;
    _objects.push_back(std::move(object));
    if (!_reading.includesValues) return nullptr;
    // What somebody has looked at stays as it is, and so does the version that a deletion is based
    // on.
    constexpr std::uint32_t states = ObjectAccess::fault | ObjectAccess::deleted;
    std::uint32_t& flags = ObjectAccess::flags(found);
    const bool isOther = ObjectAccess::version(found) != version;
    if ((flags & states) != ObjectAccess::fault) {
      if (isOther) ++_registry->staleObjects;
      return _reading.refreshes ? placesToRefresh(found, version) : nullptr;
    }
    if (!_reading.properties.empty()) return placesOfPart(found);
    // Nobody has looked at it, but lists may be sorted by what it was.
    if (isOther && (flags & (ObjectAccess::hasValues | ObjectAccess::dropped)) != 0) {
      _refreshed.push_back(_objects.back());
    }
    ValueArray& values = ObjectAccess::values(found);
    values = ValueArray(_count);
    ObjectAccess::version(found) = version;
    flags = (flags & ~ObjectAccess::dropped) | ObjectAccess::hasValues;
    return values.get();
  }
  void endRow() override {
    if (_part) markUnread();
  }

  /// Has the context tell of objects that have taken other values than they had.
  void noteRefreshed() const {
    for (const Ref<NSManagedObject>& object : _refreshed) ObjectAccess::noteRefreshed(*object);
  }

 private:
  Value* placesToRefresh(NSManagedObject& object, std::uint32_t version);
  Value* placesOfPart(NSManagedObject& object);
  void markUnread();

  const NSPersistentStore& _store;
  const Ref<ObjectRegistry>& _registry;
  const ObjectReading _reading;
  std::vector<Ref<NSManagedObject>>& _objects;
  const NSEntityDescription* _entity = nullptr;
  const StoreHierarchy* _hierarchy = nullptr;
  std::size_t _count = 0;
  /// The object whose row is read in part.
  NSManagedObject* _part = nullptr;
  std::vector<Ref<NSManagedObject>> _refreshed;
};

}  // namespace JNFoundation::impl
