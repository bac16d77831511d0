// Refused with: a typed view holds Value
#include <JNFoundation/deferred/Deferred.h>

struct Unknown {};
void handle(JNFoundation::Deferred<Unknown> deferred) {
  std::move(deferred).thenResolved([](const Unknown&) {});
}
