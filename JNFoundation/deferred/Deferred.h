#pragma once

#include <JNFoundation/deferred/Coroutine.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/TypedHandler.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
template <class T>
class TypedAwaiter;
template <class T>
class TypedCoroutine;
}  // namespace impl

/// A deferred of which the compiler knows what its chain gives at its end: a T, see
/// ValueConversion; of void nothing that anybody looks at.
///
///     Deferred<std::string> page = fetch(url);
///     Deferred<int> count = std::move(page)
///         .thenResolved([](const std::string& text) { return countWords(text); })
///         .thenRejected([](const Ref<PLVRejected>&) { return 0; });
///     show(co_await count);
///
/// It is a handle around a `Ref<PLVDeferred>`, with no cost of its own. A then-operation adds its
/// step to that very deferred and so changes what the chain gives, therefore it consumes the handle
/// and returns the next one; there is one handle at a time. Steps that code without types adds may
/// break the promise: a value of another kind does not reach a handler, the chain goes on with a
/// failure instead, an error JNDeferredErrorUnexpectedKind that names both kinds.
///
/// What a handler may return: a value (or text, or nothing), an Outcome, a failure, a deferred or a
/// promise, typed or not; the handle's type follows from it. Rules, order and threads are those of
/// PLVDeferred. Requires: a handle that is not null, as one is that was moved from.
template <class T>
class Deferred {
 public:
  /// The promise type of coroutines that return a Deferred<T>.
  using promise_type = impl::TypedCoroutine<T>;

  Deferred() noexcept = default;
  /// States what the deferred's chain gives.
  explicit Deferred(Ref<PLVDeferred> deferred) noexcept : _deferred(std::move(deferred)) {}
  Deferred(Deferred&&) noexcept = default;
  Deferred& operator=(Deferred&&) noexcept = default;

  /// Resolved with the value.
  template <class U = T>
  requires(!std::is_void_v<T> && std::is_convertible_v<U, T>) static Deferred
      withResolved(U&& value, CreationPlace place = CreationPlace::here()) {
    return Deferred(
        PLVDeferred::withResolved(impl::toValueOf<T>(T(std::forward<U>(value))), place));
  }
  static Deferred withResolved(
      CreationPlace place = CreationPlace::here()) requires std::is_void_v<T> {
    return Deferred(PLVDeferred::withResolved(nullptr, place));
  }
  /// Rejected with the value.
  static Deferred withRejected(const Value& value, CreationPlace place = CreationPlace::here()) {
    return Deferred(PLVDeferred::withRejected(value, place));
  }

  /// Whether the handle is not null.
  explicit operator bool() const noexcept { return static_cast<bool>(_deferred); }
  /// The deferred itself, given away by a handle that is moved.
  const Ref<PLVDeferred>& untyped() const& noexcept { return _deferred; }
  Ref<PLVDeferred> untyped() && noexcept { return std::move(_deferred); }
  /// The deferred itself, given away.
  operator Ref<PLVDeferred>() && noexcept { return std::move(_deferred); }

  /// The handler takes a T, nothing of void.
  template <class Handler>
  auto thenResolved(Handler&& handler) && {
    using Result = ResultOf<impl::Success<T>, std::decay_t<Handler>>;
    return Deferred<Result>(
        take()->thenResolved(typed<impl::Success<T>, Result>(std::forward<Handler>(handler))));
  }
  /// The handler takes a failure and gives a T or a failure.
  template <class Handler>
  Deferred thenRejected(Handler&& handler) && {
    requireA<T, std::decay_t<Handler>>();
    return Deferred(take()->thenRejected(typed<impl::Failure, T>(std::forward<Handler>(handler))));
  }
  /// The second handler gives what the first one gives, or a failure.
  template <class ResolvedHandler, class RejectedHandler>
  auto thenResolvedRejected(ResolvedHandler&& resolved, RejectedHandler&& rejected) && {
    using Result = ResultOf<impl::Success<T>, std::decay_t<ResolvedHandler>>;
    requireA<Result, std::decay_t<RejectedHandler>>();
    return Deferred<Result>(take()->thenResolvedRejected(
        typed<impl::Success<T>, Result>(std::forward<ResolvedHandler>(resolved)),
        typed<impl::Failure, Result>(std::forward<RejectedHandler>(rejected))));
  }
  /// The handler takes an Outcome<T>.
  template <class Handler>
  auto thenEither(Handler&& handler) && {
    using Result = ResultOf<impl::Either<T>, std::decay_t<Handler>>;
    return Deferred<Result>(
        take()->thenEither(typed<impl::Either<T>, Result>(std::forward<Handler>(handler))));
  }
  /// The same, but a cancellation passes by unchanged.
  template <class Handler>
  auto thenEitherUnlessCanceled(Handler&& handler) && {
    using Result = ResultOf<impl::Either<T>, std::decay_t<Handler>>;
    return Deferred<Result>(take()->thenEitherUnlessCanceled(
        typed<impl::Either<T>, Result>(std::forward<Handler>(handler))));
  }
  /// Sends the value, failures included, to the target and passes it on unchanged.
  Deferred thenResolve(const Ref<PLVResolvable>& target) && {
    return Deferred(take()->thenResolve(target));
  }

  // With a `Weak` or `std::weak_ptr` in front, see `guarded`; the handler may take the owner as the
  // strong reference. What passes on in its place is what came, so a handler gives a T.
  template <impl::LifetimeGuard Guard, class Handler>
  Deferred thenResolved(Guard guard, Handler&& handler) && {
    return Deferred(take()->thenResolved(
        typedGuarded<impl::Success<T>>(std::move(guard), std::forward<Handler>(handler))));
  }
  template <impl::LifetimeGuard Guard, class Handler>
  Deferred thenRejected(Guard guard, Handler&& handler) && {
    return Deferred(take()->thenRejected(
        typedGuarded<impl::Failure>(std::move(guard), std::forward<Handler>(handler))));
  }

  // A handle that is kept would state what the chain no longer gives: std::move it.
  template <class Handler>
  void thenResolved(Handler&&) const& = delete;
  template <class Handler>
  void thenRejected(Handler&&) const& = delete;
  template <class ResolvedHandler, class RejectedHandler>
  void thenResolvedRejected(ResolvedHandler&&, RejectedHandler&&) const& = delete;
  template <class Handler>
  void thenEither(Handler&&) const& = delete;
  template <class Handler>
  void thenEitherUnlessCanceled(Handler&&) const& = delete;
  void thenResolve(const Ref<PLVResolvable>&) const& = delete;

  // As the operations of PLVDeferred of the same names. Require: a handle that is not null.
  void cancel() const { _deferred->cancel(); }
  void cancelWithValue(const Value& value) const { _deferred->cancelWithValue(value); }
  bool isResolved() const noexcept { return _deferred->isResolved(); }
  bool isCancelled() const noexcept { return _deferred->isCancelled(); }

 private:
  template <class Taken, class Handler>
  static constexpr auto resultOf() {
    static_assert(Taken::template isTakenBy<Handler>,
                  "this handler does not take what the deferred gives");
    if constexpr (Taken::template isTakenBy<Handler>) {
      using Returned = typename Taken::template ReturnedBy<Handler>;
      using Result = impl::ResultOf<Returned>;
      static_assert(!std::is_same_v<Result, impl::NoResult>,
                    "this handler always fails: return an Outcome<T>, which says of what");
      return std::type_identity<Result>();
    } else {
      return std::type_identity<void>();
    }
  }
  template <class Taken, class Handler>
  using ResultOf = typename decltype(resultOf<Taken, Handler>())::type;

  template <class Result, class Handler>
  static constexpr void requireA() {
    static_assert(impl::Failure::isTakenBy<Handler>,
                  "a handler of failures takes a Ref<PLVRejected>");
    if constexpr (impl::Failure::isTakenBy<Handler>) {
      static_assert(
          impl::givesA<Result, impl::Failure::ReturnedBy<Handler>>(),
          "a handler of failures returns what the deferred gives, an Outcome of it, or the "
          "failure");
    }
  }

  template <class Taken, class Result, class Handler>
  static auto typed(Handler&& handler) {
    return impl::TypedHandler<Taken, Result, std::decay_t<Handler>>(std::forward<Handler>(handler));
  }

  template <class Taken, class Guard, class Handler>
  static auto typedGuarded(Guard guard, Handler&& handler) {
    using Guarded = impl::GuardedTypedHandler<Taken, T, Guard, std::decay_t<Handler>>;
    static_assert(Guarded::isTaken,
                  "this handler takes neither what the deferred gives nor the owner and that");
    static_assert(Guarded::givesSame(), "a guarded handler gives what the deferred gives");
    return Guarded(std::move(guard), std::forward<Handler>(handler));
  }

  Ref<PLVDeferred> take() noexcept { return std::move(_deferred); }

  Ref<PLVDeferred> _deferred;
};

namespace impl {

/// The value as a T; throws Rejected where it is of another kind.
template <class T>
T resultAs(const Value& value) {
  if constexpr (!std::is_void_v<T>) {
    if (!ValueConversion<T>::holds(value)) {
      Rejected::raise(rejectedForKind(ValueConversion<T>::name(), value));
    }
    return ValueConversion<T>::fromValue(value);
  }
}

template <class T>
class TypedAwaiter : public DeferredAwaiter {
 public:
  using DeferredAwaiter::DeferredAwaiter;
  T await_resume() { return resultAs<T>(Awaiter::await_resume()); }
};

template <class T>
class TypedCoroutine : public CoroutinePromise {
 public:
  explicit TypedCoroutine(CreationPlace place = CreationPlace::here())
      : CoroutinePromise(std::coroutine_handle<TypedCoroutine>::from_promise(*this), place) {}
  Deferred<T> get_return_object() { return Deferred<T>(coroutine().deferred()); }
  template <class Returned = T>
  void return_value(Returned&& returned) {
    static_assert(givesA<T, std::remove_cvref_t<Returned>>(),
                  "this coroutine returns another type than its Deferred gives");
    coroutine().setOutcome(toValueOf<T>(std::forward<Returned>(returned)));
  }
};
template <>
class TypedCoroutine<void> : public CoroutinePromise {
 public:
  explicit TypedCoroutine(CreationPlace place = CreationPlace::here())
      : CoroutinePromise(std::coroutine_handle<TypedCoroutine>::from_promise(*this), place) {}
  Deferred<void> get_return_object() { return Deferred<void>(coroutine().deferred()); }
  void return_void() const noexcept {}
};

}  // namespace impl

/// Gives a T; throws Rejected for a failure, also where the value is of another kind.
template <class T>
impl::TypedAwaiter<T> operator co_await(const Deferred<T>& deferred) {
  return impl::TypedAwaiter<T>(deferred.untyped());
}
template <class T>
impl::TypedAwaiter<T> operator co_await(Deferred<T>&& deferred) {
  return impl::TypedAwaiter<T>(std::move(deferred).untyped());
}

}  // namespace JNFoundation
