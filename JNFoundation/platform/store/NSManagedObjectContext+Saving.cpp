#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
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
    std::unique_lock lock(_context._coordinator->storeLock());
    if (!assignStores(error) || !write(error)) return false;
    lock.unlock();
    settle();
    return true;
  }

 private:
  using Kind = StoreRowChange::Kind;

  /// What goes to one store.
  struct Batch {
    NSPersistentStore* store;
    std::vector<NSManagedObject*> inserted;
    std::vector<StoreRowChange> rows;
    /// The objects of the rows.
    std::vector<NSManagedObject*> objects;
  };

  /// Objects may change each other while they get ready, so all are asked until nothing changes.
  bool callWillSave(Ref<NSError>* error) {
    constexpr int roundLimit = 100;
    for (int round = 0; round < roundLimit; ++round) {
      const std::uint64_t before = _context._registry->edits;
      for (ChangeList* list : {&_changes.inserted, &_changes.updated, &_changes.deleted}) {
        for (const Ref<NSManagedObject>& object : list->objects()) object->willSave();
      }
      if (_context._registry->edits == before) return true;
    }
    return fail(error, cocoaError(NSPersistentStoreSaveError,
                                  "The objects' willSave never stops changing objects."));
  }

  bool validate(Ref<NSError>* error) {
    std::vector<Ref<NSError>> errors;
    bool valid = true;
    const auto ask = [&](const ChangeList& list, bool (NSManagedObject::*check)(Ref<NSError>*)) {
      list.forEach([&](NSManagedObject& object) {
        Ref<NSError> problem;
        if ((object.*check)(&problem)) return;
        valid = false;
        collect(problem, errors);
      });
    };
    ask(_changes.inserted, &NSManagedObject::validateForInsert);
    ask(_changes.updated, &NSManagedObject::validateForUpdate);
    ask(_changes.deleted, &NSManagedObject::validateForDelete);
    if (valid) return true;
    if (errors.empty()) {
      errors.push_back(
          cocoaError(NSManagedObjectValidationError, "An object refused to be saved."));
    }
    return fail(error, joinedErrors(errors));
  }

  /// A failure of several is taken apart, so that the save reports one flat list.
  static void collect(const Ref<NSError>& problem, std::vector<Ref<NSError>>& errors) {
    if (!problem) return;
    const Value details = problem->code() == NSValidationMultipleErrorsError
                              ? problem->userInfo()->objectForKey(NSDetailedErrorsKey)
                              : Value();
    const auto* list = as<NSArray>(details);
    if (!list) {
      errors.push_back(problem);
      return;
    }
    for (const Value& value : *list) {
      if (auto* detail = as<NSError>(value)) errors.emplace_back(detail);
    }
  }

  Batch& batchOf(NSPersistentStore& store) {
    for (Batch& batch : _batches) {
      if (batch.store == &store) return batch;
    }
    _batches.push_back({&store, {}, {}, {}});
    return _batches.back();
  }

  bool assignStores(Ref<NSError>* error) {
    NSPersistentStore* fallback = nullptr;
    const Ref<NSArray> stores = _context._coordinator->persistentStores();
    for (const Value& value : *stores) {
      auto* store = as<NSPersistentStore>(value);
      if (!fallback || (fallback->isReadOnly() && !store->isReadOnly())) fallback = store;
    }
    if (!fallback) {
      return fail(error,
                  cocoaError(NSPersistentStoreSaveError,
                             "This NSPersistentStoreCoordinator has no persistent stores. It "
                             "cannot perform a save operation."));
    }
    _changes.inserted.forEach([&](NSManagedObject& object) {
      const StoreHierarchy* hierarchy = ObjectAccess::key(object).hierarchy;
      Batch& batch = batchOf(hierarchy ? *hierarchy->store : *fallback);
      batch.inserted.push_back(&object);
    });
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
      if (differs(object)) add(object, Kind::Update);
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
      if (batch.rows.empty() && batch.inserted.empty()) continue;
      good = batch.store->beginSave(error);
      if (!good) break;
      ++begun;
      try {
        good = addInsertions(batch, error) && writeBatch(batch, error);
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
      if (batch.rows.empty() && batch.inserted.empty()) continue;
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
      if (batch.rows.empty() && batch.inserted.empty()) continue;
      if (number == begun) return;
      if (number++ >= from) batch.store->abandonSave();
    }
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
  static void settleValues(NSManagedObject& object) {
    ObjectAccess::flags(object) &= ~(ObjectAccess::inserted | ObjectAccess::updated);
    ObjectAccess::committed(object).reset();
    const EntityLayout& layout = object.entity()->layout();
    Value* values = ObjectAccess::values(object).get();
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].stored && !isCanonical(values[i], layout[i].type)) {
        values[i] = canonicalValue(values[i], layout[i].type);
      }
    }
  }

  NSManagedObjectContext& _context;
  ContextChanges& _changes;
  std::vector<Batch> _batches;
};

}  // namespace impl

bool NSManagedObjectContext::save(Ref<NSError>* error) {
  if (!hasChanges()) return true;
  requireCoordinator();
  return impl::ContextSave(*this).run(error);
}

bool NSManagedObjectContext::obtainPermanentIDsForObjectsError(const Ref<NSArray>& objects,
                                                               Ref<NSError>* error) {
  using impl::ObjectAccess;
  if (!objects) return true;
  requireCoordinator();
  std::lock_guard guard(_coordinator->storeLock());
  NSPersistentStore* store = nullptr;
  const Ref<NSArray> stores = _coordinator->persistentStores();
  for (const Value& value : *stores) {
    auto* candidate = as<NSPersistentStore>(value);
    if (!store || (store->isReadOnly() && !candidate->isReadOnly())) store = candidate;
  }
  for (const Value& value : *objects) {
    auto* object = as<NSManagedObject>(value);
    if (!object || ObjectAccess::registry(*object) != _registry) {
      raise(NSInvalidArgumentException, "obtainPermanentIDsForObjects: %@ is not in this context",
            value);
    }
    const impl::ObjectKey before = ObjectAccess::key(*object);
    if (before.hierarchy) continue;
    if (!store || store->isReadOnly()) {
      return impl::fail(error, impl::cocoaError(NSPersistentStoreSaveError,
                                                "There is no store that the objects could be saved "
                                                "in."));
    }
    const std::int64_t number = store->takePrimaryKeys(*object->entity(), 1, error);
    if (number == 0) return false;
    const impl::ObjectKey after{store->hierarchyOf(*object->entity()), number};
    _registry->rekey(before, after, *object);
    ObjectAccess::setKey(*object, after);
  }
  return true;
}

}  // namespace JNFoundation
