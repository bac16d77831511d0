#include "JNFoundation/deferred/PLVPromise.h"

#include <JNFoundation/deferred/impl/Engine.h>
#include <JNFoundation/deferred/impl/Watch.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

using impl::Engine;
using impl::Entry;
using impl::Step;

constinit const Class PLVPromise::classObject = Class::of<PLVPromise>("PLVPromise");

namespace {

const ClassDeclaration<PLVPromise> declarationOfPLVPromise =
    ClassDeclaration<PLVPromise>()
        .factory()
        .property("resolution", &PLVPromise::resolution, &PLVPromise::setResolution)
        .property("resolvables", &PLVPromise::resolvables, &PLVPromise::setResolvables)
        .property("isFulfilled", &PLVPromise::isFulfilled)
        .property("isOutstanding", &PLVPromise::isOutstanding)
        .property("shouldProcessResolvableCancellations",
                  &PLVPromise::shouldProcessResolvableCancellations,
                  &PLVPromise::setShouldProcessResolvableCancellations)
        .operation("resolve:", &PLVPromise::resolve)
        .operation("reject:", &PLVPromise::reject)
        .operation("cancel", &PLVPromise::cancel)
        .operation("cancelWithValue:", &PLVPromise::cancelWithValue)
        .operation("deferredResolution",
                   [](PLVPromise& promise) { return promise.deferredResolution(); })
        .operation("promisedResolution",
                   [](PLVPromise& promise) { return promise.promisedResolution(); })
        .operation("enlistResolvable:", &PLVPromise::enlistResolvable)
        .operation("resolvable:didCancelWithValue:", &PLVPromise::resolvableDidCancelWithValue)
        .classOperation("withResolved:",
                        [](const Value& value) { return PLVPromise::withResolved(value); })
        .classOperation("withRejected:",
                        [](const Value& value) { return PLVPromise::withRejected(value); })
        .classOperation("resolvedBy:", [](const Ref<PLVDeferred>& deferred) {
          return PLVPromise::resolvedBy(deferred);
        });

}  // namespace

PLVPromise::PLVPromise() noexcept {
  if (impl::Watch::isOn()) impl::Watch::add(*this);
}

bool PLVPromise::isSettledByEngine() const noexcept { return impl::isExactly<PLVPromise>(*this); }

PLVPromise::~PLVPromise() {
  if (impl::Watch::isOn()) endWatched();
  if (MainQueue::isMainThread()) return;
  if (!_promiseFulfilledBlock && !_resolvables && _ownListeners.empty()) return;
  // Callbacks and listeners may own what belongs to the main thread.
  MainQueue::current().async([callback = std::move(_promiseFulfilledBlock),
                              resolvables = std::move(_resolvables),
                              listeners = std::move(_ownListeners)] {});
}

void PLVPromise::endWatched() noexcept {
  if (_isFulfilled && !_cancelled && !_forwarded) {
    impl::Watch::judge(*this, "PLVPromise", _resolution);
  }
  impl::Watch::remove(*this);
}

void PLVPromise::notePlace(const PLVPromise& promise, CreationPlace place) noexcept {
  if (impl::Watch::isOn()) impl::Watch::setPlace(promise, place);
}

void PLVPromise::adoptResolutionSource(const Value& source) {
  _resolutionSource = WeakObject(source.object());
}

Ref<PLVPromise> PLVPromise::init(CreationPlace place) {
  Ref<PLVPromise> promise = makeObject<PLVPromise>();
  notePlace(*promise, place);
  return promise;
}

Ref<PLVPromise> PLVPromise::initWithResolutionSource(const Value& source, CreationPlace place) {
  Ref<PLVPromise> promise = init(place);
  promise->adoptResolutionSource(source);
  return promise;
}

Ref<PLVPromise> PLVPromise::withResolutionSource(const Value& source, CreationPlace place) {
  return initWithResolutionSource(source, place);
}

Ref<PLVPromise> PLVPromise::withResolved(const Value& value, CreationPlace place) {
  Ref<PLVPromise> promise = init(place);
  promise->resolve(value);
  return promise;
}

Ref<PLVPromise> PLVPromise::withRejected(const Value& value, CreationPlace place) {
  Ref<PLVPromise> promise = init(place);
  promise->reject(value);
  return promise;
}

Ref<PLVPromise> PLVPromise::resolvedBy(const Ref<PLVDeferred>& deferred, CreationPlace place) {
  Ref<PLVPromise> promise = init(place);
  if (deferred) {
    deferred->thenResolve(promise);
  } else {
    promise->resolve(nullptr);
  }
  return promise;
}

void PLVPromise::getPromiseResolvedBy(Ref<PLVPromise>* promise, const Ref<PLVDeferred>& deferred) {
  if (promise) *promise = resolvedBy(deferred);
}

Ref<PLVPromise> PLVPromise::promiseWithResolved(const Value& value) { return withResolved(value); }
Ref<PLVPromise> PLVPromise::promiseWithRejected(const Value& value) { return withRejected(value); }

Ref<PLVDeferred> PLVPromise::deferredResolution(CreationPlace place) {
  return enlistNew<PLVDeferred>(place);
}

Ref<PLVPromise> PLVPromise::promisedResolution(CreationPlace place) {
  return enlistNew<PLVPromise>(place);
}

template <class Listener>
Ref<Listener> PLVPromise::enlistNew(CreationPlace place) {
  Ref<Listener> listener = makeObject<Listener>();
  if (impl::Watch::isOn()) impl::Watch::setPlace(*listener, place);
  if (!MainQueue::isMainThread() || _isFulfilled || _resolvables) {
    listener->_resolutionSource = WeakObject(this);
    enlistResolvable(listener);
  } else {
    if (!_hasOwnListeners) {
      _weakSelf = WeakObject(this);
      _ownListeners.reserve(8);
    }
    listener->_resolutionSource = _weakSelf;
    _ownListeners.emplace_back(listener);
    _hasOwnListeners = true;
  }
  return listener;
}

void PLVPromise::getPromisedResolution(Ref<PLVPromise>* promise) {
  if (promise) *promise = promisedResolution();
}

void PLVPromise::whenFulfilledResolve(const Ref<PLVResolvable>& target) {
  deferredResolution()->thenResolve(target);
}

void PLVPromise::whenFulfilled(PLVPromiseFulfilledBlock callback) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async(
        [self = Ref<PLVPromise>(this), callback = std::move(callback)]() mutable {
          self->whenFulfilled(std::move(callback));
        });
    return;
  }
  if (_finalized) {
    promisedResolution()->whenFulfilled(std::move(callback));
    return;
  }
  _finalized = true;
  _promiseFulfilledBlock = std::move(callback);
  if (_isFulfilled) consume();
}

void PLVPromise::enlistResolvable(const Ref<PLVResolvable>& resolvable) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async(
        [self = Ref<PLVPromise>(this), resolvable] { self->enlistResolvable(resolvable); });
    return;
  }
  if (!resolvable) return;
  if (_isFulfilled) {
    _forwarded = true;
    resolvable->resolve(Value(_resolution));
    return;
  }
  if (!resolvables()) _resolvables = NSMutableOrderedSet::orderedSet();
  _resolvables->addObject(Value(resolvable));
}

const Ref<NSMutableOrderedSet>& PLVPromise::resolvables() const {
  if (!_resolvables && _hasOwnListeners) {
    _resolvables = NSMutableOrderedSet::orderedSet();
    for (std::size_t i = _toldListeners; i < _ownListeners.size(); ++i) {
      _resolvables->addObject(Value(_ownListeners[i]));
    }
    if (!_isFulfilled) _ownListeners.clear();
  }
  return _resolvables;
}

void PLVPromise::setResolvables(const Ref<NSMutableOrderedSet>& resolvables) {
  // Whoever is replaced may run application code at its end, so it goes last.
  const Ref<NSMutableOrderedSet> before = std::exchange(_resolvables, resolvables);
  std::vector<Ref<NSObject>> own;
  if (!_isFulfilled) own.swap(_ownListeners);
  _hasOwnListeners = false;
}

bool PLVPromise::hasListeners() const noexcept {
  return _resolvables ? _resolvables->count() > 0 : _toldListeners < _ownListeners.size();
}

void PLVPromise::resolve(const Value& value) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async([self = Ref<PLVPromise>(this), value] { self->resolve(value); });
    return;
  }
  if (!_cancelled) consumeValue(value);
}

void PLVPromise::reject(const Value& value) {
  resolve(isKindOf<PLVRejected>(value) ? value : Value(PLVRejected::withValue(value)));
}

void PLVPromise::cancelWithValue(const Value& value) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async(
        [self = Ref<PLVPromise>(this), value] { self->cancelWithValue(value); });
    return;
  }
  Engine::run(beginCancel(value));
}

void PLVPromise::resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable, const Value&) {
  if (resolvable) Engine::run(listenerDidCancel(*resolvable->protocolObject()));
}

void PLVPromise::consumeValue(const Value& value) { Engine::run(settle(value)); }

void PLVPromise::waitForDeferred(const Ref<PLVDeferred>& deferred) {
  Engine::run(waitFor(*deferred));
}

void PLVPromise::resumeWithValue(const Value& value) { Engine::run(resume(value)); }

void PLVPromise::consume() { Engine::run(ready()); }

Entry PLVPromise::settle(Value value) {
  if (_resolved) return {};
  _resolved = true;
  if (auto* promise = as<PLVPromise>(value)) value = promise->deferredResolution();
  if (auto* deferred = as<PLVDeferred>(value)) return waitFor(*deferred);
  _isFulfilled = true;
  _cancelled = isCancellation(value);
  const Value before = std::exchange(_resolution, std::move(value));
  return ready();
}

Entry PLVPromise::waitFor(PLVDeferred& deferred) {
  _deferredSource = Weak<PLVDeferred>(&deferred);
  return deferred.attach(Step(Step::Kind::ResumePromise, Ref<NSObject>(this)));
}

Entry PLVPromise::resume(Value value) {
  const Value before = std::exchange(_resolution, std::move(value));
  _deferredSource.reset();
  _isFulfilled = true;
  return ready();
}

Entry PLVPromise::beginCancel(const Value& value) {
  if (_cancelled) return {};
  _cancelled = true;
  if (!_isFulfilled) return {Entry::Kind::CancelPromise, this, value};
  const Value before = std::exchange(_resolution, Value(PLVRejected::cancellationWithValue(value)));
  return {};
}

Entry PLVPromise::listenerDidCancel(NSObject& listener) {
  const Value cancelled(&listener);
  if (!resolvables() || !_resolvables->containsObject(cancelled)) return {};
  _resolvables->removeObject(cancelled);
  if (_isFulfilled || !_shouldProcessResolvableCancellations || hasListeners()) return {};
  if (isSettledByEngine()) return beginCancel(nullptr);
  cancel();
  return {};
}

Entry PLVPromise::ready() {
  if (!_isFulfilled) return {};
  if (!hasListeners() && !(_finalized && _promiseFulfilledBlock)) return {};
  return {Entry::Kind::Listeners, this, Value()};
}

}  // namespace JNFoundation
