#pragma once

#include <atomic>
#include <concepts>
#include <optional>
#include <type_traits>
#include <utility>

#include <JNFoundation/deferred/Deferred.h>
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class OffloadedWork;
}

/// What runs work somewhere else: an object with `execute(task)`, or anything that is called with
/// the task. It runs the task once, on any thread, or drops it.
template <class T>
concept Executor = requires(T& executor, Block<void()> task) {
  executor.execute(std::move(task));
}
|| std::invocable<T&, Block<void()>>;

/// Tells work that runs whether anybody still wants its outcome. Threads: any, while the work runs.
class CancellationToken {
 public:
  /// Whether the outcome is no longer wanted.
  bool isCancelled() const noexcept { return _isCancelled.load(std::memory_order_relaxed); }

 private:
  friend class impl::OffloadedWork;
  explicit CancellationToken(const std::atomic<bool>& isCancelled) noexcept
      : _isCancelled(isCancelled) {}

  const std::atomic<bool>& _isCancelled;
};

namespace impl {

/// Work on its way to an executor and back, and the source of its deferred.
class OffloadedWork : public NSObject, public PLVResolutionSource {
 public:
  NSObject* protocolObject() noexcept override { return this; }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override;

  /// What the executor is given. Takes: the work; when the last copy goes without having run, the
  /// work was dropped.
  Block<void()> task();
  /// The executor threw instead of taking the task.
  void failWithCurrentException();

  /// Where the outcome goes.
  const Ref<PLVDeferred>& deferred() const noexcept { return _deferred; }

 protected:
  explicit OffloadedWork(CreationPlace place);
  ~OffloadedWork() override;

  /// Does the work and forgets it. Returns: the outcome.
  virtual Value perform(const CancellationToken& token) = 0;

 private:
  void run();
  void settle(const Value& outcome) noexcept;

  const Ref<PLVDeferred> _deferred;
  std::atomic<bool> _isTaken{false};
  std::atomic<bool> _isCancelled{false};
};

template <class T, class Function>
class OffloadedFunction : public OffloadedWork {
 protected:
  template <class Given>
  OffloadedFunction(CreationPlace place, Given&& function)
      : OffloadedWork(place), _function(std::in_place, std::forward<Given>(function)) {}

  Value perform(const CancellationToken& token) override {
    // It goes on the thread that ran it, before the outcome is seen.
    Function function = *std::move(_function);
    _function.reset();
    if constexpr (std::is_invocable_v<Function&, const CancellationToken&>) {
      return valueOf([&]() -> decltype(auto) { return function(token); });
    } else {
      return valueOf([&]() -> decltype(auto) { return function(); });
    }
  }

 private:
  template <class Call>
  static Value valueOf(Call call) {
    if constexpr (std::is_void_v<std::invoke_result_t<Call>>) {
      call();
      return Value();
    } else {
      return toValueOf<T>(call());
    }
  }

  std::optional<Function> _function;
};

template <class Function>
struct OffloadedResult {
  static_assert(!std::is_same_v<Function, Function>, "work takes nothing, or a CancellationToken");
};
template <class Function>
requires std::is_invocable_v<Function&, const CancellationToken&>
struct OffloadedResult<Function> {
  using Type = ResultOf<std::invoke_result_t<Function&, const CancellationToken&>>;
};
template <class Function>
requires(!std::is_invocable_v<Function&, const CancellationToken&> &&
         std::is_invocable_v<Function&>) struct OffloadedResult<Function> {
  using Type = ResultOf<std::invoke_result_t<Function&>>;
};

}  // namespace impl

/// Runs the function on the executor and gives its result on the main thread.
///
///     runOn(pool, [path] { return decodePicture(path); })
///         .thenResolved([view](const Ref<Picture>& picture) { view->show(picture); });
///
/// The function returns what a handler of a Deferred returns, and may take a `const
/// CancellationToken&`. What it throws is a failure, see `currentExceptionAsRejected`. Cancelling
/// the deferred before the function has begun skips it; afterwards the token tells, and the result
/// is dropped. An executor that drops its task rejects with JNDeferredErrorNotRun, one that throws
/// with what it threw.
/// Threads: any. Takes: the function; it is destroyed on the thread that ran it, or dropped it.
template <class E, class Function>
requires Executor<std::remove_reference_t<E>>
auto runOn(E&& executor, Function&& function, CreationPlace place = CreationPlace::here()) {
  using Stored = std::decay_t<Function>;
  using T = typename impl::OffloadedResult<Stored>::Type;
  if constexpr (!std::is_empty_v<Stored> && std::is_constructible_v<bool, const Stored&>) {
    if (!static_cast<bool>(function)) fatalError("runOn: the function must not be null");
  }
  const Ref<impl::OffloadedWork> work =
      makeObject<impl::OffloadedFunction<T, Stored>>(place, std::forward<Function>(function));
  try {
    if constexpr (requires { executor.execute(work->task()); }) {
      executor.execute(work->task());
    } else {
      executor(work->task());
    }
  } catch (...) {
    work->failWithCurrentException();
  }
  return Deferred<T>(work->deferred());
}

}  // namespace JNFoundation
