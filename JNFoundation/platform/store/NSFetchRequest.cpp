#include "JNFoundation/platform/store/NSFetchRequest.h"

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSFetchRequest::classObject = Class::of<NSFetchRequest>("NSFetchRequest");

NSFetchRequest::NSFetchRequest() = default;
NSFetchRequest::NSFetchRequest(const NSFetchRequest& other, int)
    : NSPersistentStoreRequest(other, 0),
      _entity(other._entity),
      _entityName(other._entityName),
      _predicate(other._predicate),
      _sortDescriptors(other._sortDescriptors),
      _propertiesToFetch(other._propertiesToFetch),
      _propertiesToGroupBy(other._propertiesToGroupBy),
      _havingPredicate(other._havingPredicate),
      _relationshipKeyPathsForPrefetching(other._relationshipKeyPathsForPrefetching),
      _fetchLimit(other._fetchLimit),
      _fetchOffset(other._fetchOffset),
      _fetchBatchSize(other._fetchBatchSize),
      _resultType(other._resultType),
      _includesSubentities(other._includesSubentities),
      _includesPendingChanges(other._includesPendingChanges),
      _includesPropertyValues(other._includesPropertyValues),
      _returnsObjectsAsFaults(other._returnsObjectsAsFaults),
      _returnsDistinctResults(other._returnsDistinctResults),
      _shouldRefreshRefetchedObjects(other._shouldRefreshRefetchedObjects) {}
NSFetchRequest::~NSFetchRequest() = default;

Ref<NSFetchRequest> NSFetchRequest::init() { return makeObject<NSFetchRequest>(); }

Ref<NSFetchRequest> NSFetchRequest::fetchRequestWithEntityName(const Ref<NSString>& name) {
  Ref<NSFetchRequest> request = init();
  request->_entityName = name;
  return request;
}

void NSFetchRequest::setEntity(const Ref<NSEntityDescription>& entity) { _entity = entity; }

Ref<NSString> NSFetchRequest::entityName() const { return _entity ? _entity->name() : _entityName; }

void NSFetchRequest::setPredicate(const Ref<NSPredicate>& predicate) { _predicate = predicate; }

void NSFetchRequest::setSortDescriptors(const Ref<NSArray>& descriptors) {
  _sortDescriptors = descriptors ? NSArray::arrayWithArray(descriptors) : nullptr;
}

namespace {

Ref<NSArray> copied(const Ref<NSArray>& list) {
  return list ? NSArray::arrayWithArray(list) : nullptr;
}

}  // namespace

void NSFetchRequest::setPropertiesToFetch(const Ref<NSArray>& properties) {
  if (properties && !_entity && !_entityName) {
    raise(NSInvalidArgumentException,
          "Can't set propertiesToFetch on an NSFetchRequest that has no entity");
  }
  _propertiesToFetch = copied(properties);
}

void NSFetchRequest::setPropertiesToGroupBy(const Ref<NSArray>& properties) {
  _propertiesToGroupBy = copied(properties);
}

void NSFetchRequest::setHavingPredicate(const Ref<NSPredicate>& predicate) {
  _havingPredicate = predicate;
}

void NSFetchRequest::setRelationshipKeyPathsForPrefetching(const Ref<NSArray>& keyPaths) {
  _relationshipKeyPathsForPrefetching = copied(keyPaths);
}

Value NSFetchRequest::copy() const { return makeObject<NSFetchRequest>(*this, 0); }

Ref<NSString> NSFetchRequest::description() const {
  return NSString::stringWithFormat(
      "<NSFetchRequest: %p> (entity: %@; predicate: (%@); sortDescriptors: (%@); limit: %llu; "
      "offset: "
      "%llu; type: %llu)",
      static_cast<const void*>(this), Value(entityName()), Value(_predicate),
      Value(_sortDescriptors), _fetchLimit, _fetchOffset, _resultType);
}

}  // namespace JNFoundation
