#pragma once

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

class PLVDeferred;

namespace impl {

struct Entry;

/// What waits for a deferred's value without being a deferred itself, such as a coroutine. It
/// stands in the chain as a step that passes the value on unchanged. Main thread only.
class Continuation : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Goes on with the value that it waited for. Calls: application code, now.
  /// Returns: what has to run next.
  virtual Entry proceed(const Value& value) = 0;

  /// The deferred whose source this is was cancelled.
  /// Returns: what cancels the deferred that it waits for.
  virtual Entry cancelAwaited(const Value& value) = 0;

  /// The deferred that gets the outcome of what goes on, null if there is none.
  virtual PLVDeferred* receiver() const noexcept = 0;
};

}  // namespace impl
}  // namespace JNFoundation
