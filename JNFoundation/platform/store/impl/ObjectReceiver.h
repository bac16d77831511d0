#pragma once

#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::impl {

/// Finds or makes the object of each row, and has its values read where it needs them.
class ObjectReceiver final : public StoreRowReceiver {
 public:
  /// The objects are appended to the list. Borrows everything.
  ObjectReceiver(const NSPersistentStore& store, const Ref<ObjectRegistry>& registry,
                 bool includesValues, std::vector<Ref<NSManagedObject>>& objects)
      : _store(store), _registry(registry), _includesValues(includesValues), _objects(objects) {}

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
    // What somebody has looked at stays as it is, and so does the version that a deletion is based
    // on.
    constexpr std::uint32_t states = ObjectAccess::fault | ObjectAccess::deleted;
    if (!_includesValues || (ObjectAccess::flags(found) & states) != ObjectAccess::fault) {
      return nullptr;
    }
    ValueArray& values = ObjectAccess::values(found);
    values = ValueArray(_count);
    ObjectAccess::version(found) = version;
    ObjectAccess::flags(found) |= ObjectAccess::hasValues;
    return values.get();
  }
  void endRow() override {}

 private:
  const NSPersistentStore& _store;
  const Ref<ObjectRegistry>& _registry;
  bool _includesValues;
  std::vector<Ref<NSManagedObject>>& _objects;
  const NSEntityDescription* _entity = nullptr;
  const StoreHierarchy* _hierarchy = nullptr;
  std::size_t _count = 0;
};

}  // namespace JNFoundation::impl
