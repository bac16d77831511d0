#pragma once

#include <memory>
#include <type_traits>
#include <utility>

#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/platform/value/Value.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

namespace impl {

template <class Guard>
struct GuardTraits {};
template <class T>
struct GuardTraits<Weak<T>> {
  using Owner = T;
  static Ref<T> lock(const Weak<T>& guard) noexcept { return guard.load(); }
};
template <class T>
struct GuardTraits<std::weak_ptr<T>> {
  using Owner = T;
  static std::shared_ptr<T> lock(const std::weak_ptr<T>& guard) noexcept { return guard.lock(); }
};

/// A handler that is skipped once the guard's owner has gone.
template <class Guard, class Handler>
class Guarded {
  using Traits = GuardTraits<Guard>;
  using Locked = decltype(Traits::lock(std::declval<const Guard&>()));
  using Owner = typename Traits::Owner;

 public:
  template <class Given>
  Guarded(Guard guard, Given&& handler)
      : _guard(std::move(guard)), _handler(std::forward<Given>(handler)) {}

  /// Whether the handler takes the argument, behind the owner or alone.
  template <class Called, class Argument>
  static constexpr bool takes = std::is_invocable_v<Called&, const Locked&, const Argument&> ||
                                std::is_invocable_v<Called&, Owner&, const Argument&> ||
                                std::is_invocable_v<Called&, const Argument&>;

  template <class Argument>
  requires(takes<const Handler, Argument>) Value operator()(const Argument& argument) const {
    return call(_handler, argument);
  }
  template <class Argument>
  requires(!takes<const Handler, Argument> && takes<Handler, Argument>) Value operator()(
      const Argument& argument) {
    return call(_handler, argument);
  }

  /// A null handler passes the value on.
  explicit operator bool() const
      requires(!std::is_empty_v<Handler> && std::is_constructible_v<bool, const Handler&>) {
    return static_cast<bool>(_handler);
  }

 private:
  template <class Called, class Argument>
  Value call(Called& handler, const Argument& argument) const {
    const Locked owner = Traits::lock(_guard);
    if (!owner) {
      passBy(argument);
      return argument;
    }
    if constexpr (std::is_invocable_v<Called&, const Locked&, const Argument&>) {
      return handler(owner, argument);
    } else if constexpr (std::is_invocable_v<Called&, Owner&, const Argument&>) {
      return handler(*owner, argument);
    } else {
      return handler(argument);
    }
  }

  Guard _guard;
  Handler _handler;
};

template <class Guard>
concept LifetimeGuard = requires {
  typename GuardTraits<Guard>::Owner;
};

}  // namespace impl

/// A handler that runs while the guard's owner lives, and holds it meanwhile. Afterwards it is
/// skipped: the value, or the failure, passes on unchanged. The guard is a `Weak` or a
/// `std::weak_ptr`; the handler takes the owner, as the strong reference or as a plain one, in
/// front of the value, or the value alone.
///
///     deferred->thenResolved(guarded(Weak<View>(view), [](View& view, const Value& picture) {
///       view.show(picture);
///       return picture;
///     }));
///
/// A failure that it passes by counts as unseen. Takes: the handler and what it captures, until the
/// step has run, also when the owner has gone.
template <impl::LifetimeGuard Guard, class Handler>
auto guarded(Guard guard, Handler&& handler) {
  if constexpr (std::is_null_pointer_v<std::decay_t<Handler>>) {
    return nullptr;
  } else {
    return impl::Guarded<Guard, std::decay_t<Handler>>(std::move(guard),
                                                       std::forward<Handler>(handler));
  }
}

}  // namespace JNFoundation
