#pragma once

#include <JNFoundation/platform/store/NSBatchUpdateRequest.h>
#include <JNFoundation/platform/store/NSPersistentStoreResult.h>

namespace JNFoundation::inline v0_1 {

/// What an NSBatchUpdateRequest has come to.
class NSBatchUpdateResult : public NSPersistentStoreResult {
 public:
  using Superclass = NSPersistentStoreResult;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// What the request asked for.
  NSBatchUpdateRequestResultType resultType() const noexcept { return _resultType; }

 protected:
  NSBatchUpdateResult(NSBatchUpdateRequestResultType type, Value result);
  ~NSBatchUpdateResult() override;

 private:
  NSBatchUpdateRequestResultType _resultType;
};

}  // namespace JNFoundation
