#pragma once

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::impl {

/// Work on one result, which it settles once. The steps that it adds to what it waits for keep it
/// alive; the result does not.
class Combination : public NSObject, public PLVResolutionSource {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Starts on the main thread. Returns: the result.
  Ref<PLVDeferred> begin();

  void resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value& value) final;

 protected:
  /// Calls: once, on the main thread; the result may have been cancelled by then.
  virtual void start() = 0;
  /// The result was cancelled with that value.
  virtual void cancelWork(const Value& value) = 0;

  /// Whether the result is settled, as far as this work knows.
  bool isOver() const noexcept { return !_result; }
  void settle(const Value& outcome);

  /// What a block gives: its result, a promise's deferred, or a failure with what it raised.
  template <class Call>
  static Value outcomeOf(const Call& call) {
    try {
      return waitable(call());
    } catch (const Raised& raised) {
      return PLVRejected::withValue(Value(raised.exception()));
    }
  }
  static Value waitable(const Value& value) {
    auto* promise = as<PLVPromise>(value);
    return promise ? Value(promise->deferredResolution()) : value;
  }
  /// What stands for the value in an array.
  static Value entryFor(const Value& value) {
    return value.isNull() ? Value(NSNull::null()) : value;
  }

 private:
  Ref<PLVDeferred> _result;
};

}  // namespace JNFoundation::impl
