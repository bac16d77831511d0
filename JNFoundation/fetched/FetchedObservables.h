#pragma once

#include <JNFoundation/deferred/PLVDeferredUtil.h>
#include <JNFoundation/fetched/RefreshState.h>
#include <JNFoundation/fetched/ResultsStream.h>

namespace JNFoundation::inline v0_1 {

/// Turns what can be observed of fetched results into observables of a reactive-extensions library,
/// described as `PLVDeferredUtil` has it:
///
///     FetchedObservables<RxCpp>::rx_observable(stream)
///         .subscribe([](const Ref<ResultsEvent>& event) { show(event); });
///
/// Each subscriber gets the present state at once, and then whatever follows. Observables neither
/// complete nor fail. Null gives one that fails with code 2 of "PLVDeferredUtil".
/// Threads: those of what is observed, to subscribe and to dispose as well. A subscription holds
/// what it observes until it is disposed.
template <class Rx>
class FetchedObservables {
 public:
  /// An observable of the reactive library.
  template <class Element>
  using Observable = typename Rx::template Observable<Element>;

  /// A snapshot, and then every event.
  static Observable<Ref<ResultsEvent>> rx_observable(const Ref<ResultsStream>& stream) {
    return bridge<Ref<ResultsEvent>>(stream);
  }
  /// The status as it is, and then each new one.
  static Observable<RefreshStatus> rx_observable(const Ref<RefreshState>& state) {
    return bridge<RefreshStatus>(state);
  }

 private:
  template <class Element, class Observed>
  static Observable<Element> bridge(const Ref<Observed>& observed) {
    if (!observed) {
      return Rx::template error<Element>(
          NSError::errorWithDomainCodeUserInfo(PLVDeferredUtilErrorDomain, 2, nullptr));
    }
    return Rx::template create<Element>(
        [observed](typename Rx::template Observer<Element> observer) {
          const Ref<Observation> observation =
              observed->observe([observer](const Element& element) { observer.next(element); });
          return Block<void()>([observed, observation] { observation->stop(); });
        });
  }
};

}  // namespace JNFoundation
