// Refused with: deleted
#include <JNFoundation/deferred/Deferred.h>

JNFoundation::Deferred<int> copy(const JNFoundation::Deferred<int>& deferred) { return deferred; }
