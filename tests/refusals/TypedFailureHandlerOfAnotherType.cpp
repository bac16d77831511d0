// Refused with: a handler of failures returns what the deferred gives
#include <string>

#include <JNFoundation/deferred/Deferred.h>

void handle(JNFoundation::Deferred<int> deferred) {
  std::move(deferred).thenRejected(
      [](const JNFoundation::Ref<JNFoundation::PLVRejected>&) { return std::string("text"); });
}
