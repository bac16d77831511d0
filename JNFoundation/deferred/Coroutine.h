#pragma once

#include <concepts>
#include <coroutine>
#include <new>
#include <utility>

#include <JNFoundation/deferred/Continuation.h>
#include <JNFoundation/deferred/CreationPlace.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/deferred/Rejected.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/Weak.h>

/// With this header, `co_await` takes deferreds and promises, and a function that returns a
/// `Ref<PLVDeferred>` may be a coroutine:
///
///     Ref<PLVDeferred> sync(Ref<Account> account) {
///       const Value page = co_await account->fetchPage();   // throws what was rejected
///       co_await store(page);
///       co_return page;
///     }
///
/// The function runs at once, up to its first await that has to wait, and returns a deferred, which
/// gets what it returns (a deferred or promise is awaited, a PLVRejected is a failure), or a
/// failure of what it throws, see `currentExceptionAsRejected`. It ends with `co_return value;`.
///
/// An await of a deferred is a step of that chain: it gets the value where the chain stands and
/// passes it on unchanged. It gives the value, throws a failure as Rejected and a cancellation as
/// Cancelled. Null gives null. An outcome that is there and has no step in front of it is taken
/// without suspending, so that a loop uses no stack. An await of a promise listens to it, until it
/// is cancelled.
///
/// Threads: what follows an await runs on the main thread, as a handler does, also when the await
/// happened elsewhere. Takes: the chain that is waited for owns the waiting coroutine, its
/// arguments and its variables. A variable of the coroutine that holds what it waits for makes a
/// cycle until the outcome is there; `co_await std::move(variable)` makes none.
///
/// Cancelling the returned deferred cancels what the coroutine waits for, then throws Cancelled at
/// that await, whatever it gave; at the next await that has to wait if the coroutine was running.
/// It is thrown once: what awaits while it cleans up does wait. A coroutine that can no longer be
/// resumed, because what it waits for died without an outcome, is destroyed where it stands, and
/// its deferred is cancelled unless others resolved it before.
namespace JNFoundation::inline v0_1 {

namespace impl {

class ForeignAwait;

/// The part of a coroutine's frame that the engine knows. It owns the frame: the frame goes with
/// the last reference to it. The coroutine itself has a reference while it runs or waits for
/// something else, the step has it while it waits for a deferred.
class Coroutine final : public Continuation {
 public:
  Coroutine(std::coroutine_handle<> frame, CreationPlace place);
  ~Coroutine() override;

  /// What the coroutine returns to its caller. Null once it has finished.
  const Ref<PLVDeferred>& deferred() const noexcept { return _deferred; }

  /// Waits for the deferred's value. Returns: false if it is in place already.
  bool await(Ref<PLVDeferred> awaited, Value& place);
  void setOutcome(Value outcome) noexcept { _outcome = std::move(outcome); }
  /// Hands the outcome on. The frame may be gone after it.
  void finish() noexcept;

  Entry proceed(const Value& value) override;
  Entry cancelAwaited(const Value& value) override;
  PLVDeferred* receiver() const noexcept override { return _deferred.get(); }

  /// Destroys the frame, which destroys this.
  static void operator delete(Coroutine* coroutine, std::destroying_delete_t);

 private:
  /// Notes what is awaited, and cancels it if nobody wants it any more.
  void setAwaited(const Ref<PLVDeferred>& awaited);

  const std::coroutine_handle<> _frame;
  Ref<PLVDeferred> _deferred;
  Value _outcome;

  /// Where the value that it waits for belongs.
  Value* _place = nullptr;
  bool _isAttaching = false;
  /// While `proceed` runs it on the main thread: where its end is noted.
  bool* _finished = nullptr;

  // The main thread's.
  /// A deferred that dies on another thread is gone before its steps are.
  Weak<PLVDeferred> _awaited;
  /// What the next await that waits has to throw, null as a rule.
  Value _cancellation;
};

/// What the promise types of all coroutines of the library have in common. The place of creation is
/// the default argument of their constructors, which is the coroutine's own place.
class CoroutinePromise {
 public:
  std::suspend_never initial_suspend() const noexcept { return {}; }
  auto final_suspend() noexcept {
    struct Finish {
      Coroutine& coroutine;
      bool await_ready() const noexcept { return false; }
      void await_suspend(std::coroutine_handle<>) const noexcept { coroutine.finish(); }
      void await_resume() const noexcept {}
    };
    return Finish{_coroutine};
  }
  void unhandled_exception() noexcept { _coroutine.setOutcome(currentExceptionAsRejected()); }

  Coroutine& coroutine() noexcept { return _coroutine; }

 protected:
  CoroutinePromise(std::coroutine_handle<> frame, CreationPlace place) : _coroutine(frame, place) {}

 private:
  Coroutine _coroutine;
};

/// What `co_await` looks at while it waits for a value, and at the end.
class Awaiter {
 public:
  Awaiter(const Awaiter&) = delete;
  Awaiter& operator=(const Awaiter&) = delete;
  ~Awaiter();

  Value await_resume() {
    if (isKindOf<PLVRejected>(_value)) raise();
    return std::move(_value);
  }

 protected:
  Awaiter() noexcept = default;

  /// Takes a value that is there. A failure is left to the engine, which has more to do for it.
  bool take(const Value& value) {
    if (isKindOf<PLVRejected>(value)) return false;
    _value = value;
    return true;
  }

  template <class Promise>
  bool suspend(Ref<PLVDeferred> awaited, std::coroutine_handle<Promise> handle) {
    if constexpr (std::derived_from<Promise, CoroutinePromise>) {
      return handle.promise().coroutine().await(std::move(awaited), _value);
    } else {
      return suspendForeign(std::move(awaited), handle);
    }
  }

 private:
  friend class ForeignAwait;

  bool suspendForeign(Ref<PLVDeferred> awaited, std::coroutine_handle<> handle);
  [[noreturn]] void raise() const;

  Value _value;
  /// While a coroutine of another kind waits: what stands in the chain for it.
  ForeignAwait* _foreign = nullptr;
};

/// Access to the chain for what waits.
class Await {
 public:
  /// Whether a step that is added now would get the outcome now, and from no other step.
  static bool isIdle(const PLVDeferred& deferred) noexcept {
    return deferred._resolved && !deferred._consumingStep && !deferred._paused &&
           deferred._deferredSteps.isEmpty() &&
           deferred._asyncStepAdditions.load(std::memory_order_relaxed) == 0;
  }
  /// Unlike `resolution()`, looking here is not seeing.
  static const Value& outcome(const PLVDeferred& deferred) noexcept { return deferred._resolution; }
  static const Value& outcome(const PLVPromise& promise) noexcept { return promise._resolution; }
  static Entry attach(PLVDeferred& deferred, Ref<Continuation> continuation);
  static Entry settle(PLVDeferred& deferred, Value outcome);
  static Entry cancel(PLVDeferred& deferred, const Value& value);
};

class DeferredAwaiter : public Awaiter {
 public:
  explicit DeferredAwaiter(Ref<PLVDeferred> deferred) noexcept : _deferred(std::move(deferred)) {}

  bool await_ready() {
    if (!_deferred) return true;
    return MainQueue::isMainThread() && Await::isIdle(*_deferred) &&
           take(Await::outcome(*_deferred));
  }
  template <class Promise>
  bool await_suspend(std::coroutine_handle<Promise> handle) {
    return suspend(std::move(_deferred), handle);
  }

 private:
  Ref<PLVDeferred> _deferred;
};

class PromiseAwaiter : public Awaiter {
 public:
  explicit PromiseAwaiter(Ref<PLVPromise> promise) noexcept : _promise(std::move(promise)) {}

  bool await_ready() {
    if (!_promise) return true;
    return MainQueue::isMainThread() && _promise->isFulfilled() && take(Await::outcome(*_promise));
  }
  template <class Promise>
  bool await_suspend(std::coroutine_handle<Promise> handle,
                     CreationPlace place = CreationPlace::here()) {
    return suspend(std::exchange(_promise, nullptr)->deferredResolution(place), handle);
  }

 private:
  Ref<PLVPromise> _promise;
};

/// The promise type of coroutines that return a `Ref<PLVDeferred>`.
class DeferredCoroutine : public CoroutinePromise {
 public:
  explicit DeferredCoroutine(CreationPlace place = CreationPlace::here())
      : CoroutinePromise(std::coroutine_handle<DeferredCoroutine>::from_promise(*this), place) {}
  Ref<PLVDeferred> get_return_object() { return coroutine().deferred(); }
  void return_value(Value value) noexcept { coroutine().setOutcome(std::move(value)); }
};

}  // namespace impl

/// Gives the value of the chain where it stands; throws Rejected or Cancelled for a failure.
template <std::derived_from<PLVDeferred> T>
impl::DeferredAwaiter operator co_await(const Ref<T>& deferred) {
  return impl::DeferredAwaiter(deferred);
}
template <std::derived_from<PLVDeferred> T>
impl::DeferredAwaiter operator co_await(Ref<T>&& deferred) {
  return impl::DeferredAwaiter(std::move(deferred));
}
/// Gives the outcome of the promise; throws Rejected or Cancelled for a failure.
template <std::derived_from<PLVPromise> T>
impl::PromiseAwaiter operator co_await(const Ref<T>& promise) {
  return impl::PromiseAwaiter(promise);
}
template <std::derived_from<PLVPromise> T>
impl::PromiseAwaiter operator co_await(Ref<T>&& promise) {
  return impl::PromiseAwaiter(std::move(promise));
}

}  // namespace JNFoundation

template <class... Arguments>
struct std::coroutine_traits<JNFoundation::Ref<JNFoundation::PLVDeferred>, Arguments...> {
  using promise_type = JNFoundation::impl::DeferredCoroutine;
};
