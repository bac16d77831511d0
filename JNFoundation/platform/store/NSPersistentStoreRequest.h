#pragma once

#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

/// The kinds of requests, by the platform's numbers.
enum NSPersistentStoreRequestType : NSUInteger {
  NSFetchRequestType = 1,        ///< NSFetchRequest
  NSBatchInsertRequestType = 5,  ///< NSBatchInsertRequest
  NSBatchUpdateRequestType = 6,  ///< NSBatchUpdateRequest
  NSBatchDeleteRequestType = 7,  ///< NSBatchDeleteRequest
};

/// What a context asks of stores: a fetch, or one of the batch requests that change records without
/// making objects of them.
/// Threads: one at a time.
class NSPersistentStoreRequest : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Which kind of request it is.
  virtual NSPersistentStoreRequestType requestType() const noexcept = 0;

  /// The only NSPersistentStores that are asked. Null stands for every store that takes the entity;
  /// what the coordinator does not have is left out.
  const Ref<NSArray>& affectedStores() const noexcept { return _affectedStores; }
  void setAffectedStores(const Ref<NSArray>& stores);

 protected:
  NSPersistentStoreRequest();
  NSPersistentStoreRequest(const NSPersistentStoreRequest& other, int)
      : _affectedStores(other._affectedStores) {}
  ~NSPersistentStoreRequest() override;

 private:
  Ref<NSArray> _affectedStores;
};

}  // namespace JNFoundation
