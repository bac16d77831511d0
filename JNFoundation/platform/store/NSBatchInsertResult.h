#pragma once

#include <JNFoundation/platform/store/NSBatchInsertRequest.h>
#include <JNFoundation/platform/store/NSPersistentStoreResult.h>

namespace JNFoundation::inline v0_1 {

/// What an NSBatchInsertRequest has come to.
class NSBatchInsertResult : public NSPersistentStoreResult {
 public:
  using Superclass = NSPersistentStoreResult;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// What the request asked for.
  NSBatchInsertRequestResultType resultType() const noexcept { return _resultType; }

 protected:
  NSBatchInsertResult(NSBatchInsertRequestResultType type, Value result);
  ~NSBatchInsertResult() override;

 private:
  NSBatchInsertRequestResultType _resultType;
};

}  // namespace JNFoundation
