#include <unordered_map>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ContextFetch.h>
#include <JNFoundation/platform/store/impl/DictionaryPlan.h>
#include <JNFoundation/platform/store/impl/Prefetching.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

using Objects = std::vector<Ref<NSManagedObject>>;

/// Notes records only.
class FoundRecordReceiver final : public StoreRowReceiver {
 public:
  FoundRecordReceiver(const NSPersistentStore& store, std::vector<FoundRecord>& found)
      : _store(store), _found(found) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override {
    if (&entity != _entity) {
      _entity = &entity;
      _hierarchy = _store.hierarchyOf(entity);
    }
    _found.push_back({_hierarchy, &entity, primaryKey, version});
    return nullptr;
  }
  void endRow() override {}

 private:
  const NSPersistentStore& _store;
  std::vector<FoundRecord>& _found;
  const NSEntityDescription* _entity = nullptr;
  const StoreHierarchy* _hierarchy = nullptr;
};

FoundRecord recordOf(const StoredRow& row) {
  return {row.key().hierarchy, &row.entity(), row.primaryKey(), row.version()};
}

/// What all readers need of a context that the array does not keep.
class ContextReader : public BatchReader {
 public:
  explicit ContextReader(Ref<ObjectRegistry> registry) : _registry(std::move(registry)) {}

  void requireThread() const noexcept override { _registry->requireThread(); }

 protected:
  Ref<NSManagedObjectContext> context() const {
    Ref<NSManagedObjectContext> context = _registry->isInvalid() ? nullptr : _registry->context();
    if (!context) {
      raise(NSObjectInaccessibleException,
            "The objects of a fetched array have been invalidated: their context is gone or was "
            "reset");
    }
    return context;
  }

  [[noreturn]] static void raiseUnreadable(const Ref<NSError>& error) {
    raise(NSObjectInaccessibleException, "A batch of fetched objects cannot be read: %@",
          error ? Value(error->localizedDescription()) : Value("the store was closed"));
  }

  /// Calls the function with the numbers of the records that it wants, by where they are.
  template <class Wants, class Function>
  void forEachHierarchy(std::span<const FoundRecord> records, Wants&& wants,
                        Function&& function) const {
    std::vector<std::pair<const StoreHierarchy*, std::vector<std::int64_t>>> lists;
    for (const FoundRecord& record : records) {
      if (record.unsaved || !wants(record)) continue;
      auto list = std::find_if(lists.begin(), lists.end(),
                               [&](const auto& one) { return one.first == record.hierarchy; });
      if (list == lists.end()) list = lists.insert(list, {record.hierarchy, {}});
      list->second.push_back(record.number);
    }
    for (const auto& [hierarchy, numbers] : lists) function(*hierarchy, numbers);
  }

  const Ref<ObjectRegistry> _registry;
};

class ObjectBatchReader final : public ContextReader {
 public:
  ObjectBatchReader(Ref<ObjectRegistry> registry, ObjectReading reading,
                    std::unique_ptr<Prefetching> prefetching, bool asFaults)
      : ContextReader(std::move(registry)),
        _reading(std::move(reading)),
        _prefetching(std::move(prefetching)),
        _asFaults(asFaults) {}

  std::vector<Value> read(std::span<const FoundRecord> records) override {
    const Ref<NSManagedObjectContext> context = this->context();
    Ref<NSError> error;
    Objects companions;
    readRecords(records, context, companions);
    Objects objects;
    objects.reserve(records.size());
    for (const FoundRecord& record : records) {
      Ref<NSManagedObject> object = record.unsaved;
      if (!object) object = _registry->find({record.hierarchy, record.number});
      // One that has gone meanwhile is a fault that cannot be filled.
      if (!object) object = context->objectWithID(record.objectID());
      objects.push_back(std::move(object));
    }
    if (!_asFaults) {
      if (!readFaults(objects, _registry, companions, &error)) raiseUnreadable(error);
      for (const Ref<NSManagedObject>& object : objects) {
        if (object->isFault() && ObjectAccess::canFire(*object)) ObjectAccess::fire(*object);
      }
    }
    if (!_prefetching->isEmpty() && !_prefetching->read(objects, _registry, companions, &error)) {
      raiseUnreadable(error);
    }
    std::vector<Value> elements;
    elements.reserve(objects.size() + (_prefetching->isEmpty() ? 0 : companions.size()));
    for (Ref<NSManagedObject>& object : objects) elements.emplace_back(std::move(object));
    if (_prefetching->isEmpty()) return elements;
    for (Ref<NSManagedObject>& object : companions) elements.emplace_back(std::move(object));
    return elements;
  }

 private:
  void readRecords(std::span<const FoundRecord> records, const Ref<NSManagedObjectContext>& context,
                   Objects& objects) const {
    if (!_reading.includesValues) return;
    const auto isUnread = [&](const FoundRecord& record) {
      const Ref<NSManagedObject> known = _registry->find({record.hierarchy, record.number});
      return _reading.refreshes || !known ||
             (ObjectAccess::flags(*known) & ObjectAccess::hasValues) == 0;
    };
    forEachHierarchy(records, isUnread,
                     [&](const StoreHierarchy& hierarchy, std::span<const std::int64_t> numbers) {
                       NSPersistentStore& store = *hierarchy.store;
                       ObjectReceiver receiver(store, _registry, _reading, objects);
                       Ref<NSError> error;
                       std::lock_guard guard(context->persistentStoreCoordinator()->storeLock());
                       if (!store.isOpen() ||
                           !store.fetchRecords(*hierarchy.root, numbers, true, receiver, &error)) {
                         raiseUnreadable(error);
                       }
                       receiver.noteRefreshed();
                     });
  }

  const ObjectReading _reading;
  const std::unique_ptr<Prefetching> _prefetching;
  const bool _asFaults;
};

class DictionaryBatchReader final : public ContextReader {
 public:
  DictionaryBatchReader(Ref<ObjectRegistry> registry, std::unique_ptr<DictionaryPlan> plan)
      : ContextReader(std::move(registry)), _plan(std::move(plan)) {}

  std::vector<Value> read(std::span<const FoundRecord> records) override {
    const Ref<NSManagedObjectContext> context = this->context();
    std::unordered_map<const StoreHierarchy*, std::unordered_map<std::int64_t, Value>> found;
    DictionaryPlan::Values fields(_plan->fields().size());
    forEachHierarchy(
        records, [](const FoundRecord&) { return true; },
        [&](const StoreHierarchy& hierarchy, std::span<const std::int64_t> numbers) {
          NSPersistentStore& store = *hierarchy.store;
          RowSource source(store);
          RowVisitor visitor(source, [&](StoredRow& row) {
            _plan->read(row, fields);
            found[&hierarchy][row.primaryKey()] = Value(_plan->dictionaryOfRecord(fields));
          });
          Ref<NSError> error;
          std::lock_guard guard(context->persistentStoreCoordinator()->storeLock());
          if (!store.isOpen() ||
              !store.fetchRecords(*hierarchy.root, numbers, true, visitor, &error)) {
            raiseUnreadable(error);
          }
        });
    std::vector<Value> elements;
    for (const FoundRecord& record : records) {
      Value& element = found[record.hierarchy][record.number];
      if (element.isNull()) element = Value(dictionaryOfMissing(record));
      elements.push_back(element);
    }
    return elements;
  }

 private:
  /// Of a record that has gone meanwhile there is nothing but the identifier.
  Ref<NSDictionary> dictionaryOfMissing(const FoundRecord& record) const {
    DictionaryPlan::Values fields(_plan->fields().size());
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const RecordField& field = _plan->fields()[i];
      if (!field.expression && field.path.steps().empty()) fields[i] = Value(record.objectID());
    }
    return _plan->dictionaryOfRecord(fields);
  }

  const std::unique_ptr<DictionaryPlan> _plan;
};

}  // namespace

bool ContextFetch::records(bool includesPendingChanges, std::vector<FoundRecord>& found,
                           Ref<NSError>* error) {
  if (_wantsObjects || (includesPendingChanges && hasPendingChanges())) {
    Objects list;
    if (!objects(list, error)) return false;
    for (const Ref<NSManagedObject>& object : list) {
      const ObjectKey key = ObjectAccess::key(*object);
      found.push_back(
          {key.hierarchy, object->entity().get(), key.number, ObjectAccess::version(*object)});
      if (!key.hierarchy) found.back().unsaved = object;
    }
    return true;
  }
  StoreQuery wanted = query();
  wanted.includesValues = false;
  wanted.properties.clear();
  if (stores().size() > 1 && _sortDescriptors) {
    std::vector<Value> rows;
    bool isCut = false;
    wanted.limit = wanted.offset = 0;
    for (const Ref<NSPersistentStore>& store : stores()) {
      if (!fetchRows(*store, wanted, rows, isCut, error)) return false;
    }
    const Ref<NSArray> sorted =
        sortedArrayUsingDescriptors(NSArray::arrayWithValues(std::move(rows)), _sortDescriptors);
    for (const Value& row : sorted) found.push_back(recordOf(*as<StoredRow>(row)));
    cut(found);
    return true;
  }
  bool isCut = false;
  for (const Ref<NSPersistentStore>& store : stores()) {
    const StoreQueryPlan plan = store->planQuery(wanted);
    const bool isWhole = !plan.remainingPredicate && (plan.sorts || !_sortDescriptors);
    if (isWhole && (plan.limits || (wanted.limit == 0 && wanted.offset == 0))) {
      FoundRecordReceiver receiver(*store, found);
      if (!store->fetchRows(wanted, receiver, error)) return false;
      isCut = plan.limits;
      continue;
    }
    const auto take = [&](StoredRow& row) { found.push_back(recordOf(row)); };
    if (!visitRows(*store, wanted, take, isCut, error)) return false;
  }
  if (stores().size() > 1 || !isCut) cut(found);
  return true;
}

Ref<NSArray> ContextFetch::identifiers(Ref<NSError>* error) {
  std::vector<FoundRecord> found;
  if (!records(true, found, error)) return nullptr;
  std::vector<Value> identifiers;
  identifiers.reserve(found.size());
  for (const FoundRecord& record : found) identifiers.emplace_back(record.objectID());
  return NSArray::arrayWithValues(std::move(identifiers));
}

Ref<NSArray> ContextFetch::batches(Ref<NSError>* error) {
  std::vector<FoundRecord> found;
  if (!records(!_dictionaries, found, error)) return nullptr;
  std::unique_ptr<BatchReader> reader;
  if (_dictionaries) {
    reader = std::make_unique<DictionaryBatchReader>(_context._registry, std::move(_dictionaries));
  } else {
    reader = std::make_unique<ObjectBatchReader>(
        _context._registry, _reading, std::move(_prefetching), _request.returnsObjectsAsFaults());
  }
  return makeObject<BatchArray>(std::move(found), _request.fetchBatchSize(), std::move(reader));
}

}  // namespace JNFoundation::impl
