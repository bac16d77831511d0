#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSBatchDeleteResult.h>
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

using Numbers = std::vector<std::int64_t>;

/// Notes the records that many others lead to.
class EndReceiver final : public StoreRelatedReceiver {
 public:
  EndReceiver(const NSPersistentStore& store, std::vector<FoundRecord>& ends)
      : _store(store), _ends(ends) {}

  void beginOwner(std::int64_t primaryKey) override { owner = primaryKey; }
  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override {
    _ends.push_back({_store.hierarchyOf(entity), &entity, primaryKey, version});
    owners.push_back(owner);
    return nullptr;
  }
  void endRow() override {}

  std::int64_t owner = 0;
  /// Of each end.
  Numbers owners;

 private:
  const NSPersistentStore& _store;
  std::vector<FoundRecord>& _ends;
};

/// What goes in one store, and what that does to others.
class StoreDeletion {
 public:
  explicit StoreDeletion(NSPersistentStore& store) : _store(store) {}

  NSPersistentStore& store() const noexcept { return _store; }
  const std::vector<FoundRecord>& gone() const noexcept { return _gone; }

  void add(const FoundRecord& record) {
    if (_numbers[record.hierarchy].insert(record.number).second) _gone.push_back(record);
  }

  bool run(Ref<NSError>* error) {
    // What goes along joins the list.
    for (std::size_t first = 0; first < _gone.size();) {
      std::size_t end = first + 1;
      while (end < _gone.size() && end - first < batchChunk &&
             _gone[end].entity == _gone[first].entity) {
        ++end;
      }
      if (!applyRules(first, end, error)) return false;
      first = end;
    }
    return checkDenied(error) && clearReferences(error) && removeRecords(error);
  }

 private:
  struct Denial {
    const NSRelationshipDescription* relationship;
    FoundRecord end;
  };
  /// The relationships to one of a record that lead to what goes.
  using Cleared = std::vector<const NSRelationshipDescription*>;

  bool isGone(const StoreHierarchy* hierarchy, std::int64_t number) const {
    const auto numbers = _numbers.find(hierarchy);
    return numbers != _numbers.end() && numbers->second.count(number) > 0;
  }

  bool applyRules(std::size_t first, std::size_t end, Ref<NSError>* error) {
    const NSEntityDescription& entity = *_gone[first].entity;
    const EntityLayout& layout = entity.layout();
    if (!layout.hasRelationships()) return true;
    Numbers numbers;
    for (std::size_t i = first; i < end; ++i) numbers.push_back(_gone[i].number);
    for (const std::size_t place : layout.toManys()) {
      const NSRelationshipDescription& relationship = *layout[place].relationship;
      if (relationship.isTransient() || !matters(relationship)) continue;
      std::vector<FoundRecord> ends;
      EndReceiver receiver(_store, ends);
      if (!_store.fetchRelatedOfAll(relationship, numbers, false, receiver, error)) return false;
      for (const FoundRecord& one : ends) applyRule(relationship, one);
    }
    const bool leadsToOne =
        std::any_of(layout.toOnes().begin(), layout.toOnes().end(), [&](std::size_t place) {
          return layout[place].stored && matters(*layout[place].relationship);
        });
    return !leadsToOne || followOnes(entity, numbers, error);
  }

  static bool matters(const NSRelationshipDescription& relationship) {
    switch (relationship.deleteRule()) {
      case NSCascadeDeleteRule:
      case NSDenyDeleteRule:
        return true;
      case NSNullifyDeleteRule:
        return clears(relationship);
      default:
        return false;
    }
  }

  /// Whether the other end names this one; pairs go with the records.
  static bool clears(const NSRelationshipDescription& relationship) {
    const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
    return inverse && !inverse->isToMany() && !inverse->isTransient();
  }

  bool followOnes(const NSEntityDescription& entity, const Numbers& numbers, Ref<NSError>* error) {
    RowSource source(_store);
    RowCollector collector(source);
    if (!_store.fetchRecords(entity, numbers, true, collector, error)) return false;
    const EntityLayout& layout = entity.layout();
    for (const std::size_t place : layout.toOnes()) {
      const NSRelationshipDescription& relationship = *layout[place].relationship;
      if (!layout[place].stored || !matters(relationship)) continue;
      Numbers wanted;
      for (const Value& value : collector.rows) {
        const auto& row = *as<StoredRow>(value);
        const auto* identifier = as<NSManagedObjectID>(row.values()[place]);
        if (identifier) wanted.push_back(identifier->number());
      }
      std::sort(wanted.begin(), wanted.end());
      wanted.erase(std::unique(wanted.begin(), wanted.end()), wanted.end());
      std::vector<FoundRecord> ends;
      EndReceiver receiver(_store, ends);
      if (!_store.fetchRecords(*relationship.destinationEntity(), wanted, false, receiver, error)) {
        return false;
      }
      for (const FoundRecord& end : ends) applyRule(relationship, end);
    }
    return true;
  }

  void applyRule(const NSRelationshipDescription& relationship, const FoundRecord& end) {
    if (relationship.deleteRule() == NSCascadeDeleteRule) add(end);
    if (relationship.deleteRule() == NSDenyDeleteRule) _denials.push_back({&relationship, end});
    if (relationship.deleteRule() != NSNullifyDeleteRule || !clears(relationship)) return;
    const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
    Cleared& cleared = _cleared[end.hierarchy][end.number];
    if (std::find(cleared.begin(), cleared.end(), inverse.get()) == cleared.end()) {
      cleared.push_back(inverse.get());
    }
  }

  bool checkDenied(Ref<NSError>* error) const {
    for (const Denial& denial : _denials) {
      if (isGone(denial.end.hierarchy, denial.end.number)) continue;
      return fail(
          error, cocoaError(NSValidationRelationshipDeniedDeleteError,
                            NSString::stringWithFormat(
                                "The relationship '%@' of a record of entity '%@' keeps the "
                                "record from being deleted.",
                                denial.relationship->name(), denial.relationship->entity()->name()),
                            {{NSValidationKeyErrorKey, denial.relationship->name()}}));
    }
    return true;
  }

  bool clearReferences(Ref<NSError>* error) {
    for (auto& [hierarchy, records] : _cleared) {
      Numbers numbers;
      for (const auto& [number, cleared] : records) {
        if (!isGone(hierarchy, number)) numbers.push_back(number);
      }
      std::sort(numbers.begin(), numbers.end());
      for (std::size_t first = 0; first < numbers.size(); first += batchChunk) {
        const std::size_t count = std::min(batchChunk, numbers.size() - first);
        if (!clearChunk(*hierarchy, std::span(numbers).subspan(first, count), records, error)) {
          return false;
        }
      }
    }
    return true;
  }

  bool clearChunk(const StoreHierarchy& hierarchy, std::span<const std::int64_t> numbers,
                  const std::unordered_map<std::int64_t, Cleared>& records, Ref<NSError>* error) {
    RowSource source(_store);
    RowCollector collector(source);
    if (!_store.fetchRecords(*hierarchy.root, numbers, true, collector, error)) return false;
    std::vector<ValueArray> fresh;
    std::vector<StoreRowChange> changes;
    for (const Value& value : collector.rows) {
      const auto& row = *as<StoredRow>(value);
      const EntityLayout& layout = row.entity().layout();
      ValueArray& values = fresh.emplace_back(layout.count());
      for (std::size_t i = 0; i < layout.count(); ++i) values[i] = row.values()[i];
      for (const NSRelationshipDescription* relationship : records.at(row.primaryKey())) {
        const std::size_t place = layout.indexOf(*relationship->name());
        values[place] = nullptr;
        if (!PlainValues::checkMissing(row.entity(), place, values[place], error)) return false;
      }
      changes.push_back({StoreRowChange::Kind::Update, &row.entity(), row.primaryKey(),
                         values.get(), row.values(), row.version()});
    }
    return changes.empty() || _store.writeRows(changes, nullptr, error);
  }

  bool removeRecords(Ref<NSError>* error) {
    std::vector<StoreRowChange> changes;
    for (std::size_t first = 0; first < _gone.size(); first += batchChunk) {
      changes.clear();
      for (std::size_t i = first; i < std::min(first + batchChunk, _gone.size()); ++i) {
        const FoundRecord& record = _gone[i];
        changes.push_back({StoreRowChange::Kind::Delete, record.entity, record.number, nullptr,
                           nullptr, record.version});
      }
      if (!_store.writeRows(changes, nullptr, error)) return false;
    }
    return true;
  }

  NSPersistentStore& _store;
  /// In the order in which they were found.
  std::vector<FoundRecord> _gone;
  std::unordered_map<const StoreHierarchy*, std::unordered_set<std::int64_t>> _numbers;
  std::vector<Denial> _denials;
  std::unordered_map<const StoreHierarchy*, std::unordered_map<std::int64_t, Cleared>> _cleared;
};

class BatchDeletion {
 public:
  BatchDeletion(NSManagedObjectContext& context, const NSBatchDeleteRequest& request)
      : _context(context), _coordinator(*context.persistentStoreCoordinator()), _request(request) {}

  bool run(Ref<NSError>* error) {
    const std::lock_guard guard(_coordinator.storeLock());
    BatchTransaction transaction;
    const bool isFound = _request.fetchRequest() ? findByRequest(transaction, error)
                                                 : findByIdentifier(transaction, error);
    if (!isFound) return false;
    for (StoreDeletion& deletion : _deletions) {
      if (!deletion.gone().empty() &&
          (!transaction.begin(deletion.store(), error) || !deletion.run(error))) {
        return false;
      }
    }
    return transaction.commit(error);
  }

  Value result() const {
    const NSBatchDeleteRequestResultType type = _request.resultType();
    NSUInteger count = 0;
    std::vector<Value> identifiers;
    for (const StoreDeletion& deletion : _deletions) {
      count += deletion.gone().size();
      if (type != NSBatchDeleteResultTypeObjectIDs) continue;
      for (const FoundRecord& record : deletion.gone()) identifiers.emplace_back(record.objectID());
    }
    Value result = true;
    if (type == NSBatchDeleteResultTypeCount) result = count;
    if (type == NSBatchDeleteResultTypeObjectIDs) {
      result = Value(NSArray::arrayWithValues(std::move(identifiers)));
    }
    return Value(makeObject<NSBatchDeleteResult>(type, std::move(result)));
  }

 private:
  StoreDeletion& deletionIn(NSPersistentStore& store) {
    for (StoreDeletion& deletion : _deletions) {
      if (&deletion.store() == &store) return deletion;
    }
    return _deletions.emplace_back(store);
  }

  bool isAffected(const NSPersistentStore& store) const {
    const Ref<NSArray>& affected = _request.affectedStores();
    return !affected || affected->containsObject(Value(const_cast<NSPersistentStore*>(&store)));
  }

  bool findByRequest(BatchTransaction& transaction, Ref<NSError>* error) {
    const NSFetchRequest& given = *_request.fetchRequest();
    if (given.predicate() && wantsObjects(*given.predicate())) {
      raise(NSInvalidArgumentException,
            "A batch delete cannot use the predicate %@, which speaks of objects",
            Value(given.predicate()));
    }
    auto wanted = NSFetchRequest::init();
    wanted->setEntity(entityOfRequest(_coordinator, given.entity(), given.entityName()));
    wanted->setPredicate(given.predicate());
    wanted->setSortDescriptors(given.sortDescriptors());
    wanted->setFetchLimit(given.fetchLimit());
    wanted->setFetchOffset(given.fetchOffset());
    wanted->setIncludesSubentities(given.includesSubentities());
    wanted->setIncludesPendingChanges(false);
    wanted->setAffectedStores(_request.affectedStores() ? _request.affectedStores()
                                                        : given.affectedStores());
    wanted->setResultType(NSManagedObjectIDResultType);
    ContextFetch fetch(_context, *wanted);
    for (const Ref<NSPersistentStore>& store : fetch.stores()) {
      if (!store->isReadOnly() && !transaction.begin(*store, error)) return false;
    }
    std::vector<FoundRecord> found;
    if (!fetch.records(false, found, error)) return false;
    for (const FoundRecord& record : found) deletionIn(*record.hierarchy->store).add(record);
    return true;
  }

  bool findByIdentifier(BatchTransaction& transaction, Ref<NSError>* error) {
    std::vector<std::pair<const StoreHierarchy*, Numbers>> lists;
    for (const Value& value : *_request.objectIDs()) {
      const auto* identifier = as<NSManagedObjectID>(value);
      Ref<NSPersistentStore> store;
      ObjectKey key;
      if (identifier && !identifier->isTemporaryID()) {
        key = ObjectAccess::keyOf(*identifier, &_coordinator, store);
      }
      if (!key.hierarchy) {
        raise(NSInvalidArgumentException,
              "A batch delete takes identifiers of saved objects of the coordinator's stores, not "
              "%@",
              value);
      }
      if (!isAffected(*store)) continue;
      auto list = std::find_if(lists.begin(), lists.end(),
                               [&](const auto& one) { return one.first == key.hierarchy; });
      if (list == lists.end()) list = lists.insert(list, {key.hierarchy, {}});
      list->second.push_back(key.number);
    }
    for (auto& [hierarchy, numbers] : lists) {
      NSPersistentStore& store = *hierarchy->store;
      std::sort(numbers.begin(), numbers.end());
      numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
      std::vector<FoundRecord> found;
      EndReceiver receiver(store, found);
      if (!transaction.begin(store, error) ||
          !store.fetchRecords(*hierarchy->root, numbers, false, receiver, error)) {
        return false;
      }
      for (const FoundRecord& record : found) deletionIn(store).add(record);
    }
    return true;
  }

  NSManagedObjectContext& _context;
  const NSPersistentStoreCoordinator& _coordinator;
  const NSBatchDeleteRequest& _request;
  std::vector<StoreDeletion> _deletions;
};

}  // namespace

Value executeBatch(NSManagedObjectContext& context, const NSBatchDeleteRequest& request,
                   Ref<NSError>* error) {
  BatchDeletion deletion(context, request);
  return deletion.run(error) ? deletion.result() : Value();
}

}  // namespace JNFoundation::impl
