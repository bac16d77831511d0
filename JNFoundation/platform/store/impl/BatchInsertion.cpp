#include <JNFoundation/platform/store/NSBatchInsertResult.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/BatchWork.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

class BatchInsertion {
 public:
  BatchInsertion(const NSPersistentStoreCoordinator& coordinator,
                 const NSBatchInsertRequest& request)
      : _coordinator(coordinator),
        _request(request),
        _entity(entityOfRequest(coordinator, request.entity(), request.entityName())) {
    if (_entity->isAbstract()) {
      raise(NSInvalidArgumentException, "The entity '%@' is abstract: it has no objects of its own",
            _entity->name());
    }
    if (!request.objectsToInsert() && !request.dictionaryHandler()) {
      raise(NSInvalidArgumentException, "A batch insert has neither objects nor a handler");
    }
  }

  bool run(Ref<NSError>* error) {
    const std::lock_guard guard(_coordinator.storeLock());
    _store = storeToUse();
    if (!_store) {
      return fail(error, cocoaError(NSPersistentStoreSaveError,
                                    NSString::stringWithFormat(
                                        "No persistent store takes objects of the entity '%@'.",
                                        _entity->name())));
    }
    BatchTransaction transaction;
    if (!transaction.begin(*_store, error)) return false;
    bool isLast = false;
    while (!isLast) {
      if (!fillChunk(isLast, error) || !writeChunk(error)) return false;
    }
    return transaction.commit(error);
  }

  Value result() {
    const NSBatchInsertRequestResultType type = _request.resultType();
    Value result = true;
    if (type == NSBatchInsertRequestResultTypeCount) result = _count;
    if (type == NSBatchInsertRequestResultTypeObjectIDs) {
      result = Value(NSArray::arrayWithValues(std::move(_identifiers)));
    }
    return Value(makeObject<NSBatchInsertResult>(type, std::move(result)));
  }

 private:
  Ref<NSPersistentStore> storeToUse() const {
    const Ref<NSArray>& affected = _request.affectedStores();
    if (!affected) return _coordinator.storeForNewObjectsOfEntity(_entity);
    Ref<NSPersistentStore> found;
    for (const Value& value : _coordinator.persistentStores()) {
      auto* store = as<NSPersistentStore>(value);
      if (!affected->containsObject(value) || !store->takes(*_entity)) continue;
      if (!found || (found->isReadOnly() && !store->isReadOnly())) {
        found = Ref<NSPersistentStore>(store);
      }
    }
    return found;
  }

  bool fillChunk(bool& isLast, Ref<NSError>* error) {
    _rows.clear();
    while (_rows.size() < batchChunk) {
      if (_request.dictionaryHandler()) {
        const Ref<NSMutableDictionary> object = NSMutableDictionary::dictionary();
        isLast = _request.dictionaryHandler()(object);
        if (!_store->isOpen()) {
          return fail(error, cocoaError(NSPersistentStoreOperationError,
                                        "The store was removed while it was written to."));
        }
        if (isLast) return true;
        if (!addRow(*object, error)) return false;
      } else {
        isLast = _next == _request.objectsToInsert()->count();
        if (isLast) return true;
        const Value object = _request.objectsToInsert()->objectAtIndex(_next++);
        const auto* dictionary = as<NSDictionary>(object);
        if (!dictionary) {
          raise(NSInvalidArgumentException, "A batch insert takes dictionaries, not %@", object);
        }
        if (!addRow(*dictionary, error)) return false;
      }
    }
    return true;
  }

  bool addRow(const NSDictionary& object, Ref<NSError>* error) {
    const EntityLayout& layout = _entity->layout();
    ValueArray values(layout.count());
    for (std::size_t i = 0; i < layout.count() && layout.hasDefaults(); ++i) {
      if (!layout[i].attribute || !layout[i].stored || layout[i].defaultValue.isNull()) continue;
      if (!PlainValues::put(*_entity, i, layout[i].defaultValue, values[i], error)) return false;
    }
    for (const auto& pair : object) {
      const std::size_t number = PlainValues::numberOf(*_entity, pair.key);
      if (!PlainValues::put(*_entity, number, pair.value, values[number], error)) return false;
    }
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].isToMany()) continue;
      if (!PlainValues::checkMissing(*_entity, i, values[i], error)) return false;
    }
    _rows.push_back(std::move(values));
    return true;
  }

  bool writeChunk(Ref<NSError>* error) {
    if (_rows.empty()) return true;
    std::int64_t number = _store->takePrimaryKeys(*_entity, _rows.size(), error);
    if (number == 0) return false;
    std::vector<StoreRowChange> changes;
    changes.reserve(_rows.size());
    for (const ValueArray& values : _rows) {
      if (_request.resultType() == NSBatchInsertRequestResultTypeObjectIDs) {
        _identifiers.emplace_back(ObjectAccess::makeID(_entity, number, _store.get()));
      }
      changes.push_back(
          {StoreRowChange::Kind::Insert, _entity.get(), number++, values.get(), nullptr, 0});
    }
    _count += _rows.size();
    return _store->writeRows(changes, nullptr, error);
  }

  const NSPersistentStoreCoordinator& _coordinator;
  const NSBatchInsertRequest& _request;
  const Ref<NSEntityDescription> _entity;
  Ref<NSPersistentStore> _store;
  std::vector<ValueArray> _rows;
  NSUInteger _next = 0;
  NSUInteger _count = 0;
  std::vector<Value> _identifiers;
};

}  // namespace

Value executeBatch(NSManagedObjectContext& context, const NSBatchInsertRequest& request,
                   Ref<NSError>* error) {
  BatchInsertion insertion(*context.persistentStoreCoordinator(), request);
  return insertion.run(error) ? insertion.result() : Value();
}

}  // namespace JNFoundation::impl
