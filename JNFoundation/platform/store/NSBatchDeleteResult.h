#pragma once

#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSPersistentStoreResult.h>

namespace JNFoundation::inline v0_1 {

/// What an NSBatchDeleteRequest has come to: of every record that has gone, those included that
/// delete rules took along.
class NSBatchDeleteResult : public NSPersistentStoreResult {
 public:
  using Superclass = NSPersistentStoreResult;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// What the request asked for.
  NSBatchDeleteRequestResultType resultType() const noexcept { return _resultType; }

 protected:
  NSBatchDeleteResult(NSBatchDeleteRequestResultType type, Value result);
  ~NSBatchDeleteResult() override;

 private:
  NSBatchDeleteRequestResultType _resultType;
};

}  // namespace JNFoundation
