#pragma once

#include <vector>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>

namespace JNFoundation::inline v0_1 {

/// The final callback of a promise: gets the value of a success, or null and the failure.
using PLVPromiseFulfilledBlock = Block<void(const Value& value, const Ref<PLVRejected>& rejected)>;

/// One eventual outcome, handed unchanged to any number of listeners (deferreds, other promises,
/// any PLVResolvable) and to callbacks.
///
///     Ref<PLVPromise> user = PLVPromise::init();
///     user->deferredResolution()->thenResolved(showName);   // each listener has its own chain
///     user->whenFulfilled([](const Value& value, const Ref<PLVRejected>& rejected) { … });
///     …
///     user->resolve(record);
///
/// A promise that loses its last listener to cancellation before the outcome is there cancels
/// itself, unless `shouldProcessResolvableCancellations` is false.
///
/// Threads: as for PLVDeferred; listeners and callbacks are called on the main thread.
/// Takes: listeners and callbacks strongly, until the outcome was handed on; what it waits for and
/// its source weakly.
class PLVPromise : public NSObject, public PLVResolvable, public PLVResolutionSource {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Without an outcome.
  static Ref<PLVPromise> init(CreationPlace place = CreationPlace::here());
  // The source, any object, is told when the promise is cancelled before its outcome; it is held
  // weakly and skipped if it does not adopt PLVResolutionSource.
  static Ref<PLVPromise> initWithResolutionSource(const Value& source,
                                                  CreationPlace place = CreationPlace::here());
  static Ref<PLVPromise> withResolutionSource(const Value& source,
                                              CreationPlace place = CreationPlace::here());
  /// Fulfilled with the value, which is awaited if it is a deferred or a promise.
  static Ref<PLVPromise> withResolved(const Value& value,
                                      CreationPlace place = CreationPlace::here());
  /// Rejected with the value.
  static Ref<PLVPromise> withRejected(const Value& value,
                                      CreationPlace place = CreationPlace::here());
  /// A promise of the deferred's final value; fulfilled with null for a null deferred.
  static Ref<PLVPromise> resolvedBy(const Ref<PLVDeferred>& deferred,
                                    CreationPlace place = CreationPlace::here());
  /// Stores `resolvedBy(deferred)`. Does nothing at all where there is nowhere to store it.
  static void getPromiseResolvedBy(Ref<PLVPromise>* promise, const Ref<PLVDeferred>& deferred);

  /// The same as `withResolved`.
  [[deprecated("use withResolved")]] static Ref<PLVPromise> promiseWithResolved(const Value& value);
  /// The same as `withRejected`.
  [[deprecated("use withRejected")]] static Ref<PLVPromise> promiseWithRejected(const Value& value);

  /// A new deferred that receives the outcome; cancelling it withdraws it as a listener.
  Ref<PLVDeferred> deferredResolution(CreationPlace place = CreationPlace::here());
  /// A new promise that receives the outcome, of the base class; as above.
  Ref<PLVPromise> promisedResolution(CreationPlace place = CreationPlace::here());
  /// Stores `promisedResolution()`; does nothing where there is nowhere to store it.
  void getPromisedResolution(Ref<PLVPromise>* promise);
  /// Sends the outcome, failures included, to the target. Takes: the target, until then.
  void whenFulfilledResolve(const Ref<PLVResolvable>& target);
  /// Calls: the callback once, now if the outcome is there. It gets (value, null) for a success and
  /// (null, failure) for a failure. The first callback follows all listeners; later ones are
  /// listeners.
  void whenFulfilled(PLVPromiseFulfilledBlock callback);
  /// Adds a listener, once however often it is asked. Calls: its `resolve`, now if the outcome is
  /// there; then it is not kept.
  void enlistResolvable(const Ref<PLVResolvable>& resolvable);

  /// Accepts the outcome. A deferred or a promise as the value is awaited first.
  /// Calls: listeners and callback, now. Ignored after an outcome or a cancellation.
  void resolve(const Value& value) override;
  /// The same with a failure: a PLVRejected as it is, any other value as one that carries it.
  void reject(const Value& value) override;

  /// The same as `cancelWithValue` with null.
  void cancel() { cancelWithValue(nullptr); }
  /// Before the outcome: tells the source, cancels what the promise waits for, and hands a
  /// cancellation that carries the value to the listeners. Afterwards: only later listeners and
  /// callbacks see the cancellation.
  virtual void cancelWithValue(const Value& value);
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override;

  /// Whether the outcome is there.
  bool isFulfilled() const noexcept { return _isFulfilled; }
  /// Whether the outcome is yet to come.
  bool isOutstanding() const noexcept { return !_isFulfilled; }

  /// Whether losing the last listener cancels the promise; true at first.
  bool shouldProcessResolvableCancellations() const noexcept {
    return _shouldProcessResolvableCancellations;
  }
  void setShouldProcessResolvableCancellations(bool should) noexcept {
    _shouldProcessResolvableCancellations = should;
  }

  /// The outcome once fulfilled; null before.
  /// A failure that is read here counts as seen.
  const Value& resolution() const noexcept {
    if (_resolution.isObject()) impl::markAsSeen(_resolution);
    return _resolution;
  }
  void setResolution(const Value& resolution) { _resolution = resolution; }

  /// The listeners that still wait, in order; null until one was enlisted before the outcome.
  const Ref<NSMutableOrderedSet>& resolvables() const;
  void setResolvables(const Ref<NSMutableOrderedSet>& resolvables);

  // The machinery, main thread only.
  void consumeValue(const Value& value);
  void waitForDeferred(const Ref<PLVDeferred>& deferred);
  void resumeWithValue(const Value& value);
  void consume();

  template <class Self, class Above>
  class ClassOperations;

 protected:
  PLVPromise() noexcept;
  ~PLVPromise() override;

  /// Notes the source, held weakly; see `initWithResolutionSource`.
  void adoptResolutionSource(const Value& source);

  /// Notes where an object was made, for reports.
  static void notePlace(const PLVPromise& promise, CreationPlace place) noexcept;

  /// Whether the engine may settle the promise without calling its virtual operations, which is so
  /// unless a subclass overrides them.
  virtual bool isSettledByEngine() const noexcept;

 private:
  friend class DeferredTrace;
  friend class impl::Await;
  friend class impl::Engine;

  // What the public operations do up to the point where something has to run. Each returns that.
  impl::Entry settle(Value value);
  impl::Entry waitFor(PLVDeferred& deferred);
  impl::Entry resume(Value value);
  impl::Entry beginCancel(const Value& value);
  impl::Entry listenerDidCancel(NSObject& listener);
  impl::Entry ready();

  template <class Listener>
  Ref<Listener> enlistNew(CreationPlace place);
  bool hasListeners() const noexcept;
  Ref<NSObject> takeOwnListener() noexcept;
  void endWatched() noexcept;

  WeakObject _resolutionSource;
  Weak<PLVDeferred> _deferredSource;
  PLVPromiseFulfilledBlock _promiseFulfilledBlock;
  bool _resolved = false;
  bool _cancelled = false;
  bool _finalized = false;
  bool _isFulfilled = false;
  bool _shouldProcessResolvableCancellations = true;
  /// Whether a listener got the outcome, and answers for it.
  bool _forwarded = false;
  Value _resolution;
  /// The listeners, once anybody looks at them.
  mutable Ref<NSMutableOrderedSet> _resolvables;
  /// Until then, those that the promise made itself: they are new, so they need no set to stand in
  /// it only once. While they are told, those before `_toldListeners` are gone.
  mutable std::vector<Ref<NSObject>> _ownListeners;
  std::size_t _toldListeners = 0;
  mutable bool _hasOwnListeners = false;
  /// Copied into each listener as its source, which costs less than a new weak reference.
  WeakObject _weakSelf;
};

/// The class operations of a subclass make instances of it.
template <class Self, class Above>
class PLVPromise::ClassOperations : public Above {
 public:
  static Ref<Self> init(CreationPlace place = CreationPlace::here()) {
    Ref<Self> promise = makeObject<Self>();
    notePlace(*promise, place);
    return promise;
  }
  static Ref<Self> initWithResolutionSource(const Value& source,
                                            CreationPlace place = CreationPlace::here()) {
    Ref<Self> promise = makeObject<Self>();
    notePlace(*promise, place);
    promise->adoptResolutionSource(source);
    return promise;
  }
  static Ref<Self> withResolutionSource(const Value& source,
                                        CreationPlace place = CreationPlace::here()) {
    return initWithResolutionSource(source, place);
  }
  static Ref<Self> withResolved(const Value& value, CreationPlace place = CreationPlace::here()) {
    Ref<Self> promise = Self::init(place);
    promise->resolve(value);
    return promise;
  }
  static Ref<Self> withRejected(const Value& value, CreationPlace place = CreationPlace::here()) {
    Ref<Self> promise = Self::init(place);
    promise->reject(value);
    return promise;
  }
  static Ref<Self> resolvedBy(const Ref<PLVDeferred>& deferred,
                              CreationPlace place = CreationPlace::here()) {
    Ref<Self> promise = Self::init(place);
    if (deferred) {
      deferred->thenResolve(promise);
    } else {
      promise->resolve(nullptr);
    }
    return promise;
  }
  static void getPromiseResolvedBy(Ref<PLVPromise>* promise, const Ref<PLVDeferred>& deferred) {
    if (promise) *promise = Self::resolvedBy(deferred);
  }
  [[deprecated("use withResolved")]] static Ref<Self> promiseWithResolved(const Value& value) {
    return Self::withResolved(value);
  }
  [[deprecated("use withRejected")]] static Ref<Self> promiseWithRejected(const Value& value) {
    return Self::withRejected(value);
  }

 protected:
  using Above::Above;
  bool isSettledByEngine() const noexcept override {
    if constexpr (requires {
                    &Self::resolve;
                    &Self::reject;
                    &Self::cancelWithValue;
                    &Self::resolvableDidCancelWithValue;
                  }) {
      using Operation = void (PLVPromise::*)(const Value&);
      using Notice = void (PLVPromise::*)(const Ref<PLVResolvable>&, const Value&);
      return std::is_same_v<decltype(&Self::resolve), Operation> &&
             std::is_same_v<decltype(&Self::reject), Operation> &&
             std::is_same_v<decltype(&Self::cancelWithValue), Operation> &&
             std::is_same_v<decltype(&Self::resolvableDidCancelWithValue), Notice> &&
             impl::isExactly<Self>(*this);
    } else {
      return false;
    }
  }
};

}  // namespace JNFoundation
