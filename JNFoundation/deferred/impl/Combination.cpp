#include "JNFoundation/deferred/impl/Combination.h"

namespace JNFoundation::impl {

constinit const Class Combination::classObject = Class::of<Combination>("Combination");

Ref<PLVDeferred> Combination::begin() {
  Ref<PLVDeferred> result = PLVDeferred::withResolutionSource(Value(this));
  _result = result;
  if (MainQueue::isMainThread()) {
    start();
  } else {
    MainQueue::current().async([self = Ref<Combination>(this)] { self->start(); });
  }
  return result;
}

void Combination::resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value& value) {
  const Ref<PLVDeferred> result = std::exchange(_result, nullptr);
  cancelWork(value);
}

void Combination::settle(const Value& outcome) {
  if (const Ref<PLVDeferred> result = std::exchange(_result, nullptr)) result->resolve(outcome);
}

}  // namespace JNFoundation::impl
