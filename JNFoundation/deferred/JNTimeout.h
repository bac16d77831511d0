#pragma once

#include <JNFoundation/platform/value/NSObject.h>

namespace JNFoundation::inline v0_1 {

/// What a deferred is rejected with when its time is up: the value of the PLVRejected is the one
/// instance of the process.
///
///     work->timeout(5)->thenRejected([](const Ref<PLVRejected>& rejected) -> Value {
///       return isKindOf<JNTimeout>(rejected->value()) ? Value("too slow") : Value(rejected);
///     });
///
/// Threads: any.
class JNTimeout : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The same object at every call; it lives as long as the process.
  static Ref<JNTimeout> instance();

 protected:
  JNTimeout() = default;
};

}  // namespace JNFoundation
