#pragma once

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1::impl {

/// Work on one result, which it settles once. What it observes keeps it alive; the result does not.
class Combination : public NSObject, public PLVResolutionSource {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Starts on the main thread. Returns: the result.
  Ref<PLVDeferred> begin(CreationPlace place);

  void resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value& value) final;

 protected:
  /// Calls: once, on the main thread; the result may have been cancelled by then.
  virtual void start() = 0;
  /// The result was cancelled with that value.
  virtual void cancelWork(const Value& value) = 0;
  /// One of what is observed has settled.
  virtual void didSettle(std::size_t index, const Value& outcome) = 0;

  /// Has the outcome handed to `didSettle`, as to something that the deferred resolves: a failure
  /// is not seen by that, since the result answers for it.
  void observe(PLVDeferred& deferred, std::size_t index);

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
  friend class CombinationObserver;

  Ref<PLVDeferred> _result;
};

/// What a deferred that a combination observes resolves.
class CombinationObserver : public NSObject, public PLVResolvable {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  void resolve(const Value& value) override { _owner->didSettle(_index, value); }
  void reject(const Value& value) override { _owner->didSettle(_index, value); }

  /// The result that waits for this, null once it has its outcome.
  PLVDeferred* result() const noexcept { return _owner->_result.get(); }

 protected:
  CombinationObserver(Combination& owner, std::size_t index) : _owner(&owner), _index(index) {}

 private:
  const Ref<Combination> _owner;
  const std::size_t _index;
};

}  // namespace JNFoundation::impl
