#include <algorithm>

#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSBatchUpdateResult.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/BatchWork.h>
#include <JNFoundation/platform/store/impl/ContextFetch.h>
#include <JNFoundation/platform/store/impl/DictionaryPlan.h>
#include <JNFoundation/platform/store/impl/Prefetching.h>
#include <JNFoundation/platform/store/impl/QueryCheck.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// Whether a uniqueness constraint of the entity, an ancestor or a descendant names the attribute.
bool isUnique(const NSEntityDescription& entity, const NSString& name) {
  std::vector<Ref<NSEntityDescription>> kin;
  for (Ref<NSEntityDescription> above(const_cast<NSEntityDescription*>(&entity)); above;
       above = above->superentity()) {
    kin.push_back(above);
  }
  for (const NSEntityDescription* below : entity.layout().family()) {
    kin.emplace_back(const_cast<NSEntityDescription*>(below));
  }
  return std::any_of(kin.begin(), kin.end(), [&](const Ref<NSEntityDescription>& one) {
    for (const Value& constraint : *one->uniquenessConstraints()) {
      const auto* names = as<NSArray>(constraint);
      if (names && names->containsObject(Value(const_cast<NSString*>(&name)))) return true;
    }
    return false;
  });
}

class BatchUpdate {
 public:
  BatchUpdate(NSManagedObjectContext& context, const NSBatchUpdateRequest& request)
      : _context(context),
        _request(request),
        _entity(entityOfRequest(*context.persistentStoreCoordinator(), request.entity(),
                                request.entityName())) {
    const Ref<NSDictionary>& properties = request.propertiesToUpdate();
    if (!properties || properties->count() == 0) {
      raise(NSInvalidArgumentException, "A batch update has no propertiesToUpdate");
    }
    for (const auto& pair : *properties) {
      Change change{PlainValues::numberOf(*_entity, pair.key), pair.value, nullptr};
      if (auto* expression = as<NSExpression>(pair.value)) {
        change.expression = Ref<NSExpression>(expression);
        checkExpressionKeys(*_entity, *change.expression);
      }
      _isUnique = _isUnique || isUnique(*_entity, *_entity->layout()[change.number].name);
      _changes.push_back(std::move(change));
    }
    if (request.predicate() && wantsObjects(*request.predicate())) {
      raise(NSInvalidArgumentException,
            "A batch update cannot use the predicate %@, which speaks of objects",
            Value(request.predicate()));
    }
  }

  bool run(Ref<NSError>* error) {
    auto wanted = NSFetchRequest::init();
    wanted->setEntity(_entity);
    wanted->setPredicate(_request.predicate());
    wanted->setIncludesSubentities(_request.includesSubentities());
    wanted->setIncludesPendingChanges(false);
    wanted->setAffectedStores(_request.affectedStores());
    wanted->setResultType(NSManagedObjectIDResultType);
    // Has the stores' lock from here on.
    ContextFetch fetch(_context, *wanted);
    BatchTransaction transaction;
    for (const Ref<NSPersistentStore>& store : fetch.stores()) {
      if (!store->isReadOnly() && !transaction.begin(*store, error)) return false;
    }
    if (!fetch.records(false, _found, error)) return false;
    for (const Ref<NSPersistentStore>& store : fetch.stores()) {
      std::vector<std::int64_t> numbers;
      for (const FoundRecord& record : _found) {
        if (record.hierarchy->store == store.get()) numbers.push_back(record.number);
      }
      if (numbers.empty()) continue;
      // Unique values may be handed on among all of the records.
      const std::size_t size = _isUnique ? numbers.size() : batchChunk;
      if (!transaction.begin(*store, error)) return false;
      for (std::size_t first = 0; first < numbers.size(); first += size) {
        const std::size_t count = std::min(size, numbers.size() - first);
        if (!write(*store, std::span(numbers).subspan(first, count), error)) return false;
      }
    }
    return transaction.commit(error);
  }

  Value result() const {
    const NSBatchUpdateRequestResultType type = _request.resultType();
    Value result = true;
    if (type == NSUpdatedObjectsCountResultType) result = _found.size();
    if (type == NSUpdatedObjectIDsResultType) {
      std::vector<Value> identifiers;
      identifiers.reserve(_found.size());
      for (const FoundRecord& record : _found) identifiers.emplace_back(record.objectID());
      result = Value(NSArray::arrayWithValues(std::move(identifiers)));
    }
    return Value(makeObject<NSBatchUpdateResult>(type, std::move(result)));
  }

 private:
  struct Change {
    std::size_t number;
    Value value;
    /// Null for a constant.
    Ref<NSExpression> expression;
  };

  bool write(NSPersistentStore& store, std::span<const std::int64_t> numbers, Ref<NSError>* error) {
    RowSource source(store);
    RowCollector collector(source);
    if (!store.fetchRecords(*_entity, numbers, true, collector, error)) return false;
    std::vector<ValueArray> fresh;
    std::vector<StoreRowChange> changes;
    fresh.reserve(collector.rows.size());
    changes.reserve(collector.rows.size());
    for (const Value& value : collector.rows) {
      const auto& row = *as<StoredRow>(value);
      const std::size_t count = row.entity().layout().count();
      ValueArray& values = fresh.emplace_back(count);
      for (std::size_t i = 0; i < count; ++i) values[i] = row.values()[i];
      for (const Change& change : _changes) {
        Value& place = values[change.number];
        Value wanted = change.value;
        if (change.expression) {
          wanted = change.expression->expressionValueWithObjectContext(value, nullptr);
        }
        if (!PlainValues::put(row.entity(), change.number, std::move(wanted), place, error) ||
            !PlainValues::checkMissing(row.entity(), change.number, place, error)) {
          return false;
        }
      }
      changes.push_back({StoreRowChange::Kind::Update, &row.entity(), row.primaryKey(),
                         values.get(), row.values(), row.version()});
    }
    return store.writeRows(changes, nullptr, error);
  }

  NSManagedObjectContext& _context;
  const NSBatchUpdateRequest& _request;
  const Ref<NSEntityDescription> _entity;
  std::vector<Change> _changes;
  bool _isUnique = false;
  std::vector<FoundRecord> _found;
};

}  // namespace

Value executeBatch(NSManagedObjectContext& context, const NSBatchUpdateRequest& request,
                   Ref<NSError>* error) {
  BatchUpdate update(context, request);
  return update.run(error) ? update.result() : Value();
}

}  // namespace JNFoundation::impl
