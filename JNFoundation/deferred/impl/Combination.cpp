#include "JNFoundation/deferred/impl/Combination.h"

namespace JNFoundation::inline v0_1::impl {

constinit const Class Combination::classObject = Class::of<Combination>("Combination");
constinit const Class CombinationObserver::classObject =
    Class::of<CombinationObserver>("CombinationObserver");

void Combination::observe(PLVDeferred& deferred, std::size_t index) {
  deferred.thenResolve(makeObject<CombinationObserver>(*this, index));
}

Ref<PLVDeferred> Combination::begin(CreationPlace place) {
  Ref<PLVDeferred> result = PLVDeferred::withResolutionSource(Value(this), place);
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
