#pragma once

#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {

/// What a batch request has come to, in the form that the request asked for.
/// Threads: any; a result never changes.
class NSPersistentStoreResult : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// True, the number of records, or an NSArray of their NSManagedObjectIDs.
  const Value& result() const noexcept { return _result; }

 protected:
  explicit NSPersistentStoreResult(Value result);
  NSPersistentStoreResult();
  ~NSPersistentStoreResult() override;

 private:
  Value _result;
};

}  // namespace JNFoundation
