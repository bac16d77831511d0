#pragma once

#include <algorithm>
#include <memory>

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/impl/BatchArray.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/ObjectReceiver.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>

namespace JNFoundation::inline v0_1 {

class NSPersistentStoreCoordinator;
class NSPredicate;

namespace impl {

class DictionaryPlan;
class Prefetching;

/// One execution of a fetch request in a context: asks the stores, does what they leave, and takes
/// unsaved changes into account.
class ContextFetch {
 public:
  /// Fails: raises NSInvalidArgumentException for a request that makes no sense.
  ContextFetch(NSManagedObjectContext& context, const NSFetchRequest& request);
  ~ContextFetch();

  // Fail, beside what they return: throw UnreadableRows, and raise NSObjectInaccessibleException
  // where what the predicate asks of objects cannot be read.

  /// Returns: null on failure, with the error set.
  Ref<NSArray> execute(NSFetchRequestResultType type, Ref<NSError>* error);
  /// Returns: NSNotFound on failure.
  NSUInteger count(Ref<NSError>* error);
  /// Shows what the dictionaries of the request would hold, each in the order of its properties,
  /// until the block says that it has enough.
  bool visitValues(const Block<bool(std::span<Value> values)>& visit, Ref<NSError>* error);
  /// Appends what the request finds, in its order, without reading it. Takes: whether unsaved
  /// changes are taken into account, where the request asks for that.
  bool records(bool includesPendingChanges, std::vector<FoundRecord>& found, Ref<NSError>* error);
  /// The stores that are open, with the lock held.
  const std::vector<Ref<NSPersistentStore>>& stores() const noexcept { return _stores; }

  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }
  /// Whether the object, as it is in the context, is one that the request asks for.
  bool includes(const NSManagedObject& object) const { return concerns(object) && matches(object); }

 private:
  using Objects = std::vector<Ref<NSManagedObject>>;

  void checkForm();
  void openStores();
  StoreQuery query() const;
  Ref<NSFetchRequest> requestForParent(const StoreQuery& wanted) const;
  /// Appends the objects of the query in the context above.
  bool objectsOfParent(const StoreQuery& wanted, Objects& objects, Ref<NSError>* error);
  bool concerns(const NSManagedObject& object) const;
  bool matches(const NSManagedObject& object) const;
  Value standInFor(const Value& constant) const;
  RowSource& sourceOf(NSPersistentStore& store);
  bool hasPendingChanges() const;
  /// Whether the predicate or the order look at other objects with unsaved changes, of which a
  /// store knows nothing.
  bool looksAtChangedObjects() const;
  /// Appends the objects of the query in one store, all of it done.
  bool fetchObjects(NSPersistentStore& store, const StoreQuery& query, Objects& objects,
                    Ref<NSError>* error);
  /// Appends the records of the query in one store, with their values. `isCut` says whether offset
  /// and limit are done.
  bool fetchRows(NSPersistentStore& store, const StoreQuery& query, std::vector<Value>& rows,
                 bool& isCut, Ref<NSError>* error);
  bool objects(Objects& objects, Ref<NSError>* error);
  void mergePendingChanges(Objects& objects);
  void readInPart();
  Ref<NSArray> identifiers(Ref<NSError>* error);
  /// The result as an array that reads batches.
  Ref<NSArray> batches(Ref<NSError>* error);
  Ref<NSArray> dictionaries(Ref<NSError>* error);
  Ref<NSArray> dictionariesOfRecords(Ref<NSError>* error);
  Ref<NSArray> dictionariesOfGroups(Ref<NSError>* error);
  /// The same of a request that does not group.
  bool visitFields(const Block<bool(std::span<Value> fields)>& visit, Ref<NSError>* error);
  /// The groups that the request asks for, as the plan takes them.
  bool chosenGroups(std::vector<Value>& chosen, Ref<NSError>* error);
  /// Shows every record of the query in one store, in its order; offset and limit are left, unless
  /// `isCut` says otherwise.
  bool visitRows(NSPersistentStore& store, const StoreQuery& query,
                 const Block<void(StoredRow& row)>& visit, bool& isCut, Ref<NSError>* error);
  /// Makes groups of the records of the stores.
  bool collectGroups(std::vector<std::vector<Value>>& groups, Ref<NSError>* error);
  template <class Items>
  void cut(Items& items) const {
    const auto offset = std::min<NSUInteger>(_request.fetchOffset(), items.size());
    items.erase(items.begin(), items.begin() + static_cast<std::ptrdiff_t>(offset));
    if (_request.fetchLimit() > 0 && items.size() > _request.fetchLimit()) {
      items.erase(items.begin() + static_cast<std::ptrdiff_t>(_request.fetchLimit()), items.end());
    }
  }

  NSManagedObjectContext& _context;
  const NSFetchRequest& _request;
  Ref<NSEntityDescription> _entity;
  Ref<NSArray> _sortDescriptors;
  /// Null stands for every record.
  Ref<NSPredicate> _predicate;
  /// The same as rows answer it: with identities in place of the objects that it names.
  Ref<NSPredicate> _rowPredicate;
  bool _wantsObjects = false;
  /// Whether predicate, order and limit are left to the objects here.
  bool _isInMemory = false;
  /// Where dictionaries are asked for.
  std::unique_ptr<DictionaryPlan> _dictionaries;
  ObjectReading _reading;
  std::unique_ptr<Prefetching> _prefetching;
  std::vector<std::unique_ptr<RowSource>> _sources;
  std::vector<Ref<NSPersistentStore>> _stores;
  std::unique_lock<std::recursive_mutex> _lock;
};

}  // namespace impl
}  // namespace JNFoundation
