#pragma once

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ObjectRegistry.h>

namespace JNFoundation::impl {

/// What contexts do to their objects, past the objects' own face.
class ObjectAccess {
 public:
  using Object = NSManagedObject;

  static constexpr std::uint32_t inserted = Object::Inserted;
  static constexpr std::uint32_t updated = Object::Updated;
  static constexpr std::uint32_t deleted = Object::Deleted;
  static constexpr std::uint32_t fault = Object::Fault;
  static constexpr std::uint32_t hasValues = Object::HasValues;
  static constexpr std::uint32_t preparing = Object::Preparing;

  /// An object of the class that the entity names, with nothing but its entity.
  /// Fails: as EntityLayout::objectClass.
  static Ref<Object> make(const NSEntityDescription& entity);

  static std::uint32_t& flags(Object& object) noexcept { return object._flags; }
  static std::uint32_t flags(const Object& object) noexcept { return object._flags; }
  static ValueArray& values(Object& object) noexcept { return object._values; }
  static ValueArray& committed(Object& object) noexcept { return object._committed; }
  static std::uint32_t& version(Object& object) noexcept { return object._version; }
  static std::uint32_t& changeIndex(Object& object) noexcept { return object._changeIndex; }
  static Ref<ObjectRegistry>& registry(Object& object) noexcept { return object._registry; }
  static const Ref<ObjectRegistry>& registry(const Object& object) noexcept {
    return object._registry;
  }
  static void fire(const Object& object) { object.fire(); }
  /// Whether the object has its values or can get them.
  static bool canFire(Object& object);
  /// Notes that a relationship of the object is about to be changed: even while it awakes, since
  /// the other end notices. Requires: it is no fault.
  static void willRelate(Object& object) { object.trackChange(); }
  /// Has the delete rules of a deleted object run again: somebody was related to it afterwards.
  static void repeatDeleteRules(Object& object);

  static ObjectKey key(const Object& object) noexcept {
    return {object._hierarchy, object._number};
  }
  /// The key of an identifier in the coordinator's stores. Returns: a key that nothing has for one
  /// of a store that the coordinator, which may be null, does not have; `store` is null then.
  static ObjectKey keyOf(const NSManagedObjectID& objectID,
                         const NSPersistentStoreCoordinator* coordinator,
                         Ref<NSPersistentStore>& store);
  /// Gives the object another identity; the registry is told by the caller.
  static void setKey(Object& object, const ObjectKey& key) noexcept {
    object._hierarchy = key.hierarchy;
    object._number = key.number;
    object._objectID = nullptr;
  }
  /// Gives it the identifier that says the same as its key.
  static void setID(Object& object, Ref<NSManagedObjectID> objectID) noexcept {
    object._objectID = std::move(objectID);
  }
  /// Cuts the object off from its context. It keeps its identifier and its values.
  static void detach(Object& object) noexcept;

  /// A number for an object that was never saved, greater than all before.
  static std::int64_t nextTemporaryNumber() noexcept;

  /// Takes: no store for a temporary identifier.
  static Ref<NSManagedObjectID> makeID(const Ref<NSEntityDescription>& entity, std::int64_t number,
                                       const NSPersistentStore* store) {
    return makeObject<NSManagedObjectID>(entity, number, store);
  }
};

/// The value as a store gives it back: a number in the form that its attribute's type has.
/// Requires: a value that the attribute accepts.
Value canonicalValue(const Value& value, NSAttributeType type);

/// Whether the value is in that form already; only numbers have several. Requires: a value that the
/// attribute accepts.
bool isCanonical(const Value& value, NSAttributeType type) noexcept;

/// Whether a save would store the same for both.
bool storesAlike(const Value& left, const Value& right, NSAttributeType type);

}  // namespace JNFoundation::impl
