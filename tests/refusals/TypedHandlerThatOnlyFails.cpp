// Refused with: this handler always fails
#include <JNFoundation/deferred/Deferred.h>

void handle(JNFoundation::Deferred<int> deferred) {
  std::move(deferred).thenResolved([](int) { return JNFoundation::PLVRejected::cancellation(); });
}
