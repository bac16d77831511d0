#pragma once

#include <exception>
#include <rxcpp/rx.hpp>

#include <JNFoundation/deferred/PLVDeferredUtil.h>

namespace JNFoundation::inline v0_1 {

/// An NSError on its way through an observable of RxCpp, whose errors are exceptions.
///
///     observable.subscribe(onNext, [](std::exception_ptr failure) {
///       const Ref<NSError> error = RxCppError::of(failure);
///       …
///     });
class RxCppError : public std::exception {
 public:
  /// Takes: the error; not null.
  explicit RxCppError(Ref<NSError> error) : _error(std::move(error)) {}

  /// The error that is on its way.
  const Ref<NSError>& error() const noexcept { return _error; }
  /// A fixed text; the error says more.
  const char* what() const noexcept override { return "an NSError from a deferred"; }

  /// Returns: null where the failure carries no NSError.
  static Ref<NSError> of(const std::exception_ptr& failure) {
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const RxCppError& carrying) {
      return carrying.error();
    } catch (...) {
      // Not of the bridge.
    }
    return nullptr;
  }

 private:
  Ref<NSError> _error;
};

/// RxCpp for PLVDeferredUtil. Errors are RxCppErrors. What the library gives to its observers, and
/// when it disposes by itself (after an error, after completed), is as RxCpp has it.
struct RxCpp {
  /// An observable of RxCpp.
  template <class Element>
  using Observable = rxcpp::observable<Element>;

  /// Passes what it is told to a subscriber of RxCpp.
  template <class Element>
  class Observer {
   public:
    /// Takes: the subscriber.
    explicit Observer(rxcpp::subscriber<Element> subscriber) : _subscriber(std::move(subscriber)) {}
    /// Tells of an element.
    void next(Element element) const { _subscriber.on_next(std::move(element)); }
    /// Tells of a failure, the last that is told.
    void error(const Ref<NSError>& error) const {
      _subscriber.on_error(std::make_exception_ptr(RxCppError(error)));
    }
    /// Tells that nothing more comes.
    void completed() const { _subscriber.on_completed(); }

   private:
    rxcpp::subscriber<Element> _subscriber;
  };

  /// An observable that calls `subscribe` for every subscriber, and what that returns when the
  /// subscription is disposed.
  template <class Element, class Subscribe>
  static Observable<Element> create(Subscribe subscribe) {
    return rxcpp::observable<>::create<Element>(
        [subscribe = std::move(subscribe)](rxcpp::subscriber<Element> subscriber) {
          const Block<void()> dispose = subscribe(Observer<Element>(subscriber));
          subscriber.add([dispose] { dispose(); });
        });
  }

  /// An observable that fails with the error.
  template <class Element>
  static Observable<Element> error(const Ref<NSError>& error) {
    return rxcpp::observable<>::error<Element>(RxCppError(error));
  }
};

}  // namespace JNFoundation
