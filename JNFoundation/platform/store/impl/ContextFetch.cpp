#include "JNFoundation/platform/store/impl/ContextFetch.h"

#include <algorithm>
#include <iterator>

#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/impl/ConstantReplacing.h>
#include <JNFoundation/platform/store/impl/DictionaryPlan.h>
#include <JNFoundation/platform/store/impl/ObjectReceiver.h>
#include <JNFoundation/platform/store/impl/ParentContext.h>
#include <JNFoundation/platform/store/impl/Prefetching.h>
#include <JNFoundation/platform/store/impl/QueryCheck.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// The order of two values by the descriptors.
NSComparisonResult order(const Ref<NSArray>& descriptors, const Value& left, const Value& right) {
  for (const Value& value : *descriptors) {
    const auto* descriptor = as<NSSortDescriptor>(value);
    const NSComparisonResult result = descriptor->compareObjectToObject(left, right);
    if (result != NSOrderedSame) return result;
  }
  return NSOrderedSame;
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
  checkForm();
  const bool isGrouped = _dictionaries && _dictionaries->isGrouped();
  if (!isGrouped && request.sortDescriptors() && request.sortDescriptors()->count() > 0) {
    checkSortKeys(*_entity, *request.sortDescriptors());
    _sortDescriptors = request.sortDescriptors();
  }
  _isInMemory = !_dictionaries && looksAtChangedObjects();
  // What a parent has it gives out of its own queue: nobody may wait for that with the lock.
  if (!context.parentContext() || request.resultType() == NSDictionaryResultType) openStores();
}

void ContextFetch::openStores() {
  const Ref<NSPersistentStoreCoordinator>& coordinator = _context.persistentStoreCoordinator();
  _lock = std::unique_lock(coordinator->storeLock());
  const Ref<NSArray> stores = coordinator->persistentStores();
  for (const Value& value : *stores) {
    auto* store = as<NSPersistentStore>(value);
    if (_request.affectedStores() && !_request.affectedStores()->containsObject(value)) continue;
    const auto family = _entity->layout().family();
    const bool isConcerned =
        store->takes(*_entity) ||
        std::any_of(family.begin(), family.end(),
                    [&](const NSEntityDescription* member) { return store->takes(*member); });
    if (isConcerned) _stores.emplace_back(store);
  }
}

/// Finds out what the result is to be like.
void ContextFetch::checkForm() {
  const bool groups = _request.propertiesToGroupBy() && _request.propertiesToGroupBy()->count() > 0;
  if (_request.resultType() == NSDictionaryResultType) {
    if (_wantsObjects) {
      raise(NSInvalidArgumentException,
            "A fetch of dictionaries cannot use the predicate %@, which speaks of objects",
            Value(_predicate));
    }
    _dictionaries = std::make_unique<DictionaryPlan>(*_entity, _request);
  } else if (!groups) {
    readInPart();
  } else {
    raise(NSInvalidArgumentException,
          "Invalid fetch request: GROUP BY requires NSDictionaryResultType");
  }
  if (_request.havingPredicate() && !groups) {
    raise(NSInvalidArgumentException, "Invalid fetch request: HAVING with no GROUP BY: %@",
          Value(_request.havingPredicate()));
  }
}

bool ContextFetch::looksAtChangedObjects() const {
  if (!_request.includesPendingChanges() || _context._changes->isEmpty()) return false;
  RelatedEntities related(*_entity);
  if (_predicate) related.add(*_predicate);
  if (_sortDescriptors) related.add(*_sortDescriptors);
  if (related.isEmpty()) return false;
  bool found = false;
  for (const ChangeList* list :
       {&_context._changes->inserted, &_context._changes->updated, &_context._changes->deleted}) {
    list->forEach(
        [&](const NSManagedObject& object) { found = found || related.has(*object.entity()); });
  }
  return found;
}

/// Finds out what objects are read, and what is read along with them.
void ContextFetch::readInPart() {
  _prefetching =
      std::make_unique<Prefetching>(*_entity, _request.relationshipKeyPathsForPrefetching());
  _reading.includesValues = _request.includesPropertyValues();
  _reading.refreshes = _request.shouldRefreshRefetchedObjects();
  if (!_request.propertiesToFetch() || _request.resultType() != NSManagedObjectResultType) return;
  const EntityLayout& layout = _entity->layout();
  for (const Value& property : *_request.propertiesToFetch()) {
    const auto* description = as<NSPropertyDescription>(property);
    const auto* text = as<NSString>(property);
    const Ref<NSString> name =
        description ? description->name() : Ref<NSString>(const_cast<NSString*>(text));
    const std::size_t number = name ? layout.indexOf(*name) : EntityLayout::none;
    if (number != EntityLayout::none && layout[number].stored && !layout[number].isToMany()) {
      _reading.properties.push_back(layout[number].name);
    } else if (!name || name->utf8() != "objectID") {
      raise(
          NSInvalidArgumentException,
          "Invalid property %@ passed to setPropertiesToFetch: objects of entity '%@' are read by "
          "attributes and relationships to one of their own",
          property, _entity->name());
    }
  }
  // Nothing but identifiers.
  if (_reading.properties.empty()) _reading.includesValues = false;
}

StoreQuery ContextFetch::query() const {
  StoreQuery query;
  query.entity = _entity.get();
  query.includesSubentities = _request.includesSubentities();
  if (_isInMemory) return query;
  query.predicate = _rowPredicate;
  query.sortDescriptors = _sortDescriptors;
  query.limit = _request.fetchLimit();
  query.offset = _request.fetchOffset();
  query.includesValues = _dictionaries || _reading.includesValues;
  query.properties = _reading.properties;
  // The limit holds for all stores together.
  if (_stores.size() > 1 && query.limit > 0) {
    query.limit += query.offset;
    query.offset = 0;
  }
  return query;
}

/// What rows compare with where a predicate names objects or identifiers, one or several.
Value ContextFetch::standInFor(const Value& constant) const {
  return withReplacedMembers(constant, [&](const Value& value) -> std::optional<Value> {
    Ref<NSManagedObjectID> objectID;
    if (const auto* object = as<NSManagedObject>(value)) objectID = object->objectID();
    if (auto* identifier = as<NSManagedObjectID>(value)) {
      objectID = Ref<NSManagedObjectID>(identifier);
    }
    if (!objectID) return std::nullopt;
    Ref<NSPersistentStore> store;
    return Value(makeObject<RecordIdentity>(
        ObjectAccess::keyOf(*objectID, _context.persistentStoreCoordinator().get(), store)));
  });
}

RowSource& ContextFetch::sourceOf(NSPersistentStore& store) {
  for (const auto& source : _sources) {
    if (&source->store() == &store) return *source;
  }
  return *_sources.emplace_back(std::make_unique<RowSource>(store));
}

// ---- Records ------------------------------------------------------------------------------------

bool ContextFetch::fetchRows(NSPersistentStore& store, const StoreQuery& query,
                             std::vector<Value>& rows, bool& isCut, Ref<NSError>* error) {
  StoreQuery everything = query;
  everything.includesValues = true;
  everything.properties.clear();
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
  ObjectReading reading = _reading;
  reading.properties = query.properties;
  reading.includesValues = query.includesValues;
  ObjectReceiver receiver(store, _context._registry, reading, objects);
  if (!plan.remainingPredicate && sorts &&
      (plan.limits || (query.limit == 0 && query.offset == 0))) {
    if (!store.fetchRows(query, receiver, error)) return false;
    receiver.noteRefreshed();
    return true;
  }
  const std::size_t before = objects.size();
  if (plan.remainingPredicate && wantsObjects(*plan.remainingPredicate)) {
    // The predicate wants to see the objects themselves.
    StoreQuery everything = query;
    everything.limit = 0;
    everything.offset = 0;
    everything.includesValues = true;
    everything.properties.clear();
    reading.includesValues = true;
    reading.properties.clear();
    ObjectReceiver all(store, _context._registry, reading, objects);
    if (!store.fetchRows(everything, all, error)) return false;
    all.noteRefreshed();
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
    receiver.endRow();
  }
  receiver.noteRefreshed();
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
  if (_isInMemory) return true;
  if (!_request.includesPendingChanges() || _context._changes->isEmpty()) return false;
  bool found = false;
  for (const ChangeList* list :
       {&_context._changes->inserted, &_context._changes->updated, &_context._changes->deleted}) {
    list->forEach([&](const NSManagedObject& object) { found = found || concerns(object); });
  }
  return found;
}

/// The request as the parent may keep it. A predicate that wants true objects means the child's.
Ref<NSFetchRequest> ContextFetch::requestForParent(const StoreQuery& wanted) const {
  const Value copied = _request.copy();
  Ref<NSFetchRequest> request(as<NSFetchRequest>(copied));
  request->setEntity(_entity);
  request->setResultType(NSManagedObjectResultType);
  const bool isLeft = _wantsObjects || _isInMemory;
  request->setPredicate(isLeft ? nullptr : ParentContext::withIdentifiers(_predicate));
  request->setFetchLimit(isLeft ? 0 : wanted.limit);
  request->setFetchOffset(isLeft ? 0 : wanted.offset);
  request->setFetchBatchSize(0);
  request->setPropertiesToFetch(nullptr);
  request->setIncludesPendingChanges(true);
  request->setReturnsObjectsAsFaults(true);
  return request;
}

bool ContextFetch::objectsOfParent(const StoreQuery& wanted, Objects& objects,
                                   Ref<NSError>* error) {
  if (!ParentContext(_context).fetch(requestForParent(wanted), objects, error)) return false;
  if (!_wantsObjects || _isInMemory) return true;
  std::erase_if(objects, [&](const Ref<NSManagedObject>& object) { return !matches(*object); });
  StoreQuery rest = wanted;
  if (rest.offset > 0) {
    objects.erase(objects.begin(),
                  objects.begin() + static_cast<std::ptrdiff_t>(
                                        std::min<NSUInteger>(rest.offset, objects.size())));
  }
  if (rest.limit > 0 && objects.size() > rest.limit) objects.resize(rest.limit);
  return true;
}

bool ContextFetch::objects(Objects& objects, Ref<NSError>* error) {
  StoreQuery wanted = query();
  const bool pending = hasPendingChanges();
  // What is to be put in order beside changed objects is looked at.
  if (pending && _sortDescriptors) {
    wanted.properties.clear();
    wanted.includesValues = true;
  }
  if (pending && (wanted.limit > 0 || wanted.offset > 0)) {
    // As many more as may turn out to be gone or changed, so that enough are left.
    if (wanted.limit > 0) {
      wanted.limit +=
          wanted.offset + _context._changes->updated.count() + _context._changes->deleted.count();
    }
    wanted.offset = 0;
  }
  if (_context.parentContext() && !objectsOfParent(wanted, objects, error)) return false;
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

void ContextFetch::mergePendingChanges(Objects& objects) {
  Objects changed;
  Objects kept;
  kept.reserve(objects.size());
  std::vector<const NSManagedObject*> seen;
  for (Ref<NSManagedObject>& object : objects) {
    if (object->isDeleted()) continue;
    if (!object->isUpdated() && !_isInMemory) {
      kept.push_back(std::move(object));
      continue;
    }
    seen.push_back(object.get());
    if (matches(*object)) changed.push_back(std::move(object));
  }
  std::sort(seen.begin(), seen.end());
  for (const ChangeList* list : {&_context._changes->updated, &_context._changes->inserted}) {
    for (Ref<NSManagedObject>& object : list->objects()) {
      if (std::binary_search(seen.begin(), seen.end(), object.get())) continue;
      if (concerns(*object) && matches(*object)) changed.push_back(std::move(object));
    }
  }
  const auto isBefore = [&](const Ref<NSManagedObject>& left, const Ref<NSManagedObject>& right) {
    if (_sortDescriptors) {
      const NSComparisonResult result = order(_sortDescriptors, left, right);
      if (result != NSOrderedSame) return result == NSOrderedAscending;
    }
    return comesBefore(*left, *right);
  };
  // Descriptors of the application may contradict themselves: no other sort is safe then.
  std::stable_sort(changed.begin(), changed.end(), isBefore);
  objects.clear();
  std::merge(std::make_move_iterator(kept.begin()), std::make_move_iterator(kept.end()),
             std::make_move_iterator(changed.begin()), std::make_move_iterator(changed.end()),
             std::back_inserter(objects), isBefore);
}

NSUInteger ContextFetch::count(Ref<NSError>* error) {
  if (_request.resultType() == NSDictionaryResultType) {
    Ref<NSArray> rows = dictionaries(error);
    return rows ? rows->count() : static_cast<NSUInteger>(NSNotFound);
  }
  StoreQuery wanted = query();
  wanted.includesValues = false;
  if (_context.parentContext() && !_wantsObjects && !hasPendingChanges()) {
    return ParentContext(_context).count(requestForParent(wanted), error);
  }
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
  // What comes from a parent comes with its values.
  const bool hasStores = !_context.parentContext();
  if (_request.fetchBatchSize() > 0 && hasStores) return batches(error);
  Objects list;
  if (!objects(list, error)) return nullptr;
  if (_lock.owns_lock()) _lock.unlock();
  Objects companions;
  if (!_request.returnsObjectsAsFaults()) {
    if (hasStores && !readFaults(list, _context._registry, companions, error)) return nullptr;
    for (const Ref<NSManagedObject>& object : list) {
      if (object->isFault()) ObjectAccess::fire(*object);
    }
  }
  if (hasStores && !_prefetching->read(list, _context._registry, companions, error)) {
    return nullptr;
  }
  std::vector<Value> values;
  values.reserve(list.size());
  for (Ref<NSManagedObject>& object : list) values.emplace_back(std::move(object));
  if (companions.empty()) return NSArray::arrayWithValues(std::move(values));
  return makeObject<AccompaniedArray>(std::move(values), std::move(companions));
}

}  // namespace JNFoundation::impl
