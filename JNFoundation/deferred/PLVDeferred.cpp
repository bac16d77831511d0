#include "JNFoundation/deferred/PLVDeferred.h"

#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/deferred/impl/DeferredMemory.h>
#include <JNFoundation/deferred/impl/Engine.h>
#include <JNFoundation/deferred/impl/Watch.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

using impl::Engine;
using impl::Entry;
using impl::Step;

constinit const Class PLVDeferred::classObject = Class::of<PLVDeferred>("PLVDeferred");

namespace {

const ClassDeclaration<PLVDeferred> declarationOfPLVDeferred =
    ClassDeclaration<PLVDeferred>()
        .factory()
        .property("resolution", &PLVDeferred::resolution, &PLVDeferred::setResolution)
        .operation("resolve:", &PLVDeferred::resolve)
        .operation("reject:", &PLVDeferred::reject)
        .operation("cancel", &PLVDeferred::cancel)
        .operation("cancelWithValue:", &PLVDeferred::cancelWithValue)
        .operation("thenResolve:", &PLVDeferred::thenResolve)
        .classOperation("withResolved:",
                        [](const Value& value) { return PLVDeferred::withResolved(value); })
        .classOperation("withRejected:",
                        [](const Value& value) { return PLVDeferred::withRejected(value); })
        .classOperation("withResolutionSource:",
                        [](const Value& value) { return PLVDeferred::withResolutionSource(value); })
        .classOperation("resolvedBy:", [](const Ref<PLVDeferred>& source) {
          return PLVDeferred::resolvedBy(source);
        });

}  // namespace

PLVDeferred::PLVDeferred() noexcept {
  if (impl::Watch::isOn()) impl::Watch::add(*this);
}

void* PLVDeferred::operator new(std::size_t size) { return impl::DeferredMemory::take(size); }

void PLVDeferred::operator delete(void* memory, std::size_t size) noexcept {
  impl::DeferredMemory::giveBack(memory, size);
}

bool PLVDeferred::isSettledByEngine() const noexcept { return impl::isExactly<PLVDeferred>(*this); }

PLVDeferred::~PLVDeferred() {
  if (impl::Watch::isOn()) endWatched();
  if (_deferredSteps.isEmpty() || MainQueue::isMainThread()) return;
  // Handlers may own what belongs to the main thread.
  MainQueue::current().async([steps = std::move(_deferredSteps)] {});
}

void PLVDeferred::endWatched() noexcept {
  if (_resolved && !_cancelled && !_forwarded)
    impl::Watch::judge(*this, "PLVDeferred", _resolution);
  impl::Watch::remove(*this);
}

void PLVDeferred::notePlace(const PLVDeferred& deferred, CreationPlace place) noexcept {
  if (impl::Watch::isOn()) impl::Watch::setPlace(deferred, place);
}

void PLVDeferred::adoptResolutionSource(const Value& source) {
  _resolutionSource = WeakObject(source.object());
}

Ref<PLVDeferred> PLVDeferred::init(CreationPlace place) {
  Ref<PLVDeferred> deferred = makeObject<PLVDeferred>();
  notePlace(*deferred, place);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::initWithResolutionSource(const Value& source, CreationPlace place) {
  Ref<PLVDeferred> deferred = init(place);
  deferred->adoptResolutionSource(source);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::withResolutionSource(const Value& source, CreationPlace place) {
  return initWithResolutionSource(source, place);
}

Ref<PLVDeferred> PLVDeferred::withResolved(const Value& value, CreationPlace place) {
  Ref<PLVDeferred> deferred = init(place);
  deferred->resolve(value);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::withRejected(const Value& value, CreationPlace place) {
  Ref<PLVDeferred> deferred = init(place);
  deferred->reject(value);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::resolvedBy(const Ref<PLVDeferred>& source, CreationPlace place) {
  Ref<PLVDeferred> deferred = init(place);
  if (source) {
    source->thenResolve(deferred);
  } else {
    deferred->resolve(nullptr);
  }
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::deferredWithResolved(const Value& value) {
  return withResolved(value);
}

Ref<PLVDeferred> PLVDeferred::deferredWithRejected(const Value& value) {
  return withRejected(value);
}

/// Every thread's additions pass through the main queue while one is on its way there, so that
/// steps stand in the order in which they were asked for.
inline bool PLVDeferred::mayAppendNow() const noexcept {
  return _asyncStepAdditions.load(std::memory_order_relaxed) == 0 && MainQueue::isMainThread();
}

template <class Part>
Ref<PLVDeferred> PLVDeferred::enqueueStep(Step::Kind kind, Part&& part) {
  if (mayAppendNow()) {
    _deferredSteps.append(kind, std::forward<Part>(part));
    if (_resolved) Engine::run(ready());
  } else {
    appendLater(Step(kind, std::forward<Part>(part)));
  }
  return this;
}

Ref<PLVDeferred> PLVDeferred::thenResolvedRejected(PLVResolvedHandler resolved,
                                                   PLVRejectedHandler rejected) {
  if (!rejected) return thenResolved(std::move(resolved));
  if (!resolved) return thenRejected(std::move(rejected));
  return enqueueStep(Step::Kind::Object, Ref<NSObject>(makeObject<PLVDeferredStep>(
                                             std::move(resolved), std::move(rejected))));
}

Ref<PLVDeferred> PLVDeferred::thenResolved(PLVResolvedHandler resolved) {
  return enqueueStep(Step::Kind::Resolved, std::move(resolved));
}

Ref<PLVDeferred> PLVDeferred::thenRejected(PLVRejectedHandler rejected) {
  return enqueueStep(Step::Kind::Rejected, std::move(rejected._block));
}

Ref<PLVDeferred> PLVDeferred::thenEither(PLVResolvedHandler either) {
  return enqueueStep(Step::Kind::Either, std::move(either));
}

Ref<PLVDeferred> PLVDeferred::thenEitherUnlessCanceled(PLVResolvedHandler either) {
  return enqueueStep(Step::Kind::EitherUnlessCanceled, std::move(either));
}

Ref<PLVDeferred> PLVDeferred::thenResolve(const Ref<PLVResolvable>& target) {
  return enqueueStep(Step::Kind::Resolve, Ref<NSObject>(impl::objectOf(target.get())));
}

void PLVDeferred::addStep(const Ref<PLVDeferredStep>& step) {
  Engine::run(append(Step(Step::Kind::Object, Ref<NSObject>(step))));
}

void PLVDeferred::resolve(const Value& value) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async([self = Ref<PLVDeferred>(this), value] { self->resolve(value); });
    return;
  }
  if (!_cancelled) consumeStepsWithValue(value);
}

void PLVDeferred::reject(const Value& value) {
  resolve(isKindOf<PLVRejected>(value) ? value : Value(PLVRejected::withValue(value)));
}

void PLVDeferred::cancelWithValue(const Value& value) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async(
        [self = Ref<PLVDeferred>(this), value] { self->cancelWithValue(value); });
    return;
  }
  Engine::run(beginCancel(value));
}

void PLVDeferred::consumeStepsWithValue(const Value& value) { Engine::run(settle(value)); }

void PLVDeferred::consumeSteps() { Engine::run(ready()); }

void PLVDeferred::pauseWithDeferred(const Ref<PLVDeferred>& inner) { Engine::run(pause(*inner)); }

void PLVDeferred::resumeWithValue(const Value& value) { Engine::run(resume(value)); }

Entry PLVDeferred::append(Step&& step) {
  _deferredSteps.append(std::move(step));
  return _resolved ? ready() : Entry();
}

void PLVDeferred::appendLater(Step&& step) {
  _asyncStepAdditions.fetch_add(1, std::memory_order_relaxed);
  MainQueue::current().async([self = Ref<PLVDeferred>(this), step = std::move(step)]() mutable {
    self->_asyncStepAdditions.fetch_sub(1, std::memory_order_relaxed);
    Engine::run(self->append(std::move(step)));
  });
}

Entry PLVDeferred::attach(Step&& step) {
  if (mayAppendNow()) return append(std::move(step));
  appendLater(std::move(step));
  return {};
}

Entry PLVDeferred::pause(PLVDeferred& inner) {
  _paused = true;
  return inner.attach(Step(Step::Kind::ResumeDeferred, Ref<NSObject>(this)));
}

Entry PLVDeferred::resume(Value value) {
  _paused = false;
  _forwarded = false;
  const Value before = std::exchange(_resolution, std::move(value));
  return ready();
}

Entry PLVDeferred::beginCancel(const Value& value) {
  // A chain of deferreds that wait for each other is cancelled from the innermost outward.
  for (Ref<PLVDeferred> deferred = this;;) {
    if (deferred->_cancelled) return {};
    deferred->_cancelled = true;
    if (!deferred->_resolved) return {Entry::Kind::CancelDeferred, deferred, value};
    auto* inner = as<PLVDeferred>(deferred->_resolution);
    if (!inner) {
      if (deferred->_deferredSteps.isEmpty()) {
        const Value before =
            std::exchange(deferred->_resolution, Value(PLVRejected::cancellationWithValue(value)));
      }
      return {};
    }
    if (!inner->isSettledByEngine()) {
      return {Entry::Kind::SendCancel, Ref<NSObject>(inner), value};
    }
    deferred = inner;
  }
}

}  // namespace JNFoundation
