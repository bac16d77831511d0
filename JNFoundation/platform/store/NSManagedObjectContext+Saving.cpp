#include <unordered_map>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {
namespace impl {

/// One save of a context: asks the objects, writes the rows, and settles what became of them.
class ContextSave {
 public:
  explicit ContextSave(NSManagedObjectContext& context)
      : _context(context), _changes(*context._changes) {}

  bool run(Ref<NSError>* error) {
    _context.processPendingChanges();
    if (!callWillSave(error) || !validate(error)) return false;
    // A class's own checks may have deleted objects.
    for (int round = 0; !_changes.withRules.empty(); ++round) {
      if (round == roundLimit) return neverStops("validation", error);
      _context.processPendingChanges();
      if (!callWillSave(error) || !validate(error)) return false;
    }
    std::unique_lock lock(_context._coordinator->storeLock());
    if (!assignStores(error) || !write(error)) return false;
    lock.unlock();
    settle();
    return true;
  }

 private:
  using Kind = StoreRowChange::Kind;

  static constexpr int roundLimit = 100;

  /// What goes to one store.
  struct Batch {
    NSPersistentStore* store;
    std::vector<NSManagedObject*> inserted;
    std::vector<StoreRowChange> rows;
    /// The objects of the rows.
    std::vector<NSManagedObject*> objects;
    /// Those of which a relationship to many was changed.
    std::vector<NSManagedObject*> related;

    bool isEmpty() const noexcept { return rows.empty() && inserted.empty() && related.empty(); }
  };

  /// An identifier in an object's values that is permanent from this save on.
  struct Resolved {
    NSManagedObject* object;
    std::size_t number;
    Value former;
  };

  /// Objects may change each other while they get ready, so all are asked until nothing changes.
  bool callWillSave(Ref<NSError>* error) {
    for (int round = 0; round < roundLimit; ++round) {
      const std::uint64_t before = _context._registry->edits;
      for (ChangeList* list : {&_changes.inserted, &_changes.updated, &_changes.deleted}) {
        for (const Ref<NSManagedObject>& object : list->objects()) object->willSave();
      }
      _context.processPendingChanges();
      if (_context._registry->edits == before) return true;
    }
    return neverStops("willSave", error);
  }

  static bool neverStops(const char* what, Ref<NSError>* error) {
    return fail(error, cocoaError(NSPersistentStoreSaveError,
                                  NSString::stringWithFormat(
                                      "The objects' %s never stops changing objects.", what)));
  }

  bool validate(Ref<NSError>* error) {
    std::vector<Ref<NSError>> errors;
    bool valid = true;
    const auto ask = [&](const ChangeList& list, bool (NSManagedObject::*check)(Ref<NSError>*)) {
      // A class's own checks may change other objects, and so the list.
      for (const Ref<NSManagedObject>& object : list.objects()) {
        Ref<NSError> problem;
        if (((*object).*check)(&problem)) continue;
        valid = false;
        // A failure of several is taken apart, so that the save reports one flat list.
        if (problem) appendErrors(problem, errors);
      }
    };
    ask(_changes.inserted, &NSManagedObject::validateForInsert);
    ask(_changes.updated, &NSManagedObject::validateForUpdate);
    ask(_changes.deleted, &NSManagedObject::validateForDelete);
    // Last, since the objects may still have changed each other.
    for (const ChangeList* list : {&_changes.inserted, &_changes.updated}) {
      list->forEach([&](NSManagedObject& object) { makeData(object, errors); });
    }
    if (valid && errors.empty()) return true;
    if (errors.empty()) {
      errors.push_back(
          cocoaError(NSManagedObjectValidationError, "An object refused to be saved."));
    }
    return fail(error, joinedErrors(errors));
  }

  /// Has the data made that a store keeps for the object's transformed values.
  static void makeData(NSManagedObject& object, std::vector<Ref<NSError>>& errors) {
    const EntityLayout& layout = object.entity()->layout();
    if (!layout.hasTransformed() || !ObjectAccess::values(object)) return;
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (!layout[i].isTransformed()) continue;
      Ref<NSError> problem;
      if (!makeDataAtPlace(ObjectAccess::values(object)[i], layout[i].attribute, Value(&object),
                           &problem)) {
        errors.push_back(problem);
      }
    }
  }

  Batch& batchOf(NSPersistentStore& store) {
    for (Batch& batch : _batches) {
      if (batch.store == &store) return batch;
    }
    _batches.push_back({&store, {}, {}, {}, {}});
    return _batches.back();
  }

  bool assignStores(Ref<NSError>* error) {
    const NSPersistentStoreCoordinator& coordinator = *_context._coordinator;
    if (coordinator.persistentStores()->count() == 0) {
      return fail(error,
                  cocoaError(NSPersistentStoreSaveError,
                             "This NSPersistentStoreCoordinator has no persistent stores. It "
                             "cannot perform a save operation."));
    }
    const NSEntityDescription* homeless = nullptr;
    std::unordered_map<const NSEntityDescription*, NSPersistentStore*> storeOf;
    const auto storeFor = [&](const NSManagedObject& object) {
      NSPersistentStore*& store = storeOf[object.entity().get()];
      if (!store) store = coordinator.storeForNewObjectsOfEntity(object.entity()).get();
      return store;
    };
    _changes.inserted.forEach([&](NSManagedObject& object) {
      const StoreHierarchy* hierarchy = ObjectAccess::key(object).hierarchy;
      NSPersistentStore* store = hierarchy ? hierarchy->store : storeFor(object);
      if (!store) {
        homeless = object.entity().get();
        return;
      }
      Batch& batch = batchOf(*store);
      batch.inserted.push_back(&object);
      _hasRelationships |= object.entity()->layout().hasRelationships();
      if (hasNewLinks(object)) batch.related.push_back(&object);
    });
    if (homeless) {
      return fail(error, cocoaError(NSPersistentStoreSaveError,
                                    NSString::stringWithFormat(
                                        "No persistent store takes objects of the entity '%@'.",
                                        homeless->name())));
    }
    const auto add = [&](NSManagedObject& object, Kind kind) {
      Batch& batch = batchOf(*ObjectAccess::key(object).hierarchy->store);
      const Value* committed = ObjectAccess::committed(object).get();
      batch.rows.push_back({kind, object.entity().get(), ObjectAccess::key(object).number,
                            ObjectAccess::values(object).get(),
                            committed ? committed : ObjectAccess::values(object).get(),
                            ObjectAccess::version(object)});
      batch.objects.push_back(&object);
    };
    _changes.updated.forEach([&](NSManagedObject& object) {
      _hasRelationships |= object.entity()->layout().hasRelationships();
      if (differs(object)) add(object, Kind::Update);
      if (hasNewLinks(object)) {
        batchOf(*ObjectAccess::key(object).hierarchy->store).related.push_back(&object);
      }
    });
    _changes.deleted.forEach([&](NSManagedObject& object) { add(object, Kind::Delete); });
    for (const Batch& batch : _batches) {
      if (!batch.store->isOpen()) {
        return fail(error, cocoaError(NSPersistentStoreSaveError,
                                      "A store that has changed objects is no longer open."));
      }
    }
    return true;
  }

  static bool differs(NSManagedObject& object) {
    const EntityLayout& layout = object.entity()->layout();
    const Value* values = ObjectAccess::values(object).get();
    const Value* committed = ObjectAccess::committed(object).get();
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].stored && !storesAlike(values[i], committed[i], layout[i].type)) return true;
    }
    return false;
  }

  static bool hasNewLinks(const NSManagedObject& object) {
    for (const std::size_t number : object.entity()->layout().toManys()) {
      const RelatedObjects* related = Relations::known(object, number);
      if (related && related->hasChanges()) return true;
    }
    return false;
  }

  // ---- Relationships ----------------------------------------------------------------------------

  /// Finds what a store writes for an identifier. Fails: returns null and sets the error where the
  /// object is not in the store.
  Ref<NSManagedObjectID> resolved(const Value& identifier, const NSManagedObject& object,
                                  std::size_t number, const NSPersistentStore& store,
                                  Ref<NSError>* error) const {
    Ref<NSManagedObjectID> known(as<NSManagedObjectID>(identifier));
    const char* problem = nullptr;
    NSInteger code = NSManagedObjectExternalRelationshipError;
    if (known->isTemporaryID()) {
      const auto permanent = _permanentIDs.find(known->number());
      if (permanent != _permanentIDs.end()) {
        known = permanent->second;
      } else if (_context._registry->find({nullptr, known->number()})) {
        problem = "leads to an object that is saved in another store";
      } else {
        code = NSManagedObjectValidationError;
        problem = "leads to an object that was never saved and is gone";
      }
    }
    if (!problem && !known->storeIdentifier()->isEqualToString(store.identifier())) {
      problem = "leads to an object of another store";
    }
    if (!problem) return known;
    fail(error,
         cocoaError(code,
                    NSString::stringWithFormat(
                        "The relationship '%@' of an object of entity '%@' %s.",
                        object.entity()->layout()[number].name, object.entity()->name(), problem),
                    {{NSValidationObjectErrorKey, Value(const_cast<NSManagedObject*>(&object))},
                     {NSValidationKeyErrorKey, object.entity()->layout()[number].name}}));
    return nullptr;
  }

  /// Puts permanent identifiers into the rows of a batch; its inserted objects have theirs.
  bool resolveReferences(Batch& batch, Ref<NSError>* error) {
    for (std::size_t i = 0; i < batch.rows.size(); ++i) {
      if (batch.rows[i].kind == Kind::Delete) continue;
      NSManagedObject& object = *batch.objects[i];
      const EntityLayout& layout = object.entity()->layout();
      for (const std::size_t number : layout.toOnes()) {
        Value& place = ObjectAccess::values(object)[number];
        if (place.isNull() || !layout[number].stored) continue;
        const Ref<NSManagedObjectID> permanent =
            resolved(place, object, number, *batch.store, error);
        if (!permanent) return false;
        if (permanent.get() == place.object()) continue;
        _resolved.push_back({&object, number, std::exchange(place, Value(permanent))});
      }
    }
    return true;
  }

  bool writeLinks(Batch& batch, Ref<NSError>* error) {
    std::vector<StoreLinkChange> links;
    for (NSManagedObject* object : batch.related) {
      const EntityLayout& layout = object->entity()->layout();
      for (const std::size_t number : layout.toManys()) {
        const RelatedObjects* related = Relations::known(*object, number);
        if (!related || !related->hasChanges()) continue;
        const NSRelationshipDescription& relationship = *layout[number].relationship;
        // What the members themselves say is written with them.
        const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
        const bool isTheirs = inverse && !inverse->isToMany() && !inverse->isTransient();
        if (relationship.isTransient() || (isTheirs && !relationship.isOrdered())) continue;
        StoreLinkChange& link = links.emplace_back();
        link.relationship = &relationship;
        link.primaryKey = primaryKeyOf(*object);
        const auto append = [&](const Ref<NSOrderedSet>& identifiers,
                                std::vector<std::int64_t>& numbers) {
          if (!identifiers) return true;
          for (const Value& identifier : *identifiers) {
            // No store has pairs with what was never saved or is another store's.
            const auto& member = *as<NSManagedObjectID>(identifier);
            const bool isStored =
                !member.isTemporaryID() &&
                member.storeIdentifier()->isEqualToString(batch.store->identifier());
            if (&numbers == &link.removed && !isStored) continue;
            const Ref<NSManagedObjectID> known =
                resolved(identifier, *object, number, *batch.store, error);
            if (!known) return false;
            numbers.push_back(known->number());
          }
          return true;
        };
        const Ref<NSOrderedSet> order = relationship.isOrdered() ? related->newOrder() : nullptr;
        if (!append(related->added(), link.added) || !append(related->removed(), link.removed) ||
            !append(order, link.order)) {
          return false;
        }
      }
    }
    return links.empty() || batch.store->writeLinks(links, error);
  }

  /// Requires: a changed object of a batch whose inserted objects have their numbers.
  std::int64_t primaryKeyOf(const NSManagedObject& object) const {
    const ObjectKey key = ObjectAccess::key(object);
    return key.hierarchy ? key.number : _permanentIDs.at(key.number)->number();
  }

  void takeBackIdentifiers() noexcept {
    for (Resolved& change : _resolved) {
      ObjectAccess::values(*change.object)[change.number] = std::move(change.former);
    }
    _resolved.clear();
  }

  // ---- Writing ----------------------------------------------------------------------------------

  /// Appends the inserted objects' rows, under numbers that the store gives.
  bool addInsertions(Batch& batch, Ref<NSError>* error) {
    // Numbers are taken for all objects of a hierarchy at once, and given out in order of
    // insertion.
    struct Demand {
      const NSEntityDescription* root;
      NSUInteger count = 0;
      std::int64_t next = 0;
    };
    std::vector<Demand> demands;
    const auto demandOf = [&](const NSManagedObject& object) -> Demand& {
      const NSEntityDescription* root = &object.entity()->layout().root();
      for (Demand& demand : demands) {
        if (demand.root == root) return demand;
      }
      return demands.emplace_back(Demand{root});
    };
    for (const NSManagedObject* object : batch.inserted) {
      if (!ObjectAccess::key(*object).hierarchy) ++demandOf(*object).count;
    }
    for (Demand& demand : demands) {
      demand.next = batch.store->takePrimaryKeys(*demand.root, demand.count, error);
      if (demand.next == 0) return false;
    }
    batch.rows.reserve(batch.rows.size() + batch.inserted.size());
    batch.objects.reserve(batch.rows.capacity());
    for (NSManagedObject* object : batch.inserted) {
      const ObjectKey key = ObjectAccess::key(*object);
      const std::int64_t number = key.hierarchy ? key.number : demandOf(*object).next++;
      if (_hasRelationships && !key.hierarchy) {
        _permanentIDs.emplace(key.number,
                              ObjectAccess::makeID(object->entity(), number, batch.store));
      }
      batch.rows.push_back({Kind::Insert, object->entity().get(), number,
                            ObjectAccess::values(*object).get(), nullptr, 0});
      batch.objects.push_back(object);
    }
    return true;
  }

  bool write(Ref<NSError>* error) {
    std::size_t begun = 0;
    bool good = true;
    for (Batch& batch : _batches) {
      if (batch.isEmpty()) continue;
      good = batch.store->beginSave(error);
      if (!good) break;
      ++begun;
      try {
        good = addInsertions(batch, error) && resolveReferences(batch, error) &&
               writeBatch(batch, error) && writeLinks(batch, error);
      } catch (...) {
        // Whatever a store raises: no transaction stays open behind it.
        abandon(begun);
        throw;
      }
      if (!good) break;
    }
    if (!good) {
      abandon(begun);
      return false;
    }
    std::size_t committed = 0;
    for (Batch& batch : _batches) {
      if (batch.isEmpty()) continue;
      if (!batch.store->commitSave(error)) {
        abandon(begun, committed + 1);
        return false;
      }
      ++committed;
    }
    return true;
  }

  /// Takes back the transactions from the `from`-th on of those that were begun.
  void abandon(std::size_t begun, std::size_t from = 0) noexcept {
    std::size_t number = 0;
    for (Batch& batch : _batches) {
      if (batch.isEmpty()) continue;
      if (number == begun) break;
      if (number++ >= from) batch.store->abandonSave();
    }
    takeBackIdentifiers();
  }

  static bool writeBatch(Batch& batch, Ref<NSError>* error) {
    constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::size_t conflict = none;
    Ref<NSError> reason;
    if (batch.store->writeRows(batch.rows, &conflict, &reason)) return true;
    if (conflict != none) {
      reason = cocoaError(
          reason->code(), reason->localizedDescription(),
          {{NSAffectedObjectsErrorKey, NSArray::arrayWithObject(Value(batch.objects[conflict]))}});
    }
    return fail(error, reason);
  }

  void settle() {
    // The lists keep the objects alive until their didSave has run.
    const std::vector<Ref<NSManagedObject>> inserted = _changes.inserted.takeAll();
    const std::vector<Ref<NSManagedObject>> updated = _changes.updated.takeAll();
    const std::vector<Ref<NSManagedObject>> deleted = _changes.deleted.takeAll();
    for (Batch& batch : _batches) {
      for (std::size_t i = 0; i < batch.rows.size(); ++i) {
        NSManagedObject& object = *batch.objects[i];
        if (batch.rows[i].kind == Kind::Update) ++ObjectAccess::version(object);
        if (batch.rows[i].kind == Kind::Insert) {
          ObjectAccess::version(object) = 1;
          const ObjectKey before = ObjectAccess::key(object);
          if (before.hierarchy) continue;
          const ObjectKey after{batch.store->hierarchyOf(*object.entity()),
                                batch.rows[i].primaryKey};
          _context._registry->rekey(before, after, object);
          ObjectAccess::setKey(object, after);
          if (_hasRelationships) ObjectAccess::setID(object, _permanentIDs.at(before.number));
        }
      }
    }
    for (const auto* list : {&inserted, &updated}) {
      for (const Ref<NSManagedObject>& object : *list) settleValues(*object);
    }
    for (const Ref<NSManagedObject>& object : deleted) ObjectAccess::detach(*object);
    for (const auto* list : {&inserted, &updated, &deleted}) {
      for (const Ref<NSManagedObject>& object : *list) object->didSave();
    }
  }

  /// What was saved is what the object holds from now on.
  void settleValues(NSManagedObject& object) const {
    ObjectAccess::flags(object) &= ~(ObjectAccess::inserted | ObjectAccess::updated);
    ObjectAccess::committed(object).reset();
    const EntityLayout& layout = object.entity()->layout();
    for (const std::size_t number : layout.toManys()) {
      if (RelatedObjects* related = Relations::known(object, number)) {
        related->settle(_permanentIDs);
      }
    }
    Value* values = ObjectAccess::values(object).get();
    for (const std::size_t number : layout.toOnes()) {
      // What a store does not keep has kept its temporary identifier so far.
      const auto* identifier = as<NSManagedObjectID>(values[number]);
      if (!identifier || !identifier->isTemporaryID()) continue;
      const auto permanent = _permanentIDs.find(identifier->number());
      if (permanent != _permanentIDs.end()) values[number] = Value(permanent->second);
    }
    for (std::size_t i = 0; i < layout.count(); ++i) {
      // A transformed value stays with the object; only a store keeps nothing but the data.
      if (layout[i].isTransformed()) continue;
      if (layout[i].stored && !isCanonical(values[i], layout[i].type)) {
        values[i] = canonicalValue(values[i], layout[i].type);
      }
    }
  }

  NSManagedObjectContext& _context;
  ContextChanges& _changes;
  std::vector<Batch> _batches;
  /// Whether any changed object may lead to another one.
  bool _hasRelationships = false;
  PermanentIDs _permanentIDs;
  std::vector<Resolved> _resolved;
};

}  // namespace impl

bool NSManagedObjectContext::save(Ref<NSError>* error) {
  if (!hasChanges()) return true;
  requireCoordinator();
  return impl::orError([&] { return impl::ContextSave(*this).run(error); }, false, error);
}

namespace {

bool hasOneWayRelationships(const NSManagedObjectModel& model) {
  for (const Ref<NSEntityDescription>& entity : model.entityList()) {
    const impl::EntityLayout& layout = entity->layout();
    for (const auto numbers : {layout.toOnes(), layout.toManys()}) {
      for (const std::size_t number : numbers) {
        if (!layout[number].relationship->inverseRelationship()) return true;
      }
    }
  }
  return false;
}

}  // namespace

bool NSManagedObjectContext::obtainPermanentIDsForObjectsError(const Ref<NSArray>& objects,
                                                               Ref<NSError>* error) {
  using impl::ObjectAccess;
  if (!objects) return true;
  requireCoordinator();
  std::lock_guard guard(_coordinator->storeLock());
  std::vector<Ref<NSManagedObject>> holders;
  if (hasOneWayRelationships(*_coordinator->managedObjectModel())) {
    holders = _changes->inserted.objects();
    std::vector<Ref<NSManagedObject>> updated = _changes->updated.objects();
    holders.insert(holders.end(), updated.begin(), updated.end());
  }
  for (const Value& value : *objects) {
    auto* object = as<NSManagedObject>(value);
    if (!object || ObjectAccess::registry(*object) != _registry) {
      raise(NSInvalidArgumentException, "obtainPermanentIDsForObjects: %@ is not in this context",
            value);
    }
    const impl::ObjectKey before = ObjectAccess::key(*object);
    if (before.hierarchy) continue;
    const Ref<NSPersistentStore> store = _coordinator->storeForNewObjectsOfEntity(object->entity());
    if (!store || store->isReadOnly()) {
      return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                                "There is no store that the objects could be saved "
                                                "in."));
    }
    const std::int64_t number = store->takePrimaryKeys(*object->entity(), 1, error);
    if (number == 0) return false;
    const impl::ObjectKey after{store->hierarchyOf(*object->entity()), number};
    const Ref<NSManagedObjectID> former = object->objectID();
    _registry->rekey(before, after, *object);
    ObjectAccess::setKey(*object, after);
    impl::Relations::rename(*object, former, holders);
  }
  return true;
}

}  // namespace JNFoundation
