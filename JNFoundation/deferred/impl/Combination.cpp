#include "JNFoundation/deferred/impl/Combination.h"

namespace JNFoundation::impl {

constinit const Class Combination::classObject = Class::of<Combination>("Combination");

/// What a deferred that is observed resolves.
class Combination::Observer final : public NSObject, public PLVResolvable {
 public:
  using Superclass = NSObject;
  NSObject* protocolObject() noexcept override { return this; }

  Observer(Combination& owner, std::size_t index) : _owner(&owner), _index(index) {}
  void resolve(const Value& value) override { _owner->didSettle(_index, value); }
  void reject(const Value& value) override { _owner->didSettle(_index, value); }

 private:
  const Ref<Combination> _owner;
  const std::size_t _index;
};

void Combination::observe(PLVDeferred& deferred, std::size_t index) {
  deferred.thenResolve(makeObject<Observer>(*this, index));
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
