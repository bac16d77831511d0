#include "JNFoundation/fetched/RefreshState.h"

#include <JNFoundation/fetched/NSFetchedResultsController+PLVRefresh.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class RefreshState::classObject = Class::of<RefreshState>("RefreshState");

using Phase = RefreshStatus::Phase;

Ref<RefreshState> RefreshState::withController(const Ref<NSFetchedResultsController>& controller) {
  if (!controller) {
    raise(NSInvalidArgumentException, "+[RefreshState withController:]: a controller is required");
  }
  return makeObject<RefreshState>(controller);
}

// ---- Refreshing ---------------------------------------------------------------------------------

Ref<PLVPromise> RefreshState::refresh(NSInteger options) {
  if (_flight) return _flight->promisedResolution();
  const Ref<RefreshState> self(this);
  const Ref<PLVPromise> flight = PLVPromise::init();
  // Those who wait may leave; the state itself waits on.
  flight->setShouldProcessResolvableCancellations(false);
  Ref<PLVPromise> promised = flight->promisedResolution();
  _flight = flight;
  RefreshStatus loading = _settled = _status;
  loading.phase = Phase::Loading;
  loading.rejected = nullptr;
  setStatus(loading);
  // An observer may have cancelled.
  if (_flight != flight) return promised;

  const Ref<PLVDeferred> work = PLVDeferred::init();
  _work = work;
  work->thenResolved([controller = _controller, options](const Value&) -> Value {
    const Ref<PLVPromise> promise = plv_refreshWithOptions(controller, options);
    // As one of its listeners, so that others who wait for it do not lose it if this is cancelled.
    return promise ? Value(promise->promisedResolution()) : Value();
  });
  work->thenEither([weak = Weak<RefreshState>(self), flight](const Value& outcome) -> Value {
    const Ref<RefreshState> state = weak.load();
    if (state && state->_flight == flight) state->finish(outcome);
    return outcome;
  });
  flight->resolve(work);
  work->resolve(nullptr);
  return promised;
}

Ref<PLVPromise> RefreshState::refreshIfStale(NSInteger options) {
  return _flight || isStale() ? refresh(options) : PLVPromise::withResolved(nullptr);
}

void RefreshState::finish(const Value& outcome) {
  _flight = nullptr;
  _work = nullptr;
  const auto* rejected = as<PLVRejected>(outcome);
  if (rejected && rejected->isCancellation()) return restore();
  RefreshStatus status = _settled;
  if (rejected) {
    // Observers see it, whether anybody looks at the promise or not.
    rejected->markAsSeen();
    status.phase = Phase::Failed;
    status.rejected = Ref<PLVRejected>(as<PLVRejected>(outcome));
    status.isStale = isStale();
  } else {
    Clock& clock = Clock::current();
    _successMoment = clock.monotonic();
    status.phase = Phase::Fresh;
    status.since = Value::dateWithTimeIntervalSince1970(clock.now());
    status.rejected = nullptr;
    status.isStale = !(_staleInterval > 0);
    // Known before observers are told, who may ask for the age.
    _settled.since = status.since;
    _status.since = status.since;
    watchAge();
  }
  setStatus(status);
}

void RefreshState::cancel() {
  if (!_flight) return;
  const Ref<RefreshState> self(this);
  const Ref<PLVPromise> flight = std::exchange(_flight, nullptr);
  const Ref<PLVDeferred> work = std::exchange(_work, nullptr);
  restore();
  flight->cancel();
  if (work) work->cancel();
}

void RefreshState::restore() {
  RefreshStatus status = _settled;
  status.isStale = isStale();
  setStatus(status);
}

void RefreshState::setStatus(RefreshStatus status) {
  if (status == _status) return;
  const Ref<RefreshState> self(this);
  _status = std::move(status);
  _observers.tell(_status);
}

Ref<Observation> RefreshState::observe(Block<void(const RefreshStatus& status)> observer) {
  const Ref<RefreshState> self(this);
  return _observers.add(std::move(observer), RefreshStatus(_status));
}

// ---- Age ----------------------------------------------------------------------------------------

bool RefreshState::isStale() const noexcept {
  if (_status.since.isNull()) return true;
  const Nanoseconds end = saturatingSum(_successMoment, nanosecondsFromSeconds(_staleInterval));
  return !(_staleInterval > 0) || (end != never && Clock::current().monotonic() >= end);
}

void RefreshState::setStaleInterval(NSTimeInterval seconds) {
  _staleInterval = seconds;
  watchAge();
  RefreshStatus status = _status;
  status.isStale = _settled.isStale = isStale();
  setStatus(status);
}

/// Has the observers told when the last success gets too old.
void RefreshState::watchAge() {
  const std::uint64_t watch = ++_ageWatches;
  if (_status.since.isNull() || !(_staleInterval > 0)) return;
  const Nanoseconds end = saturatingSum(_successMoment, nanosecondsFromSeconds(_staleInterval));
  const Nanoseconds now = Clock::current().monotonic();
  if (end == never || end <= now) return;
  MainQueue::current().after(static_cast<NSTimeInterval>(end - now) / 1e9,
                             [weak = Weak<RefreshState>(Ref<RefreshState>(this)), watch] {
                               const Ref<RefreshState> state = weak.load();
                               if (!state || state->_ageWatches != watch) return;
                               if (!state->isStale()) return state->watchAge();
                               RefreshStatus status = state->_status;
                               status.isStale = state->_settled.isStale = true;
                               state->setStatus(status);
                             });
}

}  // namespace JNFoundation
