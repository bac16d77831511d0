#pragma once

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSPersistentStoreRequest.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

class NSPredicate;

/// What the result of a request is: true, the identifiers of the records, or their number.
enum NSBatchUpdateRequestResultType : NSUInteger {
  NSStatusOnlyResultType = 0,           ///< true
  NSUpdatedObjectIDsResultType = 1,     ///< an NSArray of NSManagedObjectIDs
  NSUpdatedObjectsCountResultType = 2,  ///< a number
};

/// Other values for the attributes of many records in one transaction, all of them or none, without
/// an object for any.
///
///     auto request = NSBatchUpdateRequest::batchUpdateRequestWithEntityName("City");
///     request->setPredicate(NSPredicate::predicateWithFormat("founded < 0"));
///     request->setPropertiesToUpdate(NSDictionary::dictionaryWithEntries(
///         {{"ancient", true}, {"visits", NSExpression::expressionWithFormat("visits + 1")}}));
///
/// Every record gets the next version, so that a context that has changed it meanwhile fails to
/// save (133020). Objects in contexts stay what they are until they are refreshed. What fails and
/// what raises is what does so for an NSBatchInsertRequest.
class NSBatchUpdateRequest : public NSPersistentStoreRequest {
 public:
  using Superclass = NSPersistentStoreRequest;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  /// NSBatchUpdateRequestType.
  NSPersistentStoreRequestType requestType() const noexcept override {
    return NSBatchUpdateRequestType;
  }

  /// The entity of that name is looked up where the request is executed.
  static Ref<NSBatchUpdateRequest> batchUpdateRequestWithEntityName(const Ref<NSString>& name);
  /// A request for records of the entity and its descendants.
  static Ref<NSBatchUpdateRequest> initWithEntity(const Ref<NSEntityDescription>& entity);

  /// Null where a name stands for it.
  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }
  /// Null where neither an entity nor a name was given.
  Ref<NSString> entityName() const { return _entity ? _entity->name() : _entityName; }

  /// Which records, as their store has them. Null stands for every one.
  const Ref<NSPredicate>& predicate() const noexcept { return _predicate; }
  void setPredicate(const Ref<NSPredicate>& predicate);
  /// Whether records of descendants of the entity are changed as well. True unless it is set
  /// otherwise.
  bool includesSubentities() const noexcept { return _includesSubentities; }
  void setIncludesSubentities(bool includes) noexcept { _includesSubentities = includes; }

  /// By name or attribute description: the value, NSNull for null, or an NSExpression over the
  /// record as it was. Null until it is set.
  const Ref<NSDictionary>& propertiesToUpdate() const noexcept { return _propertiesToUpdate; }
  void setPropertiesToUpdate(const Ref<NSDictionary>& properties);

  /// What the result is; true unless it is set otherwise.
  NSBatchUpdateRequestResultType resultType() const noexcept { return _resultType; }
  void setResultType(NSBatchUpdateRequestResultType type) noexcept { _resultType = type; }

 protected:
  NSBatchUpdateRequest();
  ~NSBatchUpdateRequest() override;

 private:
  Ref<NSEntityDescription> _entity;
  Ref<NSString> _entityName;
  Ref<NSPredicate> _predicate;
  Ref<NSDictionary> _propertiesToUpdate;
  NSBatchUpdateRequestResultType _resultType = NSStatusOnlyResultType;
  bool _includesSubentities = true;
};

}  // namespace JNFoundation
