// Refused with: Deferred<int>
#include <JNFoundation/deferred/Deferred.h>

JNFoundation::Deferred<int> guess(JNFoundation::Ref<JNFoundation::PLVDeferred> untyped) {
  return untyped;
}
