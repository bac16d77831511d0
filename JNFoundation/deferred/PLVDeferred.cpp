#include "JNFoundation/deferred/PLVDeferred.h"

#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/deferred/impl/Engine.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation {

using impl::Engine;
using impl::Entry;
using impl::StepNode;

constinit const Class PLVDeferred::classObject = Class::of<PLVDeferred>("PLVDeferred");

namespace {

const ClassDeclaration<PLVDeferred> declaration =
    ClassDeclaration<PLVDeferred>()
        .factory()
        .property("resolution", &PLVDeferred::resolution, &PLVDeferred::setResolution)
        .operation("resolve:", &PLVDeferred::resolve)
        .operation("reject:", &PLVDeferred::reject)
        .operation("cancel", &PLVDeferred::cancel)
        .operation("cancelWithValue:", &PLVDeferred::cancelWithValue)
        .operation("thenResolve:", &PLVDeferred::thenResolve)
        .classOperation("withResolved:", &PLVDeferred::withResolved)
        .classOperation("withRejected:", &PLVDeferred::withRejected)
        .classOperation("withResolutionSource:", &PLVDeferred::withResolutionSource)
        .classOperation("resolvedBy:", &PLVDeferred::resolvedBy);

}  // namespace

PLVDeferred::PLVDeferred() noexcept = default;

bool PLVDeferred::isSettledByEngine() const noexcept { return impl::isExactly<PLVDeferred>(*this); }

PLVDeferred::~PLVDeferred() {
  if (!_firstStep || MainQueue::isMainThread()) return;
  // Handlers may own what belongs to the main thread.
  MainQueue::current().async([steps = std::move(_firstStep)] {});
}

void PLVDeferred::adoptResolutionSource(const Value& source) {
  _resolutionSource = Weak<NSObject>(source.object());
}

Ref<PLVDeferred> PLVDeferred::init() { return makeObject<PLVDeferred>(); }

Ref<PLVDeferred> PLVDeferred::initWithResolutionSource(const Value& source) {
  Ref<PLVDeferred> deferred = init();
  deferred->adoptResolutionSource(source);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::withResolutionSource(const Value& source) {
  return initWithResolutionSource(source);
}

Ref<PLVDeferred> PLVDeferred::withResolved(const Value& value) {
  Ref<PLVDeferred> deferred = init();
  deferred->resolve(value);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::withRejected(const Value& value) {
  Ref<PLVDeferred> deferred = init();
  deferred->reject(value);
  return deferred;
}

Ref<PLVDeferred> PLVDeferred::resolvedBy(const Ref<PLVDeferred>& source) {
  Ref<PLVDeferred> deferred = init();
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

Ref<PLVDeferred> PLVDeferred::thenResolvedRejected(PLVResolvedHandler resolved,
                                                   PLVRejectedHandler rejected) {
  enqueueStep(makeObject<PLVDeferredStep>(std::move(resolved), std::move(rejected)));
  return this;
}

Ref<PLVDeferred> PLVDeferred::thenResolved(PLVResolvedHandler resolved) {
  return thenResolvedRejected(std::move(resolved), nullptr);
}

Ref<PLVDeferred> PLVDeferred::thenRejected(PLVRejectedHandler rejected) {
  return thenResolvedRejected(nullptr, std::move(rejected));
}

Ref<PLVDeferred> PLVDeferred::thenEither(PLVResolvedHandler either) {
  PLVRejectedHandler rejected;
  if (either) rejected = PLVRejectedHandler(either);
  return thenResolvedRejected(std::move(either), std::move(rejected));
}

Ref<PLVDeferred> PLVDeferred::thenEitherUnlessCanceled(PLVResolvedHandler either) {
  PLVRejectedHandler unlessCanceled = [either](const Value& rejected) -> Value {
    return !either || isCancellation(rejected) ? rejected : either(rejected);
  };
  return thenResolvedRejected(std::move(either), std::move(unlessCanceled));
}

Ref<PLVDeferred> PLVDeferred::thenResolve(const Ref<PLVResolvable>& target) {
  enqueueStep(makeObject<impl::ResolveTargetStep>(target));
  return this;
}

void PLVDeferred::enqueueStep(Ref<StepNode> step) { Engine::run(attach(std::move(step))); }

void PLVDeferred::addStep(const Ref<PLVDeferredStep>& step) {
  Engine::run(append(step->forOnePlace()));
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

Entry PLVDeferred::settle(Value value) {
  if (_resolved) return {};
  _resolved = true;
  if (isCancellation(value)) {
    _cancelled = true;
  } else if (auto* promise = as<PLVPromise>(value)) {
    value = promise->deferredResolution();
  }
  auto* inner = as<PLVDeferred>(value);
  const Value before = std::exchange(_resolution, std::move(value));
  return inner ? pause(*inner) : ready();
}

Entry PLVDeferred::append(Ref<StepNode> step) {
  StepNode* added = step.get();
  if (_lastStep) {
    _lastStep->setNext(std::move(step));
  } else {
    _firstStep = std::move(step);
  }
  _lastStep = added;
  return _resolved ? ready() : Entry();
}

/// Every thread's additions pass through the main queue while one is on its way there, so that
/// steps stand in the order in which they were asked for.
Entry PLVDeferred::attach(Ref<StepNode> step) {
  if (_asyncStepAdditions.load(std::memory_order_relaxed) == 0 && MainQueue::isMainThread()) {
    return append(std::move(step));
  }
  _asyncStepAdditions.fetch_add(1, std::memory_order_relaxed);
  MainQueue::current().async([self = Ref<PLVDeferred>(this), step = std::move(step)]() mutable {
    self->_asyncStepAdditions.fetch_sub(1, std::memory_order_relaxed);
    Engine::run(self->append(std::move(step)));
  });
  return {};
}

Entry PLVDeferred::pause(PLVDeferred& inner) {
  _paused = true;
  return inner.attach(makeObject<impl::ResumeDeferredStep>(Ref<PLVDeferred>(this)));
}

Entry PLVDeferred::resume(Value value) {
  _paused = false;
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
      if (!deferred->_firstStep) {
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

Entry PLVDeferred::ready() {
  if (_consumingStep || _paused || !_firstStep) return {};
  return {Entry::Kind::Steps, this, Value()};
}

Ref<StepNode> PLVDeferred::takeFirstStep() noexcept {
  Ref<StepNode> first = std::move(_firstStep);
  if (first) {
    _firstStep = first->takeNext();
    if (!_firstStep) _lastStep = nullptr;
  }
  return first;
}

}  // namespace JNFoundation
