#pragma once

#include <optional>
#include <type_traits>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1 {

namespace impl {

/// How values of a deferred of T appear in an observable: objects as references, or any value.
template <class T>
struct RxElement {
  using Type = Ref<T>;
  static Type of(const Value& value) { return as<T>(Value(value)); }
  static bool accepts(const Value& value) { return isKindOf<T>(value); }
};
template <>
struct RxElement<Value> {
  using Type = Value;
  static Value of(const Value& value) { return value; }
  static bool accepts(const Value&) { return true; }
};

}  // namespace impl

// The domains of the errors that the bridge makes; their user info is empty.
inline constexpr const char* PLVDeferredRxErrorDomain = "PLVDeferred";
inline constexpr const char* PLVDeferredUtilErrorDomain = "PLVDeferredUtil";

/// Turns a deferred into an observable of a reactive-extensions library, for code that consumes
/// observables.
///
///     PLVDeferredUtil<RxCpp>::rx_observable<NSString>(name)
///         .subscribe([](const Ref<NSString>& text) { show(text); },
///                    [](std::exception_ptr error) { … }, [] { … });
///
/// T is the class of the deferred's values, or Value for any. Every subscriber adds steps of its
/// own to the deferred: a success gives the element and then completed, a failure gives error and
/// then completed (which no observer sees after an error). The steps pass the outcome on, so that
/// other users of the deferred notice nothing. Null is no element: the observable only completes.
///
/// The error is the NSError that the deferred was rejected with; code 1 of the domain "PLVDeferred"
/// where it was rejected with anything else; code 3 of "PLVDeferredUtil" for a value that is no T.
/// A null deferred gives an observable that fails with code 2 of "PLVDeferredUtil".
///
/// Disposing a subscription REJECTS the deferred with null, for all of its users, unless it has its
/// outcome. Steps that were added stay.
///
/// Threads: any to subscribe and to dispose; events come on the main thread, from the deferred's
/// steps. A subscription holds the deferred; its steps hold the observer until the deferred
/// settles.
///
/// `Rx` is the library, as four members:
///
///     template <class Element> using Observable = …;
///     template <class Element> using Observer = …;   // copyable: next(element),
///     error(Ref<NSError>),
///                                                     // completed(), all const
///     // An observable that calls subscribe(Observer<Element>) for every subscriber; it returns
///     the
///     // Block<void()> that is called when the subscription is disposed.
///     template <class Element> static Observable<Element> create(Subscribe subscribe);
///     template <class Element> static Observable<Element> error(const Ref<NSError>& error);
template <class Rx>
class PLVDeferredUtil {
 public:
  /// What an observable of T's has: references to objects, or any value.
  template <class T>
  using Element = typename impl::RxElement<T>::Type;
  /// An observable of the reactive library.
  template <class E>
  using Observable = typename Rx::template Observable<E>;

  /// Null completes without an element.
  template <class T = Value>
  static Observable<Element<T>> rx_observable(const Ref<PLVDeferred>& deferred) {
    return bridge<T, Element<T>>(deferred, [](const Value& value, const auto& observer) {
      if (value) observer.next(impl::RxElement<T>::of(value));
    });
  }

  /// Null is an element, the empty optional.
  template <class T = Value>
  static Observable<std::optional<Element<T>>> rx_observableOptional(
      const Ref<PLVDeferred>& deferred) {
    using Optional = std::optional<Element<T>>;
    return bridge<T, Optional>(deferred, [](const Value& value, const auto& observer) {
      observer.next(value ? Optional(impl::RxElement<T>::of(value)) : Optional());
    });
  }

  /// The elements are what the transform makes of the values; null completes without one.
  /// Calls: the transform, once for each subscriber, on the main thread.
  template <class T = Value, class Transform>
  static auto rx_observable(const Ref<PLVDeferred>& deferred, Transform transform) {
    using Transformed = std::decay_t<std::invoke_result_t<Transform&, const Element<T>&>>;
    return bridge<T, Transformed>(deferred, [transform = std::move(transform)](
                                                const Value& value, const auto& observer) mutable {
      if (value) observer.next(transform(impl::RxElement<T>::of(value)));
    });
  }

 private:
  static Ref<NSError> errorOf(const char* domain, NSInteger code) {
    return NSError::errorWithDomainCodeUserInfo(domain, code, nullptr);
  }

  static Ref<NSError> errorOf(const Ref<PLVRejected>& rejected) {
    if (auto* error = as<NSError>(rejected->value())) return error;
    return errorOf(PLVDeferredRxErrorDomain, 1);
  }

  template <class T, class E, class Deliver>
  static Observable<E> bridge(const Ref<PLVDeferred>& deferred, Deliver deliver) {
    if (!deferred) return Rx::template error<E>(errorOf(PLVDeferredUtilErrorDomain, 2));
    return Rx::template create<E>(
        [deferred, deliver = std::move(deliver)](typename Rx::template Observer<E> observer) {
          deferred
              ->thenRejected([observer](const Ref<PLVRejected>& rejected) -> Value {
                observer.error(errorOf(rejected));
                return rejected;
              })
              ->thenResolved([observer, deliver](const Value& value) mutable {
                if (value && !impl::RxElement<T>::accepts(value)) {
                  observer.error(errorOf(PLVDeferredUtilErrorDomain, 3));
                } else {
                  deliver(value, observer);
                }
                return value;
              })
              ->thenEither([observer](const Value& value) {
                observer.completed();
                return value;
              });
          return Block<void()>([deferred] { deferred->reject(nullptr); });
        });
  }
};

}  // namespace JNFoundation
