// Refused with: a guarded handler gives what the deferred gives
#include <memory>
#include <string>

#include <JNFoundation/deferred/Deferred.h>

void handle(JNFoundation::Deferred<int> deferred, std::weak_ptr<int> guard) {
  std::move(deferred).thenResolved(guard, [](int) { return std::string("text"); });
}
