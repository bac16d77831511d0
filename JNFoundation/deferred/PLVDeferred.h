#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <typeinfo>

#include <JNFoundation/deferred/CreationPlace.h>
#include <JNFoundation/deferred/Guard.h>
#include <JNFoundation/deferred/PLVDeferredStep.h>
#include <JNFoundation/deferred/PLVResolvable.h>
#include <JNFoundation/deferred/StepList.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Types.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

class NSArray;
class NSMutableArray;
class PLVDeferred;

namespace impl {

class Await;
class Engine;
struct Entry;

/// The class that was asked for a combination, and makes the deferreds that are needed for it.
struct DeferredClass {
  Ref<PLVDeferred> (*withResolved)(const Value& value, CreationPlace place);
  Ref<PLVDeferred> (*withRejected)(const Value& value, CreationPlace place);
};
template <class T>
inline constexpr DeferredClass deferredClass{
    [](const Value& value, CreationPlace place) -> Ref<PLVDeferred> {
      return T::withResolved(value, place);
    },
    [](const Value& value, CreationPlace place) -> Ref<PLVDeferred> {
      return T::withRejected(value, place);
    }};

// The combinations, for the class operations that have their names.
void resolveAfterDelay(const Ref<PLVDeferred>& deferred, const Value& value, NSTimeInterval delay);
Ref<PLVDeferred> iteration(const DeferredClass& maker, const Ref<NSArray>& deferreds,
                           const Ref<NSMutableArray>& results, CreationPlace place);
Ref<PLVDeferred> anyResolved(const DeferredClass& maker, const Ref<NSArray>& deferreds,
                             CreationPlace place);
Ref<PLVDeferred> allResolved(const DeferredClass& maker, const Ref<NSArray>& deferreds,
                             CreationPlace place);
Ref<PLVDeferred> allResolvedUpToNull(const DeferredClass& maker,
                                     std::initializer_list<Ref<PLVDeferred>> deferreds);

/// Whether the object was made as a T, not as something derived from it.
template <class T>
bool isExactly(const NSObject& object) noexcept {
  if constexpr (std::is_final_v<T>) {
    return typeid(object) == typeid(T);
  } else {
    return typeid(object) == typeid(Concrete<T>);
  }
}

}  // namespace impl

/// A unit of asynchronous work: it receives exactly one outcome and passes it through a
/// first-in-first-out chain of steps, each of which sees what the step before it returned.
///
///     Ref<PLVDeferred> feed = PLVDeferred::init();
///     feed->thenResolved([](const Value& json) -> Value { return decode(json); })
///         ->thenRejected([](const Ref<PLVRejected>& failure) { return log(failure); });
///     …
///     feed->resolve(text);           // or reject(error), or cancel(); the first outcome wins
///
/// A step that returns another deferred, or a promise, pauses the chain until that one has run its
/// own; the chain goes on with its value. A step that raises an NSException turns it into a failure
/// for the next step. Then-operations return the receiver, not a new deferred.
///
/// Threads: the main thread owns a deferred. `resolve`, `reject`, `cancel`, `cancelWithValue` and
/// the then-operations may be called on any thread; elsewhere they re-send themselves to the main
/// queue and return at once. Handlers always run on the main thread.
/// Calls: a handler runs synchronously inside whatever made the chain advance: a resolve on the
/// main thread, or the then-operation itself when the outcome is already there and nothing runs or
/// waits. Takes: a deferred owns its handlers, they own what they capture. A deferred that dies on
/// another thread has its handlers released on the main thread. Nothing nests deeply: a chain of
/// any length, and any number of deferreds resolved by each other, use the same native stack. Only
/// handlers that call into other chains nest; past 128 levels of that, the innermost call is put
/// off until the outermost has finished. Applications subclass through `Subclass<Upload,
/// PLVDeferred>`.
class PLVDeferred : public NSObject, public PLVResolvable {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  NSObject* protocolObject() noexcept override { return this; }

  /// Without an outcome and without steps. The place of an operation that makes a deferred is for
  /// reports (see DeferredTrace.h); it comes in by itself.
  static Ref<PLVDeferred> init(CreationPlace place = CreationPlace::here());
  // The source, any object, is told when the deferred is cancelled before it was resolved; it is
  // held weakly and skipped if it does not adopt PLVResolutionSource.
  static Ref<PLVDeferred> initWithResolutionSource(const Value& source,
                                                   CreationPlace place = CreationPlace::here());
  static Ref<PLVDeferred> withResolutionSource(const Value& source,
                                               CreationPlace place = CreationPlace::here());
  /// Resolved with the value, which is awaited if it is a deferred or a promise.
  static Ref<PLVDeferred> withResolved(const Value& value,
                                       CreationPlace place = CreationPlace::here());
  /// Rejected with the value.
  static Ref<PLVDeferred> withRejected(const Value& value,
                                       CreationPlace place = CreationPlace::here());
  /// A deferred that receives the source's final value; resolved with null for a null source.
  static Ref<PLVDeferred> resolvedBy(const Ref<PLVDeferred>& source,
                                     CreationPlace place = CreationPlace::here());

  // Deferreds made of others. The inputs run on their own: nothing here starts or cancels them, and
  // they are waited for in the order of the array, whatever order they settle in. An entry that is
  // no deferred and no promise counts as settled with itself.

  /// Resolved with the value on the main queue once that many seconds have passed, counted in whole
  /// nanoseconds. Nothing or less, and not-a-number, pass until its next turn; more than 292 years
  /// never do.
  /// Takes: the value and the deferred until then; cancelling does not end that.
  static Ref<PLVDeferred> withResolvedDelayInterval(const Value& value,
                                                    NSTimeInterval delayInterval,
                                                    CreationPlace place = CreationPlace::here());
  /// Waits for every input and appends its outcome to the results: the value, NSNull for null, or
  /// the PLVRejected. Returns: a deferred that is then resolved with null.
  static Ref<PLVDeferred> iterationDeferredWithDeferredsResultsArray(
      const Ref<NSArray>& deferreds, const Ref<NSMutableArray>& resultsArray,
      CreationPlace place = CreationPlace::here());
  /// Waits for every input. Resolved with the array of all outcomes if any input succeeded, else
  /// rejected with it. Returns: null for an empty array and for null.
  static Ref<PLVDeferred> withAnyResolved(const Ref<NSArray>& deferreds,
                                          CreationPlace place = CreationPlace::here());
  /// Waits for every input, also past a failure. Resolved with the array of all outcomes if every
  /// input succeeded, else rejected with it. Returns: null for an empty array and for null.
  static Ref<PLVDeferred> withAllResolved(const Ref<NSArray>& deferreds,
                                          CreationPlace place = CreationPlace::here());
  /// `withAllResolved` of the deferreds in front of the first null.
  template <std::convertible_to<Ref<PLVDeferred>>... Deferreds>
  static Ref<PLVDeferred> withAllResolvedVariadic(const Deferreds&... deferreds) {
    return impl::allResolvedUpToNull(impl::deferredClass<PLVDeferred>, {deferreds...});
  }

  /// The same as `withResolved`.
  [[deprecated("use withResolved")]] static Ref<PLVDeferred> deferredWithResolved(
      const Value& value);
  /// The same as `withRejected`.
  [[deprecated("use withRejected")]] static Ref<PLVDeferred> deferredWithRejected(
      const Value& value);

  // Adds a step. Either handler may be null: the value then passes that branch unchanged.
  Ref<PLVDeferred> thenResolvedRejected(PLVResolvedHandler resolved, PLVRejectedHandler rejected);
  Ref<PLVDeferred> thenResolved(PLVResolvedHandler resolved);
  Ref<PLVDeferred> thenRejected(PLVRejectedHandler rejected);
  /// The same handler for success and failure.
  Ref<PLVDeferred> thenEither(PLVResolvedHandler either);
  /// The same, but a cancellation passes by unchanged.
  Ref<PLVDeferred> thenEitherUnlessCanceled(PLVResolvedHandler either);
  /// Sends the value, failures included, to the target and passes it on unchanged.
  /// Takes: the target, strongly, until the step has run.
  Ref<PLVDeferred> thenResolve(const Ref<PLVResolvable>& target);

  // The same with a `Weak` or `std::weak_ptr` in front: once its owner has gone, the handler is
  // skipped and the value passes that branch unchanged. The handler may take the owner in front of
  // the value. See `guarded`.
  template <impl::LifetimeGuard Guard, class ResolvedHandler, class RejectedHandler>
  Ref<PLVDeferred> thenResolvedRejected(Guard guard, ResolvedHandler&& resolved,
                                        RejectedHandler&& rejected) {
    return thenResolvedRejected(guarded(guard, std::forward<ResolvedHandler>(resolved)),
                                guarded(guard, std::forward<RejectedHandler>(rejected)));
  }
  template <impl::LifetimeGuard Guard, class Handler>
  Ref<PLVDeferred> thenResolved(Guard guard, Handler&& resolved) {
    return thenResolved(guarded(std::move(guard), std::forward<Handler>(resolved)));
  }
  template <impl::LifetimeGuard Guard, class Handler>
  Ref<PLVDeferred> thenRejected(Guard guard, Handler&& rejected) {
    return thenRejected(guarded(std::move(guard), std::forward<Handler>(rejected)));
  }
  template <impl::LifetimeGuard Guard, class Handler>
  Ref<PLVDeferred> thenEither(Guard guard, Handler&& either) {
    return thenEither(guarded(std::move(guard), std::forward<Handler>(either)));
  }
  template <impl::LifetimeGuard Guard, class Handler>
  Ref<PLVDeferred> thenEitherUnlessCanceled(Guard guard, Handler&& either) {
    return thenEitherUnlessCanceled(guarded(std::move(guard), std::forward<Handler>(either)));
  }

  /// Returns: a new PLVDeferred that receives this one's outcome, or is rejected with the
  /// JNTimeout once that many seconds have passed, whichever is first. Seconds as for
  /// `withResolvedDelayInterval`. This deferred goes on in any case.
  /// Takes: the new deferred, until the seconds have passed.
  Ref<PLVDeferred> timeout(NSTimeInterval seconds, CreationPlace place = CreationPlace::here());
  /// Returns: a new PLVDeferred that receives this one's outcome, a failure as a success whose
  /// value is a PLVRejectedIgnored.
  Ref<PLVDeferred> ignoreRejected(CreationPlace place = CreationPlace::here());

  /// Accepts the outcome. A deferred or a promise as the value is awaited first.
  /// Calls: the handlers, now. Ignored after an outcome or a cancellation.
  void resolve(const Value& value) override;
  /// The same with a failure: a PLVRejected as it is, any other value as one that carries it.
  void reject(const Value& value) override;

  /// The same as `cancelWithValue` with null.
  void cancel() { cancelWithValue(nullptr); }
  /// Before an outcome: tells the source, then runs the steps with a cancellation that carries the
  /// value. While the chain waits: cancels what it waits for. Inside a handler with steps to come:
  /// the results of the handlers that follow are ignored. Afterwards: the outcome becomes a
  /// cancellation.
  virtual void cancelWithValue(const Value& value);

  /// Null before an outcome; what the chain waits for while it waits; then the chain's final value.
  /// A failure that is read here counts as seen.
  const Value& resolution() const noexcept {
    if (_resolution.isObject()) impl::markAsSeen(_resolution);
    return _resolution;
  }
  void setResolution(const Value& resolution) { _resolution = resolution; }

  /// Whether the outcome has come; the chain may still be under way.
  bool isResolved() const noexcept { return _resolved; }
  /// Whether the deferred was cancelled.
  bool isCancelled() const noexcept { return _cancelled; }
  /// Whether the chain waits for another deferred or promise.
  bool isPaused() const noexcept { return _paused; }

  // The chain's machinery, for promises, combinators and enumerations. Main thread only.
  void addStep(const Ref<PLVDeferredStep>& step);
  void consumeStepsWithValue(const Value& value);
  void consumeSteps();
  void pauseWithDeferred(const Ref<PLVDeferred>& inner);
  void resumeWithValue(const Value& value);

  template <class Self, class Above>
  class ClassOperations;

  // Deferreds have memory of their own, which is used again.
  static void* operator new(std::size_t size);
  static void operator delete(void* memory, std::size_t size) noexcept;

 protected:
  PLVDeferred() noexcept;
  ~PLVDeferred() override;

  /// Notes the source, held weakly; see `initWithResolutionSource`.
  void adoptResolutionSource(const Value& source);
  /// Notes where an object was made, for reports.
  static void notePlace(const PLVDeferred& deferred, CreationPlace place) noexcept;

  /// Whether the engine may settle the deferred without calling its virtual operations, which is so
  /// unless a subclass overrides them.
  virtual bool isSettledByEngine() const noexcept;

 private:
  friend class DeferredTrace;
  friend class impl::Await;
  friend class impl::Engine;
  friend class PLVPromise;
  friend class PLVDeferredEnumeration;

  /// Adds a step made of the parts now, or on the main queue behind the additions that wait there.
  template <class Part>
  Ref<PLVDeferred> enqueueStep(impl::Step::Kind kind, Part&& part);

  // What the public operations do up to the point where something has to run. Each returns that.
  impl::Entry settle(Value value);
  impl::Entry append(impl::Step&& step);
  impl::Entry attach(impl::Step&& step);
  bool mayAppendNow() const noexcept;
  void appendLater(impl::Step&& step);
  impl::Entry pause(PLVDeferred& inner);
  impl::Entry resume(Value value);
  impl::Entry beginCancel(const Value& value);
  impl::Entry ready();
  void endWatched() noexcept;

  WeakObject _resolutionSource;
  impl::StepList _deferredSteps;
  bool _resolved = false;
  bool _consumingStep = false;
  bool _paused : 1 = false;
  /// Whether the failure in `_resolution` went to another object, which answers for it.
  bool _forwarded : 1 = false;
  bool _cancelled = false;
  /// Step additions that wait on the main queue. The only member that other threads touch.
  std::atomic<std::int32_t> _asyncStepAdditions{0};
  Value _resolution;
};

/// The class operations of a subclass make instances of it.
template <class Self, class Above>
class PLVDeferred::ClassOperations : public Above {
 public:
  static Ref<Self> init(CreationPlace place = CreationPlace::here()) {
    Ref<Self> deferred = makeObject<Self>();
    notePlace(*deferred, place);
    return deferred;
  }
  static Ref<Self> initWithResolutionSource(const Value& source,
                                            CreationPlace place = CreationPlace::here()) {
    Ref<Self> deferred = makeObject<Self>();
    notePlace(*deferred, place);
    deferred->adoptResolutionSource(source);
    return deferred;
  }
  static Ref<Self> withResolutionSource(const Value& source,
                                        CreationPlace place = CreationPlace::here()) {
    return initWithResolutionSource(source, place);
  }
  static Ref<Self> withResolved(const Value& value, CreationPlace place = CreationPlace::here()) {
    Ref<Self> deferred = Self::init(place);
    deferred->resolve(value);
    return deferred;
  }
  static Ref<Self> withRejected(const Value& value, CreationPlace place = CreationPlace::here()) {
    Ref<Self> deferred = Self::init(place);
    deferred->reject(value);
    return deferred;
  }
  static Ref<Self> resolvedBy(const Ref<PLVDeferred>& source,
                              CreationPlace place = CreationPlace::here()) {
    Ref<Self> deferred = Self::init(place);
    if (source) {
      source->thenResolve(deferred);
    } else {
      deferred->resolve(nullptr);
    }
    return deferred;
  }
  static Ref<Self> withResolvedDelayInterval(const Value& value, NSTimeInterval delayInterval,
                                             CreationPlace place = CreationPlace::here()) {
    Ref<Self> deferred = Self::init(place);
    impl::resolveAfterDelay(deferred, value, delayInterval);
    return deferred;
  }
  static Ref<Self> iterationDeferredWithDeferredsResultsArray(
      const Ref<NSArray>& deferreds, const Ref<NSMutableArray>& resultsArray,
      CreationPlace place = CreationPlace::here()) {
    return own(impl::iteration(impl::deferredClass<Self>, deferreds, resultsArray, place));
  }
  static Ref<Self> withAnyResolved(const Ref<NSArray>& deferreds,
                                   CreationPlace place = CreationPlace::here()) {
    return own(impl::anyResolved(impl::deferredClass<Self>, deferreds, place));
  }
  static Ref<Self> withAllResolved(const Ref<NSArray>& deferreds,
                                   CreationPlace place = CreationPlace::here()) {
    return own(impl::allResolved(impl::deferredClass<Self>, deferreds, place));
  }
  template <std::convertible_to<Ref<PLVDeferred>>... Deferreds>
  static Ref<Self> withAllResolvedVariadic(const Deferreds&... deferreds) {
    return own(impl::allResolvedUpToNull(impl::deferredClass<Self>, {deferreds...}));
  }
  [[deprecated("use withResolved")]] static Ref<Self> deferredWithResolved(const Value& value) {
    return Self::withResolved(value);
  }
  [[deprecated("use withRejected")]] static Ref<Self> deferredWithRejected(const Value& value) {
    return Self::withRejected(value);
  }

 protected:
  using Above::Above;
  bool isSettledByEngine() const noexcept override {
    if constexpr (requires {
                    &Self::resolve;
                    &Self::reject;
                    &Self::cancelWithValue;
                  }) {
      using Operation = void (PLVDeferred::*)(const Value&);
      return std::is_same_v<decltype(&Self::resolve), Operation> &&
             std::is_same_v<decltype(&Self::reject), Operation> &&
             std::is_same_v<decltype(&Self::cancelWithValue), Operation> &&
             impl::isExactly<Self>(*this);
    } else {
      return false;
    }
  }

 private:
  /// What the maker of this class made is of this class.
  static Ref<Self> own(const Ref<PLVDeferred>& made) {
    return Ref<Self>(static_cast<Self*>(made.get()));
  }
};

}  // namespace JNFoundation
