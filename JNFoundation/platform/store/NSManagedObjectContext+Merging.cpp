#include <JNFoundation/platform/dispatch/NSNotification.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextMerge.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

using impl::ContextMerge;
using impl::ObjectAccess;
using impl::SavedIdentifiers;

void NSManagedObjectContext::refreshObjectMergeChanges(const Ref<NSManagedObject>& object,
                                                       bool mergesChanges) {
  if (!object) return;
  _registry->requireThread();
  if (ObjectAccess::registry(*object) != _registry) {
    raise(NSInvalidArgumentException, "An object of another context cannot be refreshed here: %@",
          Value(object->objectID()));
  }
  if (ContextMerge(*this).refresh(*object, mergesChanges)) return;
  raise(NSObjectInaccessibleException, "Core Data could not fulfill a fault for '%@'",
        Value(object->objectID()));
}

void NSManagedObjectContext::refreshAllObjects() {
  _registry->requireThread();
  for (const Ref<NSManagedObject>& object : _registry->all()) {
    refreshObjectMergeChanges(object, true);
  }
}

void NSManagedObjectContext::releaseUnusedMemory() {
  _registry->requireThread();
  for (const Ref<NSManagedObject>& object : _registry->all()) {
    if (object->hasChanges()) continue;
    constexpr std::uint32_t known = ObjectAccess::hasValues | ObjectAccess::dropped;
    const bool wasRead = (ObjectAccess::flags(*object) & known) != 0;
    ContextMerge::makeFault(*object);
    if (wasRead) ObjectAccess::flags(*object) |= ObjectAccess::dropped;
  }
  if (!_coordinator) return;
  std::lock_guard guard(_coordinator->storeLock());
  const Ref<NSArray> stores = _coordinator->persistentStores();
  for (const Value& store : *stores) as<NSPersistentStore>(store)->releaseUnusedMemory();
}

// ---- Merging ------------------------------------------------------------------------------------

namespace {

/// The identifiers that a collection has, or the objects in it have, or their addresses name.
void appendIdentifiers(const Value& collection, const NSPersistentStoreCoordinator* coordinator,
                       std::vector<Ref<NSManagedObjectID>>& identifiers) {
  const auto append = [&](const Value& value) {
    if (auto* identifier = as<NSManagedObjectID>(value)) {
      identifiers.emplace_back(identifier);
    } else if (const auto* object = as<NSManagedObject>(value)) {
      identifiers.push_back(object->objectID());
    } else if (auto* url = as<NSURL>(value)) {
      Ref<NSManagedObjectID> named =
          coordinator ? coordinator->managedObjectIDForURIRepresentation(Ref<NSURL>(url)) : nullptr;
      if (named) identifiers.push_back(std::move(named));
    } else {
      raise(NSInvalidArgumentException, "Changes to merge are identifiers or their URIs, not %@",
            value);
    }
  };
  if (const auto* set = as<NSSet>(collection)) {
    for (const Value& value : *set) append(value);
  } else if (const auto* array = as<NSArray>(collection)) {
    for (const Value& value : *array) append(value);
  } else if (!collection.isNull()) {
    raise(NSInvalidArgumentException, "Changes to merge come in sets or arrays, not as %@",
          collection);
  }
}

SavedIdentifiers identifiersIn(const NSDictionary& changes,
                               const NSPersistentStoreCoordinator* coordinator) {
  SavedIdentifiers saved;
  const auto read = [&](const char* identifiersKey, const char* objectsKey,
                        std::vector<Ref<NSManagedObjectID>>& identifiers) {
    Value collection = changes.objectForKey(NSString::interned(identifiersKey));
    if (collection.isNull()) collection = changes.objectForKey(NSString::interned(objectsKey));
    appendIdentifiers(collection, coordinator, identifiers);
  };
  read(NSInsertedObjectIDsKey, NSInsertedObjectsKey, saved.inserted);
  read(NSUpdatedObjectIDsKey, NSUpdatedObjectsKey, saved.updated);
  read(NSDeletedObjectIDsKey, NSDeletedObjectsKey, saved.deleted);
  return saved;
}

}  // namespace

void NSManagedObjectContext::mergeChangesFromContextDidSaveNotification(
    const Ref<NSNotification>& notification) {
  _registry->requireThread();
  if (!notification || !notification->userInfo()) return;
  if (notification->object().object() == this) return;
  ContextMerge(*this).merge(identifiersIn(*notification->userInfo(), _coordinator.get()));
}

void NSManagedObjectContext::mergeChangesFromRemoteContextSaveIntoContexts(
    const Ref<NSDictionary>& changes, const Ref<NSArray>& contexts) {
  if (!changes || !contexts) return;
  for (const Value& value : *contexts) {
    auto* context = as<NSManagedObjectContext>(value);
    if (!context)
      raise(NSInvalidArgumentException, "Changes are merged into contexts, not %@", value);
    context->performBlockAndWait([&] {
      ContextMerge(*context).merge(identifiersIn(*changes, context->_coordinator.get()));
    });
  }
}

bool NSManagedObjectContext::automaticallyMergesChangesFromParent() const noexcept {
  return _family->mergesAutomatically();
}

void NSManagedObjectContext::setAutomaticallyMergesChangesFromParent(bool merges) {
  if (_family->mergesAutomatically() == merges) return;
  _family->setMergesAutomatically(merges);
  listForMerging();
}

/// A child is asked by its parent, others are listed with their coordinator.
void NSManagedObjectContext::listForMerging() {
  if (!_coordinator || _parent) return;
  _coordinator->mergingContexts().remove(*this);
  if (_family->mergesAutomatically()) _coordinator->mergingContexts().add(*this);
}

}  // namespace JNFoundation
