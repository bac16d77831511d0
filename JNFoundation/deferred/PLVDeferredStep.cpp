#include "JNFoundation/deferred/PLVDeferredStep.h"

namespace JNFoundation::inline v0_1 {

constinit const Class PLVDeferredStep::classObject = Class::of<PLVDeferredStep>("PLVDeferredStep");

Ref<PLVDeferredStep> PLVDeferredStep::initWithResolvedBlockRejectedBlock(
    PLVResolvedHandler resolved, PLVRejectedHandler rejected) {
  return makeObject<PLVDeferredStep>(std::move(resolved), std::move(rejected));
}

Value PLVDeferredStep::processValue(const Value& value) const {
  if (const PLVRejected* rejected = as<PLVRejected>(value)) {
    if (!_deferredRejected) return value;
    rejected->markAsSeen();
    return _deferredRejected(value);
  }
  return _deferredResolved ? _deferredResolved(value) : value;
}

}  // namespace JNFoundation
