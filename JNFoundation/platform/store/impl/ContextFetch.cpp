#include "JNFoundation/platform/store/impl/ContextFetch.h"

#include <algorithm>
#include <iterator>

#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSExpressionDescription.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ObjectReceiver.h>
#include <JNFoundation/platform/store/impl/QueryCheck.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation::impl {
namespace {

/// Collects identities only.
class IdentifierReceiver final : public StoreRowReceiver {
 public:
  IdentifierReceiver(const NSPersistentStore& store, std::vector<Value>& identifiers)
      : _store(store), _identifiers(identifiers) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t) override {
    _identifiers.emplace_back(ObjectAccess::makeID(
        Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(&entity)), primaryKey, &_store));
    return nullptr;
  }
  void endRow() override {}

 private:
  const NSPersistentStore& _store;
  std::vector<Value>& _identifiers;
};

/// The order of two values by the descriptors.
NSComparisonResult order(const Ref<NSArray>& descriptors, const Value& left, const Value& right) {
  for (const Value& value : *descriptors) {
    const auto* descriptor = as<NSSortDescriptor>(value);
    const NSComparisonResult result = descriptor->compareObjectToObject(left, right);
    if (result != NSOrderedSame) return result;
  }
  return NSOrderedSame;
}

/// A number in the form of the type that a computed value is declared to have; identifiers in place
/// of rows.
Value converted(const Value& value, NSAttributeType type) {
  if (const auto* row = as<StoredRow>(value)) return row->objectID();
  return value.isNumber() ? canonicalValue(value, type) : value;
}

}  // namespace

ContextFetch::~ContextFetch() = default;

ContextFetch::ContextFetch(NSManagedObjectContext& context, const NSFetchRequest& request)
    : _context(context), _request(request), _entity(request.entity()) {
  const Ref<NSPersistentStoreCoordinator>& coordinator = context.persistentStoreCoordinator();
  if (!coordinator) {
    raise(NSInternalInconsistencyException, "The context has no persistent store coordinator");
  }
  if (!_entity) {
    Ref<NSString> name = request.entityName();
    if (!name) {
      raise(NSInvalidArgumentException,
            "executeFetchRequest:error: A fetch request must have an "
            "entity.");
    }
    _entity = coordinator->managedObjectModel()->entityWithName(name->utf8());
    if (!_entity) {
      raise(NSInvalidArgumentException,
            "NSFetchRequest could not locate an NSEntityDescription for entity name '%@'", name);
    }
  } else if (_entity->managedObjectModel() != coordinator->managedObjectModel()) {
    raise(NSInvalidArgumentException,
          "The entity '%@' is not one of the model that the context works with", _entity->name());
  }
  _predicate = request.predicate();
  if (_predicate && _predicate->constantAnswer() && *_predicate->constantAnswer()) {
    _predicate = nullptr;
  }
  if (_predicate) {
    checkPredicateKeys(*_entity, *_predicate);
    _wantsObjects = wantsObjects(*_predicate);
    _rowPredicate = _predicate;
    if (!_wantsObjects && namesRecords(*_predicate)) {
      _rowPredicate = _predicate->predicateByReplacingConstants(
          [this](const Value& constant) { return standInFor(constant); });
    }
  }
  if (request.sortDescriptors() && request.sortDescriptors()->count() > 0) {
    checkSortKeys(*_entity, *request.sortDescriptors());
    _sortDescriptors = request.sortDescriptors();
  }
  _lock = std::unique_lock(coordinator->storeLock());
  const Ref<NSArray> stores = coordinator->persistentStores();
  for (const Value& value : *stores) {
    auto* store = as<NSPersistentStore>(value);
    const auto family = _entity->layout().family();
    const bool isConcerned =
        store->takes(*_entity) ||
        std::any_of(family.begin(), family.end(),
                    [&](const NSEntityDescription* member) { return store->takes(*member); });
    if (isConcerned) _stores.emplace_back(store);
  }
}

StoreQuery ContextFetch::query() const {
  StoreQuery query;
  query.entity = _entity.get();
  query.includesSubentities = _request.includesSubentities();
  query.predicate = _rowPredicate;
  query.sortDescriptors = _sortDescriptors;
  query.limit = _request.fetchLimit();
  query.offset = _request.fetchOffset();
  query.includesValues = _request.includesPropertyValues();
  // The limit holds for all stores together.
  if (_stores.size() > 1 && query.limit > 0) {
    query.limit += query.offset;
    query.offset = 0;
  }
  return query;
}

/// What rows compare with where a predicate names objects or identifiers, one or several.
Value ContextFetch::standInFor(const Value& constant) const {
  Ref<NSManagedObjectID> objectID;
  if (const auto* object = as<NSManagedObject>(constant)) objectID = object->objectID();
  if (auto* identifier = as<NSManagedObjectID>(constant)) {
    objectID = Ref<NSManagedObjectID>(identifier);
  }
  if (objectID) {
    Ref<NSPersistentStore> store;
    return Value(makeObject<RecordIdentity>(
        ObjectAccess::keyOf(*objectID, _context.persistentStoreCoordinator().get(), store)));
  }
  std::vector<Value> members;
  const auto addAll = [&](const auto& collection) {
    for (const Value& member : collection) members.push_back(standInFor(member));
  };
  if (const auto* array = as<NSArray>(constant)) {
    addAll(*array);
    return NSArray::arrayWithValues(std::move(members));
  }
  if (const auto* ordered = as<NSOrderedSet>(constant)) {
    addAll(*ordered);
    return NSOrderedSet::orderedSetWithValues(std::move(members));
  }
  if (const auto* set = as<NSSet>(constant)) {
    addAll(*set);
    return NSSet::setWithValues(std::move(members));
  }
  return constant;
}

RowSource& ContextFetch::sourceOf(NSPersistentStore& store) {
  for (const auto& source : _sources) {
    if (&source->store() == &store) return *source;
  }
  return *_sources.emplace_back(std::make_unique<RowSource>(store));
}

template <class Items>
void ContextFetch::cut(Items& items) const {
  const auto offset = std::min<NSUInteger>(_request.fetchOffset(), items.size());
  items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(offset));
  if (_request.fetchLimit() > 0 && items.size() > _request.fetchLimit()) {
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(_request.fetchLimit()), items.end());
  }
}

// ---- Records ------------------------------------------------------------------------------------

bool ContextFetch::fetchRows(NSPersistentStore& store, const StoreQuery& query,
                             std::vector<Value>& rows, bool& isCut, Ref<NSError>* error) {
  StoreQuery everything = query;
  everything.includesValues = true;
  const StoreQueryPlan plan = store.planQuery(everything);
  if (!plan.limits) everything.limit = everything.offset = 0;
  isCut = plan.limits;
  RowCollector collector(sourceOf(store));
  if (!store.fetchRows(everything, collector, error)) return false;
  if (plan.remainingPredicate) {
    std::erase_if(collector.rows, [&](const Value& row) {
      return !plan.remainingPredicate->evaluateWithObject(row);
    });
  }
  if (query.sortDescriptors && !plan.sorts) {
    Ref<NSArray> sorted = sortedArrayUsingDescriptors(
        NSArray::arrayWithValues(std::move(collector.rows)), query.sortDescriptors);
    rows.insert(rows.end(), sorted->contiguousElements()->begin(),
                sorted->contiguousElements()->end());
  } else {
    std::move(collector.rows.begin(), collector.rows.end(), std::back_inserter(rows));
  }
  return true;
}

bool ContextFetch::fetchObjects(NSPersistentStore& store, const StoreQuery& query, Objects& objects,
                                Ref<NSError>* error) {
  const StoreQueryPlan plan = store.planQuery(query);
  const bool sorts = !query.sortDescriptors || plan.sorts;
  ObjectReceiver receiver(store, _context._registry, query.includesValues, objects);
  if (!plan.remainingPredicate && sorts &&
      (plan.limits || (query.limit == 0 && query.offset == 0))) {
    return store.fetchRows(query, receiver, error);
  }
  const std::size_t before = objects.size();
  if (plan.remainingPredicate && wantsObjects(*plan.remainingPredicate)) {
    // The predicate wants to see the objects themselves.
    StoreQuery everything = query;
    everything.limit = 0;
    everything.offset = 0;
    everything.includesValues = true;
    ObjectReceiver all(store, _context._registry, true, objects);
    if (!store.fetchRows(everything, all, error)) return false;
    Objects found(std::make_move_iterator(objects.begin() + static_cast<std::ptrdiff_t>(before)),
                  std::make_move_iterator(objects.end()));
    objects.resize(before);
    std::erase_if(found, [&](const Ref<NSManagedObject>& object) {
      return !plan.remainingPredicate->evaluateWithObject(object);
    });
    if (!sorts) {
      std::stable_sort(found.begin(), found.end(), [&](const auto& left, const auto& right) {
        return order(query.sortDescriptors, left, right) == NSOrderedAscending;
      });
    }
    if (query.offset > 0) {
      found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(std::min<NSUInteger>(
                                                     query.offset, found.size())));
    }
    if (query.limit > 0 && found.size() > query.limit) found.resize(query.limit);
    std::move(found.begin(), found.end(), std::back_inserter(objects));
    return true;
  }
  // What the store leaves is done on its records, so that only those asked for become objects.
  std::vector<Value> rows;
  bool isCut = false;
  if (!fetchRows(store, query, rows, isCut, error)) return false;
  const NSUInteger first = isCut ? 0 : std::min<NSUInteger>(query.offset, rows.size());
  const NSUInteger end = query.limit == 0 || isCut
                             ? rows.size()
                             : std::min<NSUInteger>(rows.size() - first, query.limit) + first;
  for (NSUInteger i = first; i < end; ++i) {
    auto& row = *as<StoredRow>(rows[i]);
    Value* places = receiver.beginRow(row.entity(), row.primaryKey(), row.version());
    if (!places) continue;
    const std::size_t count = row.entity().layout().count();
    for (std::size_t k = 0; k < count; ++k) places[k] = std::move(row.ownedValues()[k]);
  }
  return true;
}

// ---- Objects ------------------------------------------------------------------------------------

bool ContextFetch::concerns(const NSManagedObject& object) const {
  return object.entity() == _entity ||
         (_request.includesSubentities() && object.entity()->isKindOfEntity(_entity));
}

bool ContextFetch::matches(const NSManagedObject& object) const {
  if (!_predicate) return true;
  const Ref<NSManagedObject> self(const_cast<NSManagedObject*>(&object));
  return _rowPredicate == _predicate
             ? _predicate->evaluateWithObject(self)
             : _rowPredicate->evaluateWithObject(makeObject<ObjectRow>(self));
}

bool ContextFetch::hasPendingChanges() const {
  if (!_request.includesPendingChanges() || _context._changes->isEmpty()) return false;
  bool found = false;
  for (const ChangeList* list :
       {&_context._changes->inserted, &_context._changes->updated, &_context._changes->deleted}) {
    list->forEach([&](const NSManagedObject& object) { found = found || concerns(object); });
  }
  return found;
}

bool ContextFetch::objects(Objects& objects, Ref<NSError>* error) {
  StoreQuery wanted = query();
  const bool pending = hasPendingChanges();
  if (pending && (wanted.limit > 0 || wanted.offset > 0)) {
    // As many more as may turn out to be gone or changed, so that enough are left.
    if (wanted.limit > 0) {
      wanted.limit +=
          wanted.offset + _context._changes->updated.count() + _context._changes->deleted.count();
    }
    wanted.offset = 0;
  }
  for (const Ref<NSPersistentStore>& store : stores()) {
    if (!fetchObjects(*store, wanted, objects, error)) return false;
  }
  if (stores().size() > 1 && _sortDescriptors) {
    std::stable_sort(objects.begin(), objects.end(), [&](const auto& left, const auto& right) {
      return order(_sortDescriptors, left, right) == NSOrderedAscending;
    });
  }
  if (pending) mergePendingChanges(objects);
  if (pending || stores().size() > 1) cut(objects);
  return true;
}

bool ContextFetch::mergePendingChanges(Objects& objects) {
  std::vector<Value> moved;
  const bool sorts = static_cast<bool>(_sortDescriptors);
  std::vector<const NSManagedObject*> seen;
  Objects kept;
  kept.reserve(objects.size());
  for (Ref<NSManagedObject>& object : objects) {
    if (object->isDeleted()) continue;
    if (object->isUpdated()) {
      seen.push_back(object.get());
      if (!matches(*object)) continue;
      if (sorts) {
        moved.emplace_back(std::move(object));
        continue;
      }
    }
    kept.push_back(std::move(object));
  }
  std::sort(seen.begin(), seen.end());
  Objects candidates = _context._changes->updated.objects();
  std::erase_if(candidates, [&](const Ref<NSManagedObject>& object) {
    return std::binary_search(seen.begin(), seen.end(), object.get());
  });
  Objects inserted = _context._changes->inserted.objects();
  std::move(inserted.begin(), inserted.end(), std::back_inserter(candidates));
  for (Ref<NSManagedObject>& object : candidates) {
    if (concerns(*object) && matches(*object)) moved.emplace_back(std::move(object));
  }
  if (!sorts) {
    for (const Value& value : moved) kept.emplace_back(as<NSManagedObject>(value));
    objects = std::move(kept);
    return true;
  }
  Ref<NSArray> sorted =
      sortedArrayUsingDescriptors(NSArray::arrayWithValues(std::move(moved)), _sortDescriptors);
  Objects changed;
  for (const Value& value : sorted) changed.emplace_back(as<NSManagedObject>(value));
  objects.clear();
  std::merge(std::make_move_iterator(kept.begin()), std::make_move_iterator(kept.end()),
             std::make_move_iterator(changed.begin()), std::make_move_iterator(changed.end()),
             std::back_inserter(objects), [&](const auto& left, const auto& right) {
               return order(_sortDescriptors, left, right) == NSOrderedAscending;
             });
  return true;
}

Ref<NSArray> ContextFetch::identifiers(Ref<NSError>* error) {
  std::vector<Value> found;
  StoreQuery wanted = query();
  wanted.includesValues = false;
  bool direct = stores().size() == 1 && !hasPendingChanges();
  if (direct) {
    const StoreQueryPlan plan = stores().front()->planQuery(wanted);
    direct = !plan.remainingPredicate && (plan.sorts || !_sortDescriptors) &&
             (plan.limits || (wanted.limit == 0 && wanted.offset == 0));
  }
  if (direct) {
    IdentifierReceiver receiver(*stores().front(), found);
    if (!stores().front()->fetchRows(wanted, receiver, error)) return nullptr;
  } else {
    Objects list;
    if (!objects(list, error)) return nullptr;
    for (const Ref<NSManagedObject>& object : list) found.emplace_back(object->objectID());
  }
  return NSArray::arrayWithValues(std::move(found));
}

NSUInteger ContextFetch::count(Ref<NSError>* error) {
  if (_request.resultType() == NSDictionaryResultType) {
    Ref<NSArray> rows = dictionaries(error);
    return rows ? rows->count() : static_cast<NSUInteger>(NSNotFound);
  }
  StoreQuery wanted = query();
  wanted.includesValues = false;
  if (stores().size() == 1 && !hasPendingChanges()) {
    NSPersistentStore& store = *stores().front();
    if (!store.planQuery(wanted).remainingPredicate) return store.countRows(wanted, error);
  }
  Objects list;
  return objects(list, error) ? list.size() : static_cast<NSUInteger>(NSNotFound);
}

Ref<NSArray> ContextFetch::execute(NSFetchRequestResultType type, Ref<NSError>* error) {
  switch (type) {
    case NSManagedObjectIDResultType:
      return identifiers(error);
    case NSDictionaryResultType:
      return dictionaries(error);
    case NSCountResultType: {
      const NSUInteger found = count(error);
      if (found == static_cast<NSUInteger>(NSNotFound)) return nullptr;
      return NSArray::arrayWithObject(found);
    }
    case NSManagedObjectResultType:
      break;
  }
  Objects list;
  if (!objects(list, error)) return nullptr;
  _lock.unlock();
  if (!_request.returnsObjectsAsFaults()) {
    for (const Ref<NSManagedObject>& object : list) {
      if (object->isFault()) ObjectAccess::fire(*object);
    }
  }
  std::vector<Value> values;
  values.reserve(list.size());
  for (Ref<NSManagedObject>& object : list) values.emplace_back(std::move(object));
  return NSArray::arrayWithValues(std::move(values));
}

// ---- Dictionaries -------------------------------------------------------------------------------

std::vector<ContextFetch::Column> ContextFetch::columns() const {
  const EntityLayout& layout = _entity->layout();
  std::vector<Column> columns;
  const auto addKey = [&](const Ref<NSString>& name) {
    const std::size_t index = layout.indexOf(*name);
    if (index == EntityLayout::none ? name->utf8() != "objectID" : !layout[index].stored) {
      raise(NSInvalidArgumentException,
            "Invalid keypath %@ passed to setPropertiesToFetch: of entity '%@'", name,
            _entity->name());
    }
    columns.push_back({name, index, nullptr, false});
  };
  if (!_request.propertiesToFetch()) {
    for (const EntityLayout::Slot& slot : layout.slots()) {
      if (slot.stored) addKey(slot.name);
    }
    return columns;
  }
  for (const Value& value : _request.propertiesToFetch()) {
    if (const auto* name = as<NSString>(value)) {
      addKey(Ref<NSString>(const_cast<NSString*>(name)));
    } else if (auto* computed = as<NSExpressionDescription>(value)) {
      if (!computed->name() || !computed->expression()) {
        raise(NSInvalidArgumentException, "An expression to fetch needs a name and an expression");
      }
      checkExpressionKeys(*_entity, *computed->expression());
      columns.push_back({computed->name(), EntityLayout::none,
                         Ref<NSExpressionDescription>(computed),
                         isAggregate(*computed->expression())});
    } else if (const auto* property = as<NSPropertyDescription>(value)) {
      addKey(property->name());
    } else {
      raise(NSInvalidArgumentException,
            "Invalid property %@ passed to setPropertiesToFetch:", value);
    }
  }
  const auto aggregates = std::count_if(columns.begin(), columns.end(),
                                        [](const Column& column) { return column.aggregate; });
  if (aggregates > 0 && static_cast<std::size_t>(aggregates) != columns.size()) {
    raise(NSInvalidArgumentException,
          "A fetch cannot mix values of one record with values of all of them without grouping");
  }
  return columns;
}

Ref<NSDictionary> ContextFetch::dictionaryOf(const std::vector<Column>& columns, const Value& row,
                                             const Value& allRows) const {
  NSDictionary::Builder builder(columns.size());
  for (const Column& column : columns) {
    Value value;
    if (column.expression) {
      value = column.expression->expression()->expressionValueWithObjectContext(
          column.aggregate ? allRows : row, nullptr);
      value = converted(value, column.expression->expressionResultType());
    } else if (column.attribute != EntityLayout::none) {
      value = as<StoredRow>(row)->attributeAtIndex(column.attribute);
    } else {
      value = as<StoredRow>(row)->objectID();
    }
    if (value.isNSNull()) value = nullptr;
    builder.set(column.name, std::move(value));
  }
  return builder.finish();
}

Ref<NSArray> ContextFetch::dictionaries(Ref<NSError>* error) {
  const std::vector<Column> wanted = columns();
  const bool aggregates = !wanted.empty() && wanted.front().aggregate;
  StoreQuery everything = query();
  if (aggregates || _request.returnsDistinctResults() || stores().size() > 1) {
    everything.limit = everything.offset = 0;
  }
  std::vector<Value> rows;
  bool isCut = false;
  for (const Ref<NSPersistentStore>& store : stores()) {
    if (_wantsObjects) {
      raise(NSInvalidArgumentException,
            "A fetch of dictionaries cannot use the predicate %@, which speaks of objects",
            Value(_predicate));
    }
    if (!fetchRows(*store, everything, rows, isCut, error)) return nullptr;
  }
  isCut = isCut && (everything.limit > 0 || everything.offset > 0);
  std::vector<Value> results;
  if (aggregates) {
    const Value all = NSArray::arrayWithValues(std::move(rows));
    results.emplace_back(dictionaryOf(wanted, nullptr, all));
  } else {
    if (stores().size() > 1 && _sortDescriptors) {
      Ref<NSArray> sorted =
          sortedArrayUsingDescriptors(NSArray::arrayWithValues(std::move(rows)), _sortDescriptors);
      rows = *sorted->contiguousElements();
    }
    if (!_request.returnsDistinctResults() && !isCut) cut(rows);
    results.reserve(rows.size());
    Ref<NSMutableSet> seen = NSMutableSet::set();
    for (const Value& row : rows) {
      Value result = dictionaryOf(wanted, row, nullptr);
      if (_request.returnsDistinctResults()) {
        if (seen->containsObject(result)) continue;
        seen->addObject(result);
      }
      results.push_back(std::move(result));
    }
    if (!_request.returnsDistinctResults()) return NSArray::arrayWithValues(std::move(results));
  }
  cut(results);
  return NSArray::arrayWithValues(std::move(results));
}

}  // namespace JNFoundation::impl
