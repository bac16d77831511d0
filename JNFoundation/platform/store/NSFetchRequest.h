#pragma once

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSPersistentStoreRequest.h>

namespace JNFoundation::inline v0_1 {

class NSPredicate;

/// What executing a request gives.
enum NSFetchRequestResultType : NSUInteger {
  NSManagedObjectResultType = 0,    ///< NSManagedObjects
  NSManagedObjectIDResultType = 1,  ///< NSManagedObjectIDs
  NSDictionaryResultType = 2,       ///< NSDictionaries of `propertiesToFetch`
  NSCountResultType = 4,            ///< one number: how many there are
};

/// What to look for in a store: an entity, a condition, an order, a limit, and the form of the
/// result.
///
///     auto request = NSFetchRequest::fetchRequestWithEntityName("Country");
///     request->setPredicate(NSPredicate::predicateWithFormat("name BEGINSWITH %@", "F"));
///     request->setFetchLimit(10);
///     Ref<NSArray> found = context->executeFetchRequestError(request, &error);
///
/// Threads: one at a time.
class NSFetchRequest : public NSPersistentStoreRequest {
 public:
  using Superclass = NSPersistentStoreRequest;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// NSFetchRequestType.
  NSPersistentStoreRequestType requestType() const noexcept override { return NSFetchRequestType; }

  /// A request without an entity, which has to be set before it is executed.
  static Ref<NSFetchRequest> init();
  static Ref<NSFetchRequest> fetchRequest() { return init(); }
  /// The entity of that name is looked up where the request is executed.
  static Ref<NSFetchRequest> fetchRequestWithEntityName(const Ref<NSString>& name);

  /// Null until it is set or the request was executed.
  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }
  void setEntity(const Ref<NSEntityDescription>& entity);
  /// Null while neither an entity nor a name is set.
  Ref<NSString> entityName() const;

  /// Null stands for every object.
  const Ref<NSPredicate>& predicate() const noexcept { return _predicate; }
  void setPredicate(const Ref<NSPredicate>& predicate);

  /// NSSortDescriptors, the first one decides first. Null or empty: the order of the records.
  /// Groups are sorted by the names of the result's values and of what they are grouped by.
  const Ref<NSArray>& sortDescriptors() const noexcept { return _sortDescriptors; }
  void setSortDescriptors(const Ref<NSArray>& descriptors);

  /// The most objects that the caller gets; 0 sets no limit.
  NSUInteger fetchLimit() const noexcept { return _fetchLimit; }
  void setFetchLimit(NSUInteger limit) noexcept { _fetchLimit = limit; }
  /// How many of the matching objects are left out at the front.
  NSUInteger fetchOffset() const noexcept { return _fetchOffset; }
  void setFetchOffset(NSUInteger offset) noexcept { _fetchOffset = offset; }
  /// How many objects are read at a time; 0 for all at once. Otherwise the result is an array that
  /// knows the identifiers, and reads a batch when one of its objects is first asked for. It keeps
  /// the batches that were used last; objects that nobody else has are read again when they are
  /// asked for again. Dictionaries are read in batches only where they have `objectID`.
  NSUInteger fetchBatchSize() const noexcept { return _fetchBatchSize; }
  void setFetchBatchSize(NSUInteger size) noexcept { _fetchBatchSize = size; }

  /// What the results are; objects unless it is set otherwise.
  NSFetchRequestResultType resultType() const noexcept { return _resultType; }
  void setResultType(NSFetchRequestResultType type) noexcept { _resultType = type; }

  /// Whether objects of descendants of the entity count as well. True unless it is set otherwise.
  bool includesSubentities() const noexcept { return _includesSubentities; }
  void setIncludesSubentities(bool includes) noexcept { _includesSubentities = includes; }
  /// Whether unsaved changes are taken into account. True unless it is set otherwise; results that
  /// are dictionaries always show what the store holds.
  bool includesPendingChanges() const noexcept { return _includesPendingChanges; }
  void setIncludesPendingChanges(bool includes) noexcept { _includesPendingChanges = includes; }
  /// Whether the values are read along with the identifiers. True unless it is set otherwise.
  bool includesPropertyValues() const noexcept { return _includesPropertyValues; }
  void setIncludesPropertyValues(bool includes) noexcept { _includesPropertyValues = includes; }
  /// Whether fetched objects are faults, whose values are at hand but count as not yet looked at.
  /// True unless it is set otherwise.
  bool returnsObjectsAsFaults() const noexcept { return _returnsObjectsAsFaults; }
  void setReturnsObjectsAsFaults(bool faults) noexcept { _returnsObjectsAsFaults = faults; }
  /// Whether equal dictionaries are given once.
  bool returnsDistinctResults() const noexcept { return _returnsDistinctResults; }
  void setReturnsDistinctResults(bool distinct) noexcept { _returnsDistinctResults = distinct; }
  /// Whether objects that the context has already, looked at and without changes of their own, take
  /// the values that the store has now.
  bool shouldRefreshRefetchedObjects() const noexcept { return _shouldRefreshRefetchedObjects; }
  void setShouldRefreshRefetchedObjects(bool refresh) noexcept {
    _shouldRefreshRefetchedObjects = refresh;
  }

  /// What a dictionary holds: attributes, relationships to one object (as its identifier) and
  /// "objectID", each by name, by a key path through relationships to one, or by description; and
  /// expression descriptions. Null stands for every stored attribute, or for what the records are
  /// grouped by. Where objects are asked for: the attributes and relationships that are read at
  /// once; looking at another one reads the rest.
  /// Fails: setting raises NSInvalidArgumentException while the request has no entity.
  const Ref<NSArray>& propertiesToFetch() const noexcept { return _propertiesToFetch; }
  void setPropertiesToFetch(const Ref<NSArray>& properties);

  /// What records must have in common to be one dictionary: as `propertiesToFetch`, without
  /// aggregates. Null: no groups. Dictionaries only; they hold nothing then but what the records
  /// are grouped by, constants, aggregate functions, and expressions of these.
  const Ref<NSArray>& propertiesToGroupBy() const noexcept { return _propertiesToGroupBy; }
  void setPropertiesToGroupBy(const Ref<NSArray>& properties);
  /// Which groups are given: a condition on the result's values and what the records are grouped
  /// by, each by its name, and on aggregate functions. Needs `propertiesToGroupBy`.
  const Ref<NSPredicate>& havingPredicate() const noexcept { return _havingPredicate; }
  void setHavingPredicate(const Ref<NSPredicate>& predicate);

  /// Key paths of relationships whose objects are read along with those that are fetched, in a few
  /// statements for all of them. They stay read as long as the result, or somebody else, has them.
  const Ref<NSArray>& relationshipKeyPathsForPrefetching() const noexcept {
    return _relationshipKeyPathsForPrefetching;
  }
  void setRelationshipKeyPathsForPrefetching(const Ref<NSArray>& keyPaths);

  /// A request of its own with the same settings.
  Value copy() const override;
  Ref<NSString> description() const override;

 protected:
  NSFetchRequest();
  NSFetchRequest(const NSFetchRequest& other, int);
  ~NSFetchRequest() override;

 private:
  Ref<NSEntityDescription> _entity;
  Ref<NSString> _entityName;
  Ref<NSPredicate> _predicate;
  Ref<NSArray> _sortDescriptors;
  Ref<NSArray> _propertiesToFetch;
  Ref<NSArray> _propertiesToGroupBy;
  Ref<NSPredicate> _havingPredicate;
  Ref<NSArray> _relationshipKeyPathsForPrefetching;
  NSUInteger _fetchLimit = 0;
  NSUInteger _fetchOffset = 0;
  NSUInteger _fetchBatchSize = 0;
  NSFetchRequestResultType _resultType = NSManagedObjectResultType;
  bool _includesSubentities = true;
  bool _includesPendingChanges = true;
  bool _includesPropertyValues = true;
  bool _returnsObjectsAsFaults = true;
  bool _returnsDistinctResults = false;
  bool _shouldRefreshRefetchedObjects = false;
};

}  // namespace JNFoundation
