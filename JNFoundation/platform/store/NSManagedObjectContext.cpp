#include "JNFoundation/platform/store/NSManagedObjectContext.h"

#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSMergePolicy.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/ContextFamily.h>
#include <JNFoundation/platform/store/impl/ContextFetch.h>
#include <JNFoundation/platform/store/impl/ParentContext.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {

using impl::ContextChanges;
using impl::ObjectAccess;
using impl::ObjectKey;
using impl::ObjectRegistry;

constinit const Class NSManagedObjectContext::classObject =
    Class::of<NSManagedObjectContext>("NSManagedObjectContext");

NSManagedObjectContext::NSManagedObjectContext(NSManagedObjectContextConcurrencyType type,
                                               NSManagedObjectContextExecutor executor)
    : _type(type),
      _queue(makeObject<impl::ContextQueue>(std::move(executor))),
      _family(std::make_unique<impl::ContextFamily>()),
      _mergePolicy(NSMergePolicy::errorMergePolicy()),
      _registry(makeObject<ObjectRegistry>(*this, _queue)),
      _changes(std::make_unique<ContextChanges>()),
      _events(std::make_unique<impl::ContextEvents>()) {}

NSManagedObjectContext::~NSManagedObjectContext() = default;

void NSManagedObjectContext::setPersistentStoreCoordinator(
    const Ref<NSPersistentStoreCoordinator>& coordinator) {
  if (coordinator == _coordinator) return;
  if (_parent) {
    raise(NSInternalInconsistencyException, "A child context has the coordinator of its parent");
  }
  if (!_registry->all().empty()) {
    raise(NSInternalInconsistencyException,
          "A context that has objects cannot get another coordinator");
  }
  if (_coordinator) _coordinator->mergingContexts().remove(*this);
  _coordinator = coordinator;
  _registry->setCoordinator(coordinator);
  listForMerging();
}

void NSManagedObjectContext::setParentContext(const Ref<NSManagedObjectContext>& parent) {
  if (parent == _parent) return;
  if (_coordinator || _parent || !_registry->all().empty()) {
    raise(NSInternalInconsistencyException,
          "A context that has objects, a coordinator or a parent cannot get another parent");
  }
  for (const NSManagedObjectContext* above = parent.get(); above; above = above->_parent.get()) {
    if (above == this) {
      raise(NSInvalidArgumentException, "A context cannot be above itself");
    }
  }
  if (!parent->_coordinator) {
    raise(NSInvalidArgumentException, "A parent context needs a persistent store coordinator");
  }
  _parent = parent;
  _coordinator = parent->_coordinator;
  _registry->setCoordinator(_coordinator);
  parent->_family->addChild(*this);
  parent->_registry->setKeepsFormerKeys(true);
  _registry->setKeepsFormerKeys(true);
}

void NSManagedObjectContext::setName(const Ref<NSString>& name) { _name = name; }

void NSManagedObjectContext::requireCoordinator() const {
  if (!_coordinator) {
    raise(NSInternalInconsistencyException, "The context has no persistent store coordinator");
  }
}

// ---- Fetching

Ref<NSArray> NSManagedObjectContext::executeFetchRequestError(const Ref<NSFetchRequest>& request,
                                                              Ref<NSError>* error) {
  if (!request) raise(NSInvalidArgumentException, "executeFetchRequest:error: a nil request");
  const auto fetch = [&] {
    processPendingChanges();
    return impl::ContextFetch(*this, *request).execute(request->resultType(), error);
  };
  return impl::orError(fetch, Ref<NSArray>(), error);
}

NSUInteger NSManagedObjectContext::countForFetchRequestError(const Ref<NSFetchRequest>& request,
                                                             Ref<NSError>* error) {
  if (!request) raise(NSInvalidArgumentException, "countForFetchRequest:error: a nil request");
  const auto count = [&] {
    processPendingChanges();
    return impl::ContextFetch(*this, *request).count(error);
  };
  return impl::orError(count, static_cast<NSUInteger>(NSNotFound), error);
}

bool NSManagedObjectContext::enumerateValuesOfFetchRequestErrorUsingBlock(
    const Ref<NSFetchRequest>& request, Ref<NSError>* error,
    const Block<void(std::span<Value> values, bool& stop)>& block) {
  constexpr const char* operation = "enumerateValuesOfFetchRequest:error:usingBlock:";
  if (!request || !block) {
    raise(NSInvalidArgumentException, "%s: a nil %s", operation, request ? "block" : "request");
  }
  if (request->resultType() != NSDictionaryResultType || !request->propertiesToFetch()) {
    raise(NSInvalidArgumentException,
          "%s: the request must be one of NSDictionaryResultType that names its propertiesToFetch",
          operation);
  }
  const auto fetch = [&] {
    processPendingChanges();
    bool stop = false;
    return impl::ContextFetch(*this, *request)
        .visitValues(
            [&](std::span<Value> values) {
              block(values, stop);
              return !stop;
            },
            error);
  };
  return impl::orError(fetch, false, error);
}

// ---- Objects by identity ------------------------------------------------------------------------

namespace {

/// The identifier's entity in the store's own model; the identifier may come from another
/// coordinator.
Ref<NSEntityDescription> entityOf(const NSManagedObjectID& objectID,
                                  const NSPersistentStore& store) {
  Ref<NSEntityDescription> entity =
      store.model()->entityWithName(objectID.entity()->name()->utf8());
  if (!entity) {
    raise(NSInvalidArgumentException, "The store's model has no entity '%@'",
          objectID.entity()->name());
  }
  return entity;
}

/// The same by the coordinator's model.
Ref<NSEntityDescription> modelEntityOf(const NSManagedObjectID& objectID,
                                       const NSPersistentStoreCoordinator& coordinator) {
  Ref<NSEntityDescription> entity =
      coordinator.managedObjectModel()->entityWithName(objectID.entity()->name()->utf8());
  return entity ? entity : objectID.entity();
}

/// Takes the one row that a store gives, with the entity that the object really is of.
class RowTaker final : public StoreRowReceiver {
 public:
  Value* beginRow(const NSEntityDescription& rowEntity, std::int64_t,
                  std::uint32_t number) override {
    entity = &rowEntity;
    version = number;
    values = ValueArray(rowEntity.layout().count());
    return values.get();
  }
  void endRow() override {}

  const NSEntityDescription* entity = nullptr;
  std::uint32_t version = 0;
  ValueArray values;
};

}  // namespace

Ref<NSManagedObject> NSManagedObjectContext::registeredObjectForID(
    const Ref<NSManagedObjectID>& objectID) const {
  if (!objectID) return nullptr;
  _registry->requireThread();
  if (Ref<NSManagedObject> known = _registry->findAtOnce(*objectID)) return known;
  return registeredObject(*objectID);
}

Ref<NSManagedObject> NSManagedObjectContext::registeredObject(
    const NSManagedObjectID& objectID) const {
  if (Ref<NSManagedObject> known = _registry->findQuickly(objectID)) return known;
  Ref<NSPersistentStore> store;
  const ObjectKey key = ObjectAccess::keyOf(objectID, _coordinator.get(), store);
  if (!objectID.isTemporaryID() && !key.hierarchy) return nullptr;
  return _registry->find(key);
}

Ref<NSManagedObject> NSManagedObjectContext::objectWithID(const Ref<NSManagedObjectID>& objectID) {
  _registry->requireThread();
  if (!objectID) return nullptr;
  if (Ref<NSManagedObject> known = _registry->findQuickly(*objectID)) return known;
  Ref<NSPersistentStore> store;
  const ObjectKey key = ObjectAccess::keyOf(*objectID, _coordinator.get(), store);
  if (objectID->isTemporaryID()) {
    Ref<NSManagedObject> known = objectForKey(key, *objectID->entity());
    if (!known || ObjectAccess::canFire(*known)) return known;
    return nullptr;
  }
  if (!key.hierarchy) {
    raise(NSInvalidArgumentException, "No store of the context's coordinator has the object %@",
          Value(objectID));
  }
  if (Ref<NSManagedObject> known = _registry->find(key)) return known;
  return objectForKey(key, *entityOf(*objectID, *store));
}

Ref<NSManagedObject> NSManagedObjectContext::objectForKey(const ObjectKey& key,
                                                          const NSEntityDescription& entity) {
  if (Ref<NSManagedObject> known = _registry->find(key)) return known;
  const ObjectKey current = _registry->currentKey(key);
  if (!current.hierarchy && !_parent) return nullptr;
  Ref<NSManagedObject> object = ObjectAccess::make(entity);
  ObjectAccess::setKey(*object, current);
  ObjectAccess::flags(*object) = ObjectAccess::fault;
  ObjectAccess::registry(*object) = _registry;
  _registry->add(current, *object);
  return object;
}

Ref<NSManagedObject> NSManagedObjectContext::existingObjectWithIDError(
    const Ref<NSManagedObjectID>& objectID, Ref<NSError>* error) {
  _registry->requireThread();
  const auto missing = [&] {
    impl::fail(error, impl::cocoaError(NSManagedObjectReferentialIntegrityError,
                                       "Attempt to access an object not found in store.",
                                       {{"objectID", Value(objectID)}}));
    return nullptr;
  };
  if (!objectID) return missing();
  Ref<NSManagedObject> known = registeredObjectForID(objectID);
  if (known && (ObjectAccess::flags(*known) & ObjectAccess::hasValues) != 0) {
    return known->isDeleted() ? missing() : known;
  }
  Ref<NSPersistentStore> store;
  const ObjectKey key = ObjectAccess::keyOf(*objectID, _coordinator.get(), store);
  // The row says which entity the object really is of.
  const NSEntityDescription* entity = nullptr;
  ValueArray values;
  std::uint32_t version = 0;
  if (_parent) {
    impl::ObjectSnapshot snapshot =
        impl::ParentContext(*this).read(key, *modelEntityOf(*objectID, *_coordinator));
    if (!snapshot.values) return missing();
    entity = snapshot.entity;
    version = snapshot.version;
    values = std::move(snapshot.values);
  } else {
    if (!key.hierarchy || !store->isOpen()) return missing();
    RowTaker row;
    std::lock_guard guard(_coordinator->storeLock());
    if (!store->fetchRow(*entityOf(*objectID, *store), objectID->number(), row, error)) {
      return nullptr;
    }
    if (!row.entity) return missing();
    entity = row.entity;
    version = row.version;
    values = std::move(row.values);
  }
  if (!known || known->entity().get() != entity) {
    known = ObjectAccess::make(*entity);
    ObjectAccess::setKey(*known, _registry->currentKey(key));
    ObjectAccess::registry(*known) = _registry;
    _registry->add(ObjectAccess::key(*known), *known);
  }
  giveValues(*known, std::move(values), version);
  ObjectAccess::flags(*known) |= ObjectAccess::fault;
  ObjectAccess::fire(*known);
  return known;
}

bool NSManagedObjectContext::readRecord(const NSManagedObject& object, ValueArray& values,
                                        std::uint32_t& version, Ref<NSError>* error) {
  const ObjectKey key = ObjectAccess::key(object);
  if (_parent) {
    impl::ObjectSnapshot snapshot = impl::ParentContext(*this).read(key, *object.entity());
    if (!snapshot.values || snapshot.entity != object.entity().get()) return false;
    values = std::move(snapshot.values);
    version = snapshot.version;
    return true;
  }
  if (!key.hierarchy || !key.hierarchy->store->isOpen()) return false;
  RowTaker row;
  {
    std::lock_guard guard(_coordinator->storeLock());
    key.hierarchy->store->fetchRow(*object.entity(), key.number, row, error);
  }
  // A row of a descendant of the entity that the identifier named has more places than the object.
  if (row.entity != object.entity().get()) return false;
  values = std::move(row.values);
  version = row.version;
  return true;
}

bool NSManagedObjectContext::readValues(NSManagedObject& object, Ref<NSError>* error) {
  ValueArray values;
  std::uint32_t version = 0;
  if (readRecord(object, values, version, error)) {
    giveValues(object, std::move(values), version);
    return true;
  }
  if ((ObjectAccess::flags(object) & ObjectAccess::dropped) != 0) ++_registry->rereads;
  return false;
}

void NSManagedObjectContext::giveValues(NSManagedObject& object, ValueArray values,
                                        std::uint32_t version) {
  std::uint32_t& flags = ObjectAccess::flags(object);
  // The changes of a parent do not count as versions.
  const bool mayBeOther =
      (flags & ObjectAccess::dropped) != 0 && (_parent || ObjectAccess::version(object) != version);
  ObjectAccess::values(object) = std::move(values);
  ObjectAccess::version(object) = version;
  flags = (flags & ~ObjectAccess::dropped) | ObjectAccess::hasValues;
  if (mayBeOther) ObjectAccess::noteRefreshed(object);
}

void NSManagedObjectContext::fulfillFault(NSManagedObject& object) {
  Ref<NSError> error;
  if (readValues(object, &error)) return;
  const impl::StoreHierarchy* hierarchy = ObjectAccess::key(object).hierarchy;
  const bool isGone = !error && !_parent && hierarchy && hierarchy->store->isOpen();
  if (isGone && _deletesInaccessibleFaults) {
    ObjectAccess::values(object) = ValueArray(object.entity()->layout().count());
    _events->noteDeleted(object);
    noteChange();
    ObjectAccess::detach(object);
    ++_registry->rereads;
    std::uint32_t& flags = ObjectAccess::flags(object);
    flags = (flags & ~ObjectAccess::fault) | ObjectAccess::hasValues | ObjectAccess::deleted;
    return;
  }
  raise(
      NSObjectInaccessibleException, "Core Data could not fulfill a fault for '%@'%@",
      Value(object.objectID()),
      error ? Value(NSString::stringWithFormat(": %@", error->localizedDescription())) : Value(""));
}

// ---- Changes ------------------------------------------------------------------------------------

void NSManagedObjectContext::noteDeleteRules(NSManagedObject& object) {
  auto& list = object.isInserted() ? _changes->unsavedWithRules : _changes->withRules;
  list.emplace_back(&object);
}

void NSManagedObjectContext::propagateDeletes() {
  forgetUnsaved();
  // A rule may delete further objects, whose rules run in their turn. One that raises runs again.
  auto& deleted = _changes->withRules;
  while (!deleted.empty()) {
    const Ref<NSManagedObject> object = deleted.front();
    const bool isStill = object->isDeleted() && ObjectAccess::registry(*object) == _registry;
    if (isStill) impl::Relations::applyDeleteRules(*object);
    // A hook may have dropped every change meanwhile.
    if (!deleted.empty() && deleted.front() == object) deleted.pop_front();
  }
}

void NSManagedObjectContext::forgetUnsaved() {
  // What a rule deletes joins the list, so that the length of a chain does not matter.
  if (_changes->isForgetting) return;
  struct Forgetting {
    bool& flag;
    ~Forgetting() { flag = false; }
  } forgetting{_changes->isForgetting};
  _changes->isForgetting = true;
  while (!_changes->unsavedWithRules.empty()) {
    const Ref<NSManagedObject> object = _changes->unsavedWithRules.front();
    const auto isStill = [&] {
      return object->isDeleted() && ObjectAccess::registry(*object) == _registry;
    };
    if (isStill()) impl::Relations::applyDeleteRules(*object);
    auto& waiting = _changes->unsavedWithRules;
    if (!waiting.empty() && waiting.front() == object) waiting.pop_front();
    if (!isStill()) continue;
    forget(*object);
  }
}

/// Drops an object that was never saved.
void NSManagedObjectContext::forget(NSManagedObject& object) {
  const Ref<NSManagedObjectID> identifier =
      object.entity()->layout().isLedToWithoutWayBack() ? object.objectID() : nullptr;
  _changes->inserted.remove(object);
  _events->noteDeleted(object);
  ObjectAccess::detach(object);
  if (!identifier) return;
  if (identifier->isTemporaryID()) {
    // Nobody finds it any more; the next save has those let go of it that still lead to it.
    _changes->forgotten.push_back(identifier);
    return;
  }
  const Ref<NSSet> gone = NSSet::setWithObject(Value(identifier));
  _changes->forEach(
      [&](NSManagedObject& holder) { impl::Relations::letGoOfForgotten(holder, *gone); });
}

void NSManagedObjectContext::insertObject(const Ref<NSManagedObject>& object) {
  _registry->requireThread();
  if (!object) raise(NSInvalidArgumentException, "Null cannot be inserted into a context");
  requireCoordinator();
  Ref<ObjectRegistry>& registry = ObjectAccess::registry(*object);
  std::uint32_t& flags = ObjectAccess::flags(*object);
  if (registry == _registry) {
    if ((flags & ObjectAccess::deleted) == 0) return;
    flags &= ~ObjectAccess::deleted;
    // One that is just being forgotten is listed as inserted still.
    if ((flags & ObjectAccess::inserted) == 0) {
      _changes->deleted.remove(*object);
      if ((flags & ObjectAccess::updated) != 0) _changes->updated.add(*object);
    }
    _events->noteInserted(*object);
    ++_registry->edits;
  } else {
    if (registry) {
      raise(NSInvalidArgumentException, "The object %@ belongs to another context",
            Value(object->objectID()));
    }
    Ref<NSManagedObjectModel> model = object->entity()->managedObjectModel();
    if (model.get() != _coordinator->managedObjectModel().get()) {
      raise(NSInvalidArgumentException,
            "The entity '%@' is not one of the model that the context works with",
            object->entity()->name());
    }
    // An object whose deletion was saved comes back as a new one, related to nobody.
    if (!ObjectAccess::values(*object)) {
      ObjectAccess::values(*object) = ValueArray(object->entity()->layout().count());
    }
    impl::Relations::forget(*object);
    ObjectAccess::setKey(*object, {nullptr, ObjectAccess::nextTemporaryNumber()});
    registry = _registry;
    _events->adopt(*object);
    flags = (flags & ObjectAccess::anyEvent) | ObjectAccess::inserted | ObjectAccess::hasValues;
    ObjectAccess::committed(*object).reset();
    _registry->add(ObjectAccess::key(*object), *object);
    _changes->inserted.add(*object);
    _events->noteInserted(*object);
    ++_registry->edits;
    object->awakeFromInsert();
  }
  noteChange();
}

void NSManagedObjectContext::deleteObject(const Ref<NSManagedObject>& object) {
  _registry->requireThread();
  if (!object) return;
  // What prepareForDeletion lets go of may be the very reference that the caller handed us.
  const Ref<NSManagedObject> target(object.get());
  if (ObjectAccess::registry(*target) != _registry) {
    raise(NSInvalidArgumentException, "An object of another context cannot be deleted here: %@",
          Value(target->objectID()));
  }
  std::uint32_t& flags = ObjectAccess::flags(*target);
  if ((flags & (ObjectAccess::deleted | ObjectAccess::preparing)) != 0) return;
  {
    struct Preparation {
      std::uint32_t& flags;
      ~Preparation() { flags &= ~ObjectAccess::preparing; }
    } preparation{flags};
    flags |= ObjectAccess::preparing;
    target->prepareForDeletion();
  }
  // It may have had the context forget the object.
  if (ObjectAccess::registry(*target) != _registry) return;
  if ((flags & ObjectAccess::inserted) != 0) {
    if (target->entity()->layout().hasRelationships()) {
      // What its rules delete in their turn must not come back to it.
      flags |= ObjectAccess::deleted;
      noteDeleteRules(*target);
      forgetUnsaved();
    } else {
      forget(*target);
    }
  } else if ((flags & ObjectAccess::hasValues) == 0 && !readValues(*target, nullptr)) {
    // The version that a deletion is based on has to be known; what has no record is gone already.
    _events->noteDeleted(*target);
    ObjectAccess::detach(*target);
  } else {
    if ((flags & ObjectAccess::updated) != 0) _changes->updated.remove(*target);
    flags |= ObjectAccess::deleted;
    _changes->deleted.add(*target);
    _events->noteDeleted(*target);
    if (target->entity()->layout().hasRelationships()) noteDeleteRules(*target);
  }
  ++_registry->edits;
  noteChange();
}

bool NSManagedObjectContext::hasChanges() const noexcept { return !_changes->isEmpty(); }

namespace {

Ref<NSSet> setOf(const std::vector<Ref<NSManagedObject>>& objects) {
  return NSSet::setWithValues({objects.begin(), objects.end()});
}

void revert(NSManagedObject& object) {
  if (ValueArray& committed = ObjectAccess::committed(object)) {
    ObjectAccess::values(object) = std::move(committed);
    impl::Relations::revertMembers(object);
  }
  ObjectAccess::flags(object) &= ~(ObjectAccess::updated | ObjectAccess::deleted);
}

}  // namespace

Ref<NSSet> NSManagedObjectContext::insertedObjects() const {
  _registry->requireThread();
  return setOf(_changes->inserted.objects());
}
Ref<NSSet> NSManagedObjectContext::updatedObjects() const {
  _registry->requireThread();
  return setOf(_changes->updated.objects());
}
Ref<NSSet> NSManagedObjectContext::deletedObjects() const {
  _registry->requireThread();
  return setOf(_changes->deleted.objects());
}
Ref<NSSet> NSManagedObjectContext::registeredObjects() const {
  _registry->requireThread();
  return setOf(_registry->all());
}

void NSManagedObjectContext::rollback() {
  _registry->requireThread();
  _changes->withRules.clear();
  _changes->unsavedWithRules.clear();
  _changes->forgotten.clear();
  _changes->watched.clear();
  for (const Ref<NSManagedObject>& object : _changes->inserted.takeAll()) {
    _events->noteDeleted(*object);
    ObjectAccess::detach(*object);
  }
  for (const Ref<NSManagedObject>& object : _changes->updated.takeAll()) {
    revert(*object);
    _events->noteRefreshed(*object);
  }
  for (const Ref<NSManagedObject>& object : _changes->deleted.takeAll()) {
    revert(*object);
    _events->noteInserted(*object);
  }
  if (!_events->isEmpty()) noteChange();
}

void NSManagedObjectContext::forgetObjects() noexcept {
  std::vector<Ref<NSManagedObject>> objects = _registry->all();
  _registry->invalidate();
  for (const Ref<NSManagedObject>& object : objects) {
    object->objectID();
    ObjectAccess::values(*object).reset();
    ObjectAccess::committed(*object).reset();
    ObjectAccess::flags(*object) = ObjectAccess::fault;
  }
  *_changes = ContextChanges();
  _events->noteInvalidatedAll();
}

void NSManagedObjectContext::reset() {
  _registry->requireThread();
  forgetObjects();
  _registry = makeObject<ObjectRegistry>(*this, _queue);
  _registry->setCoordinator(_coordinator);
  _registry->setKeepsFormerKeys(_parent || _family->hasChildren());
  tellChanges();
}

}  // namespace JNFoundation
