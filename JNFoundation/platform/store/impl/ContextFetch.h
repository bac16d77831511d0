#pragma once

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/impl/ContextChanges.h>
#include <JNFoundation/platform/store/impl/StoredRow.h>

namespace JNFoundation {

class NSExpressionDescription;
class NSPersistentStoreCoordinator;
class NSPredicate;

namespace impl {

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

 private:
  using Objects = std::vector<Ref<NSManagedObject>>;

  /// What a dictionary of the result gets.
  struct Column {
    Ref<NSString> name;
    /// The number of an attribute, or `none` for an expression or the identifier.
    std::size_t attribute;
    Ref<NSExpressionDescription> expression;
    bool aggregate;
  };

  StoreQuery query() const;
  bool concerns(const NSManagedObject& object) const;
  bool matches(const NSManagedObject& object) const;
  Value standInFor(const Value& constant) const;
  RowSource& sourceOf(NSPersistentStore& store);
  bool hasPendingChanges() const;
  /// Appends the objects of the query in one store, all of it done.
  bool fetchObjects(NSPersistentStore& store, const StoreQuery& query, Objects& objects,
                    Ref<NSError>* error);
  /// Appends the records of the query in one store, with their values. `isCut` says whether offset
  /// and limit are done.
  bool fetchRows(NSPersistentStore& store, const StoreQuery& query, std::vector<Value>& rows,
                 bool& isCut, Ref<NSError>* error);
  bool objects(Objects& objects, Ref<NSError>* error);
  bool mergePendingChanges(Objects& objects);
  Ref<NSArray> identifiers(Ref<NSError>* error);
  Ref<NSArray> dictionaries(Ref<NSError>* error);
  std::vector<Column> columns() const;
  Ref<NSDictionary> dictionaryOf(const std::vector<Column>& columns, const Value& row,
                                 const Value& allRows) const;
  /// The stores that are open, with the lock held.
  const std::vector<Ref<NSPersistentStore>>& stores() const noexcept { return _stores; }
  template <class Items>
  void cut(Items& items) const;

  NSManagedObjectContext& _context;
  const NSFetchRequest& _request;
  Ref<NSEntityDescription> _entity;
  Ref<NSArray> _sortDescriptors;
  /// Null stands for every record.
  Ref<NSPredicate> _predicate;
  /// The same as rows answer it: with identities in place of the objects that it names.
  Ref<NSPredicate> _rowPredicate;
  bool _wantsObjects = false;
  std::vector<std::unique_ptr<RowSource>> _sources;
  std::vector<Ref<NSPersistentStore>> _stores;
  std::unique_lock<std::recursive_mutex> _lock;
};

}  // namespace impl
}  // namespace JNFoundation
