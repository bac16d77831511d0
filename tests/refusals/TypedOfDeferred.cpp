// Refused with: a deferred that gives a deferred
#include <JNFoundation/deferred/Deferred.h>

using JNFoundation::PLVDeferred;
using JNFoundation::Ref;
void handle(JNFoundation::Deferred<Ref<PLVDeferred>> deferred) {
  std::move(deferred).thenResolved([](const Ref<PLVDeferred>&) {});
}
