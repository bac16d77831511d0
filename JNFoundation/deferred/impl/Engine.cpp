#include "JNFoundation/deferred/impl/Engine.h"

#include <memory>
#include <mutex>

#include <JNFoundation/deferred/Continuation.h>
#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/deferred/impl/WalkPause.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

// The first state of frames of steps and of listeners.
constexpr unsigned char starting = 0;
// State of a frame of steps.
constexpr unsigned char awaitingContinuation = 1;
// States of a frame of listeners.
constexpr unsigned char telling = 1;
constexpr unsigned char callingBack = 2;
// States of a frame of cancellation.
constexpr unsigned char tellingSource = 0;
constexpr unsigned char sourceTold = 1;
constexpr unsigned char awaitedCancelled = 2;
// States of a frame of the end of a walk.
constexpr unsigned char settlingCompletion = 0;
constexpr unsigned char completionSettled = 1;

/// A frame stack beyond this is given back once it is empty.
constexpr std::size_t keptFrames = 1024;

}  // namespace

Engine& Engine::current() {
  // Never destroyed: static objects may settle deferreds while the process ends.
  thread_local Engine* engine = nullptr;
  if (!engine) {
    engine = new Engine;
    static auto* mutex = new std::mutex;
    static auto* engines = new std::vector<Engine*>;
    std::lock_guard guard(*mutex);
    engines->push_back(engine);
  }
  return *engine;
}

void Engine::runEntry(Entry entry) {
  if (_depth >= nestingLimit) {
    _putOff.push_back(std::move(entry));
    return;
  }
  struct Nesting {
    Engine& engine;
    explicit Nesting(Engine& engine) : engine(engine) { ++engine._depth; }
    ~Nesting() {
      if (--engine._depth == 0) engine.finishPutOff();
    }
  };
  const std::size_t base = _frames.size();
  Nesting nesting(*this);
  begin(std::move(entry));
  runFramesAbove(base);
  if (_depth > 1) return;
  while (!_putOff.empty()) {
    Entry next = std::move(_putOff.front());
    _putOff.pop_front();
    begin(std::move(next));
    runFramesAbove(base);
  }
}

/// Runs the entry as far as it comes without a frame.
void Engine::begin(Entry entry) {
  if (entry.kind == Entry::Kind::Steps) {
    runSteps(static_cast<PLVDeferred&>(*entry.object));
  } else {
    push(std::move(entry));
  }
}

void Engine::runFramesAbove(std::size_t base) {
  while (_frames.size() > base) {
    try {
      do {
        advance();
      } while (_frames.size() > base);
    } catch (const Raised& raised) {
      if (!recover(base, raised)) throw;
    } catch (...) {
      abandon(base);
      throw;
    }
  }
}

/// The outermost run is over. What is still put off, because an exception ended that run early, is
/// left to the main queue.
void Engine::finishPutOff() {
  if (_frames.empty() && _frames.capacity() > keptFrames) std::vector<Frame>().swap(_frames);
  if (_putOff.empty()) return;
  for (Entry& entry : _putOff) {
    MainQueue::current().async([entry = std::move(entry)]() mutable { run(std::move(entry)); });
  }
  _putOff.clear();
}

void Engine::push(Entry entry) {
  if (!entry) return;
  _frames.push_back({entry.kind, 0, std::move(entry.object), std::move(entry.value), Value(), 0});
}

/// The frame is destroyed by the caller, outside of the stack: the end of what it holds may run
/// application code that comes back here and pushes another.
Engine::Frame Engine::pop() noexcept {
  Frame top = std::move(_frames.back());
  _frames.pop_back();
  return top;
}

void Engine::advance() {
  const Frame& frame = _frames.back();
  switch (frame.kind) {
    case Entry::Kind::Steps: {
      Frame steps = pop();
      auto& deferred = static_cast<PLVDeferred&>(*steps.object);
      return steps.state == awaitingContinuation ? goOn(deferred, std::move(steps.value))
                                                 : runSteps(deferred);
    }
    case Entry::Kind::Listeners:
      return advanceListeners(static_cast<PLVPromise&>(*frame.object));
    case Entry::Kind::CancelDeferred:
      return advanceCancelDeferred(static_cast<PLVDeferred&>(*frame.object));
    case Entry::Kind::CancelPromise:
      return advanceCancelPromise(static_cast<PLVPromise&>(*frame.object));
    case Entry::Kind::SendCancel: {
      const Frame sent = pop();
      return static_cast<PLVDeferred&>(*sent.object).cancelWithValue(sent.value);
    }
    case Entry::Kind::Walk: {
      const Frame walk = pop();
      auto& enumeration = static_cast<PLVDeferredEnumeration&>(*walk.object);
      return push(enumeration.walkFrom(static_cast<NSUInteger>(walk.value.integerValue())));
    }
    case Entry::Kind::EndWalk:
      return advanceEndWalk(static_cast<PLVDeferredEnumeration&>(*frame.object));
    case Entry::Kind::None:
      break;
  }
  pop();
}

/// Runs steps in a row until the list is empty, the chain pauses, or what a step leads to has to
/// run first; that is then on top, above a frame in which this chain goes on. The deferred lives as
/// long as its caller keeps it.
void Engine::runSteps(PLVDeferred& deferred) {
  // Since this was asked for, something else may have run the chain up to a pause.
  if (deferred._consumingStep || deferred._paused) return;
  while (!deferred._deferredSteps.isEmpty()) {
    const Step step = deferred._deferredSteps.takeFirst();
    deferred._consumingStep = true;
    Value value = deferred._resolution;
    try {
      if (step.isContinuation()) {
        if (value.isObject() && isKindOf<PLVRejected>(value)) deferred._forwarded = true;
        if (Entry next = continueInto(step, value)) {
          _frames.push_back({Entry::Kind::Steps, awaitingContinuation, Ref<NSObject>(&deferred),
                             std::move(value), Value(), 0});
          push(std::move(next));
          return;
        }
      } else {
        value = step.process(value);
      }
      if (!applyResult(deferred, std::move(value))) return;
    } catch (const Raised& raised) {
      fail(deferred, raised);
    } catch (...) {
      deferred._consumingStep = false;
      throw;
    }
  }
}

/// Goes on behind a continuation, whose result is the value that went into it.
void Engine::goOn(PLVDeferred& deferred, Value value) {
  try {
    if (!applyResult(deferred, std::move(value))) return;
  } catch (const Raised& raised) {
    fail(deferred, raised);
  } catch (...) {
    deferred._consumingStep = false;
    throw;
  }
  runSteps(deferred);
}

/// What a step raised is what the next one gets.
void Engine::fail(PLVDeferred& deferred, const Raised& raised) {
  deferred._consumingStep = false;
  deferred._forwarded = false;
  const Value before =
      std::exchange(deferred._resolution,
                    Value(deferred._cancelled ? PLVRejected::cancellation()
                                              : PLVRejected::withValue(Value(raised.exception()))));
}

/// Takes the result of a step into the chain. Returns: false when the loop has to be left, because
/// the chain pauses or something runs on top first.
bool Engine::applyResult(PLVDeferred& deferred, Value result) {
  PLVDeferred* inner = nullptr;
  if (result.isObject()) {
    if (auto* promise = as<PLVPromise>(result)) result = promise->deferredResolution();
    inner = as<PLVDeferred>(result);
  }
  deferred._consumingStep = false;
  if (!deferred._cancelled) {
    if (deferred._forwarded && result.object() != deferred._resolution.object()) {
      deferred._forwarded = false;
    }
    // What was there before is released last: its end may run application code.
    const Value before = std::exchange(deferred._resolution, std::move(result));
    if (inner) {
      push(deferred.pause(*inner));
      return false;
    }
    if (isCancellation(deferred._resolution)) deferred._cancelled = true;
    return true;
  }
  if (inner) {
    static const SEL valueSelector("value");
    Entry cancelling = cancelEntry(*inner, performSelector(deferred._resolution, valueSelector));
    push({Entry::Kind::Steps, Ref<NSObject>(&deferred), Value()});
    push(std::move(cancelling));
    return false;
  }
  if (isCancellation(result)) deferred._resolution = std::move(result);
  return true;
}

Entry Engine::continueInto(const Step& step, const Value& value) {
  switch (step.kind) {
    case Step::Kind::Resolve:
      return resolveEntry(*step.object, value);
    case Step::Kind::ResumeDeferred:
      return static_cast<PLVDeferred&>(*step.object).resume(value);
    case Step::Kind::ResumePromise:
      return static_cast<PLVPromise&>(*step.object).resume(value);
    case Step::Kind::Continue:
      return static_cast<Continuation&>(*step.object).proceed(value);
    case Step::Kind::ResumeWalk:
      return static_cast<WalkPause&>(*step.object).resume();
    default:
      return {};
  }
}

/// Sends `resolve:` to the target: up to where something runs if the engine owns it, else natively.
Entry Engine::resolveEntry(NSObject& target, const Value& value) {
  // Nearly every target; one comparison tells.
  if (isExactly<PLVDeferred>(target)) {
    auto& deferred = static_cast<PLVDeferred&>(target);
    return deferred._cancelled ? Entry() : deferred.settle(value);
  }
  if (isKindOf<PLVDeferred>(target)) {
    auto& deferred = static_cast<PLVDeferred&>(target);
    if (deferred.isSettledByEngine()) {
      return deferred._cancelled ? Entry() : deferred.settle(value);
    }
  } else if (isKindOf<PLVPromise>(target)) {
    auto& promise = static_cast<PLVPromise&>(target);
    if (promise.isSettledByEngine()) {
      return promise._cancelled ? Entry() : promise.settle(value);
    }
  }
  if (auto* resolvable = dynamic_cast<PLVResolvable*>(&target)) resolvable->resolve(value);
  return {};
}

Entry Engine::cancelEntry(PLVDeferred& deferred, const Value& value) {
  if (deferred.isSettledByEngine()) return deferred.beginCancel(value);
  return {Entry::Kind::SendCancel, Ref<NSObject>(&deferred), value};
}

Entry Engine::tellSource(const Value& source, const Ref<PLVResolvable>& cancelled,
                         const Value& value) {
  if (auto* promise = as<PLVPromise>(source); promise && promise->isSettledByEngine()) {
    return promise->listenerDidCancel(*cancelled->protocolObject());
  }
  if (auto* continuation = as<Continuation>(source)) return continuation->cancelAwaited(value);
  if (auto* enumeration = as<PLVDeferredEnumeration>(source);
      enumeration && enumeration->isSettledByEngine()) {
    const Ref<PLVDeferred> current = enumeration->beginCancel();
    return current ? cancelEntry(*current, value) : Entry();
  }
  if (auto* told = as<PLVResolutionSource>(source)) {
    told->resolvableDidCancelWithValue(cancelled, value);
    return {};
  }
  static const SEL didCancel("resolvable:didCancelWithValue:");
  if (source.respondsToSelector(didCancel)) performSelector(source, didCancel, cancelled, value);
  return {};
}

/// Returns: the next listener to tell, or null: of those in the set when the frame began, or else
/// of the promise's own.
Ref<NSObject> Engine::takeListener(PLVPromise& promise, Frame& frame) {
  if (frame.other) {
    auto* listeners = static_cast<NSArray*>(frame.other.object());
    // What is no object was put there by somebody who misused the set.
    while (frame.next < listeners->count()) {
      const Value listener = listeners->objectAtIndex(frame.next++);
      if (listener.isObject()) return listener.object();
    }
    return nullptr;
  }
  return promise.takeOwnListener();
}

/// Resolves a listener, and runs what that leads to as far as it comes without a frame.
void Engine::tell(NSObject& listener, const Value& outcome) {
  // Nearly every listener, and nothing that it would have to wait for.
  if (isExactly<PLVDeferred>(listener) && !outcome.isObject()) {
    auto& deferred = static_cast<PLVDeferred&>(listener);
    if (deferred._cancelled || deferred._resolved) return;
    deferred._resolved = true;
    deferred._resolution = outcome;
    return runSteps(deferred);
  }
  if (Entry next = resolveEntry(listener, outcome)) begin(std::move(next));
}

void Engine::advanceListeners(PLVPromise& promise) {
  const std::size_t position = _frames.size() - 1;
  if (_frames[position].state == starting) {
    if (!promise._isFulfilled) return static_cast<void>(pop());
    _frames[position].state = telling;
    _frames[position].value = promise._resolution;
    if (promise._resolvables) _frames[position].other = promise._resolvables->array();
  }
  if (_frames[position].state == telling) {
    const Value outcome = _frames[position].value;
    while (const Ref<NSObject> listener = takeListener(promise, _frames[position])) {
      if (promise._resolvables) promise._resolvables->removeObject(listener);
      promise._forwarded = true;
      tell(*listener, outcome);
      if (_frames.size() > position + 1) return;
    }
    _frames[position].state = callingBack;
  }
  if (promise._finalized && promise._promiseFulfilledBlock) {
    struct Release {
      PLVPromise& promise;
      ~Release() { promise._promiseFulfilledBlock = nullptr; }
    } release{promise};
    const Value outcome = _frames[position].value;
    if (auto* rejected = as<PLVRejected>(outcome)) {
      rejected->markAsSeen();
      promise._promiseFulfilledBlock(Value(), Ref<PLVRejected>(rejected));
    } else {
      promise._promiseFulfilledBlock(outcome, nullptr);
    }
  }
  pop();
}

void Engine::advanceCancelDeferred(PLVDeferred& deferred) {
  Frame& frame = _frames.back();
  if (frame.state == tellingSource) {
    frame.state = sourceTold;
    if (Ref<NSObject> source = deferred._resolutionSource.load()) {
      frame.other = source;
      const Value value = frame.value;
      push(tellSource(Value(source), Ref<PLVResolvable>(&deferred), value));
    }
    return;
  }
  const Frame told = pop();
  push(deferred.settle(PLVRejected::cancellationWithValue(told.value)));
}

void Engine::advanceCancelPromise(PLVPromise& promise) {
  Frame& frame = _frames.back();
  if (frame.state == tellingSource) {
    frame.state = sourceTold;
    if (Ref<NSObject> source = promise._resolutionSource.load()) {
      frame.other = source;
      const Value value = frame.value;
      push(tellSource(Value(source), Ref<PLVResolvable>(&promise), value));
    }
    return;
  }
  if (frame.state == sourceTold) {
    frame.state = awaitedCancelled;
    if (Ref<PLVDeferred> awaited = promise._deferredSource.load()) {
      frame.other = awaited;
      const Value value = frame.value;
      push(cancelEntry(*awaited, value));
    }
    return;
  }
  const Frame told = pop();
  push(promise.settle(PLVRejected::cancellationWithValue(told.value)));
}

void Engine::advanceEndWalk(PLVDeferredEnumeration& enumeration) {
  Frame& frame = _frames.back();
  if (frame.state == settlingCompletion) {
    frame.state = completionSettled;
    if (enumeration._completion) {
      const Ref<PLVDeferred> completion = enumeration._completion;
      const Value outcome = frame.value;
      push(resolveEntry(*completion, outcome));
    }
    return;
  }
  const Frame ended = pop();
  enumeration.becomeIdle();
}

/// An NSException left what the top frame called. Returns: whether a frame above the base took it;
/// if not, all of them are gone and it goes on to the caller.
bool Engine::recover(std::size_t base, const Raised& raised) {
  while (_frames.size() > base) {
    Frame& frame = _frames.back();
    if (frame.kind == Entry::Kind::Steps) {
      frame.state = starting;
      const Value kept = std::move(frame.value);
      fail(static_cast<PLVDeferred&>(*frame.object), raised);
      return true;
    }
    // A listener that raises must not starve the others; what the callback raises goes on.
    if (frame.kind == Entry::Kind::Listeners && frame.state == telling) return true;
    pop();
  }
  return false;
}

void Engine::abandon(std::size_t base) noexcept {
  while (_frames.size() > base) {
    Frame& frame = _frames.back();
    if (frame.kind == Entry::Kind::Steps) {
      static_cast<PLVDeferred&>(*frame.object)._consumingStep = false;
    }
    pop();
  }
}

}  // namespace JNFoundation::impl
