#pragma once

#include <exception>

#include <JNFoundation/deferred/PLVRejected.h>

namespace JNFoundation::inline v0_1 {

/// The domain of the errors that this folder makes itself. Each has a localizedDescription.
inline constexpr const char* JNDeferredErrorDomain = "JNDeferredErrorDomain";
/// The codes of JNDeferredErrorDomain.
enum JNDeferredErrorCode : NSInteger {
  /// A typed view found a value of another kind.
  JNDeferredErrorUnexpectedKind = 1,
  /// A C++ exception; the description is its `what()`, the debug description its type.
  JNDeferredErrorException = 2,
  /// Something was thrown that is no std::exception.
  JNDeferredErrorUnknownException = 3,
  /// An executor dropped work without running it.
  JNDeferredErrorNotRun = 4,
};

/// A failure on its way as a C++ exception: what `co_await` throws for a rejected deferred, and
/// what a coroutine throws to reject its own.
///
///     try {
///       co_await upload;
///     } catch (const Cancelled&) { … } catch (const Rejected& failure) {
///       log(failure.rejected()->value());
///     }
///
/// Threads: like any C++ value.
class Rejected : public std::exception {
 public:
  /// A null failure becomes one that carries null.
  explicit Rejected(Ref<PLVRejected> rejected);
  /// With `PLVRejected::withValue(value)`, or the value itself if it is a failure.
  explicit Rejected(const Value& value);
  // Never moved from, so that it never loses its failure.
  Rejected(const Rejected&) noexcept = default;
  Rejected& operator=(const Rejected&) noexcept = default;

  /// Never null.
  const Ref<PLVRejected>& rejected() const noexcept { return _rejected; }

  /// The description of what failed, of an error its localizedDescription, as UTF-8. Made when it
  /// is first asked for; valid as long as this very object.
  const char* what() const noexcept override;

  /// Throws the failure as a Cancelled if it is a cancellation, as a Rejected otherwise.
  [[noreturn]] static void raise(Ref<PLVRejected> rejected);

 private:
  Ref<PLVRejected> _rejected;
  mutable Ref<NSString> _text;
};

/// The Rejected of a cancellation.
class Cancelled : public Rejected {
 public:
  Cancelled() : Cancelled(PLVRejected::cancellation()) {}
  /// Requires: a cancellation.
  explicit Cancelled(Ref<PLVRejected> cancellation) : Rejected(std::move(cancellation)) {}
};

/// What the exception that is being handled comes to as a failure: of a Rejected its own, of an
/// NSException one that carries it, of another std::exception one that carries an NSError with its
/// text, of anything else one that carries an NSError that says so.
/// Threads: any. Requires: an exception is being handled.
Ref<PLVRejected> currentExceptionAsRejected();

namespace impl {

/// Makes every C++ exception of the handler a failure.
template <class Handler>
class Catching {
 public:
  explicit Catching(Handler handler) : _handler(std::move(handler)) {}

  template <class Argument>
  requires std::is_invocable_v<const Handler&, const Argument&> Value
  operator()(const Argument& argument) const {
    return call(_handler, argument);
  }
  template <class Argument>
  requires(!std::is_invocable_v<const Handler&, const Argument&> &&
           std::is_invocable_v<Handler&, const Argument&>) Value
  operator()(const Argument& argument) {
    return call(_handler, argument);
  }

 private:
  template <class Called, class Argument>
  static Value call(Called& handler, const Argument& argument) {
    try {
      return handler(argument);
    } catch (...) {
      return currentExceptionAsRejected();
    }
  }

  Handler _handler;
};

}  // namespace impl

/// A handler that does what the given one does, and turns every C++ exception that leaves it into
/// a failure, see `currentExceptionAsRejected`; without it, one that is no NSException leaves the
/// chain for whoever made it advance.
///
///     feed->thenResolved(catching([](const Value& text) -> Value { return std::stoi(…); }));
///
/// Requires: a handler that is not null.
template <class Handler>
impl::Catching<std::decay_t<Handler>> catching(Handler&& handler) {
  return impl::Catching<std::decay_t<Handler>>(std::forward<Handler>(handler));
}

}  // namespace JNFoundation
