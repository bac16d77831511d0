#pragma once

#include <JNFoundation/deferred/Deferred.h>
#include <JNFoundation/deferred/PLVPromise.h>

namespace JNFoundation::inline v0_1 {

/// A promise of a T, see ValueConversion and Deferred.
///
///     Promise<Ref<User>> user = Promise<Ref<User>>::init();
///     user.deferredResolution().thenResolved([](const Ref<User>& user) { … });
///     user.resolve(found);
///
/// It is a handle around a `Ref<PLVPromise>`, with no cost of its own. A promise never changes its
/// outcome, so handles are copied freely. Rules, order and threads are those of PLVPromise.
/// Requires: a handle that is not null.
template <class T>
class Promise {
 public:
  Promise() noexcept = default;
  /// States what the promise is of.
  explicit Promise(Ref<PLVPromise> promise) noexcept : _promise(std::move(promise)) {}

  /// Without an outcome.
  static Promise init(CreationPlace place = CreationPlace::here()) {
    return Promise(PLVPromise::init(place));
  }
  /// Fulfilled with the value.
  template <class U = T>
  requires(!std::is_void_v<T> && std::is_convertible_v<U, T>) static Promise
      withResolved(U&& value, CreationPlace place = CreationPlace::here()) {
    return Promise(PLVPromise::withResolved(impl::toValueOf<T>(T(std::forward<U>(value))), place));
  }
  static Promise withResolved(
      CreationPlace place = CreationPlace::here()) requires std::is_void_v<T> {
    return Promise(PLVPromise::withResolved(nullptr, place));
  }
  /// Rejected with the value.
  static Promise withRejected(const Value& value, CreationPlace place = CreationPlace::here()) {
    return Promise(PLVPromise::withRejected(value, place));
  }
  /// A promise of the deferred's final value.
  static Promise resolvedBy(Deferred<T> deferred, CreationPlace place = CreationPlace::here()) {
    return Promise(PLVPromise::resolvedBy(deferred.untyped(), place));
  }

  /// Whether the handle is not null.
  explicit operator bool() const noexcept { return static_cast<bool>(_promise); }
  /// The promise itself.
  const Ref<PLVPromise>& untyped() const noexcept { return _promise; }
  /// The promise itself.
  operator const Ref<PLVPromise>&() const noexcept { return _promise; }

  /// Takes a T, a failure or an Outcome, or a deferred or promise of a T, which is awaited.
  template <class Returned = T>
  requires(!std::is_void_v<T>) void resolve(Returned&& value) const {
    static_assert(impl::givesA<T, std::remove_cvref_t<Returned>>(),
                  "this promise is of another type");
    _promise->resolve(impl::toValueOf<T>(std::forward<Returned>(value)));
  }
  void resolve() const requires std::is_void_v<T> { _promise->resolve(nullptr); }
  // As the operations of PLVPromise of the same names.
  void reject(const Value& value) const { _promise->reject(value); }
  void cancel() const { _promise->cancel(); }
  void cancelWithValue(const Value& value) const { _promise->cancelWithValue(value); }

  // As the operations of PLVPromise of the same names.
  bool isFulfilled() const noexcept { return _promise->isFulfilled(); }
  bool isOutstanding() const noexcept { return _promise->isOutstanding(); }

  /// A new deferred that receives the outcome; cancelling it withdraws it as a listener.
  Deferred<T> deferredResolution(CreationPlace place = CreationPlace::here()) const {
    return Deferred<T>(_promise->deferredResolution(place));
  }
  /// A new promise that receives the outcome.
  Promise promisedResolution(CreationPlace place = CreationPlace::here()) const {
    return Promise(_promise->promisedResolution(place));
  }
  /// The callback takes an Outcome<T>.
  template <class Callback>
  void whenFulfilled(Callback&& callback) const {
    static_assert(impl::Either<T>::template isTakenBy<std::decay_t<Callback>>,
                  "the callback of a typed promise takes an Outcome of its type");
    _promise->whenFulfilled([callback = std::decay_t<Callback>(std::forward<Callback>(callback))](
                                const Value& value, const Ref<PLVRejected>& rejected) mutable {
      impl::Either<T>::call(callback, rejected ? Value(rejected) : value);
    });
  }

 private:
  Ref<PLVPromise> _promise;
};

namespace impl {

template <class T>
class TypedPromiseAwaiter : public PromiseAwaiter {
 public:
  using PromiseAwaiter::PromiseAwaiter;
  T await_resume() { return resultAs<T>(Awaiter::await_resume()); }
};

}  // namespace impl

/// Gives a T; throws Rejected for a failure, also where the value is of another kind.
template <class T>
impl::TypedPromiseAwaiter<T> operator co_await(const Promise<T>& promise) {
  return impl::TypedPromiseAwaiter<T>(promise.untyped());
}

}  // namespace JNFoundation
