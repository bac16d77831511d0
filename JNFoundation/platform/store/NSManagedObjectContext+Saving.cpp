#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/BringNear.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ContextEvents.h>
#include <JNFoundation/platform/store/impl/ContextMerge.h>
#include <JNFoundation/platform/store/impl/OneWayReferences.h>
#include <JNFoundation/platform/store/impl/ParentSave.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/SaveConflicts.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::inline v0_1 {
namespace impl {

/// One save of a context: asks the objects, writes the rows, and settles what became of them.
class ContextSave {
 public:
  explicit ContextSave(NSManagedObjectContext& context)
      : _context(context), _changes(*context._changes) {}

  bool run(Ref<NSError>* error) {
    post(NSManagedObjectContextWillSaveNotification, nullptr);
    if (!prepare(error)) return false;
    if (_context._parent) {
      if (!ParentSave(_context, _changes).run(error)) return false;
      settle();
      return true;
    }
    _tellsChildren = _context._family->hasChildren();
    for (std::size_t round = 0;; ++round) {
      std::unique_lock lock(_context._coordinator->storeLock());
      Ref<NSError> reason;
      if (assignStores(&reason) && write(&reason)) {
        lock.unlock();
        settle();
        return true;
      }
      if (!mayMerge(round)) return fail(error, reason);
      SaveConflicts conflicts(_context, _batches, _decisions);
      if (!conflicts.find(_obstacle, error)) return false;
      lock.unlock();
      // Somebody may have taken back meanwhile what stood in the way, but not time and again.
      if (conflicts.isEmpty() && std::exchange(_foundNothing, true)) return fail(error, reason);
      if (conflicts.isEmpty()) continue;
      _foundNothing = false;
      if (!conflicts.resolve(error) || !prepare(error)) return false;
    }
  }

 private:
  using Kind = StoreRowChange::Kind;
  using Objects = std::vector<Ref<NSManagedObject>>;

  using Batch = SaveBatch;

  static constexpr int roundLimit = 100;

  /// An identifier in an object's values that is permanent from this save on.
  struct Resolved {
    NSManagedObject* object;
    std::size_t number;
    Value former;
  };

  /// Has every object with changes get ready.
  bool prepare(Ref<NSError>* error) {
    processChanges();
    if (!callWillSave(error) || !validate(error)) return false;
    // A class's own checks may have deleted objects.
    for (int round = 0; !_changes.withRules.empty(); ++round) {
      if (round == roundLimit) return neverStops("validation", error);
      processChanges();
      if (!callWillSave(error) || !validate(error)) return false;
    }
    return true;
  }

  /// Whether what the store has refused is something that a merge policy decides. One conflict may
  /// lead to the next, so there may be as many rounds as there are objects.
  bool mayMerge(std::size_t round) const {
    if (_obstacle == SaveObstacle::None) return false;
    if (_obstacle == SaveObstacle::Reference &&
        _context.mergePolicy()->mergeType() == NSErrorMergePolicyType) {
      return false;
    }
    std::size_t objects = 0;
    for (const Batch& batch : _batches) objects += batch.rows.size();
    return round < roundLimit + 2 * objects;
  }

  /// A save runs the delete rules whether or not the ends of turns do.
  void processChanges() {
    _context.propagateDeletes();
    letGoOfWhatGoes(_changes);
    _context.processPendingChanges();
  }

  /// Objects may change each other while they get ready, so all are asked until nothing changes.
  bool callWillSave(Ref<NSError>* error) {
    for (int round = 0; round < roundLimit; ++round) {
      const std::uint64_t before = _context._registry->edits;
      for (ChangeList* list : {&_changes.inserted, &_changes.updated, &_changes.deleted}) {
        for (const Ref<NSManagedObject>& object : list->objects()) object->willSave();
      }
      processChanges();
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
      const Objects objects = list.objects();
      forEachBroughtNear(objects, [&](const Ref<NSManagedObject>& object) {
        Ref<NSError> problem;
        if (((*object).*check)(&problem)) return;
        valid = false;
        // A failure of several is taken apart, so that the save reports one flat list.
        if (problem) appendErrors(problem, errors);
      });
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
    _batches.push_back({&store, {}, {}, {}, {}, {}});
    return _batches.back();
  }

  bool assignStores(Ref<NSError>* error) {
    _batches.clear();
    _permanentIDs.clear();
    _hasRelationships = false;
    _obstacle = SaveObstacle::None;
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
      if (kind == Kind::Update && isAmong(_decisions.writtenAnew, object)) {
        // Nobody who has read the record before must take it for the one that they know.
        constexpr std::uint32_t unseenVersions = 1u << 16;
        batch.rows.push_back({Kind::Insert, object.entity().get(), ObjectAccess::key(object).number,
                              ObjectAccess::values(object).get(), nullptr,
                              ObjectAccess::version(object) + unseenVersions});
        batch.objects.push_back(&object);
        return;
      }
      batch.rows.push_back({kind, object.entity().get(), ObjectAccess::key(object).number,
                            ObjectAccess::values(object).get(),
                            committed ? committed : ObjectAccess::values(object).get(),
                            ObjectAccess::version(object)});
      batch.objects.push_back(&object);
    };
    _changes.updated.forEach([&](NSManagedObject& object) {
      _hasRelationships |= object.entity()->layout().hasRelationships();
      if (hasStoredChanges(object) || isAmong(_decisions.writtenAnew, object)) {
        add(object, Kind::Update);
      }
      if (hasNewLinks(object)) {
        batchOf(*ObjectAccess::key(object).hierarchy->store).related.push_back(&object);
      }
    });
    _changes.deleted.forEach([&](NSManagedObject& object) {
      if (!isAmong(_decisions.gone, object)) add(object, Kind::Delete);
    });
    std::unordered_set<const NSManagedObject*> known;
    for (const Ref<NSManagedObject>& object : _changes.watched) {
      const ObjectKey key = ObjectAccess::key(*object);
      if (ObjectAccess::registry(*object) != _context._registry || !key.hierarchy) continue;
      const bool hasRow = object->isInserted() || object->isDeleted() ||
                          (object->isUpdated() && hasStoredChanges(*object));
      if (!hasRow && known.insert(object.get()).second) {
        batchOf(*key.hierarchy->store).watched.push_back(object.get());
      }
    }
    for (const Batch& batch : _batches) {
      if (!batch.store->isOpen()) {
        return fail(error, cocoaError(NSPersistentStoreSaveError,
                                      "A store that has changed objects is no longer open."));
      }
    }
    return true;
  }

  static bool isAmong(const SaveDecisions::Objects& objects, const NSManagedObject& object) {
    return !objects.empty() && objects.count(&object) > 0;
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
      if ((_hasRelationships || _tellsChildren) && !key.hierarchy) {
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
        good = checkWatched(batch, error) && addInsertions(batch, error) &&
               resolveReferences(batch, error) && writeBatch(batch, error);
        if (good) {
          Ref<NSError> reason;
          good = writeLinks(batch, &reason);
          if (!good) {
            noteObstacle(reason);
            fail(error, reason);
          }
        }
      } catch (...) {
        // Whatever a store raises: no transaction stays open behind it.
        abandon(begun);
        throw;
      }
      if (!good) break;
    }
    // One that commits alone says so itself.
    for (std::size_t i = 0; good && begun > 1 && i < _batches.size(); ++i) {
      if (_batches[i].isEmpty()) continue;
      Ref<NSError> reason;
      good = _batches[i].store->prepareToCommit(&reason);
      if (!good) {
        noteObstacle(reason);
        fail(error, reason);
      }
    }
    if (!good) {
      abandon(begun);
      return false;
    }
    std::size_t committed = 0;
    for (Batch& batch : _batches) {
      if (batch.isEmpty()) continue;
      Ref<NSError> reason;
      if (!batch.store->commitSave(&reason)) {
        // What another store has by now is not written again.
        if (committed == 0) noteObstacle(reason);
        if (error) *error = reason;
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

  bool writeBatch(Batch& batch, Ref<NSError>* error) {
    constexpr std::size_t none = static_cast<std::size_t>(-1);
    std::size_t conflict = none;
    Ref<NSError> reason;
    if (batch.store->writeRows(batch.rows, &conflict, &reason)) return true;
    noteObstacle(reason);
    if (conflict != none) {
      reason = cocoaError(
          reason->code(), reason->localizedDescription(),
          {{NSAffectedObjectsErrorKey, NSArray::arrayWithObject(Value(batch.objects[conflict]))}});
    }
    return fail(error, reason);
  }

  void noteObstacle(const Ref<NSError>& reason) noexcept {
    switch (reason ? reason->code() : 0) {
      case NSManagedObjectMergeError:
        _obstacle = SaveObstacle::Version;
        break;
      case NSManagedObjectConstraintMergeError:
        _obstacle = SaveObstacle::Constraint;
        break;
      case NSManagedObjectReferentialIntegrityError:
        _obstacle = SaveObstacle::Reference;
        break;
      default:
        break;
    }
  }

  /// Holds the records of the objects that the context was asked to watch against the store.
  bool checkWatched(const Batch& batch, Ref<NSError>* error) {
    class Receiver final : public StoreRowReceiver {
     public:
      Value* beginRow(const NSEntityDescription&, std::int64_t, std::uint32_t number) override {
        version = number;
        return nullptr;
      }
      void endRow() override {}
      std::uint32_t version = 0;
    };
    for (NSManagedObject* object : batch.watched) {
      Receiver receiver;
      if (!batch.store->fetchRow(*object->entity(), ObjectAccess::key(*object).number, receiver,
                                 error)) {
        return false;
      }
      if (receiver.version == ObjectAccess::version(*object)) continue;
      _obstacle = SaveObstacle::Version;
      return fail(error, cocoaError(NSManagedObjectMergeError, "Could not merge changes."));
    }
    return true;
  }

  void settle() {
    _changes.watched.clear();
    // The lists keep the objects alive until their didSave has run.
    Objects inserted = _changes.inserted.takeAll();
    Objects updated = _changes.updated.takeAll();
    Objects deleted = _changes.deleted.takeAll();
    for (Batch& batch : _batches) {
      for (std::size_t i = 0; i < batch.rows.size(); ++i) {
        NSManagedObject& object = *batch.objects[i];
        if (batch.rows[i].kind == Kind::Update) ++ObjectAccess::version(object);
        if (batch.rows[i].kind == Kind::Insert) {
          ObjectAccess::version(object) = batch.rows[i].version + 1;
          const ObjectKey before = ObjectAccess::key(object);
          if (before.hierarchy) continue;
          const ObjectKey after{batch.store->hierarchyOf(*object.entity()),
                                batch.rows[i].primaryKey};
          _context._registry->rekey(before, after, object);
          ObjectAccess::setKey(object, after);
          if (_hasRelationships || _tellsChildren)
            ObjectAccess::setID(object, _permanentIDs.at(before.number));
        }
      }
    }
    for (const auto* list : {&inserted, &updated}) {
      forEachBroughtNear(*list, [this](const auto& object) { settleValues(*object); });
    }
    for (const Ref<NSManagedObject>& object : deleted) ObjectAccess::detach(*object);
    forgetDeletedMembers(*_context._registry, deleted);
    _context._family->tellPermanentIDs(_permanentIDs);
    _context._events->forEachObserver(
        [&](ContextObserver& observer) { observer.contextDidSave(_context); });
    for (const auto* list : {&inserted, &updated, &deleted}) {
      for (const Ref<NSManagedObject>& object : *list) object->didSave();
    }
    tellWhatWasSaved(inserted, updated, deleted);
    haveMerged(inserted, updated, deleted);
    // Of objects that nobody else holds, these are the last references.
    for (auto* list : {&inserted, &updated, &deleted}) {
      forEachBroughtNear(*list, [](Ref<NSManagedObject>& object) { object = nullptr; });
    }
  }

  /// Has those merge the save that have asked for it: the contexts below, and, of a context that
  /// saves to the stores, those beside it.
  void haveMerged(const Objects& inserted, const Objects& updated, const Objects& deleted) {
    std::vector<Ref<NSManagedObjectContext>> others = _context._family->children();
    std::erase_if(others, [](const Ref<NSManagedObjectContext>& child) {
      return !child->automaticallyMergesChangesFromParent();
    });
    if (!_context._parent) {
      for (auto& other : _context._coordinator->mergingContexts().othersThan(_context)) {
        others.push_back(std::move(other));
      }
    }
    if (others.empty()) return;
    SavedIdentifiers saved;
    const auto add = [](const Objects& objects, std::vector<Ref<NSManagedObjectID>>& identifiers) {
      identifiers.reserve(objects.size());
      for (const Ref<NSManagedObject>& object : objects) identifiers.push_back(object->objectID());
    };
    add(inserted, saved.inserted);
    add(updated, saved.updated);
    add(deleted, saved.deleted);
    for (const auto& other : others) ContextMerge::mergeLater(*other, saved);
  }

  void tellWhatWasSaved(const Objects& inserted, const Objects& updated, const Objects& deleted) {
    if (!NSNotificationCenter::defaultCenter()->isObserved(
            NSManagedObjectContextDidSaveNotification, Value(&_context))) {
      return;
    }
    NSDictionary::Builder builder(6);
    const auto add = [&](const char* objectsKey, const char* identifiersKey,
                         const Objects& objects) {
      std::vector<Value> identifiers;
      identifiers.reserve(objects.size());
      for (const Ref<NSManagedObject>& object : objects) {
        identifiers.emplace_back(object->objectID());
      }
      builder.set(NSString::interned(objectsKey),
                  Value(NSSet::setWithValues({objects.begin(), objects.end()})));
      builder.set(NSString::interned(identifiersKey),
                  Value(NSSet::setWithValues(std::move(identifiers))));
    };
    add(NSInsertedObjectsKey, NSInsertedObjectIDsKey, inserted);
    add(NSUpdatedObjectsKey, NSUpdatedObjectIDsKey, updated);
    add(NSDeletedObjectsKey, NSDeletedObjectIDsKey, deleted);
    post(NSManagedObjectContextDidSaveNotification, builder.finish());
  }

  void post(const char* name, const Ref<NSDictionary>& userInfo) {
    const Ref<NSNotificationCenter>& center = NSNotificationCenter::defaultCenter();
    if (!center->isObserved(name, Value(&_context))) return;
    center->postNotificationNameObjectUserInfo(name, Value(&_context), userInfo);
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
    for (const EntityLayout::Slot& slot : layout.slots()) {
      Value& value = *values++;
      // A transformed value stays with the object; only a store keeps nothing but the data.
      if (slot.isTransformed()) continue;
      if (slot.stored && !isCanonical(value, slot.type)) value = canonicalValue(value, slot.type);
    }
  }

  NSManagedObjectContext& _context;
  ContextChanges& _changes;
  std::vector<Batch> _batches;
  /// Whether any changed object may lead to another one.
  bool _hasRelationships = false;
  /// Whether contexts below may know inserted objects.
  bool _tellsChildren = false;
  PermanentIDs _permanentIDs;
  std::vector<Resolved> _resolved;
  /// Why the last attempt failed.
  SaveObstacle _obstacle = SaveObstacle::None;
  bool _foundNothing = false;
  SaveDecisions _decisions;
};

}  // namespace impl

bool NSManagedObjectContext::save(Ref<NSError>* error) {
  _registry->requireThread();
  if (!hasChanges()) return true;
  requireCoordinator();
  if (_changes->isMerging) {
    return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                              "A merge policy cannot save the context that asks "
                                              "it."));
  }
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
  _registry->requireThread();
  for (const Value& value : *objects) {
    const auto* object = as<NSManagedObject>(value);
    if (!object || ObjectAccess::registry(*object) != _registry) {
      raise(NSInvalidArgumentException, "obtainPermanentIDsForObjects: %@ is not in this context",
            value);
    }
  }
  impl::PermanentIDs permanentIDs;
  const auto obtain = [&] {
    std::vector<Ref<NSManagedObject>> holders;
    if (hasOneWayRelationships(*_coordinator->managedObjectModel())) {
      holders = _changes->inserted.objects();
      // A deletion may be taken back.
      for (const auto* more : {&_changes->updated, &_changes->deleted}) {
        const std::vector<Ref<NSManagedObject>> objects = more->objects();
        holders.insert(holders.end(), objects.begin(), objects.end());
      }
    }
    for (const Value& value : *objects) {
      NSManagedObject* object = as<NSManagedObject>(value);
      const impl::ObjectKey before = ObjectAccess::key(*object);
      if (before.hierarchy) continue;
      const Ref<NSPersistentStore> store =
          _coordinator->storeForNewObjectsOfEntity(object->entity());
      if (!store || store->isReadOnly()) {
        return impl::fail(
            error, impl::cocoaError(NSPersistentStoreSaveError,
                                    "There is no store that the objects could be saved in."));
      }
      std::int64_t number = 0;
      {
        // Not for longer: what relationships lead to may have to be asked of a parent.
        std::lock_guard guard(_coordinator->storeLock());
        number = store->takePrimaryKeys(*object->entity(), 1, error);
      }
      if (number == 0) return false;
      const impl::ObjectKey after{store->hierarchyOf(*object->entity()), number};
      const Ref<NSManagedObjectID> former = object->objectID();
      _registry->rekey(before, after, *object);
      ObjectAccess::setKey(*object, after);
      impl::Relations::rename(*object, former, holders);
      permanentIDs.emplace(before.number, object->objectID());
    }
    return true;
  };
  const bool obtained = obtain();
  _family->tellPermanentIDs(permanentIDs);
  _events->forEachObserver(
      [&](impl::ContextObserver& observer) { observer.contextDidSave(*this); });
  return obtained;
}

}  // namespace JNFoundation
