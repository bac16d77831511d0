#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// What accepts one outcome. Threads: both operations may be called on any thread.
class PLVResolvable : public NSObjectProtocol {
 public:
  /// Accepts the outcome; a value that is a PLVRejected is a failure.
  virtual void resolve(const Value& value) = 0;
  /// Accepts a failure; a value that is no PLVRejected is wrapped in one.
  virtual void reject(const Value& value) = 0;

 protected:
  ~PLVResolvable() override = default;
};

/// What wants to know that a resolvable which waits for it was cancelled.
class PLVResolutionSource : public NSObjectProtocol {
 public:
  /// Calls: once, on the main thread, before the resolvable itself settles.
  virtual void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                            const Value& value) = 0;

 protected:
  ~PLVResolutionSource() override = default;
};

}  // namespace JNFoundation
