#include "JNFoundation/deferred/PLVDeferredEnumeration.h"

#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/deferred/impl/Engine.h>
#include <JNFoundation/deferred/impl/WalkPause.h>
#include <JNFoundation/deferred/impl/Watch.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

using impl::Engine;
using impl::Entry;
using impl::Step;

constinit const Class PLVDeferredEnumeration::classObject =
    Class::of<PLVDeferredEnumeration>("PLVDeferredEnumeration");

namespace {

const ClassDeclaration<PLVDeferredEnumeration> declarationOfPLVDeferredEnumeration =
    ClassDeclaration<PLVDeferredEnumeration>()
        .property("completion", &PLVDeferredEnumeration::completion,
                  &PLVDeferredEnumeration::setCompletion)
        .property("current", &PLVDeferredEnumeration::current, &PLVDeferredEnumeration::setCurrent)
        .property("inputArray", &PLVDeferredEnumeration::inputArray,
                  &PLVDeferredEnumeration::setInputArray)
        .property("currentIndex", &PLVDeferredEnumeration::currentIndex,
                  &PLVDeferredEnumeration::setCurrentIndex)
        .property("stopOnConsume", &PLVDeferredEnumeration::stopOnConsume,
                  &PLVDeferredEnumeration::setStopOnConsume)
        .operation("consumeObjectsStartingAtIndex:",
                   &PLVDeferredEnumeration::consumeObjectsStartingAtIndex)
        .operation("pauseWithDeferred:atIndex:", &PLVDeferredEnumeration::pauseWithDeferredAtIndex)
        .operation("resolve:", &PLVDeferredEnumeration::resolve)
        .operation("reject:", &PLVDeferredEnumeration::reject)
        .operation("resolvable:didCancelWithValue:",
                   &PLVDeferredEnumeration::resolvableDidCancelWithValue);

Ref<NSArray> copyOf(const Ref<NSArray>& array) {
  return array ? as<NSArray>(array->copy()) : nullptr;
}

}  // namespace

PLVDeferredEnumeration::PLVDeferredEnumeration(const Ref<NSArray>& array)
    : _inputArray(copyOf(array)) {
  if (impl::Watch::isOn()) impl::Watch::add(*this);
}

PLVDeferredEnumeration::~PLVDeferredEnumeration() {
  if (impl::Watch::isOn()) impl::Watch::remove(*this);
}

void PLVDeferredEnumeration::notePlace(const PLVDeferredEnumeration& enumeration,
                                       CreationPlace place) noexcept {
  if (impl::Watch::isOn()) impl::Watch::setPlace(enumeration, place);
}

Ref<PLVDeferredEnumeration> PLVDeferredEnumeration::initWithArray(const Ref<NSArray>& array,
                                                                  CreationPlace place) {
  Ref<PLVDeferredEnumeration> enumeration = makeObject<PLVDeferredEnumeration>(array);
  notePlace(*enumeration, place);
  return enumeration;
}

Ref<PLVDeferred> PLVDeferredEnumeration::enumerateObjectsUsingBlock(
    const Ref<NSArray>& array, PLVDeferredEnumerationBlock block, CreationPlace place) {
  return initWithArray(array, place)->deferredEnumerateObjectsUsingBlock(std::move(block), place);
}

void PLVDeferredEnumeration::setInputArray(const Ref<NSArray>& array) {
  _inputArray = copyOf(array);
}

bool PLVDeferredEnumeration::isSettledByEngine() const noexcept {
  return impl::isExactly<PLVDeferredEnumeration>(*this);
}

Ref<PLVDeferred> PLVDeferredEnumeration::deferredEnumerateObjectsUsingBlock(
    PLVDeferredEnumerationBlock block, CreationPlace place) {
  Ref<PLVDeferred> completion = PLVDeferred::withResolutionSource(Value(this), place);
  enumerateWithDeferredBlock(completion, std::move(block));
  return completion;
}

void PLVDeferredEnumeration::enumerateWithDeferredBlock(const Ref<PLVDeferred>& deferred,
                                                        PLVDeferredEnumerationBlock block) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async(
        [self = Ref<PLVDeferredEnumeration>(this), deferred, block = std::move(block)] {
          self->enumerateWithDeferredBlock(deferred, block);
        });
    return;
  }
  if (_completion) {
    if (deferred) deferred->reject(nullptr);
    return;
  }
  ++_walk;
  const Ref<PLVDeferred> stale = std::exchange(_current, nullptr);
  _completion = deferred;
  _enumerationBlock = std::move(block);
  _stopOnConsume = false;
  consumeObjectsStartingAtIndex(0);
}

void PLVDeferredEnumeration::consumeObjectsStartingAtIndex(NSUInteger index) {
  Engine::run({Entry::Kind::Walk, Ref<NSObject>(this), Value(static_cast<NSInteger>(index))});
}

void PLVDeferredEnumeration::pauseWithDeferredAtIndex(const Ref<PLVDeferred>& deferred,
                                                      NSUInteger index) {
  if (deferred) {
    Engine::run(pause(*deferred, index));
  } else {
    _current = nullptr;
  }
}

Entry PLVDeferredEnumeration::walkFrom(NSUInteger index) {
  while (_completion && _enumerationBlock && !_stopOnConsume && _inputArray &&
         index < _inputArray->count()) {
    bool stop = false;
    Value result;
    try {
      // A block of its own: the call may end the walk.
      const PLVDeferredEnumerationBlock block = _enumerationBlock;
      result = block(_inputArray->objectAtIndex(index), index, stop);
    } catch (const Raised& raised) {
      return end(PLVRejected::withValue(raised.exception()));
    }
    if (stop) _stopOnConsume = true;
    if (auto* promise = as<PLVPromise>(result)) result = promise->deferredResolution();
    if (auto* deferred = as<PLVDeferred>(result)) return pause(*deferred, index);
    ++index;
  }
  return end(_inputArray);
}

Entry PLVDeferredEnumeration::pause(PLVDeferred& deferred, NSUInteger index) {
  _current = &deferred;
  return deferred.attach(Step(Step::Kind::ResumeWalk,
                              Ref<NSObject>(makeObject<impl::WalkPause>(*this, _walk, index))));
}

Entry PLVDeferredEnumeration::resume(NSUInteger walk, NSUInteger index) {
  if (walk != _walk) return {};
  const Ref<PLVDeferred> settled = std::exchange(_current, nullptr);
  return {Entry::Kind::Walk, Ref<NSObject>(this), Value(static_cast<NSInteger>(index + 1))};
}

Entry PLVDeferredEnumeration::end(const Value& value) {
  if (isSettledByEngine()) return {Entry::Kind::EndWalk, Ref<NSObject>(this), value};
  resolve(value);
  return {};
}

void PLVDeferredEnumeration::resolve(const Value& value) {
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async(
        [self = Ref<PLVDeferredEnumeration>(this), value] { self->resolve(value); });
    return;
  }
  Engine::run({Entry::Kind::EndWalk, Ref<NSObject>(this), value});
}

void PLVDeferredEnumeration::reject(const Value& value) {
  resolve(isKindOf<PLVRejected>(value) ? value : Value(PLVRejected::withValue(value)));
}

void PLVDeferredEnumeration::becomeIdle() {
  // Released last: their end may run application code that starts the next walk.
  const Ref<PLVDeferred> completion = std::exchange(_completion, nullptr);
  const PLVDeferredEnumerationBlock block =
      std::exchange(_enumerationBlock, PLVDeferredEnumerationBlock());
  _stopOnConsume = false;
}

void PLVDeferredEnumeration::resolvableDidCancelWithValue(const Ref<PLVResolvable>&,
                                                          const Value& value) {
  if (const Ref<PLVDeferred> current = beginCancel()) current->cancelWithValue(value);
}

Ref<PLVDeferred> PLVDeferredEnumeration::beginCancel() {
  const Ref<PLVDeferred> completion = std::exchange(_completion, nullptr);
  return _current;
}

}  // namespace JNFoundation
