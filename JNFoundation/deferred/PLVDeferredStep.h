#pragma once

#include <utility>

#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// The handler of a success: gets the value, returns what the next step sees.
using PLVResolvedHandler = Block<Value(const Value& value)>;

/// The handler of a failure: gets the PLVRejected, returns what the next step sees. Made of any
/// closure that takes a `const Ref<PLVRejected>&` or a `const Value&`; may be null.
class PLVRejectedHandler {
 public:
  PLVRejectedHandler() noexcept = default;
  PLVRejectedHandler(std::nullptr_t) noexcept {}

  /// A closure that takes the failure as a value.
  template <class Closure>
  requires(!std::is_same_v<std::remove_cvref_t<Closure>, PLVRejectedHandler> &&
           std::is_invocable_v<std::decay_t<Closure>&, const Value&>)
      PLVRejectedHandler(Closure&& closure)
      : _block(std::forward<Closure>(closure)) {}

  /// A closure that takes the failure as a PLVRejected.
  template <class Closure>
  requires(!std::is_same_v<std::remove_cvref_t<Closure>, PLVRejectedHandler> &&
           !std::is_invocable_v<std::decay_t<Closure>&, const Value&> &&
           std::is_invocable_v<std::decay_t<Closure>&, const Ref<PLVRejected>&>)
      PLVRejectedHandler(Closure&& closure) {
    using Stored = std::decay_t<Closure>;
    static_assert(!std::is_void_v<std::invoke_result_t<Stored&, const Ref<PLVRejected>&>>,
                  "a handler must return a value: end it with `return rejected;` (or a value)");
    // A lambda without captures would convert to a function pointer and is never null.
    if constexpr (!std::is_empty_v<Stored> && std::is_constructible_v<bool, const Stored&>) {
      if (!static_cast<bool>(closure)) return;
    }
    _block = OfRejected<Stored>{Stored(std::forward<Closure>(closure))};
  }

  /// Whether there is a handler.
  explicit operator bool() const noexcept { return static_cast<bool>(_block); }
  /// Requires: not null; the value is a PLVRejected.
  Value operator()(const Value& rejected) const { return _block(rejected); }

 private:
  friend class PLVDeferred;

  /// Hands the rejection that a value is to the closure.
  template <class Closure>
  struct OfRejected {
    Closure closure;

    Value operator()(const Value& value) const requires std::is_invocable_v < const Closure&, const
        Ref<PLVRejected>
    & > { return closure(Ref<PLVRejected>(static_cast<PLVRejected*>(value.object()))); }
    Value operator()(const Value& value) requires(
        !std::is_invocable_v<const Closure&, const Ref<PLVRejected>&>) {
      return closure(Ref<PLVRejected>(static_cast<PLVRejected*>(value.object())));
    }
  };

  PLVResolvedHandler _block;
};

/// One step of a deferred: a handler for success and one for failure, either of which may be null.
/// Threads: the handlers are fixed; they run on the main thread. It may be added more than once, to
/// any deferred.
class PLVDeferredStep : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// Takes: null for a branch that passes values unchanged.
  static Ref<PLVDeferredStep> initWithResolvedBlockRejectedBlock(PLVResolvedHandler resolved,
                                                                 PLVRejectedHandler rejected);

  /// Passes the value through the handler of its branch, or unchanged where there is none.
  /// Returns: what the handler returned, null included.
  Value processValue(const Value& value) const;

 protected:
  PLVDeferredStep(PLVResolvedHandler resolved, PLVRejectedHandler rejected)
      : _deferredResolved(std::move(resolved)), _deferredRejected(std::move(rejected)) {}

 private:
  const PLVResolvedHandler _deferredResolved;
  const PLVRejectedHandler _deferredRejected;
};

}  // namespace JNFoundation
