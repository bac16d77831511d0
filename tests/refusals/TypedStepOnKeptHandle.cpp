// Refused with: deleted
#include <JNFoundation/deferred/Deferred.h>

void keep(JNFoundation::Deferred<int>& deferred) {
  deferred.thenResolved([](int number) { return number; });
}
