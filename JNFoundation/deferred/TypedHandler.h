#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include <JNFoundation/deferred/Guard.h>
#include <JNFoundation/deferred/Outcome.h>
#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/deferred/ValueConversion.h>

namespace JNFoundation::inline v0_1 {

template <class T>
class Deferred;
template <class T>
class Promise;

/// What Deferred and Promise know of their handlers.
namespace impl {

/// The result of what only fails; it goes with every type.
struct NoResult {};

/// What a handler gives: `Result` is the type that the next handler gets, `toValue` makes the value
/// that the chain sees.
template <class Returned>
struct HandlerResult {
  using Result = Returned;
  static Value toValue(Returned returned) {
    return ValueConversion<Returned>::toValue(std::move(returned));
  }
};
template <class T>
struct HandlerResult<Outcome<T>> {
  using Result = T;
  static Value toValue(Outcome<T> outcome) { return std::move(outcome).toValue(); }
};
template <class T>
struct HandlerResult<Deferred<T>> {
  using Result = T;
  static Value toValue(Deferred<T> deferred) { return Value(std::move(deferred).untyped()); }
};
template <class T>
struct HandlerResult<Promise<T>> {
  using Result = T;
  static Value toValue(const Promise<T>& promise) { return Value(promise.untyped()); }
};
template <class T>
requires std::derived_from<T, PLVDeferred> || std::derived_from<T, PLVPromise>
struct HandlerResult<Ref<T>> {
  using Result = Value;
  static Value toValue(Ref<T> awaited) { return Value(std::move(awaited)); }
};
template <std::derived_from<PLVRejected> T>
struct HandlerResult<Ref<T>> {
  using Result = NoResult;
  static Value toValue(Ref<T> rejected) { return Value(std::move(rejected)); }
};
template <>
struct HandlerResult<std::nullptr_t> : HandlerResult<Value> {};
template <>
struct HandlerResult<const char*> : HandlerResult<std::string> {
  static Value toValue(const char* text) { return Value(text); }
};
template <>
struct HandlerResult<std::string_view> : HandlerResult<std::string> {
  static Value toValue(std::string_view text) { return Value(text); }
};
template <>
struct HandlerResult<void> {
  using Result = void;
};

template <class Returned>
using ResultOf = typename HandlerResult<std::remove_cvref_t<Returned>>::Result;

/// What is returned, as a T: by its own kind, or else converted to a T first.
template <class T, class Returned>
Value toValueOf(Returned&& returned) {
  using Kind = std::remove_cvref_t<Returned>;
  if constexpr (std::is_same_v<ResultOf<Kind>, T> || std::is_same_v<ResultOf<Kind>, NoResult>) {
    return HandlerResult<Kind>::toValue(std::forward<Returned>(returned));
  } else {
    return ValueConversion<T>::toValue(T(std::forward<Returned>(returned)));
  }
}

/// Whether what is returned may stand for a T.
template <class T, class Returned>
constexpr bool givesA() {
  if constexpr (std::is_void_v<Returned>) {
    return std::is_void_v<T>;
  } else if constexpr (std::is_convertible_v<Returned, T> && !std::is_void_v<T>) {
    return true;
  } else {
    return std::is_same_v<ResultOf<Returned>, T> || std::is_same_v<ResultOf<Returned>, NoResult>;
  }
}

/// How a value reaches a handler: a T, or a failure in its place.
template <class T>
struct Success {
  template <class Handler>
  static constexpr bool isTakenBy = std::is_invocable_v<Handler&, T>;
  template <class Handler>
  using ReturnedBy = std::invoke_result_t<Handler&, T>;

  static Value refusal(const Value& value) {
    return ValueConversion<T>::holds(value)
               ? Value()
               : Value(rejectedForKind(ValueConversion<T>::name(), value));
  }
  template <class Handler>
  static decltype(auto) call(Handler& handler, const Value& value) {
    return std::invoke(handler, ValueConversion<T>::fromValue(value));
  }
};
template <>
struct Success<Value> {
  template <class Handler>
  static constexpr bool isTakenBy = std::is_invocable_v<Handler&, const Value&>;
  template <class Handler>
  using ReturnedBy = std::invoke_result_t<Handler&, const Value&>;

  static Value refusal(const Value&) noexcept { return Value(); }
  template <class Handler>
  static decltype(auto) call(Handler& handler, const Value& value) {
    return std::invoke(handler, value);
  }
};
template <>
struct Success<void> {
  template <class Handler>
  static constexpr bool isTakenBy = std::is_invocable_v<Handler&>;
  template <class Handler>
  using ReturnedBy = std::invoke_result_t<Handler&>;

  static Value refusal(const Value&) noexcept { return Value(); }
  template <class Handler>
  static decltype(auto) call(Handler& handler, const Value&) {
    return std::invoke(handler);
  }
};

struct Failure {
  template <class Handler>
  static constexpr bool isTakenBy = std::is_invocable_v<Handler&, const Ref<PLVRejected>&>;
  template <class Handler>
  using ReturnedBy = std::invoke_result_t<Handler&, const Ref<PLVRejected>&>;

  static Value refusal(const Value&) noexcept { return Value(); }
  template <class Handler>
  static decltype(auto) call(Handler& handler, const Value& value) {
    return std::invoke(handler, Ref<PLVRejected>(static_cast<PLVRejected*>(value.object())));
  }
};

template <class T>
struct Either {
  template <class Handler>
  static constexpr bool isTakenBy = std::is_invocable_v<Handler&, Outcome<T>>;
  template <class Handler>
  using ReturnedBy = std::invoke_result_t<Handler&, Outcome<T>>;

  static Value refusal(const Value&) noexcept { return Value(); }
  template <class Handler>
  static decltype(auto) call(Handler& handler, const Value& value) {
    return std::invoke(handler, Outcome<T>::fromValue(value));
  }
};

/// The handler that the chain calls: as large as the one that it is made of.
template <class Taken, class T, class Handler>
class TypedHandler {
 public:
  explicit TypedHandler(Handler&& handler) : _handler(std::move(handler)) {}
  explicit TypedHandler(const Handler& handler) : _handler(handler) {}

  Value operator()(const Value& value) const requires(Taken::template isTakenBy<const Handler>) {
    return call(_handler, value);
  }
  Value operator()(const Value& value) requires(!Taken::template isTakenBy<const Handler>) {
    return call(_handler, value);
  }

  template <class Called>
  static Value call(Called& handler, const Value& value) {
    if (Value refusal = Taken::refusal(value)) return refusal;
    if constexpr (std::is_void_v<T>) {
      if constexpr (std::is_void_v<typename Taken::template ReturnedBy<Called>>) {
        Taken::call(handler, value);
        return Value();
      } else {
        return HandlerResult<std::remove_cvref_t<typename Taken::template ReturnedBy<Called>>>::
            toValue(Taken::call(handler, value));
      }
    } else {
      return toValueOf<T>(Taken::call(handler, value));
    }
  }

 private:
  Handler _handler;
};

/// The handler, with the guard's owner in front of what it takes, where it takes that.
template <class Locked, class Handler>
struct WithOwner {
  const Locked& owner;
  Handler& handler;

  template <class... Given>
  requires(std::is_invocable_v<Handler&, const Locked&, Given...> ||
           std::is_invocable_v<Handler&, Given...>) decltype(auto)
  operator()(Given&&... given) {
    if constexpr (std::is_invocable_v<Handler&, const Locked&, Given...>) {
      return std::invoke(handler, owner, std::forward<Given>(given)...);
    } else {
      return std::invoke(handler, std::forward<Given>(given)...);
    }
  }
};

/// The same as TypedHandler while the guard's owner lives; afterwards the value passes on.
template <class Taken, class T, class Guard, class Handler>
class GuardedTypedHandler {
  using Traits = GuardTraits<Guard>;
  using Locked = decltype(Traits::lock(std::declval<const Guard&>()));
  template <class Called>
  using Bound = WithOwner<Locked, Called>;

 public:
  static constexpr bool isTaken = Taken::template isTakenBy<Bound<Handler>>;
  static constexpr bool isTakenConst = Taken::template isTakenBy<Bound<const Handler>>;
  static constexpr bool givesSame() {
    if constexpr (isTaken) {
      return givesA<T, typename Taken::template ReturnedBy<Bound<Handler>>>();
    } else {
      return true;
    }
  }

  template <class Given>
  GuardedTypedHandler(Guard guard, Given&& handler)
      : _guard(std::move(guard)), _handler(std::forward<Given>(handler)) {}

  Value operator()(const Value& value) const requires(isTakenConst) {
    return call(_handler, value);
  }
  Value operator()(const Value& value) requires(!isTakenConst) { return call(_handler, value); }

 private:
  template <class Called>
  Value call(Called& handler, const Value& value) const {
    const Locked owner = Traits::lock(_guard);
    if (!owner) return value;
    Bound<Called> bound{owner, handler};
    return TypedHandler<Taken, T, Bound<Called>>::call(bound, value);
  }

  Guard _guard;
  Handler _handler;
};

}  // namespace impl
}  // namespace JNFoundation
