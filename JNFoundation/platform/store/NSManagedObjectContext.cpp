#include "JNFoundation/platform/store/NSManagedObjectContext.h"

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ContextFetch.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {

using impl::ContextChanges;
using impl::ObjectAccess;
using impl::ObjectKey;
using impl::ObjectRegistry;

constinit const Class NSManagedObjectContext::classObject =
    Class::of<NSManagedObjectContext>("NSManagedObjectContext");

NSManagedObjectContext::NSManagedObjectContext(NSManagedObjectContextConcurrencyType)
    : _registry(makeObject<ObjectRegistry>(*this)), _changes(std::make_unique<ContextChanges>()) {}

NSManagedObjectContext::~NSManagedObjectContext() = default;

Ref<NSManagedObjectContext> NSManagedObjectContext::initWithConcurrencyType(
    NSManagedObjectContextConcurrencyType type) {
  return makeObject<NSManagedObjectContext>(type);
}

void NSManagedObjectContext::setPersistentStoreCoordinator(
    const Ref<NSPersistentStoreCoordinator>& coordinator) {
  if (coordinator == _coordinator) return;
  if (!_registry->all().empty()) {
    raise(NSInternalInconsistencyException,
          "A context that has objects cannot get another coordinator");
  }
  _coordinator = coordinator;
  _registry->setCoordinator(coordinator);
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
    propagateDeletes();
    return impl::ContextFetch(*this, *request).execute(request->resultType(), error);
  };
  return impl::orError(fetch, Ref<NSArray>(), error);
}

NSUInteger NSManagedObjectContext::countForFetchRequestError(const Ref<NSFetchRequest>& request,
                                                             Ref<NSError>* error) {
  if (!request) raise(NSInvalidArgumentException, "countForFetchRequest:error: a nil request");
  const auto count = [&] {
    propagateDeletes();
    return impl::ContextFetch(*this, *request).count(error);
  };
  return impl::orError(count, static_cast<NSUInteger>(NSNotFound), error);
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

/// Fills one object with the one row that a store gives.
class FaultReceiver final : public StoreRowReceiver {
 public:
  explicit FaultReceiver(NSManagedObject& object) : _object(object) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t, std::uint32_t version) override {
    found = true;
    // A row of a descendant of the entity that the identifier named has more places than this
    // object.
    if (&entity != _object.entity().get()) return nullptr;
    ObjectAccess::values(_object) = ValueArray(entity.layout().count());
    ObjectAccess::version(_object) = version;
    ObjectAccess::flags(_object) |= ObjectAccess::hasValues;
    return ObjectAccess::values(_object).get();
  }
  void endRow() override {}

  bool found = false;

 private:
  NSManagedObject& _object;
};

}  // namespace

Ref<NSManagedObject> NSManagedObjectContext::registeredObjectForID(
    const Ref<NSManagedObjectID>& objectID) const {
  if (!objectID) return nullptr;
  Ref<NSPersistentStore> store;
  const ObjectKey key = ObjectAccess::keyOf(*objectID, _coordinator.get(), store);
  if (!objectID->isTemporaryID() && !key.hierarchy) return nullptr;
  return _registry->find(key);
}

Ref<NSManagedObject> NSManagedObjectContext::objectWithID(const Ref<NSManagedObjectID>& objectID) {
  if (!objectID) return nullptr;
  Ref<NSPersistentStore> store;
  const ObjectKey key = ObjectAccess::keyOf(*objectID, _coordinator.get(), store);
  if (objectID->isTemporaryID()) return _registry->find(key);
  if (!key.hierarchy) {
    raise(NSInvalidArgumentException, "No store of the context's coordinator has the object %@",
          Value(objectID));
  }
  if (Ref<NSManagedObject> known = _registry->find(key)) return known;
  Ref<NSManagedObject> object = ObjectAccess::make(*entityOf(*objectID, *store));
  ObjectAccess::setKey(*object, key);
  ObjectAccess::flags(*object) = ObjectAccess::fault;
  ObjectAccess::registry(*object) = _registry;
  _registry->add(key, *object);
  return object;
}

Ref<NSManagedObject> NSManagedObjectContext::existingObjectWithIDError(
    const Ref<NSManagedObjectID>& objectID, Ref<NSError>* error) {
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
  if (!key.hierarchy || !store->isOpen()) return missing();
  // The row says which entity the object really is of.
  class Receiver final : public StoreRowReceiver {
   public:
    Value* beginRow(const NSEntityDescription& entity, std::int64_t,
                    std::uint32_t number) override {
      rowEntity = &entity;
      version = number;
      values = ValueArray(entity.layout().count());
      return values.get();
    }
    void endRow() override {}
    const NSEntityDescription* rowEntity = nullptr;
    std::uint32_t version = 0;
    ValueArray values;
  } receiver;
  {
    std::lock_guard guard(_coordinator->storeLock());
    if (!store->fetchRow(*entityOf(*objectID, *store), objectID->number(), receiver, error))
      return nullptr;
  }
  if (!receiver.rowEntity) return missing();
  if (!known || known->entity().get() != receiver.rowEntity) {
    known = ObjectAccess::make(*receiver.rowEntity);
    ObjectAccess::setKey(*known, key);
    ObjectAccess::registry(*known) = _registry;
    _registry->add(key, *known);
  }
  ObjectAccess::values(*known) = std::move(receiver.values);
  ObjectAccess::version(*known) = receiver.version;
  ObjectAccess::flags(*known) |= ObjectAccess::hasValues | ObjectAccess::fault;
  ObjectAccess::fire(*known);
  return known;
}

bool NSManagedObjectContext::readValues(NSManagedObject& object, Ref<NSError>* error) {
  const ObjectKey key = ObjectAccess::key(object);
  FaultReceiver receiver(object);
  if (key.hierarchy && key.hierarchy->store->isOpen()) {
    std::lock_guard guard(_coordinator->storeLock());
    key.hierarchy->store->fetchRow(*object.entity(), key.number, receiver, error);
  }
  return (ObjectAccess::flags(object) & ObjectAccess::hasValues) != 0;
}

void NSManagedObjectContext::fulfillFault(NSManagedObject& object) {
  Ref<NSError> error;
  if (readValues(object, &error)) return;
  raise(
      NSObjectInaccessibleException, "Core Data could not fulfill a fault for '%@'%@",
      Value(object.objectID()),
      error ? Value(NSString::stringWithFormat(": %@", error->localizedDescription())) : Value(""));
}

// ---- Changes ------------------------------------------------------------------------------------

void NSManagedObjectContext::noteChange() {
  if (_registry->processingIsPosted) return;
  _registry->processingIsPosted = true;
  Weak<NSManagedObjectContext> weak(this);
  MainQueue::current().async([weak] {
    if (Ref<NSManagedObjectContext> context = weak.load()) context->processPendingChanges();
  });
}

void NSManagedObjectContext::processPendingChanges() {
  _registry->processingIsPosted = false;
  propagateDeletes();
}

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
    _changes->inserted.remove(*object);
    ObjectAccess::detach(*object);
  }
}

void NSManagedObjectContext::noteUpdate(NSManagedObject& object) { _changes->updated.add(object); }

void NSManagedObjectContext::insertObject(const Ref<NSManagedObject>& object) {
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
    flags = ObjectAccess::inserted | ObjectAccess::hasValues;
    ObjectAccess::committed(*object).reset();
    _registry->add(ObjectAccess::key(*object), *object);
    _changes->inserted.add(*object);
    ++_registry->edits;
    object->awakeFromInsert();
  }
  noteChange();
}

void NSManagedObjectContext::deleteObject(const Ref<NSManagedObject>& object) {
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
      _changes->inserted.remove(*target);
      ObjectAccess::detach(*target);
    }
  } else if ((flags & ObjectAccess::hasValues) == 0 && !readValues(*target, nullptr)) {
    // The version that a deletion is based on has to be known; what has no record is gone already.
    ObjectAccess::detach(*target);
  } else {
    if ((flags & ObjectAccess::updated) != 0) _changes->updated.remove(*target);
    flags |= ObjectAccess::deleted;
    _changes->deleted.add(*target);
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
  return setOf(_changes->inserted.objects());
}
Ref<NSSet> NSManagedObjectContext::updatedObjects() const {
  return setOf(_changes->updated.objects());
}
Ref<NSSet> NSManagedObjectContext::deletedObjects() const {
  return setOf(_changes->deleted.objects());
}
Ref<NSSet> NSManagedObjectContext::registeredObjects() const { return setOf(_registry->all()); }

void NSManagedObjectContext::rollback() {
  _changes->withRules.clear();
  _changes->unsavedWithRules.clear();
  for (const Ref<NSManagedObject>& object : _changes->inserted.takeAll()) {
    ObjectAccess::detach(*object);
  }
  for (const Ref<NSManagedObject>& object : _changes->updated.takeAll()) revert(*object);
  for (const Ref<NSManagedObject>& object : _changes->deleted.takeAll()) revert(*object);
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
}

void NSManagedObjectContext::reset() {
  forgetObjects();
  _registry = makeObject<ObjectRegistry>(*this);
  _registry->setCoordinator(_coordinator);
}

}  // namespace JNFoundation
