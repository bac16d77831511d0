// Refused with: this handler does not take what the deferred gives
#include <string>

#include <JNFoundation/deferred/Deferred.h>

void handle(JNFoundation::Deferred<int> deferred) {
  std::move(deferred).thenResolved([](const std::string& text) { return text; });
}
