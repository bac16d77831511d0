#pragma once

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ObjectRegistry.h>

namespace JNFoundation::inline v0_1::impl {

class ContextObserver;

/// The order of two objects that the sort descriptors of a fetch call equal: by store, in the order
/// in which the coordinator got them, then by number; objects that were never saved come last, in
/// the order in which they were inserted. Requires: objects of one context and one hierarchy.
bool comesBefore(const NSManagedObject& left, const NSManagedObject& right) noexcept;

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
  static constexpr std::uint32_t partial = Object::Partial;
  static constexpr std::uint32_t dropped = Object::Dropped;
  static constexpr std::uint32_t eventInserted = Object::EventInserted;
  static constexpr std::uint32_t eventUpdated = Object::EventUpdated;
  static constexpr std::uint32_t eventDeleted = Object::EventDeleted;
  static constexpr std::uint32_t eventRefreshed = Object::EventRefreshed;
  static constexpr std::uint32_t eventCancelled = Object::EventCancelled;
  static constexpr std::uint32_t anyEvent =
      eventInserted | eventUpdated | eventDeleted | eventRefreshed | eventCancelled;

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
  static bool hasReadPlace(const Object& object, std::size_t index) noexcept {
    return object.hasReadPlace(index);
  }
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
  // Those who are told what happens in a context.
  static void addObserver(NSManagedObjectContext& context, ContextObserver& observer);
  static void removeObserver(NSManagedObjectContext& context, ContextObserver& observer) noexcept;
  /// The objects that the context has noted since it last told its observers. May have some twice.
  static std::vector<Ref<NSManagedObject>> notedObjects(const NSManagedObjectContext& context);
  /// Whether the context is telling its observers of what has changed. Has it tell them once more,
  /// be it of nothing, if so.
  static bool tellsAgain(NSManagedObjectContext& context) noexcept;
  /// A number that every change of the context's objects makes greater.
  static std::uint64_t edits(const NSManagedObjectContext& context) noexcept {
    return context._registry->edits;
  }

  /// Has the object's context tell that it was read again.
  static void noteRefreshed(Object& object);
  /// A number that each object that was read again, and has other values now, makes greater.
  static std::uint64_t rereads(const NSManagedObjectContext& context) noexcept {
    return context._registry->rereads;
  }
  /// One that each object makes greater which a fetch finds to be other than its record.
  static std::uint64_t staleObjects(const NSManagedObjectContext& context) noexcept {
    return context._registry->staleObjects;
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
