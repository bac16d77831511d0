#pragma once

#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/deferred/impl/Engine.h>

namespace JNFoundation::inline v0_1::impl {

/// What the chain of a deferred that a walk waits for leads back to.
class WalkPause : public NSObject {
 public:
  using Superclass = NSObject;

  /// Returns: the rest of the walk.
  Entry resume() { return _enumeration->resume(_walk, _index); }

  PLVDeferredEnumeration& enumeration() const noexcept { return *_enumeration; }

 protected:
  /// Takes: the enumeration, which nobody else may hold while it waits.
  WalkPause(PLVDeferredEnumeration& enumeration, NSUInteger walk, NSUInteger index)
      : _enumeration(&enumeration), _walk(walk), _index(index) {}

 private:
  const Ref<PLVDeferredEnumeration> _enumeration;
  const NSUInteger _walk;
  const NSUInteger _index;
};

}  // namespace JNFoundation::impl
