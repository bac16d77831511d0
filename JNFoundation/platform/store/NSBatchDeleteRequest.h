#pragma once

#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSPersistentStoreRequest.h>

namespace JNFoundation::inline v0_1 {

/// What the result of a request is: true, the identifiers of the records, or their number.
enum NSBatchDeleteRequestResultType : NSUInteger {
  NSBatchDeleteResultTypeStatusOnly = 0,  ///< true
  NSBatchDeleteResultTypeObjectIDs = 1,   ///< an NSArray of NSManagedObjectIDs
  NSBatchDeleteResultTypeCount = 2,       ///< a number
};

/// The end of many records in one transaction, all of them or none, without an object for any:
/// those that a fetch request finds in the stores, or those of certain identifiers.
///
///     auto request = NSBatchDeleteRequest::initWithFetchRequest(oldCities);
///     request->setResultType(NSBatchDeleteResultTypeObjectIDs);
///     Value result = context->executeRequestError(request, &error);
///
/// Delete rules hold, in the stores: what a record cascades to goes along; where the rule is to
/// nullify, whoever led to it does not any more, and gets the next version; a record that denies
/// (1600), unless what it denies for goes along, or one that would lack a relationship which is not
/// optional (1570), fails the request. The rule that asks for nothing leaves what it leaves in a
/// save. No object hears of it: no validation, no hooks. Counts of relationships are not looked at.
class NSBatchDeleteRequest : public NSPersistentStoreRequest {
 public:
  using Superclass = NSPersistentStoreRequest;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  /// NSBatchDeleteRequestType.
  NSPersistentStoreRequestType requestType() const noexcept override {
    return NSBatchDeleteRequestType;
  }

  /// Takes: a request with predicate, order, limit and offset as wanted; the form of its result
  /// does not matter, and neither do unsaved changes.
  static Ref<NSBatchDeleteRequest> initWithFetchRequest(const Ref<NSFetchRequest>& fetch);
  /// Takes: permanent NSManagedObjectIDs. What is not there any more is gone already.
  static Ref<NSBatchDeleteRequest> initWithObjectIDs(const Ref<NSArray>& objectIDs);

  /// Null where identifiers were given.
  const Ref<NSFetchRequest>& fetchRequest() const noexcept { return _fetchRequest; }
  /// Null where a fetch request was given.
  const Ref<NSArray>& objectIDs() const noexcept { return _objectIDs; }

  /// What the result is; true unless it is set otherwise.
  NSBatchDeleteRequestResultType resultType() const noexcept { return _resultType; }
  void setResultType(NSBatchDeleteRequestResultType type) noexcept { _resultType = type; }

 protected:
  NSBatchDeleteRequest();
  ~NSBatchDeleteRequest() override;

 private:
  Ref<NSFetchRequest> _fetchRequest;
  Ref<NSArray> _objectIDs;
  NSBatchDeleteRequestResultType _resultType = NSBatchDeleteResultTypeStatusOnly;
};

}  // namespace JNFoundation
