#include "JNFoundation/deferred/impl/Engine.h"

#include <memory>
#include <mutex>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::impl {
namespace {

// The first state of frames of steps and of listeners.
constexpr unsigned char starting = 0;
// States of a frame of steps.
constexpr unsigned char looping = 1;
constexpr unsigned char awaitingContinuation = 2;
// States of a frame of listeners.
constexpr unsigned char telling = 1;
constexpr unsigned char callingBack = 2;
// States of a frame of cancellation.
constexpr unsigned char tellingSource = 0;
constexpr unsigned char sourceTold = 1;
constexpr unsigned char awaitedCancelled = 2;

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
  push(std::move(entry));
  runFramesAbove(base);
  if (_depth > 1) return;
  while (!_putOff.empty()) {
    Entry next = std::move(_putOff.front());
    _putOff.pop_front();
    push(std::move(next));
    runFramesAbove(base);
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
    case Entry::Kind::Steps:
      return advanceSteps(static_cast<PLVDeferred&>(*frame.object));
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
    case Entry::Kind::None:
      break;
  }
  pop();
}

/// Runs handlers in a row until the list is empty, the chain pauses, or a continuation has to run
/// on top. A reference to the frame would not survive a handler that grows the stack.
void Engine::advanceSteps(PLVDeferred& deferred) {
  const std::size_t position = _frames.size() - 1;
  if (_frames[position].state == starting) {
    // Since the frame was asked for, another one may have run the chain up to a pause.
    if (deferred._consumingStep || deferred._paused) return static_cast<void>(pop());
    _frames[position].state = looping;
  } else if (_frames[position].state == awaitingContinuation) {
    _frames[position].state = looping;
    if (!applyResult(deferred, std::move(_frames[position].value))) return;
  }
  while (Ref<StepNode> step = deferred.takeFirstStep()) {
    deferred._consumingStep = true;
    Value value = deferred._resolution;
    if (step->kind() == StepNode::Kind::Handlers) {
      Value result = static_cast<const PLVDeferredStep&>(*step).processValue(value);
      if (!applyResult(deferred, std::move(result))) return;
      continue;
    }
    _frames[position].state = awaitingContinuation;
    _frames[position].value = value;
    push(continueInto(*step, value));
    return;
  }
  pop();
}

/// Takes the result of a step into the chain. Returns: false when the loop has to be left, either
/// because the chain pauses (its frame is gone) or because something runs on top first.
bool Engine::applyResult(PLVDeferred& deferred, Value result) {
  if (result.isObject()) {
    if (auto* promise = as<PLVPromise>(result)) result = promise->deferredResolution();
  }
  deferred._consumingStep = false;
  auto* inner = result.isObject() ? as<PLVDeferred>(result) : nullptr;
  if (!deferred._cancelled) {
    // What was there before is released last: its end may run application code.
    const Value before = std::exchange(deferred._resolution, result);
    if (inner) {
      Entry next = deferred.pause(*inner);
      pop();
      push(std::move(next));
      return false;
    }
    if (isCancellation(result)) deferred._cancelled = true;
    return true;
  }
  if (inner) {
    static const SEL valueSelector("value");
    push(cancelEntry(*inner, performSelector(deferred._resolution, valueSelector)));
    return false;
  }
  if (isCancellation(result)) deferred._resolution = std::move(result);
  return true;
}

Entry Engine::continueInto(StepNode& step, const Value& value) {
  switch (step.kind()) {
    case StepNode::Kind::ResolveTarget: {
      PLVResolvable* target = static_cast<ResolveTargetStep&>(step).target.get();
      return target ? resolveEntry(*target, *target->protocolObject(), value) : Entry();
    }
    case StepNode::Kind::ResumeDeferred:
      return static_cast<ResumeDeferredStep&>(step).waiting->resume(value);
    case StepNode::Kind::ResumePromise:
      return static_cast<ResumePromiseStep&>(step).waiting->resume(value);
    case StepNode::Kind::Handlers:
      break;
  }
  return {};
}

/// Sends `resolve:` to the target: up to where something runs if the engine owns it, else natively.
Entry Engine::resolveEntry(PLVResolvable& target, NSObject& object, const Value& value) {
  if (isKindOf<PLVDeferred>(object)) {
    auto& deferred = static_cast<PLVDeferred&>(object);
    if (deferred.isSettledByEngine()) {
      return deferred._cancelled ? Entry() : deferred.settle(value);
    }
  } else if (isKindOf<PLVPromise>(object)) {
    auto& promise = static_cast<PLVPromise&>(object);
    if (promise.isSettledByEngine()) {
      return promise._cancelled ? Entry() : promise.settle(value);
    }
  }
  target.resolve(value);
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
  if (auto* told = as<PLVResolutionSource>(source)) {
    told->resolvableDidCancelWithValue(cancelled, value);
    return {};
  }
  static const SEL didCancel("resolvable:didCancelWithValue:");
  if (source.respondsToSelector(didCancel)) performSelector(source, didCancel, cancelled, value);
  return {};
}

void Engine::advanceListeners(PLVPromise& promise) {
  const std::size_t position = _frames.size() - 1;
  if (_frames[position].state == starting) {
    if (!promise._isFulfilled) return static_cast<void>(pop());
    _frames[position].state = telling;
    _frames[position].value = promise._resolution;
    if (promise._resolvables && promise._resolvables->count() > 0) {
      _frames[position].other = promise._resolvables->array();
    }
  }
  if (_frames[position].state == telling) {
    const Ref<NSArray> listeners = as<NSArray>(Value(_frames[position].other));
    const Value outcome = _frames[position].value;
    while (listeners && _frames[position].next < listeners->count()) {
      const Value listener = listeners->objectAtIndex(_frames[position].next++);
      if (promise._resolvables) promise._resolvables->removeObject(listener);
      PLVResolvable* target = nullptr;
      if (auto* deferred = as<PLVDeferred>(listener)) {
        target = deferred;
      } else if (auto* other = as<PLVPromise>(listener)) {
        target = other;
      } else {
        target = as<PLVResolvable>(listener);
      }
      if (!target) continue;
      if (Entry next = resolveEntry(*target, *listener.object(), outcome)) {
        push(std::move(next));
        return;
      }
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

/// An NSException left what the top frame called. Returns: whether a frame above the base took it;
/// if not, all of them are gone and it goes on to the caller.
bool Engine::recover(std::size_t base, const Raised& raised) {
  while (_frames.size() > base) {
    Frame& frame = _frames.back();
    if (frame.kind == Entry::Kind::Steps) {
      auto& deferred = static_cast<PLVDeferred&>(*frame.object);
      frame.state = looping;
      const Value kept = std::move(frame.value);
      deferred._consumingStep = false;
      const Value before = std::exchange(
          deferred._resolution,
          Value(deferred._cancelled ? PLVRejected::cancellation()
                                    : PLVRejected::withValue(Value(raised.exception()))));
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
